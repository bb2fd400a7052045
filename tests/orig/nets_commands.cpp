// The net commands and the whole-board analysis as a host sends them, on a
// small ODB++ job written into the test's folder.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

using namespace kesto::test;
namespace fs = boost::filesystem;

namespace {

const char kMatrix[] = R"(STEP {
   COL=1
   NAME=PCB
}
LAYER {
   ROW=1
   CONTEXT=BOARD
   TYPE=SIGNAL
   NAME=TOP
   POLARITY=POSITIVE
}
LAYER {
   ROW=2
   CONTEXT=BOARD
   TYPE=SIGNAL
   NAME=BOTTOM
   POLARITY=POSITIVE
}
LAYER {
   ROW=3
   CONTEXT=BOARD
   TYPE=DRILL
   NAME=DRILL
   POLARITY=POSITIVE
   START_NAME=TOP
   END_NAME=BOTTOM
}
)";

// Top: two pads joined by a trace, and a pad of its own. Bottom: one pad
// under the second top pad. A plated hole through both.
void write_board(const fs::path& folder)
{
    fs::create_directories(folder / "matrix");
    fs::create_directories(folder / "misc");
    write_file((folder / "matrix/matrix").string(), kMatrix);
    write_file((folder / "misc/info").string(), "JOB_NAME=board\nUNITS=MM\n");
    const fs::path layers = folder / "steps/pcb/layers";
    for (const char* l : {"top", "bottom", "drill"}) fs::create_directories(layers / l);
    write_file((layers / "top/features").string(),
               "UNITS=MM\n$0 r500\n$1 r200\n#\nP 0 0 0 P 0 0\nP 5 0 0 P 0 0\nL 0 0 5 0 1 P 0\nP 0 3 0 P 0 0\n");
    write_file((layers / "bottom/features").string(), "UNITS=MM\n$0 r500\n#\nP 5 0 0 P 0 0\n");
    write_file((layers / "drill/features").string(), "UNITS=MM\n$0 r300\n#\nP 5 0 0 P 0 0\n");
}

} // namespace

TEST(NetsCommands, WholeBoardAnalysisNamesItsRunsAndNetCommandsFollowEdits)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        write_board("board");
        start_library();
        const Json::Value analysis = json_of(call(
            R"({"func":"GET_ANALYSIS_RESULT_FROM_G","paras":{"matrix_path":"board/matrix/matrix","signal_path":"x",)"
            R"("drill_path":"","silk_path":"","solder_path":""}})"));
        EXPECT_EQ(analysis["job"].asString(), "board");
        ASSERT_EQ(analysis["steps"].size(), 1u) << analysis;
        EXPECT_EQ(analysis["steps"][0]["step"].asString(), "pcb");
        EXPECT_EQ(analysis["steps"][0]["net_count"].asInt(), 2);
        const Json::Value& run = analysis["steps"][0]["analyses"][0];
        EXPECT_EQ(run["analysis_type"].asInt(), 2);
        EXPECT_EQ(run["uuid"].asString().size(), 36u);
        EXPECT_EQ(analysis["not_run"], json_of(R"(["signal"])"));
        // The run is there to export by its uuid.
        const Json::Value eda = json_of(get_eda_analysis_results(
            (R"({"jobName":"board","jobUUID":"j","analysis_list":[{"analysisStep":"pcb","paramList":[{"analysisGuid":")" +
            run["uuid"].asString() + R"(","analysisType":2}]}]})").c_str()));
        EXPECT_EQ(eda["resultList"][0]["checkInfoList"].size(), 1u);

        EXPECT_EQ(call(R"({"func":"GET_ANALYSIS_RESULT_FROM_G","paras":{"matrix_path":"nowhere/matrix/matrix"}})"), "ERROR");

        const Json::Value computed = json_of(call(R"({"func":"CALCULATE_LAYER_NET","paras":{"job":"board","step":"pcb"}})"));
        EXPECT_EQ(computed["paras"]["net_count"].asInt(), 2);
        EXPECT_EQ(computed["paras"]["layers"], json_of(R"({"top":2,"bottom":1,"drill":1})"));
        EXPECT_EQ(call(R"({"func":"CALCULATE_LAYER_NET","paras":{"job":"board","step":"pcb","layers":["silk"]}})"), "ERROR");

        const Json::Value classes = json_of(call(R"({"func":"CLASSIFY_LAYER_NET","paras":{"job":"board","step":"pcb","layer":"top"}})"));
        EXPECT_EQ(classes["paras"]["nets"],
                  json_of(R"([{"net":0,"net_name":"","features":[0,1,2],"layers":["top","bottom","drill"]},)"
                          R"({"net":1,"net_name":"","features":[3],"layers":["top"]}])"));

        // A click on the via's pad selects its net on top and on the bottom.
        EXPECT_EQ(call(R"({"func":"SELECT_FEATURES_BY_NET","paras":{"jobname":"board","stepname":"pcb","layername":"top",)"
                       R"("vec_dest_layername":["bottom"],"selectpolygon":[{"ix":5000000,"iy":0}]}})"),
                  "OK");
        auto selected = [](const char* layer) {
            return json_of(call(std::string(R"({"func":"IS_SELECTED","paras":{"job":"board","step":"pcb","layer":")") + layer +
                                R"("}})"))["result"].asBool();
        };
        EXPECT_TRUE(selected("top"));
        EXPECT_TRUE(selected("bottom"));
        EXPECT_FALSE(selected("drill"));

        // Deleting the selection on top leaves the lone pad; the nets follow.
        EXPECT_EQ(call(R"({"func":"SEL_DELETE","paras":[{"job":"board","step":"pcb","layers":["top"]}]})"), "OK");
        const Json::Value after = json_of(call(R"({"func":"CLASSIFY_LAYER_NET","paras":{"job":"board","step":"pcb","layer":"top"}})"));
        EXPECT_EQ(after["paras"]["nets"].size(), 1u);
        EXPECT_EQ(after["paras"]["nets"][0]["features"], json_of("[0]"));
        EXPECT_EQ(call(R"({"func":"CLEAR_LAYER_NET","paras":{"job":"board","step":"pcb"}})"), "OK");
        // Nothing of a net under an empty spot.
        EXPECT_EQ(call(R"({"func":"SELECT_FEATURES_BY_NET","paras":{"jobname":"board","stepname":"pcb","layername":"top",)"
                       R"("vec_dest_layername":[],"selectpolygon":[{"ix":9000000,"iy":9000000}]}})"),
                  "OK");
    });
}
