#include "engine/geometry/barcode.h"

#include <cctype>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <vector>

namespace kesto::geom {

namespace {

// The 43 characters of Code 39 in check-value order, then the start/stop.
constexpr char kCharacters[] = "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ-. $/+%*";

// Nine elements a character, bar first, bars and spaces taking turns; capitals
// are wide. Three of the nine are wide, whence the name.
constexpr const char* kPatterns[44] = {
    "bwbWBwBwb", "BwbWbwbwB", "bwBWbwbwB", "BwBWbwbwb", "bwbWBwbwB", // 0-4
    "BwbWBwbwb", "bwBWBwbwb", "bwbWbwBwB", "BwbWbwBwb", "bwBWbwBwb", // 5-9
    "BwbwbWbwB", "bwBwbWbwB", "BwBwbWbwb", "bwbwBWbwB", "BwbwBWbwb", // A-E
    "bwBwBWbwb", "bwbwbWBwB", "BwbwbWBwb", "bwBwbWBwb", "bwbwBWBwb", // F-J
    "BwbwbwbWB", "bwBwbwbWB", "BwBwbwbWb", "bwbwBwbWB", "BwbwBwbWb", // K-O
    "bwBwBwbWb", "bwbwbwBWB", "BwbwbwBWb", "bwBwbwBWb", "bwbwBwBWb", // P-T
    "BWbwbwbwB", "bWBwbwbwB", "BWBwbwbwb", "bWbwBwbwB", "BWbwBwbwb", // U-Y
    "bWBwBwbwb", "bWbwbwBwB", "BWbwbwBwb", "bWBwbwBwb",              // Z - . space
    "bWbWbWbwb", "bWbWbwbWb", "bWbwbWbWb", "bwbWbWbWb",              // $ / + %
    "bWbwBwBwb",                                                     // *
};

constexpr int kStartStop = 43;

int value_of(char c)
{
    for (int i = 0; i < 43; ++i)
        if (kCharacters[i] == c) return i;
    return -1;
}

// The Code 39 characters of one ASCII character in full ASCII: itself, or a
// shift ($ % / +) and a letter. Empty beyond ASCII.
std::string full_ascii(unsigned char c)
{
    auto pair = [](char shift, int letter) { return std::string{shift, char(letter)}; };
    if (c == 0) return "%U";
    if (c <= 26) return pair('$', 'A' + c - 1);
    if (c <= 31) return pair('%', 'A' + c - 27);
    if (c == ' ' || c == '-' || c == '.' || std::isdigit(c) || (c >= 'A' && c <= 'Z')) return std::string(1, char(c));
    if (c >= '!' && c <= ',') return pair('/', 'A' + c - '!');
    if (c == '/') return "/O";
    if (c == ':') return "/Z";
    if (c >= ';' && c <= '?') return pair('%', 'F' + c - ';');
    if (c == '@') return "%V";
    if (c >= '[' && c <= '_') return pair('%', 'K' + c - '[');
    if (c == '`') return "%W";
    if (c >= 'a' && c <= 'z') return pair('+', 'A' + c - 'a');
    if (c >= '{' && c <= 127) return pair('%', 'P' + c - '{');
    return {};
}

bool yes(const std::string& flag) { return flag == "Y" || flag == "y" || flag == "T" || flag == "t"; }

// The standard font's line width: a text's width factor is relative to it.
constexpr double kStandardLine = 0.012 * kNmPerInch;

// Everything of a barcode in its own frame: the lower left corner of the
// first bar at the origin, unturned.
struct Local {
    double element = 0, height = 0, width = 0;
    std::string symbols;
    bool inverted = false;
    Layer text;       // one text feature, when the text is drawn
    Box text_box;     // its box in this frame
    Box background;   // the dark rectangle of an inverted barcode
};

std::optional<Local> local_of(const Layer& layer, const Feature& f, const OutlineContext& context)
{
    if (f.body >= layer.texts.size()) return std::nullopt;
    const Text& t = layer.texts[f.body];
    const std::optional<BarcodeLayout> layout = parse_barcode(t.barcode, layer.units);
    if (!layout) return std::nullopt;
    Local local;
    local.element = std::round(layout->element);
    local.height = std::round(layout->height);
    if (local.element < 1 || local.height < 1) return std::nullopt;
    const double w = local.element;
    local.symbols = code39_symbols(t.text, layout->full_ascii, layout->checksum);
    // Six narrow and three wide elements a character, a narrow gap between characters.
    const double pitch = (6 + 3 * kCode39WideRatio + 1) * w;
    local.width = double(local.symbols.size()) * pitch - w;
    local.inverted = layout->inverted;

    Box extent{0, 0, to_nm(local.width), to_nm(local.height)};
    if (layout->readable && !t.text.empty()) {
        // Square cells of ten narrow widths, strokes as wide as a narrow bar,
        // centred on the bars two narrow widths away from them.
        const Coord size = to_nm(10 * w);
        local.text.texts.push_back(Text{t.font, size, size, w / kStandardLine, t.text, t.version, {}});
        Feature tf;
        tf.kind = FeatureKind::Text;
        const Box drawn = feature_box(local.text, tf, context);
        if (!drawn.empty()) {
            const double gap = 2 * w;
            const double dx = local.width / 2 - (double(drawn.xmin) + double(drawn.xmax)) / 2;
            const double dy =
                layout->readable_top ? local.height + gap - double(drawn.ymin) : -gap - double(drawn.ymax);
            tf.a = {to_nm(dx), to_nm(dy)};
            local.text.features.push_back(tf);
            local.text_box = Box{to_nm(drawn.xmin + dx), to_nm(drawn.ymin + dy), to_nm(drawn.xmax + dx),
                                 to_nm(drawn.ymax + dy)};
            extent.add(local.text_box);
        }
    }
    if (local.inverted) {
        // Code 39's quiet zone of ten narrow widths left and right, five above and below.
        const Coord quiet = to_nm(10 * w), margin = to_nm(5 * w);
        local.background = Box{to_nm(double(extent.xmin) - double(quiet)), to_nm(double(extent.ymin) - double(margin)),
                               to_nm(double(extent.xmax) + double(quiet)), to_nm(double(extent.ymax) + double(margin))};
    }
    return local;
}

Path box_path(const Box& b) { return rectangle(double(b.xmin), double(b.ymin), double(b.xmax), double(b.ymax)); }

} // namespace

std::optional<BarcodeLayout> parse_barcode(const std::string& fields, Units units)
{
    std::istringstream in(fields);
    std::vector<std::string> tokens;
    for (std::string token; in >> token;) tokens.push_back(token);
    if (tokens.size() < 4) return std::nullopt;
    std::string type = tokens[0];
    for (char& c : type) c = char(std::toupper(static_cast<unsigned char>(c)));
    if (type != "UPC39") return std::nullopt;
    const double unit = units == Units::Inch ? double(kNmPerInch) : double(kNmPerMm);
    auto length = [&](const std::string& token, double& out) {
        // Plain decimals only: strtod would also take hexadecimal.
        if (token.find_first_not_of("0123456789.+-eE") != std::string::npos) return false;
        char* end = nullptr;
        const double v = std::strtod(token.c_str(), &end);
        if (end == token.c_str() || *end != '\0' || !std::isfinite(v) || !(v > 0)) return false;
        out = v * unit;
        return true;
    };
    BarcodeLayout layout;
    if (!length(tokens[2], layout.element) || !length(tokens[3], layout.height)) return std::nullopt;
    auto flag = [&](std::size_t i) { return i < tokens.size() && yes(tokens[i]); };
    layout.full_ascii = flag(4);
    layout.checksum = flag(5);
    layout.inverted = flag(6);
    layout.readable = flag(7);
    layout.readable_top = tokens.size() > 8 && (tokens[8] == "T" || tokens[8] == "t");
    return layout;
}

std::string code39_symbols(const std::string& text, bool full_ascii_text, bool checksum)
{
    std::string data;
    for (char c : text) {
        if (full_ascii_text) data += full_ascii(static_cast<unsigned char>(c));
        else if (value_of(c) >= 0) data += c;
    }
    std::string out = "*" + data;
    if (checksum) {
        int sum = 0;
        for (char c : data) sum = (sum + value_of(c)) % 43;
        out += kCharacters[sum];
    }
    return out + '*';
}

Paths barcode_outline(const Layer& layer, const Feature& f, const OutlineContext& context)
{
    const std::optional<Local> local = local_of(layer, f, context);
    if (!local) return {};
    const double w = local->element;
    // The bars never touch each other or the text, so they are islands as they stand.
    Paths drawn;
    drawn.reserve(local->symbols.size() * 5 + 16);
    double x = 0;
    for (char c : local->symbols) {
        const int v = c == '*' ? kStartStop : value_of(c);
        for (int k = 0; k < 9; ++k) {
            const char e = kPatterns[v][k];
            const double ew = std::isupper(static_cast<unsigned char>(e)) ? kCode39WideRatio * w : w;
            if (k % 2 == 0) drawn.push_back(rectangle(x, 0, x + ew, local->height));
            x += ew;
        }
        x += w;
    }
    if (!local->text.features.empty()) {
        Paths text = feature_outline(local->text, local->text.features[0], context);
        drawn.insert(drawn.end(), text.begin(), text.end());
    }
    if (local->inverted) drawn = subtract({box_path(local->background)}, drawn);
    return place(Placement{f.a, f.angle, f.mirror}, drawn);
}

Box barcode_box(const Layer& layer, const Feature& f, const OutlineContext& context)
{
    const std::optional<Local> local = local_of(layer, f, context);
    if (!local) return {};
    Box extent{0, 0, to_nm(local->width), to_nm(local->height)};
    extent.add(local->text_box);
    extent.add(local->background);
    Box box;
    const Placement how{f.a, f.angle, f.mirror};
    for (auto [x, y] : {std::pair{extent.xmin, extent.ymin}, std::pair{extent.xmax, extent.ymin},
                        std::pair{extent.xmax, extent.ymax}, std::pair{extent.xmin, extent.ymax}}) {
        const IntPoint q = place(how, double(x), double(y));
        box.add(Point{q.X, q.Y});
    }
    // Rounding of the turned corners: one nanometre either way.
    box.xmin -= 1;
    box.ymin -= 1;
    box.xmax += 1;
    box.ymax += 1;
    return box;
}

} // namespace kesto::geom
