// Hit tests by point and polygon, and clearances between features.
#include "engine/geometry/hit.h"
#include "engine/geometry/prepared_outline.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace kesto::geom {
namespace {

constexpr double mm = 1e6;

Coord c(double v) { return Coord(std::llround(v)); }

struct Board {
    Layer layer;
    LayerIndex index;

    int symbol(SymbolFamily family, double a, double b = 0)
    {
        Symbol s;
        s.family = family;
        s.p[0] = a;
        s.p[1] = b;
        layer.symbols.push_back(s);
        return int(layer.symbols.size()) - 1;
    }
    std::size_t pad(int symbol, double x, double y, double angle = 0)
    {
        Feature f;
        f.kind = FeatureKind::Pad;
        f.symbol = symbol;
        f.a = {c(x), c(y)};
        f.angle = angle;
        layer.features.push_back(f);
        return layer.features.size() - 1;
    }
    std::size_t line(int symbol, double x1, double y1, double x2, double y2)
    {
        Feature f;
        f.kind = FeatureKind::Line;
        f.symbol = symbol;
        f.a = {c(x1), c(y1)};
        f.b = {c(x2), c(y2)};
        layer.features.push_back(f);
        return layer.features.size() - 1;
    }
    std::size_t arc(int symbol, Point a, Point b, Point centre, bool cw)
    {
        Feature f;
        f.kind = FeatureKind::Arc;
        f.symbol = symbol;
        f.a = a;
        f.b = b;
        f.c = centre;
        f.cw = cw;
        layer.features.push_back(f);
        return layer.features.size() - 1;
    }
    void index_all() { index.build(layer, {}); }
    Closest distance(std::size_t a, std::size_t b) const
    {
        return feature_distance(layer, layer.features[a], layer, layer.features[b], {});
    }
};

TEST(GeometryClearance, RoundPadsAndLinesAreMeasuredExactly)
{
    Board board;
    int r1 = board.symbol(SymbolFamily::Round, 1 * mm), r2 = board.symbol(SymbolFamily::Round, 0.5 * mm);
    auto p1 = board.pad(r1, 0, 0), p2 = board.pad(r2, 3 * mm, 4 * mm);
    Closest d = board.distance(p1, p2);
    EXPECT_DOUBLE_EQ(d.distance, 5 * mm - 0.75 * mm);
    EXPECT_NEAR(d.ax, 0.3 * mm, 1);
    EXPECT_NEAR(d.ay, 0.4 * mm, 1);
    EXPECT_NEAR(d.bx, 3 * mm - 0.15 * mm, 1);
    EXPECT_NEAR(d.by, 4 * mm - 0.2 * mm, 1);

    // Parallel lines 2 mm apart centre to centre, 0.2 mm wide: 1.8 mm.
    auto l1 = board.line(board.symbol(SymbolFamily::Round, 0.2 * mm), 0, 10 * mm, 10 * mm, 10 * mm);
    auto l2 = board.line(2, 5 * mm, 12 * mm, 20 * mm, 12 * mm);
    EXPECT_DOUBLE_EQ(board.distance(l1, l2).distance, 1.8 * mm);
    // End to end across a diagonal.
    auto l3 = board.line(2, 13 * mm, 14 * mm, 20 * mm, 20 * mm);
    EXPECT_DOUBLE_EQ(board.distance(l1, l3).distance, 5 * mm - 0.2 * mm);
    // Crossing lines and a pad sitting on a line touch.
    auto l4 = board.line(2, 5 * mm, 0, 5 * mm, 20 * mm);
    EXPECT_EQ(board.distance(l1, l4).distance, 0);
    auto on = board.pad(r1, 7 * mm, 10.55 * mm);
    EXPECT_EQ(board.distance(l1, on).distance, 0);
    EXPECT_EQ(board.distance(p1, p1).distance, 0);

    // Point to a round pad: from its edge.
    EXPECT_DOUBLE_EQ(feature_point_distance(board.layer, board.layer.features[p1], {c(2 * mm), 0}, {}).distance,
                     1.5 * mm);
}

TEST(GeometryClearance, RoundArcsAreMeasuredExactly)
{
    Board board;
    int w = board.symbol(SymbolFamily::Round, 0.2 * mm);
    // Two concentric quarter arcs 1 mm apart, on the same quarter.
    auto inner = board.arc(w, {c(5 * mm), 0}, {0, c(5 * mm)}, {0, 0}, false);
    auto outer = board.arc(w, {0, c(6 * mm)}, {c(6 * mm), 0}, {0, 0}, true);
    EXPECT_NEAR(board.distance(inner, outer).distance, 0.8 * mm, 1e-3);
    // The same outer arc the other way round covers the other three quarters:
    // now only the ends face each other.
    auto other = board.arc(w, {0, c(6 * mm)}, {c(6 * mm), 0}, {0, 0}, false);
    EXPECT_NEAR(board.distance(inner, other).distance, 0.8 * mm, 1e-3);
    auto far = board.arc(w, {c(-6 * mm), 0}, {0, c(-6 * mm)}, {0, 0}, false);
    EXPECT_NEAR(board.distance(inner, far).distance, std::hypot(5 * mm, 6 * mm) - 0.2 * mm, 1e-3);
    // A line across the ring's hole, nearest at its foot from the centre.
    auto chord = board.line(w, -10 * mm, 3 * mm, 10 * mm, 3 * mm);
    auto ring = board.arc(w, {c(5 * mm), 0}, {c(5 * mm), 0}, {0, 0}, true);
    EXPECT_EQ(board.distance(chord, ring).distance, 0);
    auto below = board.line(w, -1 * mm, -7 * mm, 1 * mm, -7 * mm);
    Closest d = board.distance(below, ring);
    EXPECT_NEAR(d.distance, 2 * mm - 0.2 * mm, 1e-3);
    EXPECT_NEAR(d.ay, -6.9 * mm, 1e-3);
    EXPECT_NEAR(d.by, -5.1 * mm, 1e-3);
    // Inside the hole the ends come nearest, not the foot.
    auto within = board.line(w, -1 * mm, -2 * mm, 1 * mm, -2 * mm);
    EXPECT_NEAR(board.distance(within, ring).distance, 5 * mm - std::sqrt(5.0) * mm - 0.2 * mm, 1e-3);
    // From a point inside the ring's hole.
    EXPECT_NEAR(feature_point_distance(board.layer, board.layer.features[ring], {c(1 * mm), 0}, {}).distance,
                3.9 * mm, 1e-3);
}

// Closed forms and outlines must agree to the chord bound on any round shapes.
TEST(GeometryClearance, ClosedFormsAgreeWithOutlines)
{
    std::mt19937 rng(11);
    std::uniform_real_distribution<double> at(0, 10 * mm), width(0.05 * mm, 1 * mm), radius(0.3 * mm, 4 * mm),
        angle(0, 2 * kPi);
    Board board;
    for (int k = 0; k < 6; ++k) board.symbol(SymbolFamily::Round, width(rng));
    auto random_feature = [&] {
        int s = int(rng() % 6);
        switch (rng() % 3) {
        case 0: return board.pad(s, at(rng), at(rng));
        case 1: return board.line(s, at(rng), at(rng), at(rng), at(rng));
        default: {
            double cx = at(rng), cy = at(rng), r = radius(rng), t1 = angle(rng), t2 = angle(rng);
            return board.arc(s, {c(cx + r * std::cos(t1)), c(cy + r * std::sin(t1))},
                             {c(cx + r * std::cos(t2)), c(cy + r * std::sin(t2))}, {c(cx), c(cy)}, rng() % 2);
        }
        }
    };
    for (int trial = 0; trial < 400; ++trial) {
        auto a = random_feature(), b = random_feature();
        const Feature& fa = board.layer.features[a];
        const Feature& fb = board.layer.features[b];
        Closest exact = board.distance(a, b);
        Closest polygons = outline_distance(feature_outline(board.layer, fa, {}), feature_outline(board.layer, fb, {}));
        ASSERT_NEAR(exact.distance, polygons.distance, 2 * kMaxChordError + 4) << "trial " << trial;
        EXPECT_NEAR(std::hypot(exact.bx - exact.ax, exact.by - exact.ay), exact.distance, 1.0);
        // Each closest point lies on its own feature's edge (or inside it when touching).
        EXPECT_LE(feature_point_distance(board.layer, fa, {c(exact.ax), c(exact.ay)}, {}).distance, 2.0);
        EXPECT_LE(feature_point_distance(board.layer, fb, {c(exact.bx), c(exact.by)}, {}).distance, 2.0);
    }
}

TEST(GeometryClearance, OtherShapesGoThroughTheirOutlines)
{
    Board board;
    int sq = board.symbol(SymbolFamily::Square, 2 * mm), rect = board.symbol(SymbolFamily::Rect, 4 * mm, 1 * mm);
    auto a = board.pad(sq, 0, 0);
    auto b = board.pad(rect, 5 * mm, 0);          // 4 x 1, its left edge at 3 mm
    EXPECT_NEAR(board.distance(a, b).distance, 2 * mm, 1);
    auto turned = board.pad(rect, 5 * mm, 0, 90); // 1 x 4, its left edge at 4.5 mm
    EXPECT_NEAR(board.distance(a, turned).distance, 3.5 * mm, 1);
    // Corner to corner across a diagonal.
    auto diag = board.pad(sq, 5 * mm, 6 * mm);
    EXPECT_NEAR(board.distance(a, diag).distance, std::hypot(3 * mm, 4 * mm), 1);
    // A square pad and a round line: mixed shapes take the outline path.
    auto l = board.line(board.symbol(SymbolFamily::Round, 1 * mm), -10 * mm, 3 * mm, 10 * mm, 3 * mm);
    EXPECT_NEAR(board.distance(a, l).distance, 1.5 * mm, kMaxChordError);
    // An arc around the square: from its inner edge to the corner.
    int thin = board.symbol(SymbolFamily::Round, 0.2 * mm);
    auto ring = board.arc(thin, {c(5 * mm), 0}, {c(5 * mm), 0}, {0, 0}, false);
    EXPECT_NEAR(board.distance(a, ring).distance, 5 * mm - 0.1 * mm - std::sqrt(2.0) * mm, kMaxChordError + 1);
    // Inside the ring's hole counts as apart; a pad on the ring touches it.
    auto centre = board.pad(sq, 0, 0);
    EXPECT_GT(board.distance(centre, ring).distance, 0);
    auto across = board.pad(sq, 5 * mm, 0);
    EXPECT_EQ(board.distance(across, ring).distance, 0);
    // A point inside the square.
    EXPECT_EQ(feature_point_distance(board.layer, board.layer.features[a], {c(0.5 * mm), 0}, {}).distance, 0);
    EXPECT_NEAR(feature_point_distance(board.layer, board.layer.features[a], {c(3 * mm), 0}, {}).distance, 2 * mm, 1);
}

TEST(GeometryClearance, LargeOutlinesAgreeWithTheirCircles)
{
    // Donuts take the outline path; at these radii each has about a thousand edges.
    Board board;
    int big = board.symbol(SymbolFamily::RoundDonut, 100 * mm, 80 * mm);
    int small = board.symbol(SymbolFamily::RoundDonut, 30 * mm, 10 * mm);
    auto a = board.pad(big, 0, 0);
    auto b = board.pad(big, 130 * mm, 40 * mm);
    auto in_hole = board.pad(small, 5 * mm, 0);
    auto across = board.pad(small, 45 * mm, 0);
    double bound = 2 * kMaxChordError + 4;
    EXPECT_NEAR(board.distance(a, b).distance, std::hypot(130 * mm, 40 * mm) - 100 * mm, bound);
    EXPECT_NEAR(board.distance(b, a).distance, std::hypot(130 * mm, 40 * mm) - 100 * mm, bound);
    // From the small donut's outer edge to the big one's hole edge.
    Closest inside = board.distance(in_hole, a);
    EXPECT_NEAR(inside.distance, 40 * mm - 5 * mm - 15 * mm, bound);
    EXPECT_NEAR(inside.ax, 20 * mm, 2 * kMaxChordError);
    EXPECT_NEAR(inside.bx, 40 * mm, 2 * kMaxChordError);
    EXPECT_EQ(board.distance(across, a).distance, 0);
    // Points: in the hole, on the copper, outside.
    const Feature& ring = board.layer.features[a];
    EXPECT_NEAR(feature_point_distance(board.layer, ring, {c(10 * mm), 0}, {}).distance, 30 * mm, bound);
    EXPECT_EQ(feature_point_distance(board.layer, ring, {0, c(45 * mm)}, {}).distance, 0);
    EXPECT_NEAR(feature_point_distance(board.layer, ring, {c(-60 * mm), 0}, {}).distance, 10 * mm, bound);
}

TEST(GeometryClearance, PreparedOutlinesLocateAsPlainOnes)
{
    // A frame with a hole and an island in it, made of many short edges, and
    // a zig-zag whose vertices sit on the probing rows.
    Paths frame = subtract({circle(0, 0, 50 * mm)}, {circle(0, 0, 30 * mm)});
    frame = unite(frame, {circle(0, 0, 10 * mm)});
    Path zig{{c(60 * mm), c(-10 * mm)}};
    for (int k = 0; k <= 40; ++k) zig.push_back({c(60 * mm + k * mm), c((k % 2) * mm)});
    zig.push_back({c(100 * mm), c(-10 * mm)});
    frame = unite(frame, {zig});
    PreparedOutline prepared(frame);
    std::mt19937 rng(3);
    std::uniform_int_distribution<int> cell(-60, 110);
    for (int trial = 0; trial < 20000; ++trial) {
        // Whole millimetres hit the zig-zag's vertices and edges exactly.
        IntPoint p{c(cell(rng) * mm), c((cell(rng) % 60) * mm)};
        if (trial % 2) p.X += c(0.37 * mm);
        ASSERT_EQ(prepared.locate(double(p.X), double(p.Y)), locate(p, frame)) << p.X << " " << p.Y;
    }
    // Distances agree with every pair of edges compared.
    Paths pad{rectangle(55 * mm, 5 * mm, 56 * mm, 6 * mm)};
    double brute = std::numeric_limits<double>::infinity();
    for (const Edge& e : edges_of(frame))
        for (const Edge& f : edges_of(pad))
            brute = std::min(brute, segment_segment(e.x1, e.y1, e.x2, e.y2, f.x1, f.y1, f.x2, f.y2).distance);
    EXPECT_DOUBLE_EQ(prepared.distance(pad).distance, brute);
    double to_rim = std::hypot(55 * mm, 5 * mm) - 50 * mm; // the pad's corner to the outer circle
    EXPECT_NEAR(prepared.distance(pad).distance, to_rim, kMaxChordError);
    EXPECT_NEAR(prepared.distance(55 * mm, 5 * mm).distance, to_rim, kMaxChordError);
    // Two prepared outlines, apart and overlapping, against every pair of edges.
    for (double dx : {120.0, 45.0}) {
        Paths other = subtract({circle(c(dx * mm), c(3 * mm), 20 * mm)}, {circle(c(dx * mm), c(3 * mm), 12 * mm)});
        double pairs = std::numeric_limits<double>::infinity();
        for (const Edge& e : edges_of(frame))
            for (const Edge& f : edges_of(other))
                pairs = std::min(pairs, segment_segment(e.x1, e.y1, e.x2, e.y2, f.x1, f.y1, f.x2, f.y2).distance);
        EXPECT_DOUBLE_EQ(prepared.distance(PreparedOutline(other)).distance, pairs) << dx;
        EXPECT_DOUBLE_EQ(PreparedOutline(other).distance(prepared).distance, pairs) << dx;
    }
}

TEST(GeometryHits, ClickWithMarginCatchesWhatIsNearEnough)
{
    Board board;
    int r = board.symbol(SymbolFamily::Round, 1 * mm);
    int sq = board.symbol(SymbolFamily::Square, 1 * mm);
    auto pad = board.pad(r, 0, 0);
    auto line = board.line(r, 2 * mm, -5 * mm, 2 * mm, 5 * mm);
    auto square = board.pad(sq, 10 * mm, 0, 45);
    board.index_all();
    const Layer& L = board.layer;
    EXPECT_EQ(features_at(L, board.index, {0, 0}, 0, {}), std::vector<std::size_t>{pad});
    // Between the pad's edge (0.5) and the line's edge (1.5): reach decides.
    EXPECT_TRUE(features_at(L, board.index, {c(1 * mm), 0}, c(0.4 * mm), {}).empty());
    EXPECT_EQ(features_at(L, board.index, {c(1 * mm), 0}, c(0.5 * mm), {}), (std::vector<std::size_t>{pad, line}));
    // The turned square reaches its corner at 10 + 0.707 mm on x, not its box's 0.5.
    EXPECT_EQ(features_at(L, board.index, {c(10.7 * mm), 0}, 0, {}), std::vector<std::size_t>{square});
    EXPECT_TRUE(features_at(L, board.index, {c(10.45 * mm), c(0.45 * mm)}, 0, {}).empty());
}

TEST(GeometryHits, PolygonsCatchWhatIsInsideOrTouching)
{
    Board board;
    int r = board.symbol(SymbolFamily::Round, 1 * mm);
    std::vector<std::size_t> grid;
    for (int i = 0; i < 10; ++i)
        for (int j = 0; j < 10; ++j) grid.push_back(board.pad(r, i * 2 * mm, j * 2 * mm));
    auto crossing = board.line(r, 3 * mm, 3 * mm, 30 * mm, 3 * mm);
    board.index_all();
    // A window from (-1,-1) to (4.6,4.6): pads at 0, 2 and 4 mm fit on each axis.
    Path window{{c(-1 * mm), c(-1 * mm)}, {c(4.6 * mm), c(-1 * mm)}, {c(4.6 * mm), c(4.6 * mm)}, {c(-1 * mm), c(4.6 * mm)}};
    auto inside = features_in_polygon(board.layer, board.index, window, PolygonTest::Inside, {});
    auto touching = features_in_polygon(board.layer, board.index, window, PolygonTest::Touching, {});
    EXPECT_EQ(inside.size(), 9u);
    EXPECT_EQ(touching.size(), 10u); // and the crossing line
    EXPECT_EQ(touching.back(), crossing);
    // Clockwise or counter-clockwise, the window is the same.
    Path clockwise(window.rbegin(), window.rend());
    EXPECT_EQ(features_in_polygon(board.layer, board.index, clockwise, PolygonTest::Inside, {}), inside);
    // A pad half in a triangle touches it without being inside.
    Path triangle{{c(10 * mm), c(-5 * mm)}, {c(30 * mm), c(-5 * mm)}, {c(10 * mm), c(15 * mm)}};
    auto in_tri = features_in_polygon(board.layer, board.index, triangle, PolygonTest::Inside, {});
    auto on_tri = features_in_polygon(board.layer, board.index, triangle, PolygonTest::Touching, {});
    EXPECT_LT(in_tri.size(), on_tri.size());
    for (std::size_t i : in_tri) {
        const Point& at = board.layer.features[i].a;
        if (board.layer.features[i].kind == FeatureKind::Pad) EXPECT_LE(double(at.x + at.y), 25 * mm - 0.5 * mm * std::sqrt(2.0));
    }
    // Whatever the shortcuts, the answer is the outline-by-outline answer: for
    // a drawn lasso of many points and for a plain triangle.
    Path lasso;
    for (int k = 0; k < 300; ++k) {
        double t = 2 * kPi * k / 300, r = (7 + 2 * std::sin(5 * t)) * mm;
        lasso.push_back({c(9 * mm + r * std::cos(t)), c(9 * mm + r * std::sin(t))});
    }
    for (const Path& shape : {lasso, triangle}) {
        Paths area_of = unite({shape});
        for (PolygonTest test : {PolygonTest::Inside, PolygonTest::Touching}) {
            std::vector<std::size_t> expected;
            for (std::size_t i = 0; i < board.layer.features.size(); ++i) {
                Paths outline = feature_outline(board.layer, board.layer.features[i], {});
                bool caught = test == PolygonTest::Inside ? area(subtract(outline, area_of)) < 1.0
                                                          : outline_distance(outline, area_of).distance == 0;
                if (caught) expected.push_back(i);
            }
            EXPECT_EQ(features_in_polygon(board.layer, board.index, shape, test, {}), expected);
        }
    }
    // A degenerate polygon catches nothing.
    EXPECT_TRUE(features_in_polygon(board.layer, board.index, Path{{0, 0}, {c(mm), c(mm)}}, PolygonTest::Touching, {}).empty());
}

} // namespace
} // namespace kesto::geom
