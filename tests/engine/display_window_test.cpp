// A window of a large layer is drawn from the layer's spatial index: the
// picture must be the one a walk over every feature of the layer gives, on a
// real board, and again after an edit has changed the layer.
#include "engine/api/display.h"
#include "engine/api/features.h"
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"
#include "engine/render/canvas.h"
#include "engine/render/layer_shapes.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

using namespace kesto;
namespace api = KESTO::API;

namespace {

std::vector<std::uint32_t> png_pixels(const std::string& path)
{
    std::vector<std::uint32_t> out;
    cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
    EXPECT_EQ(cairo_surface_status(s), CAIRO_STATUS_SUCCESS);
    for (int y = 0; y < cairo_image_surface_get_height(s); ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(s) +
                                                                  y * cairo_image_surface_get_stride(s));
        out.insert(out.end(), row, row + cairo_image_surface_get_width(s));
    }
    cairo_surface_destroy(s);
    return out;
}

// Every feature of the layer outlined and drawn, in white, over the window (mm).
std::vector<std::uint32_t> walked(const Job& job, const Layer& layer, double x0, double y0, double x1, double y1)
{
    render::Canvas canvas = render::make_canvas(320, 320);
    Box box;
    box.add(Point{Coord(x0 * 1e6), Coord(y0 * 1e6)});
    box.add(Point{Coord(x1 * 1e6), Coord(y1 * 1e6)});
    render::zoom_to_box(canvas, box);
    render::draw_layer(canvas, render::layer_shapes(layer, geom::context_of(job)), {1, 1, 1, 1});
    std::vector<std::uint32_t> out;
    for (int y = 0; y < canvas.height; ++y)
        for (int x = 0; x < canvas.width; ++x) out.push_back(render::pixel(canvas, x, y));
    return out;
}

TEST(DisplayWindow, TheIndexedPictureIsTheWalkedOne)
{
    test::TempDir dir;
    Job opened;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", opened, error)) << error;
    opened.name = "window";
    store::add_job(std::move(opened));
    Job& job = *store::find_job("window");
    const Layer& copper = *store::find_layer(job, *store::find_step(job, "step"), "layer-1");
    ASSERT_GT(copper.features.size(), 1000u) << "large enough to be drawn from its index";
    api::set_show_para(api::show_param{});
    api::set_draw_color(255, 255, 255, 255);
    auto drawn = [&](const std::string& name, double x0, double y0, double x1, double y1) {
        EXPECT_TRUE(api::init_canvas(320, 320));
        api::zoom_to_box(x0, y0, x1, y1);
        api::clear_canvas();
        EXPECT_TRUE(api::draw_layer("window", "step", "layer-1"));
        EXPECT_TRUE(api::save_img(dir / name));
        return png_pixels(dir / name);
    };
    // Windows inside the board (x -167..0, y 0..134 mm), a dense one and one
    // with a board edge, and one beyond it.
    const double windows[][4] = {{-90, 60, -80, 70}, {-170, 120, -140, 150}, {-60, 30, -20, 70}, {10, 10, 20, 20}};
    for (const auto& w : windows)
        EXPECT_EQ(drawn("w.png", w[0], w[1], w[2], w[3]), walked(job, copper, w[0], w[1], w[2], w[3])) << w[0] << "," << w[1];
    // An edit the layer's index is told of: a 3 mm pad added in the dense window.
    int r3000 = 0;
    ASSERT_TRUE(api::create_new_symbol("window", "step", "r3000", "", r3000));
    ASSERT_TRUE(api::AddFeature("window", "step", {"layer-1"}, {}, api::GreatePadString(-85, 65, r3000, 0, 0, 0, 0), false));
    const auto after = drawn("after.png", -90, 60, -80, 70);
    EXPECT_EQ(after, walked(job, copper, -90, 60, -80, 70));
    EXPECT_EQ(after[160 * 320 + 160] & 0xffffff, 0xffffffu) << "the new pad is drawn at the window's centre";
    store::remove_job("window");
}

} // namespace
