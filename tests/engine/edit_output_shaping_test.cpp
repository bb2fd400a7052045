// A layer shaped on its way out: cut, reversed, mirrored, turned, scaled and
// resized on a copy.
#include "engine/edit/output_shaping.h"
#include "engine/edit/resize.h"
#include "engine/formats/odb/symbols.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto;

namespace {

constexpr Coord kMm = 1000000;

// A 1 mm pad at (10, 0) and a 0.5 mm line from (0, 0) to (20, 0); the step's
// profile runs from (-1, -5) to (15, 5).
struct Board {
    Step step;
    Layer layer;
    geom::OutlineContext context;
    Board()
    {
        layer.symbols = {odb::parse_symbol_name("r1000", Units::Mm), odb::parse_symbol_name("r500", Units::Mm)};
        Feature pad;
        pad.a = {10 * kMm, 0};
        pad.symbol = 0;
        Feature line;
        line.kind = FeatureKind::Line;
        line.a = {0, 0};
        line.b = {20 * kMm, 0};
        line.symbol = 1;
        layer.features = {pad, line};
        step.name = "pcb";
        step.has_profile = true;
        step.profile = edit::surface_of({geom::rectangle(-1.0 * kMm, -5.0 * kMm, 15.0 * kMm, 5.0 * kMm)});
    }
    Layer shaped(const edit::OutputShaping& how, bool expect = true)
    {
        Layer out;
        std::vector<std::string> notes;
        std::string problem;
        EXPECT_EQ(edit::shape_for_output(step, layer, how, context, out, notes, problem), expect) << problem;
        return out;
    }
};

double area_of(const Layer& l, const Feature& f)
{
    return geom::area(geom::unite(geom::feature_outline(l, f, geom::OutlineContext{})));
}

} // namespace

TEST(OutputShaping, CutKeepsWholeFeaturesAndTrimsThoseAcrossTheEdge)
{
    Board b;
    edit::OutputShaping how;
    how.cut_profile = true;
    const Layer cut = b.shaped(how);
    ASSERT_EQ(cut.features.size(), 2u);
    EXPECT_EQ(cut.features[0].kind, FeatureKind::Pad) << "inside: kept as it was";
    ASSERT_EQ(cut.features[1].kind, FeatureKind::Surface);
    // The line's part inside: from its round start (x = -0.25) to the edge at x = 15.
    const double expected = 15.0 * 0.5 + M_PI * 0.25 * 0.25 / 2;
    EXPECT_NEAR(area_of(cut, cut.features[1]) / (1e6 * 1e6), expected, 0.001);
    EXPECT_EQ(b.layer.features[1].kind, FeatureKind::Line) << "the job's layer is not touched";

    how.cut_profile = false;
    how.cut_polygons = {geom::rectangle(5.0 * kMm, -1.0 * kMm, 30.0 * kMm, 1.0 * kMm)};
    const Layer window = b.shaped(how);
    ASSERT_EQ(window.features.size(), 2u);
    EXPECT_NEAR(area_of(window, window.features[1]) / (1e6 * 1e6), 15.0 * 0.5 + M_PI * 0.25 * 0.25 / 2, 0.001);

    how.cut_polygons = {geom::rectangle(50.0 * kMm, 50.0 * kMm, 60.0 * kMm, 60.0 * kMm)};
    EXPECT_TRUE(b.shaped(how).features.empty()) << "nothing lies in a far window";

    b.step.has_profile = false;
    how.cut_polygons.clear();
    how.cut_profile = true;
    b.shaped(how, false);
}

TEST(OutputShaping, ReverseExposesTheProfileAndClearsTheFeatures)
{
    Board b;
    edit::OutputShaping how;
    how.reverse = true;
    const Layer negative = b.shaped(how);
    ASSERT_EQ(negative.features.size(), 3u);
    EXPECT_EQ(negative.features[0].kind, FeatureKind::Surface);
    EXPECT_EQ(negative.features[0].polarity, Polarity::Positive);
    EXPECT_NEAR(area_of(negative, negative.features[0]) / (1e6 * 1e6), 16.0 * 10.0, 1e-6);
    EXPECT_EQ(negative.features[1].polarity, Polarity::Negative);
    EXPECT_EQ(negative.features[2].polarity, Polarity::Negative);

    b.step.has_profile = false;
    const Layer framed = b.shaped(how);
    const Box field = geom::box_of(geom::feature_outline(framed, framed.features[0], b.context));
    EXPECT_NEAR(field.xmin, -250000, 2) << "without a profile the features' extent is exposed";
    EXPECT_NEAR(field.xmax, 20250000, 2);
}

TEST(OutputShaping, MirrorTurnScaleAndResizeInThatOrder)
{
    Board b;
    b.layer.features[0].a = {10 * kMm, 3 * kMm};
    edit::OutputShaping how;
    how.mirror = true;
    how.mirror_point = {1 * kMm, 0};
    EXPECT_EQ(b.shaped(how).features[0].a, (Point{-8 * kMm, 3 * kMm}));
    how.mirror_in_y = true;
    EXPECT_EQ(b.shaped(how).features[0].a, (Point{10 * kMm, -3 * kMm}));

    how = {};
    how.angle = 90; // clockwise
    EXPECT_EQ(b.shaped(how).features[0].a, (Point{3 * kMm, -10 * kMm}));
    how.scale_x = 2;
    how.scale_y = 0.5;
    how.scale_point = {0, -10 * kMm};
    const Layer both = b.shaped(how);
    EXPECT_EQ(both.features[0].a, (Point{6 * kMm, -10 * kMm})) << "turned first, then scaled";
    EXPECT_EQ(both.symbols[std::size_t(both.features[0].symbol)].p[0], 1000000) << "symbols keep their sizes";

    how.scale_x = 0;
    b.shaped(how, false); // a scale of 0 would put every feature on one line

    how = {};
    how.resize = 200000;
    const Layer grown = b.shaped(how);
    EXPECT_EQ(grown.symbols[std::size_t(grown.features[0].symbol)].p[0], 1200000);
    EXPECT_EQ(grown.symbols[std::size_t(grown.features[1].symbol)].p[0], 700000);
}
