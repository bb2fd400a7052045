// The pair walk of near_pairs; included by capsules.h.
#pragma once
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <utility>

namespace kesto::drc {

template <class OnPair>
void near_pairs(const std::vector<Capsule>& caps, Coord reach, bool cross_groups_only, OnPair&& on_pair)
{
    if (caps.size() < 2) return;
    PairSearch s;
    s.build(caps, reach);
    auto overlap = [&](std::uint32_t i, std::uint32_t j) {
        const auto& p = s.boxes[i];
        const auto& q = s.boxes[j];
        return p.xmin <= q.xmax && q.xmin <= p.xmax && p.ymin <= q.ymax && q.ymin <= p.ymax;
    };
    auto visit = [&](std::uint32_t i, std::uint32_t j) {
        if (cross_groups_only && caps[i].group == caps[j].group) return;
        if (!overlap(i, j)) return;
        if (i < j)
            on_pair(i, j);
        else
            on_pair(j, i);
    };
    auto visit_cells = [&](const PairSearch::Cell& c, const PairSearch::Cell& d) {
        for (std::uint32_t x = c.begin; x < c.end; ++x)
            for (std::uint32_t y = d.begin; y < d.end; ++y) visit(s.members[x], s.members[y]);
    };

    // Small capsules: each cell against itself, its right neighbour and the
    // three cells of the row above. Rows are sorted, so the row above is
    // walked with one forward-moving cursor.
    const std::uint64_t row = std::uint64_t(1) << 32;
    std::size_t above = 0;
    for (std::size_t ci = 0; ci < s.cells.size(); ++ci) {
        const auto& c = s.cells[ci];
        for (std::uint32_t x = c.begin; x < c.end; ++x)
            for (std::uint32_t y = x + 1; y < c.end; ++y) visit(s.members[x], s.members[y]);
        if (ci + 1 < s.cells.size() && s.cells[ci + 1].key == c.key + 1) visit_cells(c, s.cells[ci + 1]);
        const std::uint64_t lo = c.key + row - 1, hi = c.key + row + 1;
        while (above < s.cells.size() && s.cells[above].key < lo) ++above;
        for (std::size_t q = above; q < s.cells.size() && s.cells[q].key <= hi; ++q) visit_cells(c, s.cells[q]);
    }

    // Long capsules: against the small ones in the cells their band reaches
    // (the cells near the centre segment, not every cell of a diagonal
    // slot's box), then against each other.
    for (std::uint32_t l : s.large) {
        const auto& b = s.boxes[l];
        const Coord half = s.size / 2 + 1;
        const std::uint64_t k0 = s.cell_key(b.xmin - half, b.ymin - half);
        const std::uint64_t k1 = s.cell_key(b.xmax + half, b.ymax + half);
        const std::uint64_t x0 = k0 & 0xffffffffu, x1 = k1 & 0xffffffffu;
        // A small capsule whose box meets this one's has its centre within
        // `e` of the centre segment (box inflation plus a whole cell).
        const Capsule& c = caps[l];
        const Coord e = (b.xmax - b.xmin) - std::llabs(c.a.x - c.b.x) + s.size + 1;
        const double ax = double(c.a.x), ay = double(c.a.y), dx = double(c.b.x - c.a.x), dy = double(c.b.y - c.a.y);
        // The cell columns of row y that lie within e of the segment.
        auto band = [&](std::uint64_t y, std::uint64_t& from, std::uint64_t& to) {
            const double lo = double(s.oy) + double(y) * double(s.size) - double(e);
            const double hi = double(s.oy) + double(y + 1) * double(s.size) + double(e);
            double t0 = 0, t1 = 1;
            if (dy != 0) {
                t0 = std::clamp((lo - ay) / dy, 0.0, 1.0);
                t1 = std::clamp((hi - ay) / dy, 0.0, 1.0);
                if (t0 > t1) std::swap(t0, t1);
            }
            const double xa = ax + dx * t0, xb = ax + dx * t1;
            const Coord xmin = Coord(std::floor(std::min(xa, xb))) - e, xmax = Coord(std::ceil(std::max(xa, xb))) + e;
            from = std::max<std::uint64_t>(x0, s.cell_key(xmin, s.oy) & 0xffffffffu);
            to = std::min<std::uint64_t>(x1, s.cell_key(xmax, s.oy) & 0xffffffffu);
        };
        // A box spanning more rows than there are cells (absurd coordinates
        // in a damaged file) is matched against every cell instead.
        if ((k1 >> 32) - (k0 >> 32) >= s.cells.size()) {
            for (const auto& c : s.cells) {
                const std::uint64_t x = c.key & 0xffffffffu, y = c.key >> 32;
                if (x < x0 || x > x1 || y < (k0 >> 32) || y > (k1 >> 32)) continue;
                for (std::uint32_t m = c.begin; m < c.end; ++m) visit(l, s.members[m]);
            }
            continue;
        }
        for (std::uint64_t y = k0 >> 32; y <= (k1 >> 32); ++y) {
            std::uint64_t from = x0, to = x1;
            band(y, from, to);
            if (from > to) continue;
            const std::uint64_t first = (y << 32) | from, last = (y << 32) | to;
            auto it = std::lower_bound(s.cells.begin(), s.cells.end(), first,
                                       [](const PairSearch::Cell& c, std::uint64_t k) { return c.key < k; });
            for (; it != s.cells.end() && it->key <= last; ++it)
                for (std::uint32_t m = it->begin; m < it->end; ++m) visit(l, s.members[m]);
        }
    }
    for (std::size_t x = 0; x < s.large.size(); ++x)
        for (std::size_t y = x + 1; y < s.large.size(); ++y) visit(s.large[x], s.large[y]);
}

} // namespace kesto::drc
