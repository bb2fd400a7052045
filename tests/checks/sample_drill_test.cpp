// The drill check on the sample job, as a host runs it: open the job, check
// its drill layer with thresholds, then page the same run by its uuid until
// the reply is empty. Skipped while the library has no job reader.
#include "adaptor/exports.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <cstdlib>

namespace {

Json::Value parse(const char* text)
{
    Json::Value v;
    Json::Reader().parse(text ? text : "", v);
    return v;
}

} // namespace

TEST(SampleDrill, ReportThenPagesOfTheSameRun)
{
    kesto::test::TempDir dir;
    const std::string unpack = "tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir.path() + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    init_func_map();
    init_orig_func_map();
    const std::string open = R"({"func":"OPEN_JOB","paras":[{"path":")" + dir.path() + R"("},{"job":"sample_design"}]})";
    process(open.c_str());
    if (!parse(process(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"))["paras"]["status"].asBool())
        GTEST_SKIP() << "this build cannot open ODB++ jobs yet";

    const Json::Value report = parse(process(
        R"({"func":"DRILL_CHECK","paras":[{"job":"sample_design","step":"step","layers":["drill"],)"
        R"("hole_size":true,"hole_seperation":true,"missing_hole":true,"extra_holes":true,"npth_to_rout":true,)"
        R"("rout_distance":0.5,"use_pth":true,"use_npth":true,"use_via":true,)"
        R"("ranges":{"rangesList":[{"name":"Close Holes","RedLv":100,"YellowLv":150,"GreenLv":200}]}}]})"));
    const std::string uuid = report["analysis_uuid"].asString();
    ASSERT_FALSE(uuid.empty());
    ASSERT_EQ(report["analysis_result"].size(), 1u);
    const Json::Value& layer = report["analysis_result"][0];
    EXPECT_EQ(layer["layer"].asString(), "drill");

    // Every round hole and slot of the layer (1972 features) is in one hole table.
    std::int64_t holes = 0;
    for (const auto& item : layer["result"]) {
        const std::string name = item["check_item"].asString();
        if (name.find("Summary") == std::string::npos) continue;
        for (const auto& f : item["lv4features"]) holes += f["values"][f["values"].size() - 1].asInt64();
    }
    EXPECT_EQ(holes, 1972);

    // Paging each item through all its levels gives back every finding.
    for (const auto& item : layer["result"]) {
        const std::string name = item["check_item"].asString();
        unsigned total = 0;
        for (const char* count : {"lv1count", "lv2count", "lv3count", "lv4count"}) total += item[count].asUInt();
        unsigned paged = 0;
        for (int page = 0;; ++page) {
            const std::string request = R"({"uuid":")" + uuid + R"(","analysis_type":2,"page":)" + std::to_string(page) +
                                        R"(,"filter":[{"layer":"drill","subfilter":[{"item":")" + name +
                                        R"(","level":4,"count":7}]}]})";
            const Json::Value doc = parse(get_jw_analysis_result(request.c_str()));
            if (doc.isNull()) break;
            paged += doc[0]["filter_result"][0]["check_info_list"].size();
            ASSERT_LT(page, 100000);
        }
        EXPECT_EQ(paged, total) << name;
    }
}
