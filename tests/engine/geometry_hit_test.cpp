// Hit tests by point and polygon, and clearances between features.
#include "engine/geometry/hit.h"

#include <gtest/gtest.h>

#include <cmath>

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
    // A degenerate polygon catches nothing.
    EXPECT_TRUE(features_in_polygon(board.layer, board.index, Path{{0, 0}, {c(mm), c(mm)}}, PolygonTest::Touching, {}).empty());
}

} // namespace
} // namespace kesto::geom
