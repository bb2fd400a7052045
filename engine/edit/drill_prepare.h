// Preparing a step's drilled holes for output: every plated and non-plated
// hole gets its solder-mask opening on the mask layers its span reaches,
// and plated holes their copper land on every copper layer they cross.
#pragma once
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::edit {

struct DrillPrepare {
    Coord pth_clearance = 0;   // mask opening beyond a plated hole's land on each side
    Coord npth_clearance = 0;  // mask opening beyond a non-plated hole on each side
    bool mask_pads = false;
    bool signal_pads = false;
};

// One pad to add.
struct AddedPad {
    std::string layer;
    Point at;
    Symbol symbol;
    double angle = 0;
    bool mirror = false;
};

// A plated hole with neither a land nor copper at its centre on an outer layer.
struct BareHole {
    std::string layer;
    Point at;
    Coord diameter = 0;
};

struct DrillPreparePlan {
    std::vector<AddedPad> pads;
    std::vector<BareHole> bare;     // found whatever `signal_pads` says
    std::size_t holes = 0;          // plated and non-plated holes looked at
    std::size_t landless = 0;       // plated holes with no land on any layer to copy
    std::size_t not_round = 0;      // slots and other shapes, left alone
};

// The matrix rows (first, last) of the copper a drill row spans: its start
// and end rows, the whole copper stack where they are not set; (-1, -1)
// when the job has no copper.
std::pair<int, int> drill_span(const Job& job, const MatrixRow& drill);

// What the preparation adds to the step, without changing it. Vias are left
// alone (whether they are tented is the design's choice). A plated hole
// missing its land on a copper layer gets a copy of the largest land it has
// on another layer of its span; a mask opening is the hole (non-plated) or
// the land of the copper layer next to the mask (plated; the hole when it has
// none) grown by the clearance, and is not added where an opening at least
// that large is already centred on the hole.
DrillPreparePlan plan_drill_prepare(const Job& job, const Step& step, const DrillPrepare& how);

} // namespace kesto::edit
