// Layer tools that add or merge features: hole-size labels, copper fill on
// a grid, and merging line pieces along copper edges. Each records undo.
#pragma once
#include <string>

namespace KESTO {
namespace API {

// Writes each hole's drill size (working unit, three decimals) into the
// layer, in the standard font, `height` high (working unit), starting half
// a character to the right of the hole's edge and centred on its height.
// Answers how many texts were added.
bool add_text_by_drill(const std::string& job, const std::string& step, const std::string& drill,
                       const std::string& layer, double height, int& added);

// Fills the area the selected features of the layer cover with pads of
// `symbol` (a standard name in the working unit's sizes) on a grid of the
// given pitches, starting half a pitch in from the area's lower left corner;
// only pads that lie wholly inside the area are added.
bool fill_select_feature_by_grid(const std::string& job, const std::string& step, const std::string& layer,
                                 const std::string& symbol, double pitch_x, double pitch_y, int& added);

// Joins lines of the layer (the selected ones, or all when none is
// selected) that have one symbol and polarity, run along one straight line
// and touch or overlap end to end, into single lines. Answers how many
// lines went away.
bool merge_cu_edge_lines(const std::string& job, const std::string& step, const std::string& layer, int& merged);

} // namespace API
} // namespace KESTO
