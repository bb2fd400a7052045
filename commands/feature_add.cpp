// Feature creation: each command builds one feature's description and adds
// it to the listed layers with its attributes.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/features.h"

using namespace kesto::adaptor;
using Strings = std::vector<std::string>;

namespace {

// The keys every add command reads besides its own.
struct Target {
    std::string job, step, layer;
    Strings layers;
    AttributeMap attributes;
    int polarity = 0, dcode = 0;
};

// Makes sure the symbol exists, builds the description with its number and
// adds it.
template <class Describe>
char* add(const char* name, const char* request, Target& t, std::string& symbol, Keys own_keys, Describe&& describe)
{
    return handle(name, request, Form::Elements, own_keys, [&] {
        int number = 0;
        if (!symbol.empty()) KESTO::API::create_new_symbol(t.job, t.step, symbol, t.layer, number);
        KESTO::API::AddFeature(t.job, t.step, t.layers, t.attributes.values, describe(number), false);
        return pass();
    });
}

} // namespace

KESTO_HANDLER(add_line)
{
    Target t;
    std::string symbol;
    double sx = 0, sy = 0, ex = 0, ey = 0;
    return add(__func__, request, t, symbol,
               {{"job", t.job}, {"step", t.step}, {"layer", t.layer}, {"symbol", symbol}, {"start_x", sx},
                {"start_y", sy}, {"end_x", ex}, {"end_y", ey}, {"polarity", t.polarity}, {"dcode", t.dcode},
                {"layers", t.layers}, {"attributes", t.attributes}},
               [&](int number) { return KESTO::API::GreateLineString(sx, sy, ex, ey, number, t.polarity, t.dcode); });
}

KESTO_HANDLER(add_pad)
{
    Target t;
    std::string symbol;
    double x = 0, y = 0, angle = 0;
    int orient = 0;
    return add(__func__, request, t, symbol,
               {{"job", t.job}, {"step", t.step}, {"layer", t.layer}, {"symbol", symbol}, {"location_x", x},
                {"location_y", y}, {"polarity", t.polarity}, {"dcode", t.dcode}, {"orient", orient},
                {"special_angle", angle}, {"layers", t.layers}, {"attributes", t.attributes}},
               [&](int number) {
                   return KESTO::API::GreatePadString(x, y, number, t.polarity, t.dcode, orient, angle);
               });
}

KESTO_HANDLER(add_surface)
{
    Target t;
    std::string no_symbol;
    bool round = false;
    std::vector<KESTO::API::lPoint> points;
    return add(__func__, request, t, no_symbol,
               {{"job", t.job}, {"step", t.step}, {"layer", t.layer}, {"polarity", t.polarity}, {"dcode", t.dcode},
                {"isround", round}, {"layers", t.layers}, {"attributes", t.attributes}, {"points_location", points}},
               [&](int) { return KESTO::API::GreateSurfaceString(points, t.polarity, t.dcode, round); });
}

KESTO_HANDLER(add_arc)
{
    Target t;
    std::string symbol;
    double sx = 0, sy = 0, ex = 0, ey = 0, cx = 0, cy = 0;
    return add(__func__, request, t, symbol,
               {{"job", t.job}, {"step", t.step}, {"layer", t.layer}, {"symbol", symbol}, {"start_x", sx},
                {"start_y", sy}, {"end_x", ex}, {"end_y", ey}, {"center_x", cx}, {"center_y", cy},
                {"polarity", t.polarity}, {"dcode", t.dcode}, {"layers", t.layers}, {"attributes", t.attributes}},
               [&](int number) {
                   return KESTO::API::GreateArcString(sx, sy, ex, ey, cx, cy, number, t.polarity, t.dcode, false);
               });
}

KESTO_HANDLER(add_text)
{
    Target t;
    std::string symbol, font, text;
    double xsize = 0, ysize = 0, width = 0, x = 0, y = 0;
    int orient = 0, version = 0;
    return add(__func__, request, t, symbol,
               {{"job", t.job}, {"step", t.step}, {"layer", t.layer}, {"symbol", symbol}, {"fontname", font},
                {"text", text}, {"xsize", xsize}, {"ysize", ysize}, {"linewidth", width}, {"location_x", x},
                {"location_y", y}, {"polarity", t.polarity}, {"orient", orient}, {"version", version},
                {"layers", t.layers}, {"attributes", t.attributes}},
               [&](int) {
                   return KESTO::API::GreateTextString(x, y, font, t.polarity, orient, xsize, ysize, width, text,
                                                       version, 0.0);
               });
}
