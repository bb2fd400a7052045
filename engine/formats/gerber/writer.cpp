// The Gerber X2 writer: one aperture per symbol (and aperture attribute set),
// aperture macros for shapes RS-274X has no aperture for, aperture blocks for
// user symbols that a macro cannot express, regions for surfaces, LP for
// negative features, and macros of their turned outline for turned pads.
#include "engine/api/exchange.h"
#include "engine/formats/gerber/attribute_names.h"
#include "engine/model/text.h"
#include "engine/formats/gerber/layer_build.h"
#include "engine/formats/gerber/macro.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <map>

namespace kesto::gerber {

namespace {

bool aperture_attribute(const std::string& name)
{
    return name.rfind(".Aper", 0) == 0 || name == ".DrillTolerance" || name == ".FlashText";
}

struct Split {
    formats::Attributes aperture, object;
};

Split split_attributes(const Layer& layer, const Feature& f)
{
    Split s;
    if (f.attributes == 0 || f.attributes > layer.attribute_sets.size()) return s;
    for (const AttributeValue& v : layer.attribute_sets[f.attributes - 1]) {
        if (v.name >= layer.attribute_names.size()) continue;
        const std::string& name = layer.attribute_names[v.name];
        (aperture_attribute(name) ? s.aperture : s.object).push_back({name, v.value});
    }
    return s;
}

std::string key_of(const formats::Attributes& a)
{
    std::string k;
    for (auto& [n, v] : a) k += n + '\x1f' + v + '\x1e';
    return k;
}

class Writer {
public:
    Writer(const UserSymbols& symbols, const WriteOptions& options, Reports& reports)
        : symbols_(symbols), options_(options), reports_(reports)
    {
        context_ = geom::context_of(symbols_);
        context_.fonts = options.fonts;
        unit_ = options.inch ? double(kNmPerInch) : double(kNmPerMm);
        per_nm_ = std::pow(10.0, options.decimal_digits) / unit_;
        limit_ = std::pow(10.0, options.integer_digits + options.decimal_digits);
    }

    bool write(const Layer& layer, std::string& out)
    {
        out_.reserve(layer.features.size() * 32 + 1024);
        out_ += "G04 Written by the Kesto CAM engine*\n";
        out_ += "%TF.GenerationSoftware,Kesto,CAM engine,1*%\n";
        for (auto& [name, value] : options_.file_attributes)
            if (!layer.attributes.count(name)) attribute("TF", name, value);
        for (auto& [name, value] : layer.attributes) {
            // UNITS is the unit of the layer's attribute list, no attribute.
            if (name == ".GenerationSoftware" || name == "UNITS") continue;
            if (name == ".image_name") out_ += "%IN" + plain(value) + "*%\n";
            else if (name == ".layer_name") out_ += "%LN" + plain(value) + "*%\n";
            else if (name == ".image_polarity") out_ += value == "negative" ? "%IPNEG*%\n" : "";
            else attribute("TF", name, value);
        }
        char fs[64];
        std::snprintf(fs, sizeof fs, "%%FSLAX%d%dY%d%d*%%\n", options_.integer_digits, options_.decimal_digits,
                      options_.integer_digits, options_.decimal_digits);
        out_ += fs;
        out_ += options_.inch ? "%MOIN*%\n" : "%MOMM*%\n";
        define_apertures(layer, 0);
        reset_state();
        out_ += "G75*\n";
        features(layer, 0);
        if (!object_key_.empty() || !region_key_.empty()) out_ += "%TD*%\n";
        out_ += "M02*\n";
        out.swap(out_);
        return ok_;
    }

private:
    // IN and LN take no escapes: what would end the command becomes '_'.
    static std::string plain(std::string text)
    {
        for (char& c : text)
            if (c == '%' || c == '*' || static_cast<unsigned char>(c) < 0x20) c = '_';
        return text;
    }

    void fail(const std::string& what)
    {
        ok_ = false;
        if (reports_.size() < 1000) reports_.push_back({"", 0, what, true});
    }

    // ------------------------------------------------------------ numbers
    void coordinate(char axis, Coord nm)
    {
        const double v = std::round(double(nm) * per_nm_);
        if (std::abs(v) >= limit_) {
            fail("coordinate " + std::to_string(nm) + " nm does not fit the number format");
        }
        char buffer[32];
        buffer[0] = axis;
        auto r = std::to_chars(buffer + 1, buffer + sizeof buffer, std::int64_t(v));
        out_.append(buffer, std::size_t(r.ptr - buffer));
    }

    std::string size(double nm) const
    {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%.*f", options_.inch ? 7 : 6, nm / unit_);
        std::string s = buffer;
        while (s.size() > 1 && s.back() == '0') s.pop_back();
        if (s.back() == '.') s += '0';
        return s;
    }

    // ------------------------------------------------------------ apertures
    // The D code of a symbol drawn with these aperture attributes.
    int aperture(const Layer& layer, const Feature& f, const formats::Attributes& attributes, int depth)
    {
        if (f.symbol < 0 || std::size_t(f.symbol) >= layer.symbols.size()) {
            fail("feature with no symbol");
            return -1;
        }
        Upright u{layer.symbols[std::size_t(f.symbol)]};
        if (f.kind == FeatureKind::Pad) u = upright(u.symbol, f);
        Symbol& s = u.symbol;
        const bool resized = f.kind == FeatureKind::Pad && f.resize > 0 && f.resize != 1;
        const bool turned = turned_in_macro(u);
        const std::string key = s.name + '\x1d' + (resized ? std::to_string(f.resize) : "") + '\x1d' +
                                (turned ? std::to_string(u.angle) + (u.mirror ? "m" : "") : "") + '\x1d' + key_of(attributes);
        auto found = apertures_.find(key);
        if (found != apertures_.end()) return found->second;
        // A resized pad (apt_def -1 of ODB++) flashes its symbol scaled.
        if (resized && (s.family == SymbolFamily::User || !formats::scale_symbol(s, f.resize))) {
            fail("resized pads of symbol " + s.name + " are not written: the symbol cannot be scaled");
            return apertures_[key] = -1;
        }
        std::string shape = turned ? turned_macro(u) : standard_aperture(s);
        int d = -1;
        if (turned && shape.empty()) {
            fail("symbol " + s.name + " has no outline; its features are left out");
        } else if (shape.empty()) {
            if (s.family == SymbolFamily::User) d = user_aperture(s.name, attributes, depth);
            else if (std::string body = standard_macro(s); !body.empty()) shape = macro(s.name, body);
            else if (std::string outline = outline_macro(geom::symbol_outline(s, context_)); !outline.empty()) shape = macro(s.name, outline);
            else fail("symbol " + s.name + " has no outline; its features are left out");
        }
        if (!shape.empty()) {
            d = next_dcode_++;
            for (auto& [n, v] : attributes) attribute("TA", n, v);
            out_ += "%ADD" + std::to_string(d) + shape + "*%\n";
            if (!attributes.empty()) out_ += "%TD*%\n";
        }
        return apertures_[key] = d;
    }

    // A pad as an aperture in its own orientation where the shape allows, so
    // that plain files need no turned macros: round shapes
    // ignore turning and mirroring, rectangles and ovals mirror onto
    // themselves and swap their sides on a quarter turn.
    struct Upright {
        Symbol symbol;
        bool mirror = false;
        double angle = 0;
    };

    static Upright upright(const Symbol& s, const Feature& f)
    {
        Upright u{s, f.mirror, f.angle};
        switch (s.family) {
        case SymbolFamily::Round:
        case SymbolFamily::RoundDonut:
        case SymbolFamily::Hole:
            u.mirror = false;
            u.angle = 0;
            break;
        case SymbolFamily::Square:
        case SymbolFamily::Rect:
        case SymbolFamily::Oval: {
            const double quarter = std::fmod(f.angle, 180.0);
            if (std::abs(quarter) > 1e-9 && std::abs(std::abs(quarter) - 90) > 1e-9) break;
            u.mirror = false;
            u.angle = 0;
            if (std::abs(std::abs(quarter) - 90) <= 1e-9 && s.family != SymbolFamily::Square)
                u.symbol = s.family == SymbolFamily::Rect ? formats::rect_symbol(s.p[1], s.p[0]) : formats::oval_symbol(s.p[1], s.p[0]);
            break;
        }
        default: break;
        }
        return u;
    }

    // Pads still turned or mirrored once upright get a macro of their turned
    // outline rather than LR/LM, which many viewers still ignore. User symbols
    // too: their outline is their image, negative features cleared.
    static bool turned_in_macro(const Upright& u) { return u.mirror || u.angle != 0; }

    std::string turned_macro(const Upright& u)
    {
        const std::string body =
            outline_macro(geom::place(geom::Placement{{0, 0}, u.angle, u.mirror}, geom::symbol_outline(u.symbol, context_)));
        return body.empty() ? std::string() : macro(u.symbol.name, body);
    }

    std::string standard_aperture(const Symbol& s)
    {
        const auto& p = s.p;
        switch (s.family) {
        case SymbolFamily::Round:
        case SymbolFamily::Hole: return "C," + size(p[0]);
        case SymbolFamily::Square: return "R," + size(p[0]) + "X" + size(p[0]);
        case SymbolFamily::Rect: return "R," + size(p[0]) + "X" + size(p[1]);
        case SymbolFamily::Oval: return "O," + size(p[0]) + "X" + size(p[1]);
        case SymbolFamily::RoundDonut: return "C," + size(p[0]) + "X" + size(p[1]);
        default: return {};
        }
    }

    std::string macro(const std::string& name, const std::string& body)
    {
        std::string macro_name;
        for (char c : name) macro_name += std::isalnum(static_cast<unsigned char>(c)) || c == '_' ? c : '_';
        macro_name = "K" + std::to_string(macros_++) + "_" + macro_name;
        out_ += "%AM" + macro_name + "*\n" + body + "%\n";
        return macro_name;
    }

    std::string polygon_primitive(const std::vector<std::pair<double, double>>& points, bool exposure)
    {
        std::string body = "4," + std::string(exposure ? "1," : "0,") + std::to_string(points.size());
        for (auto& [x, y] : points) body += "," + size(x) + "," + size(y);
        body += "," + size(points[0].first) + "," + size(points[0].second) + ",0*\n";
        return body;
    }

    // Outlines as outline primitives, the larger first: islands exposed, holes cleared.
    std::string outline_macro(geom::Paths paths)
    {
        std::sort(paths.begin(), paths.end(), [](const geom::Path& a, const geom::Path& b) {
            return std::abs(ClipperLib::Area(a)) > std::abs(ClipperLib::Area(b));
        });
        std::string body;
        for (const geom::Path& path : paths) {
            if (path.size() < 3) continue;
            std::vector<std::pair<double, double>> points;
            for (const auto& p : path) points.push_back({double(p.X), double(p.Y)});
            body += polygon_primitive(points, ClipperLib::Orientation(path));
        }
        return body;
    }

    // Macros for the standard symbols RS-274X has no aperture for, exact
    // where primitives can say it.
    std::string standard_macro(const Symbol& s)
    {
        const double w = s.p[0] / 2, h = s.p[1] / 2;
        switch (s.family) {
        case SymbolFamily::Diamond: return polygon_primitive({{w, 0}, {0, h}, {-w, 0}, {0, -h}}, true);
        case SymbolFamily::Triangle: return polygon_primitive({{-w, -h}, {w, -h}, {0, h}}, true);
        case SymbolFamily::Octagon: {
            const double c = s.p[2];
            return polygon_primitive({{w, h - c}, {w - c, h}, {c - w, h}, {-w, h - c}, {-w, c - h}, {c - w, -h}, {w - c, -h}, {w, c - h}}, true);
        }
        case SymbolFamily::HexLong: {
            const double r = s.p[2];
            return polygon_primitive({{w, 0}, {w - r, h}, {r - w, h}, {-w, 0}, {r - w, -h}, {w - r, -h}}, true);
        }
        case SymbolFamily::HexShort: {
            const double r = s.p[2];
            return polygon_primitive({{0, h}, {-w, h - r}, {-w, r - h}, {0, -h}, {w, r - h}, {w, h - r}}, true);
        }
        case SymbolFamily::RectChamfered: {
            if (s.corners != kAllCorners) return {};
            const double c = s.p[2];
            return polygon_primitive({{w, h - c}, {w - c, h}, {c - w, h}, {-w, h - c}, {-w, c - h}, {c - w, -h}, {w - c, -h}, {w, c - h}}, true);
        }
        case SymbolFamily::RectRounded: {
            if (s.corners != kAllCorners) return {};
            const double r = std::min(s.p[2], std::min(w, h));
            std::string body = "21,1," + size(2 * w) + "," + size(2 * (h - r)) + ",0,0,0*\n";
            body += "21,1," + size(2 * (w - r)) + "," + size(2 * h) + ",0,0,0*\n";
            for (int sx : {1, -1})
                for (int sy : {1, -1})
                    body += "1,1," + size(2 * r) + "," + size(sx * (w - r)) + "," + size(sy * (h - r)) + "*\n";
            return body;
        }
        case SymbolFamily::SquareDonut: {
            const double o = s.p[0] / 2, i = s.p[1] / 2;
            return polygon_primitive({{-o, -o}, {o, -o}, {o, o}, {-o, o}}, true) +
                   polygon_primitive({{-i, -i}, {i, -i}, {i, i}, {-i, i}}, false);
        }
        default: return {};
        }
    }

    // A user symbol: a macro when all of it is circles and straight outlines
    // (exposure off clears only inside the aperture, as in the symbol), else a block.
    int user_aperture(const std::string& name, const formats::Attributes& attributes, int depth)
    {
        auto found = symbols_.find(name);
        if (found == symbols_.end()) {
            fail("user symbol " + name + " is not in the job");
            return -1;
        }
        const Layer& shape = found->second.features;
        std::string body;
        auto kept = found->second.attributes.find(formats::kGerberShape);
        if (kept != found->second.attributes.end()) {
            std::string shape_text = kept_shape(kept->second);
            if (!shape_text.empty()) {
                const int d = next_dcode_++;
                for (auto& [n, v] : attributes) attribute("TA", n, v);
                out_ += "%ADD" + std::to_string(d) + shape_text + "*%\n";
                if (!attributes.empty()) out_ += "%TD*%\n";
                return d;
            }
        }
        if (macro_body(shape, body)) {
            const std::string macro_name = macro(name, body);
            const int d = next_dcode_++;
            for (auto& [n, v] : attributes) attribute("TA", n, v);
            out_ += "%ADD" + std::to_string(d) + macro_name + "*%\n";
            if (!attributes.empty()) out_ += "%TD*%\n";
            return d;
        }
        if (depth > 20) {
            fail("user symbol " + name + " nests too deep");
            return -1;
        }
        define_apertures(shape, depth + 1);
        const int d = next_dcode_++;
        out_ += "%ABD" + std::to_string(d) + "*%\n";
        reset_state();
        features(shape, depth + 1);
        restore_defaults();
        out_ += "%AB*%\n";
        reset_state();
        return d;
    }

    // The aperture a symbol was read from, in this file's units; empty when
    // the kept text cannot be read.
    std::string kept_shape(const std::string& kept)
    {
        const std::size_t colon = kept.find(':');
        const std::string kind = kept.substr(0, colon);
        const std::string rest = colon == std::string::npos ? std::string() : kept.substr(colon + 1);
        if (kind == "aperture" && rest.size() > 2 && rest[1] == ',') {
            std::string text = rest.substr(0, 2);
            std::size_t i = 2;
            for (int index = 0; i < rest.size(); ++index) {
                char* end = nullptr;
                const double v = std::strtod(rest.c_str() + i, &end);
                if (end == rest.c_str() + i) return {};
                const bool length = rest[0] != 'P' || (index != 1 && index != 2);
                if (index) text += 'X';
                text += length ? size(v) : number(v);
                i = std::size_t(end - rest.c_str());
                if (i < rest.size() && rest[i] == ',') ++i;
            }
            return text;
        }
        if (kind != "macro") return {};
        std::string body;
        std::size_t from = 0;
        while (from < rest.size()) {
            std::size_t end = rest.find(';', from);
            if (end == std::string::npos) end = rest.size();
            std::vector<double> v;
            for (std::size_t i = from; i < end;) {
                char* stop = nullptr;
                v.push_back(std::strtod(rest.c_str() + i, &stop));
                if (stop == rest.c_str() + i) return {};
                i = std::size_t(stop - rest.c_str());
                if (i < end && rest[i] == ',') ++i;
            }
            from = end + 1;
            if (v.empty()) continue;
            const int code = int(v[0]);
            const long vertices = code == 4 && v.size() > 2 ? long(v[2]) : 0;
            body += number(v[0]);
            for (std::size_t i = 1; i < v.size(); ++i)
                body += "," + (primitive_length(code, i, vertices) ? size(v[i]) : number(v[i]));
            body += "*\n";
        }
        return body.empty() ? std::string() : macro("shape", body);
    }

    static std::string number(double v)
    {
        char buffer[40];
        std::snprintf(buffer, sizeof buffer, "%.10g", v);
        return buffer;
    }

    bool macro_body(const Layer& shape, std::string& body)
    {
        for (const Feature& f : shape.features) {
            if (f.kind != FeatureKind::Surface || f.body >= shape.surfaces.size()) return false;
            const bool dark = f.polarity == Polarity::Positive;
            for (const Contour& c : shape.surfaces[f.body].contours) {
                const bool exposure = dark == c.island;
                if (c.segments.size() == 2 && c.segments[0].arc && c.segments[1].arc &&
                    c.segments[0].centre == c.segments[1].centre && c.segments[1].end == c.start) {
                    const Point m = c.segments[0].centre;
                    const double r = std::hypot(double(c.start.x - m.x), double(c.start.y - m.y));
                    body += std::string("1,") + (exposure ? "1," : "0,") + size(2 * r) + "," + size(double(m.x)) + "," +
                            size(double(m.y)) + "*\n";
                    continue;
                }
                std::vector<std::pair<double, double>> points;
                const double fit = vertex_budget(c);
                Point from = c.start;
                for (const Segment& s : c.segments) {
                    if (s.arc) arc_points(from, s, fit, points);
                    points.push_back({double(s.end.x), double(s.end.y)});
                    from = s.end;
                }
                if (points.size() >= 2 && points.back() == std::make_pair(double(c.start.x), double(c.start.y))) points.pop_back();
                if (points.size() < 2) continue;
                std::vector<std::pair<double, double>> closed = {{double(c.start.x), double(c.start.y)}};
                closed.insert(closed.end(), points.begin(), points.end());
                body += polygon_primitive(closed, exposure);
            }
        }
        return !body.empty();
    }

    static int arc_steps(const Point& from, const Segment& s, double& radius, double& start, double& sweep)
    {
        const double cx = double(s.centre.x), cy = double(s.centre.y);
        radius = std::hypot(double(from.x) - cx, double(from.y) - cy);
        start = std::atan2(double(from.y) - cy, double(from.x) - cx);
        const double end = std::atan2(double(s.end.y) - cy, double(s.end.x) - cx);
        sweep = s.cw ? start - end : end - start;
        while (sweep <= 1e-12) sweep += 2 * M_PI;
        const double step = radius > 1000 ? 2 * std::acos(1 - 1000.0 / radius) : M_PI / 2; // 1 micron off the curve
        return std::max(2, std::min(3600, int(std::ceil(sweep / std::max(step, 1e-4)))));
    }

    // Common viewers take at most 102 numbers per macro primitive, so an
    // outline keeps to 47 vertices when its arcs allow: the factor by which
    // the arcs' steps shrink to fit.
    static double vertex_budget(const Contour& c)
    {
        int straight = 0, curved = 0;
        Point from = c.start;
        for (const Segment& s : c.segments) {
            ++straight;
            if (s.arc) {
                double r, a, w;
                curved += arc_steps(from, s, r, a, w) - 1;
            }
            from = s.end;
        }
        if (straight + curved <= 47 || curved == 0) return 1;
        return std::max(0.0, double(47 - straight)) / curved;
    }

    // The inner points of an arc, within 1 micron of the true curve unless `fit` asks for fewer.
    static void arc_points(const Point& from, const Segment& s, double fit, std::vector<std::pair<double, double>>& points)
    {
        double r, a0, sweep;
        const int wanted = arc_steps(from, s, r, a0, sweep);
        const int n = std::max(2, int(std::floor((wanted - 1) * fit)) + 1);
        const double cx = double(s.centre.x), cy = double(s.centre.y);
        for (int i = 1; i < n; ++i) {
            const double a = a0 + (s.cw ? -1 : 1) * sweep * i / n;
            points.push_back({cx + r * std::cos(a), cy + r * std::sin(a)});
        }
    }

    void define_apertures(const Layer& layer, int depth)
    {
        for (const Feature& f : layer.features)
            if (f.kind == FeatureKind::Pad || f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc)
                aperture(layer, f, split_attributes(layer, f).aperture, depth);
    }

    // ------------------------------------------------------------ features
    // The graphics state at the start of the file and of every block: dark,
    // no mirroring, no rotation. The D code and interpolation are unknown.
    void reset_state()
    {
        dcode_ = -1;
        dark_ = 1;
        interpolation_ = 0;
        object_key_.clear();
        region_key_.clear();
        at_known_ = false;
    }

    void restore_defaults()
    {
        polarity(Polarity::Positive);
        if (!object_key_.empty() || !region_key_.empty()) out_ += "%TD*%\n";
        object_key_.clear();
        region_key_.clear();
    }

    void polarity(Polarity p)
    {
        const int dark = p == Polarity::Positive;
        if (dark == dark_) return;
        out_ += dark ? "%LPD*%\n" : "%LPC*%\n";
        dark_ = dark;
    }

    void attribute(const char* command, const std::string& name, const std::string& value)
    {
        ((out_ += '%') += command) += x2_attribute_name(name);
        if (!value.empty()) (out_ += ',') += x2_attribute_value(value);
        out_ += "*%\n";
    }

    void attributes(const formats::Attributes& object, const formats::Attributes* region)
    {
        const std::string okey = key_of(object);
        const std::string rkey = region ? key_of(*region) : std::string();
        if (okey == object_key_ && (region == nullptr || rkey == region_key_)) return;
        if (!object_key_.empty() || !region_key_.empty()) out_ += "%TD*%\n";
        if (region)
            for (auto& [n, v] : *region) attribute("TA", n, v);
        for (auto& [n, v] : object) attribute("TO", n, v);
        object_key_ = okey;
        region_key_ = region ? rkey : std::string();
    }

    void select(int d)
    {
        if (d == dcode_) return;
        out_ += "D" + std::to_string(d) + "*\n";
        dcode_ = d;
    }

    void mode(int g)
    {
        if (g == interpolation_) return;
        out_ += g == 1 ? "G01*\n" : g == 2 ? "G02*\n" : "G03*\n";
        interpolation_ = g;
    }

    void move(const Point& p)
    {
        coordinate('X', p.x);
        coordinate('Y', p.y);
        out_ += "D02*\n";
        at_ = p;
        at_known_ = true;
    }

    void draw(const Point& from, const Point& to, const Point* centre, bool cw)
    {
        if (!at_known_ || at_ != from) move(from);
        mode(centre ? (cw ? 2 : 3) : 1);
        coordinate('X', to.x);
        coordinate('Y', to.y);
        if (centre) {
            coordinate('I', centre->x - from.x);
            coordinate('J', centre->y - from.y);
        }
        out_ += "D01*\n";
        at_ = to;
    }

    void contour(const Contour& c)
    {
        Point from = c.start;
        for (const Segment& s : c.segments) {
            draw(from, s.end, s.arc ? &s.centre : nullptr, s.cw);
            from = s.end;
        }
        if (from != c.start) draw(from, c.start, nullptr, false);
    }

    // One region statement. Surfaces without holes keep their arcs. A surface
    // with holes is cut into hole-free pieces by vertical lines through its
    // holes: cut-in lines would do in theory, but viewers stroke region
    // edges, and cut-ins running across other holes then show as streaks.
    void region(const Surface& surface)
    {
        bool holes = false;
        for (const Contour& c : surface.contours) holes = holes || !c.island;
        out_ += "G36*\n";
        // Each region states its first interpolation mode: gerbv draws the
        // first arc of a region as a chord when the mode was set before G36.
        interpolation_ = 0;
        if (!holes) {
            for (const Contour& c : surface.contours) {
                at_known_ = false;
                contour(c);
            }
        } else {
            for (const geom::Path& piece : hole_free_pieces(geom::surface_outline(surface))) {
                at_known_ = false;
                Contour c;
                c.start = {piece[0].X, piece[0].Y};
                for (std::size_t i = 1; i <= piece.size(); ++i)
                    c.segments.push_back(formats::line_to({piece[i % piece.size()].X, piece[i % piece.size()].Y}));
                contour(c);
            }
        }
        out_ += "G37*\n";
        at_known_ = false;
    }

    static geom::Paths hole_free_pieces(const geom::Paths& outline)
    {
        // Cuts: as few vertical lines as cross every hole strictly inside its
        // x extent (earliest-ending hole first, cut through its middle).
        std::vector<std::pair<ClipperLib::cInt, ClipperLib::cInt>> spans, extents;
        ClipperLib::cInt left = 0, right = 0, bottom = 0, top = 0;
        bool first = true;
        for (const geom::Path& path : outline) {
            ClipperLib::cInt x0 = path.empty() ? 0 : path[0].X, x1 = x0;
            for (const auto& p : path) {
                x0 = std::min(x0, p.X), x1 = std::max(x1, p.X);
                if (first || p.X < left) left = p.X;
                if (first || p.X > right) right = p.X;
                if (first || p.Y < bottom) bottom = p.Y;
                if (first || p.Y > top) top = p.Y;
                first = false;
            }
            extents.push_back({x0, x1});
            if (!ClipperLib::Orientation(path) && x1 - x0 >= 2) spans.push_back({x1, x0});
        }
        std::sort(spans.begin(), spans.end());
        std::vector<ClipperLib::cInt> cuts;
        for (const auto& [x1, x0] : spans)
            if (cuts.empty() || !(x0 < cuts.back() && cuts.back() < x1)) cuts.push_back(x0 + (x1 - x0) / 2);
        std::sort(cuts.begin(), cuts.end());
        cuts.insert(cuts.begin(), left - 1);
        cuts.push_back(right + 1);
        geom::Paths pieces;
        for (std::size_t i = 0; i + 1 < cuts.size(); ++i) {
            if (cuts[i + 1] <= cuts[i]) continue;
            ClipperLib::Clipper clipper;
            for (std::size_t k = 0; k < outline.size(); ++k) // only what reaches into the strip
                if (extents[k].second >= cuts[i] && extents[k].first <= cuts[i + 1])
                    clipper.AddPath(outline[k], ClipperLib::ptSubject, true);
            clipper.AddPath(geom::rectangle(double(cuts[i]), double(bottom - 1), double(cuts[i + 1]), double(top + 1)), ClipperLib::ptClip, true);
            geom::Paths strip;
            clipper.Execute(ClipperLib::ctIntersection, strip, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
            for (geom::Path& piece : strip)
                if (piece.size() >= 3 && ClipperLib::Orientation(piece)) pieces.push_back(std::move(piece));
        }
        return pieces;
    }

    // Outlines (islands counter-clockwise, holes clockwise) as a surface whose
    // islands are each followed by the holes inside them.
    static Surface surface_of(const geom::Paths& paths)
    {
        Surface s;
        if (paths.empty()) return s;
        ClipperLib::Clipper clipper;
        clipper.AddPaths(paths, ClipperLib::ptSubject, true);
        ClipperLib::PolyTree tree;
        clipper.Execute(ClipperLib::ctUnion, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
        auto contour_of = [](const geom::Path& path, bool island) {
            Contour c;
            c.island = island;
            c.start = {path[0].X, path[0].Y};
            for (std::size_t i = 1; i <= path.size(); ++i) c.segments.push_back(formats::line_to({path[i % path.size()].X, path[i % path.size()].Y}));
            return c;
        };
        std::vector<const ClipperLib::PolyNode*> islands(tree.Childs.begin(), tree.Childs.end());
        while (!islands.empty()) {
            const ClipperLib::PolyNode* node = islands.back();
            islands.pop_back();
            if (node->Contour.size() < 3) continue;
            s.contours.push_back(contour_of(node->Contour, true));
            for (const ClipperLib::PolyNode* hole : node->Childs) {
                if (hole->Contour.size() >= 3) s.contours.push_back(contour_of(hole->Contour, false));
                islands.insert(islands.end(), hole->Childs.begin(), hole->Childs.end());
            }
        }
        return s;
    }

    void features(const Layer& layer, int depth)
    {
        std::size_t skipped_texts = 0;
        for (const Feature& f : layer.features) {
            if (depth == 0 && options_.written) options_.written->fetch_add(1, std::memory_order_relaxed);
            const Split attrs = split_attributes(layer, f);
            switch (f.kind) {
            case FeatureKind::Pad: {
                const int d = aperture(layer, f, attrs.aperture, depth);
                if (d < 0) break;
                attributes(attrs.object, nullptr);
                polarity(f.polarity);
                select(d);
                coordinate('X', f.a.x);
                coordinate('Y', f.a.y);
                out_ += "D03*\n";
                at_ = f.a;
                at_known_ = true;
                break;
            }
            case FeatureKind::Line:
            case FeatureKind::Arc: {
                const Symbol* s = f.symbol >= 0 && std::size_t(f.symbol) < layer.symbols.size() ? &layer.symbols[std::size_t(f.symbol)] : nullptr;
                const bool round = s && s->family == SymbolFamily::Round;
                const bool square = s && (s->family == SymbolFamily::Square || s->family == SymbolFamily::Rect);
                if (!round && !(square && f.kind == FeatureKind::Line)) {
                    fail(std::string(f.kind == FeatureKind::Arc ? "arc" : "line") + " drawn with symbol " +
                         (s ? s->name : "?") + ": Gerber draws only with round (and, for lines, square) apertures");
                    break;
                }
                const int d = aperture(layer, f, attrs.aperture, depth);
                if (d < 0) break;
                attributes(attrs.object, nullptr);
                polarity(f.polarity);
                select(d);
                draw(f.a, f.b, f.kind == FeatureKind::Arc ? &f.c : nullptr, f.cw);
                break;
            }
            case FeatureKind::Surface: {
                if (f.body >= layer.surfaces.size()) break;
                attributes(attrs.object, &attrs.aperture);
                polarity(f.polarity);
                region(layer.surfaces[f.body]);
                break;
            }
            case FeatureKind::Text:
            case FeatureKind::Barcode: {
                // Texts go out as the regions their strokes cover.
                const Surface outline = surface_of(geom::feature_outline(layer, f, context_));
                if (outline.contours.empty()) {
                    ++skipped_texts;
                    break;
                }
                attributes(attrs.object, &attrs.aperture);
                polarity(f.polarity);
                region(outline);
                break;
            }
            }
        }
        if (skipped_texts)
            fail(std::to_string(skipped_texts) + " text or barcode features have no outline and are not written");
    }

    const UserSymbols& symbols_;
    const WriteOptions& options_;
    Reports& reports_;
    geom::OutlineContext context_;
    std::string out_;
    bool ok_ = true;
    double unit_ = 0, per_nm_ = 0, limit_ = 0;
    std::map<std::string, int> apertures_;
    int next_dcode_ = 10;
    int macros_ = 0;

    int dcode_ = -1, dark_ = 1, interpolation_ = 0;
    std::string object_key_, region_key_;
    Point at_;
    bool at_known_ = false;
};

} // namespace

std::vector<std::pair<std::string, std::string>> file_attributes(const Job& job, const std::string& layer)
{
    std::vector<std::pair<std::string, std::string>> out;
    const std::string wanted = lower(layer);
    const MatrixRow* row = nullptr;
    std::vector<const MatrixRow*> copper;
    for (const MatrixRow& r : job.rows) {
        if (lower(r.name) == wanted) row = &r;
        if (r.context == "BOARD" && (r.type == "SIGNAL" || r.type == "POWER_GROUND" || r.type == "MIXED")) copper.push_back(&r);
    }
    std::sort(copper.begin(), copper.end(), [](const MatrixRow* a, const MatrixRow* b) { return a->row < b->row; });
    std::string function;
    if (row && row->context == "BOARD") {
        const auto n = copper.size();
        auto number = [&](const std::string& name) -> std::size_t {
            for (std::size_t i = 0; i < n; ++i)
                if (lower(copper[i]->name) == lower(name)) return i + 1;
            return 0;
        };
        const std::string side = n == 0 || row->row < copper.front()->row  ? "Top"
                                 : row->row > copper.back()->row           ? "Bot"
                                                                           : "";
        if (const std::size_t at = number(row->name)) {
            const char* kind = row->type == "SIGNAL" ? "Signal" : row->type == "MIXED" ? "Mixed" : "Plane";
            function = "Copper,L" + std::to_string(at) + "," + (at == 1 ? "Top" : at == n ? "Bot" : "Inr") + "," + kind;
        } else if (!side.empty() && row->type == "SOLDER_MASK") {
            function = "Soldermask," + side;
        } else if (!side.empty() && row->type == "SILK_SCREEN") {
            function = "Legend," + side;
        } else if (!side.empty() && row->type == "SOLDER_PASTE") {
            function = "Paste," + side;
        } else if (row->type == "DRILL" && n > 0) {
            const std::size_t from = row->start_name.empty() ? 1 : number(row->start_name);
            const std::size_t to = row->end_name.empty() ? n : number(row->end_name);
            if (from && to) function = "Plated," + std::to_string(std::min(from, to)) + "," + std::to_string(std::max(from, to)) + ",PTH";
        }
    }
    if (!function.empty()) {
        out.emplace_back(".FileFunction", function);
        out.emplace_back(".FilePolarity", row->polarity == "NEGATIVE" ? "Negative" : "Positive");
    }
    std::string same = job.name; // one field: a comma would start another
    std::replace(same.begin(), same.end(), ',', '_');
    out.emplace_back(".SameCoordinates", same);
    return out;
}

bool write(const Layer& layer, const UserSymbols& symbols, const WriteOptions& options, std::string& text, Reports& reports)
{
    if (options.integer_digits < 1 || options.integer_digits > 6 || options.decimal_digits < 4 || options.decimal_digits > 6) {
        reports.push_back({"", 0, "number format " + std::to_string(options.integer_digits) + "." +
                                      std::to_string(options.decimal_digits) + " is outside 1-6 . 4-6", true});
        return false;
    }
    Writer w(symbols, options, reports);
    return w.write(layer, text);
}

} // namespace kesto::gerber
