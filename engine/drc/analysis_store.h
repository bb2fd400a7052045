// Every analysis run the engine made, kept under a fresh uuid so that review
// tools can come back to it, and the latest run per job, step and kind.
#pragma once
#include "engine/drc/check_records.h"

#include <memory>
#include <string>

namespace kesto::drc {

// Analysis kinds, numbered as hosts send them.
enum AnalysisKind : int { SignalLayer = 1, Drill = 2, SolderMask = 3, SilkScreen = 4, BoardDrill = 5 };

struct AnalysisRun {
    std::string uuid;
    std::string job, step;
    int kind = 0;
    KESTO::API::signal_result signal;
    KESTO::API::drill_result drill;
    KESTO::API::solder_mask_result solder_mask;
    KESTO::API::silk_screen_result silk_screen;
    KESTO::API::board_drill_result board_drill;
};

// How many runs are kept; the oldest goes first.
constexpr std::size_t kKeptRuns = 64;

// Keeps the run under a fresh uuid, which it returns.
std::string keep_run(AnalysisRun run);
// A kept run, or nullptr when the uuid is unknown or was dropped.
std::shared_ptr<const AnalysisRun> find_run(const std::string& uuid);
// The uuid of the latest run of a kind on a job's step, or "".
std::string latest_run(const std::string& job, const std::string& step, int kind);

} // namespace kesto::drc
