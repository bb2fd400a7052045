#include "engine/api/prepare.h"

#include "engine/api/units.h"
#include "engine/drc/prepare_rules.h"
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

} // namespace API
} // namespace KESTO
