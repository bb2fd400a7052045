// The Gerber reader: RS-274X with X2/X3 attributes, and RS-274-D with a
// separate aperture list. One pass over the text; words end in '*',
// extended commands sit between '%' signs.
#include "engine/api/exchange.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/gerber/attribute_names.h"
#include "engine/formats/gerber/layer_build.h"
#include "engine/formats/gerber/macro.h"
#include "engine/model/limits.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <string_view>

namespace kesto::gerber {

using formats::Attributes;
using formats::LayerBuilder;
using formats::Placement;

namespace {

// The whole number that starts `text` (digits only), held to 1e9 so that a
// long run of digits never overflows.
int capped_integer(std::string_view text)
{
    long long v = 0;
    for (std::size_t i = 0; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        v = std::min<long long>(v * 10 + (text[i] - '0'), 1000000000);
    return int(v);
}

// A decimal number of the characters given, read without the locale.
double plain_decimal(std::string_view s)
{
    if (!s.empty() && s[0] == '+') s.remove_prefix(1);
    double v = 0;
    std::from_chars(s.data(), s.data() + s.size(), v);
    return v;
}

// Flashes and strokes of one aperture mostly come at one scale and unit:
// the last symbol made is kept beside the table of all of them.
struct LastSymbol {
    double scale = std::nan(""), unit = 0;
    int symbol = -1;
};

enum class Interpolation { Linear, Clockwise, CounterClockwise };

// How far the dark frame of a negative image reaches beyond what it holds.
constexpr Coord kNegativeImageMargin = kNmPerInch / 10;

struct Aperture {
    char shape = 0;                 // C R O P, 'M' macro, 'B' block
    std::vector<double> parameters; // in file units (macros: as given)
    std::string macro;
    std::shared_ptr<Layer> block;
    Attributes attributes;          // the aperture dictionary when it was defined
    std::map<std::pair<double, double>, int> symbols; // (scale, unit) -> symbol index
    LastSymbol last_line, last_flash;
    // The attribute set of its objects, valid while the object dictionary
    // is at this generation (0: none yet).
    std::uint64_t set_generation = 0;
    std::uint32_t set = 0;
};

// An aperture block or a step-and-repeat being recorded.
struct Frame {
    bool block = false;
    int dcode = 0;
    int nx = 1, ny = 1;
    double dx = 0, dy = 0;
    Layer layer;
};

bool digit(char c) { return unsigned(c - '0') < 10u; }

constexpr double kPowersOfTen[19] = {1e0,  1e1,  1e2,  1e3,  1e4,  1e5,  1e6,  1e7,  1e8, 1e9,
                                     1e10, 1e11, 1e12, 1e13, 1e14, 1e15, 1e16, 1e17, 1e18};

std::string_view trim(std::string_view s)
{
    const std::size_t a = s.find_first_not_of(" \t\r\n");
    if (a == std::string_view::npos) return {};
    const std::size_t b = s.find_last_not_of(" \t\r\n");
    return s.substr(a, b - a + 1);
}

class Reader {
public:
    Reader(const std::string& text, const ReadOptions& options, Layer& layer, UserSymbols& symbols, Reports& reports)
        : text_(text), options_(options), builder_(layer), symbols_(symbols), reports_(reports)
    {
        const auto& d = options.defaults;
        if (d.units == "mm") unit_ = kNmPerMm;
        if (d.Number_format_integer > 0 || d.Number_format_decimal > 0) {
            integer_digits_ = d.Number_format_integer;
            decimal_digits_ = d.Number_format_decimal;
        }
        if (d.zeroes_omitted == "trailing") zeros_ = 'T';
        incremental_ = d.Coordinates == "incremental";
        refresh_scale();
    }

    bool run()
    {
        if (!options_.aperture_list.empty()) read_aperture_list();
        const std::size_t n = text_.size();
        // Room for the features a file of this size usually holds (one in
        // 25 to 30 bytes, fewer in dense artwork), so the list is not copied
        // as it grows; pages never written cost nothing.
        builder_.layer.features.reserve(builder_.layer.features.size() + n / 24);
        std::size_t reported = 0;
        while (pos_ < n && !ended_) {
            if (options_.read && pos_ - reported > (1u << 16)) options_.read->store(static_cast<long long>(reported = pos_));
            const char c = text_[pos_];
            if (c == '\n') {
                ++line_;
                ++pos_;
            } else if (c == ' ' || c == '\r' || c == '\t' || c == '\0') {
                ++pos_;
            } else if (c == '%') {
                extended();
            } else {
                word();
            }
        }
        if (options_.read) options_.read->store(static_cast<long long>(n));
        if (!ended_) warn(0, "the file ends without M02");
        while (!frames_.empty()) {
            if (frames_.back().block) error(line_, "aperture block not closed by %AB*%"); // a step and repeat ends with the file
            close_frame();
        }
        if (region_) {
            error(line_, "region (G36) not closed by G37");
            end_region();
        }
        finish_image();
        invert_image();
        return ok_;
    }

private:
    // ------------------------------------------------------------ reports
    void report(int line, std::string what, bool is_error)
    {
        if (reports_.size() >= 1000) {
            if (is_error) ok_ = false;
            return; // one broken file must not flood the host
        }
        reports_.push_back({options_.file_name, line, std::move(what), is_error});
        if (is_error) ok_ = false;
    }
    void error(int line, std::string what) { report(line, std::move(what), true); }
    void warn(int line, std::string what) { report(line, std::move(what), false); }

    // ------------------------------------------------------------ coordinates
    void refresh_scale()
    {
        scale_ = unit_ / std::pow(10.0, decimal_digits_) * coordinate_factor_;
        decimal_scale_ = unit_ * coordinate_factor_;
    }

    // Said once: coordinates came before the file gave its format or units.
    void check_format_known()
    {
        if (!format_set_ && !format_warned_) {
            format_warned_ = true;
            if (options_.defaults.Number_format_integer > 0 || options_.defaults.Number_format_decimal > 0)
                warn(line_, "coordinates before a format statement (%FS): reading them as the parameters say");
            else
                error(line_, "coordinates before a format statement (%FS): reading them as " +
                                 std::to_string(integer_digits_) + "." + std::to_string(decimal_digits_) +
                                 ", leading zeros omitted");
        }
        if (!units_set_ && !units_warned_) {
            units_warned_ = true;
            if (!options_.defaults.units.empty())
                warn(line_, "no unit command (%MO): reading the file in " + options_.defaults.units);
            else
                warn(line_, "no unit command (%MO): reading the file in inches");
        }
    }

    // A coordinate number after X, Y, I or J, in nanometres. The digits are
    // read through a local pointer: the text's size and pos_ stay out of
    // memory inside the loop.
    bool number(Coord& out)
    {
        check_format_known();
        const char* const begin = text_.data();
        const char* const end = begin + text_.size();
        const char* const start = begin + pos_;
        const char* p = start;
        bool negative = false;
        if (p < end && (*p == '+' || *p == '-')) negative = *p++ == '-';
        std::int64_t value = 0;
        const char* const first_digit = p;
        const char* const last_exact = p + 18 < end ? p + 18 : end;
        while (p < last_exact && digit(*p)) value = value * 10 + (*p++ - '0');
        while (p < end && digit(*p)) ++p;
        const int digits = int(p - first_digit);
        if (p < end && *p == '.') {
            ++p;
            while (p < end && digit(*p)) ++p;
            pos_ = std::size_t(p - begin);
            const double v = plain_decimal(std::string_view(start, std::min<std::size_t>(std::size_t(p - start), 40)));
            return coordinate(v * decimal_scale_, out);
        }
        pos_ = std::size_t(p - begin);
        if (digits == 0 || digits > 18) {
            error(line_, digits ? "coordinate number too long" : "coordinate letter without a number");
            return false;
        }
        double v = double(value);
        const int total = integer_digits_ + decimal_digits_;
        if (zeros_ == 'T' && digits < total) v *= kPowersOfTen[std::min(total - digits, 18)];
        return coordinate((negative ? -v : v) * scale_, out);
    }

    // A coordinate in nanometres, refused beyond what the engine holds.
    bool coordinate(double nm, Coord& out)
    {
        if (!within_length_limit(nm)) {
            error(line_, "coordinate beyond 10 m");
            return false;
        }
        // llround's rounding (halves away from zero), inline; the fraction is exact.
        out = Coord(nm);
        const double fraction = nm - double(out);
        out += fraction >= 0.5 ? 1 : fraction <= -0.5 ? -1 : 0;
        return true;
    }

    int integer()
    {
        const char* const begin = text_.data();
        const char* const end = begin + text_.size();
        const char* p = begin + pos_;
        const char* const first = p;
        int v = 0;
        for (; p < end && digit(*p); ++p)
            if (v < 100000000) v = v * 10 + (*p - '0');
        pos_ = std::size_t(p - begin);
        return p > first ? v : -1;
    }

    // ------------------------------------------------------------ words
    void word()
    {
        const int line = line_;
        bool has_x = false, has_y = false, has_i = false, has_j = false;
        Coord x = 0, y = 0, i = 0, j = 0;
        int operation = 0;
        while (pos_ < text_.size()) {
            const char c = text_[pos_];
            if (c == '*') {
                ++pos_;
                break;
            }
            if (c == '%') {
                error(line_, "word not ended by '*'");
                break;
            }
            if (c == '\n') {
                ++line_;
                ++pos_;
                continue;
            }
            if (c == ' ' || c == '\r' || c == '\t') {
                ++pos_;
                continue;
            }
            ++pos_;
            switch (c) {
            case 'X': has_x = number(x); break;
            case 'Y': has_y = number(y); break;
            case 'I': has_i = number(i); break;
            case 'J': has_j = number(j); break;
            case 'G': {
                const int g = integer();
                if (!g_code(g, line)) return;
                break;
            }
            case 'D': {
                const int d = integer();
                if (d >= 1 && d <= 3) operation = d;
                else if (d >= 10) select_aperture(d, line);
                else error(line, "unknown D code D" + std::to_string(d));
                break;
            }
            case 'M': {
                const int m = integer();
                if (m == 2 || m == 0 || m == 30) ended_ = true;
                else if (m != 1) warn(line, "unknown M code M" + std::to_string(m) + " ignored");
                break;
            }
            case 'N': integer(); break;
            default: {
                error(line, std::string("unexpected character '") + (std::isprint(static_cast<unsigned char>(c)) ? std::string(1, c) : "?") + "' in a word");
                skip_word();
                return;
            }
            }
        }
        if (swap_axes_) {
            std::swap(x, y), std::swap(has_x, has_y);
            std::swap(i, j), std::swap(has_i, has_j);
        }
        if (!(has_x || has_y || has_i || has_j) && operation == 0) return;
        if (operation == 0) {
            if (last_operation_ == 1) {
                operation = 1; // modal D01, as older files rely on
            } else {
                error(line, "coordinates without an operation (D01, D02 or D03)");
                return;
            }
        }
        last_operation_ = operation;
        Point target = current_;
        if (incremental_) {
            target.x += has_x ? x : 0;
            target.y += has_y ? y : 0;
            if (!within_length_limit(double(target.x)) || !within_length_limit(double(target.y))) {
                error(line, "incremental coordinates reach beyond 10 m");
                return;
            }
        } else {
            if (has_x) target.x = x;
            if (has_y) target.y = y;
        }
        if (operation == 1) interpolate(target, i, j, line);
        else if (operation == 2) move(target);
        else flash(target, line);
        current_ = target;
    }

    void skip_word()
    {
        while (pos_ < text_.size() && text_[pos_] != '*' && text_[pos_] != '%') {
            if (text_[pos_] == '\n') ++line_;
            ++pos_;
        }
        if (pos_ < text_.size() && text_[pos_] == '*') ++pos_;
    }

    // A comment; "G04 #@! TO.N,GND*" carries an X2 attribute for readers of
    // before X2, and counts as one.
    void comment(int line)
    {
        const std::size_t start = pos_;
        skip_word();
        std::string_view text =
            trim(std::string_view(text_).substr(start, pos_ - start - (pos_ > start && text_[pos_ - 1] == '*' ? 1 : 0)));
        if (text.substr(0, 3) != "#@!") return;
        text = trim(text.substr(3));
        if (text.size() >= 2 && text[0] == 'T' && (text[1] == 'F' || text[1] == 'A' || text[1] == 'O' || text[1] == 'D'))
            parameter(text, line);
    }

    bool g_code(int g, int line)
    {
        switch (g) {
        case 1: interpolation_ = Interpolation::Linear; break;
        case 2: interpolation_ = Interpolation::Clockwise; break;
        case 3: interpolation_ = Interpolation::CounterClockwise; break;
        case 4: comment(line); return false;
        case 36:
            if (region_) error(line, "G36 inside a region");
            else begin_region();
            break;
        case 37:
            if (!region_) error(line, "G37 without G36");
            else end_region();
            break;
        case 54: case 55: break; // tool prepare / flash prepare: the D code that follows says it all
        case 70: unit_ = kNmPerInch, units_set_ = true, refresh_scale(); break;
        case 71: unit_ = kNmPerMm, units_set_ = true, refresh_scale(); break;
        case 74: multi_quadrant_ = false; break;
        case 75: multi_quadrant_ = true; break;
        case 90: incremental_ = false; break;
        case 91: incremental_ = true; break;
        case -1: error(line, "G without a number"); break;
        default: warn(line, "unknown G code G" + std::to_string(g) + " ignored"); break;
        }
        return true;
    }

    void select_aperture(int d, int line)
    {
        selected_ = find_aperture(d);
        if (!selected_) {
            error(line, "aperture D" + std::to_string(d) + " used but not defined");
            aperture_ = -1;
            return;
        }
        aperture_ = d;
    }

    static constexpr int kFlatApertures = 10000;

    Aperture* find_aperture(int d)
    {
        if (d >= 0 && d < int(flat_apertures_.size())) return flat_apertures_[std::size_t(d)];
        if (d < kFlatApertures) return nullptr;
        auto it = apertures_.find(d);
        return it == apertures_.end() ? nullptr : &it->second;
    }

    void define_aperture(int d, Aperture&& a)
    {
        Aperture& stored = apertures_[d] = std::move(a);
        if (d < 0 || d >= kFlatApertures) return;
        if (d >= int(flat_apertures_.size())) flat_apertures_.resize(std::size_t(d) + 1, nullptr);
        flat_apertures_[std::size_t(d)] = &stored;
    }

    // ------------------------------------------------------------ operations
    Layer& sink() { return frames_.empty() ? builder_.layer : frames_.back().layer; }

    std::uint32_t attributes_for(Aperture* aperture)
    {
        std::uint64_t& generation = aperture ? aperture->set_generation : region_set_generation_;
        std::uint32_t& set = aperture ? aperture->set : region_set_;
        if (generation == dictionary_generation_) return set;
        Attributes all = aperture ? aperture->attributes : aperture_dictionary_;
        for (auto& a : object_dictionary_) all.push_back(a);
        set = builder_.attribute_set(all);
        generation = dictionary_generation_;
        return set;
    }

    void add(Feature f, Aperture* aperture)
    {
        f.polarity = dark_ ? Polarity::Positive : Polarity::Negative;
        f.attributes = attributes_for(aperture);
        f.dcode = aperture_;
        sink().features.push_back(f);
    }

    void move(const Point& target)
    {
        if (region_) {
            close_contour();
            contour_.start = target;
        }
    }

    Aperture* current_aperture(int line, const char* what)
    {
        if (aperture_ < 0 || !selected_) {
            error(line, std::string(what) + " with no aperture selected");
            return nullptr;
        }
        return selected_;
    }

    void interpolate(const Point& target, Coord i, Coord j, int line)
    {
        // A single-quadrant arc that ends where it starts has no length: a dot, not a circle.
        const bool arc = interpolation_ != Interpolation::Linear && (multi_quadrant_ || target != current_);
        Point centre;
        bool cw = interpolation_ == Interpolation::Clockwise;
        if (arc && !arc_centre(target, i, j, cw, centre, line)) return;
        if (region_) {
            Segment s;
            s.end = target;
            s.arc = arc;
            s.cw = cw;
            s.centre = centre;
            contour_.segments.push_back(s);
            return;
        }
        Aperture* a = current_aperture(line, "D01");
        if (!a) return;
        Feature f;
        f.a = current_;
        f.b = target;
        if (a->shape == 'C') {
            f.kind = arc ? FeatureKind::Arc : FeatureKind::Line;
            f.cw = cw;
            f.c = centre;
            f.symbol = line_symbol(*a);
            add(f, a);
        } else if (a->shape == 'R' && !arc) {
            rect_stroke(*a, target);
        } else {
            error(line, std::string(arc ? "arc" : "line") + " drawn with aperture D" + std::to_string(aperture_) +
                            ": only a circle (or, for lines, a rectangle) may draw");
        }
    }

    int line_symbol(Aperture& a)
    {
        if (a.last_line.scale == scale_factor_ && a.last_line.unit == unit_) return a.last_line.symbol;
        const double d = a.parameters.empty() ? 0 : a.parameters[0];
        auto [it, added] = a.symbols.emplace(std::make_pair(-scale_factor_, unit_), 0);
        if (added) it->second = builder_.symbol(formats::round_symbol(d * unit_ * scale_factor_));
        a.last_line = {scale_factor_, unit_, it->second};
        return it->second;
    }

    // A rectangle dragged along a straight line covers the hull of its two end positions.
    void rect_stroke(Aperture& a, const Point& target)
    {
        const double w = a.parameters.size() > 0 ? a.parameters[0] * unit_ * scale_factor_ / 2 : 0;
        const double h = a.parameters.size() > 1 ? a.parameters[1] * unit_ * scale_factor_ / 2 : w;
        if (target == current_) {
            flash(target, line_);
            return;
        }
        const double x0 = double(current_.x), y0 = double(current_.y);
        const double x1 = double(target.x), y1 = double(target.y);
        const std::array<std::pair<double, double>, 8> corners = {{
            {x0 - w, y0 - h}, {x0 + w, y0 - h}, {x0 + w, y0 + h}, {x0 - w, y0 + h},
            {x1 - w, y1 - h}, {x1 + w, y1 - h}, {x1 + w, y1 + h}, {x1 - w, y1 + h}}};
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(sink().surfaces.size());
        Surface body;
        body.contours.push_back(hull_contour(corners));
        sink().surfaces.push_back(std::move(body));
        add(f, &a);
    }

    // The hull as an island contour, clockwise from its first corner, made in
    // place: strokes of silkscreen artwork come by the hundred thousand.
    static Contour hull_contour(const std::array<std::pair<double, double>, 8>& corners)
    {
        std::array<std::pair<double, double>, 16> h;
        const std::size_t k = hull(corners, h);
        if (k < 3) return formats::polygon_contour(std::vector<std::pair<double, double>>(h.begin(), h.begin() + std::ptrdiff_t(k)), true);
        std::array<Point, 16> q;
        for (std::size_t i = 0; i < k; ++i) q[i] = {Coord(std::llround(h[i].first)), Coord(std::llround(h[i].second))};
        // Counter-clockwise corners q0..qk-1 walked backwards: q0, qk-1, ..., q1, q0
        // (the closing side left out when the last corner rounds onto the first).
        Contour c;
        c.start = q[0];
        const std::size_t last = q[k - 1] == q[0] ? k - 1 : k;
        c.segments.resize(last);
        std::size_t s = 0;
        if (last == k) c.segments[s++].end = q[k - 1];
        for (std::size_t i = k - 1; i-- > 1;) c.segments[s++].end = q[i];
        c.segments[s++].end = q[0];
        for (Segment& seg : c.segments) seg.cw = true;
        return c;
    }

    // The convex hull, counter-clockwise from the lowest-left corner (a
    // monotone chain); on the stack, as it runs once a stroke.
    static std::size_t hull(std::array<std::pair<double, double>, 8> corners, std::array<std::pair<double, double>, 16>& h)
    {
        std::sort(corners.begin(), corners.end());
        const std::size_t n = std::size_t(std::unique(corners.begin(), corners.end()) - corners.begin());
        if (n < 3) {
            std::copy(corners.begin(), corners.begin() + std::ptrdiff_t(n), h.begin());
            return n;
        }
        const auto& p = corners;
        std::size_t k = 0;
        auto cross = [](auto& o, auto& a, auto& b) {
            return (a.first - o.first) * (b.second - o.second) - (a.second - o.second) * (b.first - o.first);
        };
        for (std::size_t i = 0; i < n; ++i) {
            while (k >= 2 && cross(h[k - 2], h[k - 1], p[i]) <= 0) --k;
            h[k++] = p[i];
        }
        for (std::size_t i = n - 1, t = k + 1; i > 0; --i) {
            while (k >= t && cross(h[k - 2], h[k - 1], p[i - 1]) <= 0) --k;
            h[k++] = p[i - 1];
        }
        return k - 1;
    }

    bool arc_centre(const Point& target, Coord i, Coord j, bool cw, Point& centre, int line)
    {
        if (multi_quadrant_) {
            centre = {current_.x + i, current_.y + j};
            return true;
        }
        // Single quadrant: the offsets are unsigned; take the signs that give an
        // arc of at most 90 degrees in the right direction with equal radii.
        double best = -1;
        for (int sx : {1, -1})
            for (int sy : {1, -1}) {
                const Point c{current_.x + sx * std::llabs(i), current_.y + sy * std::llabs(j)};
                const double r0 = std::hypot(double(current_.x - c.x), double(current_.y - c.y));
                const double r1 = std::hypot(double(target.x - c.x), double(target.y - c.y));
                double a0 = std::atan2(double(current_.y - c.y), double(current_.x - c.x));
                double a1 = std::atan2(double(target.y - c.y), double(target.x - c.x));
                double sweep = cw ? a0 - a1 : a1 - a0;
                while (sweep < 0) sweep += 2 * M_PI;
                if (sweep > M_PI / 2 + 1e-6) continue;
                const double misfit = std::abs(r0 - r1);
                if (best < 0 || misfit < best) {
                    best = misfit;
                    centre = c;
                }
            }
        if (best < 0) {
            error(line, "single-quadrant arc (G74) longer than 90 degrees");
            return false;
        }
        return true;
    }

    void flash(const Point& at, int line)
    {
        if (region_) {
            error(line, "flash (D03) inside a region");
            return;
        }
        Aperture* a = current_aperture(line, "D03");
        if (!a) return;
        if (a->shape == 'B') {
            Placement place = transform();
            place.offset = at;
            Layer& to = sink();
            if (!formats::place_features(*a->block, to, place, !dark_, builder_, symbols_))
                warn(line, "block D" + std::to_string(aperture_) + ": a symbol could not be scaled");
            return;
        }
        const int symbol = flash_symbol(*a, line);
        if (symbol < 0) return;
        Feature f;
        f.kind = FeatureKind::Pad;
        f.a = at;
        f.symbol = symbol;
        // The aperture is mirrored, then turned counter-clockwise; pads turn clockwise.
        const Placement place = transform();
        f.mirror = place.mirror;
        double angle = -place.rotation;
        angle = std::fmod(angle, 360.0);
        if (angle < 0) angle += 360;
        f.angle = angle;
        add(f, a);
    }

    // The aperture transformation of LM, LR and LS as one placement.
    Placement transform() const
    {
        Placement p;
        p.mirror = mirror_x_ != mirror_y_;
        p.rotation = rotation_ + (mirror_y_ ? 180 : 0);
        p.scale = scale_factor_;
        return p;
    }

    int flash_symbol(Aperture& a, int line)
    {
        if (a.last_flash.scale == scale_factor_ && a.last_flash.unit == unit_) return a.last_flash.symbol;
        const int symbol = make_flash_symbol(a, line);
        if (symbol >= 0) a.last_flash = {scale_factor_, unit_, symbol};
        return symbol;
    }

    int make_flash_symbol(Aperture& a, int line)
    {
        auto [it, added] = a.symbols.emplace(std::make_pair(scale_factor_, unit_), -1);
        if (!added) return it->second;
        const double u = unit_ * scale_factor_;
        const auto& p = a.parameters;
        auto arg = [&](std::size_t i) { return i < p.size() ? p[i] * u : 0.0; };
        const bool solid = p.size() == (a.shape == 'C' ? 1u : 2u) || (p.size() == (a.shape == 'C' ? 2u : 3u) && p.back() == 0);
        Symbol s;
        if (a.shape == 'C' && solid) s = formats::round_symbol(arg(0));
        else if (a.shape == 'C' && p.size() == 2) s = formats::round_donut_symbol(arg(0), arg(1));
        else if (a.shape == 'R' && solid) s = arg(0) == arg(1) ? formats::square_symbol(arg(0)) : formats::rect_symbol(arg(0), arg(1));
        else if (a.shape == 'O' && solid) s = arg(0) == arg(1) ? formats::round_symbol(arg(0)) : formats::oval_symbol(arg(0), arg(1));
        if (s.family != SymbolFamily::Unknown) return it->second = builder_.symbol(s);
        Layer shape;
        std::string base, gerber_shape;
        if (a.shape == 'M') {
            std::string why;
            auto m = macros_.find(a.macro);
            if (m == macros_.end()) {
                error(line, "aperture D" + std::to_string(aperture_) + " uses undefined macro " + a.macro);
                return -1;
            }
            if (!instantiate(m->second, a.parameters, u, shape, gerber_shape, why)) {
                error(line, why);
                return -1;
            }
            base = a.macro;
            gerber_shape = "macro:" + gerber_shape;
        } else {
            base = standard_shape(a, u, shape);
            gerber_shape = std::string("aperture:") + a.shape;
            for (std::size_t i = 0; i < p.size(); ++i) {
                const bool length = a.shape != 'P' || (i != 1 && i != 2);
                char number[40];
                std::snprintf(number, sizeof number, ",%.12g", length ? std::round(p[i] * u) : p[i]);
                gerber_shape += number;
            }
        }
        UserSymbol user;
        user.name = formats::user_symbol_name(base, shape);
        user.features = std::move(shape);
        user.attributes[formats::kGerberShape] = gerber_shape;
        Symbol ref;
        ref.family = SymbolFamily::User;
        ref.name = user.name;
        symbols_.emplace(user.name, std::move(user));
        return it->second = builder_.symbol(ref);
    }

    // Standard apertures with no ODB++ symbol (polygons, shapes with holes) as a surface.
    std::string standard_shape(const Aperture& a, double u, Layer& shape)
    {
        const auto& p = a.parameters;
        auto arg = [&](std::size_t i) { return i < p.size() ? p[i] * u : 0.0; };
        Surface s;
        std::string base;
        if (a.shape == 'C') {
            s.contours.push_back(formats::circle_contour(0, 0, arg(0) / 2, true));
            base = "c";
        } else if (a.shape == 'R') {
            const double w = arg(0) / 2, h = arg(1) / 2;
            s.contours.push_back(formats::polygon_contour({{-w, -h}, {w, -h}, {w, h}, {-w, h}}, true));
            base = "rect";
        } else if (a.shape == 'O') {
            // A stadium: two straight sides and two half circles, drawn along its long axis.
            const bool wide = arg(0) >= arg(1);
            const double r = std::min(arg(0), arg(1)) / 2, l = std::max(arg(0), arg(1)) / 2 - r;
            auto at = [wide](double along, double across) {
                return wide ? Point{Coord(std::llround(along)), Coord(std::llround(across))}
                            : Point{Coord(std::llround(-across)), Coord(std::llround(along))};
            };
            Contour c;
            c.start = at(-l, r);
            c.segments.push_back(formats::line_to(at(l, r)));
            c.segments.push_back(formats::arc_to(at(l, -r), at(l, 0), true));
            c.segments.push_back(formats::line_to(at(-l, -r)));
            c.segments.push_back(formats::arc_to(c.start, at(-l, 0), true));
            s.contours.push_back(c);
            base = "oval";
        } else {
            const int n = p.size() > 1 ? int(std::lround(p[1])) : 0;
            const double rotation = p.size() > 2 ? p[2] : 0;
            std::vector<std::pair<double, double>> points;
            for (int k = 0; k < n; ++k) {
                const double angle = (rotation + 360.0 * k / n) * M_PI / 180;
                points.push_back({arg(0) / 2 * std::cos(angle), arg(0) / 2 * std::sin(angle)});
            }
            s.contours.push_back(formats::polygon_contour(points, true));
            base = "poly";
        }
        const std::size_t first_hole = a.shape == 'C' ? 1 : a.shape == 'P' ? 3 : 2;
        if (p.size() == first_hole + 2) {
            const double w = arg(first_hole) / 2, h = arg(first_hole + 1) / 2;
            s.contours.push_back(formats::polygon_contour({{-w, -h}, {w, -h}, {w, h}, {-w, h}}, false));
        } else if (p.size() == first_hole + 1 && p.back() > 0) {
            s.contours.push_back(formats::circle_contour(0, 0, arg(first_hole) / 2, false));
        }
        Feature f;
        f.kind = FeatureKind::Surface;
        shape.surfaces.push_back(std::move(s));
        shape.features.push_back(f);
        return base;
    }

    // ------------------------------------------------------------ regions
    void begin_region()
    {
        region_ = true;
        contour_ = Contour{};
        contour_.start = current_;
        surface_ = Surface{};
    }

    void close_contour()
    {
        if (contour_.segments.empty()) return;
        if (contour_.segments.back().end != contour_.start) {
            warn(line_, "region contour not closed: closed with a straight line back to its start");
            contour_.segments.push_back(formats::line_to(contour_.start));
        }
        surface_.contours.push_back(std::move(contour_));
        contour_ = Contour{};
    }

    void end_region()
    {
        close_contour();
        region_ = false;
        if (surface_.contours.empty()) return;
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(sink().surfaces.size());
        sink().surfaces.push_back(std::move(surface_));
        const int saved = aperture_;
        aperture_ = -1;
        add(f, nullptr);
        aperture_ = saved;
    }

    // ------------------------------------------------------------ extended commands
    void extended()
    {
        const int line = line_;
        const std::size_t end = text_.find('%', pos_ + 1);
        if (end == std::string::npos) {
            error(line, "'%' block not closed");
            pos_ = text_.size();
            return;
        }
        const std::string_view block = std::string_view(text_).substr(pos_ + 1, end - pos_ - 1);
        const bool broken = block.find_first_of("\r\n") != std::string_view::npos;
        for (char c : block)
            if (c == '\n') ++line_;
        pos_ = end + 1;
        const std::string_view head = trim(block).substr(0, 2);
        if (head == "AM") {
            const std::string_view body = trim(block).substr(2);
            const std::size_t star = body.find('*');
            const std::string name(trim(body.substr(0, star)));
            Macro m;
            std::string why;
            if (name.empty() || star == std::string_view::npos) error(line, "macro definition without a name");
            else if (!parse_macro(name, std::string(body.substr(star + 1)), m, why)) error(line, why);
            else macros_[name] = std::move(m);
            return;
        }
        std::size_t from = 0;
        std::string joined;
        while (from < block.size()) {
            std::size_t star = block.find('*', from);
            if (star == std::string_view::npos) {
                if (!trim(block.substr(from)).empty()) error(line, "command in '%' block not ended by '*'");
                star = block.size();
            }
            std::string_view command = block.substr(from, star - from);
            if (broken) { // a command split over lines reads as if on one
                joined.clear();
                for (char c : command)
                    if (c != '\n' && c != '\r') joined += c;
                command = joined;
            }
            from = star + 1;
            if (!trim(command).empty()) parameter(trim(command), line);
        }
    }

    // A plain decimal number ("-1.25", ".5"); strtod alone would also take
    // hexadecimal ("0X0.25" is a zero and a separator here) and "inf".
    static bool read_number(std::string_view s, std::size_t& i, double& v)
    {
        std::size_t j = i;
        if (j < s.size() && (s[j] == '+' || s[j] == '-')) ++j;
        const std::size_t digits = j;
        while (j < s.size() && digit(s[j])) ++j;
        if (j < s.size() && s[j] == '.') ++j;
        while (j < s.size() && digit(s[j])) ++j;
        if (j == digits || (j == digits + 1 && s[digits] == '.')) return false;
        v = plain_decimal(s.substr(i, j - i));
        i = j;
        return true;
    }

    void parameter(std::string_view command, int line)
    {
        const std::string_view code = command.substr(0, 2);
        // Attributes, the most frequent command, are read without copies.
        if (code == "TA" || code == "TO") return attribute(code, command.substr(2), line);
        const std::string c(command);
        const std::string code_text(code);
        const std::string rest = c.size() > 2 ? c.substr(2) : std::string();
        if (code == "FS") format_statement(rest, line);
        else if (code == "MO") {
            if (rest == "IN") unit_ = kNmPerInch;
            else if (rest == "MM") unit_ = kNmPerMm;
            else error(line, "unknown unit %MO" + rest);
            units_set_ = true;
            refresh_scale();
        } else if (code == "AD") aperture_definition(rest, line);
        else if (code == "LP") {
            if (rest == "D") dark_ = true;
            else if (rest == "C") dark_ = false;
            else error(line, "unknown polarity %LP" + rest);
        } else if (code == "LM") {
            mirror_x_ = rest.find('X') != std::string::npos;
            mirror_y_ = rest.find('Y') != std::string::npos;
            if (rest != "N" && rest != "X" && rest != "Y" && rest != "XY") error(line, "unknown mirroring %LM" + rest);
        } else if (code == "LR" || code == "LS") {
            double v = 0;
            std::size_t i = 0;
            // A scale beyond a million either way is no drawing anybody meant.
            if (!read_number(rest, i, v) || i != rest.size() || !std::isfinite(v) ||
                (code == "LS" && !(v >= 1e-6 && v <= 1e6))) {
                error(line, "bad value in %" + c);
                return;
            }
            (code == "LR" ? rotation_ : scale_factor_) = v;
        } else if (code == "SR") step_repeat(rest, line);
        else if (code == "AB") aperture_block(rest, line);
        else if (code == "TF") attribute(code, rest, line);
        else if (code == "TD") {
            const std::string name = model_attribute_name(rest);
            auto drop = [&](Attributes& d) {
                if (name.empty()) d.clear();
                for (auto it = d.begin(); it != d.end();) it = it->first == name ? d.erase(it) : it + 1;
            };
            drop(aperture_dictionary_);
            drop(object_dictionary_);
            ++dictionary_generation_;
        } else if (code == "IP") {
            if (rest == "NEG" || rest == "POS") {
                negative_image_ = rest == "NEG";
                image_polarity_line_ = line;
            } else {
                error(line, "unknown image polarity %IP" + rest);
            }
        } else if (code == "MI") {
            image_mirror_x_ = rest.find("A1") != std::string::npos;
            image_mirror_y_ = rest.find("B1") != std::string::npos;
        } else if (code == "IR") {
            image_rotation_ = std::atof(rest.c_str());
        } else if (code == "AS") {
            swap_axes_ = rest == "AYBX";
        } else if (code == "OF" || code == "SF") {
            double a = code == "SF" ? 1 : 0, b = a;
            for (std::size_t i = 0; i < rest.size();) {
                const char axis = rest[i++];
                double v = 0;
                if ((axis != 'A' && axis != 'B') || !read_number(rest, i, v)) {
                    error(line, "bad %" + c);
                    return;
                }
                (axis == 'A' ? a : b) = v;
            }
            if (code == "OF") {
                if (!within_length_limit(a * unit_) || !within_length_limit(b * unit_)) {
                    error(line, "image offset beyond 10 m in %" + c);
                    return;
                }
                image_offset_ = {Coord(std::llround(a * unit_)), Coord(std::llround(b * unit_))};
            } else if (!(a > 1e-6 && a <= 1e6)) {
                error(line, "scale factor out of range in %" + c);
                return;
            } else {
                if (a != b) warn(line, "%SF with different factors per axis: using the A factor for both");
                coordinate_factor_ = a;
                refresh_scale();
            }
        } else if (code == "IN" || code == "LN") {
            builder_.layer.attributes[code == "IN" ? ".image_name" : ".layer_name"] = rest;
        } else if (code == "IJ" || code == "IO" || code == "KO" || code == "PF" || code == "SM") {
            warn(line, "obsolete command %" + code_text + " ignored");
        } else if (!c.empty() && c[0] == 'G') {
            std::size_t i = 1;
            double g = 0;
            if (read_number(c, i, g)) g_code(int(std::clamp(g, -2.0, 1e6)), line); // held to what an int holds
        } else {
            error(line, "unknown command %" + c);
        }
    }

    void format_statement(const std::string& s, int line)
    {
        bool good = !s.empty();
        std::size_t i = 0;
        if (i < s.size() && (s[i] == 'L' || s[i] == 'T' || s[i] == 'D')) zeros_ = s[i++] == 'T' ? 'T' : 'L';
        if (i < s.size() && (s[i] == 'A' || s[i] == 'I')) incremental_ = s[i++] == 'I';
        int xi = -1, xd = -1, yi = -1, yd = -1;
        while (i < s.size()) {
            const char letter = s[i++];
            if (letter == 'X' || letter == 'Y') {
                if (i + 1 >= s.size() || !digit(s[i]) || !digit(s[i + 1])) {
                    good = false;
                    break;
                }
                (letter == 'X' ? xi : yi) = s[i] - '0';
                (letter == 'X' ? xd : yd) = s[i + 1] - '0';
                i += 2;
            } else if (letter == 'N' || letter == 'G' || letter == 'D' || letter == 'M') {
                while (i < s.size() && digit(s[i])) ++i;
            } else {
                good = false;
                break;
            }
        }
        if (!good || xi < 0 || yi < 0) {
            error(line, "cannot read the format statement %FS" + s);
            return;
        }
        if (xi != yi || xd != yd) warn(line, "X and Y number formats differ in %FS" + s + ": using X's for both");
        integer_digits_ = xi;
        decimal_digits_ = xd;
        format_set_ = true;
        refresh_scale();
    }

    void aperture_definition(const std::string& s, int line)
    {
        std::size_t i = 0;
        if (i < s.size() && s[i] == 'D') ++i;
        const std::size_t digits = i;
        while (i < s.size() && digit(s[i])) ++i;
        if (i == digits) {
            error(line, "aperture definition without a D code: %AD" + s);
            return;
        }
        const int d = capped_integer(s.c_str() + digits);
        const std::size_t comma = s.find(',', i);
        const std::string name = s.substr(i, comma == std::string::npos ? std::string::npos : comma - i);
        Aperture a;
        a.attributes = aperture_dictionary_;
        if (comma != std::string::npos) {
            std::size_t k = comma + 1;
            while (k <= s.size()) {
                double v = 0;
                if (!read_number(s, k, v)) {
                    error(line, "bad parameter in aperture D" + std::to_string(d) + ": %AD" + s);
                    return;
                }
                a.parameters.push_back(v);
                if (k == s.size()) break;
                if (s[k] != 'X' && s[k] != 'x') {
                    error(line, "parameters of aperture D" + std::to_string(d) + " must be separated by 'X'");
                    return;
                }
                ++k;
            }
        }
        if (name == "C" || name == "R" || name == "O" || name == "P") {
            a.shape = name[0];
            const std::size_t least = name == "C" ? 1 : name == "P" ? 2 : 2;
            // One hole number: round hole; two: a rectangular hole, as older files have.
            const std::size_t most = name == "C" ? 3 : name == "P" ? 5 : 4;
            bool negative = false;
            for (double v : a.parameters) negative = negative || v < 0;
            if (a.parameters.size() < least || a.parameters.size() > most || negative) {
                error(line, "aperture D" + std::to_string(d) + " of shape " + name + " has bad parameters");
                return;
            }
            if (name == "P" && (a.parameters[1] < 3 || a.parameters[1] > 12)) {
                error(line, "polygon aperture D" + std::to_string(d) + " needs 3 to 12 vertices");
                return;
            }
        } else if (macros_.count(name)) {
            a.shape = 'M';
            a.macro = name;
        } else {
            error(line, "aperture D" + std::to_string(d) + " uses undefined macro '" + name + "'");
            return;
        }
        if (d < 10) warn(line, "aperture number D" + std::to_string(d) + " below 10");
        define_aperture(d, std::move(a));
    }

    void step_repeat(const std::string& s, int line)
    {
        if (!frames_.empty() && !frames_.back().block) close_frame();
        if (s.empty()) return;
        Frame f;
        for (std::size_t i = 0; i < s.size();) {
            const char letter = s[i++];
            double v = 0;
            if (!read_number(s, i, v)) {
                error(line, "cannot read %SR" + s);
                return;
            }
            if ((letter == 'X' || letter == 'Y') && !(v >= 1 && v <= 1e6)) {
                error(line, "step and repeat counts out of range in %SR" + s);
                return;
            }
            if (letter == 'X') f.nx = int(v);
            else if (letter == 'Y') f.ny = int(v);
            else if (letter == 'I') f.dx = v;
            else if (letter == 'J') f.dy = v;
            else {
                error(line, "cannot read %SR" + s);
                return;
            }
        }
        if (f.nx < 1 || f.ny < 1 || double(f.nx) * f.ny > 1e6) {
            error(line, "step and repeat counts out of range in %SR" + s);
            return;
        }
        f.dx *= unit_;
        f.dy *= unit_;
        if (!within_length_limit(f.dx * (f.nx - 1)) || !within_length_limit(f.dy * (f.ny - 1))) {
            error(line, "step and repeat reaches beyond 10 m in %SR" + s);
            return;
        }
        if (f.nx == 1 && f.ny == 1) return;
        frames_.push_back(std::move(f));
    }

    void aperture_block(const std::string& s, int line)
    {
        if (s.empty()) {
            if (frames_.empty() || !frames_.back().block) {
                error(line, "%AB*% without an open aperture block");
                return;
            }
            close_frame();
            return;
        }
        Frame f;
        f.block = true;
        f.dcode = capped_integer(s.c_str() + (s[0] == 'D' ? 1 : 0));
        if (f.dcode < 10) {
            error(line, "aperture block needs a D code of 10 or more: %AB" + s);
            return;
        }
        frames_.push_back(std::move(f));
    }

    void close_frame()
    {
        Frame f = std::move(frames_.back());
        frames_.pop_back();
        if (f.block) {
            Aperture a;
            a.shape = 'B';
            a.block = std::make_shared<Layer>(std::move(f.layer));
            define_aperture(f.dcode, std::move(a));
            return;
        }
        // A hostile file must not make the repeat exhaust memory.
        if (double(f.nx) * f.ny * double(f.layer.features.size()) > 5e7) {
            error(line_, "step and repeat would make more than 50 million features; its block is dropped");
            return;
        }
        Layer& to = sink();
        const std::size_t copies = std::size_t(f.nx) * std::size_t(f.ny);
        to.features.reserve(to.features.size() + copies * f.layer.features.size());
        to.surfaces.reserve(to.surfaces.size() + copies * f.layer.surfaces.size());
        to.texts.reserve(to.texts.size() + copies * f.layer.texts.size());
        for (int y = 0; y < f.ny; ++y)
            for (int x = 0; x < f.nx; ++x) {
                Placement p;
                p.offset = {Coord(std::llround(x * f.dx)), Coord(std::llround(y * f.dy))};
                formats::place_features(f.layer, to, p, false, builder_, symbols_);
            }
    }

    void attribute(std::string_view code, std::string_view s, int line)
    {
        const std::size_t comma = s.find(',');
        const std::string name = model_attribute_name(std::string(s.substr(0, comma)));
        const std::string value =
            comma == std::string_view::npos ? std::string() : model_attribute_value(std::string(s.substr(comma + 1)));
        if (name.empty()) {
            error(line, "attribute without a name: %" + std::string(code) + std::string(s));
            return;
        }
        if (code == "TF") {
            builder_.layer.attributes[name] = value;
            return;
        }
        Attributes& d = code == "TA" ? aperture_dictionary_ : object_dictionary_;
        for (auto& a : d)
            if (a.first == name) {
                a.second = value;
                ++dictionary_generation_;
                return;
            }
        d.push_back({name, value});
        ++dictionary_generation_;
    }

    void read_aperture_list()
    {
        std::istringstream in(options_.aperture_list);
        std::string row;
        int n = 0;
        while (std::getline(in, row)) {
            ++n;
            std::istringstream words(row);
            std::string d, shape;
            if (!(words >> d >> shape) || d.size() < 2 || (d[0] != 'D' && d[0] != 'd') || !digit(d[1])) continue;
            for (char& ch : shape) ch = char(std::toupper(static_cast<unsigned char>(ch)));
            Aperture a;
            double v;
            while (words >> v) a.parameters.push_back(v);
            if (shape == "C" || shape == "ROUND" || shape == "CIRCLE") a.shape = 'C';
            else if (shape == "R" || shape == "RECT" || shape == "RECTANGLE" || shape == "SQUARE") a.shape = 'R';
            else if (shape == "O" || shape == "OVAL" || shape == "OBLONG") a.shape = 'O';
            if (a.shape == 0 || a.parameters.empty()) {
                reports_.push_back({options_.file_name + " (aperture list)", n, "cannot read aperture '" + row + "'", true});
                ok_ = false;
                continue;
            }
            if (a.shape != 'C' && a.parameters.size() == 1) a.parameters.push_back(a.parameters[0]);
            define_aperture(capped_integer(std::string_view(d).substr(1)), std::move(a));
        }
    }

    // MI, IR and OF turn the whole image once everything is read.
    void finish_image()
    {
        Placement p;
        p.mirror = image_mirror_x_ != image_mirror_y_;
        p.rotation = image_rotation_ + (image_mirror_y_ ? 180 : 0);
        p.offset = image_offset_;
        if (p.identity()) return;
        Layer& layer = builder_.layer;
        Layer tail;
        tail.features.assign(layer.features.begin() + std::ptrdiff_t(first_feature_), layer.features.end());
        tail.surfaces = std::move(layer.surfaces);
        tail.texts = std::move(layer.texts);
        layer.features.resize(first_feature_);
        layer.surfaces = tail.surfaces; // features read before this file keep theirs
        layer.texts = tail.texts;
        formats::place_features(tail, layer, p, false, builder_, symbols_);
    }

    // %IPNEG: the image plane is dark and what the file draws clears it. A
    // dark frame a margin beyond everything drawn comes first, then every
    // object of this file with its polarity turned over.
    void invert_image()
    {
        if (!negative_image_) return;
        Layer& layer = builder_.layer;
        const Box extent = geom::layer_box(layer, geom::context_of(symbols_), first_feature_);
        if (extent.empty()) {
            warn(image_polarity_line_, "negative image (%IPNEG) with nothing drawn: no frame to invert");
            return;
        }
        const double m = double(kNegativeImageMargin);
        const double x0 = double(extent.xmin) - m, y0 = double(extent.ymin) - m;
        const double x1 = double(extent.xmax) + m, y1 = double(extent.ymax) + m;
        edit::expose_negative(layer, Surface{{formats::polygon_contour({{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}}, true)}},
                              first_feature_);
        warn(image_polarity_line_, "negative image (%IPNEG): inverted; a dark frame 0.1 inch beyond the image comes "
                                   "first and every object takes the opposite polarity");
    }

    const std::string& text_;
    const ReadOptions& options_;
    LayerBuilder builder_;
    UserSymbols& symbols_;
    Reports& reports_;
    std::size_t first_feature_ = builder_.layer.features.size();

    std::size_t pos_ = 0;
    int line_ = 1;
    bool ok_ = true;
    bool ended_ = false;

    double unit_ = kNmPerInch;
    bool units_set_ = false, units_warned_ = false;
    int integer_digits_ = 2, decimal_digits_ = 4;
    char zeros_ = 'L';
    bool incremental_ = false;
    bool format_set_ = false, format_warned_ = false;
    double scale_ = 0, decimal_scale_ = 0, coordinate_factor_ = 1;

    Interpolation interpolation_ = Interpolation::Linear;
    bool multi_quadrant_ = false;
    int last_operation_ = 0;
    Point current_;
    int aperture_ = -1;
    // Apertures by D code; the low codes files use also in a flat table, so
    // that a change of aperture is one index. Map nodes never move.
    std::map<int, Aperture> apertures_;
    std::vector<Aperture*> flat_apertures_;
    Aperture* selected_ = nullptr;
    std::map<std::string, Macro> macros_;

    bool dark_ = true;
    bool mirror_x_ = false, mirror_y_ = false;
    double rotation_ = 0, scale_factor_ = 1;

    bool region_ = false;
    Contour contour_;
    Surface surface_;
    std::vector<Frame> frames_;

    Attributes aperture_dictionary_, object_dictionary_;
    std::uint64_t dictionary_generation_ = 1; // counts changes of the attribute dictionaries
    std::uint64_t region_set_generation_ = 0;
    std::uint32_t region_set_ = 0;

    bool image_mirror_x_ = false, image_mirror_y_ = false, swap_axes_ = false;
    bool negative_image_ = false;
    int image_polarity_line_ = 0;
    double image_rotation_ = 0;
    Point image_offset_;
};

} // namespace

bool read(const std::string& text, const ReadOptions& options, Layer& layer, UserSymbols& symbols, Reports& reports)
{
    try {
        Reader reader(text, options, layer, symbols, reports);
        return reader.run();
    } catch (const std::exception& e) {
        reports.push_back({options.file_name, 0, std::string("reading stopped: ") + e.what(), true});
        return false;
    }
}

} // namespace kesto::gerber
