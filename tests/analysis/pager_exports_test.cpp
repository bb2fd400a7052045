// The analysis pager and its commands as a host reaches them through the
// shared library.
#include "adaptor/exports.h"
#include "analysis/jw_analysis_filter.h"

#include <gtest/gtest.h>
#include <json/json.h>

TEST(PagerExports, RangeTablesAndUnknownKinds)
{
    JWAnalysisFilter* f = JWAnalysisFilter::instance();
    ASSERT_EQ(f, JWAnalysisFilter::instance());
    EXPECT_EQ(f->getRangesEnum("SolderMaskRanges", "SM local spacing"), 39);
    EXPECT_EQ(f->getRangesName("SilkScreenRanges", 26), "SS Over Channel");
    EXPECT_EQ(f->getRangesEnum("NoSuch", "SS Over Channel"), -1);

    const int count = f->getCacheCount();
    f->createCache(0, "u");
    f->createCache(6, "u");
    EXPECT_EQ(f->getCacheCount(), count);
    EXPECT_EQ(f->get(2, "u"), "");
    EXPECT_EQ(f->get(1, "u"), "{\"analysis_result\":[],\"analysis_type\":\"signal layer\"}\n");
    EXPECT_TRUE(f->isFilterResultEnd(7, "u"));
    EXPECT_EQ(f->next("never-filtered"), "");
    EXPECT_EQ(f->prev("never-filtered"), "");
}

TEST(PagerExports, CommandsAnswerAsHostsExpect)
{
    // An unknown run fetched through a page request counts towards the limit.
    const int count = JWAnalysisFilter::instance()->getCacheCount();
    EXPECT_STREQ(get_jw_analysis_result(R"({"uuid":"fresh-run","analysis_type":3,"page":0,
        "filter":[{"layer":"sm","subfilter":[{"item":"Coverage","level":0,"count":5}]}]})"), "");
    EXPECT_EQ(JWAnalysisFilter::instance()->getCacheCount(), std::min(count + 1, 10));
    EXPECT_STREQ(get_jw_analysis_result("not json"), "");
    EXPECT_STREQ(create_jw_analysis_cache(R"({"analysis_type":"x"})"), "");

    Json::Value reply;
    ASSERT_TRUE(Json::Reader().parse(get_eda_analysis_results(R"({"jobName":"j","jobUUID":"1",
        "analysis_list":[{"analysisStep":"pcb","paramList":[{"analysisGuid":"g","analysisType":4},
        {"analysisGuid":"g","analysisType":0}]}]})"), reply));
    ASSERT_EQ(reply["resultList"][0]["checkInfoList"].size(), 1u);
    EXPECT_EQ(reply["resultList"][0]["checkInfoList"][0]["analysis_type"].asString(), "silk screen");
    // A failure answers the last reply again.
    const std::string last = get_eda_analysis_results(R"({"analysis_list":[{"paramList":[{"analysisType":"two"}]}]})");
    EXPECT_NE(last.find("silk screen"), std::string::npos);
}
