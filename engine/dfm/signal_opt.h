// Signal-layer optimisation: round lands grown toward the optimal annular
// ring where spacing allows, then spacing between nets and the clearance of
// holes to foreign copper restored by narrowing round lines and reducing
// round pads, each within the allowed reduction and never below the
// narrowest width. Works on round pads and round-ended lines (the shapes
// whose every gap changes by exactly the change of their radius); every
// other shape is measured and reported but left as drawn.
#pragma once
#include "engine/drc/findings.h"
#include "engine/model/model.h"

#include <array>
#include <map>
#include <string>

namespace kesto::dfm {

// Hole kinds with their own annular-ring targets.
enum class RingKind : std::uint8_t { Pth, Via, MicroVia, LaserVia, BuriedVia };

struct SignalOptRules {
    std::array<Coord, 5> ring_min{}, ring_opt{};  // by RingKind; 0: the kind is left alone
    Coord spacing_min = 0, spacing_opt = 0;
    Coord pad_spacing_min = 0, pad_spacing_opt = 0; // 0: the copper spacing applies
    Coord line_from = 0, line_to = 0;               // widths of lines that may be narrowed (0, 0: all)
    Coord reduction = 0;                            // most width a feature may lose (0: none)
    Coord abs_min = 0;                              // narrowest a feature may be left
    Coord drill_to_cu = 0;
    bool selected_only = false;
    bool pads = true, smds = true;                  // pad kinds the repairs may change
    bool padup = false, paddn = false, linedn = false, drills = false;
    bool cut_touching = false;                      // touching lands of different holes cut apart
    bool padup_can_touch = false;
    bool spacing_repairs = true;                    // false: only touching lands are worked on
};

struct SignalOptRun {
    bool found = false;                             // the layer is a layer of the step
    std::map<int, KESTO::API::signal_check_result> result; // by "SignalLayerOptRanges" item
    std::size_t changed = 0;                        // features given a new size
};

// Repairs one layer of a step in place (the caller records it for undo).
SignalOptRun optimise_signal_layer(Job& job, Step& step, const std::string& layer, const SignalOptRules& rules,
                                   const drc::LevelLimits& levels);

} // namespace kesto::dfm
