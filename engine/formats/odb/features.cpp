#include "engine/formats/odb/features.h"

#include "engine/formats/odb/symbols.h"
#include "engine/model/limits.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <unordered_map>

namespace kesto::odb {
namespace {

double nm_per_unit(Units units) { return units == Units::Inch ? kNmPerInch : kNmPerMm; }

bool read_double(std::string_view text, double& out)
{
    if (text.empty()) return false;
    if (text.front() == '+') text.remove_prefix(1);
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, out);
    return ec == std::errc() && ptr == end && std::isfinite(out);
}

template <class Int>
bool read_int(std::string_view text, Int& out)
{
    const char* end = text.data() + text.size();
    auto [ptr, ec] = std::from_chars(text.data(), end, out);
    return !text.empty() && ec == std::errc() && ptr == end;
}

bool is_index(std::string_view text)
{
    if (text.empty()) return false;
    for (char c : text)
        if (c < '0' || c > '9') return false;
    return true;
}

bool read_units(std::string_view text, Units& units)
{
    if (text == "INCH" || text == "inch") units = Units::Inch;
    else if (text == "MM" || text == "mm") units = Units::Mm;
    else return false;
    return true;
}

std::string_view trim(std::string_view s)
{
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t' || s.front() == '\r')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

// Splits on blanks; a field that opens with a quote runs to the record's last
// quote (texts may hold blanks).
void tokenize(std::string_view s, std::vector<std::string_view>& out)
{
    out.clear();
    size_t i = 0;
    while (i < s.size()) {
        while (i < s.size() && (s[i] == ' ' || s[i] == '\t' || s[i] == '\r')) ++i;
        if (i >= s.size()) break;
        size_t end;
        if (s[i] == '\'') {
            const size_t close = s.rfind('\'');
            end = close > i ? close + 1 : s.size();
        } else {
            end = i;
            while (end < s.size() && s[end] != ' ' && s[end] != '\t' && s[end] != '\r') ++end;
        }
        out.push_back(s.substr(i, end - i));
        i = end;
    }
}

std::string_view unquote(std::string_view s)
{
    if (s.size() >= 2 && s.front() == '\'' && s.back() == '\'') return s.substr(1, s.size() - 2);
    return s;
}

// Parses records into a layer; keeps what spans lines (an open surface) and
// the attribute sets already seen, so that features with equal sets share one.
class RecordReader {
public:
    RecordReader(Layer& layer, Units units) : layer_(layer) { set_units(units); }
    void set_units(Units units)
    {
        units_ = units;
        scale_ = nm_per_unit(units);
    }
    bool record(std::string_view line, std::string& error);
    bool in_surface() const { return in_surface_; }

private:
    bool fail(std::string& error, const std::string& what)
    {
        error = what;
        return false;
    }
    bool coord(std::string_view text, Coord& out) const
    {
        double v = 0;
        if (!read_double(text, v) || !within_length_limit(v * scale_)) return false;
        out = static_cast<Coord>(std::llround(v * scale_));
        return true;
    }
    bool point(size_t i, Point& p) const { return i + 1 < tok_.size() && coord(tok_[i], p.x) && coord(tok_[i + 1], p.y); }
    bool symbol(std::string_view text, std::int32_t& out);
    bool polarity(std::string_view text, Feature& f) const
    {
        if (text == "P") f.polarity = Polarity::Positive;
        else if (text == "N") f.polarity = Polarity::Negative;
        else return false;
        return true;
    }
    bool orientation(size_t& i, Feature& f) const;
    bool attributes(std::string_view tail, Feature& f, std::string& error);
    bool contour_line(std::string& error);

    Layer& layer_;
    Units units_ = Units::Inch;
    double scale_ = kNmPerInch;
    std::vector<std::string_view> tok_;
    std::unordered_map<std::string, std::uint32_t> sets_;
    bool in_surface_ = false;
    bool in_contour_ = false;
    Feature surface_feature_;
    Surface surface_;
};

bool RecordReader::symbol(std::string_view text, std::int32_t& out)
{
    if (is_index(text)) {
        std::uint32_t index = 0;
        if (!read_int(text, index) || index >= layer_.symbols.size()) return false;
        out = static_cast<std::int32_t>(index);
        return true;
    }
    if (text.empty()) return false;
    for (size_t i = 0; i < layer_.symbols.size(); ++i)
        if (layer_.symbols[i].name == text) {
            out = static_cast<std::int32_t>(i);
            return true;
        }
    layer_.symbols.push_back(parse_symbol_name(text, units_));
    out = static_cast<std::int32_t>(layer_.symbols.size() - 1);
    return true;
}

bool RecordReader::orientation(size_t& i, Feature& f) const
{
    int code = 0;
    if (i >= tok_.size() || !read_int(tok_[i], code) || code < 0 || code > 9) return false;
    ++i;
    if (code >= 8) {
        if (i >= tok_.size() || !read_double(tok_[i], f.angle)) return false;
        ++i;
        f.mirror = code == 9;
    } else {
        f.angle = (code % 4) * 90.0;
        f.mirror = code >= 4;
    }
    return true;
}

bool RecordReader::attributes(std::string_view tail, Feature& f, std::string& error)
{
    while (!tail.empty()) {
        const size_t semi = tail.find(';');
        const std::string_view section = trim(tail.substr(0, semi));
        tail = semi == std::string_view::npos ? std::string_view() : tail.substr(semi + 1);
        if (section.empty()) continue;
        if (section.compare(0, 3, "ID=") == 0) {
            if (!read_int(section.substr(3), f.id)) return fail(error, "bad feature ID '" + std::string(section) + "'");
            continue;
        }
        const std::string key(section);
        if (auto known = sets_.find(key); known != sets_.end()) {
            f.attributes = known->second;
            continue;
        }
        std::vector<AttributeValue> set;
        set.reserve(static_cast<size_t>(std::count(section.begin(), section.end(), ',')) + 1);
        std::string_view items = section;
        while (!items.empty()) {
            const size_t comma = items.find(',');
            const std::string_view item = trim(items.substr(0, comma));
            items = comma == std::string_view::npos ? std::string_view() : items.substr(comma + 1);
            if (item.empty()) continue;
            const size_t eq = item.find('=');
            const std::string_view name = trim(item.substr(0, eq));
            AttributeValue value;
            if (eq != std::string_view::npos) value.value = std::string(trim(item.substr(eq + 1)));
            if (is_index(name)) {
                if (!read_int(name, value.name) || value.name >= layer_.attribute_names.size())
                    return fail(error, "attribute @" + std::string(name) + " is not in the attribute table");
            } else {
                if (name.empty()) return fail(error, "empty attribute name");
                size_t n = 0;
                while (n < layer_.attribute_names.size() && layer_.attribute_names[n] != name) ++n;
                if (n == layer_.attribute_names.size()) layer_.attribute_names.emplace_back(name);
                value.name = static_cast<std::uint32_t>(n);
            }
            set.push_back(std::move(value));
        }
        layer_.attribute_sets.push_back(std::move(set));
        f.attributes = static_cast<std::uint32_t>(layer_.attribute_sets.size());
        sets_.emplace(key, f.attributes);
    }
    return true;
}

bool RecordReader::contour_line(std::string& error)
{
    const std::string_view kind = tok_[0];
    if (kind == "OB") {
        if (in_contour_) return fail(error, "OB inside an open contour");
        Contour c;
        if (tok_.size() < 4 || !point(1, c.start) || (tok_[3] != "I" && tok_[3] != "H"))
            return fail(error, "bad contour start (OB x y I|H)");
        c.island = tok_[3] == "I";
        surface_.contours.push_back(std::move(c));
        in_contour_ = true;
        return true;
    }
    if (kind == "OE") {
        if (!in_contour_) return fail(error, "OE without OB");
        surface_.contours.back().segments.shrink_to_fit();
        in_contour_ = false;
        return true;
    }
    if (!in_contour_) return fail(error, std::string(kind) + " outside a contour");
    Segment s;
    if (kind == "OS") {
        if (tok_.size() < 3 || !point(1, s.end)) return fail(error, "bad contour segment (OS x y)");
    } else {
        if (tok_.size() < 6 || !point(1, s.end) || !point(3, s.centre) || (tok_[5] != "Y" && tok_[5] != "N"))
            return fail(error, "bad contour arc (OC xe ye xc yc Y|N)");
        s.arc = true;
        s.cw = tok_[5] == "Y";
    }
    surface_.contours.back().segments.push_back(s);
    return true;
}

bool RecordReader::record(std::string_view line, std::string& error)
{
    line = trim(line);
    if (line.empty()) return true;
    const char lead = line[0];
    size_t semi;
    if (lead == 'T' || lead == 'B') {
        const size_t quote = line.rfind('\'');
        semi = line.find(';', quote == std::string_view::npos ? 0 : quote);
    } else {
        semi = line.find(';');
    }
    const std::string_view body = line.substr(0, semi);
    const std::string_view tail = semi == std::string_view::npos ? std::string_view() : line.substr(semi + 1);
    tokenize(body, tok_);
    if (tok_.empty()) return fail(error, "empty record");
    const std::string_view kind = tok_[0];

    if (in_surface_) {
        if (kind == "SE") {
            if (in_contour_) return fail(error, "SE inside an open contour");
            surface_feature_.body = static_cast<std::uint32_t>(layer_.surfaces.size());
            layer_.surfaces.push_back(std::move(surface_));
            surface_ = Surface();
            layer_.features.push_back(surface_feature_);
            in_surface_ = false;
            return true;
        }
        if (kind == "OB" || kind == "OS" || kind == "OC" || kind == "OE") return contour_line(error);
        return fail(error, "record '" + std::string(kind) + "' inside a surface (missing SE)");
    }

    Feature f;
    size_t i = 0;
    if (kind == "L") {
        f.kind = FeatureKind::Line;
        if (tok_.size() < 8 || !point(1, f.a) || !point(3, f.b) || !symbol(tok_[5], f.symbol) ||
            !polarity(tok_[6], f) || !read_int(tok_[7], f.dcode))
            return fail(error, "bad line record (L xs ys xe ye sym P|N dcode)");
    } else if (kind == "P") {
        f.kind = FeatureKind::Pad;
        if (!point(1, f.a)) return fail(error, "bad pad position");
        i = 3;
        if (i < tok_.size() && tok_[i] == "-1") {
            double factor = 0;
            if (i + 2 >= tok_.size() || !symbol(tok_[i + 1], f.symbol) || !read_double(tok_[i + 2], factor) ||
                !(factor > 0))
                return fail(error, "bad resized pad (-1 sym factor)");
            f.resize = static_cast<float>(factor);
            i += 3;
        } else if (i >= tok_.size() || !symbol(tok_[i++], f.symbol)) {
            return fail(error, "bad pad symbol");
        }
        if (i + 1 >= tok_.size() || !polarity(tok_[i], f) || !read_int(tok_[i + 1], f.dcode))
            return fail(error, "bad pad polarity or dcode");
        i += 2;
        // Old files end the record here: orientation 0.
        if (i < tok_.size() && !orientation(i, f)) return fail(error, "bad pad orientation");
    } else if (kind == "A") {
        f.kind = FeatureKind::Arc;
        if (tok_.size() < 11 || !point(1, f.a) || !point(3, f.b) || !point(5, f.c) || !symbol(tok_[7], f.symbol) ||
            !polarity(tok_[8], f) || !read_int(tok_[9], f.dcode) || (tok_[10] != "Y" && tok_[10] != "N"))
            return fail(error, "bad arc record (A xs ys xe ye xc yc sym P|N dcode Y|N)");
        f.cw = tok_[10] == "Y";
    } else if (kind == "T") {
        f.kind = FeatureKind::Text;
        Text t;
        i = 5;
        if (tok_.size() < 10 || !point(1, f.a) || !polarity(tok_[4], f) || !orientation(i, f) ||
            i + 3 >= tok_.size() || !coord(tok_[i], t.xsize) || !coord(tok_[i + 1], t.ysize) ||
            !read_double(tok_[i + 2], t.width_factor))
            return fail(error, "bad text record (T x y font P|N orient xsize ysize width 'text' version)");
        t.font = std::string(tok_[3]);
        t.text = std::string(unquote(tok_[i + 3]));
        if (i + 4 < tok_.size() && !read_int(tok_[i + 4], t.version)) return fail(error, "bad text version");
        f.body = static_cast<std::uint32_t>(layer_.texts.size());
        layer_.texts.push_back(std::move(t));
    } else if (kind == "B") {
        f.kind = FeatureKind::Barcode;
        Text t;
        i = 6;
        if (tok_.size() < 8 || !point(1, f.a) || !polarity(tok_[5], f) || !orientation(i, f) || i >= tok_.size())
            return fail(error, "bad barcode record (B x y barcode font P|N orient ... text)");
        t.font = std::string(tok_[4]);
        t.barcode = std::string(tok_[3]);
        for (size_t k = i; k + 1 < tok_.size(); ++k) (t.barcode += ' ') += tok_[k];
        t.text = std::string(unquote(tok_.back()));
        f.body = static_cast<std::uint32_t>(layer_.texts.size());
        layer_.texts.push_back(std::move(t));
    } else if (kind == "S") {
        f.kind = FeatureKind::Surface;
        if (tok_.size() < 2 || !polarity(tok_[1], f) || (tok_.size() > 2 && !read_int(tok_[2], f.dcode)))
            return fail(error, "bad surface record (S P|N dcode)");
        if (!attributes(tail, f, error)) return false;
        surface_feature_ = f;
        in_surface_ = true;
        return true;
    } else {
        return fail(error, "unknown record '" + std::string(kind) + "'");
    }
    if (!attributes(tail, f, error)) return false;
    layer_.features.push_back(f);
    return true;
}

// Numbers as files want them: lengths with enough decimals that reading them
// back gives the same nanometre, reals in their shortest exact form.
void append_length(std::string& out, Coord nm, Units units)
{
    char buf[64];
    if (units == Units::Mm) {
        if (nm < 0) out += '-';
        const std::uint64_t v = nm < 0 ? static_cast<std::uint64_t>(-nm) : static_cast<std::uint64_t>(nm);
        auto r = std::to_chars(buf, buf + sizeof buf, v / 1000000);
        out.append(buf, r.ptr);
        std::uint64_t frac = v % 1000000;
        if (frac) {
            int digits = 6;
            while (frac % 10 == 0) {
                frac /= 10;
                --digits;
            }
            char f[8];
            auto fr = std::to_chars(f, f + sizeof f, frac);
            out += '.';
            out.append(static_cast<size_t>(digits - (fr.ptr - f)), '0');
            out.append(f, fr.ptr);
        }
        return;
    }
    auto r = std::to_chars(buf, buf + sizeof buf, static_cast<double>(nm) / kNmPerInch, std::chars_format::fixed, 10);
    char* end = r.ptr;
    while (end[-1] == '0') --end;
    if (end[-1] == '.') --end;
    if (end - buf == 2 && buf[0] == '-' && buf[1] == '0') {
        out += '0';
        return;
    }
    out.append(buf, end);
}

template <class Real>
void append_real(std::string& out, Real v)
{
    char buf[64];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    out.append(buf, r.ptr);
}

void append_int(std::string& out, long long v)
{
    char buf[32];
    auto r = std::to_chars(buf, buf + sizeof buf, v);
    out.append(buf, r.ptr);
}

void append_point(std::string& out, const Point& p, Units units)
{
    out += ' ';
    append_length(out, p.x, units);
    out += ' ';
    append_length(out, p.y, units);
}

void append_orientation(std::string& out, const Feature& f)
{
    const double a = f.angle;
    if (a == 0 || a == 90 || a == 180 || a == 270) {
        append_int(out, static_cast<int>(a / 90) + (f.mirror ? 4 : 0));
        return;
    }
    out += f.mirror ? "9 " : "8 ";
    append_real(out, a);
}

// A feature without a valid symbol is written with `fallback` (a number the
// file's table gives "r0", or -1 for the name itself), so the file reads back.
void append_symbol(std::string& out, const Layer& layer, std::int32_t symbol, std::int32_t fallback)
{
    out += ' ';
    if (symbol >= 0 && static_cast<size_t>(symbol) < layer.symbols.size())
        append_int(out, symbol);
    else if (fallback >= 0)
        append_int(out, fallback);
    else
        out += "r0";
}

bool needs_symbol(const Feature& f)
{
    return f.kind == FeatureKind::Line || f.kind == FeatureKind::Pad || f.kind == FeatureKind::Arc;
}

std::string_view polarity_letter(const Feature& f) { return f.polarity == Polarity::Negative ? " N" : " P"; }

void append_record(std::string& out, const Layer& layer, const Feature& f, Units units, std::string_view attributes,
                   std::int32_t fallback)
{
    switch (f.kind) {
    case FeatureKind::Line:
        out += 'L';
        append_point(out, f.a, units);
        append_point(out, f.b, units);
        append_symbol(out, layer, f.symbol, fallback);
        out += polarity_letter(f);
        out += ' ';
        append_int(out, f.dcode < 0 ? 0 : f.dcode);
        break;
    case FeatureKind::Pad:
        out += 'P';
        append_point(out, f.a, units);
        if (f.resize > 0) {
            out += " -1";
            append_symbol(out, layer, f.symbol, fallback);
            out += ' ';
            append_real(out, f.resize);
        } else {
            append_symbol(out, layer, f.symbol, fallback);
        }
        out += polarity_letter(f);
        out += ' ';
        append_int(out, f.dcode < 0 ? 0 : f.dcode);
        out += ' ';
        append_orientation(out, f);
        break;
    case FeatureKind::Arc:
        out += 'A';
        append_point(out, f.a, units);
        append_point(out, f.b, units);
        append_point(out, f.c, units);
        append_symbol(out, layer, f.symbol, fallback);
        out += polarity_letter(f);
        out += ' ';
        append_int(out, f.dcode < 0 ? 0 : f.dcode);
        out += f.cw ? " Y" : " N";
        break;
    case FeatureKind::Text: {
        const Text& t = layer.texts.at(f.body);
        out += 'T';
        append_point(out, f.a, units);
        (out += ' ') += t.font;
        out += polarity_letter(f);
        out += ' ';
        append_orientation(out, f);
        out += ' ';
        append_length(out, t.xsize, units);
        out += ' ';
        append_length(out, t.ysize, units);
        out += ' ';
        append_real(out, t.width_factor);
        ((out += " '") += t.text) += "' ";
        append_int(out, t.version);
        break;
    }
    case FeatureKind::Barcode: {
        const Text& t = layer.texts.at(f.body);
        const size_t blank = t.barcode.find(' ');
        out += 'B';
        append_point(out, f.a, units);
        (out += ' ') += t.barcode.substr(0, blank);
        (out += ' ') += t.font;
        out += polarity_letter(f);
        out += ' ';
        append_orientation(out, f);
        if (blank != std::string::npos) out += t.barcode.substr(blank);
        ((out += " '") += t.text) += '\'';
        break;
    }
    case FeatureKind::Surface: {
        out += 'S';
        out += polarity_letter(f);
        out += ' ';
        append_int(out, f.dcode < 0 ? 0 : f.dcode);
        break;
    }
    }
    if (!attributes.empty() || f.id) {
        (out += ';') += attributes;
        if (f.id) {
            out += ";ID=";
            append_int(out, f.id);
        }
    }
    if (f.kind == FeatureKind::Surface) {
        for (const Contour& c : layer.surfaces.at(f.body).contours) {
            out += "\nOB";
            append_point(out, c.start, units);
            out += c.island ? " I" : " H";
            for (const Segment& s : c.segments) {
                out += s.arc ? "\nOC" : "\nOS";
                append_point(out, s.end, units);
                if (s.arc) {
                    append_point(out, s.centre, units);
                    out += s.cw ? " Y" : " N";
                }
            }
            out += "\nOE";
        }
        out += "\nSE";
    }
}

std::string raw_attributes(const Layer& layer, const Feature& f)
{
    std::string text;
    if (!f.attributes) return text;
    for (const AttributeValue& v : layer.attribute_sets.at(f.attributes - 1)) {
        if (!text.empty()) text += ',';
        append_int(text, v.name);
        if (!v.value.empty()) (text += '=') += v.value;
    }
    return text;
}

} // namespace

bool parse_feature_record(std::string_view record, Layer& layer, Units units, std::string* error)
{
    const size_t features = layer.features.size(), symbols = layer.symbols.size(),
                 names = layer.attribute_names.size(), sets = layer.attribute_sets.size(),
                 surfaces = layer.surfaces.size(), texts = layer.texts.size();
    RecordReader reader(layer, units);
    std::string what;
    bool ok = true;
    while (ok && !record.empty()) {
        const size_t nl = record.find('\n');
        ok = reader.record(record.substr(0, nl), what);
        record = nl == std::string_view::npos ? std::string_view() : record.substr(nl + 1);
    }
    if (ok && reader.in_surface()) {
        ok = false;
        what = "surface without SE";
    }
    if (ok && layer.features.size() == features) {
        ok = false;
        what = "no feature record";
    }
    if (!ok) {
        layer.features.resize(features);
        layer.symbols.resize(symbols);
        layer.attribute_names.resize(names);
        layer.attribute_sets.resize(sets);
        layer.surfaces.resize(surfaces);
        layer.texts.resize(texts);
        if (error) *error = what;
    }
    return ok;
}

std::string write_feature_record(const Layer& layer, const Feature& feature, Units units)
{
    std::string out;
    append_record(out, layer, feature, units, raw_attributes(layer, feature), -1);
    return out;
}

bool read_features_file(std::string_view text, Layer& layer, Units default_units, std::string& error)
{
    // Counts and table numbers from the file are trusted only as far as the
    // file's size could hold them.
    const size_t plausible = text.size() / 4 + 16;
    layer.units = default_units;
    RecordReader reader(layer, default_units);
    size_t line_no = 0;
    std::string what;
    auto fail = [&](const std::string& message) {
        error = "line " + std::to_string(line_no) + ": " + message;
        return false;
    };
    while (!text.empty()) {
        const size_t nl = text.find('\n');
        const std::string_view line = trim(text.substr(0, nl));
        text = nl == std::string_view::npos ? std::string_view() : text.substr(nl + 1);
        ++line_no;
        if (line.empty() || line[0] == '#') continue;
        const char lead = line[0];
        if (lead == '$' || lead == '@' || lead == '&') {
            // An attribute text may be empty: "&5" alone.
            const size_t blank = std::min(line.find(' '), line.size());
            std::uint32_t index = 0;
            if (!read_int(line.substr(1, blank - 1), index) || index > plausible)
                return fail("bad table entry '" + std::string(line) + "'");
            std::string_view value = trim(line.substr(blank));
            if (lead == '$') {
                Units units = layer.units;
                bool marked = false;
                const size_t mark = value.rfind(' ');
                if (mark != std::string_view::npos) {
                    const std::string_view marker = value.substr(mark + 1);
                    if (marker == "I" || marker == "M") {
                        units = marker == "I" ? Units::Inch : Units::Mm;
                        marked = true;
                        value = trim(value.substr(0, mark));
                    }
                }
                if (layer.symbols.size() <= index) layer.symbols.resize(index + 1);
                layer.symbols[index] = parse_symbol_name(value, units);
                layer.symbols[index].units_marked = marked;
            } else {
                auto& table = lead == '@' ? layer.attribute_names : layer.attribute_texts;
                if (table.size() <= index) table.resize(index + 1);
                table[index] = std::string(value);
            }
            continue;
        }
        if (line.compare(0, 6, "UNITS=") == 0 || line.compare(0, 2, "U ") == 0) {
            if (!read_units(trim(line.substr(line[1] == ' ' ? 2 : 6)), layer.units)) return fail("bad units");
            reader.set_units(layer.units);
            continue;
        }
        if (line.compare(0, 3, "ID=") == 0) {
            if (!read_int(line.substr(3), layer.id)) return fail("bad ID");
            continue;
        }
        if (lead == 'F' && line.size() > 1 && line[1] == ' ') {
            size_t count = 0;
            if (read_int(trim(line.substr(2)), count)) layer.features.reserve(std::min(count, plausible / 4));
            continue;
        }
        if (!reader.record(line, what)) return fail(what);
    }
    if (reader.in_surface()) return fail("surface without SE at the end of the file");
    // Tables grew by doubling while read; a job holds many layers for long.
    layer.attribute_sets.shrink_to_fit();
    layer.surfaces.shrink_to_fit();
    layer.texts.shrink_to_fit();
    layer.symbols.shrink_to_fit();
    return true;
}

void resolve_attribute_texts(Layer& layer, const TextAttributes& text_attributes)
{
    std::vector<char> is_text(layer.attribute_names.size());
    for (size_t i = 0; i < is_text.size(); ++i) is_text[i] = text_attributes.count(layer.attribute_names[i]) > 0;
    for (auto& set : layer.attribute_sets)
        for (AttributeValue& v : set) {
            std::uint32_t index = 0;
            if (v.name < is_text.size() && is_text[v.name] && read_int(std::string_view(v.value), index) &&
                index < layer.attribute_texts.size())
                v.value = layer.attribute_texts[index];
        }
    layer.attribute_texts.clear();
    layer.attribute_texts.shrink_to_fit();
}

std::string write_features_file(const Layer& layer, const TextAttributes& text_attributes)
{
    // Every set is rendered once; text values go to the &n table.
    std::vector<char> is_text(layer.attribute_names.size());
    for (size_t i = 0; i < is_text.size(); ++i) is_text[i] = text_attributes.count(layer.attribute_names[i]) > 0;
    std::vector<std::string> texts;
    std::unordered_map<std::string, size_t> text_index;
    std::vector<std::string> rendered(layer.attribute_sets.size());
    for (size_t s = 0; s < layer.attribute_sets.size(); ++s) {
        std::string& out = rendered[s];
        for (const AttributeValue& v : layer.attribute_sets[s]) {
            if (!out.empty()) out += ',';
            append_int(out, v.name);
            if (v.name < is_text.size() && is_text[v.name]) {
                auto [it, added] = text_index.emplace(v.value, texts.size());
                if (added) texts.push_back(v.value);
                out += '=';
                append_int(out, static_cast<long long>(it->second));
            } else if (!v.value.empty()) {
                (out += '=') += v.value;
            }
        }
    }

    const Units units = layer.units;
    std::string out;
    out.reserve(layer.features.size() * 48 + 1024);
    out += units == Units::Inch ? "UNITS=INCH\n" : "UNITS=MM\n";
    if (layer.id) {
        out += "ID=";
        append_int(out, layer.id);
        out += '\n';
    }
    out += "#\n#Num Features\n#\nF ";
    append_int(out, static_cast<long long>(layer.features.size()));
    out += "\n\n";
    const bool orphans = std::any_of(layer.features.begin(), layer.features.end(), [&layer](const Feature& f) {
        return needs_symbol(f) && (f.symbol < 0 || static_cast<size_t>(f.symbol) >= layer.symbols.size());
    });
    const std::int32_t fallback = static_cast<std::int32_t>(layer.symbols.size());
    if (!layer.symbols.empty() || orphans) {
        out += "#\n#Feature symbol names\n#\n";
        for (size_t i = 0; i < layer.symbols.size(); ++i) {
            const Symbol& s = layer.symbols[i];
            out += '$';
            append_int(out, static_cast<long long>(i));
            out += ' ';
            out += s.name.empty() ? standard_symbol_name(s, s.units) : s.name;
            if (s.units_marked || s.units != units) out += s.units == Units::Inch ? " I" : " M";
            out += '\n';
        }
        if (orphans) {
            out += '$';
            append_int(out, fallback);
            out += " r0\n";
        }
        out += '\n';
    }
    if (!layer.attribute_names.empty()) {
        out += "#\n#Feature attribute names\n#\n";
        for (size_t i = 0; i < layer.attribute_names.size(); ++i) {
            out += '@';
            append_int(out, static_cast<long long>(i));
            (out += ' ') += layer.attribute_names[i];
            out += '\n';
        }
        out += '\n';
    }
    if (!texts.empty()) {
        out += "#\n#Feature attribute text strings\n#\n";
        for (size_t i = 0; i < texts.size(); ++i) {
            out += '&';
            append_int(out, static_cast<long long>(i));
            (out += ' ') += texts[i];
            out += '\n';
        }
        out += '\n';
    }
    out += "#\n#Layer features\n#\n";
    static const std::string none;
    for (const Feature& f : layer.features) {
        append_record(out, layer, f, units, f.attributes ? rendered.at(f.attributes - 1) : none, fallback);
        out += '\n';
    }
    return out;
}

} // namespace kesto::odb
