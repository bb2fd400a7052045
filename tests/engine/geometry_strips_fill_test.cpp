// The strip painter, the area inside a region and the grid fill, against
// figures worked by hand or counted here point by point.
#include "engine/edit/fill.h"
#include "engine/geometry/area_inside.h"
#include "engine/geometry/strips.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using namespace kesto;

namespace {

constexpr double kMm = 1e6;  // nanometres
constexpr double kMm2 = 1e12;
const double kPi = 3.14159265358979323846;

geom::Path square(double xmin, double ymin, double xmax, double ymax)
{
    return geom::rectangle(xmin * kMm, ymin * kMm, xmax * kMm, ymax * kMm);
}

geom::Piece piece(geom::Path path, bool positive)
{
    geom::Piece p;
    p.outline = {std::move(path)};
    p.box = geom::box_of(p.outline);
    p.positive = positive;
    return p;
}

} // namespace

TEST(GeometryStrips, StripsAddUpToThePaintedWholeWhateverTheirCount)
{
    // A 4 mm square, a 1 mm radius hole in it, a 1 mm square island in the
    // hole, a 6 mm bar crossing all of them: 16 - pi + 1 + the bar's part
    // outside the square (1 mm of 0.2 mm on either side... the bar runs from
    // x -1 to 5 at y 3.5..3.7, so 2 x 1 x 0.2 stands outside the square).
    const std::vector<geom::Piece> pieces{
        piece(square(0, 0, 4, 4), true), piece(geom::circle(2 * kMm, 2 * kMm, 1 * kMm), false),
        piece(square(1.5, 1.5, 2.5, 2.5), true), piece(square(-1, 3.5, 5, 3.7), true)};
    const double expected = 16 - kPi + 1 + 2 * 0.2;
    const double chords = 2 * kPi * 1e-3; // a micron along the hole's edge
    Box extent;
    for (const auto& p : pieces) extent.add(Point{p.box.xmin, p.box.ymin}), extent.add(Point{p.box.xmax, p.box.ymax});
    for (std::size_t per_strip : {std::size_t(1000000), std::size_t(100), std::size_t(7), std::size_t(1)}) {
        const std::vector<Box> strips = geom::strips_over(extent, pieces, per_strip);
        double area = 0;
        for (const Box& s : strips) area += geom::area(geom::painted_within(pieces, s));
        EXPECT_NEAR(area / kMm2, expected, chords) << strips.size() << " strips";
    }
    EXPECT_EQ(geom::strips_over(extent, pieces, 1).size(), 256u) << "at most 256 strips";
    EXPECT_EQ(geom::strips_over(extent, pieces).size(), 1u) << "small layers: one strip";
}

TEST(GeometryStrips, AreaInsideARegionCountsHolesAndCutsOnlyWhatCrosses)
{
    // A 4 mm square with a 2 mm square hole (1..3): 12 mm².
    const geom::Paths image = geom::unite({square(0, 0, 4, 4)}, {});
    const geom::Paths framed = geom::subtract(image, {square(1, 1, 3, 3)});
    ASSERT_NEAR(geom::area(framed) / kMm2, 12, 1e-9);
    EXPECT_NEAR(geom::area_inside(framed, {square(-1, -1, 10, 10)}) / kMm2, 12, 1e-9) << "wholly inside";
    EXPECT_NEAR(geom::area_inside(framed, {square(5, 5, 10, 10)}) / kMm2, 0, 1e-9) << "wholly outside";
    // x >= 2: the right half less the hole's right half, 8 - 2.
    EXPECT_NEAR(geom::area_inside(framed, {square(2, -1, 10, 10)}) / kMm2, 6, 1e-9);
    // Inside the hole only: nothing.
    EXPECT_NEAR(geom::area_inside(framed, {square(1.2, 1.2, 2.8, 2.8)}) / kMm2, 0, 1e-9);
    // A region with a hole of its own (a ring 0..4 less 1..3) over the framed square: the frame exactly.
    const geom::Paths ring = geom::subtract({square(0, 0, 4, 4)}, {square(1, 1, 3, 3)});
    EXPECT_NEAR(geom::area_inside(framed, ring) / kMm2, 12, 1e-9);
}

TEST(EditFill, GridPadsFitWhollyInsideAnAreaWithAHole)
{
    // A 10 mm square less a 2 mm radius disc at its centre; 1 mm square pads
    // on a 1 mm grid from (0.5, 0.5), and 0.8 mm ones on a 0.7 mm grid.
    const geom::Paths area = geom::subtract({square(0, 0, 10, 10)}, {geom::circle(5 * kMm, 5 * kMm, 2 * kMm)});
    struct Case {
        double pad, pitch;
    };
    for (const Case c : {Case{1, 1}, Case{0.8, 0.7}}) {
        const double h = c.pad / 2;
        const std::vector<Point> found =
            edit::grid_inside(area, square(-h, -h, h, h), {Coord(c.pitch / 2 * kMm), Coord(c.pitch / 2 * kMm)},
                              {Coord(10 * kMm), Coord(10 * kMm)}, Coord(c.pitch * kMm), Coord(c.pitch * kMm));
        // Counted here: strictly inside the square, and the pad's nearest
        // point farther than 2 mm from the disc's centre.
        std::vector<Point> expected;
        for (int j = 0;; ++j) {
            const double y = c.pitch / 2 + j * c.pitch;
            if (y > 10 + 1e-9) break;
            for (int i = 0;; ++i) {
                const double x = c.pitch / 2 + i * c.pitch;
                if (x > 10 + 1e-9) break;
                const double nx = std::clamp(5.0, x - h, x + h), ny = std::clamp(5.0, y - h, y + h);
                const bool fits = x - h > 1e-9 && x + h < 10 - 1e-9 && y - h > 1e-9 && y + h < 10 - 1e-9 &&
                                  std::hypot(nx - 5, ny - 5) > 2 + 1e-3;
                if (fits) expected.push_back({std::llround(x * kMm), std::llround(y * kMm)});
            }
        }
        ASSERT_EQ(found.size(), expected.size()) << "pad " << c.pad;
        for (std::size_t k = 0; k < found.size(); ++k) {
            EXPECT_NEAR(double(found[k].x), double(expected[k].x), 2) << k;
            EXPECT_NEAR(double(found[k].y), double(expected[k].y), 2) << k;
        }
    }
    EXPECT_TRUE(edit::grid_inside({}, square(-1, -1, 1, 1), {0, 0}, {10, 10}, 1, 1).empty());
}
