#include "engine/drc/feature_shapes.h"

#include <algorithm>
#include <cctype>
#include <cmath>

namespace kesto::drc {
namespace {

constexpr double kPi = 3.14159265358979323846;

double distance_to_segment(Point p, Point a, Point b)
{
    const double dx = double(b.x - a.x), dy = double(b.y - a.y);
    const double px = double(p.x - a.x), py = double(p.y - a.y);
    const double len2 = dx * dx + dy * dy;
    const double t = len2 > 0 ? std::clamp((px * dx + py * dy) / len2, 0.0, 1.0) : 0.0;
    return std::hypot(px - t * dx, py - t * dy);
}

// Angle from `from` to `to` going the arc's way, in (0, 2 pi]; equal ends
// make a full circle.
double sweep(double from, double to, bool cw)
{
    double s = cw ? from - to : to - from;
    while (s <= 0) s += 2 * kPi;
    while (s > 2 * kPi) s -= 2 * kPi;
    return s;
}

double distance_to_arc(Point p, const Feature& f)
{
    const double cx = double(f.c.x), cy = double(f.c.y);
    const double radius = std::hypot(double(f.a.x) - cx, double(f.a.y) - cy);
    const double a0 = std::atan2(double(f.a.y) - cy, double(f.a.x) - cx);
    const double a1 = std::atan2(double(f.b.y) - cy, double(f.b.x) - cx);
    const double ap = std::atan2(double(p.y) - cy, double(p.x) - cx);
    if (sweep(a0, ap, f.cw) <= sweep(a0, a1, f.cw)) return std::fabs(std::hypot(double(p.x) - cx, double(p.y) - cy) - radius);
    return std::min(std::hypot(double(p.x - f.a.x), double(p.y - f.a.y)), std::hypot(double(p.x - f.b.x), double(p.y - f.b.y)));
}

// Even-odd test over every contour of the surface: holes inside islands
// come out right without knowing which island holds them.
bool inside_surface(const Surface& s, Point p)
{
    bool inside = false;
    auto edge = [&](double x1, double y1, double x2, double y2) {
        if ((y1 > double(p.y)) != (y2 > double(p.y)) && double(p.x) < x1 + (double(p.y) - y1) * (x2 - x1) / (y2 - y1))
            inside = !inside;
    };
    for (const Contour& c : s.contours) {
        Point from = c.start;
        for (const Segment& seg : c.segments) {
            if (!seg.arc) {
                edge(double(from.x), double(from.y), double(seg.end.x), double(seg.end.y));
            } else {
                const double cx = double(seg.centre.x), cy = double(seg.centre.y);
                const double r = std::hypot(double(from.x) - cx, double(from.y) - cy);
                const double a0 = std::atan2(double(from.y) - cy, double(from.x) - cx);
                const double a1 = std::atan2(double(seg.end.y) - cy, double(seg.end.x) - cx);
                const double total = sweep(a0, a1, seg.cw);
                const double step = r > 1000 ? 2 * std::acos(1.0 - 1000.0 / r) : total;
                const int n = std::clamp(int(std::ceil(total / step)), 1, 1024);
                double x = double(from.x), y = double(from.y);
                for (int i = 1; i <= n; ++i) {
                    const double t = a0 + (seg.cw ? -1 : 1) * total * i / n;
                    const double nx = i == n ? double(seg.end.x) : cx + r * std::cos(t);
                    const double ny = i == n ? double(seg.end.y) : cy + r * std::sin(t);
                    edge(x, y, nx, ny);
                    x = nx;
                    y = ny;
                }
            }
            from = seg.end;
        }
    }
    return inside;
}

// The point in the pad's own frame: unrotated and unmirrored about its centre.
std::pair<double, double> pad_frame(const Feature& f, Point p)
{
    const double a = f.angle * kPi / 180; // clockwise positive
    const double dx = double(p.x - f.a.x), dy = double(p.y - f.a.y);
    double x = dx * std::cos(a) - dy * std::sin(a);
    const double y = dx * std::sin(a) + dy * std::cos(a);
    if (f.mirror) x = -x;
    return {x, y};
}

bool covers_pad(const Symbol& s, const Feature& f, Point p)
{
    const auto [x, y] = pad_frame(f, p);
    const double w = s.p[0], h = s.p[1], d = std::hypot(x, y);
    switch (s.family) {
    case SymbolFamily::Round:
    case SymbolFamily::Hole:
        return d <= w / 2;
    case SymbolFamily::RoundDonut:
    case SymbolFamily::RoundThermalRounded:
    case SymbolFamily::RoundThermalSquared:
        return d <= w / 2 && d >= h / 2;
    case SymbolFamily::Square:
        return std::fabs(x) <= w / 2 && std::fabs(y) <= w / 2;
    case SymbolFamily::Rect:
        return std::fabs(x) <= w / 2 && std::fabs(y) <= h / 2;
    case SymbolFamily::Oval: {
        const double r = std::min(w, h) / 2, half = std::max(w, h) / 2 - r;
        const double along = w >= h ? std::fabs(x) : std::fabs(y), across = w >= h ? std::fabs(y) : std::fabs(x);
        return std::hypot(std::max(0.0, along - half), across) <= r;
    }
    default: {
        const auto e = symbol_extent(s, 0);
        return std::fabs(x) <= double(e[0]) / 2 && std::fabs(y) <= double(e[1]) / 2;
    }
    }
}

} // namespace

bool iequals(const std::string& a, const char* b)
{
    std::size_t i = 0;
    for (; i < a.size() && b[i]; ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
    return i == a.size() && !b[i];
}

// The value of a feature's attribute, or nullptr when it does not carry it.
const std::string* attribute(const Layer& layer, const Feature& f, const std::string& name)
{
    if (f.attributes == 0 || f.attributes > layer.attribute_sets.size()) return nullptr;
    for (const auto& value : layer.attribute_sets[f.attributes - 1])
        if (value.name < layer.attribute_names.size() && layer.attribute_names[value.name] == name) return &value.value;
    return nullptr;
}

const Symbol* symbol_of(const Layer& layer, const Feature& f)
{
    if (f.symbol < 0 || std::size_t(f.symbol) >= layer.symbols.size()) return nullptr;
    return &layer.symbols[std::size_t(f.symbol)];
}

std::array<Coord, 2> symbol_extent(const Symbol& s, double angle)
{
    double w = s.p[0], h = s.p[0];
    switch (s.family) {
    case SymbolFamily::Rect: case SymbolFamily::RectRounded: case SymbolFamily::RectChamfered:
    case SymbolFamily::Oval: case SymbolFamily::Diamond: case SymbolFamily::Octagon:
    case SymbolFamily::RectDonut: case SymbolFamily::OvalDonut: case SymbolFamily::HexLong:
    case SymbolFamily::HexShort: case SymbolFamily::Triangle: case SymbolFamily::HalfOval:
    case SymbolFamily::RectThermal: case SymbolFamily::RectThermalOpen: case SymbolFamily::OvalThermal:
    case SymbolFamily::OblongThermal: case SymbolFamily::Ellipse:
        h = s.p[1];
        break;
    case SymbolFamily::Moire:
        w = h = std::max(s.p[4], 2 * s.p[2] * (s.p[0] + s.p[1]));
        break;
    case SymbolFamily::Null: case SymbolFamily::User: case SymbolFamily::Unknown:
        return {0, 0};
    default:
        break;
    }
    const double a = angle * kPi / 180, c = std::fabs(std::cos(a)), sn = std::fabs(std::sin(a));
    return {Coord(std::llround(w * c + h * sn)), Coord(std::llround(w * sn + h * c))};
}

Box2 feature_box(const Layer& layer, const Feature& f)
{
    Box b;
    const Symbol* s = symbol_of(layer, f);
    const auto e = s ? symbol_extent(*s, f.angle) : std::array<Coord, 2>{0, 0};
    switch (f.kind) {
    case FeatureKind::Pad:
    case FeatureKind::Text:
    case FeatureKind::Barcode:
        return {f.a.x - e[0] / 2, f.a.y - e[1] / 2, f.a.x + e[0] / 2, f.a.y + e[1] / 2};
    case FeatureKind::Line:
    case FeatureKind::Arc: {
        b.add(f.a);
        b.add(f.b);
        Coord r = e[0] / 2;
        if (f.kind == FeatureKind::Arc) {
            // Besides its ends, an arc reaches out where it crosses the axes
            // through its centre. Measured counter-clockwise from where it
            // starts that way (its end when it runs clockwise); equal ends
            // make a whole circle.
            const double rad = std::hypot(double(f.a.x - f.c.x), double(f.a.y - f.c.y));
            double from = std::atan2(double(f.a.y - f.c.y), double(f.a.x - f.c.x));
            double to = std::atan2(double(f.b.y - f.c.y), double(f.b.x - f.c.x));
            if (f.cw) std::swap(from, to);
            double sweep = to - from;
            while (sweep <= 0) sweep += 2 * kPi;
            for (int k = 0; k < 4; ++k) {
                double past = k * kPi / 2 - from;
                while (past < 0) past += 2 * kPi;
                while (past >= 2 * kPi) past -= 2 * kPi;
                if (past <= sweep)
                    b.add(Point{f.c.x + Coord(std::llround(rad * std::cos(k * kPi / 2))),
                                f.c.y + Coord(std::llround(rad * std::sin(k * kPi / 2)))});
            }
        }
        return {b.xmin - r, b.ymin - r, b.xmax + r, b.ymax + r};
    }
    case FeatureKind::Surface:
        if (f.body < layer.surfaces.size())
            for (const Contour& c : layer.surfaces[f.body].contours) {
                b.add(c.start);
                for (const Segment& seg : c.segments) b.add(seg.end);
            }
        if (b.empty()) b.add(f.a);
        return {b.xmin, b.ymin, b.xmax, b.ymax};
    }
    return {f.a.x, f.a.y, f.a.x, f.a.y};
}

bool covers(const Layer& layer, const Feature& f, Point p)
{
    const Symbol* s = symbol_of(layer, f);
    switch (f.kind) {
    case FeatureKind::Pad:
        return s && covers_pad(*s, f, p);
    case FeatureKind::Line:
    case FeatureKind::Arc: {
        if (!s) return false;
        const double half = double(symbol_extent(*s, 0)[0]) / 2;
        return (f.kind == FeatureKind::Line ? distance_to_segment(p, f.a, f.b) : distance_to_arc(p, f)) <= half;
    }
    case FeatureKind::Surface:
        return f.body < layer.surfaces.size() && inside_surface(layer.surfaces[f.body], p);
    case FeatureKind::Text:
    case FeatureKind::Barcode:
        return feature_box(layer, f).contains(p);
    }
    return false;
}

CopperAtPoints::CopperAtPoints(const Layer& layer) : layer_(layer), index_(kNmPerMm)
{
    for (std::uint32_t i = 0; i < layer.features.size(); ++i) index_.add(feature_box(layer, layer.features[i]), i);
}

bool CopperAtPoints::copper_at(Point p) const
{
    std::int64_t last = -1;
    index_.any({p.x, p.y, p.x, p.y}, [&](std::uint32_t id, const Box2&) {
        if (std::int64_t(id) > last && covers(layer_, layer_.features[id], p)) last = id;
        return false;
    });
    return last >= 0 && layer_.features[std::size_t(last)].polarity == Polarity::Positive;
}

} // namespace kesto::drc
