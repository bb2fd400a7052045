// Slivers of a plane: a large surface is opened only in windows round the
// places where its sides come close, so the test opens the whole surface
// itself (the plain definition) and the rule must find the same parts with
// the same widths.
#include "drc_jobs.h"

#include "engine/drc/signal_rules.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;
namespace item = kesto::drc::signal_item;

TEST(DrcSignalSlivers, APlaneWithCloseClearancesAndASpikeMatchesTheWholeOpening)
{
    JobBuilder b("signal_plane_slivers");
    Layer& top = b.layer("top", "SIGNAL");
    // A 10 x 10 mm plane with a spike on its top side: 1 mm tall, 40 um at
    // its base (an angle of about 2.3 degrees at the tip).
    Contour c;
    c.start = {0, 0};
    for (auto [x, y] : std::vector<std::pair<double, double>>{
             {0, 10000}, {4980, 10000}, {5000, 11000}, {5020, 10000}, {10000, 10000}, {10000, 0}, {0, 0}})
        c.segments.push_back({{um(x), um(y)}, {}, false, false});
    top.surfaces.push_back({{c}});
    Feature plane;
    plane.kind = FeatureKind::Surface;
    plane.body = 0;
    top.features.push_back(plane);
    // Clearances of 1 mm on a 3 mm grid (2 mm webs), and one pair 1060 um
    // apart: a web of 1060 - 500 - 500 = 60 um on the line between them.
    const int r1000 = JobBuilder::round(top, 1000);
    for (int i = 0; i < 3; ++i)
        for (int j = 0; j < 3; ++j) {
            const auto k = JobBuilder::pad(top, r1000, 2000 + 3000 * i, 2000 + 3000 * j);
            top.features[k].polarity = Polarity::Negative;
        }
    top.features[JobBuilder::pad(top, r1000, 3060, 2000)].polarity = Polarity::Negative;

    SignalLimits limits;
    limits.sliver_min = um(100);
    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", limits, {CheckSliver}, {});
    ASSERT_TRUE(r.found);

    // The plain definition, on the whole surface: what an opening by half
    // the limit takes away, parts larger than the limit squared.
    auto ctx = build_layer_context(b.job, b.job.steps["pcb"], "top", {false, false, false});
    ASSERT_EQ(ctx->pieces.size(), 1u);
    const geom::Paths& copper = ctx->pieces[0].copper;
    ASSERT_GT(geom::edges_of(copper).size(), 64u);  // large enough to be opened in windows
    const geom::Paths thin = geom::subtract(copper, geom::offset(geom::offset(copper, -50000), 50000));
    std::vector<Box> expected;
    for (const geom::Path& part : thin)
        if (geom::area({part}) >= 1e10) expected.push_back(geom::box_of(part));
    ASSERT_EQ(expected.size(), 2u);  // the web and the spike

    auto it = r.result.find(item::Slivers);
    ASSERT_NE(it, r.result.end());
    std::vector<const KESTO::API::check_info*> found;
    for (const auto& level : it->second.lv)
        for (const auto& f : level) found.push_back(&f);
    ASSERT_EQ(found.size(), expected.size());
    for (const Box& want : expected) {
        const double cx = double(want.xmin + want.xmax) / 2e6, cy = double(want.ymin + want.ymax) / 2e6;
        int matches = 0;
        for (const auto* f : found)
            if (std::abs(f->geometry[0] - cx) < 1e-6 && std::abs(f->geometry[1] - cy) < 1e-6) ++matches;
        EXPECT_EQ(matches, 1) << cx << "," << cy;
    }
    // Each part's width by the plain definition on the whole surface: twice
    // the largest shrink of the whole copper that still reaches the part.
    auto width_of = [&](const geom::Path& part) {
        double lo = 0, hi = 50000;
        while (hi - lo > 50) {
            const double mid = (lo + hi) / 2;
            const geom::Paths shrunk = geom::offset(copper, -mid);
            (geom::area(geom::intersect(shrunk, {part})) > 1e3 ? lo : hi) = mid;
        }
        return 2 * lo;
    };
    for (const geom::Path& part : thin) {
        if (geom::area({part}) < 1e10) continue;
        const Box want = geom::box_of(part);
        const double cx = double(want.xmin + want.xmax) / 2e6, cy = double(want.ymin + want.ymax) / 2e6;
        for (const auto* f : found)
            if (std::abs(f->geometry[0] - cx) < 1e-6 && std::abs(f->geometry[1] - cy) < 1e-6)
                EXPECT_NEAR(double(f->measure_value), width_of(part), 1000) << cx << "," << cy;
    }
}
