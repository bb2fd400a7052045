#include "engine/api/pick.h"

#include "engine/api/display.h"
#include "engine/api/selection.h"
#include "engine/api/symbol_names.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/features.h"
#include "engine/geometry/hit.h"
#include "engine/select/describe.h"
#include "engine/select/filter.h"
#include "engine/select/workspace.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace KESTO {
namespace API {
namespace {

using kesto::Feature;
using kesto::Layer;
using kesto::select::LayerView;

kesto::Point at(const point& p) { return kesto::Point{p.ix, p.iy}; }

kesto::geom::Path path_of(const Points& points)
{
    kesto::geom::Path path;
    for (const auto& corner : area_corners(points)) path.push_back({corner.first, corner.second});
    return path;
}

bool matches(const Layer& layer, const Feature& f, const featureInfo& pattern)
{
    if (pattern.type != 0 && !(pattern.type & kesto::select::type_bit(f.kind))) return false;
    if (!pattern.symbolname.empty()) {
        if (f.symbol < 0 || static_cast<size_t>(f.symbol) >= layer.symbols.size()) return false;
        if (!kesto::select::glob_match(pattern.symbolname, working_symbol_name(layer.symbols[static_cast<size_t>(f.symbol)])))
            return false;
    }
    return true;
}

// Positions the points catch, in drawing order, that pass the filter and the
// pattern. A click keeps only the topmost unless `all`.
std::vector<size_t> caught(const LayerView& v, const Points& points, double margin, const featureInfo& pattern,
                           bool all)
{
    std::vector<size_t> hits;
    if (points.empty()) return hits;
    const Selection options = get_selection();
    if (points.size() == 1) {
        const kesto::Coord m = std::max<kesto::Coord>(0, from_working_unit(margin));
        hits = kesto::geom::features_at(*v.layer, *v.index, at(points[0]), m, *v.context);
    } else {
        hits = kesto::geom::features_in_polygon(
            *v.layer, *v.index, path_of(points),
            options.inside ? kesto::geom::PolygonTest::Inside : kesto::geom::PolygonTest::Touching, *v.context);
        if (options.exclude) {
            std::vector<size_t> rest;
            size_t next = 0;
            std::sort(hits.begin(), hits.end());
            for (size_t i = 0; i < v.layer->features.size(); ++i) {
                if (next < hits.size() && hits[next] == i) {
                    ++next;
                    continue;
                }
                rest.push_back(i);
            }
            hits.swap(rest);
        }
    }
    std::sort(hits.begin(), hits.end());
    const kesto::select::Filter filter = current_filter();
    std::vector<size_t> kept;
    for (size_t i : hits) {
        const Feature& f = v.layer->features[i];
        if (matches(*v.layer, f, pattern) && kesto::select::passes(*v.layer, f, filter)) kept.push_back(i);
    }
    if (points.size() == 1 && !all && kept.size() > 1) kept.erase(kept.begin(), kept.end() - 1);
    return kept;
}

enum class Mark { Select, Unselect, Highlight, Unhighlight, Clear };

size_t mark(Layer& layer, const std::vector<size_t>& positions, Mark how)
{
    for (size_t i : positions) {
        Feature& f = layer.features[i];
        switch (how) {
        case Mark::Select: f.selected = true; break;
        case Mark::Unselect: f.selected = false; break;
        case Mark::Highlight: f.highlighted = true; break;
        case Mark::Unhighlight: f.highlighted = false; break;
        case Mark::Clear: f.selected = f.highlighted = false; break;
        }
    }
    return positions.size();
}

std::string pick(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                 const featureInfo& pattern, double margin, bool clear, bool all, Mark how)
{
    LayerView v;
    if (!kesto::select::view(job, step, layer, v)) return "0 features";
    const Selection options = get_selection();
    if (clear || options.is_clear) {
        if (how == Mark::Highlight) kesto::edit::clear_highlight(*v.layer);
        if (how == Mark::Select || how == Mark::Unselect) kesto::edit::clear_selection(*v.layer);
    } else if (how == Mark::Select && options.sels == 0) {
        kesto::edit::clear_selection(*v.layer); // what is caught replaces the selection
    }
    const size_t n = mark(*v.layer, caught(v, points, margin, pattern, all), how);
    const char* verb = how == Mark::Select      ? " selected"
                       : how == Mark::Unselect  ? " unselected"
                       : how == Mark::Highlight ? " highlighted"
                                                : " cleared";
    return std::to_string(n) + (n == 1 ? " feature" : " features") + verb;
}

// The topmost caught feature of any type, or none.
bool topmost(const LayerView& v, const Points& points, int type_mask, size_t& out)
{
    featureInfo any;
    auto hits = caught(v, points, 0, any, true);
    for (auto it = hits.rbegin(); it != hits.rend(); ++it)
        if (type_mask & kesto::select::type_bit(v.layer->features[*it].kind)) {
            out = *it;
            return true;
        }
    return false;
}

} // namespace

std::vector<std::pair<long long, long long>> area_corners(const Points& points)
{
    if (points.size() == 2) {
        const long long x0 = std::min(points[0].ix, points[1].ix), x1 = std::max(points[0].ix, points[1].ix);
        const long long y0 = std::min(points[0].iy, points[1].iy), y1 = std::max(points[0].iy, points[1].iy);
        return {{x0, y0}, {x1, y0}, {x1, y1}, {x0, y1}};
    }
    std::vector<std::pair<long long, long long>> corners;
    for (const point& p : points) corners.emplace_back(p.ix, p.iy);
    return corners;
}

std::string select_multi_features(const std::string& job, const std::string& step, const std::string& layer,
                                  const Points& points, featureInfo& pattern, double margin, bool clear, bool all)
{
    return pick(job, step, layer, points, pattern, margin, clear, all, Mark::Select);
}

std::string select_features(const std::string& job, const std::string& step, const std::string& layer,
                            const Points& points, featureInfo& pattern, double margin, bool clear)
{
    return pick(job, step, layer, points, pattern, margin, clear, false, Mark::Select);
}

void unselect_multi_features(const std::string& job, const std::string& step, const std::string& layer,
                             const Points& points, featureInfo& pattern, double margin, bool)
{
    pick(job, step, layer, points, pattern, margin, false, true, Mark::Unselect);
}

void unselect_features(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                       featureInfo& pattern, double margin)
{
    pick(job, step, layer, points, pattern, margin, false, false, Mark::Unselect);
}

void highlight_features(const std::string& job, const std::string& step, const std::string& layer,
                        const Points& points, featureInfo& pattern, double margin, bool on, bool clear)
{
    pick(job, step, layer, points, pattern, margin, clear, false, on ? Mark::Highlight : Mark::Unhighlight);
}

void highlight_multi_features(const std::string& job, const std::string& step, const std::string& layer,
                              const Points& points, featureInfo& pattern, double margin, bool on, bool clear)
{
    pick(job, step, layer, points, pattern, margin, clear, true, on ? Mark::Highlight : Mark::Unhighlight);
}

void clear_clicked_feature_status(const std::string& job, const std::string& step, const std::string& layer,
                                  const Points& points)
{
    featureInfo any;
    pick(job, step, layer, points, any, 0, false, true, Mark::Clear);
}

bool get_feature_info(const std::string& job, const std::string& step, const std::string& layer,
                      const Points& points, featureInfo& out, int type_mask)
{
    LayerView v;
    size_t i = 0;
    if (!kesto::select::view(job, step, layer, v) || !topmost(v, points, type_mask, i)) return false;
    out = kesto::select::describe(*v.layer, layer, i, *v.context);
    return true;
}

bool get_feature_point(const std::string& job, const std::string& step, const std::string& layer,
                       const Points& points, double& x, double& y, int pointtype, int selecttype)
{
    LayerView v;
    if (points.empty() || !kesto::select::view(job, step, layer, v)) return false;
    size_t i = 0;
    const kesto::Point click = at(points[0]);
    if (selecttype == 1) {
        // The nearest feature within the index's neighbourhood of the click.
        double best = -1;
        for (size_t k = 0; k < v.layer->features.size(); ++k) {
            const double d = kesto::geom::feature_point_distance(*v.layer, v.layer->features[k], click, *v.context).distance;
            if (best < 0 || d < best) best = d, i = k;
        }
        if (best < 0) return false;
    } else if (!topmost(v, points, kTypeAll, i)) {
        return false;
    }
    const Feature& f = v.layer->features[i];
    kesto::Point p = f.a;
    if (pointtype == 0 && (f.kind == kesto::FeatureKind::Line || f.kind == kesto::FeatureKind::Arc))
        p = kesto::Point{(f.a.x + f.b.x) / 2, (f.a.y + f.b.y) / 2};
    if (pointtype == 0 && f.kind == kesto::FeatureKind::Surface) {
        const kesto::Box b = kesto::geom::feature_box(*v.layer, f, *v.context);
        p = kesto::Point{(b.xmin + b.xmax) / 2, (b.ymin + b.ymax) / 2};
    }
    if (pointtype == 2 && (f.kind == kesto::FeatureKind::Line || f.kind == kesto::FeatureKind::Arc)) p = f.b;
    if (pointtype == 3) {
        const auto c = kesto::geom::feature_point_distance(*v.layer, f, click, *v.context);
        p = kesto::Point{std::llround(c.ax), std::llround(c.ay)};
    }
    x = to_working_unit(p.x);
    y = to_working_unit(p.y);
    return true;
}

bool get_feature_dis_point(const std::string& job, const std::string& step, const std::string& layer1, int index1,
                           const std::string& layer2, int index2, double& x1, double& y1, double& x2, double& y2)
{
    LayerView a, b;
    if (!kesto::select::view(job, step, layer1, a) || !kesto::select::view(job, step, layer2, b)) return false;
    if (index1 < 0 || index2 < 0 || static_cast<size_t>(index1) >= a.layer->features.size() ||
        static_cast<size_t>(index2) >= b.layer->features.size()) {
        LOG(ERROR) << "get_feature_dis_point: no feature " << index1 << " on " << layer1 << " or " << index2 << " on "
                   << layer2;
        return false;
    }
    const auto c = kesto::geom::feature_distance(*a.layer, a.layer->features[static_cast<size_t>(index1)], *b.layer,
                                                 b.layer->features[static_cast<size_t>(index2)], *a.context);
    x1 = to_working_unit(std::llround(c.ax));
    y1 = to_working_unit(std::llround(c.ay));
    x2 = to_working_unit(std::llround(c.bx));
    y2 = to_working_unit(std::llround(c.by));
    return true;
}

bool is_selected(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                 int diameter, bool& hit, bool& selected, int& position, int)
{
    hit = selected = false;
    position = -1;
    LayerView v;
    if (points.empty() || !kesto::select::view(job, step, layer, v)) return false;
    const auto hits = kesto::geom::features_at(*v.layer, *v.index, at(points[0]), std::max(0, diameter / 2), *v.context);
    if (hits.empty()) return true;
    hit = true;
    position = static_cast<int>(*std::max_element(hits.begin(), hits.end()));
    selected = v.layer->features[static_cast<size_t>(position)].selected;
    return true;
}

void get_selected_feature_info(const std::string& job, const std::string& step, const std::string& layer, int& count,
                               std::vector<std::string>& records)
{
    count = 0;
    records.clear();
    LayerView v;
    if (!kesto::select::view(job, step, layer, v)) return;
    const kesto::Units units = working_unit_is_inch() ? kesto::Units::Inch : kesto::Units::Mm;
    for (const Feature& f : v.layer->features)
        if (f.selected) records.push_back(kesto::odb::write_feature_record(*v.layer, f, units));
    count = static_cast<int>(records.size());
}

void get_selected_feature_info(const std::string& job, const std::string& step, const std::string& layer,
                               std::vector<featureInfo>& features)
{
    features.clear();
    LayerView v;
    if (!kesto::select::view(job, step, layer, v)) return;
    for (size_t i = 0; i < v.layer->features.size(); ++i)
        if (v.layer->features[i].selected) features.push_back(kesto::select::describe(*v.layer, layer, i, *v.context));
}

namespace {

void by_clicked_symbol(const std::string& job, const std::string& step, const std::string& layer,
                       const Points& points, bool select, bool clear)
{
    LayerView v;
    size_t i = 0;
    if (!kesto::select::view(job, step, layer, v) || !topmost(v, points, kTypeAll, i)) return;
    const int symbol = v.layer->features[i].symbol;
    if (clear) kesto::edit::clear_selection(*v.layer);
    if (symbol < 0) return;
    const std::string& name = v.layer->symbols[static_cast<size_t>(symbol)].name;
    for (Feature& f : v.layer->features)
        if (f.symbol >= 0 && v.layer->symbols[static_cast<size_t>(f.symbol)].name == name) f.selected = select;
}

void by_polyline(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                 bool select)
{
    LayerView v;
    if (points.size() < 2 || !kesto::select::view(job, step, layer, v)) return;
    // The polyline as a hairline band: what touches it is what it crosses.
    kesto::geom::Path line;
    for (const point& p : points) line.push_back({p.ix, p.iy});
    ClipperLib::ClipperOffset offset;
    offset.AddPath(line, ClipperLib::jtRound, ClipperLib::etOpenRound);
    kesto::geom::Paths band;
    offset.Execute(band, 1.0);
    const kesto::select::Filter filter = current_filter();
    for (const auto& polygon : band)
        for (size_t i : kesto::geom::features_in_polygon(*v.layer, *v.index, polygon, kesto::geom::PolygonTest::Touching,
                                                         *v.context))
            if (kesto::select::passes(*v.layer, v.layer->features[i], filter)) v.layer->features[i].selected = select;
}

} // namespace

void select_features_by_symbol(const std::string& job, const std::string& step, const std::string& layer,
                               const Points& points, bool clear)
{
    by_clicked_symbol(job, step, layer, points, true, clear);
}

void unselect_features_by_symbol(const std::string& job, const std::string& step, const std::string& layer,
                                 const Points& points)
{
    by_clicked_symbol(job, step, layer, points, false, false);
}

void select_polyline(const std::string& job, const std::string& step, const std::string& layer, const Points& points)
{
    by_polyline(job, step, layer, points, true);
}

void unselect_polyline(const std::string& job, const std::string& step, const std::string& layer, const Points& points)
{
    by_polyline(job, step, layer, points, false);
}

void select_connect_line(const std::string& job, const std::string& step, const std::string& layer,
                         const Points& points, const featureInfo& pattern)
{
    LayerView v;
    size_t first = 0;
    const int strokes = kTypeLine | kTypeArc;
    if (!kesto::select::view(job, step, layer, v) || !topmost(v, points, pattern.type ? pattern.type & strokes : strokes, first))
        return;
    // Walk from end to end: a stroke joins another where an end point meets one of its end points.
    auto ends_meet = [](const Feature& a, const Feature& b) {
        return a.a == b.a || a.a == b.b || a.b == b.a || a.b == b.b;
    };
    std::vector<size_t> todo = {first};
    std::set<size_t> chain = {first};
    while (!todo.empty()) {
        const size_t i = todo.back();
        todo.pop_back();
        const Feature& f = v.layer->features[i];
        for (const kesto::Point& end : {f.a, f.b}) {
            kesto::Box box;
            box.add(end);
            for (size_t k : v.index->query(box)) {
                const Feature& g = v.layer->features[k];
                if (chain.count(k) || (g.kind != kesto::FeatureKind::Line && g.kind != kesto::FeatureKind::Arc)) continue;
                if (ends_meet(f, g) && (g.a == end || g.b == end)) {
                    chain.insert(k);
                    todo.push_back(k);
                }
            }
        }
    }
    for (size_t i : chain) v.layer->features[i].selected = true;
}

void select_by_mode(const std::string& job, const std::string& step, const std::string& layer, int mode)
{
    LayerView v;
    if (!kesto::select::view(job, step, layer, v)) return;
    for (Feature& f : v.layer->features) {
        switch (mode) {
        case 0: f.selected = true; break;
        case 1: f.selected = false; break;
        case 2: f.selected = !f.selected; break;
        case 3: f.selected = f.highlighted; break;
        default: LOG(ERROR) << "select_by_mode: no mode " << mode; return;
        }
    }
}

void select_feature_by_info(const std::string& job, const std::string& step, const std::string& layer,
                            const featureInfo& info)
{
    LayerView v;
    if (!kesto::select::view(job, step, layer, v)) return;
    const kesto::Coord tolerance = 1000;
    const bool by_position = info.X != 0 || info.Y != 0 || info.XS != 0 || info.YS != 0 || info.XE != 0 || info.YE != 0;
    auto near = [&](kesto::Coord value, double wanted) { return std::llabs(value - from_working_unit(wanted)) <= tolerance; };
    for (Feature& f : v.layer->features) {
        if (!matches(*v.layer, f, info)) continue;
        if (by_position) {
            const bool stroke = f.kind == kesto::FeatureKind::Line || f.kind == kesto::FeatureKind::Arc;
            const bool same = stroke ? near(f.a.x, info.XS) && near(f.a.y, info.YS) && near(f.b.x, info.XE) &&
                                           near(f.b.y, info.YE)
                                     : near(f.a.x, info.X) && near(f.a.y, info.Y);
            if (!same) continue;
        }
        f.selected = true;
    }
}

} // namespace API
} // namespace KESTO
