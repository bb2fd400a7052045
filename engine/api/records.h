// Records that cross the engine's API and are shared by several families.
#pragma once
#include <cstdint>
#include <vector>

namespace KESTO {
namespace API {

// A point in engine integer units (nanometres); JSON {"ix": .., "iy": ..}.
struct point {
    std::int64_t ix = 0;
    std::int64_t iy = 0;
};

} // namespace API
} // namespace KESTO
