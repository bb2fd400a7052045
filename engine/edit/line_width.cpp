#include "engine/edit/line_width.h"

#include "engine/edit/resize.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/layer_index.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <numeric>
#include <vector>

namespace kesto::edit {

namespace {

constexpr double kPi = 3.14159265358979323846;

struct End {
    Point at, other; // this end and the line's other end
    std::size_t line; // index into the candidates
};

std::size_t root(std::vector<std::size_t>& parent, std::size_t i)
{
    while (parent[i] != i) i = parent[i] = parent[parent[i]];
    return i;
}

// The turn, in degrees, of a trace running along the first line into the
// joint and out along the second.
double turn(const End& in, const End& out)
{
    const double ux = double(in.at.x - in.other.x), uy = double(in.at.y - in.other.y);
    const double vx = double(out.other.x - out.at.x), vy = double(out.other.y - out.at.y);
    const double lu = std::hypot(ux, uy), lv = std::hypot(vx, vy);
    if (lu == 0 || lv == 0) return 0;
    return std::acos(std::clamp((ux * vx + uy * vy) / (lu * lv), -1.0, 1.0)) * 180 / kPi;
}

} // namespace

LineWidthCount change_line_widths(Layer& layer, const geom::OutlineContext& context, const LineWidthRule& rule)
{
    LineWidthCount count;
    // Positive lines drawn with round symbols: the strokes a layout is made of.
    std::vector<std::size_t> lines;
    std::vector<Coord> width;
    for (std::size_t i = 0; i < layer.features.size(); ++i) {
        const Feature& f = layer.features[i];
        if (f.kind != FeatureKind::Line || f.polarity != Polarity::Positive) continue;
        if (f.symbol < 0 || std::size_t(f.symbol) >= layer.symbols.size()) continue;
        const Symbol& s = layer.symbols[std::size_t(f.symbol)];
        if (s.family != SymbolFamily::Round || !(s.p[0] > 0)) continue;
        lines.push_back(i);
        width.push_back(Coord(std::llround(s.p[0])));
    }
    if (lines.empty()) return count;

    // Traces: lines joined end to end.
    std::vector<std::size_t> parent(lines.size());
    std::iota(parent.begin(), parent.end(), 0);
    std::vector<End> ends;
    ends.reserve(2 * lines.size());
    for (std::size_t k = 0; k < lines.size(); ++k) {
        const Feature& f = layer.features[lines[k]];
        ends.push_back({f.a, f.b, k});
        ends.push_back({f.b, f.a, k});
    }
    std::sort(ends.begin(), ends.end(), [](const End& p, const End& q) { return p.at.x < q.at.x; });
    const bool any_turn = rule.max_turn <= 0 || rule.max_turn >= 180;
    for (std::size_t e = 0; e < ends.size(); ++e)
        for (std::size_t g = e + 1; g < ends.size() && ends[g].at.x - ends[e].at.x <= rule.join_gap; ++g) {
            if (ends[g].line == ends[e].line) continue;
            if (std::hypot(double(ends[g].at.x - ends[e].at.x), double(ends[g].at.y - ends[e].at.y)) > double(rule.join_gap))
                continue;
            if (!any_turn && turn(ends[e], ends[g]) > rule.max_turn + 1e-9) continue;
            parent[root(parent, ends[e].line)] = root(parent, ends[g].line);
        }
    std::map<std::size_t, double> trace_length;
    for (std::size_t k = 0; k < lines.size(); ++k) {
        const Feature& f = layer.features[lines[k]];
        trace_length[root(parent, k)] += std::hypot(double(f.b.x - f.a.x), double(f.b.y - f.a.y));
    }

    // The change each line asks for.
    std::vector<Coord> delta(lines.size(), 0);
    std::vector<bool> grows(layer.features.size(), false);
    for (std::size_t k = 0; k < lines.size(); ++k) {
        if (trace_length[root(parent, k)] < double(rule.min_length)) {
            ++count.short_left;
            continue;
        }
        const Coord d = width[k] >= rule.imin && width[k] <= rule.imax ? rule.resize : rule.default_resize;
        if (d == 0) continue;
        if (width[k] + d <= 0) {
            ++count.vanishing;
            continue;
        }
        delta[k] = d;
        grows[lines[k]] = d > 0;
    }

    // The spacing guard: the gap to a feature shrinks by half the growth, or
    // by the whole of it when that feature grows by as much.
    if (rule.spacing > 0 && std::find(grows.begin(), grows.end(), true) != grows.end()) {
        geom::LayerIndex index;
        index.build(layer, context);
        std::map<std::size_t, geom::Paths> outlines;
        auto outline_of = [&](std::size_t i) -> const geom::Paths& {
            auto it = outlines.find(i);
            if (it == outlines.end()) it = outlines.emplace(i, geom::feature_outline(layer, layer.features[i], context)).first;
            return it->second;
        };
        for (std::size_t k = 0; k < lines.size(); ++k) {
            if (delta[k] <= 0) continue;
            const std::size_t i = lines[k];
            Box reach = index.box(i);
            const Coord r = delta[k] + rule.spacing + 1; // a neighbour growing too closes the gap twice as fast
            reach.xmin -= r, reach.ymin -= r, reach.xmax += r, reach.ymax += r;
            double room = double(delta[k]);
            for (std::size_t j : index.query(reach)) {
                if (j == i || layer.features[j].polarity != Polarity::Positive) continue;
                const double gap = geom::outline_distance(outline_of(i), outline_of(j)).distance;
                if (gap <= 1.0) continue; // touching copper is the same conductor
                room = std::min(room, (grows[j] ? 1.0 : 2.0) * (gap - double(rule.spacing)));
            }
            const Coord allowed = Coord(std::floor(std::max(room, 0.0)));
            if (allowed <= 0) {
                ++count.blocked;
                delta[k] = 0;
            } else if (allowed < delta[k]) {
                ++count.limited;
                delta[k] = allowed;
            }
        }
    }

    // One resize per distinct change, through the resize every edit uses.
    std::map<Coord, std::vector<bool>> by_change;
    for (std::size_t k = 0; k < lines.size(); ++k) {
        if (delta[k] == 0) continue;
        auto& picked = by_change[delta[k]];
        if (picked.empty()) picked.assign(layer.features.size(), false);
        picked[lines[k]] = true;
    }
    for (auto& [d, picked] : by_change) {
        const ResizeCount done = resize_features(layer, picked, double(d), false, ResizeKinds::LinesAndArcs);
        count.changed += done.resized;
        count.vanishing += done.skipped;
    }
    return count;
}

} // namespace kesto::edit
