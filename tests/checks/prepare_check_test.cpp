// The prepare and OK-step checks as a host runs them. The sample job is
// complete by role and holds no negative feature; its zero point is the
// profile's lower right corner, so the one finding is the zero point, as far
// from the lower left corner as the profile file says the board is wide.
#include "adaptor/exports.h"
#include "checks/common_cache.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <sstream>

namespace {

Json::Value parse(const char* text)
{
    Json::Value v;
    Json::Reader().parse(text ? text : "", v);
    return v;
}

// The lower left corner of the profile's contour ends, in inches.
std::pair<double, double> profile_corner(const std::string& path)
{
    std::ifstream in(path);
    std::string line;
    double x = std::numeric_limits<double>::infinity(), y = x;
    while (std::getline(in, line)) {
        std::istringstream s(line);
        std::string tag;
        double px, py;
        if (s >> tag && (tag == "OB" || tag == "OS" || tag == "OC") && s >> px >> py) x = std::min(x, px), y = std::min(y, py);
    }
    return {x, y};
}

using Items = KESTO::API::prepare_result;

std::size_t total(const Items& r)
{
    std::size_t n = 0;
    for (const auto& [item, res] : r)
        for (auto c : res.counts) n += c;
    return n;
}

} // namespace

TEST(PrepareCheck, OkStepKeepsTheHostsVerdictAndAnswersTheErrorText)
{
    init_func_map();
    const std::string error = "ERROR";  // the configuration's error text when it names none
    EXPECT_EQ(std::string(ok_step_check(R"({"paras":[{"result":"OK"}]})")), error);
    EXPECT_EQ(KESTO::Cache::common_cache::instance()->getOkCheckResult(), "OK");
    // A value that is no text keeps the text as it was.
    EXPECT_EQ(std::string(ok_step_check(R"({"paras":[{"result":[1]}]})")), error);
    EXPECT_EQ(KESTO::Cache::common_cache::instance()->getOkCheckResult(), "OK");
}

TEST(PrepareCheck, SampleJobIsCompleteButForItsZeroPoint)
{
    kesto::test::TempDir dir;
    const std::string unpack = "tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir.path() +
                               "' && mv '" + dir.path() + "/sample_design' '" + dir.path() + "/sample_prep'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    init_func_map();
    init_orig_func_map();
    const std::string open = R"({"func":"OPEN_JOB","paras":[{"path":")" + dir.path() + R"("},{"job":"sample_prep"}]})";
    process(open.c_str());
    ASSERT_TRUE(parse(process(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_prep"}})"))["paras"]["status"].asBool());
    const std::string pass = "OK";  // the configuration's pass text when it names none
    auto* cache = KESTO::Cache::common_cache::instance();

    ASSERT_EQ(std::string(prepare_check(R"({"paras":[{"job":"sample_prep"}]})")), pass);
    Items r = cache->getPrepareCheckResult();
    ASSERT_EQ(r.size(), 1u);
    const auto& zero = r.begin()->second;
    EXPECT_EQ(int(r.begin()->first), 12);
    ASSERT_EQ(zero.counts[0], 1u);
    // The datum (stephdr X_DATUM=0, Y_DATUM=0) against the profile's corner.
    const auto [cx, cy] = profile_corner(dir.path() + "/sample_prep/steps/step/profile");
    EXPECT_NEAR(zero.lv[0][0].measure_value, std::hypot(cx, cy) * 25.4e6, 1000);

    // Roles named: the top copper right, the bottom copper a mask layer, a
    // drill layer that is not there; thresholds for item 12 put it in level 3.
    ASSERT_EQ(std::string(prepare_check(
                  R"({"paras":[{"job":"sample_prep","top":"LAYER-1","bottom":"soldermask-bottom","drill_layer":"drill2",)"
                  R"("ranges":{"rangesList":[{"name":"Org zero point check","RedLv":1000,"YellowLv":100000,"GreenLv":200000}]}}]})")),
              pass);
    r = cache->getPrepareCheckResult();
    EXPECT_EQ(total(r), 3u);
    ASSERT_TRUE(r.count(KESTO::API::prepare_check_items(6)));
    EXPECT_EQ(r[KESTO::API::prepare_check_items(6)].lv[0][0].layer_for_analysis, "soldermask-bottom");
    ASSERT_TRUE(r.count(KESTO::API::prepare_check_items(10)));
    EXPECT_EQ(r[KESTO::API::prepare_check_items(12)].counts[2], 1u);

    // A job that is not open: the error text, and the cache keeps the last run.
    EXPECT_NE(std::string(prepare_check(R"({"paras":[{"job":"no_such_job"}]})")), pass);
    EXPECT_EQ(total(cache->getPrepareCheckResult()), 3u);
}
