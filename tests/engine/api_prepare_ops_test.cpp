// The drill preparation, the surface analysis and the manufacturing-rule
// spacing on hand-built boards; every expected figure is worked out by hand
// beside the features that make it.
#include "drc_jobs.h"
#include "engine/api/prepare.h"
#include "engine/api/units.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/mrc_rules.h"
#include "engine/drc/surface_analysis.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>
#include <tuple>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

// Pads of a layer as (x, y, symbol name), in micrometres.
using PadSet = std::multiset<std::tuple<Coord, Coord, std::string>>;
PadSet pads_of(const Layer& l)
{
    PadSet out;
    for (const Feature& f : l.features)
        if (f.kind == FeatureKind::Pad)
            out.insert({f.a.x / 1000, f.a.y / 1000, l.symbols[std::size_t(f.symbol)].name});
    return out;
}

// Pads of a layer as (x, y, width, height) in micrometres, whatever their names.
std::multiset<std::tuple<Coord, Coord, Coord, Coord>> sized_pads(const Layer& l)
{
    std::multiset<std::tuple<Coord, Coord, Coord, Coord>> out;
    for (const Feature& f : l.features)
        if (f.kind == FeatureKind::Pad) {
            const auto e = drc::symbol_extent(l.symbols[std::size_t(f.symbol)], f.angle);
            out.insert({f.a.x / 1000, f.a.y / 1000, e[0] / 1000, e[1] / 1000});
        }
    return out;
}

std::uint32_t hole(Layer& drill, double d, double x, double y, const char* kind = nullptr)
{
    const auto p = JobBuilder::pad(drill, JobBuilder::round(drill, d), x, y);
    if (kind) JobBuilder::attribute(drill, p, ".drill", kind);
    return p;
}

Contour polygon(const std::vector<std::pair<double, double>>& pts, bool island)
{
    Contour c;
    c.island = island;
    c.start = {um(pts[0].first), um(pts[0].second)};
    for (std::size_t i = 1; i <= pts.size(); ++i) {
        Segment s;
        s.end = {um(pts[i % pts.size()].first), um(pts[i % pts.size()].second)};
        c.segments.push_back(s);
    }
    return c;
}

std::uint32_t surface(Layer& l, std::vector<Contour> contours)
{
    Surface s;
    s.contours = std::move(contours);
    l.surfaces.push_back(s);
    Feature f;
    f.kind = FeatureKind::Surface;
    f.body = std::uint32_t(l.surfaces.size() - 1);
    l.features.push_back(f);
    return std::uint32_t(l.features.size() - 1);
}

// Measured values of an item, smallest first.
std::vector<Coord> values(const std::map<int, api::signal_check_result>& r, int item)
{
    std::vector<Coord> out;
    auto it = r.find(item);
    if (it == r.end()) return out;
    for (const auto& level : it->second.lv)
        for (const auto& info : level) out.push_back(info.measure_value);
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace

TEST(DrillPrepare, MaskOpeningsAndOuterLandsForPlatedAndNonPlatedHoles)
{
    api::set_working_unit(Units::Mm);
    JobBuilder b("drill_prep");
    Layer& smt = b.layer("smt", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& inner = b.layer("inner", "SIGNAL");
    Layer& bot = b.layer("bot", "SIGNAL");
    Layer& smb = b.layer("smb", "SOLDER_MASK");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    for (Layer* l : {&smt, &top, &inner, &bot, &smb, &drill}) l->units = Units::Mm;
    const auto rect = [](Layer& l, double w, double h) {
        return JobBuilder::symbol(l, SymbolFamily::Rect, w, h, "rect" + std::to_string(int(w)) + "x" + std::to_string(int(h)));
    };
    // A: plated, land 1000 on top only: the bottom gets a copy (the inner
    // layer is left as designed), both masks 1000 + 2 x 75 = 1150.
    hole(drill, 400, 0, 0);
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 0, 0);
    // B: plated, 1200 x 800 lands both sides; the top opening 1400 x 1000
    // already holds 1350 x 950, the bottom one (1000 round) does not.
    hole(drill, 300, 5000, 0);
    JobBuilder::pad(top, rect(top, 1200, 800), 5000, 0);
    JobBuilder::pad(bot, rect(bot, 1200, 800), 5000, 0);
    JobBuilder::pad(smt, rect(smt, 1400, 1000), 5000, 0);
    JobBuilder::pad(smb, JobBuilder::round(smb, 1000), 5000, 0);
    // C: non-plated 2000: openings 2000 + 2 x 200 = 2400 both sides.
    hole(drill, 2000, 10000, 0, "non_plated");
    // D: a via is left alone.
    hole(drill, 250, 15000, 0, "via");
    JobBuilder::pad(top, JobBuilder::round(top, 500), 15000, 0);
    // E: plated without any land: no copy, openings 500 + 150 = 650.
    hole(drill, 500, 20000, 0);
    // F: plated, land 900 on top; the bottom has a line through the hole,
    // so no land is added there and its opening is the hole's, 550.
    hole(drill, 400, 25000, 0);
    JobBuilder::pad(top, JobBuilder::round(top, 900), 25000, 0);
    JobBuilder::line(bot, JobBuilder::round(bot, 600), 24000, 0, 26000, 0);
    const PadSet inner_before = pads_of(inner), top_before = pads_of(top);
    store::add_job(std::move(b.job));

    api::npth_and_pth_prepare_params params;
    params.sm_clearance = 75;
    params.sm_np_clearance = 200;
    params.add_sm_pads = params.add_signal_pads = true;
    ASSERT_TRUE(api::npth_and_pth_prepare_op("drill_prep", "pcb", params, nullptr));
    Job& job = *store::find_job("drill_prep");
    Step& step = job.steps["pcb"];
    using Sized = std::multiset<std::tuple<Coord, Coord, Coord, Coord>>;
    const Sized smt_want{{5000, 0, 1400, 1000}, {0, 0, 1150, 1150}, {10000, 0, 2400, 2400},
                         {20000, 0, 650, 650}, {25000, 0, 1050, 1050}};
    const Sized smb_want{{5000, 0, 1000, 1000}, {0, 0, 1150, 1150},  {5000, 0, 1350, 950},
                         {10000, 0, 2400, 2400}, {20000, 0, 650, 650}, {25000, 0, 550, 550}};
    EXPECT_EQ(sized_pads(step.layers["smt"]), smt_want);
    EXPECT_EQ(sized_pads(step.layers["smb"]), smb_want);
    const Sized bot_want{{5000, 0, 1200, 800}, {0, 0, 1000, 1000}};
    EXPECT_EQ(sized_pads(step.layers["bot"]), bot_want);
    EXPECT_EQ(pads_of(step.layers["inner"]), inner_before);
    EXPECT_EQ(pads_of(step.layers["top"]), top_before);

    // Saved and read back: the same pads, by name.
    kesto::test::TempDir dir;
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir.path() + "/drill_prep", error)) << error;
    Job back;
    ASSERT_TRUE(odb::read_job(dir.path() + "/drill_prep", back, error)) << error;
    for (const char* name : {"smt", "smb", "bot"})
        EXPECT_EQ(pads_of(back.steps["pcb"].layers[name]), pads_of(step.layers[name])) << name;

    // Run again: everything is in place, nothing is added.
    ASSERT_TRUE(api::npth_and_pth_prepare_op("drill_prep", "pcb", params, nullptr));
    EXPECT_EQ(sized_pads(store::find_job("drill_prep")->steps["pcb"].layers["smb"]), smb_want);

    // One undo takes the whole preparation back.
    ASSERT_TRUE(store::undo(*store::find_job("drill_prep"), "pcb"));
    Step& undone = store::find_job("drill_prep")->steps["pcb"];
    EXPECT_EQ(undone.layers["smt"].features.size(), 1u);
    EXPECT_EQ(undone.layers["smb"].features.size(), 1u);
    EXPECT_EQ(undone.layers["bot"].features.size(), 2u);

    // Only the lands asked for: the masks stay as they are.
    params.add_sm_pads = false;
    ASSERT_TRUE(api::npth_and_pth_prepare_op("drill_prep", "pcb", params, nullptr));
    Step& lands = store::find_job("drill_prep")->steps["pcb"];
    EXPECT_EQ(lands.layers["smt"].features.size(), 1u);
    EXPECT_EQ(sized_pads(lands.layers["bot"]), bot_want);

    EXPECT_FALSE(api::npth_and_pth_prepare_op("drill_prep", "nope", params, nullptr));
    params.sm_clearance = -1;
    EXPECT_FALSE(api::npth_and_pth_prepare_op("drill_prep", "pcb", params, nullptr));
    store::remove_job("drill_prep");
}

TEST(SurfaceAnalysis, HolesEdgesFoldsTouchesAndIslands)
{
    using namespace drc::surface_item;
    Layer l;
    const std::string name = "top";
    // A 10 mm square whose top right corner is cut by a 3 x 4 um chamfer
    // (a 5 um edge), holding a 100 x 50 um pinhole and a 3 mm window.
    surface(l, {polygon({{0, 0}, {10000, 0}, {10000, 9996}, {9997, 10000}, {0, 10000}}, true),
                polygon({{1000, 1000}, {1100, 1000}, {1100, 1050}, {1000, 1050}}, false),
                polygon({{5000, 5000}, {8000, 5000}, {8000, 8000}, {5000, 8000}}, false)});
    // A spike 300 um up from the top edge, drawn up and straight back down.
    surface(l, {polygon({{20000, 0}, {30000, 0}, {30000, 5000}, {25000, 5000}, {25000, 5300}, {25000, 5000},
                         {20000, 5000}}, true)});
    // Two 2 mm squares meeting corner to corner, and a square whose
    // triangular hole stands on its bottom edge: two touches.
    surface(l, {polygon({{40000, 0}, {42000, 0}, {42000, 2000}, {40000, 2000}}, true),
                polygon({{42000, 2000}, {44000, 2000}, {44000, 4000}, {42000, 4000}}, true)});
    surface(l, {polygon({{50000, 0}, {54000, 0}, {54000, 4000}, {50000, 4000}}, true),
                polygon({{52000, 0}, {53000, 1000}, {51000, 1000}}, false)});
    // A 150 um island.
    surface(l, {polygon({{60000, 0}, {60150, 0}, {60150, 150}, {60000, 150}}, true)});

    drc::SurfaceLimits limits;
    limits.max_size = um(200);
    limits.small_edge = um(10);
    limits.max_fold = um(500);
    const drc::LevelLimits levels;
    const auto r = drc::analyse_surfaces(l, name, limits, levels);
    EXPECT_EQ(values(r, Hole), std::vector<Coord>{um(100)});
    EXPECT_EQ(values(r, SmallEdge), std::vector<Coord>{um(5)});
    EXPECT_EQ(values(r, Fold), std::vector<Coord>{um(300)});
    EXPECT_EQ(values(r, SelfTouch), (std::vector<Coord>{0, 0}));
    EXPECT_EQ(values(r, SmallIsland), std::vector<Coord>{um(150)});
    // The fold's marker runs down the spike: (25000, 5000) to its tip.
    const auto& fold = r.at(Fold).lv[0][0];
    EXPECT_EQ(fold.values[0], um(25000));
    EXPECT_EQ(fold.values[1], um(5000));
    EXPECT_EQ(fold.values[3], um(5300));

    // A fold longer than the limit is a cut-in line, not a fold; without a
    // size limit every hole counts and no island does.
    limits.max_fold = um(200);
    limits.max_size = 0;
    limits.items = (1u << Hole) | (1u << Fold) | (1u << SmallIsland);
    const auto r2 = drc::analyse_surfaces(l, name, limits, levels);
    EXPECT_EQ(values(r2, Hole), (std::vector<Coord>{um(100), um(2000), um(3000)}));
    EXPECT_TRUE(values(r2, Fold).empty());
    EXPECT_TRUE(values(r2, SmallEdge).empty());
    EXPECT_TRUE(values(r2, SmallIsland).empty());
}

TEST(MrcSpacing, GapsBelowTheCellOfTheirKindsOnly)
{
    JobBuilder b("mrc");
    Layer& l = b.layer("top", "SIGNAL");
    const int r200 = JobBuilder::round(l, 200);
    // Pad 1000 at the origin, a 200 line starting at x = 700: 700 - 100 - 500 = 100 um.
    JobBuilder::pad(l, JobBuilder::round(l, 1000), 0, 0);
    JobBuilder::line(l, r200, 700, 0, 5000, 0);
    // A line touching the pad is the same copper: no gap.
    JobBuilder::line(l, r200, 0, 400, 0, 1500);
    // Two SMDs 1000 wide, centres 1150 apart: 150 um; no smd-line cell.
    const int smd = JobBuilder::symbol(l, SymbolFamily::Rect, 1000, 500, "rect1000x500");
    JobBuilder::attribute(l, JobBuilder::pad(l, smd, 0, 3000), ".smd", "");
    JobBuilder::attribute(l, JobBuilder::pad(l, smd, 1150, 3000), ".smd", "");
    // Parallel 200 lines 250 apart: 50 um.
    JobBuilder::line(l, r200, 0, 6000, 1000, 6000);
    JobBuilder::line(l, r200, 0, 6250, 1000, 6250);
    // A negative pad 20 um from the first line is no copper.
    JobBuilder::pad(l, JobBuilder::round(l, 100), 3000, 170);
    l.features.back().polarity = Polarity::Negative;

    api::dfm_relationship rules;
    rules[{"pad", "line"}] = {0.15, 0};
    rules[{"smd", "smd"}] = {0.2, 0};
    rules[{"line", "line"}] = {0.1, 0};
    rules[{"via", "line"}] = {0.1, 0};
    std::vector<std::string> unknown;
    const auto r = drc::mrc_spacing(b.job, b.job.steps["pcb"], "top", rules, 1e6, unknown);
    EXPECT_EQ(unknown, std::vector<std::string>{"via-line"});
    ASSERT_EQ(r.size(), 3u);
    auto measured = [&](const char* cell) {
        std::vector<Coord> v;
        for (const auto& info : r.at(cell).findings) v.push_back(info.measure_value);
        return v;
    };
    ASSERT_EQ(measured("pad-line").size(), 1u);
    EXPECT_NEAR(measured("pad-line")[0], um(100), 1000);
    EXPECT_EQ(measured("smd-smd"), std::vector<Coord>{um(150)});
    // Only the 250 um pair: the vertical line (0,400)-(0,1500) and the
    // horizontal one from x = 700 are hypot(700, 400) - 200 = 606.226 um
    // apart, above the cell.
    EXPECT_EQ(measured("line-line"), std::vector<Coord>{um(50)});
    EXPECT_EQ(r.at("line-line").message, "1 gap below 0.1");
    const auto& seg = r.at("pad-line").findings[0];
    EXPECT_EQ(seg.shape, api::MarkerSegment);
    EXPECT_EQ(seg.features.size(), 2u);

    // A larger cell for line-line catches the 606 um pair as well.
    rules[{"line", "line"}] = {0.7, 0};
    const auto r2 = drc::mrc_spacing(b.job, b.job.steps["pcb"], "top", rules, 1e6, unknown);
    std::vector<Coord> v;
    for (const auto& info : r2.at("line-line").findings) v.push_back(info.measure_value);
    ASSERT_EQ(v.size(), 2u);
    EXPECT_EQ(v[0], um(50));
    EXPECT_NEAR(v[1], 606226, 1000);
}
