// Spacing against the designer's netlist (the job's EDA data). CAD Short:
// copper of two different CAD nets that the board's copper joins into one
// net, at every place where the two come within the limit (touching, gap 0,
// is where the short is made). CAD Self Spacing: copper of one CAD net whose
// pieces the board's copper leaves apart (an open), at every place where
// they come within the limit without touching. Where the board agrees with
// the netlist neither category has anything to say, so only the pieces of
// nets where the two disagree are searched.
#include "engine/drc/signal_eda.h"
#include "engine/drc/signal_rules.h"

#include <algorithm>
#include <cmath>
#include <set>
#include <unordered_map>

namespace kesto::drc {

namespace {

using namespace signal_item;

// Pieces of groups (by `key`) that hold more than one value of `other`.
std::vector<std::uint32_t> mixed_groups(const std::vector<std::int32_t>& key, const std::vector<std::int32_t>& other)
{
    std::unordered_map<std::int32_t, std::int32_t> first;  // key -> first other value, or -2 once mixed
    for (std::size_t p = 0; p < key.size(); ++p) {
        if (key[p] < 0 || other[p] < 0) continue;
        auto [it, fresh] = first.emplace(key[p], other[p]);
        if (!fresh && it->second != other[p]) it->second = -2;
    }
    std::vector<std::uint32_t> out;
    for (std::size_t p = 0; p < key.size(); ++p)
        if (key[p] >= 0 && other[p] >= 0 && first[key[p]] == -2) out.push_back(std::uint32_t(p));
    return out;
}

} // namespace

void cad_spacing_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    if (!ctx.nets) return;
    const EdaLayerView view = eda_layer_view(ctx);
    if (!view.has_nets()) return;
    const Coord limit = in.limits.pp_spacing > 0 ? in.limits.pp_spacing : in.limits.spacing_default;
    const Coord short_reach = in.reach(CadShort, limit), self_reach = in.reach(CadSelfSpacing, limit);

    std::vector<std::int32_t> board(ctx.pieces.size());
    for (std::size_t p = 0; p < ctx.pieces.size(); ++p) board[p] = ctx.pieces[p].net;
    std::vector<std::uint32_t> from = mixed_groups(board, view.cad_net);      // board nets holding two CAD nets
    const std::vector<std::uint32_t> opens = mixed_groups(view.cad_net, board);  // CAD nets split on the board
    from.insert(from.end(), opens.begin(), opens.end());

    std::set<std::pair<std::uint32_t, std::uint32_t>> seen;
    const Coord reach = std::max(short_reach, self_reach);
    for (std::uint32_t a : from) {
        for (std::size_t k : pieces_near(ctx, ctx.pieces[a].box, reach)) {
            const std::uint32_t b = std::uint32_t(k);
            if (b == a || view.cad_net[b] < 0 || board[b] < 0) continue;
            const bool same_cad = view.cad_net[a] == view.cad_net[b], same_board = board[a] == board[b];
            if (same_cad == same_board) continue;  // the board agrees with the netlist here
            if (!in.wanted(a) && !in.wanted(b)) continue;
            if (!seen.insert({std::min(a, b), std::max(a, b)}).second) continue;
            const geom::Closest c = piece_gap(ctx, a, b);
            const Coord gap = Coord(std::llround(c.distance));
            const Point pa{Coord(std::llround(c.ax)), Coord(std::llround(c.ay))};
            const Point pb{Coord(std::llround(c.bx)), Coord(std::llround(c.by))};
            const Marker marker = gap <= 0 ? point_marker(pa) : segment_marker(pa, pb, gap);
            if (same_board && gap <= short_reach)
                in.out.add(CadShort, std::max<Coord>(gap, 0), marker, {ctx.ref(a), ctx.ref(b)});
            else if (same_cad && gap > 0 && gap <= self_reach)
                in.out.add(CadSelfSpacing, gap, marker, {ctx.ref(a), ctx.ref(b)});
        }
    }
}

} // namespace kesto::drc
