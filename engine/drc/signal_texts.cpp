// Texts drawn on copper. Text: the stroke width of a text (the standard
// font's width times the text's width factor) at or below the width limit.
// Text Fields: every copper text holding a field the plotter fills in
// ("$$DATE", "$$JOB", ...): its printed width is not known until output.
// Their spacing to other copper is measured with all other pairs.
#include "engine/drc/signal_rules.h"

#include <cmath>
#include <limits>

namespace kesto::drc {

namespace {

using namespace signal_item;

// The standard font's stroke, as the silk checks measure it.
constexpr double kStandardTextWidth = 304800;

} // namespace

void text_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord width_reach = in.reach(Text, in.limits.width_limit);
    const Coord field_reach = in.reach(TextFields, std::numeric_limits<Coord>::max());
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        const Feature& f = ctx.layer->features[piece.feature];
        if (piece.role != CopperRole::Text || f.kind != FeatureKind::Text || !in.wanted(p)) continue;
        if (f.body >= ctx.layer->texts.size()) continue;
        const kesto::Text& t = ctx.layer->texts[f.body];
        const Coord width = Coord(std::llround(kStandardTextWidth * t.width_factor));
        if (width <= width_reach) in.out.add(Text, width, rect_marker(piece.box), {ctx.ref(p)});
        if (t.text.find("$$") != std::string::npos && width <= field_reach)
            in.out.add(TextFields, width, rect_marker(piece.box), {ctx.ref(p)});
    }
}

} // namespace kesto::drc
