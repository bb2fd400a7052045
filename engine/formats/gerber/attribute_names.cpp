#include "engine/formats/gerber/attribute_names.h"

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

} // namespace kesto::gerber
