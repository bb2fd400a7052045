#include "engine/select/filter.h"

#include "engine/api/symbol_names.h"
#include "engine/api/units.h"

#include <unordered_map>

namespace kesto::select {

AttributeTest parse_attribute_test(const std::string& text)
{
    AttributeTest test;
    const size_t eq = text.find('=');
    test.name = text.substr(0, eq);
    if (eq != std::string::npos) {
        test.any_value = false;
        test.value = text.substr(eq + 1);
    }
    return test;
}

int type_bit(FeatureKind kind)
{
    switch (kind) {
    case FeatureKind::Line: return kLine;
    case FeatureKind::Pad: return kPad;
    case FeatureKind::Surface: return kSurface;
    case FeatureKind::Arc: return kArc;
    case FeatureKind::Text: return kText;
    case FeatureKind::Barcode: return kBarcode;
    }
    return 0;
}

Coord line_width(const Layer& layer, const Feature& feature)
{
    if (feature.kind != FeatureKind::Line && feature.kind != FeatureKind::Arc) return 0;
    if (feature.symbol < 0 || static_cast<size_t>(feature.symbol) >= layer.symbols.size()) return 0;
    const Symbol& s = layer.symbols[static_cast<size_t>(feature.symbol)];
    return static_cast<Coord>(s.p[0]);
}

bool glob_match(const std::string& pattern, const std::string& text)
{
    // Iterative matching with one back-tracking point for the last '*'.
    size_t p = 0, t = 0, star = std::string::npos, resume = 0;
    while (t < text.size()) {
        if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
            ++p;
            ++t;
        } else if (p < pattern.size() && pattern[p] == '*') {
            star = p++;
            resume = t;
        } else if (star != std::string::npos) {
            p = star + 1;
            t = ++resume;
        } else {
            return false;
        }
    }
    while (p < pattern.size() && pattern[p] == '*') ++p;
    return p == pattern.size();
}

namespace {

bool has_attribute(const Layer& layer, const Feature& feature, const AttributeTest& test)
{
    if (feature.attributes == 0 || feature.attributes > layer.attribute_sets.size()) return false;
    for (const AttributeValue& a : layer.attribute_sets[feature.attributes - 1]) {
        if (a.name >= layer.attribute_names.size() || layer.attribute_names[a.name] != test.name) continue;
        if (test.any_value || a.value == test.value) return true;
    }
    return false;
}

// The symbol's name as the host writes it. A standard name and its unit fix
// the sizes, so the conversion is remembered by name (filters run per feature).
const std::string& host_name(const Symbol& s)
{
    static thread_local std::unordered_map<std::string, std::string> known[2][2];
    auto& names = known[s.units == Units::Inch][KESTO::API::working_unit() == Units::Inch];
    auto it = names.find(s.name);
    if (it != names.end()) return it->second;
    if (names.size() > 100000) names.clear();
    return names.emplace(s.name, KESTO::API::working_symbol_name(s)).first->second;
}

bool symbol_matches(const Layer& layer, const Feature& feature, const std::vector<std::string>& patterns)
{
    if (feature.symbol < 0 || static_cast<size_t>(feature.symbol) >= layer.symbols.size()) return false;
    const std::string& name = host_name(layer.symbols[static_cast<size_t>(feature.symbol)]);
    for (const auto& pattern : patterns)
        if (glob_match(pattern, name)) return true;
    return false;
}

} // namespace

bool passes(const Layer& layer, const Feature& feature, const Filter& filter,
            const std::function<bool(const Feature&)>& inside_profile)
{
    if (!(filter.types & type_bit(feature.kind))) return false;
    if (filter.within_selection && !feature.selected) return false;
    if (filter.dcode >= 0 && feature.dcode != filter.dcode) return false;
    if (filter.by_symbol && !symbol_matches(layer, feature, filter.symbols)) return false;
    if (feature.kind == FeatureKind::Line || feature.kind == FeatureKind::Arc) {
        const Coord width = line_width(layer, feature);
        if (width < filter.min_width) return false;
        if (filter.max_width > 0 && width > filter.max_width) return false;
    }
    if (!filter.attributes.empty()) {
        bool any = false, all = true;
        for (const auto& test : filter.attributes) {
            const bool has = has_attribute(layer, feature, test);
            any = any || has;
            all = all && has;
        }
        if (filter.any_attribute ? !any : !all) return false;
    }
    if (filter.profile != 0 && inside_profile) {
        const bool inside = inside_profile(feature);
        if ((filter.profile == 1) != inside) return false;
    }
    return true;
}

} // namespace kesto::select
