// Copper fill by pattern: pads on a grid wherever they fit wholly inside an
// area (thieving, balance fill).
#pragma once
#include "engine/geometry/geometry.h"

#include <vector>

namespace kesto::edit {

// The grid points (first.x + i px, first.y + j py), up to `last`, at which the
// pad outline `pad` (drawn about its centre) lies wholly inside `area`, row by
// row from the bottom, left to right. A pad touching the area's edge counts
// as outside. More than four million rows answers nothing.
//
// A pad P at c fits the area A when c is inside A and no point of A's edge
// lies in c + P, that is c is outside the edge swept by -P. So the area is
// shrunk once by that sweep (a Minkowski sum) and the grid rows are cut by
// a scanline through the shrunk area: no boolean per pad.
std::vector<Point> grid_inside(const geom::Paths& area, const geom::Path& pad, Point first, Point last, Coord px,
                               Coord py);

} // namespace kesto::edit
