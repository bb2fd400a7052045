// Signal-layer repairs judged by the signal-layer check: a hand-built board
// whose rings, gaps and hole clearances are worked out in the comments is
// checked, repaired and checked again.
#include "drc_jobs.h"

#include "engine/api/dfm_repairs.h"
#include "engine/drc/signal_rules.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace item = kesto::drc::signal_item;
namespace api = KESTO::API;

namespace {

// Every finding of the check as (item, features, value), whatever its level.
struct Seen {
    int item;
    std::vector<int> features;  // feature indexes on the copper layer
    Coord value;
};

std::vector<Seen> check(const std::string& job, Coord spacing, Coord drill2cu, Coord ring)
{
    Job& j = *store::find_job(job);
    drc::SignalLimits limits;
    limits.pp_spacing = spacing;
    limits.drill2cu = drill2cu;
    limits.ring_pth = limits.ring_via = ring;
    const auto run = drc::analyse_signal_layer(j, j.steps["pcb"], "top", limits, {drc::CheckSpacing, drc::CheckDrill}, {});
    std::vector<Seen> out;
    for (const auto& [i, r] : run.result)
        for (const auto& level : r.lv)
            for (const auto& info : level) {
                Seen s{i, {}, info.measure_value};
                for (const auto& f : info.features)
                    if (f.layername == "top") s.features.push_back(f.feature_index);
                out.push_back(s);
            }
    return out;
}

const Seen* find(const std::vector<Seen>& all, int it, int feature)
{
    for (const Seen& s : all)
        if (s.item == it && std::find(s.features.begin(), s.features.end(), feature) != s.features.end()) return &s;
    return nullptr;
}

std::string symbol_name(const std::string& job, int feature)
{
    const Layer& l = store::find_job(job)->steps["pcb"].layers["top"];
    return l.symbols[std::size_t(l.features[std::size_t(feature)].symbol)].name;
}

int count(const api::signal_layer_DFM_layer_result& r, api::signal_layer_DFM_op_items it)
{
    auto f = r.find(it);
    return f == r.end() ? 0 : int(f->second.counts[0] + f->second.counts[1] + f->second.counts[2]);
}

struct Board {
    std::uint32_t via_land, pth_land, blocker, line_a, line_b, thin_a, thin_b, near_npth, far_pad;
};

// Coordinates in micrometres, sizes are diameters / widths.
Board build(const std::string& name)
{
    JobBuilder b(name);
    Layer& top = b.layer("top", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");
    Board o;
    // A via of 200 in a land of 400: ring 100. Nothing near: it may grow to
    // the optimal 150 (land 500).
    const auto via = JobBuilder::pad(drill, JobBuilder::round(drill, 200), 0, 0);
    JobBuilder::attribute(drill, via, ".drill", "via");
    o.via_land = JobBuilder::pad(top, JobBuilder::round(top, 400), 0, 0);
    // A PTH of 300 in a land of 500 at x = 3000: ring 100. A 100 line of
    // another net runs at x = 3400: gap 3400 - 50 - 3250 = 100. With a
    // minimum spacing of 75 the land may grow by 25 only: ring 125.
    JobBuilder::pad(drill, JobBuilder::round(drill, 300), 3000, 0);
    o.pth_land = JobBuilder::pad(top, JobBuilder::round(top, 500), 3000, 0);
    o.blocker = JobBuilder::line(top, JobBuilder::round(top, 100), 3400, -1000, 3400, 1000);
    // Two 200 lines 250 apart: gap 50, 25 short of 75; each gives up 12.5
    // a side and is left 175 wide.
    o.line_a = JobBuilder::line(top, JobBuilder::round(top, 200), 0, 3000, 2000, 3000);
    o.line_b = JobBuilder::line(top, JobBuilder::round(top, 200), 0, 3250, 2000, 3250);
    // Two 120 lines 150 apart: gap 30, 45 short. Neither may go below 100,
    // so each gives up 10 a side: gap 50, still a violation.
    o.thin_a = JobBuilder::line(top, JobBuilder::round(top, 120), 5000, 3000, 7000, 3000);
    o.thin_b = JobBuilder::line(top, JobBuilder::round(top, 120), 5000, 3150, 7000, 3150);
    // An NPTH of 500 at (0, 6000); a 200 line at y = 6410: gap 6410 - 100 -
    // 6250 = 60, 40 short of a 100 hole clearance: the line is left 120 wide.
    const auto npth = JobBuilder::pad(drill, JobBuilder::round(drill, 500), 0, 6000);
    JobBuilder::attribute(drill, npth, ".drill", "non_plated");
    o.near_npth = JobBuilder::line(top, JobBuilder::round(top, 200), -2000, 6410, 2000, 6410);
    // Far from everything: must not change.
    o.far_pad = JobBuilder::pad(top, JobBuilder::round(top, 200), 9000, 9000);
    store::add_job(std::move(b.job));
    return o;
}

api::signal_layer_DFM_op_params full_rules()
{
    api::signal_layer_DFM_op_params p;
    p.pth_ar_min = 100000, p.pth_ar_opt = 150000;
    p.via_ar_min = 100000, p.via_ar_opt = 150000;
    p.spacing_min = 75000, p.spacing_opt = 90000;
    p.reduction = 100000, p.abs_min = 100000;
    p.drill_to_cu = 100000;
    p.padup = p.paddn = p.linedn = p.drills = true;
    return p;
}

} // namespace

TEST(DfmSignalLayer, CheckRepairCheckClearsWhatTheLimitsAllowAndNothingElseChanges)
{
    const Board o = build("dfm_signal_1");
    // Before: rings of 100, gaps of 50 and 30 under the 75 minimum, a hole
    // clearance of 60.
    const auto before = check("dfm_signal_1", 74999, 99999, 149999);
    ASSERT_TRUE(find(before, item::ViaRing, int(o.via_land)));
    EXPECT_EQ(find(before, item::ViaRing, int(o.via_land))->value, um(100));
    EXPECT_EQ(find(before, item::LineToLine, int(o.line_a))->value, um(50));
    EXPECT_EQ(find(before, item::LineToLine, int(o.thin_a))->value, um(30));
    EXPECT_EQ(find(before, item::NpthToCircuit, int(o.near_npth))->value, um(60));
    const Layer far_before = store::find_job("dfm_signal_1")->steps["pcb"].layers["top"];

    std::map<std::string, api::signal_layer_DFM_layer_result> result;
    ASSERT_TRUE(api::signal_layer_DFM_op("dfm_signal_1", "pcb", {"TOP"}, full_rules(), {}, result, nullptr));
    const auto& r = result.at("top");

    const auto after = check("dfm_signal_1", 74999, 99999, 149999);
    // Via ring at the optimum; the PTH ring as far as spacing lets it.
    EXPECT_FALSE(find(after, item::ViaRing, int(o.via_land)));
    EXPECT_EQ(symbol_name("dfm_signal_1", int(o.via_land)), "r19.685");  // 500 um in mils
    EXPECT_EQ(find(after, item::PthRing, int(o.pth_land))->value, um(125));
    // Gaps: the fixable ones at the minimum, the unfixable one improved, none
    // new, the PTH land against the line exactly at the minimum.
    EXPECT_FALSE(find(after, item::LineToLine, int(o.line_a)));
    EXPECT_EQ(find(after, item::LineToLine, int(o.thin_a))->value, um(50));
    EXPECT_FALSE(find(after, item::NpthToCircuit, int(o.near_npth)));
    const auto at_min = check("dfm_signal_1", 75000, 100000, 0);
    EXPECT_EQ(find(at_min, item::PadToLineSpacing, int(o.pth_land))->value, um(75));
    EXPECT_EQ(find(at_min, item::LineToLine, int(o.line_a))->value, um(75));
    EXPECT_EQ(find(at_min, item::NpthToCircuit, int(o.near_npth))->value, um(100));
    for (const Seen& s : after)
        EXPECT_TRUE(s.item == item::LineToLine || s.item == item::PthRing) << s.item;

    // The report counts what was done and what is left.
    EXPECT_EQ(count(r, api::ArgRepaired), 1);
    EXPECT_EQ(count(r, api::ArgViolationOpt), 1);
    EXPECT_EQ(count(r, api::PadEnlargeOverLimit), 1);
    EXPECT_EQ(count(r, api::SpacingRepaired), 1);
    EXPECT_EQ(count(r, api::SpacingViolationMin), 1);
    EXPECT_EQ(count(r, api::H2CuRepaired), 1);
    EXPECT_EQ(api::latest_signal_layer_DFM("dfm_signal_1", "PCB").size(), 1u);

    // Untouched features keep their records; one undo puts the layer back.
    const Layer& top = store::find_job("dfm_signal_1")->steps["pcb"].layers["top"];
    EXPECT_EQ(top.symbols[top.features[o.far_pad].symbol].name, "r200");
    EXPECT_EQ(symbol_name("dfm_signal_1", int(o.line_a)), "r6.8898");  // 175 um in mils
    EXPECT_EQ(symbol_name("dfm_signal_1", int(o.line_b)), "r6.8898");
    EXPECT_EQ(top.features[o.blocker].symbol, far_before.features[o.blocker].symbol);
    Job& job = *store::find_job("dfm_signal_1");
    ASSERT_TRUE(store::undo(job, "pcb"));
    const Layer& back = job.steps["pcb"].layers["top"];
    ASSERT_EQ(back.features.size(), far_before.features.size());
    for (std::size_t i = 0; i < back.features.size(); ++i)
        EXPECT_EQ(back.symbols[back.features[i].symbol].name, far_before.symbols[far_before.features[i].symbol].name);
    store::remove_job("dfm_signal_1");
}

TEST(DfmSignalLayer, SwitchesOffChangeNothingAndReportOnly)
{
    const Board o = build("dfm_signal_2");
    auto p = full_rules();
    p.padup = p.paddn = p.linedn = p.drills = false;
    std::map<std::string, api::signal_layer_DFM_layer_result> result;
    ASSERT_TRUE(api::signal_layer_DFM_op("dfm_signal_2", "pcb", {"top"}, p, {}, result, nullptr));
    const auto& r = result.at("top");
    EXPECT_EQ(count(r, api::ArgViolationMin) + count(r, api::ArgViolationOpt), 2);
    EXPECT_EQ(count(r, api::SpacingViolationMin), 2);
    EXPECT_EQ(count(r, api::H2CuViolation), 1);
    EXPECT_EQ(count(r, api::SpacingRepaired) + count(r, api::ArgRepaired) + count(r, api::H2CuRepaired), 0);
    // Nothing changed, so nothing to undo.
    EXPECT_FALSE(store::undo(*store::find_job("dfm_signal_2"), "pcb"));
    EXPECT_EQ(symbol_name("dfm_signal_2", int(o.line_a)), "r200");
    // Selected features only: the only selected line is narrowed, its
    // partner left as drawn.
    auto& top = store::find_job("dfm_signal_2")->steps["pcb"].layers["top"];
    top.features[o.line_b].selected = true;
    p = full_rules();
    p.apply_to = 1;
    ASSERT_TRUE(api::signal_layer_DFM_op("dfm_signal_2", "pcb", {"top"}, p, {}, result, nullptr));
    EXPECT_EQ(symbol_name("dfm_signal_2", int(o.line_a)), "r200");
    EXPECT_EQ(symbol_name("dfm_signal_2", int(o.line_b)), "r5.9055");  // 150 um in mils
    EXPECT_EQ(symbol_name("dfm_signal_2", int(o.via_land)), "r400");   // not selected
    // A layer the step lacks: refused, nothing changed.
    EXPECT_FALSE(api::signal_layer_DFM_op("dfm_signal_2", "pcb", {"top", "nope"}, p, {}, result, nullptr));
    store::remove_job("dfm_signal_2");
}

TEST(DfmSignalLayer, TouchingLandsOfTwoHolesAreCutApartKeepingARing)
{
    JobBuilder b("dfm_signal_3");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");
    // Holes of 200 at x = 0 and 500, lands of 600 overlapping by 100. Cut to
    // a clearance of 100: each land must lose 100 of radius -> 400, ring 100.
    JobBuilder::pad(drill, JobBuilder::round(drill, 200), 0, 0);
    JobBuilder::pad(drill, JobBuilder::round(drill, 200), 500, 0);
    const auto a = JobBuilder::pad(top, JobBuilder::round(top, 600), 0, 0);
    const auto c = JobBuilder::pad(top, JobBuilder::round(top, 600), 500, 0);
    store::add_job(std::move(b.job));
    ASSERT_TRUE(api::New_signal_layer_DFM_op("dfm_signal_3", "pcb", {"top"}, nullptr, {true, 100000}));
    const auto after = check("dfm_signal_3", 100000, 0, 100000);
    EXPECT_EQ(find(after, item::PthToPth, int(a))->value, um(100));
    EXPECT_EQ(find(after, item::PthRing, int(a))->value, um(100));
    EXPECT_EQ(find(after, item::PthRing, int(c))->value, um(100));
    store::remove_job("dfm_signal_3");
}
