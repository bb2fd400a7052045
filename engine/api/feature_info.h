// The engine's description of one feature as hosts see it: a selection
// template, a query answer, or one of the features a check finding names.
#pragma once
#include <string>
#include <utility>
#include <vector>

namespace KESTO {
namespace API {

struct featureInfo {
    double X = 0, Y = 0;     // pad or text position
    double XS = 0, YS = 0;   // line or arc start
    double XE = 0, YE = 0;   // line or arc end
    double XC = 0, YC = 0;   // arc centre
    double angle = 0;
    double D = 0;            // size value
    int Icnt = 0;            // islands of a surface
    int Hcnt = 0;            // holes of a surface
    int linewidth = 0;
    std::string layername;
    std::string symbolname;
    int type = 0;            // bit value: 1 line, 2 pad, 4 arc, 8 surface, 16 text, 32 barcode
    std::string polarity;
    std::string CW;
    std::string text;
    std::string realtext;
    std::string font;
    std::vector<std::pair<std::string, std::string>> attributes;
    int feature_index = 0;
    double xsize = 0, ysize = 0;
    bool mirror = false;
    int srclinewidth = 0;    // the line width before a change
};

} // namespace API
} // namespace KESTO
