// Identifying, translating and exporting files through process, as a host
// sends it, on the project's demonstration board.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

using namespace kesto::test;
namespace fs = boost::filesystem;

namespace {

const std::string kBoard = std::string(KESTO_SOURCE_DIR) + "/examples/board/";

void new_job()
{
    ASSERT_EQ(call(R"({"func":"CREATE_JOB","paras":{"path":"","job":"b"}})"), "OK");
    ASSERT_EQ(call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})"), "OK");
}

Json::Value translate(const std::string& path, const std::string& layer)
{
    return json_of(call(R"({"func":"FILE_TRANSLATE","paras":{"path":")" + path +
                        R"(","job":"b","step":"pcb","layer":")" + layer + R"(","parameters":{"format":"None"}}})"));
}

int feature_count(const std::string& layer)
{
    const Json::Value reply = json_of(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"b"},
        {"stepName":"pcb"},{"layerName":")" + layer + R"("}]})"));
    return std::stoi(reply["featureNum"].asString());
}

Json::Value drill_tools(const std::string& layer)
{
    return json_of(call(R"({"func":"GET_DRILL_INFO","paras":{"jobname":"b","stepname":"pcb","layername":")" + layer +
                        R"("}})"))["paras"]["vecDrillTools"];
}

} // namespace

TEST(ExchangeCommands, IdentifyAnswersTheParametersInTheirOrder)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        const std::string reply = call(R"({"func":"FILE_IDENTIFY","paras":{"pathname":")" + kBoard + R"(demo-top.gbr"}})");
        const std::string head = R"({"func":"FILE_IDENTIFY","paras":{"format":"Gerber274x","name":"demo-top.gbr","file_size":)";
        ASSERT_EQ(reply.substr(0, head.size()), head) << reply;
        const std::string parameters = reply.substr(reply.find("\"parameters\""));
        const std::string first = R"("parameters":{"format":"Gerber274x","data_type":"image_x2","units":"mm","Coordinates":"absolute","Decimal_numbers":false,)";
        EXPECT_EQ(parameters.substr(0, first.size()), first) << reply;
        size_t at = 0;
        for (const char* key : {"zeroes_omitted", "Number_format_integer", "Number_format_decimal", "separator_char",
                                "tool_units", "text_line_width"}) {
            const size_t next = parameters.find(std::string("\"") + key + "\"");
            ASSERT_NE(next, std::string::npos) << key;
            EXPECT_GT(next, at) << key << " out of order in " << parameters;
            at = next;
        }
        EXPECT_NE(parameters.find(R"("Number_format_integer":4,"Number_format_decimal":6)"), std::string::npos);

        const Json::Value drill = json_of(call(R"({"func":"FILE_IDENTIFY","paras":{"pathname":")" + kBoard + R"(demo-drill.drl"}})"));
        EXPECT_EQ(drill["paras"]["format"].asString(), "Excellon");
        EXPECT_EQ(drill["paras"]["parameters"]["zeroes_omitted"].asString(), "trailing"); // LZ keeps leading zeros

        const Json::Value missing = json_of(call(R"({"func":"FILE_IDENTIFY","paras":{"pathname":"no/such/file"}})"));
        EXPECT_EQ(missing["paras"]["format"].asString(), "None");
        EXPECT_EQ(call(R"({"func":"FILE_IDENTIFY","paras":{"pathname":[7]}})"), "ERROR");
    });
}

TEST(ExchangeCommands, BoardTravelsOutAndBackWhole)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        new_job();
        EXPECT_EQ(call(R"({"func":"FILE_TRANSLATE_INIT","paras":{"jobname":"b"}})"), "OK");
        const Json::Value top = translate(kBoard + "demo-top.gbr", "top");
        EXPECT_TRUE(top["paras"]["result"].asBool()) << top;
        EXPECT_TRUE(top["paras"]["reports"].empty()) << top;
        EXPECT_TRUE(top["paras"]["start_time"].isMember("iSecond"));
        EXPECT_EQ(top["paras"]["assigned_dcodes"].size(), 7u) << top; // D10..D16 of the top side
        EXPECT_TRUE(translate(kBoard + "demo-bottom.gbr", "bottom")["paras"]["result"].asBool());
        EXPECT_TRUE(translate(kBoard + "demo-drill.drl", "drill")["paras"]["result"].asBool());

        const Json::Value tools = drill_tools("drill");
        ASSERT_EQ(tools.size(), 4u) << tools;
        int holes = 0;
        for (const Json::Value& t : tools) {
            EXPECT_EQ(t.size(), 10u) << t;
            holes += t["iToolCount"].asInt();
        }
        EXPECT_EQ(holes, 4 + 8 + 6 + 4);
        EXPECT_EQ(tools[3]["iHoleSize"].asInt(), 3200000);
        EXPECT_EQ(tools[3]["eToolType"].asInt(), 1); // the mounting holes are not plated

        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"step":"pcb","layer":"top","filename":"top.gbr","type":0,
                          "unit":"mm","numberFormatL":4,"numberFormatR":6}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"bottom","filename":"bot.gbr",
                          "type":0,"unit":1}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"DRILL2FILE","paras":{"job":"b","step":"pcb","layer":"drill","path":"d.drl",
                          "isMetric":true,"zeroes":"none","number_format_l":3,"number_format_r":3}})"),
                  "{\"func\":\"DRILL2FILE\",\"paras\":{\"result\":true}}\n");
        EXPECT_TRUE(translate("top.gbr", "top2")["paras"]["result"].asBool());
        EXPECT_TRUE(translate("bot.gbr", "bottom2")["paras"]["result"].asBool());
        EXPECT_TRUE(translate("d.drl", "drill2")["paras"]["result"].asBool());
        EXPECT_EQ(feature_count("top2"), feature_count("top"));
        EXPECT_EQ(feature_count("bottom2"), feature_count("bottom"));
        EXPECT_EQ(drill_tools("drill2"), tools);
    });
}

TEST(ExchangeCommands, DrillTableTakesEverythingButTheViaType)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        new_job();
        translate(kBoard + "demo-drill.drl", "drill");
        Json::Value tools = drill_tools("drill");
        ASSERT_EQ(tools.size(), 4u);
        tools[1]["iHoleSize"] = 900000;
        tools[1]["eViaType"] = 2;
        tools[0]["eToolType"] = 2;
        Json::Value request;
        request["func"] = "SET_DRILL_INFO";
        request["paras"]["jobname"] = "b";
        request["paras"]["stepname"] = "pcb";
        request["paras"]["layername"] = "drill";
        request["paras"]["vecDrillTools"] = tools;
        EXPECT_EQ(call(Json::FastWriter().write(request)), "OK");
        const Json::Value after = drill_tools("drill");
        EXPECT_EQ(after[1]["iHoleSize"].asInt(), 900000);
        EXPECT_EQ(after[1]["iToolCount"].asInt(), 8) << "the holes follow their tool to the new size";
        EXPECT_EQ(after[1]["eViaType"].asInt(), 0);
        EXPECT_EQ(after[0]["eToolType"].asInt(), 2);
        EXPECT_EQ(after[0]["iToolCount"].asInt(), 4);

        tools[2]["eToolType"] = 7;
        request["paras"]["vecDrillTools"] = tools;
        EXPECT_EQ(call(Json::FastWriter().write(request)), "ERROR");
        EXPECT_EQ(drill_tools("drill")[2]["eToolType"].asInt(), 0) << "a refused table changes nothing";
    });
}

TEST(ExchangeCommands, RefusalsAreErrorsAndWriteNothing)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        new_job();
        translate(kBoard + "demo-top.gbr", "top");
        // What the export does not do is refused, not silently skipped.
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"m.gbr","profiletop":true}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"m.gbr","cutprofile":true}})"),
                  "ERROR") << "the step has no profile to cut to";
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"m.gbr",
                          "scale":true,"scalingX":0}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"m.gbr",
                          "cut_polygon":[["corner"],{"ix":1}]}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"m.gbr","type":5}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"nope","filename":"m.gbr"}})"),
                  "ERROR");
        EXPECT_FALSE(fs::exists("m.gbr"));
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"no/dir/m.gbr"}})"),
                  "ERROR");

        write_file("junk.gbr", std::string("\x01\x02\x00\x7f binary", 10));
        const Json::Value junk = translate("junk.gbr", "junk");
        EXPECT_FALSE(junk["paras"]["result"].asBool());
        ASSERT_FALSE(junk["paras"]["reports"].empty());
        EXPECT_EQ(junk["paras"]["reports"][0]["message"].asString(), "not a Gerber or Excellon file");
        write_file("broken.gbr", "%FSLAX24Y24*%\n%MOIN*%\n%ADD10C,0.01*%\nD10*\nX100Y100D03*\nD99*\nX200Y200D03*\n");
        const Json::Value broken = translate("broken.gbr", "broken");
        EXPECT_FALSE(broken["paras"]["reports"].empty()) << broken;
        EXPECT_GE(feature_count("broken"), 1) << "what could be read is kept";

        for (const char* func : {"SAVE_EPS", "ADD_GDS"})
            EXPECT_EQ(call(std::string(R"({"func":")") + func + R"(","paras":{"job":"b","path":"x.eps"}})"), "ERROR")
                << func;
        EXPECT_NE(read_logs("log", "ERROR").find("EPS files are not written by this engine"), std::string::npos);
        EXPECT_EQ(call(R"({"func":"GET_DRILL_SHOWTYPE","paras":{"jobname":"b","stepname":"pcb","layername":"nope"}})"),
                  "ERROR");
    });
}

TEST(ExchangeCommands, DrillFileFollowsTheHostsToolOrder)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        new_job();
        translate(kBoard + "demo-drill.drl", "drill");
        // The tool table of the written file, as "size:holes" in file order.
        auto written = [](const std::string& order) {
            const std::string reply = call(R"({"func":"DRILL2FILE","paras":{"job":"b","step":"pcb","layer":"drill",
                "path":"o.drl","isMetric":true,"number_format_l":3,"number_format_r":3,"tools_order":)" + order + "}}");
            std::string table;
            if (json_of(reply)["paras"]["result"].asBool()) {
                const std::string text = read_file("o.drl");
                for (size_t at = text.find("\nT"); at != std::string::npos && at < text.find('%'); at = text.find("\nT", at + 1))
                    table += text.substr(text.find('C', at) + 1, text.find('\n', at + 1) - text.find('C', at) - 1) + " ";
                const std::string body = text.substr(text.find('%'));
                for (const char* tool : {"\nT1\n", "\nT2\n", "\nT3\n", "\nT4\n"})
                    EXPECT_NE(body.find(tool), std::string::npos) << tool << " has no hits in\n" << text;
            }
            return table;
        };
        EXPECT_EQ(written("null"), "0.300 0.800 1.000 3.200 ");
        EXPECT_EQ(written("[4,2]"), "3.200 0.800 0.300 1.000 ");
        EXPECT_EQ(written(R"("descending")"), "3.200 1.000 0.800 0.300 ");
        EXPECT_EQ(written("[3,3,1]"), "1.000 0.300 0.800 3.200 ") << "a tool named twice is drilled once";

        EXPECT_EQ(written("[9]"), "") << "a number naming no tool is a failure";
        EXPECT_NE(read_logs("log", "").find("tool order names tool 9"), std::string::npos);
        EXPECT_EQ(call(R"({"func":"DRILL2FILE","paras":{"job":"b","step":"pcb","layer":"drill","path":"o.drl",
                          "tools_order":"by colour"}})"),
                  "ERROR");
    });
}

TEST(ExchangeCommands, ExportsAreShapedOnTheWayOut)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        new_job();
        translate(kBoard + "demo-top.gbr", "top");
        // Mirrored about x = 25 (the board is 50 mm wide), then read back and mirrored again: the same copper.
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"m.gbr",
                          "mirror":true,"mirrorpointX":25,"mirrorpointY":0}})"),
                  "OK");
        translate("m.gbr", "mirrored");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"mirrored","filename":"mm.gbr",
                          "mirror":true,"mirrorpointX":25,"mirrorpointY":0}})"),
                  "OK");
        translate("mm.gbr", "twice");
        EXPECT_NE(read_file("m.gbr"), read_file("mm.gbr"));
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"twice","filename":"back.gbr"}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"top.gbr"}})"), "OK");
        const std::string once = read_file("top.gbr"), back = read_file("back.gbr");
        EXPECT_EQ(once.substr(once.find("%FS")), back.substr(back.find("%FS"))) << "mirrored twice is the layer itself";

        // A window cut out of the board, and the board written negative.
        EXPECT_EQ(call(R"({"func":"LAYER_EXPORT","paras":{"job":"b","step":"pcb","layer":"top","filename":"cut.gbr",
                          "cut_polygon":[[{"ix":0,"iy":0},{"ix":20000000,"iy":0},{"ix":20000000,"iy":20000000},
                          {"ix":0,"iy":20000000}]],"isReverse":true}})"),
                  "OK");
        EXPECT_TRUE(translate("cut.gbr", "cut")["paras"]["result"].asBool());
        EXPECT_GT(feature_count("cut"), 1);
        EXPECT_LT(feature_count("cut"), feature_count("top"));
        EXPECT_NE(read_file("cut.gbr").find("%LPC*%"), std::string::npos) << "the features clear the exposed window";
    });
}
