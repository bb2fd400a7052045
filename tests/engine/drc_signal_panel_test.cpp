// A check on a panel step measures every placed board: a small board with
// one planted spacing fault, placed 2 x 2 and turned, gives four findings at
// positions worked out by hand from the repeat table.
#include "drc_jobs.h"

#include "engine/drc/signal_rules.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;

TEST(DrcSignalPanel, EachPlacedBoardReportsItsFaultWhereItStands)
{
    JobBuilder b("signal_panel");
    Layer& top = b.layer("top", "SIGNAL");
    const int r500 = JobBuilder::round(top, 500);
    // Two 500 um pads 700 um apart: a 200 um gap from (1250,2000) to
    // (1450,2000), centred on (1350,2000). A third pad far from both.
    JobBuilder::pad(top, r500, 1000, 2000);
    JobBuilder::pad(top, r500, 1700, 2000);
    JobBuilder::pad(top, r500, 5000, 5000);

    Step& panel = b.job.steps["panel"];
    panel.name = "panel";
    b.job.columns.push_back({2, "panel", 1});
    // Datum of "pcb" at (0,0) placed at (10 + 30 i, 20 + 40 j) mm, turned 90
    // degrees clockwise: (x, y) -> (y, -x). The gap's centre (1.35, 2) mm
    // lands at (2, -1.35) from each placed datum.
    StepRepeat row;
    row.step = "pcb";
    row.origin = {um(10000), um(20000)};
    row.dx = um(30000), row.dy = um(40000);
    row.nx = row.ny = 2;
    row.angle = 90;
    panel.repeats.push_back(row);

    SignalLimits limits;
    limits.pp_spacing = um(300);
    const SignalLayerRun board = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", limits, {CheckSpacing}, {});
    ASSERT_EQ(board.result.count(signal_item::PadToPad), 1u);

    const SignalLayerRun run = analyse_signal_layer(b.job, panel, "TOP", limits, {CheckSpacing}, {});
    ASSERT_TRUE(run.found);
    std::vector<std::pair<Coord, Coord>> centres;
    for (const auto& [item, r] : run.result)
        for (const auto& level : r.lv)
            for (const auto& f : level) {
                EXPECT_EQ(item, signal_item::PadToPad);
                EXPECT_EQ(f.measure_value, 200000);
                ASSERT_EQ(f.values.size(), 6u);  // the segment, then the measured value
                // The segment is vertical once turned: from (2, -1.25) to (2, -1.45) mm.
                EXPECT_NEAR(double(f.values[0]), double(f.values[2]), 2);
                EXPECT_NEAR(std::abs(double(f.values[1] - f.values[3])), 200000, 2);
                centres.emplace_back((f.values[0] + f.values[2]) / 2, (f.values[1] + f.values[3]) / 2);
            }
    std::sort(centres.begin(), centres.end());
    const std::vector<std::pair<Coord, Coord>> expected{
        {um(12000), um(18650)}, {um(12000), um(58650)}, {um(42000), um(18650)}, {um(42000), um(58650)}};
    ASSERT_EQ(centres.size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_NEAR(double(centres[i].first), double(expected[i].first), 2) << i;
        EXPECT_NEAR(double(centres[i].second), double(expected[i].second), 2) << i;
    }
}
