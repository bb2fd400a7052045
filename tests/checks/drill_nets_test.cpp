// The drill check on the sample job with and without board nets, as a host
// sends it: the same close pairs, sorted by net when nets are on.
#include "orig/jobs_host.h"

#include <map>

using namespace kesto::test;

namespace {

// Every close-hole category reaches 1 mm, so that the sample has close pairs.
std::map<std::string, unsigned> close_pairs(bool nets)
{
    std::string ranges;
    for (const char* name : {"Close Holes", "Close NPTHs", "Same Net Close PTHs", "Different Net Close PTHs",
                             "Close PTH2NPTH (isolate)", "Close PTH2NPTH (conn)"})
        ranges += std::string(ranges.empty() ? "" : ",") + R"({"name":")" + name + R"(","RedLv":100,"YellowLv":300,"GreenLv":1000})";
    const Json::Value reply = json_of(call(
        std::string(R"({"func":"DRILL_CHECK","paras":[{"job":"sample_design","step":"step","layers":["drill"],)") +
        R"("hole_seperation":true,"use_pth":true,"use_npth":true,"use_via":true,"calculate_board_net_status":)" +
        (nets ? "true" : "false") + R"(,"ranges":{"rangesList":[)" + ranges + "]}}]}"));
    std::map<std::string, unsigned> counts;
    for (const Json::Value& layer : reply["analysis_result"])
        for (const Json::Value& item : layer["result"]) {
            const std::string name = item["check_item"].asString();
            if (name.find("Close") == std::string::npos) continue;
            for (const char* lv : {"lv1count", "lv2count", "lv3count", "lv4count"}) counts[name] += item[lv].asUInt();
        }
    return counts;
}

unsigned total(const std::map<std::string, unsigned>& counts)
{
    unsigned n = 0;
    for (const auto& [name, c] : counts) n += c;
    return n;
}

} // namespace

TEST(DrillNets, SampleJobClosePairsAreSortedByNetAndNoneIsLost)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"("},{"job":"sample_design"}]})"),
                  "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
        const auto plain = close_pairs(false);
        const auto by_net = close_pairs(true);
        ASSERT_GT(total(plain), 0u);
        EXPECT_EQ(total(by_net), total(plain));
        EXPECT_EQ(by_net.count("Close Holes") ? by_net.at("Close Holes") : 0u, 0u);
        const unsigned sorted = (by_net.count("Same Net Close PTHs") ? by_net.at("Same Net Close PTHs") : 0u) +
                                (by_net.count("Different Net Close PTHs") ? by_net.at("Different Net Close PTHs") : 0u);
        EXPECT_GT(sorted, 0u);
    });
}
