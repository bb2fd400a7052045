// Copper texts (stroke width, fields), traces entering pads and traces cut
// narrow by negative features, on hand-built boards. Overlaps and widths are
// worked out in the comments from the coordinates (micrometres).
#include "drc_jobs.h"

#include "engine/drc/signal_rules.h"

#include <gtest/gtest.h>

#include <algorithm>

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

TEST(DrcSignalTexts, ThinStrokesAndFieldsOnCopper)
{
    JobBuilder b("signal_texts");
    Layer& top = b.layer("top", "SIGNAL");
    auto text = [&](double x, double y, double factor, const char* s) {
        Text t;
        t.text = s;
        t.xsize = t.ysize = um(1500);
        t.width_factor = factor;
        top.texts.push_back(t);
        Feature f;
        f.kind = FeatureKind::Text;
        f.a = {um(x), um(y)};
        f.body = std::uint32_t(top.texts.size() - 1);
        top.features.push_back(f);
        return int(top.features.size() - 1);
    };
    // Standard strokes are 304.8 um: a quarter is 76.2, below the 101.6 limit.
    const int thin = text(0, 0, 0.25, "R1");
    const int field = text(0, 5000, 1.0, "$$DATE");
    text(0, 10000, 1.0, "REV A");

    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {}, {CheckSize}, {});
    ASSERT_TRUE(r.found);
    const auto texts = of_item(r, item::Text);
    ASSERT_EQ(texts.size(), 1u);
    EXPECT_EQ(texts[0]->features[0].feature_index, thin);
    EXPECT_EQ(texts[0]->measure_value, 76200);
    const auto fields = of_item(r, item::TextFields);
    ASSERT_EQ(fields.size(), 1u);
    EXPECT_EQ(fields[0]->features[0].feature_index, field);
    EXPECT_EQ(fields[0]->measure_value, 304800);
}

TEST(DrcSignalConnections, TracesGrazingPadsAreReportedBelowTheOverlap)
{
    JobBuilder b("signal_pad_connections");
    Layer& top = b.layer("top", "SIGNAL");
    const int r100 = JobBuilder::round(top, 100), r500 = JobBuilder::round(top, 500);
    const int sq = JobBuilder::symbol(top, SymbolFamily::Square, 400, 400, "s400");
    // To the centre of a 500 pad: 250 + 50 = 300, well over.
    JobBuilder::pad(top, r500, 0, 0);
    JobBuilder::line(top, r100, 1000, 0, 0, 0);
    // Stopping at x = 280, 30 outside the round pad's edge: 50 - 30 = 20.
    const auto round_pad = JobBuilder::pad(top, r500, 0, 2000);
    const auto grazing = JobBuilder::line(top, r100, 1000, 2000, 280, 2000);
    // 20 inside a 400 square's edge at x = 200: 20 + 50 = 70.
    const auto square_pad = JobBuilder::pad(top, sq, 0, 4000);
    const auto shallow = JobBuilder::line(top, r100, 1000, 4000, 180, 4000);
    // 100 inside it: 150, over the 100 limit.
    JobBuilder::pad(top, sq, 0, 6000);
    JobBuilder::line(top, r100, 1000, 6000, 100, 6000);

    SignalLimits limits;
    limits.min_pad_overlap = um(100);
    const SignalLayerRun off = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", limits, {CheckSpacing}, {});
    EXPECT_TRUE(of_item(off, item::PadToLineConnection).empty());  // the switch is off

    limits.pad_connection = true;
    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", limits, {}, {});
    auto found = of_item(r, item::PadToLineConnection);
    ASSERT_EQ(found.size(), 2u);
    std::sort(found.begin(), found.end(), [](auto* x, auto* y) { return x->measure_value < y->measure_value; });
    EXPECT_NEAR(found[0]->measure_value, 20000, 1);
    EXPECT_EQ(found[0]->features[0].feature_index, int(grazing));
    EXPECT_EQ(found[0]->features[1].feature_index, int(round_pad));
    EXPECT_NEAR(found[0]->geometry[0], 0.28, 1e-6);
    EXPECT_NEAR(found[0]->geometry[1], 2.0, 1e-6);
    EXPECT_NEAR(found[1]->measure_value, 70000, 1);
    EXPECT_EQ(found[1]->features[0].feature_index, int(shallow));
    EXPECT_EQ(found[1]->features[1].feature_index, int(square_pad));
}

TEST(DrcSignalShavedLines, ATraceCutNarrowIsMeasuredAtItsNarrowest)
{
    JobBuilder b("signal_shaved_lines");
    Layer& top = b.layer("top", "SIGNAL");
    const int r200 = JobBuilder::round(top, 200);
    // A 200 trace along y = 0; a cut over x 750..1250, y 50..250 leaves
    // y -100..50 there: 150 wide.
    const auto shaved = JobBuilder::line(top, r200, 0, 0, 2000, 0);
    const auto cut = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 500, 200, "rect500x200"), 1000, 150);
    top.features[cut].polarity = Polarity::Negative;
    // A 200 trace whose round end (to x = 2100) loses a lens to a 200 disc
    // at x = 2150: its width along the straight part is whole.
    JobBuilder::line(top, r200, 0, 3000, 2000, 3000);
    const auto nick = JobBuilder::pad(top, r200, 2150, 3000);
    top.features[nick].polarity = Polarity::Negative;

    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {}, {CheckSize}, {});
    const auto found = of_item(r, item::ShavedLines);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->features[0].feature_index, int(shaved));
    EXPECT_NEAR(found[0]->measure_value, 150000, 2);
    EXPECT_GE(found[0]->geometry[0], 0.75 - 1e-6);
    EXPECT_LE(found[0]->geometry[0], 1.25 + 1e-6);
    EXPECT_NEAR(found[0]->geometry[1], 0.0, 1e-6);
}

TEST(DrcSignalLocalSpacing, OnlyTheFirstStretchOffAPadIsLocal)
{
    JobBuilder b("signal_local_spacing");
    Layer& top = b.layer("top", "SIGNAL");
    const int r100 = JobBuilder::round(top, 100), r200 = JobBuilder::round(top, 200);
    // A 100 trace leaves a 250 x 1000 pad at (0,-450) and runs down to
    // (0,-2000); its window is y -450..-754.8.
    JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 250, 1000, "rect250x1000"), 0, 0);
    const auto trace = JobBuilder::line(top, r100, 0, -450, 0, -2000);
    // A 200 pad at (250,-700), inside the window: 250 - 50 - 100 = 100.
    const auto near = JobBuilder::pad(top, r200, 250, -700);
    // The same gap at y = -1500, far past the window: not local.
    JobBuilder::pad(top, r200, 250, -1500);

    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {}, {CheckSpacing}, {});
    const auto local = of_item(r, item::LocalSpacing);
    ASSERT_EQ(local.size(), 1u);
    EXPECT_EQ(local[0]->features[0].feature_index, int(trace));
    EXPECT_EQ(local[0]->features[1].feature_index, int(near));
    EXPECT_NEAR(local[0]->measure_value, 100000, 1);
    // Segment from the trace's side (50,-700) to the pad's edge (150,-700).
    EXPECT_NEAR(std::min(local[0]->geometry[0], local[0]->geometry[2]), 0.05, 1e-6);
    EXPECT_NEAR(std::max(local[0]->geometry[0], local[0]->geometry[2]), 0.15, 1e-6);
    EXPECT_NEAR(local[0]->geometry[1], -0.7, 1e-6);
    // The spacing family sees both gaps.
    std::size_t gaps = 0;
    for (int it : {item::PadToLineSpacing, item::PadToCircuit})
        for (auto* f : of_item(r, it)) gaps += f->measure_value == 100000;
    EXPECT_EQ(gaps, 2u);
}
