#include "engine/api/feature_tools.h"

#include "engine/api/board_layers.h"
#include "engine/api/symbol_names.h"
#include "engine/api/units.h"
#include "engine/edit/fill.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/geometry.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <map>
#include <tuple>

namespace KESTO {
namespace API {

using namespace kesto;

namespace {

// A layer of the step, its name as the matrix has it, ready to be changed.
Layer* target(board::StepRef& at, const std::string& job, const std::string& step, const std::string& layer,
              const char* op, std::string& name)
{
    if (!board::find(job, step, op, at)) return nullptr;
    Layer* l = board::layer(at, layer, op);
    if (l) name = board::row(at, layer)->name;
    return l;
}

} // namespace

bool add_text_by_drill(const std::string& job, const std::string& step, const std::string& drill_name,
                       const std::string& layer_name, double height, int& added)
{
    const char* op = "add_text_by_drill";
    board::StepRef at;
    std::string name;
    Layer* layer = target(at, job, step, layer_name, op, name);
    if (!layer) return false;
    const Layer* drill = board::layer(at, drill_name, op);
    if (!drill) return false;
    if (!(height > 0) || !std::isfinite(height)) {
        LOG(ERROR) << op << ": the text height must be positive";
        return false;
    }
    store::remember(*at.job, at.step->name, {name});
    const Coord h = from_working_unit(height);
    const Coord w = h * 3 / 4; // the standard font's cell is three quarters as wide as high
    const size_t first = layer->features.size();
    for (const Feature& hole : drill->features) {
        if (hole.kind != FeatureKind::Pad || hole.symbol < 0 || size_t(hole.symbol) >= drill->symbols.size()) continue;
        const double size = drill->symbols[size_t(hole.symbol)].p[0];
        char label[32];
        std::snprintf(label, sizeof label, "%.3f", to_working_unit(std::llround(size)));
        Text t;
        t.xsize = w;
        t.ysize = h;
        t.text = label;
        layer->texts.push_back(t);
        Feature f;
        f.kind = FeatureKind::Text;
        f.body = std::uint32_t(layer->texts.size() - 1);
        f.a = {hole.a.x + Coord(size / 2) + w / 2, hole.a.y - h / 2};
        layer->features.push_back(f);
    }
    added = int(layer->features.size() - first);
    select::appended(*at.job, *layer, first);
    at.job->changed = true;
    return true;
}

bool fill_select_feature_by_grid(const std::string& job, const std::string& step, const std::string& layer_name,
                                 const std::string& symbol_name, double pitch_x, double pitch_y, int& added)
{
    const char* op = "fill_select_feature_by_grid";
    board::StepRef at;
    std::string name;
    Layer* layer = target(at, job, step, layer_name, op, name);
    if (!layer) return false;
    const Coord px = from_working_unit(pitch_x), py = from_working_unit(pitch_y);
    if (px <= 0 || py <= 0) {
        LOG(ERROR) << op << ": the pitches must be positive";
        return false;
    }
    Symbol symbol = symbol_from_working_name(symbol_name);
    const geom::Paths pad = geom::symbol_outline(symbol, *at.context);
    if (pad.empty()) {
        LOG(ERROR) << op << ": \"" << symbol_name << "\" is not a standard symbol with an outline";
        return false;
    }
    geom::Paths area;
    for (const Feature& f : layer->features)
        if (f.selected) {
            const geom::Paths o = geom::feature_outline(*layer, f, *at.context);
            area.insert(area.end(), o.begin(), o.end());
        }
    area = geom::unite(area);
    if (area.empty()) {
        LOG(ERROR) << op << ": no feature of layer \"" << layer_name << "\" is selected";
        return false;
    }
    const Box box = geom::box_of(area);
    if ((box.xmax - box.xmin) / px * ((box.ymax - box.ymin) / py) > 4e6) {
        LOG(ERROR) << op << ": the pitch would place more than four million pads";
        return false;
    }
    // Wholly inside: a pad with a hole (donut) is judged by its outer edge.
    const geom::Path outer = *std::max_element(pad.begin(), pad.end(), [](const geom::Path& a, const geom::Path& b) {
        return std::fabs(ClipperLib::Area(a)) < std::fabs(ClipperLib::Area(b));
    });
    const std::vector<Point> centres =
        edit::grid_inside(area, outer, {box.xmin + px / 2, box.ymin + py / 2}, {box.xmax, box.ymax}, px, py);
    store::remember(*at.job, at.step->name, {name});
    symbol.units = layer->units;
    symbol.name = odb::standard_symbol_name(symbol, layer->units);
    const std::int32_t index = edit::symbol_index(*layer, symbol);
    const size_t first = layer->features.size();
    for (const Point& c : centres) {
        Feature f;
        f.kind = FeatureKind::Pad;
        f.symbol = index;
        f.a = c;
        layer->features.push_back(f);
    }
    added = int(layer->features.size() - first);
    select::appended(*at.job, *layer, first);
    at.job->changed = true;
    return true;
}

bool merge_cu_edge_lines(const std::string& job, const std::string& step, const std::string& layer_name, int& merged)
{
    const char* op = "merge_cu_edge_lines";
    board::StepRef at;
    std::string name;
    Layer* layer = target(at, job, step, layer_name, op, name);
    if (!layer) return false;
    bool any_selected = false;
    for (const Feature& f : layer->features) any_selected |= f.selected;

    // Lines grouped by symbol, polarity and the straight line they run on
    // (direction normalised, and its distance from the origin).
    struct Piece {
        size_t index;
        double from, to; // along the direction
    };
    using Key = std::tuple<std::int32_t, int, long long, long long, long long>;
    std::map<Key, std::vector<Piece>> runs;
    for (size_t i = 0; i < layer->features.size(); ++i) {
        const Feature& f = layer->features[i];
        if (f.kind != FeatureKind::Line || (any_selected && !f.selected) || f.a == f.b) continue;
        double dx = double(f.b.x - f.a.x), dy = double(f.b.y - f.a.y);
        const double len = std::hypot(dx, dy);
        dx /= len;
        dy /= len;
        if (dx < 0 || (dx == 0 && dy < 0)) {
            dx = -dx;
            dy = -dy;
        }
        // Direction to a millionth, offset to the nanometre: pieces of one straight edge agree on both.
        const double offset = -dy * double(f.a.x) + dx * double(f.a.y);
        const Key key{f.symbol, int(f.polarity), std::llround(dx * 1e6), std::llround(dy * 1e6), std::llround(offset)};
        double s = dx * double(f.a.x) + dy * double(f.a.y), e = dx * double(f.b.x) + dy * double(f.b.y);
        if (s > e) std::swap(s, e);
        runs[key].push_back({i, s, e});
    }
    std::vector<bool> erase(layer->features.size(), false);
    std::vector<std::pair<size_t, std::pair<double, double>>> extended;
    for (auto& run : runs) {
        auto& pieces = run.second; // a plain reference: lambdas may not capture structured bindings
        if (pieces.size() < 2) continue;
        std::sort(pieces.begin(), pieces.end(), [](const Piece& a, const Piece& b) { return a.from < b.from; });
        size_t keep = 0;
        double from = pieces[0].from, to = pieces[0].to;
        auto close = [&](size_t k) {
            extended.push_back({pieces[keep].index, {from, to}});
            keep = k;
        };
        for (size_t k = 1; k < pieces.size(); ++k) {
            if (pieces[k].from <= to + 1) { // touching, to the nanometre
                to = std::max(to, pieces[k].to);
                erase[pieces[k].index] = true;
                continue;
            }
            close(k);
            from = pieces[k].from;
            to = pieces[k].to;
        }
        close(pieces.size());
    }
    merged = int(std::count(erase.begin(), erase.end(), true));
    if (merged == 0) return true;
    store::remember(*at.job, at.step->name, {name});
    for (const auto& [index, span] : extended) {
        Feature& f = layer->features[index];
        double dx = double(f.b.x - f.a.x), dy = double(f.b.y - f.a.y);
        const double len = std::hypot(dx, dy);
        dx /= len;
        dy /= len;
        if (dx < 0 || (dx == 0 && dy < 0)) {
            dx = -dx;
            dy = -dy;
        }
        const double s = dx * double(f.a.x) + dy * double(f.a.y);
        const double ox = double(f.a.x) - dx * s, oy = double(f.a.y) - dy * s; // the line's point at 0
        f.a = {std::llround(ox + dx * span.first), std::llround(oy + dy * span.first)};
        f.b = {std::llround(ox + dx * span.second), std::llround(oy + dy * span.second)};
    }
    // Drop the absorbed pieces, keeping the order of the rest.
    size_t out = 0;
    for (size_t i = 0; i < layer->features.size(); ++i)
        if (!erase[i]) layer->features[out++] = layer->features[i];
    layer->features.resize(out);
    select::forget(*layer);
    at.job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
