// Letter case of names and keywords (ASCII): job, step and layer names and
// most file keywords compare without case.
#pragma once
#include <cctype>
#include <string>

namespace kesto {

inline std::string lower(std::string s)
{
    for (char& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

inline std::string upper(std::string s)
{
    for (char& c : s) c = char(std::toupper(static_cast<unsigned char>(c)));
    return s;
}

} // namespace kesto
