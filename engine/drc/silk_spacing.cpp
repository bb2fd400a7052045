// Silk to silk: two separate silk features printed closer than the screen
// can hold apart run together. Features that already touch are one mark
// and are not measured.
#include "engine/drc/mask_silk_rules.h"

#include <cmath>

namespace kesto::drc {

using namespace silk_item;

void silk_spacing_rule(const SilkInput& in)
{
    if (!in.limits.widths) return;
    const LayerContext& ss = in.silk;
    const Coord far = reach(in.levels, SilkToSilk, in.limits.ink_spacing);
    near_piece_pairs(ss, far, [&](std::uint32_t i, std::uint32_t j) {
        if (in.limits.selected_only && !ss.pieces[i].selected && !ss.pieces[j].selected) return;
        const geom::Closest c = piece_gap(ss, i, j);
        const Coord gap = Coord(std::llround(c.distance));
        if (gap <= 0 || gap > far) return;
        in.out.add(SilkToSilk, gap,
                   segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                                  {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap),
                   {ss.ref(i), ss.ref(j)});
    });
}

} // namespace kesto::drc
