// The step's profile: the board's outer edge, read, made and drawn.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// One edge of a profile contour, in the working unit: straight to (x, y),
// or an arc to (x, y) about (xc, yc).
struct profile_segment {
    double x = 0, y = 0;
    bool arc = false;
    double xc = 0, yc = 0;
    bool cw = false;
};
struct profile_contour {
    bool island = true;
    double x = 0, y = 0; // the start
    std::vector<profile_segment> segments;
};
struct profile_shape {
    bool exists = false;
    std::vector<profile_contour> contours;
    double area = 0; // working unit squared
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
};

bool has_profile(const std::string& job, const std::string& step, bool& has);
bool get_profile(const std::string& job, const std::string& step, profile_shape& out);

// The profile becomes the outer edge of the layer's selected features (all
// of them when none is selected): the largest island of their union. When
// those features are all lines and arcs of one round symbol (an outline
// drawn as strokes), the profile follows their centre line instead.
bool create_profile(const std::string& job, const std::string& step, const std::string& layer);
// The profile becomes a rectangle (working unit).
bool create_profile(const std::string& job, const std::string& step, double xmin, double ymin, double xmax,
                    double ymax);

// Draws the profile's edges into the layer as lines and arcs of a round
// symbol `width` wide (working unit); answers how many were added.
bool profile_to_outerline(const std::string& job, const std::string& step, const std::string& layer, double width,
                          int& added);

// Fills the layer (made as a MISC row at the end of the matrix when the
// job lacks it) with a surface covering the step's profile less the
// profiles of its step-and-repeat copies, each grown by `margin` (working
// unit): the panel frame between the boards. Undoable for a layer that
// existed; answers the frame's area (working unit squared).
bool create_layer_between_profile(const std::string& job, const std::string& step, const std::string& layer,
                                  double margin, double& area);

// Highlights the layer's features that reach outside the profile; answers
// how many.
bool highlight_reference_profile(const std::string& job, const std::string& step, const std::string& layer,
                                 int& count);

} // namespace API
} // namespace KESTO
