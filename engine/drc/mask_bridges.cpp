// Between mask openings: the strip of mask left between two openings is a
// bridge; one narrower than the smallest bridge the mask process can hold is
// reported by the pads it lies between, and openings that run into each other
// leave no bridge at all. The same gaps, against the spacing limit, are the
// spacing between openings.
#include "engine/drc/mask_silk_rules.h"

namespace kesto::drc {

namespace {

using namespace mask_item;

struct Side {
    bool pad = false, smd = false;
    std::int32_t net = -1;
};

Side side_of(const MaskInput& in, std::uint32_t opening)
{
    Side s;
    const std::int32_t p = in.pad_of_opening[opening];
    if (p < 0 || !in.copper) return s;
    const CopperPiece& pad = in.copper->pieces[std::size_t(p)];
    s.pad = true;
    s.smd = pad.role == CopperRole::Smd;
    s.net = pad.net;
    return s;
}

} // namespace

void mask_bridge_rule(MaskInput& in)
{
    const MaskLimits& lim = in.limits;
    if (!lim.bridge_on && !lim.spacing_on) return;
    const Coord bridge = lim.bridge > 0 ? lim.bridge : lim.default_limit;
    const Coord spacing = lim.spacing > 0 ? lim.spacing : lim.default_limit;
    Coord far = 0;
    for (int item : {SmdBridge, SmdToPadBridge, PadToPadBridge, PadToPadBridgeSameNet})
        far = std::max(far, reach(in.levels, item, bridge));
    for (int item : {PadToPadSpacing, PadToPadSpacingSameNet, PadToNonPadSpacing, NonPadSpacing})
        far = std::max(far, reach(in.levels, item, spacing));
    const LayerContext& sm = in.mask;
    near_piece_pairs(sm, far, [&](std::uint32_t i, std::uint32_t j) {
        if (lim.selected_only && !sm.pieces[i].selected && !sm.pieces[j].selected) return;
        const geom::Closest c = piece_gap(sm, i, j);
        const Coord gap = Coord(std::llround(c.distance));
        const Side a = side_of(in, i), b = side_of(in, j);
        const bool same_net = a.pad && b.pad && a.net >= 0 && a.net == b.net;
        const Marker m = segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                                        {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap);
        if (lim.bridge_on) {
            int item;
            if (gap == 0)
                item = a.smd && b.smd ? NoBridgeSmd : same_net ? NoBridgeSameNet : NoBridge;
            else
                item = a.smd && b.smd ? SmdBridge
                     : (a.smd || b.smd) ? SmdToPadBridge
                     : same_net ? PadToPadBridgeSameNet : PadToPadBridge;
            if (gap == 0 || gap <= reach(in.levels, item, bridge)) {
                in.out.add(item, gap, m, {sm.ref(i), sm.ref(j)});
                return;  // a pair too close for a bridge is not reported twice
            }
        }
        if (lim.spacing_on && gap > 0) {
            const int item = a.pad && b.pad ? (same_net ? PadToPadSpacingSameNet : PadToPadSpacing)
                           : (a.pad || b.pad) ? PadToNonPadSpacing : NonPadSpacing;
            if (gap <= reach(in.levels, item, spacing)) in.out.add(item, gap, m, {sm.ref(i), sm.ref(j)});
        }
    });
}

} // namespace kesto::drc
