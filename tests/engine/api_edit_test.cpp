// Selection and edits through the engine's API on an open job.
#include "engine/api/display.h"
#include "engine/api/edit.h"
#include "engine/api/jobs.h"
#include "engine/api/selection.h"
#include "engine/edit/layer_edit.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

using namespace kesto;
namespace api = KESTO::API;

namespace {

Symbol round_symbol(const char* name, double d)
{
    Symbol s;
    s.family = SymbolFamily::Round;
    s.p[0] = d;
    s.name = name;
    return s;
}

class ApiEdit : public ::testing::Test {
protected:
    void SetUp() override
    {
        Job job;
        job.name = "board";
        job.rows = {MatrixRow{}, MatrixRow{}};
        job.rows[0].name = "top";
        job.rows[1].name = "bot";
        Step step;
        step.name = "pcb";
        step.datum = {1000000, 0};
        Layer top;
        top.symbols = {round_symbol("r100", 100000), round_symbol("r200", 200000)};
        for (int i = 0; i < 4; ++i) {
            Feature f;
            f.kind = i < 2 ? FeatureKind::Pad : FeatureKind::Line;
            f.symbol = i % 2;
            f.a = {i * 1000000, 0};
            f.b = {i * 1000000, 500000};
            top.features.push_back(f);
        }
        step.layers["top"] = top;
        job.steps["pcb"] = step;
        store::add_job(job);
        api::set_select_param(api::select_info{});
        api::show_param p;
        api::set_show_para(p);
    }
    void TearDown() override { store::remove_job("board"); }
    Layer& layer(const char* name) { return store::find_job("board")->steps["pcb"].layers[name]; }
};

TEST_F(ApiEdit, FilterSelectsThenMoveAndDeleteTouchOnlyThat)
{
    api::select_info f;
    f.featuretypes = api::kTypePad;
    api::set_select_param(f);
    api::select_features("board", "pcb", "top");
    EXPECT_TRUE(api::is_selected("board", "pcb", "top"));
    EXPECT_EQ(edit::count_selected(layer("top")), 2u);
    EXPECT_FALSE(store::find_job("board")->changed);
    api::move_same_layer("board", "pcb", {"top"}, 10, -20);
    EXPECT_EQ(layer("top").features[1].a, (Point{1000010, -20}));
    EXPECT_EQ(layer("top").features[2].a, (Point{2000000, 0}));
    EXPECT_TRUE(store::find_job("board")->changed);
    api::unselect_features("board", "pcb", "top");
    EXPECT_FALSE(api::is_selected("board", "pcb", "top"));
    api::delete_selected_features("board", "pcb", {"top"});
    EXPECT_EQ(layer("top").features.size(), 4u);
    EXPECT_TRUE(api::reverse_select("board", "pcb", "top"));
    api::delete_selected_features("board", "pcb", {"top"});
    EXPECT_TRUE(layer("top").features.empty());
}

TEST_F(ApiEdit, UnknownNamesChangeNothing)
{
    api::select_features("board", "pcb", "nosuch");
    api::select_features("nojob", "pcb", "top");
    api::select_features("board", "nostep", "top");
    EXPECT_EQ(edit::count_selected(layer("top")), 0u);
    api::select_feature_by_id("board", "pcb", "top", {0, 3, 99, -1});
    api::move_same_layer("board", "pcb", {"top", "nosuch"}, 5, 5);
    EXPECT_EQ(layer("top").features[0].a, (Point{0, 0})) << "one bad name stops the whole edit";
    EXPECT_FALSE(api::move_other_layer("board", "pcb", {"top"}, "board", "pcb", "nosuch", false, 0, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(layer("top").features.size(), 4u);
}

TEST_F(ApiEdit, CopyToOtherLayerAboutAnAnchorInTheWorkingUnit)
{
    api::select_feature_by_id("board", "pcb", "top", {1});
    // Mirror about x = 2 mm, turn 90 degrees clockwise, then offset 0.5 mm up.
    api::copy_features_to_otherLayer("board", "pcb", {"top"}, {"bot"}, true, 0, 500000, 1, 0, 90, 2.0, 0.0);
    Layer& bot = layer("bot");
    ASSERT_EQ(bot.features.size(), 1u);
    // (1, 0) mm mirrored about x=2 is (3, 0); turned clockwise about (2, 0) it is (2, -1); then up 0.5.
    EXPECT_EQ(bot.features[0].a, (Point{2000000, -500000}));
    EXPECT_EQ(bot.features[0].polarity, Polarity::Negative);
    EXPECT_TRUE(bot.features[0].mirror);
    EXPECT_EQ(bot.symbols[static_cast<size_t>(bot.features[0].symbol)].name, "r200");

    api::set_show_para([] {
        api::show_param p;
        p.Units = 1;
        return p;
    }());
    api::copy_features_to_otherLayer("board", "pcb", {"top"}, {"bot"}, false, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(bot.features.size(), 2u);
    EXPECT_EQ(bot.features[1].a, (Point{1000000, 0}));
}

TEST_F(ApiEdit, MoveToAnotherLayerTakesTheFeaturesAway)
{
    api::select_feature_by_id("board", "pcb", "top", {0, 2});
    EXPECT_TRUE(api::move_other_layer("board", "pcb", {"top"}, "board", "pcb", "bot", false, 100, 0, 0, 0, 0, 0, 0));
    EXPECT_EQ(layer("top").features.size(), 2u);
    ASSERT_EQ(layer("bot").features.size(), 2u);
    EXPECT_EQ(layer("bot").features[1].kind, FeatureKind::Line);
    EXPECT_EQ(layer("bot").features[1].a, (Point{2000100, 0}));
}

TEST_F(ApiEdit, TransformAboutDatumOrPointAndDuplicate)
{
    api::select_feature_by_id("board", "pcb", "top", {0});
    // About the step datum (1, 0) mm: (0, 0) turns clockwise to (1, 1).
    EXPECT_TRUE(api::transform("board", "pcb", "top", 0, true, false, false, false, false, {}, 90, 1, 1, 0, 0, 0, 0));
    EXPECT_EQ(layer("top").features[0].a, (Point{1000000, 1000000}));
    EXPECT_EQ(layer("top").features[0].angle, 90);
    // Duplicated, mirrored in Y about (0, 0): the original stays.
    EXPECT_TRUE(api::transform("board", "pcb", "top", 1, false, false, false, true, true, {}, 0, 1, 1, 0, 0, 0, 0));
    ASSERT_EQ(layer("top").features.size(), 5u);
    EXPECT_EQ(layer("top").features[0].a, (Point{1000000, 1000000}));
    EXPECT_EQ(layer("top").features[4].a, (Point{1000000, -1000000}));
    EXPECT_FALSE(api::transform("board", "pcb", "top", 1, false, true, false, false, false, {}, 0, 0, 1, 0, 0, 0, 0));
}

TEST_F(ApiEdit, PolarityOnEveryFeatureLeavesTheSelectionAsItWas)
{
    api::select_feature_by_id("board", "pcb", "top", {3});
    KESTO::Op::OpPara para;
    para.job = "board";
    para.step = "pcb";
    para.layers = {"top"};
    para.sel_type = 1;
    para.polarity = 1;
    EXPECT_TRUE(api::polarity(para));
    for (const auto& f : layer("top").features) EXPECT_EQ(f.polarity, Polarity::Negative);
    EXPECT_EQ(edit::count_selected(layer("top")), 1u);
    api::modify_attributes("board", "pcb", {"top"}, 0, {{".smd", ""}});
    EXPECT_EQ(edit::attributes_of(layer("top"), layer("top").features[3]).size(), 1u);
    api::move_selected_features_index("board", "pcb", {"top"}, false);
    EXPECT_TRUE(layer("top").features[0].selected);
}

} // namespace

// Moves, copies in the layer and transforms of the selection keep only the
// features they touch for undo; undo in any mix with whole-layer records
// brings the layer back exactly.
TEST_F(ApiEdit, EditsOfTheSelectionUndoFromWhatTheyTouched)
{
    Layer& top = layer("top");
    top.surfaces.push_back(Surface{{Contour{true, {0, 0}, {Segment{{1000, 0}}, Segment{{0, 1000}}, Segment{{0, 0}}}}}});
    Feature surface;
    surface.kind = FeatureKind::Surface;
    surface.body = 0;
    top.features.push_back(surface);
    auto snapshot = [&] {
        std::vector<std::string> all;
        for (const Feature& f : top.features)
            all.push_back(std::to_string(int(f.kind)) + " " + std::to_string(f.a.x) + "," + std::to_string(f.a.y) + " " +
                          std::to_string(f.b.x) + "," + std::to_string(f.b.y) + " " + std::to_string(f.angle) +
                          (f.selected ? " sel" : ""));
        for (const Surface& b : top.surfaces) all.push_back(std::to_string(b.contours.front().start.x) + "," +
                                                            std::to_string(b.contours.front().segments.front().end.x));
        return all;
    };
    api::select_feature_by_id("board", "pcb", "top", {1, 4});
    const auto original = snapshot();
    Job& job = *store::find_job("board");

    api::move_same_layer("board", "pcb", {"top"}, 5000, 7000);
    ASSERT_TRUE(job.undo.back().layers.empty());
    EXPECT_EQ(job.undo.back().deltas.at("top").positions, (std::vector<std::uint32_t>{1, 4}));
    EXPECT_EQ(top.surfaces[0].contours.front().start, (Point{5000, 7000}));
    const auto moved = snapshot();
    api::copy_features_in_samelayer("board", "pcb", {"top"}, 0, 9000);
    ASSERT_EQ(top.features.size(), 7u);
    ASSERT_EQ(top.surfaces.size(), 2u);
    const auto copied = snapshot();
    api::delete_selected_features("board", "pcb", {"top"}); // a whole-layer record between
    EXPECT_TRUE(api::transform("board", "pcb", "top", 1, true, false, false, false, false, {}, 90, 1, 1, 0, 0, 0, 0));

    // The transform found nothing selected and left no record: one undo
    // takes back the delete.
    EXPECT_TRUE(api::Undo("board", "pcb"));
    EXPECT_EQ(snapshot(), copied);
    EXPECT_TRUE(api::Undo("board", "pcb"));
    EXPECT_EQ(snapshot(), moved);
    EXPECT_TRUE(api::Undo("board", "pcb"));
    EXPECT_EQ(snapshot(), original);
}

// Symbol names are read in the working unit, whatever unit the layer's file
// is written in (this layer is inch): microns in a mm session, mils in an
// inch one.
TEST_F(ApiEdit, SymbolNamesAreReadInTheWorkingUnit)
{
    Layer& top = layer("top");
    ASSERT_EQ(top.units, Units::Inch);
    api::select_feature_by_id("board", "pcb", "top", {0});
    int count = 0;
    api::change_feature_symbols("board", "pcb", {"top"}, "r77", false, count);
    ASSERT_EQ(count, 1);
    EXPECT_DOUBLE_EQ(top.symbols[size_t(top.features[0].symbol)].p[0], 77000);

    // A 2 mm square surface is substituted by an "s2000" pad: 2 mm, not 2000 mils.
    top.surfaces.push_back(Surface{{Contour{true, {10000000, 0}, {Segment{{12000000, 0}}, Segment{{12000000, 2000000}},
                                                                   Segment{{10000000, 2000000}}, Segment{{10000000, 0}}}}}});
    Feature surface;
    surface.kind = FeatureKind::Surface;
    surface.body = 0;
    top.features.push_back(surface);
    api::clear_selected_features("board", "pcb", "top");
    api::select_feature_by_id("board", "pcb", "top", {4});
    KESTO::Op::OpPara para;
    para.job = "board";
    para.step = "pcb";
    para.layers = {"top"};
    para.symbol_name = "s2000";
    para.size = 0.01;
    EXPECT_TRUE(api::reshape_substitute(para));
    int squares = 0;
    for (const Feature& f : top.features)
        squares += f.kind == FeatureKind::Pad && f.a == Point{11000000, 1000000} &&
                   top.symbols[size_t(f.symbol)].p[0] == 2000000;
    EXPECT_EQ(squares, 1);

    api::clear_selected_features("board", "pcb", "top");
    api::select_feature_by_id("board", "pcb", "top", {0});
    api::set_show_para([] {
        api::show_param p;
        p.Units = 1;
        return p;
    }());
    api::change_feature_symbols("board", "pcb", {"top"}, "r10", false, count);
    EXPECT_DOUBLE_EQ(top.symbols[size_t(top.features[0].symbol)].p[0], 254000);
}

// A pattern fill of a 1 mm square with r250 pads edge to edge: pads of
// 0.25 mm, all of them inside the square (the layer's file is inch).
TEST_F(ApiEdit, PatternFillPlacesPadsOfTheNamedSize)
{
    Layer& top = layer("top");
    top.surfaces.push_back(Surface{{Contour{true, {10000000, 0}, {Segment{{11000000, 0}}, Segment{{11000000, 1000000}},
                                                                   Segment{{10000000, 1000000}}, Segment{{10000000, 0}}}}}});
    Feature surface;
    surface.kind = FeatureKind::Surface;
    surface.body = 0;
    top.features.push_back(surface);
    api::select_feature_by_id("board", "pcb", "top", {4});
    ASSERT_TRUE(api::use_pattern_fill_contours("board", "pcb", {"top"}, "r250", 0, 0, false, false, 1, false, 0, false));
    int pads = 0;
    for (const Feature& f : top.features) {
        if (f.kind != FeatureKind::Pad || f.a.x < 9000000) continue;
        ++pads;
        EXPECT_DOUBLE_EQ(top.symbols[size_t(f.symbol)].p[0], 250000);
        EXPECT_GE(f.a.x - 125000, 10000000);
        EXPECT_LE(f.a.x + 125000, 11000000);
        EXPECT_GE(f.a.y - 125000, 0);
        EXPECT_LE(f.a.y + 125000, 1000000);
    }
    // The grid runs through the lower left corner every 0.25 mm: centres at
    // 0, 0.25 ... 1 mm; whole pads fit at 0.25, 0.5 and 0.75 only.
    EXPECT_EQ(pads, 9);
}

// Copies and moves to another layer grow by the width asked for, as a global
// resize would: an r100 pad with 0.1 mm more is an r200 pad.
TEST_F(ApiEdit, CopiesAndMovesToOtherLayersResize)
{
    api::select_feature_by_id("board", "pcb", "top", {0});
    api::copy_features_to_otherLayer("board", "pcb", {"top"}, {"bot"}, false, 0, 0, 0, 0.1, 0, 0, 0);
    const Layer& bot = layer("bot");
    ASSERT_EQ(bot.features.size(), 1u);
    EXPECT_DOUBLE_EQ(bot.symbols[size_t(bot.features[0].symbol)].p[0], 200000);
    EXPECT_DOUBLE_EQ(layer("top").symbols[size_t(layer("top").features[0].symbol)].p[0], 100000);

    EXPECT_TRUE(api::move_other_layer("board", "pcb", {"top"}, "board", "pcb", "bot", false, 0, 0, 0, -0.05, 0, 0, 0));
    ASSERT_EQ(bot.features.size(), 2u);
    EXPECT_DOUBLE_EQ(bot.symbols[size_t(bot.features[1].symbol)].p[0], 50000);
    EXPECT_EQ(layer("top").features.size(), 3u);
    // Moved within its own layer, the feature is resized in place.
    api::select_feature_by_id("board", "pcb", "top", {0});
    EXPECT_TRUE(api::move_other_layer("board", "pcb", {"top"}, "board", "pcb", "top", false, 0, 0, 0, 0.1, 0, 0, 0));
    EXPECT_DOUBLE_EQ(layer("top").symbols[size_t(layer("top").features[0].symbol)].p[0], 300000);
}

// Layer names are lower case; the host may write them in any case, and a
// layer made with capitals takes the lower-case name.
TEST_F(ApiEdit, LayersAreFoundWhateverTheCase)
{
    api::select_feature_by_id("board", "pcb", "TOP", {1});
    EXPECT_EQ(edit::count_selected(layer("top")), 1u);
    api::move_same_layer("board", "pcb", {"Top"}, 10, 0);
    EXPECT_EQ(layer("top").features[1].a, (Point{1000010, 0}));
    ASSERT_TRUE(api::Undo("board", "pcb"));
    EXPECT_EQ(layer("top").features[1].a, (Point{1000000, 0}));

    ASSERT_TRUE(api::create_new_layer("board", "pcb", "cpA", 3));
    Job& job = *store::find_job("board");
    ASSERT_NE(store::find_row(job, "CPA"), nullptr);
    EXPECT_EQ(store::find_row(job, "CPA")->name, "cpa");
    api::copy_features_to_otherLayer("board", "pcb", {"TOP"}, {"CpA"}, false, 0, 0, 0, 0, 0, 0, 0);
    EXPECT_EQ(store::find_layer(job, job.steps["pcb"], "cPa")->features.size(), 1u);
    EXPECT_EQ(job.steps["pcb"].layers.count("cpA"), 0u) << "no second layer under the host's spelling";
}
