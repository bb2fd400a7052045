// Records that cross the engine's API and are shared by several families.
#pragma once
#include <cstdint>
#include <vector>

namespace KESTO {
namespace API {

// A point in engine integer units (nanometres, so 32 bits reach 2.1 m);
// JSON {"ix": .., "iy": ..}.
struct point {
    std::int32_t ix = 0;
    std::int32_t iy = 0;
};

} // namespace API
} // namespace KESTO
