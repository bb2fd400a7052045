// Code 39 barcodes: the characters, the bars, the text and background, and
// what the canvas and the Gerber writer make of them.
#include "engine/api/exchange.h"
#include "engine/geometry/barcode.h"
#include "engine/render/layer_shapes.h"

#include <gtest/gtest.h>

#include <random>
#include <set>
#include <vector>

namespace kesto::geom {
namespace {

constexpr double mm = 1e6, w = 0.2 * mm, h = 5 * mm; // the fields "0.2 5" in a metric layer

Layer barcode_layer(const std::string& fields, const std::string& text, Units units = Units::Mm, Point at = {},
                    double angle = 0, bool mirror = false)
{
    Layer layer;
    layer.units = units;
    layer.texts.push_back(Text{"standard", 0, 0, 1, text, 1, fields});
    Feature f;
    f.kind = FeatureKind::Barcode;
    f.a = at;
    f.angle = angle;
    f.mirror = mirror;
    layer.features.push_back(f);
    return layer;
}

Paths outline_of(const Layer& layer) { return feature_outline(layer, layer.features[0], {}); }

bool inside(const Paths& outline, double x, double y)
{
    return locate(IntPoint{std::llround(x), std::llround(y)}, outline) == Where::Inside;
}

bool box_holds_outline(const Layer& layer)
{
    const Box outer = feature_box(layer, layer.features[0], {}), inner = box_of(outline_of(layer));
    return inner.empty() || (outer.xmin <= inner.xmin && outer.ymin <= inner.ymin && outer.xmax >= inner.xmax &&
                             outer.ymax >= inner.ymax);
}

// One narrow width a character: 1 under a bar, 0 under a space, along y = 1 mm.
std::string modules(const Paths& outline, int from, int count)
{
    std::string m;
    for (int i = from; i < from + count; ++i) m += inside(outline, (i + 0.5) * w, 1 * mm) ? '1' : '0';
    return m;
}

TEST(GeometryBarcodes, CharactersWithFullAsciiAndCheckCharacter)
{
    // C12 O24 D13 E14 3 9: 75 modulo 43 is 32, W.
    EXPECT_EQ(code39_symbols("CODE39", false, true), "*CODE39W*");
    // Without full ASCII, small letters, the start/stop and bytes beyond ASCII are left out.
    EXPECT_EQ(code39_symbols("a-B*\xc3\xa9 $/+%", false, false), "*-B $/+%*");
    // Full ASCII: shift pairs, and the check covers the pairs (+ 41, A 10: 8).
    EXPECT_EQ(code39_symbols("a!*\x7f\x01$\xc3", true, false), "*+A/A/J%T$A/D*");
    EXPECT_EQ(code39_symbols("a", true, true), "*+A8*");
    std::set<std::string> seen;
    for (int c = 0; c < 128; ++c) {
        const std::string symbols = code39_symbols(std::string(1, char(c)), true, false);
        EXPECT_TRUE(symbols.size() == 3 || symbols.size() == 4) << c;
        EXPECT_TRUE(seen.insert(symbols).second) << "two characters share " << symbols;
    }
}

TEST(GeometryBarcodes, BarsFollowTheCode39Patterns)
{
    const Point at{Coord(10 * mm), Coord(5 * mm)};
    Layer layer = barcode_layer("UPC39 E 0.2 5 N N N N B", "A", Units::Mm);
    // "*A*": wide elements three modules, a narrow space between characters.
    EXPECT_EQ(modules(outline_of(layer), -1, 49), "0" "100010111011101" "0" "111010100010111" "0" "100010111011101" "0");

    // Every character: nine elements from a bar, three wide (two bars and a
    // space, or three spaces), no two alike.
    std::set<std::string> patterns{"100010111011101"};
    for (char c : std::string("0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%")) {
        const std::string m = modules(outline_of(barcode_layer("UPC39 E 0.2 5", std::string(1, c))), 16, 15);
        int runs = 0, wide_bars = 0, wide_spaces = 0;
        for (std::size_t i = 0, j = 0; i < m.size(); i = j, ++runs) {
            while (j < m.size() && m[j] == m[i]) ++j;
            EXPECT_TRUE(j - i == 1 || j - i == 3) << c << " " << m;
            if (j - i == 3) ++(m[i] == '1' ? wide_bars : wide_spaces);
        }
        EXPECT_TRUE(m.front() == '1' && runs == 9) << c << " " << m;
        EXPECT_TRUE((wide_bars == 2 && wide_spaces == 1) || (wide_bars == 0 && wide_spaces == 3)) << c << " " << m;
        EXPECT_TRUE(patterns.insert(m).second) << c << " looks like another character: " << m;
    }

    // Inch layers give the fields in inches; a check character adds one.
    const Box inch = box_of(outline_of(barcode_layer("upc39 E 0.008 0.2 N Y N N B", "A", Units::Inch)));
    EXPECT_EQ(inch.xmax - inch.xmin, std::llround(63 * 0.008 * kNmPerInch));
    EXPECT_EQ(inch.ymax - inch.ymin, std::llround(0.2 * kNmPerInch));

    // Placed as texts: a quarter turn clockwise runs the bars down from the
    // point, a mirror to its left.
    const Box turned = box_of(outline_of(barcode_layer("UPC39 E 0.2 5", "A", Units::Mm, at, 90)));
    EXPECT_EQ(turned.ymax, at.y);
    EXPECT_EQ(turned.ymin, at.y - std::llround(47 * w));
    EXPECT_EQ(turned.xmax, at.x + std::llround(h));
    const Paths mirrored = outline_of(barcode_layer("UPC39 E 0.2 5", "A", Units::Mm, at, 0, true));
    EXPECT_EQ(box_of(mirrored).xmin, at.x - std::llround(47 * w));
    EXPECT_TRUE(inside(mirrored, at.x - 0.5 * w, at.y + 1 * mm)) << "the start bar stays at the point";
}

TEST(GeometryBarcodes, TextBesideTheBarsAndInvertedBackground)
{
    const double bars = 4 * 16 * w - w; // "*AB*"
    const Paths under = outline_of(barcode_layer("UPC39 E 0.2 5 N N N Y B", "AB"));
    const Paths over = outline_of(barcode_layer("UPC39 E 0.2 5 N N N Y T", "AB"));
    // The text stands two narrow widths below (or above) the bars, centred on them.
    const Box text = box_of(intersect(under, {rectangle(-1 * mm, -10 * mm, bars + 1 * mm, -1)}));
    EXPECT_NEAR(double(text.ymax), -2 * w, kMaxChordError + 2);
    EXPECT_NEAR((double(text.xmin) + double(text.xmax)) / 2, bars / 2, kMaxChordError);
    EXPECT_EQ(box_of(over).ymin, 0);
    EXPECT_NEAR(double(box_of(over).ymax), h + 2 * w + double(text.ymax - text.ymin), kMaxChordError + 2);
    EXPECT_DOUBLE_EQ(area(over), area(under));

    // Inverted: a dark rectangle reaching ten narrow widths beyond bars and
    // text left and right and five above and below, bars and text cleared.
    const Paths negative = outline_of(barcode_layer("UPC39 E 0.2 5 N N Y Y B", "AB"));
    const Box n = box_of(negative);
    EXPECT_EQ(n.xmin, std::llround(-10 * w));
    EXPECT_EQ(n.xmax, std::llround(bars + 10 * w));
    EXPECT_EQ(n.ymax, std::llround(h + 5 * w));
    EXPECT_NEAR(double(n.ymin), double(text.ymin) - 5 * w, kMaxChordError + 2);
    const double frame = double(n.xmax - n.xmin) * double(n.ymax - n.ymin);
    EXPECT_NEAR(area(negative), frame - area(under), 10);
    EXPECT_FALSE(inside(negative, 0.5 * w, h / 2)) << "the start bar is clear";
    EXPECT_TRUE(inside(negative, -5 * w, h / 2)) << "the quiet zone is dark";
}

TEST(GeometryBarcodes, BoxHoldsTheOutlineAndBadRecordsDrawNothing)
{
    for (const char* fields : {"", "EAN13 E 0.2 5", "UPC39 E 0 5", "UPC39 E -0.2 5", "UPC39 E 0.2 nan",
                               "UPC39 E 0x10 5", "UPC39 E 0.2", "UPC39 E 0.0000001 5", "UPC39 E inf 5"}) {
        Layer layer = barcode_layer(fields, "A");
        EXPECT_TRUE(outline_of(layer).empty()) << fields;
        EXPECT_TRUE(feature_box(layer, layer.features[0], {}).empty()) << fields;
    }
    Layer orphan = barcode_layer("UPC39 E 0.2 5", "A");
    orphan.features[0].body = 7;
    EXPECT_TRUE(outline_of(orphan).empty());

    // Turned, mirrored, hostile and garbled: never a crash, and the box holds the outline.
    std::mt19937 random(42);
    const std::vector<std::string> types = {"UPC39", "upc39", "UPC3"};
    const std::vector<std::string> numbers = {"0.008", "0.2", "3", "1e12", "1e30", "1e-9", "0", "-1", "1,5"};
    const std::vector<std::string> flags = {"Y", "N", "T", "B", "?", ""};
    auto pick = [&](const std::vector<std::string>& from) {
        return from[std::uniform_int_distribution<std::size_t>(0, from.size() - 1)(random)];
    };
    int drawn = 0;
    for (int round = 0; round < 400; ++round) {
        std::string fields = pick(types) + " E " + pick(numbers) + " " + pick(numbers);
        for (int k = 0; k < 5; ++k) fields += " " + pick(flags);
        Layer layer = barcode_layer(fields, round % 2 ? "Kesto 42%z" : "", Units::Inch, {Coord(3 * mm), Coord(-7 * mm)},
                                    22.5 * (round % 16), round % 3 == 0);
        drawn += !outline_of(layer).empty();
        EXPECT_TRUE(box_holds_outline(layer)) << fields << " at " << layer.features[0].angle;
    }
    EXPECT_GT(drawn, 20) << "the garble should still draw now and then";
}

// The canvas and the Gerber writer take barcodes from the kernel's outline.
TEST(GeometryBarcodes, CanvasDrawsThemAndGerberKeepsTheirArea)
{
    Layer layer = barcode_layer("UPC39 E 0.2 5 N Y Y Y B", "KESTO-1", Units::Mm, {Coord(2 * mm), Coord(4 * mm)});
    render::Canvas canvas = render::make_canvas(800, 400);
    canvas.antialias = false;
    render::zoom_to_box(canvas, feature_box(layer, layer.features[0], {}), 0.05);
    render::draw_layer(canvas, render::layer_shapes(layer, {}), {1, 1, 1, 1});
    auto pixel_at = [&](double x, double y) {
        return render::pixel(canvas, int((x - canvas.origin_x) * canvas.scale),
                             canvas.height - 1 - int((y - canvas.origin_y) * canvas.scale));
    };
    // Inverted: the wide first bar of K is clear, the narrow space after it and the quiet zone dark.
    EXPECT_EQ(pixel_at(2 * mm + 17.5 * w, 6.5 * mm), 0xff000000u);
    EXPECT_EQ(pixel_at(2 * mm + 19.5 * w, 6.5 * mm), 0xffffffffu);
    EXPECT_EQ(pixel_at(2 * mm - 5 * w, 6.5 * mm), 0xffffffffu);

    std::string text;
    Reports reports;
    ASSERT_TRUE(gerber::write(layer, {}, {}, text, reports)) << (reports.empty() ? "" : reports[0].message);
    Layer back;
    UserSymbols symbols;
    ASSERT_TRUE(gerber::read(text, {}, back, symbols, reports));
    const Paths outline = outline_of(layer);
    EXPECT_LT(area(exclusive_or(outline, layer_outline(back, {}))), 1e-4 * area(outline));
}

} // namespace
} // namespace kesto::geom
