#include "engine/edit/transform.h"

#include <cmath>

namespace kesto::edit {

Placement moved(Coord dx, Coord dy)
{
    Placement p;
    p.offset = Point{dx, dy};
    return p;
}

Placement rotated(Point origin, double angle)
{
    Placement p;
    p.origin = origin;
    p.angle = angle;
    return p;
}

Placement mirrored(Point origin)
{
    Placement p;
    p.origin = origin;
    p.mirror = true;
    return p;
}

double normal_angle(double degrees)
{
    double a = std::fmod(degrees, 360.0);
    if (a < 0) a += 360.0;
    // Keep exact right angles exact after the arithmetic above.
    const double r = std::round(a);
    if (std::fabs(a - r) < 1e-9) a = r;
    return a == 360.0 ? 0.0 : a;
}

bool reverses(const Placement& p) { return p.mirror != ((p.scale_x < 0) != (p.scale_y < 0)); }

Point apply(const Placement& p, Point v)
{
    double x = static_cast<double>(v.x - p.origin.x);
    double y = static_cast<double>(v.y - p.origin.y);
    if (p.mirror) x = -x;
    const double a = normal_angle(p.angle);
    if (a != 0) {
        // Quarter turns exactly, any other angle through sine and cosine.
        double c, s;
        if (a == 90) c = 0, s = 1;
        else if (a == 180) c = -1, s = 0;
        else if (a == 270) c = 0, s = -1;
        else {
            const double r = a * M_PI / 180.0;
            c = std::cos(r);
            s = std::sin(r);
        }
        // Clockwise: (x, y) -> (x c + y s, -x s + y c).
        const double rx = x * c + y * s;
        const double ry = -x * s + y * c;
        x = rx;
        y = ry;
    }
    x *= p.scale_x;
    y *= p.scale_y;
    return Point{p.origin.x + std::llround(x) + p.offset.x, p.origin.y + std::llround(y) + p.offset.y};
}

namespace {

void place_orientation(Feature& f, const Placement& p)
{
    // The placement's turn and mirror with negative scales folded in: a
    // negative x scale is a mirror after the turn, a negative y scale a mirror
    // and a half turn, and a mirror after a turn reverses the turn.
    double angle = p.angle;
    bool mirror = p.mirror;
    if (p.scale_y < 0) angle += 180;
    if ((p.scale_x < 0) != (p.scale_y < 0)) {
        angle = -angle;
        mirror = !mirror;
    }
    // R(a) M^m R(f) M^fm = R(a -/+ f) M^(m xor fm).
    f.angle = normal_angle(mirror ? angle - f.angle : angle + f.angle);
    f.mirror = f.mirror != mirror;
}

} // namespace

void place(Layer& layer, Feature& f, const Placement& p)
{
    if (p.identity()) return;
    const bool flip = reverses(p);
    switch (f.kind) {
    case FeatureKind::Line:
        f.a = apply(p, f.a);
        f.b = apply(p, f.b);
        break;
    case FeatureKind::Arc:
        f.a = apply(p, f.a);
        f.b = apply(p, f.b);
        f.c = apply(p, f.c);
        if (flip) f.cw = !f.cw;
        break;
    case FeatureKind::Pad:
    case FeatureKind::Text:
    case FeatureKind::Barcode:
        f.a = apply(p, f.a);
        place_orientation(f, p);
        break;
    case FeatureKind::Surface:
        if (f.body < layer.surfaces.size()) {
            for (Contour& contour : layer.surfaces[f.body].contours) {
                contour.start = apply(p, contour.start);
                for (Segment& s : contour.segments) {
                    s.end = apply(p, s.end);
                    if (s.arc) {
                        s.centre = apply(p, s.centre);
                        if (flip) s.cw = !s.cw;
                    }
                }
            }
        }
        break;
    }
}

} // namespace kesto::edit
