#include "engine/api/checklist.h"

#include "engine/api/board_layers.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cctype>
#include <set>

namespace KESTO {
namespace API {

using namespace kesto;

namespace {

// Kept among the layer's attributes, so a save writes them to its attrlist.
const char kChecks[] = "checklist";
const char kStatus[] = "checklist_status";

std::string upper(std::string s)
{
    for (char& c : s) c = char(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

std::string lower(std::string s)
{
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

// Which rows a check measures.
bool measures(const std::string& check, const MatrixRow& row)
{
    const std::string type = upper(row.type);
    const bool board = upper(row.context) == "BOARD";
    if (check == "DRILL_CHECK" || check == "BOARD_DRILL_CHECK") return board && (type == "DRILL" || type == "ROUT");
    if (check == "SIGNAL_LAYER_CHECK") return board && (type == "SIGNAL" || type == "POWER_GROUND" || type == "MIXED");
    if (check == "SOLDER_MASK_CHECK") return board && type == "SOLDER_MASK";
    if (check == "SILK_SCREEN_CHECK") return board && type == "SILK_SCREEN";
    if (check == "PREPARE_CHECK" || check == "MRC_CHECK") return board;
    return false;
}

const std::set<std::string> kChecksKnown{"DRILL_CHECK",       "BOARD_DRILL_CHECK", "SIGNAL_LAYER_CHECK", "SOLDER_MASK_CHECK",
                                         "SILK_SCREEN_CHECK", "PREPARE_CHECK",     "MRC_CHECK"};

std::vector<std::string> split(const std::string& list)
{
    std::vector<std::string> out;
    std::string one;
    for (char c : list + ",") {
        if (c != ',') {
            one += c;
            continue;
        }
        if (!one.empty()) out.push_back(one);
        one.clear();
    }
    return out;
}

} // namespace

bool set_layer_checklist(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                         bool set_checks, const std::vector<std::string>& checks, const std::string& status,
                         std::vector<checklist_entry>& out, std::string& error)
{
    const char* op = "set_layer_checklist";
    out.clear();
    auto fail = [&](const std::string& why) {
        error = why;
        LOG(ERROR) << op << ": " << why;
        return false;
    };
    board::StepRef at;
    if (!board::find(job, step, op, at)) return fail("the job or step is not there");
    const std::string new_status = lower(status);
    if (!new_status.empty() && new_status != "open" && new_status != "passed" && new_status != "failed")
        return fail("status \"" + status + "\" is not open, passed or failed");
    std::vector<std::string> wanted;
    for (const std::string& c : checks) {
        const std::string name = upper(c);
        if (!kChecksKnown.count(name)) return fail("\"" + c + "\" is not a check");
        if (std::find(wanted.begin(), wanted.end(), name) == wanted.end()) wanted.push_back(name);
    }
    // Everything is refused before anything changes.
    std::vector<std::string> names;
    for (const std::string& l : layers) {
        const MatrixRow* row = board::row(at, l);
        const Layer* layer = row ? board::layer(at, l, op) : nullptr;
        if (!layer) return fail("layer \"" + l + "\" is not there");
        if (!set_checks && !new_status.empty() && !layer->attributes.count(kChecks))
            return fail("layer " + row->name + " has no checklist to give a status");
        if (set_checks)
            for (const std::string& c : wanted)
                if (!measures(c, *row)) return fail(c + " does not measure " + row->type + " layer " + row->name);
        if (std::find(names.begin(), names.end(), row->name) == names.end()) names.push_back(row->name);
    }

    if (!names.empty() && (set_checks || !new_status.empty())) {
        store::Edit edit(*at.job, at.step->name, names);
        std::size_t changed = 0;
        for (const std::string& name : names) {
            auto& attributes = board::layer(at, name, op)->attributes;
            const auto before = attributes;
            if (set_checks && wanted.empty()) {
                attributes.erase(kChecks);
                attributes.erase(kStatus);
            } else {
                if (set_checks) {
                    std::string list;
                    for (const std::string& c : wanted) list += (list.empty() ? "" : ",") + c;
                    attributes[kChecks] = list;
                }
                if (!new_status.empty()) attributes[kStatus] = new_status;
                else if (attributes.count(kChecks) && !attributes.count(kStatus)) attributes[kStatus] = "open";
            }
            changed += attributes != before;
        }
        edit.finish(changed);
    }

    for (const MatrixRow& row : at.job->rows) {
        auto layer = at.step->layers.find(row.name);
        if (layer == at.step->layers.end()) continue;
        const auto& attributes = layer->second.attributes;
        auto list = attributes.find(kChecks);
        if (list == attributes.end()) continue;
        auto state = attributes.find(kStatus);
        out.push_back({row.name, split(list->second), state == attributes.end() ? "open" : state->second});
    }
    return true;
}

} // namespace API
} // namespace KESTO
