// The roles of a job's layers in its stack, and clearing what a session
// left on a step's layers.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// The copper layers nearest a layer in the matrix: the copper row above
// it and the one below (empty at either end), and of those the nearer (the
// one above on a tie, so a top mask finds the top copper). A copper layer's
// neighbours are the copper rows next to it.
struct near_signal {
    std::string above, below, nearest;
};
bool near_signal_layers(const std::string& job, const std::string& layer, near_signal& out);

// Clears the selection and the highlight of every layer of the step;
// answers how many features were cleared.
bool clear_all_options(const std::string& job, const std::string& step, int& cleared);

// The features of several layers whose outline comes within `margin` of a
// point (working unit), topmost first on each layer.
struct feature_at {
    std::string layer;
    int index = 0;
    std::string kind;   // line, pad, arc, surface, text, barcode
    std::string symbol; // empty for surfaces and texts
    bool positive = true;
};
bool features_at_point(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                       double x, double y, double margin, std::vector<feature_at>& out);

// SMD pads (those carrying the .smd attribute, BGA balls included) that
// have exactly one drilled hole inside them: via-in-pad to fill and cap.
struct pad_with_hole {
    int index = 0;       // the pad's position in the copper layer
    int hole = 0;        // the hole's position in the drill layer
    double x = 0, y = 0; // the hole's centre
    double drill = 0;
};
bool smd_with_one_drill(const std::string& job, const std::string& step, const std::string& layer,
                        const std::string& drill, std::string& drill_used, std::vector<pad_with_hole>& out);

} // namespace API
} // namespace KESTO
