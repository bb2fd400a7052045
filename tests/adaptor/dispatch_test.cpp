// The two dispatchers and their tables, as a host drives them. Which handler
// ran is read from the log: a handler not built yet records its own name.
#include "adaptor/dispatch.h"
#include "adaptor/exports.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <string>

using kesto::test::TempDir;
using kesto::test::in_fresh_process;
using kesto::test::read_logs;
using kesto::test::write_file;
namespace adaptor = kesto::adaptor;

namespace {

size_t count(const std::string& text, const std::string& what)
{
    size_t n = 0;
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

class Dispatch : public ::testing::Test {
protected:
    void SetUp() override
    {
        write_file(dir / "config.json", R"({"log_path":"log","gmsg_pass":"PASS","gmsg_error":"ERR"})");
    }
    std::string info() const { return read_logs(dir / "log", "INFO_"); }
    std::string errors() const { return read_logs(dir / "log", "ERROR_"); }
    void started(const std::function<void()>& body)
    {
        in_fresh_process(dir.path(), [&] {
            ASSERT_TRUE(init());
            init_func_map();
            init_orig_func_map();
            body();
        });
    }
    TempDir dir;
};

TEST_F(Dispatch, TablesHoldEveryRowAndTheJointTableLetsTheSecondWin)
{
    started([&] {
        EXPECT_EQ(adaptor::first_table().size(), 93u);
        EXPECT_EQ(adaptor::second_table().size(), 235u);
        EXPECT_EQ(adaptor::joint_table().size(), 327u);
        EXPECT_EQ(adaptor::first_table().at("STEP_COPY"), &copy_step);
        EXPECT_EQ(adaptor::joint_table().at("STEP_COPY"), &step_copy);
        EXPECT_EQ(adaptor::joint_table().at("GLOBAL_RESIZE"), &resize_global);
        EXPECT_EQ(adaptor::joint_table().at("RESIZE_GLOBAL"), &resize_Global);
        // Filling again adds nothing.
        init_func_map();
        init_orig_func_map();
        EXPECT_EQ(adaptor::first_table().size(), 93u);
        EXPECT_EQ(adaptor::joint_table().size(), 327u);
    });
}

TEST_F(Dispatch, ProcessRoutesByExactCommandName)
{
    started([&] {
        process(R"({"func":"STEP_COPY","paras":{}})");
        EXPECT_STREQ(process(R"({"func":"GLOBAL_RESIZE","paras":[]})"), "PASS");
        // The second table's command names no job: with none open it refuses.
        EXPECT_STREQ(process(R"({"func":"RESIZE_GLOBAL","paras":{}})"), "ERR");
        EXPECT_STREQ(process(R"({"func":"SET_CONFIG_PATH","paras":{"path":"/r"}})"), "PASS");
        const std::string log = info();
        const std::string err = errors();
        EXPECT_NE(log.find("Begin step_copy"), std::string::npos);
        EXPECT_EQ(log.find("copy_step"), std::string::npos);
        EXPECT_NE(log.find("Begin resize_global\n"), std::string::npos);
        EXPECT_NE(log.find("Begin resize_Global\n"), std::string::npos);
        EXPECT_NE(log.find("] SET_CONFIG_PATH\n"), std::string::npos) << "the command name is logged alone";
    });
}

TEST_F(Dispatch, ProcessAnswersUnknownLowerCaseAndMalformedRequests)
{
    started([&] {
        EXPECT_STREQ(process(R"({"func":"open_job","paras":[]})"), "ERR");
        EXPECT_STREQ(process(R"({"func":"NO_SUCH"})"), "ERR");
        EXPECT_EQ(count(info(), "func not found in map!"), 2u);
        EXPECT_STREQ(process("{not json"), "ERR");
        EXPECT_STREQ(process(""), "ERR");
        EXPECT_STREQ(process("[1,2]"), "ERR");
        // A member sorting before "func" makes the request a no-op answered with the pass text.
        const size_t records = count(info(), "\n");
        EXPECT_STREQ(process(R"({"action":1,"func":"OPEN_JOB"})"), "PASS");
        EXPECT_STREQ(process(R"({"Func":"X","func":"OPEN_JOB"})"), "PASS");
        EXPECT_STREQ(process("{}"), "PASS");
        EXPECT_EQ(count(info(), "\n"), records) << "nothing is logged for them";
        // A "func" that is no string throws to the host.
        EXPECT_ANY_THROW(process(R"({"func":["OPEN_JOB"]})"));
    });
}

TEST_F(Dispatch, ProcessBeforeTheJointTableIsBuiltFindsNothing)
{
    in_fresh_process(dir.path(), [&] {
        ASSERT_TRUE(init());
        EXPECT_STREQ(process(R"({"func":"SET_CONFIG_PATH","paras":{}})"), "ERR");
        init_func_map();
        EXPECT_STREQ(process(R"({"func":"OPEN_JOB","paras":[]})"), "ERR");
        EXPECT_EQ(count(info(), "func not found in map!"), 2u);
        // The second table built before the first: the joint table lacks the first until rebuilt.
        init_orig_func_map();
        EXPECT_EQ(adaptor::joint_table().size(), 327u);
    });
}

TEST_F(Dispatch, OrigProcessWalksFromTheSmallestKey)
{
    started([&] {
        const size_t before = count(info(), "Begin ");
        EXPECT_STREQ(orig_process(R"({"func":"GET_MATRIX","paras":{}})"), "func not found in map!");
        EXPECT_EQ(count(info(), "Begin "), before) << "no handler runs";
        EXPECT_STREQ(orig_process(R"({"func":"ADDFEATURE","paras":{}})"), "func not found in map!");
        EXPECT_EQ(count(info(), "Begin Addfeature"), 1u) << "the smallest key runs once";
        EXPECT_STREQ(orig_process("not json"), "PASS");
        EXPECT_STREQ(orig_process(R"({"a":1,"func":"ADDFEATURE"})"), "PASS");
        EXPECT_STREQ(orig_process(R"({"func":{"x":1}})"), "ERR");
    });
}

} // namespace
