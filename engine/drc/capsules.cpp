#include "engine/drc/capsules.h"

#include <algorithm>
#include <cmath>

namespace kesto::drc {
namespace {

struct Vec {
    double x, y;
};

// Closest points of segments p1-q1 and p2-q2 as parameters s, t in [0, 1].
void closest_parameters(Vec p1, Vec q1, Vec p2, Vec q2, double& s, double& t)
{
    const Vec d1{q1.x - p1.x, q1.y - p1.y}, d2{q2.x - p2.x, q2.y - p2.y}, r{p1.x - p2.x, p1.y - p2.y};
    const double a = d1.x * d1.x + d1.y * d1.y, e = d2.x * d2.x + d2.y * d2.y, f = d2.x * r.x + d2.y * r.y;
    if (a <= 0 && e <= 0) {
        s = t = 0;
        return;
    }
    if (a <= 0) {
        s = 0;
        t = std::clamp(f / e, 0.0, 1.0);
        return;
    }
    const double c = d1.x * r.x + d1.y * r.y;
    if (e <= 0) {
        t = 0;
        s = std::clamp(-c / a, 0.0, 1.0);
        return;
    }
    const double b = d1.x * d2.x + d1.y * d2.y, denom = a * e - b * b;
    s = denom > 0 ? std::clamp((b * f - c * e) / denom, 0.0, 1.0) : 0.0;
    t = (b * s + f) / e;
    if (t < 0) {
        t = 0;
        s = std::clamp(-c / a, 0.0, 1.0);
    } else if (t > 1) {
        t = 1;
        s = std::clamp((b - c) / a, 0.0, 1.0);
    }
}

} // namespace

Gap capsule_gap(const Capsule& a, const Capsule& b)
{
    // Work relative to a's start so the squares stay well inside a double's
    // exact range on boards of any size.
    const double ox = double(a.a.x), oy = double(a.a.y);
    const Vec p1{0, 0}, q1{a.b.x - ox, a.b.y - oy}, p2{b.a.x - ox, b.a.y - oy}, q2{b.b.x - ox, b.b.y - oy};
    double s, t;
    closest_parameters(p1, q1, p2, q2, s, t);
    const Vec c1{p1.x + (q1.x - p1.x) * s, p1.y + (q1.y - p1.y) * s};
    const Vec c2{p2.x + (q2.x - p2.x) * t, p2.y + (q2.y - p2.y) * t};
    const double dx = c2.x - c1.x, dy = c2.y - c1.y, d = std::hypot(dx, dy);
    Gap g;
    g.centre_distance = d;
    g.gap = Coord(std::llround(d - double(a.r) - double(b.r)));
    // The marker runs between the two outlines along the line of centres;
    // for concentric features both ends sit at the common centre.
    const double ux = d > 0 ? dx / d : 0, uy = d > 0 ? dy / d : 0;
    g.pa = {Coord(std::llround(ox + c1.x + ux * double(a.r))), Coord(std::llround(oy + c1.y + uy * double(a.r)))};
    g.pb = {Coord(std::llround(ox + c2.x - ux * double(b.r))), Coord(std::llround(oy + c2.y - uy * double(b.r)))};
    return g;
}

std::uint64_t PairSearch::cell_key(Coord x, Coord y) const
{
    auto index = [&](Coord v, Coord o) {
        const Coord c = (v - o) / size;
        return std::uint64_t(std::clamp<Coord>(v < o ? 0 : c, 0, 0xffffffffLL));
    };
    return (index(y, oy) << 32) | index(x, ox);
}

void PairSearch::build(const std::vector<Capsule>& caps, Coord reach)
{
    const Coord margin = std::max<Coord>(reach, 0) / 2 + 1;
    boxes.resize(caps.size());
    std::vector<Coord> extents(caps.size());
    for (std::size_t i = 0; i < caps.size(); ++i) {
        const Capsule& c = caps[i];
        const Coord h = c.r + margin;
        boxes[i] = {std::min(c.a.x, c.b.x) - h, std::min(c.a.y, c.b.y) - h, std::max(c.a.x, c.b.x) + h,
                    std::max(c.a.y, c.b.y) + h};
        extents[i] = std::max(boxes[i].xmax - boxes[i].xmin, boxes[i].ymax - boxes[i].ymin);
    }
    // The grid is sized for the typical capsule; anything much longer is
    // searched by its box instead of stretching every cell.
    std::vector<Coord> sorted = extents;
    std::nth_element(sorted.begin(), sorted.begin() + sorted.size() / 2, sorted.end());
    const Coord cap = std::max<Coord>(4 * sorted[sorted.size() / 2], 1);
    size = 1;
    Coord xmin = 0, ymin = 0;
    bool first = true;
    for (std::uint32_t i = 0; i < caps.size(); ++i) {
        if (extents[i] > cap) {
            large.push_back(i);
            continue;
        }
        small.push_back(i);
        size = std::max(size, extents[i]);
        const Coord cx = (boxes[i].xmin + boxes[i].xmax) / 2, cy = (boxes[i].ymin + boxes[i].ymax) / 2;
        xmin = first ? cx : std::min(xmin, cx);
        ymin = first ? cy : std::min(ymin, cy);
        first = false;
    }
    ox = xmin - size;
    oy = ymin - size;

    std::vector<std::pair<std::uint64_t, std::uint32_t>> keyed;
    keyed.reserve(small.size());
    for (std::uint32_t i : small)
        keyed.emplace_back(cell_key((boxes[i].xmin + boxes[i].xmax) / 2, (boxes[i].ymin + boxes[i].ymax) / 2), i);
    std::sort(keyed.begin(), keyed.end());
    members.resize(keyed.size());
    for (std::uint32_t k = 0; k < keyed.size(); ++k) {
        members[k] = keyed[k].second;
        if (cells.empty() || cells.back().key != keyed[k].first)
            cells.push_back({keyed[k].first, k, k + 1});
        else
            cells.back().end = k + 1;
    }
}

} // namespace kesto::drc
