// Board nets as the net commands reach them: compute and drop the nets of a
// step, list the nets of a layer, and select the net under a click.
//
// The nets of a step are the whole board's (every copper layer joined through
// its plated holes), kept until the step changes; see engine/drc/nets.h.
#pragma once
#include "engine/api/records.h"

#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Computes (or finds up to date) the nets of a step. `per_layer` gets, for
// each board copper and drill layer, the number of nets that have features
// on it; `net_count` the number of nets of the board. False when the job or
// step is not open, or a layer asked for in `layers` is no copper or drill
// layer of the board (an empty list asks for all).
bool calculate_layer_net(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                         std::map<std::string, int>& per_layer, int& net_count);

// Drops the nets kept for a step, or for every step of the job when `step` is
// empty; the number of steps whose nets went.
int clear_layer_net(const std::string& job, const std::string& step);

// One net as it shows on a layer.
struct layer_net {
    int net = 0;
    std::string name;               // the .net_name attribute its features carry, or ""
    std::vector<int> features;      // positions on the layer
    std::vector<std::string> layers; // every layer the net reaches, in matrix order
};

// The nets of a layer, in net order, and the positions of its features that
// carry no copper (negative features, features erased by later negatives).
bool classify_layer_net(const std::string& job, const std::string& step, const std::string& layer,
                        std::vector<layer_net>& nets, std::vector<int>& no_net);

// Selects the features of the net under the first point (the last feature
// drawn there that is on a net) on `layer` and on each of `dest_layers`.
// False when nothing of a net is under the point.
bool select_features_by_net(const std::string& job, const std::string& step, const std::string& layer,
                            const std::vector<std::string>& dest_layers, const std::vector<point>& points);

} // namespace API
} // namespace KESTO
