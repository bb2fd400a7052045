#include "engine/api/layer_query.h"

#include "engine/api/symbol_names.h"
#include "engine/api/units.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/geometry.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <set>

namespace KESTO {
namespace API {
namespace {

using kesto::select::LayerView;

bool extent(const std::string& job, const std::string& step, const std::vector<std::string>& layers, kesto::Box& box)
{
    for (const auto& name : layers) {
        LayerView v;
        if (!kesto::select::view(job, step, name, v)) return false;
        box.add(kesto::geom::layer_box(*v.layer, *v.context));
    }
    return !box.empty();
}

void used_symbols(const kesto::Layer& layer, std::vector<std::string>& names, std::set<std::string>& seen)
{
    std::vector<bool> used(layer.symbols.size());
    for (const auto& f : layer.features)
        if (f.symbol >= 0 && static_cast<size_t>(f.symbol) < used.size()) used[static_cast<size_t>(f.symbol)] = true;
    for (size_t i = 0; i < used.size(); ++i) {
        if (!used[i]) continue;
        std::string name = KESTO::API::working_symbol_name(layer.symbols[i]);
        if (seen.insert(name).second) names.push_back(std::move(name));
    }
}

} // namespace

bool layer_box(const std::string& job, const std::string& step, const std::vector<std::string>& layers, reply_box& out)
{
    kesto::Box box;
    if (!extent(job, step, layers, box)) return false;
    out = reply_box{box.xmin, box.xmax, box.ymin, box.ymax};
    return true;
}

bool bbox(const std::string& job, const std::string& step, double& xmin, double& ymin, double& xmax, double& ymax)
{
    kesto::Job* j = kesto::store::find_job(job);
    if (!j) {
        LOG(ERROR) << "bBox: job \"" << job << "\" is not open";
        return false;
    }
    std::vector<std::string> layers;
    for (const auto& row : j->rows) layers.push_back(row.name);
    kesto::Box box;
    if (!extent(job, step, layers, box)) return false;
    xmin = to_working_unit(box.xmin);
    ymin = to_working_unit(box.ymin);
    xmax = to_working_unit(box.xmax);
    ymax = to_working_unit(box.ymax);
    return true;
}

bool get_symbols(const std::string& job, const std::string& step, const std::string& layer,
                 std::vector<std::string>& names)
{
    return get_layer_symbol_list(job, step, {layer}, names);
}

bool get_layer_symbol_list(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                           std::vector<std::string>& names)
{
    names.clear();
    std::set<std::string> seen;
    for (const auto& name : layers) {
        LayerView v;
        if (!kesto::select::view(job, step, name, v)) return false;
        used_symbols(*v.layer, names, seen);
    }
    return true;
}

bool get_symbol_name(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                     std::string& name)
{
    featureInfo info;
    if (!get_feature_info(job, step, layer, points, info, kTypeAll)) return false;
    name = info.symbolname;
    return !name.empty();
}

std::vector<std::string> open_job_names() { return kesto::store::job_names(); }

bool get_special_symbol_names(const std::string& job, std::vector<std::string>& names)
{
    names.clear();
    kesto::Job* j = kesto::store::find_job(job);
    if (!j) {
        LOG(ERROR) << "get_special_symbol_names: job \"" << job << "\" is not open";
        return false;
    }
    for (const auto& entry : j->symbols) names.push_back(entry.first);
    return true;
}

bool draw_symbol(const std::string& job_name, int, const std::string& symbol, const color& colour, int angle,
                 bool mirror)
{
    kesto::Job* job = kesto::store::find_job(job_name);
    if (!job) {
        LOG(ERROR) << "draw_symbol: job \"" << job_name << "\" is not open";
        return false;
    }
    kesto::Symbol s = symbol_from_working_name(symbol);
    if (s.family == kesto::SymbolFamily::Unknown && job->symbols.count(symbol)) s.family = kesto::SymbolFamily::User;
    const auto& context = kesto::select::context_for(*job);
    const auto outline = kesto::geom::place(kesto::geom::Placement{{0, 0}, double(angle), mirror},
                                            kesto::geom::symbol_outline(s, context));
    if (outline.empty()) {
        LOG(ERROR) << "draw_symbol: \"" << symbol << "\" has no shape to draw";
        return false;
    }
    const kesto::Box box = kesto::geom::box_of(outline);
    const double pad = std::max<double>(box.xmax - box.xmin, box.ymax - box.ymin) * 0.05;
    zoom_to_box(to_working_unit(box.xmin - kesto::Coord(pad)), to_working_unit(box.ymin - kesto::Coord(pad)),
                to_working_unit(box.xmax + kesto::Coord(pad)), to_working_unit(box.ymax + kesto::Coord(pad)));
    const color kept = get_draw_color();
    set_draw_color(colour.red, colour.green, colour.blue, colour.alpha);
    const bool drawn = draw_paths(outline);
    set_draw_color(kept.red, kept.green, kept.blue, kept.alpha);
    return drawn;
}

} // namespace API
} // namespace KESTO
