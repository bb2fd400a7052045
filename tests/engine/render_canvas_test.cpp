// The canvas draws exposures in order, maps the world the right way up, and
// refuses what it cannot hold.
#include "engine/render/canvas.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::render;

namespace {

ClipperLib::Path square(double x0, double y0, double x1, double y1) // millimetres, counter-clockwise
{
    auto nm = [](double mm) { return static_cast<ClipperLib::cInt>(mm * kNmPerMm); };
    return {{nm(x0), nm(y0)}, {nm(x1), nm(y0)}, {nm(x1), nm(y1)}, {nm(x0), nm(y1)}};
}

// Pixel of the world point (x, y) in millimetres.
std::uint32_t at(const Canvas& c, double x, double y)
{
    const int px = static_cast<int>((x * kNmPerMm - c.origin_x) * c.scale);
    const int py = c.height - 1 - static_cast<int>((y * kNmPerMm - c.origin_y) * c.scale);
    return pixel(c, px, py);
}

constexpr std::uint32_t kBlack = 0xff000000, kRed = 0xffff0000;

Canvas ten_mm_canvas()
{
    Canvas c = make_canvas(100, 100);
    c.antialias = false;
    zoom_to_box(c, Box{0, 0, 10 * kNmPerMm, 10 * kNmPerMm});
    return c;
}

TEST(Canvas, ClearFeaturesEraseOnlyWhatCameBefore)
{
    Canvas c = ten_mm_canvas();
    std::vector<Shape> shapes = {
        {{square(2, 2, 8, 8)}, true},
        {{square(4, 4, 6, 6)}, false},       // a clear window in the square
        {{square(4.5, 4.5, 5.5, 5.5)}, true}, // a dark pad inside the window
    };
    draw_layer(c, shapes, {1, 0, 0, 1});
    EXPECT_EQ(at(c, 3, 3), kRed);
    EXPECT_EQ(at(c, 4.2, 4.2), kBlack);
    EXPECT_EQ(at(c, 5, 5), kRed);
    EXPECT_EQ(at(c, 9, 9), kBlack);
}

TEST(Canvas, WorldIsRightWayUpAndHolesStayOpen)
{
    Canvas c = ten_mm_canvas();
    ClipperLib::Path hole = square(3, 3, 4, 4);
    ClipperLib::ReversePath(hole); // clockwise: a hole
    draw_layer(c, {{{square(1, 1, 5, 5), hole}, true}, {{square(5, 8, 9, 9)}, true}}, {1, 0, 0, 1});
    EXPECT_EQ(at(c, 2, 2), kRed);
    EXPECT_EQ(at(c, 3.5, 3.5), kBlack);
    EXPECT_EQ(at(c, 7, 8.5), kRed);
    EXPECT_EQ(pixel(c, 70, 15), kRed) << "high y is near the top row";
}

TEST(Canvas, NegativeLayerInvertsAndLayersStack)
{
    Canvas c = ten_mm_canvas();
    draw_layer(c, {{{square(0, 0, 10, 10)}, true}}, {0, 0, 1, 1});
    draw_layer(c, {{{square(2, 2, 4, 4)}, true}}, {1, 0, 0, 1}, true);
    EXPECT_EQ(at(c, 3, 3), 0xff0000ffu) << "the lower layer shows through the negative one's feature";
    EXPECT_EQ(at(c, 8, 8), kRed);
}

TEST(Canvas, RefusesImpossibleSizesAndWritesPng)
{
    EXPECT_FALSE(valid(make_canvas(0, 10)));
    EXPECT_FALSE(valid(make_canvas(40000, 10)));
    Canvas none;
    EXPECT_FALSE(save_png(none, "/tmp/never.png"));
    test::TempDir dir;
    Canvas c = ten_mm_canvas();
    EXPECT_TRUE(save_png(c, dir / "c.png"));
    EXPECT_EQ(test::read_file(dir / "c.png").substr(1, 3), "PNG");
    EXPECT_FALSE(save_png(c, dir / "no/such/dir/c.png"));
}

TEST(Canvas, ResolutionWindowPlacesOneInchAtTheGivenPixels)
{
    Canvas c = make_canvas(200, 200);
    c.antialias = false;
    zoom_to_resolution(c, Point{0, 0}, 100);
    draw_layer(c, {{{square(0, 0, 25.4, 25.4)}, true}}, {1, 0, 0, 1});
    EXPECT_EQ(pixel(c, 99, 199), kRed);
    EXPECT_EQ(pixel(c, 100, 199), kBlack);
    EXPECT_EQ(pixel(c, 0, 100), kRed);
    EXPECT_EQ(pixel(c, 0, 99), kBlack);
}

} // namespace
