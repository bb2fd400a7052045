// The engine's analysis operations that the check and analysis-cache
// commands call: the drill check, and the result sets of kept analysis runs
// by uuid.
#pragma once
#include "engine/api/progress.h"
#include "engine/drc/check_records.h"

#include <map>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace KESTO {
namespace API {

struct drill_context {
    std::string erf;               // rule set name
    double rout_distance = 0;      // working unit
    bool hole_size = false;
    bool extra_holes = false;
    bool hole_separation = false;
    bool power_ground_short = false;
    bool missing_hole = false;
    bool npth_to_rout = false;
    bool use_pth = false;
    bool use_npth = false;
    bool use_via = false;
    int compensated_rout = 0;
    bool calculate_board_net_status = true;
};

// Red, yellow and green limits per "DrillRanges" item, in micrometres.
using drill_thresholds = std::map<int, std::tuple<int, int, int>>;

// Runs the drill analysis on the layers of a job's step and keeps the run
// under a fresh uuid (latest_analysis_uuid names it). False, with an empty
// result, when the job or step is not open.
bool drill_check(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                 const drill_context& context, const drill_thresholds& thresholds, drill_result& result,
                 COMMON::progress_value<int>* progress);

// The signal-layer checks a run is asked for; the host's switches append
// them in the order 0, 5, 1, 6, 2, 7, 3, 8, 4, 9.
enum signal_layers_checks_list : int {
    SignalSpacing = 0,        // "spacing": copper to copper, by pair kind, net and mask exposure
    SignalDrill = 1,          // "drill": holes to copper, annular rings, missing pads and copper
    SignalCenter = 2,         // "center": holes off the centre of their lands
    SignalRout = 3,           // "rout": rout to copper
    SignalStubs = 4,          // "stubs"
    SignalSmd = 5,            // "smd": SMD pitch and pads
    SignalSize = 6,           // "size": line, arc and pad widths
    SignalBottleneck = 7,     // "bottleneck": necks of conductors
    SignalSliver = 8,         // "sliver": copper narrower than sliver_min
    SignalSelectedOnly = 9,   // "apply_to": only findings about selected features
};

// What a signal-layer run measures against. Limits are real values in the
// working unit; 0 takes the engine's default beside it.
struct signal_check_params {
    std::string layer;                 // the layer this call analyses
    std::string erf;                   // rule set name (the engine has no rule sets; kept for the log)
    double pp_spacing = 0;
    double drill2cu = 0;
    double rout2cu = 0;
    double sliver_min = 0;
    double min_pad_overlap = 0;
    bool check_missing = false;
    int use_compensated_rout = 0;
    bool sort_spacing = false;
    bool pad_connection_check = false;
    // Fixed settings, nanometres; the handler writes them on every call.
    long long width_tolerance = 0;
    long long too_small = 0;
    std::pair<long long, long long> registration{0, 0};   // x, y
    std::pair<long long, long long> rings{0, 0};          // PTH, via: rings reported at or below
    long long stub_length = 0;
    long long width_limit = 0;
    long long spacing_default = 0;
    std::pair<long long, long long> smd_pitch{0, 0};      // largest pitch, smallest SMD
    std::pair<long long, long long> local_spacing{0, 0};  // window, reach
    std::pair<long long, long long> neckdown{0, 0};       // length, reach
    std::pair<long long, long long> net_size{0, 0};       // largest extent, reach
    bool measure_arcs = false, measure_texts = false, measure_surfaces = false;
};

// Red, yellow and green limits of a category, in micrometres.
struct signal_check_range {
    double red = 0, yellow = 0, green = 0;
};

// Runs the asked checks on the layer named in `params` of a job's step.
// False, with an empty result, when the job, step or layer is not there.
bool signal_layers_checks(const std::string& job, const std::string& step, const signal_check_params& params,
                          const std::vector<signal_layers_checks_list>& checks,
                          const std::map<signal_layers_checks_items, signal_check_range>& ranges,
                          std::map<signal_layers_checks_items, signal_check_result>& result,
                          COMMON::progress_value<int>* progress);

// Keeps the results of a signal-layer run (per layer) under a fresh uuid,
// which it returns.
std::string keep_signal_analysis(const std::string& job, const std::string& step, const signal_result& results);

// What a solder-mask run measures against. Limits are real values in the
// working unit (0 takes the engine's default); thresholds are per
// "SolderMaskRanges" item, red, yellow and green, in micrometres.
struct solder_mask_check_params {
    std::string job, step, layer, erf;
    double sm_ar = 0, sm_coverage = 0, sm_to_rout = 0, sliver_min = 0, spacing_min = 0, bridge_min = 0, overlap = 0;
    bool drill = false, sliver = false, pads = false, missing = false, coverage = false, spacing = false,
         rout = false, clearance_connection = false, bridge = false, apply_to = false;
    int use_compensated_rout = 0;
    double min_sliver_len = 0, dist2sliver_ratio = 0, max_bottleneck_width = 0;
    bool apply_range = false, classify_pad_ar = false;
    std::map<int, std::tuple<double, double, double>> ranges;
};

// What a silk-screen run measures against; thresholds per "SilkScreenRanges" item.
struct silk_screen_check_params {
    std::string job, step, layer, erf;
    double spacing = 0;
    bool sm_clearance = false, rout_clearance = false, smd_clearance = false, line_width = false,
         pad_clearance = false, copper_coverage = false, hole_clearance = false, apply_to = false;
    int use_compensated_rout = 0;
    std::map<int, std::tuple<double, double, double>> ranges;
};

// Run the analysis on the one layer the record names. False, with an empty
// result, when the job, step or layer is not there.
bool solder_mask_checks(const solder_mask_check_params& params,
                        std::map<solder_mask_checks_items, solder_mask_check_result>& result,
                        COMMON::progress_value<int>* progress);
bool silk_screen_checks(const silk_screen_check_params& params,
                        std::map<silk_screen_checks_items, silk_screen_check_result>& result,
                        COMMON::progress_value<int>* progress);
// Keep a run's results (per layer) under a fresh uuid, which they return and
// also write to the log as "analysis uuid: <uuid>".
std::string keep_solder_mask_analysis(const std::string& job, const std::string& step, const solder_mask_result& results);
std::string keep_silk_screen_analysis(const std::string& job, const std::string& step, const silk_screen_result& results);

// The uuid of the latest run of an analysis kind (1 signal layer, 2 drill,
// 3 solder mask, 4 silk screen, 5 board drill) on a job's step, or "".
std::string latest_analysis_uuid(const std::string& job, const std::string& step, int kind);

// The result set of a kept run; an unknown uuid, or a run of another kind,
// leaves the map empty.
void getJWSignalLayerAnalysisResult(const std::string& uuid, signal_result& result);
void getJWDrillAnalysisResult(const std::string& uuid, drill_result& result);
void getJWSolderMaskAnalysisResult(const std::string& uuid, solder_mask_result& result);
void getJWSilkScreenAnalysisResult(const std::string& uuid, silk_screen_result& result);
void getJWBoardDrillAnalysisResult(const std::string& uuid, board_drill_result& result);

// The same sets for whole-result export.
void getSignalLayerAnalysisResult4Co(const std::string& uuid, signal_result& result);
void getDrillAnalysisResult4Co(const std::string& uuid, drill_result& result);
void getSolderMaskAnalysisResult4Co(const std::string& uuid, solder_mask_result& result);
void getSilkScreenAnalysisResult4Co(const std::string& uuid, silk_screen_result& result);
void getBoardDrillAnalysisResult4Co(const std::string& uuid, board_drill_result& result);

// One run of the whole-board analysis.
struct board_analysis_run {
    std::string step;
    int analysis_type = 0;   // the kinds numbered as in latest_analysis_uuid
    std::string uuid;
    int net_count = 0;       // board nets of the step
};

// Opens the job at `path` (a job folder, its matrix file, or an archive) and
// runs the drill analysis, board nets included, on the board drill layers of
// every step, each kept as a run. `job` gets the job's name. False, with the
// reason in `why`, when the job cannot be opened.
bool whole_board_analysis(const std::string& path, std::string& job, std::vector<board_analysis_run>& runs,
                          std::string& why);

} // namespace API
} // namespace KESTO

// The whole-board analysis of a job given by the paths of its files.
class AllTypeAnalysisHandle {
public:
    // The job is named by matrix_path; the other kinds are not analysed by
    // this engine and their paths only say that they were asked for. Answers
    // {"job", "steps": [{"step", "net_count", "analyses": [{"analysis_type",
    // "uuid"}]}], "not_run": [kinds asked for but not analysed]}. Throws
    // std::runtime_error when the job cannot be read.
    std::string allTypeAnalysisDoor(const std::string& matrix_path, const std::string& signal_path,
                                    const std::string& drill_path, const std::string& silk_path,
                                    const std::string& solder_path);
};
