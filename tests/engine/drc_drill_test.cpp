// The drill analysis on small hand-built layers whose findings are known.
#include "drc_jobs.h"

#include "engine/drc/capsules.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/nets.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

DrillOptions all_tests()
{
    DrillOptions o;
    o.hole_size = o.extra_holes = o.hole_separation = o.missing_hole = o.npth_to_rout = true;
    o.use_pth = o.use_npth = o.use_via = true;
    o.board_nets = false;
    return o;
}

// All findings of an item on a layer, whatever their level, with the level.
std::vector<api::check_info> findings(const DrillAnalysis& a, const std::string& layer, api::drill_check_item item)
{
    std::vector<api::check_info> out;
    auto l = a.result.find(layer);
    if (l == a.result.end()) return out;
    auto it = l->second.items.find(item);
    if (it == l->second.items.end()) return out;
    for (const auto& list : it->second.lv) out.insert(out.end(), list.begin(), list.end());
    return out;
}

void expect_geometry(const api::check_info& f, std::vector<double> expected)
{
    ASSERT_EQ(f.geometry.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(f.geometry[i], expected[i], 1e-6) << "number " << i;
}

} // namespace

TEST(DrcDrillSpacing, DuplicateTouchingAndCloseHolesAreFoundWithPlaceValueAndLevel)
{
    JobBuilder b("spacing");
    Layer& drill = b.layer("drill", "DRILL");
    const int r300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(drill, r300, 0, 0);
    JobBuilder::pad(drill, r300, 0, 0);          // duplicate of the first
    JobBuilder::pad(drill, r300, 1000, 0);       // 700 um from the first: clear
    JobBuilder::pad(drill, r300, 5000, 0);
    JobBuilder::pad(drill, r300, 5250, 0);       // overlaps by 50 um
    JobBuilder::pad(drill, r300, 9000, 0);
    JobBuilder::pad(drill, r300, 9400, 0);       // 100 um web
    const auto n1 = JobBuilder::pad(drill, r300, 20000, 0);
    const auto n2 = JobBuilder::pad(drill, r300, 20420, 0); // 120 um web between NPTHs
    JobBuilder::attribute(drill, n1, ".drill", "non_plated");
    JobBuilder::attribute(drill, n2, ".drill", "non_plated");

    DrillOptions o = all_tests();
    o.hole_size = o.missing_hole = o.extra_holes = o.npth_to_rout = false;
    LevelLimits limits{{api::CloseHoles, {um(50), um(150), um(200)}}};
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, limits);

    const auto dup = findings(a, "drill", api::DuplicateHoles);
    ASSERT_EQ(dup.size(), 1u);
    EXPECT_EQ(dup[0].shape, api::MarkerCircle);
    expect_geometry(dup[0], {0, 0, 0.3, 0.3});
    EXPECT_EQ(dup[0].measure_value, 0);
    EXPECT_EQ(dup[0].level, 1);
    EXPECT_EQ(dup[0].features.size(), 2u);

    const auto touch = findings(a, "drill", api::TouchingHoles);
    ASSERT_EQ(touch.size(), 1u);
    EXPECT_EQ(touch[0].shape, api::MarkerSegment);
    expect_geometry(touch[0], {5.15, 0, 5.1, 0, -0.05});
    EXPECT_EQ(touch[0].measure_value, -50000);
    EXPECT_EQ(touch[0].level, 1);

    const auto close = findings(a, "drill", api::CloseHoles);
    ASSERT_EQ(close.size(), 1u);
    expect_geometry(close[0], {9.15, 0, 9.25, 0, 0.1});
    EXPECT_EQ(close[0].measure_value, 100000);
    EXPECT_EQ(close[0].level, 2); // above red 50, within yellow 150
    EXPECT_EQ(close[0].values, (std::vector<std::int64_t>{9150000, 0, 9250000, 0, 100000, 100000}));
    EXPECT_EQ(close[0].layer_for_analysis, "drill");

    const auto npth = findings(a, "drill", api::CloseNpths);
    ASSERT_EQ(npth.size(), 1u);
    EXPECT_EQ(npth[0].measure_value, 120000);
    EXPECT_EQ(npth[0].level, 1); // no limits given: a defect
}

TEST(DrcDrillSpacing, SlotsAreMeasuredAlongTheirLength)
{
    JobBuilder b("slots");
    Layer& drill = b.layer("drill", "DRILL");
    const int r500 = JobBuilder::round(drill, 500);
    JobBuilder::line(drill, r500, 0, 0, 3000, 0);
    JobBuilder::line(drill, r500, 1000, 600, 2000, 600);  // parallel, 100 um web
    JobBuilder::line(drill, r500, 0, 5000, 3000, 5000);
    JobBuilder::line(drill, r500, 3000, 5000, 0, 5000);   // the same slot drawn backwards
    DrillOptions o = all_tests();
    o.hole_size = false;
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, {});
    const auto close = findings(a, "drill", api::CloseHoles);
    ASSERT_EQ(close.size(), 1u);
    EXPECT_EQ(close[0].measure_value, 100000);
    const auto dup = findings(a, "drill", api::DuplicateHoles);
    ASSERT_EQ(dup.size(), 1u);
    EXPECT_EQ(dup[0].shape, api::MarkerLine);
}

TEST(DrcDrillTables, HoleTablesCountEachClassAndSizeAndFlagWhatCannotBeDrilled)
{
    JobBuilder b("tables");
    Layer& drill = b.layer("drill", "DRILL");
    const int r300 = JobBuilder::round(drill, 300), r200 = JobBuilder::round(drill, 200);
    for (int i = 0; i < 3; ++i) JobBuilder::pad(drill, r300, i * 2000, 0);
    const auto via = JobBuilder::pad(drill, r200, 0, 4000);
    JobBuilder::attribute(drill, via, ".drill", "2"); // as option number, the way features files write it
    const auto slot = JobBuilder::line(drill, r300, 0, 8000, 2000, 8000);
    JobBuilder::attribute(drill, slot, ".drill", "non_plated");
    JobBuilder::pad(drill, JobBuilder::symbol(drill, SymbolFamily::Square, 500, 500, "s500"), 9000, 9000);

    DrillOptions o = all_tests();
    o.hole_separation = o.missing_hole = o.extra_holes = o.npth_to_rout = false;
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, {});

    const auto pth = findings(a, "drill", api::PthSummary);
    ASSERT_EQ(pth.size(), 1u);
    EXPECT_EQ(pth[0].measure_value, 300000);
    EXPECT_EQ(pth[0].level, 4);
    EXPECT_EQ(pth[0].values.back(), 3); // three holes of that size
    expect_geometry(pth[0], {2.0, 0, 4.3, 0.3});
    EXPECT_EQ(pth[0].symbol_names, std::vector<std::string>{"r300"});
    ASSERT_EQ(findings(a, "drill", api::ViaSummary).size(), 1u);
    ASSERT_EQ(findings(a, "drill", api::NonPlatedSlotSummary).size(), 1u);
    EXPECT_TRUE(findings(a, "drill", api::PlatedSlotSummary).empty());
    const auto odd = findings(a, "drill", api::NonStandardSymbol);
    ASSERT_EQ(odd.size(), 1u);
    expect_geometry(odd[0], {9, 9, 0.5, 0.5});
}

TEST(DrcDrillTables, HoleClassesLeftOutAreNotAnalysed)
{
    JobBuilder b("classes");
    Layer& drill = b.layer("drill", "DRILL");
    const int r300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(drill, r300, 0, 0);
    JobBuilder::pad(drill, r300, 0, 0);
    DrillOptions o = all_tests();
    o.use_pth = false;
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill", "nosuch"}, o, {});
    EXPECT_TRUE(findings(a, "drill", api::DuplicateHoles).empty());
    EXPECT_TRUE(findings(a, "drill", api::PthSummary).empty());
    EXPECT_EQ(a.result.count("nosuch"), 0u);
    EXPECT_FALSE(a.notes.empty());
}

TEST(DrcDrillCopper, MissingAndExtraHolesAgainstTheOuterCopper)
{
    JobBuilder b("copper");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& inner = b.layer("l2", "POWER_GROUND");
    Layer& bot = b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    (void)inner;
    for (Layer* l : {&top, &bot}) {
        const int land = JobBuilder::round(*l, 1000);
        JobBuilder::pad(*l, land, 20000, 0);  // through-hole land without a hole
        JobBuilder::pad(*l, land, 22000, 0);  // through-hole land with its hole
    }
    const auto smd = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 800, 400, "rect800x400"), 24000, 0);
    JobBuilder::attribute(top, smd, ".smd", "");
    JobBuilder::line(top, JobBuilder::round(top, 200), 26000, -1000, 26000, 1000);
    const int r300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(drill, r300, 22000, 0);
    JobBuilder::pad(drill, r300, 26000, 50);   // via on a track: has copper
    JobBuilder::pad(drill, r300, 30000, 0);    // no copper anywhere
    const auto npth = JobBuilder::pad(drill, r300, 32000, 0); // no copper, but non-plated
    JobBuilder::attribute(drill, npth, ".drill", "non_plated");

    DrillOptions o = all_tests();
    o.hole_size = o.hole_separation = o.npth_to_rout = false;
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, {{api::MissingHoles, {0, 0, 0}}});

    const auto missing = findings(a, "drill", api::MissingHoles);
    ASSERT_EQ(missing.size(), 1u);
    EXPECT_EQ(missing[0].shape, api::MarkerRect);
    expect_geometry(missing[0], {20, 0, 1, 1});
    EXPECT_EQ(missing[0].measure_value, 1000000);
    EXPECT_EQ(missing[0].level, 4); // above every limit the caller gave
    EXPECT_EQ(missing[0].layer_names, (std::vector<std::string>{"top", "bot"}));

    const auto extra = findings(a, "drill", api::ExtraHoles);
    ASSERT_EQ(extra.size(), 1u);
    expect_geometry(extra[0], {30, 0, 0.3, 0.3});
    EXPECT_EQ(extra[0].measure_value, 300000);
    EXPECT_EQ(extra[0].level, 1);
}

TEST(DrcDrillRout, NpthAndSlotsNearRoutReportTheGapToTheNearestPath)
{
    JobBuilder b("rout");
    Layer& drill = b.layer("drill", "DRILL");
    Layer& rout = b.layer("rout", "ROUT");
    JobBuilder::line(rout, JobBuilder::round(rout, 200), 0, -2000, 40000, -2000);
    const int r1000 = JobBuilder::round(drill, 1000), r500 = JobBuilder::round(drill, 500);
    const auto near = JobBuilder::pad(drill, r1000, 10000, -800);  // 600 um from the rout edge
    JobBuilder::attribute(drill, near, ".drill", "non_plated");
    const auto far = JobBuilder::pad(drill, r1000, 10000, 3000);
    JobBuilder::attribute(drill, far, ".drill", "non_plated");
    JobBuilder::pad(drill, r1000, 12000, -800);                     // plated: not this test's business
    JobBuilder::line(drill, r500, 15000, -1800, 15000, 0);          // plated slot cutting into the rout

    DrillOptions o = all_tests();
    o.hole_size = o.hole_separation = o.missing_hole = o.extra_holes = false;
    o.rout_distance = um(1000);
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, {});

    const auto npth = findings(a, "drill", api::NpthToRout);
    ASSERT_EQ(npth.size(), 1u);
    expect_geometry(npth[0], {10, -1.3, 10, -1.9, 0.6});
    EXPECT_EQ(npth[0].measure_value, 600000);
    EXPECT_EQ(npth[0].layer_names, (std::vector<std::string>{"drill", "rout"}));
    const auto slot = findings(a, "drill", api::PthSlotToRout);
    ASSERT_EQ(slot.size(), 1u);
    EXPECT_EQ(slot[0].measure_value, -150000);
}

TEST(DrcDrillLevels, OneRuleFromRedYellowGreen)
{
    const LevelLimits limits{{api::CloseHoles, {100, 200, 300}}};
    EXPECT_EQ(finding_level(limits, api::CloseHoles, 100), 1);
    EXPECT_EQ(finding_level(limits, api::CloseHoles, 101), 2);
    EXPECT_EQ(finding_level(limits, api::CloseHoles, 300), 3);
    EXPECT_EQ(finding_level(limits, api::CloseHoles, 301), 4);
    EXPECT_EQ(finding_level(limits, api::TouchingHoles, 5), 1);
    EXPECT_EQ(finding_level(limits, api::ViaSummary, 5), 4);
}

TEST(DrcCapsules, GapsBetweenHolesAndSlots)
{
    EXPECT_EQ(capsule_gap({{0, 0}, {0, 0}, 100, 0}, {{1000, 0}, {1000, 0}, 100, 0}).gap, 800);
    EXPECT_EQ(capsule_gap({{0, 0}, {1000, 0}, 50, 0}, {{500, 300}, {500, 300}, 50, 0}).gap, 200);
    // Crossing slots overlap by both radii.
    EXPECT_EQ(capsule_gap({{-1000, 0}, {1000, 0}, 50, 0}, {{0, -1000}, {0, 1000}, 70, 0}).gap, -120);
    // Far from the origin the arithmetic stays exact.
    const Coord far = Coord(1) << 40;
    EXPECT_EQ(capsule_gap({{far, far}, {far, far}, 1, 0}, {{far + 7, far}, {far + 7, far}, 1, 0}).gap, 5);
}

// The grid search must offer every pair a brute-force search finds, for
// crowded small holes mixed with long paths.
TEST(DrcCapsules, NearPairsMatchesBruteForce)
{
    std::mt19937 rng(7);
    std::uniform_int_distribution<Coord> pos(0, 20000), rad(10, 300), len(5000, 30000);
    std::vector<Capsule> caps;
    for (int i = 0; i < 1500; ++i) {
        const Point p{pos(rng), pos(rng)};
        caps.push_back({p, i % 3 ? p : Point{p.x + rad(rng), p.y}, rad(rng), std::uint32_t(i % 2)});
    }
    for (int i = 0; i < 20; ++i) {
        const Point p{pos(rng), pos(rng)};
        caps.push_back({p, {p.x + len(rng) - 15000, p.y + len(rng) - 15000}, rad(rng), 1});
    }
    for (bool cross : {false, true}) {
        const Coord reach = 150;
        std::set<std::pair<std::uint32_t, std::uint32_t>> expected, found;
        for (std::uint32_t i = 0; i < caps.size(); ++i)
            for (std::uint32_t j = i + 1; j < caps.size(); ++j)
                if ((!cross || caps[i].group != caps[j].group) && capsule_gap(caps[i], caps[j]).gap <= reach)
                    expected.insert({i, j});
        near_pairs(caps, reach, cross, [&](std::uint32_t i, std::uint32_t j) {
            EXPECT_LT(i, j);
            if (capsule_gap(caps[i], caps[j]).gap <= reach) EXPECT_TRUE(found.insert({i, j}).second) << "offered twice";
        });
        EXPECT_EQ(found, expected);
        EXPECT_GT(expected.size(), 100u);
    }
}

TEST(DrcDrillProgress, StagesAreCountedAndAHostCanCancel)
{
    JobBuilder b("progress");
    Layer& drill = b.layer("drill", "DRILL");
    JobBuilder::pad(drill, JobBuilder::round(drill, 300), 0, 0);
    KESTO::COMMON::progress_value<int> progress;
    analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, all_tests(), {}, &progress);
    EXPECT_GT(progress.total.load(), 1);
    EXPECT_EQ(progress.done.load(), progress.total.load());

    KESTO::COMMON::progress_value<int> cancelled;
    cancelled.cancel = true;
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, all_tests(), {}, &cancelled);
    EXPECT_TRUE(a.result.empty());
    EXPECT_NE(std::find_if(a.notes.begin(), a.notes.end(),
                           [](const std::string& n) { return n.find("cancelled") != std::string::npos; }),
              a.notes.end());
}

// Pin-sized holes along a metre-long path: the path's box spans far more grid
// rows than there are holes, and the search must still meet each hole once.
TEST(DrcCapsules, LongPathAmongTinyHoles)
{
    std::vector<Capsule> caps{{{0, 0}, {0, 1000000000}, 1, 1}};
    for (Coord k = 0; k < 1000; ++k) caps.push_back({{3, k * 1000000}, {3, k * 1000000}, 1, 0});
    std::size_t met = 0;
    near_pairs(caps, 5, true, [&](std::uint32_t i, std::uint32_t j) {
        EXPECT_EQ(i, 0u);
        if (capsule_gap(caps[i], caps[j]).gap <= 5) ++met;
    });
    EXPECT_EQ(met, 1000u);
}

// A slot laid diagonally across a 200 x 200 mm field of holes, its centre
// line 0.354 mm from the nearest hole centres (a gap of 0.104 mm): the search
// offers it only the holes along its way (its box holds all 40,000), and
// every hole within reach is met, as a brute-force pass over all holes says.
TEST(DrcCapsules, DiagonalSlotMeetsOnlyTheHolesAlongIt)
{
    std::vector<Capsule> caps{{{0, 500000}, {199000000, 199500000}, 100000, 1}};
    for (Coord i = 0; i < 200; ++i)
        for (Coord j = 0; j < 200; ++j) caps.push_back({{i * 1000000, j * 1000000}, {i * 1000000, j * 1000000}, 150000, 0});
    for (const Coord reach : {Coord(0), Coord(150000), Coord(700000)}) {
        std::set<std::uint32_t> expected, found;
        for (std::uint32_t k = 1; k < caps.size(); ++k)
            if (capsule_gap(caps[0], caps[k]).gap <= reach) expected.insert(k);
        std::size_t offered = 0;
        near_pairs(caps, reach, true, [&](std::uint32_t i, std::uint32_t j) {
            ASSERT_EQ(i, 0u);
            ++offered;
            if (capsule_gap(caps[i], caps[j]).gap <= reach) found.insert(j);
        });
        EXPECT_EQ(found, expected) << "reach " << reach;
        if (reach > 0) EXPECT_GE(expected.size(), 199u) << "the holes beside the diagonal, 0.104 mm away";
        EXPECT_LT(offered, 200u * 12) << "a band along the slot, not its box, at reach " << reach;
    }
}

// Board nets sort close holes by copper; a step without copper has none, and
// the check neither builds nor keeps them there.
TEST(DrcDrillSpacing, NoCopperNoBoardNets)
{
    JobBuilder b("nocopper");
    Layer& drill = b.layer("drill", "DRILL");
    const int r300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(drill, r300, 0, 0);
    JobBuilder::pad(drill, r300, 400, 0);
    DrillOptions o = all_tests();
    o.board_nets = true;
    const LevelLimits limits{{api::CloseHoles, {um(50), um(100), um(200)}}};
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, limits);
    EXPECT_EQ(kept_board_nets("nocopper", "pcb"), nullptr);
    ASSERT_EQ(findings(a, "drill", api::CloseHoles).size(), 1u) << "0.1 mm apart, under Close Holes";
    EXPECT_EQ(findings(a, "drill", api::CloseHoles)[0].measure_value, um(100));
    EXPECT_NE(std::find_if(a.notes.begin(), a.notes.end(),
                           [](const std::string& n) { return n.find("no copper layer; close holes") != std::string::npos; }),
              a.notes.end());
}
