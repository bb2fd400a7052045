#include "engine/formats/gerber/layer_build.h"

#include "engine/edit/transform.h"

#include "engine/formats/odb/symbols.h"

#include <cmath>
#include <cstdio>

namespace kesto::formats {

// Symbols are named in microns: the readers work in nanometres, and a metric
// name loses nothing of them.
static Symbol make(SymbolFamily family, std::initializer_list<double> p)
{
    Symbol s;
    s.family = family;
    s.units = Units::Mm;
    std::size_t i = 0;
    for (double v : p) s.p[i++] = std::round(v);
    s.name = odb::standard_symbol_name(s, Units::Mm);
    return s;
}

Symbol round_symbol(double d) { return make(SymbolFamily::Round, {d}); }
Symbol square_symbol(double s) { return make(SymbolFamily::Square, {s}); }
Symbol rect_symbol(double w, double h) { return make(SymbolFamily::Rect, {w, h}); }
Symbol oval_symbol(double w, double h) { return make(SymbolFamily::Oval, {w, h}); }
Symbol round_donut_symbol(double od, double id) { return make(SymbolFamily::RoundDonut, {od, id}); }

bool scale_symbol(Symbol& s, double f)
{
    switch (s.family) {
    case SymbolFamily::Round: s = round_symbol(s.p[0] * f); return true;
    case SymbolFamily::Square: s = square_symbol(s.p[0] * f); return true;
    case SymbolFamily::Rect: s = rect_symbol(s.p[0] * f, s.p[1] * f); return true;
    case SymbolFamily::Oval: s = oval_symbol(s.p[0] * f, s.p[1] * f); return true;
    case SymbolFamily::RoundDonut: s = round_donut_symbol(s.p[0] * f, s.p[1] * f); return true;
    default: return f == 1;
    }
}

LayerBuilder::LayerBuilder(Layer& l) : layer(l)
{
    for (std::size_t i = 0; i < layer.symbols.size(); ++i) symbols_.emplace(layer.symbols[i].name, int(i));
    for (std::size_t i = 0; i < layer.attribute_names.size(); ++i) names_.emplace(layer.attribute_names[i], i);
    for (std::size_t i = 0; i < layer.attribute_sets.size(); ++i) {
        std::string key;
        for (const AttributeValue& v : layer.attribute_sets[i]) {
            if (v.name >= layer.attribute_names.size()) {
                key.clear();
                break;
            }
            key += layer.attribute_names[v.name] + '\x1f' + v.value + '\x1e';
        }
        if (!key.empty()) sets_.emplace(key, std::uint32_t(i + 1));
    }
}

int LayerBuilder::symbol(const Symbol& s)
{
    auto [it, added] = symbols_.emplace(s.name, int(layer.symbols.size()));
    if (added) layer.symbols.push_back(s);
    return it->second;
}

std::uint32_t LayerBuilder::attribute_set(const Attributes& attributes)
{
    if (attributes.empty()) return 0;
    std::string key;
    for (auto& [name, value] : attributes) key += name + '\x1f' + value + '\x1e';
    auto found = sets_.find(key);
    if (found != sets_.end()) return found->second;
    std::vector<AttributeValue> set;
    for (auto& [name, value] : attributes) {
        auto [it, added] = names_.emplace(name, std::uint32_t(layer.attribute_names.size()));
        if (added) layer.attribute_names.push_back(name);
        set.push_back({it->second, value});
    }
    layer.attribute_sets.push_back(std::move(set));
    return sets_[key] = std::uint32_t(layer.attribute_sets.size());
}

static Point at(double x, double y) { return {Coord(std::llround(x)), Coord(std::llround(y))}; }

Contour circle_contour(double cx, double cy, double r, bool island)
{
    Contour c;
    c.island = island;
    c.start = at(cx + r, cy);
    const Point centre = at(cx, cy);
    c.segments.push_back(arc_to(at(cx - r, cy), centre, island));
    c.segments.push_back(arc_to(c.start, centre, island));
    return c;
}

Contour polygon_contour(const std::vector<std::pair<double, double>>& points, bool island)
{
    Contour c;
    c.island = island;
    if (points.empty()) return c;
    double area = 0;
    for (std::size_t i = 0; i < points.size(); ++i) {
        auto& p = points[i];
        auto& q = points[(i + 1) % points.size()];
        area += p.first * q.second - q.first * p.second;
    }
    c.start = at(points[0].first, points[0].second);
    c.segments.reserve(points.size());
    for (std::size_t i = 1; i < points.size(); ++i) c.segments.push_back(line_to(at(points[i].first, points[i].second)));
    if (c.segments.empty() || c.segments.back().end != c.start) c.segments.push_back(line_to(c.start));
    const bool clockwise = area < 0;
    if (clockwise != island) reverse_contour(c);
    return c;
}

void reverse_contour(Contour& c)
{
    if (c.segments.empty()) return;
    std::vector<Segment> reversed;
    reversed.reserve(c.segments.size());
    Point from = c.start;
    std::vector<Point> starts;
    starts.reserve(c.segments.size());
    for (auto& s : c.segments) {
        starts.push_back(from);
        from = s.end;
    }
    for (std::size_t i = c.segments.size(); i-- > 0;) {
        Segment s = c.segments[i];
        s.end = starts[i];
        s.cw = !s.cw;
        reversed.push_back(s);
    }
    c.start = c.segments.back().end;
    c.segments = std::move(reversed);
}

static bool scaled_symbol(int index, double factor, LayerBuilder& builder, UserSymbols& symbols, int& out);

bool place_features(const Layer& from, Layer& to, const Placement& place, bool invert, LayerBuilder& builder,
                    UserSymbols& symbols)
{
    // Gerber turns counter-clockwise; a uniform scale commutes with the turn.
    edit::Placement how;
    how.mirror = place.mirror;
    how.angle = -place.rotation;
    how.scale_x = how.scale_y = place.scale;
    how.offset = place.offset;
    bool ok = true;
    // No reserve here: callers place many copies, and growing to the exact
    // size each time would copy the whole layer per copy.
    for (const Feature& source : from.features) {
        Feature f = source;
        if (invert) f.polarity = f.polarity == Polarity::Positive ? Polarity::Negative : Polarity::Positive;
        if (f.symbol >= 0 && place.scale != 1 && !scaled_symbol(f.symbol, place.scale, builder, symbols, f.symbol))
            ok = false;
        if (f.kind == FeatureKind::Surface && f.body < from.surfaces.size()) {
            f.body = std::uint32_t(to.surfaces.size());
            to.surfaces.push_back(from.surfaces[source.body]);
        }
        if ((f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) && f.body < from.texts.size()) {
            f.body = std::uint32_t(to.texts.size());
            to.texts.push_back(from.texts[source.body]);
        }
        to.features.push_back(f);
        edit::place(to, to.features.back(), how);
    }
    return ok;
}

static bool scaled_symbol(int index, double factor, LayerBuilder& builder, UserSymbols& symbols, int& out)
{
    Symbol s = builder.layer.symbols[std::size_t(index)];
    if (s.family != SymbolFamily::User) {
        if (!scale_symbol(s, factor)) return false;
        out = builder.symbol(s);
        return true;
    }
    auto found = symbols.find(s.name);
    if (found == symbols.end()) return false;
    UserSymbol scaled;
    Layer shape = found->second.features; // the shape's own symbol table stays valid
    Layer placed;
    placed.symbols = shape.symbols;
    placed.attribute_names = shape.attribute_names;
    placed.attribute_sets = shape.attribute_sets;
    LayerBuilder inner(placed);
    Placement grow;
    grow.scale = factor;
    const bool ok = place_features(shape, placed, grow, false, inner, symbols);
    scaled.name = user_symbol_name(s.name, placed);
    scaled.features = std::move(placed);
    s.name = scaled.name;
    symbols.emplace(scaled.name, std::move(scaled));
    out = builder.symbol(s);
    return ok;
}

std::string user_symbol_name(const std::string& base, const Layer& shape)
{
    std::uint64_t h = 1469598103934665603ull;
    auto mix = [&h](std::int64_t v) {
        for (int i = 0; i < 8; ++i) {
            h ^= std::uint64_t(v >> (8 * i)) & 0xff;
            h *= 1099511628211ull;
        }
    };
    for (const Feature& f : shape.features) {
        mix(int(f.kind) * 2 + int(f.polarity));
        mix(f.a.x), mix(f.a.y), mix(f.b.x), mix(f.b.y), mix(f.c.x), mix(f.c.y);
        mix(std::llround(f.angle * 1000)), mix(f.mirror), mix(f.cw);
        if (f.symbol >= 0) for (char ch : shape.symbols[std::size_t(f.symbol)].name) mix(ch);
        if (f.kind == FeatureKind::Surface && f.body < shape.surfaces.size())
            for (auto& c : shape.surfaces[f.body].contours) {
                mix(c.island), mix(c.start.x), mix(c.start.y);
                for (auto& s : c.segments) mix(s.end.x), mix(s.end.y), mix(s.arc), mix(s.cw), mix(s.centre.x), mix(s.centre.y);
            }
    }
    std::string name;
    for (char ch : base) name += char(std::tolower(static_cast<unsigned char>(ch)));
    char tail[20];
    std::snprintf(tail, sizeof tail, "_%08x", unsigned(h ^ (h >> 32)));
    return name + tail;
}

} // namespace kesto::formats

namespace kesto {

bool save_text(const std::string& path, const std::string& text, Reports& reports)
{
    const std::string beside = path + ".kesto-part";
    std::FILE* file = std::fopen(beside.c_str(), "wb");
    bool ok = file && std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (file) ok = std::fclose(file) == 0 && ok;
    if (ok) ok = std::rename(beside.c_str(), path.c_str()) == 0;
    if (!ok) {
        std::remove(beside.c_str());
        reports.push_back({path, 0, "cannot write the file", true});
    }
    return ok;
}

} // namespace kesto
