// The drill analysis of a step: hole tables, hole-to-hole spacing, holes
// against copper and against rout, and drill-layer features that cannot be
// drilled. Findings come sorted into the drill check items and levels.
#pragma once
#include "engine/drc/feature_shapes.h"
#include "engine/api/progress.h"
#include "engine/drc/check_records.h"
#include "engine/model/model.h"

#include <array>
#include <map>
#include <string>
#include <vector>

namespace kesto::drc {

struct DrillOptions {
    Coord rout_distance = 0;       // holes and slots nearer to rout than this are reported
    bool hole_size = false;        // hole tables, non-standard symbols and features, canned text
    bool extra_holes = false;
    bool hole_separation = false;  // duplicate, touching and close holes
    bool power_ground_short = false;
    bool missing_hole = false;
    bool npth_to_rout = false;
    bool use_pth = false, use_npth = false, use_via = false;
    bool board_nets = true;
};

enum class HoleClass : std::uint8_t { Pth, Npth, Via };

// SIGNAL, POWER_GROUND and MIXED rows carry copper (iequals, attribute and
// symbol_of come from feature_shapes.h).
bool is_copper_type(const std::string& type);
// The diameter of a round or hole symbol, or 0 for any other.
Coord round_diameter(const Symbol* s);
// The class of a drilled feature: its .drill attribute, else a hole symbol's
// plating, else plated.
HoleClass hole_class(const Layer& layer, const Feature& f, const Symbol* s);

// Per check item the red, yellow and green limits in nanometres.
using LevelLimits = std::map<int, std::array<Coord, 3>>;

// Close-hole limit when the caller gave none for the item: 10 mil.
constexpr Coord kDefaultCloseLimit = 254000;
// Hole centres nearer than this are one position.
constexpr Coord kSamePosition = 1000;

// Level 1 (worst) to 4 of a measured value: at or below red 1, at or below
// yellow 2, at or below green 3, above 4. An item without limits gives its
// findings level 4 when it is a hole table and level 1 otherwise.
int finding_level(const LevelLimits& limits, int item, Coord value);

struct DrillAnalysis {
    KESTO::API::drill_result result;
    std::vector<std::string> notes;  // what could not be analysed, for the log
};

// Layers are reached through the store's find_layer, which hands them out
// ready to read.
DrillAnalysis analyse_drill(Job& job, Step& step, const std::vector<std::string>& layers,
                            const DrillOptions& options, const LevelLimits& limits,
                            KESTO::COMMON::progress_value<int>* progress = nullptr);

} // namespace kesto::drc
