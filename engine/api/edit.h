// Edits of the selected features of named layers of a step, as commands ask
// for them. Every operation names its job, step and layers; one that names
// something the engine does not hold logs it and changes nothing.
#pragma once
#include "engine/api/progress.h"
#include "engine/api/records.h"

#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace Op {

// The parameters of the operations that take a record rather than values.
struct OpPara {
    std::string job;
    std::string step;
    std::vector<std::string> layers;
    int sel_type = 0;        // 0 the selected features, 1 every feature of the layers
    double size = 0;         // working unit
    int corner = 0;          // resize: 0 round corners, 1 square
    int connect_type = 0;
    int interaction_type = 0;
    double radius = 0;       // working unit
    int mode = 0;
    std::string symbol_name;
    int dcode = 0;           // substitute: the new pads' D-code; 0 keeps each feature's
    int polarity = 2;        // 0 positive, 1 negative, 2 invert
    std::string para;
    std::string affected_node;
    std::string extra_params;
    std::string scope;
    double feature_size = 0;
    double error_size = 0;
};

} // namespace Op

namespace API {

void delete_selected_features(const std::string& job, const std::string& step, const std::vector<std::string>& layers);
// Offsets in engine units (nanometres).
void move_same_layer(const std::string& job, const std::string& step, std::vector<std::string> layers, int dx, int dy);
void copy_features_in_samelayer(const std::string& job, const std::string& step, std::vector<std::string> layers,
                                int dx, int dy);
// Copies the selected features of the source layers to each destination
// layer: inverted when `invert`, mirrored in X about the anchor when
// `mirror`, turned clockwise by `rotation` degrees about the anchor, then
// offset (engine units). The copies grow by `resize` (working unit) of width,
// as a global resize grows features.
void copy_features_to_otherLayer(const std::string& job, const std::string& step,
                                 const std::vector<std::string>& src_layers, const std::vector<std::string>& dst_layers,
                                 bool invert, int dx, double dy, double mirror, double resize, double rotation,
                                 double x_anchor, double y_anchor);
// Moves the selected features of the source layers into one layer of
// another (or the same) job and step, grown by `resize` (working unit).
bool move_other_layer(const std::string& src_job, const std::string& src_step, const std::vector<std::string>& src_layers,
                      const std::string& dst_job, const std::string& dst_step, const std::string& dst_layer, bool invert,
                      int dx, int dy, int mirror, double resize, double rotation, double x_anchor, double y_anchor);
// mode 0: about the datum point, 1: about (point_x, point_y). Rotation by
// `angle`, scale by xscale/yscale, mirrors, then offset; `duplicate` keeps
// the originals and transforms copies.
bool transform(const std::string& job, const std::string& step, const std::string& layer, int mode, bool rotate,
               bool scale, bool mirror_x, bool mirror_y, bool duplicate, point datum, double angle, double xscale,
               double yscale, double xoffset, double yoffset, double point_x, double point_y);
bool polarity(const Op::OpPara& para);
// mode 0: add to the features' attributes, 1: replace them, 2: remove the named ones.
void modify_attributes(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int mode,
                       const std::map<std::string, std::string>& attributes);
// put_last: the selected features are drawn last (on top); else first.
void move_selected_features_index(const std::string& job, const std::string& step,
                                  const std::vector<std::string>& layers, bool put_last);

// Selection by the current filter and its inverse.
void select_features(const std::string& job, const std::string& step, const std::string& layer);
void unselect_features(const std::string& job, const std::string& step, const std::string& layer);
void highlight_features(const std::string& job, const std::string& step, const std::string& layer);
void unhighlight_features(const std::string& job, const std::string& step, const std::string& layer);
void clear_selected_features(const std::string& job, const std::string& step, const std::string& layer);
void clear_highlighted_features(const std::string& job, const std::string& step, const std::string& layer);
bool reverse_select(const std::string& job, const std::string& step, const std::string& layer);
bool is_selected(const std::string& job, const std::string& step, const std::string& layer);
// Selects the features at the given positions of the layer's drawing order.
void select_feature_by_id(const std::string& job, const std::string& step, const std::string& layer,
                          const std::vector<int>& indices);

// ---------------------------------------------------------------- resizing and reshaping
//
// Sizes, widths and tolerances are in the working unit; "size" is the change
// of a feature's width (each edge moves by half of it). Operations on a
// record work on the selected features, or on every feature of the layers
// when its sel_type is 1; the others on the selected features. An empty job
// name means the one open job, when only one is. Each answers false when a
// name does not resolve, and then changes nothing.

struct resize_global_result {
    int resized = 0;
    int skipped = 0; // features that could not take the size (user symbols, a size falling to 0)
};
// size: the change; corner 0 round, 1 square corners on grown surfaces.
bool resize_global(const Op::OpPara& para, resize_global_result& result);
// Lines and arcs only: their width changes by `size`; all of them when not `selected_only`.
bool resize_polyline(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                     double size, bool selected_only);
// A polygon (engine units) whose width grows by `resize_value` (working unit), corners kept sharp.
std::vector<std::vector<point>> resize_polygon(const std::vector<point>& polygon, double resize_value);
// connect_type 0: split the lines where they cross; 1: join line ends that lie
// within `radius` of each other at the corner where the lines meet.
bool connections(const Op::OpPara& para);
// Pads, lines and arcs take the symbol; pads keep their angle when `keep_angle`.
// `count` answers how many features changed.
void change_feature_symbols(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            const std::string& symbol, bool keep_angle, int& count);
// User-symbol pads and texts to their primitives, surfaces to one per island.
void break_symbols(const Op::OpPara& para);
// radius: the largest distance of a chord from its arc.
bool break_arc_to_lines(const Op::OpPara& para);
bool reshape_contour_to_pad(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            double tolerance, double minsize, double maxsize, std::string suffix);
bool reshape_line_to_pad(const Op::OpPara& para);
bool reshape_line_to_pad(const std::string& job, const std::string& step, const std::vector<std::string>& layers);
bool reshape_pad_to_line(const std::string& job, const std::string& step, const std::vector<std::string>& layers);
// width 0 or less: a 0.0254 mm pen.
bool reshape_pad_to_outline(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            double width);
bool reshape_surface_to_outline(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                                double width);
// Closed loops of selected lines and arcs to surfaces; with `can_to_pad` a
// surface that is a standard symbol becomes a pad of it.
bool reshape_outline_to_surface(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                                bool can_to_pad);
// The selection merged to surfaces. clear_mode: holes under max_size are
// filled when 0 their width or height, 1 both, 2 their area (under max_size
// squared) is under it; max_size 0 keeps every hole. `progress` may be null.
bool reshape_contourize(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                        double accuracy, bool separate_to_islands, double max_size, int clear_mode,
                        COMMON::progress_value<int>* progress);
// symbol_name: the symbol to put in; size: the tolerance of the shape match;
// dcode when 0 or more.
bool reshape_substitute(const Op::OpPara& para);
// Sizes and width in engine units (width is the pen, 0.3048 mm being a
// factor of 1); 0 or less keeps them, as do empty texts and fonts and
// polarity (0 positive, 1 negative) or mirror (0, 1) values beyond those.
bool change_text(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                 const std::string& text, const std::string& font, int x_size, int y_size, int width, int polarity,
                 int mirror, int angle);
// Every feature of the layers flattened into positive surfaces; a layer
// whose matrix row is negative becomes its profile minus its image, and its
// row positive.
bool negative_layer_to_positive(const std::string& job, const std::string& step,
                                const std::vector<std::string>& layers);

// Clipping an area out of layers. `featuretype`: the kinds clipped, as the
// selection filter's type bits (0: all). `margin` (working unit) grows the
// area. Clipping inside removes what overlaps the area, outside what reaches
// beyond it; `clipcontour` cuts surfaces along the area instead.
// The area of `clip_area_use_manual` is the polygon `points` (engine units).
bool clip_area_use_manual(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                          const std::vector<point>& points, bool clipinside, bool clipcontour, double margin,
                          int featuretype);
// The area is the step's profile.
bool clip_area_use_profile(const std::string& job, const std::string& step, const std::string& layer, bool clipinside,
                           bool clipcontour, double margin, int featuretype);
// The area is the image of the reference layer; what overlaps it is clipped.
bool clip_area_use_reference(const std::string& job, const std::string& step, const std::string& work_layer,
                             const std::string& reference_layer, double margin, bool clipcontour, int featuretype);

// True when the closed polygon (engine units) crosses or touches itself.
bool self_interaction(const std::vector<point>& points);

// Rounds the corners where selected lines meet end to end with arcs of `radius` (working unit).
bool rounding_line_corner(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                          double radius);

// Solid fill of the selected surfaces. `solid_type` true: a surface is
// already solid and stays as it is; false: it is drawn with a round brush of
// `min_brush` (working unit), border and rows (see brush_fill). `use_arcs`
// cannot apply to brush strokes, which are lines; it is accepted and unused.
bool use_solid_fill_contours(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                             bool solid_type, double min_brush, bool use_arcs);

// Pattern fill of the selected surfaces with pads of `symbol` on a grid of
// pitch dx, dy (working unit; 0 takes the symbol's own width or height, pads
// edge to edge). origin_type 0: the grid runs through the step datum, 1:
// through each surface's lower left corner. Pads across a surface's edge are
// dropped, kept whole (`break_partial`) or cut to the surface
// (`cut_primitive`). With `outline` the border is drawn with round lines of
// `outline_width` (1 mil when 0), negative when `outline_invert`.
bool use_pattern_fill_contours(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                               const std::string& symbol, double dx, double dy, bool break_partial,
                               bool cut_primitive, int origin_type, bool outline, double outline_width,
                               bool outline_invert);

// The lines at the given positions of the layer's drawing order take the
// given ends (engine units), pair by pair; positions that hold no line, or
// have no ends given, are skipped. False when a name does not resolve or no
// line changed.
bool change_lines(const std::string& job, const std::string& step, const std::string& layer,
                  const std::vector<int>& positions, const std::vector<point>& starts, const std::vector<point>& ends);
// The arc at `position` takes new ends, centre and direction, or goes when
// `delete_arc`. False when there is no arc there.
bool change_arc(const std::string& job, const std::string& step, const std::string& layer, int position, point start,
                point end, point centre, bool cw, bool delete_arc);

} // namespace API
} // namespace KESTO
