// Readiness rules on hand-built jobs: each board is made to miss exactly the
// things a rule looks for, and the findings are read back by item.
#include "drc_jobs.h"

#include "engine/drc/prepare_rules.h"

#include <gtest/gtest.h>

#include <cmath>
#include <set>

using namespace kesto;
using namespace kesto::drc;
using namespace kesto::drc::prepare_item;
using kesto::test::JobBuilder;
using kesto::test::um;

namespace {

// item -> (layer, feature index) of every finding; -1 for a finding without a feature.
std::multiset<std::tuple<int, std::string, int>> findings(const PrepareRun& run)
{
    std::multiset<std::tuple<int, std::string, int>> out;
    for (const auto& [layer, items] : run.by_layer)
        for (const auto& [item, r] : items)
            for (const auto& lv : r.lv)
                for (const auto& info : lv)
                    out.insert({item, layer, info.features.empty() ? -1 : info.features[0].feature_index});
    return out;
}

void square_profile(Step& s, double x0, double y0, double side_um)
{
    Contour c;
    c.start = {um(x0), um(y0)};
    for (auto [x, y] : {std::pair{x0 + side_um, y0}, {x0 + side_um, y0 + side_um}, {x0, y0 + side_um}, {x0, y0}})
        c.segments.push_back({{um(x), um(y)}, {}, false, false});
    s.profile.contours = {c};
    s.has_profile = true;
}

// A complete two-layer board: paste, silk, mask and copper on both sides,
// a drill and a rout layer, a profile with its zero point at the lower left.
JobBuilder complete_board()
{
    JobBuilder b("ready");
    for (const char* t : {"SOLDER_PASTE", "SILK_SCREEN", "SOLDER_MASK"}) b.layer(std::string("top_") + t, t);
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    for (const char* t : {"SOLDER_MASK", "SILK_SCREEN", "SOLDER_PASTE"}) b.layer(std::string("bot_") + t, t);
    b.layer("drill", "DRILL", "top", "bot");
    Layer& rout = b.layer("rout", "ROUT");
    JobBuilder::pad(top, JobBuilder::round(top, 500), 1000, 1000);
    JobBuilder::line(rout, JobBuilder::round(rout, 2000), 0, 0, 10000, 0);
    square_profile(b.job.steps["pcb"], 0, 0, 10000);
    return b;
}

const std::vector<int> kAll = prepare_items_measured();

} // namespace

TEST(DrcPrepareRules, ACompleteBoardIsReady)
{
    JobBuilder b = complete_board();
    EXPECT_TRUE(findings(run_prepare_rules(b.job, {}, kAll, {}, nullptr)).empty());
    // Named by the host as they are, in any case: still ready.
    const RoleNames roles{{PasteTop, "TOP_SOLDER_PASTE"}, {SignalTop, "top"}, {SignalBottom, "Bot"},
                          {DrillLayer, "drill"}, {RoutLayer, "rout"}, {OutlineLayer, "rout"}};
    EXPECT_TRUE(findings(run_prepare_rules(b.job, roles, kAll, {}, nullptr)).empty());
}

TEST(DrcPrepareRules, MissingAndMisnamedLayersByRole)
{
    // A one-sided board: nothing below the copper but the drill, no rout.
    JobBuilder b("one_sided");
    b.layer("ss", "SILK_SCREEN");
    b.layer("sm", "SOLDER_MASK");
    b.layer("cu", "SIGNAL");
    b.layer("drl", "DRILL");
    square_profile(b.job.steps["pcb"], 0, 0, 5000);
    using F = std::tuple<int, std::string, int>;
    const std::multiset<F> expect{{PasteTop, "", -1},   {SignalBottom, "", -1}, {MaskBottom, "", -1},
                                  {SilkBottom, "", -1}, {PasteBottom, "", -1},  {RoutLayer, "", -1}};
    // The one copper layer is the top and also the bottom copper by type: only
    // the bottom's mask, silk and paste are missing.
    std::multiset<F> want = expect;
    want.erase(F{SignalBottom, "", -1});
    // Its layers are all empty: the step has nothing to check.
    want.insert(F{NetStep, "", -1});
    EXPECT_EQ(findings(run_prepare_rules(b.job, {}, kAll, {}, nullptr)), want);

    // Names the matrix does not hold, or of the wrong type.
    const RoleNames roles{{SignalTop, "sm"}, {DrillLayer, "drill"}, {SignalInner, "cu"}, {OutlineLayer, "dim"}};
    const auto got = findings(run_prepare_rules(b.job, roles, {SignalTop, DrillLayer, SignalInner, OutlineLayer}, {}, nullptr));
    EXPECT_EQ(got, (std::multiset<F>{{SignalTop, "sm", -1}, {DrillLayer, "drill", -1}, {OutlineLayer, "dim", -1}}));
}

TEST(DrcPrepareRules, ProfileAndZeroPoint)
{
    JobBuilder b = complete_board();
    Step& s = b.job.steps["pcb"];
    // Profile from (3000, 4000) µm: the datum at the origin is 5000 µm off its lower left.
    square_profile(s, 3000, 4000, 10000);
    PrepareRun run = run_prepare_rules(b.job, {}, {ZeroPoint, Profile}, {}, nullptr);
    ASSERT_EQ(run.by_layer[""].count(ZeroPoint), 1u);
    const auto& zero = run.by_layer[""][ZeroPoint];
    ASSERT_EQ(zero.counts[0], 1u);
    EXPECT_EQ(zero.lv[0][0].measure_value, um(5000));
    EXPECT_EQ(zero.lv[0][0].shape, KESTO::API::MarkerSegment);
    EXPECT_EQ(run.by_layer[""].count(Profile), 0u);

    s.has_profile = false;
    s.profile.contours.clear();
    run = run_prepare_rules(b.job, {}, {ZeroPoint, Profile}, {}, nullptr);
    EXPECT_EQ(findings(run), (std::multiset<std::tuple<int, std::string, int>>{{Profile, "", -1}}));
    // A job with no step at all.
    b.job.steps.clear();
    EXPECT_EQ(findings(run_prepare_rules(b.job, {}, {StepPresent, Profile}, {}, nullptr)),
              (std::multiset<std::tuple<int, std::string, int>>{{StepPresent, "", -1}}));
}

TEST(DrcPrepareRules, NegativeFeaturesAndPadsWithoutASize)
{
    JobBuilder b = complete_board();
    Step& s = b.job.steps["pcb"];
    Layer& top = s.layers["top"];
    Layer& mask = s.layers["top_SOLDER_MASK"];
    Layer& silk = s.layers["top_SILK_SCREEN"];
    const auto cut = JobBuilder::pad(top, JobBuilder::round(top, 200), 1000, 1000);
    top.features[cut].polarity = Polarity::Negative;
    const auto dam = JobBuilder::pad(mask, JobBuilder::round(mask, 300), 2000, 2000);
    mask.features[dam].polarity = Polarity::Negative;
    // Negative silk is how legends are knocked out: not reported.
    const auto knock = JobBuilder::pad(silk, JobBuilder::round(silk, 300), 2000, 2000);
    silk.features[knock].polarity = Polarity::Negative;
    const auto empty = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 0, 400, "rect0x400"), 3000, 3000);
    const auto null_pad = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Null, 0, 0, "null0"), 4000, 4000);
    (void)null_pad;
    const auto got = findings(run_prepare_rules(b.job, {}, {SignalNegative, MaskNegative, DrillNegative, SymbolSize}, {}, nullptr));
    EXPECT_EQ(got, (std::multiset<std::tuple<int, std::string, int>>{
                       {SignalNegative, "top", int(cut)}, {MaskNegative, "top_SOLDER_MASK", int(dam)},
                       {SymbolSize, "top", int(empty)}}));
}
