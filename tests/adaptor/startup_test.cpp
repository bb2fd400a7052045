// Start-up as a host sees it: the configuration, the log files, and the
// resource directory. Each case runs in a fresh process because logging and
// the configuration are process-wide.
#include "adaptor/exports.h"
#include "engine/config/configuration.h"
#include "support/test_support.h"

#include <glog/logging.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

using kesto::test::TempDir;
using kesto::test::in_fresh_process;
using kesto::test::read_logs;
using kesto::test::write_file;

extern "C" char* set_config_path(const char*);

namespace {

bool is_dir(const std::string& path)
{
    struct stat st {};
    return stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

TEST(Startup, ValidConfigurationSetsUpLoggingInNestedDirectory)
{
    TempDir dir;
    write_file(dir / "config.json", R"({"log_path":"logs/a/b/c","gmsg_pass":"PASS!","gmsg_error":"FAIL!"})");
    in_fresh_process(dir.path(), [&] {
        EXPECT_TRUE(init());
        const std::string logs = dir / "logs/a/b/c";
        ASSERT_TRUE(is_dir(logs));
        EXPECT_NE(read_logs(logs, "INFO_").find("End initlog"), std::string::npos);
        // One file per severity written so far, with the fixed prefixes and extension.
        LOG(ERROR) << "probe";
        EXPECT_EQ(system(("ls " + logs + "/INFO_*.txt >/dev/null").c_str()), 0);
        EXPECT_EQ(system(("ls " + logs + "/WARNING_*.txt >/dev/null").c_str()), 0);
        EXPECT_EQ(system(("ls " + logs + "/ERROR_*.txt >/dev/null").c_str()), 0);
        EXPECT_STREQ(init_func_map(), "FAIL!"); // always the error text, also after a full fill
        EXPECT_STREQ(init_orig_func_map(), "PASS!");
        // A second init reloads the file and keeps the one log set-up.
        EXPECT_TRUE(init());
        EXPECT_TRUE(KESTO::configuration_instance::instance().log_initialised);
    });
}

TEST(Startup, MissingConfigurationReturnsFalseButLogs)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        EXPECT_FALSE(init());
        // The default log directory is made and used all the same.
        EXPECT_NE(read_logs(dir / "log", "INFO_").find("End initlog"), std::string::npos);
        // The configuration appears later: the next init succeeds without a second set-up.
        write_file(dir / "config.json", R"({"log_path":"elsewhere"})");
        EXPECT_TRUE(init());
        EXPECT_FALSE(is_dir(dir / "elsewhere"));
    });
}

TEST(Startup, BadConfigurationTextReturnsFalse)
{
    TempDir dir;
    write_file(dir / "config.json", "{not json");
    in_fresh_process(dir.path(), [&] { EXPECT_FALSE(init()); });
}

TEST(Startup, EmptyLogPathMakesNoDirectoryAndNeverRetries)
{
    TempDir dir;
    write_file(dir / "config.json", R"({"log_path":""})");
    in_fresh_process(dir.path(), [&] {
        EXPECT_TRUE(init());
        write_file(dir / "config.json", R"({"log_path":"late"})");
        EXPECT_TRUE(init());
        EXPECT_FALSE(is_dir(dir / "late"));
        EXPECT_FALSE(is_dir(dir / "log"));
    });
}

TEST(Startup, UncreatableLogDirectoryThrowsToTheHost)
{
    TempDir dir;
    write_file(dir / "blocker", "a file where a directory should be");
    write_file(dir / "config.json", R"({"log_path":"blocker/logs"})");
    in_fresh_process(dir.path(), [&] { EXPECT_ANY_THROW(init()); });
}

TEST(Startup, InitLogPassesItsNumberToTheCommonLibrary)
{
    TempDir dir;
    in_fresh_process(dir.path(), [&] {
        EXPECT_TRUE(init_log(0));
        EXPECT_TRUE(init_log(2));
        EXPECT_FALSE(init_log(-1));
    });
}

TEST(Startup, SetConfigPathReadsPathAndToleratesBadText)
{
    TempDir dir;
    write_file(dir / "config.json", R"({"log_path":"log","gmsg_pass":"P","gmsg_error":"E"})");
    in_fresh_process(dir.path(), [&] {
        ASSERT_TRUE(init());
        EXPECT_STREQ(set_config_path(R"({"func":"SET_CONFIG_PATH","paras":{"path":"/res"}})"), "P");
        EXPECT_EQ(Common::path(), "/res");
        // Not JSON: the empty path is set and the pass text returned.
        EXPECT_STREQ(set_config_path("this is not json"), "P");
        EXPECT_EQ(Common::path(), "");
        // A number converts to its decimal text; an array cannot convert.
        EXPECT_STREQ(set_config_path(R"({"paras":{"path":42}})"), "P");
        EXPECT_EQ(Common::path(), "42");
        EXPECT_STREQ(set_config_path(R"({"paras":{"path":[1]}})"), "E");
        EXPECT_EQ(Common::path(), "42") << "a failed read must not change the path";
        EXPECT_STREQ(set_config_path(R"({"paras":["path"]})"), "E");
        const std::string info = read_logs(dir / "log", "INFO_");
        EXPECT_NE(info.find("Begin set_config_path parse"), std::string::npos);
        EXPECT_NE(info.find("End set_config_path parse"), std::string::npos);
    });
}

} // namespace
