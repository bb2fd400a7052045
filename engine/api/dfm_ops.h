// DFM operations of this family: teardrops and removal of non-functional
// pads. Each changes the named layers of a step in place as one undoable
// edit and reports what it did per category (levels 1 to 3).
#pragma once
#include "engine/api/progress.h"
#include "engine/drc/check_records.h"

#include <map>
#include <string>
#include <tuple>
#include <vector>

namespace KESTO {
namespace API {

// Per category the red, yellow and green limits, micrometres.
using dfm_thresholds = std::map<int, std::tuple<double, double, double>>;

// Categories are the "TeardropsRanges" rows.
enum teardrop_create_DFM_op_items : int {
    TeardropFull = 1, TeardropOneSided = 2, TeardropShortened = 3, TeardropMissing = 4, TeardropProblematic = 5,
    TeardropSuspectedThermal = 6, TeardropSpacingViolation = 7, TeardropLineTooNarrow = 8, TeardropUpdated = 9,
    TeardropSuspected = 10,
};
using teardrop_create_DFM_op_result = level_result<3>;

struct teardrop_create_DFM_op_params {
    std::string erf;
    int type = 0;                 // 0: teardrops are surfaces (the only kind built)
    bool drilled_pads = false;
    bool undrilled_pads = false;  // pads without a hole, BGA lands excepted
    int ann_ring_min = 0;         // nm; > 0: only drilled pads whose ring is below it
    int drill_size_min = 0;       // nm, hole diameter
    int drill_size_max = 0;       // nm; 0: no upper limit
    int cu_spacing = 0;           // nm to copper of other nets
    int drill_spacing = 0;        // nm to holes other than the pad's own
    int delete_old_teardrops = 0; // 0 keep, 1 delete the marked teardrops of the layers first
    int apply_to = 0;             // 0 every line, 1 selected lines only
    bool work_mode = false;       // false: change the job; true: report only
    int arc_angle = 0;            // degrees an arc side sweeps; 0: 60
    bool bga_pads = false;        // round SMD lands, or pads marked .bga
    bool use_arc_tear = false;
    double tear_line_width_ratio = 0; // teardrop width / line width; 0: tangents 60 degrees off the line
    dfm_thresholds ranges;
};

bool teardrop_create_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            const teardrop_create_DFM_op_params& params,
                            std::map<teardrop_create_DFM_op_items, teardrop_create_DFM_op_result>& result,
                            KESTO::COMMON::progress_value<int>* progress);

} // namespace API
} // namespace KESTO

namespace KESTO {
namespace API {

// Categories are the "NFPRemoval" rows.
enum NFP_removal_DFM_op_items : int { NfpIsolated = 1, NfpDuplicate = 2, NfpDrilledOver = 3, NfpCovered = 4 };
using NFP_removal_DFM_op_result = level_result<3>;

struct NFP_removal_DFM_op_params {
    // Which kinds of non-functional pad to remove.
    bool isolated = false;      // no copper of the layer touches it
    bool drill_over = false;    // no larger than its hole: the drill takes it anyway
    bool duplicate = false;     // another pad at the same centre holds it
    bool covered = false;       // other copper of the layer covers it whole
    int work_on = 0;            // 0 plated holes and vias, 1 vias only, 2 plated holes only
    bool pth_pressfit = false;  // press-fit plated holes too
    bool npth = false;          // pads on non-plated holes too
    bool via_laser = false;     // laser vias too
    bool via_photo = false;     // photo vias too
    bool remove_undrilled_pads = false; // isolated pads without a hole too
    int apply_to = 0;           // 0 every pad, 1 selected pads only
    bool remove_mark_NFP = false; // false remove; true keep them, marked .nfp
    dfm_thresholds ranges;
};

// Works on inner copper layers only; outer layers named are left alone.
bool NFP_removal_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                        const NFP_removal_DFM_op_params& params,
                        std::map<NFP_removal_DFM_op_items, NFP_removal_DFM_op_result>& result,
                        KESTO::COMMON::progress_value<int>* progress);

} // namespace API
} // namespace KESTO

namespace KESTO {
namespace API {

// Marks teardrop-shaped surfaces of the layers (made by this engine or by a
// design tool) with the teardrop attribute, so a teardrop run's
// delete_old_teardrops finds them: a positive surface that touches a pad and
// a line ending in that pad and stays within the pad's diameter of the pad's
// edge. Per layer, how many were marked; one undoable edit.
bool teardrop_attribute_classify(const std::string& job, const std::string& step,
                                 const std::vector<std::string>& layers, std::map<std::string, int>& marked);

} // namespace API
} // namespace KESTO
