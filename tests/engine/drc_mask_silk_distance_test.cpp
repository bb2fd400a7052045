// The edge-tree distances the mask and silk rules use on large outlines,
// against a brute-force walk over every pair of edges.
#include "engine/drc/mask_silk_distance.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

using namespace kesto;
using namespace kesto::drc;

namespace {

// A star-shaped ring of `n` corners round (cx, cy), radii between r and 2r.
geom::Path star(std::mt19937& rng, Coord cx, Coord cy, Coord r, int n)
{
    std::uniform_real_distribution<double> k(1.0, 2.0);
    geom::Path p;
    for (int i = 0; i < n; ++i) {
        const double a = 2 * M_PI * i / n, rr = double(r) * k(rng);
        p.push_back({cx + Coord(std::llround(rr * std::cos(a))), cy + Coord(std::llround(rr * std::sin(a)))});
    }
    return p;
}

double brute_gap(const geom::Paths& a, const geom::Paths& b)
{
    double best = std::numeric_limits<double>::infinity();
    for (const geom::Edge& x : geom::edges_of(a))
        for (const geom::Edge& y : geom::edges_of(b))
            best = std::min(best, geom::segment_segment(x.x1, x.y1, x.x2, x.y2, y.x1, y.y1, y.x2, y.y2).distance);
    return best;
}

} // namespace

TEST(MaskSilkDistance, EdgeTreeAgreesWithEveryPairOfEdges)
{
    std::mt19937 rng(12);
    std::uniform_int_distribution<Coord> at(-3000000, 3000000);
    for (int round = 0; round < 40; ++round) {
        // A large pour-like outline with a hole, and a small pad-like one
        // that may lie outside, across the edge, in the hole or inside.
        const geom::Paths big{star(rng, 0, 0, 2000000, 400), [&] {
                                  geom::Path h = star(rng, 0, 0, 300000, 60);
                                  std::reverse(h.begin(), h.end());
                                  return h;
                              }()};
        const geom::Paths small{star(rng, at(rng), at(rng), 100000, 24)};
        const double want = brute_gap(small, big);
        const EdgeTree tree(big);
        EXPECT_NEAR(tree.boundary_gap(geom::edges_of(small)).distance, want, 1e-6) << round;
        EXPECT_EQ(boundary_gap(small, big, &tree), Coord(std::llround(want))) << round;
        EXPECT_EQ(boundary_gap(small, big), Coord(std::llround(want))) << round;
        const Point p{at(rng), at(rng)};
        double point_want = std::numeric_limits<double>::infinity();
        for (const geom::Edge& e : geom::edges_of(big))
            point_want = std::min(point_want, geom::segment_point(e.x1, e.y1, e.x2, e.y2, double(p.x), double(p.y)).distance);
        EXPECT_EQ(edge_distance(big, p, &tree), Coord(std::llround(point_want))) << round;
    }
}
