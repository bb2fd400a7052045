// The engine's length limit, and the work host-given sizes cause, on small
// boards worked out by hand.
#include "edit_reshape_support.h"
#include "engine/api/clickbox.h"
#include "engine/api/exchange.h"
#include "engine/api/units.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/grow.h"

#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <stdexcept>

using namespace kesto;
using kesto::test::mm;
namespace api = KESTO::API;

namespace {

TEST(LengthLimit, TenMetresEitherWayInEitherUnit)
{
    EXPECT_EQ(api::from_working_unit(10000.0), 10'000'000'000LL);
    EXPECT_EQ(api::from_working_unit(-10000.0), -10'000'000'000LL);
    for (double beyond : {10000.001, -10000.001, 1e13, 1e300, std::nan(""), HUGE_VAL})
        EXPECT_THROW(api::from_working_unit(beyond), std::out_of_range) << beyond;
    api::set_working_unit(Units::Inch);
    EXPECT_EQ(api::from_working_unit(393.0), 393 * 25'400'000LL);
    EXPECT_THROW(api::from_working_unit(393.71), std::out_of_range); // 10.0000340 m
    api::set_working_unit(Units::Mm);
}

class Limits : public kesto::test::ReshapeJob {};

// A stretch with one end beyond the limit leaves the whole line as it was,
// not just its far end.
TEST_F(Limits, RefusedStretchLeavesTheLineWhole)
{
    line("r100", {0, 0}, {mm, 0});
    EXPECT_THROW(api::change_line("shapes", "pcb", "top", 0, 1, 1, 33e12, 1), std::out_of_range);
    EXPECT_EQ(top().features[0].a, (Point{0, 0}));
    EXPECT_EQ(top().features[0].b, (Point{mm, 0}));
    EXPECT_FALSE(job().changed);
    ASSERT_TRUE(api::change_line("shapes", "pcb", "top", 0, 1, 1, 2, 1));
    EXPECT_EQ(top().features[0].b, (Point{2 * mm, mm}));
}

// The area is a frame (a 10 mm square with a 6 mm hole) and a separate 1 mm
// island; pads in the hole and outside everything stay, pads on the frame or
// the island go. Clipping looks at the paths near each pad only, so a pad in
// the hole must still see the hole.
TEST_F(Limits, ClipByAnAreaWithHolesAndIslands)
{
    Layer& bot = job().steps["pcb"].layers["bot"];
    Surface frame;
    for (const auto& corners : {square(0, 0, 10 * mm), square(2 * mm, 2 * mm, 6 * mm)}) {
        Contour c;
        c.start = corners.front();
        for (size_t i = 1; i <= corners.size(); ++i) c.segments.push_back(Segment{corners[i % corners.size()]});
        frame.contours.push_back(c);
    }
    frame.contours[1].island = false;
    bot.surfaces.push_back(frame);
    Feature body;
    body.kind = FeatureKind::Surface;
    body.body = 0;
    bot.features.push_back(body);
    Feature island;
    island.kind = FeatureKind::Pad;
    island.symbol = edit::symbol_index(bot, odb::parse_symbol_name("s1000", Units::Mm));
    island.a = {20 * mm, 20 * mm};
    bot.features.push_back(island);

    pad("r100", 5 * mm, 5 * mm);      // in the hole: stays
    pad("r100", mm, 5 * mm);          // on the frame: goes
    pad("r100", 20 * mm, 20 * mm);    // on the island: goes
    pad("r100", 15 * mm, 5 * mm);     // outside both: stays
    pad("r500", 2 * mm, 5 * mm);      // across the hole's edge: goes
    ASSERT_TRUE(api::clip_area_use_reference("shapes", "pcb", "top", "bot", 0, false, 0));
    ASSERT_EQ(top().features.size(), 2u);
    EXPECT_EQ(top().features[0].a, (Point{5 * mm, 5 * mm}));
    EXPECT_EQ(top().features[1].a, (Point{15 * mm, 5 * mm}));
}

// A profile margin beyond the board reaches every feature; a negative one as
// large leaves no area at all and changes nothing. Neither grows anything.
// Beyond the 10 m length limit a margin is refused before anything changes.
TEST_F(Limits, ClipMarginsBeyondTheBoard)
{
    Step& step = job().steps["pcb"];
    Contour outline;
    outline.start = {0, 0};
    for (Point p : {Point{0, 4 * mm}, Point{4 * mm, 4 * mm}, Point{4 * mm, 0}, Point{0, 0}})
        outline.segments.push_back(Segment{p});
    step.profile.contours = {outline};
    step.has_profile = true;
    pad("r100", 2 * mm, 2 * mm);
    pad("r100", 300 * mm, -200 * mm);
    EXPECT_FALSE(api::clip_area_use_profile("shapes", "pcb", "top", true, false, -9999, 0));
    EXPECT_EQ(top().features.size(), 2u);
    EXPECT_THROW(api::clip_area_use_profile("shapes", "pcb", "top", true, false, 2147483647.0, 0), std::out_of_range);
    EXPECT_THROW(api::clip_area_use_profile("shapes", "pcb", "top", true, false, -10001, 0), std::out_of_range);
    EXPECT_EQ(top().features.size(), 2u);
    // 5 mm reaches (4, 4) + 5 = the profile grown, not (300, -200).
    ASSERT_TRUE(api::clip_area_use_profile("shapes", "pcb", "top", true, false, 5, 0));
    ASSERT_EQ(top().features.size(), 1u);
    EXPECT_EQ(top().features[0].a, (Point{300 * mm, -200 * mm}));
    ASSERT_TRUE(api::clip_area_use_profile("shapes", "pcb", "top", true, false, 9999, 0));
    EXPECT_TRUE(top().features.empty());
}

// Growing a 1 mm square surface by 100 mm: a rounded square of side 1 mm and
// corner radius 50 mm, area 1 + 4 * 50 + pi * 50^2 mm^2. A chord error of
// 0.05 mm on the 50 mm radius draws the round in about 70 chords (a micron
// would take about 500) and costs about 0.13 % of the area.
TEST_F(Limits, LargeResizeOfASurfaceIsBoundedAndStillRound)
{
    surface({square(0, 0, mm)});
    api::resize_global_result result;
    KESTO::Op::OpPara p;
    p.job = "shapes";
    p.step = "pcb";
    p.layers = {"top"};
    p.sel_type = 1;
    p.size = 100;
    ASSERT_TRUE(api::resize_global(p, result));
    const double expected = 1 + 4 * 50 + M_PI * 50 * 50;
    EXPECT_NEAR(area_mm2(top().features[0]), expected, expected * 2e-3);
    EXPECT_LT(top().surfaces[0].contours[0].segments.size(), 150u);
}

// One flash stepped 300 x 300 at 0.1 inch (the file's %SR): every copy,
// the last at 29.9 inch both ways.
TEST(GerberStepRepeat, EveryCopyInItsPlace)
{
    const std::string text = "%FSLAX24Y24*%\n%MOIN*%\n%ADD10C,0.010*%\n%SRX300Y300I0.1J0.1*%\nD10*\nX0Y0D03*\n%SR*%\nM02*\n";
    Layer layer;
    UserSymbols symbols;
    Reports reports;
    ASSERT_TRUE(gerber::read(text, gerber::ReadOptions{}, layer, symbols, reports));
    ASSERT_EQ(layer.features.size(), 90000u);
    Box box;
    for (const Feature& f : layer.features) box.add(f.a);
    EXPECT_EQ(box.xmin, 0);
    EXPECT_EQ(box.ymin, 0);
    EXPECT_EQ(box.xmax, 299 * 2'540'000);
    EXPECT_EQ(box.ymax, 299 * 2'540'000);
}

// The malformed corpus straight into the readers: each file is refused with
// findings (the sanitizer leg replays the same files for undefined
// behaviour).
TEST(MalformedFiles, ReadersReportOverflowInsteadOfReading)
{
    namespace fs = boost::filesystem;
    const std::string root = std::string(KESTO_TESTDATA) + "/malformed/";
    int files = 0;
    for (const char* kind : {"gerber", "excellon"})
        for (const auto& entry : fs::directory_iterator(root + kind)) {
            const std::string name = entry.path().filename().string();
            if (name.find("step-repeat") != std::string::npos) continue;
            std::ifstream in(entry.path().string(), std::ios::binary);
            std::stringstream text;
            text << in.rdbuf();
            Layer layer;
            Reports reports;
            bool ok;
            if (std::string(kind) == "gerber") {
                UserSymbols symbols;
                ok = gerber::read(text.str(), gerber::ReadOptions{}, layer, symbols, reports);
            } else {
                ok = excellon::read(text.str(), excellon::ReadOptions{}, layer, reports);
            }
            ++files;
            EXPECT_FALSE(ok) << name;
            ASSERT_FALSE(reports.empty()) << name;
        }
    EXPECT_EQ(files, 8);
}

} // namespace

namespace {

long long nm(double v) { return std::llround(v * mm); }

geom::Path square_mm(double x, double y, double side, bool hole)
{
    geom::Path p{{nm(x), nm(y)}, {nm(x + side), nm(y)}, {nm(x + side), nm(y + side)}, {nm(x), nm(y + side)}};
    if (hole) std::reverse(p.begin(), p.end());
    return p;
}

// A pour with 64 small clearances and one large one grown by half a
// millimetre: the small ones fill (the growth reaches across them), the
// large one shrinks by the growth on every side. Hand-worked: 11 x 11 mm
// with quarter-circle corners of 0.5 mm, less the 3 x 3 mm hole left.
TEST(GrowLimits, SmallClearancesFillAndLargeOnesShrinkExactly)
{
    geom::Paths pour{square_mm(0, 0, 10, false), square_mm(5.5, 5.5, 4, true)};
    for (int i = 0; i < 8; ++i)
        for (int j = 0; j < 8; ++j) pour.push_back(square_mm(0.5 + 0.5 * i, 0.5 + 0.5 * j, 0.3, true));
    const double grown = geom::area(geom::grow(pour, nm(0.5))) / 1e12;
    const double hand = 121.0 - 0.25 * (4 - M_PI) - 9.0;
    EXPECT_NEAR(grown, hand, 0.005);
    // The whole outline offset as it stands, holes and all, agrees.
    EXPECT_NEAR(grown, geom::area(geom::offset(pour, nm(0.5))) / 1e12, 0.005);
    // A growth too small to close them keeps the clearances (each 0.3 mm
    // square shrinks to 0.1 mm: 64 x 0.01 mm^2 still open).
    const double slight = geom::area(geom::grow(pour, nm(0.1))) / 1e12;
    const double slight_hand = 10.2 * 10.2 - 0.01 * (4 - M_PI) - 3.8 * 3.8 - 64 * 0.01;
    EXPECT_NEAR(slight, slight_hand, 0.005);
}

} // namespace
