// A host builds a small board from nothing, selects by filter and by polygon,
// edits the selection, saves, and reads the saved job back.
#include "orig/jobs_host.h"

#include <gtest/gtest.h>

using namespace kesto::test;

namespace {

// The selected features of a layer, as GET_SELECTED_FEATURE_INFOS describes them.
Json::Value selected(const std::string& layer)
{
    return json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":"board","stepname":"pcb","layername":")" +
                        layer + R"("}})"))["paras"]["featureInfos"];
}

void select_all(const std::string& layer)
{
    call(R"({"func":"FILTER_SET_FEAT_TYPES","paras":[{"featuretypes":127}]})");
    call(R"({"func":"SELECT_FEATURES_BY_FILTER","paras":[{"job":"board","step":"pcb","layer":")" + layer + R"("}]})");
}

void clear(const std::string& layer)
{
    call(R"({"func":"CLEAR_SELECTED_FEATURES","paras":{"job":"board","step":"pcb","layer":")" + layer + R"("}})");
}

TEST(BuildBoard, AddSelectEditSaveAndReadBack)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})"), "OK");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"pcb","layer":"top","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"pcb","layer":"bot","index":2}})");

        // Three 0.5 mm pads in a row and a 0.2 mm track through them, on top.
        for (int x : {1, 3, 5})
            EXPECT_EQ(call(R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","layer":"top","symbol":"r500"},
                {"location_x":)" + std::to_string(x) + R"(,"location_y":1,"polarity":0,"dcode":0,"orient":0},
                {"layers":["top"]},{"attributes":{".smd":""}}]})"),
                      "OK");
        EXPECT_EQ(call(R"({"func":"ADD_LINE","paras":[{"job":"board","step":"pcb","layer":"top","symbol":"r200",
            "start_x":1,"start_y":1,"end_x":5,"end_y":1,"polarity":0,"dcode":0,"layers":["top"],
            "attributes":[".net=GND"]}]})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"ADD_LINE","paras":[{"job":"board","step":"pcb","symbol":"r200",
            "start_x":"1","layers":["top"]}]})"),
                  "ERROR")
            << "a coordinate given as text";

        // The pads by filter, moved up 1 mm (offsets are nanometres).
        call(R"({"func":"FILTER_SET_FEAT_TYPES","paras":[{"featuretypes":2}]})");
        call(R"({"func":"SELECT_FEATURES_BY_FILTER","paras":[{"job":"board","step":"pcb","layer":"top"}]})");
        ASSERT_EQ(selected("top").size(), 3u);
        EXPECT_EQ(call(R"({"func":"SEL_MOVE","paras":[{"job":"board"},{"step":"pcb"},{"layers":["top"]},
            {"offset_x":0},{"offset_y":1000000}]})"),
                  "OK");
        for (const Json::Value& pad : selected("top")) EXPECT_DOUBLE_EQ(pad["YS"].asDouble(), 2.0);

        // A box around the middle pad picks it alone; turned 45 degrees, then copied mirrored to bot.
        clear("top");
        call(R"({"func":"SELECT_FEATURES_BY_POLYGON","paras":{"job":"board","step":"pcb","layer":"top",
            "selectpolygon":[{"ix":2500000,"iy":1500000},{"ix":3500000,"iy":1500000},{"ix":3500000,"iy":2500000},
                             {"ix":2500000,"iy":2500000}]}})");
        Json::Value picked = selected("top");
        ASSERT_EQ(picked.size(), 1u);
        EXPECT_DOUBLE_EQ(picked[0]["XS"].asDouble(), 3.0);
        EXPECT_EQ(picked[0]["attributes"][".smd"].asString(), "");
        call(R"({"func":"SEL_TRANSFORM","paras":[{"job":"board","step":"pcb","layer":"top","mode":1,"rotate":true,
            "angle":45,"point_x":3,"point_y":2}]})");
        EXPECT_DOUBLE_EQ(selected("top")[0]["angle"].asDouble(), 45);
        call(R"({"func":"SEL_COPY_OTHER","paras":[{"src_job":"board","src_step":"pcb","src_layers":["top"],
            "dst_layers":["bot"],"mirror":true,"x_anchor":0,"y_anchor":0,"offset_x":10000000,"offset_y":0}]})");

        // The track by a click on it (every type passes the filter again), made negative.
        clear("top");
        call(R"({"func":"FILTER_SET_FEAT_TYPES","paras":[{"featuretypes":127}]})");
        call(R"({"func":"SELECT_MULTI_FEATURES","paras":{"job":"board","step":"pcb","layer":"top","margin":0.05,
            "selectpolygon":[{"ix":2000000,"iy":1000000}]}})");
        picked = selected("top");
        ASSERT_EQ(picked.size(), 1u);
        EXPECT_EQ(picked[0]["type"].asInt(), 1);
        EXPECT_EQ(call(R"({"func":"SEL_POLARITY","paras":[{"job":"board","step":"pcb","layers":["top"],"polarity":1}]})"),
                  "OK");
        EXPECT_EQ(selected("top")[0]["polarity"].asString(), "negative");

        // Saved, closed and opened again: the same features at the same places.
        EXPECT_EQ(call(R"({"func":"JOB_SAVE","paras":[{"job":"board"}]})"), "OK");
        call(R"({"func":"CLOSE_JOB","paras":{"jobname":"board"}})");
        call(R"({"func":"OPEN_JOB","paras":[{"path":"./jobs"},{"job":"board"}]})");
        select_all("top");
        select_all("bot");
        const Json::Value top = selected("top");
        ASSERT_EQ(top.size(), 4u);
        EXPECT_DOUBLE_EQ(top[0]["XS"].asDouble(), 1.0);
        EXPECT_DOUBLE_EQ(top[0]["YS"].asDouble(), 2.0);
        EXPECT_DOUBLE_EQ(top[1]["angle"].asDouble(), 45);
        EXPECT_EQ(top[3]["polarity"].asString(), "negative");
        EXPECT_EQ(top[3]["attributes"][".net"].asString(), "GND");
        EXPECT_DOUBLE_EQ(top[3]["XE"].asDouble(), 5.0);
        const Json::Value bot = selected("bot");
        ASSERT_EQ(bot.size(), 1u);
        // Mirrored about x = 0 and moved 10 mm right: x = -3 + 10.
        EXPECT_DOUBLE_EQ(bot[0]["XS"].asDouble(), 7.0);
        EXPECT_DOUBLE_EQ(bot[0]["YS"].asDouble(), 2.0);
        EXPECT_TRUE(bot[0]["mirror"].asBool());
        EXPECT_EQ(bot[0]["symbolname"].asString(), "r500");
    });
}

TEST(BuildBoard, EditsOfNothingOrUnknownNamesChangeNothing)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"pcb","layer":"top","index":1}})");
        call(R"({"func":"ADD_PAD","paras":[{"job":"board","step":"pcb","symbol":"s1000","location_x":1,"location_y":1,
            "layers":["top"]}]})");
        EXPECT_EQ(call(R"({"func":"SEL_MOVE","paras":[{"job":"board","step":"pcb","layers":["top"],"offset_x":5}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"SEL_DELETE","paras":[{"job":"board","step":"pcb","layers":["nosuch"]}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"SEL_MOVE","paras":[{"job":"nojob","step":"pcb","layers":["top"],"offset_x":5}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"SEL_MOVE","paras":{"job":"board"}})"), "ERROR") << "paras as an object";
        select_all("top");
        const Json::Value top = selected("top");
        ASSERT_EQ(top.size(), 1u);
        EXPECT_DOUBLE_EQ(top[0]["XS"].asDouble(), 1.0);
        EXPECT_EQ(call(R"({"func":"IS_SELECTED","paras":{"job":"board","step":"pcb","layer":"top"}})"),
                  "{\"result\":true}\n");
    });
}

} // namespace
