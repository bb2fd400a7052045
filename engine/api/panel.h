// Panels: step-and-repeat tables, panel set-up (profile, margins, datum),
// automatic panelisation, coupons, and what is drawn in a panel's margins.
//
// Lengths and coordinates are in the working unit; angles are degrees,
// clockwise. Operations answer false with `error` saying why when they
// cannot do their work (the handlers log it at ERROR).
#pragma once
#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// One row of a step-and-repeat table: `step` placed nx x ny times, its datum
// at (x + i dx, y + j dy), mirrored first, then turned.
struct step_repeat_row {
    std::string step;
    double x = 0, y = 0, dx = 0, dy = 0;
    int nx = 1, ny = 1;
    double angle = 0;
    bool mirror = false, flip = false;
};

bool get_step_repeat(const std::string& job, const std::string& step, std::vector<step_repeat_row>& rows,
                     std::string& error);
// Replaces the table; the step is made (with every layer of the matrix) when
// the job lacks it. Rows must name other steps of the job, counts at least 1,
// and no step may end up nested in itself.
bool set_step_repeat(const std::string& job, const std::string& step, const std::vector<step_repeat_row>& rows,
                     std::string& error);

// A placed copy of a nested step, at any depth, numbered from 1.
struct step_instance_info {
    int index = 0;
    std::string step;
    int row = 0, depth = 1;
    double x = 0, y = 0;        // where its datum stands
    double angle = 0;
    bool mirror = false, flip = false;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0; // its placed profile's extent
};
bool get_all_step_repeat_steps(const std::string& job, const std::string& step, std::vector<step_instance_info>& out,
                               std::string& error);

// Copies the selected features of each layer into an nx x ny array, dx and
// dy apart (the originals are element 0,0). Answers the copies made.
int do_step_and_repeat(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int nx,
                       int ny, double dx, double dy, std::string& error);

bool set_step_profile(const std::string& job, const std::string& step, double xmin, double ymin, double xmax,
                      double ymax, std::string& error);
// The margins of the panel: the borders between its profile and the area
// boards may take.
struct panel_margins {
    double left = 0, right = 0, bottom = 0, top = 0;
};
bool set_panel_margin(const std::string& job, const std::string& step, const panel_margins& margins, std::string& error);
bool get_panel_margin(const std::string& job, const std::string& step, panel_margins& margins, std::string& error);
bool set_datum_point(const std::string& job, const std::string& step, double x, double y, std::string& error);

// Automatic panelisation.
struct panel_request {
    double board_width = 0, board_height = 0;
    double panel_width = 0, panel_height = 0;
    panel_margins margins;
    double spacing_x = 0, spacing_y = 0;
    std::vector<double> angles{0};
};
struct panel_board {
    double x = 0, y = 0;          // lower left corner of the board's extent
    double width = 0, height = 0; // that extent
    double angle = 0;
};
struct panel_plan {
    int count = 0;
    double used_width = 0, used_height = 0;
    double utilisation = 0, used_utilisation = 0;
    std::vector<panel_board> boards;
};
bool SR_Automatic(const panel_request& request, panel_plan& plan, std::string& error);
// Plans the panel for the profile of `child` (its extent gives the board
// size) and makes `step` that panel: profile, margins, datum at (0,0) and the
// step-and-repeat table.
bool auto_set_step_repeat(const std::string& job, const std::string& step, const std::string& child,
                          panel_request request, panel_plan& plan, std::string& error);

// Coupons.
struct coupon_slot {
    double x = 0, y = 0, angle = 0;
    std::string side;
};
bool get_sr_coupon_plan(const std::string& job, const std::string& step, double width, double height, int count,
                        double clearance, std::vector<coupon_slot>& slots, std::string& error);

struct coupon_drill {
    int index = 0;              // the hole's position in the drill layer
    double x = 0, y = 0, size = 0;
    bool signal = false;        // on the end of a test line
    int line = -1;              // that line's position in the signal layer
    int ground = -1;            // signal holes: the nearest ground hole
    double pitch = 0;           // and the distance to it (the probe pitch)
};
bool get_coupon_single_end_drill_positions(const std::string& job, const std::string& step,
                                           const std::string& drill_layer, const std::string& signal_layer,
                                           std::vector<coupon_drill>& drills, std::string& error);
struct coupon_line {
    int index = 0;
    double width = 0, length = 0;
    int start_drill = -1, end_drill = -1;
    double xs = 0, ys = 0, xe = 0, ye = 0;
};
bool get_coupon_drill_line_relations(const std::string& job, const std::string& step, const std::string& drill_layer,
                                     const std::string& signal_layer, std::vector<coupon_line>& lines,
                                     std::string& error);

// What each step is for: "panel" (repeats others and is repeated by none),
// "sub-panel", "board" (repeated, repeats none) or "single".
struct step_role {
    std::string name;
    int index = 0;              // matrix column, from 1
    std::string role;
    int instances = 0;          // placed copies in all panels
};
bool get_cam_guide_step_index(const std::string& job, std::vector<step_role>& steps, int& panel_index,
                              int& board_index, std::string& error);

struct panel_summary {
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0; // the profile's extent
    panel_margins margins;
    double datum_x = 0, datum_y = 0;
    int boards = 0;
    std::map<std::string, int> per_step;
    double utilisation = 0;     // placed profile area over the panel's
    bool inside = true, overlap = false;
};
bool get_cam_automatic(const std::string& job, const std::string& step, panel_summary& summary, std::string& error);

struct box_judgement {
    bool inside = true, overlap = false;
    std::vector<std::string> problems;
};
bool judge_box_and_childstepbox(const std::string& job, const std::string& step, box_judgement& judgement,
                                std::string& error);

// Drawings on a layer of the panel (made when the matrix lacks it); each
// answers the features added, -1 on failure.
int run_map(const std::string& job, const std::string& step, const std::string& layer, double text_height,
            double line_width, std::string& error);
int run_edge(const std::string& job, const std::string& step, const std::string& layer, double clearance,
             std::string& error);
int add_sub_jobname_arrow(const std::string& job, const std::string& step, const std::string& layer,
                          double text_height, std::string& error);
int panel_banding(const std::string& job, const std::vector<std::string>& layers, double dot, double pitch,
                  double clearance, std::string& error);

// Per placed copy, the features it brings to each layer.
struct feature_map_entry {
    int index = 0;
    std::string step;
    double x = 0, y = 0, angle = 0;
    bool flip = false;
    std::map<std::string, int> features;
};
bool init_varno_fpcdouble_featuremap(const std::string& job, const std::string& step,
                                     const std::vector<std::string>& layers, std::vector<feature_map_entry>& map,
                                     std::string& error);

} // namespace API
} // namespace KESTO
