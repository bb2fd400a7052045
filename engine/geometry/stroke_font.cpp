#include "engine/geometry/stroke_font.h"

#include <cmath>
#include <cstdlib>
#include <sstream>

namespace kesto::geom {

namespace {

bool read_number(const std::string& token, double& value)
{
    if (token.empty()) return false;
    char* end = nullptr;
    value = std::strtod(token.c_str(), &end);
    return end && *end == '\0' && std::isfinite(value);
}

std::optional<StrokeFont> fail(std::string* error, int line, const std::string& why)
{
    if (error) *error = "font line " + std::to_string(line) + ": " + why;
    return std::nullopt;
}

// Glyphs of the built-in font as polylines on a grid of 0.05 inch: x from
// 'a' (-0.1) to 'e' (0.1), y from '0' (-0.1) to '6' (0.2); each point is a
// letter and a digit, polylines are separated by spaces.
const char* const kBuiltinGlyphs[][2] = {
    {"0", "b0a1a5b6d6e5e1d0b0 a1e5"}, {"1", "b5c6c0 b0d0"},
    {"2", "a5b6d6e5e4a0e0"},          {"3", "a5b6d6e5e4d3e2e1d0b0a1 b3d3"},
    {"4", "d0d6a2e2"},                {"5", "e6a6a3d3e2e1d0a0"},
    {"6", "e5d6b6a5a1b0d0e1e2d3a3"},  {"7", "a6e6e5b0"},
    {"8", "b3a4a5b6d6e5e4d3b3a2a1b0d0e1e2d3"}, {"9", "a1b0d0e1e5d6b6a5a4b3e3"},
    {"A", "a0a5b6d6e5e0 a3e3"},       {"B", "a0a6d6e5e4d3a3 d3e2e1d0a0"},
    {"C", "e5d6b6a5a1b0d0e1"},        {"D", "a0a6d6e5e1d0a0"},
    {"E", "e6a6a0e0 a3d3"},           {"F", "e6a6a0 a3d3"},
    {"G", "e5d6b6a5a1b0d0e1e3c3"},    {"H", "a0a6 e0e6 a3e3"},
    {"I", "b6d6 c6c0 b0d0"},          {"J", "e6e1d0b0a1"},
    {"K", "a0a6 e6a2 b3e0"},          {"L", "a6a0e0"},
    {"M", "a0a6c4e6e0"},              {"N", "a0a6e0e6"},
    {"O", "b0a1a5b6d6e5e1d0b0"},      {"P", "a0a6d6e5e4d3a3"},
    {"Q", "b0a1a5b6d6e5e1d0b0 c2e0"}, {"R", "a0a6d6e5e4d3a3 c3e0"},
    {"S", "e5d6b6a5a4b3d3e2e1d0b0a1"}, {"T", "a6e6 c6c0"},
    {"U", "a6a1b0d0e1e6"},            {"V", "a6c0e6"},
    {"W", "a6b0c3d0e6"},              {"X", "a6e0 a0e6"},
    {"Y", "a6c3e6 c3c0"},             {"Z", "a6e6a0e0"},
    {"-", "a3e3"},                    {"+", "a3e3 c1c5"},
    {".", "c0c0"},                    {"_", "a0e0"},
    {"/", "a0e6"},                    {"(", "d6b4b2d0"},
    {")", "b6d4d2b0"},                {"=", "a2e2 a4e4"},
    {":", "c1c1 c4c4"},               {"*", "a1e5 a5e1 a3e3"},
    {" ", ""},
};

std::string builtin_font_text()
{
    std::ostringstream out;
    out << "XSIZE 0.302\nYSIZE 0.302\nOFFSET 0\n";
    auto emit = [&out](char glyph, const std::string& polylines) {
        out << "CHAR " << glyph << "\n";
        std::istringstream lines(polylines);
        std::string polyline;
        while (lines >> polyline) {
            auto x = [&](std::size_t i) { return (polyline[i] - 'c') * 0.05; };
            auto y = [&](std::size_t i) { return (polyline[i + 1] - '2') * 0.05; };
            if (polyline.size() == 2)
                out << "LINE " << x(0) << ' ' << y(0) << ' ' << x(0) << ' ' << y(0) << " P R 0.012\n";
            for (std::size_t i = 2; i + 1 < polyline.size(); i += 2)
                out << "LINE " << x(i - 2) << ' ' << y(i - 2) << ' ' << x(i) << ' ' << y(i) << " P R 0.012\n";
        }
        out << "ECHAR\n";
    };
    for (const auto& [name, polylines] : kBuiltinGlyphs) {
        emit(name[0], polylines);
        if (name[0] >= 'A' && name[0] <= 'Z') emit(char(name[0] - 'A' + 'a'), polylines);
    }
    return out.str();
}

} // namespace

std::optional<StrokeFont> parse_stroke_font(const std::string& text, std::string* error)
{
    StrokeFont font;
    double unit = double(kNmPerInch);
    std::vector<Stroke>* glyph = nullptr;
    std::istringstream in(text);
    std::string line;
    int number = 0;
    while (std::getline(in, line)) {
        ++number;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::istringstream fields(line);
        std::string key;
        if (!(fields >> key) || key[0] == '#') continue;
        if (key == "UNITS=MM" || key == "UNITS=INCH") {
            unit = key == "UNITS=MM" ? double(kNmPerMm) : double(kNmPerInch);
        } else if (key == "XSIZE" || key == "YSIZE" || key == "OFFSET") {
            std::string token;
            double value = 0;
            if (!(fields >> token) || !read_number(token, value)) return fail(error, number, "no value for " + key);
            (key == "XSIZE" ? font.xsize : key == "YSIZE" ? font.ysize : font.offset) = value * unit;
        } else if (key == "CHAR") {
            if (glyph) return fail(error, number, "CHAR inside a character");
            // The character follows one blank; a lone CHAR is the space.
            std::size_t at = line.find("CHAR") + 4;
            unsigned char c = at + 1 < line.size() ? static_cast<unsigned char>(line[at + 1]) : ' ';
            glyph = &font.glyphs[c];
            glyph->clear();
        } else if (key == "ECHAR") {
            if (!glyph) return fail(error, number, "ECHAR without CHAR");
            glyph = nullptr;
        } else if (key == "LINE") {
            if (!glyph) return fail(error, number, "LINE outside a character");
            std::string t[7];
            double v[5];
            for (auto& token : t) fields >> token;
            bool ok = read_number(t[0], v[0]) && read_number(t[1], v[1]) && read_number(t[2], v[2]) &&
                      read_number(t[3], v[3]) && read_number(t[6], v[4]) && v[4] >= 0 &&
                      (t[4] == "P" || t[4] == "N") && (t[5] == "R" || t[5] == "S");
            if (!ok) return fail(error, number, "malformed LINE record");
            glyph->push_back({v[0] * unit, v[1] * unit, v[2] * unit, v[3] * unit, v[4] * unit, t[4] == "P", t[5] == "R"});
        } else {
            return fail(error, number, "unknown record " + key);
        }
    }
    if (glyph) return fail(error, number, "last character has no ECHAR");
    if (!(font.xsize > 0) || !(font.ysize > 0)) return fail(error, number, "XSIZE and YSIZE must be positive");
    return font;
}

const StrokeFont& builtin_stroke_font()
{
    static const StrokeFont font = *parse_stroke_font(builtin_font_text());
    return font;
}

} // namespace kesto::geom
