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

    // Where the outline's copper is narrower than `width`: calls
    // on_neck(a, b, c) for each pair of edges (each pair once) whose gap c
    // (nearest points on a and b) is above a nanometre and below `width`
    // with the outline's inside between them, as two sides of a thin web
    // are: the middle of the gap lies inside and no other edge comes nearer
    // to it than the two do (edges either side of a rounded corner are one
    // side bending, not two facing sides). Edges that meet count only where
    // they close on the inside at a sharp angle (under 60 degrees: a spike).
    template <class OnNeck>
    void narrow_places(double width, OnNeck&& on_neck) const
    {
        for (std::uint32_t i = 0; i < edges_.size(); ++i)
            near_edges(i, width, [&](std::uint32_t j) {
                if (j <= i) return;
                const Edge& a = edges_[i];
                const Edge& b = edges_[j];
                const Closest c = segment_segment(a.x1, a.y1, a.x2, a.y2, b.x1, b.y1, b.x2, b.y2);
                if (c.distance >= width) return;
                if (c.distance > 1) {
                    const double mx = (c.ax + c.bx) / 2, my = (c.ay + c.by) / 2;
                    if (edge_distance(mx, my).distance < 0.75 * c.distance / 2) return;
                    if (locate(mx, my) != Where::Inside) return;
                } else if (!spike(a, b)) {
                    return;
                }
                on_neck(a, b, c);
            });
    }

private:
    // Two edges sharing an end that close on the inside at under 60 degrees.
    bool spike(const Edge& a, const Edge& b) const;
    // Calls on_edge(j) for every edge whose box comes within `reach` of edge i's box.
    void near_edges(std::uint32_t i, double reach, const std::function<void(std::uint32_t)>& on_edge) const;

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
