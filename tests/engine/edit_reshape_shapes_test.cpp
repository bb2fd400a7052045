// Reshaping selected features from one kind into another.
#include "engine/edit/reshape.h"
#include "edit_reshape_support.h"

namespace api = KESTO::API;
using namespace kesto;
using kesto::test::mm;

namespace {

class Reshape : public kesto::test::ReshapeJob {
protected:
    double distance(Point a, Point b) { return std::hypot(double(a.x - b.x), double(a.y - b.y)); }
};

TEST_F(Reshape, LinesBecomePadsOfTheSameAreaAndBackAgain)
{
    line("r100", {0, 0}, {mm, 0});
    line("r100", {0, 0}, {0, 2 * mm});
    line("r100", {0, 0}, {mm, mm});
    line("r100", {5 * mm, 5 * mm}, {5 * mm, 5 * mm});
    line("s200", {0, 0}, {mm, mm});
    line("r100", {9 * mm, 0}, {9 * mm, mm}, false);
    const double diagonal_area = area_mm2(top().features[2]);
    ASSERT_TRUE(api::reshape_line_to_pad("shapes", "pcb", {"top"}));
    const auto& f = top().features;
    ASSERT_EQ(f.size(), 6u);
    EXPECT_EQ(f[0].kind, FeatureKind::Pad);
    EXPECT_EQ(symbol_name(f[0]), "oval1100x100");
    EXPECT_EQ(f[0].a, (Point{mm / 2, 0}));
    EXPECT_EQ(symbol_name(f[1]), "oval100x2100");
    EXPECT_EQ(f[1].angle, 0);
    EXPECT_EQ(f[1].a, (Point{0, mm}));
    EXPECT_EQ(symbol_name(f[2]), "oval1514.214x100");
    EXPECT_DOUBLE_EQ(f[2].angle, 315); // up and to the right is a quarter of a half turn anticlockwise
    EXPECT_NEAR(area_mm2(f[2]), diagonal_area, 1e-6);
    EXPECT_EQ(symbol_name(f[3]), "r100");
    EXPECT_EQ(f[4].kind, FeatureKind::Line) << "a slanted square pen draws no rectangle";
    EXPECT_EQ(f[5].kind, FeatureKind::Line) << "unselected";
    EXPECT_TRUE(f[0].selected);

    ASSERT_TRUE(api::reshape_pad_to_line("shapes", "pcb", {"top"}));
    EXPECT_EQ(f[0].kind, FeatureKind::Line);
    EXPECT_EQ(symbol_name(f[0]), "r100");
    EXPECT_EQ(f[0].a, (Point{0, 0}));
    EXPECT_EQ(f[0].b, (Point{mm, 0}));
    EXPECT_EQ(f[1].a, (Point{0, 0}));
    EXPECT_EQ(f[1].b, (Point{0, 2 * mm}));
    EXPECT_EQ(symbol_name(f[2]), "r100");
    EXPECT_LE(distance(f[2].a, {0, 0}), 2);
    EXPECT_LE(distance(f[2].b, {mm, mm}), 2);
    EXPECT_EQ(f[3].a, f[3].b);
}

TEST_F(Reshape, ArcsBecomeChordsWithinTheTolerance)
{
    arc("r50", {mm, 0}, {0, mm}, {0, 0}, false); // a quarter anticlockwise
    arc("r50", {mm, 0}, {mm, 0}, {0, 0}, true);  // a full circle
    auto p = para();
    p.radius = 0.01;
    ASSERT_TRUE(api::break_arc_to_lines(p));
    std::vector<Feature> quarter, circle;
    for (const Feature& f : top().features) {
        ASSERT_EQ(f.kind, FeatureKind::Line);
        (f.a.y >= 0 && f.a.x >= 0 && f.b.x >= 0 && f.b.y >= 0 && quarter.size() < 6 ? quarter : circle).push_back(f);
    }
    // 2 acos(0.99) = 0.2838 rad per chord: 6 chords for a quarter, 23 for a circle.
    ASSERT_EQ(quarter.size(), 6u);
    EXPECT_EQ(circle.size(), 23u);
    EXPECT_EQ(quarter.front().a, (Point{mm, 0}));
    EXPECT_EQ(quarter.back().b, (Point{0, mm}));
    for (size_t i = 0; i < quarter.size(); ++i) {
        const Feature& f = quarter[i];
        if (i) EXPECT_EQ(f.a, quarter[i - 1].b);
        EXPECT_NEAR(std::hypot(double(f.b.x), double(f.b.y)), double(mm), 1);
        const double mid = std::hypot((f.a.x + f.b.x) / 2.0, (f.a.y + f.b.y) / 2.0);
        EXPECT_LE(double(mm) - mid, 0.01 * mm);
        EXPECT_EQ(symbol_name(f), "r50");
    }
    EXPECT_EQ(circle.back().b, (Point{mm, 0}));
}

TEST_F(Reshape, SurfacesBecomeOutlinesAndClosedOutlinesBecomeSurfaces)
{
    // A square with a round-ended right side: three straight edges and a half circle.
    Surface body;
    Contour c;
    c.start = {0, 0};
    c.segments = {Segment{{0, 2 * mm}}, Segment{{mm, 2 * mm}}, Segment{{mm, 0}, {mm, mm}, true, true},
                  Segment{{0, 0}}};
    body.contours.push_back(c);
    top().surfaces.push_back(body);
    Feature s;
    s.kind = FeatureKind::Surface;
    s.body = 0;
    s.selected = true;
    top().features.push_back(s);
    const double area = area_mm2(s);
    ASSERT_TRUE(api::reshape_surface_to_outline("shapes", "pcb", {"top"}, 0.1));
    const auto& f = top().features;
    ASSERT_EQ(f.size(), 4u);
    EXPECT_EQ(f[2].kind, FeatureKind::Arc);
    EXPECT_EQ(f[2].c, (Point{mm, mm}));
    EXPECT_TRUE(f[2].cw);
    EXPECT_EQ(symbol_name(f[0]), "r100");

    // The loop, shuffled and partly reversed, closes back into the surface.
    std::swap(top().features[0], top().features[3]);
    std::swap(top().features[1].a, top().features[1].b);
    line("r100", {5 * mm, 5 * mm}, {6 * mm, 5 * mm}); // an open chain stays
    ASSERT_TRUE(api::reshape_outline_to_surface("shapes", "pcb", {"top"}, false));
    ASSERT_EQ(f.size(), 2u);
    EXPECT_EQ(f[0].kind, FeatureKind::Surface);
    EXPECT_NEAR(area_mm2(f[0]), area, 1e-6);
    EXPECT_EQ(f[1].kind, FeatureKind::Line);
}

TEST_F(Reshape, NestedLoopsMakeHolesAndSquareLoopsCanBecomePads)
{
    auto loop = [&](Coord x, Coord y, Coord side) {
        const auto q = square(x, y, side);
        for (size_t i = 0; i < 4; ++i) line("r10", q[i], q[(i + 1) % 4]);
    };
    loop(0, 0, 4 * mm);
    loop(mm, mm, 2 * mm);
    ASSERT_TRUE(api::reshape_outline_to_surface("shapes", "pcb", {"top"}, false));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_NEAR(area_mm2(top().features[0]), 12.0, 1e-9);
    EXPECT_EQ(top().surfaces[top().features[0].body].contours.size(), 2u);

    top().features.clear();
    loop(10 * mm, 0, mm);
    ASSERT_TRUE(api::reshape_outline_to_surface("shapes", "pcb", {"top"}, true));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_EQ(top().features[0].kind, FeatureKind::Pad);
    EXPECT_EQ(symbol_name(top().features[0]), "s1000");
    EXPECT_EQ(top().features[0].a, (Point{10500000, 500000}));
}

TEST_F(Reshape, ContoursMatchingStandardSymbolsBecomePads)
{
    Surface disc;
    Contour c;
    c.start = {3 * mm, 2 * mm};
    c.segments = {Segment{{3 * mm, 2 * mm}, {2 * mm, 2 * mm}, true, true}};
    disc.contours.push_back(c);
    top().surfaces.push_back(disc);
    Feature round;
    round.kind = FeatureKind::Surface;
    round.body = 0;
    round.selected = true;
    top().features.push_back(round);
    surface({{{0, 0}, {0, mm}, {3 * mm, mm}, {3 * mm, 0}}});
    surface({{{0, 0}, {0, 2 * mm}, {mm, 2 * mm}, {mm, mm}, {2 * mm, mm}, {2 * mm, 0}}}); // an L
    surface({square(20 * mm, 0, 10 * mm)});
    ASSERT_TRUE(api::reshape_contour_to_pad("shapes", "pcb", {"top"}, 0, 0, 5, ""));
    const auto& f = top().features;
    EXPECT_EQ(f[0].kind, FeatureKind::Pad);
    EXPECT_EQ(symbol_name(f[0]), "r2000");
    EXPECT_LE(distance(f[0].a, {2 * mm, 2 * mm}), 2);
    EXPECT_EQ(symbol_name(f[1]), "rect3000x1000");
    EXPECT_EQ(f[1].a, (Point{1500000, 500000}));
    EXPECT_EQ(f[2].kind, FeatureKind::Surface) << "an L is no standard symbol";
    EXPECT_EQ(f[3].kind, FeatureKind::Surface) << "bigger than the maximum size";
}

TEST_F(Reshape, ContourizeMergesPaintsNegativesAndCleansHoles)
{
    surface({square(0, 0, 2 * mm)});
    surface({square(mm, 0, 2 * mm)});
    pad("s200", mm + mm / 2, mm).polarity = Polarity::Negative; // a 0.2 mm hole
    pad("r100", 10 * mm, 10 * mm);                              // an island of its own
    pad("r100", 20 * mm, 0, false);
    KESTO::COMMON::progress_value<int> progress;
    ASSERT_TRUE(api::reshape_contourize("shapes", "pcb", {"top"}, 0, true, 0, 0, &progress));
    EXPECT_EQ(progress.total.load(), 4);
    EXPECT_EQ(progress.done.load(), 4);
    auto& f = top().features;
    ASSERT_EQ(f.size(), 3u);
    EXPECT_EQ(f[0].kind, FeatureKind::Surface);
    EXPECT_EQ(f[1].kind, FeatureKind::Surface);
    EXPECT_EQ(f[2].kind, FeatureKind::Pad);
    double total = area_mm2(f[0]) + area_mm2(f[1]);
    EXPECT_NEAR(total, 6.0 - 0.04 + geom::kPi * 0.0025, 1e-3);

    // Again as one surface, filling holes narrower than 0.3 mm.
    for (auto& g : f) g.selected = g.kind == FeatureKind::Surface;
    ASSERT_TRUE(api::reshape_contourize("shapes", "pcb", {"top"}, 0, false, 0.3, 0, nullptr));
    ASSERT_EQ(f.size(), 2u);
    EXPECT_NEAR(area_mm2(f[0]), 6.0 + geom::kPi * 0.0025, 1e-3);
    EXPECT_EQ(f[1].a, (Point{20 * mm, 0}));
}

TEST_F(Reshape, CancelledContourizeLeavesTheLayer)
{
    surface({square(0, 0, mm)});
    surface({square(mm / 2, 0, mm)});
    KESTO::COMMON::progress_value<int> progress;
    progress.cancel = true;
    EXPECT_FALSE(api::reshape_contourize("shapes", "pcb", {"top"}, 0, true, 0, 0, &progress));
    EXPECT_EQ(top().features.size(), 2u);
    EXPECT_FALSE(job().changed);
}

TEST_F(Reshape, BreakPlacesUserSymbolsTextsAndIslands)
{
    UserSymbol sym;
    sym.name = "mark";
    sym.features.units = Units::Mm;
    Feature part;
    part.kind = FeatureKind::Line;
    part.symbol = edit::symbol_index(sym.features, odb::parse_symbol_name("r20", Units::Mm));
    part.a = {0, 0};
    part.b = {mm, 0};
    sym.features.features.push_back(part);
    job().symbols["mark"] = sym;
    Symbol user;
    user.family = SymbolFamily::User;
    user.name = "mark";
    Feature p;
    p.kind = FeatureKind::Pad;
    p.symbol = edit::symbol_index(top(), user);
    p.a = {5 * mm, 5 * mm};
    p.angle = 90;
    p.polarity = Polarity::Negative;
    p.selected = true;
    top().features.push_back(p);
    surface({square(0, 0, mm), square(3 * mm, 0, mm)});
    Text text;
    text.xsize = text.ysize = mm;
    text.text = "L";
    top().texts.push_back(text);
    Feature t;
    t.kind = FeatureKind::Text;
    t.body = 0;
    t.selected = true;
    top().features.push_back(t);
    const Box text_box = box_of(t);

    api::break_symbols(para());
    const auto& f = top().features;
    ASSERT_GE(f.size(), 4u);
    EXPECT_EQ(f[0].kind, FeatureKind::Line);
    EXPECT_EQ(f[0].a, (Point{5 * mm, 5 * mm}));
    EXPECT_EQ(f[0].b, (Point{5 * mm, 4 * mm})) << "turned a quarter clockwise";
    EXPECT_EQ(f[0].polarity, Polarity::Negative);
    EXPECT_EQ(symbol_name(f[0]), "r20");
    EXPECT_EQ(f[1].kind, FeatureKind::Surface);
    EXPECT_NEAR(area_mm2(f[1]), 1.0, 1e-9);
    EXPECT_NEAR(area_mm2(f[2]), 1.0, 1e-9);
    Box strokes;
    for (size_t i = 3; i < f.size(); ++i) {
        EXPECT_EQ(f[i].kind, FeatureKind::Line);
        strokes.add(box_of(f[i]));
    }
    EXPECT_NEAR(strokes.xmin, text_box.xmin, 2);
    EXPECT_NEAR(strokes.ymax, text_box.ymax, 2);
}

TEST_F(Reshape, PadsBecomeOutlines)
{
    pad("r1000", 0, 0);
    pad("rect2000x1000", 5 * mm, 0);
    ASSERT_TRUE(api::reshape_pad_to_outline("shapes", "pcb", {"top"}, 0.05));
    const auto& f = top().features;
    ASSERT_EQ(f.size(), 5u);
    EXPECT_EQ(f[0].kind, FeatureKind::Arc);
    EXPECT_EQ(f[0].a, (Point{mm / 2, 0}));
    EXPECT_EQ(f[0].a, f[0].b);
    EXPECT_EQ(symbol_name(f[0]), "r50");
    Box b;
    double perimeter = 0;
    for (size_t i = 1; i < 5; ++i) {
        b.add(f[i].a);
        EXPECT_EQ(f[i].b, f[i == 4 ? 1 : i + 1].a) << "a closed chain";
        perimeter += distance(f[i].a, f[i].b);
    }
    EXPECT_DOUBLE_EQ(perimeter, 6.0 * mm);
    EXPECT_EQ(b.xmin, 4 * mm);
    EXPECT_EQ(b.ymax, mm / 2);
}

TEST_F(Reshape, CrossingLinesSplitAndNearEndsJoin)
{
    line("r10", {0, 0}, {2 * mm, 2 * mm});
    line("r10", {0, 2 * mm}, {2 * mm, 0});
    line("r10", {5 * mm, 0}, {5 * mm, 5 * mm}, false);
    auto p = para();
    ASSERT_TRUE(api::connections(p));
    const auto& f = top().features;
    ASSERT_EQ(f.size(), 5u);
    EXPECT_EQ(f[0].b, (Point{mm, mm}));
    EXPECT_EQ(f[1].a, (Point{mm, mm}));
    EXPECT_EQ(f[1].b, (Point{2 * mm, 2 * mm}));

    top().features.clear();
    line("r10", {0, 0}, {900000, 0});
    line("r10", {mm, 50000}, {mm, 2 * mm});
    p.connect_type = 1;
    p.radius = 0.2;
    ASSERT_TRUE(api::connections(p));
    EXPECT_EQ(f[0].b, (Point{mm, 0}));
    EXPECT_EQ(f[1].a, (Point{mm, 0}));
    p.radius = 0.01; // out of reach: nothing moves
    line("r10", {0, 5 * mm}, {900000, 5 * mm});
    line("r10", {mm, 5050000}, {mm, 7 * mm});
    ASSERT_TRUE(api::connections(p));
    EXPECT_EQ(f[2].b, (Point{900000, 5 * mm}));
}

TEST_F(Reshape, TextChangeSetsWhatIsGivenAndKeepsTheRest)
{
    Text text;
    text.xsize = text.ysize = mm;
    text.text = "A1";
    top().texts.push_back(text);
    Feature t;
    t.kind = FeatureKind::Text;
    t.selected = true;
    top().features.push_back(t);
    pad("r10", 0, 0);
    ASSERT_TRUE(api::change_text("shapes", "pcb", {"top"}, "B2", "", 2 * mm, 0, 609600, 1, -1, 90));
    const Text& now = top().texts[0];
    EXPECT_EQ(now.text, "B2");
    EXPECT_EQ(now.font, "standard");
    EXPECT_EQ(now.xsize, 2 * mm);
    EXPECT_EQ(now.ysize, mm);
    EXPECT_DOUBLE_EQ(now.width_factor, 2.0);
    EXPECT_EQ(top().features[0].polarity, Polarity::Negative);
    EXPECT_FALSE(top().features[0].mirror);
    EXPECT_EQ(top().features[0].angle, 90);
    top().features[0].selected = false;
    EXPECT_FALSE(api::change_text("shapes", "pcb", {"top"}, "C3", "", 0, 0, 0, 0, 0, 0)) << "no text selected";
    EXPECT_EQ(now.text, "B2");
}

TEST_F(Reshape, NegativeFeaturesAndNegativeLayersFlattenToPositiveSurfaces)
{
    surface({square(0, 0, 2 * mm)});
    surface({square(mm / 2, mm / 2, mm)}, false, Polarity::Negative);
    ASSERT_TRUE(api::negative_layer_to_positive("shapes", "pcb", {"top"}));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_EQ(top().features[0].polarity, Polarity::Positive);
    EXPECT_NEAR(area_mm2(top().features[0]), 3.0, 1e-9);

    job().rows[0].polarity = "NEGATIVE";
    EXPECT_FALSE(api::negative_layer_to_positive("shapes", "pcb", {"top"})) << "no profile to invert within";
    Step& step = job().steps["pcb"];
    Contour outline;
    outline.start = {0, 0};
    for (Point p : {Point{0, 4 * mm}, Point{4 * mm, 4 * mm}, Point{4 * mm, 0}, Point{0, 0}})
        outline.segments.push_back(Segment{p});
    step.profile.contours = {outline};
    step.has_profile = true;
    ASSERT_TRUE(api::negative_layer_to_positive("shapes", "pcb", {"top"}));
    EXPECT_EQ(job().rows[0].polarity, "POSITIVE");
    double area = 0;
    for (const Feature& f : top().features) area += area_mm2(f);
    EXPECT_NEAR(area, 16.0 - 3.0, 1e-9);
}

} // namespace

namespace {

class Clip : public kesto::test::ReshapeJob {};

TEST_F(Clip, InsideOutsideAndCutSurfaces)
{
    pad("r100", mm / 2, mm / 2);          // inside the area
    pad("r100", 5 * mm, 5 * mm, false);   // far outside; selection plays no part
    line("r100", {0, 0}, {3 * mm, 0});    // crosses the edge
    surface({square(mm / 2, 0, mm)});     // half in the area
    const std::vector<api::point> area{{0, 0}, {int(mm), 0}, {int(mm), int(mm)}, {0, int(mm)}};
    ASSERT_TRUE(api::clip_area_use_manual("shapes", "pcb", {"top"}, area, true, true, 0, 0));
    auto& f = top().features;
    ASSERT_EQ(f.size(), 2u);
    EXPECT_EQ(f[0].a, (Point{5 * mm, 5 * mm}));
    EXPECT_EQ(f[1].kind, FeatureKind::Surface);
    EXPECT_NEAR(area_mm2(f[1]), 0.5, 1e-9);
    EXPECT_EQ(box_of(f[1]).xmin, mm);

    // Outside, lines only: the pad far away stays, as it is no line.
    line("r100", {mm / 4, mm / 2}, {mm / 2, mm / 2});
    line("r100", {4 * mm, 0}, {6 * mm, 0});
    ASSERT_TRUE(api::clip_area_use_manual("shapes", "pcb", {"top"}, area, false, false, 0.1, 1));
    ASSERT_EQ(f.size(), 3u);
    EXPECT_EQ(f[2].a, (Point{mm / 4, mm / 2}));

    EXPECT_FALSE(api::clip_area_use_manual("shapes", "pcb", {"top"}, {{0, 0}, {1, 1}}, true, false, 0, 0));
    EXPECT_FALSE(api::clip_area_use_profile("shapes", "pcb", "top", true, false, 0, 0)) << "no profile";
    EXPECT_EQ(f.size(), 3u);
}

TEST_F(Clip, ReferenceLayerImageIsTheArea)
{
    Layer& bot = job().steps["pcb"].layers["bot"];
    Feature mask;
    mask.kind = FeatureKind::Pad;
    mask.symbol = edit::symbol_index(bot, odb::parse_symbol_name("s2000", Units::Mm));
    bot.features.push_back(mask);
    pad("r100", 0, 0);
    pad("r100", 3 * mm, 0);
    ASSERT_TRUE(api::clip_area_use_reference("shapes", "pcb", "top", "bot", 0, false, 0));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_EQ(top().features[0].a, (Point{3 * mm, 0}));
    EXPECT_FALSE(api::clip_area_use_reference("shapes", "pcb", "top", "nope", 0, false, 0));
}

} // namespace

// A pour with a hole and an island standing in the hole, cut by a strip:
// 4 x 4 mm less the 1 mm hole (1.5..2.5) plus the 0.5 mm island (1.75..2.25)
// is 15.25 mm2. The strip x 0..2.125 mm takes 2.125 x 4 = 8.5 mm2 less the
// hole's part (0.625 x 1) plus the island's (0.375 x 0.5): 8.0625 mm2 taken,
// 7.1875 mm2 left.
// The hole is written in the island's turn on purpose: holes are known by
// their flag, not their direction.
TEST_F(Clip, PoursWithHolesAreCutExactly)
{
    auto pour = [&] {
        top().features.clear();
        Feature& f = surface({square(0, 0, 4 * mm), square(3 * mm / 2, 3 * mm / 2, mm), square(7 * mm / 4, 7 * mm / 4, mm / 2)});
        top().surfaces[f.body].contours[1].island = false;
        EXPECT_NEAR(area_mm2(f), 15.25, 1e-9);
    };
    auto total = [&] {
        double sum = 0;
        for (const Feature& f : top().features) sum += area_mm2(f);
        return sum;
    };
    const int x = int(17 * mm / 8);
    const std::vector<api::point> strip{{0, -int(mm)}, {x, -int(mm)}, {x, int(5 * mm)}, {0, int(5 * mm)}};
    pour();
    ASSERT_TRUE(api::clip_area_use_manual("shapes", "pcb", {"top"}, strip, true, true, 0, 0));
    EXPECT_NEAR(total(), 7.1875, 1e-9);
    EXPECT_EQ(top().features.size(), 2u) << "the pour and the island's right part";
    pour();
    ASSERT_TRUE(api::clip_area_use_manual("shapes", "pcb", {"top"}, strip, false, true, 0, 0));
    EXPECT_NEAR(total(), 8.0625, 1e-9);

    // The same strip as the reference layer's image.
    Layer& bot = job().steps["pcb"].layers["bot"];
    bot.features.clear();
    Surface body;
    Contour c;
    c.start = {0, -mm};
    for (Point p : {Point{0, 5 * mm}, Point{x, 5 * mm}, Point{x, -mm}, Point{0, -mm}}) c.segments.push_back(Segment{p});
    body.contours = {c};
    bot.surfaces = {body};
    Feature strip_surface;
    strip_surface.kind = FeatureKind::Surface;
    bot.features.push_back(strip_surface);
    pour();
    ASSERT_TRUE(api::clip_area_use_reference("shapes", "pcb", "top", "bot", 0, true, 0));
    EXPECT_NEAR(total(), 7.1875, 1e-9);
    pour();
    ASSERT_TRUE(api::clip_area_use_reference("shapes", "pcb", "top", "bot", 0, false, 0));
    EXPECT_TRUE(top().features.empty()) << "without cutting, a pour the area touches goes whole";
}

TEST(SelfInteraction, CrossingsTouchesAndFoldsAreFound)
{
    using P = api::point;
    EXPECT_FALSE(api::self_interaction({P{0, 0}, P{10, 0}, P{10, 10}, P{0, 10}}));
    EXPECT_FALSE(api::self_interaction({P{0, 0}, P{10, 0}, P{10, 10}, P{0, 10}, P{0, 0}})) << "closed by repeating";
    EXPECT_TRUE(api::self_interaction({P{0, 0}, P{10, 10}, P{10, 0}, P{0, 10}})) << "a bow tie";
    EXPECT_TRUE(api::self_interaction({P{0, 0}, P{10, 0}, P{5, 0}, P{5, 10}})) << "folds back on itself";
    EXPECT_TRUE(api::self_interaction({P{0, 0}, P{20, 0}, P{20, 20}, P{10, 0}, P{0, 20}})) << "a vertex on an edge";
    EXPECT_FALSE(api::self_interaction({P{0, 0}, P{5, 5}}));
    EXPECT_FALSE(api::self_interaction({}));
}

namespace {

class Corners : public kesto::test::ReshapeJob {};

TEST_F(Corners, LinesMeetingAtAnAngleGetATangentArc)
{
    line("r50", {0, 0}, {2 * mm, 0});
    line("r50", {2 * mm, 0}, {2 * mm, 2 * mm});
    line("r50", {2 * mm, 2 * mm}, {2 * mm + mm / 10, 2 * mm + mm / 10}); // too short for the arc
    ASSERT_TRUE(api::rounding_line_corner("shapes", "pcb", {"top"}, 0.5));
    const auto& f = top().features;
    ASSERT_EQ(f.size(), 4u);
    EXPECT_EQ(f[0].b, (Point{1500000, 0}));
    ASSERT_EQ(f[1].kind, FeatureKind::Arc);
    EXPECT_EQ(f[1].a, (Point{1500000, 0}));
    EXPECT_EQ(f[1].b, (Point{2 * mm, 500000}));
    EXPECT_EQ(f[1].c, (Point{1500000, 500000}));
    EXPECT_FALSE(f[1].cw) << "turning left";
    EXPECT_EQ(f[2].a, (Point{2 * mm, 500000}));
    EXPECT_EQ(f[2].b, (Point{2 * mm, 2 * mm}));
    EXPECT_EQ(f[3].a, (Point{2 * mm, 2 * mm}));
    EXPECT_FALSE(api::rounding_line_corner("shapes", "pcb", {"top"}, 0));
    EXPECT_FALSE(api::rounding_line_corner("shapes", "pcb", {"nope"}, 0.1));
}

} // namespace

namespace {

class Hostile : public kesto::test::ReshapeJob {};

// Values no operator would send must not lose features or take forever.
TEST_F(Hostile, AbsurdValuesLoseNothing)
{
    surface({square(0, 0, mm)});
    line("r10", {0, 0}, {mm, 0});
    line("r10", {mm, 0}, {mm, mm}); // touches the first at an end: nothing to split
    arc("r10", {0, 0}, {0, 0}, {900000000000000, 0}, true);
    auto p = para();
    ASSERT_TRUE(api::connections(p));
    EXPECT_EQ(top().features.size(), 4u);
    p.radius = 1e300;
    ASSERT_TRUE(api::break_arc_to_lines(p));
    EXPECT_LE(top().features.size(), 3u + 4096u);
    top().features.resize(3);
    for (auto& f : top().features) f.selected = true;
    ASSERT_TRUE(api::reshape_contourize("shapes", "pcb", {"top"}, 1e9, true, 0, 0, nullptr));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_NEAR(area_mm2(top().features[0]), 1.0, 0.05);
    EXPECT_TRUE(api::resize_polygon({{0, 0}, {10, 0}, {10, 10}}, 1e300).empty());
    api::resize_global_result result;
    p.size = std::nan("");
    ASSERT_TRUE(api::resize_global(p, result));
    EXPECT_NEAR(area_mm2(top().features[0]), 1.0, 0.05);
}

} // namespace

namespace {

class Fill : public kesto::test::ReshapeJob {};

TEST_F(Fill, BrushStrokesCoverTheSurfaceAndStayInside)
{
    surface({square(0, 0, mm), square(3 * mm, 0, mm / 20)}); // the second island is narrower than the brush
    const geom::Paths before = geom::feature_outline(top(), top().features[0], geom::context_of(job()));
    ASSERT_TRUE(api::use_solid_fill_contours("shapes", "pcb", {"top"}, true, 0.1, false));
    EXPECT_EQ(top().features.size(), 1u) << "already solid";
    ASSERT_TRUE(api::use_solid_fill_contours("shapes", "pcb", {"top"}, false, 0.1, false));
    geom::Paths strokes;
    for (const Feature& f : top().features) {
        if (f.kind == FeatureKind::Surface) {
            EXPECT_EQ(box_of(f).xmin, 3 * mm) << "only the narrow island stays a surface";
        } else {
            EXPECT_EQ(symbol_name(f), "r100");
        }
        const auto o = geom::feature_outline(top(), f, geom::context_of(job()));
        strokes.insert(strokes.end(), o.begin(), o.end());
    }
    // 4 border strokes and 10 rows from 0.05 to 0.95 mm, and the narrow island.
    EXPECT_EQ(top().features.size(), 4u + 10u + 1u);
    const geom::Paths painted = geom::unite(strokes);
    EXPECT_NEAR(geom::area(geom::subtract(painted, before)), 0, 1) << "nothing painted outside";
    // Only the corners a round brush cannot reach stay bare: 4 x (1 - pi/4) x 0.05^2 mm2.
    EXPECT_NEAR(geom::area(geom::subtract(before, painted)) / double(mm) / double(mm), (1 - geom::kPi / 4) * 0.01,
                2e-4);
    EXPECT_FALSE(api::use_solid_fill_contours("shapes", "pcb", {"top"}, false, 0, false));
}

} // namespace

namespace {

class Pattern : public kesto::test::ReshapeJob {};

TEST_F(Pattern, PadsInsideStayPadsAcrossTheEdgeAsAsked)
{
    surface({square(0, 0, mm)});
    ASSERT_TRUE(api::use_pattern_fill_contours("shapes", "pcb", {"top"}, "s300", 0.4, 0.4, false, false, 1, true, 0.05,
                                               true));
    // The grid starts at the box corner, 0.4 mm apart; an s300 reaches 0.15 mm each way.
    std::vector<Point> pads;
    size_t border = 0;
    for (const Feature& f : top().features) {
        if (f.kind == FeatureKind::Pad) pads.push_back(f.a);
        if (f.kind == FeatureKind::Line) {
            ++border;
            EXPECT_EQ(f.polarity, Polarity::Negative);
            EXPECT_EQ(symbol_name(f), "r50");
        }
    }
    ASSERT_EQ(pads.size(), 4u) << "the pads at 0.4 and 0.8 lie wholly inside, those at 0 cross the edge";
    EXPECT_EQ(pads[0], (Point{400000, 400000}));
    EXPECT_EQ(pads[3], (Point{800000, 800000}));
    EXPECT_EQ(border, 4u);

    top().features.clear();
    surface({square(0, 0, mm)});
    ASSERT_TRUE(api::use_pattern_fill_contours("shapes", "pcb", {"top"}, "s300", 0.4, 0.4, false, true, 1, false, 0,
                                               false));
    double covered = 0;
    for (const Feature& f : top().features) covered += area_mm2(f);
    // Per axis the pads cover [0, 0.15] + [0.25, 0.55] + [0.65, 0.95]: 0.75 mm.
    EXPECT_NEAR(covered, 0.75 * 0.75, 1e-6);

    top().features.clear();
    surface({square(0, 0, mm)});
    EXPECT_FALSE(api::use_pattern_fill_contours("shapes", "pcb", {"top"}, "no_symbol", 0, 0, false, false, 0, false, 0,
                                                false));
    EXPECT_EQ(top().features.size(), 1u);
}

} // namespace

namespace {

class ByPosition : public kesto::test::ReshapeJob {};

TEST_F(ByPosition, ArcsChangeOrGoAndOnlyArcsAreTouched)
{
    pad("r10", 0, 0);
    arc("r10", {mm, 0}, {0, mm}, {0, 0}, false);
    EXPECT_FALSE(api::change_arc("shapes", "pcb", "top", 0, {}, {}, {}, false, false)) << "a pad";
    EXPECT_FALSE(api::change_arc("shapes", "pcb", "top", 7, {}, {}, {}, false, false));
    ASSERT_TRUE(api::change_arc("shapes", "pcb", "top", 1, {0, 2000000}, {2000000, 0}, {0, 0}, true, false));
    EXPECT_EQ(top().features[1].a, (Point{0, 2 * mm}));
    EXPECT_EQ(top().features[1].b, (Point{2 * mm, 0}));
    EXPECT_TRUE(top().features[1].cw);
    ASSERT_TRUE(api::change_arc("shapes", "pcb", "top", 1, {}, {}, {}, false, true));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_EQ(top().features[0].kind, FeatureKind::Pad);
    EXPECT_FALSE(api::change_lines("shapes", "pcb", "top", {0}, {{1, 1}}, {{2, 2}})) << "no line changed";
}

} // namespace
