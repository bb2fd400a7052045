#include "engine/dfm/teardrops.h"

#include <cmath>

namespace kesto::dfm {
namespace {

constexpr double kDegree = 3.14159265358979323846 / 180;
constexpr double kMaxTangentAngle = 70 * kDegree;
constexpr double kDefaultTangentAngle = 60 * kDegree;

// A point of the site's frame (x along the line, y to its left) on the board.
Point board_point(const TeardropSite& s, double x, double y)
{
    return {s.centre.x + Coord(std::llround(x * s.ux - y * s.uy)), s.centre.y + Coord(std::llround(x * s.uy + y * s.ux))};
}

} // namespace

Coord teardrop_width(const TeardropSite& site, double ratio)
{
    const double r = double(site.radius);
    const double widest = 2 * (r * std::sin(kMaxTangentAngle) - std::abs(double(site.offset)));
    double width = ratio > 0 ? ratio * 2 * double(site.half_width) : 2 * (r * std::sin(kDefaultTangentAngle) - std::abs(double(site.offset)));
    if (width > widest) width = widest;
    return Coord(std::llround(width));
}

std::optional<Surface> straight_teardrop(const TeardropSite& site, Coord width)
{
    const double r = double(site.radius), h = double(site.half_width), e = double(site.offset);
    if (double(width) <= 2 * h || std::abs(e) >= h) return std::nullopt;
    Point tail[2], touch[2];
    for (int side = 0; side < 2; ++side) {
        const double s = side == 0 ? 1 : -1;
        // In a frame flipped to this side: the tangent meets the circle at
        // height yt and runs down to the line's edge at height ye.
        const double yt = double(width) / 2 + s * e, ye = h + s * e;
        if (yt >= r || ye <= 0) return std::nullopt;
        const double sin_phi = yt / r, cos_phi = std::sqrt(1 - sin_phi * sin_phi);
        const double tx = r * cos_phi;
        const double t = (yt - ye) / cos_phi; // along the tangent (sin_phi, -cos_phi)
        const double px = tx + t * sin_phi;
        if (px > double(site.reach)) return std::nullopt;
        touch[side] = board_point(site, tx, s * yt);
        tail[side] = board_point(site, px, s * ye);
    }
    Contour c;
    c.island = true;
    c.start = tail[0];
    for (Point p : {touch[0], site.centre, touch[1], tail[1], tail[0]}) c.segments.push_back({p, {}, false, false});
    Surface out;
    out.contours.push_back(std::move(c));
    return out;
}

std::optional<Surface> arc_teardrop(const TeardropSite& site, double arc_degrees)
{
    const double r = double(site.radius), h = double(site.half_width), e = double(site.offset);
    if (arc_degrees <= 0) arc_degrees = 60;
    if (arc_degrees < 10) arc_degrees = 10;
    if (arc_degrees > 85) arc_degrees = 85;
    const double cos_t = std::cos(arc_degrees * kDegree);
    if (std::abs(e) >= h) return std::nullopt;
    Point line_touch[2], pad_touch[2], fillet[2];
    for (int side = 0; side < 2; ++side) {
        const double s = side == 0 ? 1 : -1;
        const double ye = h + s * e; // the line's edge, in the frame flipped to this side
        // A fillet circle of radius rho resting on the edge and touching the
        // pad from outside: its centre at (xf, ye + rho), |centre| = r + rho,
        // and the arc between the two touch points sweeps the angle asked.
        const double rho = (r * cos_t - ye) / (1 - cos_t);
        if (rho <= 0) return std::nullopt;
        const double yf = ye + rho;
        const double xf = std::sqrt((r + rho) * (r + rho) - yf * yf);
        if (xf > double(site.reach)) return std::nullopt;
        const double k = r / (r + rho);
        fillet[side] = board_point(site, xf, s * yf);
        line_touch[side] = board_point(site, xf, s * ye);
        pad_touch[side] = board_point(site, xf * k, s * yf * k);
    }
    // Counter-clockwise: the upper fillet (clockwise arc), the pad's centre,
    // the lower fillet (clockwise arc again), across the line.
    Contour c;
    c.island = true;
    c.start = line_touch[0];
    c.segments.push_back({pad_touch[0], fillet[0], true, true});
    c.segments.push_back({site.centre, {}, false, false});
    c.segments.push_back({pad_touch[1], {}, false, false});
    c.segments.push_back({line_touch[1], fillet[1], true, true});
    c.segments.push_back({line_touch[0], {}, false, false});
    Surface out;
    out.contours.push_back(std::move(c));
    return out;
}

} // namespace kesto::dfm
