#include "engine/edit/drill_prepare.h"

#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"
#include "engine/formats/odb/symbols.h"

#include <algorithm>
#include <cstdlib>
#include <memory>
#include <optional>

namespace kesto::edit {

namespace {

using drc::iequals;

// Hole and land centres closer than this are one position.
constexpr Coord kSame = 1000;

// The positive pads of a layer by their centres, for "what pad stands here".
class PadsAt {
public:
    explicit PadsAt(const Layer& layer) : layer_(layer)
    {
        for (std::uint32_t i = 0; i < layer.features.size(); ++i) {
            const Feature& f = layer.features[i];
            if (f.kind == FeatureKind::Pad && f.polarity == Polarity::Positive) pads_.push_back({f.a.x, i});
        }
        std::sort(pads_.begin(), pads_.end());
    }
    // The pad centred at p whose symbol covers the largest box, or nullptr.
    const Feature* largest(Point p) const
    {
        const Feature* best = nullptr;
        double best_area = -1;
        for (auto it = std::lower_bound(pads_.begin(), pads_.end(), std::make_pair(p.x - kSame, std::uint32_t(0)));
             it != pads_.end() && it->first <= p.x + kSame; ++it) {
            const Feature& f = layer_.features[it->second];
            if (std::llabs(f.a.y - p.y) > kSame) continue;
            const Symbol* s = drc::symbol_of(layer_, f);
            if (!s) continue;
            const auto e = drc::symbol_extent(*s, f.angle);
            const double area = double(e[0]) * double(e[1]);
            if (area > best_area) best = &f, best_area = area;
        }
        return best;
    }

private:
    const Layer& layer_;
    std::vector<std::pair<Coord, std::uint32_t>> pads_;
};

// The symbol grown by `c` on every side; shapes other than round, square,
// rectangle and oval become the round that holds them.
Symbol grown(const Symbol& s, double angle, Coord c, Units units)
{
    Symbol g;
    g.units = units;
    switch (s.family) {
    case SymbolFamily::Round: case SymbolFamily::Square:
        g.family = s.family;
        g.p[0] = s.p[0] + 2.0 * double(c);
        break;
    case SymbolFamily::Rect: case SymbolFamily::Oval:
        g.family = s.family;
        g.p[0] = s.p[0] + 2.0 * double(c);
        g.p[1] = s.p[1] + 2.0 * double(c);
        break;
    default: {
        const auto e = drc::symbol_extent(s, angle);
        g.family = SymbolFamily::Round;
        g.p[0] = double(std::max(e[0], e[1])) + 2.0 * double(c);
    }
    }
    g.name = odb::standard_symbol_name(g, units);
    return g;
}

Symbol round_of(Coord d, Units units)
{
    Symbol s;
    s.family = SymbolFamily::Round;
    s.p[0] = double(d);
    s.units = units;
    s.name = odb::standard_symbol_name(s, units);
    return s;
}

// Does an opening already centred at p cover `need` (placed at `angle`)?
bool opened(const PadsAt& pads, const Layer& layer, Point p, const Symbol& need, double angle)
{
    const Feature* f = pads.largest(p);
    const Symbol* s = f ? drc::symbol_of(layer, *f) : nullptr;
    if (!s) return false;
    const auto have = drc::symbol_extent(*s, f->angle);
    const auto want = drc::symbol_extent(need, angle);
    return have[0] >= want[0] && have[1] >= want[1];
}

int row_index(const Job& job, const std::string& name)
{
    for (std::size_t i = 0; i < job.rows.size(); ++i)
        if (iequals(job.rows[i].name, name.c_str())) return int(i);
    return -1;
}

const Layer* layer_of(const Step& step, const std::string& name)
{
    for (const auto& [n, l] : step.layers)
        if (iequals(n, name.c_str())) return &l;
    return nullptr;
}

} // namespace

std::pair<int, int> drill_span(const Job& job, const MatrixRow& drill)
{
    int first = -1, last = -1;
    for (std::size_t i = 0; i < job.rows.size(); ++i)
        if (iequals(job.rows[i].context, "BOARD") && drc::is_copper_type(job.rows[i].type)) {
            if (first < 0) first = int(i);
            last = int(i);
        }
    if (first < 0) return {-1, -1};
    int from = drill.start_name.empty() ? first : row_index(job, drill.start_name);
    int to = drill.end_name.empty() ? last : row_index(job, drill.end_name);
    if (from < 0) from = first;
    if (to < 0) to = last;
    if (from > to) std::swap(from, to);
    return {from, to};
}

DrillPreparePlan plan_drill_prepare(const Job& job, const Step& step, const DrillPrepare& how)
{
    DrillPreparePlan plan;
    std::vector<int> copper, masks;
    for (std::size_t i = 0; i < job.rows.size(); ++i) {
        const MatrixRow& r = job.rows[i];
        if (!iequals(r.context, "BOARD")) continue;
        if (drc::is_copper_type(r.type)) copper.push_back(int(i));
        if (iequals(r.type, "SOLDER_MASK")) masks.push_back(int(i));
    }
    if (copper.empty()) return plan;
    const int first = copper.front(), last = copper.back();

    // Lookups built once per layer that is asked about.
    std::map<int, std::unique_ptr<PadsAt>> pads;
    std::map<int, std::unique_ptr<drc::CopperAtPoints>> copper_at;
    auto pads_of = [&](int row) -> const PadsAt* {
        const Layer* l = layer_of(step, job.rows[std::size_t(row)].name);
        if (!l) return nullptr;
        auto& p = pads[row];
        if (!p) p = std::make_unique<PadsAt>(*l);
        return p.get();
    };

    for (std::size_t d = 0; d < job.rows.size(); ++d) {
        const MatrixRow& drill_row = job.rows[d];
        if (!iequals(drill_row.context, "BOARD") || !iequals(drill_row.type, "DRILL")) continue;
        const Layer* drill = layer_of(step, drill_row.name);
        if (!drill) continue;
        const auto [from, to] = drill_span(job, drill_row);
        std::vector<int> spanned;
        for (int c : copper)
            if (c >= from && c <= to) spanned.push_back(c);
        // The outer copper layer a mask side faces, when the span reaches it.
        struct Side { int copper; std::vector<int> masks; };
        std::vector<Side> sides;
        if (from <= first) {
            Side s{first, {}};
            for (int m : masks) if (m < first) s.masks.push_back(m);
            sides.push_back(s);
        }
        if (to >= last && last != first) {
            Side s{last, {}};
            for (int m : masks) if (m > last) s.masks.push_back(m);
            sides.push_back(s);
        }

        for (const Feature& hole : drill->features) {
            if (hole.polarity != Polarity::Positive) continue;
            const Symbol* hs = drc::symbol_of(*drill, hole);
            const drc::HoleClass kind = drc::hole_class(*drill, hole, hs);
            if (kind == drc::HoleClass::Via) continue;
            const Coord diameter = hole.kind == FeatureKind::Pad ? drc::round_diameter(hs) : 0;
            if (diameter <= 0) {
                ++plan.not_round;
                continue;
            }
            ++plan.holes;
            const Point at = hole.a;
            if (kind == drc::HoleClass::Npth) {
                if (!how.mask_pads) continue;
                for (const Side& side : sides)
                    for (int m : side.masks) {
                        const Layer* ml = layer_of(step, job.rows[std::size_t(m)].name);
                        if (!ml) continue;
                        const Symbol need = round_of(diameter + 2 * how.npth_clearance, ml->units);
                        if (!opened(*pads_of(m), *ml, at, need, 0)) plan.pads.push_back({job.rows[std::size_t(m)].name, at, need, 0, false});
                    }
                continue;
            }
            // The hole's largest land over its span, copied where an outer layer lacks one.
            const Feature* land = nullptr;
            const Layer* land_layer = nullptr;
            double land_area = -1;
            for (int c : spanned) {
                const PadsAt* p = pads_of(c);
                const Feature* f = p ? p->largest(at) : nullptr;
                if (!f) continue;
                const Layer* cl = layer_of(step, job.rows[std::size_t(c)].name);
                const auto e = drc::symbol_extent(*drc::symbol_of(*cl, *f), f->angle);
                if (double(e[0]) * double(e[1]) > land_area) land = f, land_layer = cl, land_area = double(e[0]) * double(e[1]);
            }
            if (!land) ++plan.landless;
            for (const Side& side : sides) {
                const std::string& cname = job.rows[std::size_t(side.copper)].name;
                const Layer* cl = layer_of(step, cname);
                const Feature* own = cl ? pads_of(side.copper)->largest(at) : nullptr;
                const Symbol* found = own ? drc::symbol_of(*cl, *own) : nullptr;
                std::optional<Symbol> own_symbol;
                if (found) own_symbol = *found;
                double own_angle = own ? own->angle : 0;
                if (!own && cl) {
                    auto& ca = copper_at[side.copper];
                    if (!ca) ca = std::make_unique<drc::CopperAtPoints>(*cl);
                    if (!ca->copper_at(at)) {
                        plan.bare.push_back({cname, at, diameter});
                        if (land && how.signal_pads) {
                            own_symbol = *drc::symbol_of(*land_layer, *land);
                            plan.pads.push_back({cname, at, *own_symbol, land->angle, land->mirror});
                            own_angle = land->angle;
                        }
                    }
                }
                if (!how.mask_pads) continue;
                for (int m : side.masks) {
                    const Layer* ml = layer_of(step, job.rows[std::size_t(m)].name);
                    if (!ml) continue;
                    const Symbol need = own_symbol ? grown(*own_symbol, own_angle, how.pth_clearance, ml->units)
                                                   : round_of(diameter + 2 * how.pth_clearance, ml->units);
                    const double angle = own_symbol ? own_angle : 0;
                    if (!opened(*pads_of(m), *ml, at, need, angle))
                        plan.pads.push_back({job.rows[std::size_t(m)].name, at, need, angle, false});
                }
            }
        }
    }
    return plan;
}

} // namespace kesto::edit
