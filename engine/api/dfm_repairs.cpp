#include "engine/api/dfm_repairs.h"

#include "engine/dfm/dfm_common.h"
#include "engine/dfm/mask_opt.h"
#include "engine/dfm/signal_opt.h"
#include "engine/dfm/smd_spacing.h"
#include "engine/dfm/slivers.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/mask_silk_rules.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>
#include <limits>
#include <strings.h>

namespace KESTO {
namespace API {

namespace {

using namespace kesto;

std::map<std::string, std::map<std::string, signal_layer_DFM_layer_result>>& kept_reports()
{
    static std::map<std::string, std::map<std::string, signal_layer_DFM_layer_result>> reports;
    return reports;
}

// The three DFM levels: what the check family would put at level 4 (beyond
// every threshold) is the mildest DFM level.
signal_layer_DFM_op_result three_levels(const signal_check_result& r)
{
    signal_layer_DFM_op_result out;
    out.item = r.item;
    for (std::size_t l = 0; l < 4; ++l) {
        const std::size_t to = std::min<std::size_t>(l, 2);
        out.counts[to] += r.counts[l];
        out.lv[to].insert(out.lv[to].end(), r.lv[l].begin(), r.lv[l].end());
    }
    return out;
}

Coord nm(int v) { return v > 0 ? Coord(v) : 0; }

dfm::SignalOptRules rules_of(const signal_layer_DFM_op_params& p)
{
    dfm::SignalOptRules r;
    const int mins[] = {p.pth_ar_min, p.via_ar_min, p.mvia_ar_min, p.laser_ar_min, p.buried_ar_min};
    const int opts[] = {p.pth_ar_opt, p.via_ar_opt, p.mvia_ar_opt, p.laser_ar_opt, p.buried_ar_opt};
    for (std::size_t k = 0; k < 5; ++k) r.ring_min[k] = nm(mins[k]), r.ring_opt[k] = nm(opts[k]);
    r.spacing_min = nm(p.spacing_min);
    r.spacing_opt = nm(p.spacing_opt);
    r.pad_spacing_min = nm(p.pad_to_pad_spacing_min);
    r.pad_spacing_opt = nm(p.pad_to_pad_spacing_opt);
    r.line_from = nm(p.lre_range_fr);
    r.line_to = nm(p.lre_range_to);
    r.reduction = nm(p.reduction);
    r.abs_min = nm(p.abs_min);
    r.drill_to_cu = nm(p.drill_to_cu);
    r.selected_only = p.apply_to == 1;
    // Neither pad kind named: every pad may be changed.
    r.pads = p.pads || !p.smds;
    r.smds = p.smds || !p.pads;
    r.padup = p.padup;
    r.paddn = p.paddn;
    r.linedn = p.linedn;
    r.drills = p.drills;
    r.cut_touching = p.cut_pad_touch_pad;
    r.padup_can_touch = p.padup_can_touch_pad;
    return r;
}

// The step and the matrix spelling of each layer; false (logged) when the
// job, the step or a layer is not there.
bool find_layers(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                 Job*& j, Step*& s, std::vector<std::string>& names, const char* what)
{
    j = store::find_job(job);
    s = j ? store::find_step(*j, step) : nullptr;
    if (!s) {
        LOG(ERROR) << what << ": " << (j ? "step " + step + " is not a step of job " + job : "job " + job + " is not open");
        return false;
    }
    for (const std::string& l : layers) {
        const MatrixRow* row = store::find_row(*j, l);
        if (!row || !store::find_layer(*j, *s, row->name)) {
            LOG(ERROR) << what << ": " << l << " is not a layer of step " << step;
            return false;
        }
        names.push_back(row->name);
    }
    return true;
}

bool run_signal_opt(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                    const dfm::SignalOptRules& rules, const drc::LevelLimits& levels,
                    std::map<std::string, signal_layer_DFM_layer_result>& result,
                    COMMON::progress_value<int>* progress, const char* what)
{
    result.clear();
    Job* j = nullptr;
    Step* s = nullptr;
    std::vector<std::string> names;
    if (!find_layers(job, step, layers, j, s, names, what)) return false;
    if (progress) progress->total = int(names.size());
    // One edit for the whole run: one undo puts every layer back.
    store::Edit edit(*j, s->name, names);
    std::size_t changed = 0;
    for (const std::string& name : names) {
        if (progress && progress->cancel) break;
        dfm::SignalOptRun run = dfm::optimise_signal_layer(*j, *s, name, rules, levels);
        changed += run.changed;
        auto& out = result[name];
        for (const auto& [item, r] : run.result) out[signal_layer_DFM_op_items(item)] = three_levels(r);
        if (progress) ++progress->done;
        LOG(INFO) << what << " " << name << ": " << run.changed << " features resized";
    }
    edit.finish(changed);
    if (changed) j->changed = true;
    kept_reports()[job + '\n' + s->name] = result;
    return true;
}

} // namespace

bool signal_layer_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                         const signal_layer_DFM_op_params& params, const dfm_thresholds& thresholds,
                         std::map<std::string, signal_layer_DFM_layer_result>& result,
                         COMMON::progress_value<int>* progress)
{
    if (params.rerout || params.reshape || params.shave)
        LOG(WARNING) << "signal layer DFM: line re-routing, reshaping and one-sided shaves are not made by this "
                        "engine; spacing is restored by reducing round pads (paddn) and narrowing lines (linedn)";
    // Thresholds arrive in micrometres; the engine measures in nanometres.
    kesto::drc::LevelLimits levels;
    for (const auto& [item, t] : thresholds)
        levels[item] = {kesto::Coord(std::llround(std::get<0>(t) * 1000)), kesto::Coord(std::llround(std::get<1>(t) * 1000)),
                        kesto::Coord(std::llround(std::get<2>(t) * 1000))};
    return run_signal_opt(job, step, layers, rules_of(params), levels, result, progress, "signal layer DFM");
}

bool New_signal_layer_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                             COMMON::progress_value<int>* progress, const new_signal_layer_DFM_op_params& params)
{
    signal_layer_DFM_op_params p;
    p.cut_pad_touch_pad = params.cut_pad_touch_pad;
    p.drill_to_cu = params.drill_to_cu;
    p.drills = params.drill_to_cu > 0;
    // Touching lands are cut apart by reducing them, down to a bare ring;
    // foreign copper near a hole by narrowing lines and reducing pads.
    p.paddn = p.linedn = true;
    p.reduction = std::numeric_limits<int>::max();
    dfm::SignalOptRules rules = rules_of(p);
    rules.spacing_repairs = false;
    if (params.cut_pad_touch_pad) rules.pad_spacing_min = rules.spacing_min = std::max(params.drill_to_cu, 0);
    std::map<std::string, signal_layer_DFM_layer_result> result;
    return run_signal_opt(job, step, layers, rules, {}, result, progress, "new signal layer DFM");
}

bool sliver_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                   const sliver_DFM_op_params& params, COMMON::progress_value<int>* progress)
{
    Job* j = nullptr;
    Step* s = nullptr;
    std::vector<std::string> names;
    if (!find_layers(job, step, layers, j, s, names, "sliver DFM")) return false;
    if (progress) progress->total = int(names.size());
    store::Edit edit(*j, s->name, names);
    std::size_t filled = 0;
    for (const std::string& name : names) {
        if (progress && progress->cancel) break;
        const dfm::SliverFillRun run = dfm::fill_slivers(*j, *s, name, nm(params.max_width), nm(params.max_height));
        filled += run.filled;
        LOG(INFO) << "sliver DFM " << name << ": " << run.filled << " gaps filled";
        if (progress) ++progress->done;
    }
    edit.finish(filled);
    if (filled) j->changed = true;
    return true;
}

bool solder_mask_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                        const solder_mask_DFM_params& p, const dfm_thresholds& thresholds,
                        std::map<solder_mask_DFM_op_items, std::vector<solder_mask_DFM_op_result>>& result,
                        COMMON::progress_value<int>* progress)
{
    result.clear();
    if (p.use_shaves || p.fan_shaved || p.pth_fan_shaved || p.add_outline || p.intersect_width > 0 ||
        p.cut_surplus_width > 0 || p.cut_surplus_height > 0 || p.prevent_vertical_flow_add_sm ||
        p.prevent_vertical_flow_del_sm || p.vo_rask_resize_sm_in_surface || p.add_v_cut_sm_size > 0 ||
        p.resize_sm_surface_size > 0 || p.pad_covered_clearance > 0 || p.is_round)
        LOG(WARNING) << "solder mask DFM: shaves, mask outlines, surface and v-cut openings and reshaping are not made "
                        "by this engine; openings over pads are resized and bridges kept";
    Job* j = nullptr;
    Step* s = nullptr;
    std::vector<std::string> names;
    if (!find_layers(job, step, layers, j, s, names, "solder mask DFM")) return false;
    for (const std::string& name : names) {
        if (!kesto::drc::iequals(store::find_row(*j, name)->type, "SOLDER_MASK")) {
            LOG(ERROR) << "solder mask DFM: " << name << " is not a solder-mask layer; nothing is changed";
            return false;
        }
        if (kesto::drc::copper_below(*j, name).empty()) {
            LOG(ERROR) << "solder mask DFM: no copper layer lies under " << name << "; nothing is changed";
            return false;
        }
    }
    dfm::MaskOptRules r;
    r.plain = {nm(p.clearance_min), nm(p.clearance_opt)};
    r.drilled = {nm(p.drill_clearance_min), nm(p.drill_clearance_opt)};
    r.smd = {nm(p.smd_clearance_min), nm(p.smd_clearance_opt)};
    r.bga = {nm(p.bga_clearance_min), nm(p.bga_clearance_opt)};
    r.coverage_min = nm(p.coverage_min);
    r.coverage_opt = nm(p.coverage_opt);
    r.bridge = nm(p.bridge_size);
    r.max_oversized = nm(p.max_oversized_clearance);
    r.resize = p.do_resize;
    r.gasket_undrilled = p.resize_gas_sm_no_drill;
    r.gasket_drilled = p.resize_gas_sm_has_drill;
    r.selected_only = p.apply_to == 1;
    const drc::LevelLimits levels = dfm::limits_of(thresholds);
    if (progress) progress->total = int(names.size());
    store::Edit edit(*j, s->name, names);
    std::size_t changed = 0;
    for (const std::string& name : names) {
        if (progress && progress->cancel) break;
        dfm::MaskOptRun run = dfm::optimise_mask_layer(*j, *s, name, r, levels);
        changed += run.changed;
        std::map<solder_mask_DFM_op_items, level_result<3>> layer_report;
        dfm::merge_levels(run.result, layer_report);
        for (auto& [item, lr] : layer_report) {
            solder_mask_DFM_op_result out;
            static_cast<level_result<3>&>(out) = std::move(lr);
            out.layer = name;
            result[item].push_back(std::move(out));
        }
        LOG(INFO) << "solder mask DFM " << name << " (copper " << run.copper << "): " << run.changed
                  << " openings resized";
        if (progress) ++progress->done;
    }
    edit.finish(changed);
    if (changed) j->changed = true;
    return true;
}

bool smd_bga_DFM_op(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                    const smd_bga_DFM_op_params& params, COMMON::progress_value<int>* progress)
{
    Job* j = nullptr;
    Step* s = nullptr;
    std::vector<std::string> names;
    if (!find_layers(job, step, layers, j, s, names, "SMD/BGA DFM")) return false;
    if (progress) progress->total = int(names.size());
    store::Edit edit(*j, s->name, names);
    std::size_t shaved = 0;
    for (const std::string& name : names) {
        if (progress && progress->cancel) break;
        const dfm::SmdSpacingRun run =
            dfm::restore_smd_spacing(*j, *s, name, nm(params.smd_bga_spacing_opt), nm(params.max_padup_value));
        shaved += run.shaved;
        LOG(INFO) << "SMD/BGA DFM " << name << ": " << run.repaired << " pairs spaced, " << run.shaved
                  << " pads shaved, " << run.left.size() << " pairs still too close";
        for (const std::string& left : run.left) LOG(WARNING) << "SMD/BGA DFM: " << left;
        if (progress) ++progress->done;
    }
    edit.finish(shaved);
    if (shaved) j->changed = true;
    return true;
}

std::map<std::string, signal_layer_DFM_layer_result> latest_signal_layer_DFM(const std::string& job,
                                                                            const std::string& step)
{
    auto& kept = kept_reports();
    for (const auto& [key, report] : kept)
        if (kesto::store::find_job(job) && key.size() == job.size() + 1 + step.size() &&
            key.compare(0, job.size(), job) == 0 && strcasecmp(key.c_str() + job.size() + 1, step.c_str()) == 0)
            return report;
    return {};
}

} // namespace API
} // namespace KESTO
