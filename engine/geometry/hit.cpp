#include "engine/geometry/hit.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace kesto::geom {

namespace {

// A round pad (a zero-length capsule) or a line drawn with a round symbol.
struct Capsule {
    double ax, ay, bx, by, radius;
};

std::optional<Capsule> capsule_of(const Layer& layer, const Feature& f)
{
    if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line) return std::nullopt;
    if (f.symbol < 0 || static_cast<std::size_t>(f.symbol) >= layer.symbols.size()) return std::nullopt;
    const Symbol& s = layer.symbols[static_cast<std::size_t>(f.symbol)];
    if (s.family != SymbolFamily::Round && s.family != SymbolFamily::Hole) return std::nullopt;
    const Point& b = f.kind == FeatureKind::Line ? f.b : f.a;
    return Capsule{double(f.a.x), double(f.a.y), double(b.x), double(b.y), s.p[0] / 2};
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
        double t = c.distance > 0 ? std::clamp(radius_a / (radius_a + radius_b), 0.0, 1.0) : 0;
        double x = c.ax + (c.bx - c.ax) * t, y = c.ay + (c.by - c.ay) * t;
        return Closest{0, x, y, x, y};
    }
    return Closest{gap, c.ax + ux * radius_a, c.ay + uy * radius_a, c.bx - ux * radius_b, c.by - uy * radius_b};
}

// Liang-Barsky: does the segment meet the closed box?
bool segment_meets_box(double x1, double y1, double x2, double y2, const Box& b)
{
    double t0 = 0, t1 = 1, dx = x2 - x1, dy = y2 - y1;
    const double p[4] = {-dx, dx, -dy, dy};
    const double q[4] = {x1 - double(b.xmin), double(b.xmax) - x1, y1 - double(b.ymin), double(b.ymax) - y1};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0) {
            if (q[i] < 0) return false;
            continue;
        }
        double t = q[i] / p[i];
        if (p[i] < 0) {
            if (t > t1) return false;
            t0 = std::max(t0, t);
        } else {
            if (t < t0) return false;
            t1 = std::min(t1, t);
        }
    }
    return true;
}

bool edges_meet_box(const Paths& polygon, const Box& box)
{
    for (const Path& path : polygon) {
        for (std::size_t i = 0; i < path.size(); ++i) {
            const IntPoint& s = path[i];
            const IntPoint& e = path[(i + 1) % path.size()];
            if (segment_meets_box(double(s.X), double(s.Y), double(e.X), double(e.Y), box)) return true;
        }
    }
    return false;
}

} // namespace

Closest feature_point_distance(const Layer& layer, const Feature& f, const Point& p, const OutlineContext& context)
{
    double px = double(p.x), py = double(p.y);
    if (auto c = capsule_of(layer, f)) {
        Closest on = segment_point(c->ax, c->ay, c->bx, c->by, px, py);
        return shrink(on, c->radius, 0);
    }
    return outline_point_distance(feature_outline(layer, f, context), px, py);
}

Closest feature_distance(const Layer& layer_a, const Feature& a, const Layer& layer_b, const Feature& b,
                         const OutlineContext& context)
{
    auto ca = capsule_of(layer_a, a);
    auto cb = capsule_of(layer_b, b);
    if (ca && cb) {
        Closest centres = segment_segment(ca->ax, ca->ay, ca->bx, ca->by, cb->ax, cb->ay, cb->bx, cb->by);
        return shrink(centres, ca->radius, cb->radius);
    }
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
    for (std::size_t i : index.query(bounds)) {
        if (i >= layer.features.size()) continue;
        Box box = index.box(i);
        if (!edges_meet_box(area_of, box)) {
            // No edge crosses the box: it lies wholly inside or wholly outside.
            IntPoint middle{box.xmin + (box.xmax - box.xmin) / 2, box.ymin + (box.ymax - box.ymin) / 2};
            if (locate(middle, area_of) == Where::Inside) hits.push_back(i);
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
