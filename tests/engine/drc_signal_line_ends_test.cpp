// Trace ends on a hand-built board: dangling branches (stubs) with their
// lengths, a neck into a pad, a change of width away from pads, and SMD
// pads measured apart from other pads. Every length and width is worked out
// in the comments from the coordinates.
#include "drc_jobs.h"

#include "engine/drc/signal_rules.h"

#include <gtest/gtest.h>

#include <map>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace item = kesto::drc::signal_item;
namespace api = KESTO::API;

namespace {

std::vector<const api::check_info*> of_item(const SignalLayerRun& run, int it)
{
    std::vector<const api::check_info*> out;
    auto r = run.result.find(it);
    if (r == run.result.end()) return out;
    for (const auto& level : r->second.lv)
        for (const auto& info : level) out.push_back(&info);
    return out;
}

} // namespace

TEST(DrcSignalLineEnds, StubsNecksAndWidthChangesAreFoundWhereTheyAre)
{
    JobBuilder b("signal_line_ends");
    Layer& top = b.layer("top", "SIGNAL");
    const int r100 = JobBuilder::round(top, 100), r120 = JobBuilder::round(top, 120), r150 = JobBuilder::round(top, 150),
              r200 = JobBuilder::round(top, 200), r203 = JobBuilder::round(top, 203), r250 = JobBuilder::round(top, 250),
              r500 = JobBuilder::round(top, 500), r600 = JobBuilder::round(top, 600);

    // A neck: pad of 200 at (0,0), a 100 um line 200 um long to (200,0)
    // (its end disc stops 50 um short of the pad's edge), then a 250 um
    // trace to a pad at (2000,0).
    JobBuilder::pad(top, r200, 0, 0);
    const auto neck = JobBuilder::line(top, r100, 0, 0, 200, 0);
    const auto wide = JobBuilder::line(top, r250, 200, 0, 2000, 0);
    JobBuilder::pad(top, r600, 2000, 0);

    // A branch of 180 um off a junction: its free end at (2000,3180) is
    // 180 - 75 - 75 = 30 um clear of the trace it leaves.
    JobBuilder::pad(top, r500, 0, 3000);
    JobBuilder::line(top, r150, 0, 3000, 2000, 3000);
    const auto branch = JobBuilder::line(top, r150, 2000, 3000, 2000, 3180);
    JobBuilder::line(top, r150, 2000, 3000, 4000, 3000);
    JobBuilder::pad(top, r500, 4000, 3000);

    // A dangling chain of three lines from a pad: 1000 + 200 + 300 = 1500 um.
    JobBuilder::pad(top, r500, 0, 6000);
    JobBuilder::line(top, r150, 0, 6000, 1000, 6000);
    JobBuilder::line(top, r150, 1000, 6000, 1000, 6200);
    const auto tail = JobBuilder::line(top, r150, 1000, 6200, 1300, 6200);

    // 200 um meeting 120 um end to end at (1000,9000), pads at both far ends.
    JobBuilder::pad(top, r500, 0, 9000);
    const auto w200 = JobBuilder::line(top, r200, 0, 9000, 1000, 9000);
    const auto w120 = JobBuilder::line(top, r120, 1000, 9000, 2000, 9000);
    JobBuilder::pad(top, r500, 2000, 9000);
    // 200 meeting 203 um: within the 5.08 um tolerance, one width.
    JobBuilder::pad(top, r500, 0, 12000);
    JobBuilder::line(top, r200, 0, 12000, 1000, 12000);
    JobBuilder::line(top, r203, 1000, 12000, 2000, 12000);
    JobBuilder::pad(top, r500, 2000, 12000);

    // An SMD pad of 90 x 300 um and a plain pad of 95 um.
    const auto smd = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 90, 300, "rect90x300"), 6000, 0);
    JobBuilder::attribute(top, smd, ".smd", "");
    const auto small = JobBuilder::pad(top, JobBuilder::round(top, 95), 6000, 3000);

    LevelLimits levels;
    levels[item::Stubs] = {100000, 500000, 2000000};  // dangling branches up to 2 mm
    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {},
                                                  {CheckStubs, CheckBottleneck, CheckSize}, levels);
    ASSERT_TRUE(r.found);

    auto stubs = of_item(r, item::Stubs);
    ASSERT_EQ(stubs.size(), 2u);
    std::map<int, const api::check_info*> by_feature;
    for (auto* s : stubs) by_feature[s->features[0].feature_index] = s;
    ASSERT_TRUE(by_feature.count(int(branch)) && by_feature.count(int(tail)));
    EXPECT_NEAR(by_feature[int(branch)]->measure_value, 180000, 1);
    EXPECT_EQ(by_feature[int(branch)]->level, 2);  // 180 um: above red 100, at most yellow 500
    EXPECT_NEAR(by_feature[int(branch)]->geometry[1], 3.18, 1e-6);  // the free end
    EXPECT_NEAR(by_feature[int(tail)]->measure_value, 1500000, 1);
    EXPECT_NEAR(by_feature[int(tail)]->geometry[0], 1.3, 1e-6);

    auto necks = of_item(r, item::LineNeckdown);
    ASSERT_EQ(necks.size(), 1u);
    EXPECT_EQ(necks[0]->measure_value, 100000);
    EXPECT_EQ(necks[0]->features[0].feature_index, int(neck));
    EXPECT_EQ(necks[0]->features[1].feature_index, int(wide));

    auto changes = of_item(r, item::InconsistentLineWidth);
    ASSERT_EQ(changes.size(), 1u);
    EXPECT_EQ(changes[0]->measure_value, 120000);
    EXPECT_EQ(changes[0]->features[0].feature_index, int(w120));
    EXPECT_EQ(changes[0]->features[1].feature_index, int(w200));
    EXPECT_NEAR(changes[0]->geometry[0], 1.0, 1e-6);
    EXPECT_NEAR(changes[0]->geometry[1], 9.0, 1e-6);

    auto smd_pads = of_item(r, item::SmdPads);
    ASSERT_EQ(smd_pads.size(), 1u);
    EXPECT_EQ(smd_pads[0]->measure_value, 90000);
    EXPECT_EQ(smd_pads[0]->features[0].feature_index, int(smd));
    auto pads = of_item(r, item::Pads);
    ASSERT_EQ(pads.size(), 1u);
    EXPECT_EQ(pads[0]->features[0].feature_index, int(small));
}
