// Edits of features picked on the canvas rather than by the selection:
// deleting what a click or box catches, stretching, inverting, breaking and
// rerouting lines, moving the joint of two lines. Points are engine units
// (nanometres); the stretch coordinates are in the working unit.
#pragma once
#include "engine/api/pick.h"

#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Deletes the topmost feature under a click, or every feature a box or
// polygon holds, whose type is in `type_mask`, on each layer.
bool delete_clicked_features(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                             const Points& clickbox, int type_mask);
// The line at `position` takes new ends.
bool change_line(const std::string& job, const std::string& step, const std::string& layer, int position,
                 double start_x, double start_y, double end_x, double end_y);
// Inverts the polarity of the feature at `position` on each layer.
bool change_clicked_features_polarity(const std::string& job, const std::string& step,
                                      const std::vector<std::string>& layers, int position);
// points[0] picks a line; the others, projected onto it, are where it breaks.
bool break_line(const std::string& job, const std::string& step, const std::string& layer, const Points& points);
// points[0] picks a line; it is replaced by a route from its start through
// the other points to its end.
bool reroute_line(const std::string& job, const std::string& step, const std::string& layer, const Points& points);
// points[0] is a joint where line ends meet; every end there moves to points[1].
bool move_triplet(const std::string& job, const std::string& step, const std::string& layer, const Points& points);
// The narrowest line or arc of each layer of the job over all its steps, in
// the working unit (layers without lines are left out).
std::map<std::string, double> min_line_widths(const std::string& job);

} // namespace API
} // namespace KESTO
