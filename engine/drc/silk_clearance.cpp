// Silk screen kept off what it must not print on: mask openings, pads of
// every kind, drilled holes and the rout. Each silk stroke is measured edge
// to edge against its neighbours; ink that reaches them measures 0, and ink
// crossing a hole or the rout path measures how far it cuts in (negative).
#include "engine/drc/mask_silk_rules.h"

#include <cmath>

namespace kesto::drc {

using namespace silk_item;

namespace {

Marker gap_marker(const geom::Closest& c, Coord gap)
{
    return segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                          {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap);
}

int pad_item(PadKind k)
{
    const int items[] = {SmdClearance, UndrilledPadClearance, PthPadClearance, ViaPadClearance, NpthPadClearance};
    return items[int(k)];
}

} // namespace

void silk_clearance_rule(const SilkInput& in)
{
    const SilkLimits& lim = in.limits;
    const LayerContext& ss = in.silk;
    const Coord limit = lim.spacing > 0 ? lim.spacing : lim.default_spacing;
    static const std::vector<DrilledHole> no_holes;
    static const std::vector<RoutPath> no_rout;
    const CapsuleIndex holes(in.copper && lim.holes ? in.copper->holes : no_holes);
    const CapsuleIndex rout(in.copper && lim.rout ? in.copper->rout : no_rout);
    Coord hole_reach = 0;
    for (int item : {NpthClearance, ViaClearance, PthClearance}) hole_reach = std::max(hole_reach, reach(in.levels, item, limit));
    const Coord rout_reach = reach(in.levels, RoutClearance, limit);
    for (std::uint32_t s = 0; s < ss.pieces.size(); ++s) {
        if (lim.selected_only && !ss.pieces[s].selected) continue;
        if (lim.mask && in.mask) {
            const Coord far = reach(in.levels, MaskClearance, limit);
            for (std::size_t k : pieces_near(*in.mask, ss.pieces[s].box, far)) {
                const geom::Closest c = cross_gap(ss, s, *in.mask, std::uint32_t(k));
                const Coord gap = Coord(std::llround(c.distance));
                if (gap <= far) in.out.add(MaskClearance, gap, gap_marker(c, gap), {ss.ref(s), in.mask->ref(std::uint32_t(k))});
            }
        }
        if (!in.copper) continue;
        const LayerContext& cu = *in.copper;
        if (lim.pads || lim.smd) {
            Coord far = 0;
            for (int item : {SmdClearance, PthPadClearance, ViaPadClearance, NpthPadClearance, UndrilledPadClearance})
                far = std::max(far, reach(in.levels, item, limit));
            for (std::size_t k : pieces_near(cu, ss.pieces[s].box, far)) {
                const CopperPiece& p = cu.pieces[k];
                if (p.role != CopperRole::Pad && p.role != CopperRole::Smd) continue;
                const PadKind kind = pad_kind(cu, std::uint32_t(k));
                if (kind == PadKind::Smd ? !lim.smd : !lim.pads) continue;
                const int item = pad_item(kind);
                const geom::Closest c = cross_gap(ss, s, cu, std::uint32_t(k));
                const Coord gap = Coord(std::llround(c.distance));
                if (gap <= reach(in.levels, item, limit))
                    in.out.add(item, gap, gap_marker(c, gap), {ss.ref(s), cu.ref(std::uint32_t(k))});
            }
        }
        if (lim.holes)
            for (std::uint32_t k : holes.near(ss.pieces[s].box, hole_reach)) {
                const DrilledHole& h = cu.holes[k];
                const int item = h.cls == HoleClass::Npth ? NpthClearance : h.cls == HoleClass::Via ? ViaClearance : PthClearance;
                const Coord far = reach(in.levels, item, limit);
                const geom::Closest c = capsule_gap_to_piece(ss, h.cap, s);
                const Coord gap = Coord(std::llround(c.distance));
                if (gap <= far)
                    in.out.add(item, gap, gap_marker(c, gap), {ss.ref(s), FeatureRef{h.layer, &h.layer_name, h.feature}});
            }
        if (lim.rout)
            for (std::uint32_t k : rout.near(ss.pieces[s].box, rout_reach)) {
                const RoutPath& r = cu.rout[k];
                const geom::Closest c = capsule_gap_to_piece(ss, r.cap, s);
                const Coord gap = Coord(std::llround(c.distance));
                if (gap <= rout_reach)
                    in.out.add(RoutClearance, gap, gap_marker(c, gap), {ss.ref(s), FeatureRef{r.layer, &r.layer_name, r.feature}});
            }
    }
}

} // namespace kesto::drc
