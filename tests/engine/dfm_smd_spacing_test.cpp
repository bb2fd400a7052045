// SMD and BGA spacing judged by the signal-layer check: pairs of surface-mount
// pads whose gaps and shaves are worked out beside them are checked, shaved
// and checked again.
#include "drc_jobs.h"

#include "engine/api/dfm_repairs.h"
#include "engine/drc/signal_rules.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

// The gap the spacing check reports between two features of "top" (-1: none).
Coord checked_gap(const std::string& job, std::uint32_t a, std::uint32_t b, Coord limit)
{
    Job& j = *store::find_job(job);
    drc::SignalLimits limits;
    limits.pp_spacing = limit;
    const auto run = drc::analyse_signal_layer(j, j.steps["pcb"], "top", limits, {drc::CheckSpacing}, {});
    for (const auto& [i, r] : run.result)
        for (const auto& level : r.lv)
            for (const auto& info : level) {
                bool has_a = false, has_b = false;
                for (const auto& f : info.features) {
                    has_a = has_a || (f.layername == "top" && f.feature_index == int(a));
                    has_b = has_b || (f.layername == "top" && f.feature_index == int(b));
                }
                if (has_a && has_b) return info.measure_value;
            }
    return -1;
}

double copper_area(const std::string& job, std::uint32_t feature)
{
    Job& j = *store::find_job(job);
    const Layer& top = j.steps["pcb"].layers["top"];
    return geom::area(geom::feature_outline(top, top.features[feature], geom::context_of(j)));
}

int rect(Layer& l, double w, double h)
{
    return JobBuilder::symbol(l, SymbolFamily::Rect, w, h, "rect" + std::to_string(int(w)) + "x" + std::to_string(int(h)));
}

struct Board {
    std::uint32_t s1, s2, b1, b2, t1, t2, n1, n2, far;
};

// Micrometres.
Board build(const std::string& name)
{
    JobBuilder jb(name);
    Layer& top = jb.layer("top", "SIGNAL");
    Board o;
    auto mark = [&](std::uint32_t f, const char* what) {
        JobBuilder::attribute(top, f, what, "");
        return f;
    };
    // SMDs 1000 x 500 spanning x -500..500 and 600..1600: gap 100. To 150
    // each shaves 25 off its facing side: 975 wide, the first centred at
    // -12.5, the second at 1112.5. Area removed: 25 x 500 each.
    o.s1 = mark(JobBuilder::pad(top, rect(top, 1000, 500), 0, 0), ".smd");
    o.s2 = mark(JobBuilder::pad(top, rect(top, 1000, 500), 1100, 0), ".smd");
    // BGA lands of 400 at 500 pitch: gap 100; each shrinks to 350.
    o.b1 = mark(JobBuilder::pad(top, JobBuilder::round(top, 400), 0, 3000), ".bga");
    o.b2 = mark(JobBuilder::pad(top, JobBuilder::round(top, 400), 500, 3000), ".bga");
    // BGA lands of 300 at 320 pitch: gap 20, 130 short; with 100 of width
    // each they reach 300 - 100 = 200: gap 120, still too close.
    o.t1 = mark(JobBuilder::pad(top, JobBuilder::round(top, 300), 0, 6000), ".bga");
    o.t2 = mark(JobBuilder::pad(top, JobBuilder::round(top, 300), 320, 6000), ".bga");
    // An SMD beside a plain pad of another net (gap 100): not an SMD pair.
    o.n1 = mark(JobBuilder::pad(top, rect(top, 1000, 500), 5000, 0), ".smd");
    o.n2 = JobBuilder::pad(top, JobBuilder::round(top, 400), 5800, 0);
    o.far = mark(JobBuilder::pad(top, rect(top, 1000, 500), 9000, 9000), ".smd");
    store::add_job(std::move(jb.job));
    return o;
}

} // namespace

TEST(DfmSmdBga, CheckShaveCheckSpacesPairsWithinTheReduction)
{
    const Board o = build("dfm_smd_1");
    const Coord limit = um(150) - 1;
    EXPECT_EQ(checked_gap("dfm_smd_1", o.s1, o.s2, limit), um(100));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.b1, o.b2, limit), um(100));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.t1, o.t2, limit), um(20));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.n1, o.n2, limit), um(100));
    const double smd_area = copper_area("dfm_smd_1", o.s1);
    const Layer before = store::find_job("dfm_smd_1")->steps["pcb"].layers["top"];

    api::smd_bga_DFM_op_params p;
    p.smd_bga_spacing_opt = 150000;
    p.max_padup_value = 100000;
    ASSERT_TRUE(api::smd_bga_DFM_op("dfm_smd_1", "pcb", {"TOP"}, p, nullptr));

    // Gaps after, measured by the check: the two fixable pairs at 150 (no
    // finding below it), the tight pair at 120, the mixed pair as it was.
    EXPECT_EQ(checked_gap("dfm_smd_1", o.s1, o.s2, limit), -1);
    EXPECT_EQ(checked_gap("dfm_smd_1", o.s1, o.s2, um(150)), um(150));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.b1, o.b2, um(150)), um(150));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.t1, o.t2, limit), um(120));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.n1, o.n2, limit), um(100));
    // Area removed from one SMD: a 25 x 500 strip; its far side has not moved.
    EXPECT_NEAR(smd_area - copper_area("dfm_smd_1", o.s1), 25.0 * 500 * 1e6, 1e3);
    const Layer& top = store::find_job("dfm_smd_1")->steps["pcb"].layers["top"];
    EXPECT_EQ(top.features[o.s1].a.x, -um(12.5));
    EXPECT_EQ(top.features[o.s2].a.x, um(1112.5));
    EXPECT_EQ(top.symbols[std::size_t(top.features[o.b1].symbol)].p[0], double(um(350)));
    EXPECT_EQ(top.symbols[std::size_t(top.features[o.t2].symbol)].p[0], double(um(200)));
    // Untouched pads keep their records; the shaved ones keep their attributes.
    for (std::uint32_t k : {o.n1, o.n2, o.far}) EXPECT_EQ(top.features[k].symbol, before.features[k].symbol);
    EXPECT_EQ(top.features[o.s1].attributes, before.features[o.s1].attributes);

    // One undo puts every pad back.
    Job& job = *store::find_job("dfm_smd_1");
    ASSERT_TRUE(store::undo(job, "pcb"));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.s1, o.s2, limit), um(100));
    EXPECT_EQ(checked_gap("dfm_smd_1", o.t1, o.t2, limit), um(20));

    // No reduction allowed: the pairs are logged, nothing changes.
    p.max_padup_value = 0;
    ASSERT_TRUE(api::smd_bga_DFM_op("dfm_smd_1", "pcb", {"top"}, p, nullptr));
    EXPECT_FALSE(store::undo(job, "pcb"));
    EXPECT_FALSE(api::smd_bga_DFM_op("dfm_smd_1", "pcb", {"nope"}, p, nullptr));
    store::remove_job("dfm_smd_1");
}
