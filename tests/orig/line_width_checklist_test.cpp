// Line-width compensation of a layout layer and the layer checklist, on a
// small ODB++ job whose widths and gaps are worked out by hand.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

#include <fstream>
#include <sstream>

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
   TYPE=DRILL
   NAME=DRILL
   POLARITY=POSITIVE
}
)";

// Features of top, in order (mm):
//  0 A (0,0)-(10,0) r100 and 1 B (10,0)-(10,5) r100: one trace, 15 long.
//  2 C (0,3)-(4,3) r200: outside the width range.
//  3 D (20,0)-(20.5,0) r100: a trace 0.5 long.
//  4 E (0,10)-(10,10) r100 under 5 a 1 mm square pad at (5,10.77): the
//    line's edge y = 10.05, the pad's y = 10.27, a 0.22 gap.
//  6 F (0,20)-(10,20) and 7 G (0,20.34)-(10,20.34), both r100: a 0.24 gap.
//  8 H1 (30,0)-(30.6,0) and 9 H2 (30.6,0)-(30.6,0.6) r100: a right-angle
//    corner, 1.2 together.
//  10 H3 (40,0)-(40.6,0) and 11 H4 (40.605,0)-(41.2,0) r100: ends 5 um
//    apart, 1.195 together.
void write_board(const fs::path& folder)
{
    fs::create_directories(folder / "matrix");
    fs::create_directories(folder / "misc");
    write_file((folder / "matrix/matrix").string(), kMatrix);
    write_file((folder / "misc/info").string(), "JOB_NAME=board\nUNITS=MM\n");
    const fs::path pcb = folder / "steps/pcb";
    for (const char* l : {"top", "drill"}) {
        fs::create_directories(pcb / "layers" / l);
        write_file((pcb / "layers" / l / "features").string(), "UNITS=MM\n#\n");
    }
    write_file((pcb / "profile").string(), "UNITS=MM\n#\nS P 0\nOB -5 -5 I\nOS 50 -5\nOS 50 25\nOS -5 25\nOS -5 -5\nOE\nSE\n");
    write_file((pcb / "layers/top/features").string(), "UNITS=MM\n$0 r100\n$1 r200\n$2 s1000\n#\n"
                                                         "L 0 0 10 0 0 P 0\nL 10 0 10 5 0 P 0\n"
                                                         "L 0 3 4 3 1 P 0\n"
                                                         "L 20 0 20.5 0 0 P 0\n"
                                                         "L 0 10 10 10 0 P 0\nP 5 10.77 2 P 0 0\n"
                                                         "L 0 20 10 20 0 P 0\nL 0 20.34 10 20.34 0 P 0\n"
                                                         "L 30 0 30.6 0 0 P 0\nL 30.6 0 30.6 0.6 0 P 0\n"
                                                         "L 40 0 40.6 0 0 P 0\nL 40.605 0 41.2 0 0 P 0\n");
    write_file((pcb / "layers/drill/features").string(), "UNITS=MM\n$0 r1000\n#\nP 5 5 0 P 0 0\n");
}

void open_board(const std::string& path = ".")
{
    ASSERT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":")" + path + R"("},{"job":"board"}]})"),
              "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
}

// The symbol of every feature of top, in order.
std::vector<std::string> symbols()
{
    const std::string at = R"("job":"board","step":"pcb","layer":"top")";
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{)" + at + "}}");
    call(R"({"func":"COUNTER_ELECTION","paras":[{)" + at + "}]}");
    const Json::Value infos = json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board",
        "stepname":"pcb","layername":"top"}})"))["paras"]["featureInfos"];
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{)" + at + "}}");
    std::vector<std::string> out;
    for (const Json::Value& f : infos) out.push_back(f["symbolname"].asString());
    return out;
}

std::string rewidth(const std::string& rule)
{
    return call(R"({"func":"CHANGE_GDS_LINE_WIDTH","paras":{"input":{"step":"pcb","layer":"TOP"},)" + rule + "}}");
}

std::string checklist(const std::string& paras)
{
    return call(R"({"func":"SET_LAYER_CHECKLIST","paras":{"job":"board","step":"pcb")" + paras + "}}");
}

} // namespace

TEST(LineWidth, CompensatesTracesByWidthLengthAndSpacing)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        write_board("board");
        start_library();
        open_board();
        const std::vector<std::string> before{"r100", "r100", "r200", "r100", "r100", "s1000",
                                              "r100", "r100", "r100", "r100", "r100", "r100"};
        ASSERT_EQ(symbols(), before);

        // 0.1 mm lines grow by 0.05, others by 0.02; traces under 1 mm left;
        // ends within 10 um and turns up to 90 degrees join; 0.2 mm kept.
        const std::string rule = R"("imin":0.09,"imax":0.11,"resize_size":0.05,"default_resize":0.02,"length":1,)"
                                 R"("max_distance":0.01,"angle":90,"offset_para":0.2)";
        ASSERT_EQ(rewidth(rule), "OK");
        // E: the 0.22 gap to the pad may lose 0.02, so it grows by 0.04.
        // F and G both grow: the 0.24 gap shared, 0.04 each. The pad is no line.
        EXPECT_EQ(symbols(), (std::vector<std::string>{"r150", "r150", "r220", "r100", "r140", "s1000",
                                                       "r140", "r140", "r150", "r150", "r150", "r150"}));
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");
        ASSERT_EQ(symbols(), before);

        // A 45 degree limit breaks the corner and a 1 um reach the near
        // ends: H1..H4 are each under 1 mm and stay. No spacing kept: E, F, G
        // grow in full.
        ASSERT_EQ(rewidth(R"("imin":0.09,"imax":0.11,"resize_size":0.05,"length":1,"max_distance":0.001,"angle":45)"), "OK");
        EXPECT_EQ(symbols(), (std::vector<std::string>{"r150", "r150", "r200", "r100", "r150", "s1000",
                                                       "r150", "r150", "r100", "r100", "r100", "r100"}));
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");

        // Thinning to nothing is refused line by line; the rest still thins.
        ASSERT_EQ(rewidth(R"("imin":0.15,"imax":0.25,"resize_size":-0.05,"default_resize":-0.1)"), "OK");
        EXPECT_EQ(symbols(), (std::vector<std::string>{"r100", "r100", "r150", "r100", "r100", "s1000",
                                                       "r100", "r100", "r100", "r100", "r100", "r100"}));
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");

        // Refused, changing nothing.
        EXPECT_EQ(rewidth(R"("imin":0.2,"imax":0.1,"resize_size":0.05)"), "ERROR");
        EXPECT_EQ(rewidth(R"("imin":0.09,"imax":0.11,"resize_size":0.05,"offset_para":-1)"), "ERROR");
        EXPECT_EQ(call(R"({"func":"CHANGE_GDS_LINE_WIDTH","paras":{"input":"top","imin":0,"imax":1,"resize_size":0.05}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"CHANGE_GDS_LINE_WIDTH","paras":{"input":{"step":"pcb","layer":"none"},"imax":1}})"),
                  "ERROR");
        EXPECT_EQ(symbols(), before);
    });
}

TEST(LayerChecklist, SetRefusedSavedReopenedAndUndone)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        write_board("board");
        start_library();
        open_board();
        EXPECT_EQ(checklist(""), R"({"func":"SET_LAYER_CHECKLIST","paras":{"job":"board","layers":[],"step":"pcb"}})" "\n");

        const std::string top = R"({"checks":["SIGNAL_LAYER_CHECK","PREPARE_CHECK"],"layer":"top","status":"open"})";
        const std::string drill = R"({"checks":["DRILL_CHECK"],"layer":"drill","status":"passed"})";
        auto list = [](const std::string& rows) {
            return R"({"func":"SET_LAYER_CHECKLIST","paras":{"job":"board","layers":[)" + rows + R"(],"step":"pcb"}})" "\n";
        };
        EXPECT_EQ(checklist(R"(,"layers":["TOP"],"checks":["signal_layer_check","PREPARE_CHECK","PREPARE_CHECK"])"), list(top));
        EXPECT_EQ(checklist(R"(,"layers":["drill"],"checks":["DRILL_CHECK"],"status":"PASSED")"), list(top + "," + drill));

        // A check that does not measure the layer, an unknown check or
        // status, a status with no checklist, a layer not there: refused,
        // the list as it was.
        EXPECT_EQ(checklist(R"(,"layers":["drill","top"],"checks":["SIGNAL_LAYER_CHECK"])"), "ERROR");
        EXPECT_EQ(checklist(R"(,"layers":["top"],"checks":["SPELL_CHECK"])"), "ERROR");
        EXPECT_EQ(checklist(R"(,"layers":["top"],"status":"done")"), "ERROR");
        EXPECT_EQ(checklist(R"(,"layers":["top"],"checks":"DRILL_CHECK")"), "ERROR");
        EXPECT_EQ(checklist(R"(,"layers":["nowhere"],"status":"open")"), "ERROR");
        EXPECT_EQ(checklist(""), list(top + "," + drill));

        // Saved in the layer's attribute list and read back after reopening.
        ASSERT_EQ(call(R"({"func":"SAVE_JOB","paras":{"jobname":"board"}})"), "OK");
        ASSERT_EQ(call(R"({"func":"CLOSE_JOB","paras":{"jobname":"board"}})"), "{\"status\":true}\n");
        std::ifstream attrlist("board/steps/pcb/layers/top/attrlist");
        std::stringstream text;
        text << attrlist.rdbuf();
        EXPECT_NE(text.str().find("checklist=SIGNAL_LAYER_CHECK,PREPARE_CHECK\n"), std::string::npos) << text.str();
        EXPECT_NE(text.str().find("checklist_status=open\n"), std::string::npos) << text.str();
        open_board();
        EXPECT_EQ(checklist(""), list(top + "," + drill));

        // A status change is one undo record; clearing drops the entry.
        const std::string failed = R"({"checks":["SIGNAL_LAYER_CHECK","PREPARE_CHECK"],"layer":"top","status":"failed"})";
        EXPECT_EQ(checklist(R"(,"layers":["top"],"status":"failed")"), list(failed + "," + drill));
        EXPECT_EQ(checklist(R"(,"layers":["drill"],"checks":[])"), list(failed));
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");
        EXPECT_EQ(checklist(""), list(failed + "," + drill));
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"board","stepname":"pcb"}})"), "OK");
        EXPECT_EQ(checklist(""), list(top + "," + drill));
    });
}
