// Slivers: parts of a copper surface narrower than the smallest width a fab
// can etch. What an opening (a shrink then a grow by half the limit) takes
// away from the surface is copper narrower than the limit; each such piece
// larger than a corner's rounding is a sliver, measured by the shrink at
// which it vanishes.
//
// A plane is one outline with thousands of clearance rings, and opening all
// of it costs seconds. Thin copper can only lie where two sides of the
// outline come closer than the limit across copper, so a large surface is
// opened only in windows round those places (its prepared outline finds
// them through its edge R-tree). The opening at a point depends only on the
// copper within the limit of it, so a window grown by twice the limit gives
// the same thin parts as the whole surface in its core; parts reaching the
// window's rim are the window's own cut and are left out.
#include "engine/drc/signal_rules.h"

#include <algorithm>
#include <cmath>

namespace kesto::drc {

namespace {

// Whether something of `piece` survives shrinking `copper` by `delta`.
bool survives(const geom::Paths& copper, const geom::Paths& piece, double delta)
{
    const geom::Paths shrunk = geom::offset(copper, -delta);
    return !shrunk.empty() && geom::area(geom::intersect(shrunk, piece)) > 1e3;
}

bool meets(const Box& a, const Box& b) { return a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax; }
bool inside(const Box& a, const Box& b) { return a.xmin >= b.xmin && a.ymin >= b.ymin && a.xmax <= b.xmax && a.ymax <= b.ymax; }

Box grown(Box b, Coord by) { return {b.xmin - by, b.ymin - by, b.xmax + by, b.ymax + by}; }

// The surface's copper inside a box: only the rings whose boxes meet it (a
// ring that misses a box cannot enclose it), clipped.
struct Rings {
    const geom::Paths& copper;
    std::vector<Box> box;

    explicit Rings(const geom::Paths& c) : copper(c)
    {
        for (const geom::Path& ring : copper) box.push_back(geom::box_of(ring));
    }
    geom::Paths within(const Box& b) const
    {
        geom::Paths near;
        for (std::size_t k = 0; k < box.size(); ++k)
            if (meets(box[k], b)) near.push_back(copper[k]);
        return geom::clip_to_box(near, b);
    }
};

// Merges overlapping boxes until none overlap.
std::vector<Box> merged(std::vector<Box> boxes)
{
    bool again = true;
    while (again) {
        again = false;
        std::sort(boxes.begin(), boxes.end(), [](const Box& a, const Box& b) { return a.xmin < b.xmin; });
        std::vector<Box> out;
        for (const Box& b : boxes) {
            bool joined = false;
            for (auto it = out.rbegin(); it != out.rend() && !joined; ++it)
                if (meets(*it, b)) {
                    *it = {std::min(it->xmin, b.xmin), std::min(it->ymin, b.ymin), std::max(it->xmax, b.xmax),
                           std::max(it->ymax, b.ymax)};
                    joined = again = true;
                }
            if (!joined) out.push_back(b);
        }
        boxes.swap(out);
    }
    return boxes;
}

// The slivers of `copper` (the whole surface or a window of it); with a
// core, only parts wholly inside it.
void slivers_of(const RuleInput& in, std::uint32_t p, const geom::Paths& copper, const Rings& rings, Coord limit,
                const Box* core)
{
    const double half = double(limit) / 2;
    const geom::Paths opened = geom::offset(geom::offset(copper, -half), half);
    const geom::Paths thin = geom::subtract(copper, opened);
    for (const geom::Path& part : thin) {
        if (geom::area({part}) < double(limit) * double(limit)) continue;  // a corner's rounding
        const Box part_box = geom::box_of(part);
        if (core && !inside(part_box, *core)) continue;
        // Each part's width: the largest shrink it survives, to 0.5 um (a
        // fab's figure; each halving is a Clipper offset), asked of the
        // copper around the part only (shrinks stop at half the limit).
        const geom::Paths local = rings.within(grown(part_box, limit));
        double lo = 0, hi = half;
        while (hi - lo > 250) {
            const double mid = (lo + hi) / 2;
            (survives(local, {part}, mid) ? lo : hi) = mid;
        }
        const Coord width = Coord(std::llround(2 * lo));
        in.out.add(signal_item::Slivers, width, rect_marker(part_box), {in.ctx.ref(p)});
    }
}

} // namespace

void sliver_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.reach(signal_item::Slivers, in.limits.sliver_min);
    if (limit <= 0) return;
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (piece.role != CopperRole::Surface || !in.wanted(p)) continue;
        const Rings rings(piece.copper);
        const geom::PreparedOutline* prepared = ctx.prepared(p);
        if (!prepared) {
            slivers_of(in, p, piece.copper, rings, limit, nullptr);
            continue;
        }
        std::vector<Box> places;
        // Both facing edges whole: a long strip has its close pair at one
        // end only, but is thin all along.
        prepared->narrow_places(double(limit), [&](const geom::Edge& a, const geom::Edge& b) {
            const Box at{Coord(std::floor(std::min(a.xmin, b.xmin))), Coord(std::floor(std::min(a.ymin, b.ymin))),
                         Coord(std::ceil(std::max(a.xmax, b.xmax))), Coord(std::ceil(std::max(a.ymax, b.ymax)))};
            places.push_back(grown(at, 2 * limit));
        });
        for (const Box& window : merged(std::move(places))) {
            const Box core = grown(window, -limit);
            slivers_of(in, p, rings.within(window), rings, limit, &core);
        }
    }
}

} // namespace kesto::drc
