// A layer's image painted strip by strip: the union by tiles the copper-area
// figures use on whole boards.
//
// One boolean over a whole board is slow for a reason of Clipper's own: each
// edge entering the sweep is inserted into the active edge list by walking
// it, and across a board that list holds thousands of edges. Cut into
// vertical strips, each strip's sweep is short and the work falls by about
// the number of strips. Features crossing a strip's sides are cut to it (one
// small boolean each), so the strips' images tile the whole image: their
// areas add up exactly, and a boolean with another layer cut to the same
// strips can be done strip by strip.
#pragma once
#include "engine/geometry/outline.h"

#include <vector>

namespace kesto::geom {

// One feature's outline in drawing order.
struct Piece {
    Paths outline;
    Box box;
    bool positive = true;
};

std::vector<Piece> pieces_of(const Layer& layer, const OutlineContext& context);
// The same for an outline (one positive piece per path).
std::vector<Piece> pieces_of(const Paths& outline);

// Vertical strips over `extent`, enough that each holds about `per_strip`
// path vertices of `pieces` (one strip for small layers, at most 256).
std::vector<Box> strips_over(const Box& extent, const std::vector<Piece>& pieces, std::size_t per_strip = 20000);

// The pieces painted in drawing order (negative ones taking away), within
// the strip.
Paths painted_within(const std::vector<Piece>& pieces, const Box& strip);

} // namespace kesto::geom
