// Line-width compensation of a layout's traces: lines of chosen widths take
// a new width, traces too short to be worth it are left, and a widened line
// never comes closer to copper it is apart from than the spacing kept.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/model/model.h"

#include <cstddef>

namespace kesto::edit {

struct LineWidthRule {
    Coord imin = 0, imax = 0;   // lines whose width lies in [imin, imax]...
    Coord resize = 0;           // ...change width by this,
    Coord default_resize = 0;   // the layer's other round lines by this
    Coord min_length = 0;       // traces shorter than this are left as they are
    Coord join_gap = 0;         // line ends this close are joined into one trace
    double max_turn = 0;        // degrees; a sharper turn ends a trace (<= 0 or >= 180: any turn joins)
    Coord spacing = 0;          // a widened line keeps at least this from copper it is apart from (0: no guard)
};

struct LineWidthCount {
    std::size_t changed = 0;     // lines given a new width (in full or as far as the spacing allows)
    std::size_t limited = 0;     // of those, held back by the spacing
    std::size_t blocked = 0;     // not widened at all: already at or under the spacing
    std::size_t short_left = 0;  // lines of traces shorter than min_length
    std::size_t vanishing = 0;   // a shrink that would leave no width
};

// Re-widths the positive lines drawn with round symbols. Traces are chains
// of such lines whose ends meet within join_gap turning by at most max_turn;
// a trace's length is the sum of its lines. A line grows only as far as
// keeps `spacing` to every positive feature it does not already touch; when
// that feature grows too, the two share the room.
LineWidthCount change_line_widths(Layer& layer, const geom::OutlineContext& context, const LineWidthRule& rule);

} // namespace kesto::edit
