#include "engine/drc/nets.h"

#include "engine/drc/drill_analysis.h"
#include "engine/geometry/hit.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <chrono>
#include <optional>
#include <cmath>
#include <cstring>
#include <unordered_map>
#include <utility>

namespace kesto::drc {

using ClipperLib::IntPoint;
using geom::Path;
using geom::Paths;

std::int32_t BoardNets::net(const std::string& layer, std::size_t feature) const
{
    auto it = net_of.find(layer);
    if (it == net_of.end() || feature >= it->second.size()) return -1;
    return it->second[feature];
}

namespace {

// Edges of an outline are boxed in runs of this many, so that questions
// about one place of a large plane skip the rest of its edges.
constexpr std::size_t kEdgeRun = 32;

struct UnionFind {
    std::vector<std::uint32_t> parent, size;

    std::uint32_t add()
    {
        parent.push_back(std::uint32_t(parent.size()));
        size.push_back(1);
        return parent.back();
    }
    std::uint32_t find(std::uint32_t x)
    {
        while (parent[x] != x) {
            parent[x] = parent[parent[x]];
            x = parent[x];
        }
        return x;
    }
    void unite(std::uint32_t a, std::uint32_t b)
    {
        a = find(a), b = find(b);
        if (a == b) return;
        if (size[a] < size[b]) std::swap(a, b);
        parent[b] = a;
        size[a] += size[b];
    }
};

Box grown(const Box& b, Coord d) { return b.empty() ? b : Box{b.xmin - d, b.ymin - d, b.xmax + d, b.ymax + d}; }

bool meets(const Box& a, const Box& b)
{
    return !a.empty() && !b.empty() && a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax;
}

Box common(const Box& a, const Box& b)
{
    if (!meets(a, b)) return Box{};
    return {std::max(a.xmin, b.xmin), std::max(a.ymin, b.ymin), std::min(a.xmax, b.xmax), std::min(a.ymax, b.ymax)};
}

struct Piece {
    Paths paths;
    Box box;
};

// The islands of an outline, each with the holes inside it, largest first.
std::vector<Piece> islands(const Paths& outline)
{
    std::vector<Piece> out;
    if (outline.empty()) return out;
    ClipperLib::Clipper clipper;
    clipper.AddPaths(outline, ClipperLib::ptSubject, true);
    ClipperLib::PolyTree tree;
    clipper.Execute(ClipperLib::ctUnion, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    std::vector<const ClipperLib::PolyNode*> outer(tree.Childs.begin(), tree.Childs.end());
    std::vector<double> areas;
    while (!outer.empty()) {
        const ClipperLib::PolyNode* node = outer.back();
        outer.pop_back();
        Piece piece;
        piece.paths.push_back(node->Contour);
        for (const ClipperLib::PolyNode* hole : node->Childs) {
            piece.paths.push_back(hole->Contour);
            outer.insert(outer.end(), hole->Childs.begin(), hole->Childs.end());
        }
        piece.box = geom::box_of(piece.paths);
        out.push_back(std::move(piece));
    }
    std::vector<std::pair<double, std::size_t>> order;
    for (std::size_t k = 0; k < out.size(); ++k) order.emplace_back(-geom::area(out[k].paths), k);
    std::sort(order.begin(), order.end());
    std::vector<Piece> sorted;
    for (const auto& [a, k] : order) sorted.push_back(std::move(out[k]));
    return sorted;
}

// A pad or straight line drawn with a round symbol: a segment and a radius.
struct Capsule {
    double ax, ay, bx, by, r;
};

std::optional<Capsule> capsule_of(const Layer& layer, const Feature& f)
{
    if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line) return std::nullopt;
    const Coord d = round_diameter(symbol_of(layer, f));
    if (d <= 0 || f.resize != 0) return std::nullopt;
    const Point& b = f.kind == FeatureKind::Line ? f.b : f.a;
    return Capsule{double(f.a.x), double(f.a.y), double(b.x), double(b.y), double(d) / 2};
}

// An outline with the boxes of its paths and of runs of their edges.
struct Shape {
    Paths paths;
    Box box;
    std::vector<Box> path_box;
    std::vector<std::vector<Box>> run_box;
};

Box edge_box(const IntPoint& s, const IntPoint& e)
{
    return {std::min(s.X, e.X), std::min(s.Y, e.Y), std::max(s.X, e.X), std::max(s.Y, e.Y)};
}

Shape shape_of(Paths paths)
{
    Shape shape;
    shape.paths = std::move(paths);
    for (const Path& path : shape.paths) {
        Box b;
        std::vector<Box> runs;
        for (std::size_t k = 0; k < path.size(); ++k) {
            if (k % kEdgeRun == 0) runs.emplace_back();
            const Box e = edge_box(path[k], path[(k + 1) % path.size()]);
            runs.back().add(e);
            b.add(e);
        }
        shape.box.add(b);
        shape.path_box.push_back(b);
        shape.run_box.push_back(std::move(runs));
    }
    return shape;
}

// Calls f(s, e) for the edges whose box meets `region` until f says true.
template <class F>
bool any_edge_near(const Shape& shape, const Box& region, F&& f)
{
    for (std::size_t p = 0; p < shape.paths.size(); ++p) {
        if (!meets(shape.path_box[p], region)) continue;
        const Path& path = shape.paths[p];
        for (std::size_t r = 0; r < shape.run_box[p].size(); ++r) {
            if (!meets(shape.run_box[p][r], region)) continue;
            const std::size_t end = std::min(path.size(), (r + 1) * kEdgeRun);
            for (std::size_t k = r * kEdgeRun; k < end; ++k) {
                const IntPoint& s = path[k];
                const IntPoint& e = path[(k + 1) % path.size()];
                if (meets(edge_box(s, e), region) && f(s, e)) return true;
            }
        }
    }
    return false;
}

// Non-zero winding of the outline about `p`: only paths and edge runs that
// a ray from p to the right can cross are walked.
bool covers(const Shape& shape, const IntPoint& p)
{
    const Box ray{p.X, p.Y, shape.box.xmax, p.Y};
    if (!meets(shape.box, ray)) return false;
    int winding = 0;
    any_edge_near(shape, ray, [&](const IntPoint& s, const IntPoint& e) {
        const double cross = double(e.X - s.X) * double(p.Y - s.Y) - double(p.X - s.X) * double(e.Y - s.Y);
        if (s.Y <= p.Y && e.Y > p.Y && cross > 0) ++winding;
        else if (e.Y <= p.Y && s.Y > p.Y && cross < 0) --winding;
        return false;
    });
    return winding != 0;
}

// Whether a point of one outline's paths lies in the other outline.
bool holds_a_point_of(const Shape& outer, const Shape& inner)
{
    for (const Path& path : inner.paths)
        if (!path.empty() && covers(outer, path.front())) return true;
    return false;
}

// Whether a capsule comes within `gap` of a filled outline. Only the edges
// near the capsule are measured.
bool capsule_meets(const Capsule& c, const Shape& shape, double gap)
{
    const Coord reach = Coord(std::ceil(c.r + gap));
    const Box cap_box{Coord(std::min(c.ax, c.bx)) - reach, Coord(std::min(c.ay, c.by)) - reach,
                      Coord(std::max(c.ax, c.bx)) + reach, Coord(std::max(c.ay, c.by)) + reach};
    if (!meets(cap_box, shape.box)) return false;
    if (covers(shape, IntPoint(ClipperLib::cInt(c.ax), ClipperLib::cInt(c.ay)))) return true;
    return any_edge_near(shape, cap_box, [&](const IntPoint& s, const IntPoint& e) {
        return geom::segment_segment(c.ax, c.ay, c.bx, c.by, double(s.X), double(s.Y), double(e.X), double(e.Y)).distance <=
               c.r + gap;
    });
}

// Whether two filled outlines come within `gap` of each other: one holds a
// point of the other, or edges near both come that close.
bool outlines_meet(const Shape& a, const Shape& b, double gap)
{
    const Coord g = Coord(std::ceil(gap));
    if (!meets(grown(a.box, g), b.box)) return false;
    if (holds_a_point_of(a, b) || holds_a_point_of(b, a)) return true;
    const Box region = common(grown(a.box, g), grown(b.box, g));
    std::vector<std::pair<IntPoint, IntPoint>> near_b;
    any_edge_near(b, region, [&](const IntPoint& s, const IntPoint& e) {
        near_b.emplace_back(s, e);
        return false;
    });
    if (near_b.empty()) return false;
    // The edges of b in a grid over the region, so that each edge of a meets
    // only the edges of b around it.
    const Coord cells = std::clamp<Coord>(Coord(std::sqrt(double(near_b.size()))), 1, 128);
    const Coord cw = (region.xmax - region.xmin) / cells + 1, ch = (region.ymax - region.ymin) / cells + 1;
    auto cell_range = [&](const Box& box, Coord& x0, Coord& x1, Coord& y0, Coord& y1) {
        x0 = std::clamp<Coord>((box.xmin - region.xmin) / cw, 0, cells - 1);
        x1 = std::clamp<Coord>((box.xmax - region.xmin) / cw, 0, cells - 1);
        y0 = std::clamp<Coord>((box.ymin - region.ymin) / ch, 0, cells - 1);
        y1 = std::clamp<Coord>((box.ymax - region.ymin) / ch, 0, cells - 1);
    };
    std::vector<std::vector<std::uint32_t>> grid(std::size_t(cells * cells));
    for (std::uint32_t k = 0; k < near_b.size(); ++k) {
        Coord x0, x1, y0, y1;
        cell_range(edge_box(near_b[k].first, near_b[k].second), x0, x1, y0, y1);
        for (Coord x = x0; x <= x1; ++x)
            for (Coord y = y0; y <= y1; ++y) grid[std::size_t(x * cells + y)].push_back(k);
    }
    return any_edge_near(a, region, [&](const IntPoint& s, const IntPoint& e) {
        const Box reach = grown(edge_box(s, e), g);
        Coord x0, x1, y0, y1;
        cell_range(reach, x0, x1, y0, y1);
        for (Coord x = x0; x <= x1; ++x)
            for (Coord y = y0; y <= y1; ++y)
                for (std::uint32_t k : grid[std::size_t(x * cells + y)]) {
                    const auto& [t, u] = near_b[k];
                    if (meets(reach, edge_box(t, u)) &&
                        geom::segment_segment(double(s.X), double(s.Y), double(e.X), double(e.Y), double(t.X),
                                              double(t.Y), double(u.X), double(u.Y)).distance <= gap)
                        return true;
                }
        return false;
    });
}

// The number of islands of a normalised outline (holes run clockwise).
std::size_t island_count(const Paths& outline)
{
    std::size_t n = 0;
    for (const Path& path : outline) n += !path.empty() && ClipperLib::Orientation(path);
    return n;
}

// A point of each island of an outline.
std::vector<IntPoint> island_points(const Paths& outline)
{
    std::vector<IntPoint> points;
    for (const Path& path : outline)
        if (!path.empty() && ClipperLib::Orientation(path)) points.push_back(path.front());
    return points;
}

// One copper layer while its nets are worked out. Position n stands for the
// plane of a negative layer: copper everywhere on the board, drawn first.
struct CopperLayer {
    std::string name;
    Layer* layer = nullptr;
    bool negative = false;
    std::size_t n = 0;
    geom::LayerIndex index;
    std::vector<Box> box;
    std::vector<std::uint8_t> positive;   // adds copper, the layer's polarity applied
    std::vector<std::uint8_t> cut_later;  // a later negative feature reaches its box
    std::vector<std::uint32_t> first_node;
    std::vector<std::uint32_t> pieces;    // islands left after the cuts
    std::unordered_map<std::uint32_t, std::vector<Piece>> split; // features of several islands
    std::vector<Paths> outline;
    std::vector<std::uint8_t> has_outline;
    std::unordered_map<std::uint32_t, Shape> shapes;

    std::size_t order(std::size_t pos) const { return pos == n ? 0 : pos + 1; }
};

struct NetBuilder {
    Job& job;
    Step& step;
    geom::OutlineContext context;
    UnionFind uf;
    std::vector<CopperLayer> copper;
    BoardNets out;

    const Feature& feature(const CopperLayer& l, std::size_t pos) const { return l.layer->features[pos]; }

    bool round_shape(const CopperLayer& l, std::size_t pos) const
    {
        if (pos == l.n) return false;
        const Feature& f = feature(l, pos);
        if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line && f.kind != FeatureKind::Arc) return false;
        const Symbol* s = symbol_of(*l.layer, f);
        return s && s->family == SymbolFamily::Round && f.resize == 0;
    }

    // Shapes that are one island whatever their size, known without their
    // outline: lines and arcs, pads of solid symbols, surfaces of one island.
    bool one_island(const CopperLayer& l, std::size_t pos) const
    {
        if (pos == l.n) return false;
        const Feature& f = feature(l, pos);
        switch (f.kind) {
        case FeatureKind::Line: case FeatureKind::Arc: return true;
        case FeatureKind::Surface: {
            if (f.body >= l.layer->surfaces.size()) return false;
            int islands = 0;
            for (const Contour& c : l.layer->surfaces[f.body].contours) islands += c.island;
            return islands <= 1;
        }
        case FeatureKind::Pad: {
            const Symbol* s = symbol_of(*l.layer, f);
            if (!s) return false;
            switch (s->family) {
            case SymbolFamily::Round: case SymbolFamily::Square: case SymbolFamily::Rect: case SymbolFamily::RectRounded:
            case SymbolFamily::RectChamfered: case SymbolFamily::Oval: case SymbolFamily::Diamond: case SymbolFamily::Octagon:
            case SymbolFamily::RoundDonut: case SymbolFamily::SquareDonut: case SymbolFamily::SquareRoundDonut:
            case SymbolFamily::RectDonut: case SymbolFamily::OvalDonut: case SymbolFamily::HexLong: case SymbolFamily::HexShort:
            case SymbolFamily::Triangle: case SymbolFamily::HalfOval: case SymbolFamily::Ellipse: case SymbolFamily::Hole:
            case SymbolFamily::HomePlate: case SymbolFamily::InvertedHomePlate: case SymbolFamily::FlatHomePlate:
            case SymbolFamily::RadiusedInvertedHomePlate: case SymbolFamily::RadiusedHomePlate: case SymbolFamily::Cross:
            case SymbolFamily::Dogbone:
                return true;
            default:
                return false;
            }
        }
        default:
            return false;
        }
    }

    const Paths& outline_of(CopperLayer& l, std::size_t pos)
    {
        if (!l.has_outline[pos]) {
            l.outline[pos] = geom::feature_outline(*l.layer, feature(l, pos), context);
            l.has_outline[pos] = 1;
        }
        return l.outline[pos];
    }

    const Shape& shape(CopperLayer& l, std::size_t pos)
    {
        auto it = l.shapes.find(std::uint32_t(pos));
        if (it == l.shapes.end()) it = l.shapes.emplace(std::uint32_t(pos), shape_of(outline_of(l, pos))).first;
        return it->second;
    }

    // The paths of a feature's outline whose box meets `window`: the others
    // fill nothing there, so booleans near one place of a large plane stay small.
    Paths near_paths(CopperLayer& l, std::size_t pos, const Box& window)
    {
        const Shape& s = shape(l, pos);
        if (s.paths.size() == 1) return s.paths;
        Paths near;
        for (std::size_t k = 0; k < s.paths.size(); ++k)
            if (meets(s.path_box[k], window)) near.push_back(s.paths[k]);
        return near;
    }

    std::vector<std::size_t> negatives_after(const CopperLayer& l, std::size_t order, const Box& window) const
    {
        std::vector<std::size_t> found;
        for (std::size_t k : l.index.query(window))
            if (k < l.n && !l.positive[k] && l.order(k) > order) found.push_back(k);
        return found;
    }

    Paths cut_by(CopperLayer& l, const std::vector<std::size_t>& negatives, const Box& window)
    {
        Paths all;
        for (std::size_t k : negatives) {
            const Paths part = near_paths(l, k, window);
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    void open_layers()
    {
        std::vector<const MatrixRow*> rows;
        for (const MatrixRow& row : job.rows)
            if (iequals(row.context, "BOARD") && is_copper_type(row.type)) rows.push_back(&row);
        std::stable_sort(rows.begin(), rows.end(), [](const MatrixRow* a, const MatrixRow* b) { return a->row < b->row; });
        Box board;
        for (const MatrixRow* row : rows) {
            Layer* layer = store::find_layer(job, step, row->name);
            if (!layer) continue;
            CopperLayer l;
            l.name = row->name;
            l.layer = layer;
            l.negative = iequals(row->polarity, "NEGATIVE");
            l.n = layer->features.size();
            l.index.build(*layer, context);
            l.box.resize(l.n + 1);
            l.positive.resize(l.n + 1, 1);
            for (std::size_t i = 0; i < l.n; ++i) {
                l.box[i] = l.index.box(i);
                board.add(l.box[i]);
                const bool drawn_positive = layer->features[i].polarity == Polarity::Positive;
                l.positive[i] = drawn_positive != l.negative;
            }
            l.positive[l.n] = l.negative;
            l.cut_later.assign(l.n + 1, 0);
            l.first_node.assign(l.n + 1, 0);
            l.pieces.assign(l.n + 1, 0);
            l.outline.resize(l.n + 1);
            l.has_outline.assign(l.n + 1, 0);
            copper.push_back(std::move(l));
            out.copper.push_back(row->name);
        }
        // The plane of a negative layer is the step's profile, or the extent
        // of the board's copper when the step has none.
        Paths profile = step.has_profile ? geom::surface_outline(step.profile) : Paths{};
        if (profile.empty() && !board.empty())
            profile = {geom::rectangle(double(board.xmin), double(board.ymin), double(board.xmax), double(board.ymax))};
        for (CopperLayer& l : copper)
            if (l.negative) {
                l.outline[l.n] = profile;
                l.has_outline[l.n] = 1;
                l.box[l.n] = geom::box_of(profile);
            }
    }

    // Every copper-adding feature is cut by the negatives drawn after it and
    // falls into islands; each island is a node of the union-find.
    void cut_copper(CopperLayer& l)
    {
        for (std::size_t pos = 0; pos <= l.n; ++pos) {
            if (!l.positive[pos] || l.box[pos].empty()) continue;
            if (pos < l.n && feature(l, pos).kind == FeatureKind::Barcode) continue;
            const std::vector<std::size_t> negatives = negatives_after(l, l.order(pos), l.box[pos]);
            l.cut_later[pos] = !negatives.empty();
            std::uint32_t count = 1;
            if (!one_island(l, pos) || !negatives.empty()) {
                Paths copper = outline_of(l, pos);
                if (!negatives.empty()) copper = geom::subtract(copper, cut_by(l, negatives, l.box[pos]));
                count = std::uint32_t(island_count(copper));
                if (count > 1) l.split[std::uint32_t(pos)] = islands(copper);
            }
            l.pieces[pos] = count;
            if (count == 0) continue;
            l.first_node[pos] = std::uint32_t(uf.parent.size());
            for (std::uint32_t k = 0; k < count; ++k) uf.add();
        }
    }

    // The node of the island of a feature that holds `p`.
    std::uint32_t node_at(const CopperLayer& l, std::size_t pos, const IntPoint& p) const
    {
        auto it = l.split.find(std::uint32_t(pos));
        if (it == l.split.end()) return l.first_node[pos];
        const std::vector<Piece>& found = it->second;
        // The island holding p; p may also lie just outside one, within the
        // join gap, where the nearest island is the one met.
        std::size_t best = 0;
        double best_gap = INFINITY;
        for (std::size_t k = 0; k < found.size(); ++k) {
            if (!meets(grown(found[k].box, 2 * kJoinGap), Box{p.X, p.Y, p.X, p.Y})) continue;
            if (geom::locate(p, found[k].paths) != geom::Where::Outside) return l.first_node[pos] + std::uint32_t(k);
            const double gap = geom::outline_point_distance(found[k].paths, double(p.X), double(p.Y)).distance;
            if (gap < best_gap) best_gap = gap, best = k;
        }
        return l.first_node[pos] + std::uint32_t(best);
    }

    // Points of the copper that feature `pos` still has where `other` lies
    // (other being drawn after it, or a drilled hole): one per island met.
    std::vector<IntPoint> shared_copper(CopperLayer& l, std::size_t pos, const Paths& other, const Box& other_box)
    {
        const Box window = common(grown(l.box[pos], kJoinGap), other_box);
        if (window.empty()) return {};
        Paths shared = geom::intersect(near_paths(l, pos, window), other);
        if (shared.empty()) return {};
        if (l.cut_later[pos]) {
            const std::vector<std::size_t> negatives = negatives_after(l, l.order(pos), geom::box_of(shared));
            if (!negatives.empty()) shared = geom::subtract(shared, cut_by(l, negatives, window));
        }
        return island_points(shared);
    }

    std::optional<Capsule> capsule(const CopperLayer& l, std::size_t pos) const
    {
        return pos == l.n ? std::nullopt : capsule_of(*l.layer, feature(l, pos));
    }

    // Whether two features nothing cuts come within the join gap: feature
    // i of layer l, and a capsule or an outline.
    bool meets_uncut(CopperLayer& l, std::size_t i, const std::optional<Capsule>& cap, const Shape* other)
    {
        if (const auto ci = capsule(l, i); ci && cap) {
            const double d = geom::segment_segment(ci->ax, ci->ay, ci->bx, ci->by, cap->ax, cap->ay, cap->bx, cap->by).distance;
            return d - ci->r - cap->r <= double(kJoinGap);
        }
        if (cap) return capsule_meets(*cap, shape(l, i), double(kJoinGap));
        if (const auto ci = capsule(l, i)) return capsule_meets(*ci, *other, double(kJoinGap));
        return outlines_meet(shape(l, i), *other, double(kJoinGap));
    }

    bool meets_uncut(CopperLayer& l, std::size_t i, std::size_t j)
    {
        const auto cj = capsule(l, j);
        return meets_uncut(l, i, cj, cj ? nullptr : &shape(l, j));
    }

    void join(CopperLayer& l, std::size_t i, std::size_t j)
    {
        if (l.pieces[i] == 1 && l.pieces[j] == 1 && uf.find(l.first_node[i]) == uf.find(l.first_node[j])) return;
        if (!l.cut_later[i] && l.pieces[j] == 1 && round_shape(l, i) && round_shape(l, j)) {
            if (geom::feature_distance(*l.layer, feature(l, i), *l.layer, feature(l, j), context).distance <= double(kJoinGap))
                uf.unite(l.first_node[i], l.first_node[j]);
            return;
        }
        if (!l.cut_later[i] && l.pieces[i] == 1 && l.pieces[j] == 1) {
            // Nothing cuts the pair: a distance decides, without booleans.
            if (meets_uncut(l, i, j)) uf.unite(l.first_node[i], l.first_node[j]);
            return;
        }
        const Box window = common(grown(l.box[i], kJoinGap), grown(l.box[j], kJoinGap));
        for (const IntPoint& p : shared_copper(l, i, outline_of(l, j), window))
            uf.unite(node_at(l, i, p), node_at(l, j, p));
    }

    void join_layer(CopperLayer& l)
    {
        for (std::size_t j = 0; j < l.n; ++j) {
            if (!l.positive[j] || l.pieces[j] == 0) continue;
            if (l.negative && l.pieces[l.n] > 0) join(l, l.n, j);
            for (std::size_t i : l.index.query(grown(l.box[j], kJoinGap))) {
                if (i >= j) break; // drawing order: the rest come after j
                if (l.positive[i] && l.pieces[i] > 0) join(l, i, j);
            }
        }
    }

    int row_of(const std::string& name) const
    {
        for (const MatrixRow& row : job.rows)
            if (iequals(row.name, name.c_str())) return row.row;
        return 0;
    }

    // Holes of the board's drill layers: plated ones join the copper they
    // meet on every layer of their span.
    void drill(KESTO::COMMON::progress_value<int>* progress)
    {
        std::vector<const MatrixRow*> rows;
        for (const MatrixRow& row : job.rows)
            if (iequals(row.context, "BOARD") && iequals(row.type, "DRILL")) rows.push_back(&row);
        std::stable_sort(rows.begin(), rows.end(), [](const MatrixRow* a, const MatrixRow* b) { return a->row < b->row; });
        std::vector<int> copper_rows;
        for (const CopperLayer& l : copper) copper_rows.push_back(row_of(l.name));
        for (const MatrixRow* row : rows) {
            Layer* layer = store::find_layer(job, step, row->name);
            if (!layer) continue;
            out.drills.push_back(row->name);
            std::vector<std::int32_t> node(layer->features.size(), -1);
            std::vector<std::uint8_t> plated(layer->features.size(), 0);
            const int a = row->start_name.empty() ? INT32_MIN : row_of(row->start_name);
            const int b = row->end_name.empty() ? INT32_MAX : row_of(row->end_name);
            for (std::size_t h = 0; h < layer->features.size(); ++h) {
                const Feature& f = layer->features[h];
                if ((f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line) || f.polarity != Polarity::Positive) continue;
                const Symbol* s = symbol_of(*layer, f);
                if (round_diameter(s) <= 0) continue;
                plated[h] = hole_class(*layer, f, s) != HoleClass::Npth;
                if (plated[h]) node[h] = std::int32_t(uf.add());
                const std::optional<Capsule> hole_cap = capsule_of(*layer, f);
                const Paths hole = geom::feature_outline(*layer, f, context);
                const Box hole_box = grown(geom::box_of(hole), kJoinGap);
                for (std::size_t c = 0; c < copper.size(); ++c) {
                    if (copper_rows[c] < std::min(a, b) || copper_rows[c] > std::max(a, b)) continue;
                    CopperLayer& l = copper[c];
                    std::vector<std::size_t> candidates = l.index.query(hole_box);
                    if (l.negative) candidates.insert(candidates.begin(), l.n);
                    for (std::size_t i : candidates) {
                        if (!l.positive[i] || l.pieces[i] == 0) continue;
                        std::vector<std::uint32_t> met;
                        if (!l.cut_later[i] && l.pieces[i] == 1) {
                            if (meets_uncut(l, i, hole_cap, nullptr)) met.push_back(l.first_node[i]);
                        } else {
                            for (const IntPoint& p : shared_copper(l, i, hole, hole_box)) met.push_back(node_at(l, i, p));
                        }
                        for (std::uint32_t m : met) {
                            if (node[h] < 0) node[h] = std::int32_t(m); // a non-plated hole: the copper it is drilled through
                            if (plated[h]) uf.unite(std::uint32_t(node[h]), m);
                        }
                        if (!plated[h] && node[h] >= 0) break;
                    }
                    if (!plated[h] && node[h] >= 0) break;
                }
            }
            hole_nodes.emplace_back(row->name, std::move(node));
            if (progress) ++progress->done;
        }
    }

    std::vector<std::pair<std::string, std::vector<std::int32_t>>> hole_nodes;

    // Nets are numbered in the order their first feature comes: copper
    // layers, then drill layers, in matrix order.
    void number()
    {
        std::unordered_map<std::uint32_t, std::int32_t> net_of_root;
        auto net = [&](std::uint32_t node) {
            auto [it, fresh] = net_of_root.emplace(uf.find(node), std::int32_t(net_of_root.size()));
            return it->second;
        };
        for (const CopperLayer& l : copper) {
            std::vector<std::int32_t>& nets = out.net_of[l.name];
            nets.assign(l.n, -1);
            if (l.negative && l.pieces[l.n] > 0) net(l.first_node[l.n]);
            for (std::size_t i = 0; i < l.n; ++i)
                if (l.positive[i] && l.pieces[i] > 0) nets[i] = net(l.first_node[i]);
        }
        for (const auto& [name, nodes] : hole_nodes) {
            std::vector<std::int32_t>& nets = out.net_of[name];
            nets.assign(nodes.size(), -1);
            for (std::size_t h = 0; h < nodes.size(); ++h)
                if (nodes[h] >= 0) nets[h] = net(std::uint32_t(nodes[h]));
        }
        out.count = std::int32_t(net_of_root.size());
    }
};

// Mixes whole words rather than bytes: the digest of a 100k-feature board
// costs about a millisecond.
struct Digest {
    std::uint64_t h = 0x9e3779b97f4a7c15ull;
    void word(std::uint64_t v)
    {
        h ^= v + 0x9e3779b97f4a7c15ull + (h << 6) + (h >> 2);
        h *= 0xff51afd7ed558ccdull;
    }
    void real(double v)
    {
        std::uint64_t bits;
        std::memcpy(&bits, &v, sizeof bits);
        word(bits);
    }
    void text(const std::string& s)
    {
        word(s.size());
        for (std::size_t i = 0; i < s.size(); i += 8) {
            std::uint64_t v = 0;
            std::memcpy(&v, s.data() + i, std::min<std::size_t>(8, s.size() - i));
            word(v);
        }
    }
    void point(const Point& p) { word(std::uint64_t(p.x)), word(std::uint64_t(p.y)); }
    void surface(const Surface& s)
    {
        word(s.contours.size());
        for (const Contour& c : s.contours) {
            word(c.island);
            point(c.start);
            for (const Segment& seg : c.segments) point(seg.end), point(seg.centre), word(seg.arc * 2 + seg.cw);
        }
    }
    void layer(const Layer& l)
    {
        word(l.features.size());
        for (const Feature& f : l.features) {
            word(std::uint64_t(f.kind) | std::uint64_t(f.polarity) << 8 | std::uint64_t(f.mirror) << 16 |
                 std::uint64_t(f.cw) << 24 | std::uint64_t(std::uint32_t(f.symbol)) << 32);
            point(f.a), point(f.b), point(f.c);
            real(f.angle);
            word(std::uint64_t(f.attributes) << 32 | f.body);
            real(f.resize);
        }
        for (const Symbol& s : l.symbols) {
            text(s.name);
            word(std::uint64_t(s.family) | std::uint64_t(s.plating) << 8);
            for (double p : s.p) real(p);
        }
        for (const Surface& s : l.surfaces) surface(s);
        for (const Text& t : l.texts) text(t.text), word(std::uint64_t(t.xsize)), word(std::uint64_t(t.ysize)), real(t.width_factor);
        for (const std::string& name : l.attribute_names) text(name);
        for (const auto& set : l.attribute_sets) {
            word(set.size());
            for (const AttributeValue& v : set) word(v.name), text(v.value);
        }
    }
};

using NetKey = std::pair<std::string, std::string>;
std::map<NetKey, std::shared_ptr<const BoardNets>>& kept()
{
    static std::map<NetKey, std::shared_ptr<const BoardNets>> nets;
    return nets;
}

} // namespace

std::uint64_t nets_fingerprint(const Job& job, const Step& step)
{
    Digest d;
    d.text(job.name);
    d.text(step.name);
    d.word(step.has_profile);
    d.surface(step.profile);
    for (const MatrixRow& row : job.rows) {
        d.word(std::uint64_t(row.row));
        for (const std::string* s : {&row.name, &row.context, &row.type, &row.polarity, &row.start_name, &row.end_name})
            d.text(*s);
        const bool wanted = iequals(row.context, "BOARD") && (is_copper_type(row.type) || iequals(row.type, "DRILL"));
        auto it = step.layers.find(row.name);
        if (wanted && it != step.layers.end()) d.layer(it->second);
    }
    for (const auto& [name, symbol] : job.symbols) {
        d.text(name);
        d.layer(symbol.features);
    }
    return d.h;
}

BoardNets compute_board_nets(Job& job, Step& step, KESTO::COMMON::progress_value<int>* progress)
{
    NetBuilder b{job, step, geom::context_of(job), {}, {}, {}, {}};
    b.out.fingerprint = nets_fingerprint(job, step);
    b.open_layers();
    if (progress) {
        int drills = 0;
        for (const MatrixRow& row : job.rows) drills += iequals(row.context, "BOARD") && iequals(row.type, "DRILL");
        progress->total = int(b.copper.size()) + drills;
    }
    for (CopperLayer& l : b.copper) {
        b.cut_copper(l);
        b.join_layer(l);
        if (progress) ++progress->done;
    }
    b.drill(progress);
    b.number();
    for (CopperLayer& l : b.copper)
        b.out.index[l.name] = std::make_shared<const geom::LayerIndex>(std::move(l.index));
    return std::move(b.out);
}

std::shared_ptr<const BoardNets> board_nets(Job& job, Step& step, KESTO::COMMON::progress_value<int>* progress)
{
    auto& slot = kept()[{job.name, step.name}];
    if (slot && slot->fingerprint == nets_fingerprint(job, step)) return slot;
    const auto start = std::chrono::steady_clock::now();
    slot = std::make_shared<const BoardNets>(compute_board_nets(job, step, progress));
    LOG(INFO) << "board nets of " << job.name << "/" << step.name << ": " << slot->count << " nets in "
              << std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count()
              << " ms";
    return slot;
}

std::shared_ptr<const BoardNets> kept_board_nets(const std::string& job, const std::string& step)
{
    auto it = kept().find({job, step});
    return it == kept().end() ? nullptr : it->second;
}

int forget_board_nets(const std::string& job, const std::string& step)
{
    int dropped = 0;
    for (auto it = kept().begin(); it != kept().end();) {
        if (it->first.first == job && (step.empty() || it->first.second == step)) {
            it = kept().erase(it);
            ++dropped;
        } else {
            ++it;
        }
    }
    return dropped;
}

} // namespace kesto::drc
