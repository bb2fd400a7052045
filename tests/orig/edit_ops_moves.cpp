// Second-table moves, copies and datum moves on a small board whose
// positions are worked out by hand; undo, save and reopen.
#include "orig/jobs_host.h"

using namespace kesto::test;

namespace {

// Two 0.1 mm square pads on "top" at (1, 0) and (5, 0) mm, and an empty "bot".
void board()
{
    start_library();
    call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"panel","index":2}})");
    call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","layer":"top","index":1}})");
    call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","layer":"bot","index":2}})");
    for (const char* x : {"1", "5"})
        ASSERT_EQ(call(std::string(R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","layer":"top",
                   "layers":["top"],"symbol":"s100","location_x":)") + x + R"(,"location_y":0}]})"),
                  "OK");
}

// The pads of a layer as "x,y" in drawing order (all selected to read them).
std::string pads(const std::string& layer, const std::string& step = "pcb")
{
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{"job":"board","step":")" + step + R"(","layer":")" + layer +
         R"("}})");
    call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"board","step":")" + step + R"(","layer":")" + layer + R"("}]})");
    const Json::Value infos = json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board",
        "stepname":")" + step + R"(","layername":")" + layer + R"("}})"))["paras"]["featureInfos"];
    std::string out;
    char text[64];
    for (const Json::Value& f : infos) {
        std::snprintf(text, sizeof text, "%s%.3f,%.3f", out.empty() ? "" : " ", f["XS"].asDouble(), f["YS"].asDouble());
        out += text;
    }
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{"job":"board","step":")" + step + R"(","layer":")" + layer +
         R"("}})");
    return out;
}

std::string undo() { return call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"); }

} // namespace

TEST(EditOpsMoves, FeaturesByPositionAndDatumMovesUndoExactly)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board();
        ASSERT_EQ(pads("top"), "1.000,0.000 5.000,0.000");

        EXPECT_EQ(call(R"({"func":"MOVE_SPECIFIED_FEATURES","paras":{"jobname":"board","stepname":"pcb",
                          "layername":"top","movefeatures":[1,7],"offset_x":2000000,"offset_y":-500000}})"),
                  "OK");
        EXPECT_EQ(pads("top"), "1.000,0.000 7.000,-0.500") << "position 7 does not exist and is skipped";

        EXPECT_EQ(call(R"({"func":"COPY_SPECIFIED_FEATURES","paras":{"jobname":"board","stepname":"pcb",
                          "srclayers":["top"],"dstlayer":"bot","copyfeatures":[0],"offset_x":0,"offset_y":1000000}})"),
                  "OK");
        EXPECT_EQ(pads("bot"), "1.000,1.000");

        // (1, 0) becomes the origin.
        EXPECT_EQ(call(R"({"func":"MOVE_MAKE_ZERO","paras":{"jobname":"board","stepname":"pcb","layername":"top",
                          "offset_x":1000000,"offset_y":0}})"),
                  "OK");
        EXPECT_EQ(pads("top"), "0.000,0.000 6.000,-0.500");
        // The extent's lower left corner, half a pad below and left of the
        // lowest and leftmost pad centres (-0.05, -0.55), becomes the origin.
        EXPECT_EQ(call(R"({"func":"MAKE_ZERO","paras":{"jobname":"board","stepname":"pcb","layername":"top","type":0}})"),
                  "OK");
        EXPECT_EQ(pads("top"), "0.050,0.550 6.050,0.050");
        // The centre of the extent, (3.05, 0.3), goes to the origin.
        EXPECT_EQ(call(R"({"func":"MAKE_ZERO","paras":{"jobname":"board","stepname":"pcb","layername":"top","type":1}})"),
                  "OK");
        EXPECT_EQ(pads("top"), "-3.000,0.250 3.000,-0.250");

        for (int i = 0; i < 4; ++i) ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(pads("top"), "1.000,0.000 7.000,-0.500");
        EXPECT_EQ(pads("bot"), "");
        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(pads("top"), "1.000,0.000 5.000,0.000");

        // The selection edits through their second door.
        call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"board","step":"pcb","layer":"top"}]})");
        EXPECT_EQ(call(R"({"func":"MOVE_SAME_LAYER","paras":{"jobname":"board","stepname":"pcb","layername":"top",
                          "offset_x":0,"offset_y":3000000}})"),
                  "OK");
        EXPECT_EQ(pads("top"), "1.000,3.000 5.000,3.000");
        call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"board","step":"pcb","layer":"top"}]})");
        EXPECT_EQ(call(R"({"func":"COPY_FEATURES_TO_OTHERLAYER","paras":{"jobname":"board","stepname":"pcb",
                          "orglayer":"top","dstlayer":"bot","invert":false,"mirror":false,"offset_x":1000000,
                          "offset_y":0,"resize":0,"rotation":90,"x_anchor":0,"y_anchor":0}})"),
                  "OK");
        // Turned a quarter clockwise about the origin, then moved 1 mm right.
        EXPECT_EQ(pads("bot"), "4.000,-1.000 4.000,-5.000");
        // Both pads of "top" are still selected.
        EXPECT_EQ(call(R"({"func":"DELETE_SELECTED_FEATURES","paras":{"jobname":"board","stepname":"pcb",
                          "layernames":["top"]}})"),
                  "OK");
        EXPECT_EQ(pads("top"), "");
        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(pads("top"), "1.000,3.000 5.000,3.000");

        // A step that does not exist changes nothing and answers the verdict.
        EXPECT_EQ(call(R"({"func":"MOVE_SPECIFIED_FEATURES","paras":{"jobname":"board","stepname":"none",
                          "layername":"top","movefeatures":[0],"offset_x":1}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"MOVE_SPECIFIED_FEATURES","paras":{"jobname":"board","movefeatures":"x"}})"),
                  "OK") << "a scalar list reads as an empty one";
        EXPECT_EQ(call(R"({"func":"MAKE_ZERO","paras":{"jobname":"board","type":"lower"}})"), "ERROR");
    });
}

TEST(EditOpsMoves, LayerAndStepCopiesSurviveSaveAndReopen)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board();
        // A whole layer into a new one, inverted.
        EXPECT_EQ(call(R"({"func":"COPY_LAYER_FEATURES","paras":{"src_job":"board","src_step":"pcb","dst_job":"board",
                          "dst_step":"pcb","mode":1,"invert":true,"src_layer":"top","dst_layer":"neg"}})"),
                  "OK");
        EXPECT_EQ(matrix_of("board"), "col pcb\ncol panel\n1 top MISC SIGNAL\n2 bot MISC SIGNAL\n3 neg MISC SIGNAL\n");
        // Appending doubles it.
        call(R"({"func":"COPY_LAYER_FEATURES","paras":{"src_job":"board","src_step":"pcb","dst_job":"board",
                 "dst_step":"pcb","mode":0,"src_layer":"top","dst_layer":"neg"}})");
        EXPECT_EQ(pads("neg"), "1.000,0.000 5.000,0.000 1.000,0.000 5.000,0.000");

        // The selected pad to the other step, copied and then moved.
        call(R"({"func":"SELECT_FEATURE_BY_ID","paras":{"job":"board","step":"pcb","layer":"top","featureIDs":[1]}})");
        EXPECT_EQ(call(R"({"func":"MOVE_SELECT_FEATURE_TO_OTHER_STEP","paras":{"jobname":"board","stepname":"pcb",
                          "layername":"top","dest_stepname":"panel","delete_org":false}})"),
                  "OK");
        EXPECT_EQ(pads("top", "panel"), "5.000,0.000");
        call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{"job":"board","step":"pcb","layer":"top"}})");
        call(R"({"func":"SELECT_FEATURE_BY_ID","paras":{"job":"board","step":"pcb","layer":"top","featureIDs":[0]}})");
        EXPECT_EQ(call(R"({"func":"MOVE_SELECT_FEATURE_TO_OTHER_STEP","paras":{"jobname":"board","stepname":"pcb",
                          "layername":"top","dest_stepname":"panel","delete_org":true}})"),
                  "OK");
        EXPECT_EQ(pads("top", "panel"), "5.000,0.000 1.000,0.000");
        EXPECT_EQ(pads("top"), "5.000,0.000");

        const Json::Value header = json_of(call(R"({"func":"GET_STEP_HEADER_INFOS","paras":{"jobname":"board",
                                                   "stepname":"pcb"}})"))["paras"];
        EXPECT_EQ(header["repeats"].size(), 0u);
        EXPECT_FALSE(header["has_profile"].asBool());

        ASSERT_EQ(call(R"({"func":"SAVE_JOB","paras":{"jobname":"board"}})"), "OK");
        ASSERT_EQ(call(R"({"func":"CLOSE_JOB","paras":{"jobname":"board"}})"), "{\"status\":true}\n");
        call(R"({"func":"OPEN_JOB","paras":[{"path":"./jobs"},{"job":"board"}]})");
        EXPECT_EQ(pads("top"), "5.000,0.000");
        EXPECT_EQ(pads("top", "panel"), "5.000,0.000 1.000,0.000");
        EXPECT_EQ(pads("neg"), "1.000,0.000 5.000,0.000 1.000,0.000 5.000,0.000");
        EXPECT_EQ(call(R"({"func":"HASFEATURE","paras":{"jobname":"board","stepname":"pcb","layername":"bot"}})"),
                  "{\"func\":\"HASFEATURE\",\"paras\":{\"status\":false}}\n");

        // Several descriptions as one edit, and none when one does not parse.
        EXPECT_EQ(call(R"({"func":"ADDFEATURES","paras":{"jobname":"board","stepname":"pcb","layernames":["bot"],
                          "featurecontent":["L 0 0 1 0 r100 P 0","L 0 1 1 1 r100 P 0"]}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"ADDFEATURES","paras":{"jobname":"board","stepname":"pcb","layernames":["bot"],
                          "featurecontent":["L 0 2 1 2 r100 P 0","not a feature"]}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"board","stepName":"pcb",
                          "layerName":"bot"}]})"),
                  "{\"featureNum\":\"2\",\"result\":\"OK\"}\n");
        // The line's start moves; its end stays.
        EXPECT_EQ(call(R"({"func":"CHANGE_LINE","paras":{"step":"pcb","layer":"bot","feature_index":1,
                          "start":{"x":-2,"y":1}}})"),
                  "OK");
        call(R"({"func":"SELECT_FEATURE_BY_ID","paras":{"job":"board","step":"pcb","layer":"bot","featureIDs":[1]}})");
        const Json::Value line = json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board",
            "stepname":"pcb","layername":"bot"}})"))["paras"]["featureInfos"][0];
        EXPECT_DOUBLE_EQ(line["XS"].asDouble(), -2);
        EXPECT_DOUBLE_EQ(line["XE"].asDouble(), 1);
        EXPECT_DOUBLE_EQ(line["YE"].asDouble(), 1);
    });
}
