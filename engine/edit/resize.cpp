#include "engine/edit/resize.h"

#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/grow.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace kesto::edit {
namespace {

bool positive(double v) { return std::isfinite(v) && v > 0; }
bool not_negative(double v) { return std::isfinite(v) && v >= 0; }

} // namespace

std::optional<Symbol> grown_symbol(const Symbol& symbol, double delta)
{
    using F = SymbolFamily;
    Symbol s = symbol;
    auto& p = s.p;
    switch (s.family) {
    case F::Round: case F::Square: case F::Butterfly: case F::SquareButterfly: case F::Hole:
        p[0] += delta;
        if (!positive(p[0])) return std::nullopt;
        break;
    case F::Rect: case F::Oval: case F::Diamond: case F::Ellipse: case F::Triangle: case F::HalfOval:
    case F::Octagon: case F::HexLong: case F::HexShort: case F::RectChamfered:
        p[0] += delta;
        p[1] += delta;
        if (!positive(p[0]) || !positive(p[1])) return std::nullopt;
        break;
    case F::RectRounded:
        p[0] += delta;
        p[1] += delta;
        // An offset corner keeps its centre: the radius follows the edges.
        p[2] = std::max(0.0, p[2] + delta / 2);
        if (!positive(p[0]) || !positive(p[1])) return std::nullopt;
        break;
    case F::RoundDonut: case F::SquareDonut: case F::SquareRoundDonut:
        p[0] += delta;
        p[1] -= delta;
        if (!positive(p[0]) || !not_negative(p[1]) || p[1] >= p[0]) return std::nullopt;
        break;
    case F::RectDonut: case F::OvalDonut:
        p[0] += delta;
        p[1] += delta;
        p[2] += delta;
        if (!positive(p[0]) || !positive(p[1]) || !positive(p[2]) || 2 * p[2] >= std::min(p[0], p[1]))
            return std::nullopt;
        break;
    case F::RoundThermalRounded: case F::RoundThermalSquared: case F::SquareThermal: case F::SquareThermalOpen:
    case F::SquareRoundThermal:
        p[0] += delta;
        p[1] -= delta;
        p[4] -= delta;
        if (!positive(p[0]) || !not_negative(p[1]) || p[1] >= p[0] || !not_negative(p[4])) return std::nullopt;
        break;
    default:
        return std::nullopt;
    }
    return s;
}

Surface surface_of(const geom::Paths& outline)
{
    Surface out;
    for (Surface& island : islands_of(outline))
        for (Contour& c : island.contours) out.contours.push_back(std::move(c));
    return out;
}

namespace {

Contour contour_of(const geom::Path& path, bool island)
{
    Contour c;
    c.island = island;
    // Clipper gives islands counter-clockwise; features files want them clockwise.
    geom::Path points = path;
    if (ClipperLib::Orientation(points) == island) std::reverse(points.begin(), points.end());
    c.start = Point{points.front().X, points.front().Y};
    for (size_t i = 1; i <= points.size(); ++i) {
        const auto& q = points[i % points.size()];
        c.segments.push_back(Segment{Point{q.X, q.Y}, Point{}, false, false});
    }
    return c;
}

void collect_islands(const ClipperLib::PolyNode& node, std::vector<Surface>& out)
{
    for (const ClipperLib::PolyNode* island : node.Childs) {
        if (island->Contour.size() < 3) continue;
        Surface s;
        s.contours.push_back(contour_of(island->Contour, true));
        for (const ClipperLib::PolyNode* hole : island->Childs) {
            if (hole->Contour.size() >= 3) s.contours.push_back(contour_of(hole->Contour, false));
            collect_islands(*hole, out);
        }
        out.push_back(std::move(s));
    }
}

} // namespace

std::vector<Surface> islands_of(const geom::Paths& outline)
{
    ClipperLib::Clipper clipper;
    clipper.AddPaths(outline, ClipperLib::ptSubject, true);
    ClipperLib::PolyTree tree;
    clipper.Execute(ClipperLib::ctUnion, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    return islands_of(tree);
}

std::vector<Surface> islands_of(const ClipperLib::PolyTree& tree)
{
    std::vector<Surface> out;
    collect_islands(tree, out);
    return out;
}

geom::Paths resize_polygon(const geom::Path& polygon, double delta)
{
    if (polygon.size() < 3) return {};
    geom::Path path = polygon;
    if (!ClipperLib::Orientation(path)) std::reverse(path.begin(), path.end());
    return geom::offset({path}, delta / 2, geom::Join::Miter);
}

ResizeCount resize_features(Layer& layer, const std::vector<bool>& picked, double delta, bool square_corners,
                            ResizeKinds kinds)
{
    ResizeCount count;
    std::map<std::int32_t, std::int32_t> resized_symbol; // old index -> new, -1 when it cannot grow
    auto symbol_for = [&](std::int32_t old) {
        auto known = resized_symbol.find(old);
        if (known != resized_symbol.end()) return known->second;
        std::int32_t index = -1;
        if (old >= 0 && static_cast<size_t>(old) < layer.symbols.size()) {
            if (auto s = grown_symbol(layer.symbols[static_cast<size_t>(old)], delta)) {
                s->name = odb::standard_symbol_name(*s, layer.units);
                s->units = layer.units;
                index = symbol_index(layer, *s);
            }
        }
        resized_symbol[old] = index;
        return index;
    };
    const auto join = square_corners ? geom::Join::Miter : geom::Join::Round;
    for (size_t i = 0; i < layer.features.size() && i < picked.size(); ++i) {
        if (!picked[i]) continue;
        Feature& f = layer.features[i];
        const bool stroke = f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc;
        if (kinds == ResizeKinds::LinesAndArcs && !stroke) continue;
        if (stroke || f.kind == FeatureKind::Pad) {
            const std::int32_t to = symbol_for(f.symbol);
            if (to < 0) {
                ++count.skipped;
                continue;
            }
            f.symbol = to;
            ++count.resized;
        } else if (f.kind == FeatureKind::Surface && f.body < layer.surfaces.size()) {
            const geom::Paths grown = geom::grow(geom::surface_outline(layer.surfaces[f.body]), delta / 2, join);
            if (grown.empty()) {
                ++count.skipped;
                continue;
            }
            layer.surfaces[f.body] = surface_of(grown);
            ++count.resized;
        }
    }
    return count;
}

} // namespace kesto::edit
