#include "engine/drc/drill_analysis.h"

#include "engine/drc/capsules.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/findings.h"
#include "engine/drc/nets.h"
#include "engine/drc/placed_layers.h"
#include "engine/store/store.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <unordered_map>

namespace kesto::drc {

using KESTO::API::check_info;
using KESTO::API::drill_check_item;

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kNmPerUnit = 1e6; // marker numbers are written in millimetres

struct Hole {
    Capsule cap;
    HoleClass cls = HoleClass::Pth;
    bool slot = false;
    std::uint32_t layer = 0;   // index into the requested layers
    std::uint32_t feature = 0;
};


double unit(Coord v) { return double(v) / kNmPerUnit; }

std::vector<double> box_geometry(const Box2& b)
{
    return {unit((b.xmin + b.xmax) / 2), unit((b.ymin + b.ymax) / 2), unit(b.xmax - b.xmin), unit(b.ymax - b.ymin)};
}

// Marker numbers in nanometres beside the working-unit ones.
void set_values_from_geometry(check_info& info)
{
    info.values.clear();
    for (double g : info.geometry) info.values.push_back(std::int64_t(std::llround(g * kNmPerUnit)));
}

std::int32_t clamp32(Coord v) { return std::int32_t(std::clamp<Coord>(v, INT32_MIN, INT32_MAX)); }

// Arcs of rout paths as chords no further than a micron from the arc.
void arc_chords(const Feature& f, Coord r, std::uint32_t group, std::vector<Capsule>& out)
{
    const double ax = double(f.a.x - f.c.x), ay = double(f.a.y - f.c.y);
    const double bx = double(f.b.x - f.c.x), by = double(f.b.y - f.c.y);
    const double radius = std::hypot(ax, ay);
    double a0 = std::atan2(ay, ax), a1 = std::atan2(by, bx);
    double sweep = f.cw ? a0 - a1 : a1 - a0;
    while (sweep <= 0) sweep += 2 * kPi; // equal ends: a full circle
    const double step = radius > 1000 ? 2 * std::acos(1.0 - 1000.0 / radius) : sweep;
    const int n = std::clamp(int(std::ceil(sweep / step)), 1, 1024);
    Point prev = f.a;
    for (int i = 1; i <= n; ++i) {
        const double t = a0 + (f.cw ? -1 : 1) * sweep * i / n;
        const Point p = i == n ? f.b : Point{f.c.x + Coord(std::llround(radius * std::cos(t))), f.c.y + Coord(std::llround(radius * std::sin(t)))};
        out.push_back({prev, p, r, group});
        prev = p;
    }
}

struct Analysis {
    Job& job;
    Step& step;
    const std::vector<std::string>& names;
    const DrillOptions& options;
    const LevelLimits& limits;
    std::vector<const Layer*> layers;  // nullptr for a layer the job lacks
    std::vector<Hole> holes;           // round holes and slots of the classes asked for
    DrillAnalysis out;
    std::shared_ptr<const BoardNets> nets; // when the caller asked for them
    PlacedLayers placed;                   // a panel's flattened layers
    std::map<std::string, const Layer*> seen; // by lower-case name: each layer flattened once
    std::vector<std::string> row_names;    // the requested layers as the matrix spells them (nets key by these)

    // A layer as the check sees it: the step's own, or on a panel every
    // placed board's copy (see checked_layer). nullptr, with a note, when the
    // step has no such layer or its table is broken.
    const Layer* layer_named(const std::string& name)
    {
        std::string key = name;
        for (char& c : key) c = char(std::tolower(static_cast<unsigned char>(c)));
        if (auto it = seen.find(key); it != seen.end()) return it->second;
        std::string why;
        const Layer* found = checked_layer(job, step, name, placed, &why);
        if (!found && !why.empty()) out.notes.push_back("step " + step.name + ": " + why);
        return seen[key] = found;
    }

    bool wanted(HoleClass c) const
    {
        return (c == HoleClass::Pth && options.use_pth) || (c == HoleClass::Npth && options.use_npth) ||
               (c == HoleClass::Via && options.use_via);
    }

    void add(std::uint32_t layer, int item, Coord value, check_info info)
    {
        info.measure_value = clamp32(value);
        info.sort_value = info.measure_value;
        info.layer_for_analysis = names[layer];
        info.level = finding_level(limits, item, value);
        // Marker numbers and the measured value in nanometres, then whatever
        // the item adds (a hole table its count).
        std::vector<std::int64_t> extra = std::move(info.values);
        set_values_from_geometry(info);
        info.values.push_back(value);
        info.values.insert(info.values.end(), extra.begin(), extra.end());
        for (const auto& f : info.features)
            if (!f.symbolname.empty()) info.symbol_names.push_back(f.symbolname);
        auto& levels = out.result[names[layer]].items[drill_check_item(item)];
        levels.lv[std::size_t(info.level - 1)].push_back(std::move(info));
    }

    check_info about(std::initializer_list<std::pair<std::uint32_t, std::uint32_t>> features)
    {
        check_info info;
        for (const auto& [layer, index] : features) {
            info.features.push_back(describe_feature(*layers[layer], names[layer], index, kNmPerUnit));
            if (std::find(info.layer_names.begin(), info.layer_names.end(), names[layer]) == info.layer_names.end())
                info.layer_names.push_back(names[layer]);
        }
        return info;
    }

    void collect()
    {
        for (std::uint32_t l = 0; l < names.size(); ++l) {
            const Layer* found = layer_named(names[l]);
            layers.push_back(found);
            const MatrixRow* row = store::find_row(job, names[l]);
            row_names.push_back(row ? row->name : names[l]);
            if (!found) {
                out.notes.push_back("layer " + names[l] + " is not a layer of job " + job.name + "; skipped");
                continue;
            }
            out.result[names[l]];
            const Layer& layer = *found;
            for (std::uint32_t i = 0; i < layer.features.size(); ++i) {
                const Feature& f = layer.features[i];
                if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line) continue;
                const Symbol* s = symbol_of(layer, f);
                const Coord d = round_diameter(s);
                if (d <= 0) continue;
                Hole h;
                h.cls = hole_class(layer, f, s);
                if (!wanted(h.cls)) continue;
                h.slot = f.kind == FeatureKind::Line && f.a != f.b;
                h.cap = {f.a, f.kind == FeatureKind::Line ? f.b : f.a, d / 2, 0};
                h.layer = l;
                h.feature = i;
                holes.push_back(h);
            }
        }
    }

    // Hole tables: per layer, class and size the count and the box the holes
    // of that size cover. Then what a drill cannot make.
    void hole_tables()
    {
        struct Entry {
            Box box;
            std::uint32_t count = 0, first = 0;
        };
        std::map<std::tuple<std::uint32_t, int, Coord>, Entry> table;
        for (const Hole& h : holes) {
            int item = h.slot ? (h.cls == HoleClass::Npth ? KESTO::API::NonPlatedSlotSummary : KESTO::API::PlatedSlotSummary)
                              : (h.cls == HoleClass::Pth ? KESTO::API::PthSummary
                                 : h.cls == HoleClass::Npth ? KESTO::API::NpthSummary : KESTO::API::ViaSummary);
            Entry& e = table[{h.layer, item, 2 * h.cap.r}];
            if (e.count++ == 0) e.first = h.feature;
            e.box.add(Point{std::min(h.cap.a.x, h.cap.b.x) - h.cap.r, std::min(h.cap.a.y, h.cap.b.y) - h.cap.r});
            e.box.add(Point{std::max(h.cap.a.x, h.cap.b.x) + h.cap.r, std::max(h.cap.a.y, h.cap.b.y) + h.cap.r});
        }
        for (const auto& [key, e] : table) {
            const auto [layer, item, size] = key;
            check_info info = about({{layer, e.first}});
            info.shape = KESTO::API::MarkerRect;
            const Box2 b{e.box.xmin, e.box.ymin, e.box.xmax, e.box.ymax};
            info.geometry = box_geometry(b);
            info.values = {e.count};
            add(layer, item, size, std::move(info));
        }

        for (std::uint32_t l = 0; l < layers.size(); ++l) {
            if (!layers[l]) continue;
            const Layer& layer = *layers[l];
            for (std::uint32_t i = 0; i < layer.features.size(); ++i) {
                const Feature& f = layer.features[i];
                const bool drillable = (f.kind == FeatureKind::Pad || f.kind == FeatureKind::Line) &&
                                       round_diameter(symbol_of(layer, f)) > 0;
                if (drillable) continue;
                const Box2 b = feature_box(layer, f);
                check_info info = about({{l, i}});
                if (f.kind == FeatureKind::Text) {
                    info.shape = KESTO::API::MarkerPoint;
                    info.geometry = {unit(f.a.x), unit(f.a.y)};
                    const Coord height = f.body < layer.texts.size() ? layer.texts[f.body].ysize : 0;
                    add(l, KESTO::API::CannedText, height, std::move(info));
                    continue;
                }
                info.shape = KESTO::API::MarkerRect;
                info.geometry = box_geometry(b);
                const Coord size = std::min(b.xmax - b.xmin, b.ymax - b.ymin);
                const bool symbol_fault = f.kind == FeatureKind::Pad || f.kind == FeatureKind::Line;
                add(l, symbol_fault ? KESTO::API::NonStandardSymbol : KESTO::API::NonStandardFeature, size, std::move(info));
            }
        }
    }

    Coord limit(int item, Coord fallback) const
    {
        auto it = limits.find(item);
        if (it == limits.end()) return fallback;
        return std::max({it->second[0], it->second[1], it->second[2]});
    }

    bool duplicate(const Hole& a, const Hole& b, Coord& offset) const
    {
        if (a.slot != b.slot) return false;
        auto d = [](Point p, Point q) { return Coord(std::llround(std::hypot(double(p.x - q.x), double(p.y - q.y)))); };
        offset = std::max(d(a.cap.a, b.cap.a), d(a.cap.b, b.cap.b));
        if (a.slot) offset = std::min(offset, std::max(d(a.cap.a, b.cap.b), d(a.cap.b, b.cap.a)));
        return offset <= kSamePosition;
    }

    // The close-hole category of a pair of holes: by class, and by net when
    // the board's nets are known for both.
    int close_item(const Hole& a, const Hole& b) const
    {
        if (a.cls == HoleClass::Npth && b.cls == HoleClass::Npth) return KESTO::API::CloseNpths;
        if (!nets) return KESTO::API::CloseHoles;
        const std::int32_t na = nets->net(row_names[a.layer], a.feature), nb = nets->net(row_names[b.layer], b.feature);
        const bool a_plated = a.cls != HoleClass::Npth, b_plated = b.cls != HoleClass::Npth;
        if (a_plated && b_plated) {
            if (na < 0 || nb < 0) return KESTO::API::CloseHoles;
            return na == nb ? KESTO::API::SameNetClosePths : KESTO::API::DifferentNetClosePths;
        }
        // A plated hole beside a non-plated one: is the non-plated hole
        // drilled through copper of the plated hole's net?
        const std::int32_t plated_net = a_plated ? na : nb, npth_net = a_plated ? nb : na;
        if (plated_net < 0) return KESTO::API::CloseHoles;
        return npth_net == plated_net ? KESTO::API::ClosePth2NpthConn : KESTO::API::ClosePth2NpthIsolate;
    }

    // Nets need copper: on a step without copper layers close plated holes
    // stay under "Close Holes", and no nets are built.
    void board_nets_of_step()
    {
        if (!copper_rows().empty()) nets = checked_nets(job, step);
        if (nets && !nets->copper.empty()) return;
        nets = nullptr;
        out.notes.push_back("step " + step.name + " has no copper layer; close holes are not sorted by net");
    }

    void separation()
    {
        std::map<int, Coord> close;
        for (int item : {KESTO::API::CloseHoles, KESTO::API::CloseNpths, KESTO::API::SameNetClosePths,
                         KESTO::API::DifferentNetClosePths, KESTO::API::ClosePth2NpthIsolate, KESTO::API::ClosePth2NpthConn})
            close[item] = limit(item, kDefaultCloseLimit);
        Coord reach = 0;
        for (const auto& [item, c] : close) reach = std::max(reach, c);
        std::vector<Capsule> caps;
        caps.reserve(holes.size());
        for (const Hole& h : holes) caps.push_back(h.cap);
        struct Pair {
            std::uint32_t i, j;
            int item;
            Coord value;
            Gap gap;
        };
        std::vector<Pair> pairs;
        near_pairs(caps, reach, false, [&](std::uint32_t i, std::uint32_t j) {
            const Hole& a = holes[i];
            const Hole& b = holes[j];
            Coord offset = 0;
            if (duplicate(a, b, offset)) {
                pairs.push_back({i, j, KESTO::API::DuplicateHoles, offset, {}});
                return;
            }
            const Gap g = capsule_gap(a.cap, b.cap);
            if (g.gap <= 0) {
                pairs.push_back({i, j, KESTO::API::TouchingHoles, g.gap, g});
                return;
            }
            const int item = close_item(a, b);
            if (g.gap <= close[item]) pairs.push_back({i, j, item, g.gap, g});
        });
        std::sort(pairs.begin(), pairs.end(), [](const Pair& p, const Pair& q) { return std::tie(p.i, p.j) < std::tie(q.i, q.j); });
        for (const Pair& p : pairs) {
            const Hole& a = holes[p.i];
            const Hole& b = holes[p.j];
            check_info info = about({{a.layer, a.feature}, {b.layer, b.feature}});
            if (p.item == KESTO::API::DuplicateHoles) {
                info.shape = a.slot ? KESTO::API::MarkerLine : KESTO::API::MarkerCircle;
                info.geometry = a.slot ? std::vector<double>{unit(a.cap.a.x), unit(a.cap.a.y), unit(a.cap.b.x), unit(a.cap.b.y), unit(2 * a.cap.r)}
                                       : std::vector<double>{unit(a.cap.a.x), unit(a.cap.a.y), unit(2 * a.cap.r), unit(2 * a.cap.r)};
            } else {
                info.shape = KESTO::API::MarkerSegment;
                info.geometry = {unit(p.gap.pa.x), unit(p.gap.pa.y), unit(p.gap.pb.x), unit(p.gap.pb.y), unit(p.value)};
            }
            add(a.layer, p.item, p.value, std::move(info));
        }
    }

    // Each NPTH and each slot against the nearest rout path within reach.
    void rout()
    {
        std::vector<Capsule> caps;
        std::vector<std::pair<std::uint32_t, std::uint32_t>> origin; // hole index, or (rout layer, feature)
        std::vector<std::string> rout_names;
        std::vector<const Layer*> rout_layers;
        for (const Hole& h : holes)
            if (h.slot || h.cls == HoleClass::Npth) {
                caps.push_back({h.cap.a, h.cap.b, h.cap.r, 0});
                origin.emplace_back(std::uint32_t(&h - holes.data()), 0);
            }
        const std::size_t hole_caps = caps.size();
        for (const MatrixRow& row : job.rows) {
            if (!iequals(row.context, "BOARD") || !iequals(row.type, "ROUT")) continue;
            const Layer* found = layer_named(row.name);
            if (!found) continue;
            const Layer& layer = *found;
            const std::uint32_t rl = std::uint32_t(rout_names.size());
            rout_names.push_back(row.name);
            rout_layers.push_back(&layer);
            for (std::uint32_t i = 0; i < layer.features.size(); ++i) {
                const Feature& f = layer.features[i];
                const Symbol* s = symbol_of(layer, f);
                const auto e = s ? symbol_extent(*s, 0) : std::array<Coord, 2>{0, 0};
                const Coord r = std::min(e[0], e[1]) / 2;
                const std::size_t before = caps.size();
                if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Pad)
                    caps.push_back({f.a, f.kind == FeatureKind::Line ? f.b : f.a, r, 1});
                else if (f.kind == FeatureKind::Arc)
                    arc_chords(f, r, 1, caps);
                for (std::size_t k = before; k < caps.size(); ++k) origin.emplace_back(rl, i);
            }
        }
        if (rout_names.empty()) {
            out.notes.push_back("step " + step.name + " has no rout layer; hole to rout not checked");
            return;
        }
        struct Best {
            Gap gap;
            std::uint32_t rout = 0;
            bool found = false;
        };
        std::vector<Best> best(hole_caps);
        near_pairs(caps, options.rout_distance, true, [&](std::uint32_t i, std::uint32_t j) {
            const Gap g = capsule_gap(caps[i], caps[j]);
            if (g.gap > options.rout_distance) return;
            Best& b = best[i];
            if (!b.found || g.gap < b.gap.gap) b = {g, j, true};
        });
        for (std::size_t k = 0; k < hole_caps; ++k) {
            if (!best[k].found) continue;
            const Hole& h = holes[origin[k].first];
            const auto [rl, rf] = origin[best[k].rout];
            check_info info = about({{h.layer, h.feature}});
            info.features.push_back(describe_feature(*rout_layers[rl], rout_names[rl], rf, kNmPerUnit));
            info.layer_names.push_back(rout_names[rl]);
            info.shape = KESTO::API::MarkerSegment;
            const Gap& g = best[k].gap;
            info.geometry = {unit(g.pa.x), unit(g.pa.y), unit(g.pb.x), unit(g.pb.y), unit(g.gap)};
            const int item = !h.slot ? KESTO::API::NpthToRout
                                     : h.cls == HoleClass::Npth ? KESTO::API::NpthSlotToRout : KESTO::API::PthSlotToRout;
            add(h.layer, item, g.gap, std::move(info));
        }
    }

    std::vector<const MatrixRow*> copper_rows() const
    {
        std::vector<const MatrixRow*> rows;
        for (const MatrixRow& row : job.rows)
            if (iequals(row.context, "BOARD") && is_copper_type(row.type)) rows.push_back(&row);
        std::sort(rows.begin(), rows.end(), [](const MatrixRow* a, const MatrixRow* b) { return a->row < b->row; });
        return rows;
    }

    // Pads standing at one place on both outer copper layers, not marked as
    // surface-mount, belong to through-hole components and need a hole.
    void missing()
    {
        const auto rows = copper_rows();
        if (rows.size() < 2) {
            out.notes.push_back("step " + step.name + " has fewer than two copper layers; missing holes not checked");
            return;
        }
        std::uint32_t first = 0;
        while (first < layers.size() && !layers[first]) ++first;
        if (first == layers.size()) return;
        const Layer* top_layer = layer_named(rows.front()->name);
        const Layer* bottom_layer = layer_named(rows.back()->name);
        if (!top_layer || !bottom_layer) return;
        const Layer& top = *top_layer;
        const Layer& bottom = *bottom_layer;
        std::vector<Point> bottom_pads;
        for (const Feature& f : bottom.features)
            if (f.kind == FeatureKind::Pad && f.polarity == Polarity::Positive) bottom_pads.push_back(f.a);
        std::sort(bottom_pads.begin(), bottom_pads.end(), [](Point p, Point q) { return std::tie(p.x, p.y) < std::tie(q.x, q.y); });
        BoxIndex drills(kNmPerMm);
        std::uint32_t id = 0;
        for (std::uint32_t l = 0; l < layers.size(); ++l) {
            if (!layers[l]) continue;
            for (const Feature& f : layers[l]->features)
                if (round_diameter(symbol_of(*layers[l], f)) > 0 && (f.kind == FeatureKind::Pad || f.kind == FeatureKind::Line))
                    drills.add({f.a.x, f.a.y, f.a.x, f.a.y}, id++);
        }
        for (std::uint32_t i = 0; i < top.features.size(); ++i) {
            const Feature& f = top.features[i];
            if (f.kind != FeatureKind::Pad || f.polarity != Polarity::Positive || attribute(top, f, ".smd")) continue;
            const Box2 pad = feature_box(top, f);
            if (pad.xmax <= pad.xmin || pad.ymax <= pad.ymin) continue;
            auto it = std::lower_bound(bottom_pads.begin(), bottom_pads.end(), Point{f.a.x - kSamePosition, INT64_MIN},
                                       [](Point p, Point q) { return std::tie(p.x, p.y) < std::tie(q.x, q.y); });
            bool through = false;
            for (; it != bottom_pads.end() && it->x <= f.a.x + kSamePosition && !through; ++it)
                through = std::llabs(it->y - f.a.y) <= kSamePosition;
            if (!through || drills.any(pad, [&](std::uint32_t, const Box2& hole) { return covers(top, f, {hole.xmin, hole.ymin}); }))
                continue;
            check_info info;
            info.features.push_back(describe_feature(top, rows.front()->name, i, kNmPerUnit));
            info.layer_names = {rows.front()->name, rows.back()->name};
            info.shape = KESTO::API::MarkerRect;
            info.geometry = box_geometry(pad);
            add(first, KESTO::API::MissingHoles, std::min(pad.xmax - pad.xmin, pad.ymax - pad.ymin), std::move(info));
        }
    }

    // Plated holes and vias whose centre meets no copper on any copper layer
    // of the drill's span; negative features clear what lies under them.
    void extra()
    {
        const auto rows = copper_rows();
        if (rows.empty()) {
            out.notes.push_back("step " + step.name + " has no copper layer; extra holes not checked");
            return;
        }
        std::vector<CopperAtPoints> copper;
        copper.reserve(rows.size());
        std::vector<const MatrixRow*> present;
        for (const MatrixRow* row : rows)
            if (const Layer* l = layer_named(row->name)) copper.emplace_back(*l), present.push_back(row);
        if (present.empty()) return;
        for (const Hole& h : holes) {
            if (h.slot || h.cls == HoleClass::Npth) continue;
            const MatrixRow* drill_row = store::find_row(job, names[h.layer]);
            const int from = drill_row && !drill_row->start_name.empty() ? row_of(drill_row->start_name) : INT32_MIN;
            const int to = drill_row && !drill_row->end_name.empty() ? row_of(drill_row->end_name) : INT32_MAX;
            bool met = false;
            for (std::size_t r = 0; r < present.size() && !met; ++r)
                if (present[r]->row >= std::min(from, to) && present[r]->row <= std::max(from, to)) met = copper[r].copper_at(h.cap.a);
            if (met) continue;
            check_info info = about({{h.layer, h.feature}});
            info.shape = KESTO::API::MarkerCircle;
            info.geometry = {unit(h.cap.a.x), unit(h.cap.a.y), unit(2 * h.cap.r), unit(2 * h.cap.r)};
            add(h.layer, KESTO::API::ExtraHoles, 2 * h.cap.r, std::move(info));
        }
    }

    // Drill spans name their layers as the matrix writes them, whatever case
    // the layer names are kept in.
    int row_of(const std::string& name) const
    {
        for (const MatrixRow& row : job.rows)
            if (iequals(row.name, name.c_str())) return row.row;
        return 0;
    }

    // Display numbers run through each item's levels in order.
    void number()
    {
        for (auto& [layer, reply] : out.result)
            for (auto& [item, levels] : reply.items) {
                int n = 0;
                for (auto& list : levels.lv)
                    for (check_info& info : list) info.disp_num = ++n;
            }
    }
};

} // namespace

bool is_copper_type(const std::string& type)
{
    return iequals(type, "SIGNAL") || iequals(type, "POWER_GROUND") || iequals(type, "MIXED");
}

Coord round_diameter(const Symbol* s)
{
    if (!s || (s->family != SymbolFamily::Round && s->family != SymbolFamily::Hole)) return 0;
    return Coord(std::llround(s->p[0]));
}

HoleClass hole_class(const Layer& layer, const Feature& f, const Symbol* s)
{
    // An option attribute: its option's name, or the option's number in the
    // list plated, non_plated, via as the features file writes it.
    if (const std::string* drill = attribute(layer, f, ".drill")) {
        if (iequals(*drill, "non_plated") || *drill == "1") return HoleClass::Npth;
        if (iequals(*drill, "via") || *drill == "2") return HoleClass::Via;
        return HoleClass::Pth;
    }
    if (s && s->family == SymbolFamily::Hole) return s->plating == 'n' ? HoleClass::Npth : s->plating == 'v' ? HoleClass::Via : HoleClass::Pth;
    return HoleClass::Pth;
}

int finding_level(const LevelLimits& limits, int item, Coord value)
{
    auto it = limits.find(item);
    if (it == limits.end()) return item <= KESTO::API::NonPlatedSlotSummary ? 4 : 1;
    for (int level = 0; level < 3; ++level)
        if (value <= it->second[std::size_t(level)]) return level + 1;
    return 4;
}

DrillAnalysis analyse_drill(Job& job, Step& step, const std::vector<std::string>& layers,
                            const DrillOptions& options, const LevelLimits& limits,
                            KESTO::COMMON::progress_value<int>* progress)
{
    Analysis a{job, step, layers, options, limits, {}, {}, {}, {}, {}, {}, {}};
    struct Stage {
        bool run;
        void (Analysis::*work)();
    };
    const Stage stages[] = {{true, &Analysis::collect},
                            {options.hole_size, &Analysis::hole_tables},
                            {options.hole_separation && options.board_nets, &Analysis::board_nets_of_step},
                            {options.hole_separation, &Analysis::separation},
                            {options.npth_to_rout, &Analysis::rout},
                            {options.missing_hole, &Analysis::missing},
                            {options.extra_holes, &Analysis::extra},
                            {true, &Analysis::number}};
    if (progress) progress->total = int(std::size(stages));
    for (const Stage& s : stages) {
        if (progress && progress->cancel) {
            a.out.notes.push_back("drill analysis cancelled by the host");
            break;
        }
        if (s.run) (a.*s.work)();
        if (progress) ++progress->done;
    }
    if (options.power_ground_short)
        a.out.notes.push_back("power/ground shorts are not checked by this engine yet");
    return std::move(a.out);
}

} // namespace kesto::drc
