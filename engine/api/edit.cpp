#include "engine/api/edit.h"

#include "engine/api/display.h"
#include "engine/api/selection.h"
#include "engine/edit/layer_edit.h"
#include "engine/select/filter.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

namespace KESTO {
namespace API {
namespace {

using kesto::Job;
using kesto::Layer;
using kesto::Step;

// The open job, its step and the named layers; logs what it cannot find.
struct Target {
    Job* job = nullptr;
    Step* step = nullptr;
    std::vector<Layer*> layers;
};

bool resolve(const std::string& job_name, const std::string& step_name, const std::vector<std::string>& layer_names,
             Target& out)
{
    out.job = kesto::store::find_job(job_name);
    if (!out.job) {
        LOG(ERROR) << "job \"" << job_name << "\" is not open";
        return false;
    }
    out.step = kesto::store::find_step(*out.job, step_name);
    if (!out.step) {
        LOG(ERROR) << "job \"" << job_name << "\" has no step \"" << step_name << "\"";
        return false;
    }
    for (const auto& name : layer_names) {
        Layer* layer = kesto::store::find_layer(*out.job, *out.step, name);
        if (!layer) {
            LOG(ERROR) << "job \"" << job_name << "\" has no layer \"" << name << "\"";
            return false;
        }
        out.layers.push_back(layer);
    }
    return true;
}

Layer* one_layer(const std::string& job, const std::string& step, const std::string& layer, Job** owner = nullptr)
{
    Target t;
    if (!resolve(job, step, {layer}, t)) return nullptr;
    if (owner) *owner = t.job;
    return t.layers.front();
}

void mark_changed(Job& job, size_t changed)
{
    if (changed) job.changed = true;
}

// Applies `edit` to each layer's selection (or, with sel_type 1, to every
// feature of it) and answers whether the names resolved. The layers' spatial
// indexes are dropped afterwards unless the edit kept them current itself
// (`keeps_index`).
template <class Edit>
bool on_layers(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int sel_type,
               Edit&& edit, bool keeps_index = false)
{
    Target t;
    if (!resolve(job, step, layers, t)) return false;
    size_t changed = 0;
    for (Layer* layer : t.layers) {
        std::vector<bool> kept;
        if (sel_type == 1) {
            for (auto& f : layer->features) {
                kept.push_back(f.selected);
                f.selected = true;
            }
        }
        changed += edit(*layer);
        if (!keeps_index) kesto::select::forget(*layer);
        if (sel_type == 1)
            for (size_t i = 0; i < kept.size() && i < layer->features.size(); ++i) layer->features[i].selected = kept[i];
    }
    mark_changed(*t.job, changed);
    return true;
}

kesto::Point from_working(double x, double y) { return kesto::Point{from_working_unit(x), from_working_unit(y)}; }


// Sets the selected or highlighted flag of the features the filter passes.
void by_filter(const std::string& job, const std::string& step, const std::string& layer, bool highlight, bool on)
{
    Layer* l = one_layer(job, step, layer);
    if (!l) return;
    const kesto::select::Filter filter = current_filter();
    for (auto& f : l->features) {
        if (!kesto::select::passes(*l, f, filter)) continue;
        (highlight ? f.highlighted : f.selected) = on;
    }
}

} // namespace

namespace {

std::vector<size_t> selected_positions(const Layer& l)
{
    std::vector<size_t> out;
    for (size_t i = 0; i < l.features.size(); ++i)
        if (l.features[i].selected) out.push_back(i);
    return out;
}

std::vector<bool> selected_flags(const Layer& l)
{
    std::vector<bool> out(l.features.size());
    for (size_t i = 0; i < l.features.size(); ++i) out[i] = l.features[i].selected;
    return out;
}

// These keep the layers' indexes current as they go.
size_t delete_indexed(Layer& l)
{
    const std::vector<bool> removed = selected_flags(l);
    const size_t n = kesto::edit::delete_selected(l);
    kesto::select::erased(l, removed);
    return n;
}

size_t place_indexed(const Job& job, Layer& l, const kesto::edit::Placement& p)
{
    const std::vector<size_t> positions = selected_positions(l);
    const size_t n = kesto::edit::place_selected(l, p);
    kesto::select::moved(job, l, positions);
    return n;
}

size_t copy_indexed(const Job& job, Layer& from, Layer& to, const kesto::edit::Placement& p, bool invert)
{
    const size_t first = to.features.size();
    const size_t n = kesto::edit::copy_selected(from, to, p, invert);
    kesto::select::appended(job, to, first);
    return n;
}

size_t reorder_indexed(Layer& l, bool to_end)
{
    // The order after the move: the one now at position i was at order[i].
    std::vector<size_t> order;
    for (int pass = 0; pass < 2; ++pass) {
        const bool take_selected = (pass == 0) != to_end;
        for (size_t i = 0; i < l.features.size(); ++i)
            if (l.features[i].selected == take_selected) order.push_back(i);
    }
    const size_t n = kesto::edit::reorder_selected(l, to_end);
    kesto::select::reordered(l, order);
    return n;
}

} // namespace

void delete_selected_features(const std::string& job, const std::string& step, const std::vector<std::string>& layers)
{
    on_layers(job, step, layers, 0, delete_indexed, true);
}

void move_same_layer(const std::string& job, const std::string& step, std::vector<std::string> layers, int dx, int dy)
{
    const Job* owner = kesto::store::find_job(job);
    on_layers(job, step, layers, 0, [&](Layer& l) { return place_indexed(*owner, l, kesto::edit::moved(dx, dy)); }, true);
}

void copy_features_in_samelayer(const std::string& job, const std::string& step, std::vector<std::string> layers, int dx,
                                int dy)
{
    const Job* owner = kesto::store::find_job(job);
    on_layers(job, step, layers, 0,
              [&](Layer& l) { return copy_indexed(*owner, l, l, kesto::edit::moved(dx, dy), false); }, true);
}

namespace {

kesto::edit::Placement anchored(bool mirror, double rotation, double x_anchor, double y_anchor, int dx, int dy)
{
    kesto::edit::Placement p;
    p.origin = from_working(x_anchor, y_anchor);
    p.mirror = mirror;
    p.angle = rotation;
    p.offset = kesto::Point{dx, dy};
    return p;
}

} // namespace

void copy_features_to_otherLayer(const std::string& job, const std::string& step,
                                 const std::vector<std::string>& src_layers, const std::vector<std::string>& dst_layers,
                                 bool invert, int dx, double dy, double mirror, double resize, double rotation,
                                 double x_anchor, double y_anchor)
{
    if (resize != 0) {
        LOG(ERROR) << "copy_features_to_otherLayer: resizing copies is not supported yet";
        return;
    }
    Target src, dst;
    if (!resolve(job, step, src_layers, src) || !resolve(job, step, dst_layers, dst)) return;
    const auto p = anchored(mirror != 0, rotation, x_anchor, y_anchor, dx, static_cast<int>(dy));
    size_t changed = 0;
    for (Layer* to : dst.layers)
        for (Layer* from : src.layers) changed += copy_indexed(*src.job, *from, *to, p, invert);
    mark_changed(*src.job, changed);
}

bool move_other_layer(const std::string& src_job, const std::string& src_step, const std::vector<std::string>& src_layers,
                      const std::string& dst_job, const std::string& dst_step, const std::string& dst_layer, bool invert,
                      int dx, int dy, int mirror, double resize, double rotation, double x_anchor, double y_anchor)
{
    if (resize != 0) {
        LOG(ERROR) << "move_other_layer: resizing is not supported yet";
        return false;
    }
    Target src, dst;
    if (!resolve(src_job, src_step, src_layers, src) || !resolve(dst_job, dst_step, {dst_layer}, dst)) return false;
    const auto p = anchored(mirror != 0, rotation, x_anchor, y_anchor, dx, dy);
    size_t moved = 0;
    for (Layer* from : src.layers) {
        if (from == dst.layers.front()) {
            moved += place_indexed(*src.job, *from, p);
            if (invert) kesto::edit::set_polarity_selected(*from, kesto::edit::PolarityChange::Invert);
            continue;
        }
        moved += copy_indexed(*dst.job, *from, *dst.layers.front(), p, invert);
        delete_indexed(*from);
    }
    mark_changed(*src.job, moved);
    mark_changed(*dst.job, moved);
    return true;
}

bool transform(const std::string& job, const std::string& step, const std::string& layer, int mode, bool rotate,
               bool scale, bool mirror_x, bool mirror_y, bool duplicate, point datum, double angle, double xscale,
               double yscale, double xoffset, double yoffset, double point_x, double point_y)
{
    Job* owner = nullptr;
    Layer* l = one_layer(job, step, layer, &owner);
    if (!l) return false;
    kesto::edit::Placement p;
    p.origin = mode == 0 ? kesto::store::find_step(*owner, step)->datum : from_working(point_x, point_y);
    if (mode == 0 && (datum.ix != 0 || datum.iy != 0)) p.origin = kesto::Point{datum.ix, datum.iy};
    if (rotate) p.angle = angle;
    if (scale) {
        if (xscale == 0 || yscale == 0) {
            LOG(ERROR) << "transform: a scale of 0 would collapse the features";
            return false;
        }
        p.scale_x = xscale;
        p.scale_y = yscale;
    }
    // Mirror in X flips x; a mirror in Y is a mirror in X and a half turn.
    if (mirror_x) p.mirror = true;
    if (mirror_y) {
        p.mirror = !p.mirror;
        p.angle += 180;
    }
    p.offset = from_working(xoffset, yoffset);
    const size_t n = duplicate ? copy_indexed(*owner, *l, *l, p, false) : place_indexed(*owner, *l, p);
    mark_changed(*owner, n);
    return true;
}

bool polarity(const Op::OpPara& para)
{
    const auto change = para.polarity == 0   ? kesto::edit::PolarityChange::Positive
                        : para.polarity == 1 ? kesto::edit::PolarityChange::Negative
                                             : kesto::edit::PolarityChange::Invert;
    return on_layers(para.job, para.step, para.layers, para.sel_type,
                     [&](Layer& l) { return kesto::edit::set_polarity_selected(l, change); }, true);
}

void modify_attributes(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int mode,
                       const std::map<std::string, std::string>& attributes)
{
    const auto change = mode == 1   ? kesto::edit::AttributeChange::Replace
                         : mode == 2 ? kesto::edit::AttributeChange::Remove
                                     : kesto::edit::AttributeChange::Add;
    on_layers(job, step, layers, 0,
              [&](Layer& l) { return kesto::edit::change_attributes_selected(l, change, attributes); }, true);
}

void move_selected_features_index(const std::string& job, const std::string& step,
                                  const std::vector<std::string>& layers, bool put_last)
{
    on_layers(job, step, layers, 0, [&](Layer& l) { return reorder_indexed(l, put_last); }, true);
}

void select_features(const std::string& job, const std::string& step, const std::string& layer)
{
    by_filter(job, step, layer, false, true);
}
void unselect_features(const std::string& job, const std::string& step, const std::string& layer)
{
    by_filter(job, step, layer, false, false);
}
void highlight_features(const std::string& job, const std::string& step, const std::string& layer)
{
    by_filter(job, step, layer, true, true);
}
void unhighlight_features(const std::string& job, const std::string& step, const std::string& layer)
{
    by_filter(job, step, layer, true, false);
}

void clear_selected_features(const std::string& job, const std::string& step, const std::string& layer)
{
    if (Layer* l = one_layer(job, step, layer)) kesto::edit::clear_selection(*l);
}

void clear_highlighted_features(const std::string& job, const std::string& step, const std::string& layer)
{
    if (Layer* l = one_layer(job, step, layer)) kesto::edit::clear_highlight(*l);
}

bool reverse_select(const std::string& job, const std::string& step, const std::string& layer)
{
    Layer* l = one_layer(job, step, layer);
    if (!l) return false;
    kesto::edit::reverse_selection(*l);
    return true;
}

bool is_selected(const std::string& job, const std::string& step, const std::string& layer)
{
    Layer* l = one_layer(job, step, layer);
    return l && kesto::edit::count_selected(*l) > 0;
}

void select_feature_by_id(const std::string& job, const std::string& step, const std::string& layer,
                          const std::vector<int>& indices)
{
    Layer* l = one_layer(job, step, layer);
    if (!l) return;
    for (int i : indices)
        if (i >= 0 && static_cast<size_t>(i) < l->features.size()) l->features[static_cast<size_t>(i)].selected = true;
}

} // namespace API
} // namespace KESTO
