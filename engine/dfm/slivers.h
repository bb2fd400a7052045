// Sliver fill: the narrow gaps a net leaves between pieces of its own
// copper (acid traps, notches between pads and their tracks) are closed with
// copper. A gap is filled where a disc as wide as the limit cannot pass
// between the net's copper (a morphological closing of the net), the fill
// kept as far from other nets' copper as the limit.
#pragma once
#include "engine/model/model.h"

#include <string>

namespace kesto::dfm {

struct SliverFillRun {
    bool found = false;          // the layer is a layer of the step
    std::size_t filled = 0;      // fill surfaces added
};

// Fills gaps narrower than `max_width` whose length (the longer side of the
// fill's box) is at most `max_height` (0: any length). Fill surfaces are
// appended positive, each carrying the attribute ".string=sliver_fill".
SliverFillRun fill_slivers(Job& job, Step& step, const std::string& layer, Coord max_width, Coord max_height);

} // namespace kesto::dfm
