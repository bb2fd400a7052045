// Copper areas against areas worked out by hand on a small board, and on the
// sample job against a raster count made here, feature by feature.
#include "drc_jobs.h"
#include "engine/api/copper.h"
#include "engine/api/units.h"
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>

using namespace kesto;
using namespace kesto::test;
using KESTO::API::copper_figures;
using KESTO::API::copper_view;

namespace {

constexpr double kPi = 3.14159265358979323846;

Contour rect_contour(double x1, double y1, double x2, double y2, bool island)
{
    Contour c;
    c.island = island;
    c.start = {um(x1), um(y1)};
    for (auto [x, y] : {std::pair{x2, y1}, {x2, y2}, {x1, y2}, {x1, y1}}) {
        Segment s;
        s.end = {um(x), um(y)};
        c.segments.push_back(s);
    }
    return c;
}

// Board 20 x 10 mm. Matrix: mask, top, inner, bottom, a negative plane, a
// through drill. Sizes in micrometres.
Job small_board()
{
    JobBuilder b("copper_board");
    Step& step = b.job.steps["pcb"];
    step.profile.contours.push_back(rect_contour(0, 0, 20000, 10000, true));
    step.has_profile = true;

    Layer& mask = b.layer("sm_top", "SOLDER_MASK");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("inner", "SIGNAL");
    Layer& plane = b.layer("plane", "POWER_GROUND");
    b.job.rows.back().polarity = "NEGATIVE";
    b.layer("bottom", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");

    // A 2 mm square with a 1 mm negative disc in it: 4 - pi/4.
    JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Square, 2000, 2000, "s2000"), 2000, 2000);
    const auto hole = JobBuilder::pad(top, JobBuilder::round(top, 1000), 2000, 2000);
    top.features[hole].polarity = Polarity::Negative;
    // A 2 mm disc: pi.
    JobBuilder::pad(top, JobBuilder::round(top, 2000), 6000, 2000);
    // A 4 mm line 1 mm wide with round caps: 4 + pi/4.
    JobBuilder::line(top, JobBuilder::round(top, 1000), 10000, 2000, 14000, 2000);
    // A 4 x 4 surface with a 2 x 2 hole and a 1 x 1 island in the hole: 16 - 4 + 1.
    Surface s;
    s.contours = {rect_contour(15000, 5000, 19000, 9000, true), rect_contour(16000, 6000, 18000, 8000, false)};
    Surface island;
    island.contours = {rect_contour(16500, 6500, 17500, 7500, true)};
    for (Surface* body : {&s, &island}) {
        top.surfaces.push_back(*body);
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(top.surfaces.size() - 1);
        top.features.push_back(f);
    }
    // 1 x 1 mm outside the profile.
    JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Square, 1000, 1000, "s1000"), 25000, 5000);

    // Mask opening 2 x 2 around the disc.
    JobBuilder::pad(mask, JobBuilder::symbol(mask, SymbolFamily::Square, 2000, 2000, "s2000"), 6000, 2000);
    // A 0.5 mm hole in the disc, one in the negative disc (nothing to take).
    JobBuilder::pad(drill, JobBuilder::round(drill, 500), 6000, 2000);
    JobBuilder::pad(drill, JobBuilder::round(drill, 500), 2000, 2000);
    // The plane is negative: a 2 mm clearance is all it lacks.
    JobBuilder::pad(plane, JobBuilder::round(plane, 2000), 10000, 5000);
    return b.job;
}

// Chords lie on the true circle, so a circular edge of length L moves the
// area by less than L times the chord gap (1 micron): the perimeters here
// add up to under 6 pi mm of circular edge.
constexpr double kHandTolerance = 6 * kPi * 0.001;

copper_figures measure(const std::string& layer, copper_view view, const std::string& mask = "")
{
    copper_figures f;
    EXPECT_TRUE(KESTO::API::rest_copper("copper_board", "pcb", layer, view, f, mask)) << layer;
    return f;
}

} // namespace

TEST(ApiCopper, AreasOfASmallBoardMatchTheHandWorkedFigures)
{
    KESTO::API::set_working_unit(Units::Mm);
    store::add_job(small_board());
    const double inside = 21 + kPi; // (4 - pi/4) + pi + (4 + pi/4) + 13

    const copper_figures plain = measure("TOP", copper_view::plain);
    EXPECT_EQ(plain.layer, "top");
    EXPECT_NEAR(plain.area, inside + 1, kHandTolerance);
    EXPECT_NEAR(plain.inside, inside, kHandTolerance);
    EXPECT_NEAR(plain.board_area, 200, 1e-9);
    EXPECT_NEAR(plain.rate, inside / 200, kHandTolerance / 200);

    const double small_hole = kPi / 16;
    const copper_figures drilled = measure("top", copper_view::less_drills);
    EXPECT_EQ(drilled.drills, std::vector<std::string>{"drill"});
    EXPECT_NEAR(drilled.inside, inside - small_hole, kHandTolerance);

    // The mask opens over the disc only; it is a square the disc just fits.
    const copper_figures exposed = measure("top", copper_view::under_mask);
    EXPECT_EQ(exposed.mask, "sm_top");
    EXPECT_NEAR(exposed.area, kPi, kHandTolerance);
    EXPECT_NEAR(measure("top", copper_view::under_mask_less_drills).area, kPi - small_hole, kHandTolerance);

    // A negative plane is the profile less its features.
    EXPECT_NEAR(measure("plane", copper_view::plain).area, 200 - kPi, kHandTolerance);

    // In inches the same copper is the same area.
    KESTO::API::set_working_unit(Units::Inch);
    EXPECT_NEAR(measure("top", copper_view::plain).inside * 25.4 * 25.4, inside, kHandTolerance);
    KESTO::API::set_working_unit(Units::Mm);

    KESTO::API::board_square board;
    ASSERT_TRUE(KESTO::API::total_square("copper_board", "pcb", board));
    EXPECT_DOUBLE_EQ(board.area, 200);
    EXPECT_DOUBLE_EQ(board.xmax - board.xmin, 20);

    std::string first, last;
    ASSERT_TRUE(KESTO::API::outer_copper_layers("copper_board", first, last));
    EXPECT_EQ(first + "/" + last, "top/bottom");
}

TEST(ApiCopper, RefusesWhatItCannotMeasure)
{
    store::add_job(small_board());
    copper_figures f;
    // No mask covers an inner layer unless the host names one.
    EXPECT_FALSE(KESTO::API::rest_copper("copper_board", "pcb", "inner", copper_view::under_mask, f));
    EXPECT_TRUE(KESTO::API::rest_copper("copper_board", "pcb", "inner", copper_view::under_mask, f, "sm_top"));
    EXPECT_EQ(f.area, 0);
    EXPECT_FALSE(KESTO::API::rest_copper("copper_board", "pcb", "sm_top", copper_view::plain, f));
    EXPECT_FALSE(KESTO::API::rest_copper("copper_board", "pcb", "nothing", copper_view::plain, f));
    EXPECT_FALSE(KESTO::API::rest_copper("copper_board", "nostep", "top", copper_view::plain, f));
    EXPECT_FALSE(KESTO::API::rest_copper("no_job", "pcb", "top", copper_view::plain, f));
}

TEST(ApiCopper, SelectedFeatureAreasCountOverlapsOnce)
{
    KESTO::API::set_working_unit(Units::Mm);
    Job job = small_board();
    Layer& top = job.steps["pcb"].layers["top"];
    // The square and the disc cut out of it overlap: the union is the square.
    top.features[0].selected = top.features[1].selected = true;
    store::add_job(std::move(job));
    std::vector<KESTO::API::selected_areas> areas;
    ASSERT_TRUE(KESTO::API::selected_feature_areas("copper_board", "pcb", {"top"}, areas));
    ASSERT_EQ(areas.size(), 1u);
    EXPECT_EQ(areas[0].features, (std::vector<int>{0, 1}));
    EXPECT_NEAR(areas[0].areas[0], 4, 1e-9);
    EXPECT_NEAR(areas[0].areas[1], kPi / 4, kHandTolerance);
    EXPECT_NEAR(areas[0].united, 4, 1e-9);
}

namespace {

// Paints outlines onto a grid of pixel centres by the non-zero rule, row by
// row, without any polygon boolean: each feature in drawing order sets or
// clears the pixels its outline covers.
struct Raster {
    Box box;
    Coord pitch;
    int w, h;
    std::vector<std::uint8_t> lit;

    Raster(const Box& b, Coord p) : box(b), pitch(p)
    {
        w = int((b.xmax - b.xmin) / p) + 1;
        h = int((b.ymax - b.ymin) / p) + 1;
        lit.assign(size_t(w) * size_t(h), 0);
    }

    void paint(const geom::Paths& outline, bool on)
    {
        const Box ob = geom::box_of(outline);
        if (ob.empty()) return;
        const int r0 = std::max(0, int((ob.ymin - box.ymin) / pitch)), r1 = std::min(h - 1, int((ob.ymax - box.ymin) / pitch) + 1);
        // Edges by their lowest y; a row meets only the edges active across it.
        struct Edge {
            double x1, y1, x2, y2, lo, hi;
        };
        std::vector<Edge> edges;
        for (const geom::Path& p : outline)
            for (size_t i = 0; i < p.size(); ++i) {
                const auto& a = p[i];
                const auto& b = p[(i + 1) % p.size()];
                if (a.Y == b.Y) continue;
                edges.push_back({double(a.X), double(a.Y), double(b.X), double(b.Y), double(std::min(a.Y, b.Y)),
                                 double(std::max(a.Y, b.Y))});
            }
        std::sort(edges.begin(), edges.end(), [](const Edge& a, const Edge& b) { return a.lo < b.lo; });
        std::vector<const Edge*> active;
        size_t next = 0;
        std::vector<std::pair<double, int>> cross;
        for (int r = r0; r <= r1; ++r) {
            const double y = double(box.ymin) + (r + 0.5) * double(pitch);
            while (next < edges.size() && edges[next].lo <= y) active.push_back(&edges[next++]);
            active.erase(std::remove_if(active.begin(), active.end(), [&](const Edge* e) { return e->hi <= y; }),
                         active.end());
            cross.clear();
            for (const Edge* e : active) {
                const double x = e->x1 + (y - e->y1) * (e->x2 - e->x1) / (e->y2 - e->y1);
                cross.emplace_back(x, e->y2 > e->y1 ? 1 : -1);
            }
            std::sort(cross.begin(), cross.end());
            int winding = 0;
            for (size_t k = 0; k + 1 < cross.size(); ++k) {
                winding += cross[k].second;
                if (winding == 0) continue;
                const int c0 = std::max(0, int(std::ceil((cross[k].first - double(box.xmin)) / double(pitch) - 0.5)));
                const int c1 = std::min(w - 1, int(std::floor((cross[k + 1].first - double(box.xmin)) / double(pitch) - 0.5)));
                for (int c = c0; c <= c1; ++c) lit[size_t(r) * size_t(w) + size_t(c)] = on;
            }
        }
    }

    double area_mm2() const
    {
        const double n = double(std::count(lit.begin(), lit.end(), 1));
        return n * double(pitch) * double(pitch) / 1e12;
    }
};

} // namespace

TEST(ApiCopper, SampleJobAgreesWithARasterCount)
{
    KESTO::API::set_working_unit(Units::Mm);
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    job.name = "copper_sample";
    Job& held = store::add_job(std::move(job));
    const std::string step = held.steps.begin()->first;
    const geom::OutlineContext& context = select::context_for(held);
    // An outer layer with pads, tracks and pours, and a plane with its pours.
    for (const char* name : {"layer-1", "layer-2"}) {
        const Layer& layer = held.steps[step].layers[name];
        const Box extent = geom::layer_box(layer, context);
        Raster raster(extent, 40 * kNmPerMicron);
        for (const Feature& f : layer.features)
            raster.paint(geom::feature_outline(layer, f, context), f.polarity == Polarity::Positive);
        copper_figures figures;
        ASSERT_TRUE(KESTO::API::rest_copper("copper_sample", step, name, copper_view::plain, figures));
        const double counted = raster.area_mm2();
        std::printf("%s: exact %.3f mm2, raster %.3f mm2\n", name, figures.area, counted);
        // Pixel centres err both ways along the edges; over thousands of
        // features that averages out to well under a thousandth.
        EXPECT_NEAR(figures.area, counted, counted * 1e-3) << name;
    }
}
