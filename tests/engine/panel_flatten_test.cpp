// Step and repeat: where nested steps land, what a panel's layer holds once
// its boards are placed, the step header on disk, and a panel layer exported
// as Gerber and drawn by gerbv. Expected positions are worked by hand.
#include "engine/api/copper.h"
#include "engine/api/exchange.h"
#include "engine/api/jobs.h"
#include "engine/api/panel.h"
#include "engine/edit/step_repeat.h"
#include "engine/formats/odb/job_io.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"
#include "engine/gerber_gerbv.h"
#include "support/test_support.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

using namespace kesto;

namespace {

constexpr Coord mm = kNmPerMm;

Surface rectangle(Coord x0, Coord y0, Coord x1, Coord y1)
{
    Contour c;
    c.start = {x0, y0};
    for (Point p : {Point{x0, y1}, Point{x1, y1}, Point{x1, y0}, Point{x0, y0}}) c.segments.push_back({p, {}, false, false});
    Surface s;
    s.contours.push_back(c);
    return s;
}

void add_pad(Layer& layer, const char* symbol, Point at)
{
    Symbol s = odb::parse_symbol_name(symbol, Units::Mm);
    layer.symbols.push_back(s);
    Feature f;
    f.kind = FeatureKind::Pad;
    f.symbol = std::int32_t(layer.symbols.size() - 1);
    f.a = at;
    layer.features.push_back(f);
}

MatrixRow row(const char* name, const char* type)
{
    MatrixRow r;
    r.name = name;
    r.context = "BOARD";
    r.type = type;
    return r;
}

// A 10 x 5 mm board "pcb" (datum at its lower left corner) with one pad at
// (2, 1) on "top" and one at (3, 1) on "bottom"; an empty "panel".
Job small_job()
{
    Job job;
    job.name = "pj";
    job.units = Units::Mm;
    job.rows = {row("top", "SIGNAL"), row("drill", "DRILL"), row("bottom", "SIGNAL")};
    job.columns = {{1, "pcb", 0}, {2, "panel", 0}};
    Step& pcb = job.steps["pcb"];
    pcb.name = "pcb";
    pcb.profile = rectangle(0, 0, 10 * mm, 5 * mm);
    pcb.has_profile = true;
    for (const MatrixRow& r : job.rows) pcb.layers[r.name].units = Units::Mm;
    add_pad(pcb.layers["top"], "r1000", {2 * mm, 1 * mm});
    add_pad(pcb.layers["bottom"], "s500", {3 * mm, 1 * mm});
    Step& panel = job.steps["panel"];
    panel.name = "panel";
    for (const MatrixRow& r : job.rows) panel.layers[r.name].units = Units::Mm;
    return job;
}

StepRepeat repeat(const char* step, Coord x, Coord y, Coord dx, Coord dy, int nx, int ny, double angle = 0,
                  bool mirror = false, bool flip = false)
{
    StepRepeat r;
    r.step = step;
    r.origin = {x, y};
    r.dx = dx, r.dy = dy, r.nx = nx, r.ny = ny;
    r.angle = angle, r.mirror = mirror, r.flip = flip;
    return r;
}

std::multiset<std::pair<Coord, Coord>> pads_of(const Layer& layer)
{
    std::multiset<std::pair<Coord, Coord>> out;
    for (const Feature& f : layer.features) out.insert({f.a.x, f.a.y});
    return out;
}

} // namespace

TEST(PanelFlatten, GridsTurnsMirrorsAndFlipsLandWhereWorkedByHand)
{
    Job job = small_job();
    Step& panel = job.steps["panel"];
    add_pad(panel.layers["top"], "r200", {1 * mm, 1 * mm}); // the panel's own feature stays first
    panel.repeats = {repeat("pcb", 20 * mm, 10 * mm, 15 * mm, 10 * mm, 2, 2),
                     // (2,1) turned a quarter clockwise about the datum is (1,-2).
                     repeat("pcb", 60 * mm, 10 * mm, 0, 0, 1, 1, 90),
                     // mirrored first: (-2,1), then turned: (1,2).
                     repeat("pcb", 80 * mm, 10 * mm, 0, 0, 1, 1, 90, true)};
    Layer top;
    std::string error;
    ASSERT_TRUE(edit::flattened_layer(job, panel, "TOP", top, error)) << error;
    ASSERT_EQ(top.features.size(), 7u);
    EXPECT_EQ(top.features[0].a, (Point{1 * mm, 1 * mm}));
    const std::multiset<std::pair<Coord, Coord>> expected{
        {1 * mm, 1 * mm},   {22 * mm, 11 * mm}, {22 * mm, 21 * mm}, {37 * mm, 11 * mm},
        {37 * mm, 21 * mm}, {61 * mm, 8 * mm},  {81 * mm, 12 * mm}};
    EXPECT_EQ(pads_of(top), expected);
    // The copies keep their symbol, wherever the panel's table put it.
    EXPECT_EQ(top.symbols[size_t(top.features[1].symbol)].name, "r1000");
    EXPECT_TRUE(top.features[6].mirror);

    // A flipped board is seen from below: the panel's top shows the board's
    // bottom pad, mirrored: (3,1) -> (-3,1) about the datum at (100,0).
    panel.repeats = {repeat("pcb", 100 * mm, 0, 0, 0, 1, 1, 0, false, true)};
    ASSERT_TRUE(edit::flattened_layer(job, panel, "top", top, error)) << error;
    EXPECT_EQ(pads_of(top), (std::multiset<std::pair<Coord, Coord>>{{1 * mm, 1 * mm}, {97 * mm, 1 * mm}}));
    EXPECT_EQ(top.symbols[size_t(top.features[1].symbol)].name, "s500");
    EXPECT_EQ(edit::facing_layer(job, "drill"), "drill");
}

TEST(PanelFlatten, NestedPanelsComposeAndLoopsAreRefused)
{
    Job job = small_job();
    // A strip of two boards, datum at (5, 0); the panel holds the strip half
    // turned at (100, 50): a point p of the strip lands at (100,50) - (p - (5,0)).
    Step& strip = job.steps["strip"];
    strip.name = "strip";
    strip.datum = {5 * mm, 0};
    strip.repeats = {repeat("pcb", 0, 0, 12 * mm, 0, 2, 1)};
    job.columns.push_back({3, "strip", 0});
    Step& panel = job.steps["panel"];
    panel.repeats = {repeat("strip", 100 * mm, 50 * mm, 0, 0, 1, 1, 180)};
    std::vector<edit::StepInstance> all;
    std::string error;
    ASSERT_TRUE(edit::step_instances(job, panel, all, error)) << error;
    ASSERT_EQ(all.size(), 3u); // the strip, then its two boards
    EXPECT_EQ(all[0].depth, 1);
    EXPECT_EQ(all[1].depth, 2);
    Layer top;
    ASSERT_TRUE(edit::flattened_layer(job, panel, "top", top, error)) << error;
    // Strip pads at (2,1) and (14,1): (100+5-2, 50-1) and (100+5-14, 49).
    EXPECT_EQ(pads_of(top), (std::multiset<std::pair<Coord, Coord>>{{103 * mm, 49 * mm}, {91 * mm, 49 * mm}}));
    // The first board's profile (0..10 x 0..5) lands on 95..105 x 45..50.
    EXPECT_EQ(all[1].profile.xmin, 95 * mm);
    EXPECT_EQ(all[1].profile.xmax, 105 * mm);
    EXPECT_EQ(all[1].profile.ymin, 45 * mm);

    strip.repeats.push_back(repeat("panel", 0, 0, 0, 0, 1, 1));
    EXPECT_FALSE(edit::flattened_layer(job, panel, "top", top, error));
    EXPECT_NE(error.find("nested in itself"), std::string::npos) << error;
    strip.repeats = {repeat("nothing", 0, 0, 0, 0, 1, 1)};
    EXPECT_FALSE(edit::step_instances(job, panel, all, error));
    strip.repeats = {repeat("pcb", 0, 0, 0, 0, 0, 1)};
    EXPECT_FALSE(edit::step_instances(job, panel, all, error));
}

TEST(PanelFlatten, StepHeaderKeepsTheTableMarginsAndDatumOnDisk)
{
    Job job = small_job();
    Step& panel = job.steps["panel"];
    panel.datum = {1 * mm, 2 * mm};
    panel.header["UNITS"] = "MM";
    panel.header["LEFT_ACTIVE"] = "7.5";
    panel.repeats = {repeat("pcb", 20 * mm, 10 * mm, 15 * mm, 10 * mm, 3, 2),
                     repeat("pcb", 12345678, 7654321, 0, 0, 1, 1, 270, true, true)};
    test::TempDir dir;
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "pj", error)) << error;
    // The format's own layout of a step header block.
    const std::string text = test::read_file(dir / "pj/steps/panel/stephdr");
    EXPECT_NE(text.find("STEP-REPEAT {\n"), std::string::npos) << text;
    EXPECT_NE(text.find("NAME=PCB\n"), std::string::npos) << text;
    EXPECT_NE(text.find("X=20\n"), std::string::npos) << text;
    EXPECT_NE(text.find("NX=3\n"), std::string::npos) << text;
    EXPECT_NE(text.find("LEFT_ACTIVE=7.5\n"), std::string::npos) << text;
    Job back;
    ASSERT_TRUE(odb::read_job(dir / "pj", back, error)) << error;
    const Step& read = back.steps.at("panel");
    EXPECT_EQ(read.datum, panel.datum);
    EXPECT_EQ(read.header.at("LEFT_ACTIVE"), "7.5");
    ASSERT_EQ(read.repeats.size(), 2u);
    for (size_t k = 0; k < 2; ++k) {
        const StepRepeat &a = panel.repeats[k], &b = read.repeats[k];
        EXPECT_EQ(b.step, a.step);
        EXPECT_EQ(b.origin, a.origin);
        EXPECT_EQ(b.dx, a.dx);
        EXPECT_EQ(b.dy, a.dy);
        EXPECT_EQ(b.nx, a.nx);
        EXPECT_EQ(b.ny, a.ny);
        EXPECT_EQ(b.angle, a.angle);
        EXPECT_EQ(b.mirror, a.mirror);
        EXPECT_EQ(b.flip, a.flip);
    }
}

TEST(PanelFlatten, GerberExportOfAPanelLayerShowsEveryBoardToGerbv)
{
    if (!have_gerbv()) GTEST_SKIP() << "gerbv is not installed";
    Job job = small_job();
    job.name = "gerbv_panel";
    // One big square pad in the middle of each board makes each board a blob.
    Layer& top = job.steps["pcb"].layers["top"];
    top = Layer{};
    top.units = Units::Mm;
    add_pad(top, "s3000", {5 * mm, 2500000});
    job.steps["panel"].repeats = {repeat("pcb", 5 * mm, 5 * mm, 15 * mm, 10 * mm, 3, 2),
                                  repeat("pcb", 55 * mm, 20 * mm, 0, 0, 1, 1, 90)};
    store::add_job(job);
    test::TempDir dir;
    std::vector<KESTO::API::translate_report> reports;
    ASSERT_TRUE(KESTO::API::export_gerber("gerbv_panel", "panel", "top", dir / "top.gbr", {}, reports));
    store::remove_job("gerbv_panel");
    // gerbv's picture at 100 dpi of a 3 x 2 inch window from the origin.
    const std::string command = "/usr/bin/gerbv -x png -B 0 --dpi=100 --origin=0x0 --window_inch=3x2 -b '#000000' "
                                "-f '#FFFFFFFF' -o '" + (dir / "top.png") + "' '" + (dir / "top.gbr") + "' >/dev/null 2>&1";
    ASSERT_EQ(std::system(command.c_str()), 0);
    cairo_surface_t* png = cairo_image_surface_create_from_png((dir / "top.png").c_str());
    ASSERT_EQ(cairo_surface_status(png), CAIRO_STATUS_SUCCESS);
    const int h = cairo_image_surface_get_height(png);
    auto lit = [&](double x_mm, double y_mm) {
        const int c = int(x_mm / 25.4 * 100), r = h - 1 - int(y_mm / 25.4 * 100);
        const auto* line = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(png) +
                                                                  r * cairo_image_surface_get_stride(png));
        return ((line[c] >> 8) & 0xff) > 127;
    };
    // Board centres: (5+5 + 15 i, 5+2.5 + 10 j); the turned one's pad (5,2.5)
    // goes to (2.5,-5) about its datum, so to (57.5, 15).
    int boards = 0;
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) {
            EXPECT_TRUE(lit(10 + 15 * i, 7.5 + 10 * j)) << i << "," << j;
            boards += lit(10 + 15 * i, 7.5 + 10 * j);
        }
    EXPECT_TRUE(lit(57.5, 15));
    boards += lit(57.5, 15);
    EXPECT_EQ(boards, 7);
    // Between boards nothing is drawn.
    EXPECT_FALSE(lit(17.5, 12.5));
    EXPECT_FALSE(lit(57.5, 7.5));
    cairo_surface_destroy(png);
}

TEST(PanelFlatten, FeatureArrayRepeatsTheSelectionAndUndoesInOne)
{
    Job job = small_job();
    job.name = "array_job";
    Layer& top = job.steps["pcb"].layers["top"];
    add_pad(top, "r300", {9 * mm, 4 * mm}); // not selected: stays single
    top.features[0].selected = true;
    store::add_job(job);
    std::string error;
    EXPECT_EQ(KESTO::API::do_step_and_repeat("array_job", "PCB", {"Top"}, 3, 2, 5, 4, error), 5) << error;
    Layer& after = store::find_job("array_job")->steps["pcb"].layers["top"];
    std::multiset<std::pair<Coord, Coord>> expected{{9 * mm, 4 * mm}};
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) expected.insert({2 * mm + i * 5 * mm, 1 * mm + j * 4 * mm});
    EXPECT_EQ(pads_of(after), expected);
    EXPECT_TRUE(KESTO::API::Undo("array_job", "pcb"));
    EXPECT_EQ(store::find_job("array_job")->steps["pcb"].layers["top"].features.size(), 2u);
    EXPECT_EQ(KESTO::API::do_step_and_repeat("array_job", "pcb", {"nothing"}, 2, 1, 5, 0, error), -1);
    store::remove_job("array_job");
}

TEST(PanelFlatten, PictureOfAPanelLayerShowsEveryBoard)
{
    Job job = small_job();
    job.name = "picture_panel";
    Layer& top = job.steps["pcb"].layers["top"];
    top = Layer{};
    top.units = Units::Mm;
    add_pad(top, "s3000", {5 * mm, 2500000});
    job.steps["panel"].repeats = {repeat("pcb", 5 * mm, 5 * mm, 15 * mm, 10 * mm, 3, 2)};
    store::add_job(job);
    // 50 x 30 mm at 10 pixels a millimetre.
    ASSERT_TRUE(KESTO::API::init_canvas(500, 300));
    KESTO::API::clear_canvas();
    KESTO::API::zoom_to_box(0, 0, 50, 30);
    KESTO::API::set_draw_color(255, 255, 255, 255);
    ASSERT_TRUE(KESTO::API::draw_layer("picture_panel", "panel", "top"));
    test::TempDir dir;
    ASSERT_TRUE(KESTO::API::save_img(dir / "panel.png"));
    store::remove_job("picture_panel");
    cairo_surface_t* png = cairo_image_surface_create_from_png((dir / "panel.png").c_str());
    ASSERT_EQ(cairo_surface_status(png), CAIRO_STATUS_SUCCESS);
    const int w = cairo_image_surface_get_width(png), h = cairo_image_surface_get_height(png);
    auto pixel = [&](double x_mm, double y_mm) {
        const int c = int(x_mm / 50 * w), r = h - 1 - int(y_mm / 30 * h);
        const auto* line = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(png) +
                                                                  r * cairo_image_surface_get_stride(png));
        return line[c] & 0xffffff;
    };
    const std::uint32_t background = pixel(1, 1);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 2; ++j) EXPECT_NE(pixel(10 + 15 * i, 7.5 + 10 * j), background) << i << "," << j;
    EXPECT_EQ(pixel(17.5, 12.5), background);
    cairo_surface_destroy(png);
}

TEST(PanelFlatten, CopperAreasCountEveryBoardOfThePanel)
{
    Job job = small_job();
    job.name = "pcu";
    Step& panel = job.steps["panel"];
    add_pad(panel.layers["top"], "r200", {1 * mm, 1 * mm});
    panel.repeats = {repeat("pcb", 20 * mm, 10 * mm, 15 * mm, 10 * mm, 2, 2)};
    store::add_job(std::move(job));
    // Four 1 mm pads of the boards and the panel's own 0.2 mm pad:
    // pi (4 x 0.25 + 0.01) mm2; chords lie on the circle, so a little less.
    KESTO::API::copper_figures panel_top, board_top;
    ASSERT_TRUE(KESTO::API::rest_copper("pcu", "panel", "top", KESTO::API::copper_view::plain, panel_top));
    ASSERT_TRUE(KESTO::API::rest_copper("pcu", "pcb", "top", KESTO::API::copper_view::plain, board_top));
    const double pi = 3.14159265358979;
    EXPECT_NEAR(board_top.area, pi * 0.25, pi * 0.25 * 0.005);
    EXPECT_NEAR(panel_top.area, pi * 1.01, pi * 1.01 * 0.005);
    EXPECT_LE(panel_top.area, pi * 1.01);
    store::remove_job("pcu");
}
