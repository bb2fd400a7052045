// Distances the mask and silk rules ask between pieces of two layers (a mask
// opening against the copper below, a silk stroke against a pad) and between
// the boundaries of nested outlines (a pad inside its opening). Large
// outlines — pours, planes, big openings — are measured through an edge
// R-tree kept per piece, so each question looks only at the edges near the
// answer instead of every edge of the pour.
#pragma once
#include "engine/drc/signal_context.h"

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <memory>
#include <vector>

namespace kesto::drc {

// The edges of one outline in a packed R-tree, for boundary-only distances:
// unlike PreparedOutline::distance, an outline lying inside this one is
// measured to its edges, not answered 0.
class EdgeTree {
public:
    explicit EdgeTree(const geom::Paths& outline);
    bool empty() const { return edges_.empty(); }
    // Nearest approach of the given edges to this outline's edges; the
    // given edges' point is the first.
    geom::Closest boundary_gap(const std::vector<geom::Edge>& other) const;
    // Nearest approach of a point to this outline's edges, the point first.
    geom::Closest point_gap(double x, double y) const;

private:
    using Corner = boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>;
    using Rect = boost::geometry::model::box<Corner>;
    using Entry = std::pair<Rect, std::uint32_t>;
    void refine(const geom::Edge& e, geom::Closest& best) const;
    std::vector<geom::Edge> edges_;
    boost::geometry::index::rtree<Entry, boost::geometry::index::quadratic<16>> tree_;
};

// Edge trees of one layer context's large pieces, made when first asked.
class PieceEdges {
public:
    explicit PieceEdges(const LayerContext& ctx) : ctx_(ctx), trees_(ctx.pieces.size()) {}
    // Null for pieces small enough to measure edge by edge.
    const EdgeTree* tree(std::uint32_t piece) const;
    const LayerContext& context() const { return ctx_; }

private:
    const LayerContext& ctx_;
    mutable std::vector<std::unique_ptr<EdgeTree>> trees_;
};

// The boxes of a layer's holes or rout paths in an R-tree, by position.
class CapsuleIndex {
public:
    template <class Items>
    explicit CapsuleIndex(const Items& items)
    {
        std::vector<Entry> entries;
        for (std::size_t i = 0; i < items.size(); ++i) {
            const Box b = capsule_box(items[i].cap);
            entries.emplace_back(Rect{{double(b.xmin), double(b.ymin)}, {double(b.xmax), double(b.ymax)}}, std::uint32_t(i));
        }
        tree_ = decltype(tree_)(entries.begin(), entries.end());
    }
    // Positions of the items whose boxes come within `reach` of a box.
    std::vector<std::uint32_t> near(const Box& box, Coord reach) const;

private:
    using Corner = boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>;
    using Rect = boost::geometry::model::box<Corner>;
    using Entry = std::pair<Rect, std::uint32_t>;
    boost::geometry::index::rtree<Entry, boost::geometry::index::quadratic<16>> tree_;
};

// Boundary-to-boundary distance of two outlines whatever their nesting; the
// tree, when given, holds b's edges.
Coord boundary_gap(const geom::Paths& a, const geom::Paths& b, const EdgeTree* b_tree = nullptr);
// Distance from a point to the nearest edge of an outline, inside or out.
Coord edge_distance(const geom::Paths& outline, Point p, const EdgeTree* tree = nullptr);

// Edge-to-edge gap of piece i of layer a and piece j of layer b, a's point
// first: 0 when they touch or overlap. Capsules are measured exactly, and the
// large piece of a pair through its layer's prepared outline.
geom::Closest cross_gap(const LayerContext& a, std::uint32_t i, const LayerContext& b, std::uint32_t j);

} // namespace kesto::drc
