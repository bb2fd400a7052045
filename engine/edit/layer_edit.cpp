#include "engine/edit/layer_edit.h"

#include <algorithm>

namespace kesto::edit {

std::int32_t symbol_index(Layer& layer, const Symbol& symbol)
{
    for (size_t i = 0; i < layer.symbols.size(); ++i)
        if (layer.symbols[i].name == symbol.name) return static_cast<std::int32_t>(i);
    layer.symbols.push_back(symbol);
    return static_cast<std::int32_t>(layer.symbols.size() - 1);
}

std::uint32_t attribute_name_index(Layer& layer, const std::string& name)
{
    for (size_t i = 0; i < layer.attribute_names.size(); ++i)
        if (layer.attribute_names[i] == name) return static_cast<std::uint32_t>(i);
    layer.attribute_names.push_back(name);
    return static_cast<std::uint32_t>(layer.attribute_names.size() - 1);
}

std::map<std::string, std::string> attributes_of(const Layer& layer, const Feature& feature)
{
    std::map<std::string, std::string> out;
    if (feature.attributes == 0 || feature.attributes > layer.attribute_sets.size()) return out;
    for (const AttributeValue& a : layer.attribute_sets[feature.attributes - 1])
        if (a.name < layer.attribute_names.size()) out[layer.attribute_names[a.name]] = a.value;
    return out;
}

void set_attributes(Layer& layer, Feature& feature, const std::map<std::string, std::string>& attributes)
{
    if (attributes.empty()) {
        feature.attributes = 0;
        return;
    }
    std::vector<AttributeValue> set;
    for (const auto& entry : attributes) set.push_back({attribute_name_index(layer, entry.first), entry.second});
    // Features often share one set: reuse an equal one rather than grow the pool.
    for (size_t i = 0; i < layer.attribute_sets.size(); ++i) {
        const auto& other = layer.attribute_sets[i];
        if (other.size() == set.size() &&
            std::equal(other.begin(), other.end(), set.begin(), [](const AttributeValue& a, const AttributeValue& b) {
                return a.name == b.name && a.value == b.value;
            })) {
            feature.attributes = static_cast<std::uint32_t>(i + 1);
            return;
        }
    }
    layer.attribute_sets.push_back(std::move(set));
    feature.attributes = static_cast<std::uint32_t>(layer.attribute_sets.size());
}

size_t copy_feature(const Layer& from, const Feature& feature, Layer& to)
{
    Feature copy = feature;
    copy.selected = copy.highlighted = false;
    if (feature.symbol >= 0 && static_cast<size_t>(feature.symbol) < from.symbols.size())
        copy.symbol = &from == &to ? feature.symbol : symbol_index(to, from.symbols[static_cast<size_t>(feature.symbol)]);
    if (feature.kind == FeatureKind::Surface && feature.body < from.surfaces.size()) {
        Surface body = from.surfaces[feature.body];
        to.surfaces.push_back(std::move(body));
        copy.body = static_cast<std::uint32_t>(to.surfaces.size() - 1);
    }
    if ((feature.kind == FeatureKind::Text || feature.kind == FeatureKind::Barcode) && feature.body < from.texts.size()) {
        Text body = from.texts[feature.body];
        to.texts.push_back(std::move(body));
        copy.body = static_cast<std::uint32_t>(to.texts.size() - 1);
    }
    if (&from != &to) {
        copy.attributes = 0;
        to.features.push_back(copy);
        set_attributes(to, to.features.back(), attributes_of(from, feature));
    } else {
        to.features.push_back(copy);
    }
    return to.features.size() - 1;
}

void expose_negative(Layer& layer, Surface field, size_t first)
{
    first = std::min(first, layer.features.size());
    for (size_t i = first; i < layer.features.size(); ++i) {
        Feature& f = layer.features[i];
        f.polarity = f.polarity == Polarity::Positive ? Polarity::Negative : Polarity::Positive;
    }
    Feature dark;
    dark.kind = FeatureKind::Surface;
    dark.body = std::uint32_t(layer.surfaces.size());
    layer.surfaces.push_back(std::move(field));
    layer.features.insert(layer.features.begin() + std::ptrdiff_t(first), dark);
}

size_t count_selected(const Layer& layer)
{
    return static_cast<size_t>(std::count_if(layer.features.begin(), layer.features.end(), [](const Feature& f) { return f.selected; }));
}

size_t delete_selected(Layer& layer)
{
    const size_t before = layer.features.size();
    layer.features.erase(std::remove_if(layer.features.begin(), layer.features.end(), [](const Feature& f) { return f.selected; }),
                         layer.features.end());
    // Bodies no feature points at any more are left in their pools; writers
    // only write bodies of existing features.
    return before - layer.features.size();
}

size_t place_selected(Layer& layer, const Placement& p)
{
    size_t n = 0;
    for (Feature& f : layer.features)
        if (f.selected) {
            place(layer, f, p);
            ++n;
        }
    return n;
}

size_t copy_selected(Layer& from, Layer& to, const Placement& p, bool invert)
{
    // Indices first: appending to `to` may move `from`'s features when they are one layer.
    std::vector<size_t> picked;
    for (size_t i = 0; i < from.features.size(); ++i)
        if (from.features[i].selected) picked.push_back(i);
    for (size_t i : picked) {
        const size_t at = copy_feature(from, from.features[i], to);
        Feature& copy = to.features[at];
        place(to, copy, p);
        if (invert) copy.polarity = copy.polarity == Polarity::Positive ? Polarity::Negative : Polarity::Positive;
    }
    return picked.size();
}

size_t set_polarity_selected(Layer& layer, PolarityChange change)
{
    size_t n = 0;
    for (Feature& f : layer.features) {
        if (!f.selected) continue;
        ++n;
        switch (change) {
        case PolarityChange::Positive: f.polarity = Polarity::Positive; break;
        case PolarityChange::Negative: f.polarity = Polarity::Negative; break;
        case PolarityChange::Invert:
            f.polarity = f.polarity == Polarity::Positive ? Polarity::Negative : Polarity::Positive;
            break;
        }
    }
    return n;
}

size_t change_attributes_selected(Layer& layer, AttributeChange change, const std::map<std::string, std::string>& attributes)
{
    size_t n = 0;
    for (Feature& f : layer.features) {
        if (!f.selected) continue;
        ++n;
        std::map<std::string, std::string> now;
        switch (change) {
        case AttributeChange::Add:
            now = attributes_of(layer, f);
            for (const auto& a : attributes) now[a.first] = a.second;
            break;
        case AttributeChange::Replace: now = attributes; break;
        case AttributeChange::Remove:
            if (!attributes.empty()) {
                now = attributes_of(layer, f);
                for (const auto& a : attributes) now.erase(a.first);
            }
            break;
        }
        set_attributes(layer, f, now);
    }
    return n;
}

size_t reorder_selected(Layer& layer, bool to_end)
{
    auto selected = [](const Feature& f) { return f.selected; };
    auto unselected = [](const Feature& f) { return !f.selected; };
    const size_t n = count_selected(layer);
    if (to_end)
        std::stable_partition(layer.features.begin(), layer.features.end(), unselected);
    else
        std::stable_partition(layer.features.begin(), layer.features.end(), selected);
    return n;
}

size_t reverse_selection(Layer& layer)
{
    for (Feature& f : layer.features) f.selected = !f.selected;
    return count_selected(layer);
}

size_t clear_selection(Layer& layer)
{
    size_t n = 0;
    for (Feature& f : layer.features) {
        n += f.selected;
        f.selected = false;
    }
    return n;
}

size_t clear_highlight(Layer& layer)
{
    size_t n = 0;
    for (Feature& f : layer.features) {
        n += f.highlighted;
        f.highlighted = false;
    }
    return n;
}

} // namespace kesto::edit
