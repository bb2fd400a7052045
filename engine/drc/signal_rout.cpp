// Rout paths against copper: the tool's edge (half its width beside the
// path) nearer to copper than the limit, or cutting into it.
#include "engine/drc/signal_rules.h"

#include <cmath>
#include <map>

namespace kesto::drc {

void rout_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    const Coord limit = in.reach(signal_item::RoutToCopper,
                                 in.limits.rout2cu > 0 ? in.limits.rout2cu : in.limits.spacing_default);
    // One finding per piece of copper and rout feature: the nearest chord.
    struct Best { geom::Closest c; const RoutPath* path; };
    std::map<std::pair<std::uint32_t, const RoutPath*>, Best> best;
    std::map<std::pair<const Layer*, std::uint32_t>, const RoutPath*> first_chord;
    for (const RoutPath& r : ctx.rout) {
        const RoutPath* key = first_chord.emplace(std::pair{r.layer, r.feature}, &r).first->second;
        for (std::size_t k : pieces_near(ctx, capsule_box(r.cap), limit)) {
            const std::uint32_t p = std::uint32_t(k);
            if (!in.wanted(p)) continue;
            const geom::Closest c = capsule_gap_to_piece(ctx, r.cap, p);
            if (c.distance > double(limit)) continue;
            auto [it, fresh] = best.emplace(std::pair{p, key}, Best{c, &r});
            if (!fresh && c.distance < it->second.c.distance) it->second = Best{c, &r};
        }
    }
    for (const auto& [key, b] : best) {
        const Coord gap = Coord(std::llround(b.c.distance));
        in.out.add(signal_item::RoutToCopper, gap,
                   segment_marker({Coord(std::llround(b.c.ax)), Coord(std::llround(b.c.ay))},
                                  {Coord(std::llround(b.c.bx)), Coord(std::llround(b.c.by))}, gap),
                   {FeatureRef{b.path->layer, &b.path->layer_name, b.path->feature}, ctx.ref(key.first)});
    }
}

} // namespace kesto::drc
