#include "engine/select/workspace.h"

#include "engine/store/store.h"

#include <glog/logging.h>

#include <memory>
#include <unordered_map>

namespace kesto::select {
namespace {

struct Indexed {
    const Job* job = nullptr;
    geom::LayerIndex index;
};

// What is kept belongs to one generation of the store's jobs: a job opened,
// closed or undone since may have put other layers at the same addresses.
std::uint64_t& kept_generation()
{
    static std::uint64_t generation = 0;
    return generation;
}

std::unordered_map<const Job*, std::unique_ptr<geom::OutlineContext>>& contexts()
{
    static auto* map = new std::unordered_map<const Job*, std::unique_ptr<geom::OutlineContext>>();
    return *map;
}

std::unordered_map<const Layer*, Indexed>& indexes()
{
    static auto* map = new std::unordered_map<const Layer*, Indexed>();
    if (kept_generation() != store::generation()) {
        map->clear();
        contexts().clear();
        kept_generation() = store::generation();
    }
    return *map;
}

// The index of a layer if one is kept and still matches the layer.
Indexed* kept(const Layer& layer)
{
    auto it = indexes().find(&layer);
    if (it == indexes().end()) return nullptr;
    if (it->second.index.size() != layer.features.size()) {
        indexes().erase(it);
        return nullptr;
    }
    return &it->second;
}

} // namespace

const geom::OutlineContext& context_for(const Job& job)
{
    indexes(); // drops contexts of another generation
    auto& slot = contexts()[&job];
    if (!slot) slot = std::make_unique<geom::OutlineContext>(geom::context_of(job));
    return *slot;
}

bool view(const std::string& job_name, const std::string& step_name, const std::string& layer_name, LayerView& out)
{
    out.job = store::find_job(job_name);
    // A command that names no job means the one open job, when there is one.
    if (!out.job && job_name.empty() && store::job_names().size() == 1) out.job = store::find_job(store::job_names()[0]);
    if (!out.job) {
        LOG(ERROR) << "job \"" << job_name << "\" is not open";
        return false;
    }
    out.step = store::find_step(*out.job, step_name);
    if (!out.step) {
        LOG(ERROR) << "job \"" << job_name << "\" has no step \"" << step_name << "\"";
        return false;
    }
    out.layer = store::find_layer(*out.job, *out.step, layer_name);
    if (!out.layer) {
        LOG(ERROR) << "job \"" << job_name << "\" has no layer \"" << layer_name << "\"";
        return false;
    }
    out.context = &context_for(*out.job);
    Indexed* entry = kept(*out.layer);
    if (!entry) {
        entry = &indexes()[out.layer];
        entry->job = out.job;
        entry->index.build(*out.layer, *out.context);
    }
    out.index = &entry->index;
    return true;
}

void moved(const Job& job, const Layer& layer, const std::vector<size_t>& positions)
{
    Indexed* entry = kept(layer);
    if (!entry) return;
    const auto& context = context_for(job);
    for (size_t i : positions) entry->index.update(i, geom::feature_box(layer, layer.features[i], context));
}

void shifted(const Layer& layer, const std::vector<size_t>& positions, Coord dx, Coord dy)
{
    if (Indexed* entry = kept(layer)) entry->index.shift(positions, dx, dy);
}

void appended(const Job& job, const Layer& layer, size_t first)
{
    auto it = indexes().find(&layer);
    if (it == indexes().end()) return;
    if (it->second.index.size() != first) {
        indexes().erase(it);
        return;
    }
    const auto& context = context_for(job);
    for (size_t i = first; i < layer.features.size(); ++i)
        it->second.index.insert(i, geom::feature_box(layer, layer.features[i], context));
}

void erased(const Layer& layer, const std::vector<bool>& removed)
{
    auto it = indexes().find(&layer);
    if (it == indexes().end()) return;
    if (it->second.index.size() != removed.size()) {
        indexes().erase(it);
        return;
    }
    it->second.index.erase(removed);
}

void reordered(const Layer& layer, const std::vector<size_t>& order)
{
    if (Indexed* entry = kept(layer)) entry->index.reorder(order);
}

void forget(const Layer& layer) { indexes().erase(&layer); }

void forget_job(const Job& job)
{
    for (auto it = indexes().begin(); it != indexes().end();)
        it = it->second.job == &job ? indexes().erase(it) : std::next(it);
    contexts().erase(&job);
}

} // namespace kesto::select
