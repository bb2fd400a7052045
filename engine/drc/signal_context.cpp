#include "engine/drc/signal_context.h"

#include "engine/drc/feature_shapes.h"
#include "engine/drc/placed_layers.h"
#include "engine/geometry/outline.h"
#include "engine/store/store.h"

#include <algorithm>
#include <cmath>

namespace kesto::drc {

namespace {

// Outlines with more edges than this get a prepared outline for distances.
constexpr std::size_t kPreparedEdges = 64;

std::size_t edge_count(const geom::Paths& o)
{
    std::size_t n = 0;
    for (const auto& p : o) n += p.size();
    return n;
}

int row_index(const Job& job, const std::string& name)
{
    for (std::size_t i = 0; i < job.rows.size(); ++i)
        if (iequals(job.rows[i].name, name.c_str())) return int(i);
    return -1;
}

// Does a drill row's span (start and end names; all copper when none) reach
// the copper row at `copper`?
bool spans(const Job& job, const MatrixRow& drill, int copper)
{
    if (drill.start_name.empty() || drill.end_name.empty()) return true;
    int a = row_index(job, drill.start_name), b = row_index(job, drill.end_name);
    if (a < 0 || b < 0) return true;
    if (a > b) std::swap(a, b);
    return copper >= a && copper <= b;
}

bool tool_kind(const Layer& drill, Coord diameter, const char* kind)
{
    for (const DrillTool& t : drill.tools)
        if (iequals(t.type2, kind) && (std::llabs(t.finish_size - diameter) <= 1000 || std::llabs(t.drill_size - diameter) <= 1000))
            return true;
    return false;
}

void collect_holes(LayerContext& ctx, int copper_row)
{
    Job& job = *ctx.job;
    for (const MatrixRow& row : job.rows) {
        if (!iequals(row.context, "BOARD")) continue;
        const bool drill = iequals(row.type, "DRILL"), rout = iequals(row.type, "ROUT");
        if (!drill && !rout) continue;
        if (drill && !spans(job, row, copper_row)) continue;
        const Layer* l = checked_layer(job, *ctx.step, row.name, ctx.placed);
        if (!l) continue;
        for (std::uint32_t i = 0; i < l->features.size(); ++i) {
            const Feature& f = l->features[i];
            const Symbol* s = symbol_of(*l, f);
            const Coord d = round_diameter(s);
            if (d <= 0 || f.polarity != Polarity::Positive) continue;
            if (drill) {
                if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line) continue;
                DrilledHole h;
                h.cap = {f.a, f.kind == FeatureKind::Line ? f.b : f.a, d / 2, 0};
                h.cls = hole_class(*l, f, s);
                h.slot = f.kind == FeatureKind::Line && f.a != f.b;
                h.laser = tool_kind(*l, d, "LASER");
                h.photo = tool_kind(*l, d, "PHOTO");
                h.layer = l;
                h.layer_name = row.name;
                h.feature = i;
                ctx.holes.push_back(std::move(h));
            } else if (f.kind == FeatureKind::Arc) {
                const geom::Path chords = geom::arc_points(f.a, f.b, f.c, f.cw);
                for (std::size_t k = 1; k < chords.size(); ++k)
                    ctx.rout.push_back({{{chords[k - 1].X, chords[k - 1].Y}, {chords[k].X, chords[k].Y}, d / 2, 0}, l, row.name, i});
            } else if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Pad) {
                ctx.rout.push_back({{f.a, f.kind == FeatureKind::Line ? f.b : f.a, d / 2, 0}, l, row.name, i});
            }
        }
    }
}

} // namespace

Box capsule_box(const Capsule& c)
{
    return {std::min(c.a.x, c.b.x) - c.r, std::min(c.a.y, c.b.y) - c.r, std::max(c.a.x, c.b.x) + c.r,
            std::max(c.a.y, c.b.y) + c.r};
}

std::unique_ptr<LayerContext> build_layer_context(Job& job, Step& step, const std::string& name,
                                                  const ContextOptions& options)
{
    // Layer names are found whatever their case.
    const int at = row_index(job, name);
    if (at < 0) return nullptr;
    const MatrixRow* row = &job.rows[std::size_t(at)];
    auto ctx = std::make_unique<LayerContext>();
    const Layer* layer = checked_layer(job, step, row->name, ctx->placed);
    if (!layer) return nullptr;
    ctx->job = &job;
    ctx->step = &step;
    ctx->name = row->name;
    ctx->layer = layer;
    ctx->outlines = geom::context_of(job);

    std::vector<int> copper_rows;
    for (std::size_t i = 0; i < job.rows.size(); ++i)
        if (iequals(job.rows[i].context, "BOARD") && is_copper_type(job.rows[i].type)) copper_rows.push_back(int(i));
    const int here = at;
    ctx->outer = !copper_rows.empty() && (here == copper_rows.front() || here == copper_rows.back());

    if (options.nets && std::find(copper_rows.begin(), copper_rows.end(), here) != copper_rows.end())
        ctx->nets = checked_nets(job, step);

    // Negative features take away from the positive ones drawn before them.
    std::vector<std::uint32_t> negatives;
    for (std::uint32_t i = 0; i < layer->features.size(); ++i)
        if (layer->features[i].polarity == Polarity::Negative) negatives.push_back(i);
    geom::LayerIndex negative_index;
    if (!negatives.empty()) {
        std::vector<Box> boxes;
        for (std::uint32_t i : negatives) boxes.push_back(geom::feature_box(*layer, layer->features[i], ctx->outlines));
        negative_index.build(boxes);
    }

    std::vector<Box> boxes;
    ctx->pieces.reserve(layer->features.size());
    for (std::uint32_t i = 0; i < layer->features.size(); ++i) {
        const Feature& f = layer->features[i];
        if (f.polarity != Polarity::Positive || f.kind == FeatureKind::Barcode) continue;
        CopperPiece p;
        p.feature = i;
        p.selected = f.selected;
        const Symbol* s = symbol_of(*layer, f);
        switch (f.kind) {
        case FeatureKind::Pad: p.role = attribute(*layer, f, ".smd") ? CopperRole::Smd : CopperRole::Pad; break;
        case FeatureKind::Line: p.role = CopperRole::Line; break;
        case FeatureKind::Arc: p.role = CopperRole::Arc; break;
        case FeatureKind::Surface: p.role = CopperRole::Surface; break;
        default: p.role = CopperRole::Text; break;
        }
        const bool round = s && s->family == SymbolFamily::Round && f.resize == 0;
        if (round && (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc)) p.width = Coord(std::llround(s->p[0]));
        Box box = geom::feature_box(*layer, f, ctx->outlines);
        std::vector<std::size_t> cutters;
        if (!negatives.empty())
            for (std::size_t k : negative_index.query(box))
                if (negatives[k] > i) cutters.push_back(negatives[k]);
        if (round && cutters.empty() && (f.kind == FeatureKind::Pad || f.kind == FeatureKind::Line)) {
            p.is_capsule = true;
            p.cap = {f.a, f.kind == FeatureKind::Line ? f.b : f.a, Coord(std::llround(s->p[0] / 2)), 0};
            p.box = capsule_box(p.cap);
        } else {
            p.copper = geom::feature_outline(*layer, f, ctx->outlines);
            if (!cutters.empty()) {
                geom::Paths cut;
                for (std::size_t k : cutters) {
                    const geom::Paths o = geom::feature_outline(*layer, layer->features[k], ctx->outlines);
                    cut.insert(cut.end(), o.begin(), o.end());
                }
                p.copper = geom::subtract(p.copper, cut);
            }
            if (p.copper.empty()) continue;
            p.box = geom::box_of(p.copper);
        }
        if (ctx->nets) p.net = ctx->nets->net(ctx->name, i);
        boxes.push_back(p.box);
        ctx->pieces.push_back(std::move(p));
    }
    ctx->index.build(boxes);
    ctx->prepared_.resize(ctx->pieces.size());
    ctx->capsule_outline_.resize(ctx->pieces.size());
    ctx->exposure_.assign(ctx->pieces.size(), -2);

    ctx->land_of.assign(ctx->pieces.size(), -1);
    if (options.holes) {
        collect_holes(*ctx, here);
        for (std::size_t h = 0; h < ctx->holes.size(); ++h) {
            const Point c = ctx->holes[h].cap.a;
            for (std::size_t k : ctx->index.query(Box{c.x, c.y, c.x, c.y})) {
                const CopperPiece& p = ctx->pieces[k];
                if ((p.role == CopperRole::Pad || p.role == CopperRole::Smd) && ctx->land_of[k] < 0 &&
                    piece_holds(*ctx, std::uint32_t(k), c))
                    ctx->land_of[k] = std::int32_t(h);
            }
        }
    }

    // The mask layer above an outer layer: the nearest solder-mask row on
    // the outside of the first or last copper row.
    if (options.mask && ctx->outer) {
        const bool top = here == copper_rows.front();
        for (int k = here; k >= 0 && k < int(job.rows.size()); k += top ? -1 : 1)
            if (iequals(job.rows[std::size_t(k)].context, "BOARD") && iequals(job.rows[std::size_t(k)].type, "SOLDER_MASK")) {
                ctx->mask = checked_layer(job, step, job.rows[std::size_t(k)].name, ctx->placed);
                ctx->mask_name = job.rows[std::size_t(k)].name;
                break;
            }
        if (top && copper_rows.size() == 1 && !ctx->mask) // one copper layer: its mask may lie below
            for (int k = here; k < int(job.rows.size()); ++k)
                if (iequals(job.rows[std::size_t(k)].context, "BOARD") && iequals(job.rows[std::size_t(k)].type, "SOLDER_MASK")) {
                    ctx->mask = checked_layer(job, step, job.rows[std::size_t(k)].name, ctx->placed);
                    ctx->mask_name = job.rows[std::size_t(k)].name;
                    break;
                }
    }
    return ctx;
}

const geom::Paths& LayerContext::outline(std::uint32_t piece) const
{
    const CopperPiece& p = pieces[piece];
    if (!p.is_capsule) return p.copper;
    geom::Paths& o = capsule_outline_[piece];
    if (o.empty()) o = geom::feature_outline(*layer, layer->features[p.feature], outlines);
    return o;
}

const geom::PreparedOutline* LayerContext::prepared(std::uint32_t piece) const
{
    const CopperPiece& p = pieces[piece];
    if (p.is_capsule || edge_count(p.copper) <= kPreparedEdges) return nullptr;
    if (!prepared_[piece]) prepared_[piece] = std::make_unique<geom::PreparedOutline>(p.copper);
    return prepared_[piece].get();
}

int LayerContext::exposure(std::uint32_t piece) const
{
    if (!mask) return -1;
    if (exposure_[piece] != -2) return exposure_[piece];
    if (!mask_index_) {
        mask_index_ = std::make_unique<geom::LayerIndex>();
        mask_index_->build(*mask, outlines);
    }
    const geom::Paths& copper = outline(piece);
    geom::Paths openings;
    geom::Painter painter;
    for (std::size_t k : mask_index_->query(pieces[piece].box)) {
        const Feature& f = mask->features[k];
        painter.add(geom::feature_outline(*mask, f, outlines), f.polarity == Polarity::Positive);
    }
    openings = painter.image();
    const double whole = geom::area(copper);
    const double open = openings.empty() ? 0 : geom::area(geom::intersect(copper, openings));
    // Within a square micron of either end counts as that end: chords of
    // round shapes differ by that much.
    const int e = open <= 1e6 ? 0 : open >= whole - 1e6 ? 2 : 1;
    exposure_[piece] = std::int8_t(e);
    return e;
}

const EndContacts& LayerContext::end_contacts(std::uint32_t piece, int end) const
{
    if (end_contacts_.empty()) {
        end_contacts_.resize(pieces.size());
        ends_known_.assign(pieces.size(), false);
    }
    std::array<EndContacts, 2>& both = end_contacts_[piece];
    if (ends_known_[piece]) return both[std::size_t(end)];
    ends_known_[piece] = true;
    const CopperPiece& p = pieces[piece];
    const Feature& f = layer->features[p.feature];
    for (int e = 0; e < 2; ++e) {
        const Point at = e == 0 ? f.a : f.b;
        const Capsule disc{at, at, p.width / 2, 0};
        EndContacts& out = both[std::size_t(e)];
        for (std::size_t k : pieces_near(*this, capsule_box(disc), kJoinGap)) {
            if (k == piece) continue;
            if (capsule_gap_to_piece(*this, disc, std::uint32_t(k)).distance > double(kJoinGap)) continue;
            const CopperPiece& q = pieces[k];
            const bool pad = q.role == CopperRole::Pad || q.role == CopperRole::Smd;
            (is_trace(q) ? out.traces : pad ? out.pads : out.other).push_back(std::uint32_t(k));
        }
    }
    return both[std::size_t(end)];
}

namespace {

// From an outline to a segment, the segment's point first.
geom::Closest outline_to_segment(const geom::Paths& outline, const geom::PreparedOutline* prepared, Point a, Point b)
{
    if (prepared) {
        geom::Closest c = prepared->distance(double(a.x), double(a.y), double(b.x), double(b.y));
        return {c.distance, c.bx, c.by, c.ax, c.ay};
    }
    if (geom::locate({a.x, a.y}, outline) != geom::Where::Outside) return {0, double(a.x), double(a.y), double(a.x), double(a.y)};
    geom::Closest best;
    best.distance = 1e300;
    for (const geom::Edge& e : geom::edges_of(outline)) {
        geom::Closest c = geom::segment_segment(double(a.x), double(a.y), double(b.x), double(b.y), e.x1, e.y1, e.x2, e.y2);
        if (c.distance < best.distance) best = c;
    }
    return best;
}

} // namespace

geom::Closest capsule_gap_to_piece(const LayerContext& ctx, const Capsule& c, std::uint32_t piece)
{
    const CopperPiece& p = ctx.pieces[piece];
    if (p.is_capsule) {
        const Gap g = capsule_gap(c, p.cap);
        return {double(g.gap), double(g.pa.x), double(g.pa.y), double(g.pb.x), double(g.pb.y)};
    }
    geom::Closest d = outline_to_segment(p.copper, ctx.prepared(piece), c.a, c.b);
    // Move the segment's point out to the capsule's edge, toward the copper.
    const double dx = d.bx - d.ax, dy = d.by - d.ay, len = std::hypot(dx, dy);
    if (len > 0) d.ax += dx / len * double(c.r), d.ay += dy / len * double(c.r);
    d.distance -= double(c.r);
    return d;
}

geom::Closest piece_gap(const LayerContext& ctx, std::uint32_t a, std::uint32_t b)
{
    const CopperPiece& pa = ctx.pieces[a];
    const CopperPiece& pb = ctx.pieces[b];
    geom::Closest c;
    if (pa.is_capsule) {
        c = capsule_gap_to_piece(ctx, pa.cap, b);
    } else if (pb.is_capsule) {
        c = capsule_gap_to_piece(ctx, pb.cap, a);
        c = {c.distance, c.bx, c.by, c.ax, c.ay};
    } else if (const geom::PreparedOutline* prep = ctx.prepared(a)) {
        const geom::PreparedOutline* other = ctx.prepared(b);
        c = other ? prep->distance(*other) : prep->distance(pb.copper);
    } else if (const geom::PreparedOutline* prep = ctx.prepared(b)) {
        c = prep->distance(pa.copper);
        c = {c.distance, c.bx, c.by, c.ax, c.ay};
    } else {
        c = geom::outline_distance(pa.copper, pb.copper);
    }
    if (c.distance < 0) c.distance = 0;
    return c;
}

bool piece_holds(const LayerContext& ctx, std::uint32_t piece, Point p)
{
    const CopperPiece& c = ctx.pieces[piece];
    if (c.is_capsule) return capsule_gap(c.cap, Capsule{p, p, 0, 0}).gap <= 0;
    if (const geom::PreparedOutline* prep = ctx.prepared(piece)) return prep->locate(double(p.x), double(p.y)) != geom::Where::Outside;
    return geom::locate({p.x, p.y}, c.copper) != geom::Where::Outside;
}

std::vector<std::size_t> pieces_near(const LayerContext& ctx, const Box& box, Coord reach)
{
    Box q = box;
    q.xmin -= reach, q.ymin -= reach, q.xmax += reach, q.ymax += reach;
    return ctx.index.query(q);
}

} // namespace kesto::drc
