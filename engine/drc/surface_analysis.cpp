// Surface clean-up analysis. Contours are walked corner to corner (an arc
// by its chord); sizes come from the contours as drawn, arcs included.
#include "engine/drc/surface_analysis.h"

#include "engine/geometry/geometry.h"
#include "engine/geometry/surface_contours.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <set>

namespace kesto::drc {

namespace {

using namespace surface_item;

// A point that lies this close to an edge touches it.
constexpr double kTouch = 1000;
// Edges meeting at more than this turn (degrees) fold back on each other.
constexpr double kFoldTurn = 179.0;

std::vector<Point> corners(const Contour& c)
{
    std::vector<Point> pts{c.start};
    for (const Segment& s : c.segments) pts.push_back(s.end);
    if (pts.size() > 1 && pts.back() == pts.front()) pts.pop_back();
    // Repeated points carry no edge.
    pts.erase(std::unique(pts.begin(), pts.end()), pts.end());
    return pts;
}

double length(Point a, Point b) { return std::hypot(double(b.x - a.x), double(b.y - a.y)); }

Coord nm(double v) { return Coord(std::llround(v)); }

} // namespace

std::map<int, KESTO::API::signal_check_result> analyse_surfaces(const Layer& layer, const std::string& layer_name,
                                                                const SurfaceLimits& limits,
                                                                const LevelLimits& levels)
{
    Findings out(layer_name, levels);
    auto on = [&](int item) { return (limits.items >> item) & 1u; };
    const double fold_cos = std::cos(kFoldTurn * M_PI / 180.0);

    for (std::uint32_t fi = 0; fi < layer.features.size(); ++fi) {
        const Feature& f = layer.features[fi];
        if (f.kind != FeatureKind::Surface || f.body >= layer.surfaces.size()) continue;
        const Surface& surface = layer.surfaces[f.body];
        const FeatureRef ref{&layer, &layer_name, fi};

        // Every straight edge of the surface, for the touch test.
        struct Edge { Point a, b; std::size_t contour, index, count; };
        std::vector<Edge> edges;
        std::vector<std::vector<Point>> rings;
        const geom::Paths drawn = geom::surface_contours(surface);
        for (std::size_t ci = 0; ci < surface.contours.size(); ++ci) {
            const Contour& c = surface.contours[ci];
            std::vector<Point> pts = corners(c);
            const std::size_t n = pts.size();
            // Sizes from the contour as drawn: a hole cut as one full circle has a single corner.
            const Box box = ci < drawn.size() ? geom::box_of(drawn[ci]) : Box{};
            if (!box.empty()) {
                const Coord size = std::max(box.xmax - box.xmin, box.ymax - box.ymin);
                if (!c.island && on(Hole) && (limits.max_size <= 0 || size <= limits.max_size))
                    out.add(Hole, size, rect_marker(box), {ref});
                if (c.island && on(SmallIsland) && limits.max_size > 0 && size <= limits.max_size)
                    out.add(SmallIsland, size, rect_marker(box), {ref});
            }
            for (std::size_t i = 0; i < n && n >= 3; ++i) {
                const Point a = pts[i], b = pts[(i + 1) % n], next = pts[(i + 2) % n];
                edges.push_back({a, b, ci, i, n});
                const std::size_t si = i < c.segments.size() ? i : c.segments.size() - 1;
                const bool straight = !c.segments[si].arc;
                const double len = length(a, b);
                if (on(SmallEdge) && straight && limits.small_edge > 0 && len < double(limits.small_edge))
                    out.add(SmallEdge, nm(len), line_marker(a, b, 0), {ref});
                // The outline turns back at b: the shorter edge is run twice.
                const double len2 = length(b, next);
                if (on(Fold) && len > 0 && len2 > 0) {
                    const double dot = (double(b.x - a.x) * double(next.x - b.x) + double(b.y - a.y) * double(next.y - b.y)) /
                                       (len * len2);
                    const double retraced = std::min(len, len2);
                    if (dot <= fold_cos && (limits.max_fold <= 0 || retraced <= double(limits.max_fold))) {
                        const Point back{nm(double(b.x) + (double(a.x - b.x)) * retraced / len),
                                         nm(double(b.y) + (double(a.y - b.y)) * retraced / len)};
                        out.add(Fold, nm(retraced), line_marker(back, b, 0), {ref});
                    }
                }
            }
            rings.push_back(std::move(pts));
        }

        if (!on(SelfTouch) || edges.empty()) continue;
        // A corner lying on an edge it does not end, away from its own
        // neighbourhood (folds are reported as folds): the contour pinches
        // itself or meets another contour of the surface. Edges sorted by
        // their left end; corners searched along x.
        std::vector<std::size_t> order(edges.size());
        for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
        auto left = [&](std::size_t e) { return std::min(edges[e].a.x, edges[e].b.x); };
        std::sort(order.begin(), order.end(), [&](std::size_t x, std::size_t y) { return left(x) < left(y); });
        Coord widest = 0;
        for (const Edge& e : edges) widest = std::max<Coord>(widest, std::llabs(e.a.x - e.b.x));
        std::vector<Coord> lefts(order.size());
        for (std::size_t k = 0; k < order.size(); ++k) lefts[k] = left(order[k]);
        std::set<std::pair<Coord, Coord>> reported;
        for (std::size_t ci = 0; ci < rings.size(); ++ci) {
            const std::vector<Point>& pts = rings[ci];
            for (std::size_t pi = 0; pi < pts.size(); ++pi) {
                const Point p = pts[pi];
                const Coord lo = p.x - widest - Coord(kTouch), hi = p.x + Coord(kTouch);
                auto k = std::size_t(std::lower_bound(lefts.begin(), lefts.end(), lo) - lefts.begin());
                for (; k < order.size() && lefts[k] <= hi; ++k) {
                    const Edge& e = edges[order[k]];
                    if (e.contour == ci) {
                        // Skip the edges within three steps of the corner: a fold's base
                        // meets its own spike there, and that is the fold.
                        const std::size_t n = e.count;
                        const std::size_t d = (e.index + n - pi) % n;
                        if (d <= 2 || d + 3 >= n) continue;
                    }
                    if (std::max(e.a.x, e.b.x) < p.x - Coord(kTouch)) continue;
                    if (p.y < std::min(e.a.y, e.b.y) - Coord(kTouch) || p.y > std::max(e.a.y, e.b.y) + Coord(kTouch)) continue;
                    const geom::Closest c = geom::segment_point(double(e.a.x), double(e.a.y), double(e.b.x),
                                                                double(e.b.y), double(p.x), double(p.y));
                    if (c.distance <= kTouch) {
                        // Two contours meeting at a corner of each: one finding.
                        if (!reported.insert({p.x / Coord(kTouch), p.y / Coord(kTouch)}).second) break;
                        out.add(SelfTouch, nm(c.distance), point_marker(p), {ref});
                        break;
                    }
                }
            }
        }
    }
    return out.take(true);
}

} // namespace kesto::drc
