// Sliver fill judged by the signal-layer check's same-net spacing, and the
// fill between two round pads against its area worked out by hand.
#include "drc_jobs.h"

#include "engine/api/dfm_repairs.h"
#include "engine/drc/signal_rules.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace item = kesto::drc::signal_item;
namespace api = KESTO::API;

namespace {

// Spacing findings at or below 450 um, as "item:value" texts.
std::vector<std::string> spacing(Job& job)
{
    drc::SignalLimits limits;
    limits.pp_spacing = um(450);
    const auto run = drc::analyse_signal_layer(job, job.steps["pcb"], "top", limits, {drc::CheckSpacing}, {});
    std::vector<std::string> out;
    for (const auto& [i, r] : run.result)
        for (const auto& level : r.lv)
            for (const auto& info : level) out.push_back(std::to_string(i) + ":" + std::to_string(info.measure_value));
    return out;
}

} // namespace

TEST(DfmSlivers, TheGapBetweenTwoPadsOfOneNetIsFilledAsTheRollingDiscLeavesIt)
{
    JobBuilder b("dfm_slivers");
    Layer& top = b.layer("top", "SIGNAL");
    // Two 1000 um pads 1100 apart (a 100 um gap), joined below by a 200 um
    // track: one net. Another net's track runs 400 um above the pads.
    const int r1000 = JobBuilder::round(top, 1000), r200 = JobBuilder::round(top, 200);
    JobBuilder::pad(top, r1000, 0, 0);
    JobBuilder::pad(top, r1000, 1100, 0);
    JobBuilder::line(top, r200, 0, 0, 0, -3000);
    JobBuilder::line(top, r200, 0, -3000, 1100, -3000);
    JobBuilder::line(top, r200, 1100, -3000, 1100, 0);
    JobBuilder::line(top, r200, -1000, 1000, 2100, 1000);
    store::add_job(std::move(b.job));
    Job& job = *store::find_job("dfm_slivers");
    const std::size_t features = job.steps["pcb"].layers["top"].features.size();
    // The check sees the 100 um same-net gap and the other net 400 um from
    // each pad.
    const auto before = spacing(job);
    ASSERT_EQ(before.size(), 3u);
    EXPECT_NE(std::find(before.begin(), before.end(), std::to_string(item::SameNetSpacing) + ":100000"), before.end());

    ASSERT_TRUE(api::sliver_DFM_op("dfm_slivers", "pcb", {"top"}, {150000, 0}, nullptr));
    const Layer& top2 = job.steps["pcb"].layers["top"];
    ASSERT_GT(top2.features.size(), features);
    // No copper came closer to the other net. (The check measures piece
    // pairs, so the two pads keep their 100 um pair finding; the copper
    // between them is measured below.)
    const auto after = spacing(job);
    for (const std::string& f : before) EXPECT_NE(std::find(after.begin(), after.end(), f), after.end()) << f;
    for (const std::string& f : after)
        if (f.rfind(std::to_string(item::SameNetSpacing) + ":", 0) != 0)
            EXPECT_NE(std::find(before.begin(), before.end(), f), before.end()) << "new finding " << f;

    // The new copper between the pads: a disc of 150 um rolled over the two
    // pads leaves the rhombus of the four centres (pads 1100 apart, the
    // disc's centres at height h = sqrt(575^2 - 550^2)) less a sector of
    // each pad (half angle atan(h / 550)) and of each disc position (the
    // rest of the half turn).
    const double h = std::sqrt(575.0 * 575 - 550.0 * 550), half = std::atan(h / 550);
    const double expected = 1100 * h - 500.0 * 500 * 2 * half - 75.0 * 75 * (M_PI - 2 * half);
    geom::Paths copper, fill;
    const auto ctx = geom::context_of(job);
    for (std::size_t i = 0; i < top2.features.size(); ++i) {
        const geom::Paths o = geom::feature_outline(top2, top2.features[i], ctx);
        (i < features ? copper : fill).insert((i < features ? copper : fill).end(), o.begin(), o.end());
    }
    const geom::Paths lens = geom::clip_to_box(geom::subtract(geom::unite(fill), geom::unite(copper)),
                                               Box{um(300), um(-400), um(800), um(400)});
    EXPECT_NEAR(geom::area(lens) / 1e6, expected, expected * 0.03);
    // Every point of the gap's narrowest line is copper now, none was before.
    const geom::Paths was = geom::unite(copper), now = geom::unite(geom::unite(copper), fill);
    for (double x = 505; x <= 595; x += 10) {
        EXPECT_EQ(geom::locate({um(x), 0}, was), geom::Where::Outside) << x;
        EXPECT_EQ(geom::locate({um(x), 0}, now), geom::Where::Inside) << x;
    }

    // One undo takes every fill away.
    ASSERT_TRUE(store::undo(job, "pcb"));
    EXPECT_EQ(job.steps["pcb"].layers["top"].features.size(), features);
    store::remove_job("dfm_slivers");
}
