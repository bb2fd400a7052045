// What to clean up in a layer's surfaces before output: small holes left in
// a pour (pinholes), very short edges (digitising noise that slows every
// later step), folds where an outline runs back over itself, contours that
// touch themselves or each other, and islands too small to etch.
#pragma once
#include "engine/drc/findings.h"

#include <map>
#include <string>

namespace kesto::drc {

namespace surface_item {
enum : int { Hole = 0, SmallEdge = 1, Fold = 2, SelfTouch = 3, SmallIsland = 4 };
constexpr int kCount = 5;
} // namespace surface_item

struct SurfaceLimits {
    Coord max_size = 0;           // holes and islands whose box fits within this are reported; 0: every hole, no island
    Coord small_edge = 0;         // straight edges shorter than this; 0: none
    Coord max_fold = 0;           // folds retracing this much or less; 0: every fold
    unsigned items = 0x1f;        // bit per surface_item
};

// Findings per item over the positive and negative surfaces of the layer.
// Arcs of contours count by their chords.
std::map<int, KESTO::API::signal_check_result> analyse_surfaces(const Layer& layer, const std::string& layer_name,
                                                                const SurfaceLimits& limits,
                                                                const LevelLimits& levels);

} // namespace kesto::drc
