// The Excellon reader: drill hits, G85 slots and rout paths into a layer of
// round-symbol pads, lines and arcs, with the tool table and plating.
#include "engine/api/exchange.h"
#include "engine/model/text.h"
#include "engine/formats/gerber/layer_build.h"
#include "engine/model/limits.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <map>
#include <cstdio>

namespace kesto::excellon {

namespace {

struct Tool {
    double diameter = 0; // nm
    std::string plating = "plated";
    int symbol = -1;
    std::uint32_t attributes = 0;
};


// The whole number at `at` (after an optional sign), held to +-1e9 so that
// a run of digits never overflows.
int small_integer(const std::string& s, std::size_t at)
{
    bool negative = false;
    if (at < s.size() && (s[at] == '+' || s[at] == '-')) negative = s[at++] == '-';
    long long v = 0;
    for (; at < s.size() && std::isdigit(static_cast<unsigned char>(s[at])); ++at)
        v = std::min<long long>(v * 10 + (s[at] - '0'), 1000000000);
    return int(negative ? -v : v);
}

class Reader {
public:
    Reader(const ReadOptions& options, Layer& layer, Reports& reports)
        : options_(options), builder_(layer), reports_(reports)
    {
        const auto& d = options.defaults;
        if (d.units == "mm") metric(true);
        if (d.Number_format_integer > 0 || d.Number_format_decimal > 0) {
            integer_digits_ = d.Number_format_integer;
            decimal_digits_ = d.Number_format_decimal;
            format_given_ = true;
        }
        // "trailing": trailing zeros left out, so numbers are padded on the right.
        if (d.zeroes_omitted == "trailing") pad_right_ = true;
        incremental_ = d.Coordinates == "incremental";
    }

    bool run(const std::string& text)
    {
        std::size_t from = 0;
        while (from < text.size()) {
            std::size_t end = text.find('\n', from);
            if (end == std::string::npos) end = text.size();
            std::string row = text.substr(from, end - from);
            from = end + 1;
            ++line_;
            while (!row.empty() && (row.back() == '\r' || row.back() == ' ' || row.back() == '\t')) row.pop_back();
            std::size_t lead = 0;
            while (lead < row.size() && (row[lead] == ' ' || row[lead] == '\t')) ++lead;
            row.erase(0, lead);
            if (row.empty()) continue;
            if (row[0] == ';') {
                comment(row.substr(1));
                continue;
            }
            if (ended_) continue;
            if (header_) header(row);
            else body(row);
        }
        for (auto& [number, tool] : tools_) {
            DrillTool t;
            t.number = number;
            t.type = upper(tool.plating);
            t.type2 = "STANDARD";
            t.drill_size = t.finish_size = Coord(std::llround(tool.diameter));
            builder_.layer.tools.push_back(t);
        }
        return ok_;
    }

private:
    void report(std::string what, bool is_error = true)
    {
        if (reports_.size() < 1000) reports_.push_back({options_.file_name, line_, std::move(what), is_error});
        if (is_error) ok_ = false;
    }

    void metric(bool on)
    {
        unit_ = on ? double(kNmPerMm) : double(kNmPerInch);
        if (!format_given_) {
            integer_digits_ = on ? 3 : 2;
            decimal_digits_ = on ? 3 : 4;
        }
    }

    // Plating as the comments of common writers say it.
    void comment(const std::string& c)
    {
        const std::string u = upper(c);
        if (u.find("NON_PLATED") != std::string::npos || u.find("NONPLATED") != std::string::npos ||
            u.find("NPTH") != std::string::npos || u.find("NON-PLATED") != std::string::npos)
            plating_ = "non_plated";
        else if (u.find("VIA") != std::string::npos)
            plating_ = "via";
        else if (u.find("PLATED") != std::string::npos || u.find("PTH") != std::string::npos)
            plating_ = "plated";
        const std::size_t format = u.find("FILE_FORMAT=");
        if (format != std::string::npos) {
            int a = 0, b = 0;
            if (std::sscanf(u.c_str() + format + 12, "%d:%d", &a, &b) == 2 && a >= 0 && b >= 0 && a + b <= 12) {
                integer_digits_ = a;
                decimal_digits_ = b;
                format_given_ = true;
            }
        }
    }

    void header(const std::string& row)
    {
        const std::string u = upper(row);
        if (u == "%" || u == "M95") {
            header_ = false;
            return;
        }
        if (u == "M48") return;
        if (u.rfind("METRIC", 0) == 0 || u.rfind("INCH", 0) == 0) {
            metric(u[0] == 'M');
            if (u.find(",LZ") != std::string::npos) pad_right_ = true;
            if (u.find(",TZ") != std::string::npos) pad_right_ = false;
            // "METRIC,TZ,000.000": the digits either side of the point
            const std::size_t point = u.find('.');
            if (point != std::string::npos) {
                std::size_t a = point, b = point + 1;
                while (a > 0 && u[a - 1] == '0') --a;
                while (b < u.size() && u[b] == '0') ++b;
                if (point > a && b > point + 1) {
                    integer_digits_ = int(point - a);
                    decimal_digits_ = int(b - point - 1);
                    format_given_ = true;
                }
            }
            return;
        }
        if (u == "M71" || u == "M72") {
            metric(u == "M71");
            return;
        }
        if (u.rfind("FMAT", 0) == 0 || u.rfind("VER", 0) == 0 || u.rfind("DETECT", 0) == 0 || u.rfind("ATC", 0) == 0 ||
            u.rfind("BLKD", 0) == 0 || u.rfind("SBK", 0) == 0 || u.rfind("TCST", 0) == 0 || u.rfind("RSB", 0) == 0 ||
            u.rfind("R,", 0) == 0 || u.rfind("OM48", 0) == 0 || u.rfind("G90", 0) == 0 || u == "M95")
            return;
        if (u.rfind("ICI", 0) == 0) {
            incremental_ = u.find("ON") != std::string::npos;
            return;
        }
        if (u[0] == 'T') {
            tool_definition(u);
            return;
        }
        report("unknown header line '" + row + "' ignored", false);
    }

    void tool_definition(const std::string& u)
    {
        std::size_t i = 1;
        const int number = small_integer(u, i);
        while (i < u.size() && std::isdigit(static_cast<unsigned char>(u[i]))) ++i;
        Tool t;
        t.plating = plating_;
        bool sized = false;
        while (i < u.size()) {
            const char letter = u[i++];
            char* end = nullptr;
            const double v = std::strtod(u.c_str() + i, &end);
            if (end == u.c_str() + i) {
                report("cannot read tool definition '" + u + "'");
                return;
            }
            i = std::size_t(end - u.c_str());
            if (letter == 'C') {
                t.diameter = v * unit_;
                sized = true;
            }
        }
        if (!sized) {
            if (header_) report("tool T" + std::to_string(number) + " has no diameter (C)");
            return;
        }
        if (t.diameter <= 0 || !within_length_limit(t.diameter)) {
            report("tool T" + std::to_string(number) + " has no positive diameter");
            return;
        }
        tools_[number] = t;
    }

    bool number(const std::string& s, std::size_t& i, Coord& out)
    {
        const std::size_t start = i;
        if (i < s.size() && (s[i] == '+' || s[i] == '-')) ++i;
        std::size_t digits = 0;
        bool point = false;
        while (i < s.size() && (std::isdigit(static_cast<unsigned char>(s[i])) || (s[i] == '.' && !point))) {
            point = point || s[i] == '.';
            digits += s[i] != '.';
            ++i;
        }
        if (digits == 0 || digits > 18) {
            report("bad number in '" + s + "'");
            return false;
        }
        const std::string text = s.substr(start, i - start);
        double v = std::strtod(text.c_str(), nullptr);
        if (!point) {
            if (pad_right_) v *= std::pow(10.0, integer_digits_ - int(digits));
            else v /= std::pow(10.0, decimal_digits_);
        }
        if (!within_length_limit(v * unit_)) {
            report("coordinate beyond 10 m in '" + s + "'");
            return false;
        }
        out = Coord(std::llround(v * unit_));
        return true;
    }

    void body(const std::string& row)
    {
        const std::string u = upper(row);
        if (u == "M30" || u == "M00") {
            ended_ = true;
            return;
        }
        if (u == "%" || u == "M48") {
            header_ = u == "M48";
            return;
        }
        if (u == "M71" || u == "M72") {
            metric(u == "M71");
            return;
        }
        if (u.rfind("METRIC", 0) == 0 || u.rfind("INCH", 0) == 0) {
            header(row);
            header_ = false;
            return;
        }
        std::size_t i = 0;
        int g = -1;
        bool has_x = false, has_y = false, has_i = false, has_j = false, has_a = false;
        Coord x = 0, y = 0, ci = 0, cj = 0, a = 0;
        int repeat = 0;
        Point slot_start;
        bool slot = false;
        while (i < u.size()) {
            const char letter = u[i++];
            switch (letter) {
            case 'G': {
                const int code = small_integer(u, i);
                while (i < u.size() && std::isdigit(static_cast<unsigned char>(u[i]))) ++i;
                if (code == 85) {
                    slot_start = target(has_x, x, has_y, y);
                    slot = true;
                    has_x = has_y = false;
                } else if (!g_code(code)) {
                    return;
                }
                g = code;
                break;
            }
            case 'M': {
                const int code = small_integer(u, i);
                while (i < u.size() && std::isdigit(static_cast<unsigned char>(u[i]))) ++i;
                // M15/M16 (plunge, retract) need no action: rout files often
                // leave them out, so G01/G02/G03 always cut and G00 never does.
                if (code == 30 || code == 0) ended_ = true;
                break;
            }
            case 'T': {
                tool_definition(u);
                const int number = small_integer(u, i);
                if (number != 0 && !tools_.count(number)) report("tool T" + std::to_string(number) + " selected but not defined");
                tool_ = number;
                return;
            }
            case 'X': has_x = number(u, i, x); if (!has_x) return; break;
            case 'Y': has_y = number(u, i, y); if (!has_y) return; break;
            case 'I': has_i = number(u, i, ci); if (!has_i) return; break;
            case 'J': has_j = number(u, i, cj); if (!has_j) return; break;
            case 'A': has_a = number(u, i, a); if (!has_a) return; break;
            case 'R': {
                repeat = small_integer(u, i);
                while (i < u.size() && std::isdigit(static_cast<unsigned char>(u[i]))) ++i;
                break;
            }
            case 'N': while (i < u.size() && std::isdigit(static_cast<unsigned char>(u[i]))) ++i; break;
            default:
                report("cannot read '" + row + "'");
                return;
            }
        }
        if (!has_x && !has_y) return;
        if (repeat > 0) {
            if (repeat > 100000) {
                report("repeat count too large in '" + row + "'");
                return;
            }
            // R: that many more hits, each stepped by X/Y from the one before.
            for (int k = 0; k < repeat; ++k) {
                const Point next{current_.x + (has_x ? x : 0), current_.y + (has_y ? y : 0)};
                if (!within_limit(next)) {
                    report("repeated hits reach beyond 10 m in '" + row + "'");
                    return;
                }
                current_ = next;
                hit(current_);
            }
            return;
        }
        const Point to = target(has_x, x, has_y, y);
        if (!within_limit(to)) {
            report("position beyond 10 m in '" + row + "'");
            return;
        }
        if (slot) {
            stroke(slot_start, to, nullptr, false);
        } else if (g == 93) {
            const Point origin{origin_.x + to.x - current_.x, origin_.y + to.y - current_.y};
            if (!within_limit(origin)) {
                report("zero set beyond 10 m in '" + row + "'");
                return;
            }
            origin_ = origin;
            return;
        } else if (rout_ == 0) {
            hit(to);
        } else if (rout_ == 1) {
            stroke(current_, to, nullptr, false);
        } else if (rout_ > 1) {
            Point centre;
            if (!arc_centre(to, has_i, ci, has_j, cj, has_a, a, centre)) return;
            stroke(current_, to, &centre, rout_ == 2);
        }
        current_ = to;
    }

    // Every coordinate read is within the limit, so sums of two or three of
    // them cannot overflow; what they add up to is checked here.
    static bool within_limit(const Point& p)
    {
        return within_length_limit(double(p.x)) && within_length_limit(double(p.y));
    }

    Point target(bool has_x, Coord x, bool has_y, Coord y) const
    {
        if (incremental_) return {current_.x + (has_x ? x : 0), current_.y + (has_y ? y : 0)};
        return {has_x ? x + origin_.x : current_.x, has_y ? y + origin_.y : current_.y};
    }

    bool g_code(int code)
    {
        switch (code) {
        case 0: rout_ = -1; break;  // rapid move, no cut
        case 1: rout_ = 1; break;
        case 2: rout_ = 2; break;
        case 3: rout_ = 3; break;
        case 5: case 81: rout_ = 0; break;  // drill mode
        case 90: incremental_ = false; break;
        case 91: incremental_ = true; break;
        case 93: break;
        case 40: case 41: case 42: break; // cutter compensation: the path is kept as written
        default:
            report("G" + std::to_string(code) + " ignored", false);
        }
        return true;
    }

    bool arc_centre(const Point& to, bool has_i, Coord ci, bool has_j, Coord cj, bool has_a, Coord a, Point& centre)
    {
        if (has_i || has_j) {
            centre = {current_.x + ci, current_.y + cj};
            if (!within_limit(centre)) {
                report("arc centre beyond 10 m");
                return false;
            }
            return true;
        }
        if (!has_a) {
            report("arc without a radius (A) or centre (I, J)");
            return false;
        }
        // Of the two centres at radius A, the one giving the shorter arc in the
        // direction of travel.
        const double mx = (double(current_.x) + double(to.x)) / 2, my = (double(current_.y) + double(to.y)) / 2;
        const double dx = double(to.x - current_.x), dy = double(to.y - current_.y);
        const double half = std::hypot(dx, dy) / 2;
        const double r = std::abs(double(a));
        if (half == 0 || r < half * (1 - 1e-9)) {
            report("arc radius too small for its end points");
            return false;
        }
        const double h = std::sqrt(std::max(0.0, r * r - half * half));
        const double ux = -dy / (2 * half), uy = dx / (2 * half); // left of the travel
        const double side = rout_ == 2 ? -1 : 1; // clockwise arcs turn about a centre on the right
        const double cx = mx + side * h * ux, cy = my + side * h * uy;
        if (!within_length_limit(cx) || !within_length_limit(cy)) {
            report("arc centre beyond 10 m");
            return false;
        }
        centre = {Coord(std::llround(cx)), Coord(std::llround(cy))};
        return true;
    }

    Tool* tool()
    {
        auto found = tools_.find(tool_);
        if (found == tools_.end()) {
            if (!tool_warned_) report("drilling with no tool selected");
            tool_warned_ = true;
            return nullptr;
        }
        Tool& t = found->second;
        if (t.symbol < 0) {
            t.symbol = builder_.symbol(formats::round_symbol(t.diameter));
            t.attributes = builder_.attribute_set({{".drill", t.plating}});
        }
        return &t;
    }

    void hit(const Point& at)
    {
        Tool* t = tool();
        if (!t) return;
        Feature f;
        f.kind = FeatureKind::Pad;
        f.a = at;
        f.symbol = t->symbol;
        f.attributes = t->attributes;
        f.dcode = tool_;
        builder_.layer.features.push_back(f);
    }

    void stroke(const Point& from, const Point& to, const Point* centre, bool cw)
    {
        Tool* t = tool();
        if (!t) return;
        Feature f;
        f.kind = centre ? FeatureKind::Arc : FeatureKind::Line;
        f.a = from;
        f.b = to;
        if (centre) f.c = *centre;
        f.cw = cw;
        f.symbol = t->symbol;
        f.attributes = t->attributes;
        f.dcode = tool_;
        builder_.layer.features.push_back(f);
    }

    const ReadOptions& options_;
    formats::LayerBuilder builder_;
    Reports& reports_;
    int line_ = 0;
    bool ok_ = true;
    bool header_ = false;
    bool ended_ = false;
    double unit_ = double(kNmPerInch);
    int integer_digits_ = 2, decimal_digits_ = 4;
    bool format_given_ = false;
    bool pad_right_ = false;
    bool incremental_ = false;
    std::string plating_ = "plated";
    std::map<int, Tool> tools_;
    int tool_ = -1;
    bool tool_warned_ = false;
    int rout_ = 0; // 0 drill, -1 rapid, 1 linear, 2 clockwise, 3 counter-clockwise
    Point current_, origin_;
};

} // namespace

bool read(const std::string& text, const ReadOptions& options, Layer& layer, Reports& reports)
{
    try {
        Reader reader(options, layer, reports);
        return reader.run(text);
    } catch (const std::exception& e) {
        reports.push_back({options.file_name, 0, std::string("reading stopped: ") + e.what(), true});
        return false;
    }
}

} // namespace kesto::excellon
