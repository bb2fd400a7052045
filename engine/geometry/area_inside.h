// The part of a filled outline's area that lies inside another outline,
// without a boolean over the whole of it.
#pragma once
#include "engine/geometry/geometry.h"

namespace kesto::geom {

// Area (square nanometres) of `image` inside `region`. Each path of the image
// whose box no edge of the region meets lies wholly inside or wholly outside
// and counts by one vertex; only the paths the region's edge may cut go
// through Clipper, one by one. Holes count negative, as in area().
double area_inside(const Paths& image, const Paths& region);

} // namespace kesto::geom
