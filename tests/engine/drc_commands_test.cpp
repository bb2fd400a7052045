// The drill check and the analysis-cache commands as a host drives them,
// on a hand-built job held open in the engine.
#include "drc_jobs.h"

#include "adaptor/exports.h"
#include "checks/common_cache.h"
#include "checks/ranges.h"
#include "engine/api/analysis.h"
#include "engine/config/configuration.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>
#include <json/json.h>

using namespace kesto;
using kesto::test::JobBuilder;
namespace api = KESTO::API;

namespace {

// A drill layer with a duplicate pair, a touching pair and three close pairs.
void open_board()
{
    JobBuilder b("board");
    Layer& drill = b.layer("drill", "DRILL");
    const int r300 = JobBuilder::round(drill, 300);
    JobBuilder::pad(drill, r300, 0, 0);
    JobBuilder::pad(drill, r300, 0, 0);
    JobBuilder::pad(drill, r300, 3000, 0);
    JobBuilder::pad(drill, r300, 3250, 0);
    for (int i = 0; i < 3; ++i) {
        JobBuilder::pad(drill, r300, 6000 + i * 2000, 0);
        JobBuilder::pad(drill, r300, 6000 + i * 2000, 350 + i * 50); // webs 50, 100, 150 um
    }
    store::add_job(b.job);
}

const char kCheck[] =
    R"({"func":"DRILL_CHECK","paras":[{"job":"board","step":"pcb","layers":["drill"]},)"
    R"({"hole_size":true,"hole_seperation":true,"use_pth":true,"use_npth":true,"use_via":true,)"
    R"("ranges":{"rangesList":[{"name":"Close Holes","RedLv":60.9,"YellowLv":120,"GreenLv":200}]}}]})";

Json::Value parse(const char* text)
{
    Json::Value v;
    EXPECT_TRUE(Json::Reader().parse(text, v)) << text;
    return v;
}

std::string error_text() { return KESTO::configuration_instance::instance().get_gmsg_error(); }
std::string pass_text() { return KESTO::configuration_instance::instance().get_gmsg_pass(); }

class DrcCommands : public ::testing::Test {
protected:
    static void SetUpTestSuite()
    {
        init_func_map();
        init_orig_func_map();
        open_board();
    }
};

} // namespace

TEST_F(DrcCommands, DrillCheckReportsThenPagesTheSameRunByUuid)
{
    const Json::Value report = parse(process(kCheck));
    EXPECT_EQ(report["analysis_type"].asString(), "drill");
    const std::string uuid = report["analysis_uuid"].asString();
    ASSERT_FALSE(uuid.empty());
    EXPECT_EQ(uuid, api::latest_analysis_uuid("board", "pcb", 2));
    ASSERT_EQ(report["analysis_result"].size(), 1u);
    std::map<std::string, Json::Value> items;
    for (const auto& item : report["analysis_result"][0]["result"]) items[item["check_item"].asString()] = item;
    ASSERT_TRUE(items.count("Close Holes"));
    // Webs of 50, 100 and 150 um against red 60, yellow 120, green 200.
    EXPECT_EQ(items["Close Holes"]["lv1count"].asUInt(), 1u);
    EXPECT_EQ(items["Close Holes"]["lv2count"].asUInt(), 1u);
    EXPECT_EQ(items["Close Holes"]["lv3count"].asUInt(), 1u);
    EXPECT_EQ(items["Close Holes"]["lv1features"][0]["values"][4].asInt(), 50000);
    EXPECT_EQ(items["Duplicate Holes"]["lv1count"].asUInt(), 1u);
    EXPECT_EQ(items["Touching Holes"]["lv1count"].asUInt(), 1u);
    EXPECT_EQ(items["PTH Summary"]["lv4features"][0]["values"].size(), 6u);

    // The cache holds the same result.
    const auto cached = KESTO::Cache::common_cache::instance()->getDrillResult();
    ASSERT_EQ(cached.count("drill"), 1u);
    EXPECT_EQ(cached.at("drill").items.at(api::CloseHoles).lv[1].size(), 1u);

    // A host pages all levels of "Close Holes" one finding at a time.
    std::vector<int> webs;
    for (int page = 0; page < 10; ++page) {
        const std::string request = R"({"uuid":")" + uuid + R"(","analysis_type":2,"page":)" + std::to_string(page) +
                                    R"(,"filter":[{"layer":"drill","subfilter":[{"item":"Close Holes","level":4,"count":1}]}]})";
        const std::string reply = get_jw_analysis_result(request.c_str());
        if (reply.empty()) break;
        const Json::Value doc = parse(reply.c_str());
        webs.push_back(doc[0]["filter_result"][0]["check_info_list"][0]["sort_value"].asInt());
    }
    EXPECT_EQ(webs, (std::vector<int>{50000, 100000, 150000}));

    // The EDA document of the same run.
    const std::string eda_request = R"({"jobName":"board","jobUUID":"j-1","analysis_list":[{"analysisStep":"pcb",)"
                                    R"("paramList":[{"analysisGuid":")" + uuid + R"(","analysisType":2},)"
                                    R"({"analysisGuid":")" + uuid + R"(","analysisType":0}]}]})";
    const Json::Value eda = parse(get_eda_analysis_results(eda_request.c_str()));
    EXPECT_EQ(eda["analysis_jobName"].asString(), "board");
    EXPECT_EQ(eda["analysis_jobUUID"].asString(), "j-1");
    ASSERT_EQ(eda["resultList"].size(), 1u);
    EXPECT_EQ(eda["resultList"][0]["step"].asString(), "pcb");
    ASSERT_EQ(eda["resultList"][0]["checkInfoList"].size(), 1u);
    EXPECT_EQ(eda["resultList"][0]["checkInfoList"][0]["analysis_type"].asString(), "drill");
}

TEST_F(DrcCommands, FailuresLeaveTheCacheAsItWas)
{
    process(kCheck);
    const auto before = KESTO::Cache::common_cache::instance()->getDrillResult();
    ASSERT_FALSE(before.empty());
    EXPECT_EQ(process(R"({"func":"DRILL_CHECK","paras":[{"job":"board","rout_distance":"far"}]})"), error_text());
    EXPECT_EQ(process(R"({"func":"DRILL_CHECK","paras":{"job":"board"}})"), error_text());
    EXPECT_EQ(KESTO::Cache::common_cache::instance()->getDrillResult().size(), before.size());

    // A run the engine cannot make is still reported, empty, and cached so.
    const Json::Value empty = parse(process(R"({"func":"DRILL_CHECK","paras":[{"job":"nosuch","step":"pcb"}]})"));
    EXPECT_EQ(empty["analysis_result"].size(), 0u);
    EXPECT_TRUE(KESTO::Cache::common_cache::instance()->getDrillResult().empty());
}

TEST_F(DrcCommands, BoardDrillCheckOnlyChecksItsParameters)
{
    process(kCheck);
    EXPECT_EQ(board_drill_check(R"({"paras":[{"job":"board","via2via":true,"compensated_rout":2}]})"), pass_text());
    EXPECT_EQ(board_drill_check(R"({"paras":[{"compensated_rout":"two"}]})"), error_text());
    EXPECT_FALSE(KESTO::Cache::common_cache::instance()->getDrillResult().empty());
}

TEST_F(DrcCommands, PagerCommandsOnUnknownRunsAndEmptyFilters)
{
    EXPECT_STREQ(get_jw_analysis_result(R"({"uuid":"nosuch","analysis_type":2,"page":0,"filter":[]})"), "");
    create_jw_analysis_cache(R"({"analysis_type":2,"uuid":"nosuch"})");
    EXPECT_EQ(get_analysis_result_from_g(R"({"func":"GET_ANALYSIS_RESULT_FROM_G","paras":{"matrix_path":"/nowhere"}})"),
              error_text());
}

TEST(DrcRanges, ThresholdsFromRangesList)
{
    checks::register_table("DrillRanges");
    checks::register_table("SolderMaskRanges");
    Json::Value ranges;
    Json::Reader().parse(R"({"rangesList":[{"name":"Short_10_up","RedLv":3.7,"YellowLv":2.9,"GreenLv":-2.9},)"
                         R"({"name":"short_10_up","RedLv":1},{"name":"Short_10_up","RedLv":9}]})", ranges);
    const auto drill = checks::drill_thresholds(checks::read_ranges(ranges, "DrillRanges"));
    EXPECT_EQ(drill.at(21), std::make_tuple(3, 2, -2));
    EXPECT_EQ(std::get<0>(drill.at(-1)), 1);
    const auto signal = checks::signal_thresholds(checks::read_ranges(ranges, "DrillRanges"));
    EXPECT_EQ(std::get<0>(signal.at(21)), 9.0);

    Json::Value scalar;
    scalar["rangesList"] = "Close Holes";
    EXPECT_TRUE(checks::read_ranges(scalar, "DrillRanges").empty());
    EXPECT_TRUE(checks::read_ranges(Json::Value(), "DrillRanges").empty());
    Json::Value mistyped;
    Json::Reader().parse(R"({"rangesList":[{"name":"Close Holes","RedLv":"x"}]})", mistyped);
    EXPECT_THROW(checks::read_ranges(mistyped, "DrillRanges"), Json::Exception);

    Json::Value sm;
    Json::Reader().parse(R"({"rangesList":{"a":{"name":"SM local spacing","RedLv":1}}})", sm);
    EXPECT_EQ(checks::read_ranges(sm, "SolderMaskRanges").at(0).index, 39);
}

TEST(DrcRanges, TablesKeepTheirGapsAndNames)
{
    const std::map<std::string, std::size_t> sizes = {
        {"DrillRanges", 33}, {"SignalLayerRanges", 75}, {"SolderMaskRanges", 86}, {"SilkScreenRanges", 27},
        {"PrePareRanges", 31}, {"SignalLayerOptRanges", 19}, {"TeardropsRanges", 10}, {"SolderMaskOpt", 19},
        {"NFPRemoval", 4}};
    for (const auto& [table, size] : sizes) {
        checks::register_table(table);
        EXPECT_EQ(checks::RangeTableRegistry::tables().at(table).size(), size) << table;
    }
    EXPECT_EQ(checks::category_rows("SolderMaskRanges").front().first, 38);
    for (int gap : {60, 61, 63, 76, 77, 79}) EXPECT_EQ(checks::category_name("SignalLayerRanges", gap), "");
    EXPECT_EQ(checks::category_name("SignalLayerRanges", 80), "Pad to Line Spacing");
    EXPECT_EQ(checks::category_index("SolderMaskOpt", "Partial   Clearances"), 15);
    EXPECT_EQ(checks::category_index("SolderMaskOpt", "Partial Clearances"), -1);
    EXPECT_EQ(checks::category_index("NoSuchRanges", "Isolated"), -1);
    EXPECT_EQ(checks::category_name("NFPRemoval", 0), "");
}

TEST(DrcRanges, LevelReportAndFindingJson)
{
    checks::register_table("SignalLayerRanges");
    std::map<api::signal_layers_checks_items, api::signal_check_result> results;
    auto& r = results[api::signal_layers_checks_items(60)];
    r.item = 60;
    r.counts = {1, 0, 0, 0};
    api::check_info info;
    info.shape = api::MarkerSegment;
    info.geometry = {1, 2, 3, 4, 0.05};
    info.measure_value = 50000;
    info.layer_names = {"top"};
    api::featureInfo feature;
    feature.symbolname = "r100";
    feature.attributes = {{".smd", ""}};
    info.features.push_back(feature);
    r.lv[0].push_back(info);
    const Json::Value doc = checks::level_report<4>("SIGNAL_LAYER_CHECK", "SignalLayerRanges", results);
    EXPECT_EQ(doc["func"].asString(), "SIGNAL_LAYER_CHECK");
    const Json::Value& category = doc["paras"][""];
    EXPECT_EQ(category["type"].asInt(), 60);
    EXPECT_EQ(category["lv1count"].asUInt(), 1u);
    const Json::Value& finding = category["lv1features"][0];
    EXPECT_EQ(finding["type"].asString(), "SEG");
    EXPECT_EQ(finding["value"]["Distance"].asDouble(), 0.05);
    EXPECT_EQ(finding["value"]["SX"].asDouble(), 1.0);
    EXPECT_EQ(finding["measureValue"].asInt(), 50000);
    EXPECT_EQ(finding["featureinfo"][0]["symbolname"].asString(), "r100");
    EXPECT_TRUE(finding["featureinfo"][0]["attributes"].isMember(".smd"));
    EXPECT_EQ(finding["layernames"][0].asString(), "top");
}
