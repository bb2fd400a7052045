#include "engine/api/selection.h"

#include "engine/api/display.h"
#include "engine/model/limits.h"

#include <algorithm>

namespace KESTO {
namespace API {
namespace {

// Until the host sets the selection options, a click adds to the selection.
Selection adding()
{
    Selection s;
    s.sels = 1;
    return s;
}

struct SelectionState {
    select_info filter;
    Selection options = adding();
};

SelectionState& state()
{
    static auto* s = new SelectionState();
    return *s;
}

} // namespace

void get_select_param(select_info& out) { out = state().filter; }
void set_select_param(select_info param) { state().filter = std::move(param); }
void set_selection(const Selection& options) { state().options = options; }
Selection get_selection() { return state().options; }

kesto::select::Filter current_filter()
{
    const select_info& info = state().filter;
    kesto::select::Filter f;
    f.types = info.featuretypes;
    f.by_symbol = info.has_symbols;
    f.symbols = info.symbols;
    // A width bound beyond any length the engine holds bounds nothing.
    const double most = kesto::kLengthLimit / (working_unit_is_inch() ? kesto::kNmPerInch : kesto::kNmPerMm);
    f.min_width = from_working_unit(std::clamp(info.minline, -most, most));
    f.max_width = from_working_unit(std::clamp(info.maxline, -most, most));
    f.dcode = info.dcode;
    f.any_attribute = info.attributes_flag == 1;
    for (const auto& text : info.attributes_value) f.attributes.push_back(kesto::select::parse_attribute_test(text));
    f.profile = info.profile_value;
    f.within_selection = info.use_selection;
    return f;
}

} // namespace API
} // namespace KESTO
