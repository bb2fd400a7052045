// Teardrops: outlines against geometry worked by hand, and the operation on
// small boards whose spacing, drills and old teardrops are known, measured
// afterwards with the kernel's own distances, never with the operation's.
#include "drc_jobs.h"

#include "engine/api/dfm_ops.h"
#include "engine/dfm/teardrops.h"
#include "engine/drc/feature_shapes.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

// A 600 um round pad at the origin, a 150 um line leaving it along +x for 2 mm.
dfm::TeardropSite site_600_150()
{
    dfm::TeardropSite s;
    s.centre = {0, 0};
    s.radius = um(300);
    s.half_width = um(75);
    s.reach = um(2000);
    return s;
}

std::vector<Point> corners(const Surface& s)
{
    std::vector<Point> out{s.contours.at(0).start};
    for (const Segment& g : s.contours[0].segments) out.push_back(g.end);
    return out;
}

double dist(Point a, Point b) { return std::hypot(double(a.x - b.x), double(a.y - b.y)); }

// Distance from p to the infinite line through a and b.
double to_line(Point p, Point a, Point b)
{
    const double dx = double(b.x - a.x), dy = double(b.y - a.y);
    return std::abs(dx * double(p.y - a.y) - dy * double(p.x - a.x)) / std::hypot(dx, dy);
}

} // namespace

TEST(DfmTeardropShape, StraightTeardropTangentToThePadWithAHandWorkedArea)
{
    const dfm::TeardropSite s = site_600_150();
    // Ratio 0: the tangents touch the pad 60 degrees off the line, at
    // T = (300 cos 60, 300 sin 60) = (150, 259.808) um; along the tangent
    // (sin 60, -cos 60) the line's edge y = 75 is reached after
    // (259.808 - 75) / cos 60 = 369.615 um, at P = (470.096, 75) um.
    const Coord width = dfm::teardrop_width(s, 0);
    EXPECT_NEAR(double(width), 2 * 300000 * std::sqrt(3) / 2, 1);
    const auto tear = dfm::straight_teardrop(s, width);
    ASSERT_TRUE(tear);
    const std::vector<Point> c = corners(*tear); // P+, T+, C, T-, P-, P+
    ASSERT_EQ(c.size(), 6u);
    const double px = 150000 + (259807.621 - 75000) / 0.5 * (std::sqrt(3) / 2);
    EXPECT_NEAR(double(c[0].x), px, 2);
    EXPECT_EQ(c[0].y, um(75));
    EXPECT_NEAR(double(c[1].x), 150000, 1);
    EXPECT_NEAR(double(c[1].y), 259807.621, 1);
    EXPECT_EQ(c[2], (Point{0, 0}));
    EXPECT_EQ(c[4].y, -um(75));
    // Each side touches the pad's circle: its line keeps 300 um from the centre.
    EXPECT_NEAR(to_line({0, 0}, c[0], c[1]), 300000, 2);
    EXPECT_NEAR(to_line({0, 0}, c[3], c[4]), 300000, 2);
    // Area: the triangle C P- P+ (75 * px) and twice the triangle C T+ P+
    // (half of |P x T|): 146,141.7 um^2; nanometre corners keep it within
    // 1 um^2.
    const double tx = 150000, ty = 259807.621;
    const double expected = 75000 * px + (px * ty - 75000 * tx);
    const double area = geom::area(geom::surface_outline(*tear));
    EXPECT_NEAR(area / 1e6, expected / 1e6, 1.0) << "um^2";
    EXPECT_NEAR(area / 1e6, 146141.7, 1.0);
}

TEST(DfmTeardropShape, WidthRatioAndRefusals)
{
    const dfm::TeardropSite s = site_600_150();
    // Three line widths: the tangents touch at +-225 um.
    const Coord width = dfm::teardrop_width(s, 3);
    EXPECT_EQ(width, um(450));
    const auto tear = dfm::straight_teardrop(s, width);
    ASSERT_TRUE(tear);
    EXPECT_NEAR(double(corners(*tear)[1].y), 225000, 1);
    // Never wider than where the tangents touch 70 degrees off the line.
    EXPECT_NEAR(double(dfm::teardrop_width(s, 10)), 2 * 300000 * std::sin(70 * geom::kPi / 180), 1);
    // No wider than the line: nothing to add.
    EXPECT_FALSE(dfm::straight_teardrop(s, um(150)));
    // A line too short for the tail.
    dfm::TeardropSite shortline = s;
    shortline.reach = um(350);
    EXPECT_FALSE(dfm::straight_teardrop(shortline, width));
    // A line wider than the pad.
    dfm::TeardropSite wide = s;
    wide.half_width = um(320);
    EXPECT_FALSE(dfm::straight_teardrop(wide, um(700)));
}

TEST(DfmTeardropShape, ArcTeardropFilletsTouchLineAndPad)
{
    const dfm::TeardropSite s = site_600_150();
    // Sweep 60: fillet radius (300 cos 60 - 75) / (1 - cos 60) = 150 um, its
    // centre at height 225 and sqrt(450^2 - 225^2) = 389.711 um along.
    const auto tear = dfm::arc_teardrop(s, 60);
    ASSERT_TRUE(tear);
    const Contour& c = tear->contours[0];
    const Point line_touch = c.start, fillet = c.segments[0].centre, pad_touch = c.segments[0].end;
    EXPECT_TRUE(c.segments[0].arc);
    EXPECT_NEAR(double(fillet.x), 389711.4, 2);
    EXPECT_EQ(fillet.y, um(225));
    EXPECT_EQ(line_touch.y, um(75));
    EXPECT_NEAR(dist(fillet, line_touch), 150000, 2);
    EXPECT_NEAR(dist(fillet, pad_touch), 150000, 2);
    EXPECT_NEAR(dist({0, 0}, pad_touch), 300000, 2);
    // Area: the pentagon of the touch points and the centre, less the two
    // circular segments the concave sides cut off, 150^2 (pi/3 - sin 60) / 2
    // each. The outline's chords stay within 1 um of the arcs.
    const double fx = 389711.432, k = 300.0 / 450.0;
    const double kx = fx * k, ky = 225000 * k, lx = fx, ly = 75000;
    const double pentagon = ly * lx + (lx * ky - ly * kx);
    const double segment = 150000.0 * 150000.0 * (geom::kPi / 3 - std::sin(geom::kPi / 3)) / 2;
    const double expected = pentagon - 2 * segment;
    const double area = geom::area(geom::surface_outline(*tear));
    EXPECT_NEAR(area / expected, 1.0, 0.002) << area / 1e6 << " vs " << expected / 1e6 << " um^2";
}

namespace {

struct Board {
    JobBuilder b{"tear_board"};
    Layer* top;
    Layer* drill;
    int r600, r150, d300;

    Board()
    {
        top = &b.layer("top", "SIGNAL");
        b.layer("bot", "SIGNAL");
        drill = &b.layer("drill", "DRILL", "top", "bot");
        r600 = JobBuilder::round(*top, 600);
        r150 = JobBuilder::round(*top, 150);
        d300 = JobBuilder::round(*drill, 300);
    }
    void via(double x, double y)
    {
        JobBuilder::pad(*top, r600, x, y);
        JobBuilder::pad(*drill, d300, x, y);
    }
};

std::map<api::teardrop_create_DFM_op_items, api::teardrop_create_DFM_op_result> run(const std::string& job,
                                                                                   api::teardrop_create_DFM_op_params p)
{
    std::map<api::teardrop_create_DFM_op_items, api::teardrop_create_DFM_op_result> result;
    EXPECT_TRUE(api::teardrop_create_DFM_op(job, "pcb", {"TOP"}, p, result, nullptr));
    return result;
}

unsigned count(const std::map<api::teardrop_create_DFM_op_items, api::teardrop_create_DFM_op_result>& r,
               api::teardrop_create_DFM_op_items item)
{
    auto it = r.find(item);
    return it == r.end() ? 0 : it->second.counts[0] + it->second.counts[1] + it->second.counts[2];
}

std::vector<std::size_t> teardrops(const Layer& l)
{
    std::vector<std::size_t> out;
    for (std::size_t i = 0; i < l.features.size(); ++i)
        if (drc::attribute(l, l.features[i], ".tear_drop")) out.push_back(i);
    return out;
}

} // namespace

TEST(DfmTeardropRun, SpacingDrillsOldTeardropsAndUndo)
{
    Board board;
    // Net A: two vias joined by a line along y = 0.
    board.via(0, 0);
    board.via(3000, 0);
    JobBuilder::line(*board.top, board.r150, 0, 0, 3000, 0);
    // Net B: a lone 150 um line 250 um above the left via's land (edge at
    // y = 300 + 250 = 550 .. 700 um), across where its teardrop would go.
    JobBuilder::line(*board.top, board.r150, -500, 625, 1000, 625);
    // Net C: a via 2.3 mm to the right of the right via, too far to matter.
    board.via(6000, 2000);
    store::add_job(std::move(board.b.job));
    Job& job = *store::find_job("tear_board");
    Layer& top = job.steps["pcb"].layers["top"];
    const Layer before = top;

    api::teardrop_create_DFM_op_params p;
    p.drilled_pads = true;
    p.cu_spacing = int(um(150));
    p.drill_spacing = int(um(200));
    auto r = run("tear_board", p);
    // The right end is free; the left end's full teardrop (reaching
    // y = 259.8 um) would come 550 - 259.8 = 290 um from net B... which is
    // more than 150: both are full.
    EXPECT_EQ(count(r, api::TeardropFull), 2u);
    std::vector<std::size_t> made = teardrops(top);
    ASSERT_EQ(made.size(), 2u);

    // With 300 um to keep, the left teardrop must shrink: a full one leaves
    // 290 um; a shortened one keeps 300.
    store::undo(job, "pcb");
    ASSERT_EQ(top.features.size(), before.features.size());
    p.cu_spacing = int(um(300));
    r = run("tear_board", p);
    EXPECT_EQ(count(r, api::TeardropFull), 1u);
    EXPECT_EQ(count(r, api::TeardropShortened), 1u);
    made = teardrops(top);
    ASSERT_EQ(made.size(), 2u);
    geom::OutlineContext ctx = geom::context_of(job);
    // Measured with the kernel: every teardrop keeps 300 um from the net B
    // line (features: two lands, the net A line, the net B line, ...).
    ASSERT_EQ(top.features[3].a.y, um(625));
    const geom::Paths b_line = geom::feature_outline(top, top.features[3], ctx);
    for (std::size_t t : made)
        EXPECT_GE(geom::outline_distance(geom::feature_outline(top, top.features[t], ctx), b_line).distance, 300000 - 2);

    // A second run keeps the old teardrops and adds none; with delete_old
    // they are replaced, not doubled.
    r = run("tear_board", p);
    EXPECT_EQ(teardrops(top).size(), 2u);
    p.delete_old_teardrops = 1;
    r = run("tear_board", p);
    EXPECT_EQ(teardrops(top).size(), 2u);
    EXPECT_EQ(count(r, api::TeardropFull) + count(r, api::TeardropShortened), 2u);

    // Undo three times brings the layer back exactly.
    ASSERT_TRUE(store::undo(job, "pcb"));
    ASSERT_TRUE(store::undo(job, "pcb"));
    ASSERT_EQ(top.features.size(), before.features.size());
    for (std::size_t i = 0; i < before.features.size(); ++i) {
        EXPECT_EQ(top.features[i].a, before.features[i].a);
        EXPECT_EQ(top.features[i].kind, before.features[i].kind);
    }
    EXPECT_EQ(top.surfaces.size(), before.surfaces.size());

    // Holes outside the size range get nothing; a report-only run changes nothing.
    p.delete_old_teardrops = 0;
    p.drill_size_min = int(um(350));
    r = run("tear_board", p);
    EXPECT_TRUE(teardrops(top).empty());
    p.drill_size_min = 0;
    p.work_mode = true;
    r = run("tear_board", p);
    EXPECT_EQ(count(r, api::TeardropFull) + count(r, api::TeardropShortened), 2u);
    EXPECT_TRUE(teardrops(top).empty());
    store::remove_job("tear_board");
}

TEST(DfmTeardropRun, DrillSpacingAndUndrilledPads)
{
    JobBuilder b("tear_drill");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    const int r600 = JobBuilder::round(top, 600), r150 = JobBuilder::round(top, 150), r400 = JobBuilder::round(top, 400);
    const int d300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(top, r600, 0, 0);
    JobBuilder::pad(drill, d300, 0, 0);
    JobBuilder::line(top, r150, 0, 0, 3000, 0);
    // An undrilled 400 um pad at the far end.
    JobBuilder::pad(top, r400, 3000, 0);
    // A bare hole (no copper on top) centred at (150, 650): the full
    // teardrop's corner at (150, 259.8) is 650 - 259.8 - 150 = 240.2 um from
    // its rim; with 250 to keep, the teardrop must shrink.
    JobBuilder::pad(drill, d300, 150, 650);
    store::add_job(std::move(b.job));

    api::teardrop_create_DFM_op_params p;
    p.drilled_pads = true;
    p.drill_spacing = int(um(250));
    auto r = run("tear_drill", p);
    Layer& layer = store::find_job("tear_drill")->steps["pcb"].layers["top"];
    auto made = teardrops(layer);
    ASSERT_EQ(made.size(), 1u);
    EXPECT_EQ(count(r, api::TeardropShortened), 1u);
    const geom::OutlineContext ctx = geom::context_of(*store::find_job("tear_drill"));
    const geom::Paths tear = geom::feature_outline(layer, layer.features[made[0]], ctx);
    // Brute force: the hole's rim, point by point.
    double nearest = 1e18;
    for (int i = 0; i < 3600; ++i) {
        const double a = i * geom::kPi / 1800;
        nearest = std::min(nearest, geom::outline_point_distance(tear, 150000 + 150000 * std::cos(a),
                                                                 650000 + 150000 * std::sin(a)).distance);
    }
    EXPECT_GE(nearest, 250000 - 100);

    // Undrilled pads on request: the far end's 400 um pad gets one too.
    p.undrilled_pads = true;
    p.delete_old_teardrops = 1;
    r = run("tear_drill", p);
    EXPECT_EQ(teardrops(layer).size(), 2u);
    store::remove_job("tear_drill");
}

TEST(DfmTeardropClassify, TeardropsDrawnElsewhereAreMarkedAndThenReplaced)
{
    JobBuilder b("tear_classify");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    const int r600 = JobBuilder::round(top, 600), r150 = JobBuilder::round(top, 150);
    JobBuilder::pad(drill, JobBuilder::round(drill, 300), 0, 0);
    JobBuilder::pad(top, r600, 0, 0);
    JobBuilder::line(top, r150, 0, 0, 3000, 0);
    // A design tool's teardrop at the origin (the shape worked out above),
    // not marked.
    top.surfaces.push_back(*dfm::straight_teardrop(site_600_150(), um(450)));
    Feature tear;
    tear.kind = FeatureKind::Surface;
    tear.body = std::uint32_t(top.surfaces.size() - 1);
    top.features.push_back(tear);
    // A 10 mm plane holding a pad with a line ending in it: not a teardrop.
    JobBuilder::pad(top, r600, 20000, 0);
    JobBuilder::line(top, r150, 20000, 0, 23000, 0);
    Contour plane;
    plane.start = {um(15000), um(-5000)};
    for (auto [x, y] : {std::pair{25000, -5000}, {25000, 5000}, {15000, 5000}, {15000, -5000}})
        plane.segments.push_back({{um(x), um(y)}, {}, false, false});
    top.surfaces.push_back({{plane}});
    Feature pf;
    pf.kind = FeatureKind::Surface;
    pf.body = std::uint32_t(top.surfaces.size() - 1);
    top.features.push_back(pf);
    store::add_job(std::move(b.job));
    Layer& layer = store::find_job("tear_classify")->steps["pcb"].layers["top"];

    std::map<std::string, int> marked;
    ASSERT_TRUE(api::teardrop_attribute_classify("tear_classify", "pcb", {"top"}, marked));
    EXPECT_EQ(marked["top"], 1);
    EXPECT_EQ(teardrops(layer), (std::vector<std::size_t>{2})); // land, line, then the surface
    // A run that deletes old teardrops replaces it with its own, full size.
    api::teardrop_create_DFM_op_params p;
    p.drilled_pads = true;
    p.delete_old_teardrops = 1;
    const auto r = run("tear_classify", p);
    EXPECT_EQ(count(r, api::TeardropFull), 1u);
    const auto now = teardrops(layer);
    ASSERT_EQ(now.size(), 1u);
    EXPECT_NEAR(geom::area(geom::surface_outline(layer.surfaces[layer.features[now[0]].body])) / 1e6, 146141.7, 1.0);
    store::remove_job("tear_classify");
}
