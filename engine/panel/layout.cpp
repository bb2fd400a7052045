#include "engine/panel/layout.h"

#include <algorithm>

namespace kesto::panel {

Box grown(const Box& box, Coord by)
{
    if (box.empty()) return box;
    return Box{box.xmin - by, box.ymin - by, box.xmax + by, box.ymax + by};
}

bool overlap(const Box& a, const Box& b)
{
    return !a.empty() && !b.empty() && a.xmin < b.xmax && b.xmin < a.xmax && a.ymin < b.ymax && b.ymin < a.ymax;
}

bool inside(const Box& inner, const Box& outer)
{
    return !inner.empty() && !outer.empty() && inner.xmin >= outer.xmin && inner.xmax <= outer.xmax &&
           inner.ymin >= outer.ymin && inner.ymax <= outer.ymax;
}

std::vector<Point> banding_dots(const Box& area, const std::vector<Box>& keep_out, Coord dot, Coord pitch)
{
    std::vector<Point> out;
    if (area.empty() || dot <= 0 || pitch <= 0) return out;
    const Coord r = dot / 2;
    for (Coord y = area.ymin + r; y + (dot - r) <= area.ymax; y += pitch)
        for (Coord x = area.xmin + r; x + (dot - r) <= area.xmax; x += pitch) {
            const Box d{x - r, y - r, x - r + dot, y - r + dot};
            if (std::none_of(keep_out.begin(), keep_out.end(), [&](const Box& k) { return overlap(d, k) || inside(d, k); }))
                out.push_back(Point{x, y});
        }
    return out;
}

namespace {

struct Band {
    Box box;
    bool along_x;     // the band runs along X (bottom, top)
    const char* side;
    Coord next = 0;   // where the next coupon may start along the band
};

} // namespace

std::vector<CouponSlot> coupon_slots(const Box& panel, const Box& boards, Coord w, Coord h, int count, Coord clearance)
{
    std::vector<CouponSlot> out;
    if (panel.empty() || w <= 0 || h <= 0 || count <= 0) return out;
    const Box p = grown(panel, -clearance);
    const Box b = boards.empty() ? Box{p.xmin, p.ymin, p.xmin, p.ymin} : grown(boards, clearance);
    std::vector<Band> bands{{Box{p.xmin, p.ymin, p.xmax, b.ymin}, true, "bottom"},
                            {Box{p.xmin, b.ymax, p.xmax, p.ymax}, true, "top"},
                            {Box{p.xmin, b.ymin, b.xmin, b.ymax}, false, "left"},
                            {Box{b.xmax, b.ymin, p.xmax, b.ymax}, false, "right"}};
    for (Band& band : bands) band.next = band.along_x ? band.box.xmin : band.box.ymin;
    bool placed = true;
    while (int(out.size()) < count && placed) {
        placed = false;
        for (Band& band : bands) {
            if (int(out.size()) >= count) break;
            if (band.box.empty()) continue;
            const Coord across = band.along_x ? band.box.ymax - band.box.ymin : band.box.xmax - band.box.xmin;
            const Coord end = band.along_x ? band.box.xmax : band.box.ymax;
            // Lengthwise along the band when it fits so, else turned.
            const bool lengthwise = h <= across;
            if (!lengthwise && w > across) continue;
            const Coord length = lengthwise ? w : h;
            if (band.next + length > end) continue;
            CouponSlot slot;
            slot.side = band.side;
            const Coord mid = band.along_x ? (band.box.ymin + band.box.ymax) / 2 : (band.box.xmin + band.box.xmax) / 2;
            const Coord along = band.next + length / 2;
            slot.centre = band.along_x ? Point{along, mid} : Point{mid, along};
            slot.angle = band.along_x == lengthwise ? 0 : 90;
            band.next += length + clearance;
            out.push_back(slot);
            placed = true;
        }
    }
    return out;
}

} // namespace kesto::panel
