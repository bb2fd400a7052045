// Inputs that once crashed, hung or corrupted the library, answered cleanly
// and quickly now.
#include "hostile/hostile_support.h"

#include <glog/logging.h>

#include <boost/filesystem.hpp>

namespace {

using namespace kesto::test;
namespace fs = boost::filesystem;

const std::string kMalformed = std::string(KESTO_TESTDATA) + "/malformed/";

void start_library()
{
    write_file("config.json", R"({"log_path":"./log","gmsg_pass":"OK","gmsg_error":"ERROR","job_library":"./jobs"})");
    ASSERT_TRUE(init());
    FLAGS_minloglevel = google::GLOG_WARNING;
    init_func_map();
    ASSERT_STREQ(init_orig_func_map(), "OK");
}

Json::Value json_of(const std::string& text)
{
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    EXPECT_TRUE(reader->parse(text.data(), text.data() + text.size(), &root, &errors)) << text;
    return root;
}

std::string translate_request(const std::string& path, const std::string& layer)
{
    return R"({"func":"FILE_TRANSLATE","paras":{"path":")" + path + R"(","job":"b","step":"pcb","layer":")" + layer +
           R"(","parameters":{"format":"None"}}})";
}

int feature_count(const std::string& layer)
{
    const Json::Value reply = json_of(process((R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"b"},
        {"stepName":"pcb"},{"layerName":")" + layer + R"("}]})").c_str()));
    return std::stoi(reply["featureNum"].asString());
}

std::vector<std::string> files_in(const std::string& dir)
{
    std::vector<std::string> out;
    for (const auto& e : fs::directory_iterator(dir)) out.push_back(e.path().string());
    std::sort(out.begin(), out.end());
    return out;
}

// Files whose numbers overflow 64-bit nanometres, or that stall the reader,
// translated as a host would (identification first): the translation ends
// and says it failed. The readers' own findings are checked in the engine's
// tests.
TEST(MalformedFiles, OverflowingFilesAreReportedNotRead)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_STREQ(process(R"({"func":"CREATE_JOB","paras":{"path":"","job":"b"}})"), "OK");
        ASSERT_STREQ(process(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})"), "OK");
        std::vector<std::string> files = files_in(kMalformed + "excellon");
        for (const std::string& f : files_in(kMalformed + "gerber"))
            if (f.find("step-repeat") == std::string::npos) files.push_back(f);
        ASSERT_GE(files.size(), 8u);
        for (const std::string& file : files) {
            const Outcome o = call_in_child(&process, translate_request(file, "bad").c_str());
            ASSERT_TRUE(answered_cleanly(o, file));
            const Json::Value reply = json_of(o.reply);
            EXPECT_FALSE(reply["paras"]["result"].asBool()) << file << reply;
            EXPECT_FALSE(reply["paras"]["reports"].empty()) << file << reply;
        }
    });
}

// One flash stepped 200 x 200 and 300 x 300 times (the %SR statement of each
// file): every copy is there.
TEST(MalformedFiles, LargeStepAndRepeatPlacesEveryCopy)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_STREQ(process(R"({"func":"CREATE_JOB","paras":{"path":"","job":"b"}})"), "OK");
        ASSERT_STREQ(process(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})"), "OK");
        for (int n : {200, 300}) {
            const std::string layer = "sr" + std::to_string(n);
            const std::string file = kMalformed + "gerber/step-repeat-" + std::to_string(n) + "x" + std::to_string(n) + ".gbr";
            const Json::Value reply = json_of(process(translate_request(file, layer).c_str()));
            EXPECT_TRUE(reply["paras"]["result"].asBool()) << reply;
            EXPECT_EQ(feature_count(layer), n * n);
        }
    });
}

TEST(MalformedRequests, FrameRequestsAreAnsweredOrRaisedAsHostsExpect)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        const std::string deep = read_file(kMalformed + "requests/process-nesting-1001.json");
        EXPECT_TRUE(answered_cleanly(call_in_child(&process, deep.c_str()), "1,001 levels"));
        EXPECT_STREQ(process(deep.c_str()), "ERROR");
        // One level less parses; the handler refuses what it finds.
        std::string shallower = deep;
        shallower.erase(shallower.find('['), 1);
        shallower.erase(shallower.rfind(']'), 1);
        EXPECT_TRUE(answered_cleanly(call_in_child(&process, shallower.c_str()), "1,000 levels"));
        // A "func" that is no string is the one failure hosts have always caught themselves.
        const std::string not_string = read_file(kMalformed + "requests/process-func-not-string.json");
        EXPECT_ANY_THROW(process(not_string.c_str()));
    });
}

// Lengths beyond what 64-bit nanometres hold are refused, and the layer
// keeps what it had (the line a refused stretch leaves whole is checked in
// the engine's tests).
TEST(MalformedRequests, LengthsBeyondTheEnginesRangeAreRefused)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        const std::string open = R"({"func":"OPEN_JOB","paras":[{"path":")" + std::string(KESTO_TESTDATA) +
                                 R"(/odb"},{"job":"sample_design"}]})";
        ASSERT_TRUE(json_of(process(open.c_str()))["paras"]["status"].asBool());
        auto count = [] {
            const Json::Value reply = json_of(process(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"sample_design"},
                {"stepName":"step"},{"layerName":"layer-1"}]})"));
            return std::stoi(reply["featureNum"].asString());
        };
        const int before = count();
        for (const char* name : {"add-line-beyond-int64-nm.json", "strech-feature-beyond-int64-nm.json",
                                 "clip-area-use-profile-margin.json"}) {
            const std::string request = read_file(kMalformed + "requests/" + name);
            const Outcome o = call_in_child(&process, request.c_str());
            ASSERT_TRUE(answered_cleanly(o, name));
            EXPECT_EQ(o.reply, "ERROR") << name;
            EXPECT_STREQ(process(request.c_str()), "ERROR") << name;
        }
        // This one names no open job: the stretch finds no line and, as every
        // stretch the engine declines, is answered with the pass text.
        const std::string no_job = read_file(kMalformed + "requests/strech-feature-box-overflow.json");
        EXPECT_TRUE(answered_cleanly(call_in_child(&process, no_job.c_str()), "box overflow"));
        EXPECT_EQ(count(), before);
        // The largest length held is 10 m; just inside it is a line like any other.
        EXPECT_STREQ(process(R"({"func":"ADD_LINE","paras":[{"job":"sample_design","step":"step","layers":["layer-1"],
            "symbol":"r10","start_x":-9999,"start_y":0,"end_x":9999,"end_y":0}]})"), "OK");
        EXPECT_EQ(count(), before + 1);
        EXPECT_STREQ(process(R"({"func":"ADD_LINE","paras":[{"job":"sample_design","step":"step","layers":["layer-1"],
            "symbol":"r10","start_x":-10001,"start_y":0,"end_x":0,"end_y":0}]})"), "ERROR");
        EXPECT_EQ(count(), before + 1);
    });
}

} // namespace
