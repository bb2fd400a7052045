// SMD and BGA pads, the pads of component pins (toeprints). A pad is an SMD
// or a BGA ball by its own .smd / .bga attribute, else by its pin in the
// job's EDA data (a surface pin; a ball when its package's surface pins are
// all round and stand on a grid). SMD Pitch: per component, the smallest
// centre-to-centre distance between its SMD pads on the layer. ToePrint to
// ToePrint and BGA to BGA: the edge gap between pin pads of different nets.
// Shaved SMD / BGA: a pad that has lost copper to negative features drawn
// over it, measured by the smaller side of what is left.
#include "engine/drc/feature_shapes.h"
#include "engine/drc/signal_eda.h"
#include "engine/drc/signal_rules.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>

namespace kesto::drc {

namespace {

using namespace signal_item;

Coord smaller_side(const Box& b) { return std::min(b.xmax - b.xmin, b.ymax - b.ymin); }
Coord larger_side(const Box& b) { return std::max(b.xmax - b.xmin, b.ymax - b.ymin); }

} // namespace

void smd_pitch_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const EdaLayerView view = eda_layer_view(ctx);
    if (view.toeprints.empty()) return;
    const Coord reach = in.reach(SmdPitch, in.limits.pitch_max);
    std::map<std::pair<char, int>, std::vector<std::uint32_t>> by_component;
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const std::int32_t t = view.toeprint_of[p];
        if (t < 0 || !is_smd_pad(ctx, view, p) || smaller_side(ctx.pieces[p].box) < in.limits.pitch_min_size) continue;
        const Toeprint& tp = view.toeprints[std::size_t(t)];
        by_component[{tp.side, tp.component}].push_back(p);
    }
    for (const auto& entry : by_component) {
        const std::vector<std::uint32_t>& pads = entry.second;
        if (!std::any_of(pads.begin(), pads.end(), [&](std::uint32_t p) { return in.wanted(p); })) continue;
        double best = std::numeric_limits<double>::max();
        std::uint32_t ba = 0, bb = 0;
        for (std::size_t i = 0; i < pads.size(); ++i)
            for (std::size_t j = i + 1; j < pads.size(); ++j) {
                const Point a = ctx.layer->features[ctx.pieces[pads[i]].feature].a;
                const Point b = ctx.layer->features[ctx.pieces[pads[j]].feature].a;
                const double d = std::hypot(double(a.x - b.x), double(a.y - b.y));
                if (d > 0 && d < best) best = d, ba = pads[i], bb = pads[j];
            }
        if (best == std::numeric_limits<double>::max()) continue;
        const Coord pitch = Coord(std::llround(best));
        if (pitch > reach) continue;
        const Point a = ctx.layer->features[ctx.pieces[ba].feature].a, b = ctx.layer->features[ctx.pieces[bb].feature].a;
        in.out.add(SmdPitch, pitch, segment_marker(a, b, pitch), {ctx.ref(ba), ctx.ref(bb)});
    }
}

void toeprint_spacing_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const EdaLayerView view = eda_layer_view(ctx);
    const Coord limit = in.limits.pp_spacing > 0 ? in.limits.pp_spacing : in.limits.spacing_default;
    const Coord toe_reach = in.reach(ToePrintToToePrint, limit), bga_reach = in.reach(BgaToBga, limit);
    const Coord reach = std::max(toe_reach, bga_reach);
    auto pin_pad = [&](std::uint32_t p) { return view.toeprint_of[p] >= 0 || is_bga_pad(ctx, view, p); };
    for (std::uint32_t a = 0; a < ctx.pieces.size(); ++a) {
        if (!pin_pad(a)) continue;
        for (std::size_t k : pieces_near(ctx, ctx.pieces[a].box, reach)) {
            const std::uint32_t b = std::uint32_t(k);
            if (b <= a || !pin_pad(b) || (!in.wanted(a) && !in.wanted(b))) continue;
            if (ctx.pieces[a].net >= 0 && ctx.pieces[a].net == ctx.pieces[b].net) continue;
            const bool balls = is_bga_pad(ctx, view, a) && is_bga_pad(ctx, view, b);
            const geom::Closest c = piece_gap(ctx, a, b);
            const Coord gap = Coord(std::llround(c.distance));
            if (gap <= 0 || gap > (balls ? bga_reach : toe_reach)) continue;
            const Marker marker = segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                                                 {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap);
            in.out.add(balls ? BgaToBga : ToePrintToToePrint, gap, marker, {ctx.ref(a), ctx.ref(b)});
        }
    }
}

void shaved_pad_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const EdaLayerView view = eda_layer_view(ctx);
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (piece.is_capsule || !in.wanted(p)) continue;  // a capsule is a pad nothing cuts
        const bool bga = is_bga_pad(ctx, view, p);
        if (!bga && !is_smd_pad(ctx, view, p)) continue;
        const Feature& f = ctx.layer->features[piece.feature];
        const geom::Paths nominal = geom::feature_outline(*ctx.layer, f, ctx.outlines);
        const double lost = geom::area(nominal) - geom::area(piece.copper);
        // Less than the width tolerance along the pad's length is drawing noise.
        if (lost <= double(in.limits.width_tolerance) * double(larger_side(geom::box_of(nominal)))) continue;
        const int item = bga ? ShavedBga : ShavedSmd;
        const Coord left = smaller_side(piece.box);
        if (left <= in.reach(item, std::numeric_limits<Coord>::max()))
            in.out.add(item, left, rect_marker(piece.box), {ctx.ref(p)});
    }
}

} // namespace kesto::drc
