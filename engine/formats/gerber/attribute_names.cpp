#include "engine/formats/gerber/attribute_names.h"

#include <cstdio>

#include <algorithm>
#include <array>

namespace kesto::gerber {

namespace {

constexpr const char* kPrefix = "odb";

// File, aperture and object attributes, the component ones included.
constexpr std::array<const char*, 26> kStandard = {
    ".FileFunction", ".FilePolarity", ".SameCoordinates", ".CreationDate", ".GenerationSoftware", ".ProjectId",
    ".MD5", ".Part", ".AperFunction", ".DrillTolerance", ".FlashText", ".N", ".P", ".C", ".CRot", ".CMfr",
    ".CMPN", ".CVal", ".CMnt", ".CFtp", ".CPgN", ".CPgD", ".CHgt", ".CLbN", ".CLbD", ".CSup",
};

} // namespace

bool standard_attribute(const std::string& name)
{
    return std::any_of(kStandard.begin(), kStandard.end(), [&](const char* s) { return name == s; });
}

std::string x2_attribute_name(const std::string& name)
{
    if (name.empty() || name[0] != '.' || standard_attribute(name)) return name;
    return kPrefix + name;
}

std::string model_attribute_name(const std::string& name)
{
    const std::size_t n = std::char_traits<char>::length(kPrefix);
    if (name.size() > n + 1 && name.compare(0, n, kPrefix) == 0 && name[n] == '.') return name.substr(n);
    return name;
}

std::string x2_attribute_value(const std::string& value)
{
    std::string out;
    out.reserve(value.size());
    for (char c : value) {
        const auto u = static_cast<unsigned char>(c);
        if (c == '%' || c == '*' || c == '\\' || u < 0x20 || u == 0x7f) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04X", unsigned(u));
            out += escape;
        } else {
            out += c;
        }
    }
    return out;
}

std::string model_attribute_value(const std::string& value)
{
    std::string out;
    out.reserve(value.size());
    for (std::size_t i = 0; i < value.size(); ++i) {
        unsigned code = 0;
        if (value[i] == '\\' && i + 5 < value.size() && value[i + 1] == 'u' &&
            std::sscanf(value.substr(i + 2, 4).c_str(), "%4x", &code) == 1 &&
            value.substr(i + 2, 4).find_first_not_of("0123456789abcdefABCDEF") == std::string::npos) {
            if (code < 0x80) {
                out += char(code);
            } else if (code < 0x800) {
                out += char(0xC0 | (code >> 6));
                out += char(0x80 | (code & 0x3F));
            } else {
                out += char(0xE0 | (code >> 12));
                out += char(0x80 | ((code >> 6) & 0x3F));
                out += char(0x80 | (code & 0x3F));
            }
            i += 5;
        } else {
            out += value[i];
        }
    }
    return out;
}

} // namespace kesto::gerber
