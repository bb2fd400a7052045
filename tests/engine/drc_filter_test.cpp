// The analysis pager over runs kept in the engine's analysis store.
#include "analysis/jw_analysis_filter.h"
#include "engine/drc/analysis_store.h"

#include "support/test_support.h"

#include <gtest/gtest.h>
#include <json/json.h>

using namespace kesto;
namespace api = KESTO::API;

namespace {

std::vector<api::check_info> numbered(int from, int count)
{
    std::vector<api::check_info> list(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        list[std::size_t(i)].disp_num = from + i;
        list[std::size_t(i)].values = {from + i};
        list[std::size_t(i)].symbol_names = {"r300"};
        list[std::size_t(i)].layer_names = {"drill"};
        list[std::size_t(i)].layer_for_analysis = "drill";
    }
    return list;
}

// A drill run: "Close Holes" with 120 lv1 findings; "Touching Holes" with
// 3, 0, 5 and 2 findings on lv1..lv4, numbered 1..10 in level order; and a
// second layer without findings.
std::string drill_run()
{
    drc::AnalysisRun run;
    run.kind = drc::Drill;
    auto& close = run.drill["drill"].items[api::CloseHoles];
    close.lv[0] = numbered(1, 120);
    auto& touching = run.drill["drill"].items[api::TouchingHoles];
    touching.lv[0] = numbered(1, 3);
    touching.lv[2] = numbered(4, 5);
    touching.lv[3] = numbered(9, 2);
    run.drill["drill2"];
    return drc::keep_run(run);
}

AnalysisFilter one_item(const std::string& item, int level, int count, int page)
{
    return {2, {{"drill", {{item, level, count, page}}}}};
}

Json::Value parse(const std::string& text)
{
    Json::Value v;
    Json::Reader().parse(text, v);
    return v;
}

// The display numbers of the page's findings of its first item.
std::vector<int> numbers(const std::string& page)
{
    std::vector<int> out;
    const Json::Value doc = parse(page);
    for (const auto& layer : doc)
        for (const auto& fr : layer["filter_result"])
            for (const auto& info : fr["check_info_list"]) out.push_back(info["DispNum"].asInt());
    return out;
}

std::vector<int> range(int first, int last)
{
    std::vector<int> v;
    for (int i = first; i <= last; ++i) v.push_back(i);
    return v;
}

} // namespace

TEST(DrcPager, PagesCutOneLevelListByCount)
{
    const std::string uuid = drill_run();
    JWAnalysisFilter& f = *JWAnalysisFilter::instance();
    EXPECT_EQ(numbers(f.getFilterResult(uuid, one_item("Close Holes", 0, 50, 0))), range(1, 50));
    EXPECT_EQ(numbers(f.getFilterResult(uuid, one_item("Close Holes", 0, 50, 2))), range(101, 120));
    EXPECT_EQ(f.getFilterResult(uuid, one_item("Close Holes", 0, 50, 3)), "");
    EXPECT_EQ(f.getFilterResult(uuid, one_item("Close Holes", 5, 50, 0)), "");
    EXPECT_EQ(f.getFilterResult(uuid, one_item("Close Holes", -1, 50, 0)), "");
    EXPECT_EQ(f.getFilterResult(uuid, one_item("Close holes", 0, 50, 0)), "");
    EXPECT_EQ(f.getFilterResult(uuid, AnalysisFilter{6, one_item("Close Holes", 0, 50, 0).layers}), "");
}

TEST(DrcPager, LevelFourRunsThroughTheListsInLevelOrder)
{
    const std::string uuid = drill_run();
    JWAnalysisFilter& f = *JWAnalysisFilter::instance();
    EXPECT_EQ(numbers(f.getFilterResult(uuid, one_item("Touching Holes", 4, 4, 0))), (std::vector<int>{1, 2, 3, 4}));
    EXPECT_EQ(numbers(f.getFilterResult(uuid, one_item("Touching Holes", 4, 4, 1))), (std::vector<int>{5, 6, 7, 8}));
    EXPECT_EQ(numbers(f.getFilterResult(uuid, one_item("Touching Holes", 4, 4, 2))), (std::vector<int>{9, 10}));
    EXPECT_EQ(f.getFilterResult(uuid, one_item("Touching Holes", 4, 4, 3)), "");
    EXPECT_EQ(numbers(f.getFilterResult(uuid, one_item("Touching Holes", 4, 2000000000, 0))).size(), 10u);
    // Every finding of a level-4 page says 4, whichever list it came from.
    const Json::Value page = parse(f.getFilterResult(uuid, one_item("Touching Holes", 4, 4, 2)));
    EXPECT_EQ(page[0]["filter_result"][0]["check_info_list"][1]["LevelofCheckInfo"].asInt(), 4);
}

TEST(DrcPager, PageJsonNamesLayersItemsAndFindings)
{
    const std::string uuid = drill_run();
    AnalysisFilter filter{2, {{"drill", {{"Close Holes", 0, 2, 0}, {"Touching Holes", 1, 5, 0}}}, {"drill2", {}}}};
    const std::string text = JWAnalysisFilter::instance()->getFilterResult(uuid, filter);
    ASSERT_EQ(text.back(), '\n');
    EXPECT_EQ(text.find('\n'), text.size() - 1);
    const Json::Value page = parse(text);
    ASSERT_EQ(page.size(), 2u);
    EXPECT_EQ(page[0]["layer"].asString(), "drill");
    ASSERT_EQ(page[0]["filter_result"].size(), 1u); // the empty lv2 of "Touching Holes" gives no entry
    const Json::Value& item = page[0]["filter_result"][0];
    EXPECT_EQ(item["item"].asString(), "Close Holes");
    EXPECT_EQ(item["level"].asInt(), 0);
    const Json::Value& info = item["check_info_list"][1];
    EXPECT_EQ(info["DispNum"].asInt(), 2);
    EXPECT_EQ(info["values"][0].asInt(), 2);
    EXPECT_EQ(info["symbolnames"][0].asString(), "r300");
    EXPECT_EQ(info["LayerNameForAna"].asString(), "drill");
    for (const char* key : {"LevelofCheckInfo", "type", "sort_value", "layernames"}) EXPECT_TRUE(info.isMember(key)) << key;
    EXPECT_EQ(page[1]["layer"].asString(), "drill2");
    EXPECT_EQ(page[1]["filter_result"].size(), 0u);
}

TEST(DrcPager, StoredFilterStepsOnePastTheLastPageAndBack)
{
    const std::string uuid = drill_run();
    JWAnalysisFilter& f = *JWAnalysisFilter::instance();
    EXPECT_EQ(f.begin(uuid), ""); // no stored filter yet
    f.setFilter(uuid, one_item("Close Holes", 0, 50, 1));
    EXPECT_EQ(numbers(f.begin(uuid)), range(1, 50));
    EXPECT_EQ(numbers(f.prev(uuid)), range(1, 50));
    EXPECT_EQ(numbers(f.next(uuid)), range(51, 100));
    EXPECT_EQ(numbers(f.next(uuid)), range(101, 120));
    EXPECT_EQ(f.next(uuid), "");          // onto page 3, which is empty
    EXPECT_TRUE(f.isFilterResultEnd(2, uuid));
    EXPECT_EQ(f.next(uuid), "");          // and no further
    EXPECT_EQ(numbers(f.prev(uuid)), range(101, 120));
    f.next(uuid);
    f.next(uuid);
    EXPECT_EQ(numbers(f.begin(uuid)), range(1, 50));
    EXPECT_TRUE(f.isFilterResultEnd(0, uuid));
}

TEST(DrcPager, DefaultFilterShowsEveryItemFirstLevelFiftyAPage)
{
    const std::string uuid = drill_run();
    AnalysisFilter filter;
    filter.type = 2;
    filter.layers.push_back({"stale", {}});
    JWAnalysisFilter::instance()->setDefaultFilter(uuid, filter);
    ASSERT_EQ(filter.layers.size(), 2u);
    EXPECT_EQ(filter.layers[0].layer, "drill");
    ASSERT_EQ(filter.layers[0].subfilters.size(), 2u);
    EXPECT_EQ(filter.layers[0].subfilters[0].item, "Touching Holes"); // enum 10 before 11
    EXPECT_EQ(filter.layers[0].subfilters[1].item, "Close Holes");
    EXPECT_EQ(filter.layers[0].subfilters[1].count, 50);
    EXPECT_EQ(filter.layers[0].subfilters[1].level, 0);
    EXPECT_TRUE(filter.layers[1].subfilters.empty());
    AnalysisFilter other{9, {}};
    JWAnalysisFilter::instance()->setDefaultFilter(uuid, other);
    EXPECT_TRUE(other.layers.empty());
}

TEST(DrcPager, TenSetsAreCachedAndTheOldestGoesFirst)
{
    test::TempDir dir;
    test::in_fresh_process(dir.path(), [] {
        JWAnalysisFilter& f = *JWAnalysisFilter::instance();
        while (f.getCacheCount() > 0) f.removeCache();
        std::vector<std::string> runs;
        for (int i = 0; i < 11; ++i) runs.push_back(drill_run());
        for (int i = 0; i < 10; ++i) f.createCache(2, runs[std::size_t(i)]);
        f.createCache(2, runs[3]);   // cached already: nothing changes
        f.createCache(0, runs[10]);
        f.createCache(6, runs[10]);
        EXPECT_EQ(f.getCacheCount(), 10);
        EXPECT_EQ(f.getCacheOrder().front(), runs[0]);
        f.createCache(2, runs[10]);
        EXPECT_EQ(f.getCacheCount(), 10);
        EXPECT_EQ(f.getCacheOrder().front(), runs[1]);
        EXPECT_EQ(f.getCacheOrder().back(), runs[10]);

        // A uuid cached for two kinds stands twice in the order.
        f.createCache(1, runs[10]);
        const auto order = f.getCacheOrder();
        EXPECT_EQ(std::count(order.begin(), order.end(), runs[10]), 2);
        EXPECT_EQ(order.front(), runs[2]); // making room evicted runs[1]
        EXPECT_EQ(f.getCacheCount(), 10);

        // Sets fetched by a default filter or an end test never count.
        const std::string extra = drill_run();
        AnalysisFilter filter{2, {}};
        f.setDefaultFilter(extra, filter);
        EXPECT_EQ(f.getCacheCount(), 10);
        f.createCache(2, extra);
        EXPECT_EQ(f.getCacheCount(), 10);
        EXPECT_EQ(f.getCacheOrder().back(), runs[10]);
        // ... and still answer pages after many evictions.
        for (int i = 0; i < 12; ++i) f.createCache(2, drill_run());
        EXPECT_EQ(numbers(f.getFilterResult(extra, one_item("Close Holes", 0, 1, 0))), (std::vector<int>{1}));

        // A uuid cached for two kinds leaves the signal-layer cache first.
        const std::string both = drill_run();
        f.createCache(1, both);
        f.createCache(2, both);
        while (f.getCacheOrder().front() != both) f.removeCache();
        f.removeCache();
        EXPECT_EQ(f.getCacheOrder().front(), both);
        const int count = f.getCacheCount();
        f.createCache(2, both); // the drill copy is still cached: nothing fetched or counted
        EXPECT_EQ(f.getCacheCount(), count);
        f.createCache(1, both); // the signal-layer copy is gone: fetched again
        EXPECT_EQ(f.getCacheCount(), count + 1);
    });
}

TEST(DrcPager, RangeNamesAndDuplicatedNames)
{
    JWAnalysisFilter& f = *JWAnalysisFilter::instance();
    EXPECT_EQ(f.getRangesEnum("SolderMaskRanges", "SM local spacing"), 39);
    EXPECT_EQ(f.getRangesName("SolderMaskRanges", 85), "SM local spacing");
    EXPECT_EQ(f.getRangesName("SolderMaskRanges", 68), "** Not in Use **");
    EXPECT_EQ(f.getRangesName("SignalLayerRanges", 63), "");
    EXPECT_EQ(f.getRangesName("NoSuchRanges", 1), "");
    EXPECT_EQ(f.getRangesEnum("DrillRanges", "close holes"), -1);
    EXPECT_EQ(f.getRangesEnum("DrillRanges", "Close PTH2NPTH (conn)"), 32);
}

TEST(DrcEdaDocument, WholeResultWithEveryLevelCounted)
{
    const std::string uuid = drill_run();
    const Json::Value doc = JWAnalysisFilter::instance()->getDrillJsonResult4EDA(uuid);
    EXPECT_EQ(doc["analysis_type"].asString(), "drill");
    ASSERT_EQ(doc["analysis_result"].size(), 2u);
    const Json::Value& touching = doc["analysis_result"][0]["result"][0];
    EXPECT_EQ(touching["check_item"].asString(), "Touching Holes");
    EXPECT_EQ(touching["lv2count"].asUInt(), 0u);
    EXPECT_EQ(touching["lv2features"].size(), 0u);
    EXPECT_EQ(touching["lv3count"].asUInt(), 5u);
    EXPECT_EQ(touching["lv3features"][0]["level"].asInt(), 2);
    EXPECT_EQ(touching["lv3features"][0]["symbol"].asString(), "r300");
    EXPECT_EQ(touching["lv4count"].asUInt(), 2u);

    const Json::Value none = JWAnalysisFilter::instance()->getSilkScreenJsonResult4EDA(uuid);
    EXPECT_EQ(none["analysis_type"].asString(), "silk screen");
    EXPECT_TRUE(none["analysis_result"].isArray());
    EXPECT_EQ(none["analysis_result"].size(), 0u);
}

TEST(DrcEdaDocument, SilkScreenHasThreeLevels)
{
    drc::AnalysisRun run;
    run.kind = drc::SilkScreen;
    auto& r = run.silk_screen["silk"][api::silk_screen_checks_items(10)];
    r.lv[0] = numbered(1, 2);
    r.lv[2] = numbered(3, 1);
    const std::string uuid = drc::keep_run(run);
    JWAnalysisFilter& f = *JWAnalysisFilter::instance();
    const Json::Value doc = f.getSilkScreenJsonResult4EDA(uuid);
    const Json::Value& item = doc["analysis_result"][0]["result"][0];
    EXPECT_EQ(item["check_item"].asString(), "Line width");
    EXPECT_EQ(item["lv3count"].asUInt(), 1u);
    EXPECT_FALSE(item.isMember("lv4count"));
    AnalysisFilter all{4, {{"silk", {{"Line width", 4, 10, 0}}}}};
    EXPECT_EQ(numbers(f.getFilterResult(uuid, all)), (std::vector<int>{1, 2, 3}));
    AnalysisFilter fourth{4, {{"silk", {{"Line width", 3, 10, 0}}}}};
    EXPECT_EQ(f.getFilterResult(uuid, fourth), "");
}
