// GDSII stream files: the polygons they draw, flattened.
//
// Boundaries and boxes are polygons; paths are stroked to polygons by their
// width and end type (flush, round, half-width extension); structure
// references and arrays are placed with their reflection, magnification and
// rotation, from the structures no other one references. Texts and nodes
// draw nothing. All GDSII layers come out together: the caller names the one
// layer they go to.
#pragma once
#include "engine/geometry/geometry.h"

#include <string>
#include <vector>

namespace kesto::gds {

struct Drawing {
    std::vector<geom::Paths> shapes; // one per element, in nanometres, outers counter-clockwise
    std::vector<std::string> notes;  // what was left out, and why
};

// False, with the reason in `error`, for what is not a readable GDSII stream.
bool read(const std::string& bytes, Drawing& out, std::string& error);

} // namespace kesto::gds
