#include "engine/geometry/hit.h"
#include "engine/geometry/prepared_outline.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace kesto::geom {

namespace {

// The centre line of a feature drawn with a round symbol, and half that
// symbol's width: a segment (a round pad is one of zero length) or an arc,
// kept counter-clockwise.
struct RoundPath {
    bool arc = false;
    double ax = 0, ay = 0, bx = 0, by = 0;      // the ends
    double cx = 0, cy = 0, r = 0, from = 0, sweep = 0; // arcs: centre, radius, start angle, sweep
    double half_width = 0;

    bool spans(double angle) const
    {
        double d = std::fmod(angle - from, 2 * kPi);
        if (d < 0) d += 2 * kPi;
        return d <= sweep + 1e-12 || d >= 2 * kPi - 1e-12;
    }
};

std::optional<RoundPath> round_path_of(const Layer& layer, const Feature& f)
{
    if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line && f.kind != FeatureKind::Arc) return std::nullopt;
    if (f.symbol < 0 || static_cast<std::size_t>(f.symbol) >= layer.symbols.size()) return std::nullopt;
    const Symbol& s = layer.symbols[static_cast<std::size_t>(f.symbol)];
    if (s.family != SymbolFamily::Round && s.family != SymbolFamily::Hole) return std::nullopt;
    RoundPath path;
    path.half_width = s.p[0] / 2;
    path.ax = double(f.a.x);
    path.ay = double(f.a.y);
    const Point& b = f.kind == FeatureKind::Pad ? f.a : f.b;
    path.bx = double(b.x);
    path.by = double(b.y);
    if (f.kind != FeatureKind::Arc) return path;
    path.arc = true;
    path.cx = double(f.c.x);
    path.cy = double(f.c.y);
    // Clockwise arcs run counter-clockwise from their end; the radius is the start's.
    const Point& start = f.cw ? f.b : f.a;
    const Point& end = f.cw ? f.a : f.b;
    path.r = std::hypot(double(f.a.x - f.c.x), double(f.a.y - f.c.y));
    path.from = std::atan2(double(start.y - f.c.y), double(start.x - f.c.x));
    double to = std::atan2(double(end.y - f.c.y), double(end.x - f.c.x));
    path.sweep = to - path.from;
    while (path.sweep <= 0) path.sweep += 2 * kPi;
    if (f.a == f.b) path.sweep = 2 * kPi;
    path.ax = path.cx + path.r * std::cos(path.from);
    path.ay = path.cy + path.r * std::sin(path.from);
    path.bx = path.cx + path.r * std::cos(path.from + path.sweep);
    path.by = path.cy + path.r * std::sin(path.from + path.sweep);
    return path;
}

Closest swapped(Closest c) { return Closest{c.distance, c.bx, c.by, c.ax, c.ay}; }

void keep_nearer(Closest& best, const Closest& c)
{
    if (c.distance < best.distance) best = c;
}

// From a point on an arc (first) to a point (second).
Closest arc_point(const RoundPath& arc, double px, double py)
{
    double dx = px - arc.cx, dy = py - arc.cy, d = std::hypot(dx, dy);
    if (d > 0 && arc.spans(std::atan2(dy, dx))) {
        return Closest{std::fabs(d - arc.r), arc.cx + arc.r * dx / d, arc.cy + arc.r * dy / d, px, py};
    }
    Closest best{std::hypot(px - arc.ax, py - arc.ay), arc.ax, arc.ay, px, py};
    keep_nearer(best, Closest{std::hypot(px - arc.bx, py - arc.by), arc.bx, arc.by, px, py});
    return best;
}

// From a segment (first) to an arc (second). The nearest pair is a crossing,
// an end of either against the other, or the segment's foot from the arc's
// centre against the arc.
Closest segment_arc(const RoundPath& seg, const RoundPath& arc)
{
    Closest best = swapped(arc_point(arc, seg.ax, seg.ay));
    keep_nearer(best, swapped(arc_point(arc, seg.bx, seg.by)));
    keep_nearer(best, segment_point(seg.ax, seg.ay, seg.bx, seg.by, arc.ax, arc.ay));
    keep_nearer(best, segment_point(seg.ax, seg.ay, seg.bx, seg.by, arc.bx, arc.by));
    Closest foot = segment_point(seg.ax, seg.ay, seg.bx, seg.by, arc.cx, arc.cy);
    if (foot.distance > 0 && arc.spans(std::atan2(foot.ay - arc.cy, foot.ax - arc.cx)))
        keep_nearer(best, swapped(arc_point(arc, foot.ax, foot.ay)));
    double dx = seg.bx - seg.ax, dy = seg.by - seg.ay, fx = seg.ax - arc.cx, fy = seg.ay - arc.cy;
    double qa = dx * dx + dy * dy, qb = 2 * (fx * dx + fy * dy), qc = fx * fx + fy * fy - arc.r * arc.r;
    double disc = qb * qb - 4 * qa * qc;
    if (qa > 0 && disc >= 0) {
        for (double t : {(-qb - std::sqrt(disc)) / (2 * qa), (-qb + std::sqrt(disc)) / (2 * qa)}) {
            double x = seg.ax + t * dx, y = seg.ay + t * dy;
            if (t >= 0 && t <= 1 && arc.spans(std::atan2(y - arc.cy, x - arc.cx))) return Closest{0, x, y, x, y};
        }
    }
    return best;
}

// Two arcs: a crossing of their circles on both, an end of either against
// the other, or the points where the line through both centres meets them.
Closest arc_arc(const RoundPath& a, const RoundPath& b)
{
    Closest best = arc_point(a, b.ax, b.ay);
    keep_nearer(best, arc_point(a, b.bx, b.by));
    keep_nearer(best, swapped(arc_point(b, a.ax, a.ay)));
    keep_nearer(best, swapped(arc_point(b, a.bx, a.by)));
    double dx = b.cx - a.cx, dy = b.cy - a.cy, d = std::hypot(dx, dy);
    if (d == 0) return best; // concentric: the ends decide
    double ux = dx / d, uy = dy / d;
    if (d <= a.r + b.r && d >= std::fabs(a.r - b.r)) {
        double along = (d * d + a.r * a.r - b.r * b.r) / (2 * d);
        double across = std::sqrt(std::max(0.0, a.r * a.r - along * along));
        for (double side : {-1.0, 1.0}) {
            double x = a.cx + along * ux - side * across * uy, y = a.cy + along * uy + side * across * ux;
            if (a.spans(std::atan2(y - a.cy, x - a.cx)) && b.spans(std::atan2(y - b.cy, x - b.cx)))
                return Closest{0, x, y, x, y};
        }
    }
    for (double sa : {-1.0, 1.0}) {
        for (double sb : {-1.0, 1.0}) {
            double xa = a.cx + sa * a.r * ux, ya = a.cy + sa * a.r * uy;
            double xb = b.cx + sb * b.r * ux, yb = b.cy + sb * b.r * uy;
            if (a.spans(std::atan2(ya - a.cy, xa - a.cx)) && b.spans(std::atan2(yb - b.cy, xb - b.cx)))
                keep_nearer(best, Closest{std::hypot(xb - xa, yb - ya), xa, ya, xb, yb});
        }
    }
    return best;
}

Closest centre_distance(const RoundPath& a, const RoundPath& b)
{
    if (a.arc && b.arc) return arc_arc(a, b);
    if (b.arc) return segment_arc(a, b);
    if (a.arc) return swapped(segment_arc(b, a));
    return segment_segment(a.ax, a.ay, a.bx, a.by, b.ax, b.ay, b.bx, b.by);
}

// Turns the distance of two centre paths into the distance of their edges.
Closest shrink(Closest c, double radius_a, double radius_b)
{
    double gap = c.distance - radius_a - radius_b;
    double ux = 0, uy = 0;
    if (c.distance > 0) {
        ux = (c.bx - c.ax) / c.distance;
        uy = (c.by - c.ay) / c.distance;
    }
    if (gap <= 0) {
        // Overlapping: report the point between the two centre lines.
        double sum = radius_a + radius_b;
        double t = c.distance > 0 && sum > 0 ? std::clamp(radius_a / sum, 0.0, 1.0) : 0;
        double x = c.ax + (c.bx - c.ax) * t, y = c.ay + (c.by - c.ay) * t;
        return Closest{0, x, y, x, y};
    }
    return Closest{gap, c.ax + ux * radius_a, c.ay + uy * radius_a, c.bx - ux * radius_b, c.by - uy * radius_b};
}

} // namespace

Closest feature_point_distance(const Layer& layer, const Feature& f, const Point& p, const OutlineContext& context)
{
    double px = double(p.x), py = double(p.y);
    if (auto path = round_path_of(layer, f)) {
        Closest on = path->arc ? arc_point(*path, px, py) : segment_point(path->ax, path->ay, path->bx, path->by, px, py);
        return shrink(on, path->half_width, 0);
    }
    return outline_point_distance(feature_outline(layer, f, context), px, py);
}

Closest feature_distance(const Layer& layer_a, const Feature& a, const Layer& layer_b, const Feature& b,
                         const OutlineContext& context)
{
    auto pa = round_path_of(layer_a, a);
    auto pb = round_path_of(layer_b, b);
    if (pa && pb) return shrink(centre_distance(*pa, *pb), pa->half_width, pb->half_width);
    return outline_distance(feature_outline(layer_a, a, context), feature_outline(layer_b, b, context));
}

std::vector<std::size_t> features_at(const Layer& layer, const LayerIndex& index, const Point& p, Coord margin,
                                     const OutlineContext& context)
{
    margin = std::max<Coord>(margin, 0);
    std::vector<std::size_t> hits;
    for (std::size_t i : index.query(Box{p.x - margin, p.y - margin, p.x + margin, p.y + margin})) {
        if (i < layer.features.size() && feature_point_distance(layer, layer.features[i], p, context).distance <= double(margin))
            hits.push_back(i);
    }
    return hits;
}

std::vector<std::size_t> features_in_polygon(const Layer& layer, const LayerIndex& index, const Path& polygon,
                                             PolygonTest test, const OutlineContext& context)
{
    std::vector<std::size_t> hits;
    if (polygon.size() < 3) return hits;
    Paths area_of = unite({polygon});
    for (Path& path : area_of) ClipperLib::CleanPolygon(path, 0.5);
    Box bounds = box_of(area_of);
    std::vector<Edge> edges = edges_of(area_of);
    // A drawn lasso of many points gets its edges indexed.
    std::optional<PreparedOutline> lasso;
    if (edges.size() > 32) lasso.emplace(area_of);
    for (std::size_t i : index.query(bounds)) {
        if (i >= layer.features.size()) continue;
        Box box = index.box(i);
        bool crossed = lasso ? lasso->meets(box)
                             : std::any_of(edges.begin(), edges.end(), [&](const Edge& e) { return segment_meets_box(e, box); });
        if (!crossed) {
            // No edge crosses the box: it lies wholly inside or wholly outside.
            double mx = double(box.xmin) + double(box.xmax - box.xmin) / 2, my = double(box.ymin) + double(box.ymax - box.ymin) / 2;
            Where where = lasso ? lasso->locate(mx, my) : locate(IntPoint{to_nm(mx), to_nm(my)}, area_of);
            if (where == Where::Inside) hits.push_back(i);
            continue;
        }
        Paths outline = feature_outline(layer, layer.features[i], context);
        if (outline.empty()) continue;
        bool caught = test == PolygonTest::Inside ? std::fabs(area(subtract(outline, area_of))) < 1.0
                                                  : outline_distance(outline, area_of).distance == 0;
        if (caught) hits.push_back(i);
    }
    return hits;
}

} // namespace kesto::geom
