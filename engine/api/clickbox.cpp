#include "engine/api/clickbox.h"

#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/geometry/hit.h"
#include "engine/select/filter.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>

namespace KESTO {
namespace API {
namespace {

using kesto::Feature;
using kesto::FeatureKind;
using kesto::Layer;
using kesto::Point;
using kesto::select::LayerView;

// Positions the points catch whose type is in the mask: the topmost one for
// a click, all of them for a box or polygon.
std::vector<size_t> picked(const LayerView& v, const Points& points, int type_mask)
{
    std::vector<size_t> hits;
    if (points.size() == 1) {
        hits = kesto::geom::features_at(*v.layer, *v.index, Point{points[0].ix, points[0].iy}, 0, *v.context);
    } else if (points.size() >= 2) {
        kesto::geom::Path area;
        for (const auto& corner : area_corners(points)) area.push_back({corner.first, corner.second});
        hits = kesto::geom::features_in_polygon(*v.layer, *v.index, area, kesto::geom::PolygonTest::Inside, *v.context);
    }
    std::sort(hits.begin(), hits.end());
    hits.erase(std::remove_if(hits.begin(), hits.end(),
                              [&](size_t i) { return !(type_mask & kesto::select::type_bit(v.layer->features[i].kind)); }),
               hits.end());
    if (points.size() == 1 && hits.size() > 1) hits.erase(hits.begin(), hits.end() - 1);
    return hits;
}

// The line a click picks, or -1.
long picked_line(const LayerView& v, const Points& points)
{
    if (points.empty()) return -1;
    const auto hits = picked(v, Points{points[0]}, kesto::select::kLine);
    if (hits.empty()) {
        LOG(ERROR) << "no line under (" << points[0].ix << ", " << points[0].iy << ")";
        return -1;
    }
    return static_cast<long>(hits.front());
}

// Replaces the line at `i` by the chain of segments through `vertices`
// (its own start and end included), keeping symbol, polarity and attributes.
void replace_by_chain(const LayerView& v, size_t i, const std::vector<Point>& vertices)
{
    Layer& layer = *v.layer;
    std::vector<Feature> tail;
    for (size_t k = 1; k + 1 < vertices.size(); ++k) {
        Feature segment = layer.features[i];
        segment.selected = segment.highlighted = false;
        segment.a = vertices[k];
        segment.b = vertices[k + 1];
        tail.push_back(segment);
    }
    layer.features[i].b = vertices[1];
    layer.features.insert(layer.features.begin() + static_cast<long>(i) + 1, tail.begin(), tail.end());
    kesto::select::forget(layer);
    v.job->changed = true;
}

// The named layer, remembered for undo before the edit that follows.
bool view_of(const std::string& job, const std::string& step, const std::string& layer, LayerView& v)
{
    if (!kesto::select::view(job, step, layer, v)) return false;
    kesto::store::remember(*v.job, step, {layer});
    return true;
}

} // namespace

bool delete_clicked_features(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                             const Points& clickbox, int type_mask)
{
    bool any = false;
    for (const auto& name : layers) {
        LayerView v;
        if (!view_of(job, step, name, v)) return false;
        std::vector<bool> removed(v.layer->features.size());
        for (size_t i : picked(v, clickbox, type_mask)) removed[i] = true;
        size_t k = 0;
        auto& features = v.layer->features;
        features.erase(std::remove_if(features.begin(), features.end(), [&](const Feature&) { return removed[k++]; }),
                       features.end());
        kesto::select::erased(*v.layer, removed);
        if (std::find(removed.begin(), removed.end(), true) != removed.end()) any = v.job->changed = true;
    }
    return any;
}

bool change_line(const std::string& job, const std::string& step, const std::string& layer, int position,
                 double start_x, double start_y, double end_x, double end_y)
{
    LayerView v;
    if (!view_of(job, step, layer, v)) return false;
    if (position < 0 || static_cast<size_t>(position) >= v.layer->features.size() ||
        v.layer->features[static_cast<size_t>(position)].kind != FeatureKind::Line) {
        LOG(ERROR) << "change_line: no line at position " << position << " of " << layer;
        return false;
    }
    // Both ends first: a refused value leaves the line as it was.
    const Point a{from_working_unit(start_x), from_working_unit(start_y)};
    const Point b{from_working_unit(end_x), from_working_unit(end_y)};
    Feature& f = v.layer->features[static_cast<size_t>(position)];
    f.a = a;
    f.b = b;
    kesto::select::moved(*v.job, *v.layer, {static_cast<size_t>(position)});
    v.job->changed = true;
    return true;
}

bool change_clicked_features_polarity(const std::string& job, const std::string& step,
                                      const std::vector<std::string>& layers, int position)
{
    bool any = false;
    for (const auto& name : layers) {
        LayerView v;
        if (!view_of(job, step, name, v)) return false;
        if (position < 0 || static_cast<size_t>(position) >= v.layer->features.size()) continue;
        Feature& f = v.layer->features[static_cast<size_t>(position)];
        f.polarity = f.polarity == kesto::Polarity::Positive ? kesto::Polarity::Negative : kesto::Polarity::Positive;
        any = v.job->changed = true;
    }
    return any;
}

bool break_line(const std::string& job, const std::string& step, const std::string& layer, const Points& points)
{
    LayerView v;
    if (!view_of(job, step, layer, v)) return false;
    const long i = picked_line(v, points);
    if (i < 0) return false;
    const Feature& line = v.layer->features[static_cast<size_t>(i)];
    const double dx = double(line.b.x - line.a.x), dy = double(line.b.y - line.a.y);
    const double length2 = dx * dx + dy * dy;
    if (length2 == 0) return false;
    // The break points are where the given points fall on the line, in order along it.
    std::vector<double> at;
    for (size_t k = 1; k < points.size(); ++k) {
        const double t = ((points[k].ix - line.a.x) * dx + (points[k].iy - line.a.y) * dy) / length2;
        if (t > 0 && t < 1) at.push_back(t);
    }
    std::sort(at.begin(), at.end());
    at.erase(std::unique(at.begin(), at.end()), at.end());
    if (at.empty()) {
        LOG(ERROR) << "break_feature: no break point falls inside the line";
        return false;
    }
    std::vector<Point> vertices = {line.a};
    for (double t : at) vertices.push_back(Point{line.a.x + std::llround(t * dx), line.a.y + std::llround(t * dy)});
    vertices.push_back(line.b);
    replace_by_chain(v, static_cast<size_t>(i), vertices);
    return true;
}

bool reroute_line(const std::string& job, const std::string& step, const std::string& layer, const Points& points)
{
    LayerView v;
    if (!view_of(job, step, layer, v)) return false;
    const long i = picked_line(v, points);
    if (i < 0 || points.size() < 2) return false;
    const Feature& line = v.layer->features[static_cast<size_t>(i)];
    std::vector<Point> vertices = {line.a};
    for (size_t k = 1; k < points.size(); ++k) vertices.push_back(Point{points[k].ix, points[k].iy});
    vertices.push_back(line.b);
    replace_by_chain(v, static_cast<size_t>(i), vertices);
    return true;
}

bool move_triplet(const std::string& job, const std::string& step, const std::string& layer, const Points& points)
{
    LayerView v;
    if (points.size() < 2 || !view_of(job, step, layer, v)) return false;
    const Point joint{points[0].ix, points[0].iy}, to{points[1].ix, points[1].iy};
    // The ends that meet at the joint: the joint itself within half a line width.
    std::vector<size_t> moved;
    for (size_t i = 0; i < v.layer->features.size(); ++i) {
        Feature& f = v.layer->features[i];
        if (f.kind != FeatureKind::Line) continue;
        const double reach = std::max<double>(1000, kesto::select::line_width(*v.layer, f) / 2.0);
        auto near = [&](const Point& p) { return std::hypot(double(p.x - joint.x), double(p.y - joint.y)) <= reach; };
        bool hit = false;
        if (near(f.a)) f.a = to, hit = true;
        if (near(f.b)) f.b = to, hit = true;
        if (hit) moved.push_back(i);
    }
    if (moved.empty()) {
        LOG(ERROR) << "move_triplet: no line ends at (" << joint.x << ", " << joint.y << ")";
        return false;
    }
    kesto::select::moved(*v.job, *v.layer, moved);
    v.job->changed = true;
    return true;
}

std::map<std::string, double> min_line_widths(const std::string& job_name)
{
    std::map<std::string, double> widths;
    kesto::Job* job = kesto::store::find_job(job_name);
    if (!job) {
        LOG(ERROR) << "job \"" << job_name << "\" is not open";
        return widths;
    }
    for (const auto& [step_name, step] : job->steps)
        for (const auto& [layer_name, layer] : step.layers)
            for (const Feature& f : layer.features) {
                const kesto::Coord w = kesto::select::line_width(layer, f);
                if (w <= 0) continue;
                const double value = to_working_unit(w);
                auto it = widths.find(layer_name);
                if (it == widths.end() || value < it->second) widths[layer_name] = value;
            }
    return widths;
}

} // namespace API
} // namespace KESTO
