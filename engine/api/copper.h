// Copper areas of a step's layers, exact from the union of their outlines
// (negative features and surfaces with holes included), for plating and
// surface-finish costing. Areas are in the working unit squared.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Which copper a figure counts.
enum class copper_view {
    plain,                  // the layer's image
    less_drills,            // less the holes of the drill layers through it
    under_mask,             // only where the solder mask opens
    under_mask_less_drills, // exposed by the mask, less the holes
};

struct copper_figures {
    std::string layer;
    double area = 0;       // the copper counted, wherever it lies
    double inside = 0;     // the part of it inside the profile
    double board_area = 0; // the profile's area (0 when the step has none)
    double rate = 0;       // inside / board_area (0 without a profile)
    std::string mask;      // the solder mask used by the exposed views
    std::vector<std::string> drills; // the drill layers taken away
};

// Copper figures of one layer of a step. `mask` names the solder mask for
// the exposed views; empty takes the mask on the layer's side (outer layers
// only). False, with an ERROR record, for unknown names or a layer that is
// not copper.
bool rest_copper(const std::string& job, const std::string& step, const std::string& layer, copper_view view,
                 copper_figures& out, const std::string& mask = "");

// The outer copper layers in matrix order: the first and the last copper
// rows of the board.
bool outer_copper_layers(const std::string& job, std::string& top, std::string& bottom);

// The area of the step's profile and its box, in the working unit.
struct board_square {
    double area = 0;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
};
bool total_square(const std::string& job, const std::string& step, board_square& out);

// The area each selected feature covers, and the area of their union, per layer.
struct selected_areas {
    std::string layer;
    std::vector<int> features;  // positions in the layer (0-based)
    std::vector<double> areas;  // each feature's own area
    double united = 0;          // their union: overlaps counted once
};
bool selected_feature_areas(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            std::vector<selected_areas>& out);

} // namespace API
} // namespace KESTO
