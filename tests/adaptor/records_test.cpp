// The records hosts send (display switches, selection filter, feature
// templates) and the read-modify-write commands that change them.
#include "adaptor/exports.h"
#include "adaptor/records_json.h"
#include "adaptor/reply.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

using namespace KESTO::API;
using kesto::adaptor::parse_request;
using kesto::adaptor::pass;
using kesto::adaptor::error;

namespace {

Json::Value parse(const char* text)
{
    Json::Value root;
    EXPECT_TRUE(parse_request(text, root));
    return root;
}

TEST(Records, FilterCommandsChangeOneValueAndKeepTheRest)
{
    EXPECT_EQ(set_select_param(R"({"paras":{"param":{"featuretypes":3,"symbols":["r10","s20"],"has_symbols":true,"dcode":12}}})"), pass());
    EXPECT_EQ(filter_set_feat_types(R"({"paras":[{"featuretypes":4}]})"), pass());
    EXPECT_EQ(filter_set_atr(R"({"paras":[{"logic":1},{"attributes_value":[".smd",".net=GND"]}]})"), pass());
    select_info f;
    get_select_param(f);
    EXPECT_EQ(f.featuretypes, 4);
    EXPECT_EQ(f.symbols, (std::vector<std::string>{"r10", "s20"}));
    EXPECT_EQ(f.dcode, 12);
    EXPECT_EQ(f.attributes_flag, 1);
    EXPECT_EQ(f.attributes_value.size(), 2u);
    // A failed read changes nothing.
    EXPECT_EQ(filter_set_feat_types(R"({"paras":[{"featuretypes":"pads"}]})"), error());
    get_select_param(f);
    EXPECT_EQ(f.featuretypes, 4);

    const std::string reply = get_select_param(R"({"func":"GET_SELECT_PARAM","paras":{}})");
    const Json::Value root = parse(reply.c_str());
    EXPECT_EQ(root["func"].asString(), "GET_SELECT_PARAM");
    EXPECT_EQ(root["paras"]["param"]["featuretypes"].asInt(), 4);
    EXPECT_EQ(root["paras"]["param"]["symbols"][1].asString(), "s20");
}

TEST(Records, ShowParamMatchesTheDoubledWordOnly)
{
    show_param p;
    read_value(parse(R"({"spacing_preview":true,"Units":1,"chains":true})"), p);
    EXPECT_FALSE(p.spacing_preview);
    EXPECT_EQ(p.Units, 1);
    EXPECT_TRUE(p.chains);
    read_value(parse(R"({"spacing_previewspacing_preview":true,"updata_slot_hist":1})"), p);
    EXPECT_TRUE(p.spacing_preview);
    EXPECT_TRUE(p.updata_slot_hist);
    EXPECT_EQ(p.Units, 1) << "absent members keep their value";
}

TEST(Records, DisplayCommandsShareOneRecordAndSetTheWorkingUnit)
{
    EXPECT_EQ(set_show_para(R"({"paras":{"param":{"Units":0,"negative_data":false}}})"), pass());
    EXPECT_EQ(set_unit(R"({"paras":[{"units":1}]})"), pass());
    EXPECT_EQ(set_negative_data(R"({"paras":[{"mode":1}]})"), pass());
    EXPECT_EQ(set_display_profile(R"({"paras":[{"mode":0}]})"), pass());
    show_param p;
    get_show_para(p);
    EXPECT_EQ(p.Units, 1);
    EXPECT_TRUE(p.negative_data);
    EXPECT_FALSE(p.profile);
    EXPECT_TRUE(working_unit_is_inch());
    EXPECT_DOUBLE_EQ(to_working_unit(25400000), 1.0);
    EXPECT_EQ(from_working_unit(0.5), 12700000);
    EXPECT_EQ(set_unit(R"({"paras":[{"units":0}]})"), pass());
    EXPECT_EQ(from_working_unit(0.5), 500000);
    EXPECT_EQ(get_show_para("not json"), error());
}

TEST(Records, DrawColourIsKeptAsGivenAndSnapAlwaysFails)
{
    EXPECT_EQ(set_draw_color(R"({"paras":{"red":300,"green":-1,"blue":7,"alpha":128}})"), pass());
    const color c = get_draw_color();
    EXPECT_EQ(c.red, 300);
    EXPECT_EQ(c.green, -1);
    EXPECT_EQ(c.alpha, 128);
    EXPECT_EQ(set_snap_features(R"({"paras":[]})"), error());
    EXPECT_EQ(set_snap_features(nullptr), error());
}

TEST(Records, FeatureTemplateTakesOnlyKnownTypeBits)
{
    featureInfo f;
    read_value(parse(R"({"type":3,"X":1.5,"x":9,"attributes":{".smd":"","b":"2"},"CW":"Y"})"), f);
    EXPECT_EQ(f.type, 0);
    EXPECT_DOUBLE_EQ(f.X, 1.5);
    EXPECT_EQ(f.CW, "Y");
    ASSERT_EQ(f.attributes.size(), 2u);
    EXPECT_EQ(f.attributes[1].second, "2");
    read_value(parse(R"({"type":4})"), f);
    EXPECT_EQ(f.type, 4);
    EXPECT_ANY_THROW(read_value(parse(R"({"attributes":{"a":[1]}})"), f));
}

TEST(Records, SelectionOptionsAndRecordsWithOtherCommandsNames)
{
    kesto::test::TempDir dir;
    kesto::test::write_file(dir / "config.json", R"({"log_path":"log"})");
    kesto::test::in_fresh_process(dir.path(), [&] {
        ASSERT_TRUE(init());
        EXPECT_EQ(set_selection(R"({"paras":{"is_clear":true,"sels":1,"inside":0}})"), pass());
        EXPECT_TRUE(get_selection().is_clear);
        EXPECT_EQ(get_selection().sels, 1);
        EXPECT_FALSE(get_selection().inside);
        set_unit(R"({"paras":[{"units":1}]})");
        set_display_profile(R"({"paras":[{"mode":1}]})");
        const std::string info = kesto::test::read_logs(dir / "log", "INFO_");
        EXPECT_NE(info.find("Begin set_units"), std::string::npos);
        EXPECT_EQ(info.find("Begin set_unit\n"), std::string::npos);
        EXPECT_NE(info.find("End set_display_text"), std::string::npos);
        EXPECT_EQ(info.find("set_display_profile"), std::string::npos);
    });
}

} // namespace
