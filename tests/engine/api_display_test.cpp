// Pictures of layers through the engine's canvas operations.
#include "engine/api/display.h"
#include "engine/api/features.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <cairo.h>
#include <cmath>
#include <gtest/gtest.h>

using namespace kesto;
namespace api = KESTO::API;

namespace {

// The picture's pixel at (x, y) from the top left, as 0xRRGGBB.
std::uint32_t png_pixel(const std::string& path, int x, int y)
{
    cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
    EXPECT_EQ(cairo_surface_status(s), CAIRO_STATUS_SUCCESS);
    const unsigned char* data = cairo_image_surface_get_data(s);
    const int stride = cairo_image_surface_get_stride(s);
    const std::uint32_t v = *reinterpret_cast<const std::uint32_t*>(data + y * stride + x * 4) & 0xffffff;
    cairo_surface_destroy(s);
    return v;
}

class ApiDisplay : public ::testing::Test {
protected:
    void SetUp() override
    {
        Job job;
        job.name = "pic";
        for (const char* name : {"top", "plane"}) {
            MatrixRow row;
            row.name = name;
            row.polarity = std::string(name) == "plane" ? "NEGATIVE" : "POSITIVE";
            job.rows.push_back(row);
        }
        job.steps["pcb"].name = "pcb";
        store::add_job(job);
        api::set_show_para(api::show_param{});
        int r2000 = 0;
        ASSERT_TRUE(api::create_new_symbol("pic", "pcb", "r2000", "", r2000));
        // A 2 mm pad at (2, 2) and a negative 1 mm square hole in it; the plane has one pad at (8, 8).
        ASSERT_TRUE(api::AddFeature("pic", "pcb", {"top"}, {}, api::GreatePadString(2, 2, r2000, 0, 0, 0, 0), false));
        ASSERT_TRUE(api::AddFeature("pic", "pcb", {"top"}, {},
                                    api::GreateSurfaceString({{1.5, 1.5}, {2.5, 1.5}, {2.5, 2.5}, {1.5, 2.5}}, 1, 0, false),
                                    false));
        ASSERT_TRUE(api::AddFeature("pic", "pcb", {"plane"}, {}, api::GreatePadString(8, 8, r2000, 0, 0, 0, 0), false));
    }
    void TearDown() override { store::remove_job("pic"); }
    test::TempDir dir;
};

TEST_F(ApiDisplay, LayersAreExposedInOrderAndNegativeLayersInverted)
{
    ASSERT_TRUE(api::init_canvas(100, 100));
    api::zoom_to_box(0, 0, 10, 10); // 10 pixels a millimetre
    api::clear_canvas();
    api::set_draw_color(255, 0, 0, 255);
    EXPECT_TRUE(api::draw_layer("pic", "pcb", "top"));
    ASSERT_TRUE(api::save_img(dir / "top.png"));
    EXPECT_EQ(png_pixel(dir / "top.png", 20, 100 - 12), 0xff0000u) << "the pad's ring";
    EXPECT_EQ(png_pixel(dir / "top.png", 20, 100 - 20), 0x000000u) << "the negative square clears it";
    EXPECT_EQ(png_pixel(dir / "top.png", 50, 50), 0x000000u);

    api::clear_canvas();
    api::set_draw_color(0, 255, 0, 255);
    EXPECT_TRUE(api::draw_layer("pic", "pcb", "plane"));
    ASSERT_TRUE(api::save_img(dir / "plane.png"));
    EXPECT_EQ(png_pixel(dir / "plane.png", 50, 50), 0x00ff00u) << "a negative layer is copper where nothing is drawn";
    EXPECT_EQ(png_pixel(dir / "plane.png", 80, 100 - 80), 0x000000u);
}

TEST_F(ApiDisplay, SelectedAndSpecifiedFeaturesOnly)
{
    ASSERT_TRUE(api::init_canvas(100, 100));
    api::zoom_to_box(0, 0, 10, 10);
    api::set_draw_color(255, 255, 255, 255);
    EXPECT_TRUE(api::draw_specified_features("pic", "pcb", "top", {1}));
    ASSERT_TRUE(api::save_img(dir / "one.png"));
    EXPECT_EQ(png_pixel(dir / "one.png", 20, 100 - 12), 0u) << "the pad was not asked for";
    EXPECT_EQ(png_pixel(dir / "one.png", 20, 100 - 20), 0u) << "a negative feature alone shows nothing";
    EXPECT_TRUE(api::draw_selected_features("pic", "pcb", "top"));
}

TEST_F(ApiDisplay, RefusesWithoutCanvasOrLayerAndReportsBadPaths)
{
    EXPECT_FALSE(api::init_canvas(0, 0));
    EXPECT_FALSE(api::draw_layer("pic", "pcb", "top"));
    ASSERT_TRUE(api::init_canvas(10, 10));
    EXPECT_FALSE(api::draw_layer("pic", "pcb", "nolayer"));
    EXPECT_FALSE(api::draw_layer("nojob", "pcb", "top"));
    EXPECT_FALSE(api::save_img(dir / "no/such/folder/x.png"));
    int w = 0, h = 0;
    api::get_Canvas_Size(w, h);
    EXPECT_EQ(w, 10);
    EXPECT_EQ(h, 10);
}

} // namespace

TEST_F(ApiDisplay, TextsAreFoundByWhatTheyRead)
{
    // "A1" at (1, 6) and "B2" at (6, 6), 2 mm high; each covers pixels just above its base line.
    for (auto [x, text] : {std::pair{1.0, "A1"}, std::pair{6.0, "B2"}})
        ASSERT_TRUE(api::AddFeature("pic", "pcb", {"top"}, {},
                                    api::GreateTextString(x, 6, "standard", 0, 0, 1.5, 2, 0.2, text, 1, 0), false));
    auto lit = [&](const std::string& png, int x0, int x1) {
        int n = 0;
        for (int x = x0; x < x1; ++x)
            for (int y = 100 - 80; y < 100 - 60; ++y) n += png_pixel(png, x, y) != 0;
        return n;
    };
    ASSERT_TRUE(api::init_canvas(100, 100));
    api::zoom_to_box(0, 0, 10, 10);
    api::set_draw_color(255, 255, 255, 255);
    EXPECT_TRUE(api::draw_text("pic", "pcb", "top", "B2", api::color{0, 0, 255, 255}));
    ASSERT_TRUE(api::save_img(dir / "b2.png"));
    EXPECT_EQ(lit(dir / "b2.png", 5, 50), 0) << "A1 is not drawn";
    EXPECT_GT(lit(dir / "b2.png", 55, 100), 20);
    EXPECT_EQ(png_pixel(dir / "b2.png", 20, 100 - 12), 0u) << "nor the pad";
    EXPECT_EQ(api::get_draw_color().red, 255) << "the text's colour is for this drawing only";

    api::clear_canvas();
    EXPECT_TRUE(api::draw_text("pic", "pcb", "top", "", api::color{0, 0, 255, 255}));
    ASSERT_TRUE(api::save_img(dir / "all.png"));
    EXPECT_GT(lit(dir / "all.png", 5, 50), 20);
    EXPECT_GT(lit(dir / "all.png", 55, 100), 20);
    EXPECT_FALSE(api::draw_text("pic", "pcb", "top", "C3", api::color{}));
}

// The display switches change the picture as their names say. Pixels are
// 10 to the millimetre, rows counted from the top; each expectation is worked
// from the features' sizes.
TEST_F(ApiDisplay, DisplaySwitchesChangeThePicture)
{
    int r600 = 0, r0 = 0;
    ASSERT_TRUE(api::create_new_symbol("pic", "pcb", "r600", "", r600));
    ASSERT_TRUE(api::create_new_symbol("pic", "pcb", "r0", "", r0));
    // Beside the pad: a 0.6 mm wide line along y = 5 from x = 1 to 9, a
    // zero-width line along y = 8, and the text "T" 2 mm high at (6, 1).
    ASSERT_TRUE(api::AddFeature("pic", "pcb", {"top"}, {}, api::GreateLineString(1, 5, 9, 5, r600, 0, 0), false));
    ASSERT_TRUE(api::AddFeature("pic", "pcb", {"top"}, {}, api::GreateLineString(1, 8, 9, 8, r0, 0, 0), false));
    ASSERT_TRUE(api::AddFeature("pic", "pcb", {"top"}, {},
                                api::GreateTextString(6, 1, "standard", 0, 0, 1.5, 2, 0.2, "T", 1, 0), false));
    auto picture = [&](const std::string& name) {
        api::clear_canvas();
        EXPECT_TRUE(api::draw_layer("pic", "pcb", "top"));
        EXPECT_TRUE(api::save_img(dir / name));
        return dir / name;
    };
    auto lit_in = [&](const std::string& png, int x0, int x1, int y0, int y1) {
        int n = 0;
        for (int x = x0; x < x1; ++x)
            for (int y = y0; y < y1; ++y) n += png_pixel(png, x, y) != 0;
        return n;
    };
    ASSERT_TRUE(api::init_canvas(100, 100));
    api::zoom_to_box(0, 0, 10, 10);
    api::set_draw_color(255, 255, 255, 255);

    const std::string plain = picture("plain.png");
    EXPECT_NE(png_pixel(plain, 50, 48), 0u) << "y 5.1 to 5.2 is inside the 0.6 mm line";
    EXPECT_GT(lit_in(plain, 15, 85, 19, 21), 60) << "the zero-width line is a hairline at y = 8";
    EXPECT_LE(lit_in(plain, 15, 85, 16, 24), 2 * 71) << "one pixel wide, two where it straddles rows";
    EXPECT_GT(lit_in(plain, 58, 80, 70, 90), 10) << "the text";
    EXPECT_EQ(png_pixel(plain, 20, 80), 0u) << "the negative square clears the pad";
    EXPECT_EQ(lit_in(plain, 15, 16, 76, 84), 0) << "x 1.5 to 1.6 lies inside the square";

    api::show_param param;
    api::get_show_para(param);
    param.display_widths = 0;
    param.display_text = 0;
    param.negative_data = true;
    api::set_show_para(param);
    const std::string switched = picture("switched.png");
    EXPECT_EQ(png_pixel(switched, 50, 48), 0u) << "centre lines only";
    EXPECT_GT(lit_in(switched, 45, 55, 49, 51), 0) << "the centre line itself";
    EXPECT_EQ(lit_in(switched, 58, 80, 70, 90), 0) << "texts hidden";
    EXPECT_EQ(png_pixel(switched, 20, 80), 0u) << "the negative square still clears";
    EXPECT_GE(lit_in(switched, 15, 16, 76, 84), 6) << "but its edge x = 1.5 is outlined";

    // The profile switch: a 2 to 8 mm profile is drawn only while it is on.
    Step* step = store::find_step(*store::find_job("pic"), "pcb");
    step->has_profile = true;
    step->profile = geom::surface_of({geom::rectangle(2e6, 2e6, 8e6, 8e6)});
    api::clear_canvas();
    param.profile = false;
    api::set_show_para(param);
    EXPECT_TRUE(api::draw_profile("pic", "pcb"));
    EXPECT_TRUE(api::save_img(dir / "none.png"));
    EXPECT_EQ(lit_in(dir / "none.png", 0, 100, 79, 81), 0);
    param.profile = true;
    api::set_show_para(param);
    EXPECT_TRUE(api::draw_profile("pic", "pcb"));
    EXPECT_TRUE(api::save_img(dir / "profile.png"));
    EXPECT_GT(lit_in(dir / "profile.png", 0, 100, 79, 81), 50) << "its lower edge at y = 2";
    api::set_show_para(api::show_param{});
}

// The drawing switches of set_show_para at 10 pixels per mm: outline mode,
// drill markers, datum and origin marks, step-and-repeat copies. Pixel
// positions are worked from the features' sizes (y grows upwards, so
// y = 2 mm is row 80 when the window is 0 to 10 mm).
TEST_F(ApiDisplay, ShowSwitchesDrawOutlinesMarkersDatumAndRepeats)
{
    Job& job = *store::find_job("pic");
    MatrixRow drill;
    drill.name = "drl";
    drill.type = "DRILL";
    job.rows.push_back(drill);
    int r500 = 0;
    ASSERT_TRUE(api::create_new_symbol("pic", "pcb", "r500", "", r500));
    ASSERT_TRUE(api::AddFeature("pic", "pcb", {"drl"}, {}, api::GreatePadString(5, 5, r500, 0, 0, 0, 0), false));
    // The lit pixels of a 100 x 100 picture, read once.
    auto lit_pixels = [](const std::string& png) {
        cairo_surface_t* s = cairo_image_surface_create_from_png(png.c_str());
        EXPECT_EQ(cairo_surface_status(s), CAIRO_STATUS_SUCCESS);
        const unsigned char* data = cairo_image_surface_get_data(s);
        const int stride = cairo_image_surface_get_stride(s);
        std::vector<std::pair<int, int>> lit;
        for (int y = 0; y < 100; ++y)
            for (int x = 0; x < 100; ++x)
                if (*reinterpret_cast<const std::uint32_t*>(data + y * stride + x * 4) & 0xffffff) lit.emplace_back(x, y);
        cairo_surface_destroy(s);
        return lit;
    };
    auto lit_in = [&](const std::string& png, int x0, int x1, int y0, int y1) {
        int n = 0;
        for (const auto& [x, y] : lit_pixels(png)) n += x >= x0 && x < x1 && y >= y0 && y < y1;
        return n;
    };
    int shot = 0;
    auto picture = [&](const char* step, const char* layer, const api::show_param& param) {
        api::set_show_para(param);
        api::clear_canvas();
        EXPECT_TRUE(api::draw_layer("pic", step, layer));
        const std::string path = dir / ("shot" + std::to_string(++shot) + ".png");
        EXPECT_TRUE(api::save_img(path));
        return path;
    };
    ASSERT_TRUE(api::init_canvas(100, 100));
    api::zoom_to_box(0, 0, 10, 10);
    api::set_draw_color(255, 255, 255, 255);
    api::show_param param;

    // The 2 mm pad at (2, 2) less its 1 mm square hole: filled, y = 2.7 mm
    // (row 73) lies in the copper; in outline mode only the circle (row 70)
    // and the square's edges (column 15) are drawn.
    const std::string filled = picture("pcb", "top", param);
    EXPECT_NE(png_pixel(filled, 20, 73), 0u);
    param.mode = 1;
    const std::string outlined = picture("pcb", "top", param);
    EXPECT_EQ(png_pixel(outlined, 20, 73), 0u) << "nothing filled";
    EXPECT_EQ(png_pixel(outlined, 20, 80), 0u);
    EXPECT_GT(lit_in(outlined, 18, 23, 69, 72), 0) << "the circle's top at y = 3";
    EXPECT_GE(lit_in(outlined, 14, 16, 76, 84), 6) << "the hole's edge at x = 1.5";
    // Every lit pixel lies on an edge: the circle of radius 10 pixels about
    // (20, 80) or the square 5 pixels each way from it (pixel centres, with
    // antialiasing's spread).
    for (const auto& [x, y] : lit_pixels(outlined)) {
        const double dx = x + 0.5 - 20, dy = y + 0.5 - 80;
        const bool on_circle = std::fabs(std::hypot(dx, dy) - 10) <= 1.5;
        const bool on_square = std::fabs(std::max(std::fabs(dx), std::fabs(dy)) - 5) <= 1.5;
        EXPECT_TRUE(on_circle || on_square) << "pixel " << x << ", " << y;
    }
    param.mode = 0;

    // Drill markers: the 0.5 mm hole at (5, 5) has a radius of 2.5 pixels;
    // its cross reaches 4 pixels past it, to 6.5 pixels from the centre.
    const std::string holes = picture("pcb", "drl", param);
    EXPECT_EQ(png_pixel(holes, 55, 50), 0u);
    param.drill_markers = true;
    const std::string marked = picture("pcb", "drl", param);
    EXPECT_NE(png_pixel(marked, 55, 50), 0u);
    EXPECT_NE(png_pixel(marked, 50, 45), 0u);
    EXPECT_NE(png_pixel(marked, 44, 50), 0u);
    EXPECT_EQ(png_pixel(marked, 58, 50), 0u) << "the arm ends 6.5 pixels out";
    EXPECT_EQ(png_pixel(marked, 55, 55), 0u) << "a cross, not a square";
    EXPECT_EQ(lit_in(picture("pcb", "top", param), 31, 40, 78, 82), 0) << "copper layers get no markers";
    param.drill_markers = false;

    // Datum and origin, drawn with the profile: a window from -5 to 5 mm puts
    // the origin at pixel (50, 50) and a datum at (2, 1) mm at (70, 40).
    job.steps["pcb"].datum = {2000000, 1000000};
    api::zoom_to_box(-5, -5, 5, 5);
    auto step_marks = [&](bool on) {
        param.datum_and_origin = on;
        api::set_show_para(param);
        api::clear_canvas();
        EXPECT_TRUE(api::draw_profile("pic", "pcb"));
        const std::string path = dir / ("marks" + std::to_string(on) + ".png");
        EXPECT_TRUE(api::save_img(path));
        return path;
    };
    EXPECT_EQ(lit_in(step_marks(false), 0, 100, 0, 100), 0);
    const std::string marks = step_marks(true);
    EXPECT_GE(lit_in(marks, 42, 59, 49, 51), 15) << "the origin's cross, 8 pixels each way";
    EXPECT_NE(png_pixel(marks, 50, 43), 0u);
    EXPECT_EQ(png_pixel(marks, 60, 60), 0u);
    EXPECT_NE(png_pixel(marks, 75, 40) | png_pixel(marks, 74, 40), 0u) << "the datum diamond's right corner";
    EXPECT_EQ(png_pixel(marks, 70, 40), 0u) << "the diamond is hollow";
    param.datum_and_origin = false;

    // A panel placing the board 6 mm to the right: its copy of the pad is at
    // (8, 2), drawn only while step-and-repeat features are shown.
    job.steps["pcb"].datum = {0, 0};
    Step& panel = job.steps["panel"];
    panel.name = "panel";
    panel.layers["top"] = Layer{};
    panel.repeats.push_back(StepRepeat{"pcb", {6000000, 0}});
    api::zoom_to_box(0, 0, 10, 10);
    EXPECT_NE(png_pixel(picture("panel", "top", param), 80, 73), 0u);
    param.SR_features = false;
    EXPECT_EQ(lit_in(picture("panel", "top", param), 0, 100, 0, 100), 0) << "the panel has no copper of its own";
    api::set_show_para(api::show_param{});
}
