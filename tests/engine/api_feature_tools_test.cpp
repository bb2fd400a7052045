// Hole-size labels, grid fill and line merging on hand-drawn layers.
#include "drc_jobs.h"
#include "engine/api/feature_tools.h"
#include "engine/api/units.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kesto;
using namespace kesto::test;

namespace {

Job tool_board()
{
    JobBuilder b("tools");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("doc", "DOCUMENT");
    Layer& drill = b.layer("drill", "DRILL");
    JobBuilder::pad(drill, JobBuilder::round(drill, 400), 2000, 2000);
    JobBuilder::pad(drill, JobBuilder::round(drill, 1250), 8000, 3000);
    // A 10 x 10 mm square drawn as a surface.
    Surface s;
    Contour c;
    c.start = {0, 0};
    for (auto [x, y] : {std::pair{10000, 0}, {10000, 10000}, {0, 10000}, {0, 0}}) {
        Segment seg;
        seg.end = {um(x), um(y)};
        c.segments.push_back(seg);
    }
    s.contours.push_back(c);
    top.surfaces.push_back(s);
    Feature f;
    f.kind = FeatureKind::Surface;
    top.features.push_back(f);
    // An edge drawn in three touching or overlapping pieces, one out of line, one of another width.
    const int r200 = JobBuilder::round(top, 200);
    JobBuilder::line(top, r200, 0, 12000, 4000, 12000);
    JobBuilder::line(top, r200, 4000, 12000, 7000, 12000);
    JobBuilder::line(top, r200, 9000, 12000, 6000, 12000); // drawn backwards, overlapping
    JobBuilder::line(top, r200, 9000, 12000, 9000, 15000); // turns a corner
    JobBuilder::line(top, JobBuilder::round(top, 300), 9000, 12000, 11000, 12000);
    return b.job;
}

Layer& layer_of(const std::string& name) { return store::find_job("tools")->steps["pcb"].layers[name]; }

} // namespace

TEST(ApiFeatureTools, HoleSizesAreWrittenBesideEachHole)
{
    KESTO::API::set_working_unit(Units::Mm);
    store::add_job(tool_board());
    int added = 0;
    ASSERT_TRUE(KESTO::API::add_text_by_drill("tools", "pcb", "drill", "DOC", 1, added));
    EXPECT_EQ(added, 2);
    const Layer& doc = layer_of("doc");
    ASSERT_EQ(doc.texts.size(), 2u);
    EXPECT_EQ(doc.texts[0].text, "0.400");
    EXPECT_EQ(doc.texts[1].text, "1.250");
    // Right of the 1.25 mm hole's edge by half a 0.75 mm cell, centred on its height.
    EXPECT_EQ(doc.features[1].a.x, um(8000 + 625 + 375));
    EXPECT_EQ(doc.features[1].a.y, um(3000 - 500));
    EXPECT_TRUE(store::undo(*store::find_job("tools"), "pcb"));
    EXPECT_TRUE(layer_of("doc").features.empty());
    EXPECT_FALSE(KESTO::API::add_text_by_drill("tools", "pcb", "drill", "doc", 0, added));
}

TEST(ApiFeatureTools, GridFillKeepsPadsWhollyInside)
{
    KESTO::API::set_working_unit(Units::Mm);
    store::add_job(tool_board());
    layer_of("top").features[0].selected = true;
    int added = 0;
    // 2 mm pitch from (1,1): five by five 1 mm squares, each wholly inside.
    ASSERT_TRUE(KESTO::API::fill_select_feature_by_grid("tools", "pcb", "top", "s1000", 2, 2, added));
    EXPECT_EQ(added, 25);
    // 3 mm pitch from (1.5,1.5): centres at 1.5, 4.5 and 7.5, but a 3.2 mm
    // round pad at 1.5 reaches -0.1: only the other two columns and rows stay.
    ASSERT_TRUE(KESTO::API::fill_select_feature_by_grid("tools", "pcb", "top", "r3200", 3, 3, added));
    EXPECT_EQ(added, 4);
    EXPECT_FALSE(KESTO::API::fill_select_feature_by_grid("tools", "pcb", "top", "s1000", 0, 2, added));
}

TEST(ApiFeatureTools, CollinearPiecesOfOneSymbolBecomeOneLine)
{
    store::add_job(tool_board());
    int merged = 0;
    ASSERT_TRUE(KESTO::API::merge_cu_edge_lines("tools", "pcb", "top", merged));
    EXPECT_EQ(merged, 2);
    const Layer& top = layer_of("top");
    ASSERT_EQ(top.features.size(), 4u);
    const Feature& edge = top.features[1];
    EXPECT_EQ(std::min(edge.a.x, edge.b.x), 0);
    EXPECT_EQ(std::max(edge.a.x, edge.b.x), um(9000));
    EXPECT_EQ(edge.a.y, um(12000));
    EXPECT_EQ(edge.b.y, um(12000));
    // Nothing left to join.
    ASSERT_TRUE(KESTO::API::merge_cu_edge_lines("tools", "pcb", "top", merged));
    EXPECT_EQ(merged, 0);
}
