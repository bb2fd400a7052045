#include "engine/api/edit.h"

#include "engine/api/display.h"
#include "engine/api/symbol_names.h"
#include "engine/api/units.h"
#include "engine/api/selection.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/reshape.h"
#include "engine/edit/resize.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/grow.h"
#include "engine/geometry/outline.h"
#include "engine/select/filter.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <climits>
#include <optional>

namespace KESTO {
namespace API {
namespace {

using kesto::Job;
using kesto::Layer;
using kesto::Step;

// The open job, its step and the named layers; logs what it cannot find.
// Selection changes and reading go through it; edits go through Edited.
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

using Keeps = kesto::store::Edit::Keeps;

// Whether any of the named layers has a selected feature (false when a name
// does not resolve; the edit then reports it).
bool any_selected(const std::string& job, const std::string& step, const std::vector<std::string>& layers)
{
    Job* j = kesto::store::find_job(job);
    Step* s = j ? kesto::store::find_step(*j, step) : nullptr;
    if (!s) return false;
    for (const std::string& name : layers) {
        const Layer* l = kesto::store::find_layer(*j, *s, name);
        if (l && kesto::edit::count_selected(*l) > 0) return true;
    }
    return false;
}

// The layers of one edit, recorded for undo as they are opened: every
// operation here that changes features reaches its layers this way.
struct Edited : Target {
    std::optional<kesto::store::Edit> record;
    void finish(size_t changed) { record->finish(changed); }
};

bool open_edit(const std::string& job, const std::string& step, const std::vector<std::string>& layers, Edited& out,
               Keeps keeps = Keeps::Layers)
{
    if (!resolve(job, step, layers, out)) return false;
    out.record.emplace(*out.job, step, layers, keeps);
    return true;
}

Layer* one_layer(const std::string& job, const std::string& step, const std::string& layer, Job** owner = nullptr)
{
    Target t;
    if (!resolve(job, step, {layer}, t)) return nullptr;
    if (owner) *owner = t.job;
    return t.layers.front();
}

// How an edit changes a layer, for undo: anything (the whole layer is kept),
// or only its selected features, in place or by appending after them.
enum class Touches { Layer, Selection };

// Applies `edit` to each layer's selection (or, with sel_type 1, to every
// feature of it) and answers whether the names resolved. The layers' spatial
// indexes are dropped afterwards unless the edit kept them current itself
// (`keeps_index`).
template <class Edit>
bool on_layers(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int sel_type,
               Edit&& edit, bool keeps_index = false, Touches touches = Touches::Layer)
{
    // Nothing selected: nothing to change, and no layer copied for undo.
    if (sel_type != 1 && !any_selected(job, step, layers)) {
        Target none;
        return resolve(job, step, layers, none);
    }
    Edited t;
    const Keeps keeps = touches == Touches::Selection && sel_type != 1 ? Keeps::Selection : Keeps::Layers;
    if (!open_edit(job, step, layers, t, keeps)) return false;
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
    t.finish(changed);
    return true;
}

kesto::Point from_working(double x, double y) { return kesto::Point{from_working_unit(x), from_working_unit(y)}; }

std::vector<bool> picked_of(const Layer& layer, bool all)
{
    std::vector<bool> picked(layer.features.size(), all);
    if (!all)
        for (size_t i = 0; i < layer.features.size(); ++i) picked[i] = layer.features[i].selected;
    return picked;
}

// A symbol the host names, read in the working unit, or one of the job's own.
bool symbol_named(const Job& job, const std::string& name, kesto::Symbol& out)
{
    out = symbol_from_working_name(name);
    if (out.family == kesto::SymbolFamily::Unknown && job.symbols.count(name)) out.family = kesto::SymbolFamily::User;
    return out.family != kesto::SymbolFamily::Unknown;
}

// A width change in the working unit as nanometres.
double delta_of(double working) { return double(from_working_unit(working)); }

// Copies and moves that resize: the picked features grow by `resize`
// (working unit) of width, as a global resize would grow them.
void resize_picked(Layer& layer, const std::vector<bool>& picked, double resize)
{
    if (resize == 0) return;
    const auto n = kesto::edit::resize_features(layer, picked, delta_of(resize), false);
    if (n.skipped) LOG(WARNING) << n.skipped << " features could not take a size changed by " << resize;
    kesto::select::forget(layer);
}

// The same for the features from position `first` on (the copies just made).
void resize_from(Layer& layer, size_t first, double resize)
{
    std::vector<bool> picked(layer.features.size(), false);
    for (size_t i = first; i < picked.size(); ++i) picked[i] = true;
    resize_picked(layer, picked, resize);
}


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
    const bool only_moved = !p.mirror && p.angle == 0 && p.scale_x == 1 && p.scale_y == 1;
    if (only_moved) kesto::select::shifted(l, positions, p.offset.x, p.offset.y);
    else kesto::select::moved(job, l, positions);
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
    on_layers(job, step, layers, 0, [&](Layer& l) { return place_indexed(*owner, l, kesto::edit::moved(dx, dy)); }, true,
              Touches::Selection);
}

void copy_features_in_samelayer(const std::string& job, const std::string& step, std::vector<std::string> layers, int dx,
                                int dy)
{
    const Job* owner = kesto::store::find_job(job);
    on_layers(job, step, layers, 0,
              [&](Layer& l) { return copy_indexed(*owner, l, l, kesto::edit::moved(dx, dy), false); }, true,
              Touches::Selection);
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
    Target src;
    Edited dst;
    if (!resolve(job, step, src_layers, src) || !open_edit(job, step, dst_layers, dst)) return;
    const auto p = anchored(mirror != 0, rotation, x_anchor, y_anchor, dx, static_cast<int>(dy));
    size_t changed = 0;
    for (Layer* to : dst.layers)
        for (Layer* from : src.layers) {
            const size_t first = to->features.size();
            changed += copy_indexed(*src.job, *from, *to, p, invert);
            resize_from(*to, first, resize);
        }
    dst.finish(changed);
}

bool move_other_layer(const std::string& src_job, const std::string& src_step, const std::vector<std::string>& src_layers,
                      const std::string& dst_job, const std::string& dst_step, const std::string& dst_layer, bool invert,
                      int dx, int dy, int mirror, double resize, double rotation, double x_anchor, double y_anchor)
{
    Target found;
    if (!resolve(dst_job, dst_step, {dst_layer}, found)) return false;
    // Within one step the move is one edit of every layer it touches; across
    // steps or jobs each side keeps its own record.
    const bool one_step = found.job == kesto::store::find_job(src_job) && dst_step == src_step;
    std::vector<std::string> touched = src_layers;
    if (one_step) touched.push_back(dst_layer);
    Edited src, dst;
    if (!open_edit(src_job, src_step, touched, src) || (!one_step && !open_edit(dst_job, dst_step, {dst_layer}, dst)))
        return false;
    Layer* to = found.layers.front();
    src.layers.resize(src_layers.size());
    const auto p = anchored(mirror != 0, rotation, x_anchor, y_anchor, dx, dy);
    size_t moved = 0;
    for (Layer* from : src.layers) {
        if (from == to) {
            std::vector<bool> picked = picked_of(*from, false);
            moved += place_indexed(*src.job, *from, p);
            if (invert) kesto::edit::set_polarity_selected(*from, kesto::edit::PolarityChange::Invert);
            resize_picked(*from, picked, resize);
            continue;
        }
        const size_t first = to->features.size();
        moved += copy_indexed(*found.job, *from, *to, p, invert);
        resize_from(*to, first, resize);
        delete_indexed(*from);
    }
    src.finish(moved);
    if (dst.record) dst.finish(moved);
    return true;
}

bool transform(const std::string& job, const std::string& step, const std::string& layer, int mode, bool rotate,
               bool scale, bool mirror_x, bool mirror_y, bool duplicate, point datum, double angle, double xscale,
               double yscale, double xoffset, double yoffset, double point_x, double point_y)
{
    if (scale && (xscale == 0 || yscale == 0)) {
        LOG(ERROR) << "transform: a scale of 0 would collapse the features";
        return false;
    }
    Edited t;
    if (!open_edit(job, step, {layer}, t, Keeps::Selection)) return false;
    Job* owner = t.job;
    Layer* l = t.layers.front();
    kesto::edit::Placement p;
    p.origin = mode == 0 ? kesto::store::find_step(*owner, step)->datum : from_working(point_x, point_y);
    if (mode == 0 && (datum.ix != 0 || datum.iy != 0)) p.origin = kesto::Point{datum.ix, datum.iy};
    if (rotate) p.angle = angle;
    if (scale) {
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
    t.finish(n);
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

// ---------------------------------------------------------------- resizing and reshaping

namespace {

// Runs `edit(job, layer, picked)` on each named layer, with the selected
// features picked (or every feature when `all`), and answers whether the
// names resolved.
// Some commands name no job: then the job is the one open, when only one is.
std::string job_or_only_open(const std::string& job)
{
    if (!job.empty()) return job;
    const auto open = kesto::store::job_names();
    return open.size() == 1 ? open.front() : job;
}

bool open_edit_any(const std::string& job, const std::string& step, const std::vector<std::string>& layers, Edited& t)
{
    return open_edit(job_or_only_open(job), step, layers, t);
}

template <class Edit>
bool on_picked(const std::string& job, const std::string& step, const std::vector<std::string>& layers, bool all,
               Edit&& edit)
{
    // Nothing selected: nothing to change, and no layer copied for undo.
    if (!all && !any_selected(job_or_only_open(job), step, layers)) {
        Target none;
        return resolve(job_or_only_open(job), step, layers, none);
    }
    Edited t;
    if (!open_edit_any(job, step, layers, t)) return false;
    size_t changed = 0;
    for (Layer* layer : t.layers) {
        const size_t n = edit(*t.job, *layer, picked_of(*layer, all));
        if (n) kesto::select::forget(*layer);
        changed += n;
    }
    t.finish(changed);
    return true;
}

// A length in the working unit as nanometres, held to what the kernel accepts.
double nm_of(double working)
{
    return double(kesto::geom::to_nm(working * (working_unit_is_inch() ? kesto::kNmPerInch : kesto::kNmPerMm)));
}

// A clip margin in nanometres: beyond the length limit it throws (the host
// gets the error text), so it is converted before the edit opens.
double margin_nm(double working)
{
    return double(from_working_unit(working));
}

constexpr double kDefaultPen = 25400; // 1 mil

} // namespace

bool resize_global(const Op::OpPara& para, resize_global_result& result)
{
    result = {};
    const double delta = nm_of(para.size);
    return on_picked(para.job, para.step, para.layers, para.sel_type == 1,
                     [&](Job&, Layer& l, const std::vector<bool>& picked) {
                         const auto n = kesto::edit::resize_features(l, picked, delta, para.corner == 1);
                         result.resized += static_cast<int>(n.resized);
                         result.skipped += static_cast<int>(n.skipped);
                         return n.resized;
                     });
}

bool resize_polyline(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                     double size, bool selected_only)
{
    const double delta = nm_of(size);
    return on_picked(job, step, layers, !selected_only, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        return kesto::edit::resize_features(l, picked, delta, false, kesto::edit::ResizeKinds::LinesAndArcs).resized;
    });
}

std::vector<std::vector<point>> resize_polygon(const std::vector<point>& polygon, double resize_value)
{
    kesto::geom::Path path;
    for (const point& p : polygon) path.push_back({p.ix, p.iy});
    std::vector<std::vector<point>> out;
    for (const auto& result : kesto::edit::resize_polygon(path, nm_of(resize_value))) {
        std::vector<point> points;
        for (const auto& q : result) {
            // Points cross the boundary as 32-bit engine units.
            if (q.X < INT32_MIN || q.X > INT32_MAX || q.Y < INT32_MIN || q.Y > INT32_MAX) return {};
            points.push_back(point{static_cast<std::int32_t>(q.X), static_cast<std::int32_t>(q.Y)});
        }
        out.push_back(std::move(points));
    }
    return out;
}

bool connections(const Op::OpPara& para)
{
    const double reach = nm_of(para.radius);
    return on_picked(para.job, para.step, para.layers, para.sel_type == 1,
                     [&](Job&, Layer& l, const std::vector<bool>& picked) {
                         return para.connect_type == 1 ? kesto::edit::join_corners(l, picked, reach)
                                                       : kesto::edit::split_at_crossings(l, picked);
                     });
}

void change_feature_symbols(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            const std::string& symbol, bool keep_angle, int& count)
{
    count = 0;
    if (symbol.empty()) {
        LOG(ERROR) << "change_feature_symbols: no symbol named";
        return;
    }
    const Job* owner = kesto::store::find_job(job_or_only_open(job));
    kesto::Symbol s;
    if (owner && !symbol_named(*owner, symbol, s)) {
        LOG(ERROR) << "change_feature_symbols: \"" << symbol << "\" is neither a standard nor a user symbol";
        return;
    }
    on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        const size_t n = kesto::edit::change_symbols(l, picked, s, keep_angle);
        count += static_cast<int>(n);
        return n;
    });
}

void break_symbols(const Op::OpPara& para)
{
    on_picked(para.job, para.step, para.layers, para.sel_type == 1,
              [&](Job& owner, Layer& l, const std::vector<bool>& picked) {
                  return kesto::edit::break_features(l, picked, kesto::geom::context_of(owner));
              });
}

bool break_arc_to_lines(const Op::OpPara& para)
{
    const double tolerance = nm_of(para.radius);
    return on_picked(para.job, para.step, para.layers, para.sel_type == 1,
                     [&](Job&, Layer& l, const std::vector<bool>& picked) {
                         return kesto::edit::arcs_to_lines(l, picked, tolerance);
                     });
}

bool reshape_contour_to_pad(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            double tolerance, double minsize, double maxsize, std::string suffix)
{
    kesto::edit::ContourToPad how;
    how.tolerance = nm_of(tolerance);
    how.min_size = nm_of(minsize);
    how.max_size = nm_of(maxsize);
    return on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        return kesto::edit::contours_to_pads(l, picked, how);
    });
}

bool reshape_line_to_pad(const Op::OpPara& para)
{
    return on_picked(para.job, para.step, para.layers, para.sel_type == 1,
                     [](Job&, Layer& l, const std::vector<bool>& picked) { return kesto::edit::lines_to_pads(l, picked); });
}

bool reshape_line_to_pad(const std::string& job, const std::string& step, const std::vector<std::string>& layers)
{
    Op::OpPara para;
    para.job = job;
    para.step = step;
    para.layers = layers;
    return reshape_line_to_pad(para);
}

bool reshape_pad_to_line(const std::string& job, const std::string& step, const std::vector<std::string>& layers)
{
    return on_picked(job, step, layers, false,
                     [](Job&, Layer& l, const std::vector<bool>& picked) { return kesto::edit::pads_to_lines(l, picked); });
}

bool reshape_pad_to_outline(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            double width)
{
    const double pen = width > 0 ? nm_of(width) : kDefaultPen;
    return on_picked(job, step, layers, false, [&](Job& owner, Layer& l, const std::vector<bool>& picked) {
        return kesto::edit::pads_to_outlines(l, picked, pen, kesto::geom::context_of(owner));
    });
}

bool reshape_surface_to_outline(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                                double width)
{
    const double pen = width > 0 ? nm_of(width) : kDefaultPen;
    return on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        return kesto::edit::surfaces_to_outlines(l, picked, pen);
    });
}

bool reshape_outline_to_surface(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                                bool can_to_pad)
{
    return on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        const size_t bodies_before = l.surfaces.size();
        const size_t n = kesto::edit::outlines_to_surfaces(l, picked);
        if (can_to_pad && n) {
            std::vector<bool> made(l.features.size(), false);
            for (size_t i = 0; i < l.features.size(); ++i)
                made[i] = l.features[i].kind == kesto::FeatureKind::Surface && l.features[i].body >= bodies_before;
            kesto::edit::contours_to_pads(l, made, kesto::edit::ContourToPad{});
        }
        return n;
    });
}

bool reshape_contourize(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                        double accuracy, bool separate_to_islands, double max_size, int clear_mode,
                        COMMON::progress_value<int>* progress)
{
    kesto::edit::Contourize how;
    how.accuracy = nm_of(accuracy);
    how.separate_islands = separate_to_islands;
    how.hole_size = nm_of(max_size);
    how.clean = clear_mode == 1   ? kesto::edit::HoleClean::BothSides
                : clear_mode == 2 ? kesto::edit::HoleClean::Area
                                  : kesto::edit::HoleClean::EitherSide;
    Edited t;
    if (!open_edit_any(job, step, layers, t)) return false;
    if (progress) {
        int total = 0;
        for (Layer* l : t.layers) total += static_cast<int>(kesto::edit::count_selected(*l));
        progress->total = total;
        progress->done = 0;
    }
    how.step = [progress] {
        if (!progress) return true;
        ++progress->done;
        return !progress->cancel.load();
    };
    const auto context = kesto::geom::context_of(*t.job);
    size_t made = 0;
    for (Layer* l : t.layers) {
        const size_t n = kesto::edit::contourize(*l, picked_of(*l, false), how, context);
        if (n) kesto::select::forget(*l);
        made += n;
    }
    t.finish(made);
    return !(progress && progress->cancel.load());
}

bool reshape_substitute(const Op::OpPara& para)
{
    if (para.symbol_name.empty()) {
        LOG(ERROR) << "reshape_substitute: no symbol named";
        return false;
    }
    const Job* owner = kesto::store::find_job(job_or_only_open(para.job));
    kesto::Symbol s;
    if (owner && !symbol_named(*owner, para.symbol_name, s)) {
        LOG(ERROR) << "reshape_substitute: \"" << para.symbol_name << "\" is no symbol";
        return false;
    }
    const double size = nm_of(para.size);
    Edited t;
    if (!open_edit_any(para.job, para.step, para.layers, t)) return false;
    const auto context = kesto::geom::context_of(*t.job);
    size_t changed = 0;
    for (Layer* l : t.layers) {
        const size_t n = kesto::edit::substitute(*l, picked_of(*l, para.sel_type == 1), s, size,
                                                 para.dcode, context);
        if (n) kesto::select::forget(*l);
        changed += n;
    }
    t.finish(changed);
    return true;
}

bool change_text(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                 const std::string& text, const std::string& font, int x_size, int y_size, int width, int polarity,
                 int mirror, int angle)
{
    kesto::edit::TextChange change;
    change.text = text;
    change.font = font;
    change.xsize = x_size;
    change.ysize = y_size;
    change.width_factor = width > 0 ? width / 304800.0 : 0;
    change.polarity = polarity;
    change.mirror = mirror;
    change.angle = angle;
    size_t changed = 0;
    const bool found = on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        const size_t n = kesto::edit::change_texts(l, picked, change);
        changed += n;
        return n;
    });
    return found && changed > 0;
}

bool negative_layer_to_positive(const std::string& job, const std::string& step,
                                const std::vector<std::string>& layers)
{
    Edited t;
    if (!open_edit_any(job, step, layers, t)) return false;
    const auto context = kesto::geom::context_of(*t.job);
    size_t changed = 0;
    for (size_t i = 0; i < layers.size(); ++i) {
        Layer& l = *t.layers[i];
        kesto::MatrixRow* row = kesto::store::find_row(*t.job, layers[i]);
        const bool negative_row = row && row->polarity == "NEGATIVE";
        const bool has_negative = std::any_of(l.features.begin(), l.features.end(), [](const kesto::Feature& f) {
            return f.polarity == kesto::Polarity::Negative;
        });
        if (!negative_row && !has_negative) continue;
        kesto::geom::Paths image = kesto::geom::layer_outline(l, context);
        if (negative_row) {
            if (!t.step->has_profile) {
                LOG(ERROR) << "negative_layer_to_positive: step \"" << step << "\" has no profile to invert \""
                           << layers[i] << "\" in";
                t.finish(changed);
                return false;
            }
            image = kesto::geom::subtract(kesto::geom::surface_outline(t.step->profile), image);
            row->polarity = "POSITIVE";
        }
        l.features.clear();
        l.surfaces.clear();
        l.texts.clear();
        kesto::Feature model;
        model.kind = kesto::FeatureKind::Surface;
        for (kesto::Surface& body : kesto::edit::islands_of(image)) {
            l.surfaces.push_back(std::move(body));
            model.body = static_cast<std::uint32_t>(l.surfaces.size() - 1);
            l.features.push_back(model);
        }
        kesto::select::forget(l);
        ++changed;
    }
    t.finish(changed);
    return true;
}

namespace {

// The area grown (or shrunk) by the margin. A margin beyond the extent of the
// area and the layers together has a known answer, found without growing
// anything: growing reaches every feature (the extent, a little larger, is as
// good an area), shrinking leaves nothing.
kesto::geom::Paths grown_area(const kesto::geom::Paths& area, double margin, const Target& t,
                              const kesto::geom::OutlineContext& context)
{
    kesto::Box extent = kesto::geom::box_of(area);
    for (const Layer* l : t.layers) extent.add(kesto::geom::layer_box(*l, context));
    if (area.empty() || extent.empty()) return {};
    const double reach = std::hypot(double(extent.xmax - extent.xmin), double(extent.ymax - extent.ymin));
    if (margin >= reach) {
        const kesto::Coord pad = kesto::kNmPerMm;
        return {{{extent.xmin - pad, extent.ymin - pad},
                 {extent.xmax + pad, extent.ymin - pad},
                 {extent.xmax + pad, extent.ymax + pad},
                 {extent.xmin - pad, extent.ymax + pad}}};
    }
    if (margin <= -reach) return {};
    return kesto::geom::grow(area, margin);
}

// `margin` in nanometres.
bool clip_layers(Edited& t, kesto::geom::Paths area, bool inside, bool cut, double margin, int types)
{
    const auto context = kesto::geom::context_of(*t.job);
    if (margin != 0) area = grown_area(area, margin, t, context);
    if (area.empty()) {
        LOG(ERROR) << "clip area: the area is empty";
        t.finish(0);
        return false;
    }
    size_t changed = 0;
    for (Layer* l : t.layers) {
        std::vector<bool> picked(l->features.size());
        for (size_t i = 0; i < picked.size(); ++i)
            picked[i] = types == 0 || (kesto::select::type_bit(l->features[i].kind) & types) != 0;
        const size_t n = kesto::edit::clip_area(*l, picked, area, inside, cut, context);
        if (n) kesto::select::forget(*l);
        changed += n;
    }
    t.finish(changed);
    return true;
}

} // namespace

bool clip_area_use_manual(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                          const std::vector<point>& points, bool clipinside, bool clipcontour, double margin,
                          int featuretype)
{
    kesto::geom::Path polygon;
    for (const point& p : points) polygon.push_back({p.ix, p.iy});
    if (polygon.size() < 3) {
        LOG(ERROR) << "clip_area_use_manual: the area needs three points or more";
        return false;
    }
    const double grow = margin_nm(margin);
    Edited t;
    if (!open_edit(job, step, layers, t)) return false;
    return clip_layers(t, kesto::geom::unite({polygon}), clipinside, clipcontour, grow, featuretype);
}

bool clip_area_use_profile(const std::string& job, const std::string& step, const std::string& layer, bool clipinside,
                           bool clipcontour, double margin, int featuretype)
{
    const double grow = margin_nm(margin);
    Edited t;
    if (!open_edit(job, step, {layer}, t)) return false;
    if (!t.step->has_profile) {
        LOG(ERROR) << "clip_area_use_profile: step \"" << step << "\" has no profile";
        t.finish(0);
        return false;
    }
    return clip_layers(t, kesto::geom::surface_outline(t.step->profile), clipinside, clipcontour, grow, featuretype);
}

bool clip_area_use_reference(const std::string& job, const std::string& step, const std::string& work_layer,
                             const std::string& reference_layer, double margin, bool clipcontour, int featuretype)
{
    const double grow = margin_nm(margin);
    Target reference;
    Edited t;
    if (!resolve(job, step, {reference_layer}, reference) || !open_edit(job, step, {work_layer}, t)) return false;
    const auto area = kesto::geom::layer_outline(*reference.layers.front(), kesto::geom::context_of(*t.job));
    return clip_layers(t, area, true, clipcontour, grow, featuretype);
}

bool self_interaction(const std::vector<point>& points)
{
    kesto::geom::Path polygon;
    for (const point& p : points)
        if (polygon.empty() || polygon.back() != kesto::geom::IntPoint{p.ix, p.iy}) polygon.push_back({p.ix, p.iy});
    if (polygon.size() > 1 && polygon.front() == polygon.back()) polygon.pop_back();
    return kesto::edit::crosses_itself(polygon);
}

bool rounding_line_corner(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                          double radius)
{
    if (!(radius > 0)) {
        LOG(ERROR) << "rounding_line_corner: the radius must be above 0";
        return false;
    }
    const double r = nm_of(radius);
    return on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        return kesto::edit::round_corners(l, picked, r);
    });
}

bool use_solid_fill_contours(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                             bool solid_type, double min_brush, bool use_arcs)
{
    if (!solid_type && !(min_brush > 0)) {
        LOG(ERROR) << "use_solid_fill_contours: a brush fill needs a brush above 0";
        return false;
    }
    const double brush = nm_of(min_brush);
    return on_picked(job, step, layers, false, [&](Job&, Layer& l, const std::vector<bool>& picked) {
        return solid_type ? size_t{0} : kesto::edit::brush_fill(l, picked, brush);
    });
}

bool use_pattern_fill_contours(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                               const std::string& symbol, double dx, double dy, bool break_partial,
                               bool cut_primitive, int origin_type, bool outline, double outline_width,
                               bool outline_invert)
{
    const Job* owner = kesto::store::find_job(job_or_only_open(job));
    if (!owner) {
        LOG(ERROR) << "job \"" << job << "\" is not open";
        return false;
    }
    kesto::edit::PatternFill how;
    const auto& context = kesto::geom::context_of(*owner);
    const bool known = symbol_named(*owner, symbol, how.symbol);
    const kesto::Box size = kesto::geom::symbol_box(how.symbol, context);
    if (!known || size.empty()) {
        LOG(ERROR) << "use_pattern_fill_contours: \"" << symbol << "\" is no symbol to fill with";
        return false;
    }
    how.dx = dx > 0 ? nm_of(dx) : double(size.xmax - size.xmin);
    how.dy = dy > 0 ? nm_of(dy) : double(size.ymax - size.ymin);
    how.outline_width = outline ? (outline_width > 0 ? nm_of(outline_width) : kDefaultPen) : 0;
    Edited t;
    if (!open_edit_any(job, step, layers, t)) return false;
    size_t changed = 0;
    for (Layer* l : t.layers) {
        how.origin = t.step->datum;
        how.origin_at_box = origin_type == 1;
        how.break_partial = break_partial;
        how.cut_primitive = cut_primitive;
        how.outline_negative = outline_invert;
        const size_t n = kesto::edit::pattern_fill(*l, picked_of(*l, false), how, context);
        if (n) kesto::select::forget(*l);
        changed += n;
    }
    t.finish(changed);
    return true;
}

bool change_lines(const std::string& job, const std::string& step, const std::string& layer,
                  const std::vector<int>& positions, const std::vector<point>& starts, const std::vector<point>& ends)
{
    Edited t;
    if (!open_edit(job, step, {layer}, t)) return false;
    Layer& l = *t.layers.front();
    std::vector<size_t> moved;
    for (size_t k = 0; k < positions.size() && k < starts.size() && k < ends.size(); ++k) {
        const int at = positions[k];
        if (at < 0 || static_cast<size_t>(at) >= l.features.size()) continue;
        kesto::Feature& f = l.features[static_cast<size_t>(at)];
        if (f.kind != kesto::FeatureKind::Line) continue;
        f.a = kesto::Point{starts[k].ix, starts[k].iy};
        f.b = kesto::Point{ends[k].ix, ends[k].iy};
        moved.push_back(static_cast<size_t>(at));
    }
    t.finish(moved.size());
    if (moved.empty()) return false;
    kesto::select::moved(*t.job, l, moved);
    return true;
}

bool change_arc(const std::string& job, const std::string& step, const std::string& layer, int position, point start,
                point end, point centre, bool cw, bool delete_arc)
{
    Edited t;
    if (!open_edit(job, step, {layer}, t)) return false;
    Layer& l = *t.layers.front();
    if (position < 0 || static_cast<size_t>(position) >= l.features.size() ||
        l.features[static_cast<size_t>(position)].kind != kesto::FeatureKind::Arc) {
        LOG(ERROR) << "change_arc: no arc at " << position << " of layer \"" << layer << "\"";
        t.finish(0);
        return false;
    }
    const size_t at = static_cast<size_t>(position);
    if (delete_arc) {
        std::vector<bool> removed(l.features.size(), false);
        removed[at] = true;
        l.features.erase(l.features.begin() + position);
        kesto::select::erased(l, removed);
    } else {
        kesto::Feature& f = l.features[at];
        f.a = kesto::Point{start.ix, start.iy};
        f.b = kesto::Point{end.ix, end.iy};
        f.c = kesto::Point{centre.ix, centre.iy};
        f.cw = cw;
        kesto::select::moved(*t.job, l, {at});
    }
    t.finish(1);
    return true;
}

} // namespace API
} // namespace KESTO
