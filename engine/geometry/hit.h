// Hit tests and clearances: which features a click or a drawn polygon
// catches, and how far apart two features are.
#pragma once
#include "engine/geometry/layer_index.h"

#include <vector>

namespace kesto::geom {

// Positions of the features whose outline comes within `margin` of `p`.
std::vector<std::size_t> features_at(const Layer& layer, const LayerIndex& index, const Point& p, Coord margin,
                                     const OutlineContext& context);

enum class PolygonTest {
    Inside,   // the whole outline lies within the polygon
    Touching, // the outline and the polygon share at least one point
};
// Positions of the features a polygon catches. The polygon's points are its
// corners in order (closed implicitly; fewer than three catch nothing); a
// self-crossing polygon covers what the non-zero rule fills.
std::vector<std::size_t> features_in_polygon(const Layer& layer, const LayerIndex& index, const Path& polygon,
                                             PolygonTest test, const OutlineContext& context);

// Edge-to-edge clearance of two features, 0 when they touch or overlap, with
// the closest point on each. Round pads and round lines are measured exactly;
// other shapes through their outlines (chords sit inside true arcs by at most
// the chord error, which the distance may gain).
Closest feature_distance(const Layer& layer_a, const Feature& a, const Layer& layer_b, const Feature& b,
                         const OutlineContext& context);
// Distance from a feature's outline to a point, 0 inside it.
Closest feature_point_distance(const Layer& layer, const Feature& f, const Point& p, const OutlineContext& context);

} // namespace kesto::geom
