// Progress of a long engine operation, for a host that polls it from another
// thread while the operation runs on the caller's.
//
// Every reporter also stands on a process-wide board while it lives. A host
// that puts a writable descriptor in the environment variable
// KESTO_PROGRESS_FD before the first long operation gets, about five times a
// second while one runs, lines "progress DONE TOTAL" for the outermost
// reporter that knows its total, and "progress end" when the last one is
// gone. The descriptor is made non-blocking: a host that does not read it
// never slows the engine down; lines that do not fit are dropped.
#pragma once
#include <atomic>
#include <string>

namespace KESTO {
namespace COMMON {

namespace progress_board {
using reader = void (*)(const void* reporter, double& done, double& total);
void enter(const void* reporter, reader read);
void leave(const void* reporter);
} // namespace progress_board

template <class T>
struct progress_value {
    std::atomic<T> done{0};
    std::atomic<T> total{0};
    std::atomic<bool> cancel{false}; // set by the host; the operation stops at its next stage

    progress_value() { progress_board::enter(this, &read); }
    ~progress_value() { progress_board::leave(this); }
    progress_value(const progress_value&) = delete;
    progress_value& operator=(const progress_value&) = delete;

private:
    static void read(const void* reporter, double& d, double& t)
    {
        const auto* self = static_cast<const progress_value*>(reporter);
        d = double(self->done.load(std::memory_order_relaxed));
        t = double(self->total.load(std::memory_order_relaxed));
    }
};

} // namespace COMMON
} // namespace KESTO
