// DFM repairs of signal layers: lands enlarged toward the optimal annular
// ring, spacing and hole-to-copper clearance restored by reducing pads and
// narrowing lines. Each run changes the job in place as one undoable edit
// and reports what it did per layer, by the "SignalLayerOptRanges" items.
//
// Lengths in the parameter records are integer nanometres. A key the host
// leaves out is 0 / false, which switches its repair off.
#pragma once
#include "engine/api/progress.h"
#include "engine/drc/check_records.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace KESTO {
namespace API {

struct signal_layer_DFM_op_params {
    // Annular ring, minimum and optimal, per hole kind.
    int pth_ar_min = 0, pth_ar_opt = 0;
    int via_ar_min = 0, via_ar_opt = 0;
    int mvia_ar_min = 0, mvia_ar_opt = 0;      // photo (micro) vias
    int laser_ar_min = 0, laser_ar_opt = 0;
    int buried_ar_min = 0, buried_ar_opt = 0;  // vias whose span reaches no outer layer
    // Copper spacing between different nets, minimum and optimal.
    int spacing_min = 0, spacing_opt = 0;
    int pad_to_pad_spacing_min = 0, pad_to_pad_spacing_opt = 0;
    // Lines whose width lies in [lre_range_fr, lre_range_to] may be narrowed
    // (both 0: every line).
    int lre_range_fr = 0, lre_range_to = 0;
    int reduction = 0;                         // the most a pad or line may lose of its width
    int abs_min = 0;                           // the narrowest a line or pad may be left
    int drill_to_cu = 0;                       // hole edge to copper of other nets
    int apply_to = 0;                          // 0 every feature, 1 selected features only
    bool pads = false, smds = false;           // which pads the repairs may change (both false: all)
    bool drills = false;                       // hole-to-copper clearance restored too
    bool padup = false, shave = false, paddn = false, rerout = false, linedn = false, reshape = false;
    bool cut_pad_touch_pad = false;            // lands of different holes that touch are cut apart
    bool padup_can_touch_pad = false;          // pad-up may run into pads of the same net
};

enum signal_layer_DFM_op_items : int {
    ArgRepaired = 1, ArgViolationMin = 2, ArgViolationOpt = 3, PadEnlargeOverLimit = 4, AnnularRing = 5,
    SpacingItem = 6, Pth2c = 7, NPth2c = 8, SpacingRepaired = 9, H2CuRepaired = 10, SpacingViolationMin = 11,
    SpacingViolationOpt = 12, H2CuViolation = 13, SameNetSpace = 14, SameNetSpacingViolation = 15,
    SameNetSpacingViolationRepaired = 16, PolygonShave = 17, FilledPolygonShave = 18, UnfillablePolygonShave = 19,
};
using signal_layer_DFM_op_result = level_result<3>;
using signal_layer_DFM_layer_result = std::map<signal_layer_DFM_op_items, signal_layer_DFM_op_result>;
// Red, yellow and green limits per item, in micrometres.
using dfm_thresholds = std::map<int, std::tuple<double, double, double>>;

// Repairs the layers of a job's step; `result` gets one entry per layer
// repaired. False when the job or step is not open or a layer is no layer
// of the step (nothing is changed then).
bool signal_layer_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                         const signal_layer_DFM_op_params& params, const dfm_thresholds& thresholds,
                         std::map<std::string, signal_layer_DFM_layer_result>& result,
                         COMMON::progress_value<int>* progress);

// The reduced form: touching lands cut apart and hole-to-copper clearance,
// over the same repair.
struct new_signal_layer_DFM_op_params {
    bool cut_pad_touch_pad = false;
    int drill_to_cu = 0;
};
bool New_signal_layer_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                             COMMON::progress_value<int>* progress, const new_signal_layer_DFM_op_params& params);

// Sliver fill: gaps between copper of one net narrower than max_width (and,
// when max_height is above 0, no longer than it) are filled. Nanometres.
struct sliver_DFM_op_params {
    int max_width = 0;
    int max_height = 0;
};
bool sliver_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                   const sliver_DFM_op_params& params, COMMON::progress_value<int>* progress);

// The report of the latest signal-layer repair of a step, by layer (empty
// when none ran since the job was opened).
std::map<std::string, signal_layer_DFM_layer_result> latest_signal_layer_DFM(const std::string& job,
                                                                            const std::string& step);

} // namespace API
} // namespace KESTO
