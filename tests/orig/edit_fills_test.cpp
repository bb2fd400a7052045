// Profile fills, line symbols, tables, keeping edits for good, and the layer
// tools (rebuild, size, filter, pads onto their holes) on a small ODB++ job
// whose figures are worked out by hand or counted in the test.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

#include <cmath>
#include <set>

using namespace kesto::test;
namespace fs = boost::filesystem;

namespace {

const char kMatrix[] = R"(STEP {
   COL=1
   NAME=PCB
}
STEP {
   COL=2
   NAME=PANEL
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
LAYER {
   ROW=4
   CONTEXT=MISC
   TYPE=DOCUMENT
   NAME=DOC
   POLARITY=POSITIVE
}
)";

// 1 mm holes at (5,5), (10,5) and (12.4,5).
const double kHoles[3][2] = {{5, 5}, {10, 5}, {12.4, 5}};

// pcb: profile 20 x 10 mm, datum (0,0). Top: a 2 mm square pad 0.1 mm right
// of the hole at (5,5); one centred on (10,5); a 0.5 mm round pad at (12,5)
// whose nearest hole (12.4,5) lies outside it; a 2 mm square at (15,5) with
// no hole; the symbol r777 unused. Bottom empty. panel: profile 50 x 30 mm, the pcb once at (5,5).
void write_board(const fs::path& folder)
{
    fs::create_directories(folder / "matrix");
    fs::create_directories(folder / "misc");
    write_file((folder / "matrix/matrix").string(), kMatrix);
    write_file((folder / "misc/info").string(), "JOB_NAME=board\nUNITS=MM\n");
    const fs::path pcb = folder / "steps/pcb", panel = folder / "steps/panel";
    for (const fs::path& step : {pcb, panel})
        for (const char* l : {"top", "bottom", "drill", "doc"}) {
            fs::create_directories(step / "layers" / l);
            write_file((step / "layers" / l / "features").string(), "UNITS=MM\n#\n");
        }
    write_file((pcb / "profile").string(), "UNITS=MM\n#\nS P 0\nOB 0 0 I\nOS 20 0\nOS 20 10\nOS 0 10\nOS 0 0\nOE\nSE\n");
    write_file((panel / "profile").string(), "UNITS=MM\n#\nS P 0\nOB 0 0 I\nOS 50 0\nOS 50 30\nOS 0 30\nOS 0 0\nOE\nSE\n");
    write_file((panel / "stephdr").string(),
               "UNITS=MM\nX_DATUM=0\nY_DATUM=0\nSTEP-REPEAT {\nNAME=PCB\nX=5\nY=5\nDX=0\nDY=0\nNX=1\nNY=1\nANGLE=0\nFLIP=NO\nMIRROR=NO\n}\n");
    write_file((pcb / "layers/top/features").string(),
               "UNITS=MM\n$0 s2000\n$1 r500\n$2 r777\n#\nP 5.1 5 0 P 0 0\nP 10 5 0 P 0 0\nP 12 5 1 P 0 0\nP 15 5 0 P 0 0\n");
    write_file((pcb / "layers/drill/features").string(), "UNITS=MM\n$0 r1000\n#\nP 5 5 0 P 0 0\nP 10 5 0 P 0 0\nP 12.4 5 0 P 0 0\n");
}

const double kPi = 3.14159265358979323846;

Json::Value ask(const std::string& func, const std::string& paras)
{
    const Json::Value reply = json_of(call(R"({"func":")" + func + R"(","paras":)" + paras + "}"));
    EXPECT_EQ(reply["func"].asString(), func) << reply;
    return reply["paras"];
}

void open_board()
{
    write_board("board");
    start_library();
    ASSERT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":"."},{"job":"board"}]})"),
              "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
}

// Every feature of a layer as GET_SELECTED_FEATURE_INFOS gives them.
Json::Value features(const std::string& layer, const std::string& step = "pcb")
{
    const std::string at = R"("job":"board","step":")" + step + R"(","layer":")" + layer + R"(")";
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{)" + at + "}}");
    call(R"({"func":"COUNTER_ELECTION","paras":[{)" + at + "}]}");
    const Json::Value infos = json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board",
        "stepname":")" + step + R"(","layername":")" + layer + R"("}})"))["paras"]["featureInfos"];
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{)" + at + "}}");
    return infos;
}

double copper(const std::string& layer, const std::string& step = "pcb")
{
    return ask("GET_REST_CU", R"({"job":"board","step":")" + step + R"(","layer":")" + layer + R"("})")["area"].asDouble();
}

std::string undo(const std::string& step = "pcb")
{
    return call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":")" + step + R"("}})");
}

} // namespace

TEST(EditFills, PatternFillKeepsClearOfTheBorderAndTheHoles)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        open_board();
        const Json::Value reply = json_of(call(R"({"func":"FILL_PROFILE","paras":{"job":"board","step":"pcb",
            "layer":"bottom","profile_resize":1,"avoid_drill":true,"avoid_drill_size":0.5,"fill_by_pattern":true,
            "symbolname":"r500","dx":1,"dy":1}})"));
        EXPECT_EQ(reply["result"].asString(), "OK");

        // Counted here: grid points from (1.5,1.5) a millimetre apart whose
        // 0.5 mm pad stays inside 1..19 x 1..9 and clear of every hole grown
        // by 0.5 mm (centre farther than 1 + 0.25 from the hole's centre).
        std::set<std::pair<long, long>> expected;
        for (double y = 1.5; y <= 9; y += 1)
            for (double x = 1.5; x <= 19; x += 1) {
                bool clear = x - 0.25 > 1 && x + 0.25 < 19 && y - 0.25 > 1 && y + 0.25 < 9;
                for (const auto& h : kHoles) clear = clear && std::hypot(x - h[0], y - h[1]) > 1.25;
                if (clear) expected.insert({std::lround(x * 1000), std::lround(y * 1000)});
            }
        ASSERT_EQ(expected.size(), 144u - 4 - 4 - 6) << "4 round (5,5), 4 round (10,5), 6 round (12.4,5)";
        EXPECT_EQ(reply["added"].asInt(), int(expected.size()));
        std::set<std::pair<long, long>> found;
        for (const Json::Value& f : features("bottom")) {
            EXPECT_EQ(f["symbolname"].asString(), "r500");
            found.insert({std::lround(f["XS"].asDouble() * 1000), std::lround(f["YS"].asDouble() * 1000)});
        }
        EXPECT_EQ(found, expected);

        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(features("bottom").size(), 0u);

        // A pattern that fits nowhere, or no symbol: nothing added, the error in "result".
        EXPECT_EQ(json_of(call(R"({"func":"FILL_PROFILE","paras":{"job":"board","step":"pcb","layer":"bottom",
            "fill_by_pattern":true,"symbolname":"r500","dx":0,"dy":1}})"))["result"].asString(), "ERROR");
        EXPECT_EQ(json_of(call(R"({"func":"FILL_PROFILE","paras":{"job":"board","step":"pcb","layer":"bottom",
            "fill_by_pattern":true,"symbolname":"nothing","dx":1,"dy":1}})"))["result"].asString(), "ERROR");
        EXPECT_EQ(json_of(call(R"({"func":"FILL_PROFILE","paras":{"job":"board","step":"pcb","layer":"none"}})"))["result"].asString(), "ERROR");
        EXPECT_EQ(features("bottom").size(), 0u);
    });
}

TEST(EditFills, SolidFillOfABoardAndOfAPanelAroundItsBoard)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        open_board();
        // The panel's border: 1..49 x 1..29 less the board (5..25 x 5..15)
        // grown by 2: 48 x 28 - 24 x 14.
        const Json::Value panel = json_of(call(R"({"func":"FILL_PROFILE","paras":{"job":"board","step":"panel",
            "layer":"bottom","profile_resize":1,"child_profile_resize":2}})"));
        EXPECT_EQ(panel["result"].asString(), "OK");
        EXPECT_EQ(panel["added"].asInt(), 1);
        EXPECT_NEAR(copper("bottom", "panel"), 48 * 28 - 24 * 14, 1e-6);

        // The board: 18 x 8 less three discs of radius 1 (chords within a micron).
        json_of(call(R"({"func":"FILL_PROFILE","paras":{"job":"board","step":"pcb","layer":"bottom",
            "profile_resize":1,"avoid_drill":true,"avoid_drill_size":0.5}})"));
        EXPECT_NEAR(copper("bottom"), 18 * 8 - 3 * kPi, 3 * 2 * kPi * 0.001);
        // The panel now sees its board's fill too.
        EXPECT_NEAR(copper("bottom", "panel"), 48 * 28 - 24 * 14 + 18 * 8 - 3 * kPi, 0.02);
        ASSERT_EQ(undo(), "OK");
        EXPECT_NEAR(copper("bottom"), 0, 1e-12);
        ASSERT_EQ(undo("panel"), "OK");
        EXPECT_NEAR(copper("bottom", "panel"), 0, 1e-12);
    });
}

TEST(EditFills, LineSymbolsTablesAndEditsKeptForGood)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        open_board();
        ASSERT_EQ(call(R"({"func":"ADDFEATURES","paras":{"jobname":"board","stepname":"pcb","layernames":["doc"],
            "featurecontent":["L 0 0 2 0 r200 P 0","L 3 0 3 2 s100 P 0","L 0 0 1 1 r100 P 0","L 0 0 1 1 s100 P 0"]}})"),
                  "OK");
        auto symbol_of = [](int index) {
            return call(R"({"func":"LINE_TO_SYMBOLSTR","paras":{"job":"board","step":"pcb","layer":"doc","feature_index":)" +
                        std::to_string(index) + "}}");
        };
        // A round pen's line is an oval as long as the line plus the pen,
        // centred on the line; a square pen's a rectangle.
        EXPECT_EQ(symbol_of(0), "{\"func\":\"LINE_TO_SYMBOLSTR\",\"paras\":{\"angle\":0.0,\"symbol\":\"oval2200x200\",\"x\":1.0,\"y\":0.0}}\n");
        EXPECT_EQ(symbol_of(1), "{\"func\":\"LINE_TO_SYMBOLSTR\",\"paras\":{\"angle\":0.0,\"symbol\":\"rect100x2100\",\"x\":3.0,\"y\":1.0}}\n");
        // At 45 degrees: sqrt(2) + 0.1 long, turned 315 clockwise (45 counter-clockwise).
        const Json::Value slanted = json_of(symbol_of(2))["paras"];
        EXPECT_EQ(slanted["symbol"].asString().rfind("oval1514.2", 0), 0u) << slanted;
        EXPECT_NEAR(slanted["angle"].asDouble(), 315, 1e-9);
        EXPECT_NEAR(slanted["x"].asDouble(), 0.5, 1e-9);
        EXPECT_EQ(symbol_of(3), "ERROR") << "a slanted square pen draws no rectangle";
        EXPECT_EQ(symbol_of(9), "ERROR");

        // Lines 2 and 3 leave the origin at 45 degrees to line 0: two sharp corners.
        EXPECT_EQ(call(R"({"func":"REMOVE_SHARP_ANGLE","paras":{"para":60,"layers":["doc"],"step":"pcb","scope":1,
            "radius":0.5,"type":0,"is_round":true}})"), "OK");
        EXPECT_EQ(features("doc").size(), 6u);
        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(features("doc").size(), 4u);
        EXPECT_EQ(call(R"({"func":"REMOVE_SHARP_ANGLE","paras":{"layers":["none"],"step":"pcb","scope":1}})"), "ERROR");

        // TRANSLATE_LINES 0 then 1: the round-pen line becomes oval2200x200
        // at (1,0) and back the r200 line from (0,0) to (2,0); the slanted
        // square-pen line stays a line throughout.
        ASSERT_EQ(call(R"({"func":"TRANSLATE_LINES","paras":{"step":"pcb","layer":"doc","op_type":0,"type":1}})"), "OK");
        std::multiset<std::string> kinds;
        for (const Json::Value& f : features("doc")) kinds.insert(f["symbolname"].asString() + "/" + f["type"].asString());
        EXPECT_EQ(kinds.count("oval2200x200/2"), 1u);
        EXPECT_EQ(kinds.count("rect100x2100/2"), 1u);
        EXPECT_EQ(kinds.count("s100/1"), 1u);
        ASSERT_EQ(call(R"({"func":"TRANSLATE_LINES","paras":{"step":"pcb","layer":"doc","op_type":1,"type":1}})"), "OK");
        const Json::Value back = features("doc");
        ASSERT_EQ(back.size(), 4u);
        EXPECT_EQ(back[0]["symbolname"].asString(), "r200");
        EXPECT_NEAR(std::min(back[0]["XS"].asDouble(), back[0]["XE"].asDouble()), 0, 1e-9);
        EXPECT_NEAR(std::max(back[0]["XS"].asDouble(), back[0]["XE"].asDouble()), 2, 1e-9);
        ASSERT_EQ(undo(), "OK");
        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(symbol_of(0), "{\"func\":\"LINE_TO_SYMBOLSTR\",\"paras\":{\"angle\":0.0,\"symbol\":\"oval2200x200\",\"x\":1.0,\"y\":0.0}}\n");
        EXPECT_EQ(call(R"({"func":"TRANSLATE_LINES","paras":{"step":"pcb","layer":"doc","op_type":7,"type":1}})"), "ERROR");

        // A 2 x 2 table, columns 10 and 6 wide, rows 2 high, from (30, 20).
        const Json::Value table = ask("CREATE_TABLE", R"({"job":"board","step":"pcb","layer":"table","x":30,"y":20,
            "cells":[["Tool","Size"],["T01",""]],"column_widths":[10,6],"row_height":2,"text_height":1,"line_width":0.2})");
        EXPECT_EQ(table["added"].asInt(), 3 + 3 + 3) << "three rows of lines, three columns, three texts";
        EXPECT_DOUBLE_EQ(table["width"].asDouble(), 16);
        EXPECT_DOUBLE_EQ(table["height"].asDouble(), 4);
        std::multiset<std::string> lines, texts;
        char text[96];
        for (const Json::Value& f : features("table")) {
            if (f["type"].asInt() == 1) {
                std::snprintf(text, sizeof text, "%g,%g-%g,%g", f["XS"].asDouble(), f["YS"].asDouble(),
                              f["XE"].asDouble(), f["YE"].asDouble());
                lines.insert(text);
            } else {
                std::snprintf(text, sizeof text, "%g,%g", f["XS"].asDouble(), f["YS"].asDouble());
                texts.insert(text);
            }
        }
        EXPECT_EQ(lines, (std::multiset<std::string>{"30,20-46,20", "30,18-46,18", "30,16-46,16", "30,20-30,16",
                                                      "40,20-40,16", "46,20-46,16"}));
        // Texts half a character (0.375) in, centred on their row: baseline 0.5 below the row's middle.
        EXPECT_EQ(texts, (std::multiset<std::string>{"30.375,18.5", "40.375,18.5", "30.375,16.5"}));

        // CORRECTUNDO: what was done stays; undo has nothing left in the step.
        ASSERT_EQ(call(R"({"func":"CORRECTUNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");
        EXPECT_EQ(undo(), "OK");
        EXPECT_EQ(features("table").size(), 9u);
        EXPECT_EQ(features("doc").size(), 4u);
        EXPECT_EQ(call(R"({"func":"CORRECTUNDO","paras":{"jobname":"board","stepname":"none"}})"), "ERROR");
    });
}

TEST(EditFills, LayerToolsRebuildSizeFilterAndCentrePads)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        open_board();
        char text[96];
        const std::string top = R"("job":"board","step":"pcb","layer":"top")";
        // Only the pad 0.1 mm off its hole moves; the centred one, the one
        // whose nearest hole lies outside it and the one without a hole stay.
        const Json::Value moved = ask("AUTO_MOVE_DRILL_PAD", "{" + top + R"(,"max_offset":0.5})");
        EXPECT_EQ(moved["drill"].asString(), "drill");
        ASSERT_EQ(moved["moved"].asInt(), 1);
        EXPECT_EQ(moved["pads"][0]["index"].asInt(), 0);
        EXPECT_NEAR(moved["pads"][0]["dx"].asDouble(), -0.1, 1e-9);
        EXPECT_NEAR(features("top")[0]["XS"].asDouble(), 5, 1e-9);
        EXPECT_EQ(ask("AUTO_MOVE_DRILL_PAD", "{" + top + R"(,"max_offset":0.5})")["moved"].asInt(), 0);
        ASSERT_EQ(undo(), "OK");
        EXPECT_NEAR(features("top")[0]["XS"].asDouble(), 5.1, 1e-9);
        EXPECT_EQ(call("{\"func\":\"AUTO_MOVE_DRILL_PAD\",\"paras\":{" + top + "}}"), "ERROR") << "no offset";

        // OP_SIZE grows every pad by 0.2 mm: copper 3 x 2.2^2 + pi 0.35^2.
        EXPECT_NEAR(copper("top"), 3 * 4 + kPi * 0.0625, 0.002);
        const Json::Value sized = ask("OP_SIZE", R"({"job":"board","step":"pcb","layers":["top"],"size":0.2,"all":true})");
        EXPECT_EQ(sized["resized"].asInt(), 4);
        EXPECT_NEAR(copper("top"), 3 * 2.2 * 2.2 + kPi * 0.35 * 0.35, 0.002);
        ASSERT_EQ(undo(), "OK");

        // FILTER_BY_MODE keeps the selected pads (2) of positive polarity.
        ASSERT_EQ(call(R"({"func":"ADDFEATURES","paras":{"jobname":"board","stepname":"pcb","layernames":["top"],
            "featurecontent":["L 0 0 1 0 r100 P 0","P 1 8 r100 N 0"]}})"), "OK");
        call("{\"func\":\"COUNTER_ELECTION\",\"paras\":[{" + top + "}]}");
        EXPECT_EQ(ask("FILTER_BY_MODE", "{" + top + R"(,"mode":2})")["selected"].asInt(), 5);
        EXPECT_EQ(ask("FILTER_BY_MODE", "{" + top + R"(,"mode":3,"polarity":"positive"})")["selected"].asInt(), 4);
        EXPECT_EQ(call("{\"func\":\"FILTER_BY_MODE\",\"paras\":{" + top + R"(,"mode":64})"), "ERROR");

        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(features("top").size(), 4u);

        // LAYER_REBUILD drops the unused r777: s2000 and r500 stay, the copper is the same.
        const double before = copper("top");
        const Json::Value rebuilt = ask("LAYER_REBUILD", "{" + top + "}");
        EXPECT_EQ(rebuilt["features"].asInt(), 4);
        EXPECT_EQ(rebuilt["symbols_before"].asInt(), 3);
        EXPECT_EQ(rebuilt["symbols_after"].asInt(), 2);
        EXPECT_NEAR(copper("top"), before, 1e-12);
        std::multiset<std::string> names;
        for (const Json::Value& f : features("top")) names.insert(f["symbolname"].asString());
        EXPECT_EQ(names, (std::multiset<std::string>{"s2000", "s2000", "r500", "s2000"}));
        EXPECT_EQ(ask("LAYER_REBUILD", "{" + top + "}")["symbols_after"].asInt(), 2);

        // CONSTRUCT_PADS: a round-pen stroke is an oval pad, two square-pen
        // strokes end to end one rectangle; an L of two strokes is no pad.
        ASSERT_EQ(call(R"({"func":"ADDFEATURES","paras":{"jobname":"board","stepname":"pcb","layernames":["bottom"],
            "featurecontent":["L 20 0 22 0 r1000 P 0","L 30 0 32 0 s1000 P 0","L 32 0 34 0 s1000 P 0",
            "L 40 0 42 0 r100 P 0","L 42 0 42 2 r100 P 0"]}})"), "OK");
        const double painted = copper("bottom");
        const Json::Value made = ask("CONSTRUCT_PADS", R"({"job":"board","step":"pcb","layer":"bottom","tolerance":0.01})");
        EXPECT_EQ(made["pads"].asInt(), 2);
        EXPECT_EQ(made["replaced"].asInt(), 3);
        std::multiset<std::string> shapes;
        for (const Json::Value& f : features("bottom")) {
            std::snprintf(text, sizeof text, "%s@%g,%g", f["symbolname"].asString().c_str(), f["XS"].asDouble(), f["YS"].asDouble());
            shapes.insert(text);
        }
        EXPECT_EQ(shapes, (std::multiset<std::string>{"oval3000x1000@21,0", "rect5000x1000@32,0", "r100@40,0", "r100@42,0"}));
        EXPECT_NEAR(copper("bottom"), painted, 0.002) << "the pads cover what the strokes did";
        ASSERT_EQ(undo(), "OK");
        EXPECT_EQ(features("bottom").size(), 5u);
    });
}
