#include "engine/drc/placed_layers.h"

#include "engine/drc/feature_shapes.h"
#include "engine/edit/step_repeat.h"
#include "engine/store/store.h"

namespace kesto::drc {

const Layer* checked_layer(Job& job, Step& step, const std::string& name, PlacedLayers& keep, std::string* error)
{
    if (step.repeats.empty()) return store::find_layer(job, step, name);
    std::string why;
    Layer flat;
    if (!edit::flattened_layer(job, step, name, flat, why)) {
        if (error) *error = why;
        return nullptr;
    }
    keep.push_back(std::move(flat));
    return &keep.back();
}

std::shared_ptr<const BoardNets> checked_nets(Job& job, Step& step)
{
    if (step.repeats.empty()) return board_nets(job, step);
    std::vector<edit::StepInstance> instances;
    std::string error;
    if (!edit::step_instances(job, step, instances, error)) return nullptr;
    auto panel = std::make_shared<BoardNets>();
    bool first = true;
    // Layers in the order flattened_layer appends them: the panel's own
    // features, then each placed board's.
    for (const edit::StepInstance& one : instances) {
        Step* child = store::find_step(job, one.step);
        if (!child) return nullptr;
        const std::shared_ptr<const BoardNets> nets = board_nets(job, *child);
        if (first) {
            panel->copper = nets->copper, panel->drills = nets->drills;
            for (const auto& [layer, _] : nets->net_of) {
                const Layer* own = store::find_layer(job, step, layer);
                panel->net_of[layer].assign(own ? own->features.size() : 0, -1);
            }
            first = false;
        }
        for (auto& [layer, out] : panel->net_of) {
            const std::string from = one.flipped ? edit::facing_layer(job, layer) : layer;
            const Layer* placed = store::find_layer(job, *child, from);
            if (!placed) continue;
            auto it = nets->net_of.begin();
            while (it != nets->net_of.end() && !iequals(it->first, from.c_str())) ++it;
            for (std::size_t i = 0; i < placed->features.size(); ++i) {
                const std::int32_t n = it != nets->net_of.end() && i < it->second.size() ? it->second[i] : -1;
                out.push_back(n < 0 ? -1 : n + panel->count);
            }
        }
        panel->count += nets->count;
    }
    return panel;
}

} // namespace kesto::drc
