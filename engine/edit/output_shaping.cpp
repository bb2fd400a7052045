#include "engine/edit/output_shaping.h"

#include "engine/edit/layer_edit.h"
#include "engine/edit/resize.h"
#include "engine/edit/transform.h"

#include <cmath>

namespace kesto::edit {

namespace {

bool inside(const geom::Paths& area, const Point& p)
{
    int windings = 0;
    for (const geom::Path& path : area) {
        const int in = ClipperLib::PointInPolygon(ClipperLib::IntPoint(p.x, p.y), path);
        if (in != 0) windings += ClipperLib::Orientation(path) ? 1 : -1;
    }
    return windings > 0;
}

// Keeps what lies inside `area`: whole features inside stay as they are,
// features across its edge become surfaces of their part inside.
void cut(Layer& layer, const geom::Paths& area, const geom::OutlineContext& context)
{
    const Box bounds = geom::box_of(area);
    std::vector<Feature> kept;
    kept.reserve(layer.features.size());
    for (const Feature& f : layer.features) {
        const geom::Paths outline = geom::feature_outline(layer, f, context);
        if (outline.empty()) {
            if (inside(area, f.a)) kept.push_back(f);
            continue;
        }
        const Box box = geom::box_of(outline);
        if (box.xmax < bounds.xmin || box.xmin > bounds.xmax || box.ymax < bounds.ymin || box.ymin > bounds.ymax) continue;
        const geom::Paths part = geom::intersect(outline, area);
        const double whole = geom::area(geom::unite(outline)), within = geom::area(part);
        if (within <= 0) continue;
        if (whole - within <= whole * 1e-9 + 1) {
            kept.push_back(f);
            continue;
        }
        Feature piece = f;
        piece.kind = FeatureKind::Surface;
        piece.symbol = -1;
        piece.body = std::uint32_t(layer.surfaces.size());
        layer.surfaces.push_back(surface_of(part));
        kept.push_back(piece);
    }
    layer.features = std::move(kept);
}

void place_all(Layer& layer, const Placement& p)
{
    for (Feature& f : layer.features) place(layer, f, p);
}

} // namespace

bool shape_for_output(const Step& step, const Layer& layer, const OutputShaping& how,
                      const geom::OutlineContext& context, Layer& out, std::vector<std::string>& notes,
                      std::string& problem)
{
    if (how.scale_x == 0 || how.scale_y == 0 || !std::isfinite(how.scale_x) || !std::isfinite(how.scale_y) ||
        !std::isfinite(how.angle) || !std::isfinite(how.resize)) {
        problem = "a scale of 0, or a number that is not finite, would collapse the layer";
        return false;
    }
    out = layer;
    if (how.resize != 0) {
        const ResizeCount count = resize_features(out, std::vector<bool>(out.features.size(), true), how.resize, false);
        if (count.skipped) notes.push_back(std::to_string(count.skipped) + " features could not take the resize and keep their size");
    }

    const geom::Paths profile = step.has_profile ? geom::unite(geom::surface_outline(step.profile)) : geom::Paths{};
    geom::Paths area;
    if (how.cut_profile) {
        if (!step.has_profile) {
            problem = "step " + step.name + " has no profile to cut to";
            return false;
        }
        area = profile;
    }
    if (!how.cut_polygons.empty()) {
        geom::Paths polygons;
        for (const geom::Path& p : how.cut_polygons) {
            geom::Path ring = p;
            if (!ClipperLib::Orientation(ring)) ClipperLib::ReversePath(ring);
            polygons.push_back(ring);
        }
        polygons = geom::unite(polygons);
        area = how.cut_profile ? geom::intersect(area, polygons) : polygons;
    }
    if (how.cut_profile || !how.cut_polygons.empty()) cut(out, area, context);

    if (how.reverse) {
        // The dark field the features are cleared from.
        geom::Paths field = !area.empty() ? area : profile;
        if (field.empty()) {
            const Box extent = geom::layer_box(out, context);
            if (!extent.empty())
                field = geom::unite({geom::rectangle(double(extent.xmin), double(extent.ymin), double(extent.xmax), double(extent.ymax))});
        }
        if (field.empty()) {
            for (Feature& f : out.features) f.polarity = f.polarity == Polarity::Positive ? Polarity::Negative : Polarity::Positive;
        } else {
            expose_negative(out, surface_of(field));
        }
    }

    if (how.mirror) {
        Placement m = mirrored(how.mirror_point);
        if (how.mirror_in_y) m.angle = 180; // x -> -x, then a half turn: y -> -y
        place_all(out, m);
    }
    if (how.angle != 0) place_all(out, rotated(how.rotate_point, how.angle));
    if (how.scale_x != 1 || how.scale_y != 1) {
        Placement s;
        s.origin = how.scale_point;
        s.scale_x = how.scale_x;
        s.scale_y = how.scale_y;
        place_all(out, s);
    }
    return true;
}

} // namespace kesto::edit
