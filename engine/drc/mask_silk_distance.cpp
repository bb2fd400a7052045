#include "engine/drc/mask_silk_distance.h"

#include <boost/iterator/function_output_iterator.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kesto::drc {

namespace bgi = boost::geometry::index;

namespace {

// Outlines with more edges than this are measured through an edge tree.
constexpr std::size_t kTreeEdges = 48;

std::size_t edge_count(const geom::Paths& o)
{
    std::size_t n = 0;
    for (const auto& p : o) n += p.size();
    return n;
}

geom::Closest far_away()
{
    geom::Closest c;
    c.distance = std::numeric_limits<double>::infinity();
    return c;
}

geom::Closest swapped(const geom::Closest& c) { return {c.distance, c.bx, c.by, c.ax, c.ay}; }

Coord rounded(const geom::Closest& c) { return std::isfinite(c.distance) ? Coord(std::llround(c.distance)) : Coord(0); }

} // namespace

EdgeTree::EdgeTree(const geom::Paths& outline) : edges_(geom::edges_of(outline))
{
    std::vector<Entry> entries;
    entries.reserve(edges_.size());
    for (std::size_t i = 0; i < edges_.size(); ++i) {
        const geom::Edge& e = edges_[i];
        entries.emplace_back(Rect{{e.xmin, e.ymin}, {e.xmax, e.ymax}}, std::uint32_t(i));
    }
    tree_ = decltype(tree_)(entries.begin(), entries.end());
}

void EdgeTree::refine(const geom::Edge& e, geom::Closest& best) const
{
    const double d = best.distance;
    const Rect reach{{e.xmin - d, e.ymin - d}, {e.xmax + d, e.ymax + d}};
    tree_.query(bgi::intersects(reach), boost::iterators::make_function_output_iterator([&](const Entry& hit) {
                    const geom::Edge& t = edges_[hit.second];
                    if (geom::box_gap(t, e) >= best.distance) return;
                    const geom::Closest c = geom::segment_segment(e.x1, e.y1, e.x2, e.y2, t.x1, t.y1, t.x2, t.y2);
                    if (c.distance < best.distance) best = c;
                }));
}

geom::Closest EdgeTree::point_gap(double x, double y) const
{
    geom::Closest best = far_away();
    if (edges_.empty()) return best;
    // The edge whose box is nearest bounds the answer from above.
    tree_.query(bgi::nearest(Corner{x, y}, 1), boost::iterators::make_function_output_iterator([&](const Entry& hit) {
                    const geom::Edge& t = edges_[hit.second];
                    best = swapped(geom::segment_point(t.x1, t.y1, t.x2, t.y2, x, y));
                }));
    refine(geom::Edge{x, y, x, y, x, y, x, y}, best);
    return best;
}

geom::Closest EdgeTree::boundary_gap(const std::vector<geom::Edge>& other) const
{
    if (edges_.empty() || other.empty()) return far_away();
    geom::Closest best = point_gap(other.front().x1, other.front().y1);
    for (const geom::Edge& e : other) {
        if (best.distance == 0) break;
        refine(e, best);
    }
    return best;
}

std::vector<std::uint32_t> CapsuleIndex::near(const Box& box, Coord reach) const
{
    std::vector<std::uint32_t> out;
    const Rect q{{double(box.xmin - reach), double(box.ymin - reach)}, {double(box.xmax + reach), double(box.ymax + reach)}};
    tree_.query(bgi::intersects(q), boost::iterators::make_function_output_iterator(
                                        [&](const Entry& hit) { out.push_back(hit.second); }));
    std::sort(out.begin(), out.end());  // findings in the order of the layer
    return out;
}

const EdgeTree* PieceEdges::tree(std::uint32_t piece) const
{
    const geom::Paths& o = ctx_.outline(piece);
    if (edge_count(o) <= kTreeEdges) return nullptr;
    if (!trees_[piece]) trees_[piece] = std::make_unique<EdgeTree>(o);
    return trees_[piece].get();
}

Coord boundary_gap(const geom::Paths& a, const geom::Paths& b, const EdgeTree* b_tree)
{
    const std::vector<geom::Edge> ea = geom::edges_of(a);
    if (b_tree) return rounded(b_tree->boundary_gap(ea));
    const std::vector<geom::Edge> eb = geom::edges_of(b);
    if (ea.size() * eb.size() > kTreeEdges * kTreeEdges) {
        // One question against a large outline: a tree is still cheaper than all pairs.
        const EdgeTree tree(ea.size() >= eb.size() ? a : b);
        return rounded(tree.boundary_gap(ea.size() >= eb.size() ? eb : ea));
    }
    double best = std::numeric_limits<double>::infinity();
    for (const geom::Edge& x : ea)
        for (const geom::Edge& y : eb) {
            if (geom::box_gap(x, y) >= best) continue;
            best = std::min(best, geom::segment_segment(x.x1, x.y1, x.x2, x.y2, y.x1, y.y1, y.x2, y.y2).distance);
        }
    return std::isfinite(best) ? Coord(std::llround(best)) : Coord(0);
}

Coord edge_distance(const geom::Paths& outline, Point p, const EdgeTree* tree)
{
    if (tree) return rounded(tree->point_gap(double(p.x), double(p.y)));
    double best = std::numeric_limits<double>::infinity();
    for (const geom::Edge& e : geom::edges_of(outline))
        best = std::min(best, geom::segment_point(e.x1, e.y1, e.x2, e.y2, double(p.x), double(p.y)).distance);
    return std::isfinite(best) ? Coord(std::llround(best)) : Coord(0);
}

geom::Closest cross_gap(const LayerContext& a, std::uint32_t i, const LayerContext& b, std::uint32_t j)
{
    const CopperPiece& pa = a.pieces[i];
    const CopperPiece& pb = b.pieces[j];
    geom::Closest c;
    if (pa.is_capsule) {
        c = capsule_gap_to_piece(b, pa.cap, j);
    } else if (pb.is_capsule) {
        c = swapped(capsule_gap_to_piece(a, pb.cap, i));
    } else if (const geom::PreparedOutline* prep = b.prepared(j)) {
        c = swapped(prep->distance(a.outline(i)));
    } else if (const geom::PreparedOutline* prep = a.prepared(i)) {
        c = prep->distance(b.outline(j));
    } else {
        c = geom::outline_distance(a.outline(i), b.outline(j));
    }
    if (c.distance < 0) c.distance = 0;
    return c;
}

} // namespace kesto::drc
