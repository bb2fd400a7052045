// Feature outlines as the copper tests of the drill analysis see them.
#include "drc_jobs.h"

#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace api = KESTO::API;

namespace {

Point at(double x, double y) { return {um(x), um(y)}; }

// A square island from (x0, y0) to (x1, y1), with an optional square hole.
std::uint32_t square_surface(Layer& l, double x0, double y0, double x1, double y1, bool with_hole)
{
    Surface s;
    auto square = [](bool island, double a0, double b0, double a1, double b1) {
        Contour c;
        c.island = island;
        c.start = at(a0, b0);
        for (Point p : {at(a1, b0), at(a1, b1), at(a0, b1), at(a0, b0)}) c.segments.push_back({p, {}, false, false});
        return c;
    };
    s.contours.push_back(square(true, x0, y0, x1, y1));
    if (with_hole) s.contours.push_back(square(false, x0 + 4000, y0 + 4000, x1 - 4000, y1 - 4000));
    l.surfaces.push_back(s);
    Feature f;
    f.kind = FeatureKind::Surface;
    f.body = std::uint32_t(l.surfaces.size() - 1);
    f.a = at(x0, y0);
    l.features.push_back(f);
    return std::uint32_t(l.features.size() - 1);
}

} // namespace

TEST(DrcShapes, PadsAreOutlinedBySymbolAndRotation)
{
    Layer l;
    const auto round = JobBuilder::pad(l, JobBuilder::round(l, 1000), 0, 0);
    EXPECT_TRUE(covers(l, l.features[round], at(0, 499)));
    EXPECT_FALSE(covers(l, l.features[round], at(360, 360))); // inside the box, outside the circle

    const auto rect = JobBuilder::pad(l, JobBuilder::symbol(l, SymbolFamily::Rect, 2000, 200, "rect2000x200"), 10000, 0);
    l.features[rect].angle = 90;
    EXPECT_TRUE(covers(l, l.features[rect], at(10000, 900)));
    EXPECT_FALSE(covers(l, l.features[rect], at(10900, 0)));

    const auto oval = JobBuilder::pad(l, JobBuilder::symbol(l, SymbolFamily::Oval, 2000, 1000, "oval2000x1000"), 20000, 0);
    EXPECT_TRUE(covers(l, l.features[oval], at(20900, 0)));
    EXPECT_FALSE(covers(l, l.features[oval], at(20950, 450))); // the corner the rounded end leaves out

    const auto donut = JobBuilder::pad(l, JobBuilder::symbol(l, SymbolFamily::RoundDonut, 1000, 600, "donut_r1000x600"), 30000, 0);
    EXPECT_FALSE(covers(l, l.features[donut], at(30000, 0)));
    EXPECT_TRUE(covers(l, l.features[donut], at(30400, 0)));
}

TEST(DrcShapes, StrokesAndSurfacesWithHoles)
{
    Layer l;
    const auto line = JobBuilder::line(l, JobBuilder::round(l, 200), 0, 0, 5000, 0);
    EXPECT_TRUE(covers(l, l.features[line], at(5090, 0)));
    EXPECT_FALSE(covers(l, l.features[line], at(2500, 120)));

    Feature arc;
    arc.kind = FeatureKind::Arc;
    arc.symbol = JobBuilder::round(l, 200);
    arc.a = at(1000, 0);
    arc.b = at(0, 1000);
    arc.c = at(0, 0);
    arc.cw = false; // the quarter through (707, 707)
    l.features.push_back(arc);
    EXPECT_TRUE(covers(l, l.features.back(), at(707, 707)));
    EXPECT_FALSE(covers(l, l.features.back(), at(-707, -707)));

    const auto plane = square_surface(l, 0, 10000, 10000, 20000, true);
    EXPECT_TRUE(covers(l, l.features[plane], at(2000, 12000)));
    EXPECT_FALSE(covers(l, l.features[plane], at(5000, 15000))); // in the hole
}

TEST(DrcShapes, NegativeFeaturesClearCopperUnderThem)
{
    Layer l;
    square_surface(l, 0, 0, 10000, 10000, false);
    const auto clearance = JobBuilder::pad(l, JobBuilder::round(l, 800), 5000, 5000);
    l.features[clearance].polarity = Polarity::Negative;
    CopperAtPoints cleared(l);
    EXPECT_FALSE(cleared.copper_at(at(5000, 5000)));
    EXPECT_TRUE(cleared.copper_at(at(2000, 2000)));
    JobBuilder::pad(l, JobBuilder::round(l, 300), 5000, 5000); // drawn after: copper again
    CopperAtPoints refilled(l);
    EXPECT_TRUE(refilled.copper_at(at(5000, 5000)));
}

TEST(DrcShapes, ViaInAPlaneClearanceIsAnExtraHole)
{
    JobBuilder b("plane");
    Layer& top = b.layer("top", "SIGNAL");
    Layer& gnd = b.layer("gnd", "POWER_GROUND");
    b.layer("bot", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL", "top", "bot");
    (void)top;
    square_surface(gnd, 0, 0, 10000, 10000, false);
    const auto clearance = JobBuilder::pad(gnd, JobBuilder::round(gnd, 800), 5000, 5000);
    gnd.features[clearance].polarity = Polarity::Negative;
    const int r300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(drill, r300, 5000, 5000); // in the clearance: touches no copper
    JobBuilder::pad(drill, r300, 2000, 2000); // in the plane
    DrillOptions o;
    o.extra_holes = o.use_pth = o.use_via = true;
    const DrillAnalysis a = analyse_drill(b.job, b.job.steps["pcb"], {"drill"}, o, {});
    const auto& extra = a.result.at("drill").items.at(api::ExtraHoles).lv[0];
    ASSERT_EQ(extra.size(), 1u);
    EXPECT_NEAR(extra[0].geometry[0], 5.0, 1e-9);
}

// A marker's box holds the arc it marks and no more: the ends, plus the
// points where the arc crosses the axes through its centre, grown by half
// the pen.
TEST(DrcShapes, ArcBoxesHoldOnlyTheSweptPart)
{
    Layer l;
    const auto pen = JobBuilder::round(l, 200);
    auto box_of = [&](Point a, Point b, bool cw) {
        Feature arc;
        arc.kind = FeatureKind::Arc;
        arc.symbol = pen;
        arc.a = a;
        arc.b = b;
        arc.c = at(0, 0);
        arc.cw = cw;
        const Box2 box = feature_box(l, arc);
        return std::vector<Coord>{box.xmin, box.ymin, box.xmax, box.ymax};
    };
    using Box = std::vector<Coord>;
    // The upper half circle of radius 1 mm: 2.2 x 1.2 mm.
    EXPECT_EQ(box_of(at(-1000, 0), at(1000, 0), true), (Box{um(-1100), um(-100), um(1100), um(1100)}));
    // The same ends the other way round: the lower half.
    EXPECT_EQ(box_of(at(-1000, 0), at(1000, 0), false), (Box{um(-1100), um(-1100), um(1100), um(100)}));
    // A quarter in the first quadrant, counter-clockwise, and its clockwise
    // complement, three quarters round.
    EXPECT_EQ(box_of(at(1000, 0), at(0, 1000), false), (Box{um(-100), um(-100), um(1100), um(1100)}));
    EXPECT_EQ(box_of(at(1000, 0), at(0, 1000), true), (Box{um(-1100), um(-1100), um(1100), um(1100)}));
    // Equal ends: the whole circle.
    EXPECT_EQ(box_of(at(0, 1000), at(0, 1000), true), (Box{um(-1100), um(-1100), um(1100), um(1100)}));
}
