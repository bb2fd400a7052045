// Layer and feature tools of the second table: compacting a layer, sizing
// and filtering the selection, and centring pads on their drilled holes.
// Each answers false, with an ERROR record and `error`, when a name does not
// resolve or a value is out of range, and then changes nothing. Changes are
// one undo record each.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Compacts the layer: symbols no feature uses are dropped and symbols of one
// name merged, surface and text bodies and attribute sets no feature uses
// dropped; what is kept about the layer (spatial index, outlines) is built
// again on its next use. The features draw exactly as before.
struct layer_rebuild_result {
    int features = 0;
    int symbols_before = 0, symbols_after = 0;
    int bodies_dropped = 0, attribute_sets_dropped = 0;
};
bool layer_rebuild(const std::string& job, const std::string& step, const std::string& layer,
                   layer_rebuild_result& out, std::string& error);

// Keeps selected only the selected features of the kinds in `kinds` (a sum of
// 1 lines, 2 pads, 4 arcs, 8 surfaces, 16 texts and barcodes) and, when
// `polarity` is "positive" or "negative", of that polarity. Answers how many
// stay selected. The features themselves do not change (no undo record).
bool filter_by_mode(const std::string& job, const std::string& step, const std::string& layer, int kinds,
                    const std::string& polarity, int& selected, std::string& error);

// Pads of the layer whose drilled hole is off their centre by no more than
// `max_offset` (working unit) move onto the hole's centre: the nearest hole
// centre within that distance, inside the pad. The drill layer is the first
// through the layer unless named. Pads already centred stay.
struct moved_pad {
    int index = 0;
    double dx = 0, dy = 0;
};
bool auto_move_drill_pad(const std::string& job, const std::string& step, const std::string& layer,
                         std::string& drill, double max_offset, std::vector<moved_pad>& moved, std::string& error);

// Pads drawn as pieces (strokes, arcs, surfaces: painted pads from Gerber
// or hand drawing) become real pads: the layer's positive lines, arcs and
// surfaces (the selected ones, or all when none is selected) are united,
// and each island without holes whose outline a standard symbol (round,
// square, oval, rectangle) matches within `tolerance` (working unit, on
// average) becomes one pad of that symbol at its centre, replacing the
// features it was drawn with. Answers the pads made and the features they
// replaced.
bool construct_pads(const std::string& job, const std::string& step, const std::string& layer, double tolerance,
                    int& pads, int& replaced, std::string& error);

} // namespace API
} // namespace KESTO
