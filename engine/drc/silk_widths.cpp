// Silk widths: lines, arcs and pads drawn thinner than the printer can hold,
// strokes drawn with no width at all, and texts whose strokes are too thin
// or whose characters are too small to read.
#include "engine/drc/mask_silk_rules.h"

#include <algorithm>
#include <cmath>

namespace kesto::drc {

using namespace silk_item;

namespace {

// The stroke width of the standard font: a text's line width is this times
// its width factor.
constexpr double kStandardTextWidth = 304800;

// The narrow side of a pad symbol whose size is its first one or two
// numbers; 0 for shapes with no single width.
Coord pad_width(const Symbol& s)
{
    switch (s.family) {
    case SymbolFamily::Round:
    case SymbolFamily::Square: return Coord(std::llround(s.p[0]));
    case SymbolFamily::Rect:
    case SymbolFamily::RectRounded:
    case SymbolFamily::RectChamfered:
    case SymbolFamily::Oval: return Coord(std::llround(std::min(s.p[0], s.p[1])));
    default: return 0;
    }
}

} // namespace

void silk_width_rule(const SilkInput& in)
{
    if (!in.limits.widths) return;
    const LayerContext& ss = in.silk;
    const Layer& layer = *ss.layer;
    for (std::uint32_t s = 0; s < ss.pieces.size(); ++s) {
        const CopperPiece& p = ss.pieces[s];
        if (in.limits.selected_only && !p.selected) continue;
        const Feature& f = layer.features[p.feature];
        const Symbol* sym = f.symbol >= 0 && std::size_t(f.symbol) < layer.symbols.size() ? &layer.symbols[std::size_t(f.symbol)] : nullptr;
        if (p.role == CopperRole::Line || p.role == CopperRole::Arc) {
            if (!sym || sym->family != SymbolFamily::Round) continue;  // only round strokes have one width
            const Coord width = Coord(std::llround(sym->p[0]));
            const int item = width == 0 ? ZeroLineWidth : p.role == CopperRole::Arc ? ArcWidth : LineWidth;
            if (width == 0 || width <= reach(in.levels, item, in.limits.width_limit))
                in.out.add(item, width, line_marker(f.a, f.b, width), {ss.ref(s)});
        } else if ((p.role == CopperRole::Pad || p.role == CopperRole::Smd) && sym && f.kind == FeatureKind::Pad) {
            const Coord width = pad_width(*sym);
            if (width > 0 && width <= reach(in.levels, PadWidth, in.limits.width_limit))
                in.out.add(PadWidth, width, rect_marker(p.box), {ss.ref(s)});
        } else if (f.kind == FeatureKind::Text && f.body < layer.texts.size()) {
            const Text& t = layer.texts[f.body];
            const Coord width = Coord(std::llround(kStandardTextWidth * t.width_factor));
            if (width <= reach(in.levels, TextWidth, in.limits.width_limit))
                in.out.add(TextWidth, width, rect_marker(p.box), {ss.ref(s)});
            if (t.ysize <= reach(in.levels, TextHeight, in.limits.text_height))
                in.out.add(TextHeight, t.ysize, rect_marker(p.box), {ss.ref(s)});
        }
    }
}

} // namespace kesto::drc
