#include "engine/api/analysis.h"

#include "engine/drc/analysis_store.h"
#include "engine/api/jobs.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/nets.h"
#include "engine/store/store.h"

#include <glog/logging.h>
#include <json/json.h>

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

// The job a path names: a job folder, the matrix file inside one, or an
// archive; its name is the folder's or the archive's without extension.
std::pair<std::string, std::string> job_at(std::string path)
{
    while (path.size() > 1 && path.back() == '/') path.pop_back();
    const std::string matrix_file = "/matrix/matrix";
    if (path.size() > matrix_file.size() && path.compare(path.size() - matrix_file.size(), matrix_file.size(), matrix_file) == 0)
        path.resize(path.size() - matrix_file.size());
    std::string name = path.substr(path.find_last_of('/') == std::string::npos ? 0 : path.find_last_of('/') + 1);
    for (const std::string ext : {".tar.gz", ".tgz", ".tar", ".zip"})
        if (name.size() > ext.size() && name.compare(name.size() - ext.size(), ext.size(), ext) == 0) {
            name.resize(name.size() - ext.size());
            break;
        }
    return {path, name};
}

template <class Set>
void fetch(const std::string& uuid, Set kesto::drc::AnalysisRun::*member, Set& result)
{
    result.clear();
    if (auto run = kesto::drc::find_run(uuid)) result = (*run).*member;
}

} // namespace

bool whole_board_analysis(const std::string& path, std::string& job, std::vector<board_analysis_run>& runs,
                          std::string& why)
{
    using namespace kesto;
    runs.clear();
    const auto [location, name] = job_at(path);
    job = name;
    if (location.empty() || !open_job(location, "")) {
        why = "no job could be opened from '" + path + "'";
        return false;
    }
    Job* j = store::find_job(name);
    if (!j) {
        why = "the job opened from '" + path + "' is not named " + name;
        return false;
    }
    std::vector<std::string> drills;
    for (const MatrixRow& row : j->rows)
        if (drc::iequals(row.context, "BOARD") && drc::iequals(row.type, "DRILL")) drills.push_back(row.name);
    drill_context context;
    context.rout_distance = double(drc::kDefaultCloseLimit) / double(kNmPerMm);
    context.hole_size = context.extra_holes = context.hole_separation = context.missing_hole = true;
    context.npth_to_rout = context.use_pth = context.use_npth = context.use_via = true;
    for (const MatrixStep& column : j->columns) {
        Step* s = store::find_step(*j, column.name);
        if (!s) continue;
        board_analysis_run run;
        run.step = column.name;
        run.analysis_type = drc::Drill;
        run.net_count = drc::board_nets(*j, *s)->count;
        drill_result result;
        COMMON::progress_value<int> progress;
        drill_check(name, column.name, drills, context, {}, result, &progress);
        run.uuid = latest_analysis_uuid(name, column.name, drc::Drill);
        runs.push_back(std::move(run));
    }
    return true;
}

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

std::string AllTypeAnalysisHandle::allTypeAnalysisDoor(const std::string& matrix_path, const std::string& signal_path,
                                                       const std::string& drill_path, const std::string& silk_path,
                                                       const std::string& solder_path)
{
    std::string job, why;
    std::vector<KESTO::API::board_analysis_run> runs;
    if (!KESTO::API::whole_board_analysis(matrix_path, job, runs, why)) throw std::runtime_error(why);
    Json::Value out(Json::objectValue);
    out["job"] = job;
    Json::Value steps(Json::arrayValue);
    for (const auto& run : runs) {
        if (steps.empty() || steps[steps.size() - 1]["step"].asString() != run.step) {
            Json::Value step(Json::objectValue);
            step["step"] = run.step;
            step["net_count"] = run.net_count;
            step["analyses"] = Json::Value(Json::arrayValue);
            steps.append(std::move(step));
        }
        Json::Value analysis(Json::objectValue);
        analysis["analysis_type"] = run.analysis_type;
        analysis["uuid"] = run.uuid;
        steps[steps.size() - 1]["analyses"].append(std::move(analysis));
    }
    out["steps"] = std::move(steps);
    Json::Value not_run(Json::arrayValue);
    for (const auto& [kind, path] : {std::pair{"signal", &signal_path}, {"silk", &silk_path}, {"solder", &solder_path}})
        if (!path->empty()) not_run.append(kind);
    (void)drill_path; // the drill layers come from the job's matrix
    out["not_run"] = std::move(not_run);
    Json::StreamWriterBuilder writer;
    writer["indentation"] = "";
    return Json::writeString(writer, out);
}
