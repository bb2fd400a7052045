// The first table's job and matrix commands, called through process and
// through their exports as hosts do.
#include "orig/jobs_host.h"

#include <boost/filesystem.hpp>

using namespace kesto::test;
namespace fs = boost::filesystem;

namespace {

void open_board()
{
    call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
    for (const char* layer : {"top", "inner", "bot"})
        call(std::string(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","layer":")") + layer + R"(","index":9}})");
}

} // namespace

TEST(MatrixCommands, RowsAndColumnsByPosition)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        open_board();
        EXPECT_EQ(call(R"({"func":"LAYER_COPY","paras":[{"job":"board"},{"org_layer_index":1},{"dst_layer":"top2"},
                          {"poi_layer_index":2}]})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"LAYER_INSERT","paras":[{"job":"board","poi_layer_index":1}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"MATRIX_DELETE_ROW","paras":[{"job":"board"},{"layer_index":1}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"MATRIX_MOVE_ROW","paras":[{"job":"board"},{"org_layer_index":4},{"dst_layer_index":1}]})"),
                  "OK");
        EXPECT_EQ(matrix_of("board"), "col pcb\n1 bot MISC SIGNAL\n2 top MISC SIGNAL\n3 top2 MISC SIGNAL\n4 inner MISC SIGNAL\n");

        EXPECT_EQ(call(R"({"func":"STEP_INSERT","paras":[{"job":"board"},{"poi_step_index":1}]})"), "OK");
        // Through process "STEP_COPY" is the second table's step_copy...
        EXPECT_EQ(call(R"({"func":"STEP_COPY","paras":{"src_jobname":"board","src_step":"pcb","dst_jobname":"board",
                          "dst_step":"panel"}})"),
                  "OK");
        // ...and the first table's copy_step answers through its export.
        EXPECT_STREQ(copy_step(R"({"paras":[{"job":"board","org_step_index":2,"dst_step":"","poi_step_index":1}]})"), "OK");
        EXPECT_EQ(json_of(call(R"({"func":"GET_MATRIX","paras":{"job":"board"}})"))["paras"]["steps"].toStyledString(),
                  "[\n\t\"pcb+1\",\n\t\"\",\n\t\"pcb\",\n\t\"panel\"\n]\n");
        EXPECT_EQ(call(R"({"func":"MATRIX_DELETE_COL","paras":[{"job":"board","step_index":2}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"MATRIX_MOVE_COL","paras":[{"job":"board","org_step_index":3,"dst_step_index":1}]})"), "OK");
        EXPECT_EQ(matrix_of("board").substr(0, 31), "col panel\ncol pcb+1\ncol pcb\n1 b");
        // Refused changes still answer the pass text; the matrix shows nothing moved.
        EXPECT_EQ(call(R"({"func":"MATRIX_MOVE_COL","paras":[{"job":"board","org_step_index":7,"dst_step_index":1}]})"), "OK");
        EXPECT_EQ(matrix_of("board").substr(0, 31), "col panel\ncol pcb+1\ncol pcb\n1 b");
        EXPECT_EQ(call(R"({"func":"JOB_SAVE","paras":[{"job":"board"}]})"), "OK");
        EXPECT_TRUE(fs::exists("jobs/board/steps/panel/layers/top2/features"));
    });
}

TEST(MatrixCommands, OpenJobReadsPositionallyAndAlwaysSaysTrue)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        const std::string yes = "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n";
        // Both keys in element 0: only "path" is read there, so the job name is empty.
        EXPECT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"(","job":"sample_design"}]})"), yes);
        EXPECT_EQ(call(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"),
                  "{\"func\":\"IS_JOB_OPENED\",\"paras\":{\"status\":false}}\n");
        EXPECT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":"/nowhere"},{"job":"x"}]})"), yes);
        EXPECT_EQ(call(R"({"func":"OPEN_JOB","paras":{"path":"/nowhere","job":"x"}})"), "ERROR");
        EXPECT_STREQ(open_job(R"({"paras":[{"path":")" KESTO_TESTDATA R"(/odb"},{"job":"sample_design"}]})"), yes.c_str());
        EXPECT_EQ(call(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"),
                  "{\"func\":\"IS_JOB_OPENED\",\"paras\":{\"status\":true}}\n");
        const std::string log = read_logs("log", "INFO_");
        EXPECT_NE(log.find("open_job -> path:/nowhere, jobName:x"), std::string::npos);
        EXPECT_NE(log.find("open_job true"), std::string::npos);
        EXPECT_NE(log.find("End open_job"), std::string::npos);
        EXPECT_NE(read_logs("log", "ERROR_").find("no job 'x'"), std::string::npos);
    });
}

TEST(MatrixCommands, EntityUnitsSaveAndCounts)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_EQ(call(R"({"func":"OPEN_ENTITY","paras":[{"job":"sample_design","path":")" + kSampleFolder +
                       R"(","type":"matrix","iconic":false}]})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"OPEN_ENTITY","paras":[{"job":"nothing","path":"/nowhere"}]})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"SET_UNITS","paras":[{"units":"INCH"}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"SET_UNITS","paras":[{"units":"furlong"}]})"), "OK");
        EXPECT_NE(read_logs("log", "ERROR_").find("unknown unit 'furlong'"), std::string::npos);
        EXPECT_EQ(call(R"({"func":"JOB_SAVE","paras":[{}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"JOB_SAVE","paras":{"job":"x"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"sample_design"},{"stepName":"step"},
                          {"layerName":"drill"}]})"),
                  "{\"featureNum\":\"1972\",\"result\":\"OK\"}\n");
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"sample_design"},{"stepName":"x"},
                          {"layerName":"drill"}]})"),
                  "ERROR");
        EXPECT_NE(read_logs("log", "ERROR_").find("get_layer_feature_count failed"), std::string::npos);
    });
}
