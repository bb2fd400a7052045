// The signal-layer rules on small hand-built boards whose gaps, rings and
// widths are worked out by hand in the comments beside each feature.
#include "drc_jobs.h"

#include "engine/drc/signal_rules.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace item = kesto::drc::signal_item;
namespace api = KESTO::API;

namespace {

std::uint32_t polygon(Layer& l, std::vector<std::pair<double, double>> corners, Polarity polarity = Polarity::Positive)
{
    Contour c;
    c.start = {um(corners[0].first), um(corners[0].second)};
    corners.push_back(corners[0]);
    for (std::size_t i = 1; i < corners.size(); ++i) c.segments.push_back({{um(corners[i].first), um(corners[i].second)}, {}, false, false});
    l.surfaces.push_back({{c}});
    Feature f;
    f.kind = FeatureKind::Surface;
    f.polarity = polarity;
    f.body = std::uint32_t(l.surfaces.size() - 1);
    l.features.push_back(f);
    return std::uint32_t(l.features.size() - 1);
}

std::uint32_t arc(Layer& l, int sym, double xs, double ys, double xe, double ye, double xc, double yc, bool cw)
{
    Feature f;
    f.kind = FeatureKind::Arc;
    f.symbol = sym;
    f.a = {um(xs), um(ys)};
    f.b = {um(xe), um(ye)};
    f.c = {um(xc), um(yc)};
    f.cw = cw;
    l.features.push_back(f);
    return std::uint32_t(l.features.size() - 1);
}

struct Found {
    int item;
    const api::check_info* info;
};

// Every finding of a run, whatever its level.
std::vector<Found> all(const SignalLayerRun& run)
{
    std::vector<Found> out;
    for (const auto& [i, r] : run.result)
        for (const auto& level : r.lv)
            for (const auto& info : level) out.push_back({i, &info});
    return out;
}

// The findings of an item naming the feature at `index` of `layer`.
std::vector<const api::check_info*> about(const SignalLayerRun& run, int it, const std::string& layer, int index)
{
    std::vector<const api::check_info*> out;
    for (const Found& f : all(run))
        if (f.item == it)
            for (const auto& fi : f.info->features)
                if (fi.layername == layer && fi.feature_index == index) out.push_back(f.info);
    return out;
}

SignalLayerRun run(JobBuilder& b, const std::string& layer, std::vector<int> checks, SignalLimits limits = {},
                   const LevelLimits& levels = {})
{
    Step& step = b.job.steps["pcb"];
    return analyse_signal_layer(b.job, step, layer, limits, checks, levels);
}

SignalLimits limits_mm(double spacing, double drill = 0, double rout = 0, double sliver = 0)
{
    SignalLimits l;
    l.pp_spacing = Coord(spacing * 1e6);
    l.drill2cu = Coord(drill * 1e6);
    l.rout2cu = Coord(rout * 1e6);
    l.sliver_min = Coord(sliver * 1e6);
    return l;
}

[[maybe_unused]] std::string dump(const SignalLayerRun& run)
{
    std::string s;
    for (const Found& f : all(run)) {
        s += std::to_string(f.item) + ":" + std::to_string(f.info->measure_value);
        for (const auto& fi : f.info->features) s += " " + fi.layername + "#" + std::to_string(fi.feature_index);
        s += "\n";
    }
    return s;
}

} // namespace

TEST(DrcSignalSpacing, GapsBetweenPadsLinesArcsAndRotatedPadsAreMeasuredExactly)
{
    JobBuilder b("signal_spacing");
    Layer& top = b.layer("top", "SIGNAL");
    const int r500 = JobBuilder::round(top, 500), r200 = JobBuilder::round(top, 200), r100 = JobBuilder::round(top, 100);
    // Two round pads 700 um apart: 700 - 250 - 250 = 200 um, nearest points (250,0) and (450,0).
    const auto p1 = JobBuilder::pad(top, r500, 0, 0);
    JobBuilder::pad(top, r500, 700, 0);
    // A 400 x 200 rectangle turned 45 degrees clockwise: its corner (200,100)
    // lands at (212.132, -70.711) and is the right-most point. A round pad of
    // 200 on that corner's height at x = 600: 600 - 212.132 - 100 = 287.868 um.
    const int rect = JobBuilder::symbol(top, SymbolFamily::Rect, 400, 200, "rect400x200");
    const auto rot = JobBuilder::pad(top, rect, 0, 3000);
    top.features[rot].angle = 45;
    JobBuilder::pad(top, r200, 600, 3000 - 70.7107);
    // Two parallel 100 um lines 300 um apart: 300 - 50 - 50 = 200 um.
    const auto l1 = JobBuilder::line(top, r100, 0, 6000, 2000, 6000);
    JobBuilder::line(top, r100, 0, 6300, 2000, 6300);
    // A quarter arc of radius 1000 about (0,9000), 100 um wide, and a 100 um
    // pad 800 um from the centre on the 45 degree ray: 1000 - 50 - 800 - 50 = 100 um.
    const auto a1 = arc(top, r100, 1000, 9000, 0, 10000, 0, 9000, false);
    JobBuilder::pad(top, r100, 800 / std::sqrt(2.0), 9000 + 800 / std::sqrt(2.0));
    // Just beyond the 0.3 mm limit: 301 um.
    JobBuilder::pad(top, r100, 5000, 0);
    JobBuilder::pad(top, r100, 5401, 0);
    // Exactly at it: 300 um.
    const auto at1 = JobBuilder::pad(top, r100, 5000, 3000);
    JobBuilder::pad(top, r100, 5400, 3000);

    const SignalLayerRun r = run(b, "top", {CheckSpacing}, limits_mm(0.3));
    ASSERT_TRUE(r.found);

    auto pads = about(r, item::PadToPad, "top", int(p1));
    ASSERT_EQ(pads.size(), 1u);
    EXPECT_EQ(pads[0]->measure_value, 200000);
    EXPECT_EQ(pads[0]->shape, api::MarkerSegment);
    EXPECT_NEAR(pads[0]->geometry[0], 0.25, 1e-6);
    EXPECT_NEAR(pads[0]->geometry[2], 0.45, 1e-6);
    EXPECT_NEAR(pads[0]->geometry[4], 0.2, 1e-6);

    auto rotated = about(r, item::PadToPad, "top", int(rot));
    ASSERT_EQ(rotated.size(), 1u);
    EXPECT_NEAR(rotated[0]->measure_value, 287868, 1000);
    EXPECT_NEAR(rotated[0]->geometry[0], 0.212132, 0.001);  // on the corner
    EXPECT_NEAR(rotated[0]->geometry[1], 3 - 0.070711, 0.001);

    auto lines = about(r, item::LineToLine, "top", int(l1));
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0]->measure_value, 200000);

    auto arcs = about(r, item::PadToLineSpacing, "top", int(a1));
    ASSERT_EQ(arcs.size(), 1u);
    EXPECT_NEAR(arcs[0]->measure_value, 100000, 1000);

    EXPECT_EQ(about(r, item::PadToPad, "top", int(at1)).size(), 1u);
    EXPECT_EQ(all(r).size(), 5u) << "the 301 um pair is beyond the limit";
}

TEST(DrcSignalSpacing, NegativeClearancesNetsAndLevels)
{
    JobBuilder b("signal_nets");
    Layer& top = b.layer("top", "SIGNAL");
    const int r200 = JobBuilder::round(top, 200), r600 = JobBuilder::round(top, 600), r100 = JobBuilder::round(top, 100);
    // A plane with a 600 um clearance and a 200 um pad in it: 300 - 100 = 200 um.
    const auto plane = polygon(top, {{0, 0}, {4000, 0}, {4000, 4000}, {0, 4000}});
    const auto clear = JobBuilder::pad(top, r600, 2000, 2000);
    top.features[clear].polarity = Polarity::Negative;
    JobBuilder::pad(top, r200, 2000, 2000);
    // One net folded back on itself: two lines 300 um apart joined at one end.
    const auto s1 = JobBuilder::line(top, r100, 10000, 0, 12000, 0);
    JobBuilder::line(top, r100, 10000, 300, 12000, 300);
    JobBuilder::line(top, r100, 10000, 0, 10000, 300);

    LevelLimits levels;
    levels[item::PadToCircuit] = {100000, 150000, 250000};   // 200 um: level 3
    levels[item::SameNetSpacing] = {250000, 260000, 270000}; // 200 um: level 1
    const SignalLayerRun r = run(b, "top", {CheckSpacing}, limits_mm(0.1), levels);

    auto cleared = about(r, item::PadToCircuit, "top", int(plane));
    ASSERT_EQ(cleared.size(), 1u) << "the pad stands in the clearance, clear of the plane";
    EXPECT_NEAR(cleared[0]->measure_value, 200000, 1000);
    EXPECT_EQ(cleared[0]->level, 3);
    auto same = about(r, item::SameNetSpacing, "top", int(s1));
    ASSERT_EQ(same.size(), 1u);
    EXPECT_EQ(same[0]->measure_value, 200000);
    EXPECT_EQ(same[0]->level, 1);
    EXPECT_EQ(all(r).size(), 2u) << "touching lines of one net are not spacing";
}

TEST(DrcSignalSpacing, MaskOpeningsSortPairsIntoExposedAndCovered)
{
    JobBuilder b("signal_mask");
    Layer& mask = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    const int r200 = JobBuilder::round(top, 200);
    const int m400 = JobBuilder::round(mask, 400);
    // Pads 400 um apart (gap 200): the first pair both opened, the second
    // pair one opened and one covered, the third both covered.
    for (int k = 0; k < 3; ++k) {
        JobBuilder::pad(top, r200, 0, k * 3000);
        JobBuilder::pad(top, r200, 400, k * 3000);
    }
    JobBuilder::pad(mask, m400, 0, 0);
    JobBuilder::pad(mask, m400, 400, 0);
    JobBuilder::pad(mask, m400, 0, 3000);
    const SignalLayerRun r = run(b, "top", {CheckSpacing}, limits_mm(0.25));
    EXPECT_EQ(about(r, item::ExposedToExposed, "top", 0).size(), 1u);
    EXPECT_EQ(about(r, item::ExposedToFullyCovered, "top", 2).size(), 1u);
    EXPECT_EQ(about(r, item::CoveredToCovered, "top", 4).size(), 1u);
    EXPECT_EQ(about(r, item::PadToPad, "top", 4).size(), 1u);
}

TEST(DrcSignalHoles, RingsDrillAndRoutToCopperAndMissingCopper)
{
    JobBuilder b("signal_holes");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    Layer& rout = b.layer("rout", "ROUT");
    const int r600 = JobBuilder::round(top, 600), r800 = JobBuilder::round(top, 800), r100 = JobBuilder::round(top, 100);
    const int d300 = JobBuilder::round(drill, 300), d400 = JobBuilder::round(drill, 400), d500 = JobBuilder::round(drill, 500);
    // Via 300 in a 600 land: ring 150 um.
    const auto via_land = JobBuilder::pad(top, r600, 0, 0);
    const auto via = JobBuilder::pad(drill, d300, 0, 0);
    JobBuilder::attribute(drill, via, ".drill", "via");
    // PTH 400 in an 800 land, 50 um off centre: ring 400 - 50 - 200 = 150 um, and a registration finding.
    const auto pth_land = JobBuilder::pad(top, r800, 5000, 0);
    const auto pth = JobBuilder::pad(drill, d400, 5050, 0);
    // NPTH 500 beside a 100 um line at y = 500: 500 - 50 - 250 = 200 um.
    const auto npth = JobBuilder::pad(drill, d500, 10000, 0);
    JobBuilder::attribute(drill, npth, ".drill", "non_plated");
    const auto npth_line = JobBuilder::line(top, r100, 9000, 500, 11000, 500);
    // A via on the outer layer with no copper at all.
    const auto bare = JobBuilder::pad(drill, d300, 15000, 0);
    JobBuilder::attribute(drill, bare, ".drill", "via");
    // A 200 um rout path along y = -3000 and a line at y = -2700: 300 - 100 - 50 = 150 um.
    const int t200 = JobBuilder::round(rout, 200);
    const auto path = JobBuilder::line(rout, t200, 0, -3000, 20000, -3000);
    const auto near_rout = JobBuilder::line(top, r100, 2000, -2700, 4000, -2700);

    SignalLimits limits = limits_mm(0.1, 0.25, 0.2);
    limits.check_missing = true;
    LevelLimits levels;  // rings are reported up to the green limit: 200 um
    levels[item::ViaRing] = {100000, 140000, 200000};
    levels[item::PthRing] = {150000, 160000, 200000};
    const SignalLayerRun r = run(b, "top", {CheckDrill, CheckRout}, limits, levels);

    auto ring = about(r, item::ViaRing, "top", int(via_land));
    ASSERT_EQ(ring.size(), 1u) << dump(r);
    EXPECT_EQ(ring[0]->measure_value, 150000);
    EXPECT_EQ(ring[0]->shape, api::MarkerCircle);
    EXPECT_EQ(ring[0]->level, 3);
    auto pth_ring = about(r, item::PthRing, "top", int(pth_land));
    ASSERT_EQ(pth_ring.size(), 1u);
    EXPECT_EQ(pth_ring[0]->measure_value, 150000);
    EXPECT_EQ(pth_ring[0]->level, 1);
    EXPECT_EQ(about(r, item::PthRegistration, "drill", int(pth)).size(), 1u);
    auto to_line = about(r, item::NpthToCircuit, "top", int(npth_line));
    ASSERT_EQ(to_line.size(), 1u);
    EXPECT_EQ(to_line[0]->measure_value, 200000);
    EXPECT_NEAR(to_line[0]->geometry[1], 0.25, 1e-6);  // the hole's edge, under the line
    EXPECT_NEAR(to_line[0]->geometry[3], 0.45, 1e-6);  // the line's edge
    EXPECT_EQ(about(r, item::MissingCuForVia, "drill", int(bare)).size(), 1u);
    auto routed = about(r, item::RoutToCopper, "rout", int(path));
    ASSERT_EQ(routed.size(), 1u);
    EXPECT_EQ(routed[0]->measure_value, 150000);
    EXPECT_EQ(routed[0]->features[1].feature_index, int(near_rout));
    EXPECT_EQ(all(r).size(), 6u) << dump(r);
}

TEST(DrcSignalWidths, NarrowLinesArcsAndSlivers)
{
    JobBuilder b("signal_widths");
    Layer& top = b.layer("top", "SIGNAL");
    const auto thin = JobBuilder::line(top, JobBuilder::round(top, 80), 0, 0, 1000, 0);      // 80 um: reported
    const auto at = JobBuilder::line(top, JobBuilder::round(top, 100), 0, 1000, 1000, 1000); // at the limit: reported
    JobBuilder::line(top, JobBuilder::round(top, 101), 0, 2000, 1000, 2000);                 // beyond: not
    const auto a = arc(top, JobBuilder::round(top, 90), 3000, 0, 2000, 1000, 2000, 0, false);
    // A 2 mm square with a 60 um strip 1 mm long on its right side.
    const auto sliver = polygon(top, {{5000, 0}, {7000, 0}, {7000, 1000}, {8000, 1000}, {8000, 1060}, {7000, 1060},
                                      {7000, 2000}, {5000, 2000}});
    SignalLimits limits = limits_mm(0.1, 0, 0, 0.1);
    LevelLimits levels;  // widths are reported up to the green limit: 100 um
    levels[item::Lines] = levels[item::Arcs] = {50000, 80000, 100000};
    const SignalLayerRun r = run(b, "top", {CheckSize, CheckSliver}, limits, levels);
    ASSERT_EQ(about(r, item::Lines, "top", int(thin)).size(), 1u);
    EXPECT_EQ(about(r, item::Lines, "top", int(thin))[0]->measure_value, 80000);
    EXPECT_EQ(about(r, item::Lines, "top", int(at)).size(), 1u);
    ASSERT_EQ(about(r, item::Arcs, "top", int(a)).size(), 1u);
    EXPECT_EQ(about(r, item::Arcs, "top", int(a))[0]->shape, api::MarkerArc);
    auto s = about(r, item::Slivers, "top", int(sliver));
    ASSERT_EQ(s.size(), 1u);
    EXPECT_NEAR(s[0]->measure_value, 60000, 1000);
    EXPECT_NEAR(s[0]->geometry[0], 7.5, 0.06);  // the strip's box centre
    EXPECT_EQ(all(r).size(), 4u) << dump(r);
}

TEST(DrcSignal, ACleanBoardYieldsNothing)
{
    JobBuilder b("signal_clean");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");
    const int r600 = JobBuilder::round(top, 600), r150 = JobBuilder::round(top, 150);
    for (int i = 0; i < 10; ++i) {
        JobBuilder::pad(top, r600, i * 1500, 0);
        JobBuilder::pad(drill, JobBuilder::round(drill, 250), i * 1500, 0);
        JobBuilder::line(top, r150, i * 1500, 0, i * 1500, 3000);
    }
    polygon(top, {{0, 5000}, {20000, 5000}, {20000, 9000}, {0, 9000}});
    SignalLimits limits = limits_mm(0.3, 0.3, 0.3, 0.1);
    limits.check_missing = true;
    const SignalLayerRun r = run(b, "top", {CheckSpacing, CheckDrill, CheckRout, CheckSize, CheckSliver}, limits);
    EXPECT_TRUE(r.result.empty()) << all(r).size() << " findings";
}
