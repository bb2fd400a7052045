// Reshaping features from one kind into another: breaking user symbols and
// texts into primitives, arcs into lines, lines into pads and back, pads and
// surfaces into outlines, outlines into surfaces, contours into pads, and
// merging features into surfaces (contourize).
//
// Every operation works on the picked features of one layer (one flag per
// position of Layer::features) and answers how many it reshaped. What a
// feature becomes takes its place in the drawing order, keeps its polarity,
// attributes and selection; features it cannot reshape stay as they were.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/model/model.h"

#include <functional>
#include <string>
#include <vector>

namespace kesto::edit {

// Replaces each picked feature for which `make` answers true by the features
// `make` appended to layer.features (none deletes it). `make` gets a copy of
// the feature, as appending may move the layer's features, and its position.
size_t replace_picked(Layer& layer, const std::vector<bool>& picked,
                      const std::function<bool(Layer&, const Feature&, size_t position)>& make);

// Pads of user symbols become the symbol's features, placed as the pad is;
// texts become the strokes of their font; surfaces of several islands become
// one surface per island.
size_t break_features(Layer& layer, const std::vector<bool>& picked, const geom::OutlineContext& context);

// Arcs become chords no farther than `tolerance` nanometres from the arc.
size_t arcs_to_lines(Layer& layer, const std::vector<bool>& picked, double tolerance);

// Lines drawn with round or square symbols become the oval or rectangle pad
// that covers the same area.
size_t lines_to_pads(Layer& layer, const std::vector<bool>& picked);
// Round, square, oval and rectangle pads become the line that draws them.
size_t pads_to_lines(Layer& layer, const std::vector<bool>& picked);

// Pads become their outline drawn with round lines of `width` nanometres
// (round pads as one full-circle arc).
size_t pads_to_outlines(Layer& layer, const std::vector<bool>& picked, double width,
                        const geom::OutlineContext& context);
// Surfaces become their contours drawn with lines and arcs of `width`.
size_t surfaces_to_outlines(Layer& layer, const std::vector<bool>& picked, double width);
// Picked lines and arcs that close into loops become surfaces (a loop inside
// another is its hole); open chains stay lines.
size_t outlines_to_surfaces(Layer& layer, const std::vector<bool>& picked);

// A standard symbol (round, square, oval, rectangle) whose outline, centred on
// the surface's box, departs from the surface by at most `tolerance` on
// average; Unknown family when none does.
Symbol matching_symbol(const Surface& surface, double tolerance, Point* centre);

struct ContourToPad {
    double tolerance = 0;           // nanometres; below the chord bound counts as the bound
    double min_size = 0, max_size = 0; // of the surface's box; max 0 is no bound
};
size_t contours_to_pads(Layer& layer, const std::vector<bool>& picked, const ContourToPad& how);

// How holes are cleaned when contourizing: holes narrower than the size in
// either direction, in both, or of smaller area than its square.
enum class HoleClean { EitherSide, BothSides, Area };

struct Contourize {
    double accuracy = 0;          // nanometres a vertex may move when outlines are simplified
    bool separate_islands = true; // one surface per island, else one surface for all
    double hole_size = 0;         // 0 keeps every hole
    HoleClean clean = HoleClean::EitherSide;
    // Called once per picked feature painted; answers false to stop, which
    // leaves the layer as it was.
    std::function<bool()> step;
};
// Paints the picked features in drawing order (negative ones take away) and
// puts the surfaces of the image where the first picked feature stood.
size_t contourize(Layer& layer, const std::vector<bool>& picked, const Contourize& how,
                  const geom::OutlineContext& context);

// Texts get the given values; empty strings, sizes of 0 or less and polarity
// or mirror values other than 0 and 1 keep what the text has.
struct TextChange {
    std::string text, font;
    Coord xsize = 0, ysize = 0;
    double width_factor = 0;
    int polarity = -1, mirror = -1;
    double angle = 0;
};
size_t change_texts(Layer& layer, const std::vector<bool>& picked, const TextChange& change);

// Pads, lines and arcs take the symbol `name` (a standard name in the layer's
// units, or a user symbol); pads lose their angle unless `keep_angle`.
size_t change_symbols(Layer& layer, const std::vector<bool>& picked, const Symbol& symbol, bool keep_angle);

// Picked pads and surfaces whose shape is that of `symbol` within `tolerance`
// become pads of it at their centre (dcode set when 0 or more).
size_t substitute(Layer& layer, const std::vector<bool>& picked, const Symbol& symbol, double tolerance, int dcode,
                  const geom::OutlineContext& context);

// Picked lines that cross other picked lines are split where they cross.
size_t split_at_crossings(Layer& layer, const std::vector<bool>& picked);
// Picked lines whose ends lie within `reach` of another picked line's end are
// extended or trimmed to the point where the two lines meet.
size_t join_corners(Layer& layer, const std::vector<bool>& picked, double reach);

// Clipping an area out of a layer. Clipping inside, the picked features that
// overlap `area` go; clipping outside, those that reach beyond it. With
// `cut_surfaces`, surfaces are cut along the area's edge instead and keep
// what lies on the other side.
size_t clip_area(Layer& layer, const std::vector<bool>& picked, const geom::Paths& area, bool inside,
                 bool cut_surfaces, const geom::OutlineContext& context);

// Surfaces become the strokes of a round brush of `brush` nanometres: their
// border drawn half a brush inside the edge, and rows of strokes one brush
// apart across them. Islands narrower than the brush stay surfaces; a
// surface that would take more than kMaxBrushRows rows stays whole.
constexpr int kMaxBrushRows = 100000;
size_t brush_fill(Layer& layer, const std::vector<bool>& picked, double brush);

// Surfaces filled with a pattern of pads of `symbol` on a grid of pitch
// (dx, dy) through `origin`: pads wholly inside a surface are placed; pads
// across its edge are dropped, kept whole (`break_partial`) or kept as the
// surface of their part inside (`cut_primitive`). With `outline_width` above 0
// the surface's border is drawn too, negative when `outline_negative`. The
// surface itself goes. More than kMaxPatternPads pads per surface: it stays.
struct PatternFill {
    Symbol symbol;
    double dx = 0, dy = 0;
    Point origin;
    bool origin_at_box = false; // the grid starts at each surface's lower left corner
    bool break_partial = false;
    bool cut_primitive = false;
    double outline_width = 0;
    bool outline_negative = false;
};
constexpr long kMaxPatternPads = 1000000;
size_t pattern_fill(Layer& layer, const std::vector<bool>& picked, const PatternFill& how,
                    const geom::OutlineContext& context);

// Where two picked lines meet end to end at an angle, both are trimmed and an
// arc of `radius` nanometres joins them, tangent to each (drawn with the first
// line's symbol). Corners whose lines are too short for the arc are left.
size_t round_corners(Layer& layer, const std::vector<bool>& picked, double radius);

// True when two edges of the closed polygon cross or touch anywhere but at
// the vertex two neighbouring edges share.
bool crosses_itself(const geom::Path& polygon);

} // namespace kesto::edit
