// Drills at the corners of a board outline drawn as strokes: where two
// outline features meet and turn by more than a tolerance, a drill goes in
// the pocket of the corner, moved along its bisector, so a rout leaves a
// clean inside corner and a stacked panel can be pinned there.
#pragma once
#include "engine/model/model.h"

#include <vector>

namespace kesto::edit {

// Corner positions of the lines and arcs of `outline` (features meeting
// within 1 um), each moved `offset` nanometres along the bisector into the
// angle; a joint turning by `tolerance_deg` degrees or less is no corner.
std::vector<Point> outline_corner_drills(const Layer& outline, Coord offset, double tolerance_deg);

} // namespace kesto::edit
