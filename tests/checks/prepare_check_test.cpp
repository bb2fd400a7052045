// The prepare and OK-step checks as a host runs them. The sample job is
// complete by role and holds no negative feature; its zero point is the
// profile's lower right corner, as far from the lower left corner as the
// profile file says the board is wide. It also holds copper beyond the
// profile, SMDs without paste and mask openings drawn as strokes, each
// counted here from its own files.
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
#include <vector>

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

// Features of a features file whose first position (a pad's centre, a
// line's start) lies outside the box, in inches.
std::size_t starts_outside(const std::string& path, double x0, double y0, double x1, double y1)
{
    std::ifstream in(path);
    std::string line;
    std::size_t n = 0;
    while (std::getline(in, line)) {
        std::istringstream s(line);
        std::string tag;
        double x, y;
        if (s >> tag && (tag == "P" || tag == "L" || tag == "A" || tag == "T" || tag == "B") && s >> x >> y)
            n += x < x0 || x > x1 || y < y0 || y > y1;
    }
    return n;
}

std::size_t records(const std::string& path, const std::string& tag)
{
    std::ifstream in(path);
    std::string line;
    std::size_t n = 0;
    while (std::getline(in, line)) n += line.compare(0, tag.size() + 1, tag + " ") == 0;
    return n;
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

TEST(PrepareCheck, SampleJobFindingsAgainstItsOwnFiles)
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
    auto count = [&](int item) {
        auto it = r.find(KESTO::API::prepare_check_items(item));
        return it == r.end() ? std::size_t(0) : std::size_t(it->second.counts[0] + it->second.counts[1] +
                                                            it->second.counts[2] + it->second.counts[3]);
    };
    std::vector<int> items;
    for (const auto& [item, res] : r) items.push_back(int(item));
    // Zero point, features to clip and outside the profile, SMDs without
    // paste, mask openings drawn as strokes.
    EXPECT_EQ(items, (std::vector<int>{12, 16, 17, 18, 26}));
    const std::string layers = dir.path() + "/sample_prep/steps/step/layers/";
    // Every copper feature whose own position lies off the profile's box
    // (0 to 6.575 in left of the datum, 0 to 5.28 in up) lies wholly outside.
    std::size_t outside = 0;
    for (int n = 1; n <= 8; ++n) outside += starts_outside(layers + "layer-" + std::to_string(n) + "/features", -6.575, 0, 0, 5.28);
    EXPECT_EQ(count(17), outside);
    EXPECT_EQ(outside, 1067u);
    // The mask layers' L records: three zero-length strokes each.
    EXPECT_EQ(count(26), records(layers + "soldermask-top/features", "L") + records(layers + "soldermask-bottom/features", "L"));
    // SMDs with no paste pad over their centre, worked from the paste and
    // copper features files: 11 on top, 6 on the bottom.
    EXPECT_EQ(count(18), 17u);
    const auto& zero = r.at(KESTO::API::prepare_check_items(12));
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
    ASSERT_TRUE(r.count(KESTO::API::prepare_check_items(6)));
    EXPECT_EQ(r[KESTO::API::prepare_check_items(6)].counts[0], 1u);
    EXPECT_EQ(r[KESTO::API::prepare_check_items(10)].counts[0], 1u);
    EXPECT_EQ(r[KESTO::API::prepare_check_items(6)].lv[0][0].layer_for_analysis, "soldermask-bottom");
    ASSERT_TRUE(r.count(KESTO::API::prepare_check_items(10)));
    EXPECT_EQ(r[KESTO::API::prepare_check_items(12)].counts[2], 1u);

    // A job that is not open: the error text, and the cache keeps the last run.
    const std::size_t kept = total(r);
    EXPECT_NE(std::string(prepare_check(R"({"paras":[{"job":"no_such_job"}]})")), pass);
    EXPECT_EQ(total(cache->getPrepareCheckResult()), kept);
}
