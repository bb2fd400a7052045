// The check-result cache and the drill checks as a host reaches them through
// the shared library.
#include "adaptor/exports.h"
#include "checks/common_cache.h"

#include <gtest/gtest.h>
#include <json/json.h>

using KESTO::Cache::common_cache;
namespace api = KESTO::API;

TEST(CommonCache, EveryMemberStartsEmptyAndIsReplacedWhole)
{
    common_cache* cache = common_cache::instance();
    ASSERT_EQ(cache, common_cache::instance());
    EXPECT_TRUE(cache->getDrillResult().empty());
    EXPECT_TRUE(cache->getBoardDrillResult().empty());
    EXPECT_TRUE(cache->getSignalResult().empty());
    EXPECT_EQ(cache->getOkCheckResult(), "");

    api::drill_result ab;
    ab["a"].items[api::CloseHoles].lv[0].resize(2);
    ab["b"];
    cache->setDrillResult(ab);
    api::drill_result c;
    c["c"];
    cache->setDrillResult(c);
    ASSERT_EQ(cache->getDrillResult().size(), 1u);
    EXPECT_EQ(cache->getDrillResult().begin()->first, "c");

    api::board_drill_result board;
    board["drill"];
    cache->setBoadDrillResult(board);
    EXPECT_EQ(cache->getBoardDrillResult().count("drill"), 1u);
    EXPECT_EQ(cache->getDrillResult().count("c"), 1u); // other kinds untouched

    cache->setOkCheckResult("ok");
    api::silk_screen_result silk;
    silk["ss"][api::silk_screen_checks_items(24)].lv[2].resize(1);
    cache->setSilkResult(silk);
    api::prepare_result prepare;
    prepare[api::prepare_check_items(3)].item = 3;
    cache->setPrepareCheckResult(prepare);
    api::mrc_result mrc;
    mrc["pcb"]["top"].message = "x";
    cache->setMrcCheckResult(mrc);
    api::solder_mask_result mask;
    mask["sm"];
    cache->setSolderMaskResult(mask);
    api::signal_result signal;
    signal["top"];
    cache->setSignalResult(signal);

    const common_cache copy(*cache);
    common_cache assigned;
    assigned = copy;
    EXPECT_EQ(assigned.getOkCheckResult(), "ok");
    EXPECT_EQ(assigned.getSilkResult().at("ss").at(api::silk_screen_checks_items(24)).lv[2].size(), 1u);
    EXPECT_EQ(assigned.getPrepareCheckResult().at(api::prepare_check_items(3)).item, 3);
    EXPECT_EQ(assigned.getMrcCheckResult().at("pcb").at("top").message, "x");
    EXPECT_EQ(assigned.getSolderMaskResult().count("sm"), 1u);
    EXPECT_EQ(assigned.getSignalResult().count("top"), 1u);
    EXPECT_EQ(assigned.getBoardDrillResult().count("drill"), 1u);
}

TEST(DrillCheck, AnUnknownJobGivesAnEmptyReportAndEmptiesTheDrillMember)
{
    api::drill_result old;
    old["old"];
    common_cache::instance()->setDrillResult(old);
    Json::Value reply;
    ASSERT_TRUE(Json::Reader().parse(drill_check(R"({"func":"DRILL_CHECK"})"), reply));
    EXPECT_EQ(reply["analysis_type"].asString(), "drill");
    EXPECT_TRUE(reply["analysis_result"].isArray());
    EXPECT_EQ(reply["analysis_result"].size(), 0u);
    EXPECT_FALSE(reply["analysis_uuid"].asString().empty());
    EXPECT_TRUE(common_cache::instance()->getDrillResult().empty());
}

TEST(DrillCheck, BoardDrillCheckChecksOnlyTheValuesItKeeps)
{
    const std::string error = init_func_map(); // hosts have always had the error text here
    const std::string pass = board_drill_check(R"({"paras":[{"job":"j","single":true,"npth2rout_":false}]})");
    EXPECT_NE(pass, error);
    // The switches are not used, so their type does not matter.
    EXPECT_EQ(board_drill_check(R"({"paras":[{"single":"yes","via2pth":[1],"npth2rout_":{}}]})"), pass);
    EXPECT_EQ(board_drill_check(R"({"paras":[{"compensated_rout":"two"}]})"), error);
    EXPECT_EQ(board_drill_check(R"({"paras":[{"layers":[[1]]}]})"), error);
    EXPECT_EQ(board_drill_check("{\"paras\":["), error) << "text that does not parse";
    EXPECT_EQ(drill_check(R"({"paras":[{"hole_size":[1]}]})"), error);
}
