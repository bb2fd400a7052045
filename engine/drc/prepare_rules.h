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
    OutlineLayer = 14, Profile = 15, SignalNegative = 21, DrillNegative = 23, MaskNegative = 25, SymbolSize = 29,
};
} // namespace prepare_item

// The items the rules below measure.
const std::vector<int>& prepare_items_measured();

// The layer names the host gave per role item (1..11 and 14); "" asks the
// rule to find the role in the matrix.
using RoleNames = std::map<int, std::string>;

struct PrepareRun {
    // Per layer name ("" for the job and its steps), per item, the findings.
    std::map<std::string, std::map<int, KESTO::API::signal_check_result>> by_layer;
};

PrepareRun run_prepare_rules(Job& job, const RoleNames& roles, const std::vector<int>& items, const LevelLimits& levels,
                             const std::function<void()>& step_done);

} // namespace kesto::drc
