// The area inside a region and the grid fill, against
// figures worked by hand or counted here point by point.
#include "engine/edit/fill.h"
#include "engine/geometry/area_inside.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>

using namespace kesto;

namespace {

constexpr double kMm = 1e6;  // nanometres
constexpr double kMm2 = 1e12;

geom::Path square(double xmin, double ymin, double xmax, double ymax)
{
    return geom::rectangle(xmin * kMm, ymin * kMm, xmax * kMm, ymax * kMm);
}


} // namespace

TEST(GeometryAreaInside, AreaInsideARegionCountsHolesAndCutsOnlyWhatCrosses)
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
    // A 10 mm square less a 2 mm radius disc off its centre; 1 mm square pads
    // on a 1 mm grid from (0.5, 0.5) (the outer ones touch the edge and stay
    // out), and 0.8 mm ones on a 0.7 mm grid.
    const double cx = 5.213, cy = 5.137;
    const geom::Paths area = geom::subtract({square(0, 0, 10, 10)}, {geom::circle(cx * kMm, cy * kMm, 2 * kMm)});
    struct Case {
        double pad, pitch;
    };
    for (const Case c : {Case{1, 1}, Case{0.8, 0.7}}) {
        const double h = c.pad / 2;
        const std::vector<Point> found =
            edit::grid_inside(area, square(-h, -h, h, h), {Coord(c.pitch / 2 * kMm), Coord(c.pitch / 2 * kMm)},
                              {Coord(10 * kMm), Coord(10 * kMm)}, Coord(c.pitch * kMm), Coord(c.pitch * kMm));
        // Counted here: strictly inside the square, and the pad's nearest
        // point farther than 2 mm from the disc's centre. The disc is drawn
        // with chords within a micron of it, so a pad within a micron of the
        // circle may go either way: `sure` must all be found, and nothing
        // outside `maybe`.
        std::set<std::pair<long long, long long>> sure, maybe, got;
        for (int j = 0;; ++j) {
            const double y = c.pitch / 2 + j * c.pitch;
            if (y > 10 + 1e-9) break;
            for (int i = 0;; ++i) {
                const double x = c.pitch / 2 + i * c.pitch;
                if (x > 10 + 1e-9) break;
                const double nx = std::clamp(cx, x - h, x + h), ny = std::clamp(cy, y - h, y + h);
                const bool in_square = x - h > 1e-9 && x + h < 10 - 1e-9 && y - h > 1e-9 && y + h < 10 - 1e-9;
                const double gap = std::hypot(nx - cx, ny - cy) - 2;
                const std::pair<long long, long long> at{std::llround(x * kMm), std::llround(y * kMm)};
                if (in_square && gap > 1e-3) sure.insert(at);
                if (in_square && gap > -1e-3) maybe.insert(at);
            }
        }
        for (const Point& p : found) got.insert({p.x, p.y});
        EXPECT_EQ(got.size(), found.size()) << "each point once";
        EXPECT_GT(sure.size(), 20u);
        for (const auto& p : sure) EXPECT_TRUE(got.count(p)) << "pad " << c.pad << " missing " << p.first << "," << p.second;
        for (const auto& p : got) EXPECT_TRUE(maybe.count(p)) << "pad " << c.pad << " extra " << p.first << "," << p.second;
    }
    EXPECT_TRUE(edit::grid_inside({}, square(-1, -1, 1, 1), {0, 0}, {10, 10}, 1, 1).empty());
}
