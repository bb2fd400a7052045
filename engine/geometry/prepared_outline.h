// An outline made ready for many clearance questions: its edges in a packed
// R-tree, so that each question looks only at the edges near the answer.
// A spacing check keeps one per copper pour and measures pad after pad.
#pragma once
#include "engine/geometry/geometry.h"

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <cstdint>
#include <vector>

namespace kesto::geom {

class PreparedOutline {
public:
    explicit PreparedOutline(Paths outline);

    const Paths& outline() const { return outline_; }
    // From this outline (first) to another, as outline_distance.
    Closest distance(const Paths& other) const;
    // From this outline (first) to a point, 0 inside.
    Closest distance(double px, double py) const;
    // From this outline (first) to a segment, 0 where they meet or the
    // segment starts inside.
    Closest distance(double x1, double y1, double x2, double y2) const;

    // Where a point stands against the outline (non-zero rule), looking only
    // at the edges its rightward ray meets.
    Where locate(double x, double y) const;

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
    double xmax_ = 0;
    boost::geometry::index::rtree<Entry, boost::geometry::index::quadratic<16>> tree_;
};

} // namespace kesto::geom
