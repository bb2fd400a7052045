// The first table's resizing and reshaping commands, as a host sends them.
#include "orig/jobs_host.h"

#include <cmath>

using namespace kesto::test;

namespace {

const std::string kWhere = R"({"job":"board"},{"step":"pcb"},{"layers":["top"]})";

void board_with(const std::vector<std::string>& adds)
{
    start_library();
    call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
    call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","layer":"top","index":1}})");
    for (const std::string& add : adds) ASSERT_EQ(call(add), "OK") << add;
}

std::string first(const char* func, const std::string& paras)
{
    return call(std::string(R"({"func":")") + func + R"(","paras":[)" + paras + "]}");
}

// Nothing is selected yet: the inverse selection is every feature.
void select_all() { first("COUNTER_ELECTION", R"({"job":"board","step":"pcb","layer":"top"})"); }

// The selected features as the host reads them.
Json::Value selected()
{
    return json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board","stepname":"pcb",
                          "layername":"top"}})"))["paras"]["featureInfos"];
}

const char* kPad = R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","layer":"top","layers":["top"],"symbol":"r10",
                      "location_x":1,"location_y":2}]})";
const char* kLine = R"({"func":"ADD_LINE","paras":[{"job":"board","step":"pcb","layer":"top","layers":["top"],"symbol":"r10",
                       "start_x":0,"start_y":0,"end_x":2,"end_y":0}]})";

} // namespace

TEST(SelEditReshape, GlobalResizeReadsItsKeysBetweenItsParseRecords)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with({kPad, kLine});
        select_all();
        EXPECT_EQ(first("GLOBAL_RESIZE", kWhere + R"(,{"sel_type":0},{"size":0.0508},{"corner":0})"), "OK");
        const Json::Value f = selected();
        ASSERT_EQ(f.size(), 2u);
        EXPECT_EQ(f[0]["symbolname"].asString(), "r60.8");
        EXPECT_EQ(f[1]["symbolname"].asString(), "r60.8");
        EXPECT_NEAR(f[0]["xsize"].asDouble(), 0.0608, 1e-5);
        EXPECT_NEAR(f[1]["xsize"].asDouble(), 2.0608, 1e-5);
        const std::string log = read_logs("log", "INFO_");
        const size_t begin = log.find("Begin resize_global\n"), parse = log.find("begin resize_global parse\n"),
                     parsed = log.find("end resize_global parse\n"), end = log.find("End resize_global\n");
        ASSERT_NE(end, std::string::npos);
        EXPECT_LT(begin, parse);
        EXPECT_LT(parse, parsed);
        EXPECT_LT(parsed, end);

        // A size that is not a number changes nothing and answers the error text.
        EXPECT_EQ(first("GLOBAL_RESIZE", kWhere + R"(,{"size":"big"})"), "ERROR");
        EXPECT_EQ(selected()[0]["symbolname"].asString(), "r60.8");
        // Unknown jobs and layers: the pass text, nothing changed.
        EXPECT_EQ(first("GLOBAL_RESIZE", R"({"job":"none"},{"step":"pcb"},{"layers":["top"]},{"size":1})"), "OK");
        EXPECT_EQ(first("GLOBAL_RESIZE", R"({"job":"board"},{"step":"pcb"},{"layers":["nope"]},{"size":1})"), "OK");
        EXPECT_EQ(selected()[1]["symbolname"].asString(), "r60.8");
    });
}

TEST(SelEditReshape, LinesToPadsAndBackThroughTheCommands)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with({kLine});
        select_all();
        EXPECT_EQ(first("LINE2PAD", kWhere + R"(,{"sel_type":0})"), "OK");
        Json::Value f = selected();
        ASSERT_EQ(f.size(), 1u);
        EXPECT_EQ(f[0]["type"].asInt(), 2);
        EXPECT_EQ(f[0]["symbolname"].asString(), "oval2010x10");
        EXPECT_EQ(first("PAD2LINE", kWhere), "OK");
        f = selected();
        EXPECT_EQ(f[0]["type"].asInt(), 1);
        EXPECT_NEAR(f[0]["XE"].asDouble(), 2, 1e-6);
        EXPECT_EQ(first("INTERSECT", R"({"job":"board"},{"step":"pcb"},{"layer":"top"},{"connect_type":0})"), "OK");
        EXPECT_EQ(first("ARC2LINES", kWhere + R"(,{"radius":0.01},{"sel_type":1})"), "OK");
        EXPECT_EQ(selected().size(), 1u);
    });
}

TEST(SelEditReshape, ContourizeBreakAndOutlineCommands)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with({kPad, R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","layer":"top","layers":["top"],"symbol":"s40",
                              "location_x":1.01,"location_y":2}]})"});
        select_all();
        EXPECT_EQ(first("CONTOURIZE", kWhere + R"(,{"accuracy":0},{"separate_to_islands":true},{"size":0},{"mode":0})"),
                  "OK");
        Json::Value f = selected();
        ASSERT_EQ(f.size(), 1u);
        EXPECT_EQ(f[0]["type"].asInt(), 8);
        EXPECT_EQ(first("SURFACE2OUTLINE", kWhere + R"(,{"width":0.1})"), "OK");
        f = selected();
        ASSERT_EQ(f.size(), 4u) << "the round pad lies inside the square: one square outline";
        const double side = std::fabs(f[0]["XE"].asDouble() - f[0]["XS"].asDouble()) +
                            std::fabs(f[0]["YE"].asDouble() - f[0]["YS"].asDouble());
        EXPECT_NEAR(side, 0.04, 1e-6);
        EXPECT_EQ(f[0]["symbolname"].asString(), "r100");
        EXPECT_EQ(first("SYMBOL_CHANGE", kWhere + R"(,{"symbol_name":"r5"},{"pad_angle":0})"), "OK");
        EXPECT_EQ(selected()[0]["symbolname"].asString(), "r5");
        EXPECT_EQ(first("SEL_BREAK", kWhere + R"(,{"sel_type":0})"), "OK");
        EXPECT_EQ(first("SEL_SUBSTITUTE", kWhere + R"(,{"symbol_name":"r10"},{"mode":0})"), "OK");
    });
}

TEST(SelEditReshape, TextChangeLogsWhenNoTextChanged)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        board_with({kPad});
        select_all();
        EXPECT_EQ(first("TEXT_CHANGE", kWhere + R"(,{"text":"X"},{"x_size":1000000})"), "OK");
        EXPECT_NE(read_logs("log", "ERROR_").find("Change_text error"), std::string::npos);
        EXPECT_EQ(first("CONTOURIZE", kWhere), "OK");
        EXPECT_EQ(first("SEL_FILL", kWhere + R"(,{"type":0},{"solid_type":0},{"min_brush":0.002})"), "OK");
        const Json::Value strokes = selected();
        ASSERT_GE(strokes.size(), 4u);
        EXPECT_EQ(strokes[0]["symbolname"].asString(), "r2");

        // The strokes back to a surface, then a pattern of s2 pads edge to edge over it.
        EXPECT_EQ(first("CONTOURIZE", kWhere), "OK");
        EXPECT_EQ(first("SEL_FILL", kWhere + R"(,{"type":1},{"symbol_name":"s2"},{"origin_type":1})"), "OK");
        const Json::Value pads = selected();
        ASSERT_GE(pads.size(), 4u);
        for (const Json::Value& pad : pads) EXPECT_EQ(pad["symbolname"].asString(), "s2");
    });
}
