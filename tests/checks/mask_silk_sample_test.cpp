// The solder-mask and silk-screen checks as a host runs them on the sample
// job: the pass reply, the findings in the check-result cache under each
// layer, and a later run replacing the cache whole.
#include "adaptor/exports.h"
#include "checks/common_cache.h"
#include "engine/config/configuration.h"
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

TEST(SampleMaskSilk, BothChecksAnswerPassAndFillTheCachePerLayer)
{
    kesto::test::TempDir dir;
    const std::string unpack = "tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir.path() + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    init_func_map();
    init_orig_func_map();
    const std::string open = R"({"func":"OPEN_JOB","paras":[{"path":")" + dir.path() + R"("},{"job":"sample_design"}]})";
    process(open.c_str());
    if (!parse(process(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"))["paras"]["status"].asBool())
        GTEST_SKIP() << "this build cannot open jobs yet";
    const std::string pass = KESTO::configuration_instance::instance().get_gmsg_pass();
    auto* cache = KESTO::Cache::common_cache::instance();

    const std::string mask = solder_mask_check(
        R"({"paras":[{"job":"sample_design","step":"step","layers":["soldermask-top","SOLDERMASK-BOTTOM"],)"
        R"("sm_ar":0.05,"sm_coverage":0.05,"spacing_min":0.1,"bridge_min":0.1,"pads":true,"missing":true,)"
        R"("coverage":true,"spacing":true,"bridge":true,"drill":true,"silver":true,)"
        R"("ranges":{"rangesList":[{"name":"SMD annular Ring","RedLv":10,"YellowLv":20,"GreenLv":50}]}}]})");
    EXPECT_EQ(mask, pass);
    const auto masks = cache->getSolderMaskResult();
    ASSERT_EQ(masks.size(), 2u);
    ASSERT_TRUE(masks.count("soldermask-top"));
    // Every finding names a real feature of the mask, the copper below or a drill layer.
    std::size_t findings = 0;
    for (const auto& [layer, items] : masks)
        for (const auto& [item, r] : items)
            for (std::size_t l = 0; l < r.lv.size(); ++l) {
                EXPECT_EQ(r.counts[l], r.lv[l].size());
                for (const auto& info : r.lv[l]) {
                    ++findings;
                    ASSERT_FALSE(info.features.empty());
                    EXPECT_GE(info.features[0].feature_index, 0);
                }
            }
    EXPECT_GT(findings, 0u);

    const std::string silk = silk_screen_check(
        R"({"paras":[{"job":"sample_design","step":"step","layers":["silkscreen-top","silkscreen-bottom"],)"
        R"("spacing":0.1,"sm_clearance":true,"smd_clearance":true,"pad_clearance":true,"hole_clearance":true,)"
        R"("rout_clearance":true,"line_width":true}]})");
    EXPECT_EQ(silk, pass);
    EXPECT_EQ(cache->getSilkResult().size(), 2u);

    // No layers: still the pass message, and the member is emptied.
    EXPECT_EQ(std::string(solder_mask_check(R"({"paras":[{"job":"sample_design","step":"step","layers":[]}]})")), pass);
    EXPECT_TRUE(cache->getSolderMaskResult().empty());
    // A request that is not an array of objects keeps the cache as it was.
    EXPECT_NE(std::string(silk_screen_check(R"({"paras":[{"layers":7}]})")), pass);
    EXPECT_EQ(cache->getSilkResult().size(), 2u);
}
