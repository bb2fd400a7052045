#include "engine/geometry/strips.h"

#include <algorithm>

namespace kesto::geom {

namespace {

bool meets(const Box& a, const Box& b)
{
    return !a.empty() && !b.empty() && a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax;
}

bool within(const Box& inner, const Box& outer)
{
    return inner.xmin >= outer.xmin && inner.xmax <= outer.xmax && inner.ymin >= outer.ymin && inner.ymax <= outer.ymax;
}

} // namespace

std::vector<Piece> pieces_of(const Layer& layer, const OutlineContext& context)
{
    std::vector<Piece> out;
    out.reserve(layer.features.size());
    for (const Feature& f : layer.features) {
        Piece p;
        p.outline = feature_outline(layer, f, context);
        if (p.outline.empty()) continue;
        p.box = box_of(p.outline);
        p.positive = f.polarity == Polarity::Positive;
        out.push_back(std::move(p));
    }
    return out;
}

std::vector<Piece> pieces_of(const Paths& outline)
{
    std::vector<Piece> out;
    for (const Path& path : outline) {
        if (path.size() < 3) continue;
        Piece p;
        p.outline = {path};
        p.box = box_of(path);
        out.push_back(std::move(p));
    }
    return out;
}

std::vector<Box> strips_over(const Box& extent, const std::vector<Piece>& pieces, std::size_t per_strip)
{
    if (extent.empty()) return {};
    std::size_t vertices = 0;
    for (const Piece& p : pieces)
        for (const Path& path : p.outline) vertices += path.size();
    const Coord width = extent.xmax - extent.xmin;
    const std::size_t count = std::clamp<std::size_t>(vertices / std::max<std::size_t>(per_strip, 1), 1, 256);
    std::vector<Box> out;
    for (std::size_t k = 0; k < count; ++k) {
        Box b = extent;
        b.xmin = extent.xmin + Coord(double(width) * double(k) / double(count));
        b.xmax = k + 1 == count ? extent.xmax : extent.xmin + Coord(double(width) * double(k + 1) / double(count));
        out.push_back(b);
    }
    return out;
}

Paths painted_within(const std::vector<Piece>& pieces, const Box& strip)
{
    Painter painter;
    const Path frame = rectangle(double(strip.xmin), double(strip.ymin), double(strip.xmax), double(strip.ymax));
    for (const Piece& p : pieces) {
        if (!meets(p.box, strip)) continue;
        // Cut with a boolean: Sutherland-Hodgman keeps the winding but leaves
        // bridges along the cut that a later union can mistake.
        painter.add(within(p.box, strip) ? p.outline : intersect(p.outline, {frame}), p.positive);
    }
    return painter.image();
}

} // namespace kesto::geom
