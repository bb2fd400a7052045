// Moving features over the board: mirror, turn and shift, as the edits of a
// selection (move, rotate, mirror, copy with transformation) need them.
#pragma once
#include "engine/geometry/geometry.h"

namespace kesto::geom {

// Mirror in X about `origin` first, then turn clockwise by `angle` degrees
// about it, then shift by (dx, dy): the pad orientation rule applied to the
// whole plane.
struct Transform {
    Point origin;
    double angle = 0;
    bool mirror = false;
    Coord dx = 0, dy = 0;
};

Point apply(const Transform& t, const Point& p);

// Moves one feature of `layer` and whatever it owns (a surface body): ends,
// centres and points move, arcs change direction under a mirror, pads and
// texts take the composed orientation. The feature's outline afterwards is
// the old outline moved, to the chord bound, with one exception: lines and
// arcs drawn with a symbol that is not round sweep it upright, so turns other
// than quarter turns change their shape (the caller decides whether to accept
// that or to make such features surfaces first).
void transform_feature(Layer& layer, Feature& feature, const Transform& t);

} // namespace kesto::geom
