#include "engine/formats/gerber/macro.h"

#include "engine/formats/gerber/layer_build.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace kesto::gerber {

using namespace formats;

namespace {

std::string strip(const std::string& s)
{
    std::string out;
    for (char c : s)
        if (!std::isspace(static_cast<unsigned char>(c))) out += c;
    return out;
}

// Recursive descent over + - x / and parentheses; unary signs allowed.
struct Expression {
    const std::string& s;
    const std::vector<double>& vars;
    std::size_t i = 0;
    bool ok = true;
    int depth = 0;

    double sum()
    {
        double v = product();
        while (ok && i < s.size() && (s[i] == '+' || s[i] == '-')) {
            const char op = s[i++];
            const double r = product();
            v = op == '+' ? v + r : v - r;
        }
        return v;
    }
    double product()
    {
        double v = factor();
        while (ok && i < s.size() && (s[i] == 'x' || s[i] == 'X' || s[i] == '/')) {
            const char op = s[i++];
            const double r = factor();
            v = op == '/' ? (r == 0 ? (ok = false, 0.0) : v / r) : v * r;
        }
        return v;
    }
    double factor()
    {
        if (i >= s.size() || ++depth > 200) return ok = false, 0.0;
        double v = 0;
        if (s[i] == '+' || s[i] == '-') {
            const bool negative = s[i++] == '-';
            v = factor();
            v = negative ? -v : v;
        } else if (s[i] == '(') {
            ++i;
            v = sum();
            if (i >= s.size() || s[i] != ')') ok = false;
            ++i;
        } else if (s[i] == '$') {
            std::size_t j = ++i;
            while (i < s.size() && std::isdigit(static_cast<unsigned char>(s[i]))) ++i;
            if (i == j) return ok = false, 0.0;
            const long n = std::strtol(s.c_str() + j, nullptr, 10);
            v = n >= 1 && std::size_t(n) <= vars.size() ? vars[std::size_t(n) - 1] : 0.0;
        } else {
            std::size_t j = i;
            while (i < s.size() && (std::isdigit(static_cast<unsigned char>(s[i])) || s[i] == '.')) ++i;
            if (i == j) return ok = false, 0.0;
            v = std::strtod(s.substr(j, i - j).c_str(), nullptr);
        }
        --depth;
        return v;
    }
};

using Points = std::vector<std::pair<double, double>>;

struct Shaper {
    double unit;
    Layer& shape;

    void add(Surface surface, bool exposure)
    {
        Feature f;
        f.kind = FeatureKind::Surface;
        f.polarity = exposure ? Polarity::Positive : Polarity::Negative;
        f.body = std::uint32_t(shape.surfaces.size());
        shape.surfaces.push_back(std::move(surface));
        shape.features.push_back(f);
    }
    static Points rotated(Points points, double degrees)
    {
        const double r = degrees * M_PI / 180, c = std::cos(r), s = std::sin(r);
        for (auto& [x, y] : points) {
            const double rx = x * c - y * s;
            y = x * s + y * c;
            x = rx;
        }
        return points;
    }
    void polygon(Points points, double rotation, bool exposure)
    {
        for (auto& [x, y] : points) x *= unit, y *= unit;
        add(Surface{{polygon_contour(rotated(std::move(points), rotation), true)}}, exposure);
    }
    Contour circle(double cx, double cy, double r, double rotation, bool island)
    {
        auto c = rotated({{cx, cy}}, rotation)[0];
        return circle_contour(c.first * unit, c.second * unit, r * unit, island);
    }
    Contour rotate(Contour c, double rotation)
    {
        auto turn = [&](Point& p) {
            auto q = rotated({{double(p.x), double(p.y)}}, rotation)[0];
            p = {Coord(std::llround(q.first)), Coord(std::llround(q.second))};
        };
        turn(c.start);
        for (auto& s : c.segments) turn(s.end), turn(s.centre);
        return c;
    }
    // One quarter of a thermal: the ring between ri and ro in the quadrant
    // (sx, sy), less the half gap g on each side of the axes.
    Contour thermal_piece(double cx, double cy, double ro, double ri, double g, int sx, int sy)
    {
        auto P = [&](double x, double y) { return Point{Coord(std::llround((cx + sx * x) * unit)), Coord(std::llround((cy + sy * y) * unit))}; };
        const Point centre = P(0, 0);
        const double outer = std::sqrt(ro * ro - g * g);
        Contour c;
        c.start = P(outer, g);
        const bool ccw_first = sx * sy > 0; // the outer arc runs counter-clockwise in quadrants I and III
        c.segments.push_back(arc_to(P(g, outer), centre, !ccw_first));
        if (ri > g * std::sqrt(2.0)) {
            const double inner = std::sqrt(ri * ri - g * g);
            c.segments.push_back(line_to(P(g, inner)));
            c.segments.push_back(arc_to(P(inner, g), centre, ccw_first));
        } else {
            c.segments.push_back(line_to(P(g, g)));
        }
        c.segments.push_back(line_to(c.start));
        return c;
    }
};

} // namespace

bool evaluate(const std::string& text, const std::vector<double>& variables, double& value)
{
    const std::string s = strip(text);
    Expression e{s, variables};
    value = e.sum();
    return e.ok && e.i == s.size() && std::isfinite(value);
}

bool parse_macro(const std::string& name, const std::string& body, Macro& macro, std::string& error)
{
    macro.name = name;
    std::size_t begin = 0;
    while (begin < body.size()) {
        std::size_t end = body.find('*', begin);
        if (end == std::string::npos) end = body.size();
        std::string statement = body.substr(begin, end - begin);
        begin = end + 1;
        // A comment ("0 text") may hold anything; everything else is read without blanks.
        std::size_t first = statement.find_first_not_of(" \t\r\n");
        if (first == std::string::npos) continue;
        if (statement[first] == '0' && (first + 1 == statement.size() || statement[first + 1] == ' ' ||
                                        statement[first + 1] == '\t'))
            continue;
        statement = strip(statement);
        MacroStatement st;
        if (statement[0] == '$') {
            const std::size_t eq = statement.find('=');
            if (eq == std::string::npos) {
                error = "macro " + name + ": variable statement without '=': " + statement;
                return false;
            }
            st.variable = std::atoi(statement.c_str() + 1);
            if (st.variable <= 0 || st.variable > 10000) {
                error = "macro " + name + ": bad variable " + statement.substr(0, eq);
                return false;
            }
            st.fields.push_back(statement.substr(eq + 1));
        } else {
            std::size_t from = 0;
            while (true) {
                const std::size_t comma = statement.find(',', from);
                st.fields.push_back(statement.substr(from, comma - from));
                if (comma == std::string::npos) break;
                from = comma + 1;
            }
        }
        macro.statements.push_back(std::move(st));
    }
    return true;
}

bool primitive_length(int code, std::size_t i, long vertices)
{
    switch (code) {
    case 1: return i >= 2 && i <= 4;
    case 2: case 20: return i >= 2 && i <= 6;
    case 21: case 22: return i >= 2 && i <= 5;
    case 4: return i >= 3 && i < std::size_t(3 + 2 * (vertices + 1));
    case 5: return i >= 3 && i <= 5;
    case 6: return (i >= 1 && i <= 5) || i == 7 || i == 8;
    case 7: return i >= 1 && i <= 5;
    default: return false;
    }
}

bool instantiate(const Macro& macro, std::vector<double> vars, double unit, Layer& shape, std::string& primitives,
                 std::string& error)
{
    Shaper shaper{unit, shape};
    for (const MacroStatement& st : macro.statements) {
        std::vector<double> v;
        for (const std::string& field : st.fields) {
            double x = 0;
            if (!evaluate(field, vars, x)) {
                error = "macro " + macro.name + ": cannot evaluate '" + field + "'";
                return false;
            }
            v.push_back(x);
        }
        if (st.variable > 0) {
            if (vars.size() < std::size_t(st.variable)) vars.resize(std::size_t(st.variable), 0.0);
            vars[std::size_t(st.variable) - 1] = v[0];
            continue;
        }
        const int code = int(std::lround(v[0]));
        if (code != 0) {
            const long vertices = code == 4 && v.size() > 2 ? std::lround(v[2]) : 0;
            char number[40];
            std::snprintf(number, sizeof number, "%d", code);
            primitives += number;
            for (std::size_t i = 1; i < v.size(); ++i) {
                std::snprintf(number, sizeof number, ",%.12g", primitive_length(code, i, vertices) ? std::round(v[i] * unit) : v[i]);
                primitives += number;
            }
            primitives += ';';
        }
        auto need = [&](std::size_t n) {
            if (v.size() >= n + 1) return true;
            error = "macro " + macro.name + ": primitive " + std::to_string(code) + " needs " + std::to_string(n) +
                    " modifiers, has " + std::to_string(v.size() - 1);
            return false;
        };
        auto arg = [&](std::size_t i) { return i < v.size() ? v[i] : 0.0; };
        const bool on = arg(1) != 0;
        switch (code) {
        case 0: break;
        case 1: // circle: exposure, diameter, centre x, y[, rotation]
            if (!need(4)) return false;
            shaper.add(Surface{{shaper.circle(v[3], v[4], v[2] / 2, arg(5), true)}}, on);
            break;
        case 2:
        case 20: { // vector line: exposure, width, start x, y, end x, y, rotation
            if (!need(6)) return false;
            const double dx = v[5] - v[3], dy = v[6] - v[4], len = std::hypot(dx, dy);
            if (len == 0) break;
            const double nx = -dy / len * v[2] / 2, ny = dx / len * v[2] / 2;
            shaper.polygon({{v[3] + nx, v[4] + ny}, {v[3] - nx, v[4] - ny}, {v[5] - nx, v[6] - ny}, {v[5] + nx, v[6] + ny}}, arg(7), on);
            break;
        }
        case 21: { // centre line: exposure, width, height, centre x, y, rotation
            if (!need(5)) return false;
            const double w = v[2] / 2, h = v[3] / 2, x = v[4], y = v[5];
            shaper.polygon({{x - w, y - h}, {x + w, y - h}, {x + w, y + h}, {x - w, y + h}}, arg(6), on);
            break;
        }
        case 22: { // lower-left line: exposure, width, height, lower-left x, y, rotation
            if (!need(5)) return false;
            const double x = v[4], y = v[5];
            shaper.polygon({{x, y}, {x + v[2], y}, {x + v[2], y + v[3]}, {x, y + v[3]}}, arg(6), on);
            break;
        }
        case 4: { // outline: exposure, vertices, x0, y0 ... xn, yn, rotation
            if (!need(2)) return false;
            const long n = std::lround(v[2]);
            if (n < 1 || n > 100000 || v.size() < std::size_t(3 + 2 * (n + 1))) {
                error = "macro " + macro.name + ": outline with " + std::to_string(n) + " vertices has too few coordinates";
                return false;
            }
            Points points;
            for (long i = 0; i <= n; ++i) points.push_back({v[std::size_t(3 + 2 * i)], v[std::size_t(4 + 2 * i)]});
            if (points.front() == points.back()) points.pop_back();
            if (points.size() >= 3) shaper.polygon(points, arg(std::size_t(5 + 2 * n)), on);
            break;
        }
        case 5: { // polygon: exposure, vertices, centre x, y, diameter, rotation
            if (!need(5)) return false;
            const long n = std::lround(v[2]);
            if (n < 3 || n > 12) {
                error = "macro " + macro.name + ": polygon with " + std::to_string(n) + " vertices (3 to 12)";
                return false;
            }
            Points points;
            for (long i = 0; i < n; ++i) {
                const double a = 2 * M_PI * double(i) / double(n);
                points.push_back({v[3] + v[5] / 2 * std::cos(a), v[4] + v[5] / 2 * std::sin(a)});
            }
            shaper.polygon(points, arg(6), on);
            break;
        }
        case 6: { // moire: centre x, y, outer diameter, ring thickness, gap, rings, cross thickness, length, rotation
            if (!need(8)) return false;
            const double cx = v[1], cy = v[2], rot = arg(9);
            double outer = v[3] / 2;
            for (long ring = 0; ring < std::lround(v[6]) && outer > 0 && ring < 10000; ++ring) {
                const double inner = outer - v[4];
                Surface s{{shaper.circle(cx, cy, outer, rot, true)}};
                if (inner > 0) s.contours.push_back(shaper.circle(cx, cy, inner, rot, false));
                shaper.add(std::move(s), true);
                outer = inner - v[5];
            }
            const double t = v[7] / 2, l = v[8] / 2;
            if (t > 0 && l > 0) {
                shaper.polygon({{cx - l, cy - t}, {cx + l, cy - t}, {cx + l, cy + t}, {cx - l, cy + t}}, rot, true);
                shaper.polygon({{cx - t, cy - l}, {cx + t, cy - l}, {cx + t, cy + l}, {cx - t, cy + l}}, rot, true);
            }
            break;
        }
        case 7: { // thermal: centre x, y, outer diameter, inner diameter, gap, rotation
            if (!need(5)) return false;
            const double ro = v[3] / 2, ri = v[4] / 2, g = v[5] / 2;
            if (ro <= ri || ri < 0 || g < 0 || g * std::sqrt(2.0) >= ro) {
                error = "macro " + macro.name + ": thermal needs outer > inner >= 0 and a gap smaller than the outer diameter";
                return false;
            }
            const int quadrants[4][2] = {{1, 1}, {-1, 1}, {-1, -1}, {1, -1}};
            for (auto& q : quadrants) {
                Contour c = shaper.thermal_piece(v[1], v[2], ro, ri, g, q[0], q[1]);
                c = shaper.rotate(c, arg(6));
                if (q[0] * q[1] > 0) reverse_contour(c); // islands run clockwise
                c.island = true;
                shaper.add(Surface{{c}}, true);
            }
            break;
        }
        default:
            error = "macro " + macro.name + ": unknown primitive " + std::to_string(code);
            return false;
        }
    }
    return true;
}

} // namespace kesto::gerber
