// Placing features elsewhere: moving, rotating, mirroring and scaling them
// about a point, with their orientation kept right.
//
// A placement applies, in order: a mirror in X (x -> -x) when `mirror`, a
// clockwise rotation by `angle` degrees, a scale, then the offset, all about
// `origin`. This is the order ODB++ orients pads in, so a pad's own mirror
// and angle compose with the placement's exactly.
#pragma once
#include "engine/model/model.h"

namespace kesto::edit {

struct Placement {
    Point origin;        // the fixed point of mirror, rotation and scale
    bool mirror = false; // mirror in X about origin (x -> 2 origin.x - x)
    double angle = 0;    // clockwise, degrees
    double scale_x = 1, scale_y = 1;
    Point offset;        // added last

    bool identity() const
    {
        return !mirror && angle == 0 && scale_x == 1 && scale_y == 1 && offset.x == 0 && offset.y == 0;
    }
};

Placement moved(Coord dx, Coord dy);
Placement rotated(Point origin, double angle);
Placement mirrored(Point origin);

Point apply(const Placement& p, Point v);

// Places one feature of `layer` (its body too, for surfaces and texts). A
// scale moves positions and outlines; symbol sizes are left to resizing.
void place(Layer& layer, Feature& feature, const Placement& p);

// True when the placement turns clockwise arcs counter-clockwise.
bool reverses(const Placement& p);

// An angle in [0, 360).
double normal_angle(double degrees);

} // namespace kesto::edit
