// The second table's resizing, reshaping and feature-change commands, as a
// host sends them.
#include "orig/jobs_host.h"

using namespace kesto::test;

namespace {

void board_with_pads()
{
    start_library();
    call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
    call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","layer":"top","index":1}})");
    for (const char* x : {"1", "1.05", "5"})
        ASSERT_EQ(call(std::string(R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","layer":"top",
                   "layers":["top"],"symbol":"s100","location_x":)") + x + R"(,"location_y":0}]})"),
                  "OK");
    call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"board","step":"pcb","layer":"top"}]})");
}

Json::Value selected()
{
    return json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board","stepname":"pcb",
                          "layername":"top"}})"))["paras"]["featureInfos"];
}

} // namespace

TEST(FeatureEditReshape, ContourizeReadsTheUnderscoredLayerKeyOnly)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with_pads();
        ASSERT_EQ(selected().size(), 3u);
        EXPECT_EQ(call(R"({"func":"RESHAPE_CONTOURIZE","paras":{"jobname":"board","stepname":"pcb",
                          "layernames":["top"],"separate_to_islands":true}})"),
                  "OK");
        EXPECT_EQ(selected().size(), 3u) << "\"layernames\" is not read here";
        EXPECT_EQ(call(R"({"func":"RESHAPE_CONTOURIZE","paras":{"jobname":"board","stepname":"pcb",
                          "_layernames":["top"],"accuracy":0,"separate_to_islands":true,"max_size":0,
                          "clear_mode":0}})"),
                  "OK");
        const Json::Value f = selected();
        ASSERT_EQ(f.size(), 2u) << "two pads overlap, the third stands alone";
        EXPECT_EQ(f[0]["type"].asInt(), 8);
        EXPECT_NEAR(f[0]["xsize"].asDouble(), 0.15, 1e-6);

        // The lone square island is an s100 pad again.
        EXPECT_EQ(call(R"({"func":"RESHAPE_CONTOUR_TO_PAD","paras":{"jobname":"board","stepname":"pcb",
                          "layernames":["top"],"tolerance":0.001,"minsize":0,"maxsize":0.12,"suffix":""}})"),
                  "OK");
        const Json::Value g = selected();
        EXPECT_EQ(g[0]["type"].asInt(), 8);
        EXPECT_EQ(g[1]["type"].asInt(), 2);
        EXPECT_EQ(g[1]["symbolname"].asString(), "s100");
        // A request that is not JSON is refused with the error text.
        EXPECT_EQ(call(R"({"func":"RESHAPE_CONTOURIZE","paras":{"_layernames":)"), "ERROR");
    });
}

TEST(FeatureEditReshape, ResizeGlobalAndPolygonAndSymbols)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with_pads();
        // No job key: the one open job is meant.
        EXPECT_EQ(call(R"({"func":"RESIZE_GLOBAL","paras":{"step":"pcb","layer":"top","scope":"selected",
                          "feature_size":0.02}})"),
                  "OK");
        EXPECT_EQ(selected()[2]["symbolname"].asString(), "s120");
        EXPECT_EQ(call(R"({"func":"CHANGE_FEATURE_SYMBOLS","paras":{"step":"pcb","symbol":"r75","layers":["top"],
                          "pad_angle":false}})"),
                  "OK");
        EXPECT_EQ(selected()[0]["symbolname"].asString(), "r75");
        EXPECT_EQ(call(R"({"func":"RESHAPE_SUBSTITUTE","paras":{"step":"pcb","layer":"top","symbol":"s75",
                          "scope":"all"}})"),
                  "OK");
        EXPECT_EQ(selected()[0]["symbolname"].asString(), "r75") << "a round pad is no square";

        const Json::Value grown = json_of(call(R"({"func":"RESIZE_POLYGON","paras":{"input_polygon":[
            {"ix":0,"iy":0},{"ix":1000000,"iy":0},{"ix":1000000,"iy":1000000},{"ix":0,"iy":1000000}],
            "resize_value":0.2}})"));
        ASSERT_EQ(grown["output_polygons"].size(), 1u);
        int xmin = 0, ymax = 0;
        for (const Json::Value& p : grown["output_polygons"][0]) {
            xmin = std::min(xmin, p["ix"].asInt());
            ymax = std::max(ymax, p["iy"].asInt());
        }
        EXPECT_EQ(xmin, -100000);
        EXPECT_EQ(ymax, 1100000);
        EXPECT_EQ(call(R"({"func":"RESIZE_POLYGON","paras":{}})"), "{\"output_polygons\":[]}\n");
    });
}

TEST(FeatureEditReshape, FailuresKeepTheirRecordsAndAnswerThePassText)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with_pads();
        EXPECT_EQ(call(R"({"func":"ROUNDING_LINE_CORNER","paras":{"job":"none","step":"pcb","layers":["top"],
                          "radius":0.1}})"),
                  "OK");
        EXPECT_NE(read_logs("log", "ERROR_").find("set_layer_checklist failed"), std::string::npos);
        EXPECT_EQ(call(R"({"func":"SELF_INTERACTION","paras":{"vpts":[{"ix":0,"iy":0},{"ix":9,"iy":9},
                          {"ix":9,"iy":0},{"ix":0,"iy":9}]}})"),
                  "OK");
        // The drawn area takes the two overlapping pads; the lone one stays.
        EXPECT_EQ(call(R"({"func":"CLIP_AREA_USE_MANUAL","paras":{"job":"board","step":"pcb","layers":["top"],
                          "points":[{"ix":0,"iy":-500000},{"ix":2000000,"iy":-500000},{"ix":2000000,"iy":500000},
                          {"ix":0,"iy":500000}],"clipinside":true,"clipcontour":false,"margin":0,"featuretype":0}})"),
                  "OK");
        ASSERT_EQ(selected().size(), 1u);
        EXPECT_NEAR(selected()[0]["xsize"].asDouble(), 0.1, 1e-5);
        EXPECT_EQ(call(R"({"func":"CLIP_AREA_USE_MANUAL","paras":{"points":"none"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"CLIP_AREA_USE_MANUAL","paras":{"margin":"wide"}})"), "ERROR");
    });
}

TEST(FeatureEditReshape, LinesAndArcsChangedByPosition)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with_pads();
        ASSERT_EQ(call(R"({"func":"ADD_LINE","paras":[{"job":"board","step":"pcb","layer":"top","layers":["top"],
                          "symbol":"r10","start_x":0,"start_y":0,"end_x":1,"end_y":0}]})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"CHANGE_LINES","paras":{"jobname":"board","stepname":"pcb","layername":"top",
                          "featureIDs":[3,0],"startPts":[{"ix":0,"iy":1000000},{"ix":0,"iy":0}],
                          "endPts":[{"ix":2000000,"iy":1000000},{"ix":1,"iy":1}]}})"),
                  "OK");
        EXPECT_EQ(selected()[0]["type"].asInt(), 2) << "a pad is no line: unchanged";
        // The pads were selected: the inverse is the line alone.
        call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"board","step":"pcb","layer":"top"}]})");
        const Json::Value f = selected();
        ASSERT_EQ(f.size(), 1u);
        EXPECT_DOUBLE_EQ(f[0]["YS"].asDouble(), 1);
        EXPECT_DOUBLE_EQ(f[0]["XE"].asDouble(), 2);
        // No arc at position 3: nothing happens; the pass text all the same.
        EXPECT_EQ(call(R"({"func":"CHANGE_ARC","paras":{"jobname":"board","stepname":"pcb","layername":"top",
                          "featureID":3,"deletearc":true}})"),
                  "OK");
        EXPECT_EQ(selected().size(), 1u);
        EXPECT_EQ(call(R"({"func":"CHANGE_ARC","paras":{"featureID":"x"}})"), "ERROR");
    });
}

// A host's undo after a second-table edit takes back that edit, not the pad
// added before it.
TEST(FeatureEditReshape, UndoTakesBackTheReshapeNotThePadsBeforeIt)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with_pads();
        const Json::Value before = selected();
        ASSERT_EQ(before.size(), 3u);
        EXPECT_EQ(call(R"({"func":"RESHAPE_PAD_TO_OUTLINE","paras":{"jobname":"board","stepname":"pcb",
                          "layernames":["TOP"]}})"),
                  "OK");
        EXPECT_NE(selected(), before);
        EXPECT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");
        EXPECT_EQ(selected(), before);
        EXPECT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");
        call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"board","step":"pcb","layer":"top"}]})");
        EXPECT_EQ(selected().size(), 2u) << "the next undo takes back the last pad";
    });
}
