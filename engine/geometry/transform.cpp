#include "engine/geometry/transform.h"

#include <cmath>

namespace kesto::geom {

Point apply(const Transform& t, const Point& p)
{
    IntPoint q = place(Placement{t.origin, t.angle, t.mirror}, double(p.x - t.origin.x), double(p.y - t.origin.y));
    return Point{q.X + t.dx, q.Y + t.dy};
}

void transform_feature(Layer& layer, Feature& f, const Transform& t)
{
    f.a = apply(t, f.a);
    switch (f.kind) {
    case FeatureKind::Arc:
        f.c = apply(t, f.c);
        if (t.mirror) f.cw = !f.cw;
        [[fallthrough]];
    case FeatureKind::Line:
        f.b = apply(t, f.b);
        break;
    case FeatureKind::Pad:
    case FeatureKind::Text:
    case FeatureKind::Barcode: {
        // Turn(t) Mirror(t) Turn(f) Mirror(f): a mirror carries the feature's
        // own turn across it, reversed.
        double angle = std::fmod(t.mirror ? t.angle - f.angle : t.angle + f.angle, 360.0);
        f.angle = angle < 0 ? angle + 360.0 : angle;
        f.mirror = f.mirror != t.mirror;
        break;
    }
    case FeatureKind::Surface:
        if (f.body >= layer.surfaces.size()) break;
        for (Contour& contour : layer.surfaces[f.body].contours) {
            contour.start = apply(t, contour.start);
            for (Segment& seg : contour.segments) {
                seg.end = apply(t, seg.end);
                seg.centre = apply(t, seg.centre);
                if (t.mirror) seg.cw = !seg.cw;
            }
        }
        break;
    }
}

} // namespace kesto::geom
