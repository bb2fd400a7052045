#include "engine/edit/step_ops.h"

#include "engine/edit/layer_edit.h"
#include "engine/edit/transform.h"

#include <set>

namespace kesto::edit {
namespace {

bool flatten(const Job& job, const Step& step, const std::string& layer, Layer& out, std::string& error,
             std::set<std::string>& path)
{
    if (path.size() > size_t(kMaxNestDepth)) {
        error = "step and repeat nested deeper than " + std::to_string(kMaxNestDepth) + " in step " + step.name;
        return false;
    }
    if (!path.insert(step.name).second) {
        error = "step " + step.name + " repeats itself";
        return false;
    }
    if (auto own = step.layers.find(layer); own != step.layers.end())
        for (const Feature& f : own->second.features) copy_feature(own->second, f, out);
    for (const StepRepeat& r : step.repeats) {
        auto child = job.steps.find(r.step);
        if (child == job.steps.end()) {
            error = "step " + step.name + " repeats step " + r.step + ", which the job lacks";
            return false;
        }
        if (r.flip) {
            error = "step " + step.name + " flips step " + r.step + "; a flipped instance cannot be flattened";
            return false;
        }
        Layer instance;
        if (!flatten(job, child->second, layer, instance, error, path)) return false;
        if (instance.features.empty()) continue;
        for (int i = 0; i < r.nx; ++i)
            for (int j = 0; j < r.ny; ++j) {
                Placement p;
                p.origin = child->second.datum;
                p.mirror = r.mirror;
                p.angle = r.angle;
                p.offset = Point{r.origin.x + i * r.dx - p.origin.x, r.origin.y + j * r.dy - p.origin.y};
                for (const Feature& f : instance.features) {
                    const size_t at = copy_feature(instance, f, out);
                    place(out, out.features[at], p);
                }
            }
    }
    path.erase(step.name);
    return true;
}

} // namespace

bool flatten_layer(const Job& job, const Step& step, const std::string& layer, Layer& out, std::string& error)
{
    std::set<std::string> path;
    return flatten(job, step, layer, out, error, path);
}

} // namespace kesto::edit
