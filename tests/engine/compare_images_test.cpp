// Layer compare on hand-worked squares, and flattening of step-and-repeat
// nests against positions worked out by hand.
#include "engine/api/edit_ops.h"
#include "engine/api/jobs.h"
#include "engine/edit/compare.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kesto;

namespace {

constexpr double kMm = 1e6;

geom::Paths square(double x0, double y0, double size)
{
    return {geom::rectangle(x0 * kMm, y0 * kMm, (x0 + size) * kMm, (y0 + size) * kMm)};
}

} // namespace

TEST(CompareImages, ShiftedSquaresDifferByTwoStripsUntilTheToleranceHidesThem)
{
    const geom::Paths a = square(0, 0, 10), b = square(2, 0, 10);
    for (double tolerance_mm : {0.0, 1.0}) {
        const auto found = edit::compare_images(a, b, Coord(tolerance_mm * kMm));
        ASSERT_EQ(found.size(), 2u) << tolerance_mm;
        for (const auto& d : found) {
            EXPECT_NEAR(d.area, 20 * kMm * kMm, 1e-6 * kMm * kMm);
            const bool first = d.side == edit::DifferenceSide::OnlyFirst;
            EXPECT_EQ(d.box.xmin, Coord((first ? 0 : 10) * kMm));
            EXPECT_EQ(d.box.xmax, Coord((first ? 2 : 12) * kMm));
            EXPECT_EQ(d.box.ymax, Coord(10 * kMm));
            EXPECT_EQ(geom::locate({d.inside.x, d.inside.y}, d.outline), geom::Where::Inside);
        }
    }
    // Strips 2 mm wide vanish under a 3 mm tolerance; identical images never differ.
    EXPECT_TRUE(edit::compare_images(a, b, Coord(3 * kMm)).empty());
    EXPECT_TRUE(edit::compare_images(a, a, 0).empty());
}

TEST(CompareImages, TheToleranceCutsThinNecksAndKeepsHoles)
{
    // Two 5 mm squares joined by a 10 micron bridge: under a 50 micron
    // tolerance the bridge goes and two islands of 25 mm2 stay.
    geom::Paths bar = geom::unite(square(0, 0, 5), square(8, 0, 5));
    bar = geom::unite(bar, {geom::rectangle(5 * kMm, 2.5 * kMm, 8 * kMm, 2.51 * kMm)});
    const auto split = edit::compare_images(bar, {}, Coord(0.05 * kMm));
    ASSERT_EQ(split.size(), 2u);
    for (const auto& d : split) EXPECT_NEAR(d.area, 25 * kMm * kMm, 1e-3 * kMm * kMm);
    ASSERT_EQ(edit::compare_images(bar, {}, 0).size(), 1u);

    // A ring: its one island keeps its hole, and the point inside it is copper, not the hole.
    const geom::Paths ring = geom::subtract(square(0, 0, 10), square(3, 3, 4));
    const auto found = edit::compare_images({}, ring, Coord(0.1 * kMm));
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].side, edit::DifferenceSide::OnlySecond);
    EXPECT_EQ(found[0].outline.size(), 2u);
    EXPECT_NEAR(found[0].area, 84 * kMm * kMm, 1e-6 * kMm * kMm);
    EXPECT_EQ(geom::locate({found[0].inside.x, found[0].inside.y}, ring), geom::Where::Inside);
}

namespace {

Feature pad_at(double x_mm, double y_mm)
{
    Feature f;
    f.kind = FeatureKind::Pad;
    f.symbol = 0;
    f.a = {Coord(x_mm * kMm), Coord(y_mm * kMm)};
    return f;
}

// "pcb" has one pad at (1, 0) mm on "top"; "panel" repeats it twice in a row,
// once turned a quarter and once mirrored; "frame" holds the panel at (1000, 0).
Job nested_job()
{
    Job job;
    job.name = "nest";
    job.units = Units::Mm;
    for (const char* layer : {"top"}) {
        MatrixRow row;
        row.row = 1;
        row.name = layer;
        row.context = "BOARD";
        row.type = "SIGNAL";
        job.rows.push_back(row);
    }
    int col = 1;
    for (const char* name : {"pcb", "panel", "frame"}) {
        job.steps[name].name = name;
        job.columns.push_back({col++, name, 0});
    }
    Layer& top = job.steps["pcb"].layers["top"];
    Symbol r100;
    r100.family = SymbolFamily::Round;
    r100.p[0] = 0.1 * kMm;
    r100.name = "r100";
    r100.units = Units::Mm;
    top.symbols.push_back(r100);
    top.features.push_back(pad_at(1, 0));
    auto& panel = job.steps["panel"].repeats;
    panel.push_back({"pcb", {Coord(10 * kMm), Coord(20 * kMm)}, Coord(30 * kMm), Coord(40 * kMm), 2, 1, 0, false, false});
    panel.push_back({"pcb", {0, Coord(100 * kMm)}, 0, 0, 1, 1, 90, false, false});
    panel.push_back({"pcb", {0, Coord(200 * kMm)}, 0, 0, 1, 1, 0, true, false});
    job.steps["frame"].repeats.push_back({"panel", {Coord(1000 * kMm), 0}, 0, 0, 1, 1, 0, false, false});
    return job;
}

std::vector<std::pair<double, double>> pads_of(const Layer& layer)
{
    std::vector<std::pair<double, double>> out;
    for (const Feature& f : layer.features) out.emplace_back(double(f.a.x) / kMm, double(f.a.y) / kMm);
    std::sort(out.begin(), out.end());
    return out;
}

} // namespace

TEST(FlattenStep, NestedRepeatsLandWhereTheNestPutsThemAndUndoEmptiesTheLayer)
{
    store::add_job(nested_job());
    ASSERT_TRUE(KESTO::API::flatten_step("nest", "frame", "top", "flat"));
    Job& job = *store::find_job("nest");
    const Layer& flat = *store::find_layer(job, job.steps["frame"], "flat");
    // (1, 0) placed at (10, 20) and (40, 20); turned clockwise to (0, -1) at
    // (0, 100); mirrored to (-1, 0) at (0, 200); all 1000 to the right.
    const std::vector<std::pair<double, double>> expected{{999, 200}, {1000, 99}, {1011, 20}, {1041, 20}};
    EXPECT_EQ(pads_of(flat), expected);
    for (const Feature& f : flat.features)
        EXPECT_EQ(f.angle, f.a.y == Coord(99 * kMm) ? 90.0 : 0.0);
    EXPECT_EQ(flat.symbols.at(size_t(flat.features[0].symbol)).name, "r100");

    // Flattening again replaces what the layer held.
    ASSERT_TRUE(KESTO::API::flatten_step("nest", "frame", "top", "flat"));
    EXPECT_EQ(store::find_layer(job, job.steps["frame"], "flat")->features.size(), 4u);

    ASSERT_TRUE(KESTO::API::Undo("nest", "frame"));
    EXPECT_EQ(store::find_layer(job, job.steps["frame"], "flat")->features.size(), 4u);
    ASSERT_TRUE(KESTO::API::Undo("nest", "frame"));
    EXPECT_TRUE(store::find_layer(job, job.steps["frame"], "flat")->features.empty());

    // A nest that holds itself is refused and changes nothing.
    job.steps["pcb"].repeats.push_back({"frame", {}, 0, 0, 1, 1, 0, false, false});
    EXPECT_FALSE(KESTO::API::flatten_step("nest", "frame", "top", "flat"));
    EXPECT_TRUE(store::find_layer(job, job.steps["frame"], "flat")->features.empty());

    const auto header = [&] {
        KESTO::API::step_header_info info;
        EXPECT_TRUE(KESTO::API::get_step_header_infos("nest", "panel", info));
        return info;
    }();
    ASSERT_EQ(header.repeats.size(), 3u);
    EXPECT_DOUBLE_EQ(header.repeats[0].x, 10);
    EXPECT_DOUBLE_EQ(header.repeats[0].dx, 30);
    EXPECT_EQ(header.repeats[0].nx, 2);
    EXPECT_DOUBLE_EQ(header.repeats[1].angle, 90);
    EXPECT_TRUE(header.repeats[2].mirror);
    store::remove_job("nest");
}
