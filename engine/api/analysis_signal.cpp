#include "engine/api/analysis.h"

#include "engine/api/units.h"
#include "engine/drc/analysis_store.h"
#include "engine/drc/signal_rules.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>

namespace KESTO {
namespace API {

bool signal_layers_checks(const std::string& job, const std::string& step, const signal_check_params& params,
                          const std::vector<signal_layers_checks_list>& checks,
                          const std::map<signal_layers_checks_items, signal_check_range>& ranges,
                          std::map<signal_layers_checks_items, signal_check_result>& result,
                          COMMON::progress_value<int>* progress)
{
    using namespace kesto;
    result.clear();
    Job* j = store::find_job(job);
    Step* s = j ? store::find_step(*j, step) : nullptr;
    if (!s) {
        LOG(ERROR) << "signal layer check: " << (j ? "step " + step + " is not a step of job " + job : "job " + job + " is not open");
        return false;
    }
    auto nm = [](double v) { return v > 0 ? Coord(from_working_unit(v)) : Coord(0); };
    drc::SignalLimits limits;
    limits.pp_spacing = nm(params.pp_spacing);
    limits.drill2cu = nm(params.drill2cu);
    limits.rout2cu = nm(params.rout2cu);
    limits.sliver_min = nm(params.sliver_min);
    limits.min_pad_overlap = nm(params.min_pad_overlap);
    limits.check_missing = params.check_missing;
    limits.sort_spacing = params.sort_spacing;
    limits.pad_connection = params.pad_connection_check;
    // The fixed settings override the engine's own defaults only when given.
    auto fixed = [](Coord& field, long long v) { if (v > 0) field = Coord(v); };
    fixed(limits.width_tolerance, params.width_tolerance);
    fixed(limits.too_small, params.too_small);
    fixed(limits.registration_x, params.registration.first);
    fixed(limits.registration_y, params.registration.second);
    fixed(limits.ring_pth, params.rings.first);
    fixed(limits.ring_via, params.rings.second);
    fixed(limits.stub_length, params.stub_length);
    fixed(limits.width_limit, params.width_limit);
    fixed(limits.spacing_default, params.spacing_default);
    fixed(limits.pitch_max, params.smd_pitch.first);
    fixed(limits.pitch_min_size, params.smd_pitch.second);
    fixed(limits.local_window, params.local_spacing.first);
    fixed(limits.local_reach, params.local_spacing.second);
    fixed(limits.neck_length, params.neckdown.first);
    fixed(limits.neck_reach, params.neckdown.second);
    fixed(limits.net_extent, params.net_size.first);
    fixed(limits.net_reach, params.net_size.second);

    // Thresholds arrive in micrometres; the engine measures in nanometres.
    drc::LevelLimits levels;
    for (const auto& [item, r] : ranges)
        levels[int(item)] = {Coord(std::llround(r.red * double(kNmPerMicron))), Coord(std::llround(r.yellow * double(kNmPerMicron))),
                             Coord(std::llround(r.green * double(kNmPerMicron)))};
    std::vector<int> asked(checks.begin(), checks.end());
    drc::SignalLayerRun run = drc::analyse_signal_layer(*j, *s, params.layer, limits, asked, levels, progress);
    for (const std::string& note : run.notes) LOG(WARNING) << "signal layer check: " << note;
    if (!run.found) return false;
    std::string times;
    for (const auto& [family, ms] : run.family_ms) times += " " + family + " " + std::to_string(ms) + " ms";
    VLOG(1) << "signal layer check " << params.layer << ":" << times;
    for (auto& [item, r] : run.result) result[signal_layers_checks_items(item)] = std::move(r);
    return true;
}

std::string keep_signal_analysis(const std::string& job, const std::string& step, const signal_result& results)
{
    kesto::drc::AnalysisRun run;
    run.job = job;
    run.step = step;
    run.kind = kesto::drc::SignalLayer;
    run.signal = results;
    return kesto::drc::keep_run(std::move(run));
}

} // namespace API
} // namespace KESTO
