// Step and repeat: where the nested steps of a step stand, and a step's layer
// with its nested steps placed (flattened on the fly, the model untouched).
//
// A repeat row places its step's datum at (origin + i dx, origin + j dy) for
// i < nx, j < ny; the step is first mirrored in X (mirror), then turned
// clockwise by `angle`, both about its own datum. A flipped step is mirrored
// and seen from below: each of its board layers takes the features of the
// layer facing it in the stack (top copper from the bottom copper, and so on).
//
// This is the one place flattening lives: the canvas, layer export, the panel
// commands and flatten_step all call `flattened_layer`.
#pragma once
#include "engine/edit/transform.h"
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::edit {

// One placed copy of a nested step, at any depth, with the placement from
// that step's coordinates into the top step's.
struct StepInstance {
    std::string step;
    Placement placement;   // origin (0,0): mirror, clockwise turn, then offset
    bool flipped = false;  // seen from below (an odd number of flips above it)
    int depth = 1;         // 1 for rows of the top step's own table
    int row = 0;           // the row of the top step's table it comes from
    Box profile;           // the extent of its profile once placed (empty without one)
};

// The placement of element (i, j) of a repeat row of `child`.
Placement repeat_placement(const Step& child, const StepRepeat& row, int i, int j);
// `outer` after `inner`: first inner, then outer.
Placement compose(const Placement& outer, const Placement& inner);
// The extent of a step's profile under a placement (arcs by their extent).
Box placed_profile_box(const Step& step, const Placement& p);

// Every nested step of `step`, depth first, rows in table order, within a row
// i (columns) outer and j inner. False with `error` when a row names a missing
// step, counts are below 1, or steps nest in a circle.
bool step_instances(const Job& job, const Step& step, std::vector<StepInstance>& out, std::string& error);

// The layer that faces `layer` when a step is seen from below: board layers
// other than drill and rout pair up from the outside in; others face
// themselves.
std::string facing_layer(const Job& job, const std::string& layer);

// `layer` of `step` with every nested step's copy of it placed after the
// step's own features (so the own features keep their positions 0..n-1).
// A step without repeats yields its own layer. False with `error` as above.
bool flattened_layer(const Job& job, const Step& step, const std::string& layer, Layer& out, std::string& error);

// Appends all features of `from`, placed, to `to` (symbols and attribute
// names carried over once per call, not per feature).
void append_placed(const Layer& from, Layer& to, const Placement& p);

} // namespace kesto::edit
