// Resizing features: pads, lines and arcs take a symbol grown (or shrunk) by
// the size; surfaces are offset. A size is the change of the feature's width,
// so each edge moves by half of it.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/model/model.h"

#include <optional>
#include <vector>

namespace kesto::edit {

// `symbol` with every outer dimension grown by `delta` nanometres and inner
// ones (donut holes, thermal gaps) shrunk by it; nullopt for families that
// have no such size (user symbols, moire...) or when a size would fall to 0.
std::optional<Symbol> grown_symbol(const Symbol& symbol, double delta);

struct ResizeCount {
    size_t resized = 0;
    size_t skipped = 0; // picked features that could not take the new size
};

// Which features a resize touches.
enum class ResizeKinds { All, LinesAndArcs };

// Resizes the picked features (one flag per position) of `layer` by `delta`
// nanometres. Surfaces are offset with round or square corners; a feature
// that would vanish is left as it was and counted as skipped. Texts and
// barcodes are not resized.
ResizeCount resize_features(Layer& layer, const std::vector<bool>& picked, double delta, bool square_corners,
                            ResizeKinds kinds = ResizeKinds::All);

// Every island of `outline` with its holes as one surface body. Islands run
// clockwise and holes counter-clockwise, as features files write them.
Surface surface_of(const geom::Paths& outline);
// The same, one body per island.
std::vector<Surface> islands_of(const geom::Paths& outline);
// One body per island of a tree Clipper has already nested.
std::vector<Surface> islands_of(const ClipperLib::PolyTree& tree);

// A polygon (any orientation) grown by `delta` nanometres of width, corners
// kept sharp: the outlines that result, islands counter-clockwise.
geom::Paths resize_polygon(const geom::Path& polygon, double delta);

} // namespace kesto::edit
