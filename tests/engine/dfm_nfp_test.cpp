// Non-functional pad removal on a hand-made four-layer board whose every
// inner pad is known to be functional or not, and why.
#include "drc_jobs.h"

#include "engine/api/dfm_ops.h"
#include "engine/drc/feature_shapes.h"
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <iostream>
#include <set>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

std::uint32_t square_plane(Layer& l, double cx, double cy, double half)
{
    Contour c;
    c.start = {um(cx - half), um(cy - half)};
    for (auto [x, y] : {std::pair{cx + half, cy - half}, {cx + half, cy + half}, {cx - half, cy + half}, {cx - half, cy - half}})
        c.segments.push_back({{um(x), um(y)}, {}, false, false});
    l.surfaces.push_back({{c}});
    Feature f;
    f.kind = FeatureKind::Surface;
    f.body = std::uint32_t(l.surfaces.size() - 1);
    l.features.push_back(f);
    return std::uint32_t(l.features.size() - 1);
}

// Pads of a layer by centre x in um.
std::vector<double> pad_xs(const Layer& l)
{
    std::vector<double> out;
    for (const Feature& f : l.features)
        if (f.kind == FeatureKind::Pad) out.push_back(double(f.a.x) / 1000);
    return out;
}

unsigned count(const std::map<api::NFP_removal_DFM_op_items, api::NFP_removal_DFM_op_result>& r,
               api::NFP_removal_DFM_op_items item)
{
    auto it = r.find(item);
    return it == r.end() ? 0 : it->second.counts[0] + it->second.counts[1] + it->second.counts[2];
}

void build_board()
{
    JobBuilder b("nfp_board");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& in1 = b.layer("in1", "SIGNAL");
    Layer& in2 = b.layer("in2", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    const int d300 = JobBuilder::round(drill, 300);
    for (double x : {0.0, 5000.0, 10000.0, 15000.0, 20000.0, 25000.0}) JobBuilder::pad(drill, d300, x, 0);
    JobBuilder::attribute(drill, 5, ".drill", "non_plated");
    const int r600 = JobBuilder::round(in1, 600), r250 = JobBuilder::round(in1, 250), r150 = JobBuilder::round(in1, 150);
    // A (x 0): land with a line leaving it: functional.
    JobBuilder::pad(in1, r600, 0, 0);
    JobBuilder::line(in1, r150, 0, 0, 0, 3000);
    // B (x 5000): a land touching nothing on in1: isolated.
    JobBuilder::pad(in1, r600, 5000, 0);
    // C (x 10000): the same land drawn twice, with a line: the second is a duplicate.
    JobBuilder::pad(in1, r600, 10000, 0);
    JobBuilder::line(in1, r150, 10000, 0, 10000, 3000);
    JobBuilder::pad(in1, r600, 10000, 0);
    // D (x 15000): a 250 um pad on a 300 um hole: drilled over.
    JobBuilder::pad(in1, r250, 15000, 0);
    // E (x 20000): a land inside a 2 mm plane: covered.
    square_plane(in1, 20000, 0, 1000);
    JobBuilder::pad(in1, r600, 20000, 0);
    // F (x 25000): an isolated land on a non-plated hole.
    JobBuilder::pad(in1, r600, 25000, 0);
    // G (x 30000): an isolated pad without a hole.
    JobBuilder::pad(in1, r600, 30000, 0);
    // in2: B's land with a line (functional there); top: B's land alone (outer, never touched).
    const int r600b = JobBuilder::round(in2, 600), r150b = JobBuilder::round(in2, 150);
    JobBuilder::pad(in2, r600b, 5000, 0);
    JobBuilder::line(in2, r150b, 5000, 0, 5000, 3000);
    JobBuilder::pad(top, JobBuilder::round(top, 600), 5000, 0);
    store::add_job(std::move(b.job));
}

} // namespace

TEST(DfmNfpRemoval, RemovesEachKindOnInnerLayersOnly)
{
    build_board();
    Job& job = *store::find_job("nfp_board");
    Step& step = job.steps["pcb"];
    const Layer in1_before = step.layers["in1"];
    api::NFP_removal_DFM_op_params p;
    p.isolated = p.drill_over = p.duplicate = p.covered = true;
    std::map<api::NFP_removal_DFM_op_items, api::NFP_removal_DFM_op_result> r;
    ASSERT_TRUE(api::NFP_removal_DFM_op("nfp_board", "pcb", {"top", "in1", "IN2"}, p, r, nullptr));
    EXPECT_EQ(count(r, api::NfpIsolated), 1u);
    EXPECT_EQ(count(r, api::NfpDuplicate), 1u);
    EXPECT_EQ(count(r, api::NfpDrilledOver), 1u);
    EXPECT_EQ(count(r, api::NfpCovered), 1u);
    // Left on in1: A, the first of C's pair, F (non-plated) and G (no hole).
    EXPECT_EQ(pad_xs(step.layers["in1"]), (std::vector<double>{0, 10000, 25000, 30000}));
    EXPECT_EQ(pad_xs(step.layers["in2"]), (std::vector<double>{5000}));
    EXPECT_EQ(pad_xs(step.layers["top"]), (std::vector<double>{5000}));
    // Lines and the plane are untouched.
    EXPECT_EQ(step.layers["in1"].features.size(), in1_before.features.size() - 4);

    // One undo gives the layer back; then the optional kinds.
    ASSERT_TRUE(store::undo(job, "pcb"));
    EXPECT_EQ(pad_xs(step.layers["in1"]), pad_xs(in1_before));
    p.npth = p.remove_undrilled_pads = true;
    ASSERT_TRUE(api::NFP_removal_DFM_op("nfp_board", "pcb", {"in1"}, p, r, nullptr));
    EXPECT_EQ(count(r, api::NfpIsolated), 3u);
    EXPECT_EQ(pad_xs(step.layers["in1"]), (std::vector<double>{0, 10000}));
    ASSERT_TRUE(store::undo(job, "pcb"));

    // Vias only: the board's holes are plated, not vias, so nothing goes;
    // marking keeps every pad and marks the non-functional ones.
    p = {};
    p.isolated = true;
    p.work_on = 1;
    ASSERT_TRUE(api::NFP_removal_DFM_op("nfp_board", "pcb", {"in1"}, p, r, nullptr));
    EXPECT_TRUE(r.empty());
    p.work_on = 0;
    p.remove_mark_NFP = true;
    ASSERT_TRUE(api::NFP_removal_DFM_op("nfp_board", "pcb", {"in1"}, p, r, nullptr));
    const Layer& in1 = step.layers["in1"];
    EXPECT_EQ(pad_xs(in1), pad_xs(in1_before));
    std::vector<double> marked;
    for (const Feature& f : in1.features)
        if (drc::attribute(in1, f, ".nfp")) marked.push_back(double(f.a.x) / 1000);
    // B, and D: with drilled-over pads not asked for, D is an isolated pad too.
    EXPECT_EQ(marked, (std::vector<double>{5000, 15000}));
    store::remove_job("nfp_board");
}

