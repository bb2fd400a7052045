// The solder-mask and silk-screen analyses. Both work over the same layer
// contexts the signal-layer rules use: the mask openings and the silk
// strokes are the pieces of their own layer's context, and the copper below
// (with its holes and rout paths) is the context of the outer copper layer.
// Items are numbered as the "SolderMaskRanges" and "SilkScreenRanges" rows.
#pragma once
#include "engine/drc/mask_silk_distance.h"
#include "engine/drc/signal_context.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kesto::drc {

namespace mask_item {
enum : int {
    SmdRing = 3, UndrilledRing = 9,
    SmdGasket = 12, UndrilledGasket = 13, PthGasket = 14, NpthGasket = 15, ViaGasket = 17, ViaPadRing = 6, PthPadRing = 7, NpthPadRing = 8,
    UndrilledSameSize = 18, SmdSameSize = 19, PthSameSize = 20, NpthSameSize = 21, ViaSameSize = 23,
    NpthTouchesMask = 24, Coverage = 25, SameNetCoverage = 26,
    NoBridge = 31, NoBridgeSameNet = 32, NoBridgeSmd = 33, SmdBridge = 34, SmdToPadBridge = 35,
    PadToPadBridge = 36, PadToPadBridgeSameNet = 37,
    PadToPadSpacing = 40, PadToPadSpacingSameNet = 41, PadToNonPadSpacing = 42, NonPadSpacing = 43,
    MissingSmd = 45, MissingUndrilled = 46, MissingPth = 47, MissingVia = 48, MissingNpth = 50,
    SmdPartial = 51, UndrilledPartial = 52, ViaPartial = 55, NpthPartial = 56, PthPartial = 57,
    SeveralNets = 27, ExposedTeardrop = 44,
};
} // namespace mask_item

namespace silk_item {
enum : int {
    MaskClearance = 0, SmdClearance = 1, PthPadClearance = 2, ViaPadClearance = 3, NpthPadClearance = 4,
    UndrilledPadClearance = 5, NpthClearance = 6, PthClearance = 7, ViaClearance = 8, RoutClearance = 9,
    LineWidth = 10, ArcWidth = 11, PadWidth = 12, ZeroLineWidth = 14, InconsistentLineWidth = 19,
    InconsistentArcWidth = 20, TextWidth = 22, TextHeight = 23, SilkToSilk = 24, SsOverText = 25,
};
} // namespace silk_item

// Limits in nanometres; zero takes the default beside it.
struct MaskLimits {
    Coord ring = 0;              // sm_ar: opening edge to pad edge
    Coord coverage = 0;          // sm_coverage: opening edge to copper that must stay covered
    Coord spacing = 0;           // spacing_min: between openings
    Coord bridge = 0;            // bridge_min: narrowest mask bridge that can be made
    bool pads = false, missing = false, coverage_on = false, spacing_on = false, bridge_on = false,
         drill = false, selected_only = false;
    Coord default_limit = 50800; // reported at or below this when neither a limit nor a range is given
};

struct SilkLimits {
    Coord spacing = 0;           // silk to openings, pads, holes and rout
    bool mask = false, smd = false, pads = false, holes = false, rout = false, widths = false,
         selected_only = false;
    Coord default_spacing = 127000;
    Coord width_limit = 101600;  // strokes, pads and text strokes at or below this width are reported
    Coord text_height = 762000;  // texts at or below this height are reported
    Coord ink_spacing = 101600;  // separate silk features at or below this gap are reported
};

struct MaskSilkRun {
    std::map<int, KESTO::API::signal_check_result> result;
    std::vector<std::string> notes;
    bool found = false;
    std::string copper;          // the copper layer measured against, "" when there is none
};

// The outer copper layer a mask or silk layer lies on ("" when the board has
// none), and the mask layer on the same side as a silk layer.
std::string copper_below(const Job& job, const std::string& layer);
std::string mask_beside(const Job& job, const std::string& layer);

struct MaskInput {
    const LayerContext& mask;
    const LayerContext* copper;  // may be null: rules needing copper report nothing
    const MaskLimits& limits;
    const LevelLimits& levels;
    Findings& out;
    // Per opening: the copper pad it clears, -1 when none.
    std::vector<std::int32_t> pad_of_opening;
    PieceEdges mask_edges{mask};  // edge trees of large openings
};
void mask_ring_rule(MaskInput& in);     // mask_rings.cpp: rings, same size, partial and missing openings
void mask_bridge_rule(MaskInput& in);   // mask_bridges.cpp: bridges and spacing between openings
void mask_coverage_rule(MaskInput& in); // mask_coverage.cpp: copper too near an opening, NPTH touching mask
void mask_exposure_rule(MaskInput& in); // mask_exposure.cpp: openings over several nets, exposed teardrops

struct SilkInput {
    const LayerContext& silk;
    const LayerContext* mask;
    const LayerContext* copper;
    const SilkLimits& limits;
    const LevelLimits& levels;
    Findings& out;
};
void silk_clearance_rule(const SilkInput& in); // silk_clearance.cpp
void silk_width_rule(const SilkInput& in);     // silk_widths.cpp
void silk_spacing_rule(const SilkInput& in);   // silk_spacing.cpp

MaskSilkRun analyse_mask_layer(Job& job, Step& step, const std::string& layer, const MaskLimits& limits,
                               const LevelLimits& levels);
MaskSilkRun analyse_silk_layer(Job& job, Step& step, const std::string& layer, const SilkLimits& limits,
                               const LevelLimits& levels);

// Pad kinds as the mask and silk items tell them apart.
enum class PadKind { Smd, Undrilled, Pth, Via, Npth };
PadKind pad_kind(const LayerContext& copper, std::uint32_t piece);
// The largest value an item reports: the caller's green limit for it, or
// the run's limit.
inline Coord reach(const LevelLimits& levels, int item, Coord fallback)
{
    auto it = levels.find(item);
    return it == levels.end() ? fallback : std::max(it->second[2], Coord(0));
}

} // namespace kesto::drc
