// SMD and BGA spacing: pairs of surface-mount pads (pads marked .smd or
// .bga) of different nets closer than the spacing are pulled apart by
// shaving the pads: a rectangle or square loses the strip along the side that
// faces its neighbour (its far side stays where it was), a round land shrinks
// about its centre. Each pad loses no more than the allowed reduction of its
// width; what that cannot fix is reported, never forced.
#pragma once
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::dfm {

struct SmdSpacingRun {
    bool found = false;        // the layer is a layer of the step
    std::size_t shaved = 0;    // pads changed
    std::size_t repaired = 0;  // pairs brought to the spacing
    std::vector<std::string> left; // pairs still too close, described for the log
};

// `spacing` and `max_reduction` in nanometres; max_reduction is the most
// width a pad may lose (0: none, report only).
SmdSpacingRun restore_smd_spacing(Job& job, Step& step, const std::string& layer, Coord spacing, Coord max_reduction);

} // namespace kesto::dfm
