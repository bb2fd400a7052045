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


// A manufacturing-rule check of the named layers of a step against the job's
// rule set: the spacing matrix of the DFM rule settings (outer or inner side
// by the layer's place among the copper rows). Per layer, per matrix cell
// ("<column>-<row>"), the gaps below the cell's minimum; a layer that is no
// copper, or a side with no cells, gets one record "rules" saying why no
// rule applied. False, with an ERROR record, when the job, the step or a
// layer is not there.
struct mrc_check_params {
    std::string job, step;
    std::vector<std::string> layers;
};
bool mrc_check(const mrc_check_params& params, mrc_result& result, COMMON::progress_value<int>* progress);

// Surface clean-up analysis of one layer; the items are numbered as below.
enum surface_analyser_items : int {
    SurfaceHoles = 0, SurfaceSmallEdges = 1, SurfaceFolds = 2, SurfaceSelfTouching = 3, SurfaceSmallIslands = 4,
};
// The items to run.
using surface_analyser_list = surface_analyser_items;
// Level limits of an item in micrometres (smaller values are worse).
struct surface_analyser_range {
    double red = 0, yellow = 0, green = 0;
};
using surface_analyser_result = level_result<4>;
// Sizes in the working unit; 0 leaves the limit off (see surface_analysis.h).
struct surface_analyser_params {
    std::string erf;
    double max_size = 0, max_fold_length = 0, small_edge_length = 0;
    int mode = 0;  // 0: every item; else one bit per item (1 holes, 2 small edges, 4 folds, 8 touching, 16 islands)
};
// The item's name in log records and documents.
const char* surface_item_name(surface_analyser_items item);
bool surface_analyser(const std::string& job, const std::string& step, const std::string& layer,
                      const surface_analyser_params& params, const std::vector<surface_analyser_list>& items,
                      const std::map<surface_analyser_items, surface_analyser_range>& ranges,
                      std::map<surface_analyser_items, surface_analyser_result>& result,
                      COMMON::progress_value<int>* progress);

// Drilled holes made ready for output: mask openings for plated and
// non-plated holes and missing outer-layer lands of plated holes (see
// engine/edit/drill_prepare.h). Clearances in micrometres. One undo step;
// false, with an ERROR record, when the job or step is not there.
struct npth_and_pth_prepare_params {
    int sm_clearance = 0;     // plated holes: opening beyond the land, um per side
    int sm_np_clearance = 0;  // non-plated holes: opening beyond the hole, um per side
    bool add_sm_pads = false, add_signal_pads = false;
};
bool npth_and_pth_prepare_op(const std::string& job, const std::string& step,
                             const npth_and_pth_prepare_params& params, COMMON::progress_value<int>* progress);

} // namespace API
} // namespace KESTO
