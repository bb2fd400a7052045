// Slivers: parts of a copper surface narrower than the smallest width a fab
// can etch. Thin copper lies only where two sides of the surface's outline
// face each other across copper closer than the limit; an R-tree of the
// outline's edges finds those pairs, and
// the gap between two facing edges, exact segment to segment, is the width
// there. Facing pairs whose thin stretches meet are one sliver: measured by
// its narrowest gap, marked by the box of those stretches.
//
// A spike (two sides meeting at a sharp angle with nothing else facing them)
// narrows to nothing at its tip and is measured as 0. It is reported only
// when it is long: thinner than the limit over more than twice the limit,
// which is a tip sharper than about 28 degrees; a blunter corner is the
// rounding every etched corner has.
#include "engine/drc/signal_rules.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>

namespace kesto::drc {

namespace {

// The stretch of edge e lying within `width` of edge o, as the two ends'
// parameters along e. The distance to o is convex along e, so the stretch is
// one interval round the nearest point t0; its ends are found by halving.
std::pair<double, double> stretch_near(const geom::Edge& e, const geom::Edge& o, double width, double t0)
{
    auto gap_at = [&](double t) {
        const double x = e.x1 + (e.x2 - e.x1) * t, y = e.y1 + (e.y2 - e.y1) * t;
        return geom::segment_point(o.x1, o.y1, o.x2, o.y2, x, y).distance;
    };
    auto end_toward = [&](double far) {
        if (gap_at(far) < width) return far;
        double in = t0, out = far;
        for (int k = 0; k < 24; ++k) {
            const double mid = (in + out) / 2;
            (gap_at(mid) < width ? in : out) = mid;
        }
        return in;
    };
    return {end_toward(0), end_toward(1)};
}

double along(const geom::Edge& e, double x, double y)
{
    const double dx = e.x2 - e.x1, dy = e.y2 - e.y1, len2 = dx * dx + dy * dy;
    return len2 == 0 ? 0 : std::clamp(((x - e.x1) * dx + (y - e.y1) * dy) / len2, 0.0, 1.0);
}

void extend(Box& b, const geom::Edge& e, std::pair<double, double> t)
{
    for (double u : {t.first, t.second}) {
        const Coord x = Coord(std::llround(e.x1 + (e.x2 - e.x1) * u)), y = Coord(std::llround(e.y1 + (e.y2 - e.y1) * u));
        b.xmin = std::min(b.xmin, x), b.ymin = std::min(b.ymin, y);
        b.xmax = std::max(b.xmax, x), b.ymax = std::max(b.ymax, y);
    }
}

double length_of(const geom::Edge& e, std::pair<double, double> t)
{
    return std::hypot(e.x2 - e.x1, e.y2 - e.y1) * (t.second - t.first);
}

// One pair of facing edges: the box of their thin stretches and the gap.
struct Neck {
    Box box;
    double gap = 0;           // 0 for a spike's two sides
    double spike_length = 0;  // for a spike: the shorter side's thin stretch
};

bool left_of(const geom::Edge& line, double x, double y)
{
    return (line.x2 - line.x1) * (y - line.y1) - (line.y2 - line.y1) * (x - line.x1) > 0;
}

// Two edges sharing an end that close on the inside at under 60 degrees: a
// spike's sides.
bool spike(const geom::Edge& a, const geom::Edge& b)
{
    double vx, vy, ux, uy, wx, wy;  // the shared end, and the far end of each
    if (a.x1 == b.x1 && a.y1 == b.y1) vx = a.x1, vy = a.y1, ux = a.x2, uy = a.y2, wx = b.x2, wy = b.y2;
    else if (a.x1 == b.x2 && a.y1 == b.y2) vx = a.x1, vy = a.y1, ux = a.x2, uy = a.y2, wx = b.x1, wy = b.y1;
    else if (a.x2 == b.x1 && a.y2 == b.y1) vx = a.x2, vy = a.y2, ux = a.x1, uy = a.y1, wx = b.x2, wy = b.y2;
    else if (a.x2 == b.x2 && a.y2 == b.y2) vx = a.x2, vy = a.y2, ux = a.x1, uy = a.y1, wx = b.x1, wy = b.y1;
    else return false;
    const double lu = std::hypot(ux - vx, uy - vy), lw = std::hypot(wx - vx, wy - vy);
    if (lu == 0 || lw == 0) return false;
    return ((ux - vx) * (wx - vx) + (uy - vy) * (wy - vy)) / (lu * lw) >= 0.5 && left_of(a, wx, wy) && left_of(b, ux, uy);
}

// Calls on_pair(a, b, gap, stretch of a, stretch of b) for each pair of edges of the outline facing each
// other across its inside closer than `width`, and for a spike's two sides
// (gap 0). Outlines as Clipper leaves them, and surfaces as they are read,
// keep their inside on the left of every edge: two edges each wholly on the
// outer side of the other's line face each other across a clearance or not
// at all, which drops a clearance ring's own chords without a distance being
// worked (one on the outer side only may still face the other across the
// copper round a re-entrant corner, as at a spike's base). The middle of the
// gap must lie inside with no other edge nearer to it than the two: the
// chords round a rounded corner are one side bending, not two facing sides.
template <class OnPair>
void facing_pairs(const geom::PreparedOutline& outline, double width, OnPair&& on_pair)
{
    const std::vector<geom::Edge>& edges = outline.edges();
    for (std::uint32_t i = 0; i < edges.size(); ++i) {
        const geom::Edge& a = edges[i];
        outline.near_edges(i, width, [&](std::uint32_t j) {
            if (j <= i) return;
            const geom::Edge& b = edges[j];
            if (!left_of(a, b.x1, b.y1) && !left_of(a, b.x2, b.y2) && !left_of(b, a.x1, a.y1) && !left_of(b, a.x2, a.y2))
                return;
            const geom::Closest c = geom::segment_segment(a.x1, a.y1, a.x2, a.y2, b.x1, b.y1, b.x2, b.y2);
            if (c.distance >= width) return;
            const auto ta = stretch_near(a, b, width, along(a, c.ax, c.ay));
            const auto tb = stretch_near(b, a, width, along(b, c.bx, c.by));
            if (c.distance > 1) {
                // The middle of the nearest points, or for edges side by side
                // (whose nearest points may sit at an end) half way along.
                auto open_across = [&](double px, double py, double qx, double qy) {
                    const double mx = (px + qx) / 2, my = (py + qy) / 2;
                    return outline.edge_distance(mx, my).distance >= 0.75 * std::hypot(qx - px, qy - py) / 2 &&
                           outline.locate(mx, my) == geom::Where::Inside;
                };
                const double t = (ta.first + ta.second) / 2;
                const double px = a.x1 + (a.x2 - a.x1) * t, py = a.y1 + (a.y2 - a.y1) * t;
                const geom::Closest q = geom::segment_point(b.x1, b.y1, b.x2, b.y2, px, py);
                if (!open_across(c.ax, c.ay, c.bx, c.by) && !open_across(px, py, q.ax, q.ay)) return;
            } else if (!spike(a, b)) {
                return;
            }
            on_pair(a, b, c, ta, tb);
        });
    }
}

std::size_t root(std::vector<std::size_t>& parent, std::size_t i)
{
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
}

} // namespace

void sliver_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.reach(signal_item::Slivers, in.limits.sliver_min);
    if (limit <= 0) return;
    const double width = double(limit);
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (piece.role != CopperRole::Surface || !in.wanted(p)) continue;
        const geom::PreparedOutline* prepared = ctx.prepared(p);
        std::unique_ptr<geom::PreparedOutline> small;  // a small surface is prepared here, once
        if (!prepared) {
            small = std::make_unique<geom::PreparedOutline>(piece.copper);
            prepared = small.get();
        }
        std::vector<Neck> necks;
        facing_pairs(*prepared, width,
                     [&](const geom::Edge& a, const geom::Edge& b, const geom::Closest& c, std::pair<double, double> ta,
                         std::pair<double, double> tb) {
                         Neck n;
                         n.box = {Coord(std::llround(c.ax)), Coord(std::llround(c.ay)), Coord(std::llround(c.ax)),
                                  Coord(std::llround(c.ay))};
                         extend(n.box, a, ta);
                         extend(n.box, b, tb);
                         n.gap = c.distance > 1 ? c.distance : 0;
                         if (n.gap == 0) n.spike_length = std::min(length_of(a, ta), length_of(b, tb));
                         necks.push_back(n);
                     });
        if (necks.empty()) continue;

        // Necks whose stretches meet are one sliver.
        std::vector<Box> boxes;
        for (const Neck& n : necks) boxes.push_back(n.box);
        geom::LayerIndex index;
        index.build(boxes);
        std::vector<std::size_t> parent(necks.size());
        std::iota(parent.begin(), parent.end(), std::size_t(0));
        for (std::size_t i = 0; i < necks.size(); ++i)
            for (std::size_t j : index.query(necks[i].box)) parent[root(parent, j)] = root(parent, i);

        struct Sliver {
            Box box;
            double gap = -1;          // the narrowest facing gap; -1 when only a spike's sides
            double spike_length = 0;
        };
        std::vector<Sliver> slivers(necks.size());
        std::vector<bool> used(necks.size(), false);
        for (std::size_t i = 0; i < necks.size(); ++i) {
            const Neck& n = necks[i];
            const std::size_t r = root(parent, i);
            Sliver& s = slivers[r];
            if (!used[r]) s.box = n.box, used[r] = true;
            s.box = {std::min(s.box.xmin, n.box.xmin), std::min(s.box.ymin, n.box.ymin), std::max(s.box.xmax, n.box.xmax),
                     std::max(s.box.ymax, n.box.ymax)};
            if (n.gap > 0) s.gap = s.gap < 0 ? n.gap : std::min(s.gap, n.gap);
            s.spike_length = std::max(s.spike_length, n.spike_length);
        }
        for (std::size_t r = 0; r < slivers.size(); ++r) {
            if (!used[r]) continue;
            const Sliver& s = slivers[r];
            if (s.gap < 0 && s.spike_length <= 2 * width) continue;  // an etched corner's rounding
            const Coord measured = s.gap < 0 ? 0 : Coord(std::llround(s.gap));
            in.out.add(signal_item::Slivers, measured, rect_marker(s.box), {in.ctx.ref(p)});
        }
    }
}

} // namespace kesto::drc
