// The layer checklist: which checks a layer of a step is meant to pass and
// where its review stands, kept with the layer (saved in its attribute list)
// for later check runs and reviews.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

struct checklist_entry {
    std::string layer;
    std::vector<std::string> checks; // check commands, as "DRILL_CHECK"
    std::string status;              // "open", "passed" or "failed"
};

// For each of `layers` (none: nothing changes): with `set_checks`, the
// layer's checks become `checks` (an empty list clears the entry); a
// non-empty `status` sets its status (a new entry starts "open"). Every
// name must be a check that measures that kind of layer. Answers every layer
// of the step that has an entry, in matrix order. All or nothing, one undo
// record; false with the reason in `error`.
bool set_layer_checklist(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                         bool set_checks, const std::vector<std::string>& checks, const std::string& status,
                         std::vector<checklist_entry>& out, std::string& error);

} // namespace API
} // namespace KESTO
