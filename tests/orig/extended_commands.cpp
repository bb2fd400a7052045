// Copper-area, profile and report commands as a host sends them, on a small
// ODB++ job written into the test's folder.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

#include <cmath>

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
   TYPE=SOLDER_MASK
   NAME=SM_TOP
   POLARITY=POSITIVE
}
LAYER {
   ROW=2
   CONTEXT=BOARD
   TYPE=SIGNAL
   NAME=TOP
   POLARITY=POSITIVE
}
LAYER {
   ROW=3
   CONTEXT=BOARD
   TYPE=SIGNAL
   NAME=BOTTOM
   POLARITY=POSITIVE
}
LAYER {
   ROW=4
   CONTEXT=BOARD
   TYPE=DRILL
   NAME=DRILL
   POLARITY=POSITIVE
   START_NAME=TOP
   END_NAME=BOTTOM
}
LAYER {
   ROW=5
   CONTEXT=BOARD
   TYPE=SILK_SCREEN
   NAME=SILK
   POLARITY=POSITIVE
}
)";

// Profile 20 x 10 mm. Top: a 4 x 2 mm pad at (5,5) with a 1 mm hole
// through it, opened by a 2 x 2 mask pad; a 2 mm square at (15,5). Bottom:
// a 2 mm square at (15,5).
void write_board(const fs::path& folder)
{
    fs::create_directories(folder / "matrix");
    fs::create_directories(folder / "misc");
    write_file((folder / "matrix/matrix").string(), kMatrix);
    write_file((folder / "misc/info").string(), "JOB_NAME=board\nUNITS=MM\n");
    const fs::path step = folder / "steps/pcb";
    const fs::path layers = step / "layers";
    for (const char* l : {"sm_top", "top", "bottom", "drill", "silk"}) fs::create_directories(layers / l);
    write_file((step / "profile").string(),
               "UNITS=MM\n#\nS P 0\nOB 0 0 I\nOS 20 0\nOS 20 10\nOS 0 10\nOS 0 0\nOE\nSE\n");
    write_file((layers / "top/features").string(),
               "UNITS=MM\n$0 rect4000x2000\n$1 s2000\n#\nP 5 5 0 P 0 0\nP 15 5 1 P 0 0\n");
    write_file((layers / "bottom/features").string(), "UNITS=MM\n$0 s2000\n#\nP 15 5 0 P 0 0\n");
    write_file((layers / "sm_top/features").string(), "UNITS=MM\n$0 s2000\n#\nP 5 5 0 P 0 0\n");
    write_file((layers / "drill/features").string(), "UNITS=MM\n$0 r1000\n#\nP 5 5 0 P 0 0\n");
    // Two texts, the second turned a quarter and mirrored (orientation 5).
    write_file((layers / "silk/features").string(),
               "UNITS=MM\n#\nT 1 8 standard P 0 1.5 2 1 'TOP SIDE' 1\nT 12 8 standard P 5 1 1 1 'REV A' 1\n");
}

// A one-character font: a stroke for 'A'.
const char kFont[] = "XSIZE 0.0833\nYSIZE 0.1111\nOFFSET 0.0\nCHAR A\nLINE -0.03 -0.1 0.0 0.2 P R 0.012\nECHAR\n";

const double kPi = 3.14159265358979323846;

Json::Value ask(const std::string& func, const std::string& paras)
{
    const Json::Value reply = json_of(call(R"({"func":")" + func + R"(","paras":)" + paras + "}"));
    EXPECT_EQ(reply["func"].asString(), func) << reply;
    return reply["paras"];
}

} // namespace

TEST(ExtendedCommands, CopperAreasOfTheLayersAndTheBoard)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        write_board("board");
        start_library();
        ASSERT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":"."},{"job":"board"}]})"),
                  "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
        const std::string top = R"({"job":"board","step":"pcb","layer":"top"})";
        // Chords of the 1 mm hole stand outside the true circle by under a micron.
        const double tolerance = kPi * 0.001;
        EXPECT_NEAR(ask("GET_REST_CU", top)["area"].asDouble(), 12, 1e-9);
        const Json::Value rate = ask("GET_REST_CU_RATE", top);
        EXPECT_NEAR(rate["board_area"].asDouble(), 200, 1e-9);
        EXPECT_NEAR(rate["rate"].asDouble(), 12.0 / 200, 1e-9);
        const Json::Value drilled = ask("GET_REST_CU_WITH_DRILL", top);
        EXPECT_NEAR(drilled["area"].asDouble(), 12 - kPi / 4, tolerance);
        EXPECT_EQ(drilled["drills"][0].asString(), "drill");
        const Json::Value exposed = ask("GET_REST_CU_SOLDER", top);
        EXPECT_EQ(exposed["mask"].asString(), "sm_top");
        EXPECT_NEAR(exposed["area"].asDouble(), 4, 1e-9);
        EXPECT_NEAR(ask("GET_CU_SOLDER_DRILL", top)["area"].asDouble(), 4 - kPi / 4, tolerance);
        // The bottom has no mask below it in this matrix.
        EXPECT_EQ(call(R"({"func":"GET_REST_CU_SOLDER","paras":{"job":"board","step":"pcb","layer":"bottom"}})"), "ERROR");

        const Json::Value outer = ask("GET_OUTLAYER_CU", R"({"job":"board","step":"pcb"})");
        EXPECT_EQ(outer["top"]["layer"].asString(), "top");
        EXPECT_EQ(outer["bottom"]["layer"].asString(), "bottom");
        EXPECT_NEAR(outer["bottom"]["area"].asDouble(), 4, 1e-9);

        const Json::Value square = ask("GET_TOTAL_SQUARE", R"({"job":"board","step":"pcb"})");
        EXPECT_DOUBLE_EQ(square["area"].asDouble(), 200);
        EXPECT_DOUBLE_EQ(square["width"].asDouble(), 20);
        EXPECT_DOUBLE_EQ(square["height"].asDouble(), 10);

        EXPECT_EQ(call(R"({"func":"SELECT_FEATURES","paras":{"job":"board","step":"pcb","layer":"top"}})"), "OK");
        const Json::Value selected =
            ask("GET_SELECTED_FEATURE_AREAS", R"({"job":"board","step":"pcb","layers":["top"]})");
        EXPECT_NEAR(selected["layers"][0]["area"].asDouble(), 12, 1e-9);
        EXPECT_EQ(selected["layers"][0]["features"].size(), 2u);

        // Unknown names answer the error text.
        EXPECT_EQ(call(R"({"func":"GET_REST_CU","paras":{"job":"board","step":"pcb","layer":"nothing"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"GET_REST_CU","paras":{"job":"board","step":"pcb","layer":"drill"}})"), "ERROR");
    });
}

TEST(ExtendedCommands, ProfilesAndReports)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        write_board("board");
        start_library();
        call(R"({"func":"OPEN_JOB","paras":[{"path":"."},{"job":"board"}]})");
        const std::string board = R"({"job":"board","step":"pcb"})";
        EXPECT_TRUE(ask("HAS_PROFILE", board)["has_profile"].asBool());
        const Json::Value profile = ask("GET_PROFILE", board);
        ASSERT_EQ(profile["contours"].size(), 1u);
        EXPECT_EQ(profile["contours"][0]["segments"].size(), 4u);
        EXPECT_DOUBLE_EQ(profile["xmax"].asDouble(), 20);

        EXPECT_EQ(call(R"({"func":"CREATE_PROFILE","paras":{"job":"board","step":"pcb","xmin":-5,"ymin":0,"xmax":25,"ymax":10}})"),
                  "OK");
        EXPECT_DOUBLE_EQ(ask("GET_TOTAL_SQUARE", board)["area"].asDouble(), 300);
        EXPECT_EQ(call(R"({"func":"CREATE_PROFILE","paras":{"job":"board","step":"pcb","xmin":5,"xmax":5}})"), "ERROR");

        const Json::Value all = ask("GET_ALL_FEATURES_REPORT", R"({"job":"board","step":"pcb","layers":["top","bottom"]})");
        ASSERT_EQ(all["layers"].size(), 2u);
        EXPECT_EQ(all["layers"][0]["total"].asInt(), 2);
        EXPECT_EQ(all["layers"][0]["kinds"]["pad"].asInt(), 2);
        EXPECT_EQ(all["layers"][0]["symbols"]["rect4000x2000"].asInt(), 1);
        EXPECT_DOUBLE_EQ(all["layers"][0]["box"]["xmin"].asDouble(), 3);
        EXPECT_DOUBLE_EQ(all["layers"][1]["box"]["xmin"].asDouble(), 14);

        const Json::Value centre = ask("GET_BOX_CENTER", R"({"job":"board","step":"pcb","layers":["top"]})");
        EXPECT_DOUBLE_EQ(centre["x"].asDouble(), 9.5); // the pads run from x = 3 to 16
        EXPECT_DOUBLE_EQ(centre["y"].asDouble(), 5);
        const Json::Value ring = ask("GET_ANNULAR_RING", R"({"job":"board","step":"pcb","layer":"top"})");
        EXPECT_NEAR(ring["min_ring"].asDouble(), 0.5, 1e-9); // 1 mm to the long side, less the 0.5 mm radius
        const Json::Value quote = ask("GET_QUOTE_PRICE_INFO", board);
        EXPECT_EQ(quote["copper_layers"].asInt(), 2);
        EXPECT_EQ(quote["holes"].asInt(), 1);
        EXPECT_DOUBLE_EQ(quote["min_drill"].asDouble(), 1);
        const Json::Value touch = ask("POLYGON_IS_INTERACTS",
                                      R"({"job":"board","step":"pcb","layer":"top","points":[{"x":13,"y":3},{"x":14.5,"y":3},{"x":14.5,"y":4.5}]})");
        EXPECT_TRUE(touch["interacts"].asBool());
        EXPECT_EQ(touch["features"][0].asInt(), 1);
    });
}

TEST(ExtendedCommands, FontsTextsAndLayerRoles)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        write_board("board");
        write_file("thin", kFont);
        write_file("broken", "XSIZE 0.0833\nCHAR A\nLINE 1 2\nECHAR\n");
        start_library();
        call(R"({"func":"OPEN_JOB","paras":[{"path":"."},{"job":"board"}]})");
        EXPECT_EQ(ask("GET_FONTS", R"({"job":"board"})")["fonts"], json_of(R"(["standard"])"));
        EXPECT_EQ(call(R"({"func":"LOAD_ONE_FONT","paras":{"job":"board","path":"thin"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"LOAD_ONE_FONT","paras":{"job":"board","path":"broken"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"LOAD_ONE_FONT","paras":{"job":"board","path":"missing"}})"), "ERROR");
        EXPECT_EQ(ask("GET_FONTS", R"({"job":"board"})")["fonts"], json_of(R"(["standard","thin"])"));
        EXPECT_TRUE(ask("HAS_FONT", R"({"job":"board","font":"thin"})")["has_font"].asBool());
        EXPECT_FALSE(ask("HAS_FONT", R"({"job":"board","font":"broken"})")["has_font"].asBool());

        // The texts as the features file writes them.
        const Json::Value list = ask("GET_TEXT_LIST", R"({"job":"board","step":"pcb","layer":"SILK"})")["texts"];
        ASSERT_EQ(list.size(), 2u);
        EXPECT_EQ(list[0]["text"].asString(), "TOP SIDE");
        EXPECT_DOUBLE_EQ(list[0]["x"].asDouble(), 1);
        EXPECT_DOUBLE_EQ(list[0]["xsize"].asDouble(), 1.5);
        EXPECT_DOUBLE_EQ(list[0]["ysize"].asDouble(), 2);
        EXPECT_EQ(list[1]["text"].asString(), "REV A");
        EXPECT_DOUBLE_EQ(list[1]["angle"].asDouble(), 90);
        EXPECT_TRUE(list[1]["mirror"].asBool());
        // Nothing selected yet: no one text to name.
        EXPECT_EQ(call(R"({"func":"GET_TEXT_NAME","paras":{"job":"board","step":"pcb","layer":"silk"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"SELECT_FEATURES","paras":{"job":"board","step":"pcb","layer":"silk"}})"), "OK");
        EXPECT_EQ(ask("GET_TEXTS_NAME", R"({"job":"board","step":"pcb","layers":["silk"]})")["texts"].size(), 2u);
        EXPECT_EQ(call(R"({"func":"CLEAR_ALL_OPTIONS","paras":{"job":"board","step":"pcb"}})"), "OK");
        EXPECT_EQ(ask("GET_TEXTS_NAME", R"({"job":"board","step":"pcb","layers":["silk"]})")["texts"].size(), 0u);

        const Json::Value outer = ask("GET_OUTTER_LAYERS", R"({"job":"board"})");
        EXPECT_EQ(outer["top"].asString() + "/" + outer["bottom"].asString(), "top/bottom");
        EXPECT_EQ(ask("GET_NEAR_SIGNAL_LAYERNAME", R"({"job":"board","layer":"sm_top"})")["layer"].asString(), "top");
        EXPECT_EQ(ask("GET_NEAR_SIGNAL_LAYERNAME", R"({"job":"board","layer":"silk"})")["layer"].asString(), "bottom");
        const Json::Value top = ask("GET_NEAR_SIGNAL_LAYERNAME", R"({"job":"board","layer":"top"})");
        EXPECT_EQ(top["above"].asString() + "|" + top["below"].asString(), "|bottom");
    });
}
