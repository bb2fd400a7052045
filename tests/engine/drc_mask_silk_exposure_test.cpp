// What mask openings expose (copper of several nets, whole teardrops) and
// how silk marks meet each other (ink over text, strokes joined with
// different widths), on small hand-built boards; each expected figure is
// worked out beside the features that make it.
#include "drc_jobs.h"

#include "engine/drc/mask_silk_rules.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;

namespace {

// (measured value, indexes of the features named) of an item's findings.
std::vector<std::pair<Coord, std::vector<int>>> item(const MaskSilkRun& run, int which)
{
    std::vector<std::pair<Coord, std::vector<int>>> out;
    auto it = run.result.find(which);
    if (it == run.result.end()) return out;
    for (const auto& level : it->second.lv)
        for (const auto& info : level) {
            std::vector<int> idx;
            for (const auto& f : info.features) idx.push_back(f.feature_index);
            out.push_back({info.measure_value, idx});
        }
    return out;
}

std::uint32_t teardrop(Layer& l, std::vector<std::pair<double, double>> pts)
{
    Contour c;
    c.start = {um(pts[0].first), um(pts[0].second)};
    for (std::size_t i = 1; i <= pts.size(); ++i) {
        Segment s;
        s.end = {um(pts[i % pts.size()].first), um(pts[i % pts.size()].second)};
        c.segments.push_back(s);
    }
    l.surfaces.push_back(Surface{{c}});
    Feature f;
    f.kind = FeatureKind::Surface;
    f.body = std::uint32_t(l.surfaces.size() - 1);
    l.features.push_back(f);
    const auto i = std::uint32_t(l.features.size() - 1);
    JobBuilder::attribute(l, i, ".tear_drop", "");
    return i;
}

} // namespace

TEST(DrcMaskExposure, OpeningsOverSeveralNetsAndWhollyExposedTeardrops)
{
    JobBuilder b("mask_exposure");
    Layer& sm = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    const int smd = JobBuilder::symbol(top, SymbolFamily::Rect, 1000, 500, "rect1000x500");
    // One 3000 x 1000 opening over two separate SMDs: two nets exposed.
    const auto left = JobBuilder::pad(top, smd, -700, 0);
    JobBuilder::attribute(top, left, ".smd", "");
    JobBuilder::attribute(top, JobBuilder::pad(top, smd, 700, 0), ".smd", "");
    const auto wide = JobBuilder::pad(sm, JobBuilder::symbol(sm, SymbolFamily::Rect, 3000, 1000, "rect3000x1000"), 0, 0);
    // A pad and its own trace in one opening: one net.
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 10000, 0);
    JobBuilder::line(top, JobBuilder::round(top, 200), 10000, 0, 12000, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 1200), 10000, 0);
    // A teardrop reaching 1503 um from its pad's centre (hypot(1500, 100))
    // in an opening of radius 1700: wholly exposed.
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 20000, 0);
    JobBuilder::line(top, JobBuilder::round(top, 200), 20000, 0, 23000, 0);
    const auto bare = teardrop(top, {{20300, -400}, {21500, -100}, {21500, 100}, {20300, 400}});
    JobBuilder::pad(sm, JobBuilder::round(sm, 3400), 20000, 0);
    // The same teardrop in an opening of radius 600: mostly covered.
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 30000, 0);
    JobBuilder::line(top, JobBuilder::round(top, 200), 30000, 0, 33000, 0);
    teardrop(top, {{30300, -400}, {31500, -100}, {31500, 100}, {30300, 400}});
    JobBuilder::pad(sm, JobBuilder::round(sm, 1200), 30000, 0);

    MaskLimits lim;
    lim.pads = lim.coverage_on = true;
    const MaskSilkRun r = analyse_mask_layer(b.job, b.job.steps["pcb"], "smt", lim, {});
    const auto nets = item(r, mask_item::SeveralNets);
    ASSERT_EQ(nets.size(), 1u);
    EXPECT_EQ(nets[0].second[0], int(wide));
    const auto drops = item(r, mask_item::ExposedTeardrop);
    ASSERT_EQ(drops.size(), 1u);
    EXPECT_EQ(drops[0].second, std::vector<int>{int(bare)});

    // Without the switches neither is looked for.
    lim.pads = lim.coverage_on = false;
    const MaskSilkRun off = analyse_mask_layer(b.job, b.job.steps["pcb"], "smt", lim, {});
    EXPECT_TRUE(item(off, mask_item::SeveralNets).empty());
    EXPECT_TRUE(item(off, mask_item::ExposedTeardrop).empty());
}

TEST(DrcSilkMarks, InkOverTextAndStrokesJoinedWithDifferentWidths)
{
    JobBuilder b("silk_marks");
    Layer& ss = b.layer("sst", "SILK_SCREEN");
    const int r150 = JobBuilder::round(ss, 150);
    // 150 and 200 um strokes meeting at a corner: 50 um apart in width.
    const auto thin = JobBuilder::line(ss, r150, 0, 0, 2000, 0);
    const auto thick = JobBuilder::line(ss, JobBuilder::round(ss, 200), 2000, 0, 2000, 2000);
    // The same corner with one pen: fine.
    JobBuilder::line(ss, r150, 5000, 0, 7000, 0);
    JobBuilder::line(ss, r150, 7000, 0, 7000, 2000);
    // A 100 um arc (a half circle about (11000, 0)) ending on a 150 um line.
    Feature arc;
    arc.kind = FeatureKind::Arc;
    arc.symbol = JobBuilder::round(ss, 100);
    arc.a = {um(10000), 0};
    arc.b = {um(12000), 0};
    arc.c = {um(11000), 0};
    arc.cw = true;
    ss.features.push_back(arc);
    JobBuilder::line(ss, r150, 12000, 0, 13000, 0);
    // A line struck through a text 1 mm high; another line clear of it.
    Text t;
    t.text = "R1";
    t.xsize = t.ysize = um(1000);
    ss.texts.push_back(t);
    Feature text;
    text.kind = FeatureKind::Text;
    text.a = {um(20000), 0};
    ss.features.push_back(text);
    const auto label = std::uint32_t(ss.features.size() - 1);
    const auto strike = JobBuilder::line(ss, r150, 19500, 500, 22500, 500);
    JobBuilder::line(ss, r150, 19500, 3000, 22500, 3000);

    SilkLimits lim;
    lim.widths = true;
    const MaskSilkRun r = analyse_silk_layer(b.job, b.job.steps["pcb"], "sst", lim, {});
    const auto lines = item(r, silk_item::InconsistentLineWidth);
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0].first, um(50));
    EXPECT_EQ(lines[0].second, (std::vector<int>{int(thin), int(thick)}));
    const auto arcs = item(r, silk_item::InconsistentArcWidth);
    ASSERT_EQ(arcs.size(), 1u);
    EXPECT_EQ(arcs[0].first, um(50));
    const auto over = item(r, silk_item::SsOverText);
    ASSERT_EQ(over.size(), 1u);
    EXPECT_EQ(over[0].second, (std::vector<int>{int(label), int(strike)}));
}
