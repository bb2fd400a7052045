// Where things go in a panel's margins: copper banding dots and test
// coupons, kept clear of the boards; and the check that boards stand inside
// the panel without touching each other.
#pragma once
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::panel {

// `box` grown on every side by `by` (shrunk when negative).
Box grown(const Box& box, Coord by);
// True when the two boxes share interior (touching edges do not count).
bool overlap(const Box& a, const Box& b);
bool inside(const Box& inner, const Box& outer);

// Centres of round dots of diameter `dot` on a square grid of `pitch`
// (aligned to the area's lower left corner), every dot wholly inside `area`
// and clear of every box of `keep_out`.
std::vector<Point> banding_dots(const Box& area, const std::vector<Box>& keep_out, Coord dot, Coord pitch);

struct CouponSlot {
    Point centre;
    double angle = 0;     // 0: the coupon's length along X; 90: along Y
    std::string side;     // "bottom", "top", "left", "right"
};

// Up to `count` slots for w x h coupons in the margin bands between `panel`
// (inset by `clearance`) and `boards` (the boards' extent grown by
// `clearance`), `clearance` apart, dealt in turn to the bottom, top, left and
// right bands so that every side of the panel is sampled. A coupon turns a
// quarter when that is the only way it fits a band.
std::vector<CouponSlot> coupon_slots(const Box& panel, const Box& boards, Coord w, Coord h, int count, Coord clearance);

} // namespace kesto::panel
