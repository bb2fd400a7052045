// The signal-layer check on the sample job as a host runs it: the level
// report, the cache member, pages of the same run by its uuid, and the
// empty-name abort that leaves the cache as it was.
#include "adaptor/exports.h"
#include "checks/common_cache.h"
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

TEST(SignalCheck, ReportCacheAndPagesOfOneRunThenTheEmptyNameAbort)
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

    const std::string request =
        R"({"func":"SIGNAL_LAYER_CHECK","paras":[{"job":"sample_design","step":"step","layers":["LAYER-8"],)"
        R"("spacing":true,"drill":true,"check_missing":true,"pp_spacing":0.2,"drill2cu":0.2,)"
        R"("ranges":{"rangesList":[{"name":"Pad to pad","RedLv":100,"YellowLv":150,"GreenLv":180},)"
        R"({"name":"Pad to pad","RedLv":170,"YellowLv":180,"GreenLv":190}]}}]})";
    const Json::Value report = parse(process(request.c_str()));
    ASSERT_TRUE(report.isMember("LAYER-8")) << report.toStyledString().substr(0, 300);
    const Json::Value& doc = report["LAYER-8"];
    EXPECT_EQ(doc["func"].asString(), "SIGNAL_LAYER_CHECK");
    const std::string uuid = report["analysis_uuid"].asString();
    ASSERT_EQ(uuid.size(), 36u);

    // Counts match their lists; the later "Pad to pad" thresholds hold (190 um
    // reach, levels at 170 / 180 / 190 um).
    std::string item;
    unsigned total = 0;
    for (const std::string& name : doc["paras"].getMemberNames()) {
        const Json::Value& c = doc["paras"][name];
        unsigned sum = 0;
        for (int l = 1; l <= 4; ++l) {
            const std::string n = std::to_string(l);
            ASSERT_EQ(c["lv" + n + "count"].asUInt(), c["lv" + n + "features"].size()) << name;
            sum += c["lv" + n + "count"].asUInt();
            for (const Json::Value& f : c["lv" + n + "features"]) {
                if (name != "Pad to pad") continue;
                const int v = f["measureValue"].asInt();
                EXPECT_LE(v, 190000);
                EXPECT_EQ(l, v <= 170000 ? 1 : v <= 180000 ? 2 : 3);
                EXPECT_EQ(f["type"].asString(), "SEG");
                EXPECT_NEAR(f["value"]["Distance"].asDouble() * 1e6, v, 1.0);
            }
        }
        if (sum > total) item = name, total = sum;
    }
    ASSERT_GT(total, 0u) << "the sample's bottom layer has gaps below 0.2 mm";

    const auto cached = KESTO::Cache::common_cache::instance()->getSignalResult();
    ASSERT_EQ(cached.count("LAYER-8"), 1u);

    // Pages of 7 over every level of the fullest category until the reply is empty.
    unsigned paged = 0;
    for (int page = 0; page < 1000; ++page) {
        const std::string ask = R"({"uuid":")" + uuid + R"(","analysis_type":1,"page":)" + std::to_string(page) +
                                R"(,"filter":[{"layer":"LAYER-8","subfilter":[{"item":")" + item +
                                R"(","level":4,"count":7}]}]})";
        const Json::Value got = parse(get_jw_analysis_result(ask.c_str()));
        if (!got.isArray()) break;
        const unsigned n = got[0]["filter_result"][0]["check_info_list"].size();
        EXPECT_LE(n, 7u);
        paged += n;
    }
    EXPECT_EQ(paged, total);

    // An empty name ends the command: nothing is reported or cached.
    const Json::Value aborted = parse(process(
        R"({"func":"SIGNAL_LAYER_CHECK","paras":[{"job":"sample_design","step":"step","layers":["LAYER-1",""],"spacing":true}]})"));
    EXPECT_FALSE(aborted.isObject());
    EXPECT_EQ(KESTO::Cache::common_cache::instance()->getSignalResult().count("LAYER-1"), 0u);
    EXPECT_EQ(KESTO::Cache::common_cache::instance()->getSignalResult().count("LAYER-8"), 1u);
}
