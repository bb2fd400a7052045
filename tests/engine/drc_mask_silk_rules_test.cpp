// The solder-mask and silk-screen rules on small hand-built boards; every
// expected figure is worked out by hand beside the features that make it.
#include "drc_jobs.h"

#include "engine/drc/mask_silk_rules.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

struct Hit {
    int item;
    int level;  // 1 to 4
    const api::check_info* info;
};

std::vector<Hit> hits(const MaskSilkRun& run)
{
    std::vector<Hit> out;
    for (const auto& [i, r] : run.result)
        for (std::size_t l = 0; l < r.lv.size(); ++l)
            for (const auto& info : r.lv[l]) out.push_back({i, int(l) + 1, &info});
    return out;
}

// The findings of an item naming feature `index` of `layer`.
std::vector<Hit> about(const MaskSilkRun& run, int item, const std::string& layer, int index)
{
    std::vector<Hit> out;
    for (const Hit& h : hits(run))
        if (h.item == item)
            for (const auto& fi : h.info->features)
                if (fi.layername == layer && fi.feature_index == index) out.push_back(h);
    return out;
}

int rect(Layer& l, double w, double h)
{
    return JobBuilder::symbol(l, SymbolFamily::Rect, w, h, "rect" + std::to_string(int(w)) + "x" + std::to_string(int(h)));
}

std::uint32_t smd(Layer& l, int sym, double x, double y)
{
    const auto p = JobBuilder::pad(l, sym, x, y);
    JobBuilder::attribute(l, p, ".smd", "");
    return p;
}

MaskLimits mask_limits()
{
    MaskLimits m;
    m.ring = um(150);
    m.coverage = um(400);
    m.bridge = um(250);
    m.pads = m.missing = m.coverage_on = m.bridge_on = m.drill = true;
    return m;
}

} // namespace

TEST(DrcMaskRules, OpeningsOverPadsAreMeasuredPerPadKind)
{
    JobBuilder b("mask_rings");
    Layer& sm = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");

    // SMD 1000 x 500 in a 1200 x 700 opening: 100 um all round.
    const auto smd1 = smd(top, rect(top, 1000, 500), 0, 0);
    JobBuilder::pad(sm, rect(sm, 1200, 700), 0, 0);
    // Drilled pad of 1000 in an opening of 1100 whose centre is 20 um off:
    // 550 - 20 - 500 = 30 um on the thin side.
    const auto pth = JobBuilder::pad(top, JobBuilder::round(top, 1000), 5000, 0);
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 5000, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 1100), 5020, 0);
    // A pad of 600 in an opening of 600: same size.
    const auto same = JobBuilder::pad(top, JobBuilder::round(top, 600), 10000, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 600), 10000, 0);
    // A pad of 800 with no opening at all.
    const auto bare = JobBuilder::pad(top, JobBuilder::round(top, 800), 15000, 0);
    // SMD 1000 x 500 in an 800 x 700 opening: its corner (500, 250) is 100 um
    // beyond the opening's side.
    const auto part = smd(top, rect(top, 1000, 500), 0, 5000);
    JobBuilder::pad(sm, rect(sm, 800, 700), 0, 5000);
    // A pad with a generous 300 um ring: nothing.
    const auto fine = JobBuilder::pad(top, JobBuilder::round(top, 400), 0, 10000);
    JobBuilder::pad(sm, JobBuilder::round(sm, 1000), 0, 10000);

    LevelLimits levels;
    levels[mask_item::SmdRing] = {um(60), um(80), um(120)};
    const MaskSilkRun r = analyse_mask_layer(b.job, b.job.steps["pcb"], "smt", mask_limits(), levels);
    ASSERT_TRUE(r.found);
    EXPECT_EQ(r.copper, "top");

    auto ring = about(r, mask_item::SmdRing, "top", int(smd1));
    ASSERT_EQ(ring.size(), 1u);
    EXPECT_EQ(ring[0].info->measure_value, 100000);
    EXPECT_EQ(ring[0].level, 3);  // above yellow 80, within green 120

    auto thin = about(r, mask_item::PthPadRing, "top", int(pth));
    ASSERT_EQ(thin.size(), 1u);
    EXPECT_EQ(thin[0].info->measure_value, 30000);

    auto equal = about(r, mask_item::UndrilledSameSize, "top", int(same));
    ASSERT_EQ(equal.size(), 1u);
    EXPECT_EQ(equal[0].info->measure_value, 0);

    auto missing = about(r, mask_item::MissingUndrilled, "top", int(bare));
    ASSERT_EQ(missing.size(), 1u);
    EXPECT_EQ(missing[0].info->measure_value, 800000);

    auto partial = about(r, mask_item::SmdPartial, "top", int(part));
    ASSERT_EQ(partial.size(), 1u);
    EXPECT_EQ(partial[0].info->measure_value, -100000);
    EXPECT_TRUE(about(r, mask_item::SmdRing, "top", int(part)).empty());

    for (const Hit& h : hits(r))
        for (const auto& fi : h.info->features)
            EXPECT_FALSE(fi.layername == "top" && fi.feature_index == int(fine)) << "item " << h.item;
}

TEST(DrcMaskRules, BridgesCoverageAndHolesInTheMask)
{
    JobBuilder b("mask_bridges");
    Layer& sm = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");

    // Two SMDs of 500 whose 600 openings face each other at x = 300 and
    // x = 500: a 200 um bridge.
    smd(top, rect(top, 500, 500), 0, 0);
    smd(top, rect(top, 500, 500), 800, 0);
    const auto o1 = JobBuilder::pad(sm, rect(sm, 600, 600), 0, 0);
    const auto o2 = JobBuilder::pad(sm, rect(sm, 600, 600), 800, 0);
    // Two pads of 400, 700 apart, in openings of 800: they run together.
    JobBuilder::pad(top, JobBuilder::round(top, 400), 5000, 0);
    JobBuilder::pad(top, JobBuilder::round(top, 400), 5700, 0);
    const auto o3 = JobBuilder::pad(sm, JobBuilder::round(sm, 800), 5000, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 800), 5700, 0);
    // A pad of 1000 in an opening of 1200 (edge at x = 10600) beside a 200 um
    // line whose edge is at x = 10900: 300 um of mask cover the line.
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 10000, 0);
    const auto o4 = JobBuilder::pad(sm, JobBuilder::round(sm, 1200), 10000, 0);
    const auto trace = JobBuilder::line(top, JobBuilder::round(top, 200), 11000, -1000, 11000, 1000);
    // A 500 non-plated hole under the mask, and one in a 900 opening (200 um clear).
    const auto covered = JobBuilder::pad(drill, JobBuilder::round(drill, 500), 15000, 0);
    JobBuilder::attribute(drill, covered, ".drill", "non_plated");
    const auto clear = JobBuilder::pad(drill, JobBuilder::round(drill, 500), 20000, 0);
    JobBuilder::attribute(drill, clear, ".drill", "non_plated");
    JobBuilder::pad(sm, JobBuilder::round(sm, 900), 20000, 0);

    const MaskSilkRun r = analyse_mask_layer(b.job, b.job.steps["pcb"], "smt", mask_limits(), {});
    ASSERT_TRUE(r.found);

    auto bridge = about(r, mask_item::SmdBridge, "smt", int(o1));
    ASSERT_EQ(bridge.size(), 1u);
    EXPECT_EQ(bridge[0].info->measure_value, 200000);
    EXPECT_EQ(about(r, mask_item::SmdBridge, "smt", int(o2)).size(), 1u);

    auto merged = about(r, mask_item::NoBridge, "smt", int(o3));
    ASSERT_EQ(merged.size(), 1u);
    EXPECT_EQ(merged[0].info->measure_value, 0);

    auto cover = about(r, mask_item::Coverage, "top", int(trace));
    ASSERT_EQ(cover.size(), 1u);
    EXPECT_EQ(cover[0].info->measure_value, 300000);
    EXPECT_EQ(cover[0].info->features[0].feature_index, int(o4));

    auto touch = about(r, mask_item::NpthTouchesMask, "drill", int(covered));
    ASSERT_EQ(touch.size(), 1u);
    EXPECT_EQ(touch[0].info->measure_value, -250000);
    EXPECT_TRUE(about(r, mask_item::NpthTouchesMask, "drill", int(clear)).empty());
}

TEST(DrcMaskRules, ACleanBoardAndABoardWithoutCopperReportNothing)
{
    JobBuilder b("mask_clean");
    Layer& sm = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    JobBuilder::pad(top, JobBuilder::round(top, 400), 0, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 1000), 0, 0);
    JobBuilder::pad(top, JobBuilder::round(top, 400), 3000, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 1000), 3000, 0);
    const MaskSilkRun r = analyse_mask_layer(b.job, b.job.steps["pcb"], "smt", mask_limits(), {});
    EXPECT_TRUE(r.found);
    EXPECT_TRUE(hits(r).empty());

    JobBuilder lone("mask_alone");
    Layer& only = lone.layer("smt", "SOLDER_MASK");
    JobBuilder::pad(only, JobBuilder::round(only, 1000), 0, 0);
    const MaskSilkRun alone = analyse_mask_layer(lone.job, lone.job.steps["pcb"], "smt", mask_limits(), {});
    EXPECT_TRUE(alone.found);
    EXPECT_TRUE(alone.copper.empty());
    EXPECT_TRUE(hits(alone).empty());
    EXPECT_FALSE(analyse_mask_layer(lone.job, lone.job.steps["pcb"], "nope", mask_limits(), {}).found);
}

TEST(DrcSilkRules, SilkIsKeptOffOpeningsPadsHolesAndTheRout)
{
    JobBuilder b("silk");
    Layer& ss = b.layer("sst", "SILK_SCREEN");
    Layer& sm = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    Layer& rout = b.layer("rout", "ROUT");

    // A 150 um silk line along y = 500 over an SMD 1000 x 500 (top edge at
    // y = 250) in an 1100 x 600 opening (top edge y = 300): the ink's edge is
    // at 425, so 175 um to the pad and 125 um to the opening.
    const auto s1 = JobBuilder::line(ss, JobBuilder::round(ss, 150), 0, 500, 2000, 500);
    const auto pad = smd(top, rect(top, 1000, 500), 1000, 0);
    const auto open = JobBuilder::pad(sm, rect(sm, 1100, 600), 1000, 0);
    // A 100 um line at y = 200 beside a 500 non-plated hole at (5000, 0): it
    // cuts 250 + 50 - 200 = 100 um into the hole.
    const auto s2 = JobBuilder::line(ss, JobBuilder::round(ss, 100), 4000, 200, 6000, 200);
    const auto hole = JobBuilder::pad(drill, JobBuilder::round(drill, 500), 5000, 0);
    JobBuilder::attribute(drill, hole, ".drill", "non_plated");
    // A 100 um line 1000 um left of a 2 mm rout path at x = 10000: 9000 - 8550.
    const auto s3 = JobBuilder::line(ss, JobBuilder::round(ss, 100), 8500, -1000, 8500, 1000);
    const auto path = JobBuilder::line(rout, JobBuilder::round(rout, 2000), 10000, -5000, 10000, 5000);
    // Strokes of 80 um and of no width.
    const auto thin = JobBuilder::line(ss, JobBuilder::round(ss, 80), 0, 20000, 1000, 20000);
    const auto none = JobBuilder::line(ss, JobBuilder::round(ss, 0), 0, 22000, 1000, 22000);

    SilkLimits lim;
    lim.spacing = um(500);
    lim.mask = lim.smd = lim.pads = lim.holes = lim.rout = lim.widths = true;
    const MaskSilkRun r = analyse_silk_layer(b.job, b.job.steps["pcb"], "sst", lim, {});
    ASSERT_TRUE(r.found);

    auto to_pad = about(r, silk_item::SmdClearance, "top", int(pad));
    ASSERT_EQ(to_pad.size(), 1u);
    EXPECT_EQ(to_pad[0].info->measure_value, 175000);
    EXPECT_EQ(to_pad[0].info->features[0].feature_index, int(s1));
    auto to_open = about(r, silk_item::MaskClearance, "smt", int(open));
    ASSERT_EQ(to_open.size(), 1u);
    EXPECT_EQ(to_open[0].info->measure_value, 125000);

    auto to_hole = about(r, silk_item::NpthClearance, "sst", int(s2));
    ASSERT_EQ(to_hole.size(), 1u);
    EXPECT_EQ(to_hole[0].info->measure_value, -100000);

    auto to_rout = about(r, silk_item::RoutClearance, "rout", int(path));
    ASSERT_EQ(to_rout.size(), 1u);
    EXPECT_EQ(to_rout[0].info->measure_value, 450000);
    EXPECT_EQ(to_rout[0].info->features[0].feature_index, int(s3));

    auto w = about(r, silk_item::LineWidth, "sst", int(thin));
    ASSERT_EQ(w.size(), 1u);
    EXPECT_EQ(w[0].info->measure_value, 80000);
    EXPECT_EQ(about(r, silk_item::ZeroLineWidth, "sst", int(none)).size(), 1u);
    EXPECT_TRUE(about(r, silk_item::LineWidth, "sst", int(s1)).empty());

    // With a tighter limit the far neighbours drop out.
    lim.spacing = um(150);
    const MaskSilkRun tight = analyse_silk_layer(b.job, b.job.steps["pcb"], "sst", lim, {});
    EXPECT_TRUE(about(tight, silk_item::SmdClearance, "top", int(pad)).empty());
    EXPECT_EQ(about(tight, silk_item::MaskClearance, "smt", int(open)).size(), 1u);
    EXPECT_TRUE(about(tight, silk_item::RoutClearance, "rout", int(path)).empty());
}

TEST(DrcMaskRules, OpeningsLyingOnThePadAreGaskets)
{
    JobBuilder b("gaskets");
    Layer& sm = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    // SMD disc of 1000 with an opening of 800 whose centre is 50 um off:
    // the mask stands 500 - 50 - 400 = 50 um in on the near side.
    const auto disc = smd(top, JobBuilder::round(top, 1000), 0, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 800), 50, 0);
    // Rectangular pad 1000 x 600 under a centred 900 x 560 opening: 20 um
    // in along the long sides, 50 um at the ends.
    const auto bar = JobBuilder::pad(top, rect(top, 1000, 600), 5000, 0);
    JobBuilder::pad(sm, rect(sm, 900, 560), 5000, 0);
    // A gasket of 300 um is well made: not reported at a 150 um limit.
    const auto wide = JobBuilder::pad(top, JobBuilder::round(top, 1000), 10000, 0);
    JobBuilder::pad(sm, JobBuilder::round(sm, 400), 10000, 0);

    const MaskSilkRun r = analyse_mask_layer(b.job, b.job.steps["pcb"], "smt", mask_limits(), {});
    auto g = about(r, mask_item::SmdGasket, "top", int(disc));
    ASSERT_EQ(g.size(), 1u);
    EXPECT_EQ(g[0].info->measure_value, 50000);
    auto h = about(r, mask_item::UndrilledGasket, "top", int(bar));
    ASSERT_EQ(h.size(), 1u);
    EXPECT_EQ(h[0].info->measure_value, 20000);
    // A gasket is not also a partial clearance.
    EXPECT_TRUE(about(r, mask_item::SmdPartial, "top", int(disc)).empty());
    EXPECT_TRUE(about(r, mask_item::UndrilledPartial, "top", int(bar)).empty());
    for (const Hit& x : hits(r))
        for (const auto& fi : x.info->features)
            EXPECT_FALSE(fi.layername == "top" && fi.feature_index == int(wide)) << "item " << x.item;
}

TEST(DrcSilkRules, ThinPadsAndSmallTexts)
{
    JobBuilder b("silk_text");
    Layer& ss = b.layer("sst", "SILK_SCREEN");
    b.layer("top", "SIGNAL");
    const auto dot = JobBuilder::pad(ss, JobBuilder::round(ss, 80), 0, 0);
    const auto slab = JobBuilder::pad(ss, rect(ss, 2000, 90), 0, 3000);
    const auto fat = JobBuilder::pad(ss, rect(ss, 2000, 300), 0, 6000);
    // Texts in the standard font (strokes 304.8 um at width factor 1): a
    // quarter-width text 600 um high, and a full one 1.5 mm high.
    auto text = [&](double x, double y, double factor, double height) {
        Text t;
        t.text = "R1";
        t.xsize = um(height);
        t.ysize = um(height);
        t.width_factor = factor;
        ss.texts.push_back(t);
        Feature f;
        f.kind = FeatureKind::Text;
        f.a = {um(x), um(y)};
        f.body = std::uint32_t(ss.texts.size() - 1);
        ss.features.push_back(f);
        return std::uint32_t(ss.features.size() - 1);
    };
    const auto small = text(10000, 0, 0.25, 600);
    const auto big = text(10000, 5000, 1.0, 1500);

    SilkLimits lim;
    lim.widths = true;
    const MaskSilkRun r = analyse_silk_layer(b.job, b.job.steps["pcb"], "sst", lim, {});
    ASSERT_EQ(about(r, silk_item::PadWidth, "sst", int(dot)).size(), 1u);
    EXPECT_EQ(about(r, silk_item::PadWidth, "sst", int(dot))[0].info->measure_value, 80000);
    ASSERT_EQ(about(r, silk_item::PadWidth, "sst", int(slab)).size(), 1u);
    EXPECT_EQ(about(r, silk_item::PadWidth, "sst", int(slab))[0].info->measure_value, 90000);
    EXPECT_TRUE(about(r, silk_item::PadWidth, "sst", int(fat)).empty());
    auto w = about(r, silk_item::TextWidth, "sst", int(small));
    ASSERT_EQ(w.size(), 1u);
    EXPECT_EQ(w[0].info->measure_value, 76200);
    auto h = about(r, silk_item::TextHeight, "sst", int(small));
    ASSERT_EQ(h.size(), 1u);
    EXPECT_EQ(h[0].info->measure_value, 600000);
    EXPECT_TRUE(about(r, silk_item::TextWidth, "sst", int(big)).empty());
    EXPECT_TRUE(about(r, silk_item::TextHeight, "sst", int(big)).empty());
}

TEST(DrcSilkRules, SilkFeaturesTooCloseToPrintApart)
{
    JobBuilder b("silk_ink");
    Layer& ss = b.layer("sst", "SILK_SCREEN");
    const int r150 = JobBuilder::round(ss, 150);
    // Parallel 150 um strokes 230 um apart centre to centre: 80 um of gap.
    const auto a = JobBuilder::line(ss, r150, 0, 0, 3000, 0);
    const auto c = JobBuilder::line(ss, r150, 0, 230, 3000, 230);
    // A stroke crossing the first is one mark with it; one 400 um off is fine.
    JobBuilder::line(ss, r150, 1500, -1000, 1500, -100);
    JobBuilder::line(ss, r150, 0, -2000, 3000, -2000);
    JobBuilder::line(ss, r150, 0, -2400, 3000, -2400);

    SilkLimits lim;
    lim.widths = true;
    const MaskSilkRun r = analyse_silk_layer(b.job, b.job.steps["pcb"], "sst", lim, {});
    std::vector<Hit> ink;
    for (const Hit& h : hits(r))
        if (h.item == silk_item::SilkToSilk) ink.push_back(h);
    ASSERT_EQ(ink.size(), 1u);
    EXPECT_EQ(ink[0].info->measure_value, 80000);
    EXPECT_EQ(ink[0].info->features[0].feature_index, int(a));
    EXPECT_EQ(ink[0].info->features[1].feature_index, int(c));
}
