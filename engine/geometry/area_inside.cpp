#include "engine/geometry/area_inside.h"

#include <algorithm>

namespace kesto::geom {

double area_inside(const Paths& image, const Paths& region)
{
    if (image.empty() || region.empty()) return 0;
    const Box outer = box_of(region);
    const std::vector<Edge> edges = edges_of(region);
    double total = 0;
    for (const Path& path : image) {
        if (path.size() < 3) continue;
        const Box box = box_of(path);
        if (box.xmax < outer.xmin || box.xmin > outer.xmax || box.ymax < outer.ymin || box.ymin > outer.ymax) continue;
        const double signed_area = ClipperLib::Area(path);
        const bool cut = std::any_of(edges.begin(), edges.end(), [&](const Edge& e) {
            return e.xmax >= double(box.xmin) && e.xmin <= double(box.xmax) && e.ymax >= double(box.ymin) &&
                   e.ymin <= double(box.ymax) && segment_meets_box(e, box);
        });
        if (!cut) {
            if (locate(path.front(), region) == Where::Inside) total += signed_area;
            continue;
        }
        // The path's own interior clipped; a hole takes its clipped part away.
        Path island = path;
        if (signed_area < 0) std::reverse(island.begin(), island.end());
        const double inside = area(intersect({island}, region));
        total += signed_area < 0 ? -inside : inside;
    }
    return total;
}

} // namespace kesto::geom
