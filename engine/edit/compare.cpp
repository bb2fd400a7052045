#include "engine/edit/compare.h"

#include "engine/edit/resize.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <cmath>

namespace kesto::edit {

using geom::Paths;

Point point_inside(const Paths& island)
{
    const Box box = geom::box_of(island);
    const Point centre{(box.xmin + box.xmax) / 2, (box.ymin + box.ymax) / 2};
    if (geom::locate({centre.x, centre.y}, island) == geom::Where::Inside) return centre;
    // Else the middle of the widest run of a horizontal scan line through the centre.
    const double y = double(centre.y);
    std::vector<double> xs;
    for (const auto& path : island)
        for (size_t i = 0; i < path.size(); ++i) {
            const auto& a = path[i];
            const auto& b = path[(i + 1) % path.size()];
            if ((a.Y <= y) == (b.Y <= y)) continue;
            xs.push_back(double(a.X) + (y - double(a.Y)) * double(b.X - a.X) / double(b.Y - a.Y));
        }
    std::sort(xs.begin(), xs.end());
    double best = -1, at = double(centre.x);
    for (size_t i = 0; i + 1 < xs.size(); i += 2)
        if (xs[i + 1] - xs[i] > best) {
            best = xs[i + 1] - xs[i];
            at = (xs[i] + xs[i + 1]) / 2;
        }
    return Point{Coord(std::llround(at)), centre.y};
}

namespace {

void collect(const Paths& only, DifferenceSide side, Coord tolerance, std::vector<Difference>& out)
{
    Paths kept = only;
    if (tolerance > 0 && !kept.empty()) {
        kept = geom::offset(kept, -double(tolerance) / 2, geom::Join::Miter);
        // Grown back mitred, so square corners come back exactly (a round
        // grow would cut every corner of a real difference); the raw
        // difference bounds the result.
        if (!kept.empty()) kept = geom::intersect(geom::offset(kept, double(tolerance) / 2, geom::Join::Miter), only);
    }
    for (const Surface& body : islands_of(kept)) {
        Paths island = geom::surface_outline(body);
        Difference d;
        d.side = side;
        d.area = geom::area(island);
        if (d.area <= 0) continue;
        d.box = geom::box_of(island);
        d.inside = point_inside(island);
        d.outline = std::move(island);
        out.push_back(std::move(d));
    }
}

} // namespace

std::vector<Difference> compare_images(const Paths& first, const Paths& second, Coord tolerance)
{
    std::vector<Difference> out;
    collect(geom::subtract(first, second), DifferenceSide::OnlyFirst, tolerance, out);
    collect(geom::subtract(second, first), DifferenceSide::OnlySecond, tolerance, out);
    std::stable_sort(out.begin(), out.end(), [](const Difference& a, const Difference& b) { return a.area > b.area; });
    return out;
}

} // namespace kesto::edit
