// Building features from values and adding them to layers.
#include "engine/api/display.h"
#include "engine/api/features.h"
#include "engine/edit/layer_edit.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

using namespace kesto;
namespace api = KESTO::API;

namespace {

class ApiFeatures : public ::testing::Test {
protected:
    void SetUp() override
    {
        Job job;
        job.name = "new";
        for (const char* name : {"top", "bot"}) {
            MatrixRow row;
            row.name = name;
            job.rows.push_back(row);
        }
        job.steps["pcb"].name = "pcb";
        store::add_job(job);
        api::set_show_para(api::show_param{});
    }
    void TearDown() override { store::remove_job("new"); }
    Layer& layer(const char* name) { return store::find_job("new")->steps["pcb"].layers[name]; }
    int symbol(const char* name, const char* layer = "")
    {
        int n = -1;
        EXPECT_TRUE(api::create_new_symbol("new", "pcb", name, layer, n));
        return n;
    }
};

TEST_F(ApiFeatures, LineAndPadLandOnEveryListedLayerInNanometres)
{
    const int r100 = symbol("r100");
    const int rect = symbol("rect200x100", "top");
    EXPECT_EQ(symbol("r100"), r100) << "a symbol keeps its number";
    ASSERT_EQ(layer("top").symbols.size(), 1u);

    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top", "bot"}, {{".net", "GND"}},
                                api::GreateLineString(1, 2, 3.5, 2, r100, 0, -1), false));
    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top"}, {}, api::GreatePadString(10, 10, rect, 1, 0, 0, 30), true));
    ASSERT_EQ(layer("top").features.size(), 2u);
    ASSERT_EQ(layer("bot").features.size(), 1u);
    const Feature& line = layer("top").features[0];
    EXPECT_EQ(line.kind, FeatureKind::Line);
    EXPECT_EQ(line.a, (Point{1000000, 2000000}));
    EXPECT_EQ(line.b, (Point{3500000, 2000000}));
    EXPECT_EQ(layer("top").symbols[static_cast<size_t>(line.symbol)].name, "r100");
    EXPECT_DOUBLE_EQ(layer("top").symbols[static_cast<size_t>(line.symbol)].p[0], 100000) << "microns in a metric session";
    EXPECT_EQ(edit::attributes_of(layer("bot"), layer("bot").features[0]).at(".net"), "GND");
    const Feature& pad = layer("top").features[1];
    EXPECT_EQ(pad.polarity, Polarity::Negative);
    EXPECT_DOUBLE_EQ(pad.angle, 30);
    EXPECT_TRUE(pad.selected);
    EXPECT_TRUE(store::find_job("new")->changed);
}

TEST_F(ApiFeatures, InchSessionReadsInchesAndMils)
{
    api::show_param p;
    p.Units = 1;
    api::set_show_para(p);
    const int r10 = symbol("r10");
    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top"}, {}, api::GreatePadString(1, 0.5, r10, 0, 0, 0, 0), false));
    const Feature& pad = layer("top").features.at(0);
    EXPECT_EQ(pad.a, (Point{25400000, 12700000}));
    EXPECT_DOUBLE_EQ(layer("top").symbols[static_cast<size_t>(pad.symbol)].p[0], 254000);
}

TEST_F(ApiFeatures, SurfacesArcsAndTexts)
{
    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top"}, {},
                                api::GreateSurfaceString({{0, 0}, {4, 0}, {4, 3}}, 0, 0, false), false));
    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top"}, {}, api::GreateSurfaceString({{5, 5}, {6, 5}}, 0, 0, true), false));
    const int r50 = symbol("r50");
    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top"}, {}, api::GreateArcString(1, 0, 0, 1, 0, 0, r50, 0, 0, false), false));
    EXPECT_TRUE(api::AddFeature("new", "pcb", {"top"}, {},
                                api::GreateTextString(1, 1, "standard", 0, 0, 2, 2.5, 0.2, "REV A", 1, 0), false));
    Layer& l = layer("top");
    ASSERT_EQ(l.features.size(), 4u);
    const Contour& triangle = l.surfaces.at(l.features[0].body).contours.at(0);
    EXPECT_TRUE(triangle.island);
    EXPECT_EQ(triangle.segments.back().end, (Point{0, 0}));
    const Contour& round = l.surfaces.at(l.features[1].body).contours.at(0);
    ASSERT_EQ(round.segments.size(), 1u);
    EXPECT_TRUE(round.segments[0].arc);
    EXPECT_EQ(round.segments[0].centre, (Point{5000000, 5000000}));
    EXPECT_FALSE(l.features[2].cw);
    EXPECT_EQ(l.features[2].c, (Point{0, 0}));
    const Text& text = l.texts.at(l.features[3].body);
    EXPECT_EQ(text.text, "REV A");
    EXPECT_EQ(text.ysize, 2500000);
}

TEST_F(ApiFeatures, RefusesUnknownNamesAndBadTextWithoutChangingLayers)
{
    int n = 0;
    EXPECT_FALSE(api::create_new_symbol("nojob", "pcb", "r10", "", n));
    EXPECT_FALSE(api::create_new_symbol("new", "pcb", "no_such_user_symbol", "", n));
    EXPECT_FALSE(api::create_new_symbol("new", "pcb", "r10", "nolayer", n));
    EXPECT_FALSE(api::AddFeature("new", "pcb", {"top", "nolayer"}, {}, api::GreatePadString(0, 0, 0, 0, 0, 0, 0), false));
    EXPECT_FALSE(api::AddFeature("new", "pcb", {"top"}, {}, "P 1 2 not-a-record", false));
    EXPECT_FALSE(api::AddFeature("new", "pcb", {"top"}, {}, "S P 0\nOB 0 0 I\nOS 1 0\n", false));
    EXPECT_TRUE(layer("top").features.empty());
    EXPECT_FALSE(store::find_job("new")->changed);
    EXPECT_TRUE(api::AddFeature("new", "pcb", {}, {}, api::GreatePadString(0, 0, 0, 0, 0, 0, 0), false))
        << "no layers: nothing to do";
}

} // namespace
