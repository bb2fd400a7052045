// Step-and-repeat nests as plain features: every instance of a nested step
// placed where the nest puts it.
#pragma once
#include "engine/model/model.h"

#include <string>

namespace kesto::edit {

// Nests deeper than this are refused (they are almost always a loop).
constexpr int kMaxNestDepth = 16;

// Appends to `out` the features of `layer` in `step` followed by those of
// every step repeated in it, recursively: each instance's datum goes to
// origin + (i dx, j dy), the instance mirrored (in X about its datum) and
// turned clockwise by its angle as pads are. Steps that lack the layer add
// nothing. False, with `error` set, on a nest that loops, runs deeper than
// kMaxNestDepth, names a step the job lacks, or flips an instance (a flip
// swaps the layer stack, which one layer cannot show).
bool flatten_layer(const Job& job, const Step& step, const std::string& layer, Layer& out, std::string& error);

} // namespace kesto::edit
