// Line ends: what each end of a trace touches. A trace end that touches no
// other copper dangles (a stub, measured by the length of the dangling
// branch); a short narrower line between a wider trace and a pad is a
// neckdown (measured by its width); two traces joined end to end away from
// any pad with widths that differ by more than the width tolerance are an
// inconsistent width (measured by the narrower width). Only lines and arcs
// drawn with a round symbol have a width to compare.
#include "engine/drc/signal_rules.h"

#include <cmath>
#include <limits>

namespace kesto::drc {

namespace {

using namespace signal_item;

constexpr Coord kNoReach = std::numeric_limits<Coord>::max();

Point end_of(const Feature& f, int end) { return end == 0 ? f.a : f.b; }

double trace_length(const Feature& f)
{
    if (f.kind != FeatureKind::Arc) return std::hypot(double(f.b.x - f.a.x), double(f.b.y - f.a.y));
    const double r = std::hypot(double(f.a.x - f.c.x), double(f.a.y - f.c.y));
    const double from = std::atan2(double(f.a.y - f.c.y), double(f.a.x - f.c.x));
    const double to = std::atan2(double(f.b.y - f.c.y), double(f.b.x - f.c.x));
    double sweep = f.cw ? from - to : to - from;
    while (sweep <= 0) sweep += 2 * M_PI;  // start on end: a full circle
    return r * sweep;
}

// Which end of trace `q` meets the point `at` (within both half widths); -1 when neither.
int end_meeting(const LayerContext& ctx, std::uint32_t q, Point at, Coord slack)
{
    const Feature& f = ctx.layer->features[ctx.pieces[q].feature];
    for (int e = 0; e < 2; ++e) {
        const Point p = end_of(f, e);
        if (std::hypot(double(p.x - at.x), double(p.y - at.y)) <= double(slack)) return e;
    }
    return -1;
}

// A neck: a trace with one end on a pad and the other joined end to end to
// a wider trace, no longer than the neck length.
bool is_neck(const LayerContext& ctx, const SignalLimits& limits, std::uint32_t piece, std::uint32_t* wider = nullptr)
{
    const CopperPiece& p = ctx.pieces[piece];
    const Feature& f = ctx.layer->features[p.feature];
    if (trace_length(f) > double(limits.neck_length)) return false;
    for (int end = 0; end < 2; ++end) {
        const EndContacts& here = ctx.end_contacts(piece, end);
        const EndContacts& there = ctx.end_contacts(piece, 1 - end);
        if (here.pads.empty() || !there.pads.empty()) continue;
        for (std::uint32_t q : there.traces)
            if (ctx.pieces[q].width > p.width + limits.width_tolerance &&
                end_meeting(ctx, q, end_of(f, 1 - end), std::max(p.width, ctx.pieces[q].width) / 2) >= 0) {
                if (wider) *wider = q;
                return true;
            }
    }
    return false;
}

} // namespace

void stub_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord reach = in.reach(Stubs, in.limits.stub_length);
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        if (!is_trace(ctx.pieces[p]) || !in.wanted(p)) continue;
        for (int end = 0; end < 2; ++end) {
            if (!ctx.end_contacts(p, end).free()) continue;
            // Walk the dangling branch back while it is a plain chain of
            // traces (one trace joined at each end, nothing else).
            double length = 0;
            std::uint32_t at = p;
            int from = end;
            for (int hops = 0; hops < 1000 && length <= double(reach); ++hops) {
                const Feature& f = ctx.layer->features[ctx.pieces[at].feature];
                length += trace_length(f);
                const EndContacts& next = ctx.end_contacts(at, 1 - from);
                if (next.traces.size() != 1 || !next.pads.empty() || !next.other.empty()) break;
                const std::uint32_t q = next.traces.front();
                const int e = end_meeting(ctx, q, end_of(f, 1 - from), std::max(ctx.pieces[at].width, ctx.pieces[q].width) / 2);
                if (e < 0 || q == p) break;
                at = q, from = e;
            }
            const Coord len = Coord(std::llround(length));
            if (len > reach) continue;
            const Feature& f = ctx.layer->features[ctx.pieces[p].feature];
            in.out.add(Stubs, len, point_marker(end_of(f, end)), {ctx.ref(p)});
        }
    }
}

void neckdown_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord reach = in.reach(LineNeckdown, kNoReach);
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (!is_trace(piece) || !in.wanted(p) || piece.width > reach) continue;
        std::uint32_t wider = 0;
        if (!is_neck(ctx, in.limits, p, &wider)) continue;
        const Feature& f = ctx.layer->features[piece.feature];
        in.out.add(LineNeckdown, piece.width, line_marker(f.a, f.b, piece.width), {ctx.ref(p), ctx.ref(wider)});
    }
}

void inconsistent_width_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (!is_trace(piece)) continue;
        const Feature& f = ctx.layer->features[piece.feature];
        for (int end = 0; end < 2; ++end) {
            const EndContacts& here = ctx.end_contacts(p, end);
            if (!here.pads.empty() || !here.other.empty()) continue;  // a change of width on a pad is no fault
            for (std::uint32_t q : here.traces) {
                const CopperPiece& other = ctx.pieces[q];
                // Each joint once, from the narrower trace; traces of one
                // kind only (a line meeting an arc is measured as a line).
                if (other.width <= piece.width + in.limits.width_tolerance) continue;
                if (!in.wanted(p) && !in.wanted(q)) continue;
                const Point joint = end_of(f, end);
                if (end_meeting(ctx, q, joint, other.width / 2) < 0) continue;  // a branch off its side
                if (is_neck(ctx, in.limits, p)) continue;                        // reported as a neckdown
                const int item = piece.role == CopperRole::Arc || other.role == CopperRole::Arc ? InconsistentArcWidth
                                                                                                 : InconsistentLineWidth;
                if (piece.width <= in.reach(item, kNoReach))
                    in.out.add(item, piece.width, point_marker(joint), {ctx.ref(p), ctx.ref(q)});
            }
        }
    }
}

} // namespace kesto::drc
