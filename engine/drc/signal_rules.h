// The signal-layer analysis: its check items (numbered as the
// "SignalLayerRanges" rows), the limits a run measures against, and the
// rules, one family per file, each a small provider over a LayerContext
// that writes its findings through the shared Findings collector.
#pragma once
#include "engine/drc/signal_context.h"

#include <map>
#include <string>
#include <vector>

namespace kesto::drc {

namespace signal_item {
enum : int {
    PadToPad = 0, PadToCircuit = 1, SmdToCircuit = 2, CircuitToCircuit = 3, LineToLine = 4, CircuitToLine = 5,
    TextToText = 6, SpacingLength = 7, SameNetSpacing = 8, CadSelfSpacing = 9, CadShort = 10,
    ToePrintToToePrint = 11, SmdToSmd = 12, SmdToPad = 13, ViaToVia = 14, PthToPth = 15,
    ExposedToExposed = 16, CoveredToCovered = 17, ExposedToCovered = 18, ExposedToExposedSameNet = 19,
    CoveredToCoveredSameNet = 20, ExposedToCoveredSameNet = 21, ExposedToFullyCovered = 22,
    NpthToPad = 23, NpthToCircuit = 24, PthToCopper = 25, PthToLine = 26, PthToPad = 27,
    ViaToCopper = 28, ViaToLine = 29, ViaToPad = 30,
    PthRing = 31, PthCompRing = 32, ViaRing = 33, LaserViaRing = 34, PhotoViaRing = 35, NpthRing = 36,
    PthRegistration = 37, NpthRegistration = 38, MissingPadForVia = 39, MissingPadForPth = 40,
    MissingCuForVia = 41, NpthTouchesCopper = 42, RoutToCopper = 43, MissingCuForPlatedRout = 44,
    Pads = 45, Lines = 46, NonStandardRotatedLines = 47, ShavedLines = 48, InconsistentLineWidth = 49,
    Arcs = 50, ShavedArcs = 51, InconsistentArcWidth = 52, LineNeckdown = 53, Text = 54, TextFields = 55,
    Slivers = 56, LocalSpacing = 57, Stubs = 58, SmdPitch = 59, SmdPads = 62, ShavedSmd = 64, ShavedBga = 65,
    SmdPackages = 66, ConductorWidth = 67, PlatedRoutRing = 68, IncomingTraceToHole = 69,
    NetTooLarge = 70, IgnoredNet = 71, PadToPadConnection = 72, PadToCuConnection = 73,
    PadToLineConnection = 74, FeatureTooSmall = 75, BgaToBga = 78, PadToLineSpacing = 80,
};
} // namespace signal_item

// The checks a run is asked for, as hosts number them.
enum SignalCheck : int {
    CheckSpacing = 0, CheckDrill = 1, CheckCenter = 2, CheckRout = 3, CheckStubs = 4,
    CheckSmd = 5, CheckSize = 6, CheckBottleneck = 7, CheckSliver = 8, CheckSelectedOnly = 9,
};

// Limits of a run in nanometres. Zero in a caller's limit means "take the
// default beside it".
struct SignalLimits {
    Coord pp_spacing = 0;        // spacing between copper of different nets
    Coord drill2cu = 0;          // hole edge to copper of another net
    Coord rout2cu = 0;           // rout edge to copper
    Coord sliver_min = 0;        // narrowest copper a surface may have
    Coord min_pad_overlap = 0;   // pad-to-pad connections: overlap below this is reported
    bool check_missing = false;  // missing pads and copper for holes
    bool sort_spacing = false;   // findings of each level sorted, smallest first
    bool pad_connection = false;
    // Fixed settings (the host's request cannot change them).
    Coord width_tolerance = 5080;        // widths closer than this are one width
    Coord too_small = 2540;              // features smaller than this are not measured
    Coord registration_x = 2540, registration_y = 2540; // hole centre off its land by more: registration
    Coord ring_pth = 101600, ring_via = 101600;        // annular ring reported at or below
    Coord stub_length = 203200;          // dangling line ends at most this long are stubs
    Coord width_limit = 101600;          // lines, arcs and pads at or below this width are reported
    Coord spacing_default = 254000;      // spacing reported at or below this when no limit is given
    Coord pitch_max = 17780000, pitch_min_size = 76200;
    Coord local_window = 304800, local_reach = 609600;
    Coord neck_length = 203200, neck_reach = 254000;
    Coord net_extent = 127000000, net_reach = 254000;
};

struct RuleInput {
    const LayerContext& ctx;
    const SignalLimits& limits;
    const LevelLimits& levels;
    Findings& out;
    bool selected_only = false;

    // The largest value an item reports: the caller's green limit for it, or
    // the run's limit for the family.
    Coord reach(int item, Coord fallback) const
    {
        auto it = levels.find(item);
        return it == levels.end() ? fallback : std::max(it->second[2], Coord(0));
    }
    bool wanted(std::uint32_t piece) const { return !selected_only || ctx.pieces[piece].selected; }
};

// The rule families, one file each.
void spacing_rule(const RuleInput& in);   // signal_spacing.cpp
void drill_rule(const RuleInput& in);     // signal_drill.cpp: holes to copper, NPTH touching copper
void ring_rule(const RuleInput& in);      // signal_rings.cpp: annular rings, registration, missing pads
void rout_rule(const RuleInput& in);      // signal_rout.cpp
void width_rule(const RuleInput& in);     // signal_widths.cpp
void sliver_rule(const RuleInput& in);    // signal_slivers.cpp
// signal_line_ends.cpp: what trace ends touch.
void stub_rule(const RuleInput& in);                // dangling trace ends
void neckdown_rule(const RuleInput& in);            // short narrower lines into pads
void inconsistent_width_rule(const RuleInput& in);  // traces changing width away from pads
void cad_spacing_rule(const RuleInput& in);         // signal_cad.cpp: CAD short and CAD self spacing
// signal_smd.cpp: pads of component pins.
void smd_pitch_rule(const RuleInput& in);
void toeprint_spacing_rule(const RuleInput& in);    // toeprint and BGA spacing
void shaved_pad_rule(const RuleInput& in);          // shaved SMD and BGA pads
void shaved_line_rule(const RuleInput& in);         // signal_shaved_lines.cpp: traces cut narrower
void text_rule(const RuleInput& in);                // signal_texts.cpp: text stroke widths and fields
// signal_connections.cpp: where traces enter pads.
void pad_connection_rule(const RuleInput& in);      // traces grazing pads
void local_spacing_rule(const RuleInput& in);       // spacing of a trace's first stretch off a pad

struct SignalRule {
    const char* family;
    int check;                   // the SignalCheck that switches it on; -1: its own switch in the limits
    void (*run)(const RuleInput&);
};
// Every rule, in the order a run applies them.
const std::vector<SignalRule>& signal_rules();

struct SignalLayerRun {
    std::map<int, KESTO::API::signal_check_result> result;
    std::map<std::string, double> family_ms;  // time per family, for benchmarks and the log
    std::map<std::string, double> family_cpu_ms;  // the same in processor time
    std::vector<std::string> notes;
    bool found = false;                        // the layer is a layer of the step
};

// Runs the asked checks on one layer of a step.
SignalLayerRun analyse_signal_layer(Job& job, Step& step, const std::string& layer, const SignalLimits& limits,
                                    const std::vector<int>& checks, const LevelLimits& levels,
                                    KESTO::COMMON::progress_value<int>* progress = nullptr);

} // namespace kesto::drc
