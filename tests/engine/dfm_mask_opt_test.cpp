// Solder-mask repair judged by the solder-mask check: a hand-built board
// whose clearances, bridges and coverage are worked out beside its features
// is checked, repaired and checked again.
#include "drc_jobs.h"

#include "engine/api/dfm_repairs.h"
#include "engine/drc/mask_silk_rules.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace item = kesto::drc::mask_item;
namespace api = KESTO::API;

namespace {

struct Seen {
    int item;
    std::vector<int> features;  // feature indexes on the mask layer ("smt")
    Coord value;
};

// Every finding of the mask check with the given limits, whatever its level.
std::vector<Seen> check(const std::string& job, Coord ring, Coord coverage, Coord bridge)
{
    Job& j = *store::find_job(job);
    drc::MaskLimits m;
    m.ring = ring, m.coverage = coverage, m.bridge = bridge;
    m.pads = m.coverage_on = m.bridge_on = true;
    const auto run = drc::analyse_mask_layer(j, j.steps["pcb"], "smt", m, {});
    std::vector<Seen> out;
    for (const auto& [i, r] : run.result)
        for (const auto& level : r.lv)
            for (const auto& info : level) {
                Seen s{i, {}, info.measure_value};
                for (const auto& f : info.features)
                    if (f.layername == "smt") s.features.push_back(f.feature_index);
                out.push_back(s);
            }
    return out;
}

const Seen* find(const std::vector<Seen>& all, int it, int feature)
{
    for (const Seen& s : all)
        if (s.item == it && std::find(s.features.begin(), s.features.end(), feature) != s.features.end()) return &s;
    return nullptr;
}

int rect(Layer& l, double w, double h)
{
    return JobBuilder::symbol(l, SymbolFamily::Rect, w, h, "rect" + std::to_string(int(w)) + "x" + std::to_string(int(h)));
}

struct Board {
    std::uint32_t a, b, c, d, e, f, g, h;  // openings on "smt"
};

// Micrometres; round sizes are diameters. Clearance = opening less pad, a side.
Board build(const std::string& name)
{
    JobBuilder jb(name);
    Layer& sm = jb.layer("smt", "SOLDER_MASK");
    Layer& top = jb.layer("top", "SIGNAL");
    jb.layer("bot", "SIGNAL");
    Board o;
    const int r400 = JobBuilder::round(top, 400);
    auto smd = [&](int sym, double x, double y) {
        JobBuilder::attribute(top, JobBuilder::pad(top, sym, x, y), ".smd", "");
    };
    // A: undrilled 400 in 420, clearance 10; nothing near: grows to the
    // optimal 75 (opening 550).
    JobBuilder::pad(top, r400, 0, 0);
    o.a = JobBuilder::pad(sm, JobBuilder::round(sm, 420), 0, 0);
    // B, C: SMDs 400 at 600 pitch in openings of 600 (clearance 100): the
    // openings touch, no bridge. B goes first: with C's opening still 600 a
    // 100 bridge needs B at clearance 0, so B stops at the SMD minimum 40
    // (480); then C may keep 600 - 240 - 200 - 100 = 60 (520): bridge
    // 600 - 240 - 260 = 100.
    smd(r400, 3000, 0);
    smd(r400, 3600, 0);
    o.b = JobBuilder::pad(sm, JobBuilder::round(sm, 600), 3000, 0);
    o.c = JobBuilder::pad(sm, JobBuilder::round(sm, 600), 3600, 0);
    // D: undrilled 400 in 700 (clearance 150) with a 100 line of another net
    // at y + 400: pad to line 400 - 200 - 50 = 150, so the opening bares the
    // line's edge (coverage 0). Optimal coverage 75 leaves clearance 75 (550).
    JobBuilder::pad(top, r400, 0, 3000);
    JobBuilder::line(top, JobBuilder::round(top, 100), -1000, 3400, 1000, 3400);
    o.d = JobBuilder::pad(sm, JobBuilder::round(sm, 700), 0, 3000);
    // E: 400 in 1000, clearance 300, over the 200 limit: back to 75 (550).
    JobBuilder::pad(top, r400, 6000, 0);
    o.e = JobBuilder::pad(sm, JobBuilder::round(sm, 1000), 6000, 0);
    // F: 400 in 550, at the optimum already: untouched.
    JobBuilder::pad(top, r400, 6000, 3000);
    o.f = JobBuilder::pad(sm, JobBuilder::round(sm, 550), 6000, 3000);
    // G: SMD rectangle 300 x 600 in 320 x 620, clearance 10: to the SMD
    // optimum 60 (420 x 720).
    smd(rect(top, 300, 600), 9000, 0);
    o.g = JobBuilder::pad(sm, rect(sm, 320, 620), 9000, 0);
    // H: 400 under an opening of 300 (a gasket, mask-defined): left alone
    // unless gaskets are to be grown.
    JobBuilder::pad(top, r400, 9000, 3000);
    o.h = JobBuilder::pad(sm, JobBuilder::round(sm, 300), 9000, 3000);
    store::add_job(std::move(jb.job));
    return o;
}

api::solder_mask_DFM_params rules()
{
    api::solder_mask_DFM_params p;
    p.clearance_min = 50000, p.clearance_opt = 75000;
    p.smd_clearance_min = 40000, p.smd_clearance_opt = 60000;
    p.coverage_min = 50000, p.coverage_opt = 75000;
    p.bridge_size = 100000;
    p.max_oversized_clearance = 200000;
    p.do_resize = true;
    return p;
}

int count(const std::map<api::solder_mask_DFM_op_items, std::vector<api::solder_mask_DFM_op_result>>& r,
          api::solder_mask_DFM_op_items it)
{
    auto f = r.find(it);
    if (f == r.end()) return 0;
    int n = 0;
    for (const auto& l : f->second) n += int(l.counts[0] + l.counts[1] + l.counts[2]);
    return n;
}

double opening_size(const std::string& job, std::uint32_t feature, int dim = 0)
{
    const Layer& l = store::find_job(job)->steps["pcb"].layers["smt"];
    return l.symbols[std::size_t(l.features[feature].symbol)].p[std::size_t(dim)];
}

} // namespace

TEST(DfmSolderMask, CheckRepairCheckClearsEveryMinimumAndKeepsTheRest)
{
    const Board o = build("dfm_mask_1");
    // Judged at the minimums: SMD clearance 40, coverage 50, bridge 100.
    const auto before = check("dfm_mask_1", um(40) - 1, um(50) - 1, um(100) - 1);
    ASSERT_TRUE(find(before, item::UndrilledRing, int(o.a)));
    EXPECT_EQ(find(before, item::UndrilledRing, int(o.a))->value, um(10));
    EXPECT_EQ(find(before, item::SmdRing, int(o.g))->value, um(10));
    ASSERT_TRUE(find(before, item::NoBridgeSmd, int(o.b)));
    ASSERT_TRUE(find(before, item::Coverage, int(o.d)));
    EXPECT_EQ(find(before, item::Coverage, int(o.d))->value, 0);
    const Layer sm_before = store::find_job("dfm_mask_1")->steps["pcb"].layers["smt"];
    const Layer top_before = store::find_job("dfm_mask_1")->steps["pcb"].layers["top"];

    std::map<api::solder_mask_DFM_op_items, std::vector<api::solder_mask_DFM_op_result>> result;
    ASSERT_TRUE(api::solder_mask_DFM_op("dfm_mask_1", "pcb", {"SMT"}, rules(), {}, result, nullptr));

    // Nothing is left below a minimum, so nothing new can have appeared.
    const auto after = check("dfm_mask_1", um(40) - 1, um(50) - 1, um(100) - 1);
    for (const Seen& s : after) ADD_FAILURE() << "item " << s.item << " value " << s.value;
    // The hand-worked sizes, measured by the check.
    const auto wide = check("dfm_mask_1", um(1000), um(1000), um(1000));
    EXPECT_EQ(find(wide, item::UndrilledRing, int(o.a))->value, um(75));
    EXPECT_EQ(find(wide, item::SmdRing, int(o.b))->value, um(40));
    EXPECT_EQ(find(wide, item::SmdRing, int(o.c))->value, um(60));
    EXPECT_EQ(find(wide, item::SmdBridge, int(o.b))->value, um(100));
    EXPECT_EQ(find(wide, item::Coverage, int(o.d))->value, um(75));
    EXPECT_EQ(find(wide, item::UndrilledRing, int(o.e))->value, um(75));
    EXPECT_EQ(find(wide, item::SmdRing, int(o.g))->value, um(60));
    EXPECT_EQ(opening_size("dfm_mask_1", o.g, 0), double(um(420)));
    EXPECT_EQ(opening_size("dfm_mask_1", o.g, 1), double(um(720)));

    // The report: six openings at both optima, B held at the SMD minimum for
    // its bridge, one bridge made, one oversized opening brought back.
    EXPECT_EQ(count(result, api::MaskNoViolations), 6);
    EXPECT_EQ(count(result, api::MaskOptCoverOnly), 1);
    EXPECT_EQ(count(result, api::MaskBridgesViolations), 1);
    EXPECT_EQ(count(result, api::MaskOversizedClearances), 1);
    EXPECT_EQ(count(result, api::MaskCannotBridge), 0);
    ASSERT_EQ(result.at(api::MaskNoViolations).size(), 1u);
    EXPECT_EQ(result.at(api::MaskNoViolations)[0].layer, "smt");

    // Untouched openings and all copper keep their records exactly.
    Job& job = *store::find_job("dfm_mask_1");
    const Layer& sm = job.steps["pcb"].layers["smt"];
    for (std::uint32_t k : {o.f, o.h}) {
        EXPECT_EQ(sm.features[k].symbol, sm_before.features[k].symbol);
        EXPECT_EQ(sm.symbols[std::size_t(sm.features[k].symbol)].name,
                  sm_before.symbols[std::size_t(sm_before.features[k].symbol)].name);
    }
    const Layer& top = job.steps["pcb"].layers["top"];
    ASSERT_EQ(top.features.size(), top_before.features.size());
    for (std::size_t i = 0; i < top.features.size(); ++i) EXPECT_EQ(top.features[i].symbol, top_before.features[i].symbol);
    ASSERT_EQ(top.symbols.size(), top_before.symbols.size());

    // One undo puts every opening back.
    ASSERT_TRUE(store::undo(job, "pcb"));
    const Layer& back = job.steps["pcb"].layers["smt"];
    ASSERT_EQ(back.features.size(), sm_before.features.size());
    for (std::size_t i = 0; i < back.features.size(); ++i)
        EXPECT_EQ(back.symbols[std::size_t(back.features[i].symbol)].name,
                  sm_before.symbols[std::size_t(sm_before.features[i].symbol)].name);
    EXPECT_EQ(check("dfm_mask_1", um(40) - 1, um(50) - 1, um(100) - 1).size(), before.size());
    store::remove_job("dfm_mask_1");
}

TEST(DfmSolderMask, ReportOnlyGasketsSelectionAndRefusals)
{
    const Board o = build("dfm_mask_2");
    Job& job = *store::find_job("dfm_mask_2");
    std::map<api::solder_mask_DFM_op_items, std::vector<api::solder_mask_DFM_op_result>> result;
    // Without do_resize the run measures only: nothing to undo.
    auto p = rules();
    p.do_resize = false;
    ASSERT_TRUE(api::solder_mask_DFM_op("dfm_mask_2", "pcb", {"smt"}, p, {}, result, nullptr));
    EXPECT_FALSE(store::undo(job, "pcb"));
    EXPECT_EQ(opening_size("dfm_mask_2", o.a), double(um(420)));
    // A (10 < 50) and G (10 < 40) stay below their minimum clearance.
    EXPECT_EQ(count(result, api::MaskSmallClearances), 2);

    // Gaskets grown on request: H's 300 opening over a 400 pad becomes 550.
    p = rules();
    p.resize_gas_sm_no_drill = true;
    ASSERT_TRUE(api::solder_mask_DFM_op("dfm_mask_2", "pcb", {"smt"}, p, {}, result, nullptr));
    EXPECT_EQ(opening_size("dfm_mask_2", o.h), double(um(550)));
    EXPECT_EQ(count(result, api::MaskGasketRemoved), 1);
    ASSERT_TRUE(store::undo(job, "pcb"));

    // Selected pads only: only A's pad is selected, so only A's opening moves.
    job.steps["pcb"].layers["top"].features[0].selected = true;
    p = rules();
    p.apply_to = 1;
    ASSERT_TRUE(api::solder_mask_DFM_op("dfm_mask_2", "pcb", {"smt"}, p, {}, result, nullptr));
    EXPECT_EQ(opening_size("dfm_mask_2", o.a), double(um(550)));
    EXPECT_EQ(opening_size("dfm_mask_2", o.e), double(um(1000)));

    // A layer that is no mask layer, or no layer at all, refuses the run.
    ASSERT_TRUE(store::undo(job, "pcb"));
    EXPECT_FALSE(api::solder_mask_DFM_op("dfm_mask_2", "pcb", {"smt", "top"}, p, {}, result, nullptr));
    EXPECT_FALSE(api::solder_mask_DFM_op("dfm_mask_2", "pcb", {"smt", "nope"}, p, {}, result, nullptr));
    EXPECT_EQ(opening_size("dfm_mask_2", o.a), double(um(420)));
    store::remove_job("dfm_mask_2");
}

