// Pad to Line Connection: where a trace ends on a pad, how far its end
// reaches into the pad, from the pad's edge to the far side of the trace's
// end disc (its half width plus the depth of the end point inside the pad;
// less the end point's distance outside when it stops short of the edge).
// A trace that only grazes a pad leaves little copper to carry current and
// to survive etching; such joints are reported below "min_pad_overlap".
//
// Local Spacing: the spacing of a trace where it enters a pad. Between the
// pins of a fine-pitch part a trace must pass close to the neighbouring
// pads, and fabs judge that short stretch by its own limit: the gap from the
// first stretch of the trace off the pad (the local window, 304.8 um along
// it from the end on the pad) to copper of other nets.
#include "engine/drc/signal_rules.h"

#include <cmath>
#include <limits>

namespace kesto::drc {

namespace {

using namespace signal_item;

// Distance from a point to the nearest edge of an outline.
double to_edge(const geom::Paths& outline, Point p)
{
    double best = std::numeric_limits<double>::max();
    for (const geom::Edge& e : geom::edges_of(outline))
        best = std::min(best, geom::segment_point(e.x1, e.y1, e.x2, e.y2, double(p.x), double(p.y)).distance);
    return best;
}

// How deep the point lies inside the pad's copper (negative outside).
double depth_in(const LayerContext& ctx, std::uint32_t pad, Point p)
{
    const CopperPiece& q = ctx.pieces[pad];
    if (q.is_capsule && q.cap.a == q.cap.b)  // a round pad, exactly
        return double(q.cap.r) - std::hypot(double(p.x - q.cap.a.x), double(p.y - q.cap.a.y));
    const double d = to_edge(ctx.outline(pad), p);
    return piece_holds(ctx, pad, p) ? d : -d;
}

// The traces' ends that lie on pads: trace piece, end, pad piece.
struct PadEntry {
    std::uint32_t trace;
    Point at;
    std::uint32_t pad;
};

template <class OnEntry>
void each_pad_entry(const LayerContext& ctx, OnEntry&& on_entry)
{
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& trace = ctx.pieces[p];
        if ((trace.role != CopperRole::Line && trace.role != CopperRole::Arc) || trace.width <= 0) continue;
        const Feature& f = ctx.layer->features[trace.feature];
        for (const Point at : {f.a, f.b}) {
            const Capsule disc{at, at, trace.width / 2, 0};
            for (std::size_t k : pieces_near(ctx, capsule_box(disc), kJoinGap)) {
                const CopperPiece& pad = ctx.pieces[k];
                if (pad.role != CopperRole::Pad && pad.role != CopperRole::Smd) continue;
                if (capsule_gap_to_piece(ctx, disc, std::uint32_t(k)).distance > double(kJoinGap)) continue;
                on_entry(PadEntry{p, at, std::uint32_t(k)});
            }
        }
    }
}

} // namespace

void pad_connection_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    if (!in.limits.pad_connection) return;
    const Coord reach = in.reach(PadToLineConnection, in.limits.min_pad_overlap);
    if (reach <= 0) return;
    each_pad_entry(ctx, [&](const PadEntry& e) {
        if (!in.wanted(e.trace)) return;
        const Coord width = ctx.pieces[e.trace].width;
        const Coord overlap = Coord(std::llround(depth_in(ctx, e.pad, e.at) + double(width) / 2));
        if (overlap <= reach)
            in.out.add(PadToLineConnection, std::max<Coord>(overlap, 0), point_marker(e.at),
                       {ctx.ref(e.trace), ctx.ref(e.pad)});
    });
}

void local_spacing_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.limits.pp_spacing > 0 ? in.limits.pp_spacing : in.limits.spacing_default;
    const Coord reach = in.reach(LocalSpacing, limit);
    each_pad_entry(ctx, [&](const PadEntry& e) {
        const CopperPiece& trace = ctx.pieces[e.trace];
        const Feature& f = ctx.layer->features[trace.feature];
        if (f.kind != FeatureKind::Line) return;  // arcs' first stretch is left to the spacing family
        // The window: from the end on the pad, local_window along the line.
        const Point far = e.at == f.a ? f.b : f.a;
        const double length = std::hypot(double(far.x - e.at.x), double(far.y - e.at.y));
        if (length <= 0) return;
        const double t = std::min(1.0, double(in.limits.local_window) / length);
        const Point to{e.at.x + Coord(std::llround((far.x - e.at.x) * t)), e.at.y + Coord(std::llround((far.y - e.at.y) * t))};
        const Capsule window{e.at, to, trace.width / 2, 0};
        for (std::size_t k : pieces_near(ctx, capsule_box(window), reach)) {
            const std::uint32_t q = std::uint32_t(k);
            if (q == e.trace || q == e.pad || (!in.wanted(e.trace) && !in.wanted(q))) continue;
            if (trace.net >= 0 && ctx.pieces[q].net == trace.net) continue;
            const geom::Closest c = capsule_gap_to_piece(ctx, window, q);
            const Coord gap = Coord(std::llround(c.distance));
            if (gap <= 0 || gap > reach) continue;
            in.out.add(LocalSpacing, gap,
                       segment_marker({Coord(std::llround(c.ax)), Coord(std::llround(c.ay))},
                                      {Coord(std::llround(c.bx)), Coord(std::llround(c.by))}, gap),
                       {ctx.ref(e.trace), ctx.ref(q)});
        }
    });
}

} // namespace kesto::drc
