// A layer's image worked group by group against areas worked out by hand:
// pours with clearance holes and the pads on, in, around and beside them.
#include "drc_jobs.h"
#include "engine/geometry/area_parts.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::test;

namespace {

constexpr double kMm2 = 1e12; // square nanometres in a square millimetre

// A rectangle (mm) whose sides are cut into `steps` collinear pieces each, so
// that it counts as a long outline while its area stays exact.
Contour long_rect(double x1, double y1, double x2, double y2, bool island, int steps = 60)
{
    Contour c;
    c.island = island;
    c.start = {um(x1 * 1000), um(y1 * 1000)};
    const double xs[] = {x1, x2, x2, x1, x1}, ys[] = {y1, y1, y2, y2, y1};
    for (int side = 0; side < 4; ++side)
        for (int k = 1; k <= steps; ++k) {
            const double t = double(k) / steps;
            Segment s;
            s.end = {um(1000 * (xs[side] + t * (xs[side + 1] - xs[side]))),
                     um(1000 * (ys[side] + t * (ys[side + 1] - ys[side])))};
            c.segments.push_back(s);
        }
    return c;
}

void add_surface(Layer& layer, std::vector<Contour> contours, Polarity polarity = Polarity::Positive)
{
    Surface s;
    s.contours = std::move(contours);
    layer.surfaces.push_back(s);
    Feature f;
    f.kind = FeatureKind::Surface;
    f.polarity = polarity;
    f.body = std::uint32_t(layer.surfaces.size() - 1);
    layer.features.push_back(f);
}

// A square pad, side and centre in mm.
void square(Layer& layer, double side, double x, double y, Polarity polarity = Polarity::Positive)
{
    const int sym = JobBuilder::symbol(layer, SymbolFamily::Square, side * 1000, side * 1000,
                                       "s" + std::to_string(int(side * 1000)));
    const auto at = JobBuilder::pad(layer, sym, x * 1000, y * 1000);
    layer.features[at].polarity = polarity;
}

double area_mm2(const Layer& layer, const Job& job)
{
    return geom::area(geom::layer_outline_by_parts(layer, geom::context_of(job))) / kMm2;
}

// 10 x 10 mm pour with a 2 x 2 clearance at (4..6, 4..6) and a 1 x 1 one at
// (7..8, 7..8): 95 mm².
void pour(Layer& layer)
{
    add_surface(layer, {long_rect(0, 0, 10, 10, true), long_rect(4, 4, 6, 6, false, 20),
                        long_rect(7, 7, 8, 8, false, 20)});
}

TEST(GeometryAreaParts, PadsOnInAroundAndBesideAPour)
{
    JobBuilder b("parts");
    Layer& top = b.layer("top", "SIGNAL");
    pour(top);
    square(top, 1, 5, 5);     // alone in the big clearance: +1
    square(top, 1, 2, 2);     // on the pour: +0
    square(top, 2, 7.5, 7.5); // over the small clearance: fills it, +1
    square(top, 2, 10, 2);    // across the pour's edge: half outside, +2
    square(top, 1, 15, 5);    // off the pour: +1
    // A second pour overlapping the first on 9..10 x 8..10 (2 mm²): 12 - 2.
    add_surface(top, {long_rect(9, 8, 12, 12, true)});
    square(top, 1, 11, 11); // on the second pour only: +0
    const double expected = 95 + 1 + 0 + 1 + 2 + 1 + 10;
    EXPECT_NEAR(area_mm2(top, b.job), expected, 1e-9);

    // Groups never overlap: uniting the parts leaves the area as it was.
    const geom::Paths image = geom::layer_outline_by_parts(top, geom::context_of(b.job));
    EXPECT_NEAR(geom::area(geom::unite(image)) / kMm2, expected, 1e-9);
}

TEST(GeometryAreaParts, NegativeFeaturesTakeAwayInDrawingOrder)
{
    JobBuilder b("parts_negative");
    Layer& top = b.layer("top", "SIGNAL");
    square(top, 1, 8.5, 2); // drawn first, then covered by the pour: +0
    pour(top);                                        // 95
    square(top, 2, 2, 2, Polarity::Negative);         // cut into the pour: -4
    square(top, 1, 2, 2);                             // drawn back in the cut: +1
    square(top, 1, 20, 20, Polarity::Negative);       // over nothing: 0
    square(top, 1, 5, 5, Polarity::Negative);         // in the clearance: 0
    add_surface(top, {long_rect(8, 1, 9, 3, true)}, Polarity::Negative); // slot through the pad and pour: -2
    EXPECT_NEAR(area_mm2(top, b.job), 95 - 4 + 1 - 2, 1e-9);

    // A pad drawn after the slot stands in it again.
    square(top, 1, 8.5, 2);
    EXPECT_NEAR(area_mm2(top, b.job), 95 - 4 + 1 - 2 + 1, 1e-9);
}

TEST(GeometryAreaParts, AnEmptyOrAllNegativeLayerHasNoCopper)
{
    JobBuilder b("parts_empty");
    Layer& top = b.layer("top", "SIGNAL");
    EXPECT_EQ(area_mm2(top, b.job), 0);
    square(top, 3, 1, 1, Polarity::Negative);
    add_surface(top, {long_rect(0, 0, 10, 10, true)}, Polarity::Negative);
    EXPECT_EQ(area_mm2(top, b.job), 0);
}

} // namespace
