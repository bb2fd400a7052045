// The drill check on a panel step measures every placed board: a small board
// with three planted drill faults, placed 2 x 2 and turned a quarter, gives
// each fault four times at positions worked out by hand from the repeat
// table, and the board checked alone gives it once.
#include "drc_jobs.h"

#include "engine/drc/drill_analysis.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

// Marker centres (mm) of every finding of one item, sorted.
std::vector<std::pair<double, double>> centres(const DrillAnalysis& a, const std::string& layer, api::drill_check_item item,
                                               std::vector<Coord>* values = nullptr)
{
    std::vector<std::pair<double, double>> out;
    auto l = a.result.find(layer);
    if (l == a.result.end()) return out;
    auto it = l->second.items.find(item);
    if (it == l->second.items.end()) return out;
    for (const auto& level : it->second.lv)
        for (const api::check_info& f : level) {
            if (f.shape == api::MarkerSegment)
                out.emplace_back((f.geometry[0] + f.geometry[2]) / 2, (f.geometry[1] + f.geometry[3]) / 2);
            else
                out.emplace_back(f.geometry[0], f.geometry[1]);
            if (values) values->push_back(f.measure_value);
        }
    std::sort(out.begin(), out.end());
    return out;
}

// Where a board point (um) lands on the panel: the datum of "pcb" placed at
// (10 + 30 i, 20 + 40 j) mm and turned 90 degrees clockwise, (x, y) -> (y, -x).
std::vector<std::pair<double, double>> placed(double x_um, double y_um)
{
    std::vector<std::pair<double, double>> out;
    for (int i = 0; i < 2; ++i)
        for (int j = 0; j < 2; ++j) out.emplace_back(10 + 30 * i + y_um / 1000, 20 + 40 * j - x_um / 1000);
    std::sort(out.begin(), out.end());
    return out;
}

void expect_at(const std::vector<std::pair<double, double>>& got, const std::vector<std::pair<double, double>>& want)
{
    ASSERT_EQ(got.size(), want.size());
    for (std::size_t i = 0; i < want.size(); ++i) {
        EXPECT_NEAR(got[i].first, want[i].first, 1e-5) << i;
        EXPECT_NEAR(got[i].second, want[i].second, 1e-5) << i;
    }
}

} // namespace

TEST(DrcDrillPanel, EachPlacedBoardReportsItsDrillFaultsWhereTheyStand)
{
    JobBuilder b("drill_panel");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");
    Layer& bottom = b.layer("bottom", "SIGNAL");
    const int h300 = JobBuilder::round(drill, 300);
    // Two plated holes 400 um apart: a 100 um web from (1150,2000) to
    // (1250,2000). Each has its own 350 um pads on both sides, 50 um apart,
    // so they are two nets.
    for (Layer* side : {&top, &bottom}) {
        const int r350 = JobBuilder::round(*side, 350), r600 = JobBuilder::round(*side, 600);
        JobBuilder::pad(*side, r350, 1000, 2000);
        JobBuilder::pad(*side, r350, 1400, 2000);
        // A through-hole pad on both sides with no hole: a missing hole.
        JobBuilder::pad(*side, r600, 3000, 3000);
    }
    JobBuilder::pad(drill, h300, 1000, 2000);
    JobBuilder::pad(drill, h300, 1400, 2000);
    // A plated hole in bare laminate: an extra hole.
    JobBuilder::pad(drill, h300, 5000, 5000);

    Step& panel = b.job.steps["panel"];
    panel.name = "panel";
    b.job.columns.push_back({2, "panel", 1});
    StepRepeat row;
    row.step = "pcb";
    row.origin = {um(10000), um(20000)};
    row.dx = um(30000), row.dy = um(40000);
    row.nx = row.ny = 2;
    row.angle = 90;
    panel.repeats.push_back(row);

    DrillOptions o;
    o.hole_separation = o.missing_hole = o.extra_holes = o.board_nets = true;
    o.use_pth = o.use_npth = o.use_via = true;
    const LevelLimits limits{{api::DifferentNetClosePths, {um(50), um(150), um(200)}},
                             {api::SameNetClosePths, {um(50), um(150), um(200)}}};

    const DrillAnalysis board = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, limits);
    expect_at(centres(board, "drill", api::DifferentNetClosePths), {{1.2, 2.0}});
    expect_at(centres(board, "drill", api::ExtraHoles), {{5.0, 5.0}});
    expect_at(centres(board, "drill", api::MissingHoles), {{3.0, 3.0}});

    // The panel has no layers of its own; the name is found whatever its case.
    std::vector<Coord> webs;
    const DrillAnalysis run = analyse_drill(b.job, panel, {"DRILL"}, o, limits);
    // Four boards' holes close to each other only within a board, and never
    // sharing a net across boards.
    expect_at(centres(run, "DRILL", api::DifferentNetClosePths, &webs), placed(1200, 2000));
    EXPECT_TRUE(centres(run, "DRILL", api::SameNetClosePths).empty());
    EXPECT_TRUE(centres(run, "DRILL", api::CloseHoles).empty());
    for (Coord w : webs) EXPECT_NEAR(double(w), 100000, 2);
    expect_at(centres(run, "DRILL", api::ExtraHoles), placed(5000, 5000));
    expect_at(centres(run, "DRILL", api::MissingHoles), placed(3000, 3000));
}
