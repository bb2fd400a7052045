// Picking features on a layer: by a click (one point, with a margin), by a
// box (two corners) or by a polygon (three or more corners), narrowed by a
// feature template and by the selection filter. Points are in engine units
// (nanometres); margins and returned coordinates in the working unit.
#pragma once
#include "engine/api/feature_info.h"
#include "engine/api/records.h"

#include <string>
#include <utility>
#include <vector>

namespace KESTO {
namespace API {

using Points = std::vector<point>;

// The area two or more points outline: a box from two corners, else the
// polygon through them.
std::vector<std::pair<long long, long long>> area_corners(const Points& points);

// A click picks the topmost feature under it; a box or polygon picks every
// feature it catches (inside it, or touching it when the selection options
// say so). `all` lets a click pick every feature under it. `clear` empties
// the selection first. Answers what was done, e.g. "2 features selected".
std::string select_multi_features(const std::string& job, const std::string& step, const std::string& layer,
                                  const Points& points, featureInfo& pattern, double margin, bool clear, bool all);
std::string select_features(const std::string& job, const std::string& step, const std::string& layer,
                            const Points& points, featureInfo& pattern, double margin, bool clear);
void unselect_multi_features(const std::string& job, const std::string& step, const std::string& layer,
                             const Points& points, featureInfo& pattern, double margin, bool clear);
void unselect_features(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                       featureInfo& pattern, double margin);
// `on`: highlight (or take the highlight away); `clear`: drop other highlights first.
void highlight_features(const std::string& job, const std::string& step, const std::string& layer,
                        const Points& points, featureInfo& pattern, double margin, bool on, bool clear);
void highlight_multi_features(const std::string& job, const std::string& step, const std::string& layer,
                              const Points& points, featureInfo& pattern, double margin, bool on, bool clear);
// Unselects and unhighlights what the points catch.
void clear_clicked_feature_status(const std::string& job, const std::string& step, const std::string& layer,
                                  const Points& points);
// The topmost feature the points catch whose type is in `type_mask`; false
// and `out` untouched when there is none.
bool get_feature_info(const std::string& job, const std::string& step, const std::string& layer,
                      const Points& points, featureInfo& out, int type_mask);
// A point of the clicked feature: pointtype 0 its centre, 1 its start, 2 its
// end, 3 the point of its outline nearest the click. selecttype 0 picks the
// topmost feature, 1 the nearest one.
bool get_feature_point(const std::string& job, const std::string& step, const std::string& layer,
                       const Points& points, double& x, double& y, int pointtype, int selecttype);
// The closest points of two features (by position in their layers).
bool get_feature_dis_point(const std::string& job, const std::string& step, const std::string& layer1, int index1,
                           const std::string& layer2, int index2, double& x1, double& y1, double& x2, double& y2);
// Whether the click (a circle of `diameter` engine units) catches a feature,
// whether that feature is selected, and its position.
bool is_selected(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                 int diameter, bool& hit, bool& selected, int& position, int selecttype);
// The selected features: their count and feature records, or their descriptions.
void get_selected_feature_info(const std::string& job, const std::string& step, const std::string& layer, int& count,
                               std::vector<std::string>& records);
void get_selected_feature_info(const std::string& job, const std::string& step, const std::string& layer,
                               std::vector<featureInfo>& features);
// Every feature with the symbol of the clicked one.
void select_features_by_symbol(const std::string& job, const std::string& step, const std::string& layer,
                               const Points& points, bool clear);
void unselect_features_by_symbol(const std::string& job, const std::string& step, const std::string& layer,
                                 const Points& points);
// Every feature the open polyline through the points crosses.
void select_polyline(const std::string& job, const std::string& step, const std::string& layer, const Points& points);
void unselect_polyline(const std::string& job, const std::string& step, const std::string& layer, const Points& points);
// The chain of lines and arcs joined end to end through the clicked one.
void select_connect_line(const std::string& job, const std::string& step, const std::string& layer,
                         const Points& points, const featureInfo& pattern);
// mode 0 selects every feature, 1 clears the selection, 2 inverts it,
// 3 selects the highlighted features.
void select_by_mode(const std::string& job, const std::string& step, const std::string& layer, int mode);
// Every feature that matches the description: its type and symbol when
// given, and its position when given (within a micron).
void select_feature_by_info(const std::string& job, const std::string& step, const std::string& layer,
                            const featureInfo& info);

} // namespace API
} // namespace KESTO
