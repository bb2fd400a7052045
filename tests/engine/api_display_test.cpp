// Pictures of layers through the engine's canvas operations.
#include "engine/api/display.h"
#include "engine/api/features.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <cairo.h>
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
