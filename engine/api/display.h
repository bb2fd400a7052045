// The viewer's display parameters, the drawing colour and the canvas.
#pragma once
#include <string>

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
    long long Xmin = 0, Xmax = 0, Ymin = 0, Ymax = 0;
};

void get_show_para(show_param& out);
void set_show_para(const show_param& param);
bool working_unit_is_inch();
// Millimetres or inches of the working unit per nanometre and back.
double to_working_unit(long long nm);
long long from_working_unit(double value);

// Values outside 0..255 are kept as given and clamped only when drawing.
void set_draw_color(int red, int green, int blue, int alpha);
color get_draw_color();

bool init_canvas(int width, int height);
void get_Canvas_Size(int& width, int& height);

} // namespace API
} // namespace KESTO
