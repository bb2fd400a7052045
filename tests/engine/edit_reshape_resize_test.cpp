// Resizing selected features, changing their symbols and substituting them.
#include "engine/api/jobs.h"
#include "engine/edit/resize.h"
#include "edit_reshape_support.h"

namespace api = KESTO::API;
using namespace kesto;
using kesto::test::mm;

namespace {

class Resize : public kesto::test::ReshapeJob {};

TEST_F(Resize, PadsLinesAndArcsTakeGrownSymbolsAndUnselectedStay)
{
    pad("r100", 0, 0);
    pad("rect200x100xr20", mm, 0);
    line("s50", {0, mm}, {mm, mm});
    arc("r100", {0, 0}, {2 * mm, 0}, {mm, 0}, true);
    pad("donut_r300x200", 3 * mm, 0);
    pad("r100", 4 * mm, 0, false);
    auto p = para();
    p.size = 0.05;
    api::resize_global_result result;
    ASSERT_TRUE(api::resize_global(p, result));
    EXPECT_EQ(result.resized, 5);
    EXPECT_EQ(result.skipped, 0);
    const auto& f = top().features;
    EXPECT_EQ(symbol_name(f[0]), "r150");
    EXPECT_EQ(symbol_name(f[1]), "rect250x150xr45");
    EXPECT_EQ(symbol_name(f[2]), "s100");
    EXPECT_EQ(symbol_name(f[3]), "r150");
    EXPECT_EQ(symbol_name(f[4]), "donut_r350x150");
    EXPECT_EQ(symbol_name(f[5]), "r100");
    EXPECT_EQ(f[0].a, (Point{0, 0}));
    EXPECT_TRUE(job().changed);

    // Shrinking below nothing skips the feature instead of losing it.
    p.size = -0.2;
    ASSERT_TRUE(api::resize_global(p, result));
    EXPECT_EQ(result.resized, 0);
    EXPECT_EQ(result.skipped, 5);
    EXPECT_EQ(symbol_name(f[0]), "r150");
    EXPECT_EQ(symbol_name(f[1]), "rect250x150xr45");
    EXPECT_EQ(symbol_name(f[4]), "donut_r350x150");
}

TEST_F(Resize, SurfacesAreOffsetWithRoundOrSquareCorners)
{
    surface({square(0, 0, mm)});
    surface({square(5 * mm, 0, mm)});
    top().features[1].selected = false;
    auto p = para();
    p.size = 0.2; // each edge moves 0.1 mm
    p.corner = 1;
    api::resize_global_result result;
    ASSERT_TRUE(api::resize_global(p, result));
    const Box grown = box_of(top().features[0]);
    EXPECT_NEAR(grown.xmin, -0.1 * mm, 2);
    EXPECT_NEAR(grown.xmax, 1.1 * mm, 2);
    EXPECT_NEAR(area_mm2(top().features[0]), 1.44, 1e-6);
    EXPECT_NEAR(area_mm2(top().features[1]), 1.0, 1e-9);

    p.size = -0.2;
    p.corner = 0;
    p.sel_type = 1; // every feature, the unselected one too
    ASSERT_TRUE(api::resize_global(p, result));
    EXPECT_NEAR(area_mm2(top().features[0]), 1.0, 1e-3);
    EXPECT_NEAR(area_mm2(top().features[1]), 0.64, 1e-6);
    EXPECT_FALSE(top().features[1].selected) << "sel_type 1 leaves the selection as it was";

    // Round corners on growth: the square plus its sides plus a circle.
    top().features[1].selected = true;
    top().features[0].selected = false;
    p.sel_type = 0;
    p.size = 0.4;
    ASSERT_TRUE(api::resize_global(p, result));
    EXPECT_NEAR(area_mm2(top().features[1]), 0.64 + 4 * 0.8 * 0.2 + geom::kPi * 0.04, 2e-3);

    p.size = -2;
    ASSERT_TRUE(api::resize_global(p, result));
    EXPECT_EQ(result.skipped, 1);
    EXPECT_GT(area_mm2(top().features[1]), 1.0);
}

TEST_F(Resize, PolylineResizeTouchesOnlyLinesAndArcs)
{
    line("r100", {0, 0}, {mm, 0});
    arc("r100", {0, 0}, {0, 0}, {mm, 0}, false);
    pad("r100", 0, 0);
    line("r100", {0, mm}, {mm, mm}, false);
    ASSERT_TRUE(api::resize_polyline("shapes", "pcb", {"top"}, 0.02, true));
    EXPECT_EQ(symbol_name(top().features[0]), "r120");
    EXPECT_EQ(symbol_name(top().features[1]), "r120");
    EXPECT_EQ(symbol_name(top().features[2]), "r100");
    EXPECT_EQ(symbol_name(top().features[3]), "r100");
    ASSERT_TRUE(api::resize_polyline("shapes", "pcb", {"top"}, -0.02, false));
    EXPECT_EQ(symbol_name(top().features[3]), "r80");
}

TEST_F(Resize, InchLayersNameGrownSymbolsInMils)
{
    Layer& bot = job().steps["pcb"].layers["bot"];
    bot.units = Units::Inch;
    Feature f;
    f.kind = FeatureKind::Pad;
    f.symbol = edit::symbol_index(bot, odb::parse_symbol_name("r10", Units::Inch));
    f.selected = true;
    bot.features.push_back(f);
    api::set_working_unit(Units::Inch);
    KESTO::Op::OpPara p;
    p.job = "shapes";
    p.step = "pcb";
    p.layers = {"bot"};
    p.size = 0.002;
    api::resize_global_result result;
    api::resize_global(p, result);
    api::set_working_unit(Units::Mm);
    EXPECT_EQ(bot.symbols.at(static_cast<size_t>(bot.features[0].symbol)).name, "r12");
}

TEST_F(Resize, PolygonGrowsByHalfTheValueOnEachSide)
{
    const std::vector<api::point> square{{0, 0}, {1000000, 0}, {1000000, 1000000}, {0, 1000000}};
    const auto out = api::resize_polygon(square, 0.2);
    ASSERT_EQ(out.size(), 1u);
    Box b;
    for (const auto& p : out[0]) b.add(Point{p.ix, p.iy});
    EXPECT_EQ(b.xmin, -100000);
    EXPECT_EQ(b.ymax, 1100000);
    EXPECT_EQ(out[0].size(), 4u) << "corners stay sharp";
    EXPECT_TRUE(api::resize_polygon(square, -1.5).empty());
    EXPECT_TRUE(api::resize_polygon({{0, 0}, {5, 5}}, 1).empty());
}

TEST_F(Resize, SymbolChangeKeepsOrDropsThePadAngle)
{
    pad("r100", 0, 0, true, 30);
    pad("s100", mm, 0, true, 45);
    line("r100", {0, 0}, {mm, 0});
    surface({square(0, 0, mm)});
    int count = 0;
    api::change_feature_symbols("shapes", "pcb", {"top"}, "rect300x100", true, count);
    EXPECT_EQ(count, 3);
    EXPECT_EQ(symbol_name(top().features[0]), "rect300x100");
    EXPECT_EQ(top().features[0].angle, 30);
    api::change_feature_symbols("shapes", "pcb", {"top"}, "oval300x100", false, count);
    EXPECT_EQ(top().features[1].angle, 0);
    EXPECT_EQ(symbol_name(top().features[2]), "oval300x100");
    api::change_feature_symbols("shapes", "pcb", {"top"}, "no_such_symbol", false, count);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(symbol_name(top().features[0]), "oval300x100");
}

TEST_F(Resize, SubstitutePutsThePadWhereTheShapeMatches)
{
    surface({square(2 * mm, 3 * mm, mm)});
    surface({{{0, 0}, {0, mm}, {2 * mm, mm}, {2 * mm, 0}}}); // 2 x 1: no match for s1000
    pad("s1000", 10 * mm, 0);
    auto p = para();
    p.symbol_name = "s1000";
    p.dcode = 12;
    ASSERT_TRUE(api::reshape_substitute(p));
    const auto& f = top().features;
    ASSERT_EQ(f.size(), 3u);
    EXPECT_EQ(f[0].kind, FeatureKind::Pad);
    EXPECT_EQ(f[0].a, (Point{2500000, 3500000}));
    EXPECT_EQ(f[0].dcode, 12);
    EXPECT_EQ(symbol_name(f[0]), "s1000");
    EXPECT_EQ(f[1].kind, FeatureKind::Surface);
    EXPECT_EQ(f[2].a, (Point{10 * mm, 0}));
    p.symbol_name = "";
    EXPECT_FALSE(api::reshape_substitute(p));
}

TEST_F(Resize, UnknownNamesAndEmptySelectionsChangeNothing)
{
    pad("r100", 0, 0, false);
    auto p = para();
    p.size = 1;
    api::resize_global_result result;
    EXPECT_TRUE(api::resize_global(p, result));
    EXPECT_EQ(result.resized, 0);
    EXPECT_FALSE(job().changed);
    p.layers = {"nope"};
    EXPECT_FALSE(api::resize_global(p, result));
    p.layers = {"top"};
    p.job = "other";
    EXPECT_FALSE(api::resize_global(p, result));
    p.sel_type = 1;
    p.job = "shapes";
    p.step = "panel";
    EXPECT_FALSE(api::resize_global(p, result));
    EXPECT_EQ(symbol_name(top().features[0]), "r100");
}

TEST(ResizeSymbols, FamiliesGrowOuterAndShrinkInnerSizes)
{
    auto grown = [](const char* name, double delta) {
        const auto s = edit::grown_symbol(odb::parse_symbol_name(name, Units::Mm), delta * 1000);
        return s ? odb::standard_symbol_name(*s, Units::Mm) : std::string("-");
    };
    EXPECT_EQ(grown("oval200x100", 10), "oval210x110");
    EXPECT_EQ(grown("thr300x200x45x4x50", 20), "thr320x180x45x4x30");
    EXPECT_EQ(grown("donut_rc300x200x20", 10), "donut_rc310x210x30");
    EXPECT_EQ(grown("thr300x200x45x4x50", 60), "-") << "the gap would close";
    EXPECT_EQ(grown("moire10x10x2x5x100x0", 10), "-");
    EXPECT_EQ(grown("r100", -100), "-");
}

} // namespace
