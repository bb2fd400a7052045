// Slivers: parts of a copper surface narrower than the smallest width a fab
// can etch. What an opening (a shrink then a grow by half the limit) takes
// away from the surface is copper narrower than the limit; each such piece
// larger than a corner's rounding is a sliver, measured by the shrink at
// which it vanishes.
#include "engine/drc/signal_rules.h"

#include <cmath>

namespace kesto::drc {

namespace {

// Whether something of `piece` survives shrinking `copper` by `delta`.
bool survives(const geom::Paths& copper, const geom::Paths& piece, double delta)
{
    const geom::Paths shrunk = geom::offset(copper, -delta);
    return !shrunk.empty() && geom::area(geom::intersect(shrunk, piece)) > 1e3;
}

} // namespace

void sliver_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.reach(signal_item::Slivers, in.limits.sliver_min);
    if (limit <= 0) return;
    const double half = double(limit) / 2;
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (piece.role != CopperRole::Surface || !in.wanted(p)) continue;
        const geom::Paths opened = geom::offset(geom::offset(piece.copper, -half), half);
        const geom::Paths thin = geom::subtract(piece.copper, opened);
        for (const geom::Path& part : thin) {
            if (geom::area({part}) < double(limit) * double(limit)) continue;  // a corner's rounding
            // Each part's width: the largest shrink it survives, to 10 nm.
            double lo = 0, hi = half;
            while (hi - lo > 10) {
                const double mid = (lo + hi) / 2;
                (survives(piece.copper, {part}, mid) ? lo : hi) = mid;
            }
            const Coord width = Coord(std::llround(2 * lo));
            in.out.add(signal_item::Slivers, width, rect_marker(geom::box_of(part)), {ctx.ref(p)});
        }
    }
}

} // namespace kesto::drc
