// What the file readers share while they fill a layer: symbols by name,
// attribute sets by content, contour shapes and the placement of copies
// (flashed blocks, step and repeat, image transforms).
#pragma once
#include "engine/api/exchange.h"
#include "engine/model/model.h"

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kesto::formats {

using Attributes = std::vector<std::pair<std::string, std::string>>;

// The user-symbol attribute that keeps the Gerber aperture a symbol was read
// from, lengths in nm, on one line so that it saves as any attribute value:
// "aperture:C,1000000,300000" or "macro:" followed by the evaluated
// primitives, each ended by ';'. Writers give such a symbol back as it came.
constexpr const char* kGerberShape = "gerber_shape";

// A standard symbol by family and sizes in nanometres, named as ODB++ names
// it in microns ("r254", "rect1524x1016").
Symbol round_symbol(double d);
Symbol square_symbol(double s);
Symbol rect_symbol(double w, double h);
Symbol oval_symbol(double w, double h);
Symbol round_donut_symbol(double od, double id);
// The same symbol with every length multiplied by `factor`; false when the
// family has sizes that are not plain lengths.
bool scale_symbol(Symbol& symbol, double factor);

// Appends to a layer, finding its symbols and attribute sets by content.
class LayerBuilder {
public:
    explicit LayerBuilder(Layer& layer);
    int symbol(const Symbol& symbol);
    // 0 for no attributes, else the index + 1 of the set in the layer.
    std::uint32_t attribute_set(const Attributes& attributes);
    Layer& layer;

private:
    std::unordered_map<std::string, int> symbols_;
    std::unordered_map<std::string, std::uint32_t> names_;
    std::unordered_map<std::string, std::uint32_t> sets_;
};

inline Segment line_to(Point end)
{
    Segment s;
    s.end = end;
    return s;
}
inline Segment arc_to(Point end, Point centre, bool cw)
{
    Segment s;
    s.end = end;
    s.centre = centre;
    s.arc = true;
    s.cw = cw;
    return s;
}

// Contours: islands run clockwise, holes counter-clockwise.
Contour circle_contour(double cx, double cy, double r, bool island);
Contour polygon_contour(const std::vector<std::pair<double, double>>& points, bool island);
void reverse_contour(Contour& contour);

// A mirror (x -> -x), then a scale, a counter-clockwise rotation in degrees
// and a shift, applied in that order.
struct Placement {
    bool mirror = false;
    double scale = 1;
    double rotation = 0;
    Point offset;
    bool identity() const { return !mirror && scale == 1 && rotation == 0 && offset == Point{}; }
};

// Copies the features of `from` into `to`, each placed by `placement`, with
// polarities inverted when `invert`. Symbols are indices of `builder`'s layer;
// scaled copies are added there. False when a symbol could not be scaled.
bool place_features(const Layer& from, Layer& to, const Placement& placement, bool invert, LayerBuilder& builder,
                    UserSymbols& symbols);

// A name for a user symbol made from its geometry, so equal shapes share one.
std::string user_symbol_name(const std::string& base, const Layer& shape);

} // namespace kesto::formats
