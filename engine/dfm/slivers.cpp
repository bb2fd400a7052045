#include "engine/dfm/slivers.h"

#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/resize.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <algorithm>
#include <map>

namespace kesto::dfm {

namespace {

// Offsets leave chord-sized crescents along round edges where the closed
// outline and the copper are drawn with different points: anything thinner
// than this is such a crescent, never a gap.
constexpr Coord kCrescent = 2000;

} // namespace

SliverFillRun fill_slivers(Job& job, Step& step, const std::string& name, Coord max_width, Coord max_height)
{
    SliverFillRun run;
    drc::ContextOptions options;
    options.holes = options.mask = false;
    auto ctx = drc::build_layer_context(job, step, name, options);
    if (!ctx) return run;
    run.found = true;
    if (max_width <= 0) return run;
    Layer& layer = *store::find_layer(job, step, ctx->name);

    // Pieces by net; without nets (not a copper row) every piece stands alone.
    std::map<std::int64_t, std::vector<std::uint32_t>> nets;
    for (std::uint32_t i = 0; i < ctx->pieces.size(); ++i)
        nets[ctx->pieces[i].net >= 0 ? ctx->pieces[i].net : -1 - std::int64_t(i)].push_back(i);

    std::vector<geom::Paths> fills;
    for (const auto& [net, pieces] : nets) {
        if (pieces.size() < 2) continue;  // one piece: closing it only rounds its own corners
        geom::Paths copper;
        Box box;
        for (std::uint32_t p : pieces) {
            const geom::Paths& o = ctx->outline(p);
            copper.insert(copper.end(), o.begin(), o.end());
            box.add(ctx->pieces[p].box);
        }
        copper = geom::unite(copper);
        const double half = double(max_width) / 2;
        const geom::Paths closed = geom::offset(geom::offset(copper, half), -half);
        geom::Paths gaps = geom::subtract(closed, copper);
        gaps = geom::offset(geom::offset(gaps, -double(kCrescent)), double(kCrescent));
        if (gaps.empty()) continue;
        // Into the copper far enough to join it solidly, never beyond the closing.
        gaps = geom::intersect(geom::offset(gaps, double(kCrescent)), closed);
        // Other nets' copper keeps the limit's clearance from any fill.
        geom::Paths others;
        for (std::size_t k : drc::pieces_near(*ctx, box, max_width)) {
            const std::int32_t n = ctx->pieces[k].net;
            if (n >= 0 && n == net) continue;
            if (n < 0 && std::find(pieces.begin(), pieces.end(), std::uint32_t(k)) != pieces.end()) continue;
            const geom::Paths& o = ctx->outline(std::uint32_t(k));
            others.insert(others.end(), o.begin(), o.end());
        }
        if (!others.empty()) gaps = geom::subtract(gaps, geom::offset(geom::unite(others), double(max_width)));
        for (const Surface& island : edit::islands_of(gaps)) {
            const geom::Paths o = geom::surface_outline(island);
            const Box b = geom::box_of(o);
            if (max_height > 0 && std::max(b.xmax - b.xmin, b.ymax - b.ymin) > max_height + 2 * kCrescent) continue;
            fills.push_back(o);
        }
    }
    for (const geom::Paths& o : fills) {
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(layer.surfaces.size());
        layer.surfaces.push_back(edit::surface_of(o));
        edit::set_attributes(layer, f, {{".string", "sliver_fill"}});
        layer.features.push_back(f);
        ++run.filled;
    }
    return run;
}

} // namespace kesto::dfm
