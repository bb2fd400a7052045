#include "engine/api/layer_roles.h"

#include "engine/api/board_layers.h"
#include "engine/api/symbol_names.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/geometry/hit.h"
#include "engine/model/text.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <map>

namespace KESTO {
namespace API {

using namespace kesto;

bool near_signal_layers(const std::string& job_name, const std::string& layer, near_signal& out)
{
    const Job* job = store::find_job(job_name);
    if (!job) {
        LOG(ERROR) << "near_signal_layers: job \"" << job_name << "\" is not open";
        return false;
    }
    int at = -1;
    for (size_t i = 0; i < job->rows.size(); ++i)
        if (job->rows[i].name == layer || job->rows[i].name == kesto::lower(layer)) at = int(i);
    if (at < 0) {
        LOG(ERROR) << "near_signal_layers: job \"" << job_name << "\" has no layer \"" << layer << "\"";
        return false;
    }
    out = near_signal{};
    int up = -1, down = -1;
    for (int i = at - 1; i >= 0 && up < 0; --i)
        if (board::is_copper(job->rows[size_t(i)])) up = i;
    for (int i = at + 1; i < int(job->rows.size()) && down < 0; ++i)
        if (board::is_copper(job->rows[size_t(i)])) down = i;
    if (up >= 0) out.above = job->rows[size_t(up)].name;
    if (down >= 0) out.below = job->rows[size_t(down)].name;
    if (up >= 0 && (down < 0 || at - up <= down - at))
        out.nearest = out.above;
    else
        out.nearest = out.below;
    if (out.nearest.empty()) {
        LOG(ERROR) << "near_signal_layers: job \"" << job_name << "\" has no copper layer";
        return false;
    }
    return true;
}

bool clear_all_options(const std::string& job, const std::string& step, int& cleared)
{
    board::StepRef at;
    if (!board::find(job, step, "clear_all_options", at)) return false;
    cleared = 0;
    for (auto& [name, layer] : at.step->layers) {
        size_t n = 0;
        for (const Feature& f : layer.features) n += f.selected || f.highlighted;
        edit::clear_selection(layer);
        edit::clear_highlight(layer);
        cleared += int(n);
    }
    return true;
}

namespace {

const char* kind_name(FeatureKind k)
{
    static const char* names[] = {"line", "pad", "arc", "surface", "text", "barcode"};
    return names[size_t(k)];
}

const Symbol* symbol_of(const Layer& layer, const Feature& f)
{
    return f.symbol >= 0 && size_t(f.symbol) < layer.symbols.size() ? &layer.symbols[size_t(f.symbol)] : nullptr;
}

bool view_of(const std::string& job, const std::string& step, const std::string& layer, select::LayerView& v)
{
    board::StepRef at;
    if (!board::find(job, step, "layer view", at)) return false;
    const MatrixRow* row = board::row(at, layer);
    return select::view(job, at.step->name, row ? row->name : layer, v);
}

} // namespace

bool features_at_point(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                       double x, double y, double margin, std::vector<feature_at>& out)
{
    out.clear();
    const Point p{from_working_unit(x), from_working_unit(y)};
    for (const std::string& name : layers) {
        select::LayerView v;
        if (!view_of(job, step, name, v)) return false;
        auto hits = geom::features_at(*v.layer, *v.index, p, std::max<Coord>(0, from_working_unit(margin)), *v.context);
        std::sort(hits.rbegin(), hits.rend()); // drawn last is on top
        for (size_t i : hits) {
            const Feature& f = v.layer->features[i];
            const Symbol* s = symbol_of(*v.layer, f);
            const bool has_symbol = f.kind != FeatureKind::Surface && f.kind != FeatureKind::Text &&
                                    f.kind != FeatureKind::Barcode && s;
            out.push_back({kesto::lower(name), int(i), kind_name(f.kind), has_symbol ? working_symbol_name(*s) : std::string(),
                           f.polarity == Polarity::Positive});
        }
    }
    return true;
}

bool smd_with_one_drill(const std::string& job, const std::string& step, const std::string& layer_name,
                        const std::string& drill_name, std::string& drill_used, std::vector<pad_with_hole>& out)
{
    const char* op = "smd_with_one_drill";
    select::LayerView copper;
    if (!view_of(job, step, layer_name, copper)) return false;
    board::StepRef at;
    board::find(job, step, op, at);
    drill_used = drill_name;
    if (drill_used.empty()) {
        const auto through = board::drills_through(*at.job, board::row(at, layer_name)->name);
        if (through.empty()) {
            LOG(ERROR) << op << ": no drill layer goes through layer \"" << layer_name << "\"";
            return false;
        }
        drill_used = through.front();
    }
    const Layer* holes = board::layer(at, drill_used, op);
    if (!holes) return false;
    drill_used = board::row(at, drill_used)->name;
    // Holes per SMD pad, counted by their centres.
    std::map<size_t, std::vector<size_t>> in_pad;
    for (size_t h = 0; h < holes->features.size(); ++h) {
        const Feature& hole = holes->features[h];
        if (hole.kind != FeatureKind::Pad) continue;
        for (size_t i : geom::features_at(*copper.layer, *copper.index, hole.a, 0, *copper.context)) {
            const Feature& pad = copper.layer->features[i];
            if (pad.kind != FeatureKind::Pad || pad.polarity != Polarity::Positive) continue;
            if (edit::attributes_of(*copper.layer, pad).count(".smd")) in_pad[i].push_back(h);
        }
    }
    out.clear();
    for (const auto& [pad, list] : in_pad) {
        if (list.size() != 1) continue;
        const Feature& hole = holes->features[list.front()];
        const Symbol* s = symbol_of(*holes, hole);
        out.push_back({int(pad), int(list.front()), to_working_unit(hole.a.x), to_working_unit(hole.a.y),
                       s ? to_working_unit(std::llround(s->p[0])) : 0});
    }
    return true;
}

} // namespace API
} // namespace KESTO
