// The largest length or coordinate the engine holds: 10 m either way of the
// origin. Any board, panel or film fits well inside it, and every product of
// two such lengths the geometry code forms (areas, cross products) stays
// inside 64-bit arithmetic after the kernel's own scaling. Values from outside
// (host requests, files) are held to it where they become nanometres.
#pragma once
#include "engine/model/model.h"

#include <cmath>
#include <stdexcept>
#include <string>

namespace kesto {

constexpr Coord kLengthLimit = 10'000'000'000; // 10 m in nanometres

// True when `nm` (a real number of nanometres) is finite and within the limit.
inline bool within_length_limit(double nm) { return std::isfinite(nm) && std::fabs(nm) <= double(kLengthLimit); }

// `nm` rounded to the nanometre; throws std::out_of_range beyond the limit.
inline Coord checked_length(double nm)
{
    if (!within_length_limit(nm))
        throw std::out_of_range("length " + std::to_string(nm / 1e6) + " mm is beyond the +-10 m the engine holds");
    return static_cast<Coord>(std::llround(nm));
}

} // namespace kesto
