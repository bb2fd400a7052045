#include "engine/api/analysis.h"

#include "engine/drc/analysis_store.h"
#include "engine/drc/drill_analysis.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>
#include <stdexcept>

namespace KESTO {
namespace API {

bool drill_check(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                 const drill_context& context, const drill_thresholds& thresholds, drill_result& result,
                 COMMON::progress_value<int>* progress)
{
    using namespace kesto;
    result.clear();
    drc::AnalysisRun run;
    run.job = job;
    run.step = step;
    run.kind = drc::Drill;
    bool ran = false;
    Job* j = store::find_job(job);
    Step* s = j ? store::find_step(*j, step) : nullptr;
    if (!s) {
        LOG(WARNING) << "drill check: " << (j ? "step " + step + " is not a step of job " + job : "job " + job + " is not open");
    } else {
        drc::DrillOptions options;
        options.rout_distance = Coord(std::llround(context.rout_distance * double(kNmPerMm)));
        options.hole_size = context.hole_size;
        options.extra_holes = context.extra_holes;
        options.hole_separation = context.hole_separation;
        options.power_ground_short = context.power_ground_short;
        options.missing_hole = context.missing_hole;
        options.npth_to_rout = context.npth_to_rout;
        options.use_pth = context.use_pth;
        options.use_npth = context.use_npth;
        options.use_via = context.use_via;
        options.board_nets = context.calculate_board_net_status;
        drc::LevelLimits limits;
        for (const auto& [item, t] : thresholds)
            limits[item] = {Coord(std::get<0>(t)) * kNmPerMicron, Coord(std::get<1>(t)) * kNmPerMicron,
                            Coord(std::get<2>(t)) * kNmPerMicron};
        drc::DrillAnalysis analysis = drc::analyse_drill(*j, *s, layers, options, limits, progress);
        for (const std::string& note : analysis.notes) LOG(WARNING) << "drill check: " << note;
        run.drill = analysis.result;
        result = std::move(analysis.result);
        ran = true;
    }
    drc::keep_run(std::move(run));
    return ran;
}

std::string latest_analysis_uuid(const std::string& job, const std::string& step, int kind)
{
    return kesto::drc::latest_run(job, step, kind);
}

namespace {

template <class Set>
void fetch(const std::string& uuid, Set kesto::drc::AnalysisRun::*member, Set& result)
{
    result.clear();
    if (auto run = kesto::drc::find_run(uuid)) result = (*run).*member;
}

} // namespace

void getJWSignalLayerAnalysisResult(const std::string& uuid, signal_result& r) { fetch(uuid, &kesto::drc::AnalysisRun::signal, r); }
void getJWDrillAnalysisResult(const std::string& uuid, drill_result& r) { fetch(uuid, &kesto::drc::AnalysisRun::drill, r); }
void getJWSolderMaskAnalysisResult(const std::string& uuid, solder_mask_result& r) { fetch(uuid, &kesto::drc::AnalysisRun::solder_mask, r); }
void getJWSilkScreenAnalysisResult(const std::string& uuid, silk_screen_result& r) { fetch(uuid, &kesto::drc::AnalysisRun::silk_screen, r); }
void getJWBoardDrillAnalysisResult(const std::string& uuid, board_drill_result& r) { fetch(uuid, &kesto::drc::AnalysisRun::board_drill, r); }

void getSignalLayerAnalysisResult4Co(const std::string& uuid, signal_result& r) { getJWSignalLayerAnalysisResult(uuid, r); }
void getDrillAnalysisResult4Co(const std::string& uuid, drill_result& r) { getJWDrillAnalysisResult(uuid, r); }
void getSolderMaskAnalysisResult4Co(const std::string& uuid, solder_mask_result& r) { getJWSolderMaskAnalysisResult(uuid, r); }
void getSilkScreenAnalysisResult4Co(const std::string& uuid, silk_screen_result& r) { getJWSilkScreenAnalysisResult(uuid, r); }
void getBoardDrillAnalysisResult4Co(const std::string& uuid, board_drill_result& r) { getJWBoardDrillAnalysisResult(uuid, r); }

} // namespace API
} // namespace KESTO

std::string AllTypeAnalysisHandle::allTypeAnalysisDoor(const std::string& matrix_path, const std::string&,
                                                       const std::string&, const std::string&, const std::string&)
{
    throw std::runtime_error("reading a job from the files of " + matrix_path +
                             " is not available in this build: the job reader is not part of it yet");
}
