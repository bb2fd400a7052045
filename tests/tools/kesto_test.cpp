// The kesto host program as a user runs it.
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <sys/wait.h>

using kesto::test::TempDir;
using kesto::test::write_file;

namespace {

struct Outcome {
    int status;
    std::string out;
};

Outcome kesto(const std::string& args, const std::string& input = "")
{
    TempDir scratch;
    write_file(scratch / "in", input);
    const std::string command = std::string(KESTO_HOST) + " " + args + " < " + scratch / "in" + " 2>&1";
    FILE* p = popen(command.c_str(), "r");
    std::string out;
    char buf[4096];
    while (size_t n = fread(buf, 1, sizeof buf, p)) out.append(buf, n);
    const int status = pclose(p);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, out};
}

TEST(Kesto, RunSendsEachLineThroughProcess)
{
    TempDir dir;
    write_file(dir / "config.json", R"({"gmsg_pass":"fine","gmsg_error":"bad"})");
    write_file(dir / "script", "# a comment\n{\"func\":\"SET_CONFIG_PATH\",\"paras\":{\"path\":\"x\"}}\n\n{\"func\":\"NOPE\"}\n");
    const Outcome r = kesto("--quiet --config " + dir.path() + " run " + dir / "script");
    EXPECT_EQ(r.status, 0) << r.out;
    EXPECT_NE(r.out.find("fine\nbad\n"), std::string::npos) << r.out;
    const Outcome piped = kesto("--quiet --config " + dir.path() + " run", "{\"func\":\"NOPE\"}\n");
    EXPECT_NE(piped.out.find("bad\n"), std::string::npos) << piped.out;
}

// With no log files ("log_path" empty) the records would all go to standard
// error; --quiet keeps them off it, and only the replies are printed.
TEST(Kesto, QuietMeansQuietWithoutLogFiles)
{
    TempDir dir;
    write_file(dir / "config.json", R"({"log_path":"","gmsg_pass":"fine","gmsg_error":"bad"})");
    const std::string script = "{\"func\":\"SET_CONFIG_PATH\",\"paras\":{\"path\":\"x\"}}\n{\"func\":\"LAYER_EXPORT\",\"paras\":{}}\n";
    const Outcome loud = kesto("--config " + dir.path() + " run", script);
    EXPECT_NE(loud.out.find("set_config_path"), std::string::npos) << "records reach standard error: " << loud.out;
    const Outcome quiet = kesto("--quiet --config " + dir.path() + " run", script);
    EXPECT_EQ(quiet.status, 0);
    EXPECT_EQ(quiet.out, "fine\nbad\n");
}

TEST(Kesto, CallReachesAnyExportByName)
{
    TempDir dir;
    write_file(dir / "config.json", R"({"gmsg_pass":"fine","gmsg_error":"bad"})");
    EXPECT_NE(kesto("--quiet --config " + dir.path() + " call set_snap_features '{}'").out.find("bad"), std::string::npos);
    const Outcome missing = kesto("--quiet --config " + dir.path() + " call no_such_export '{}'");
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find("no function named no_such_export"), std::string::npos);
}

TEST(Kesto, RefusesToStartWithoutConfigurationOrInput)
{
    TempDir dir;
    const Outcome no_config = kesto("--config " + dir.path() + " run", "{}\n");
    EXPECT_EQ(no_config.status, 1);
    EXPECT_NE(no_config.out.find("no readable config.json"), std::string::npos);
    write_file(dir / "config.json", "{}");
    EXPECT_EQ(kesto("--config " + dir.path() + " run " + dir / "absent").status, 1);
    EXPECT_EQ(kesto("--config " + dir / "absent" + " run").status, 1);
    EXPECT_EQ(kesto("").status, 2);
    EXPECT_EQ(kesto("frobnicate").status, 2);
}

TEST(Kesto, CommandsListsTheJointTable)
{
    const Outcome r = kesto("commands");
    EXPECT_EQ(r.status, 0);
    size_t lines = 0;
    for (char c : r.out) lines += c == '\n';
    EXPECT_EQ(lines, 327u);
    EXPECT_NE(r.out.find("STEP_COPY\tstep_copy\n"), std::string::npos);
    EXPECT_NE(r.out.find("GLOBAL_RESIZE\tresize_global\n"), std::string::npos);
}

} // namespace
