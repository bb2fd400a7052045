#include "engine/dfm/mask_opt.h"

#include "engine/drc/feature_shapes.h"
#include "engine/drc/mask_silk_rules.h"
#include "engine/drc/signal_context.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/resize.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <set>

namespace kesto::dfm {

namespace {

// "SolderMaskOpt" items.
enum : int {
    NoViolations = 0, ViolationsOpt = 1, OptCoverOnly = 2, OptClearOnly = 3, ViolationsMin = 4, GasketRemoved = 5,
    BridgesAll = 6, BridgesRestored = 7, CannotBridge = 10, ResizeProblem = 13, Oversized = 14, PartialClearance = 15,
    SmallClearance = 16,
};

constexpr Coord kNone = std::numeric_limits<Coord>::max() / 4;
// Circles drawn as polygons stand up to this far inside their true edge.
constexpr Coord kChord = 1000;

bool resizable(SymbolFamily f)
{
    switch (f) {
    case SymbolFamily::Round:
    case SymbolFamily::Square:
    case SymbolFamily::Rect:
    case SymbolFamily::RectRounded:
    case SymbolFamily::Oval: return true;
    default: return false;
    }
}

// The opening's clearance from the two symbols: half the narrowest growth.
Coord clearance_of(const Symbol& pad, const Symbol& open)
{
    double c = (open.p[0] - pad.p[0]) / 2;
    if (pad.family != SymbolFamily::Round && pad.family != SymbolFamily::Square)
        c = std::min(c, (open.p[1] - pad.p[1]) / 2);
    return Coord(std::llround(c));
}

struct Neighbour {
    std::uint32_t piece;
    Coord gap;  // from the pad's copper
};

struct Worked {
    std::uint32_t opening = 0, pad = 0;
    Coord before = 0, after = 0, min = 0, opt = 0;
    bool gasket = false, oversized = false;
    std::vector<Neighbour> copper;          // copper that must stay covered
    std::vector<std::uint32_t> openings;    // neighbouring openings
};

class MaskOptimiser {
public:
    MaskOptimiser(const drc::LayerContext& sm, const drc::LayerContext& cu, Layer& mask_layer, const MaskOptRules& rules,
                  drc::Findings& out)
        : sm_(sm), cu_(cu), layer_(mask_layer), rules_(rules), out_(out)
    {
        for (std::uint32_t j = 0; j < sm.pieces.size(); ++j) {
            outline_.push_back(sm.outline(j));
            cap_.push_back(sm.pieces[j].is_capsule ? std::optional<drc::Capsule>(sm.pieces[j].cap) : std::nullopt);
        }
        before_outline_ = outline_;
        before_cap_ = cap_;
        cleared_.assign(cu.pieces.size(), false);
        opening_of_.assign(cu.pieces.size(), -1);
        for (std::uint32_t p = 0; p < cu.pieces.size(); ++p) {
            const drc::CopperPiece& pad = cu.pieces[p];
            if (pad.role != drc::CopperRole::Pad && pad.role != drc::CopperRole::Smd) continue;
            const Point c = cu.layer->features[pad.feature].a;
            for (std::size_t k : sm.index.query(Box{c.x, c.y, c.x, c.y}))
                if (drc::piece_holds(sm, std::uint32_t(k), c)) {
                    opening_of_[p] = std::int32_t(k);
                    cleared_[p] = true;
                    break;
                }
        }
    }

    void run()
    {
        std::vector<bool> done(sm_.pieces.size(), false);
        for (std::uint32_t p = 0; p < cu_.pieces.size(); ++p) {
            if (opening_of_[p] < 0) continue;
            if (rules_.selected_only && !cu_.pieces[p].selected) continue;
            const std::uint32_t o = std::uint32_t(opening_of_[p]);
            if (done[o]) continue;
            done[o] = true;
            work(p, o);
        }
        report();
    }

    std::size_t changed = 0;

private:
    MaskOptRules::Clearance clearance_for(std::uint32_t p) const
    {
        const Feature& f = cu_.layer->features[cu_.pieces[p].feature];
        auto given = [](const MaskOptRules::Clearance& c) { return c.min > 0 || c.opt > 0; };
        if (drc::attribute(*cu_.layer, f, ".bga") && given(rules_.bga)) return rules_.bga;
        if (cu_.pieces[p].role == drc::CopperRole::Smd && given(rules_.smd)) return rules_.smd;
        if (drc::attribute(*cu_.layer, f, ".bga") && given(rules_.smd)) return rules_.smd;
        if (cu_.land_of[p] >= 0 && given(rules_.drilled)) return rules_.drilled;
        return rules_.plain;
    }

    // The opening the pad's symbol grown by `c` a side makes, where the pad stands.
    std::optional<Symbol> opening_symbol(const Symbol& pad, Coord c) const
    {
        auto s = c == 0 ? std::optional<Symbol>(pad) : edit::grown_symbol(pad, double(2 * c));
        if (!s) return s;
        s->units = layer_.units;
        s->name = odb::standard_symbol_name(*s, layer_.units);
        return s;
    }
    geom::Paths opening_outline(const Feature& at, const Symbol& s) const
    {
        Layer scratch;
        scratch.symbols.push_back(s);
        Feature f = at;
        f.symbol = 0;
        f.attributes = 0;
        return geom::feature_outline(scratch, f, sm_.outlines);
    }

    // Gap between two openings as they stand now (before: as drawn).
    Coord opening_gap(std::uint32_t a, std::uint32_t b, bool before) const
    {
        const auto& caps = before ? before_cap_ : cap_;
        const auto& outlines = before ? before_outline_ : outline_;
        if (caps[a] && caps[b]) {
            const auto& x = *caps[a];
            const auto& y = *caps[b];
            if (x.a == x.b) {
                const geom::Closest c = geom::segment_point(double(y.a.x), double(y.a.y), double(y.b.x), double(y.b.y),
                                                            double(x.a.x), double(x.a.y));
                return Coord(std::llround(c.distance)) - x.r - y.r;
            }
            if (y.a == y.b) {
                const geom::Closest c = geom::segment_point(double(x.a.x), double(x.a.y), double(x.b.x), double(x.b.y),
                                                            double(y.a.x), double(y.a.y));
                return Coord(std::llround(c.distance)) - x.r - y.r;
            }
        }
        return Coord(std::llround(geom::outline_distance(outlines[a], outlines[b]).distance));
    }

    void work(std::uint32_t p, std::uint32_t o)
    {
        const drc::CopperPiece& pad = cu_.pieces[p];
        const Feature& pf = cu_.layer->features[pad.feature];
        Feature& mf = layer_.features[sm_.pieces[o].feature];
        const Box obox = geom::box_of(outline_[o]);
        if (pf.symbol < 0 || mf.symbol < 0) return;
        const Symbol& ps = cu_.layer->symbols[std::size_t(pf.symbol)];
        const Symbol& ms = layer_.symbols[std::size_t(mf.symbol)];
        // Only an opening drawn as the pad is (same centre, turn and family)
        // can be resized without guessing its shape.
        if (mf.kind != FeatureKind::Pad || mf.polarity != Polarity::Positive || !(mf.a == pf.a) ||
            mf.angle != pf.angle || mf.mirror != pf.mirror || mf.resize != 0 || pf.resize != 0 ||
            ps.family != ms.family || !resizable(ps.family)) {
            const bool wholly = [&] {
                for (const geom::Path& path : cu_.outline(p))
                    for (const auto& v : path)
                        if (!drc::piece_holds(sm_, o, {v.X, v.Y})) return false;
                return true;
            }();
            out_.add(wholly ? ResizeProblem : PartialClearance, 0, drc::rect_marker(obox), {cu_.ref(p), sm_.ref(o)});
            return;
        }
        const MaskOptRules::Clearance cl = clearance_for(p);
        Worked w;
        w.opening = o, w.pad = p;
        w.before = clearance_of(ps, ms);
        w.min = cl.min, w.opt = std::max(cl.opt, cl.min);
        const Coord c0 = w.before;
        if (c0 < 0) {
            // The mask defines the pad; only grown when the host asks for it.
            if (!(cu_.land_of[p] >= 0 ? rules_.gasket_drilled : rules_.gasket_undrilled)) return;
            w.gasket = true;
        }
        Coord want = c0;
        if (c0 < w.opt) want = w.opt;
        if (rules_.max_oversized > 0 && c0 > rules_.max_oversized) want = w.opt, w.oversized = true;

        const bool round = pad.is_capsule && pad.cap.a == pad.cap.b;
        const Coord cover_opt = std::max(rules_.coverage_opt, rules_.coverage_min);
        const Coord reach = std::max(want, c0) + std::max(cover_opt, rules_.bridge) + kChord;
        Coord hi_opt = kNone, hi_min = kNone;
        for (std::size_t k : drc::pieces_near(cu_, pad.box, reach)) {
            if (k == p) continue;
            const drc::CopperPiece& c = cu_.pieces[k];
            // Pads cleared by their own opening are meant to be bare.
            if ((c.role == drc::CopperRole::Pad || c.role == drc::CopperRole::Smd) && cleared_[k]) continue;
            const Coord g = Coord(std::llround(drc::piece_gap(cu_, p, std::uint32_t(k)).distance));
            if (g <= 0) continue;  // copper joined to the pad is bared with it whatever the size
            w.copper.push_back({std::uint32_t(k), g});
            hi_opt = std::min(hi_opt, g - cover_opt);
            hi_min = std::min(hi_min, g - rules_.coverage_min);
        }
        Box q = pad.box;
        q.xmin -= reach, q.ymin -= reach, q.xmax += reach, q.ymax += reach;
        for (std::size_t j : sm_.index.query(q)) {
            if (j == o || drc::piece_holds(sm_, std::uint32_t(j), pf.a)) continue;
            w.openings.push_back(std::uint32_t(j));
            if (rules_.bridge <= 0) continue;
            Coord g;
            if (round && cap_[j]) {
                const auto& y = *cap_[j];
                g = Coord(std::llround(geom::segment_point(double(y.a.x), double(y.a.y), double(y.b.x), double(y.b.y),
                                                           double(pf.a.x), double(pf.a.y))
                                           .distance)) -
                    y.r - pad.cap.r;
            } else {
                // Polygons stand inside round edges: count the chord against the bridge.
                g = Coord(std::llround(geom::outline_distance(cu_.outline(p), outline_[j]).distance)) - kChord;
            }
            hi_opt = std::min(hi_opt, g - rules_.bridge);
            hi_min = std::min(hi_min, g - rules_.bridge);
        }

        const Coord lo = w.min;
        Coord c = std::min(want, hi_opt);
        if (c < lo) c = std::min(want, hi_min);
        if (c < lo) c = c0 < lo ? std::max(c0, std::min(want, hi_min)) : lo;
        if (w.gasket && c < 0) c = c0;

        // Sharp corners reach further than their sides: shrink until every
        // limit holds, never below where the search started.
        if (!round && c != c0) {
            auto fits = [&](Coord t) {
                auto s = opening_symbol(ps, t);
                if (!s) return false;
                const geom::Paths ol = opening_outline(mf, *s);
                // A round neighbour drawn as a polygon stands up to a chord inside its edge.
                for (const Neighbour& n : w.copper)
                    if (geom::outline_distance(ol, cu_.outline(n.piece)).distance <
                        double(rules_.coverage_min + (cu_.pieces[n.piece].is_capsule ? kChord : 0)))
                        return false;
                if (rules_.bridge > 0)
                    for (std::uint32_t j : w.openings)
                        if (geom::outline_distance(ol, outline_[j]).distance < double(rules_.bridge + (cap_[j] ? kChord : 0)))
                            return false;
                return true;
            };
            const Coord floor = std::min(c, std::max(c0, lo));
            if (!fits(c) && fits(floor)) {
                Coord good = floor, bad = c;
                while (bad - good > 1000) {
                    const Coord mid = good + (bad - good) / 2;
                    (fits(mid) ? good : bad) = mid;
                }
                c = good;
            }
        }
        w.after = c;
        if (c != c0 && rules_.resize) {
            if (auto s = opening_symbol(ps, c)) {
                mf.symbol = edit::symbol_index(layer_, *s);
                outline_[o] = opening_outline(mf, *s);
                if (cap_[o]) cap_[o]->r = Coord(std::llround(s->p[0] / 2));
                ++changed;
            } else {
                out_.add(ResizeProblem, c0, drc::rect_marker(obox), {cu_.ref(p), sm_.ref(o)});
                return;
            }
        } else {
            w.after = c0;
        }
        worked_.push_back(std::move(w));
    }

    void report()
    {
        std::set<std::pair<std::uint32_t, std::uint32_t>> pairs;
        for (const Worked& w : worked_) {
            const drc::CopperPiece& pad = cu_.pieces[w.pad];
            const bool round = pad.is_capsule && pad.cap.a == pad.cap.b;
            const Box box = geom::box_of(outline_[w.opening]);
            const drc::Marker m = drc::rect_marker(box);
            const std::initializer_list<drc::FeatureRef> refs{cu_.ref(w.pad), sm_.ref(w.opening)};
            Coord cover = kNone;
            for (const Neighbour& n : w.copper)
                cover = std::min(cover, round ? n.gap - w.after
                                              : Coord(std::llround(geom::outline_distance(outline_[w.opening],
                                                                                          cu_.outline(n.piece))
                                                                       .distance)));
            const bool clear_opt = w.after >= w.opt;
            const bool cover_opt = cover >= std::max(rules_.coverage_opt, rules_.coverage_min);
            if (w.gasket && w.after >= 0) out_.add(GasketRemoved, w.after, m, refs);
            if (w.oversized && w.after < w.before) out_.add(Oversized, w.after, m, refs);
            if (w.after < w.min)
                out_.add(SmallClearance, w.after, m, refs);
            else if (cover < rules_.coverage_min)
                out_.add(ViolationsMin, cover, m, refs);
            else if (clear_opt && cover_opt)
                out_.add(NoViolations, w.after, m, refs);
            else if (cover_opt)
                out_.add(OptCoverOnly, w.after, m, refs);
            else if (clear_opt)
                out_.add(OptClearOnly, cover, m, refs);
            else
                out_.add(ViolationsOpt, w.after, m, refs);
            if (rules_.bridge <= 0) continue;
            for (std::uint32_t j : w.openings) {
                if (!pairs.insert({std::min(w.opening, j), std::max(w.opening, j)}).second) continue;
                const Coord before = opening_gap(w.opening, j, true), after = opening_gap(w.opening, j, false);
                if (after > rules_.bridge + std::max(w.opt, w.min)) continue;  // beyond what the run looked at
                const std::initializer_list<drc::FeatureRef> both{sm_.ref(w.opening), sm_.ref(j)};
                if (after < rules_.bridge - kChord / 2)
                    out_.add(CannotBridge, after, m, both);
                else {
                    out_.add(BridgesAll, after, m, both);
                    if (before < rules_.bridge - kChord / 2) out_.add(BridgesRestored, after, m, both);
                }
            }
        }
    }

    const drc::LayerContext& sm_;
    const drc::LayerContext& cu_;
    Layer& layer_;
    const MaskOptRules& rules_;
    drc::Findings& out_;
    std::vector<geom::Paths> outline_, before_outline_;
    std::vector<std::optional<drc::Capsule>> cap_, before_cap_;
    std::vector<bool> cleared_;
    std::vector<std::int32_t> opening_of_;
    std::vector<Worked> worked_;
};

} // namespace

MaskOptRun optimise_mask_layer(Job& job, Step& step, const std::string& name, const MaskOptRules& rules,
                               const drc::LevelLimits& levels)
{
    MaskOptRun run;
    drc::ContextOptions plain;
    plain.nets = plain.holes = plain.mask = false;
    auto sm = drc::build_layer_context(job, step, name, plain);
    if (!sm) return run;
    run.copper = drc::copper_below(job, sm->name);
    if (run.copper.empty()) return run;
    drc::ContextOptions options;
    options.mask = false;
    auto cu = drc::build_layer_context(job, step, run.copper, options);
    if (!cu) return run;
    run.found = true;
    Layer* layer = store::find_layer(job, step, sm->name);
    drc::Findings out(sm->name, levels);
    MaskOptimiser o(*sm, *cu, *layer, rules, out);
    o.run();
    run.changed = o.changed;
    run.result = out.take(true);
    return run;
}

} // namespace kesto::dfm
