#include "engine/dfm/signal_opt.h"

#include "engine/api/dfm_repairs.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/resize.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"

#include <algorithm>
#include <cmath>
#include <optional>

namespace kesto::dfm {

namespace {

using namespace KESTO::API;
using drc::CopperPiece;
using drc::CopperRole;
using drc::DrilledHole;
using drc::FeatureRef;
using drc::HoleClass;
using drc::LayerContext;

// The narrowest copper a reduction may leave, whatever the host allows.
constexpr Coord kNarrowest = 1000;

bool is_pad(CopperRole r) { return r == CopperRole::Pad || r == CopperRole::Smd; }

// A via is buried when its drill layer spans no outer copper layer.
bool buried(const Job& job, const DrilledHole& h)
{
    std::vector<const MatrixRow*> copper;
    for (const MatrixRow& r : job.rows)
        if (drc::iequals(r.context, "BOARD") && drc::is_copper_type(r.type)) copper.push_back(&r);
    if (copper.size() < 3) return false;
    for (const MatrixRow& r : job.rows) {
        if (!drc::iequals(r.name, h.layer_name.c_str())) continue;
        if (r.start_name.empty() || r.end_name.empty()) return false;
        auto outer = [&](const std::string& n) {
            return drc::iequals(copper.front()->name, n.c_str()) || drc::iequals(copper.back()->name, n.c_str());
        };
        return !outer(r.start_name) && !outer(r.end_name);
    }
    return false;
}

std::optional<RingKind> ring_kind(const Job& job, const DrilledHole& h)
{
    if (h.slot) return std::nullopt;
    switch (h.cls) {
    case HoleClass::Npth: return std::nullopt;
    case HoleClass::Pth: return RingKind::Pth;
    case HoleClass::Via: break;
    }
    if (h.laser) return RingKind::LaserVia;
    if (h.photo) return RingKind::MicroVia;
    return buried(job, h) ? RingKind::BuriedVia : RingKind::Via;
}

class Optimiser {
public:
    Optimiser(Job& job, LayerContext& ctx, const SignalOptRules& rules, drc::Findings& out)
        : job_(job), ctx_(ctx), rules_(rules), out_(out), grow_(ctx.pieces.size(), 0), shrink_(ctx.pieces.size(), 0)
    {
        hole_net_.resize(ctx.holes.size(), -1);
        for (std::size_t h = 0; h < ctx.holes.size(); ++h)
            if (ctx.nets && ctx.holes[h].cls != HoleClass::Npth)
                hole_net_[h] = ctx.nets->net(ctx.holes[h].layer_name, ctx.holes[h].feature);
    }

    void pad_up();
    void restore_spacing();
    void restore_hole_clearance();
    std::size_t apply(Layer& layer);

private:
    const CopperPiece& piece(std::uint32_t i) const { return ctx_.pieces[i]; }
    bool round_pad(std::uint32_t i) const
    {
        const CopperPiece& p = piece(i);
        return p.is_capsule && p.cap.a == p.cap.b && is_pad(p.role);
    }
    bool round_line(std::uint32_t i) const { return piece(i).is_capsule && piece(i).role == CopperRole::Line; }
    Coord delta(std::uint32_t i) const { return grow_[i] - shrink_[i]; }
    bool wanted(std::uint32_t i) const { return !rules_.selected_only || piece(i).selected; }

    // Edge gap of two pieces as they stand now: signed (overlap negative)
    // when both are capsules, else 0 for touching copper.
    drc::Gap gap(std::uint32_t a, std::uint32_t b) const
    {
        const CopperPiece& pa = piece(a);
        const CopperPiece& pb = piece(b);
        if (pa.is_capsule && pb.is_capsule) {
            drc::Capsule ca = pa.cap, cb = pb.cap;
            ca.r += delta(a), cb.r += delta(b);
            return drc::capsule_gap(ca, cb);
        }
        const geom::Closest c = drc::piece_gap(ctx_, a, b);
        drc::Gap g;
        g.gap = Coord(std::llround(c.distance)) - delta(a) - delta(b);
        g.pa = {Coord(std::llround(c.ax)), Coord(std::llround(c.ay))};
        g.pb = {Coord(std::llround(c.bx)), Coord(std::llround(c.by))};
        return g;
    }
    Coord hole_gap(std::size_t h, std::uint32_t p, drc::Gap* where = nullptr) const
    {
        const geom::Closest c = drc::capsule_gap_to_piece(ctx_, ctx_.holes[h].cap, p);
        if (where) {
            where->pa = {Coord(std::llround(c.ax)), Coord(std::llround(c.ay))};
            where->pb = {Coord(std::llround(c.bx)), Coord(std::llround(c.by))};
        }
        return Coord(std::llround(c.distance)) - delta(p);
    }

    // The ring left around a land's own hole, exactly (round land, round hole).
    Coord ring(std::uint32_t land) const
    {
        const DrilledHole& h = ctx_.holes[std::size_t(ctx_.land_of[land])];
        const double off = std::hypot(double(h.cap.a.x - piece(land).cap.a.x), double(h.cap.a.y - piece(land).cap.a.y));
        return Coord(std::llround(double(piece(land).cap.r + delta(land)) - off - double(h.cap.r)));
    }
    Coord ring_min(std::uint32_t land) const
    {
        const auto kind = ring_kind(job_, ctx_.holes[std::size_t(ctx_.land_of[land])]);
        return kind ? rules_.ring_min[std::size_t(*kind)] : 0;
    }

    // May the repair change this piece's size at all?
    bool changeable(std::uint32_t i) const
    {
        if (!wanted(i)) return false;
        const CopperPiece& p = piece(i);
        if (round_line(i)) {
            if (!rules_.linedn) return false;
            const Coord w = 2 * p.cap.r;
            return (rules_.line_from == 0 && rules_.line_to == 0) || (w >= rules_.line_from && w <= rules_.line_to);
        }
        if (!round_pad(i)) return false;
        return p.role == CopperRole::Smd ? rules_.smds : rules_.pads;
    }
    // How much more the piece's radius may come down.
    Coord shrink_room(std::uint32_t i) const
    {
        if (!changeable(i)) return 0;
        const CopperPiece& p = piece(i);
        if (round_pad(i) && !rules_.paddn && !cutting_) return 0;
        Coord room = rules_.reduction / 2 - shrink_[i];
        room = std::min(room, (2 * (p.cap.r + delta(i)) - std::max(rules_.abs_min, kNarrowest)) / 2);
        if (round_pad(i) && ctx_.land_of[i] >= 0) room = std::min(room, ring(i) - std::max<Coord>(ring_min(i), 0));
        return std::max<Coord>(room, 0);
    }
    // Takes up to `need` from the piece; what it took.
    Coord take(std::uint32_t i, Coord need)
    {
        const Coord t = std::min(need, shrink_room(i));
        if (t > 0) shrink_[i] += t;
        return std::max<Coord>(t, 0);
    }
    // Lines give way before pads (a narrower line keeps every ring); two of
    // a kind share the reduction, each taking up what the other cannot.
    Coord take_pair(std::uint32_t a, std::uint32_t b, Coord need)
    {
        if (round_line(a) != round_line(b)) {
            if (round_line(b)) std::swap(a, b);
            const Coord taken = take(a, need);
            return taken + take(b, need - taken);
        }
        Coord taken = take(a, need / 2);
        taken += take(b, need - taken);
        return taken + take(a, need - taken);
    }

    Job& job_;
    LayerContext& ctx_;
    const SignalOptRules& rules_;
    drc::Findings& out_;
    std::vector<Coord> grow_, shrink_;
    std::vector<std::int32_t> hole_net_;
    bool cutting_ = false;  // touching lands are being cut apart: lands may come down
};

void Optimiser::pad_up()
{
    Coord reach = std::max({rules_.spacing_min, rules_.pad_spacing_min, rules_.drill_to_cu});
    for (std::uint32_t p = 0; p < ctx_.pieces.size(); ++p) {
        if (ctx_.land_of[p] < 0) continue;
        const std::size_t own = std::size_t(ctx_.land_of[p]);
        const DrilledHole& h = ctx_.holes[own];
        const auto kind = ring_kind(job_, h);
        if (!kind || h.cap.a != h.cap.b) continue;
        const Coord opt = rules_.ring_opt[std::size_t(*kind)], min = rules_.ring_min[std::size_t(*kind)];
        if (opt <= 0 && min <= 0) continue;
        const FeatureRef hole_ref{h.layer, &h.layer_name, h.feature};
        if (!round_pad(p)) {
            // Other land shapes are measured by the signal check; they are not grown here.
            continue;
        }
        const Coord before = ring(p);
        const Coord target = std::max(opt, min);
        if (before >= target) continue;
        const Coord need = target - before;
        Coord room = rules_.padup && changeable(p) ? need : 0;
        for (std::size_t k : drc::pieces_near(ctx_, piece(p).box, need + reach)) {
            const std::uint32_t q = std::uint32_t(k);
            if (q == p || room <= 0) continue;
            const drc::Gap g = gap(p, q);
            const bool same = piece(q).net >= 0 && piece(q).net == piece(p).net;
            Coord keep;
            if (same) {
                // Copper of the land's own net may be met, but pads it does
                // not touch yet keep apart unless the host lets them touch.
                if (g.gap <= 0 || rules_.padup_can_touch || !is_pad(piece(q).role)) continue;
                keep = std::max(rules_.pad_spacing_min, rules_.spacing_min);
            } else {
                keep = is_pad(piece(q).role) && rules_.pad_spacing_min > 0 ? rules_.pad_spacing_min : rules_.spacing_min;
            }
            room = std::min(room, g.gap - keep);
        }
        if (rules_.drill_to_cu > 0)
            for (std::size_t o = 0; o < ctx_.holes.size() && room > 0; ++o) {
                if (o == own) continue;
                if (hole_net_[o] >= 0 && hole_net_[o] == piece(p).net) continue;
                const drc::Capsule& c = ctx_.holes[o].cap;
                const Box b = drc::capsule_box(c);
                const Box pb = piece(p).box;
                if (b.xmin > pb.xmax + need + rules_.drill_to_cu || b.xmax < pb.xmin - need - rules_.drill_to_cu ||
                    b.ymin > pb.ymax + need + rules_.drill_to_cu || b.ymax < pb.ymin - need - rules_.drill_to_cu)
                    continue;
                room = std::min(room, hole_gap(o, p) - rules_.drill_to_cu);
            }
        const Coord grown = std::max<Coord>(0, std::min(room, need));
        grow_[p] = grown;
        const Coord after = before + grown;
        const Coord diameter = 2 * (piece(p).cap.r + grown);
        const drc::Marker marker = drc::circle_marker(h.cap.a, diameter);
        if (grown > 0 && after >= target) out_.add(ArgRepaired, after, marker, {hole_ref, ctx_.ref(p)});
        if (rules_.padup && grown < need) out_.add(PadEnlargeOverLimit, need - grown, marker, {hole_ref, ctx_.ref(p)});
        if (after < target) out_.add(min > 0 && after < min ? ArgViolationMin : ArgViolationOpt, after, marker,
                                     {hole_ref, ctx_.ref(p)});
    }
}

void Optimiser::restore_spacing()
{
    if (rules_.spacing_min <= 0 && rules_.pad_spacing_min <= 0 && rules_.spacing_opt <= 0) return;
    Coord most_grown = 0;
    for (Coord g : grow_) most_grown = std::max(most_grown, g);
    const Coord reach = std::max({rules_.spacing_min, rules_.spacing_opt, rules_.pad_spacing_min, rules_.pad_spacing_opt}) +
                        2 * most_grown;
    drc::near_piece_pairs(ctx_, reach, [&](std::uint32_t a, std::uint32_t b) {
        if (!wanted(a) && !wanted(b)) return;
        const bool same = piece(a).net >= 0 && piece(a).net == piece(b).net;
        // Lands of two different holes that run into each other: two
        // conductors drawn as one, kept apart as if of two nets.
        const bool lands = round_pad(a) && round_pad(b) && ctx_.land_of[a] >= 0 && ctx_.land_of[b] >= 0 &&
                           ctx_.land_of[a] != ctx_.land_of[b];
        drc::Gap g = gap(a, b);
        const bool cut = rules_.cut_touching && lands && g.gap <= 0;
        if ((same || !rules_.spacing_repairs) && !cut) return;
        if (g.gap <= 0 && !cut) return;
        const bool pads = is_pad(piece(a).role) && is_pad(piece(b).role);
        const Coord min = pads && rules_.pad_spacing_min > 0 ? rules_.pad_spacing_min : rules_.spacing_min;
        const Coord opt = pads && rules_.pad_spacing_opt > 0 ? rules_.pad_spacing_opt : rules_.spacing_opt;
        const FeatureRef ra = ctx_.ref(a), rb = ctx_.ref(b);
        if (min > 0 && g.gap < min) {
            const Coord need = min - g.gap;
            cutting_ = cut;
            const Coord taken = take_pair(a, b, need);
            cutting_ = false;
            g = gap(a, b);
            if (taken >= need) {
                out_.add(SpacingRepaired, g.gap, drc::segment_marker(g.pa, g.pb, g.gap), {ra, rb});
                return;
            }
            out_.add(SpacingViolationMin, g.gap, drc::segment_marker(g.pa, g.pb, g.gap), {ra, rb});
            return;
        }
        if (opt > 0 && g.gap < opt)
            out_.add(SpacingViolationOpt, g.gap, drc::segment_marker(g.pa, g.pb, g.gap), {ra, rb});
    });
}

void Optimiser::restore_hole_clearance()
{
    const Coord limit = rules_.drill_to_cu;
    if (limit <= 0) return;
    for (std::size_t h = 0; h < ctx_.holes.size(); ++h) {
        const DrilledHole& hole = ctx_.holes[h];
        const FeatureRef hole_ref{hole.layer, &hole.layer_name, hole.feature};
        for (std::size_t k : drc::pieces_near(ctx_, drc::capsule_box(hole.cap), limit)) {
            const std::uint32_t p = std::uint32_t(k);
            if (!wanted(p) || ctx_.land_of[p] == std::int32_t(h)) continue;
            if (hole_net_[h] >= 0 && piece(p).net == hole_net_[h]) continue;
            drc::Gap g;
            Coord gap = hole_gap(h, p, &g);
            // A hole through copper is a land or a short; no reduction helps.
            if (gap + delta(p) <= 0 || gap >= limit) continue;
            const Coord need = limit - gap;
            const Coord taken = rules_.drills ? take(p, need) : 0;
            gap = hole_gap(h, p, &g);
            out_.add(taken >= need ? H2CuRepaired : H2CuViolation, gap, drc::segment_marker(g.pa, g.pb, gap),
                     {hole_ref, ctx_.ref(p)});
        }
    }
}

std::size_t Optimiser::apply(Layer& layer)
{
    std::size_t changed = 0;
    for (std::uint32_t i = 0; i < ctx_.pieces.size(); ++i) {
        const Coord d = delta(i);
        if (d == 0) continue;
        Feature& f = layer.features[piece(i).feature];
        auto s = edit::grown_symbol(layer.symbols[std::size_t(f.symbol)], double(2 * d));
        if (!s) continue;
        s->p[0] = double(2 * (piece(i).cap.r + d));
        s->name = odb::standard_symbol_name(*s, layer.units);
        s->units = layer.units;
        f.symbol = edit::symbol_index(layer, *s);
        ++changed;
    }
    return changed;
}

} // namespace

SignalOptRun optimise_signal_layer(Job& job, Step& step, const std::string& name, const SignalOptRules& rules,
                                   const drc::LevelLimits& levels)
{
    SignalOptRun run;
    drc::ContextOptions options;
    options.mask = false;
    auto ctx = drc::build_layer_context(job, step, name, options);
    if (!ctx) return run;
    run.found = true;
    Layer* layer = store::find_layer(job, step, ctx->name);
    drc::Findings out(ctx->name, levels);
    Optimiser o(job, *ctx, rules, out);
    o.pad_up();
    o.restore_spacing();
    o.restore_hole_clearance();
    run.changed = o.apply(*layer);
    run.result = out.take(false);
    return run;
}

} // namespace kesto::dfm
