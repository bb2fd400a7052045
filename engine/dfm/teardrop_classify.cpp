// Teardrops drawn by others, found by shape and marked as ours.
#include "engine/api/dfm_ops.h"
#include "engine/dfm/dfm_common.h"
#include "engine/dfm/teardrops.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/nets.h"
#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/store/store.h"

namespace kesto::dfm {
namespace {

bool looks_like_teardrop(const drc::LayerContext& ctx, std::uint32_t surface)
{
    const Box& sb = ctx.pieces[surface].box;
    const auto touching = drc::pieces_near(ctx, sb, drc::kJoinGap);
    for (std::size_t pad : touching) {
        const drc::CopperPiece& p = ctx.pieces[pad];
        if (p.role != drc::CopperRole::Pad && p.role != drc::CopperRole::Smd) continue;
        if (drc::piece_gap(ctx, surface, std::uint32_t(pad)).distance > double(drc::kJoinGap)) continue;
        // Local to the pad: within the pad's diameter of its box.
        const Coord reach = std::max(p.box.xmax - p.box.xmin, p.box.ymax - p.box.ymin);
        if (sb.xmin < p.box.xmin - reach || sb.xmax > p.box.xmax + reach || sb.ymin < p.box.ymin - reach ||
            sb.ymax > p.box.ymax + reach)
            continue;
        for (std::size_t line : touching) {
            const drc::CopperPiece& l = ctx.pieces[line];
            if (l.role != drc::CopperRole::Line) continue;
            const Feature& lf = ctx.layer->features[l.feature];
            const bool ends_in_pad = drc::piece_holds(ctx, std::uint32_t(pad), lf.a) ||
                                     drc::piece_holds(ctx, std::uint32_t(pad), lf.b);
            if (ends_in_pad && drc::piece_gap(ctx, surface, std::uint32_t(line)).distance <= double(drc::kJoinGap))
                return true;
        }
    }
    return false;
}

} // namespace
} // namespace kesto::dfm

namespace KESTO {
namespace API {

bool teardrop_attribute_classify(const std::string& job_name, const std::string& step_name,
                                 const std::vector<std::string>& layers, std::map<std::string, int>& marked)
{
    using namespace kesto;
    marked.clear();
    dfm::Target target;
    if (!dfm::find_target("teardrop_attribute_classfy", job_name, step_name, layers, target)) return false;
    drc::ContextOptions options;
    options.nets = options.holes = options.mask = false;
    store::Edit edit(*target.job, target.step->name, target.layers);
    std::size_t changed = 0;
    for (const std::string& name : target.layers) {
        const auto ctx = drc::build_layer_context(*target.job, *target.step, name, options);
        Layer& layer = *store::find_layer(*target.job, *target.step, name);
        std::vector<std::uint32_t> found;
        for (std::uint32_t k = 0; k < ctx->pieces.size(); ++k) {
            const Feature& f = layer.features[ctx->pieces[k].feature];
            if (f.kind != FeatureKind::Surface || drc::attribute(layer, f, dfm::kTeardropAttribute)) continue;
            if (dfm::looks_like_teardrop(*ctx, k)) found.push_back(ctx->pieces[k].feature);
        }
        for (std::uint32_t f : found) {
            auto attributes = edit::attributes_of(layer, layer.features[f]);
            attributes[dfm::kTeardropAttribute] = "";
            edit::set_attributes(layer, layer.features[f], attributes);
        }
        marked[name] = int(found.size());
        changed += found.size();
    }
    edit.finish(changed);
    if (changed) target.job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
