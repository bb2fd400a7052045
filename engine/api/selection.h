// The selection parameters (the filter every select-by-filter command
// applies) and the options of a selection operation.
#pragma once
#include "engine/api/feature_info.h"
#include "engine/select/filter.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace KESTO {
namespace API {

// Feature-type bits of a filter or template.
enum feature_type_bits : int {
    kTypeLine = 1,
    kTypePad = 2,
    kTypeArc = 4,
    kTypeSurface = 8,
    kTypeText = 16,
    kTypeBarcode = 32,
    kTypeAll = 127,
};

struct select_info {
    int featuretypes = kTypeAll;  // bit set; 0 selects nothing
    bool has_symbols = false;     // true: only features whose symbol is in `symbols`
    std::vector<std::string> symbols;
    double minline = 0;           // line and arc widths, working unit; 0..0 means any
    double maxline = 0;
    int dcode = -1;               // -1 any
    int attributes_flag = 0;      // 0 all attributes must match, 1 any one
    std::vector<std::string> attributes_value; // "name" or "name=value"
    int profile_value = 0;        // 0 anywhere, 1 inside the profile, 2 outside
    bool use_selection = false;   // true: filter within the current selection
};

// Options of a selection operation.
struct Selection {
    int sels = 0;            // selecting: 0 replaces the layer's selection, 1 adds to it
    bool is_standard = true;
    bool is_clear = false;   // clear the selection first
    bool all_layers = false;
    bool is_select = true;   // select (true) or unselect
    bool inside = true;      // polygon: features inside (true) or touching
    bool exclude = false;    // invert the polygon test
};


void get_select_param(select_info& out);
// The engine's filter for the current parameters (widths to nanometres).
kesto::select::Filter current_filter();
void set_select_param(select_info param);
void set_selection(const Selection& options);
Selection get_selection();

} // namespace API
} // namespace KESTO
