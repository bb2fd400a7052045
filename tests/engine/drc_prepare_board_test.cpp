// The readiness rules that look across a step's layers, on one hand-built
// board holding one fault of each kind (each worked out beside it) and a
// clean counterpart for most.
#include "drc_jobs.h"

#include "engine/drc/prepare_rules.h"

#include <gtest/gtest.h>

#include <tuple>

using namespace kesto;
using namespace kesto::drc;
using namespace kesto::drc::prepare_item;
using kesto::test::JobBuilder;
using kesto::test::um;

namespace {

// (item, layer, measured value, marker numbers) of every finding.
using Found = std::tuple<int, std::string, Coord, std::vector<std::int64_t>>;

std::vector<Found> found(const PrepareRun& run)
{
    std::vector<Found> out;
    for (const auto& [layer, items] : run.by_layer)
        for (const auto& [item, r] : items)
            for (const auto& level : r.lv)
                for (const auto& info : level) out.emplace_back(item, layer, info.measure_value, info.values);
    return out;
}

std::vector<Found> of(const std::vector<Found>& all, int item)
{
    std::vector<Found> out;
    for (const Found& f : all)
        if (std::get<0>(f) == item) out.push_back(f);
    return out;
}

Contour rect_contour(double x1, double y1, double x2, double y2)
{
    Contour c;
    c.start = {um(x1), um(y1)};
    const std::pair<double, double> corners[] = {{x2, y1}, {x2, y2}, {x1, y2}, {x1, y1}};
    for (const auto& p : corners) {
        Segment s;
        s.end = {um(p.first), um(p.second)};
        c.segments.push_back(s);
    }
    return c;
}

} // namespace

TEST(PrepareBoardRules, OneFaultOfEachKindOnAHandBuiltBoard)
{
    JobBuilder b("prep");
    Step& pcb = b.job.steps["pcb"];
    pcb.profile.contours.push_back(rect_contour(0, 0, 20000, 10000));
    pcb.has_profile = true;
    // A step with nothing on any layer.
    b.job.steps["empty"].name = "empty";
    b.job.steps["empty"].has_profile = true;
    b.job.steps["empty"].profile.contours.push_back(rect_contour(0, 0, 20000, 10000));

    Layer& spt = b.layer("spt", "SOLDER_PASTE");
    Layer& smt = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& in1 = b.layer("in1", "SIGNAL");
    Layer& bot = b.layer("bot", "SIGNAL");
    b.layer("smb", "SOLDER_MASK");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");

    const int smd = JobBuilder::symbol(top, SymbolFamily::Rect, 1000, 500, "rect1000x500");
    // An SMD with paste in a mask opening; paste under mask: fine.
    JobBuilder::attribute(top, JobBuilder::pad(top, smd, 2000, 2000), ".smd", "");
    JobBuilder::pad(spt, JobBuilder::round(spt, 400), 2000, 2000);
    JobBuilder::pad(smt, JobBuilder::symbol(smt, SymbolFamily::Rect, 1100, 600, "rect1100x600"), 2000, 2000);
    // 18: an SMD with no paste on it.
    JobBuilder::attribute(top, JobBuilder::pad(top, smd, 4000, 2000), ".smd", "");
    // 27: paste where the mask is closed.
    JobBuilder::pad(spt, JobBuilder::round(spt, 400), 6000, 2000);
    // 26: a mask opening drawn as a 300 um stroke.
    JobBuilder::line(smt, JobBuilder::round(smt, 300), 8000, 2000, 9000, 2000);
    // 22: an SMD mark on an inner layer and on a line.
    JobBuilder::attribute(in1, JobBuilder::pad(in1, JobBuilder::round(in1, 500), 10000, 5000), ".smd", "");
    JobBuilder::attribute(top, JobBuilder::line(top, JobBuilder::round(top, 200), 1000, 8000, 3000, 8000), ".smd", "");
    // 24 and 28: a 400 hole with no class and no land on either outer layer.
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 12000, 5000);
    // 30: a plated 300 hole centred in its top land, 150 um off its bottom land.
    JobBuilder::attribute(drill, JobBuilder::pad(drill, JobBuilder::round(drill, 300), 14000, 5000), ".drill", "plated");
    JobBuilder::pad(top, JobBuilder::round(top, 800), 14000, 5000);
    JobBuilder::pad(bot, JobBuilder::round(bot, 800), 14150, 5000);
    // A via without lands is left to the design.
    JobBuilder::attribute(drill, JobBuilder::pad(drill, JobBuilder::round(drill, 250), 16000, 5000), ".drill", "via");
    // 16: a line across the right edge; 17: a pad beyond it.
    JobBuilder::line(top, JobBuilder::round(top, 200), 19000, 8000, 21000, 8000);
    JobBuilder::pad(top, JobBuilder::round(top, 500), 25000, 5000);

    const std::vector<int> items{NetStep, ClipOutline, ClipOutside, SmdPaste, SignalAttribute, DrillAttribute,
                                 MaskFeature, PasteOnMask, OuterDrillPad, DrillPadPosition};
    const LevelLimits levels;
    const std::vector<Found> all = found(run_prepare_rules(b.job, {}, items, levels, {}));
    using V = std::vector<std::int64_t>;

    ASSERT_EQ(of(all, NetStep).size(), 1u);
    const auto clip = of(all, ClipOutline);
    ASSERT_EQ(clip.size(), 1u);
    EXPECT_EQ(std::get<1>(clip[0]), "top");
    // The line's box: 18.9 to 21.1 mm by 7.9 to 8.1 mm, centred at (20, 8).
    EXPECT_EQ(std::get<3>(clip[0]), (V{um(20000), um(8000), um(2200), um(200), 0}));
    const auto outside = of(all, ClipOutside);
    ASSERT_EQ(outside.size(), 1u);
    EXPECT_EQ(std::get<3>(outside[0])[0], um(25000));

    const auto paste = of(all, SmdPaste);
    ASSERT_EQ(paste.size(), 1u);
    EXPECT_EQ(std::get<1>(paste[0]), "top");
    EXPECT_EQ(std::get<3>(paste[0])[0], um(4000));
    const auto on_mask = of(all, PasteOnMask);
    ASSERT_EQ(on_mask.size(), 1u);
    EXPECT_EQ(std::get<1>(on_mask[0]), "spt");
    EXPECT_EQ(std::get<3>(on_mask[0])[0], um(6000));

    const auto stroke = of(all, MaskFeature);
    ASSERT_EQ(stroke.size(), 1u);
    EXPECT_EQ(std::get<2>(stroke[0]), um(300));

    const auto marks = of(all, SignalAttribute);
    ASSERT_EQ(marks.size(), 2u);
    EXPECT_EQ(std::get<1>(marks[0]) + "," + std::get<1>(marks[1]), "in1,top");

    const auto unclassed = of(all, DrillAttribute);
    ASSERT_EQ(unclassed.size(), 1u);
    EXPECT_EQ(std::get<2>(unclassed[0]), um(400));

    const auto bare = of(all, OuterDrillPad);
    ASSERT_EQ(bare.size(), 2u);
    EXPECT_EQ(std::get<1>(bare[0]) + "," + std::get<1>(bare[1]), "bot,top");
    for (const Found& f : bare) EXPECT_EQ(std::get<2>(f), um(400));

    const auto off = of(all, DrillPadPosition);
    ASSERT_EQ(off.size(), 1u);
    EXPECT_EQ(std::get<1>(off[0]), "bot");
    EXPECT_EQ(std::get<2>(off[0]), um(150));
    EXPECT_EQ(std::get<3>(off[0]), (V{um(14000), um(5000), um(14150), um(5000), um(150), um(150)}));

    EXPECT_EQ(all.size(), 12u);
}
