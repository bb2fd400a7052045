// Slivers of a plane: the rule measures facing sides of the outline, so the
// test opens the whole surface itself (the plain definition: what a shrink
// and grow by half the limit takes away) to find the thin parts, and the
// widths and positions against hand-worked figures.
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
    // Each part the opening finds holds one marker's centre.
    for (const Box& part : expected) {
        int inside = 0;
        for (const auto* f : found) {
            const double x = f->geometry[0] * 1e6, y = f->geometry[1] * 1e6;
            if (x >= double(part.xmin) && x <= double(part.xmax) && y >= double(part.ymin) && y <= double(part.ymax)) ++inside;
        }
        EXPECT_EQ(inside, 1);
    }
    // Hand-worked figures. The web lies between the clearances' nearest
    // points (2500, 2000) and (2560, 2000): 60 um wide, centred on (2530,
    // 2000). The spike's sides run from (4980, 10000) and (5020, 10000) to
    // its tip; the nearest gap across it is from the base corner (4980, 10000)
    // to the far side, 40 * 1000 / hypot(20, 1000) = 39.992 um, and the thin
    // stretches reach 100 um beyond the base corners along the top side, so
    // the marker is centred on (5000, 10500).
    struct Want {
        double x, y, width;
    };
    for (const Want& w : {Want{2.53, 2.0, 60.0}, Want{5.0, 10.5, 40 * 1000 / std::hypot(20.0, 1000.0)}}) {
        int matches = 0;
        for (const auto* f : found) {
            if (std::abs(f->geometry[0] - w.x) > 0.001 || std::abs(f->geometry[1] - w.y) > 0.001) continue;
            ++matches;
            EXPECT_NEAR(double(f->measure_value), w.width * 1000, 1.0) << w.x << "," << w.y;
        }
        EXPECT_EQ(matches, 1) << "no sliver marked at " << w.x << "," << w.y;
    }
}

// What is not a sliver: a corner rounded with a 1 mm arc (its chords come
// close to each other but are one side bending), a right-angled notch, and a
// 40 degree tip (its sides come within 100 um of each other only over
// 100 / sin 40 deg = 156 um: an etched corner's rounding). A 20 degree tip
// is a sliver: 100 / sin 20 deg = 292 um of each side lies within 100 um of
// the other, more than twice the limit, and it narrows to nothing.
TEST(DrcSignalSlivers, RoundedCornersNotchesAndBluntTipsAreNoSlivers)
{
    JobBuilder b("signal_corner_slivers");
    Layer& top = b.layer("top", "SIGNAL");
    auto surface = [&](std::vector<Segment> segments, Point start) {
        Contour c;
        c.start = start;
        c.segments = std::move(segments);
        top.surfaces.push_back({{c}});
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::int32_t(top.surfaces.size() - 1);
        top.features.push_back(f);
        return std::uint32_t(top.features.size() - 1);
    };
    auto to = [](double x, double y) { return Segment{{um(x), um(y)}, {}, false, false}; };
    // 5 x 5 mm with its top right corner rounded (centre (4000, 4000)) and a
    // 1 x 1 mm right-angled notch in its bottom side.
    surface({to(2000, 0), to(2000, 1000), to(3000, 1000), to(3000, 0), to(5000, 0), to(5000, 4000),
             Segment{{um(4000), um(5000)}, {um(4000), um(4000)}, true, false}, to(0, 5000), to(0, 0)},
            {0, 0});
    // Two tips 2 mm long on a 2 mm base line: 40 and 20 degrees at the tip.
    const double h = 2000;
    const double half40 = h * std::tan(20 * M_PI / 180), half20 = h * std::tan(10 * M_PI / 180);
    surface({to(10000 + half40, 0), to(10000, h), to(10000 - half40, 0)}, {um(10000 - half40), 0});
    const auto sharp = surface({to(20000 + half20, 0), to(20000, h), to(20000 - half20, 0)}, {um(20000 - half20), 0});

    SignalLimits limits;
    limits.sliver_min = um(100);
    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", limits, {CheckSliver}, {});
    auto it = r.result.find(item::Slivers);
    ASSERT_NE(it, r.result.end());
    std::vector<const KESTO::API::check_info*> found;
    for (const auto& level : it->second.lv)
        for (const auto& f : level) found.push_back(&f);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0]->features[0].feature_index, int(sharp));
    EXPECT_EQ(found[0]->measure_value, 0);
    // Marked from the tip down those 292 um of side, 292 cos 10 deg below it.
    EXPECT_NEAR(found[0]->geometry[1] + found[0]->geometry[3] / 2, 2.0, 0.001);
    EXPECT_NEAR(found[0]->geometry[1] - found[0]->geometry[3] / 2,
                2.0 - 0.1 / std::sin(20 * M_PI / 180) * std::cos(10 * M_PI / 180), 0.001);
}
