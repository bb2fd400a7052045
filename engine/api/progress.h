// Progress of a long engine operation, for a host that polls it from another
// thread while the operation runs on the caller's.
#pragma once
#include <atomic>
#include <string>

namespace KESTO {
namespace COMMON {

template <class T>
struct progress_value {
    std::atomic<T> done{0};
    std::atomic<T> total{0};
    std::atomic<bool> cancel{false}; // set by the host; the operation stops at its next stage
};

} // namespace COMMON
} // namespace KESTO
