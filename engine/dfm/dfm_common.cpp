#include "engine/dfm/dfm_common.h"

#include "engine/drc/feature_shapes.h"
#include "engine/edit/layer_edit.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>

namespace kesto::dfm {

bool find_target(const char* operation, const std::string& job, const std::string& step,
                 const std::vector<std::string>& layers, Target& target)
{
    target.job = store::find_job(job);
    if (!target.job) {
        LOG(ERROR) << operation << ": no open job '" << job << "'";
        return false;
    }
    target.step = store::find_step(*target.job, step);
    if (!target.step) {
        LOG(ERROR) << operation << ": job '" << job << "' has no step '" << step << "'";
        return false;
    }
    for (const std::string& name : layers) {
        const MatrixRow* row = store::find_row(*target.job, name);
        if (!row || !store::find_layer(*target.job, *target.step, name)) {
            LOG(ERROR) << operation << ": job '" << job << "' has no layer '" << name << "'";
            return false;
        }
        if (std::find(target.layers.begin(), target.layers.end(), row->name) == target.layers.end())
            target.layers.push_back(row->name);
    }
    return true;
}

std::size_t delete_marked(Layer& layer, const char* attribute)
{
    std::vector<bool> was_selected(layer.features.size());
    std::size_t marked = 0;
    for (std::size_t i = 0; i < layer.features.size(); ++i) {
        Feature& f = layer.features[i];
        was_selected[i] = f.selected;
        f.selected = drc::attribute(layer, f, attribute) != nullptr;
        marked += f.selected;
    }
    if (marked == 0) {
        for (std::size_t i = 0; i < layer.features.size(); ++i) layer.features[i].selected = was_selected[i];
        return 0;
    }
    std::vector<bool> kept_selection;
    for (std::size_t i = 0; i < was_selected.size(); ++i)
        if (!layer.features[i].selected) kept_selection.push_back(was_selected[i]);
    edit::delete_selected(layer);
    for (std::size_t i = 0; i < layer.features.size() && i < kept_selection.size(); ++i)
        layer.features[i].selected = kept_selection[i];
    return marked;
}

drc::LevelLimits limits_of(const KESTO::API::dfm_thresholds& ranges)
{
    drc::LevelLimits out;
    auto nm = [](double um) { return Coord(std::llround(um * 1000)); };
    for (const auto& [item, t] : ranges) out[item] = {nm(std::get<0>(t)), nm(std::get<1>(t)), nm(std::get<2>(t))};
    return out;
}

Coord hole_gap(const geom::Paths& outline, const drc::Capsule& hole)
{
    if (geom::locate({hole.a.x, hole.a.y}, outline) != geom::Where::Outside) return -hole.r;
    double best = 1e300;
    for (const geom::Edge& e : geom::edges_of(outline)) {
        const double d = geom::segment_segment(e.x1, e.y1, e.x2, e.y2, double(hole.a.x), double(hole.a.y),
                                               double(hole.b.x), double(hole.b.y))
                             .distance;
        best = std::min(best, d);
    }
    return Coord(std::llround(best)) - hole.r;
}

} // namespace kesto::dfm
