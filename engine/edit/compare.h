// Comparing two copper images: where one layer has copper the other lacks,
// as areas with their positions. Both images are outlines as the geometry
// kernel paints them (positive features add, negative ones take away).
#pragma once
#include "engine/geometry/geometry.h"
#include "engine/model/model.h"

#include <vector>

namespace kesto::edit {

// Which image holds the copper of a difference.
enum class DifferenceSide { OnlyFirst, OnlySecond };

// One connected area of difference: its outline (an island with its holes),
// its box, a point inside it and its area in square nanometres.
struct Difference {
    DifferenceSide side = DifferenceSide::OnlyFirst;
    geom::Paths outline;
    Box box;
    Point inside;
    double area = 0;
};

// The differences of two images. A difference narrower than `tolerance`
// everywhere (an edge moved by less than the tolerance, a rounding seam) is
// not one: each side of the boolean difference is opened (shrunk, then grown
// back, mitred) by half the tolerance before it is split into islands:
// square corners survive exactly, tips sharper than about 60 degrees lose
// their point. Largest first.
std::vector<Difference> compare_images(const geom::Paths& first, const geom::Paths& second, Coord tolerance);

// A point strictly inside an island (with its holes), for a marker or a query.
Point point_inside(const geom::Paths& island);

} // namespace kesto::edit
