#include "engine/api/prepare.h"

#include "engine/api/units.h"
#include "engine/api/dfm_rules.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/mrc_rules.h"
#include "engine/drc/prepare_rules.h"
#include "engine/drc/surface_analysis.h"
#include "engine/edit/drill_prepare.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/outline_drills.h"
#include "engine/formats/odb/symbols.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace KESTO {
namespace API {

bool prepare_check(const std::string& job, const prepare_check_params& params,
                   const std::vector<prepare_check_items>& items, prepare_result& result,
                   COMMON::progress_value<int>* progress)
{
    using namespace kesto::drc::prepare_item;
    result.clear();
    kesto::Job* j = kesto::store::find_job(job);
    if (!j) {
        LOG(ERROR) << "prepare check: job " << job << " is not open";
        return false;
    }
    const std::vector<int>& measured = kesto::drc::prepare_items_measured();
    std::vector<int> run;
    std::string skipped;
    for (prepare_check_items item : items) {
        if (std::find(measured.begin(), measured.end(), int(item)) != measured.end())
            run.push_back(int(item));
        else
            skipped += (skipped.empty() ? "" : ", ") + std::to_string(int(item));
    }
    if (!skipped.empty()) LOG(WARNING) << "prepare check: items not measured by this build: " << skipped;

    const kesto::drc::RoleNames roles{
        {PasteTop, params.solder_paste_top},   {SilkTop, params.silk_screen_top},   {MaskTop, params.solder_mask_top},
        {SignalTop, params.top},               {SignalInner, params.signal_layer},  {SignalBottom, params.bottom},
        {MaskBottom, params.solder_mask_bottom}, {SilkBottom, params.silk_screen_bottom},
        {PasteBottom, params.solder_paste_bottom}, {DrillLayer, params.drill_layer}, {RoutLayer, params.rout},
        {OutlineLayer, params.outline}};
    kesto::drc::LevelLimits levels;
    auto um = [](double v) { return kesto::Coord(std::llround(v * double(kesto::kNmPerMicron))); };
    for (const auto& [item, t] : params.ranges) levels[item] = {um(std::get<0>(t)), um(std::get<1>(t)), um(std::get<2>(t))};

    if (progress) progress->total += int(j->steps.size());
    kesto::drc::PrepareRun findings = kesto::drc::run_prepare_rules(*j, roles, run, levels, [&] {
        if (progress) ++progress->done;
    });
    // One result per item, its findings gathered over the layers they lie on.
    for (auto& [layer, by_item] : findings.by_layer)
        for (auto& [item, r] : by_item) {
            prepare_check_result& out = result[prepare_check_items(item)];
            out.item = item;
            for (std::size_t l = 0; l < 4; ++l) {
                out.counts[l] += r.counts[l];
                for (check_info& info : r.lv[l]) out.lv[l].push_back(std::move(info));
            }
        }
    for (const auto& [item, r] : result)
        LOG(INFO) << "prepare check: item " << int(item) << ": "
                  << r.counts[0] + r.counts[1] + r.counts[2] + r.counts[3] << " findings";
    return true;
}

bool add_outerline_drills(const std::string& job, const std::string& step, const std::string& outline_layer,
                          const std::string& drill_layer, const std::string& symbol, int offset_um,
                          double angle_tolerance, int& added)
{
    added = 0;
    kesto::Job* j = kesto::store::find_job(job);
    kesto::Step* s = j ? kesto::store::find_step(*j, step) : nullptr;
    kesto::Layer* outline = s ? kesto::store::find_layer(*j, *s, outline_layer) : nullptr;
    kesto::Layer* drill = s ? kesto::store::find_layer(*j, *s, drill_layer) : nullptr;
    if (!outline || !drill) {
        LOG(ERROR) << "add_outline_drill: "
                   << (!j ? "job " + job + " is not open"
                       : !s ? "step " + step + " is not a step of job " + job
                       : !outline ? "no layer " + outline_layer + " in step " + step
                                  : "no layer " + drill_layer + " in step " + step);
        return false;
    }
    const kesto::Symbol hole = kesto::odb::parse_symbol_name(symbol, working_unit());
    if (hole.family == kesto::SymbolFamily::Unknown || hole.family == kesto::SymbolFamily::User) {
        LOG(ERROR) << "add_outline_drill: \"" << symbol << "\" is not a standard symbol";
        return false;
    }
    const std::vector<kesto::Point> corners = kesto::edit::outline_corner_drills(
        *outline, kesto::Coord(offset_um) * kesto::kNmPerMicron, angle_tolerance);
    std::vector<kesto::Point> fresh;
    for (const kesto::Point& p : corners) {
        bool drilled = false;
        for (const kesto::Feature& f : drill->features)
            drilled = drilled || (f.kind == kesto::FeatureKind::Pad && std::llabs(f.a.x - p.x) <= 1000 && std::llabs(f.a.y - p.y) <= 1000);
        if (!drilled) fresh.push_back(p);
    }
    if (fresh.empty()) return true;
    kesto::store::remember(*j, s->name, {kesto::store::layer_name(drill_layer)});
    const std::int32_t index = kesto::edit::symbol_index(*drill, hole);
    for (const kesto::Point& p : fresh) {
        kesto::Feature f;
        f.kind = kesto::FeatureKind::Pad;
        f.symbol = index;
        f.a = p;
        drill->features.push_back(f);
    }
    kesto::select::forget(*drill);
    j->changed = true;
    added = int(fresh.size());
    return true;
}


namespace {

// "job x is not open" and the like, for the ERROR record of a lookup that failed.
std::string missing(const std::string& job, const kesto::Job* j, const std::string& step, const kesto::Step* s)
{
    return !j ? "job " + job + " is not open" : !s ? "step " + step + " is not a step of job " + job : "";
}

double nm_per_working_unit() { return working_unit_is_inch() ? 25400000.0 : 1e6; }

} // namespace

bool mrc_check(const mrc_check_params& params, mrc_result& result, COMMON::progress_value<int>* progress)
{
    result.clear();
    kesto::Job* j = kesto::store::find_job(params.job);
    kesto::Step* s = j ? kesto::store::find_step(*j, params.step) : nullptr;
    if (!s) {
        LOG(ERROR) << "mrc_check: " << missing(params.job, j, params.step, s);
        return false;
    }
    std::vector<kesto::Layer*> layers;
    for (const std::string& name : params.layers) {
        layers.push_back(kesto::store::find_layer(*j, *s, name));
        if (!layers.back()) {
            LOG(ERROR) << "mrc_check: no layer " << name << " in step " << params.step;
            return false;
        }
    }
    // Outer copper: the first and last copper rows of the board.
    int first = -1, last = -1;
    for (std::size_t i = 0; i < j->rows.size(); ++i)
        if (kesto::drc::iequals(j->rows[i].context, "BOARD") && kesto::drc::is_copper_type(j->rows[i].type)) {
            if (first < 0) first = int(i);
            last = int(i);
        }
    if (progress) progress->total += int(layers.size());
    for (std::size_t k = 0; k < layers.size(); ++k) {
        const std::string& name = params.layers[k];
        std::map<std::string, mrc_check_result>& out = result[name];
        out.clear();  // a layer named twice keeps the later run
        const kesto::MatrixRow* row = kesto::store::find_row(*j, name);
        const int at = row ? int(row - j->rows.data()) : -1;
        if (!row || !kesto::drc::is_copper_type(row->type)) {
            out["rules"].message = "not a copper layer: no spacing rule applies";
        } else {
            const bool outer = at == first || at == last;
            const dfm_relationship rules = get_realationship(outer);
            std::vector<std::string> unknown;
            out = kesto::drc::mrc_spacing(*j, *s, name, rules, nm_per_working_unit(), unknown);
            for (const std::string& cell : unknown)
                LOG(WARNING) << "mrc_check: the rule \"" << cell << "\" names a feature kind the check does not know";
            if (out.empty())
                out["rules"].message = std::string("no spacing rules set for ") + (outer ? "outer" : "inner") + " layers";
        }
        std::size_t n = 0;
        for (const auto& [rule, r] : out) n += r.findings.size();
        LOG(INFO) << "mrc_check: " << name << ": " << n << " findings";
        if (progress) ++progress->done;
    }
    return true;
}

const char* surface_item_name(surface_analyser_items item)
{
    static const char* const names[] = {"surface holes", "small edges", "folds", "self-touching contours",
                                        "small islands"};
    return int(item) >= 0 && int(item) < kesto::drc::surface_item::kCount ? names[int(item)] : "unknown";
}

bool surface_analyser(const std::string& job, const std::string& step, const std::string& layer,
                      const surface_analyser_params& params, const std::vector<surface_analyser_list>& items,
                      const std::map<surface_analyser_items, surface_analyser_range>& ranges,
                      std::map<surface_analyser_items, surface_analyser_result>& result,
                      COMMON::progress_value<int>* progress)
{
    result.clear();
    kesto::Job* j = kesto::store::find_job(job);
    kesto::Step* s = j ? kesto::store::find_step(*j, step) : nullptr;
    kesto::Layer* l = s ? kesto::store::find_layer(*j, *s, layer) : nullptr;
    if (!l) {
        LOG(ERROR) << "surface_analyze: " << (s ? "no layer " + layer + " in step " + step : missing(job, j, step, s));
        return false;
    }
    auto nm = [](double v) { return kesto::Coord(std::llround(std::max(0.0, v) * nm_per_working_unit())); };
    kesto::drc::SurfaceLimits limits;
    limits.max_size = nm(params.max_size);
    limits.max_fold = nm(params.max_fold_length);
    limits.small_edge = nm(params.small_edge_length);
    limits.items = 0;
    for (surface_analyser_list item : items)
        if (int(item) >= 0 && int(item) < kesto::drc::surface_item::kCount) limits.items |= 1u << int(item);
    kesto::drc::LevelLimits levels;
    auto um = [](double v) { return kesto::Coord(std::llround(v * double(kesto::kNmPerMicron))); };
    for (const auto& [item, r] : ranges) levels[int(item)] = {um(r.red), um(r.yellow), um(r.green)};
    if (progress) progress->total += 1;
    for (auto& [item, r] : kesto::drc::analyse_surfaces(*l, kesto::store::layer_name(layer), limits, levels))
        result[surface_analyser_items(item)] = std::move(r);
    if (progress) ++progress->done;
    return true;
}

bool npth_and_pth_prepare_op(const std::string& job, const std::string& step,
                             const npth_and_pth_prepare_params& params, COMMON::progress_value<int>* progress)
{
    kesto::Job* j = kesto::store::find_job(job);
    kesto::Step* s = j ? kesto::store::find_step(*j, step) : nullptr;
    if (!s) {
        LOG(ERROR) << "npth_and_pth_prepare_op: " << missing(job, j, step, s);
        return false;
    }
    if (params.sm_clearance < 0 || params.sm_np_clearance < 0) {
        LOG(ERROR) << "npth_and_pth_prepare_op: a clearance below zero (" << params.sm_clearance << ", "
                   << params.sm_np_clearance << " um)";
        return false;
    }
    // Every board layer is read before the plan looks at it.
    for (const kesto::MatrixRow& row : j->rows)
        if (kesto::drc::iequals(row.context, "BOARD")) kesto::store::find_layer(*j, *s, row.name);
    kesto::edit::DrillPrepare how;
    how.pth_clearance = kesto::Coord(params.sm_clearance) * kesto::kNmPerMicron;
    how.npth_clearance = kesto::Coord(params.sm_np_clearance) * kesto::kNmPerMicron;
    how.mask_pads = params.add_sm_pads;
    how.signal_pads = params.add_signal_pads;
    if (progress) progress->total += 2;
    const kesto::edit::DrillPreparePlan plan = kesto::edit::plan_drill_prepare(*j, *s, how);
    if (progress) ++progress->done;
    if (plan.landless)
        LOG(WARNING) << "npth_and_pth_prepare_op: " << plan.landless
                     << " plated holes have no land on any layer to copy; their outer lands are not added";
    if (plan.not_round) LOG(WARNING) << "npth_and_pth_prepare_op: " << plan.not_round << " slots and shaped holes left alone";
    std::vector<std::string> changed;
    for (const kesto::edit::AddedPad& p : plan.pads)
        if (std::find(changed.begin(), changed.end(), p.layer) == changed.end()) changed.push_back(p.layer);
    if (!changed.empty()) {
        kesto::store::remember(*j, s->name, changed);
        for (const kesto::edit::AddedPad& p : plan.pads) {
            kesto::Layer* l = kesto::store::find_layer(*j, *s, p.layer);
            kesto::Feature f;
            f.kind = kesto::FeatureKind::Pad;
            f.symbol = kesto::edit::symbol_index(*l, p.symbol);
            f.a = p.at;
            f.angle = p.angle;
            f.mirror = p.mirror;
            l->features.push_back(f);
        }
        for (const std::string& name : changed) kesto::select::forget(*kesto::store::find_layer(*j, *s, name));
        j->changed = true;
    }
    LOG(INFO) << "npth_and_pth_prepare_op: " << plan.holes << " holes, " << plan.pads.size() << " pads added on "
              << changed.size() << " layers";
    if (progress) ++progress->done;
    return true;
}

} // namespace API
} // namespace KESTO
