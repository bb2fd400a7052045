// DFM rule settings: what a host sets comes back, per side, and is still
// there after the library is started again in a new process; a job's rule
// text travels with the job when it is saved and opened again.
#include "orig/jobs_host.h"

#include <filesystem>

using namespace kesto::test;

namespace {

Json::Value paras_of(const char* reply) { return json_of(reply)["paras"]; }

} // namespace

TEST(DfmRules, SettingsComeBackPerSideAndSurviveARestart)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_STREQ(setRelationship(R"({"paras":[{"colname":"pad","rowname":"line"},
            {"relation_value":0.1,"relation_ratio":1.5}]})"), "OK");
        EXPECT_STREQ(setRelationship(R"({"paras":[{"colname":"inner:pad","rowname":"pad",
            "relation_value":0.2,"relation_ratio":0.75}]})"), "OK");
        // A later occurrence of a key wins.
        EXPECT_STREQ(setIntroduction(R"({"paras":[{"attributename":".via","min_resize":9},{"min_resize":0.05,
            "min_ring":0.1,"opt_resize":0.075,"opt_ring":0.125,"is_shave":true}]})"), "OK");
        EXPECT_STREQ(setIntroduction(R"({"paras":[{"attributename":"outer:.smd","min_ring":0.3}]})"), "OK");
        EXPECT_STREQ(setParameter(R"({"paras":[{"rules":"{\"teardrop\":{\"cu_spacing\":100000}}"}]})"), "OK");
        // The values went to the log as the host reads them.
        const std::string info = read_logs("log", "INFO_");
        EXPECT_NE(info.find("colname:pad\nrowname:line\nrelation_value:0.1\nrelation_ratio:1.5"), std::string::npos);
        EXPECT_NE(info.find("attributename :.via\nmin_resize:0.05"), std::string::npos);
        EXPECT_NE(info.find("is_shave:1"), std::string::npos);
    });
    // A new process reads the settings from the working folder.
    in_fresh_process(dir.path(), [] {
        start_library();
        const Json::Value outer = paras_of(getRelationship(R"({"paras":[{"isoutter":true}]})"))["relationship"];
        ASSERT_EQ(outer.size(), 1u) << outer;
        EXPECT_EQ(outer[0]["col_name"], "pad");
        EXPECT_EQ(outer[0]["row_name"], "line");
        EXPECT_EQ(outer[0]["value"].asDouble(), 0.1);
        EXPECT_EQ(outer[0]["ratio"].asDouble(), 1.5);
        const Json::Value inner = paras_of(getRelationship(R"({"paras":[{"isoutter":false}]})"))["relationship"];
        ASSERT_EQ(inner.size(), 2u) << inner; // (pad, line) then (pad, pad)
        EXPECT_EQ(inner[1]["row_name"], "pad");
        EXPECT_EQ(inner[1]["value"].asDouble(), 0.2);

        const Json::Value intro_outer = paras_of(getIntroduction(R"({"paras":[{"isoutter":true}]})"))["getIntroduction"];
        ASSERT_EQ(intro_outer.size(), 2u) << intro_outer;
        EXPECT_EQ(intro_outer[0]["attribute"], ".smd");
        EXPECT_EQ(intro_outer[0]["ar_min"].asDouble(), 0.3);
        EXPECT_EQ(intro_outer[1]["attribute"], ".via");
        EXPECT_EQ(intro_outer[1]["total_min"].asDouble(), 0.05);
        EXPECT_EQ(intro_outer[1]["ar_min"].asDouble(), 0.1);
        EXPECT_EQ(intro_outer[1]["total_opt"].asDouble(), 0.075);
        EXPECT_EQ(intro_outer[1]["ar_opt"].asDouble(), 0.125);
        EXPECT_TRUE(intro_outer[1]["shave"].asBool());
        const Json::Value intro_inner = paras_of(getIntroduction(R"({"paras":[]})"))["getIntroduction"];
        ASSERT_EQ(intro_inner.size(), 1u);
        EXPECT_EQ(intro_inner[0]["attribute"], ".via");

        EXPECT_EQ(std::string(getParameter("{}")),
                  R"({"func":"GETPARAMETER","paras":{"parameter":"{\"teardrop\":{\"cu_spacing\":100000}}"}})" "\n");
        EXPECT_EQ(json_of(getRelationship(R"({"paras":[{"isoutter":true}]})"))["func"], "GETRELATIONSHIP");
    });
}

TEST(DfmRules, BadRequestsAndAnUnreadableFileLoseNothing)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_STREQ(setParameter(R"({"paras":[{"rules":"kept"}]})"), "OK");
        for (const char* bad : {"", "{\"paras\":[{\"rules\":", R"({"paras":[{"rules":[5]}]})"})
            EXPECT_STREQ(setParameter(bad), "ERROR") << bad;
        EXPECT_STREQ(setRelationship(R"({"paras":[{"relation_value":"high"}]})"), "ERROR");
        EXPECT_STREQ(getIntroduction(R"({"paras":[{"isoutter":"yes"}]})"), "ERROR");
        EXPECT_EQ(paras_of(getParameter(""))["parameter"], "kept");
        EXPECT_NE(read_logs("log", "ERROR_").find("setParameter"), std::string::npos);
    });
    write_file(dir / "dfm_rules.json", "{ not json");
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_EQ(paras_of(getParameter(""))["parameter"], "");
        EXPECT_NE(read_logs("log", "ERROR_").find("dfm_rules.json.unreadable"), std::string::npos);
        EXPECT_STREQ(setParameter(R"({"paras":[{"rules":"new"}]})"), "OK");
    });
    EXPECT_EQ(read_file(dir / "dfm_rules.json.unreadable"), "{ not json");
    EXPECT_FALSE(std::filesystem::exists(dir / "dfm_rules.json.part"));
}

TEST(DfmRules, AJobsTextTravelsWithTheJob)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_STREQ(setJobParameter(R"({"paras":{"jobName":"nojob","rules":"x"}})"), "ERROR");
        const std::string errors = read_logs("log", "ERROR_");
        EXPECT_NE(errors.find("setJobParameter failed"), std::string::npos) << errors;

        call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        EXPECT_STREQ(setJobParameter(R"({"paras":{"jobName":"b","rules":"{\"cu_spacing\":75000}"}})"), "OK");
        EXPECT_EQ(paras_of(getJobParameter(R"({"paras":{"job":"b"}})"))["parameter"], R"({"cu_spacing":75000})");
        EXPECT_EQ(paras_of(getJobParameter(R"({"paras":{"job":"other"}})"))["parameter"], "");
        EXPECT_EQ(call(R"({"func":"JOB_SAVE","paras":[{"job":"b"}]})"), "OK");
        call(R"({"func":"CLOSE_JOB","paras":{"jobname":"b"}})");
        EXPECT_EQ(paras_of(getJobParameter(R"({"paras":{"job":"b"}})"))["parameter"], "");
        // Not global: the job's text is not the library's.
        EXPECT_EQ(paras_of(getParameter(""))["parameter"], "");
        const std::string info = read_logs("log", "INFO_");
        EXPECT_NE(info.find("Begin getJobParameter"), std::string::npos);
        EXPECT_NE(info.find("End setJobParameter parse"), std::string::npos);
        EXPECT_NE(info.find("setJobParameter successfully"), std::string::npos);
    });
    EXPECT_EQ(read_file(dir / "jobs/b/user/dfm_parameter"), R"({"cu_spacing":75000})");
    in_fresh_process(dir.path(), [] {
        start_library();
        call(R"({"func":"OPEN_JOB","paras":[{"path":"./jobs"},{"job":"b"}]})");
        EXPECT_EQ(paras_of(getJobParameter(R"({"paras":{"job":"b"}})"))["parameter"], R"({"cu_spacing":75000})");
    });
}
