// Growing or shrinking by an amount a host chose, which may be anything from
// a few microns to metres.
#pragma once
#include "engine/geometry/geometry.h"

namespace kesto::geom {

// As offset, with a chord error that follows the amount: a micron per
// millimetre, never under the kernel's usual error. Each round corner gets
// a bounded number of points however far it grows, so the work stays
// bounded; a 10 cm growth is drawn to 50 microns.
Paths grow(const Paths& outline, double delta, Join join = Join::Round);

} // namespace kesto::geom
