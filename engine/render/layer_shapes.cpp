#include "engine/render/layer_shapes.h"

#include "engine/geometry/geometry.h"

#include <cmath>
#include <cstdint>
#include <mutex>
#include <unordered_map>

namespace kesto::render {

namespace {
bool meets(const Box& a, const Box& b)
{
    return !(a.xmax < b.xmin || b.xmax < a.xmin || a.ymax < b.ymin || b.ymax < a.ymin);
}

// The centre line of a line or arc, the centre of a pad.
ClipperLib::Path centre_line(const Feature& f)
{
    switch (f.kind) {
    case FeatureKind::Line: return {{f.a.x, f.a.y}, {f.b.x, f.b.y}};
    case FeatureKind::Arc: return geom::arc_points(f.a, f.b, f.c, f.cw);
    case FeatureKind::Pad: return {{f.a.x, f.a.y}};
    default: return {};
    }
}

bool is_text(const Feature& f) { return f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode; }
} // namespace

namespace {

// A digest of a surface's contours, to know a kept outline still fits it.
std::uint64_t digest(const Surface& surface)
{
    std::uint64_t h = 1469598103934665603ull;
    auto mix = [&h](std::int64_t v) { h = (h ^ std::uint64_t(v)) * 1099511628211ull; };
    for (const Contour& c : surface.contours) {
        mix(c.island), mix(c.start.x), mix(c.start.y), mix(std::int64_t(c.segments.size()));
        for (const Segment& s : c.segments) mix(s.end.x), mix(s.end.y), mix(s.centre.x), mix(s.centre.y), mix(s.arc * 2 + s.cw);
    }
    return h;
}

bool same(const Feature& a, const Feature& b)
{
    return a.kind == b.kind && a.polarity == b.polarity && a.a == b.a && a.b == b.b && a.c == b.c && a.body == b.body &&
           a.symbol == b.symbol && a.angle == b.angle && a.mirror == b.mirror && a.resize == b.resize;
}

// Outlines of surfaces (a union of their contours, the costly outline) kept
// between drawings of windows of a layer: a pour that spans many of the
// viewer's tiles is outlined once. Each is checked against its feature and
// a digest of its contours, so an edit of either makes it anew.
struct KeptOutline {
    const Layer* layer = nullptr;
    size_t position = 0;
    Feature feature;
    std::uint64_t digest = 0;
    ClipperLib::Paths paths;
};
constexpr size_t kMostKeptOutlines = 100000;

ClipperLib::Paths surface_outline(const Layer& layer, size_t position, const geom::OutlineContext& context)
{
    static std::mutex lock;
    static auto* kept = new std::unordered_map<std::uint64_t, KeptOutline>();
    const Feature& f = layer.features[position];
    if (f.kind != FeatureKind::Surface || f.body >= layer.surfaces.size()) return geom::feature_outline(layer, f, context);
    const std::uint64_t key = std::uint64_t(reinterpret_cast<std::uintptr_t>(&layer)) * 31 + position;
    const std::uint64_t d = digest(layer.surfaces[f.body]);
    {
        std::lock_guard<std::mutex> hold(lock);
        auto it = kept->find(key);
        if (it != kept->end() && it->second.layer == &layer && it->second.position == position &&
            same(it->second.feature, f) && it->second.digest == d)
            return it->second.paths;
    }
    ClipperLib::Paths paths = geom::feature_outline(layer, f, context);
    std::lock_guard<std::mutex> hold(lock);
    if (kept->size() >= kMostKeptOutlines) kept->clear();
    (*kept)[key] = KeptOutline{&layer, position, f, d, paths};
    return paths;
}

// The exposure of one feature, if it is drawn: false when it is left out.
bool feature_shape(const Layer& layer, const Feature& f, const geom::OutlineContext& context, const Box& window,
                   const DrawStyle& style, Shape& s, size_t kept_position = SIZE_MAX)
{
    if (!style.texts && is_text(f)) return false;
    const bool stroked = f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc;
    s.dark = f.polarity == Polarity::Positive;
    if (!style.widths && stroked) {
        s.hairlines.push_back(centre_line(f));
    } else {
        if (!window.empty() && !meets(geom::feature_box(layer, f, context), window)) return false;
        s.paths = kept_position == SIZE_MAX ? geom::feature_outline(layer, f, context)
                                            : surface_outline(layer, kept_position, context);
        double area = 0;
        for (const auto& path : s.paths) area += std::abs(ClipperLib::Area(path));
        if (area == 0) { // no area: exposes nothing on film, a hairline in pictures
            s.paths.clear();
            s.hairlines.push_back(centre_line(f));
        }
    }
    return !s.paths.empty() || (!s.hairlines.empty() && !s.hairlines.front().empty());
}
} // namespace

std::vector<Shape> layer_shapes(const Layer& layer, const geom::OutlineContext& context, const Box& window,
                                const std::function<bool(const Feature&, size_t)>& pick, const DrawStyle& style)
{
    std::vector<Shape> shapes;
    shapes.reserve(layer.features.size());
    for (size_t i = 0; i < layer.features.size(); ++i) {
        const Feature& f = layer.features[i];
        if (pick && !pick(f, i)) continue;
        Shape s;
        if (feature_shape(layer, f, context, window, style, s)) shapes.push_back(std::move(s));
    }
    return shapes;
}

std::vector<Shape> layer_shapes(const Layer& layer, const geom::OutlineContext& context,
                                const std::vector<size_t>& positions,
                                const std::function<bool(const Feature&, size_t)>& pick, const DrawStyle& style)
{
    std::vector<Shape> shapes;
    shapes.reserve(positions.size());
    for (size_t i : positions) {
        const Feature& f = layer.features[i];
        if (pick && !pick(f, i)) continue;
        Shape s;
        if (feature_shape(layer, f, context, Box{}, style, s, i)) shapes.push_back(std::move(s));
    }
    return shapes;
}

Box visible_box(const Canvas& canvas)
{
    if (!valid(canvas)) return Box{};
    Box box;
    box.xmin = static_cast<Coord>(canvas.origin_x);
    box.ymin = static_cast<Coord>(canvas.origin_y);
    box.xmax = static_cast<Coord>(canvas.origin_x + canvas.width / canvas.scale) + 1;
    box.ymax = static_cast<Coord>(canvas.origin_y + canvas.height / canvas.scale) + 1;
    return box;
}

} // namespace kesto::render
