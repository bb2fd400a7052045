// A spatial index of one layer's features: an R-tree of their boxes.
//
// The index answers with positions in Layer::features. Whoever edits the
// layer tells the index the same edit (append, insert, update, erase,
// reorder), so that it stays current without a rebuild; `build` packs a
// freshly loaded layer in one pass.
#pragma once
#include "engine/geometry/outline.h"

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <cstdint>
#include <vector>

namespace kesto::geom {

class LayerIndex {
public:
    // Doubles hold every nanometre coordinate exactly (to 2^53) and let the
    // tree weigh areas of large boxes without overflow.
    using Corner = boost::geometry::model::point<double, 2, boost::geometry::cs::cartesian>;
    using Rect = boost::geometry::model::box<Corner>;

    void build(const Layer& layer, const OutlineContext& context);
    void build(const std::vector<Box>& boxes);

    // The feature now at `position` has a new box.
    void update(std::size_t position, const Box& box);
    // The features at `positions` moved by (dx, dy): their boxes move with
    // them. A large share of the layer repacks the tree rather than moving
    // entries one by one.
    void shift(const std::vector<std::size_t>& positions, Coord dx, Coord dy);
    // A feature was inserted at `position` (appended when it is size()).
    void insert(std::size_t position, const Box& box);
    // The feature at `position` was erased; those after it moved up one.
    void remove(std::size_t position);
    // The features marked in `removed` (one flag per position) were erased,
    // the others kept their order.
    void erase(const std::vector<bool>& removed);
    // The features were reordered: the one now at position i was at order[i].
    // `order` must be a permutation of the positions (std::invalid_argument).
    void reorder(const std::vector<std::size_t>& order);

    // Positions of the features whose boxes meet `box`, in drawing order.
    std::vector<std::size_t> query(const Box& box) const;

    std::size_t size() const { return slot_of_.size(); }
    Box box(std::size_t position) const;

private:
    // Tree entries carry a slot that never changes while the feature lives;
    // positions move under erase, insert and reorder, slots do not.
    using Entry = std::pair<Rect, std::uint32_t>;
    std::uint32_t new_slot(const Rect& rect, std::size_t position);
    void repack();

    boost::geometry::index::rtree<Entry, boost::geometry::index::quadratic<16>> tree_;
    std::vector<std::uint32_t> slot_of_;     // by position
    std::vector<std::uint32_t> position_of_; // by slot
    std::vector<Rect> rect_of_;              // by slot
    std::vector<bool> in_tree_;              // by slot
    std::vector<std::uint32_t> free_slots_;
};

} // namespace kesto::geom
