// The readiness rules of a job, numbered as the "PrePareRanges" rows. Each
// writes its findings into the collector of the layer they lie on ("" for
// findings of the job or a step as a whole).
#pragma once
#include "engine/drc/findings.h"

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace kesto::drc {

namespace prepare_item {
enum : int {
    StepPresent = 0, PasteTop = 1, SilkTop = 2, MaskTop = 3, SignalTop = 4, SignalInner = 5, SignalBottom = 6,
    MaskBottom = 7, SilkBottom = 8, PasteBottom = 9, DrillLayer = 10, RoutLayer = 11, ZeroPoint = 12,
    NetStep = 13, OutlineLayer = 14, Profile = 15, ClipOutline = 16, ClipOutside = 17, SmdPaste = 18,
    SignalNegative = 21, SignalAttribute = 22, DrillNegative = 23, DrillAttribute = 24, MaskNegative = 25,
    MaskFeature = 26, PasteOnMask = 27, OuterDrillPad = 28, SymbolSize = 29, DrillPadPosition = 30,
};
} // namespace prepare_item

// The items the rules below measure.
const std::vector<int>& prepare_items_measured();

// The layer names the host gave per role item (1..11 and 14); "" asks the
// rule to find the role in the matrix.
using RoleNames = std::map<int, std::string>;

// The matrix row of a role: the host's layer when named (nullptr when the
// matrix has no such row), else the board row of the role's type on its
// side; inner signal and outline roles are never guessed.
const MatrixRow* role_row(const Job& job, const RoleNames& roles, int item);

// The rules that look at a step's features across layers (items 13, 16 to
// 18, 22, 24, 26 to 28 and 30); `out` hands the collector of a layer.
void run_board_rules(const Job& job, const Step& step, const RoleNames& roles, const std::function<bool(int)>& wanted,
                     const std::function<Findings&(const std::string&)>& out);

struct PrepareRun {
    // Per layer name ("" for the job and its steps), per item, the findings.
    std::map<std::string, std::map<int, KESTO::API::signal_check_result>> by_layer;
};

PrepareRun run_prepare_rules(Job& job, const RoleNames& roles, const std::vector<int>& items, const LevelLimits& levels,
                             const std::function<void()>& step_done);

} // namespace kesto::drc
