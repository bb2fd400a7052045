#include "engine/drc/signal_eda.h"

#include "engine/drc/feature_shapes.h"

#include <cctype>
#include <cmath>
#include <set>

namespace kesto::drc {

namespace {

bool same_name(const std::string& a, const std::string& b)
{
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i]))) return false;
    return true;
}

// A ball grid: surface pins, all round, standing on at least two rows and two columns.
bool is_ball_grid(const odb::EdaPackage& pkg)
{
    if (pkg.pins.size() < 4) return false;
    std::set<long long> xs, ys;
    for (const odb::EdaPin& p : pkg.pins) {
        if (p.type != 'S' || !p.round) return false;
        xs.insert(std::llround(p.x * 1e4));
        ys.insert(std::llround(p.y * 1e4));
    }
    return xs.size() >= 2 && ys.size() >= 2;
}

} // namespace

EdaLayerView eda_layer_view(const LayerContext& ctx)
{
    EdaLayerView view;
    view.cad_net.assign(ctx.pieces.size(), -1);
    view.toeprint_of.assign(ctx.pieces.size(), -1);
    if (!ctx.placed.empty() || !ctx.step) return view;
    view.eda = odb::step_eda_data(*ctx.step);
    if (!view.eda) return view;
    const odb::EdaData& eda = *view.eda;

    std::vector<bool> here(eda.layers.size());
    bool any = false;
    for (std::size_t i = 0; i < eda.layers.size(); ++i) {
        here[i] = same_name(eda.layers[i], ctx.name);
        any = any || here[i];
    }
    if (!any) return view;

    std::vector<std::int32_t> piece_of(ctx.layer->features.size(), -1);
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) piece_of[ctx.pieces[p].feature] = std::int32_t(p);

    for (std::size_t n = 0; n < eda.nets.size(); ++n) {
        const bool no_net = odb::is_no_net(eda.nets[n].name);
        for (const odb::EdaSubnet& s : eda.nets[n].subnets) {
            std::int32_t tp = -1;
            for (const odb::EdaFeatureId& f : s.features) {
                if (f.type != 'C' || !here[std::size_t(f.layer)] || f.feature >= piece_of.size()) continue;
                const std::int32_t p = piece_of[f.feature];
                if (p < 0) continue;
                if (!no_net) view.cad_net[std::size_t(p)] = std::int32_t(n);
                if (s.kind != "TOP") continue;
                if (tp < 0) {
                    Toeprint t{s.side, s.component, s.toeprint, false, false};
                    const auto& comps = s.side == 'B' ? eda.bottom : eda.top;
                    if (s.component >= 0 && std::size_t(s.component) < comps.size()) {
                        const int pkg = comps[std::size_t(s.component)].package;
                        if (pkg >= 0 && std::size_t(pkg) < eda.packages.size()) {
                            const odb::EdaPackage& package = eda.packages[std::size_t(pkg)];
                            if (s.toeprint >= 0 && std::size_t(s.toeprint) < package.pins.size())
                                t.smd = package.pins[std::size_t(s.toeprint)].type == 'S';
                            t.bga = t.smd && is_ball_grid(package);
                        }
                    }
                    tp = std::int32_t(view.toeprints.size());
                    view.toeprints.push_back(t);
                }
                view.toeprint_of[std::size_t(p)] = tp;
            }
        }
    }
    return view;
}

bool is_smd_pad(const LayerContext& ctx, const EdaLayerView& view, std::uint32_t piece)
{
    const CopperPiece& p = ctx.pieces[piece];
    if (p.role == CopperRole::Smd) return true;
    if (p.role != CopperRole::Pad) return false;
    const std::int32_t t = view.toeprint_of[piece];
    return t >= 0 && view.toeprints[std::size_t(t)].smd;
}

bool is_bga_pad(const LayerContext& ctx, const EdaLayerView& view, std::uint32_t piece)
{
    const CopperPiece& p = ctx.pieces[piece];
    if (p.role != CopperRole::Pad && p.role != CopperRole::Smd) return false;
    if (attribute(*ctx.layer, ctx.layer->features[p.feature], ".bga")) return true;
    const std::int32_t t = view.toeprint_of[piece];
    return t >= 0 && view.toeprints[std::size_t(t)].bga;
}

} // namespace kesto::drc
