// A layer's features as exposures for the canvas.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/render/canvas.h"

#include <functional>
#include <vector>

namespace kesto::render {

// The outlines of the features `pick` accepts (all when empty), in drawing
// order, dark for positive features and clear for negative ones. Features
// whose box misses `window` are left out (an empty window keeps all).
std::vector<Shape> layer_shapes(const Layer& layer, const geom::OutlineContext& context, const Box& window = Box{},
                                const std::function<bool(const Feature&, size_t)>& pick = {});

// The world box the canvas shows.
Box visible_box(const Canvas& canvas);

} // namespace kesto::render
