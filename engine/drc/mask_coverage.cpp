// Mask coverage: copper that must stay under the mask (lines, arcs,
// surfaces, and pads of other openings) measured from the edge of each
// opening; copper an opening reaches is exposed and measures 0. Non-plated
// holes must not meet the mask at all: a hole whose edge lies within the
// opening's limit of mask is reported with its clearance.
#include "engine/drc/mask_silk_rules.h"

#include <algorithm>
#include <cmath>

namespace kesto::drc {

using namespace mask_item;

void mask_coverage_rule(MaskInput& in)
{
    const MaskLimits& lim = in.limits;
    const LayerContext& sm = in.mask;
    if (!in.copper) return;
    const LayerContext& cu = *in.copper;
    if (lim.coverage_on) {
        const Coord limit = lim.coverage > 0 ? lim.coverage : lim.default_limit;
        const Coord far = std::max(reach(in.levels, Coverage, limit), reach(in.levels, SameNetCoverage, limit));
        std::vector<bool> cleared(cu.pieces.size(), false);
        for (std::int32_t p : in.pad_of_opening)
            if (p >= 0) cleared[std::size_t(p)] = true;
        for (std::uint32_t o = 0; o < sm.pieces.size(); ++o) {
            if (lim.selected_only && !sm.pieces[o].selected) continue;
            const std::int32_t pad = in.pad_of_opening[o];
            const std::int32_t net = pad >= 0 ? cu.pieces[std::size_t(pad)].net : -1;
            for (std::size_t k : pieces_near(cu, sm.pieces[o].box, far)) {
                const CopperPiece& c = cu.pieces[k];
                if (std::int32_t(k) == pad) continue;
                // A pad is cleared by its own opening: covering it is no aim.
                if ((c.role == CopperRole::Pad || c.role == CopperRole::Smd) && cleared[k]) continue;
                const geom::Closest g = cross_gap(sm, o, cu, std::uint32_t(k));
                const Coord gap = Coord(std::llround(g.distance));
                const int item = net >= 0 && c.net == net ? SameNetCoverage : Coverage;
                if (gap <= reach(in.levels, item, limit))
                    in.out.add(item, gap,
                               segment_marker({Coord(std::llround(g.ax)), Coord(std::llround(g.ay))},
                                              {Coord(std::llround(g.bx)), Coord(std::llround(g.by))}, gap),
                               {sm.ref(o), cu.ref(std::uint32_t(k))});
            }
        }
    }
    if (lim.drill) {
        for (const DrilledHole& h : cu.holes) {
            if (h.cls != HoleClass::Npth) continue;
            // The mask must stand back from the hole: the gap from the hole's
            // edge outwards to the opening's edge, 0 or less when mask reaches it.
            bool cleared = false;
            Coord best = 0;
            for (std::size_t k : sm.index.query(capsule_box(h.cap)))
                if (piece_holds(sm, std::uint32_t(k), h.cap.a)) {
                    best = std::max(best, edge_distance(sm.outline(std::uint32_t(k)), h.cap.a, in.mask_edges.tree(std::uint32_t(k))) - h.cap.r);
                    cleared = true;
                }
            const Coord gap = cleared ? best : -h.cap.r;
            if (gap <= 0)
                in.out.add(NpthTouchesMask, gap, circle_marker(h.cap.a, 2 * h.cap.r),
                           {FeatureRef{h.layer, &h.layer_name, h.feature}});
        }
    }
}

} // namespace kesto::drc
