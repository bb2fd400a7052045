// Readiness of a job for CAM work: the layers it needs by role, its steps,
// profiles and zero points, and the features that have to be dealt with
// before the other checks run (negative features, symbols without a size).
#pragma once
#include "engine/api/progress.h"
#include "engine/drc/check_records.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace KESTO {
namespace API {

// The job's layers by role, as the host names them; a role left empty is
// looked for in the matrix by its layer type.
struct prepare_check_params {
    std::string job;
    std::string solder_paste_top, silk_screen_top, solder_mask_top, signal_layer, solder_mask_bottom,
        silk_screen_bottom, solder_paste_bottom, drill_layer, rout, outline, top, bottom;
    // Per "PrePareRanges" item: red, yellow and green limits in micrometres.
    std::map<int, std::tuple<double, double, double>> ranges;
};

// Runs the given items over the job (every step); an item this build does
// not measure is named in a WARNING record and reports nothing. False, with
// an empty result, when the job is not open.
bool prepare_check(const std::string& job, const prepare_check_params& params,
                   const std::vector<prepare_check_items>& items, prepare_result& result,
                   COMMON::progress_value<int>* progress);

// Drills at the corners of the outline layer's lines and arcs, added as
// pads of `symbol` (read in the working unit) to the drill layer: each
// corner turning by more than `angle_tolerance` degrees gets one, moved
// `offset_um` micrometres along the corner's bisector into its angle; a
// corner that already has a drill there gets none. Undoable. False, with
// an ERROR record, when the job, step, a layer or the symbol is not there.
bool add_outerline_drills(const std::string& job, const std::string& step, const std::string& outline_layer,
                          const std::string& drill_layer, const std::string& symbol, int offset_um,
                          double angle_tolerance, int& added);

} // namespace API
} // namespace KESTO
