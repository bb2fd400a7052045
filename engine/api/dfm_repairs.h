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

// Solder-mask optimisation. Lengths are integer nanometres; switches false
// and lengths 0 leave their repair off. Clearance is the copper-free mask
// opening around a pad's edge, coverage the mask left over copper that must
// stay covered.
struct solder_mask_DFM_params {
    int clearance_min = 0, clearance_opt = 0;          // undrilled pads (and the fallback of the others)
    int coverage_min = 0, coverage_opt = 0;
    int bridge_size = 0;                               // narrowest mask bridge between openings
    int apply_to = 0;                                  // 0 every pad, 1 pads selected on the copper layer
    bool use_existing_mask = false;                    // openings are always the existing ones (see docs)
    bool use_shaves = false;                           // not made: WARNING
    bool do_resize = false;                            // false: measure and report only
    int max_oversized_clearance = 0;                   // wider clearances brought back to the optimum (0: kept)
    int intersect_width = 0, cut_surplus_width = 0, cut_surplus_height = 0;
    bool is_round = false, fan_shaved = false;
    bool prevent_vertical_flow_add_sm = false, prevent_vertical_flow_del_sm = false;
    int drill_clearance_min = 0, drill_clearance_opt = 0; // pads of holes (0, 0: clearance_*)
    int smd_clearance_min = 0, smd_clearance_opt = 0;     // .smd pads (0, 0: clearance_*)
    int bga_clearance_min = 0, bga_clearance_opt = 0;     // .bga pads (0, 0: smd_clearance_*)
    bool add_outline = false;
    int outline_width = 0;
    bool vo_rask_resize_sm_in_surface = false;
    bool resize_gas_sm_no_drill = false;               // openings smaller than an undrilled pad grown too
    bool resize_gas_sm_has_drill = false;              // the same over pads of holes
    int add_v_cut_sm_size = 0, resize_sm_surface_size = 0;
    bool pth_fan_shaved = false;
    int pad_covered_clearance = 0;
};

// "SolderMaskOpt" rows, numbered from 0.
enum solder_mask_DFM_op_items : int {
    MaskNoViolations = 0, MaskViolationsOpt = 1, MaskOptCoverOnly = 2, MaskOptClearOnly = 3, MaskViolationsMin = 4,
    MaskGasketRemoved = 5, MaskBridgesAll = 6, MaskBridgesViolations = 7, MaskBridgesPositive = 8,
    MaskBridgesNetIntersected = 9, MaskCannotBridge = 10, MaskTooDense = 11, MaskProblems = 12, MaskResizeProblem = 13,
    MaskOversizedClearances = 14, MaskPartialClearances = 15, MaskSmallClearances = 16, MaskShaveAvoided = 17,
    MaskShaves = 18,
};
// One entry per layer repaired, in the order the layers were given.
struct solder_mask_DFM_op_result : level_result<3> {
    std::string layer;
};

// Repairs the named solder-mask layers against the outer copper layer each
// lies on. False when the job, the step or a layer is missing, or a layer has
// no copper below it (nothing is changed then).
bool solder_mask_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                        const solder_mask_DFM_params& params, const dfm_thresholds& thresholds,
                        std::map<solder_mask_DFM_op_items, std::vector<solder_mask_DFM_op_result>>& result,
                        COMMON::progress_value<int>* progress);

// SMD and BGA spacing: pads marked .smd or .bga of different nets closer than
// smd_bga_spacing_opt are shaved apart, each giving up no more than
// max_padup_value of its width (0: nothing is shaved, the pairs are only
// logged). Nanometres.
struct smd_bga_DFM_op_params {
    int smd_bga_spacing_opt = 0;
    int max_padup_value = 0;
};
bool smd_bga_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                    const smd_bga_DFM_op_params& params, COMMON::progress_value<int>* progress);

// The report of the latest signal-layer repair of a step, by layer (empty
// when none ran since the job was opened).
std::map<std::string, signal_layer_DFM_layer_result> latest_signal_layer_DFM(const std::string& job,
                                                                            const std::string& step);

} // namespace API
} // namespace KESTO
