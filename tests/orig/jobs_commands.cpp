// Job, step and layer management through process, as a host sends it.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

using namespace kesto::test;
namespace fs = boost::filesystem;

TEST(JobsCommands, MatrixScriptSavesAndReadsBackTheSame)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"("},{"job":"sample_design"}]})"),
                  "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
        const std::string before = matrix_of("sample_design");
        ASSERT_NE(before.find("1 comp_+_top BOARD COMPONENT"), std::string::npos) << before;

        // Copy layer-1 (row 5) to row 1, as "top_copy".
        EXPECT_EQ(call(R"({"func":"COPY_LAYER","paras":{"jobname":"sample_design","dst_layer":"top_copy",
                          "org_layer_index":5,"poi_layer_index":1}})"),
                  "{\"func\":\"COPY_LAYER\",\"paras\":{\"newname\":\"top_copy\"}}\n");
        // A blank row at 2, named by change_matrix; then moved to the end.
        EXPECT_EQ(call(R"({"func":"LAYER_INSERT","paras":[{"job":"sample_design"},{"poi_layer_index":2}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"CHANGE_MATRIX","paras":{"jobname":"sample_design","old_layer_index":2,
                          "new_layer_info":{"name":"notes","context":"MISC","type":"DOCUMENT"}}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"MATRIX_MOVE_ROW","paras":[{"job":"sample_design"},{"org_layer_index":2},
                          {"dst_layer_index":28}]})"),
                  "OK");
        // A second step copied from the first, then moved in front of it.
        const Json::Value copied = json_of(call(
            R"({"func":"COPY_STEP","paras":{"jobname":"sample_design","dst_step":"","org_step_index":1,"poi_step_index":2}})"));
        EXPECT_EQ(copied["paras"]["newname"].asString(), "step+1");
        EXPECT_EQ(call(R"({"func":"MATRIX_MOVE_COL","paras":[{"job":"sample_design","org_step_index":2,"dst_step_index":1}]})"),
                  "OK");
        const std::string changed = matrix_of("sample_design");
        EXPECT_EQ(changed.substr(0, 26), "col step+1\ncol step\n1 top_");
        EXPECT_NE(changed.find("28 notes MISC DOCUMENT"), std::string::npos) << changed;

        EXPECT_EQ(call(R"({"func":"SAVE_JOB_AS","paras":{"path":"./saved","job":"sample_design"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"CLOSE_JOB","paras":{"jobname":"sample_design"}})"), "{\"status\":true}\n");
        EXPECT_EQ(call(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"),
                  "{\"func\":\"IS_JOB_OPENED\",\"paras\":{\"status\":false}}\n");
        call(R"({"func":"OPEN_JOB","paras":[{"path":"./saved"},{"job":"sample_design"}]})");
        EXPECT_EQ(matrix_of("sample_design"), changed);
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"sample_design"},
                          {"stepName":"step+1"},{"layerName":"top_copy"}]})"),
                  "{\"featureNum\":\"11868\",\"result\":\"OK\"}\n");
    });
}

TEST(JobsCommands, CreateBuildSaveRenameDelete)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})"), "OK");
        EXPECT_TRUE(fs::exists("jobs/board/matrix/matrix"));
        EXPECT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"board"}})"), "ERROR"); // exists: refused
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"board","stepname":"panel","index":0}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"pcb","layer":"top","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"board","step":"","layer":"bot","index":9}})");
        call(R"({"func":"MOVE_LAYER","paras":{"jobname":"board","org_layername":"bot","dst_layername":"top"}})");
        EXPECT_EQ(matrix_of("board"), "col pcb\ncol panel\n1 bot MISC SIGNAL\n2 top MISC SIGNAL\n");
        call(R"({"func":"MOVE_LAYER_POI","paras":{"jobname":"board","org_layer_index":1,"dst_layer_index":2}})");
        call(R"({"func":"DELETE_STEP","paras":{"jobname":"board","step_index":2}})");
        EXPECT_EQ(matrix_of("board"), "col pcb\n1 top MISC SIGNAL\n2 bot MISC SIGNAL\n");
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"board","stepName":"pcb","layerName":"top"}]})"),
                  "{\"featureNum\":\"0\",\"result\":\"OK\"}\n");
        EXPECT_EQ(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"board","stepName":"pcb","layerName":"x"}]})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"SAVE_JOB","paras":{"jobname":"board"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"JOB_RENAME","paras":{"src_jobname":"board","dst_jobname":"board2"}})"), "OK");
        EXPECT_FALSE(fs::exists("jobs/board"));
        EXPECT_EQ(matrix_of("board2"), "col pcb\n1 top MISC SIGNAL\n2 bot MISC SIGNAL\n");
        call(R"({"func":"JOB_DETAILED_COPY","paras":{"src_jobname":"board2","dst_jobname":"only_top",
                 "include_layers":true,"layers":["TOP"]}})");
        call(R"({"func":"OPEN_JOB","paras":[{"path":"./jobs"},{"job":"only_top"}]})");
        EXPECT_EQ(matrix_of("only_top"), "col pcb\n1 top MISC SIGNAL\n");
        EXPECT_EQ(call(R"({"func":"JOB_DELETE","paras":{"src_jobname":"board2"}})"), "OK");
        EXPECT_FALSE(fs::exists("jobs/board2"));
        EXPECT_EQ(call(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"board2"}})"),
                  "{\"func\":\"IS_JOB_OPENED\",\"paras\":{\"status\":false}}\n");
        // Deleting something that is not a job of the library is refused.
        EXPECT_EQ(call(R"({"func":"JOB_DELETE","paras":{"src_jobname":"../jobs"}})"), "OK");
        EXPECT_TRUE(fs::exists("jobs/only_top"));
    });
}

TEST(JobsCommands, RepliesAndRecordsOfTheQuirks)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_EQ(call(R"({"func":"CLOSE_JOB","paras":{"jobname":"nothing"}})"), "{\"status\":false}\n");
        EXPECT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"a/b"}})"), "ERROR");
        EXPECT_NE(read_logs("log", "ERROR_").find("Create_job failed"), std::string::npos);
        EXPECT_EQ(call(R"({"func":"SAVE_JOB","paras":{"jobname":"nothing"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"DELETE_LAYER","paras":{"jobname":"x","layer_index":"one"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"IS_JOB_CHANGED","paras":{"src_jobname":"x"}})"), "OK");
        const std::string log = read_logs("log", "INFO_");
        EXPECT_NE(log.find("Begin close_job parse"), std::string::npos);
        EXPECT_NE(log.find("End close_job parse"), std::string::npos);
        EXPECT_NE(read_logs("log", "ERROR_").find("delete_layer failed"), std::string::npos);
        EXPECT_NE(read_logs("log", "ERROR_").find("Save_Job: job 'nothing' is not open"), std::string::npos);
    });
}

TEST(JobsCommands, ProfileBoxAndGraphicsOfTheSample)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"(/sample_design.tgz"},{"job":""}]})");
        // The profile runs from x -6.575 to 0 inch and y 0 to 5.28 inch; its
        // corners are rounded, so the extent comes from the arcs.
        EXPECT_EQ(call(R"({"func":"PROFILE_BOX","paras":{"job":"sample_design","step":"STEP"}})"),
                  "{\"func\":\"PROFILE_BOX\",\"paras\":{\"Xmax\":0,\"Xmin\":-167005000,\"Ymax\":134112000,\"Ymin\":0}}\n");
        EXPECT_EQ(call(R"({"func":"PROFILE_BOX","paras":{"job":"sample_design","step":"none"}})"), "ERROR");
        call(R"({"func":"INSERT_LAYER","paras":{"jobname":"sample_design","poi_layer_index":1}})");
        const Json::Value graphics = json_of(call(R"({"func":"GET_GRAPHICS","paras":{"job":"sample_design"}})"));
        const Json::Value matrix = json_of(call(R"({"func":"GET_MATRIX","paras":{"job":"sample_design"}})"));
        EXPECT_EQ(matrix["paras"]["info"].size(), 27u);   // with the blank row
        EXPECT_EQ(graphics["paras"]["info"].size(), 26u); // without it
        EXPECT_EQ(graphics["paras"]["info"][0]["name"].asString(), "comp_+_top");
        EXPECT_EQ(graphics["paras"]["info"][0]["row"].asInt(), 2);
    });
}
