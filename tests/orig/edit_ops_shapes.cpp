// Recognising symbols and closed polylines in what a host sends or draws.
#include "orig/jobs_host.h"

using namespace kesto::test;

namespace {

std::string identify(const std::string& content)
{
    Json::Value request;
    request["func"] = "IDENTIFY_SYMBOL";
    request["paras"]["content"] = content;
    return json_of(call(Json::FastWriter().write(request)))["result"].asString();
}

} // namespace

TEST(EditOpsShapes, SurfacesAreNamedByTheStandardSymbolTheyDraw)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        // Millimetres: sizes are named in microns.
        EXPECT_EQ(identify("S P 0\nOB 0 0 I\nOS 2 0\nOS 2 1\nOS 0 1\nOS 0 0\nOE\nSE"), "rect2000x1000");
        EXPECT_EQ(identify("S P 0\nOB 5 5 I\nOS 6 5\nOS 6 6\nOS 5 6\nOS 5 5\nOE\nSE"), "s1000");
        EXPECT_EQ(identify("S P 0\nOB 1 0 I\nOC 1 0 0 0 Y\nOE\nSE"), "r2000");
        EXPECT_EQ(identify("S P 0\nOB 0 0 I\nOS 2 0\nOS 1 1\nOS 0 0\nOE\nSE"), "") << "a triangle is no standard pad";
        EXPECT_EQ(identify("P 0 0 r100 P 0 0"), "") << "a pad is not a surface";
        EXPECT_EQ(identify("S P 0\nOB 0 0 I\nOS 2 0"), "") << "an unclosed surface";
        EXPECT_EQ(call(R"({"func":"IDENTIFY_SYMBOL","paras":{}})"), "{\"result\":\"\"}\n");
    });
}

TEST(EditOpsShapes, ClosedChainsOfLinesAndArcsAreTheirOwnClass)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","layer":"out","index":1}})");
        // 0-3 a square drawn in mixed directions, 4-6 a triangle, 7 a pad
        // (no polyline), 8 a full circle, 9-10 a chain that stays open.
        ASSERT_EQ(call(R"({"func":"ADDFEATURES","paras":{"jobname":"b","stepname":"pcb","layernames":["out"],
                          "featurecontent":["L 0 0 1 0 r100 P 0","L 1 1 1 0 r100 P 0","L 1 1 0 1 r100 P 0",
                          "L 0 0 0 1 r100 P 0","L 5 0 6 0 r100 P 0","L 6 0 5 1 r100 P 0","L 5 1 5 0 r100 P 0",
                          "P 3 3 r100 P 0 0","A 10 0 10 0 9 0 r100 P 0 Y","L 20 0 21 0 r100 P 0",
                          "L 21 0 21 1 r100 P 0"]}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"CLASSIFY_POLYLINE","paras":{"job":"b","step":"pcb","layer":"out"}})"),
                  "{\"func\":\"CLASSIFY_POLYLINE\",\"paras\":{\"other\":[9,10],"
                  "\"polygons\":[[0,1,2,3],[4,5,6],[8]]}}\n");
        // A branch at a corner opens the square.
        call(R"({"func":"ADDFEATURES","paras":{"jobname":"b","stepname":"pcb","layernames":["out"],
                 "featurecontent":"L 1 1 2 2 r100 P 0"}})");
        EXPECT_EQ(call(R"({"func":"CLASSIFY_POLYLINE","paras":{"job":"b","step":"pcb","layer":"out"}})"),
                  "{\"func\":\"CLASSIFY_POLYLINE\",\"paras\":{\"other\":[0,1,2,3,9,10,11],"
                  "\"polygons\":[[4,5,6],[8]]}}\n");
        EXPECT_EQ(call(R"({"func":"CLASSIFY_POLYLINE","paras":{"job":"b","step":"pcb","layer":"none"}})"), "ERROR");
    });
}
