// A layer's image worked part by part: the features fall into groups whose
// outlines touch or overlap (through other features of the group), each
// group is painted alone in drawing order, and the images are put side by
// side. Groups lie apart, so the result covers exactly what painting the
// whole layer at once covers, for a fraction of the cost: one union over a
// whole board keeps every feature across the board in play at each step of
// its sweep.
#pragma once
#include "engine/geometry/outline.h"

namespace kesto::geom {

// The same filled area as layer_outline(layer, context); paths of different
// groups never touch, so areas add and the non-zero rule holds.
Paths layer_outline_by_parts(const Layer& layer, const OutlineContext& context);

} // namespace kesto::geom
