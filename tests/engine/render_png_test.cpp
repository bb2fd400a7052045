// Pictures written to PNG read back, through cairo's own PNG reader, to the
// very pixels that were drawn, whatever form the writer chose for the file.
#include "engine/render/png_file.h"
#include "support/test_support.h"

#include <cairo.h>
#include <gtest/gtest.h>

#include <boost/filesystem.hpp>

#include <cmath>
#include <vector>

using namespace kesto;

namespace {

struct Picture {
    int width = 0, height = 0;
    std::vector<std::uint32_t> argb; // premultiplied, as a canvas holds it
    std::uint32_t& at(int x, int y) { return argb[std::size_t(y) * width + x]; }
};

Picture picture(int width, int height, std::uint32_t fill)
{
    return Picture{width, height, std::vector<std::uint32_t>(std::size_t(width) * height, fill)};
}

// Bit depth and colour type from the file's header.
std::pair<int, int> form_of(const std::string& png)
{
    const std::string bytes = test::read_file(png);
    if (bytes.size() < 26) return {0, -1};
    return {static_cast<unsigned char>(bytes[24]), static_cast<unsigned char>(bytes[25])};
}

// Pixels that do not read back as written; an opaque pixel may come back
// without its alpha byte (cairo reads opaque files as RGB24).
long mismatches(const Picture& p, const std::string& png)
{
    cairo_surface_t* s = cairo_image_surface_create_from_png(png.c_str());
    if (cairo_surface_status(s) != CAIRO_STATUS_SUCCESS || cairo_image_surface_get_width(s) != p.width ||
        cairo_image_surface_get_height(s) != p.height) {
        cairo_surface_destroy(s);
        return -1;
    }
    const bool rgb24 = cairo_image_surface_get_format(s) == CAIRO_FORMAT_RGB24;
    long bad = 0;
    for (int y = 0; y < p.height; ++y) {
        const auto* row = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(s) +
                                                                 y * cairo_image_surface_get_stride(s));
        for (int x = 0; x < p.width; ++x) {
            const std::uint32_t want = p.argb[std::size_t(y) * p.width + x];
            const std::uint32_t got = rgb24 ? (row[x] | 0xff000000u) : row[x];
            bad += got != want;
        }
    }
    cairo_surface_destroy(s);
    return bad;
}

bool write(const Picture& p, const std::string& path)
{
    return render::write_png(reinterpret_cast<const unsigned char*>(p.argb.data()), p.width, p.height, p.width * 4, path);
}

constexpr int kGrey = 0, kRgb = 2, kPalette = 3, kRgba = 6;

TEST(PngFile, EachKindOfPictureReadsBackExactlyInItsSmallestForm)
{
    test::TempDir dir;

    // Two colours on a width that does not fill the last byte: one bit a pixel.
    Picture two = picture(37, 5, 0xff000000u);
    for (int x = 0; x < 37; x += 3) two.at(x, x % 5) = 0xffffffffu;
    ASSERT_TRUE(write(two, dir / "two.png"));
    EXPECT_EQ(form_of(dir / "two.png"), std::make_pair(1, kPalette));
    EXPECT_EQ(mismatches(two, dir / "two.png"), 0);

    // An antialiased white layer: every grey level, one byte a pixel.
    Picture grey = picture(256, 3, 0xff000000u);
    for (int x = 0; x < 256; ++x) grey.at(x, 1) = 0xff000000u | std::uint32_t(x) * 0x010101u;
    ASSERT_TRUE(write(grey, dir / "grey.png"));
    EXPECT_EQ(form_of(dir / "grey.png"), std::make_pair(8, kGrey));
    EXPECT_EQ(mismatches(grey, dir / "grey.png"), 0);

    // A red layer's edges: under 256 colours, a palette.
    Picture red = picture(100, 2, 0xff000000u);
    for (int x = 0; x < 100; ++x) red.at(x, 0) = 0xff000000u | std::uint32_t(x * 2) << 16;
    ASSERT_TRUE(write(red, dir / "red.png"));
    EXPECT_EQ(form_of(dir / "red.png"), std::make_pair(8, kPalette));
    EXPECT_EQ(mismatches(red, dir / "red.png"), 0);

    // Half-transparent pixels keep their alpha (fully premultiplied values
    // survive the round trip exactly when alpha is 255 or the channel is 0).
    Picture clear = picture(10, 10, 0x00000000u);
    clear.at(3, 3) = 0x80800000u;
    clear.at(4, 4) = 0xff00ff00u;
    ASSERT_TRUE(write(clear, dir / "clear.png"));
    EXPECT_EQ(form_of(dir / "clear.png"), std::make_pair(2, kPalette));
    EXPECT_EQ(mismatches(clear, dir / "clear.png"), 0);

    // Several blended layers: more colours than a palette holds.
    Picture many = picture(64, 64, 0xff000000u);
    for (int y = 0; y < 64; ++y)
        for (int x = 0; x < 64; ++x) many.at(x, y) = 0xff000000u | std::uint32_t(x * 4) << 16 | std::uint32_t(y * 4) << 8 | 7;
    ASSERT_TRUE(write(many, dir / "many.png"));
    EXPECT_EQ(form_of(dir / "many.png"), std::make_pair(8, kRgb));
    EXPECT_EQ(mismatches(many, dir / "many.png"), 0);
    many.at(5, 5) = 0x00000000u;
    ASSERT_TRUE(write(many, dir / "many.png"));
    EXPECT_EQ(form_of(dir / "many.png"), std::make_pair(8, kRgba));
    EXPECT_EQ(mismatches(many, dir / "many.png"), 0);
}

TEST(PngFile, AFailedWriteLeavesNothingBehind)
{
    test::TempDir dir;
    const Picture p = picture(4, 4, 0xff000000u);
    EXPECT_FALSE(write(p, dir / "no/such/dir/p.png"));
    test::write_file(dir / "p.png", "the old picture");
    ASSERT_TRUE(write(p, dir / "p.png"));
    EXPECT_EQ(mismatches(p, dir / "p.png"), 0) << "the new picture replaced the old";
    EXPECT_FALSE(boost::filesystem::exists(dir / "p.png.part"));
}

} // namespace
