// Annular rings: the copper a land leaves around its hole, measured from the
// hole's edge to the nearest edge of the land. Holes whose land is off
// centre (registration) and, on outer layers, holes without a land or
// without copper at all.
#include "engine/drc/signal_rules.h"

#include <cmath>
#include <limits>

namespace kesto::drc {

namespace {

using namespace signal_item;

// Smallest distance from the hole's centre line to the land's edge, less the
// hole's radius: the ring on its thinnest side.
Coord ring_of(const LayerContext& ctx, const DrilledHole& h, std::uint32_t land)
{
    const CopperPiece& p = ctx.pieces[land];
    if (p.is_capsule && p.cap.a == p.cap.b && h.cap.a == h.cap.b) {  // round land, round hole: exactly
        const double off = std::hypot(double(h.cap.a.x - p.cap.a.x), double(h.cap.a.y - p.cap.a.y));
        return Coord(std::llround(double(p.cap.r) - off - double(h.cap.r)));
    }
    double best = std::numeric_limits<double>::infinity();
    for (const geom::Edge& e : geom::edges_of(ctx.outline(land))) {
        const geom::Closest c = geom::segment_segment(double(h.cap.a.x), double(h.cap.a.y), double(h.cap.b.x),
                                                      double(h.cap.b.y), e.x1, e.y1, e.x2, e.y2);
        best = std::min(best, c.distance);
    }
    return Coord(std::llround(best - double(h.cap.r)));
}

int ring_item(const DrilledHole& h)
{
    if (h.slot && h.cls != HoleClass::Npth) return PlatedRoutRing;
    switch (h.cls) {
    case HoleClass::Via: return h.laser ? LaserViaRing : h.photo ? PhotoViaRing : ViaRing;
    case HoleClass::Npth: return NpthRing;
    case HoleClass::Pth: break;
    }
    return PthRing;
}

} // namespace

void ring_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    std::vector<std::int32_t> land(ctx.holes.size(), -1);
    for (std::uint32_t p = 0; p < ctx.land_of.size(); ++p)
        if (ctx.land_of[p] >= 0 && land[std::size_t(ctx.land_of[p])] < 0) land[std::size_t(ctx.land_of[p])] = std::int32_t(p);

    for (std::size_t i = 0; i < ctx.holes.size(); ++i) {
        const DrilledHole& h = ctx.holes[i];
        const FeatureRef hole_ref{h.layer, &h.layer_name, h.feature};
        const Coord diameter = 2 * h.cap.r;
        if (land[i] < 0) {
            // Inner layers may leave holes without lands; outer ones may not.
            if (!in.limits.check_missing || !ctx.outer || h.cls == HoleClass::Npth) continue;
            bool copper = false;
            for (std::size_t k : ctx.index.query(Box{h.cap.a.x, h.cap.a.y, h.cap.a.x, h.cap.a.y}))
                if (piece_holds(ctx, std::uint32_t(k), h.cap.a)) copper = true;
            const int item = h.slot ? MissingCuForPlatedRout
                             : h.cls == HoleClass::Via ? (copper ? MissingPadForVia : MissingCuForVia)
                                                       : MissingPadForPth;
            if (h.slot && copper) continue;
            in.out.add(item, diameter, circle_marker(h.cap.a, diameter), {hole_ref});
            continue;
        }
        const std::uint32_t p = std::uint32_t(land[i]);
        if (!in.wanted(p)) continue;
        const int item = ring_item(h);
        const Coord fallback = h.cls == HoleClass::Via ? in.limits.ring_via : in.limits.ring_pth;
        const Coord ring = ring_of(ctx, h, p);
        if (ring <= in.reach(item, fallback))
            in.out.add(item, ring, circle_marker(h.cap.a, diameter), {hole_ref, ctx.ref(p)});
        // Registration: the hole's centre off the land's centre. Measured as
        // the ring left on the thin side, reported when the offset is beyond
        // the registration tolerance.
        const Feature& f = ctx.layer->features[ctx.pieces[p].feature];
        if (f.kind == FeatureKind::Pad && !h.slot &&
            (std::llabs(f.a.x - h.cap.a.x) > in.limits.registration_x || std::llabs(f.a.y - h.cap.a.y) > in.limits.registration_y)) {
            const int reg = h.cls == HoleClass::Npth ? NpthRegistration : PthRegistration;
            in.out.add(reg, ring, segment_marker(f.a, h.cap.a, ring), {hole_ref, ctx.ref(p)});
        }
    }
}

} // namespace kesto::drc
