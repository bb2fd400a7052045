#include "engine/drc/findings.h"

#include "engine/api/units.h"
#include "engine/drc/feature_shapes.h"

#include <algorithm>
#include <climits>
#include <cmath>

namespace kesto::drc {

using KESTO::API::check_info;

namespace {

int feature_type_bit(FeatureKind k)
{
    switch (k) {
    case FeatureKind::Line: return 1;
    case FeatureKind::Pad: return 2;
    case FeatureKind::Arc: return 4;
    case FeatureKind::Surface: return 8;
    case FeatureKind::Text: return 16;
    case FeatureKind::Barcode: return 32;
    }
    return 0;
}

std::int32_t clamp32(Coord v) { return std::int32_t(std::clamp<Coord>(v, INT32_MIN, INT32_MAX)); }

} // namespace

KESTO::API::featureInfo describe_feature(const Layer& layer, const std::string& layer_name, std::uint32_t index,
                                         double nm_per_unit)
{
    auto unit = [nm_per_unit](Coord v) { return double(v) / nm_per_unit; };
    const Feature& f = layer.features[index];
    KESTO::API::featureInfo info;
    info.layername = layer_name;
    info.feature_index = int(index);
    info.type = feature_type_bit(f.kind);
    info.polarity = f.polarity == Polarity::Positive ? "positive" : "negative";
    info.angle = f.angle;
    info.mirror = f.mirror;
    const Symbol* s = symbol_of(layer, f);
    if (s) {
        info.symbolname = s->name;
        info.D = unit(Coord(std::llround(s->p[0])));
        const auto e = symbol_extent(*s, f.angle);
        info.xsize = unit(e[0]);
        info.ysize = unit(e[1]);
        if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) info.linewidth = int(std::llround(s->p[0]));
    }
    if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) {
        info.XS = unit(f.a.x), info.YS = unit(f.a.y), info.XE = unit(f.b.x), info.YE = unit(f.b.y);
        if (f.kind == FeatureKind::Arc) {
            info.XC = unit(f.c.x), info.YC = unit(f.c.y);
            info.CW = f.cw ? "Y" : "N";
        }
    } else {
        info.X = unit(f.a.x), info.Y = unit(f.a.y);
    }
    if (f.kind == FeatureKind::Text && f.body < layer.texts.size()) {
        info.text = info.realtext = layer.texts[f.body].text;
        info.font = layer.texts[f.body].font;
    }
    if (f.kind == FeatureKind::Surface && f.body < layer.surfaces.size())
        for (const Contour& c : layer.surfaces[f.body].contours) ++(c.island ? info.Icnt : info.Hcnt);
    if (f.attributes > 0 && f.attributes <= layer.attribute_sets.size())
        for (const auto& v : layer.attribute_sets[f.attributes - 1])
            if (v.name < layer.attribute_names.size()) info.attributes.emplace_back(layer.attribute_names[v.name], v.value);
    return info;
}

int level_of(const LevelLimits& limits, int item, Coord value, int unlimited)
{
    auto it = limits.find(item);
    if (it == limits.end()) return unlimited;
    for (int level = 0; level < 3; ++level)
        if (value <= it->second[std::size_t(level)]) return level + 1;
    return 4;
}

Marker segment_marker(Point a, Point b, Coord distance) { return {KESTO::API::MarkerSegment, {a.x, a.y, b.x, b.y, distance}}; }
Marker circle_marker(Point c, Coord d) { return {KESTO::API::MarkerCircle, {c.x, c.y, d, d}}; }
Marker line_marker(Point a, Point b, Coord w) { return {KESTO::API::MarkerLine, {a.x, a.y, b.x, b.y, w}}; }
Marker rect_marker(const Box& b)
{
    return {KESTO::API::MarkerRect, {(b.xmin + b.xmax) / 2, (b.ymin + b.ymax) / 2, b.xmax - b.xmin, b.ymax - b.ymin}};
}
Marker point_marker(Point p) { return {KESTO::API::MarkerPoint, {p.x, p.y}}; }

void Findings::add(int item, Coord value, const Marker& marker, std::initializer_list<FeatureRef> features)
{
    check_info info;
    info.shape = marker.shape;
    info.measure_value = clamp32(value);
    info.sort_value = info.measure_value;
    info.layer_for_analysis = layer_;
    info.level = level_of(limits_, item, value);
    const double nm_per_unit = KESTO::API::working_unit_is_inch() ? 25400000.0 : 1e6;
    for (Coord n : marker.numbers) {
        info.geometry.push_back(double(n) / nm_per_unit);
        info.values.push_back(n);
    }
    info.values.push_back(value);
    for (const FeatureRef& ref : features) {
        info.features.push_back(describe_feature(*ref.layer, *ref.layer_name, ref.index, nm_per_unit));
        if (std::find(info.layer_names.begin(), info.layer_names.end(), *ref.layer_name) == info.layer_names.end())
            info.layer_names.push_back(*ref.layer_name);
        if (!info.features.back().symbolname.empty()) info.symbol_names.push_back(info.features.back().symbolname);
    }
    if (info.layer_names.empty()) info.layer_names.push_back(layer_);
    items_[item][std::size_t(info.level - 1)].push_back(std::move(info));
    ++count_;
}

std::map<int, KESTO::API::signal_check_result> Findings::take(bool sorted)
{
    std::map<int, KESTO::API::signal_check_result> out;
    for (auto& [item, levels] : items_) {
        KESTO::API::signal_check_result& r = out[item];
        r.item = item;
        int number = 0;
        for (std::size_t l = 0; l < 4; ++l) {
            if (sorted)
                std::stable_sort(levels[l].begin(), levels[l].end(),
                                 [](const check_info& a, const check_info& b) { return a.measure_value < b.measure_value; });
            for (check_info& info : levels[l]) info.disp_num = ++number;
            r.counts[l] = std::uint32_t(levels[l].size());
            r.lv[l] = std::move(levels[l]);
        }
    }
    items_.clear();
    count_ = 0;
    return out;
}

} // namespace kesto::drc
