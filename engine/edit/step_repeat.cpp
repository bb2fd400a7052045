#include "engine/edit/step_repeat.h"

#include "engine/edit/layer_edit.h"
#include "engine/geometry/outline.h"
#include "engine/model/text.h"

#include <algorithm>
#include <unordered_map>

namespace kesto::edit {

namespace {

// Deeper nesting than this is taken for a loop nobody meant.
constexpr int kMaxDepth = 16;

const Step* step_named(const Job& job, const std::string& name)
{
    auto it = job.steps.find(lower(name));
    return it == job.steps.end() ? nullptr : &it->second;
}

bool walk(const Job& job, const Step& step, const Placement& above, bool flipped, int depth, int top_row,
          std::vector<std::string>& path, std::vector<StepInstance>& out, std::string& error)
{
    for (size_t r = 0; r < step.repeats.size(); ++r) {
        const StepRepeat& row = step.repeats[r];
        const Step* child = step_named(job, row.step);
        if (!child) {
            error = "step \"" + step.name + "\" repeats \"" + row.step + "\", which the job lacks";
            return false;
        }
        if (row.nx < 1 || row.ny < 1) {
            error = "step \"" + step.name + "\" repeats \"" + row.step + "\" with a count below 1";
            return false;
        }
        const std::string name = lower(row.step);
        if (depth >= kMaxDepth || std::find(path.begin(), path.end(), name) != path.end()) {
            error = "step \"" + name + "\" is nested in itself";
            return false;
        }
        const int from_row = depth == 1 ? int(r) : top_row;
        path.push_back(name);
        for (int i = 0; i < row.nx; ++i)
            for (int j = 0; j < row.ny; ++j) {
                StepInstance one;
                one.step = name;
                one.placement = compose(above, repeat_placement(*child, row, i, j));
                one.flipped = flipped != row.flip;
                one.depth = depth;
                one.row = from_row;
                one.profile = placed_profile_box(*child, one.placement);
                out.push_back(one);
                if (!child->repeats.empty() &&
                    !walk(job, *child, one.placement, one.flipped, depth + 1, from_row, path, out, error))
                    return false;
            }
        path.pop_back();
    }
    return true;
}

} // namespace

Placement repeat_placement(const Step& child, const StepRepeat& row, int i, int j)
{
    // A flipped step is seen from below: mirrored as well, its layers facing.
    Placement p;
    p.origin = child.datum;
    p.mirror = row.mirror != row.flip;
    p.angle = row.angle;
    p.offset = Point{row.origin.x + Coord(i) * row.dx - child.datum.x, row.origin.y + Coord(j) * row.dy - child.datum.y};
    // The same placement about (0,0), so that placements compose simply.
    return compose(Placement{}, p);
}

Placement compose(const Placement& outer, const Placement& inner)
{
    // Mirror and turn compose into one: a mirror after a turn reverses it.
    Placement p;
    p.mirror = outer.mirror != inner.mirror;
    p.angle = normal_angle(outer.angle + (outer.mirror ? -inner.angle : inner.angle));
    p.offset = apply(outer, apply(inner, Point{0, 0}));
    return p;
}

Box placed_profile_box(const Step& step, const Placement& p)
{
    Box box;
    if (!step.has_profile) return box;
    for (const auto& path : geom::surface_outline(step.profile))
        for (const auto& v : path) box.add(apply(p, Point{Coord(v.X), Coord(v.Y)}));
    return box;
}

bool step_instances(const Job& job, const Step& step, std::vector<StepInstance>& out, std::string& error)
{
    out.clear();
    std::vector<std::string> path{lower(step.name)};
    return walk(job, step, Placement{}, false, 1, 0, path, out, error);
}

std::string facing_layer(const Job& job, const std::string& layer)
{
    std::vector<const MatrixRow*> sides;
    for (const MatrixRow& row : job.rows)
        if (row.context == "BOARD" && row.type != "DRILL" && row.type != "ROUT" && row.type != "DIELECTRIC" &&
            !row.name.empty())
            sides.push_back(&row);
    const std::string name = lower(layer);
    for (size_t k = 0; k < sides.size(); ++k)
        if (lower(sides[k]->name) == name) return lower(sides[sides.size() - 1 - k]->name);
    return name;
}

void append_placed(const Layer& from, Layer& to, const Placement& p)
{
    std::vector<std::int32_t> symbols(from.symbols.size());
    for (size_t s = 0; s < from.symbols.size(); ++s) symbols[s] = symbol_index(to, from.symbols[s]);
    std::vector<std::uint32_t> names(from.attribute_names.size());
    for (size_t n = 0; n < from.attribute_names.size(); ++n) names[n] = attribute_name_index(to, from.attribute_names[n]);
    // Attribute sets are appended once and shared by every copy that uses them.
    std::unordered_map<std::uint32_t, std::uint32_t> sets;
    to.features.reserve(to.features.size() + from.features.size());
    for (const Feature& f : from.features) {
        Feature copy = f;
        copy.selected = copy.highlighted = false;
        if (f.symbol >= 0 && size_t(f.symbol) < symbols.size()) copy.symbol = symbols[size_t(f.symbol)];
        if (f.attributes && f.attributes <= from.attribute_sets.size()) {
            auto [it, fresh] = sets.emplace(f.attributes, 0);
            if (fresh) {
                std::vector<AttributeValue> set = from.attribute_sets[f.attributes - 1];
                for (AttributeValue& v : set)
                    if (v.name < names.size()) v.name = names[v.name];
                to.attribute_sets.push_back(std::move(set));
                it->second = std::uint32_t(to.attribute_sets.size());
            }
            copy.attributes = it->second;
        } else {
            copy.attributes = 0;
        }
        if (f.kind == FeatureKind::Surface && f.body < from.surfaces.size()) {
            to.surfaces.push_back(from.surfaces[f.body]);
            copy.body = std::uint32_t(to.surfaces.size() - 1);
        } else if ((f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) && f.body < from.texts.size()) {
            to.texts.push_back(from.texts[f.body]);
            copy.body = std::uint32_t(to.texts.size() - 1);
        }
        to.features.push_back(copy);
        place(to, to.features.back(), p);
    }
}

bool flattened_layer(const Job& job, const Step& step, const std::string& layer, Layer& out, std::string& error)
{
    const std::string name = lower(layer);
    auto own = step.layers.find(name);
    out = own != step.layers.end() ? own->second : Layer{};
    if (step.repeats.empty()) return true;
    std::vector<StepInstance> instances;
    if (!step_instances(job, step, instances, error)) return false;
    const std::string facing = facing_layer(job, name);
    for (const StepInstance& one : instances) {
        const Step& child = *step_named(job, one.step);
        auto it = child.layers.find(one.flipped ? facing : name);
        if (it != child.layers.end()) append_placed(it->second, out, one.placement);
    }
    return true;
}

} // namespace kesto::edit
