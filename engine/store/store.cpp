#include "engine/store/store.h"

#include <glog/logging.h>

#include <map>

namespace kesto::store {
namespace {

std::map<std::string, Job>& open_jobs()
{
    static auto* jobs = new std::map<std::string, Job>();
    return *jobs;
}

} // namespace

Job* find_job(const std::string& name)
{
    auto it = open_jobs().find(name);
    return it == open_jobs().end() ? nullptr : &it->second;
}

namespace {
std::uint64_t g_generation = 0;
} // namespace

std::uint64_t generation() { return g_generation; }

Job& add_job(Job job)
{
    ++g_generation;
    const std::string name = job.name;
    return open_jobs()[name] = std::move(job);
}

bool remove_job(const std::string& name)
{
    ++g_generation;
    return open_jobs().erase(name) > 0;
}

std::vector<std::string> job_names()
{
    std::vector<std::string> names;
    for (const auto& entry : open_jobs()) names.push_back(entry.first);
    return names;
}

Step* find_step(Job& job, const std::string& name)
{
    auto it = job.steps.find(name);
    return it == job.steps.end() ? nullptr : &it->second;
}

const MatrixRow* find_row(const Job& job, const std::string& layer)
{
    for (const MatrixRow& row : job.rows)
        if (row.name == layer) return &row;
    return nullptr;
}

Layer* find_layer(Job& job, Step& step, const std::string& name)
{
    if (name.empty() || !find_row(job, name)) return nullptr;
    return &step.layers[name];
}

namespace {

// The newest record goes last; the oldest goes beyond kUndoDepth.
void keep(Job& job, UndoRecord record)
{
    if (job.undo.size() >= kUndoDepth) job.undo.erase(job.undo.begin());
    job.undo.push_back(std::move(record));
}

} // namespace

void remember(Job& job, const std::string& step_name, const std::vector<std::string>& layers)
{
    Step* step = find_step(job, step_name);
    if (!step) return;
    UndoRecord record{step_name, {}};
    for (const std::string& name : layers)
        if (Layer* layer = find_layer(job, *step, name)) record.layers[name] = *layer;
    keep(job, std::move(record));
}

void remember_selected(Job& job, const std::string& step_name, const std::vector<std::string>& layers)
{
    Step* step = find_step(job, step_name);
    if (!step) return;
    UndoRecord record{step_name, {}, {}};
    for (const std::string& name : layers) {
        const Layer* layer = find_layer(job, *step, name);
        if (!layer) continue;
        FeatureDelta& delta = record.deltas[name];
        delta.features = layer->features.size();
        delta.surfaces = layer->surfaces.size();
        delta.texts = layer->texts.size();
        for (std::size_t i = 0; i < layer->features.size(); ++i) {
            const Feature& f = layer->features[i];
            if (!f.selected) continue;
            delta.positions.push_back(std::uint32_t(i));
            delta.before.push_back(f);
            if (f.kind == FeatureKind::Surface && f.body < layer->surfaces.size())
                delta.bodies.emplace_back(f.body, layer->surfaces[f.body]);
        }
    }
    keep(job, std::move(record));
}

namespace {

// Puts a delta back; a layer whose features no longer reach the recorded count
// (changed by something undo does not record) is left as it is.
void put_back(Layer& layer, FeatureDelta& delta)
{
    if (layer.features.size() < delta.features || layer.surfaces.size() < delta.surfaces ||
        layer.texts.size() < delta.texts) {
        LOG(WARNING) << "undo: the layer changed since its record was taken; left as it is";
        return;
    }
    layer.features.resize(delta.features);
    layer.surfaces.resize(delta.surfaces);
    layer.texts.resize(delta.texts);
    for (std::size_t k = 0; k < delta.positions.size(); ++k) layer.features[delta.positions[k]] = std::move(delta.before[k]);
    for (auto& [body, surface] : delta.bodies) layer.surfaces[body] = std::move(surface);
}

} // namespace

bool undo(Job& job, const std::string& step_name)
{
    for (auto it = job.undo.rbegin(); it != job.undo.rend(); ++it) {
        if (it->step != step_name) continue;
        Step* step = find_step(job, step_name);
        if (step)
            for (auto& [name, layer] : it->layers)
                // A layer deleted from the matrix since stays deleted.
                if (find_row(job, name)) step->layers[name] = std::move(layer);
        if (step)
            for (auto& [name, delta] : it->deltas)
                if (Layer* layer = find_layer(job, *step, name)) put_back(*layer, delta);
        job.undo.erase(std::next(it).base());
        job.changed = true;
        ++g_generation;
        return step != nullptr;
    }
    return false;
}

namespace {
Units g_working_unit = Units::Mm;
} // namespace

Units working_unit() { return g_working_unit; }
void set_working_unit(Units units) { g_working_unit = units; }

std::map<std::string, AttributeDef>& session_attribute_defs()
{
    static auto* defs = new std::map<std::string, AttributeDef>();
    return *defs;
}

} // namespace kesto::store
