// Non-functional pads of inner layers: pads on holes that carry no signal on
// their layer, found on the signal rule core's copper pieces.
#include "engine/api/dfm_ops.h"
#include "engine/dfm/dfm_common.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/nets.h"
#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>

namespace kesto::dfm {
namespace {

using KESTO::API::NFP_removal_DFM_op_params;



bool press_fit(const drc::DrilledHole& h)
{
    if (!h.layer) return false;
    const Coord d = 2 * h.cap.r;
    for (const DrillTool& t : h.layer->tools)
        if (drc::iequals(t.type2, "PRESS_FIT") &&
            (std::llabs(t.finish_size - d) <= 1000 || std::llabs(t.drill_size - d) <= 1000))
            return true;
    return false;
}

bool wanted_hole(const drc::DrilledHole& h, const NFP_removal_DFM_op_params& p)
{
    switch (h.cls) {
    case drc::HoleClass::Npth: return p.npth;
    case drc::HoleClass::Via:
        if (p.work_on == 2) return false;
        if (h.laser) return p.via_laser;
        if (h.photo) return p.via_photo;
        return true;
    case drc::HoleClass::Pth:
        if (p.work_on == 1) return false;
        return !press_fit(h) || p.pth_pressfit;
    }
    return false;
}

Coord round_pad_radius(const Layer& layer, const Feature& f)
{
    if (f.symbol < 0 || std::size_t(f.symbol) >= layer.symbols.size()) return -1;
    const Symbol& s = layer.symbols[std::size_t(f.symbol)];
    return s.family == SymbolFamily::Round ? Coord(std::llround(s.p[0] / 2)) : -1;
}

// The pads of one layer to remove, by category.
std::vector<std::pair<std::uint32_t, int>> find_nfp(const drc::LayerContext& ctx, const NFP_removal_DFM_op_params& p)
{
    std::vector<std::pair<std::uint32_t, int>> out;
    std::vector<bool> going(ctx.pieces.size(), false);
    for (std::uint32_t k = 0; k < ctx.pieces.size(); ++k) {
        const drc::CopperPiece& piece = ctx.pieces[k];
        if (piece.role != drc::CopperRole::Pad && piece.role != drc::CopperRole::Smd) continue;
        const Feature& f = ctx.layer->features[piece.feature];
        if (f.kind != FeatureKind::Pad || (p.apply_to == 1 && !f.selected)) continue;
        const std::int32_t hole = ctx.land_of[k];
        if (hole < 0 && !p.remove_undrilled_pads) continue;
        if (hole >= 0 && !wanted_hole(ctx.holes[std::size_t(hole)], p)) continue;

        int category = 0;
        if (hole >= 0 && p.drill_over) {
            // Drilled over: the hole's disc holds the whole pad.
            const drc::Capsule& cap = ctx.holes[std::size_t(hole)].cap;
            const Coord r = round_pad_radius(*ctx.layer, f);
            const double off = std::hypot(double(f.a.x - cap.a.x), double(f.a.y - cap.a.y));
            if (r >= 0 && cap.a == cap.b && double(r) + off <= double(cap.r)) category = KESTO::API::NfpDrilledOver;
        }
        bool touches = false;
        for (std::size_t j : drc::pieces_near(ctx, piece.box, drc::kJoinGap)) {
            if (category || j == k || going[j]) continue;
            const drc::CopperPiece& other = ctx.pieces[j];
            const Feature& of = ctx.layer->features[other.feature];
            if (drc::piece_gap(ctx, k, std::uint32_t(j)).distance > double(drc::kJoinGap)) continue;
            touches = true;
            const bool holds = geom::subtract(ctx.outline(k), ctx.outline(std::uint32_t(j))).empty();
            if (!holds) continue;
            // Another pad on the same centre holding this one: a duplicate
            // (the earlier of two equal pads stays). Any other copper
            // holding it whole: covered.
            if (other.role != drc::CopperRole::Line && of.kind == FeatureKind::Pad && of.a == f.a) {
                if (p.duplicate && (j < k || !geom::subtract(ctx.outline(std::uint32_t(j)), ctx.outline(k)).empty()))
                    category = KESTO::API::NfpDuplicate;
            } else if (p.covered) {
                category = KESTO::API::NfpCovered;
            }
        }
        if (!category && !touches && p.isolated) category = KESTO::API::NfpIsolated;
        if (category) {
            going[k] = true;
            out.push_back({k, category});
        }
    }
    return out;
}

} // namespace
} // namespace kesto::dfm

namespace KESTO {
namespace API {

bool NFP_removal_DFM_op(const std::string& job_name, const std::string& step_name,
                        const std::vector<std::string>& layers, const NFP_removal_DFM_op_params& params,
                        std::map<NFP_removal_DFM_op_items, NFP_removal_DFM_op_result>& result,
                        KESTO::COMMON::progress_value<int>* progress)
{
    using namespace kesto;
    result.clear();
    dfm::Target target;
    if (!dfm::find_target("NFP_removal_DFM", job_name, step_name, layers, target)) return false;
    drc::ContextOptions options;
    options.mask = false;
    options.nets = false;
    std::vector<std::unique_ptr<drc::LayerContext>> contexts;
    std::vector<std::string> inner;
    for (const std::string& name : target.layers) {
        auto ctx = drc::build_layer_context(*target.job, *target.step, name, options);
        if (!ctx) continue;
        if (ctx->outer) {
            LOG(WARNING) << "NFP_removal_DFM: '" << name << "' is an outer layer; its pads are left alone";
            continue;
        }
        inner.push_back(name);
        contexts.push_back(std::move(ctx));
    }
    if (progress) progress->total = int(inner.size());
    store::Edit edit(*target.job, target.step->name, inner);
    std::size_t changed = 0;
    const drc::LevelLimits limits = dfm::limits_of(params.ranges);
    for (std::size_t i = 0; i < inner.size(); ++i) {
        if (progress && progress->cancel) break;
        const drc::LayerContext& ctx = *contexts[i];
        drc::Findings findings(inner[i], limits);
        const auto found = dfm::find_nfp(ctx, params);
        Layer& layer = *store::find_layer(*target.job, *target.step, inner[i]);
        std::vector<bool> remove(layer.features.size(), false);
        for (const auto& [piece, category] : found) {
            const std::uint32_t f = ctx.pieces[piece].feature;
            const Coord size = geom::box_of(ctx.outline(piece)).xmax - geom::box_of(ctx.outline(piece)).xmin;
            findings.add(category, size, drc::circle_marker(layer.features[f].a, size), {ctx.ref(piece)});
            remove[f] = true;
        }
        if (!found.empty()) {
            if (params.remove_mark_NFP) {
                for (std::size_t f = 0; f < remove.size(); ++f)
                    if (remove[f]) {
                        auto attributes = edit::attributes_of(layer, layer.features[f]);
                        attributes[dfm::kNfpAttribute] = "";
                        edit::set_attributes(layer, layer.features[f], attributes);
                    }
            } else {
                std::vector<bool> was(layer.features.size());
                for (std::size_t f = 0; f < remove.size(); ++f) {
                    was[f] = layer.features[f].selected;
                    layer.features[f].selected = remove[f];
                }
                edit::delete_selected(layer);
                std::size_t k = 0;
                for (std::size_t f = 0; f < remove.size(); ++f)
                    if (!remove[f]) layer.features[k++].selected = was[f];
            }
            changed += found.size();
        }
        dfm::merge_levels(findings.take(true), result);
        if (progress) progress->done = int(i + 1);
    }
    edit.finish(changed);
    if (changed) target.job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
