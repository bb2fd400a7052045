#include "engine/api/analysis.h"

#include "engine/api/units.h"
#include "engine/drc/analysis_store.h"
#include "engine/drc/mask_silk_rules.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>

namespace KESTO {
namespace API {

namespace {

kesto::Coord nm(double v) { return v > 0 ? kesto::Coord(from_working_unit(v)) : kesto::Coord(0); }

kesto::drc::LevelLimits levels_of(const std::map<int, std::tuple<double, double, double>>& ranges)
{
    kesto::drc::LevelLimits levels;
    auto um = [](double v) { return kesto::Coord(std::llround(v * double(kesto::kNmPerMicron))); };
    for (const auto& [item, t] : ranges) levels[item] = {um(std::get<0>(t)), um(std::get<1>(t)), um(std::get<2>(t))};
    return levels;
}

template <class Params>
std::pair<kesto::Job*, kesto::Step*> where(const Params& params, const char* what)
{
    kesto::Job* j = kesto::store::find_job(params.job);
    kesto::Step* s = j ? kesto::store::find_step(*j, params.step) : nullptr;
    if (!s)
        LOG(ERROR) << what << ": "
                   << (j ? "step " + params.step + " is not a step of job " + params.job : "job " + params.job + " is not open");
    return {j, s};
}

} // namespace

bool solder_mask_checks(const solder_mask_check_params& params,
                        std::map<solder_mask_checks_items, solder_mask_check_result>& result,
                        COMMON::progress_value<int>* progress)
{
    result.clear();
    auto [j, s] = where(params, "solder mask check");
    if (!s) return false;
    if (progress) progress->total += 1;
    kesto::drc::MaskLimits limits;
    limits.ring = nm(params.sm_ar);
    limits.coverage = nm(params.sm_coverage);
    limits.spacing = nm(params.spacing_min);
    limits.bridge = nm(params.bridge_min);
    limits.pads = params.pads;
    limits.missing = params.missing;
    limits.coverage_on = params.coverage;
    limits.spacing_on = params.spacing;
    limits.bridge_on = params.bridge;
    limits.drill = params.drill;
    limits.selected_only = params.apply_to;
    const kesto::drc::LevelLimits levels = levels_of(params.ranges);
    kesto::drc::MaskSilkRun run = kesto::drc::analyse_mask_layer(*j, *s, params.layer, limits, levels);
    for (const std::string& note : run.notes) LOG(WARNING) << "solder mask check: " << note;
    if (progress) ++progress->done;
    if (!run.found) return false;
    for (auto& [item, r] : run.result) result[solder_mask_checks_items(item)] = std::move(r);
    return true;
}

bool silk_screen_checks(const silk_screen_check_params& params,
                        std::map<silk_screen_checks_items, silk_screen_check_result>& result,
                        COMMON::progress_value<int>* progress)
{
    result.clear();
    auto [j, s] = where(params, "silk screen check");
    if (!s) return false;
    if (progress) progress->total += 1;
    kesto::drc::SilkLimits limits;
    limits.spacing = nm(params.spacing);
    limits.mask = params.sm_clearance;
    limits.smd = params.smd_clearance;
    limits.pads = params.pad_clearance;
    limits.holes = params.hole_clearance;
    limits.rout = params.rout_clearance;
    limits.widths = params.line_width;
    limits.selected_only = params.apply_to;
    const kesto::drc::LevelLimits levels = levels_of(params.ranges);
    kesto::drc::MaskSilkRun run = kesto::drc::analyse_silk_layer(*j, *s, params.layer, limits, levels);
    for (const std::string& note : run.notes) LOG(WARNING) << "silk screen check: " << note;
    if (progress) ++progress->done;
    if (!run.found) return false;
    // Silk findings keep three levels: anything past the green limit is not
    // reported at all, so the fourth is never filled.
    for (auto& [item, r] : run.result) {
        silk_screen_check_result& out = result[silk_screen_checks_items(item)];
        out.item = r.item;
        for (std::size_t l = 0; l < 3; ++l) {
            out.lv[l] = std::move(r.lv[l]);
            out.counts[l] = r.counts[l];
        }
    }
    return true;
}

std::string keep_solder_mask_analysis(const std::string& job, const std::string& step, const solder_mask_result& results)
{
    kesto::drc::AnalysisRun run;
    run.job = job;
    run.step = step;
    run.kind = kesto::drc::SolderMask;
    run.solder_mask = results;
    const std::string uuid = kesto::drc::keep_run(std::move(run));
    LOG(INFO) << "analysis uuid: " << uuid;
    return uuid;
}

std::string keep_silk_screen_analysis(const std::string& job, const std::string& step, const silk_screen_result& results)
{
    kesto::drc::AnalysisRun run;
    run.job = job;
    run.step = step;
    run.kind = kesto::drc::SilkScreen;
    run.silk_screen = results;
    const std::string uuid = kesto::drc::keep_run(std::move(run));
    LOG(INFO) << "analysis uuid: " << uuid;
    return uuid;
}

} // namespace API
} // namespace KESTO
