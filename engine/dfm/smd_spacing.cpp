#include "engine/dfm/smd_spacing.h"

#include "engine/drc/feature_shapes.h"
#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace kesto::dfm {

namespace {

// A surface-mount pad as the repair sees it: a round land about its centre,
// or an upright rectangle given by its box on the board.
struct Land {
    bool shaped = false;   // a shape this repair can shave
    bool round = false;
    Point centre;
    double r = 0;          // round
    double x0 = 0, y0 = 0, x1 = 0, y1 = 0; // rectangle
    double lost_x = 0, lost_y = 0;         // width given up, per board axis (round: both)
    bool changed = false;
};

Land land_of(const Layer& layer, const Feature& f)
{
    Land l;
    if (f.symbol < 0 || std::size_t(f.symbol) >= layer.symbols.size() || f.resize != 0) return l;
    const Symbol& s = layer.symbols[std::size_t(f.symbol)];
    const double turn = std::fmod(std::fabs(f.angle), 90.0);
    if (turn > 1e-9 && turn < 90 - 1e-9) return l;
    const bool across = std::lround(std::fabs(f.angle) / 90) % 2 == 1;
    l.centre = f.a;
    if (s.family == SymbolFamily::Round) {
        l.shaped = l.round = true;
        l.r = s.p[0] / 2;
    } else if (s.family == SymbolFamily::Square || s.family == SymbolFamily::Rect) {
        const double w = s.p[0], h = s.family == SymbolFamily::Square ? s.p[0] : s.p[1];
        const double wx = across ? h : w, wy = across ? w : h;
        l.shaped = true;
        l.x0 = double(f.a.x) - wx / 2, l.x1 = double(f.a.x) + wx / 2;
        l.y0 = double(f.a.y) - wy / 2, l.y1 = double(f.a.y) + wy / 2;
    }
    return l;
}

// Separation of two lands along each axis (rectangle edge or round centre)
// and the gap between their copper.
struct Apart {
    double dx = 0, dy = 0;
    double gap = 0;
};

Apart apart(const Land& a, const Land& b)
{
    auto lo_x = [](const Land& l) { return l.round ? double(l.centre.x) : l.x0; };
    auto hi_x = [](const Land& l) { return l.round ? double(l.centre.x) : l.x1; };
    auto lo_y = [](const Land& l) { return l.round ? double(l.centre.y) : l.y0; };
    auto hi_y = [](const Land& l) { return l.round ? double(l.centre.y) : l.y1; };
    Apart d;
    d.dx = std::max({0.0, lo_x(b) - hi_x(a), lo_x(a) - hi_x(b)});
    d.dy = std::max({0.0, lo_y(b) - hi_y(a), lo_y(a) - hi_y(b)});
    d.gap = std::hypot(d.dx, d.dy) - (a.round ? a.r : 0) - (b.round ? b.r : 0);
    return d;
}

// Takes up to `want` of gap from one land toward `other` within its budget;
// what it took.
double shave(Land& l, const Land& other, double want, double budget)
{
    if (want <= 0) return 0;
    if (l.round) {
        const double room = std::min((budget - l.lost_x) / 2, l.r - 500);  // a land keeps 1 um
        const double s = std::clamp(want, 0.0, std::max(room, 0.0));
        l.r -= s;
        l.lost_x = l.lost_y = l.lost_x + 2 * s;
        l.changed = l.changed || s > 0;
        return s;
    }
    const Apart d = apart(l, other);
    const bool along_x = d.dx >= d.dy;
    double& lost = along_x ? l.lost_x : l.lost_y;
    const double width = along_x ? l.x1 - l.x0 : l.y1 - l.y0;
    const double room = std::max(std::min(budget - lost, width - 1000), 0.0);
    const double s = std::clamp(want, 0.0, room);
    if (s <= 0) return 0;
    const double oc = along_x ? (other.round ? double(other.centre.x) : (other.x0 + other.x1) / 2)
                              : (other.round ? double(other.centre.y) : (other.y0 + other.y1) / 2);
    double& lo = along_x ? l.x0 : l.y0;
    double& hi = along_x ? l.x1 : l.y1;
    if (oc > (lo + hi) / 2) hi -= s; else lo += s;
    lost += s;
    l.changed = true;
    return s;
}

} // namespace

SmdSpacingRun restore_smd_spacing(Job& job, Step& step, const std::string& name, Coord spacing, Coord max_reduction)
{
    SmdSpacingRun run;
    drc::ContextOptions options;
    options.mask = false;
    auto ctx = drc::build_layer_context(job, step, name, options);
    if (!ctx) return run;
    run.found = true;
    if (spacing <= 0) return run;
    Layer& layer = *store::find_layer(job, step, ctx->name);

    std::vector<Land> lands(ctx->pieces.size());
    std::vector<bool> mounted(ctx->pieces.size(), false);
    for (std::uint32_t i = 0; i < ctx->pieces.size(); ++i) {
        const drc::CopperPiece& p = ctx->pieces[i];
        const Feature& f = layer.features[p.feature];
        mounted[i] = p.role == drc::CopperRole::Smd ||
                     (p.role == drc::CopperRole::Pad && drc::attribute(layer, f, ".bga") != nullptr);
        if (mounted[i] && f.polarity == Polarity::Positive) lands[i] = land_of(layer, f);
    }
    const double limit = double(spacing);
    const double budget = double(std::max<Coord>(max_reduction, 0));
    drc::near_piece_pairs(*ctx, spacing, [&](std::uint32_t i, std::uint32_t j) {
        if (!mounted[i] || !mounted[j]) return;
        const drc::CopperPiece &a = ctx->pieces[i], &b = ctx->pieces[j];
        if (a.net >= 0 && a.net == b.net) return;
        std::ostringstream where;
        where << "pads " << a.feature << " and " << b.feature << " of " << ctx->name;
        if (!lands[i].shaped || !lands[j].shaped) {
            const Coord gap = Coord(std::llround(drc::piece_gap(*ctx, i, j).distance));
            if (gap < spacing) run.left.push_back(where.str() + ": gap " + std::to_string(gap) + " nm, a shape that is not shaved");
            return;
        }
        Apart d = apart(lands[i], lands[j]);
        if (d.gap >= limit - 0.5) return;
        // Half the shortfall from each; whatever one cannot give, the other.
        // Corners that face each other are met again, since the gap there
        // is not the sum of the two shaves.
        for (int pass = 0; pass < 4 && d.gap < limit - 0.5; ++pass) {
            const double need = limit - d.gap;
            const double first = shave(lands[i], lands[j], need / 2, budget);
            shave(lands[j], lands[i], need - first, budget);
            d = apart(lands[i], lands[j]);
            if (d.gap < limit - 0.5) shave(lands[i], lands[j], limit - d.gap, budget);
            d = apart(lands[i], lands[j]);
        }
        if (d.gap >= limit - 0.5)
            ++run.repaired;
        else
            run.left.push_back(where.str() + ": gap " + std::to_string(std::llround(d.gap)) +
                               " nm after giving up the allowed reduction");
    });

    for (std::uint32_t i = 0; i < lands.size(); ++i) {
        const Land& l = lands[i];
        if (!l.changed) continue;
        Feature& f = layer.features[ctx->pieces[i].feature];
        Symbol s = layer.symbols[std::size_t(f.symbol)];
        if (l.round) {
            s.p[0] = s.p[1] = std::round(2 * l.r);
        } else {
            const bool across = std::lround(std::fabs(f.angle) / 90) % 2 == 1;
            const double wx = std::round(l.x1 - l.x0), wy = std::round(l.y1 - l.y0);
            s.family = SymbolFamily::Rect;
            s.p[0] = across ? wy : wx;
            s.p[1] = across ? wx : wy;
            f.a = {Coord(std::llround((l.x0 + l.x1) / 2)), Coord(std::llround((l.y0 + l.y1) / 2))};
        }
        s.units = layer.units;
        s.name = odb::standard_symbol_name(s, layer.units);
        f.symbol = edit::symbol_index(layer, s);
        ++run.shaved;
    }
    return run;
}

} // namespace kesto::dfm
