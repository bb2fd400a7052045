// An outline made ready for many clearance questions: its edges in a packed
// R-tree, so that each question looks only at the edges near the answer.
// A spacing check keeps one per copper pour and measures pad after pad.
#pragma once
#include "engine/geometry/geometry.h"

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <cstdint>
#include <functional>
#include <vector>

namespace kesto::geom {

class PreparedOutline {
public:
    explicit PreparedOutline(Paths outline);

    const Paths& outline() const { return outline_; }
    // From this outline (first) to another, as outline_distance.
    Closest distance(const Paths& other) const;
    // From this outline (first) to another prepared one: only the other's
    // edges near this outline's box are measured, so two planes cost what
    // their facing sides hold, not their whole outlines.
    Closest distance(const PreparedOutline& other) const;
    // From this outline (first) to a point, 0 inside.
    Closest distance(double px, double py) const;
    // From this outline (first) to a segment, 0 where they meet or the
    // segment starts inside.
    Closest distance(double x1, double y1, double x2, double y2) const;

    // Where a point stands against the outline (non-zero rule), looking only
    // at the edges met by a ray toward the nearest side of the outline's box.
    Where locate(double x, double y) const;

    // From a point to the nearest edge, inside or out.
    Closest edge_distance(double x, double y) const;

    // The outline's edges, and those whose box comes within `reach` of edge
    // i's box (through the same R-tree the distance questions use).
    const std::vector<Edge>& edges() const { return edges_; }
    void near_edges(std::uint32_t i, double reach, const std::function<void(std::uint32_t)>& on_edge) const;

private:

    using Corner = boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>;
    using Rect = boost::geometry::model::box<Corner>;
    using Entry = std::pair<Rect, std::uint32_t>;

    // An upper bound of the distance from (x, y) to the outline's edges.
    Closest seed(double x, double y) const;
    // Brings `best` down with every edge near `e` (within best.distance).
    void refine(const Edge& e, Closest& best) const;

    Paths outline_;
    std::vector<Edge> edges_;
    double xmin_ = 0, ymin_ = 0, xmax_ = 0, ymax_ = 0;
    boost::geometry::index::rtree<Entry, boost::geometry::index::quadratic<16>> tree_;
    // The first vertex of each ring, by ring: a plane has thousands of
    // clearance rings and a question looks only at those in its box.
    boost::geometry::index::rtree<std::pair<Corner, std::uint32_t>, boost::geometry::index::quadratic<16>> ring_starts_;
};

} // namespace kesto::geom
