// The job database through process, as a host drives it: users made by the
// administrator's tool, the bare JSON replies, a stored job opened again, its
// technology read against the job's own files, and no password in the logs.
#include "jobs_host.h"

#include <boost/filesystem.hpp>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <sstream>

using namespace kesto::test;
namespace fs = boost::filesystem;

namespace {

// The administrator adds a user with the host program; the password goes
// through standard input.
void add_user(const std::string& dir, const std::string& name, const std::string& password)
{
    std::string quoted = "'";
    for (char c : name) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    quoted += "'";
    const std::string command = std::string(KESTO_HOST) + " --config " + dir + " db add-user " + quoted + " 2>/dev/null";
    FILE* tool = popen(command.c_str(), "w");
    ASSERT_NE(tool, nullptr);
    std::fputs((password + "\n").c_str(), tool);
    ASSERT_EQ(pclose(tool), 0) << command;
}

std::string sample_request(const std::string& func, const std::string& paras)
{
    return R"({"func":")" + func + R"(","paras":)" + paras + "}";
}

// Feature records in a features file of the job's own (surfaces count once).
int records_in(const fs::path& features)
{
    std::ifstream in(features.string());
    int n = 0;
    for (std::string line; std::getline(in, line);)
        n += line.size() > 1 && line[1] == ' ' && std::string("LPATBS").find(line[0]) != std::string::npos;
    return n;
}

TEST(JobDbCommands, SignInStoreOpenAndTechnology)
{
    TempDir dir;
    // The tool and the library (start_library) both use the default ./jobdb.
    write_file(dir / "config.json", R"({"log_path":"./log"})");
    const std::string user = "o'neil\"; DROP TABLE users; --";
    add_user(dir.path(), user, "s3cret-Pa55");
    ASSERT_EQ(std::system(("tar xzf " + kSampleFolder + "/sample_design.tgz -C " + dir.path()).c_str()), 0);

    in_fresh_process(dir.path(), [&] {
        start_library();
        Json::Value login(Json::objectValue);
        login["name"] = user;
        login["pwd"] = "s3cret-Pa55";
        Json::Value wrong = login;
        wrong["pwd"] = "s3cret-Pa56";
        const std::string login_text = Json::FastWriter().write(login), wrong_text = Json::FastWriter().write(wrong);

        EXPECT_EQ(call(R"({"func":"HASLOGIN","paras":"not read"})"), "0\n");
        EXPECT_EQ(call(sample_request("LOGIN", wrong_text)), "false\n");
        EXPECT_EQ(call(R"({"func":"LOGIN","paras":{"name":["ann"],"pwd":"x"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"LOGIN","paras":"not an object"})"), "ERROR");
        call(R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"("},{"job":"sample_design"}]})");
        EXPECT_EQ(call(R"({"func":"INSETJOBTODB","paras":{"job":"sample_design"}})"), "false\n");
        EXPECT_EQ(call(R"({"func":"DMS_CREATE_JOB","paras":{"job":"fresh"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"LOADJOBFROMDB","paras":{"job_id":1,"odb_jobname":"copy","db_jobname":"sample_design"}})"),
                  "false\n");

        EXPECT_EQ(call(sample_request("LOGIN", login_text)), "true\n");
        EXPECT_EQ(hasLogin("garbage"), std::string("1\n"));
        EXPECT_EQ(call(R"({"func":"INSETJOBTODB","paras":{"job":"sample_design"}})"), "true\n");
        EXPECT_EQ(call(R"({"func":"INSETJOBTOROBOTDB","paras":{"job":"sample_design","robotVersion":"v3"}})"), "true\n");
        EXPECT_EQ(call(R"({"func":"INSETJOBTODB","paras":{"job":"not_open"}})"), "false\n");
        EXPECT_EQ(call(R"({"func":"INSETJOBTODB","paras":{"job":7}})"), "false\n");
        EXPECT_EQ(call(R"({"func":"LOADJOBFROMDB","paras":{"job_id":"one","odb_jobname":"copy","db_jobname":"sample_design"}})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"LOADJOBFROMDB","paras":{"job_id":1,"odb_jobname":"copy","db_jobname":"sample_design"}})"),
                  "true\n");

        // Every layer of the stored job has the records of the job's own files.
        int layers = 0;
        for (fs::directory_iterator it(fs::path("sample_design/steps/step/layers")), end; it != end; ++it) {
            const std::string layer = it->path().filename().string();
            if (!fs::exists(it->path() / "features")) continue;
            const Json::Value count = json_of(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"copy"},)"
                                                   R"({"stepName":"step"},{"layerName":")" + layer + R"("}]})"));
            EXPECT_EQ(count["featureNum"].asString(), std::to_string(records_in(it->path() / "features"))) << layer;
            ++layers;
        }
        EXPECT_GT(layers, 20);

        // The technology, against the matrix and profile files.
        const Json::Value tech = json_of(call(R"({"func":"GET_JSON_FROM_DMS","paras":{"job_id":1}})"));
        std::ifstream matrix("sample_design/matrix/matrix");
        std::stringstream text;
        text << matrix.rdbuf();
        int copper = 0;
        for (size_t at = text.str().find("LAYER {"); at != std::string::npos; at = text.str().find("LAYER {", at + 1)) {
            const std::string block = text.str().substr(at, text.str().find('}', at) - at);
            copper += block.find("CONTEXT=BOARD") != std::string::npos &&
                      (block.find("TYPE=SIGNAL") != std::string::npos || block.find("TYPE=MIXED") != std::string::npos ||
                       block.find("TYPE=POWER_GROUND") != std::string::npos);
        }
        EXPECT_EQ(tech["layer_count"].asInt(), copper);
        EXPECT_EQ(tech["revision"].asInt(), 2);
        double xmin = 1e9, xmax = -1e9, ymin = 1e9, ymax = -1e9;
        std::ifstream profile("sample_design/steps/step/profile");
        for (std::string line; std::getline(profile, line);) {
            std::istringstream words(line);
            std::string kind;
            double x, y;
            if (words >> kind >> x >> y && (kind == "OB" || kind == "OS" || kind == "OC")) {
                xmin = std::min(xmin, x), xmax = std::max(xmax, x), ymin = std::min(ymin, y), ymax = std::max(ymax, y);
            }
        }
        EXPECT_NEAR(tech["board_width"].asDouble(), (xmax - xmin) * 25.4, 1e-6);
        EXPECT_NEAR(tech["board_height"].asDouble(), (ymax - ymin) * 25.4, 1e-6);
        EXPECT_EQ(tech["attributes"][".ipc_class"].asString(), "class1");
        EXPECT_GT(tech["min_line"].asDouble(), 0);
        EXPECT_GT(tech["min_space"].asDouble(), 0);
        EXPECT_EQ(call(R"({"func":"GET_JSON_FROM_DMS","paras":{"job_id":42}})"), "ERROR");

        EXPECT_EQ(call(R"({"func":"DMS_CREATE_JOB","paras":{"job":"fresh"}})"), "OK");
        EXPECT_EQ(call(R"({"func":"DMS_CREATE_JOB","paras":{"job":"fresh"}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"CLOSE_JOB","paras":{"jobname":"fresh"}})"), "{\"status\":true}\n");
        EXPECT_EQ(call(R"({"func":"LOADJOBFROMDB","paras":{"job_id":0,"odb_jobname":"fresh","db_jobname":"fresh"}})"),
                  "true\n");

        // A refused sign-in signs the station out.
        EXPECT_EQ(call(sample_request("LOGIN", wrong_text)), "false\n");
        EXPECT_EQ(call(R"({"func":"HASLOGIN"})"), "0\n");
    });

    const std::string logs = read_logs(dir / "log", "");
    EXPECT_NE(logs.find("Begin login"), std::string::npos);
    EXPECT_EQ(logs.find("s3cret"), std::string::npos) << "a password reached the log";
}

} // namespace
