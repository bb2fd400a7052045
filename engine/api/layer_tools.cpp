#include "engine/api/layer_tools.h"

#include "engine/api/board_layers.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/reshape.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"
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

namespace {

bool fail(std::string& error, const std::string& why, const char* op)
{
    error = why;
    LOG(ERROR) << op << ": " << why;
    return false;
}

Layer* layer_of(const std::string& job, const std::string& step, const std::string& layer, const char* op,
                board::StepRef& at, std::string& name, std::string& error)
{
    if (!board::find(job, step, op, at)) return fail(error, "the job or step is not there", op), nullptr;
    Layer* l = board::layer(at, layer, op);
    if (!l) return fail(error, "layer \"" + layer + "\" is not there", op), nullptr;
    name = board::row(at, layer)->name;
    return l;
}

// Keeps the entries of `items` whose flag is set, and answers where each old
// position went (-1: dropped).
template <class T>
std::vector<long> compact(std::vector<T>& items, const std::vector<bool>& used)
{
    std::vector<long> to(items.size(), -1);
    std::vector<T> kept;
    for (size_t i = 0; i < items.size(); ++i)
        if (used[i]) {
            to[i] = long(kept.size());
            kept.push_back(std::move(items[i]));
        }
    items = std::move(kept);
    return to;
}

} // namespace

bool layer_rebuild(const std::string& job, const std::string& step, const std::string& layer_name,
                   layer_rebuild_result& out, std::string& error)
{
    const char* op = "layer_rebuild";
    out = {};
    board::StepRef at;
    std::string name;
    Layer* layer = layer_of(job, step, layer_name, op, at, name, error);
    if (!layer) return false;
    store::Edit edit(*at.job, at.step->name, {name});
    Layer& l = *layer;
    out.features = int(l.features.size());
    out.symbols_before = int(l.symbols.size());

    // One symbol per name: later entries of a name stand for the first.
    std::map<std::string, size_t> first_of;
    std::vector<size_t> same(l.symbols.size());
    for (size_t i = 0; i < l.symbols.size(); ++i) same[i] = first_of.emplace(l.symbols[i].name, i).first->second;
    std::vector<bool> symbol_used(l.symbols.size()), surface_used(l.surfaces.size()), text_used(l.texts.size()),
        set_used(l.attribute_sets.size());
    auto valid = [](long i, size_t n) { return i >= 0 && size_t(i) < n; };
    for (Feature& f : l.features) {
        if (valid(f.symbol, same.size())) symbol_used[same[size_t(f.symbol)]] = true;
        if (f.kind == FeatureKind::Surface && f.body < l.surfaces.size()) surface_used[f.body] = true;
        if ((f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) && f.body < l.texts.size())
            text_used[f.body] = true;
        if (f.attributes && f.attributes <= l.attribute_sets.size()) set_used[f.attributes - 1] = true;
    }
    const size_t bodies = l.surfaces.size() + l.texts.size(), sets = l.attribute_sets.size();
    const std::vector<long> symbol_to = compact(l.symbols, symbol_used);
    const std::vector<long> surface_to = compact(l.surfaces, surface_used);
    const std::vector<long> text_to = compact(l.texts, text_used);
    const std::vector<long> set_to = compact(l.attribute_sets, set_used);
    for (Feature& f : l.features) {
        if (valid(f.symbol, same.size())) f.symbol = std::int32_t(symbol_to[same[size_t(f.symbol)]]);
        if (f.kind == FeatureKind::Surface && f.body < surface_to.size()) f.body = std::uint32_t(surface_to[f.body]);
        if ((f.kind == FeatureKind::Text || f.kind == FeatureKind::Barcode) && f.body < text_to.size())
            f.body = std::uint32_t(text_to[f.body]);
        if (f.attributes && f.attributes <= set_to.size()) f.attributes = std::uint32_t(set_to[f.attributes - 1] + 1);
    }
    out.symbols_after = int(l.symbols.size());
    out.bodies_dropped = int(bodies - l.surfaces.size() - l.texts.size());
    out.attribute_sets_dropped = int(sets - l.attribute_sets.size());
    select::forget(l);
    edit.finish(size_t(out.symbols_before - out.symbols_after + out.bodies_dropped + out.attribute_sets_dropped));
    return true;
}

bool filter_by_mode(const std::string& job, const std::string& step, const std::string& layer_name, int kinds,
                    const std::string& polarity, int& selected, std::string& error)
{
    const char* op = "filter_by_mode";
    selected = 0;
    if (kinds < 0 || kinds > 31) return fail(error, "the kinds are a sum of 1, 2, 4, 8 and 16", op);
    const std::string p = lower(polarity);
    if (!p.empty() && p != "positive" && p != "negative")
        return fail(error, "the polarity is \"positive\", \"negative\" or empty", op);
    board::StepRef at;
    std::string name;
    Layer* layer = layer_of(job, step, layer_name, op, at, name, error);
    if (!layer) return false;
    for (Feature& f : layer->features) {
        if (!f.selected) continue;
        int bit = 0;
        switch (f.kind) {
        case FeatureKind::Line: bit = 1; break;
        case FeatureKind::Pad: bit = 2; break;
        case FeatureKind::Arc: bit = 4; break;
        case FeatureKind::Surface: bit = 8; break;
        case FeatureKind::Text:
        case FeatureKind::Barcode: bit = 16; break;
        }
        const bool polarity_ok = p.empty() || (p == "positive") == (f.polarity == Polarity::Positive);
        f.selected = (kinds & bit) && polarity_ok;
        selected += f.selected;
    }
    return true;
}

bool auto_move_drill_pad(const std::string& job, const std::string& step, const std::string& layer_name,
                         std::string& drill, double max_offset, std::vector<moved_pad>& moved, std::string& error)
{
    const char* op = "auto_move_drill_pad";
    moved.clear();
    if (!(max_offset > 0)) return fail(error, "the largest offset must be positive", op);
    board::StepRef at;
    std::string name;
    Layer* layer = layer_of(job, step, layer_name, op, at, name, error);
    if (!layer) return false;
    if (drill.empty()) {
        const auto through = board::drills_through(*at.job, name);
        if (through.empty()) return fail(error, "no drill layer goes through \"" + name + "\"", op);
        drill = through.front();
    }
    const Layer* holes = board::layer(at, drill, op);
    if (!holes) return fail(error, "drill layer \"" + drill + "\" is not there", op);
    drill = board::row(at, drill)->name;

    // Hole centres sorted by x; each pad looks at those within the offset.
    std::vector<Point> centres;
    for (const Feature& h : holes->features)
        if (h.kind == FeatureKind::Pad) centres.push_back(h.a);
    std::sort(centres.begin(), centres.end(), [](const Point& a, const Point& b) { return a.x < b.x; });
    const Coord reach = from_working_unit(max_offset);
    store::Edit edit(*at.job, at.step->name, {name});
    for (size_t i = 0; i < layer->features.size(); ++i) {
        Feature& pad = layer->features[i];
        if (pad.kind != FeatureKind::Pad) continue;
        auto it = std::lower_bound(centres.begin(), centres.end(), pad.a.x - reach,
                                   [](const Point& c, Coord x) { return c.x < x; });
        const Point* best = nullptr;
        double best_d = double(reach);
        for (; it != centres.end() && it->x <= pad.a.x + reach; ++it) {
            const double d = std::hypot(double(it->x - pad.a.x), double(it->y - pad.a.y));
            if (d <= best_d) best_d = d, best = &*it;
        }
        if (!best || (best->x == pad.a.x && best->y == pad.a.y)) continue;
        // The hole must be the pad's own: its centre inside the pad.
        if (geom::locate({best->x, best->y}, geom::feature_outline(*layer, pad, *at.context)) != geom::Where::Inside)
            continue;
        moved.push_back({int(i), to_working_unit(best->x - pad.a.x), to_working_unit(best->y - pad.a.y)});
        pad.a = *best;
    }
    if (!moved.empty()) select::forget(*layer);
    edit.finish(moved.size());
    return true;
}

bool construct_pads(const std::string& job, const std::string& step, const std::string& layer_name, double tolerance,
                    int& pads, int& replaced, std::string& error)
{
    const char* op = "construct_pads";
    pads = replaced = 0;
    if (!(tolerance >= 0)) return fail(error, "the tolerance cannot be negative", op);
    board::StepRef at;
    std::string name;
    Layer* layer = layer_of(job, step, layer_name, op, at, name, error);
    if (!layer) return false;
    Layer& l = *layer;
    const bool any_selected =
        std::any_of(l.features.begin(), l.features.end(), [](const Feature& f) { return f.selected; });
    std::vector<size_t> pieces;
    std::vector<Box> boxes;
    geom::Paths drawn;
    for (size_t i = 0; i < l.features.size(); ++i) {
        const Feature& f = l.features[i];
        const bool kind = f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc || f.kind == FeatureKind::Surface;
        if (!kind || f.polarity != Polarity::Positive || (any_selected && !f.selected)) continue;
        const geom::Paths o = geom::feature_outline(l, f, *at.context);
        if (o.empty()) continue;
        pieces.push_back(i);
        boxes.push_back(geom::box_of(o));
        drawn.insert(drawn.end(), o.begin(), o.end());
    }
    const geom::Paths united = geom::unite(drawn);
    geom::Paths islands, holes;
    for (const geom::Path& p : united) (ClipperLib::Orientation(p) ? islands : holes).push_back(p);

    // Each piece belongs to the smallest island whose box holds its box.
    std::vector<Box> island_boxes;
    for (const geom::Path& p : islands) island_boxes.push_back(geom::box_of(p));
    auto holds = [](const Box& outer, const Box& inner) {
        return inner.xmin >= outer.xmin && inner.xmax <= outer.xmax && inner.ymin >= outer.ymin && inner.ymax <= outer.ymax;
    };
    std::vector<long> island_of(l.features.size(), -1);
    for (size_t k = 0; k < pieces.size(); ++k) {
        long best = -1;
        for (size_t n = 0; n < islands.size(); ++n)
            if (holds(island_boxes[n], boxes[k]) &&
                (best < 0 || holds(island_boxes[size_t(best)], island_boxes[n])))
                best = long(n);
        island_of[pieces[k]] = best;
    }
    // Islands with a hole are no standard pad.
    // The pieces' exact extents (a line's round ends not cut to chords) per island:
    // a matched pad takes its size and centre from them.
    std::vector<Box> exact(islands.size());
    for (size_t k = 0; k < pieces.size(); ++k)
        if (island_of[pieces[k]] >= 0) {
            const Feature& f = l.features[pieces[k]];
            Box b = boxes[k];
            const Symbol* pen = f.symbol >= 0 && size_t(f.symbol) < l.symbols.size() ? &l.symbols[size_t(f.symbol)] : nullptr;
            if (f.kind == FeatureKind::Line && pen &&
                (pen->family == SymbolFamily::Round || pen->family == SymbolFamily::Square)) {
                const Coord r = std::llround(pen->p[0] / 2);
                b = Box{std::min(f.a.x, f.b.x) - r, std::min(f.a.y, f.b.y) - r, std::max(f.a.x, f.b.x) + r,
                        std::max(f.a.y, f.b.y) + r};
            }
            exact[size_t(island_of[pieces[k]])].add(Point{b.xmin, b.ymin});
            exact[size_t(island_of[pieces[k]])].add(Point{b.xmax, b.ymax});
        }
    std::vector<bool> holed(islands.size(), false);
    for (const geom::Path& h : holes)
        for (size_t n = 0; n < islands.size(); ++n)
            if (geom::locate(h.front(), {islands[n]}) != geom::Where::Outside) holed[n] = true;

    struct Made {
        std::int32_t symbol = -1;
        Point centre;
        bool placed = false;
    };
    std::vector<Made> made(islands.size());
    for (size_t n = 0; n < islands.size(); ++n) {
        if (holed[n]) continue;
        Point centre;
        Symbol s = edit::matching_symbol(geom::surface_of({islands[n]}), double(from_working_unit(tolerance)), &centre);
        if (s.family == SymbolFamily::Unknown) continue;
        const Box& e = exact[n];
        const double w = double(e.xmax - e.xmin), h = double(e.ymax - e.ymin);
        // The outline's box stands inside the true one by at most the chord error each side.
        if (!e.empty() && std::fabs(w - s.p[0]) <= 2 * geom::kMaxChordError + 2 &&
            (s.family == SymbolFamily::Round || s.family == SymbolFamily::Square ||
             std::fabs(h - s.p[1]) <= 2 * geom::kMaxChordError + 2)) {
            s.p[0] = w;
            if (s.family != SymbolFamily::Round && s.family != SymbolFamily::Square) s.p[1] = h;
            centre = {e.xmin + (e.xmax - e.xmin) / 2, e.ymin + (e.ymax - e.ymin) / 2};
        }
        s.units = l.units;
        s.name = odb::standard_symbol_name(s, l.units);
        made[n].symbol = edit::symbol_index(l, s);
        made[n].centre = centre;
    }
    std::vector<bool> picked(l.features.size(), false);
    for (size_t i = 0; i < l.features.size(); ++i)
        picked[i] = island_of[i] >= 0 && made[size_t(island_of[i])].symbol >= 0;
    if (std::none_of(picked.begin(), picked.end(), [](bool b) { return b; })) return true;

    store::Edit edit(*at.job, at.step->name, {name});
    replaced = int(edit::replace_picked(l, picked, [&](Layer& into, const Feature& f, size_t i) {
        Made& m = made[size_t(island_of[i])];
        if (!m.placed) {
            Feature pad = f;
            pad.kind = FeatureKind::Pad;
            pad.symbol = m.symbol;
            pad.a = m.centre;
            pad.angle = 0;
            pad.mirror = false;
            pad.body = 0;
            into.features.push_back(pad);
            m.placed = true;
            ++pads;
        }
        return true;
    }));
    select::forget(l);
    edit.finish(size_t(replaced));
    return true;
}

} // namespace API
} // namespace KESTO
