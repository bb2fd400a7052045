// The Excellon writer: a tool per drill size and plating, hits, G85 slots
// for lines and rout paths for arcs.
#include "engine/api/exchange.h"
#include "engine/model/text.h"

#include <cmath>
#include <cstdio>
#include <map>
#include <algorithm>
#include <cctype>

namespace kesto::excellon {

namespace {

struct ToolKey {
    Coord diameter;
    std::string plating;
    bool operator<(const ToolKey& o) const { return diameter != o.diameter ? diameter < o.diameter : plating < o.plating; }
};

std::string plating_of(const Layer& layer, const Feature& f)
{
    if (f.attributes == 0 || f.attributes > layer.attribute_sets.size()) return "plated";
    for (const AttributeValue& v : layer.attribute_sets[f.attributes - 1])
        if (v.name < layer.attribute_names.size() && layer.attribute_names[v.name] == ".drill" && !v.value.empty())
            return v.value;
    return "plated";
}

class Writer {
public:
    Writer(const WriteOptions& o, Reports& reports) : options_(o), reports_(reports)
    {
        unit_ = o.inch ? double(kNmPerInch) : double(kNmPerMm);
    }

    bool write(const Layer& layer, std::string& out)
    {
        ByTool by_tool;
        std::size_t skipped = 0;
        for (const Feature& f : layer.features) {
            const Symbol* s = f.symbol >= 0 && std::size_t(f.symbol) < layer.symbols.size() ? &layer.symbols[std::size_t(f.symbol)] : nullptr;
            const bool round = s && (s->family == SymbolFamily::Round || s->family == SymbolFamily::Hole);
            if (!round || f.kind == FeatureKind::Surface || f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) {
                ++skipped;
                continue;
            }
            if (f.polarity == Polarity::Negative) {
                ++skipped;
                continue;
            }
            by_tool[{Coord(std::llround(s->p[0])), plating_of(layer, f)}].push_back(&f);
        }
        if (skipped) {
            ok_ = false;
            reports_.push_back({"", 0, std::to_string(skipped) + " features are not drillable (not round, negative, surfaces or texts) and are left out", true});
        }
        out_ += "M48\n;Written by the Kesto CAM engine\n";
        char buffer[96];
        std::snprintf(buffer, sizeof buffer, ";FILE_FORMAT=%d:%d\n", options_.integer_digits, options_.decimal_digits);
        out_ += buffer;
        // Excellon names the zeros that stay: LZ keeps leading zeros (trailing ones go).
        out_ += options_.inch ? "INCH" : "METRIC";
        out_ += options_.zeroes_omitted == "trailing" ? ",LZ\n" : ",TZ\n";
        const auto tools = sequence(layer, by_tool);
        int number = 1;
        std::string last_plating;
        for (const auto& [key, features] : tools) {
            if (key->plating != last_plating) out_ += ";TYPE=" + upper(key->plating) + "\n";
            last_plating = key->plating;
            std::snprintf(buffer, sizeof buffer, "T%dC%.*f\n", number++, options_.inch ? 4 : 3, double(key->diameter) / unit_);
            out_ += buffer;
        }
        out_ += "%\nG90\nG05\n";
        number = 1;
        for (const auto& [key, features] : tools) {
            out_ += "T" + std::to_string(number++) + "\n";
            for (const Feature* f : *features) {
                feature(*f);
                if (options_.written) options_.written->fetch_add(1, std::memory_order_relaxed);
            }
        }
        out_ += "M30\n";
        out.swap(out_);
        return ok_;
    }

private:
    using ByTool = std::map<ToolKey, std::vector<const Feature*>>;
    using Tool = std::pair<const ToolKey*, const std::vector<const Feature*>*>;

    // The drilling sequence: the tools the host named, in its order, then the
    // others by size. A number naming no tool of the layer is reported.
    std::vector<Tool> sequence(const Layer& layer, const ByTool& by_tool)
    {
        std::vector<Tool> tools;
        std::vector<bool> taken(by_tool.size(), false);
        for (int number : options_.tool_order) {
            auto tool = std::find_if(layer.tools.begin(), layer.tools.end(), [&](const DrillTool& t) { return t.number == number; });
            if (tool == layer.tools.end()) {
                ok_ = false;
                reports_.push_back({"", 0, "the tool order names tool " + std::to_string(number) + ", which the layer's tool table does not have", true});
                continue;
            }
            const ToolKey key{tool->drill_size, lower(tool->type.empty() ? "plated" : tool->type)};
            auto found = by_tool.find(key);
            if (found == by_tool.end()) continue; // a tool without hits
            const auto index = std::size_t(std::distance(by_tool.begin(), found));
            if (taken[index]) continue;
            taken[index] = true;
            tools.push_back({&found->first, &found->second});
        }
        std::vector<Tool> rest;
        std::size_t index = 0;
        for (auto& [key, features] : by_tool)
            if (!taken[index++]) rest.push_back({&key, &features});
        if (options_.descending) std::stable_sort(rest.begin(), rest.end(), [](const Tool& a, const Tool& b) { return a.first->diameter > b.first->diameter; });
        tools.insert(tools.end(), rest.begin(), rest.end());
        return tools;
    }

    std::string coordinate(Coord nm)
    {
        const double value = double(nm) / unit_;
        char buffer[48];
        if (options_.zeroes_omitted == "none") {
            std::snprintf(buffer, sizeof buffer, "%.*f", options_.decimal_digits, value);
            return buffer;
        }
        const long long scaled = std::llround(value * std::pow(10.0, options_.decimal_digits));
        const int width = options_.integer_digits + options_.decimal_digits;
        if (std::llabs(scaled) >= std::pow(10.0, width)) {
            ok_ = false;
            if (reports_.size() < 1000) reports_.push_back({"", 0, "coordinate " + std::to_string(nm) + " nm does not fit the number format", true});
        }
        std::snprintf(buffer, sizeof buffer, "%0*lld", width, std::llabs(scaled));
        std::string digits = buffer;
        if (options_.zeroes_omitted == "trailing") {
            while (digits.size() > 1 && digits.back() == '0') digits.pop_back();
        } else {
            const std::size_t first = digits.find_first_not_of('0');
            digits = first == std::string::npos ? "0" : digits.substr(first);
        }
        return (scaled < 0 ? "-" : "") + digits;
    }

    Point scaled(const Point& p) const
    {
        const Point& o = options_.anchor;
        return {o.x + Coord(std::llround(double(p.x - o.x) * options_.x_scale)),
                o.y + Coord(std::llround(double(p.y - o.y) * options_.y_scale))};
    }

    std::string xy(const Point& p)
    {
        const Point q = scaled(p);
        return "X" + coordinate(q.x) + "Y" + coordinate(q.y);
    }

    void feature(const Feature& f)
    {
        if (f.kind == FeatureKind::Pad) {
            out_ += xy(f.a) + "\n";
        } else if (f.kind == FeatureKind::Line) {
            out_ += xy(f.a) + "G85" + xy(f.b) + "\n";
        } else if (f.kind == FeatureKind::Arc) {
            // A rout path; arcs over a half turn go in two pieces so the radius names one arc.
            out_ += "G00" + xy(f.a) + "\nM15\n";
            const double cx = double(f.c.x), cy = double(f.c.y);
            const double r = std::hypot(double(f.a.x) - cx, double(f.a.y) - cy);
            const double a0 = std::atan2(double(f.a.y) - cy, double(f.a.x) - cx);
            const double a1 = std::atan2(double(f.b.y) - cy, double(f.b.x) - cx);
            double sweep = f.cw ? a0 - a1 : a1 - a0;
            while (sweep <= 1e-9) sweep += 2 * M_PI;
            std::vector<Point> ends;
            if (sweep > M_PI - 1e-6) {
                const double mid = a0 + (f.cw ? -1 : 1) * sweep / 2;
                ends.push_back({Coord(std::llround(cx + r * std::cos(mid))), Coord(std::llround(cy + r * std::sin(mid)))});
            }
            ends.push_back(f.b);
            // The radius follows the scale; the arc stays circular only when both axes scale alike.
            for (const Point& e : ends) out_ += (f.cw ? "G02" : "G03") + xy(e) + "A" + coordinate(Coord(std::llround(r * options_.x_scale))) + "\n";
            out_ += "M16\nG05\n";
        }
    }

    const WriteOptions& options_;
    Reports& reports_;
    double unit_ = 0;
    std::string out_;
    bool ok_ = true;
};

} // namespace

bool write(const Layer& layer, const WriteOptions& options, std::string& text, Reports& reports)
{
    if (!(options.x_scale > 0) || !(options.y_scale > 0) ||
        (options.x_scale != options.y_scale && std::any_of(layer.features.begin(), layer.features.end(), [](const Feature& f) {
             return f.kind == FeatureKind::Arc;
         }))) {
        reports.push_back({"", 0, "scales must be positive, and equal on both axes when the layer has rout arcs", true});
        return false;
    }
    if (options.integer_digits < 1 || options.decimal_digits < 0 || options.integer_digits + options.decimal_digits > 12 ||
        (options.zeroes_omitted != "leading" && options.zeroes_omitted != "trailing" && options.zeroes_omitted != "none")) {
        reports.push_back({"", 0, "unusable Excellon number format or zero omission", true});
        return false;
    }
    Writer w(options, reports);
    return w.write(layer, text);
}

} // namespace kesto::excellon
