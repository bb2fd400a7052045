#include "engine/api/progress.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace KESTO {
namespace COMMON {
namespace progress_board {
namespace {

struct Board {
    std::mutex lock;
    std::vector<std::pair<const void*, reader>> reporters; // outermost first
    int fd = -1;
    pid_t started = 0; // the process that read the environment: a forked child reads it again
};

// Never destroyed: the reporting thread may outlive static destruction.
Board& board()
{
    static Board* b = new Board;
    return *b;
}

void report_loop(Board& b)
{
    std::string last;
    for (;;) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        std::string line;
        {
            std::lock_guard<std::mutex> hold(b.lock);
            for (const auto& [who, read] : b.reporters) {
                double done = 0, total = 0;
                read(who, done, total);
                if (total > 0) {
                    char text[96];
                    std::snprintf(text, sizeof text, "progress %.0f %.0f\n", done, total);
                    line = text;
                    break;
                }
            }
            if (line.empty() && b.reporters.empty() && !last.empty() && last != "progress end\n") line = "progress end\n";
        }
        if (line.empty() || line == last) continue;
        if (::write(b.fd, line.data(), line.size()) < 0 && errno != EAGAIN) return; // the host closed it
        last = line;
    }
}

void start_reporting(Board& b)
{
    b.started = getpid();
    b.fd = -1;
    const char* text = std::getenv("KESTO_PROGRESS_FD");
    if (!text || !*text) return;
    char* end = nullptr;
    const long fd = std::strtol(text, &end, 10);
    if (*end || fd < 0 || fd > 1 << 20 || fcntl(int(fd), F_GETFD) < 0) return;
    b.fd = int(fd);
    fcntl(b.fd, F_SETFL, fcntl(b.fd, F_GETFL) | O_NONBLOCK);
    std::thread(report_loop, std::ref(b)).detach();
}

} // namespace

void enter(const void* reporter, reader read)
{
    Board& b = board();
    std::lock_guard<std::mutex> hold(b.lock);
    if (b.started != getpid()) start_reporting(b); // threads do not outlive a fork
    b.reporters.emplace_back(reporter, read);
}

void leave(const void* reporter)
{
    Board& b = board();
    std::lock_guard<std::mutex> hold(b.lock);
    for (auto it = b.reporters.end(); it != b.reporters.begin();) {
        --it;
        if (it->first == reporter) {
            b.reporters.erase(it);
            break;
        }
    }
}

} // namespace progress_board
} // namespace COMMON
} // namespace KESTO
