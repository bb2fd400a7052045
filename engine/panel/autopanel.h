// Automatic panelisation: the arrangement of one board on a panel that fits
// the most boards and, at equal count, keeps them in the smallest rectangle
// (the largest offcut: the panel can be trimmed to it).
//
// Arrangements are guillotine ones: the usable area (the panel less its
// margins) is cut straight across into two parts, each part again, down to
// single boards, boards `spacing` apart. Every board of a panel that is
// v-scored or routed in strips is arranged that way. The search is exact over
// all of them: cuts need only fall where whole footprints end, so the cut
// positions are the sums of footprint sizes, and a dynamic programme over
// those gives the best count of every sub-rectangle; the smallest rectangle
// that holds the best count is then found among the same sums.
#pragma once
#include "engine/model/model.h"

#include <vector>

namespace kesto::panel {

struct PanelRequest {
    Coord board_width = 0, board_height = 0;   // the board's extent at angle 0
    Coord panel_width = 0, panel_height = 0;
    Coord margin_left = 0, margin_right = 0, margin_bottom = 0, margin_top = 0;
    Coord spacing_x = 0, spacing_y = 0;        // gaps between neighbouring boards
    std::vector<double> angles{0};             // clockwise, degrees
};

struct PlacedBoard {
    Point corner;       // lower left corner of the board's extent on the panel
    double angle = 0;
    Coord width = 0, height = 0; // its extent at that angle
};

struct PanelPlan {
    int count = 0;
    Coord used_width = 0, used_height = 0;  // the rectangle the boards take
    double utilisation = 0;                 // board area / panel area
    double used_utilisation = 0;            // board area / (used rectangle with margins)
    std::vector<PlacedBoard> boards;
};

// False with `error` for sizes that are not positive or margins that leave
// no room; a panel that holds no board is a plan of count 0.
bool plan_panel(const PanelRequest& request, PanelPlan& plan, std::string& error);

// The extent of a w x h rectangle turned clockwise by `angle`.
void turned_extent(Coord w, Coord h, double angle, Coord& out_w, Coord& out_h);

} // namespace kesto::panel
