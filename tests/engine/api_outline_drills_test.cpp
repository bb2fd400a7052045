// Drills at the corners of an outline drawn as strokes, on a hand-built
// board: where they go (worked out beside each), that a straight joint and an
// existing drill get none, undo, and the job saved and read back.
#include "drc_jobs.h"
#include "engine/api/prepare.h"
#include "engine/api/units.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using namespace kesto;
using kesto::test::JobBuilder;
using kesto::test::um;

namespace {

std::set<std::pair<Coord, Coord>> pads_of(const Layer& l)
{
    std::set<std::pair<Coord, Coord>> out;
    for (const Feature& f : l.features)
        if (f.kind == FeatureKind::Pad) out.insert({f.a.x, f.a.y});
    return out;
}

} // namespace

TEST(OutlineDrills, CornersOfTheOutlineGetOneDrillEach)
{
    KESTO::API::set_working_unit(Units::Mm);
    JobBuilder b("outline_drills");
    b.layer("top", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");
    Layer& rout = b.layer("rout", "ROUT");
    // A 10 x 10 mm square; its bottom side in two collinear halves, and its
    // top right corner already drilled at the place the rule picks.
    const int r = JobBuilder::round(rout, 200);
    JobBuilder::line(rout, r, 0, 0, 5000, 0);
    JobBuilder::line(rout, r, 5000, 0, 10000, 0);
    JobBuilder::line(rout, r, 10000, 0, 10000, 10000);
    JobBuilder::line(rout, r, 10000, 10000, 0, 10000);
    JobBuilder::line(rout, r, 0, 10000, 0, 0);
    // 500 um along the bisector of a right angle: 500 / sqrt(2) = 353.553 um each way.
    const Coord d = 353553;
    JobBuilder::pad(drill, JobBuilder::round(drill, 1000), 0, 0);
    drill.features.back().a = {um(10000) - d, um(10000) - d};
    store::add_job(std::move(b.job));

    int added = -1;
    ASSERT_TRUE(KESTO::API::add_outerline_drills("outline_drills", "pcb", "ROUT", "drill", "r800", 500, 10, added));
    EXPECT_EQ(added, 3);
    Job& job = *store::find_job("outline_drills");
    Layer& after = job.steps["pcb"].layers["drill"];
    const std::set<std::pair<Coord, Coord>> want{{d, d}, {um(10000) - d, d}, {um(10000) - d, um(10000) - d}, {d, um(10000) - d}};
    EXPECT_EQ(pads_of(after), want);
    const Symbol& s = after.symbols[std::size_t(after.features.back().symbol)];
    EXPECT_EQ(s.family, SymbolFamily::Round);
    EXPECT_DOUBLE_EQ(s.p[0], 800000.0);

    // Again: every corner has its drill.
    ASSERT_TRUE(KESTO::API::add_outerline_drills("outline_drills", "pcb", "rout", "drill", "r800", 500, 10, added));
    EXPECT_EQ(added, 0);

    // Saved and read back, the drill layer holds exactly those pads.
    kesto::test::TempDir dir;
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir.path() + "/outline_drills", error)) << error;
    Job back;
    ASSERT_TRUE(odb::read_job(dir.path() + "/outline_drills", back, error)) << error;
    EXPECT_EQ(pads_of(back.steps["pcb"].layers["drill"]), want);

    // Undo takes the three back out.
    ASSERT_TRUE(store::undo(job, "pcb"));
    EXPECT_EQ(pads_of(store::find_job("outline_drills")->steps["pcb"].layers["drill"]).size(), 1u);

    // A tolerance above 90 degrees finds no corner in a square.
    ASSERT_TRUE(KESTO::API::add_outerline_drills("outline_drills", "pcb", "rout", "drill", "r800", 500, 95, added));
    EXPECT_EQ(added, 0);
    // Unknown layer or symbol: refused, nothing added.
    EXPECT_FALSE(KESTO::API::add_outerline_drills("outline_drills", "pcb", "nope", "drill", "r800", 500, 10, added));
    EXPECT_FALSE(KESTO::API::add_outerline_drills("outline_drills", "pcb", "rout", "drill", "bogus", 500, 10, added));
    store::remove_job("outline_drills");
}
