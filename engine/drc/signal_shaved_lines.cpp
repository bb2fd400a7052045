// Shaved Lines and Shaved Arcs: a round-symbol trace that has lost copper to
// negative features drawn over it, so that on a stretch it is narrower than
// the width it was drawn with. Measured is the narrowest copper left across
// the trace: the copper is cut by short chords square to the trace at
// stations along it (a quarter of the width apart, at most 400 of them; the
// round ends, where any trace is narrower, are left out).
#include "engine/drc/signal_rules.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kesto::drc {

namespace {

using namespace signal_item;

// Total length of the chord from (x1,y1) to (x2,y2) that lies on the copper.
double chord_on(const geom::Paths& copper, double x1, double y1, double x2, double y2)
{
    ClipperLib::Clipper clipper;
    const geom::Path chord{{ClipperLib::cInt(std::llround(x1)), ClipperLib::cInt(std::llround(y1))},
                           {ClipperLib::cInt(std::llround(x2)), ClipperLib::cInt(std::llround(y2))}};
    clipper.AddPath(chord, ClipperLib::ptSubject, false);
    clipper.AddPaths(copper, ClipperLib::ptClip, true);
    ClipperLib::PolyTree tree;
    clipper.Execute(ClipperLib::ctIntersection, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    geom::Paths pieces;
    ClipperLib::OpenPathsFromPolyTree(tree, pieces);
    double length = 0;
    for (const geom::Path& p : pieces)
        for (std::size_t i = 1; i < p.size(); ++i)
            length += std::hypot(double(p[i].X - p[i - 1].X), double(p[i].Y - p[i - 1].Y));
    return length;
}

// The narrowest chord across the trace and where it stands.
double narrowest(const geom::Paths& copper, const Feature& f, Coord width, Point& where)
{
    const double w = double(width);
    const bool arc = f.kind == FeatureKind::Arc;
    double from = 0, sweep = 0, r = 0;
    double length = std::hypot(double(f.b.x - f.a.x), double(f.b.y - f.a.y));
    if (arc) {
        r = std::hypot(double(f.a.x - f.c.x), double(f.a.y - f.c.y));
        from = std::atan2(double(f.a.y - f.c.y), double(f.a.x - f.c.x));
        const double to = std::atan2(double(f.b.y - f.c.y), double(f.b.x - f.c.x));
        sweep = f.cw ? from - to : to - from;
        while (sweep <= 0) sweep += 2 * M_PI;
        if (f.cw) sweep = -sweep;
        length = r * std::abs(sweep);
    }
    double best = std::numeric_limits<double>::max();
    if (length <= w) return best;  // all round ends
    const int stations = std::clamp(int((length - w) / (w / 4)), 1, 400);
    for (int i = 0; i <= stations; ++i) {
        const double s = (w / 2 + (length - w) * i / stations) / length;  // 0..1 along the trace
        double x, y, nx, ny;
        if (arc) {
            const double t = from + sweep * s;
            x = double(f.c.x) + r * std::cos(t), y = double(f.c.y) + r * std::sin(t);
            nx = std::cos(t), ny = std::sin(t);
        } else {
            x = double(f.a.x) + (f.b.x - f.a.x) * s, y = double(f.a.y) + (f.b.y - f.a.y) * s;
            nx = -(f.b.y - f.a.y) / length, ny = (f.b.x - f.a.x) / length;
        }
        const double d = chord_on(copper, x - nx * w, y - ny * w, x + nx * w, y + ny * w);
        if (d < best) best = d, where = {Coord(std::llround(x)), Coord(std::llround(y))};
    }
    return best;
}

} // namespace

void shaved_line_rule(const RuleInput& in)
{
    const LayerContext& ctx = in.ctx;
    for (std::uint32_t p = 0; p < ctx.pieces.size(); ++p) {
        const CopperPiece& piece = ctx.pieces[p];
        if (piece.is_capsule || piece.width <= 0 || !in.wanted(p)) continue;  // a capsule is a trace nothing cuts
        if (piece.role != CopperRole::Line && piece.role != CopperRole::Arc) continue;
        const Feature& f = ctx.layer->features[piece.feature];
        // Cheap first: a trace that kept its area kept its width.
        const geom::Paths nominal = geom::feature_outline(*ctx.layer, f, ctx.outlines);
        const Box box = geom::box_of(nominal);
        const double span = double(std::max(box.xmax - box.xmin, box.ymax - box.ymin));
        if (geom::area(nominal) - geom::area(piece.copper) <= double(in.limits.width_tolerance) * span / 4) continue;
        Point where;
        const double left = narrowest(piece.copper, f, piece.width, where);
        if (left >= double(piece.width - in.limits.width_tolerance)) continue;  // shaved at an end only
        const int item = piece.role == CopperRole::Arc ? ShavedArcs : ShavedLines;
        const Coord measured = Coord(std::llround(left));
        if (measured <= in.reach(item, std::numeric_limits<Coord>::max()))
            in.out.add(item, measured, point_marker(where), {ctx.ref(p)});
    }
}

} // namespace kesto::drc
