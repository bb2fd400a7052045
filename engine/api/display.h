// The viewer's display parameters, the drawing colour and the canvas.
#pragma once
#include "engine/api/units.h"

#include <polyclipping/clipper.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Display switches. The JSON keys of hosts are the member names (see the
// adaptor); `display_widths` and `display_text` are set by their own commands.
struct show_param {
    int Units = 0; // 0 millimetre, 1 inch: also the working unit of real-valued coordinates
    int mode = 0;
    bool SR_features = true;
    bool negative_data = false;
    bool dynamic_test_value = false;
    bool drill_markers = false;
    bool zoom_to_cursor = false;
    bool profile = true;
    bool datum_and_origin = false;
    bool chains = false;
    bool compensation = false;
    bool dimensions = false;
    bool updata_feature_hist = false;
    bool updata_slot_hist = false;
    bool popview_mode = false;
    bool spacing_preview = false;
    int display_widths = 1; // 1 features at their widths, 0 centre lines only
    int display_text = 1;   // 1 texts shown, 0 hidden
};

struct color {
    int red = 0, green = 0, blue = 0, alpha = 255;
};

// An extent in engine integer units (nanometres).
struct reply_box {
    std::int64_t Xmin = 0, Xmax = 0, Ymin = 0, Ymax = 0;
};

void get_show_para(show_param& out);
void set_show_para(const show_param& param);

// Values outside 0..255 are kept as given and clamped only when drawing.
void set_draw_color(int red, int green, int blue, int alpha);
color get_draw_color();

// The canvas: a picture of part of a step, drawn layer by layer in the
// drawing colour and saved as PNG.
bool init_canvas(int width, int height);
void get_Canvas_Size(int& width, int& height);
// The window the canvas shows, in the working unit; the picture keeps its
// aspect ratio and centres the box.
void zoom_to_box(double xmin, double ymin, double xmax, double ymax);
// The canvas back to its background (black).
void clear_canvas();
// Draws a layer's features as a photoplotter exposes them: negative
// features clear what lies below them on the same layer.
bool draw_layer(const std::string& job, const std::string& step, const std::string& layer);
// The step's profile outline.
bool draw_profile(const std::string& job, const std::string& step);
// Only the selected features, or only those at the given positions.
bool draw_selected_features(const std::string& job, const std::string& step, const std::string& layer);
bool draw_specified_features(const std::string& job, const std::string& step, const std::string& layer,
                             const std::vector<int>& positions);
// The layer's texts and barcodes that read `text` (all of them when it is
// empty), in `colour`; false when there is none.
bool draw_text(const std::string& job, const std::string& step, const std::string& layer, const std::string& text,
               const color& colour);
bool save_img(const std::string& path);
// Fills closed paths (engine units, outers counter-clockwise) in the drawing colour.
bool draw_paths(const ClipperLib::Paths& paths);

} // namespace API
} // namespace KESTO
