// A surface's contours as Clipper takes them, without merging.
#pragma once
#include "engine/geometry/geometry.h"

namespace kesto::geom {

// The body's contours as drawn, islands counter-clockwise and holes
// clockwise: filled with Clipper's positive rule they cover what
// surface_outline covers (a hole lies in its island), at no cost of a
// boolean operation.
Paths surface_contours(const Surface& surface);

} // namespace kesto::geom
