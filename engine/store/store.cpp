#include "engine/store/store.h"

#include "engine/model/text.h"
#include "engine/store/setup_undo.h"

#include <glog/logging.h>

#include <algorithm>
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

std::string layer_name(const std::string& name) { return lower(name); }

const MatrixRow* find_row(const Job& job, const std::string& layer)
{
    if (layer.empty()) return nullptr;
    for (const MatrixRow& row : job.rows)
        if (row.name == layer) return &row;
    // Rows read from elsewhere may carry capitals; compare without case.
    const std::string wanted = lower(layer);
    for (const MatrixRow& row : job.rows)
        if (!row.name.empty() && lower(row.name) == wanted) return &row;
    return nullptr;
}

MatrixRow* find_row(Job& job, const std::string& layer)
{
    return const_cast<MatrixRow*>(find_row(static_cast<const Job&>(job), layer));
}

Layer* find_layer(Job& job, Step& step, const std::string& name)
{
    const MatrixRow* row = find_row(job, name);
    return row ? &step.layers[row->name] : nullptr;
}

namespace {

// A whole-layer record keeps its matrix row's polarity among the kept layer's
// attributes under this name, which no attribute list can hold.
const std::string kRowPolarity = "\x01row polarity";

// The newest record goes last; the oldest goes beyond kUndoDepth.
void keep(Job& job, UndoRecord record)
{
    if (job.undo.size() >= kUndoDepth) job.undo.erase(job.undo.begin());
    job.undo.push_back(std::move(record));
}

} // namespace

bool remember(Job& job, const std::string& step_name, const std::vector<std::string>& layers)
{
    Step* step = find_step(job, step_name);
    if (!step) return false;
    UndoRecord record{step_name, {}, {}, std::nullopt};
    for (const std::string& name : layers)
        if (const MatrixRow* row = find_row(job, name)) {
            Layer& kept = record.layers[row->name] = *find_layer(job, *step, row->name);
            kept.attributes[kRowPolarity] = row->polarity;
        }
    keep(job, std::move(record));
    return true;
}

bool remember_selected(Job& job, const std::string& step_name, const std::vector<std::string>& layers)
{
    Step* step = find_step(job, step_name);
    if (!step) return false;
    UndoRecord record{step_name, {}, {}, std::nullopt};
    for (const std::string& name : layers) {
        const MatrixRow* row = find_row(job, name);
        if (!row) continue;
        const Layer* layer = find_layer(job, *step, row->name);
        FeatureDelta& delta = record.deltas[row->name];
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
    return true;
}

StepSetup setup_of(const Step& step)
{
    return {step.profile, step.has_profile, step.datum, step.repeats, step.header};
}

bool remember_setup(Job& job, const std::string& step_name, StepSetup before)
{
    if (!find_step(job, step_name)) return false;
    UndoRecord record{step_name, {}, {}, std::move(before)};
    keep(job, std::move(record));
    return true;
}

size_t drop_history(Job& job, const std::string& step_name)
{
    const size_t before = job.undo.size();
    job.undo.erase(std::remove_if(job.undo.begin(), job.undo.end(),
                                  [&](const UndoRecord& r) { return r.step == step_name; }),
                   job.undo.end());
    return before - job.undo.size();
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
        if (step && it->setup) {
            StepSetup& s = *it->setup;
            step->profile = std::move(s.profile);
            step->has_profile = s.has_profile;
            step->datum = s.datum;
            step->repeats = std::move(s.repeats);
            step->header = std::move(s.header);
        }
        if (step)
            for (auto& [name, layer] : it->layers) {
                MatrixRow* row = find_row(job, name);
                // A layer deleted from the matrix since stays deleted.
                if (!row) continue;
                if (auto kept = layer.attributes.find(kRowPolarity); kept != layer.attributes.end()) {
                    row->polarity = kept->second;
                    layer.attributes.erase(kept);
                }
                step->layers[name] = std::move(layer);
            }
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

Edit::Edit(Job& job, const std::string& step, const std::vector<std::string>& layers, Keeps keeps) : job_(&job)
{
    recorded_ = keeps == Keeps::Selection ? remember_selected(job, step, layers) : remember(job, step, layers);
    depth_ = job.undo.size();
}

void Edit::finish(std::size_t changed)
{
    // Dropped only while it is still the newest record.
    if (changed == 0 && recorded_ && job_->undo.size() == depth_) job_->undo.pop_back();
    recorded_ = false;
    if (changed) job_->changed = true;
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
