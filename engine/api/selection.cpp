#include "engine/api/selection.h"

namespace KESTO {
namespace API {
namespace {

struct SelectionState {
    select_info filter;
    Selection options;
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

} // namespace API
} // namespace KESTO
