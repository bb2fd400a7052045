// Spacing between copper pieces of a layer: every pair closer than its
// category's limit, sorted by what the two pieces are, by net and, on an
// outer layer with a mask above, by what the mask leaves bare.
#include "engine/drc/signal_rules.h"

#include <cmath>

namespace kesto::drc {

namespace {

using namespace signal_item;

bool is_pad(CopperRole r) { return r == CopperRole::Pad || r == CopperRole::Smd; }
bool is_line(CopperRole r) { return r == CopperRole::Line || r == CopperRole::Arc; }

// The category of a pair of different nets by what the two pieces are.
int pair_item(const LayerContext& ctx, std::uint32_t a, std::uint32_t b)
{
    const CopperPiece& pa = ctx.pieces[a];
    const CopperPiece& pb = ctx.pieces[b];
    CopperRole ra = pa.role, rb = pb.role;
    if (is_pad(ra) && is_pad(rb)) {
        const std::int32_t ha = ctx.land_of[a], hb = ctx.land_of[b];
        if (ha >= 0 && hb >= 0) {
            const HoleClass ca = ctx.holes[std::size_t(ha)].cls, cb = ctx.holes[std::size_t(hb)].cls;
            if (ca == HoleClass::Via && cb == HoleClass::Via) return ViaToVia;
            if (ca == HoleClass::Pth && cb == HoleClass::Pth) return PthToPth;
        }
        if (ra == CopperRole::Smd && rb == CopperRole::Smd) return SmdToSmd;
        if (ra == CopperRole::Smd || rb == CopperRole::Smd) return SmdToPad;
        return PadToPad;
    }
    if (is_pad(rb)) std::swap(ra, rb);
    if (ra == CopperRole::Smd) return SmdToCircuit;
    if (ra == CopperRole::Pad) return is_line(rb) ? PadToLineSpacing : PadToCircuit;
    if (is_line(ra) && is_line(rb)) return LineToLine;
    if (ra == CopperRole::Text && rb == CopperRole::Text) return TextToText;
    if (is_line(ra) || is_line(rb)) return CircuitToLine;
    return CircuitToCircuit;
}

// The category of a pair by the mask over it; -1 when neither applies.
int exposure_item(int ea, int eb, bool same_net)
{
    if (ea < 0 || eb < 0) return -1;
    if (ea < eb) std::swap(ea, eb);  // ea is the more exposed
    if (eb >= 1) return same_net ? ExposedToExposedSameNet : ExposedToExposed;
    if (ea == 0) return same_net ? CoveredToCoveredSameNet : CoveredToCovered;
    if (ea == 2 && !same_net) return ExposedToFullyCovered;
    return same_net ? ExposedToCoveredSameNet : ExposedToCovered;
}

constexpr int kSpacingItems[] = {PadToPad, PadToCircuit, SmdToCircuit, CircuitToCircuit, LineToLine, CircuitToLine,
                                 TextToText, SameNetSpacing, SmdToSmd, SmdToPad, ViaToVia, PthToPth,
                                 ExposedToExposed, CoveredToCovered, ExposedToCovered, ExposedToExposedSameNet,
                                 CoveredToCoveredSameNet, ExposedToCoveredSameNet, ExposedToFullyCovered,
                                 PadToLineSpacing};

Coord box_gap(const Box& a, const Box& b)
{
    const Coord dx = std::max<Coord>({a.xmin - b.xmax, b.xmin - a.xmax, 0});
    const Coord dy = std::max<Coord>({a.ymin - b.ymax, b.ymin - a.ymax, 0});
    return std::max(dx, dy);
}

} // namespace

void spacing_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.limits.pp_spacing > 0 ? in.limits.pp_spacing : in.limits.spacing_default;
    Coord reach = 0;
    for (int item : kSpacingItems) reach = std::max(reach, in.reach(item, limit));
    near_piece_pairs(ctx, reach, [&](std::uint32_t a, std::uint32_t b) {
        if (!in.wanted(a) && !in.wanted(b)) return;
        const CopperPiece& pa = ctx.pieces[a];
        const CopperPiece& pb = ctx.pieces[b];
        const bool same_net = pa.net >= 0 && pa.net == pb.net;
        const int item = same_net ? SameNetSpacing : pair_item(ctx, a, b);
        const int mask_item = ctx.mask ? -2 : -1;  // worked out only for a close pair
        const Coord item_reach = in.reach(item, limit);
        if (box_gap(pa.box, pb.box) > std::max(item_reach, mask_item == -1 ? 0 : reach)) return;
        const geom::Closest c = piece_gap(ctx, a, b);
        const Coord gap = Coord(std::llround(c.distance));
        // Touching copper is one conductor: its pieces have no spacing.
        if (gap <= 0 || gap > reach) return;
        const Marker marker = segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                                             {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap);
        if (gap <= item_reach) in.out.add(item, gap, marker, {ctx.ref(a), ctx.ref(b)});
        if (mask_item == -2) {
            const int m = exposure_item(ctx.exposure(a), ctx.exposure(b), same_net);
            if (m >= 0 && gap <= in.reach(m, limit)) in.out.add(m, gap, marker, {ctx.ref(a), ctx.ref(b)});
        }
    });
}

} // namespace kesto::drc
