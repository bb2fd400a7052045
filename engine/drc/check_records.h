// The records in which checks return their findings: one finding
// (check_info), the findings of one check item sorted by level, and the result
// sets of each analysis kind, keyed by layer name.
#pragma once
#include "engine/api/feature_info.h"

#include <array>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Marker shapes of a finding, with the numbers its geometry holds:
//   circle     CX, CY, Width, Height
//   segment    SX, SY, EX, EY, Distance   (a measured gap between two features)
//   line       SX, SY, EX, EY, LineWidth
//   arc        SX, SY, EX, EY, CX, CY, LineWidth, Direction
//   point      X, Y
//   rectangle  CX, CY, Width, Height
enum marker_shape : int { MarkerCircle = 0, MarkerSegment = 1, MarkerLine = 2, MarkerArc = 3, MarkerPoint = 4, MarkerRect = 5 };

struct check_info {
    int shape = MarkerPoint;
    std::int32_t measure_value = 0;        // nanometres
    std::vector<std::string> layer_names;  // layers involved
    std::vector<featureInfo> features;     // features involved
    std::vector<double> geometry;          // marker numbers, working unit
    int level = 0;                         // 1 worst .. 4
    int disp_num = 0;                      // 1-based number within its item on its layer
    int sort_value = 0;                    // what review tools sort by: the measured value
    std::string layer_for_analysis;        // the layer the finding was analysed on
    std::vector<std::int64_t> values;      // marker numbers and measured value in nanometres; hole tables add the count
    std::vector<std::string> symbol_names; // symbols of the features involved
};

// The findings of one check item, one list per level (index 0 is level 1).
template <class Info, std::size_t Levels = 4>
struct check_levels {
    std::array<std::vector<Info>, Levels> lv;
};

// The result of one check on one layer: per check item its findings by level.
template <class Item, class Info>
struct check_reply {
    std::map<Item, check_levels<Info>> items;
};

// Per-category result of the signal-layer family: the item, the count and
// the findings of each level.
template <std::size_t Levels>
struct level_result {
    int item = 0;
    std::array<std::uint32_t, Levels> counts{};
    std::array<std::vector<check_info>, Levels> lv;
};
using signal_check_result = level_result<4>;
using solder_mask_check_result = level_result<4>;
using silk_screen_check_result = level_result<3>;
using prepare_check_result = level_result<4>;

// The MRC check's record, kept as the check gives it.
struct mrc_check_result {
    std::vector<check_info> findings;
    std::string message;
};

// Check items of the drill analysis; the numbers are the "DrillRanges" rows.
enum drill_check_item : int {
    PthSummary = 0, NpthSummary, ViaSummary, PlatedSlotSummary, NonPlatedSlotSummary,
    SecondDrilledHoles, SecondDrilledPthHoles, ToolingHoles, MountingHoles,
    DuplicateHoles, TouchingHoles, CloseHoles, MissingHoles, ExtraHoles,
    Short3, Short4, Short5, Short6, Short7, Short8, Short9, Short10Up,
    NpthToRout, NonStandardSymbol, NonStandardFeature, CannedText,
    PthSlotToRout, NpthSlotToRout, SameNetClosePths, DifferentNetClosePths,
    CloseNpths, ClosePth2NpthIsolate, ClosePth2NpthConn,
};

// Check items of the other families are numbered by their category tables.
enum board_drill_check_item : int {};
enum signal_layers_checks_items : int {};
enum solder_mask_checks_items : int {};
enum silk_screen_checks_items : int {};
enum prepare_check_items : int {};

// Result sets of each analysis kind, by layer name.
using drill_result = std::map<std::string, check_reply<drill_check_item, check_info>>;
using board_drill_result = std::map<std::string, check_reply<board_drill_check_item, check_info>>;
using signal_result = std::map<std::string, std::map<signal_layers_checks_items, signal_check_result>>;
using solder_mask_result = std::map<std::string, std::map<solder_mask_checks_items, solder_mask_check_result>>;
using silk_screen_result = std::map<std::string, std::map<silk_screen_checks_items, silk_screen_check_result>>;
using mrc_result = std::map<std::string, std::map<std::string, mrc_check_result>>;
using prepare_result = std::map<prepare_check_items, prepare_check_result>;

} // namespace API
} // namespace KESTO
