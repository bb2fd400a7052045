#include "engine/edit/outline_drills.h"

#include <cmath>

namespace kesto::edit {

namespace {

constexpr double kJoin = 1000;  // ends within 1 um meet

struct End {
    Point at;
    double dx, dy;  // unit direction from the end into its feature
};

// The direction of travel into an arc's body at one of its ends.
void arc_direction(const Feature& f, const Point& end, bool start, double& dx, double& dy)
{
    const double rx = double(end.x - f.c.x), ry = double(end.y - f.c.y);
    // Counter-clockwise travel turns the radius a quarter left.
    double tx = -ry, ty = rx;
    if (f.cw) tx = -tx, ty = -ty;
    if (!start) tx = -tx, ty = -ty;  // from the end point back into the arc
    const double len = std::hypot(tx, ty);
    dx = len > 0 ? tx / len : 0, dy = len > 0 ? ty / len : 0;
}

} // namespace

std::vector<Point> outline_corner_drills(const Layer& outline, Coord offset, double tolerance_deg)
{
    std::vector<End> ends;
    for (const Feature& f : outline.features) {
        if (f.polarity != Polarity::Positive) continue;
        if (f.kind == FeatureKind::Line) {
            const double dx = double(f.b.x - f.a.x), dy = double(f.b.y - f.a.y), len = std::hypot(dx, dy);
            if (len == 0) continue;
            ends.push_back({f.a, dx / len, dy / len});
            ends.push_back({f.b, -dx / len, -dy / len});
        } else if (f.kind == FeatureKind::Arc) {
            End a{f.a, 0, 0}, b{f.b, 0, 0};
            arc_direction(f, f.a, true, a.dx, a.dy);
            arc_direction(f, f.b, false, b.dx, b.dy);
            ends.push_back(a);
            ends.push_back(b);
        }
    }
    const double straight = std::cos((180.0 - tolerance_deg) * M_PI / 180.0);
    std::vector<Point> drills;
    for (std::size_t i = 0; i < ends.size(); ++i)
        for (std::size_t j = i + 1; j < ends.size(); ++j) {
            const End& a = ends[i];
            const End& b = ends[j];
            if (std::hypot(double(a.at.x - b.at.x), double(a.at.y - b.at.y)) > kJoin) continue;
            // The two features leave the joint at an angle; straight on is
            // 180 degrees, so a turn above the tolerance is a cosine above
            // that of (180 - tolerance).
            const double cosine = a.dx * b.dx + a.dy * b.dy;
            if (cosine <= straight) continue;
            double bx = a.dx + b.dx, by = a.dy + b.dy;
            const double len = std::hypot(bx, by);
            if (len < 1e-9) continue;
            bx /= len, by /= len;
            const Point p{a.at.x + Coord(std::llround(bx * double(offset))), a.at.y + Coord(std::llround(by * double(offset)))};
            bool known = false;
            for (const Point& q : drills) known = known || std::hypot(double(p.x - q.x), double(p.y - q.y)) <= kJoin;
            if (!known) drills.push_back(p);
        }
    return drills;
}

} // namespace kesto::edit
