// Second-table feature edits, step operations and layer compare. Offsets
// given as whole numbers are engine units (nanometres), as for the
// selection edits; real values are in the working unit. An empty job name
// means the one open job, when only one is. Each answers false, with an
// ERROR record, when a name does not resolve, and then changes nothing.
// Every change of features is recorded for undo.
#pragma once
#include "engine/api/features.h"
#include "engine/api/records.h"

#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// ---------------------------------------------------------------- features by position

// Copies of the features at `positions` (drawing order) of each source
// layer, offset by (dx, dy), appended to `dst_layer`. Positions a layer
// lacks are skipped.
bool copy_specified_features(const std::string& job, const std::string& step, const std::vector<std::string>& src_layers,
                             const std::string& dst_layer, const std::vector<int>& positions, int dx, int dy);
// Moves the features at `positions` of the layer by (dx, dy).
bool move_specified_features(const std::string& job, const std::string& step, const std::string& layer,
                             const std::vector<int>& positions, int dx, int dy);

// The line at `position` takes ends[0] as its start and, when given,
// ends[1] as its end (working unit). False when there is no line there.
bool change_line_ends(const std::string& job, const std::string& step, const std::string& layer, int position,
                      const std::vector<lPoint>& ends);

// ---------------------------------------------------------------- datum moves

// The point (x, y) of the layer becomes its origin: every feature moves by (-x, -y).
bool move_make_zero(const std::string& job, const std::string& step, const std::string& layer, int x, int y);
// The layer's features move so that a point of them lands on the origin:
// type 0 the lower left corner of their extent, 1 its centre, 2 the step's
// datum point.
bool make_zero(const std::string& job, const std::string& step, const std::string& layer, int type);

// ---------------------------------------------------------------- layers, steps and jobs

// Every feature of the source layer copied to the destination layer (made
// when the matrix lacks it). mode 0 appends, 1 replaces what the destination
// held; `invert` gives the copies the other polarity.
bool copy_layer_features(const std::string& src_job, const std::string& src_step, const std::string& dst_job,
                         const std::string& dst_step, int mode, bool invert, const std::string& src_layer,
                         const std::string& dst_layer);
// The selected features of the layer copied to the same layer of another
// step of the job, at the same place; removed from the source with `delete_org`.
bool move_select_feature_to_other_step(const std::string& job, const std::string& step, const std::string& layer,
                                       const std::string& dst_step, bool delete_org);
// The user symbol `symbol1` of job1 becomes the symbol `symbol2` (its own
// name when empty) of job2, replacing one of that name.
bool copy_usersymbol_to_other_job(const std::string& job1, const std::string& job2, const std::string& symbol1,
                                  const std::string& symbol2);
// The layer `flatten_layer` of the step with every step repeated in it,
// recursively, as features of `dst_layer` of the step (made when the matrix
// lacks it; its features replaced).
bool flatten_step(const std::string& job, const std::string& step, const std::string& flatten_layer,
                  const std::string& dst_layer);

// One step and repeat row of a step, in the working unit.
struct step_repeat_info {
    std::string step;
    double x = 0, y = 0, dx = 0, dy = 0;
    int nx = 1, ny = 1;
    double angle = 0;
    bool mirror = false, flip = false;
};
struct step_header_info {
    double datum_x = 0, datum_y = 0;
    bool has_profile = false;
    double profile_xmin = 0, profile_ymin = 0, profile_xmax = 0, profile_ymax = 0;
    std::vector<step_repeat_info> repeats;
    std::map<std::string, std::string> fields; // other header fields, as read
};
bool get_step_header_infos(const std::string& job, const std::string& step, step_header_info& out);

// The number of features of the layer, or -1 when a name does not resolve.
long long layer_feature_count(const std::string& job, const std::string& step, const std::string& layer);

// The standard symbol (round, square, rectangle, oval) whose shape a
// description of one surface (records in the working unit) has, named in the
// working unit; empty when it is none, or the text is not one surface.
std::string identify_symbol(const std::string& content);

// The layer's lines and arcs sorted: chains that close on themselves, end
// meeting end exactly with no branch (each as its drawing-order positions
// in the order the chain runs), and the others.
struct polyline_classes {
    std::vector<std::vector<int>> polygons;
    std::vector<int> other;
};
bool classify_polyline(const std::string& job, const std::string& step, const std::string& layer,
                       polyline_classes& out);

// ---------------------------------------------------------------- layer compare

// One area where the two layers' copper differs: side 1 copper only the
// first layer has, 2 only the second; a point inside it, its box and its
// area, in the working unit.
struct compare_difference {
    int side = 1;
    double x = 0, y = 0;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    double area = 0;
};

struct compare_request {
    std::string job1, step1, layer1, job2, step2, layer2;
    double tolerance = 0; // differences narrower than this everywhere are not reported
    bool global = false;  // false: only within the first step's profile, when it has one
    bool consider_sr = false; // the nested steps' copper counts too
};

// Compares the copper of two layers and keeps the result for
// layer_compare_result. With a map layer, the differences become its
// surfaces (in the first job and step; made when the matrix lacks it), those
// smaller than `map_resolution` both ways left out.
bool layer_compare(const compare_request& request, std::vector<compare_difference>& differences,
                   const std::string& map_layer = "", double map_resolution = 0);
// A picture (24-bit BMP) of the comparison: the first layer's copper grey,
// copper only it has red, copper only the second has green; grid lines every
// `grid_size` when above 0. Written to `savepath`/<layer1>_<layer2><suffix>.bmp.
bool layer_compare_bmp(const compare_request& request, const std::string& savepath, const std::string& suffix,
                       double grid_size, int height, int width, std::string& written);
// The differences of the latest comparison as surfaces of `new_layer` (made
// when the matrix lacks it) in the work step: their areas when `difference`,
// else a rectangle around each. With `columns` above 0 they are laid out as a
// gallery, `columns` wide, from `start` (engine units) rows going down, `pitch`
// (working unit) apart.
bool layer_compare_result(const std::string& job, const std::string& step, const std::string& new_layer,
                          bool difference, int columns, point start, double pitch);
// Pairs layers1[i] and layers2[i]. Each pair's differences go to
// map_layers[i] of the compare job and step when given, and all of them to a
// text report at `report_path` when it is not empty: a header line, then one
// tab-separated line per difference (pair, layer1, layer2, side, x, y, xmin,
// ymin, xmax, ymax, area).
bool multi_layer_compare(const compare_request& base, const std::vector<std::string>& layers1,
                         const std::vector<std::string>& layers2, const std::string& report_path,
                         const std::string& map_job, const std::string& map_step,
                         const std::vector<std::string>& map_layers, double map_resolution);


// ---------------------------------------------------------------- fills, tables and undo

// Copper fill of a step's profile: the profile shrunk by `profile_resize`,
// less each first-level nested step's profile grown by
// `child_profile_resize`, less (with `avoid_drill`) every drilled hole through
// the layer grown by `avoid_drill_size`; all in the working unit. By pattern,
// pads of `symbol` (a standard name) on a dx x dy grid starting half a pitch
// in from the area's lower left corner, wherever they fit wholly; else the
// area as one surface. One undo record; answers the features added.
struct fill_profile_request {
    std::string job, step, layer;
    double profile_resize = 0, child_profile_resize = 0, avoid_drill_size = 0;
    bool avoid_drill = false, by_pattern = false;
    std::string symbol;
    double dx = 0, dy = 0;
};
bool fill_profile(const fill_profile_request& request, int& added, std::string& error);

// The standard pad (oval for a round symbol, rectangle for a square one)
// that draws the same shape as the line at `position`: its name in the
// working unit, its centre and its clockwise angle.
struct line_symbol {
    std::string symbol;
    double x = 0, y = 0, angle = 0;
};
bool line_to_symbol(const std::string& job, const std::string& step, const std::string& layer, int position,
                    line_symbol& out, std::string& error);

// The step's edits so far stay for good: its undo history is dropped
// (`dropped` records), so undo cannot take them back.
bool correct_undo(const std::string& job, const std::string& step, int& dropped, std::string& error);

// A table drawn on a layer (made when the matrix lacks it): its top left
// corner at (x, y), one row of cells per entry of `cells`, columns
// `column_widths` wide (a missing width: wide enough for the longest text of
// the column), rows `row_height` high (0: twice the text height); grid lines
// `line_width` wide, texts in the standard font `text_height` high, half a
// character in from each cell's left edge and centred on its height. One
// undo record; answers the features added and the table's size.
// Fills the acute corners between lines of the layers (the selected ones
// with scope 0, all with 1): where lines meet end to end (and, with type 1,
// where a line ends on another's middle) at less than `max_angle` degrees
// (90 when 0), the wedge is filled up to the arc of `radius` (working unit)
// tangent to both centrelines, or the chord between its tangent points when
// not `round`. One open job; one undo record; answers the corners filled.
bool remove_sharp_angle(const std::string& step, const std::vector<std::string>& layers, int scope, double radius,
                        int type, bool round, double max_angle, int& filled, std::string& error);

// Lines of the layer (the selected ones with type 0, all with 1) turned into
// another kind, through the reshapes the first table uses: op_type 0 lines to
// the oval or rectangle pads they draw, 1 round and square pads (and those
// of lines' shapes) back to lines, 2 arcs to chords within a micron, 3 closed
// chains of lines and arcs to surfaces. The one open job; one undo record;
// answers how many features were turned.
bool translate_lines(const std::string& step, const std::string& layer, int op_type, int type, int& turned,
                     std::string& error);

// Line-width compensation of a layout's traces on one layer (lengths in the
// working unit; see engine/edit/line_width.h): round lines whose width lies in
// [imin, imax] change width by resize_size, the layer's other round lines by
// default_resize; traces (lines joined end to end within max_distance,
// turning by at most angle degrees) shorter than length are left; a widened
// line keeps offset_para from copper it does not touch. The job may be left
// empty when one job is open. One undo record.
struct line_width_request {
    std::string job, step, layer;
    double max_distance = 0, default_resize = 0, length = 0, offset_para = 0;
    double imin = 0, imax = 0, resize_size = 0, angle = 0;
};
struct line_width_result {
    int changed = 0, limited = 0, blocked = 0, short_left = 0, vanishing = 0;
};
bool change_gds_line_width(const line_width_request& request, line_width_result& result, std::string& error);

struct table_request {
    std::string job, step, layer;
    double x = 0, y = 0;
    std::vector<std::vector<std::string>> cells;
    std::vector<double> column_widths;
    double row_height = 0, text_height = 1, line_width = 0.1;
};
bool create_table(const table_request& request, int& added, double& width, double& height, std::string& error);

} // namespace API
} // namespace KESTO
