// Mask openings over pads: the ring of mask opening left around each pad,
// openings exactly the pad's size, openings that clear only part of a pad,
// and pads on an outer layer with no opening at all.
#include "engine/drc/mask_silk_rules.h"

#include <cmath>

namespace kesto::drc {

namespace {

using namespace mask_item;

int ring_item(PadKind k)
{
    switch (k) {
    case PadKind::Smd: return SmdRing;
    case PadKind::Via: return ViaPadRing;
    case PadKind::Pth: return PthPadRing;
    case PadKind::Npth: return NpthPadRing;
    case PadKind::Undrilled: break;
    }
    return UndrilledRing;
}
int gasket_item(PadKind k)
{
    const int items[] = {SmdGasket, UndrilledGasket, PthGasket, ViaGasket, NpthGasket};
    return items[int(k)];
}
int same_size_item(PadKind k)
{
    const int items[] = {SmdSameSize, UndrilledSameSize, PthSameSize, ViaSameSize, NpthSameSize};
    return items[int(k)];
}
int partial_item(PadKind k)
{
    const int items[] = {SmdPartial, UndrilledPartial, PthPartial, ViaPartial, NpthPartial};
    return items[int(k)];
}
int missing_item(PadKind k)
{
    const int items[] = {MissingSmd, MissingUndrilled, MissingPth, MissingVia, MissingNpth};
    return items[int(k)];
}

} // namespace

void mask_ring_rule(MaskInput& in)
{
    if (!in.copper) return;  // the pad under each opening is wanted by the bridge rule too
    const LayerContext& cu = *in.copper;
    const LayerContext& sm = in.mask;
    for (std::uint32_t p = 0; p < cu.pieces.size(); ++p) {
        const CopperPiece& pad = cu.pieces[p];
        if (pad.role != CopperRole::Pad && pad.role != CopperRole::Smd) continue;
        if (in.limits.selected_only && !pad.selected) continue;
        const Point centre = cu.layer->features[pad.feature].a;
        const PadKind kind = pad_kind(cu, p);
        std::int32_t opening = -1;
        for (std::size_t k : sm.index.query(Box{centre.x, centre.y, centre.x, centre.y}))
            if (piece_holds(sm, std::uint32_t(k), centre)) {
                opening = std::int32_t(k);
                break;
            }
        const Coord size = std::min(pad.box.xmax - pad.box.xmin, pad.box.ymax - pad.box.ymin);
        if (opening < 0) {
            // Only pads of the outer layer a mask lies on need an opening; a
            // via left under the mask is the usual tented via.
            if (in.limits.missing && cu.outer && kind != PadKind::Via)
                in.out.add(missing_item(kind), size, rect_marker(pad.box), {cu.ref(p)});
            continue;
        }
        const std::uint32_t o = std::uint32_t(opening);
        if (in.pad_of_opening[o] < 0) in.pad_of_opening[o] = std::int32_t(p);
        if (!in.limits.pads) continue;
        const CopperPiece& open = sm.pieces[o];
        Coord ring;
        bool inside = true;
        Coord gasket = -1;  // an opening wholly on the pad: how far its edge stands in from the pad's
        if (pad.is_capsule && open.is_capsule && pad.cap.a == pad.cap.b && open.cap.a == open.cap.b) {
            // Round pad in a round opening: exactly.
            const double off = std::hypot(double(pad.cap.a.x - open.cap.a.x), double(pad.cap.a.y - open.cap.a.y));
            const double r = double(open.cap.r) - off - double(pad.cap.r);
            ring = Coord(std::llround(r));
            inside = r >= 0;
            const double g = double(pad.cap.r) - off - double(open.cap.r);
            if (!inside && g >= 0) gasket = Coord(std::llround(g));
        } else {
            const geom::Paths& po = cu.outline(p);
            const geom::Paths& oo = sm.outline(o);
            const EdgeTree* tree = in.mask_edges.tree(o);
            Coord beyond = 0;  // how far the pad reaches out of the opening
            for (const geom::Path& path : po)
                for (const auto& v : path)
                    if (!piece_holds(sm, o, {v.X, v.Y}))
                        beyond = std::max(beyond, edge_distance(oo, {v.X, v.Y}, tree));
            inside = beyond == 0;
            ring = inside ? boundary_gap(po, oo, tree) : -beyond;
            if (!inside) {
                bool on_pad = true;
                for (const geom::Path& path : oo)
                    for (const auto& v : path) on_pad = on_pad && piece_holds(cu, p, {v.X, v.Y});
                if (on_pad) gasket = boundary_gap(oo, po);
            }
        }
        if (gasket >= 0) {
            // The mask defines the pad: reported like a ring, up to the ring limit.
            const int item = gasket_item(kind);
            const Coord limit = in.limits.ring > 0 ? in.limits.ring : in.limits.default_limit;
            if (gasket <= reach(in.levels, item, limit))
                in.out.add(item, gasket, rect_marker(open.box), {cu.ref(p), sm.ref(o)});
            continue;
        }
        if (!inside) {
            in.out.add(partial_item(kind), ring, rect_marker(pad.box), {cu.ref(p), sm.ref(o)});
        } else if (ring == 0) {
            in.out.add(same_size_item(kind), 0, rect_marker(pad.box), {cu.ref(p), sm.ref(o)});
        } else {
            const int item = ring_item(kind);
            const Coord limit = in.limits.ring > 0 ? in.limits.ring : in.limits.default_limit;
            if (ring <= reach(in.levels, item, limit))
                in.out.add(item, ring, rect_marker(open.box), {cu.ref(p), sm.ref(o)});
        }
    }
}

} // namespace kesto::drc
