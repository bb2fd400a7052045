// Long operations publish their progress to a host-given descriptor.
#include "engine/api/progress.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>

namespace {

using KESTO::COMMON::progress_value;
using namespace std::chrono_literals;

std::string drain(int fd)
{
    std::string text;
    char buffer[256];
    fcntl(fd, F_SETFL, O_NONBLOCK);
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, size_t(n));
    return text;
}

TEST(ProgressBoard, TheOutermostReporterWithATotalIsWrittenThenTheEnd)
{
    kesto::test::TempDir dir;
    kesto::test::in_fresh_process(dir.path(), [] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
        {
            progress_value<int> outer;
            outer.total = 40;
            outer.done = 10;
            {
                progress_value<int> inner; // a stage inside: not what the host sees
                inner.total = 3;
                inner.done = 1;
                std::this_thread::sleep_for(600ms);
            }
            outer.done = 30;
            std::this_thread::sleep_for(600ms);
        }
        std::this_thread::sleep_for(600ms);
        EXPECT_EQ(drain(ends[0]), "progress 10 40\nprogress 30 40\nprogress end\n");
    });
}

TEST(ProgressBoard, AFullPipeNeverBlocksTheEngine)
{
    kesto::test::TempDir dir;
    kesto::test::in_fresh_process(dir.path(), [] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        // Fill the pipe so that a blocking write would hang the reporter.
        fcntl(ends[1], F_SETFL, O_NONBLOCK);
        std::string block(4096, 'x');
        while (write(ends[1], block.data(), block.size()) > 0) {
        }
        fcntl(ends[1], F_SETFL, 0);
        setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < 3; ++i) {
            progress_value<int> p;
            p.total = 10;
            p.done = i;
            std::this_thread::sleep_for(250ms);
        }
        EXPECT_LT(std::chrono::steady_clock::now() - start, 3s);
    });
}

} // namespace
