// Reports and measures on small boards whose figures are worked out by hand.
#include "drc_jobs.h"
#include "engine/api/classify.h"
#include "engine/api/layer_roles.h"
#include "engine/api/profile.h"
#include "engine/api/reports.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto;
using namespace kesto::test;

namespace {

Contour box_contour(double x1, double y1, double x2, double y2)
{
    Contour c;
    c.start = {um(x1), um(y1)};
    for (auto [x, y] : {std::pair{x2, y1}, {x2, y2}, {x1, y2}, {x1, y1}}) {
        Segment s;
        s.end = {um(x), um(y)};
        c.segments.push_back(s);
    }
    return c;
}

// Profile 20 x 10 mm. Top: a 1 mm disc at (2,2), a 2 x 1 mm rectangle at
// (6,2), a 4 mm track 0.2 mm wide at y = 2 from x = 10, a 1 mm disc
// outside the profile at (25,5). A through drill with 0.4 mm holes at (2,2)
// and (6,2.2), and a 0.3 mm slot.
Job measured_board()
{
    JobBuilder b("measures");
    Step& step = b.job.steps["pcb"];
    step.profile.contours.push_back(box_contour(0, 0, 20000, 10000));
    step.has_profile = true;
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("bottom", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bottom");
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 2000, 2000);
    JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 2000, 1000, "rect2000x1000"), 6000, 2000);
    JobBuilder::line(top, JobBuilder::round(top, 200), 10000, 2000, 14000, 2000);
    JobBuilder::pad(top, JobBuilder::round(top, 1000), 25000, 5000);
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 2000, 2000);
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 6000, 2200);
    JobBuilder::line(drill, JobBuilder::round(drill, 300), 15000, 8000, 16000, 8000);
    return b.job;
}

// Extents come from outlines: round edges are chords within a micron.
constexpr double kChord = 0.001;

Layer& top_of(const std::string& job) { return store::find_job(job)->steps["pcb"].layers["top"]; }

} // namespace

TEST(ApiReports, CountsExtentsAndCentresOfAHandDrawnLayer)
{
    KESTO::API::set_working_unit(Units::Mm);
    store::add_job(measured_board());
    std::vector<KESTO::API::features_report_entry> report;
    ASSERT_TRUE(KESTO::API::features_report("measures", "pcb", {"TOP"}, false, report));
    ASSERT_EQ(report.size(), 1u);
    EXPECT_EQ(report[0].total, 4);
    EXPECT_EQ(report[0].kinds, (std::map<std::string, int>{{"line", 1}, {"pad", 3}}));
    EXPECT_EQ(report[0].symbols, (std::map<std::string, int>{{"r1000", 2}, {"r200", 1}, {"rect2000x1000", 1}}));
    EXPECT_NEAR(report[0].box.xmin, 1.5, kChord);
    EXPECT_NEAR(report[0].box.xmax, 25.5, kChord);
    EXPECT_NEAR(report[0].box.ymin, 1.5, kChord);
    EXPECT_NEAR(report[0].box.ymax, 5.5, kChord);

    // Only the rectangle and the track selected.
    top_of("measures").features[1].selected = top_of("measures").features[2].selected = true;
    ASSERT_TRUE(KESTO::API::features_report("measures", "pcb", {"top"}, true, report));
    EXPECT_EQ(report[0].total, 2);
    KESTO::API::extent box;
    ASSERT_TRUE(KESTO::API::features_box("measures", "pcb", {"top"}, true, box));
    EXPECT_NEAR(box.xmin, 5, kChord);
    EXPECT_NEAR(box.xmax, 14.1, kChord);
    EXPECT_NEAR(box.ymax, 2.5, kChord);

    std::vector<KESTO::API::feature_centre> centres;
    ASSERT_TRUE(KESTO::API::features_centres("measures", "pcb", "top", centres));
    ASSERT_EQ(centres.size(), 2u);
    EXPECT_EQ(centres[0].index, 1);
    EXPECT_DOUBLE_EQ(centres[0].x, 6);
    EXPECT_DOUBLE_EQ(centres[1].x, 12);
    EXPECT_DOUBLE_EQ(centres[1].y, 2);

    // The gap from the rectangle's right side (x = 7) to the track's cap (x = 9.9).
    KESTO::API::spacing gap;
    ASSERT_TRUE(KESTO::API::selected_min_spacing("measures", "pcb", "top", gap));
    EXPECT_NEAR(gap.distance, 2.9, 1e-6);
    EXPECT_EQ(gap.a, 1);
    EXPECT_EQ(gap.b, 2);
    EXPECT_NEAR(gap.ax, 7, 1e-6);
    EXPECT_NEAR(gap.bx, 9.9, 1e-6);
}

TEST(ApiReports, AnnularRingsAndQuotationFigures)
{
    KESTO::API::set_working_unit(Units::Mm);
    store::add_job(measured_board());
    KESTO::API::annular_rings rings;
    ASSERT_TRUE(KESTO::API::get_annular_ring("measures", "pcb", "top", "", rings));
    EXPECT_EQ(rings.drill_layer, "drill");
    ASSERT_EQ(rings.holes.size(), 2u); // the slot is not a hole
    // Centred in the disc: 0.5 - 0.2. Off centre in the rectangle: 0.3 to its top side less 0.2.
    EXPECT_NEAR(rings.holes[0].ring, 0.3, 1e-6);
    EXPECT_NEAR(rings.holes[1].ring, 0.1, 1e-6);
    EXPECT_NEAR(rings.min_ring, 0.1, 1e-6);
    EXPECT_EQ(rings.without_pad, 0);

    // The bottom has no pads: every hole is without one.
    ASSERT_TRUE(KESTO::API::get_annular_ring("measures", "pcb", "bottom", "drill", rings));
    EXPECT_EQ(rings.without_pad, 2);

    KESTO::API::quote_info q;
    ASSERT_TRUE(KESTO::API::quote_price_info("measures", "pcb", q));
    EXPECT_DOUBLE_EQ(q.width, 20);
    EXPECT_DOUBLE_EQ(q.height, 10);
    EXPECT_DOUBLE_EQ(q.area, 200);
    EXPECT_EQ(q.copper_layers, 2);
    EXPECT_DOUBLE_EQ(q.min_line, 0.2);
    EXPECT_DOUBLE_EQ(q.min_drill, 0.3);
    EXPECT_EQ(q.holes, 2);
    EXPECT_EQ(q.slots, 1);
    const double pi = 3.14159265358979323846;
    // Inside the profile: the disc at (2,2), the rectangle, the track with its caps.
    EXPECT_NEAR(q.top_copper, pi * 0.25 + 2 + 0.8 + pi * 0.01, 0.005);
    EXPECT_EQ(q.bottom_copper, 0);
}

TEST(ApiReports, RotatedBoxOfATurnedRectangle)
{
    KESTO::API::set_working_unit(Units::Mm);
    Job job = measured_board();
    Layer& top = job.steps["pcb"].layers["top"];
    // The rectangle turned 30 degrees clockwise: its long side runs at -30 degrees.
    top.features[1].angle = 30;
    top.features[1].selected = true;
    store::add_job(std::move(job));
    KESTO::API::rotated_box box;
    ASSERT_TRUE(KESTO::API::feature_rotated_box("measures", "pcb", "top", box));
    EXPECT_NEAR(box.width, 2, 1e-5);
    EXPECT_NEAR(box.height, 1, 1e-5);
    EXPECT_NEAR(box.angle, 150, 1e-3);
    EXPECT_NEAR(box.cx, 6, 1e-5);
    EXPECT_NEAR(box.cy, 2, 1e-5);
    // Every corner is a corner of the turned rectangle: 1.118 mm from the centre.
    for (const auto& c : box.corners) EXPECT_NEAR(std::hypot(c[0] - 6, c[1] - 2), std::hypot(1, 0.5), 1e-5);
}

TEST(ApiReports, PolygonInteractionAndProfiles)
{
    KESTO::API::set_working_unit(Units::Mm);
    store::add_job(measured_board());
    std::vector<int> hits;
    ASSERT_TRUE(KESTO::API::polygon_interacts("measures", "pcb", "top", {{5.5, 1}, {8, 1}, {8, 3}, {5.5, 3}}, hits));
    EXPECT_EQ(hits, std::vector<int>{1});
    // Touching the disc's edge at x = 2.5 counts; clear of everything does not.
    ASSERT_TRUE(KESTO::API::polygon_interacts("measures", "pcb", "top", {{2.5, 0}, {4, 0}, {4, 4}, {2.5, 4}}, hits));
    EXPECT_EQ(hits, std::vector<int>{0});
    ASSERT_TRUE(KESTO::API::polygon_interacts("measures", "pcb", "top", {{3, 5}, {4, 5}, {4, 6}}, hits));
    EXPECT_TRUE(hits.empty());
    EXPECT_FALSE(KESTO::API::polygon_interacts("measures", "pcb", "top", {{3, 5}, {4, 5}}, hits));

    int outside = 0;
    ASSERT_TRUE(KESTO::API::highlight_reference_profile("measures", "pcb", "top", outside));
    EXPECT_EQ(outside, 1);
    EXPECT_TRUE(top_of("measures").features[3].highlighted);
    EXPECT_FALSE(top_of("measures").features[0].highlighted);

    // A frame of 0.2 mm strokes around (-1,-1)-(29,14): the profile follows their centre line.
    Layer& frame = store::find_job("measures")->steps["pcb"].layers["top"];
    frame.features.clear();
    const int r200 = JobBuilder::round(frame, 200);
    JobBuilder::line(frame, r200, -1000, -1000, 29000, -1000);
    JobBuilder::line(frame, r200, 29000, -1000, 29000, 14000);
    JobBuilder::line(frame, r200, 29000, 14000, -1000, 14000);
    JobBuilder::line(frame, r200, -1000, 14000, -1000, -1000);
    ASSERT_TRUE(KESTO::API::create_profile("measures", "pcb", "top"));
    KESTO::API::profile_shape shape;
    ASSERT_TRUE(KESTO::API::get_profile("measures", "pcb", shape));
    EXPECT_TRUE(shape.exists);
    EXPECT_NEAR(shape.area, 30 * 15, 1e-3);
    EXPECT_NEAR(shape.xmin, -1, 1e-5);
    EXPECT_NEAR(shape.ymax, 14, 1e-5);

    // A rectangle, drawn back as four lines of 0.3 mm that undo takes away again.
    ASSERT_TRUE(KESTO::API::create_profile("measures", "pcb", 0, 0, 50, 40));
    ASSERT_TRUE(KESTO::API::get_profile("measures", "pcb", shape));
    EXPECT_DOUBLE_EQ(shape.area, 2000);
    ASSERT_EQ(shape.contours.size(), 1u);
    EXPECT_EQ(shape.contours[0].segments.size(), 4u);
    int added = 0;
    ASSERT_TRUE(KESTO::API::profile_to_outerline("measures", "pcb", "bottom", 0.3, added));
    EXPECT_EQ(added, 4);
    const Layer& bottom = store::find_job("measures")->steps["pcb"].layers["bottom"];
    ASSERT_EQ(bottom.features.size(), 4u);
    EXPECT_EQ(bottom.symbols[size_t(bottom.features[0].symbol)].p[0], 300000);
    EXPECT_TRUE(store::undo(*store::find_job("measures"), "pcb"));
    EXPECT_TRUE(store::find_job("measures")->steps["pcb"].layers["bottom"].features.empty());
    EXPECT_FALSE(KESTO::API::profile_to_outerline("measures", "pcb", "bottom", 0, added));
}

TEST(ApiReports, PanelFrameBetweenTheBoards)
{
    KESTO::API::set_working_unit(Units::Mm);
    JobBuilder b("panel_job");
    b.layer("frame", "DOCUMENT");
    Step& pcb = b.job.steps["pcb"];
    pcb.profile.contours.push_back(box_contour(0, 0, 20000, 10000));
    pcb.has_profile = true;
    Step& panel = b.job.steps["panel"];
    panel.name = "panel";
    b.job.columns.push_back({2, "panel", 2});
    panel.profile.contours.push_back(box_contour(0, 0, 100000, 80000));
    panel.has_profile = true;
    // Three by two boards 30 mm and 20 mm apart, and one more turned a quarter.
    StepRepeat grid;
    grid.step = "pcb";
    grid.origin = {um(10000), um(10000)};
    grid.dx = um(30000);
    grid.dy = um(20000);
    grid.nx = 3;
    grid.ny = 2;
    StepRepeat turned = grid;
    turned.origin = {um(50000), um(75000)};
    turned.nx = turned.ny = 1;
    turned.angle = 90;
    panel.repeats = {grid, turned};
    store::add_job(std::move(b.job));

    double area = 0;
    ASSERT_TRUE(KESTO::API::create_layer_between_profile("panel_job", "panel", "frame", 0, area));
    EXPECT_NEAR(area, 8000 - 7 * 200, 1e-6);
    // The turned board stands below its origin: 10 wide, 20 down.
    const Layer& frame = store::find_job("panel_job")->steps["panel"].layers["frame"];
    ASSERT_EQ(frame.features.size(), 1u);
    geom::OutlineContext none;
    const geom::Paths filled = geom::feature_outline(frame, frame.features[0], none);
    EXPECT_EQ(geom::locate({um(55000), um(60000)}, filled), geom::Where::Outside);
    EXPECT_EQ(geom::locate({um(55000), um(50000)}, filled), geom::Where::Inside);
    // A 1 mm margin round every board, on a new layer.
    ASSERT_TRUE(KESTO::API::create_layer_between_profile("panel_job", "panel", "FRAME2", 1, area));
    // Round corners of the grown boards: chords within a micron of 2 pi mm of arc each.
    EXPECT_NEAR(area, 8000 - 7 * (22 * 12 - (4 - 3.14159265358979)), 7 * 2 * 3.1416 * 0.001);
    EXPECT_FALSE(KESTO::API::create_layer_between_profile("panel_job", "pcb", "frame", 0, area));
}

TEST(ApiReports, MinToleranceLooksAcrossNetsOnly)
{
    KESTO::API::set_working_unit(Units::Mm);
    Job job = measured_board();
    Layer& top = job.steps["pcb"].layers["top"];
    // A second track 0.15 mm beside the first, joined to it at its end (one
    // net, no constraint), and a pad of its own 0.35 mm from the disc at (2,2).
    const int r200 = JobBuilder::round(top, 200);
    JobBuilder::line(top, r200, 10000, 2350, 14000, 2350);
    JobBuilder::line(top, r200, 14000, 2000, 14000, 2350);
    JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Square, 500, 500, "s500"), 3100, 2000);
    store::add_job(std::move(job));
    KESTO::API::layer_tolerance t;
    ASSERT_TRUE(KESTO::API::get_min_tolerance("measures", "pcb", "top", t));
    EXPECT_DOUBLE_EQ(t.min_line, 0.2);
    EXPECT_DOUBLE_EQ(t.min_pad, 0.5);
    ASSERT_TRUE(t.has_spacing);
    // Disc edge at x = 2.5, square's left side at 3.1 - 0.25.
    EXPECT_NEAR(t.min_spacing, 0.35, 1e-6);
    EXPECT_EQ(t.a, 0);
    EXPECT_EQ(t.b, 6);
    EXPECT_FALSE(KESTO::API::get_min_tolerance("measures", "pcb", "drill", t));
}

TEST(ApiReports, ViaInSmdPadsAndFeaturesUnderAPoint)
{
    KESTO::API::set_working_unit(Units::Mm);
    Job job = measured_board();
    Layer& top = job.steps["pcb"].layers["top"];
    Layer& drill = job.steps["pcb"].layers["drill"];
    // The rectangle is an SMD pad with one hole in it; a second SMD pad has two.
    JobBuilder::attribute(top, 1, ".smd", "");
    const auto twice = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Square, 2000, 2000, "s2000"), 16000, 5000);
    JobBuilder::attribute(top, twice, ".smd", "");
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 15600, 5000);
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 16400, 5000);
    store::add_job(std::move(job));

    std::string used;
    std::vector<KESTO::API::pad_with_hole> pads;
    ASSERT_TRUE(KESTO::API::smd_with_one_drill("measures", "pcb", "top", "", used, pads));
    EXPECT_EQ(used, "drill");
    ASSERT_EQ(pads.size(), 1u); // the disc has a hole but is not SMD
    EXPECT_EQ(pads[0].index, 1);
    EXPECT_EQ(pads[0].hole, 1);
    EXPECT_DOUBLE_EQ(pads[0].y, 2.2);
    EXPECT_DOUBLE_EQ(pads[0].drill, 0.4);

    std::vector<KESTO::API::feature_at> found;
    ASSERT_TRUE(KESTO::API::features_at_point("measures", "pcb", {"top", "DRILL"}, 2, 2, 0, found));
    ASSERT_EQ(found.size(), 2u);
    EXPECT_EQ(found[0].layer + "/" + found[0].symbol, "top/r1000");
    EXPECT_EQ(found[1].layer + "/" + found[1].kind, "drill/pad");
    // 0.1 mm beyond the disc's edge: only a margin a little wider catches it.
    ASSERT_TRUE(KESTO::API::features_at_point("measures", "pcb", {"top"}, 2.6, 2, 0, found));
    EXPECT_TRUE(found.empty());
    ASSERT_TRUE(KESTO::API::features_at_point("measures", "pcb", {"top"}, 2.6, 2, 0.11, found));
    EXPECT_EQ(found.size(), 1u);
}

TEST(ApiReports, PadRolesFromHolesAndNeighbours)
{
    KESTO::API::set_working_unit(Units::Mm);
    Job job = measured_board();
    Layer& top = job.steps["pcb"].layers["top"];
    Layer& drill = job.steps["pcb"].layers["drill"];
    JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Square, 500, 500, "s500"), 12000, 6000);
    JobBuilder::pad(top, JobBuilder::round(top, 600), 12000, 2900); // 0.5 mm from the track: not alone
    JobBuilder::pad(top, JobBuilder::round(top, 2000), 16000, 5000);
    JobBuilder::pad(drill, JobBuilder::round(drill, 1000), 16000, 5000);
    store::add_job(std::move(job));
    KESTO::API::classified c;
    ASSERT_TRUE(KESTO::API::auto_classify_attribute("measures", "pcb", "top", 0.5, c));
    EXPECT_EQ(c.via, 2);      // the disc and the rectangle, 0.4 mm holes
    EXPECT_EQ(c.toeprint, 1); // the 2 mm pad round its 1 mm hole
    EXPECT_EQ(c.fiducial, 1); // the lone 1 mm disc outside the profile
    EXPECT_EQ(c.smd, 2);
    const Layer& done = top_of("measures");
    EXPECT_EQ(edit::attributes_of(done, done.features[3]).at(".pad_usage"), "g_fiducial");
    EXPECT_EQ(edit::attributes_of(done, done.features[5]).count(".smd"), 1u);
    EXPECT_EQ(edit::attributes_of(done, done.features[0]).at(".pad_usage"), "via");
    EXPECT_TRUE(store::undo(*store::find_job("measures"), "pcb"));
    EXPECT_TRUE(edit::attributes_of(top_of("measures"), top_of("measures").features[0]).empty());
    EXPECT_FALSE(KESTO::API::auto_classify_attribute("measures", "pcb", "drill", 0.5, c));
}
