// Booleans and offsets, and the layer index kept current through edits.
#include "engine/geometry/layer_index.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

namespace kesto::geom {
namespace {

constexpr double mm = 1e6;

Paths square(double x, double y, double size) { return {rectangle(x, y, x + size, y + size)}; }

TEST(GeometryBooleans, AreasOfTwoOverlappingSquares)
{
    Paths a = square(0, 0, 2 * mm), b = square(1 * mm, 1 * mm, 2 * mm);
    double one = mm * mm;
    EXPECT_DOUBLE_EQ(area(unite(a, b)), 7 * one);
    EXPECT_DOUBLE_EQ(area(subtract(a, b)), 3 * one);
    EXPECT_DOUBLE_EQ(area(intersect(a, b)), one);
    EXPECT_DOUBLE_EQ(area(exclusive_or(a, b)), 6 * one);
    // A hole punched through the middle stays a hole after a union.
    Paths framed = subtract(square(0, 0, 4 * mm), square(1 * mm, 1 * mm, 2 * mm));
    ASSERT_EQ(framed.size(), 2u);
    EXPECT_DOUBLE_EQ(area(unite(framed)), 12 * one);
    EXPECT_EQ(locate(IntPoint{Coord(2 * mm), Coord(2 * mm)}, framed), Where::Outside);
    EXPECT_EQ(locate(IntPoint{Coord(0.5 * mm), Coord(2 * mm)}, framed), Where::Inside);
    EXPECT_EQ(locate(IntPoint{0, Coord(2 * mm)}, framed), Where::OnEdge);
}

TEST(GeometryBooleans, ClippingToABoxKeepsWhatIsInside)
{
    // A U with a hole in its base, cut across both arms.
    Paths u = subtract({rectangle(0, 0, 6 * mm, 6 * mm)}, {rectangle(2 * mm, 2 * mm, 4 * mm, 7 * mm)});
    u = subtract(u, {rectangle(2.5 * mm, 0.5 * mm, 3.5 * mm, 1.5 * mm)});
    for (Box box : {Box{Coord(-1 * mm), Coord(1 * mm), Coord(7 * mm), Coord(4 * mm)},
                    Box{Coord(1 * mm), Coord(3 * mm), Coord(5 * mm), Coord(9 * mm)},
                    Box{Coord(10 * mm), 0, Coord(11 * mm), Coord(1 * mm)}}) {
        Paths clipped = clip_to_box(u, box);
        Paths exact = intersect(u, {rectangle(double(box.xmin), double(box.ymin), double(box.xmax), double(box.ymax))});
        EXPECT_NEAR(area(clipped), area(exact), 1.0);
        EXPECT_NEAR(area(exclusive_or(unite(clipped), exact)), 0, 1.0);
    }
}

TEST(GeometryBooleans, OffsetsGrowAndShrinkByTheirJoin)
{
    double s = 2 * mm, d = 0.5 * mm;
    Paths sq = square(0, 0, s);
    EXPECT_NEAR(area(offset(sq, d, Join::Round)), s * s + 4 * s * d + kPi * d * d, 2 * kPi * d * kMaxChordError);
    // Square joins cut each corner square at d from the corner.
    EXPECT_NEAR(area(offset(sq, d, Join::Square)), s * s + 4 * s * d + 8 * d * d * (std::sqrt(2.0) - 1), 1e-6 * s * s);
    EXPECT_NEAR(area(offset(sq, d, Join::Miter)), (s + 2 * d) * (s + 2 * d), 1e-6 * s * s);
    EXPECT_NEAR(area(offset(sq, -d)), (s - 2 * d) * (s - 2 * d), 1e-6 * s * s);
    EXPECT_TRUE(offset(sq, -s).empty());
}

Box random_box(std::mt19937& rng)
{
    std::uniform_int_distribution<Coord> at(0, 100 * kNmPerMm), size(0, 2 * kNmPerMm);
    Coord x = at(rng), y = at(rng);
    return Box{x, y, x + size(rng), y + size(rng)};
}

bool meets(const Box& a, const Box& b)
{
    return !a.empty() && !b.empty() && a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax;
}

// The index must answer exactly what a scan of the boxes answers.
void expect_same_answers(const LayerIndex& index, const std::vector<Box>& boxes, std::mt19937& rng, const char* after)
{
    ASSERT_EQ(index.size(), boxes.size()) << after;
    for (int q = 0; q < 50; ++q) {
        Box probe = random_box(rng);
        // Small windows and, now and then, most of the field (many hits).
        Coord reach = q % 10 ? 5 * kNmPerMm : 80 * kNmPerMm;
        probe.xmax += reach;
        probe.ymax += reach;
        std::vector<std::size_t> expected;
        for (std::size_t i = 0; i < boxes.size(); ++i)
            if (meets(boxes[i], probe)) expected.push_back(i);
        ASSERT_EQ(index.query(probe), expected) << after;
    }
    for (std::size_t i = 0; i < boxes.size(); i += 97) {
        Box b = index.box(i);
        if (!boxes[i].empty()) EXPECT_TRUE(b.xmin == boxes[i].xmin && b.ymax == boxes[i].ymax) << after;
    }
}

TEST(GeometryLayerIndex, StaysCurrentThroughEveryKindOfEdit)
{
    std::mt19937 rng(7);
    std::vector<Box> boxes(3000);
    for (Box& b : boxes) b = random_box(rng);
    boxes[5] = Box{}; // a feature without extent (a null symbol)
    LayerIndex index;
    index.build(boxes);
    expect_same_answers(index, boxes, rng, "build");

    // Move some features.
    for (std::size_t i = 0; i < boxes.size(); i += 7) {
        boxes[i] = random_box(rng);
        index.update(i, boxes[i]);
    }
    expect_same_answers(index, boxes, rng, "update");

    // Shift a few (entry by entry), then most of the layer (the tree packed anew).
    for (std::size_t every : {std::size_t(50), std::size_t(2)}) {
        std::vector<std::size_t> picked;
        for (std::size_t i = 0; i < boxes.size(); i += every) {
            picked.push_back(i);
            if (boxes[i].empty()) continue;
            boxes[i].xmin += 3 * kNmPerMm, boxes[i].xmax += 3 * kNmPerMm;
            boxes[i].ymin -= kNmPerMm, boxes[i].ymax -= kNmPerMm;
        }
        index.shift(picked, 3 * kNmPerMm, -kNmPerMm);
        expect_same_answers(index, boxes, rng, every == 2 ? "shift of half" : "shift of a few");
    }

    // Append copies and insert in the middle.
    for (int k = 0; k < 200; ++k) {
        boxes.push_back(random_box(rng));
        index.insert(boxes.size() - 1, boxes.back());
    }
    for (std::size_t at : {std::size_t(0), std::size_t(1500), std::size_t(10)}) {
        Box b = random_box(rng);
        boxes.insert(boxes.begin() + static_cast<std::ptrdiff_t>(at), b);
        index.insert(at, b);
    }
    expect_same_answers(index, boxes, rng, "insert");

    // Delete a third, as a delete of the selection does.
    std::vector<bool> removed(boxes.size());
    std::vector<Box> kept;
    for (std::size_t i = 0; i < boxes.size(); ++i) {
        removed[i] = i % 3 == 1;
        if (!removed[i]) kept.push_back(boxes[i]);
    }
    index.erase(removed);
    boxes = kept;
    expect_same_answers(index, boxes, rng, "erase");

    // One at a time: the first, one in the middle, the last.
    for (int which = 0; which < 3; ++which) {
        std::size_t at = which == 0 ? 0 : which == 1 ? boxes.size() / 2 : boxes.size() - 1;
        index.remove(at);
        boxes.erase(boxes.begin() + static_cast<std::ptrdiff_t>(at));
    }
    expect_same_answers(index, boxes, rng, "remove");

    // Freed slots are used again by later inserts.
    for (int k = 0; k < 100; ++k) {
        boxes.push_back(random_box(rng));
        index.insert(boxes.size(), boxes.back());
    }
    expect_same_answers(index, boxes, rng, "insert after erase");

    // Drawing order: reverse the layer.
    std::vector<std::size_t> order(boxes.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = order.size() - 1 - i;
    std::vector<Box> reversed(boxes.rbegin(), boxes.rend());
    index.reorder(order);
    boxes = reversed;
    expect_same_answers(index, boxes, rng, "reorder");
    EXPECT_THROW(index.update(boxes.size(), Box{}), std::out_of_range);
    order[1] = order[0];
    EXPECT_THROW(index.reorder(order), std::invalid_argument);
    order.pop_back();
    EXPECT_THROW(index.reorder(order), std::invalid_argument);
    expect_same_answers(index, boxes, rng, "refused reorder");
}

TEST(GeometryLayerIndex, BuildsFromTheFeaturesOfALayer)
{
    Layer layer;
    Symbol round;
    round.family = SymbolFamily::Round;
    round.p[0] = 1 * mm;
    layer.symbols.push_back(round);
    for (int i = 0; i < 10; ++i) {
        Feature f;
        f.kind = i % 2 ? FeatureKind::Pad : FeatureKind::Line;
        f.symbol = 0;
        f.a = {Coord(i * 10 * mm), 0};
        f.b = {Coord(i * 10 * mm + 5 * mm), 0};
        layer.features.push_back(f);
    }
    Feature orphan; // a symbol index out of range has no extent
    orphan.symbol = 9;
    layer.features.push_back(orphan);
    LayerIndex index;
    index.build(layer, {});
    EXPECT_EQ(index.size(), layer.features.size());
    // The line at 20 mm runs to 25 mm and ends half a millimetre further.
    EXPECT_EQ(index.query(Box{Coord(25.4 * mm), 0, Coord(25.4 * mm), 0}), std::vector<std::size_t>{2});
    EXPECT_TRUE(index.query(Box{Coord(25.6 * mm), 0, Coord(25.6 * mm), 0}).empty());
    EXPECT_TRUE(index.query(Box{}).empty());
}

} // namespace
} // namespace kesto::geom
