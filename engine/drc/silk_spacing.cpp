// Silk to silk: two separate silk features printed closer than the screen
// can hold apart run together. Features that already touch are one mark and
// are not measured for spacing; among them, ink drawn over a text spoils the
// text, and strokes of one outline joined end to end with different widths
// print unevenly (a legend drawn with mixed pens).
#include "engine/drc/mask_silk_rules.h"

#include <cmath>
#include <cstdlib>

namespace kesto::drc {

using namespace silk_item;

namespace {

// Stroke ends closer than this are one joint.
constexpr Coord kJoint = 1000;


// An end of one stroke where an end of the other lies, if any.
bool joint(const Feature& a, const Feature& b, Point& at)
{
    for (const Point& p : {a.a, a.b})
        for (const Point& q : {b.a, b.b})
            if (std::llabs(p.x - q.x) <= kJoint && std::llabs(p.y - q.y) <= kJoint) {
                at = p;
                return true;
            }
    return false;
}

} // namespace

void silk_spacing_rule(const SilkInput& in)
{
    if (!in.limits.widths) return;
    const LayerContext& ss = in.silk;
    const Coord far = reach(in.levels, SilkToSilk, in.limits.ink_spacing);
    near_piece_pairs(ss, far, [&](std::uint32_t i, std::uint32_t j) {
        if (in.limits.selected_only && !ss.pieces[i].selected && !ss.pieces[j].selected) return;
        const geom::Closest c = piece_gap(ss, i, j);
        const Coord gap = Coord(std::llround(c.distance));
        const Point pa{Coord(std::llround(c.ax)), Coord(std::llround(c.ay))};
        if (gap <= 0) {
            const CopperPiece &a = ss.pieces[i], &b = ss.pieces[j];
            if ((a.role == CopperRole::Text) != (b.role == CopperRole::Text)) {
                in.out.add(SsOverText, 0, point_marker(pa), {ss.ref(i), ss.ref(j)});
                return;
            }
            Point at;
            if (is_trace(a) && is_trace(b) && a.width != b.width &&
                joint(ss.layer->features[a.feature], ss.layer->features[b.feature], at)) {
                const int item = a.role == CopperRole::Arc || b.role == CopperRole::Arc ? InconsistentArcWidth
                                                                                        : InconsistentLineWidth;
                in.out.add(item, std::llabs(a.width - b.width), point_marker(at), {ss.ref(i), ss.ref(j)});
            }
            return;
        }
        if (gap > far) return;
        in.out.add(SilkToSilk, gap,
                   segment_marker(pa, {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap),
                   {ss.ref(i), ss.ref(j)});
    });
}

} // namespace kesto::drc
