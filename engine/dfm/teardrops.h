// Teardrops: copper added where a line runs into a pad, so that a drill that
// wanders, or an etch that bites, does not break the line off its land.
// A teardrop is a surface marked with the attribute ".tear_drop", drawn over
// the pad's centre and the line's end, so it can be found and removed again.
#pragma once
#include "engine/model/model.h"

#include <optional>

namespace kesto::dfm {

constexpr const char* kTeardropAttribute = ".tear_drop";

// One line end on a pad, in the pad's frame: the pad's circle (its inscribed
// circle for squares, rectangles and ovals), the line's direction leaving
// the pad, and the line's half width.
struct TeardropSite {
    Point centre;
    Coord radius = 0;
    double ux = 1, uy = 0;   // unit direction from the line's end toward its far end
    Coord offset = 0;        // signed distance of the line's axis from the centre (left of u positive)
    Coord half_width = 0;
    Coord reach = 0;         // how far along u, from the centre, the line runs
};

enum class TeardropShape { Straight, Arc };

// A straight teardrop: each side a tangent of the pad's circle running to
// the line's edge. `width` is the teardrop's width where the tangents touch
// the pad, measured across the line. Straight-sided surface, no arcs.
// An arc teardrop: each side a concave arc tangent to the line's edge and to
// the pad, sweeping `arc_degrees`. Nothing when the site leaves no room
// (pad narrower than the line, a tail beyond the line's far end).
std::optional<Surface> straight_teardrop(const TeardropSite& site, Coord width);
std::optional<Surface> arc_teardrop(const TeardropSite& site, double arc_degrees);

// The width a straight teardrop takes: `ratio` times the line width, or when
// the ratio is 0 the width at which the tangents meet the pad 60 degrees off
// the line; never more than where they meet it 70 degrees off.
Coord teardrop_width(const TeardropSite& site, double ratio);

} // namespace kesto::dfm
