#include "engine/render/layer_shapes.h"

#include "engine/geometry/geometry.h"

#include <cmath>

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
// The exposure of one feature, if it is drawn: false when it is left out.
bool feature_shape(const Layer& layer, const Feature& f, const geom::OutlineContext& context, const Box& window,
                   const DrawStyle& style, Shape& s)
{
    if (!style.texts && is_text(f)) return false;
    const bool stroked = f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc;
    s.dark = f.polarity == Polarity::Positive;
    if (!style.widths && stroked) {
        s.hairlines.push_back(centre_line(f));
    } else {
        if (!window.empty() && !meets(geom::feature_box(layer, f, context), window)) return false;
        s.paths = geom::feature_outline(layer, f, context);
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
        if (feature_shape(layer, f, context, Box{}, style, s)) shapes.push_back(std::move(s));
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
