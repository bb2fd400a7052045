// Long operations publish their progress to a host-given descriptor.
#include "engine/api/progress.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
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

// Everything the board has written until `text` ends with `line` (or 30 s
// have gone: a loaded machine may hold the reporting thread back, but the
// lines it writes do not depend on when it runs).
void read_through(int fd, std::string& text, const std::string& line)
{
    const auto give_up = std::chrono::steady_clock::now() + 30s;
    char buffer[256];
    while (!(text.size() >= line.size() && text.compare(text.size() - line.size(), line.size(), line) == 0) &&
           std::chrono::steady_clock::now() < give_up) {
        pollfd wait{fd, POLLIN, 0};
        if (poll(&wait, 1, 100) <= 0) continue;
        const ssize_t n = read(fd, buffer, sizeof buffer);
        if (n > 0) text.append(buffer, size_t(n));
    }
}

TEST(ProgressBoard, TheOutermostReporterWithATotalIsWrittenThenTheEnd)
{
    kesto::test::TempDir dir;
    kesto::test::in_fresh_process(dir.path(), [] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
        std::string text;
        {
            progress_value<int> outer;
            outer.total = 40;
            outer.done = 10;
            {
                progress_value<int> inner; // a stage inside: not what the host sees
                inner.total = 3;
                inner.done = 1;
                read_through(ends[0], text, "progress 10 40\n");
            }
            outer.done = 30;
            read_through(ends[0], text, "progress 30 40\n");
        }
        read_through(ends[0], text, "progress end\n");
        // Nothing more follows the end.
        std::this_thread::sleep_for(300ms);
        text += drain(ends[0]);
        EXPECT_EQ(text, "progress 10 40\nprogress 30 40\nprogress end\n");
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
