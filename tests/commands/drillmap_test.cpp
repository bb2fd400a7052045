// Drill maps of the demonstration board's drill file.
#include "orig/jobs_host.h"

#include <gtest/gtest.h>

using namespace kesto::test;

namespace {

TEST(DrillMap, MarksEveryHoleAndListsEveryTool)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        const std::string board = std::string(KESTO_SOURCE_DIR) + "/examples/board/";
        call(R"({"func":"JOB_CREATE","paras":{"job":"m"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"m","stepname":"pcb","index":1}})");
        call(R"({"func":"FILE_TRANSLATE","paras":{"path":")" + board + R"(demo-drill.drl","job":"m","step":"pcb",
            "layer":"drill","parameters":{"format":"None"}}})");
        EXPECT_EQ(call(R"({"func":"DRILLMAP_OUTPUT","paras":[{"job":"m","step":"pcb","drilllayer":"drill",
            "outputlayer":"map","unit":"MM"}]})"),
                  "OK");
        // 22 hole markers, then the heading and a marker and a line of text for each of the 4 tools.
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"m","stepName":"pcb","layerName":"map"}]})"),
                  "{\"featureNum\":\"31\",\"result\":\"OK\"}\n");
        // Made again, the map replaces itself.
        call(R"({"func":"DRILLMAP_OUTPUT","paras":[{"job":"m","step":"pcb","drilllayer":"drill","outputlayer":"map",
            "unit":"inch"}]})");
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"m","stepName":"pcb","layerName":"map"}]})"),
                  "{\"featureNum\":\"31\",\"result\":\"OK\"}\n");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"m","step":"pcb","layer":"empty","index":3}})");
        EXPECT_EQ(call(R"({"func":"DRILLMAP_OUTPUT","paras":[{"job":"m","step":"pcb","drilllayer":"empty",
            "outputlayer":"map2","unit":"mm"}]})"),
                  "drillinfo empty");
    });
}

} // namespace
