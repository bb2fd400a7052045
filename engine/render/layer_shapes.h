// A layer's features as exposures for the canvas.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/render/canvas.h"

#include <functional>
#include <vector>

namespace kesto::render {

// How a picture shows features, as the viewer's display switches set it.
struct DrawStyle {
    bool widths = true; // false: lines and arcs as their centre lines only
    bool texts = true;  // false: texts and barcodes left out
};

// The outlines of the features `pick` accepts (all when empty), in drawing
// order, dark for positive features and clear for negative ones. Features
// whose box misses `window` are left out (an empty window keeps all).
// Lines, arcs and pads of a zero-size symbol have no area and expose nothing
// on film; in pictures they are hairlines (a dot for a pad), so outlines
// drawn with them stay visible.
std::vector<Shape> layer_shapes(const Layer& layer, const geom::OutlineContext& context, const Box& window = Box{},
                                const std::function<bool(const Feature&, size_t)>& pick = {},
                                const DrawStyle& style = {});

// The same for the features at `positions` only, in the order given (as a
// spatial index answers for a window: drawing order).
std::vector<Shape> layer_shapes(const Layer& layer, const geom::OutlineContext& context,
                                const std::vector<size_t>& positions,
                                const std::function<bool(const Feature&, size_t)>& pick = {},
                                const DrawStyle& style = {});

// The world box the canvas shows.
Box visible_box(const Canvas& canvas);

} // namespace kesto::render
