// A drill check that cannot run says so: the error text, an ERROR record,
// and the cached result of the last good run left as it was.
#include "checks/common_cache.h"
#include "orig/jobs_host.h"

using namespace kesto::test;
using KESTO::Cache::common_cache;

TEST(DrillCheckFailures, BadRequestsAnswerTheErrorTextAndKeepTheCache)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        KESTO::API::drill_result kept;
        kept["drill"];
        common_cache::instance()->setDrillResult(kept);
        for (const char* request : {"", "   ", "{\"paras\":[{\"job\":", "[1,2", R"({"paras":[{"rout_distance":"far"}]})"}) {
            EXPECT_STREQ(drill_check(request), "ERROR") << request;
            EXPECT_EQ(common_cache::instance()->getDrillResult().count("drill"), 1u) << request;
        }
        const std::string errors = read_logs("log", "ERROR_");
        EXPECT_NE(errors.find("drill_check"), std::string::npos) << errors;
        EXPECT_NE(errors.find("not JSON"), std::string::npos) << errors;

        // A request that parses still runs and replaces the cached result.
        EXPECT_NE(std::string(drill_check(R"({"paras":[{"job":"none","step":"pcb","layers":["drill"]}]})")), "ERROR");
        EXPECT_TRUE(common_cache::instance()->getDrillResult().empty());
    });
}

// The pager's page of a run, then a request that does not parse: the same
// text comes back, not an empty one.
TEST(DrillCheckFailures, PagesSurviveARequestThatDoesNotParse)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","layer":"drill","index":1}})");
        for (const char* x : {"1", "1.4"}) // 0.3 mm holes 0.1 mm apart
            ASSERT_EQ(call(std::string(R"({"func":"ADD_PAD","paras":[{"job":"b","step":"pcb","layer":"drill",
                "layers":["drill"],"symbol":"r300","location_x":)") + x + R"(,"location_y":0}]})"), "OK");
        const Json::Value report = json_of(call(R"({"func":"DRILL_CHECK","paras":[{"job":"b","step":"pcb",
            "layers":["drill"],"hole_seperation":true,"use_pth":true,"use_npth":true,"use_via":true,
            "ranges":{"rangesList":[{"name":"Close Holes","RedLv":100,"YellowLv":300,"GreenLv":1000}]}}]})"));
        const std::string uuid = report["analysis_uuid"].asString();
        ASSERT_FALSE(uuid.empty());
        std::string page;
        for (int level = 0; level <= 4 && page.empty(); ++level)
            page = get_jw_analysis_result((R"({"uuid":")" + uuid + R"(","analysis_type":2,"page":0,"filter":[{"layer":"drill",
                "subfilter":[{"item":"Close Holes","level":)" + std::to_string(level) + R"(,"count":5}]}]})").c_str());
        ASSERT_NE(page.find("drill"), std::string::npos) << "the close pair is on a page";
        EXPECT_EQ(get_jw_analysis_result("{\"uuid\":"), page);
        EXPECT_EQ(get_jw_analysis_result(""), page);
        const std::string document = get_eda_analysis_results((R"({"jobName":"b","jobUUID":"1","analysis_list":[
            {"analysisStep":"pcb","paramList":[{"analysisGuid":")" + uuid + R"(","analysisType":2}]}]})").c_str());
        ASSERT_NE(document.find("Close Holes"), std::string::npos) << document;
        EXPECT_EQ(get_eda_analysis_results("not json"), document);
        const std::string errors = read_logs("log", "ERROR_");
        EXPECT_NE(errors.find("get_jw_analysis_result error"), std::string::npos);
        EXPECT_NE(errors.find("get_eda_analysis_results error"), std::string::npos);
    });
}
