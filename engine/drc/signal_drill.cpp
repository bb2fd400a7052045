// Holes against the copper of other nets on a layer: plated holes and vias
// too close to copper they do not belong to, non-plated holes too close to
// (or drilled through) copper.
#include "engine/drc/signal_rules.h"

#include <cmath>

namespace kesto::drc {

namespace {

using namespace signal_item;

int hole_item(const DrilledHole& h, CopperRole role)
{
    const bool line = role == CopperRole::Line || role == CopperRole::Arc;
    const bool pad = role == CopperRole::Pad || role == CopperRole::Smd;
    switch (h.cls) {
    case HoleClass::Npth: return pad ? NpthToPad : NpthToCircuit;
    case HoleClass::Via: return line ? ViaToLine : pad ? ViaToPad : ViaToCopper;
    case HoleClass::Pth: break;
    }
    return line ? PthToLine : pad ? PthToPad : PthToCopper;
}

} // namespace

void drill_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.limits.drill2cu > 0 ? in.limits.drill2cu : in.limits.spacing_default;
    Coord reach = 0;
    for (int item : {NpthToPad, NpthToCircuit, PthToCopper, PthToLine, PthToPad, ViaToCopper, ViaToLine, ViaToPad})
        reach = std::max(reach, in.reach(item, limit));
    for (const DrilledHole& h : ctx.holes) {
        const FeatureRef hole_ref{h.layer, &h.layer_name, h.feature};
        // The hole's own net: a plated hole joins the copper it meets.
        const std::int32_t hole_net = ctx.nets && h.cls != HoleClass::Npth ? ctx.nets->net(h.layer_name, h.feature) : -1;
        for (std::size_t k : pieces_near(ctx, capsule_box(h.cap), reach)) {
            const std::uint32_t p = std::uint32_t(k);
            if (!in.wanted(p)) continue;
            const CopperPiece& piece = ctx.pieces[p];
            if (h.cls != HoleClass::Npth && hole_net >= 0 && piece.net == hole_net) continue;
            const geom::Closest c = capsule_gap_to_piece(ctx, h.cap, p);
            const Coord gap = Coord(std::llround(c.distance));
            const Marker marker = segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                                                 {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap);
            if (gap <= 0) {
                // A plated hole meeting copper joins it: without nets that is its land.
                if (h.cls == HoleClass::Npth) in.out.add(NpthTouchesCopper, gap, marker, {hole_ref, ctx.ref(p)});
                continue;
            }
            const int item = hole_item(h, piece.role);
            if (gap <= in.reach(item, limit)) in.out.add(item, gap, marker, {hole_ref, ctx.ref(p)});
        }
    }
}

} // namespace kesto::drc
