// What an opening exposes: copper of two or more nets in one opening (solder
// can bridge them), and teardrops lying wholly in an opening (the exposed
// copper is no longer the pad's shape, so paste and solder pull to one side).
#include "engine/drc/feature_shapes.h"
#include "engine/drc/mask_silk_rules.h"

namespace kesto::drc {

using namespace mask_item;

namespace {

// What of an outline smaller than this is left uncovered counts as nothing (nm^2).
constexpr double kNoArea = 1e6;

} // namespace

void mask_exposure_rule(MaskInput& in)
{
    if (!in.copper) return;
    const LayerContext& sm = in.mask;
    const LayerContext& cu = *in.copper;
    if (in.limits.coverage_on) {
        for (std::uint32_t o = 0; o < sm.pieces.size(); ++o) {
            if (in.limits.selected_only && !sm.pieces[o].selected) continue;
            std::vector<std::pair<std::int32_t, std::uint32_t>> nets;  // net, a piece of it
            for (std::size_t k : pieces_near(cu, sm.pieces[o].box, 0)) {
                const std::int32_t net = cu.pieces[k].net;
                bool known = net < 0;
                for (const auto& n : nets) known = known || n.first == net;
                if (known || cross_gap(sm, o, cu, std::uint32_t(k)).distance > 0) continue;
                nets.push_back({net, std::uint32_t(k)});
            }
            if (nets.size() >= 2)
                in.out.add(SeveralNets, 0, rect_marker(sm.pieces[o].box),
                           {sm.ref(o), cu.ref(nets[0].second), cu.ref(nets[1].second)});
        }
    }
    if (in.limits.pads) {
        for (std::uint32_t k = 0; k < cu.pieces.size(); ++k) {
            const Feature& f = cu.layer->features[cu.pieces[k].feature];
            if (!attribute(*cu.layer, f, ".tear_drop")) continue;
            geom::Paths rest = cu.outline(k);
            for (std::size_t o : pieces_near(sm, cu.pieces[k].box, 0)) {
                if (rest.empty()) break;
                rest = geom::subtract(rest, sm.outline(std::uint32_t(o)));
            }
            if (geom::area(rest) < kNoArea) in.out.add(ExposedTeardrop, 0, rect_marker(cu.pieces[k].box), {cu.ref(k)});
        }
    }
}

} // namespace kesto::drc
