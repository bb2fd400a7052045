#include "engine/edit/sharp_angles.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace kesto::edit {

namespace {

const double kPi = 3.14159265358979323846;

struct Arm {
    double ux, uy;  // unit direction away from the corner
    double length;  // how far the copper runs that way
};

Point at(Point p, const Arm& a, double t)
{
    return {p.x + std::llround(a.ux * t), p.y + std::llround(a.uy * t)};
}

// The fill of the corner at `p` between two arms, or nothing when the corner
// is not sharp.
bool corner_fill(Point p, const Arm& a, const Arm& b, const SharpAngleRule& rule, Surface& out)
{
    const double cosine = std::clamp(a.ux * b.ux + a.uy * b.uy, -1.0, 1.0);
    const double angle = std::acos(cosine);
    if (angle <= 1e-9 || angle >= rule.max_angle * kPi / 180) return false;
    // Tangent length of a circle of the radius in the corner, held to the arms.
    double radius = double(rule.radius);
    double t = radius / std::tan(angle / 2);
    const double reach = std::min(a.length, b.length);
    if (t > reach) t = reach, radius = t * std::tan(angle / 2);
    if (t < 1) return false;
    const Point ta = at(p, a, t), tb = at(p, b, t);
    Contour c;
    c.start = p;
    c.segments.push_back({ta, {}, false, false});
    if (rule.round && radius >= 1) {
        // The centre on the bisector; the arc runs the short way, bulging to the corner.
        double bx = a.ux + b.ux, by = a.uy + b.uy;
        const double n = std::hypot(bx, by);
        bx /= n, by /= n;
        const double d = radius / std::sin(angle / 2);
        const Point centre{p.x + std::llround(bx * d), p.y + std::llround(by * d)};
        // From a's tangent point to b's: clockwise when b lies clockwise of a.
        const bool cw = a.ux * b.uy - a.uy * b.ux < 0;
        c.segments.push_back({tb, centre, true, !cw});
    } else {
        c.segments.push_back({tb, {}, false, false});
    }
    c.segments.push_back({p, {}, false, false});
    out.contours.push_back(std::move(c));
    return true;
}

Arm arm(Point from, Point to)
{
    const double dx = double(to.x - from.x), dy = double(to.y - from.y);
    const double len = std::hypot(dx, dy);
    return {dx / len, dy / len, len};
}

} // namespace

std::size_t fill_sharp_angles(Layer& layer, const std::vector<bool>& picked, const SharpAngleRule& rule)
{
    struct End {
        Point p;
        Arm arm;
    };
    std::vector<End> ends;            // every end of a picked line, looking along it
    std::vector<std::size_t> strokes; // the picked lines
    for (std::size_t i = 0; i < layer.features.size() && i < picked.size(); ++i) {
        const Feature& f = layer.features[i];
        if (!picked[i] || f.kind != FeatureKind::Line || f.polarity != Polarity::Positive || f.a == f.b) continue;
        strokes.push_back(i);
        ends.push_back({f.a, arm(f.a, f.b)});
        ends.push_back({f.b, arm(f.b, f.a)});
    }
    std::vector<Surface> fills;
    // Ends meeting at one point: every pair of arms there.
    std::map<std::pair<Coord, Coord>, std::vector<Arm>> at_point;
    for (const End& e : ends) at_point[{e.p.x, e.p.y}].push_back(e.arm);
    for (auto& [where, arms] : at_point)
        for (std::size_t i = 0; i < arms.size(); ++i)
            for (std::size_t j = i + 1; j < arms.size(); ++j) {
                Surface s;
                if (corner_fill({where.first, where.second}, arms[i], arms[j], rule, s)) fills.push_back(std::move(s));
            }
    if (rule.joints)
        for (const End& e : ends)
            for (std::size_t k : strokes) {
                const Feature& f = layer.features[k];
                if (e.p == f.a || e.p == f.b) continue;
                // Does the end lie on the line's middle (within a nanometre)?
                const Arm along = arm(f.a, f.b);
                const double sx = double(e.p.x - f.a.x), sy = double(e.p.y - f.a.y);
                const double s = sx * along.ux + sy * along.uy;
                if (s <= 0 || s >= along.length || std::fabs(sx * along.uy - sy * along.ux) > 1) continue;
                const Point foot = e.p;
                for (const Arm& side : {Arm{along.ux, along.uy, along.length - s}, Arm{-along.ux, -along.uy, s}}) {
                    Surface fill;
                    if (corner_fill(foot, e.arm, side, rule, fill)) fills.push_back(std::move(fill));
                }
            }
    for (Surface& s : fills) {
        layer.surfaces.push_back(std::move(s));
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(layer.surfaces.size() - 1);
        layer.features.push_back(f);
    }
    return fills.size();
}

} // namespace kesto::edit
