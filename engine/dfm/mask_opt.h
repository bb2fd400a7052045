// Solder-mask optimisation: the opening over each pad is resized toward the
// optimal clearance for its pad kind, held back where it would leave less
// than the optimal (at worst the minimum) mask coverage on other copper or
// a mask bridge narrower than the smallest one the process holds, and
// brought back when it is oversized. Openings are the mask layer's pads
// centred on a copper pad and drawn with the pad's own symbol family; any
// other opening is measured and reported, never changed.
#pragma once
#include "engine/drc/findings.h"
#include "engine/model/model.h"

#include <map>
#include <string>

namespace kesto::dfm {

// Clearance is the width of copper-free mask opening around a pad's edge;
// coverage the width of mask left over copper that must stay covered.
struct MaskOptRules {
    struct Clearance {
        Coord min = 0, opt = 0;
    };
    Clearance plain;            // undrilled pads
    Clearance drilled;          // pads of plated and non-plated holes and vias (0, 0: plain)
    Clearance smd;              // pads marked .smd (0, 0: plain)
    Clearance bga;              // pads marked .bga (0, 0: smd)
    Coord coverage_min = 0, coverage_opt = 0;
    Coord bridge = 0;           // narrowest mask bridge between openings (0: no limit)
    Coord max_oversized = 0;    // wider clearances are brought back to the optimum (0: none)
    bool resize = false;        // false: measure and report only
    bool gasket_undrilled = false, gasket_drilled = false; // openings smaller than their pad grown too
    bool selected_only = false; // only openings over selected pads
};

struct MaskOptRun {
    bool found = false;                                  // a mask layer of the step with copper below
    std::string copper;                                  // the copper layer its pads come from
    std::map<int, KESTO::API::signal_check_result> result; // by "SolderMaskOpt" item
    std::size_t changed = 0;                             // openings given a new size
};

// Repairs one solder-mask layer of a step in place (the caller records it
// for undo).
MaskOptRun optimise_mask_layer(Job& job, Step& step, const std::string& layer, const MaskOptRules& rules,
                               const drc::LevelLimits& levels);

} // namespace kesto::dfm
