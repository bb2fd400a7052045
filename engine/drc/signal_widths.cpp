// Widths of conductors: lines and arcs drawn narrower than the limit, pads
// and SMD pads smaller than it, and lines drawn with a square or rectangular symbol at
// an angle that is not a multiple of 90 degrees (their width changes with
// the angle).
#include "engine/drc/signal_rules.h"
#include "engine/drc/feature_shapes.h"

#include <cmath>

namespace kesto::drc {

void width_rule(const RuleInput& in)
{
    using namespace signal_item;
    const LayerContext& ctx = in.ctx;
    const Layer& layer = *ctx.layer;
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        if (!in.wanted(p)) continue;
        const CopperPiece& piece = ctx.pieces[p];
        const Feature& f = layer.features[piece.feature];
        const Symbol* s = symbol_of(layer, f);
        if (!s) continue;
        if (piece.role == CopperRole::Line || piece.role == CopperRole::Arc) {
            if (piece.width > 0) {
                const int item = piece.role == CopperRole::Line ? Lines : Arcs;
                if (piece.width <= in.reach(item, in.limits.width_limit)) {
                    Marker m = line_marker(f.a, f.b, piece.width);
                    if (piece.role == CopperRole::Arc)
                        m = {KESTO::API::MarkerArc, {f.a.x, f.a.y, f.b.x, f.b.y, f.c.x, f.c.y, piece.width, f.cw ? 1 : 0}};
                    in.out.add(item, piece.width, m, {ctx.ref(p)});
                }
            } else if (piece.role == CopperRole::Line && (s->family == SymbolFamily::Square || s->family == SymbolFamily::Rect)) {
                const double deg = std::atan2(double(f.b.y - f.a.y), double(f.b.x - f.a.x)) * 180.0 / 3.14159265358979323846;
                const double off = std::fabs(std::remainder(deg, 90.0));
                if (f.a != f.b && off > 1e-6) {
                    const Coord w = Coord(std::llround(std::min(s->p[0], s->family == SymbolFamily::Rect ? s->p[1] : s->p[0])));
                    in.out.add(NonStandardRotatedLines, w, line_marker(f.a, f.b, w), {ctx.ref(p)});
                }
            }
        } else if (piece.role == CopperRole::Pad || piece.role == CopperRole::Smd) {
            // SMD pads (those carrying .smd) are their own category: a fab
            // limits them by the paste and placement process, not by etching.
            const int item = piece.role == CopperRole::Smd ? SmdPads : Pads;
            const auto e = symbol_extent(*s, 0);
            const Coord size = std::min(e[0], e[1]);
            if (size > 0 && size <= in.reach(item, in.limits.width_limit))
                in.out.add(item, size, rect_marker(piece.box), {ctx.ref(p)});
        }
    }
}

} // namespace kesto::drc
