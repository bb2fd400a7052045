#include "support/test_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <dirent.h>
#include <fstream>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

namespace kesto::test {

TempDir::TempDir()
{
    std::string pattern = std::string(std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + "/kesto-test-XXXXXX";
    char* made = mkdtemp(pattern.data());
    if (!made) std::abort();
    path_ = made;
}

TempDir::~TempDir()
{
    const std::string command = "rm -rf '" + path_ + "'";
    if (std::system(command.c_str()) != 0) std::fprintf(stderr, "could not remove %s\n", path_.c_str());
}

void in_fresh_process(const std::string& dir, const std::function<void()>& body)
{
    std::fflush(stdout);
    std::fflush(stderr);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        if (chdir(dir.c_str()) != 0) _exit(3);
        body();
        std::fflush(stdout);
        _exit(::testing::Test::HasFailure() ? 1 : 0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFEXITED(status)) << "the child process died";
    EXPECT_EQ(WEXITSTATUS(status), 0) << "a check failed in the child process";
}

std::string read_file(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

void write_file(const std::string& path, const std::string& text)
{
    std::ofstream out(path, std::ios::binary);
    out << text;
}

std::string read_logs(const std::string& dir, const std::string& prefix)
{
    std::string all;
    if (DIR* d = opendir(dir.c_str())) {
        while (dirent* e = readdir(d)) {
            const std::string name = e->d_name;
            if (name.compare(0, prefix.size(), prefix) == 0) all += read_file(dir + "/" + name);
        }
        closedir(d);
    }
    return all;
}

} // namespace kesto::test
