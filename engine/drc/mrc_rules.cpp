// Spacing by feature kinds over the layer's copper pieces: every pair whose
// boxes lie within the largest minimum is measured edge to edge; touching
// pieces are one piece of copper and are not a gap.
#include "engine/drc/mrc_rules.h"

#include "engine/drc/feature_shapes.h"
#include "engine/drc/findings.h"
#include "engine/drc/signal_context.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace kesto::drc {

namespace {

// The kinds a cell may name, in the order of CopperRole.
const char* const kKinds[] = {"pad", "smd", "line", "arc", "surface", "text"};
constexpr int kKindCount = 6;

int kind_index(const std::string& name)
{
    for (int i = 0; i < kKindCount; ++i)
        if (iequals(name, kKinds[i])) return i;
    return -1;
}

} // namespace

std::map<std::string, KESTO::API::mrc_check_result> mrc_spacing(Job& job, Step& step, const std::string& layer_name,
                                                                const KESTO::API::dfm_relationship& rules,
                                                                double nm_per_unit, std::vector<std::string>& unknown)
{
    // Per pair of kinds the cell that applies: the largest minimum of the
    // cells naming the pair either way.
    struct Rule { Coord min = 0; int cell = -1; };
    Rule pair_rule[kKindCount][kKindCount];
    std::vector<std::string> cell_names;
    std::vector<Coord> cell_min;
    Coord reach = 0;
    for (const auto& [names, cell] : rules) {
        const int a = kind_index(names.first), b = kind_index(names.second);
        const std::string name = names.first + "-" + names.second;
        if (a < 0 || b < 0) {
            unknown.push_back(name);
            continue;
        }
        const Coord min = Coord(std::llround(cell.value * nm_per_unit));
        if (min <= 0) continue;
        const int id = int(cell_names.size());
        cell_names.push_back(name);
        cell_min.push_back(min);
        for (Rule* r : {&pair_rule[a][b], &pair_rule[b][a]})
            if (min > r->min) *r = {min, id};
        reach = std::max(reach, min);
    }
    std::map<std::string, KESTO::API::mrc_check_result> result;
    if (cell_names.empty()) return result;

    ContextOptions plain;
    plain.nets = plain.holes = plain.mask = false;
    const std::unique_ptr<LayerContext> ctx = build_layer_context(job, step, layer_name, plain);
    if (!ctx) return result;
    const LevelLimits no_limits;
    Findings findings(layer_name, no_limits);
    near_piece_pairs(*ctx, reach, [&](std::uint32_t i, std::uint32_t j) {
        const Rule& rule = pair_rule[int(ctx->pieces[i].role)][int(ctx->pieces[j].role)];
        if (rule.cell < 0) return;
        const geom::Closest gap = piece_gap(*ctx, i, j);
        if (gap.distance <= 0 || gap.distance >= double(rule.min)) return;
        const Point pa{Coord(std::llround(gap.ax)), Coord(std::llround(gap.ay))};
        const Point pb{Coord(std::llround(gap.bx)), Coord(std::llround(gap.by))};
        const Coord measured = Coord(std::llround(gap.distance));
        findings.add(rule.cell, measured, segment_marker(pa, pb, measured), {ctx->ref(i), ctx->ref(j)});
    });
    auto by_cell = findings.take(true);
    for (std::size_t id = 0; id < cell_names.size(); ++id) {
        KESTO::API::mrc_check_result& r = result[cell_names[id]];
        auto it = by_cell.find(int(id));
        if (it != by_cell.end())
            for (auto& level : it->second.lv)
                for (auto& info : level) r.findings.push_back(std::move(info));
        std::ostringstream m;
        m << r.findings.size() << (r.findings.size() == 1 ? " gap" : " gaps") << " below "
          << double(cell_min[id]) / nm_per_unit;
        r.message = m.str();
    }
    return result;
}

} // namespace kesto::drc
