// Outlines of symbols, lines, arcs, surfaces and texts against their formulas.
#include "engine/geometry/outline.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <cmath>

namespace kesto::geom {
namespace {

constexpr double mm = 1e6;
constexpr double kChord = kMaxChordError;

Symbol symbol(SymbolFamily family, std::initializer_list<double> p, std::uint8_t corners = kAllCorners)
{
    Symbol s;
    s.family = family;
    std::size_t i = 0;
    for (double v : p) s.p[i++] = v;
    s.corners = corners;
    return s;
}

// A layer with one symbol and one pad of it.
Layer pad_layer(const Symbol& s, Point at = {}, double angle = 0, bool mirror = false)
{
    Layer layer;
    layer.symbols.push_back(s);
    Feature f;
    f.kind = FeatureKind::Pad;
    f.symbol = 0;
    f.a = at;
    f.angle = angle;
    f.mirror = mirror;
    layer.features.push_back(f);
    return layer;
}

Paths outline_of(const Layer& layer, std::size_t i = 0) { return feature_outline(layer, layer.features[i], {}); }

bool inside(const Paths& outline, double x, double y)
{
    return locate(IntPoint{std::llround(x), std::llround(y)}, outline) == Where::Inside;
}

// Chords miss the true edge by at most the chord error along the perimeter.
void expect_area(const Paths& outline, double expected, double perimeter, const std::string& what)
{
    double got = area(outline);
    EXPECT_NEAR(got, expected, perimeter * kChord + 1e-6 * expected + 4) << what;
}

TEST(GeometrySymbols, AreaOfEveryFamilyMatchesItsFormula)
{
    using F = SymbolFamily;
    const double pi = kPi;
    double w = 3 * mm, h = 2 * mm, r = 0.5 * mm, lw = 0.3 * mm;
    double oval_wh = (w - h) * h + pi * h * h / 4;
    double inner_oval = (w - h) * (h - 2 * lw) + pi * (h - 2 * lw) * (h - 2 * lw) / 4;
    struct Case {
        const char* name;
        Symbol s;
        double area;
    } cases[] = {
        {"round", symbol(F::Round, {w}), pi * w * w / 4},
        {"hole", symbol(F::Hole, {w}), pi * w * w / 4},
        {"square", symbol(F::Square, {w}), w * w},
        {"rect", symbol(F::Rect, {w, h}), w * h},
        {"rounded rect", symbol(F::RectRounded, {w, h, r}), w * h - (4 - pi) * r * r},
        {"rounded rect, two corners", symbol(F::RectRounded, {w, h, r}, kCornerTopLeft | kCornerBottomRight),
         w * h - 2 * (1 - pi / 4) * r * r},
        {"chamfered rect", symbol(F::RectChamfered, {w, h, r}), w * h - 2 * r * r},
        {"chamfered rect, one corner", symbol(F::RectChamfered, {w, h, r}, kCornerTopRight), w * h - r * r / 2},
        {"oval", symbol(F::Oval, {w, h}), oval_wh},
        {"upright oval", symbol(F::Oval, {h, w}), oval_wh},
        {"diamond", symbol(F::Diamond, {w, h}), w * h / 2},
        {"octagon", symbol(F::Octagon, {w, h, r}), w * h - 2 * r * r},
        {"round donut", symbol(F::RoundDonut, {w, h}), pi * (w * w - h * h) / 4},
        {"square donut", symbol(F::SquareDonut, {w, h}), w * w - h * h},
        {"square round donut", symbol(F::SquareRoundDonut, {w, h}), w * w - pi * h * h / 4},
        {"rect donut", symbol(F::RectDonut, {w, h, lw}), w * h - (w - 2 * lw) * (h - 2 * lw)},
        {"oval donut", symbol(F::OvalDonut, {w, h, lw}), oval_wh - inner_oval},
        {"long hexagon", symbol(F::HexLong, {w, h, r}), w * h - r * h},
        {"short hexagon", symbol(F::HexShort, {w, h, r}), w * h - r * w},
        {"butterfly", symbol(F::Butterfly, {w}), pi * w * w / 8},
        {"square butterfly", symbol(F::SquareButterfly, {w}), w * w / 2},
        {"triangle", symbol(F::Triangle, {w, h}), w * h / 2},
        {"half oval", symbol(F::HalfOval, {w, h}), (w - h / 2) * h + pi * h * h / 8},
        {"ellipse", symbol(F::Ellipse, {w, h}), pi * w * h / 4},
        {"square thermal", symbol(F::SquareThermal, {w, h, 0, 4, lw}), w * w - h * h - 4 * lw * (w - h) / 2},
        {"rect thermal", symbol(F::RectThermal, {w, h, 0, 4, lw, r}),
         w * h - (w - 2 * r) * (h - 2 * r) - 4 * lw * r},
        {"moire rings", symbol(F::Moire, {r, lw, 2, 0, 0, 0}),
         pi * (std::pow(lw + r, 2) - lw * lw) + pi * (std::pow(2 * lw + 2 * r, 2) - std::pow(2 * lw + r, 2))},
    };
    for (const Case& c : cases) {
        Paths outline = symbol_outline(c.s, {});
        Box box = box_of(outline);
        double perimeter = 2.0 * double((box.xmax - box.xmin) + (box.ymax - box.ymin)) * 3;
        expect_area(outline, c.area, perimeter, c.name);
        // The cheap box holds the outline.
        Box cheap = symbol_box(c.s, {});
        EXPECT_TRUE(cheap.xmin <= box.xmin && cheap.ymin <= box.ymin && cheap.xmax >= box.xmax &&
                    cheap.ymax >= box.ymax)
            << c.name;
    }
    EXPECT_TRUE(symbol_outline(symbol(F::Null, {}), {}).empty());
}

TEST(GeometrySymbols, ThermalsCutTheirRingAtEverySpoke)
{
    using F = SymbolFamily;
    double od = 3 * mm, id = 2 * mm, gap = 0.3 * mm, rw = (od - id) / 2, mid = (od + id) / 4;
    // Rounded: four arcs of the middle circle with round ends, the ends
    // `gap` apart where they come closest.
    double half = 2 * std::asin((gap + rw) / 2 / mid);
    double piece = (kPi / 2 - half) * mid * rw + kPi * rw * rw / 4;
    Paths rounded = symbol_outline(symbol(F::RoundThermalRounded, {od, id, 45, 4, gap}), {});
    expect_area(rounded, 4 * piece, 2 * kPi * od, "rounded thermal");
    EXPECT_EQ(rounded.size(), 4u);
    // Squared: the ring minus four gap bands, within the curvature of the ring.
    Paths squared = symbol_outline(symbol(F::RoundThermalSquared, {od, id, 45, 4, gap}), {});
    double ring = kPi * (od * od - id * id) / 4;
    EXPECT_NEAR(area(squared), ring - 4 * gap * rw, 0.01 * ring);
    EXPECT_EQ(squared.size(), 4u);
    // Without spokes a thermal is its ring.
    expect_area(symbol_outline(symbol(F::RoundThermalRounded, {od, id, 0, 0, gap}), {}), ring, 2 * kPi * od, "ring");
    // Oval thermals of rounded pieces lose the corners of the square-ended
    // ones: two gaps across the straight sides make four ends.
    Symbol oblong = symbol(F::OblongThermal, {4 * mm, 2 * mm, 90, 2, gap, rw});
    double oval_round = area(symbol_outline(oblong, {}));
    oblong.rounded_ends = false;
    double oval_square = area(symbol_outline(oblong, {}));
    EXPECT_NEAR(oval_square - oval_round, 4 * rw * rw * (0.5 - kPi / 8), 0.01 * rw * rw);
}

TEST(GeometrySymbols, ChordErrorStaysWithinTheBound)
{
    for (double radius : {0.01 * mm, 0.1 * mm, 1 * mm, 50 * mm}) {
        Path c = circle(0, 0, radius);
        double chord = 2 * kPi / c.size();
        double sagitta = radius * (1 - std::cos(chord / 2));
        EXPECT_LE(sagitta, std::min(kChord, kRelativeChordError * radius) + 1) << radius;
        EXPECT_GE(c.size(), std::size_t(kMinCircleSegments));
        for (const IntPoint& p : c) EXPECT_NEAR(std::hypot(double(p.X), double(p.Y)), radius, 1.0);
    }
}

TEST(GeometryOrientation, PadsMirrorInXFirstThenTurnClockwise)
{
    using F = SymbolFamily;
    double w = 2 * mm, h = 1 * mm;
    // Triangle apex up; a quarter turn clockwise points it to +x.
    Paths tri = outline_of(pad_layer(symbol(F::Triangle, {w, h}), {Coord(10 * mm), 0}, 90));
    EXPECT_TRUE(inside(tri, 10 * mm + 0.45 * mm, 0));
    EXPECT_FALSE(inside(tri, 10 * mm + 0.45 * mm, 0.5 * mm));
    EXPECT_TRUE(inside(tri, 10 * mm - 0.45 * mm, 0.9 * mm));

    // Half oval, round on the right. Mirrored it is round on the left, and a
    // quarter turn clockwise then puts the round end at the top. Turning
    // first and mirroring after would put it at the bottom.
    Paths half = outline_of(pad_layer(symbol(F::HalfOval, {w, h}), {}, 90, true));
    Box box = box_of(half);
    EXPECT_NEAR(double(box.ymax - box.ymin), w, 2);
    EXPECT_FALSE(inside(half, 0.45 * mm, 0.95 * mm));  // top corners are round
    EXPECT_TRUE(inside(half, 0.45 * mm, -0.95 * mm));  // bottom corners are square
    EXPECT_TRUE(inside(half, -0.45 * mm, -0.95 * mm));

    // A thermal with one gap at 0 degrees: on +x unturned, on -y turned 90
    // clockwise, on -x mirrored.
    Symbol one_gap = symbol(F::RoundThermalSquared, {3 * mm, 2 * mm, 0, 1, 0.4 * mm});
    double ring = 1.25 * mm;
    Paths plain = outline_of(pad_layer(one_gap));
    EXPECT_FALSE(inside(plain, ring, 0));
    EXPECT_TRUE(inside(plain, -ring, 0));
    Paths turned = outline_of(pad_layer(one_gap, {}, 90));
    EXPECT_FALSE(inside(turned, 0, -ring));
    EXPECT_TRUE(inside(turned, ring, 0));
    Paths mirrored = outline_of(pad_layer(one_gap, {}, 0, true));
    EXPECT_FALSE(inside(mirrored, -ring, 0));
    EXPECT_TRUE(inside(mirrored, ring, 0));

    // Butterfly quarters top right and bottom left; mirrored top left and bottom right.
    Paths fly = outline_of(pad_layer(symbol(F::Butterfly, {2 * mm}), {}, 0, true));
    EXPECT_TRUE(inside(fly, -0.5 * mm, 0.5 * mm));
    EXPECT_FALSE(inside(fly, 0.5 * mm, 0.5 * mm));
    EXPECT_GT(area(fly), 0);  // mirrored islands still run counter-clockwise
}

TEST(GeometryOrientation, OddAnglesKeepShapeAndCheapBoxHoldsOutline)
{
    using F = SymbolFamily;
    Symbol rect = symbol(F::RectRounded, {3 * mm, 1 * mm, 0.2 * mm}, kCornerTopRight);
    for (double angle : {0.0, 17.5, 45.0, 90.0, 133.0, 270.0, 359.0}) {
        for (bool mirror : {false, true}) {
            Layer layer = pad_layer(rect, {Coord(5 * mm), Coord(-7 * mm)}, angle, mirror);
            Paths outline = outline_of(layer);
            EXPECT_NEAR(area(outline), area(symbol_outline(rect, {})), 1e-6 * area(outline));
            Box exact = box_of(outline), cheap = feature_box(layer, layer.features[0], {});
            EXPECT_TRUE(cheap.xmin <= exact.xmin && cheap.ymin <= exact.ymin && cheap.xmax >= exact.xmax &&
                        cheap.ymax >= exact.ymax)
                << angle;
        }
    }
}

Layer stroke_layer(FeatureKind kind, const Symbol& s, Point a, Point b, Point c = {}, bool cw = false)
{
    Layer layer;
    layer.symbols.push_back(s);
    Feature f;
    f.kind = kind;
    f.symbol = 0;
    f.a = a;
    f.b = b;
    f.c = c;
    f.cw = cw;
    layer.features.push_back(f);
    return layer;
}

TEST(GeometryStrokes, LinesHaveRoundOrSweptEnds)
{
    using F = SymbolFamily;
    double len = 10 * mm, w = 1 * mm;
    Point a{0, 0}, b{Coord(len), 0};
    Paths round = outline_of(stroke_layer(FeatureKind::Line, symbol(F::Round, {w}), a, b));
    expect_area(round, len * w + kPi * w * w / 4, 2 * len + kPi * w, "round line");
    Paths square = outline_of(stroke_layer(FeatureKind::Line, symbol(F::Square, {w}), a, b));
    expect_area(square, (len + w) * w, 0, "square line");
    // A square swept at 45 degrees: the square plus a band sqrt(2) w wide.
    Point diagonal{Coord(len / std::sqrt(2.0)), Coord(len / std::sqrt(2.0))};
    Paths swept = outline_of(stroke_layer(FeatureKind::Line, symbol(F::Square, {w}), a, diagonal));
    EXPECT_NEAR(area(swept), w * w + len * w * std::sqrt(2.0), 1e-4 * area(swept));
    Paths rect = outline_of(stroke_layer(FeatureKind::Line, symbol(F::Rect, {w, 2 * w}), a, b));
    expect_area(rect, (len + w) * 2 * w, 0, "rect line");
    // A zero-length line is its symbol.
    Paths dot = outline_of(stroke_layer(FeatureKind::Line, symbol(F::Round, {w}), a, a));
    expect_area(dot, kPi * w * w / 4, kPi * w, "dot");
}

TEST(GeometryStrokes, ArcsRunTheirOwnDirection)
{
    using F = SymbolFamily;
    double r = 5 * mm, w = 0.5 * mm;
    Point start{Coord(r), 0}, end{0, Coord(r)}, centre{0, 0};
    Paths ccw = outline_of(stroke_layer(FeatureKind::Arc, symbol(F::Round, {w}), start, end, centre, false));
    Paths cw = outline_of(stroke_layer(FeatureKind::Arc, symbol(F::Round, {w}), start, end, centre, true));
    double cap = kPi * w * w / 4;
    expect_area(ccw, kPi / 2 * r * w + cap, 2 * r * 2 + kPi * w, "quarter arc");
    expect_area(cw, 3 * kPi / 2 * r * w + cap, 2 * r * 6 + kPi * w, "three-quarter arc");
    double diag = r / std::sqrt(2.0);
    EXPECT_TRUE(inside(ccw, diag, diag));
    EXPECT_FALSE(inside(ccw, -diag, -diag));
    EXPECT_TRUE(inside(cw, -diag, -diag));
    EXPECT_FALSE(inside(cw, diag, diag));

    // Start on end: a full ring.
    Paths full = outline_of(stroke_layer(FeatureKind::Arc, symbol(F::Round, {w}), start, start, centre, true));
    expect_area(full, 2 * kPi * r * w, 4 * kPi * r, "full ring");
    EXPECT_FALSE(inside(full, 0, 0));

    // Boxes of arcs come from the quadrants they pass, not their ends alone.
    for (bool dir : {false, true}) {
        Layer layer = stroke_layer(FeatureKind::Arc, symbol(F::Square, {w}), start, end, centre, dir);
        Box exact = box_of(outline_of(layer)), cheap = feature_box(layer, layer.features[0], {});
        EXPECT_NEAR(double(cheap.xmin), double(exact.xmin), kChord + w);
        EXPECT_NEAR(double(cheap.ymin), double(exact.ymin), kChord + w);
        EXPECT_LE(cheap.xmin, exact.xmin);
        EXPECT_LE(cheap.ymin, exact.ymin);
        EXPECT_GE(cheap.xmax, exact.xmax);
        EXPECT_GE(cheap.ymax, exact.ymax);
    }
}

Contour square_contour(bool island, double x0, double y0, double size)
{
    Contour c;
    c.island = island;
    c.start = {Coord(x0), Coord(y0)};
    for (auto [x, y] : {std::pair{x0 + size, y0}, {x0 + size, y0 + size}, {x0, y0 + size}, {x0, y0}})
        c.segments.push_back(Segment{{Coord(x), Coord(y)}, {}, false, false});
    return c;
}

TEST(GeometrySurfaces, IslandsHolesAndArcEdges)
{
    Surface s;
    s.contours.push_back(square_contour(true, 0, 0, 10 * mm));
    s.contours.push_back(square_contour(false, 2 * mm, 2 * mm, 6 * mm));
    // An island inside the hole: it belongs, it is not cut away.
    s.contours.push_back(square_contour(true, 4 * mm, 4 * mm, 2 * mm));
    // An island whose top edge is a half circle (clockwise over the top).
    Contour d;
    d.start = {Coord(20 * mm), 0};
    d.segments = {Segment{{Coord(24 * mm), 0}, {}, false, false},
                  Segment{{Coord(24 * mm), Coord(2 * mm)}, {}, false, false},
                  Segment{{Coord(20 * mm), Coord(2 * mm)}, {Coord(22 * mm), Coord(2 * mm)}, true, false},
                  Segment{{Coord(20 * mm), 0}, {}, false, false}};
    s.contours.push_back(d);
    Paths outline = surface_outline(s);
    double expected = 100 * mm * mm - 36 * mm * mm + 4 * mm * mm + 8 * mm * mm + kPi * 4 * mm * mm / 2;
    expect_area(outline, expected, 2 * kPi * mm, "surface");
    EXPECT_FALSE(inside(outline, 3 * mm, 3 * mm));
    EXPECT_TRUE(inside(outline, 5 * mm, 5 * mm));
    EXPECT_TRUE(inside(outline, 22 * mm, 3.9 * mm));

    Layer layer;
    layer.surfaces.push_back(s);
    Feature f;
    f.kind = FeatureKind::Surface;
    layer.features.push_back(f);
    Box cheap = feature_box(layer, f, {});
    EXPECT_EQ(cheap.ymax, Coord(10 * mm));
    EXPECT_EQ(cheap.xmax, Coord(24 * mm));
    // The half circle's top counts in the box, not only its ends.
    layer.surfaces[0].contours = {d};
    EXPECT_EQ(feature_box(layer, f, {}).ymax, Coord(4 * mm));
}

TEST(GeometrySurfaces, OutlinesBecomeSurfacesAndBack)
{
    // A frame with an island in its hole, and a separate disc.
    Paths outline = subtract({rectangle(0, 0, 10 * mm, 10 * mm)}, {rectangle(2 * mm, 2 * mm, 8 * mm, 8 * mm)});
    outline = unite(outline, {rectangle(4 * mm, 4 * mm, 6 * mm, 6 * mm), circle(20 * mm, 0, 3 * mm)});
    Surface s = surface_of(outline);
    ASSERT_EQ(s.contours.size(), 4u);
    int islands = 0;
    for (const Contour& c : s.contours) {
        islands += c.island;
        EXPECT_EQ(c.segments.back().end, c.start); // closed
    }
    EXPECT_EQ(islands, 3);
    EXPECT_TRUE(s.contours[0].island);
    Paths back = surface_outline(s);
    EXPECT_NEAR(area(back), area(outline), 1.0);
    EXPECT_NEAR(area(exclusive_or(back, outline)), 0, 1.0);
    EXPECT_TRUE(inside(back, 5 * mm, 5 * mm));
    EXPECT_FALSE(inside(back, 3 * mm, 3 * mm));
    EXPECT_TRUE(surface_of({}).contours.empty());
}

TEST(GeometryUserSymbols, DrawTheirFeaturesAndStopAtTheDepthLimit)
{
    Job job;
    UserSymbol& pair = job.symbols["pair"];
    pair.features = pad_layer(symbol(SymbolFamily::Square, {1 * mm}), {Coord(-2 * mm), 0});
    pair.features.features.push_back(pair.features.features[0]);
    pair.features.features[1].a = {Coord(2 * mm), 0};
    // A negative pad inside the second square takes a hole out of it.
    pair.features.symbols.push_back(symbol(SymbolFamily::Round, {0.5 * mm}));
    Feature hole = pair.features.features[1];
    hole.symbol = 1;
    hole.polarity = Polarity::Negative;
    pair.features.features.push_back(hole);
    OutlineContext context = context_of(job);

    Symbol user;
    user.family = SymbolFamily::User;
    user.name = "pair";
    Layer layer = pad_layer(user, {Coord(10 * mm), 0}, 90);
    Paths outline = feature_outline(layer, layer.features[0], context);
    expect_area(outline, 2 * mm * mm - kPi * 0.0625 * mm * mm, kPi * 0.5 * mm, "user symbol");
    EXPECT_TRUE(inside(outline, 10 * mm, -2 * mm + 0.4 * mm)); // turned clockwise: -x went to +y
    Box cheap = feature_box(layer, layer.features[0], context);
    EXPECT_LE(cheap.ymin, Coord(-2.5 * mm));

    // A symbol that holds itself ends at the depth limit, without hanging.
    UserSymbol& loop = job.symbols["loop"];
    Symbol self = user;
    self.name = "loop";
    loop.features = pad_layer(self);
    context = context_of(job);
    Layer looping = pad_layer(self);
    EXPECT_TRUE(feature_outline(looping, looping.features[0], context).empty());
    EXPECT_TRUE(feature_box(looping, looping.features[0], context).empty());
    // Symbols that hold each other, and wide nesting: 40 copies of 40 copies
    // of ... five deep would be 10^8 pads expanded one by one.
    Symbol ping = user, pong = user;
    ping.name = "ping";
    pong.name = "pong";
    job.symbols["ping"].features = pad_layer(pong);
    job.symbols["pong"].features = pad_layer(ping);
    for (int level = 0; level < 5; ++level) {
        Symbol inner = user;
        inner.name = level ? "wide" + std::to_string(level - 1) : "pair";
        Layer& features = job.symbols["wide" + std::to_string(level)].features;
        features = pad_layer(inner);
        for (int k = 1; k < 40; ++k) features.features.push_back(features.features[0]);
    }
    context = context_of(job);
    Layer ponged = pad_layer(ping);
    EXPECT_TRUE(feature_outline(ponged, ponged.features[0], context).empty());
    Symbol widest = user;
    widest.name = "wide4";
    Layer wide = pad_layer(widest);
    EXPECT_FALSE(feature_outline(wide, wide.features[0], context).empty());
    EXPECT_FALSE(feature_box(wide, wide.features[0], context).empty());
    // Unknown user symbols draw nothing.
    user.name = "missing";
    Layer unknown = pad_layer(user);
    EXPECT_TRUE(feature_outline(unknown, unknown.features[0], context).empty());
}

TEST(GeometrySymbols, HostileSizesNeitherCrashNorThrow)
{
    const double nan = std::nan("");
    for (int f = 0; f <= int(SymbolFamily::User); ++f) {
        for (double v : {nan, -1 * mm, 1e30, 0.0, 1e6 * mm}) {
            Symbol s = symbol(SymbolFamily(f), {v, v / 2, v, v, v, v, v});
            Layer layer = pad_layer(s, {}, 33);
            Feature line;
            line.kind = FeatureKind::Line;
            line.symbol = 0;
            line.b = {Coord(mm), 0};
            layer.features.push_back(line);
            for (const Feature& feature : layer.features) {
                EXPECT_NO_THROW(feature_outline(layer, feature, {})) << f << " " << v;
                EXPECT_NO_THROW(feature_box(layer, feature, {})) << f << " " << v;
            }
        }
    }
}

const char* kFont = R"(XSIZE 0.2
YSIZE 0.3
OFFSET 0.05

CHAR I
LINE 0 -0.1 0 0.2 P R 0.01
ECHAR
CHAR -
LINE -0.1 0.05 0.1 0.05 P S 0.02
ECHAR
)";

TEST(GeometryFonts, ParsesFontFilesAndRejectsBrokenOnes)
{
    std::string error;
    auto font = parse_stroke_font(kFont, &error);
    ASSERT_TRUE(font) << error;
    EXPECT_DOUBLE_EQ(font->xsize, 0.2 * kNmPerInch);
    EXPECT_DOUBLE_EQ(font->offset, 0.05 * kNmPerInch);
    ASSERT_EQ(font->glyphs.size(), 2u);
    const Stroke& dash = font->glyphs.at('-')[0];
    EXPECT_FALSE(dash.round);
    EXPECT_DOUBLE_EQ(dash.width, 0.02 * kNmPerInch);
    EXPECT_DOUBLE_EQ(dash.xs, -0.1 * kNmPerInch);

    auto mm_font = parse_stroke_font("UNITS=MM\nXSIZE 2\nYSIZE 3\nCHAR A\nLINE 0 0 1 1 N R 0.1\nECHAR\n");
    ASSERT_TRUE(mm_font);
    EXPECT_DOUBLE_EQ(mm_font->glyphs.at('A')[0].xe, 1 * mm);
    EXPECT_FALSE(mm_font->glyphs.at('A')[0].positive);

    for (const char* broken : {"YSIZE 1\nCHAR A\nECHAR\n",                       // no XSIZE
                               "XSIZE 1\nYSIZE 1\nCHAR A\nLINE 0 0 1 P R 1\nECHAR\n", // short record
                               "XSIZE 1\nYSIZE 1\nLINE 0 0 1 1 P R 1\n",          // outside a char
                               "XSIZE 1\nYSIZE 1\nCHAR A\nLINE 0 0 1 1 P R 1\n",  // unclosed
                               "XSIZE x\nYSIZE 1\n"}) {
        error.clear();
        EXPECT_FALSE(parse_stroke_font(broken, &error)) << broken;
        EXPECT_NE(error.find("font line"), std::string::npos) << broken;
    }
}

// The bytes of the file of the sample job whose path ends with `suffix`.
std::string sample_job_file(const std::string& suffix)
{
    std::string bytes;
    archive* a = archive_read_new();
    archive_read_support_filter_all(a);
    archive_read_support_format_all(a);
    if (archive_read_open_filename(a, KESTO_TESTDATA "/odb/sample_design.tgz", 1 << 16) == ARCHIVE_OK) {
        archive_entry* entry = nullptr;
        while (archive_read_next_header(a, &entry) == ARCHIVE_OK) {
            std::string name = archive_entry_pathname(entry);
            if (name.size() < suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
                continue;
            char buffer[8192];
            la_ssize_t n;
            while ((n = archive_read_data(a, buffer, sizeof buffer)) > 0) bytes.append(buffer, std::size_t(n));
            break;
        }
    }
    archive_read_free(a);
    return bytes;
}

TEST(GeometryFonts, ReadsTheFontOfARealJob)
{
    std::string text = sample_job_file("fonts/standard");
    ASSERT_FALSE(text.empty());
    std::string error;
    auto font = parse_stroke_font(text, &error);
    ASSERT_TRUE(font) << error;
    EXPECT_NEAR(font->xsize, 0.302 * kNmPerInch, 1);
    EXPECT_GT(font->glyphs.size(), 90u);
    // Its capitals fill the cell the way the built-in font's do.
    auto extent = [](const StrokeFont& f, unsigned char c) {
        Box box;
        for (const Stroke& s : f.glyphs.at(c)) {
            box.add(Point{to_nm(s.xs), to_nm(s.ys)});
            box.add(Point{to_nm(s.xe), to_nm(s.ye)});
        }
        return box;
    };
    Box real = extent(*font, 'A'), ours = extent(builtin_stroke_font(), 'A');
    EXPECT_NEAR(double(real.ymin), double(ours.ymin), 1000);
    EXPECT_NEAR(double(real.ymax), double(ours.ymax), 1000);
    EXPECT_NEAR(double(real.xmin), double(ours.xmin), 1000);
}

TEST(GeometryFonts, TextsUseTheJobFontOrTheBuiltInOne)
{
    Job job;
    job.files["fonts/standard"] = kFont;
    OutlineContext context = context_of(job);
    Layer layer;
    Text t;
    const double inch = double(kNmPerInch);
    t.xsize = Coord(0.4 * inch);
    t.ysize = Coord(0.6 * inch);
    t.text = "I-I";
    layer.texts.push_back(t);
    Feature f;
    f.kind = FeatureKind::Text;
    f.a = {Coord(100 * mm), Coord(50 * mm)};
    layer.features.push_back(f);

    // Twice the font's size: the I stands 0.2 inch right of the text point
    // (the middle of its cell), from the bottom of the cell 0.6 inch up; the
    // next cell starts 0.5 inch further, the font's offset scaled too.
    Paths outline = feature_outline(layer, f, context);
    double x0 = 100 * mm, y0 = 50 * mm, w = 0.01 * inch;
    EXPECT_TRUE(inside(outline, x0 + 0.2 * inch, y0 + 0.1 * inch));
    EXPECT_TRUE(inside(outline, x0 + 1.2 * inch, y0 + 0.1 * inch));
    EXPECT_FALSE(inside(outline, x0 + 0.7 * inch, y0 + 0.1 * inch));
    // The dash has square ends reaching half its width past its points.
    EXPECT_TRUE(inside(outline, x0 + 0.5 * inch - 0.009 * inch, y0 + 0.3 * inch));
    EXPECT_FALSE(inside(outline, x0 + 0.5 * inch - 0.011 * inch, y0 + 0.3 * inch));
    Box box = box_of(outline);
    EXPECT_NEAR(double(box.xmin), x0 + 0.2 * inch - w / 2, kChord + 2);
    EXPECT_NEAR(double(box.ymax), y0 + 0.6 * inch + w / 2, kChord + 2);
    EXPECT_NEAR(double(box.ymin), y0 - w / 2, kChord + 2);

    // Mirrored, the text runs to the left of its point.
    layer.features[0].mirror = true;
    Box mirrored = box_of(feature_outline(layer, layer.features[0], context));
    EXPECT_LT(mirrored.xmax, Coord(100 * mm));

    // Without a font file the built-in font draws every letter and digit.
    OutlineContext plain = context_of(Job{});
    EXPECT_EQ(plain.font, nullptr);
    // A broken font file is reported, and the built-in font stands in.
    Job broken;
    broken.files["fonts/standard"] = "XSIZE 1\nYSIZE 1\nCHAR A\nLINE 0 0\nECHAR\n";
    std::string why;
    EXPECT_EQ(context_of(broken, &why).font, nullptr);
    EXPECT_EQ(why, "font line 4: malformed LINE record");
    layer.features[0].mirror = false;
    layer.texts[0].text = "KESTO 42";
    Paths builtin = feature_outline(layer, layer.features[0], plain);
    EXPECT_GT(area(builtin), 0);
    for (char c = 'A'; c <= 'Z'; ++c) EXPECT_FALSE(builtin_stroke_font().glyphs.at(static_cast<unsigned char>(c)).empty());
    for (char c = '0'; c <= '9'; ++c) EXPECT_FALSE(builtin_stroke_font().glyphs.at(static_cast<unsigned char>(c)).empty());
    Box cheap = feature_box(layer, layer.features[0], plain);
    EXPECT_GE(cheap.xmax - cheap.xmin, Coord(6 * 0.4 * inch));
}

} // namespace
} // namespace kesto::geom
