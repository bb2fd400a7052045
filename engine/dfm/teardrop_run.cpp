// The teardrop operation over a step's layers: sites found on the signal
// rule core's copper pieces, each teardrop tried at full size, then
// shortened, and kept only where it holds the copper and drill spacing.
#include "engine/api/dfm_ops.h"
#include "engine/dfm/dfm_common.h"
#include "engine/dfm/teardrops.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/findings.h"
#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>

namespace kesto::dfm {
namespace {

using KESTO::API::teardrop_create_DFM_op_params;

struct Placed {
    geom::Paths outline;
    Box box;
    std::int32_t net;
};

// The pad's circle: round and square pads their own, rectangles and ovals
// their inscribed one. 0 for other shapes.
Coord pad_radius(const Layer& layer, const Feature& pad)
{
    if (pad.symbol < 0 || std::size_t(pad.symbol) >= layer.symbols.size() || pad.resize != 0) return 0;
    const Symbol& s = layer.symbols[std::size_t(pad.symbol)];
    switch (s.family) {
    case SymbolFamily::Round:
    case SymbolFamily::Square: return Coord(std::llround(s.p[0] / 2));
    case SymbolFamily::Rect:
    case SymbolFamily::RectRounded:
    case SymbolFamily::Oval: return Coord(std::llround(std::min(s.p[0], s.p[1]) / 2));
    default: return 0;
    }
}

bool is_bga(const Layer& layer, const Feature& pad)
{
    if (drc::attribute(layer, pad, ".bga")) return true;
    const bool round = pad.symbol >= 0 && std::size_t(pad.symbol) < layer.symbols.size() &&
                       layer.symbols[std::size_t(pad.symbol)].family == SymbolFamily::Round;
    return round && drc::attribute(layer, pad, ".smd");
}

// Is the pad one the host asked teardrops for?
bool wanted_pad(const drc::LayerContext& ctx, std::uint32_t piece, const teardrop_create_DFM_op_params& p)
{
    const Feature& pad = ctx.layer->features[ctx.pieces[piece].feature];
    const std::int32_t hole = ctx.land_of[piece];
    if (hole >= 0) {
        if (!p.drilled_pads) return false;
        const Coord diameter = 2 * ctx.holes[std::size_t(hole)].cap.r;
        if (diameter < p.drill_size_min || (p.drill_size_max > 0 && diameter > p.drill_size_max)) return false;
        if (p.ann_ring_min > 0 && pad_radius(*ctx.layer, pad) - diameter / 2 >= p.ann_ring_min) return false;
        return true;
    }
    return is_bga(*ctx.layer, pad) ? p.bga_pads : p.undrilled_pads;
}

std::vector<Coord> widths_to_try(const TeardropSite& site, double ratio)
{
    const Coord full = teardrop_width(site, ratio), line = 2 * site.half_width;
    std::vector<Coord> out{full};
    for (double f : {0.75, 0.5, 0.25}) out.push_back(line + Coord(double(full - line) * f));
    return out;
}

class LayerRun {
public:
    LayerRun(const drc::LayerContext& ctx, const teardrop_create_DFM_op_params& p, drc::Findings& findings)
        : ctx_(ctx), p_(p), findings_(findings)
    {
        std::vector<Box> boxes;
        for (const auto& h : ctx.holes) boxes.push_back(drc::capsule_box(h.cap));
        holes_.build(boxes);
        for (std::uint32_t k = 0; k < ctx.pieces.size(); ++k) {
            const Feature& f = ctx.layer->features[ctx.pieces[k].feature];
            if (f.kind == FeatureKind::Surface && drc::attribute(*ctx.layer, f, kTeardropAttribute))
                old_teardrops_.push_back(k);
        }
    }

    std::vector<Surface> run()
    {
        for (std::uint32_t k = 0; k < ctx_.pieces.size(); ++k) {
            const drc::CopperPiece& piece = ctx_.pieces[k];
            if (piece.role != drc::CopperRole::Line || piece.width <= 0) continue;
            const Feature& line = ctx_.layer->features[piece.feature];
            if (line.kind != FeatureKind::Line || (p_.apply_to == 1 && !line.selected)) continue;
            end_on_pad(k, line.a, line.b);
            end_on_pad(k, line.b, line.a);
        }
        return std::move(made_);
    }

private:
    void end_on_pad(std::uint32_t line_piece, Point end, Point far)
    {
        // The pad holding the line's end whose centre is nearest it.
        std::int32_t pad = -1;
        double nearest = 0;
        for (std::size_t k : ctx_.index.query(Box{end.x, end.y, end.x, end.y})) {
            const drc::CopperPiece& c = ctx_.pieces[k];
            if (c.role != drc::CopperRole::Pad && c.role != drc::CopperRole::Smd) continue;
            if (!drc::piece_holds(ctx_, std::uint32_t(k), end)) continue;
            const Point centre = ctx_.layer->features[c.feature].a;
            const double d = std::hypot(double(centre.x - end.x), double(centre.y - end.y));
            if (pad < 0 || d < nearest) pad = std::int32_t(k), nearest = d;
        }
        if (pad < 0 || !wanted_pad(ctx_, std::uint32_t(pad), p_)) return;
        const Feature& pf = ctx_.layer->features[ctx_.pieces[std::size_t(pad)].feature];
        const drc::CopperPiece& lp = ctx_.pieces[line_piece];

        TeardropSite site;
        site.centre = pf.a;
        site.radius = pad_radius(*ctx_.layer, pf);
        site.half_width = lp.width / 2;
        const double dx = double(far.x - end.x), dy = double(far.y - end.y), length = std::hypot(dx, dy);
        const drc::FeatureRef refs[] = {ctx_.ref(std::uint32_t(pad)), ctx_.ref(line_piece)};
        if (site.radius <= 0 || length <= 0) {
            problem(refs, site);
            return;
        }
        site.ux = dx / length, site.uy = dy / length;
        const double cx = double(site.centre.x - end.x), cy = double(site.centre.y - end.y);
        // The centre seen from the line: along it, and to its left.
        const double along = -(cx * site.ux + cy * site.uy);
        site.offset = Coord(std::llround(-(site.ux * cy - site.uy * cx)));
        site.reach = Coord(std::llround(along + length));
        if (double(site.reach) <= double(site.radius)) return; // the line never leaves the pad
        if (std::hypot(cx, cy) >= double(site.radius) || std::llabs(site.offset) >= site.half_width ||
            site.radius <= site.half_width) {
            problem(refs, site);
            return;
        }
        if (has_old_teardrop(site)) return;

        const std::int32_t net = ctx_.pieces[std::size_t(pad)].net;
        const std::vector<Coord> widths = p_.use_arc_tear ? std::vector<Coord>{0} : widths_to_try(site, p_.tear_line_width_ratio);
        // Arc teardrops shorten by sweeping less.
        const double angles[] = {double(p_.arc_angle > 0 ? p_.arc_angle : 60), 45, 30, 20};
        const std::size_t tries = p_.use_arc_tear ? 4 : widths.size();
        Coord worst = 0;
        for (std::size_t t = 0; t < tries; ++t) {
            if (p_.use_arc_tear && t > 0 && angles[t] >= angles[0]) continue;
            const std::optional<Surface> tear =
                p_.use_arc_tear ? arc_teardrop(site, angles[t]) : straight_teardrop(site, widths[t]);
            if (!tear) continue;
            geom::Paths outline = geom::surface_outline(*tear);
            Coord gap = 0;
            if (!keeps_spacing(outline, std::uint32_t(pad), line_piece, net, gap)) {
                if (t == 0) worst = gap;
                continue;
            }
            const Box box = geom::box_of(outline);
            placed_.push_back({std::move(outline), box, net});
            made_.push_back(*tear);
            const Coord width = p_.use_arc_tear ? 2 * site.radius : widths[t];
            findings_.add(t == 0 ? KESTO::API::TeardropFull : KESTO::API::TeardropShortened, width,
                          drc::circle_marker(site.centre, 2 * site.radius), {refs[0], refs[1]});
            return;
        }
        findings_.add(KESTO::API::TeardropSpacingViolation, worst, drc::circle_marker(site.centre, 2 * site.radius),
                      {refs[0], refs[1]});
    }

    void problem(const drc::FeatureRef (&refs)[2], const TeardropSite& site)
    {
        findings_.add(KESTO::API::TeardropProblematic, 2 * site.half_width, drc::point_marker(site.centre),
                      {refs[0], refs[1]});
    }

    // A marked teardrop left on the layer already covers the pad's edge where
    // the line leaves it.
    bool has_old_teardrop(const TeardropSite& s) const
    {
        const Point edge{s.centre.x + Coord(std::llround(double(s.radius) * s.ux)),
                         s.centre.y + Coord(std::llround(double(s.radius) * s.uy))};
        for (std::uint32_t k : old_teardrops_)
            if (drc::piece_holds(ctx_, k, edge)) return true;
        return false;
    }

    bool keeps_spacing(const geom::Paths& outline, std::uint32_t pad, std::uint32_t line, std::int32_t net,
                       Coord& gap) const
    {
        const Box box = geom::box_of(outline);
        if (p_.cu_spacing > 0) {
            for (std::size_t k : drc::pieces_near(ctx_, box, p_.cu_spacing)) {
                const drc::CopperPiece& c = ctx_.pieces[k];
                if (k == pad || k == line || (net >= 0 && c.net == net)) continue;
                const geom::PreparedOutline* prepared = ctx_.prepared(std::uint32_t(k));
                const double d = prepared ? prepared->distance(outline).distance
                                          : geom::outline_distance(outline, ctx_.outline(std::uint32_t(k))).distance;
                if (d < double(p_.cu_spacing)) return gap = Coord(d), false;
            }
            for (const Placed& other : placed_) {
                if (other.net == net && net >= 0) continue;
                if (other.box.xmin - p_.cu_spacing > box.xmax || other.box.xmax + p_.cu_spacing < box.xmin ||
                    other.box.ymin - p_.cu_spacing > box.ymax || other.box.ymax + p_.cu_spacing < box.ymin)
                    continue;
                const double d = geom::outline_distance(outline, other.outline).distance;
                if (d < double(p_.cu_spacing)) return gap = Coord(d), false;
            }
        }
        if (p_.drill_spacing > 0) {
            Box q = box;
            q.xmin -= p_.drill_spacing, q.ymin -= p_.drill_spacing, q.xmax += p_.drill_spacing, q.ymax += p_.drill_spacing;
            for (std::size_t h : holes_.query(q)) {
                if (std::int32_t(h) == ctx_.land_of[pad]) continue;
                const Coord d = hole_gap(outline, ctx_.holes[h].cap);
                if (d < p_.drill_spacing) return gap = d, false;
            }
        }
        return true;
    }

    const drc::LayerContext& ctx_;
    const teardrop_create_DFM_op_params& p_;
    drc::Findings& findings_;
    geom::LayerIndex holes_;
    std::vector<std::uint32_t> old_teardrops_;
    std::vector<Placed> placed_;
    std::vector<Surface> made_;
};

} // namespace
} // namespace kesto::dfm

namespace KESTO {
namespace API {

bool teardrop_create_DFM_op(const std::string& job_name, const std::string& step_name,
                            const std::vector<std::string>& layers, const teardrop_create_DFM_op_params& params,
                            std::map<teardrop_create_DFM_op_items, teardrop_create_DFM_op_result>& result,
                            KESTO::COMMON::progress_value<int>* progress)
{
    using namespace kesto;
    result.clear();
    if (params.type != 0) {
        LOG(ERROR) << "teardrop_create_DFM: teardrop type " << params.type << " is not known (0: surfaces)";
        return false;
    }
    dfm::Target target;
    if (!dfm::find_target("teardrop_create_DFM", job_name, step_name, layers, target)) return false;
    if (progress) progress->total = int(target.layers.size());

    std::optional<store::Edit> edit;
    if (!params.work_mode) edit.emplace(*target.job, target.step->name, target.layers);
    std::size_t changed = 0;
    if (params.delete_old_teardrops == 1 && !params.work_mode)
        for (const std::string& name : target.layers)
            changed += dfm::delete_marked(*store::find_layer(*target.job, *target.step, name), dfm::kTeardropAttribute);

    // Every layer's context before any layer changes: the board nets are
    // computed once, from the copper as it stood.
    std::vector<std::unique_ptr<drc::LayerContext>> contexts;
    drc::ContextOptions options;
    options.mask = false;
    for (const std::string& name : target.layers)
        contexts.push_back(drc::build_layer_context(*target.job, *target.step, name, options));

    const drc::LevelLimits limits = dfm::limits_of(params.ranges);
    std::vector<drc::Findings> findings;
    for (std::size_t i = 0; i < target.layers.size(); ++i) {
        if (progress && progress->cancel) break;
        drc::Findings layer_findings(target.layers[i], limits);
        std::vector<Surface> made = dfm::LayerRun(*contexts[i], params, layer_findings).run();
        if (!params.work_mode) {
            Layer& layer = *store::find_layer(*target.job, *target.step, target.layers[i]);
            for (Surface& s : made) {
                Feature f;
                f.kind = FeatureKind::Surface;
                f.symbol = -1;
                f.body = std::uint32_t(layer.surfaces.size());
                layer.surfaces.push_back(std::move(s));
                edit::set_attributes(layer, f, {{dfm::kTeardropAttribute, ""}});
                layer.features.push_back(f);
            }
            changed += made.size();
        }
        dfm::merge_levels(layer_findings.take(true), result);
        if (progress) progress->done = int(i + 1);
    }
    if (edit) edit->finish(changed);
    if (changed) target.job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
