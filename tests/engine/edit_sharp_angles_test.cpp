// Acute corners between lines: the narrowest notch of the copper image
// measured on its outline before and after the fill.
#include "drc_jobs.h"
#include "engine/edit/sharp_angles.h"
#include "engine/geometry/outline.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto;
using namespace kesto::test;

namespace {

const double kPi = 3.14159265358979323846;

// The narrowest angle of empty space at any vertex of the layer's image,
// in degrees. Outlines keep copper on their left, so at a vertex turning by
// phi (left positive) the empty side spans 180 + phi.
double narrowest_notch(const Layer& layer)
{
    const geom::Paths image = geom::layer_outline(layer, geom::OutlineContext{});
    double narrowest = 360;
    for (const geom::Path& path : image)
        for (std::size_t k = 0; k < path.size(); ++k) {
            const auto& a = path[(k + path.size() - 1) % path.size()];
            const auto& b = path[k];
            const auto& c = path[(k + 1) % path.size()];
            const double e1x = double(b.X - a.X), e1y = double(b.Y - a.Y);
            const double e2x = double(c.X - b.X), e2y = double(c.Y - b.Y);
            const double phi = std::atan2(e1x * e2y - e1y * e2x, e1x * e2x + e1y * e2y) * 180 / kPi;
            narrowest = std::min(narrowest, 180 + phi);
        }
    return narrowest;
}

// 0.2 mm lines from the origin: along +x, at 30 degrees, and a third at 150
// degrees from the first (120 from the second, 150 from the first: not sharp).
// Elsewhere a T joint: a line ending on another's middle at 45 degrees.
Layer corners()
{
    Layer l;
    const int r200 = JobBuilder::round(l, 200);
    JobBuilder::line(l, r200, 0, 0, 10000, 0);
    JobBuilder::line(l, r200, 0, 0, 10000 * std::cos(kPi / 6), 10000 * std::sin(kPi / 6));
    JobBuilder::line(l, r200, 0, 0, -10000 * std::cos(kPi / 6), 10000 * std::sin(kPi / 6));
    JobBuilder::line(l, r200, 20000, 20000, 40000, 20000);
    JobBuilder::line(l, r200, 30000, 20000, 30000 + 8000, 20000 + 8000);
    return l;
}

} // namespace

TEST(EditSharpAngles, AcuteCornersAreFilledUpToTheRule)
{
    const Layer before = corners();
    EXPECT_NEAR(narrowest_notch(before), 30, 0.01) << "the notch between the first two lines";

    for (bool round : {true, false}) {
        Layer l = corners();
        const std::vector<bool> all(l.features.size(), true);
        const std::size_t filled =
            edit::fill_sharp_angles(l, all, {90, Coord(1000000), round, /*joints=*/false});
        EXPECT_EQ(filled, 1u) << "only the 30 degree corner; the T joint needs joints";
        EXPECT_NEAR(narrowest_notch(l), 45, 0.01) << "the T joint's 45 degrees is now the narrowest";

        Layer j = corners();
        EXPECT_EQ(edit::fill_sharp_angles(j, all, {90, Coord(1000000), round, /*joints=*/true}), 2u);
        // The chord meets each line's inner edge at 90 + 30/2 = 105 degrees
        // (45: 112.5); an arc meets it more gently still.
        EXPECT_GE(narrowest_notch(j), round ? 105 : 104.99) << (round ? "round" : "chord");
        if (!round) {
            EXPECT_NEAR(narrowest_notch(j), 105, 0.05);
        }
    }

    // A rule of 20 degrees leaves the 30 degree corner; unpicked lines are left alone.
    Layer l = corners();
    EXPECT_EQ(edit::fill_sharp_angles(l, std::vector<bool>(l.features.size(), true), {20, 1000000, true, true}), 0u);
    EXPECT_EQ(edit::fill_sharp_angles(l, {true, false, true, true, true}, {90, 1000000, true, false}), 0u);
    EXPECT_EQ(l.features.size(), 5u);
}
