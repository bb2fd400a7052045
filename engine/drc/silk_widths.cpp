// Silk stroke widths: lines and arcs drawn thinner than the printer can
// hold, and strokes drawn with no width at all.
#include "engine/drc/mask_silk_rules.h"

namespace kesto::drc {

using namespace silk_item;

void silk_width_rule(const SilkInput& in)
{
    if (!in.limits.widths) return;
    const LayerContext& ss = in.silk;
    for (std::uint32_t s = 0; s < ss.pieces.size(); ++s) {
        const CopperPiece& p = ss.pieces[s];
        if (in.limits.selected_only && !p.selected) continue;
        if (p.role != CopperRole::Line && p.role != CopperRole::Arc) continue;
        const Feature& f = ss.layer->features[p.feature];
        const Symbol* sym = f.symbol >= 0 && std::size_t(f.symbol) < ss.layer->symbols.size() ? &ss.layer->symbols[std::size_t(f.symbol)] : nullptr;
        if (!sym || sym->family != SymbolFamily::Round) continue;  // only round strokes have one width
        const Coord width = Coord(std::llround(sym->p[0]));
        const int item = width == 0 ? ZeroLineWidth : p.role == CopperRole::Arc ? ArcWidth : LineWidth;
        if (width == 0 || width <= reach(in.levels, item, in.limits.width_limit))
            in.out.add(item, width, line_marker(f.a, f.b, width), {ss.ref(s)});
    }
}

} // namespace kesto::drc
