// Drill holes, slots and rout paths as capsules (a segment swept by a disc;
// a round hole is a capsule of zero length), the exact gap between two of
// them, and a grid search for every pair closer than a reach.
#pragma once
#include "engine/model/model.h"

#include <cstdint>
#include <vector>

namespace kesto::drc {

struct Capsule {
    Point a, b;          // a == b for a round hole
    Coord r = 0;         // half the hole diameter or the tool width
    std::uint32_t group = 0;
};

// The closest points of two capsules' centre segments and the gap between
// their outlines (negative when they overlap), in nanometres.
struct Gap {
    Point pa, pb;        // on a's and b's outline, along the shortest way
    Coord gap = 0;
    double centre_distance = 0;
};
Gap capsule_gap(const Capsule& a, const Capsule& b);

// Calls on_pair(i, j) with i < j once for every pair of capsules whose
// outlines may be within `reach` of each other (a box test: the caller
// measures the true gap). With cross_groups_only, pairs of one group are
// skipped. Grows as n log n for capsules of similar size; long capsules
// (rout paths, long slots) are searched by their boxes.
template <class OnPair>
void near_pairs(const std::vector<Capsule>& caps, Coord reach, bool cross_groups_only, OnPair&& on_pair);

// The search behind near_pairs, with the pairs collected.
struct PairSearch {
    struct Box { Coord xmin, ymin, xmax, ymax; };
    std::vector<Box> boxes;
    std::vector<std::uint32_t> small, large;
    struct Cell { std::uint64_t key; std::uint32_t begin, end; };
    std::vector<Cell> cells;
    std::vector<std::uint32_t> members;  // small capsules ordered by cell
    Coord size = 1, ox = 0, oy = 0;

    void build(const std::vector<Capsule>& caps, Coord reach);
    std::uint64_t cell_key(Coord x, Coord y) const;
};

} // namespace kesto::drc

#include "engine/drc/capsules_impl.h"
