// Reports and measures of a step's features: counts, extents, centres, the
// smallest rotated box, spacing, annular rings and the figures a quotation
// uses. Lengths in the working unit, areas in its square.
#pragma once
#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

struct extent {
    bool empty = true;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
};

struct features_report_entry {
    std::string layer;
    int total = 0;
    int positive = 0, negative = 0;
    std::map<std::string, int> kinds;   // line, pad, arc, surface, text, barcode
    std::map<std::string, int> symbols; // by symbol name (features that use one)
    extent box;
};
// Counts of the layers' features (only the selected ones when asked).
bool features_report(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                     bool selected_only, std::vector<features_report_entry>& out);

// The extent of the layers' features (only the selected ones when asked).
bool features_box(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                  bool selected_only, extent& out);

// The centre of each selected feature: the point of a pad, text or barcode,
// the middle of a line, the middle of an arc's sweep, the centre of a
// surface's extent.
struct feature_centre {
    int index = 0;
    double x = 0, y = 0;
};
bool features_centres(const std::string& job, const std::string& step, const std::string& layer,
                      std::vector<feature_centre>& out);

// The smallest-area rectangle, at any angle, around the selected features.
struct rotated_box {
    double cx = 0, cy = 0;      // centre
    double width = 0, height = 0; // the longer side along `angle`, the shorter across it
    double angle = 0;           // degrees counter-clockwise from +x, in [0, 180)
    double corners[4][2] = {};
};
bool feature_rotated_box(const std::string& job, const std::string& step, const std::string& layer, rotated_box& out);

// Features of the layer the polygon (corners in the working unit) touches.
bool polygon_interacts(const std::string& job, const std::string& step, const std::string& layer,
                       const std::vector<std::pair<double, double>>& polygon, std::vector<int>& hits);

// The smallest edge-to-edge clearance between two selected features.
struct spacing {
    bool found = false;
    double distance = 0;
    int a = -1, b = -1;
    double ax = 0, ay = 0, bx = 0, by = 0;
};
bool selected_min_spacing(const std::string& job, const std::string& step, const std::string& layer, spacing& out);

// The copper left around each drilled hole on a layer: the distance from
// the hole's edge to the edge of the pad under its centre.
struct hole_ring {
    int index = 0; // the hole's position in the drill layer
    double x = 0, y = 0, drill = 0;
    bool has_pad = false;
    double ring = 0;
};
struct annular_rings {
    std::string drill_layer;
    std::vector<hole_ring> holes;
    double min_ring = 0; // over the holes that have a pad
    int without_pad = 0;
};
bool get_annular_ring(const std::string& job, const std::string& step, const std::string& layer,
                      const std::string& drill, annular_rings& out);

// The finest figures of a copper layer: its narrowest line or arc, its
// smallest pad (the shorter side of the pad's box) and the smallest
// clearance between copper of different nets, looked for up to
// `kToleranceReach` apart (farther is no constraint worth reporting).
struct layer_tolerance {
    double min_line = 0, min_pad = 0; // 0: the layer has none
    bool has_spacing = false;
    double min_spacing = 0;
    int a = -1, b = -1;               // the two features at that spacing
    double ax = 0, ay = 0, bx = 0, by = 0;
};
constexpr double kToleranceReachMm = 5;
bool get_min_tolerance(const std::string& job, const std::string& step, const std::string& layer,
                       layer_tolerance& out);

// The figures a quotation starts from.
struct quote_info {
    double width = 0, height = 0, area = 0; // the profile's box and area
    int copper_layers = 0;
    double min_line = 0;  // narrowest line or arc on a copper layer (0: none)
    double min_drill = 0; // smallest drilled hole (0: none)
    int holes = 0, slots = 0;
    double top_copper = 0, bottom_copper = 0; // copper areas inside the profile
    double top_rate = 0, bottom_rate = 0;
};
bool quote_price_info(const std::string& job, const std::string& step, quote_info& out);

} // namespace API
} // namespace KESTO
