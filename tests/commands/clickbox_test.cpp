// Edits of features picked on the canvas, as a host sends them.
#include "orig/jobs_host.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace kesto::test;

namespace {

Json::Value all_of(const std::string& layer)
{
    call(R"({"func":"FILTER_SET_FEAT_TYPES","paras":[{"featuretypes":127}]})");
    call(R"({"func":"SELECT_FEATURES_BY_FILTER","paras":[{"job":"b","step":"pcb","layer":")" + layer + R"("}]})");
    const Json::Value features =
        json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"b","stepname":"pcb","layername":")" +
                     layer + R"("}})"))["paras"]["featureInfos"];
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{"job":"b","step":"pcb","layer":")" + layer + R"("}})");
    return features;
}

std::string ends(const Json::Value& line)
{
    auto n = [](const Json::Value& v) { return std::to_string(static_cast<int>(std::lround(v.asDouble() * 10))); };
    return n(line["XS"]) + "," + n(line["YS"]) + "-" + n(line["XE"]) + "," + n(line["YE"]);
}

TEST(ClickBox, BreakRerouteMoveStretchInvertDelete)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","step":"pcb","layer":"top","index":1}})");
        call(R"({"func":"ADD_LINE","paras":[{"job":"b","step":"pcb","symbol":"r200","start_x":0,"start_y":0,
            "end_x":10,"end_y":0,"layers":["top"],"attributes":{".net":"A"}}]})");

        // Clicked at 5 mm, broken where 3 mm and 7 mm fall on it (units of 0.1 mm below).
        EXPECT_EQ(call(R"({"func":"BREAK_FEATURE","paras":[{"job":"b","step":"pcb","layer":"top",
            "points":[{"ix":5000000,"iy":0},{"ix":3000000,"iy":0},{"ix":7000000,"iy":100000}]}]})"),
                  "OK");
        Json::Value lines = all_of("top");
        ASSERT_EQ(lines.size(), 3u);
        EXPECT_EQ(ends(lines[0]) + " " + ends(lines[1]) + " " + ends(lines[2]), "0,0-30,0 30,0-70,0 70,0-100,0");
        EXPECT_EQ(lines[2]["attributes"][".net"].asString(), "A");

        // The middle piece rerouted over (5, 2).
        call(R"({"func":"REROUTE_TRACE","paras":[{"job":"b","step":"pcb","layer":"top",
            "points":[{"ix":5000000,"iy":0},{"ix":5000000,"iy":2000000}]}]})");
        lines = all_of("top");
        ASSERT_EQ(lines.size(), 4u);
        EXPECT_EQ(ends(lines[1]) + " " + ends(lines[2]), "30,0-50,20 50,20-70,0");

        // The joint at (3, 0) moved up 1 mm: both lines meeting there follow.
        call(R"({"func":"MOVE_TRIPLET","paras":[{"job":"b","step":"pcb","layer":"top",
            "points":[{"ix":3000000,"iy":0},{"ix":3000000,"iy":1000000}]}]})");
        lines = all_of("top");
        EXPECT_EQ(ends(lines[0]) + " " + ends(lines[1]), "0,0-30,10 30,10-50,20");

        call(R"({"func":"STRECH_FEATURE","paras":[{"job":"b","step":"pcb","layer":"top","feature_index":3,
            "start_x":7,"start_y":0,"end_x":12,"end_y":0}]})");
        call(R"({"func":"INVERT_FEATURE","paras":[{"job":"b","step":"pcb","layers":["top"],"featureindex":0}]})");
        lines = all_of("top");
        EXPECT_EQ(ends(lines[3]), "70,0-120,0");
        EXPECT_EQ(lines[0]["polarity"].asString(), "negative");

        // A box that holds only the rerouted corner's two lines deletes them.
        call(R"({"func":"DELETE_FEATURE","paras":[{"job":"b","step":"pcb","layers":["top"],
            "clickbox":[{"ix":2500000,"iy":500000},{"ix":7500000,"iy":2500000}]}]})");
        EXPECT_EQ(all_of("top").size(), 3u) << "lines reaching outside the box stay";
        call(R"({"func":"DELETE_FEATURE","paras":[{"job":"b","step":"pcb","layers":["top"],
            "clickbox":[{"ix":2500000,"iy":-500000},{"ix":7500000,"iy":2500000}]}]})");
        EXPECT_EQ(all_of("top").size(), 2u);
        EXPECT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"b","stepname":"pcb"}})"), "OK");
        EXPECT_EQ(all_of("top").size(), 3u) << "undo puts back what the last delete took";

        // Exported only, not in the command tables.
        const Json::Value widths = json_of(get_min_line_width(R"({"paras":[{"job":"b"}]})"));
        EXPECT_DOUBLE_EQ(widths["paras"]["layers"]["top"].asDouble(), 0.2);
        EXPECT_EQ(call(R"({"func":"BREAK_FEATURE","paras":[{"job":"b","step":"pcb","layer":"top",
            "points":[{"ix":99000000,"iy":0}]}]})"),
                  "OK")
            << "nothing under the click: nothing changes, as the host expects";
    });
}

TEST(ClickBox, SelectFeatureByClickOrArea)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","step":"pcb","layer":"top","index":1}})");
        for (int i = 0; i < 2; ++i)
            call(R"({"func":"ADD_PAD","paras":[{"job":"b","step":"pcb","symbol":"r1000","location_x":1,"location_y":1,
                "layers":["top"]}]})");
        call(R"({"func":"SELECT_FEATURE","paras":[{"job":"b","step":"pcb","layer":"top","type":0,
            "selectpolygon":[{"ix":1000000,"iy":1000000}]}]})");
        const Json::Value one = json_of(call(
            R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"b","stepname":"pcb","layername":"top"}})"));
        ASSERT_EQ(one["paras"]["featureInfos"].size(), 1u);
        EXPECT_EQ(one["paras"]["featureInfos"][0]["feature_index"].asInt(), 1) << "the topmost";
        call(R"({"func":"SELECT_FEATURE","paras":[{"job":"b","step":"pcb","layer":"top","type":1,"clear":true,
            "selectpolygon":[{"ix":1000000,"iy":1000000}]}]})");
        EXPECT_EQ(json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"b","stepname":"pcb",
            "layername":"top"}})"))["paras"]["featureInfos"].size(),
                  2u);
    });
}

} // namespace
