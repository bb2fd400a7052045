#include "engine/render/layer_shapes.h"

namespace kesto::render {

namespace {
bool meets(const Box& a, const Box& b)
{
    return !(a.xmax < b.xmin || b.xmax < a.xmin || a.ymax < b.ymin || b.ymax < a.ymin);
}
} // namespace

std::vector<Shape> layer_shapes(const Layer& layer, const geom::OutlineContext& context, const Box& window,
                                const std::function<bool(const Feature&, size_t)>& pick)
{
    std::vector<Shape> shapes;
    shapes.reserve(layer.features.size());
    for (size_t i = 0; i < layer.features.size(); ++i) {
        const Feature& f = layer.features[i];
        if (pick && !pick(f, i)) continue;
        if (!window.empty() && !meets(geom::feature_box(layer, f, context), window)) continue;
        Shape s;
        s.paths = geom::feature_outline(layer, f, context);
        s.dark = f.polarity == Polarity::Positive;
        if (!s.paths.empty()) shapes.push_back(std::move(s));
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
