#include "engine/formats/odb/symbols.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <vector>

namespace kesto::odb {
namespace {

// How the fields of a family's name read, separated by 'x':
// L a length, A an angle, N a count, E r|s (rounded or square ends),
// P a plating letter. `tail`: the name may end in xr<rad>[x<corners>] or
// xc<size>[x<corners>], the size going to the parameter after the fields.
// `optional`: that many more lengths may follow, into the next parameters.
struct Shape {
    std::string_view prefix;
    SymbolFamily family;
    std::string_view fields;
    bool tail = false;
    int optional = 0;
};

const Shape kShapes[] = {
    {"oblong_ths", SymbolFamily::OblongThermal, "LLANLLE"},
    {"radhplate", SymbolFamily::RadiusedInvertedHomePlate, "LLL", false, 2},
    {"donut_sr", SymbolFamily::SquareRoundDonut, "LL"},
    {"donut_rc", SymbolFamily::RectDonut, "LLL", true},
    {"dogbone", SymbolFamily::Dogbone, "LLLLLE", false, 1},
    {"donut_r", SymbolFamily::RoundDonut, "LL"},
    {"donut_s", SymbolFamily::SquareDonut, "LL", true},
    {"donut_o", SymbolFamily::OvalDonut, "LLL"},
    {"rhplate", SymbolFamily::InvertedHomePlate, "LLL", false, 2},
    {"fhplate", SymbolFamily::FlatHomePlate, "LLLL", false, 2},
    {"sr_ths", SymbolFamily::SquareRoundThermal, "LLANL"},
    {"rc_ths", SymbolFamily::RectThermal, "LLANLL", true},
    {"rc_tho", SymbolFamily::RectThermalOpen, "LLANLL", true},
    {"hplate", SymbolFamily::HomePlate, "LLL", false, 2},
    {"dshape", SymbolFamily::RadiusedHomePlate, "LLL", false, 1},
    {"oval_h", SymbolFamily::HalfOval, "LL"},
    {"s_ths", SymbolFamily::SquareThermal, "LLANL", true},
    {"s_tho", SymbolFamily::SquareThermalOpen, "LLANL", true},
    {"s_thr", SymbolFamily::SquareLineThermal, "LLANL", true},
    {"o_ths", SymbolFamily::OvalThermal, "LLANLL"},
    {"moire", SymbolFamily::Moire, "LLNLLA"},
    {"cross", SymbolFamily::Cross, "LLLLLLE", false, 0},
    {"dpack", SymbolFamily::DPack, "LLLLNN", false, 1},
    {"hex_l", SymbolFamily::HexLong, "LLL"},
    {"hex_s", SymbolFamily::HexShort, "LLL"},
    {"rect", SymbolFamily::Rect, "LL", true},
    {"oval", SymbolFamily::Oval, "LL"},
    {"hole", SymbolFamily::Hole, "LPLL"},
    {"null", SymbolFamily::Null, "N"},
    {"oct", SymbolFamily::Octagon, "LLL"},
    {"bfr", SymbolFamily::Butterfly, "L"},
    {"bfs", SymbolFamily::SquareButterfly, "L"},
    {"tri", SymbolFamily::Triangle, "LL"},
    {"thr", SymbolFamily::RoundThermalRounded, "LLANL"},
    {"ths", SymbolFamily::RoundThermalSquared, "LLANL"},
    {"di", SymbolFamily::Diamond, "LL"},
    {"el", SymbolFamily::Ellipse, "LL"},
    {"r", SymbolFamily::Round, "L"},
    {"s", SymbolFamily::Square, "L"},
};

const Shape* shape_of(SymbolFamily family)
{
    if (family == SymbolFamily::RectRounded || family == SymbolFamily::RectChamfered) family = SymbolFamily::Rect;
    for (const Shape& shape : kShapes)
        if (shape.family == family) return &shape;
    return nullptr;
}

bool read_number(std::string_view text, double& out)
{
    if (text.empty() || text.front() == '+') return false;
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, out);
    return ec == std::errc() && ptr == end && std::isfinite(out);
}

std::vector<std::string_view> split_x(std::string_view text)
{
    std::vector<std::string_view> parts;
    size_t start = 0;
    for (;;) {
        const size_t x = text.find('x', start);
        parts.push_back(text.substr(start, x == std::string_view::npos ? std::string_view::npos : x - start));
        if (x == std::string_view::npos) return parts;
        start = x + 1;
    }
}

bool read_corners(std::string_view digits, std::uint8_t& corners)
{
    if (digits.empty() || digits.size() > 4) return false;
    corners = 0;
    for (char c : digits) {
        if (c < '1' || c > '4') return false;
        corners |= static_cast<std::uint8_t>(1u << (c - '1'));
    }
    return true;
}

bool read_shape(const Shape& shape, std::string_view rest, double scale, Symbol& symbol)
{
    const std::vector<std::string_view> parts = split_x(rest);
    const size_t n = shape.fields.size();
    if (parts.size() < n) return false;
    symbol.family = shape.family;
    for (size_t i = 0; i < n; ++i) {
        const std::string_view part = parts[i];
        switch (shape.fields[i]) {
        case 'E':
            if (part != "r" && part != "s") return false;
            symbol.rounded_ends = part == "r";
            break;
        case 'P':
            if (part != "p" && part != "n" && part != "v") return false;
            symbol.plating = part.front();
            break;
        default: {
            double value = 0;
            if (!read_number(part, value)) return false;
            if (shape.fields[i] == 'N' && value != std::floor(value)) return false;
            symbol.p[i] = shape.fields[i] == 'L' ? value * scale : value;
        }
        }
    }
    size_t next = n;
    for (int extra = 0; extra < shape.optional && next < parts.size() && next < symbol.p.size(); ++extra, ++next) {
        double value = 0;
        if (!read_number(parts[next], value)) return false;
        symbol.p[next] = value * scale;
    }
    if (shape.tail && next < parts.size()) {
        const std::string_view part = parts[next++];
        if (part.size() < 2 || (part.front() != 'r' && part.front() != 'c')) return false;
        double size = 0;
        if (!read_number(part.substr(1), size)) return false;
        symbol.corner_style = part.front();
        symbol.p[n] = size * scale;
        if (shape.family == SymbolFamily::Rect)
            symbol.family = part.front() == 'r' ? SymbolFamily::RectRounded : SymbolFamily::RectChamfered;
        if (next < parts.size() && !read_corners(parts[next++], symbol.corners)) return false;
    }
    return next == parts.size();
}

std::string format_number(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    std::string out = text;
    if (out.find('.') != std::string::npos) {
        while (out.back() == '0') out.pop_back();
        if (out.back() == '.') out.pop_back();
    }
    if (out == "-0") out = "0";
    return out;
}

} // namespace

std::string format_length(double nm, double per_unit, int decimals) { return format_number(nm / per_unit, decimals); }

Symbol parse_symbol_name(std::string_view written, Units units)
{
    Symbol symbol;
    symbol.name = std::string(written);
    // Families are matched case-blind; the name stays as written.
    std::string lowered(written);
    std::transform(lowered.begin(), lowered.end(), lowered.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    const std::string_view name = lowered;
    symbol.units = units;
    const double scale = units == Units::Inch ? kNmPerMil : kNmPerMicron;
    for (const Shape& shape : kShapes) {
        if (name.size() <= shape.prefix.size() || name.compare(0, shape.prefix.size(), shape.prefix) != 0) continue;
        Symbol candidate = symbol;
        if (read_shape(shape, name.substr(shape.prefix.size()), scale, candidate)) return candidate;
    }
    return symbol;
}

std::string standard_symbol_name(const Symbol& symbol, Units units)
{
    const Shape* shape = shape_of(symbol.family);
    if (!shape) return symbol.name;
    const bool inch = units == Units::Inch;
    const double per_unit = inch ? kNmPerMil : kNmPerMicron;
    const int decimals = inch ? 4 : 3;
    std::string name(shape->prefix);
    const size_t n = shape->fields.size();
    for (size_t i = 0; i < n; ++i) {
        if (i) name += 'x';
        switch (shape->fields[i]) {
        case 'E': name += symbol.rounded_ends ? 'r' : 's'; break;
        case 'P': name += symbol.plating; break;
        case 'L': name += format_length(symbol.p[i], per_unit, decimals); break;
        default: name += format_number(symbol.p[i], 4);
        }
    }
    size_t next = n;
    // Optional sizes are written up to the last one that is set.
    size_t last = n;
    for (size_t i = n; i < n + static_cast<size_t>(shape->optional) && i < symbol.p.size(); ++i)
        if (symbol.p[i] != 0) last = i + 1;
    for (; next < last; ++next) (name += 'x') += format_length(symbol.p[next], per_unit, decimals);
    char style = symbol.corner_style;
    if (symbol.family == SymbolFamily::RectRounded) style = 'r';
    if (symbol.family == SymbolFamily::RectChamfered) style = 'c';
    if (shape->tail && style) {
        name += 'x';
        name += style;
        name += format_length(symbol.p[next], per_unit, decimals);
        if (symbol.corners != kAllCorners) {
            name += 'x';
            for (int bit = 0; bit < 4; ++bit)
                if (symbol.corners & (1u << bit)) name += static_cast<char>('1' + bit);
        }
    }
    return name;
}

void resolve_user_symbols(Job& job)
{
    auto resolve = [&job](Layer& layer) {
        for (Symbol& symbol : layer.symbols)
            if (symbol.family == SymbolFamily::Unknown && job.symbols.count(symbol.name))
                symbol.family = SymbolFamily::User;
    };
    for (auto& [name, step] : job.steps)
        for (auto& [layer_name, layer] : step.layers) resolve(layer);
    for (auto& [name, user] : job.symbols) resolve(user.features);
}

} // namespace kesto::odb
