// Drill maps: a layer that shows every hole of a drill layer with a marker
// of its tool, and a legend table of the tools beside the board.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// One row of the legend: the tool, its size as text, its hole count and its
// kind ("Plated", "Laser", "NPlated", "Via"; "-" for an empty cell).
struct drill_map_row {
    int tool = 0;
    std::string size;
    int count = 0;
    std::string kind;
};

// Fills `output_layer` (made when the matrix lacks it, emptied when it has
// it) with the map of `drill_layer`; the legend stands right of the outline
// layer's extent (or the drill layer's when no outline is named). `unit`:
// "mm" or "inch", any case.
bool create_drill_map(const std::string& job, const std::string& step, const std::string& drill_layer,
                      const std::string& output_layer, const std::string& outline_layer,
                      const std::vector<drill_map_row>& rows, const std::string& unit);

} // namespace API
} // namespace KESTO
