// Making features from values: the description builders, whose texts are
// ODB++ features records in the working unit, the job's symbol numbers they
// refer to, and adding a description to layers.
#pragma once
#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// A vertex in the working unit.
struct lPoint {
    double x = 0;
    double y = 0;
};

// Makes sure `symbol` is known to the job (a standard symbol name, sizes in
// mils when the working unit is inch and microns otherwise, or a user symbol
// of the job) and gives its number for the description builders. A
// non-empty `layer` also enters it in that layer's symbol table.
bool create_new_symbol(const std::string& job, const std::string& step, const std::string& symbol,
                       const std::string& layer, int& number);

// Polarity: 0 positive, anything else negative. The symbol number is one
// create_new_symbol gave; the D-code -1 writes none.
std::string GreateLineString(double start_x, double start_y, double end_x, double end_y, int symbol, int polarity,
                             int dcode);
// orient: the ODB++ orientation 0..7 (0, 90, 180, 270, then mirrored); a
// non-zero `angle` (degrees clockwise) turns it any angle, mirrored for 4..7.
std::string GreatePadString(double x, double y, int symbol, int polarity, int dcode, int orient, double angle);
std::string GreateArcString(double start_x, double start_y, double end_x, double end_y, double centre_x,
                            double centre_y, int symbol, int polarity, int dcode, bool clockwise);
// One island through the points; `round`: the first point is the centre and
// the second a point of a round surface.
std::string GreateSurfaceString(const std::vector<lPoint>& points, int polarity, int dcode, bool round);
// Sizes and line width in the working unit; `angle` turns the text any angle.
std::string GreateTextString(double x, double y, const std::string& font, int polarity, int orient, double xsize,
                             double ysize, double line_width, const std::string& text, int version, double angle);

// Adds the features of `description` (records in the working unit, symbols
// by the job's numbers or by name) to every layer of `layers`, each with the
// given attributes. False when a name is unknown or the text does not parse;
// then no layer changes. `select` leaves the new features selected.
bool AddFeature(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                const std::map<std::string, std::string>& attributes, const std::string& description, bool select);

} // namespace API
} // namespace KESTO
