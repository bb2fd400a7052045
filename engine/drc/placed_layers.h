// What a check sees of a step's layer. A board step is checked as it
// stands; a panel (a step whose step-and-repeat table places nested steps)
// is checked with every placed board's copy of the layer, so each board's
// findings come out at its placed position. The placed copies are built
// through the one flattening, edit::flattened_layer.
#pragma once
#include "engine/drc/nets.h"
#include "engine/model/model.h"

#include <deque>
#include <memory>
#include <string>

namespace kesto::drc {

// Flattened layers kept for the life of a check (a deque: their addresses
// stay put while more are added).
using PlacedLayers = std::deque<Layer>;

// The layer `name` of `step` as a check measures it: the step's own layer,
// or for a panel the flattened layer, kept in `keep`. nullptr when the step
// has no such layer and places nothing, or when its table is broken (the
// reason in `error` when given).
const Layer* checked_layer(Job& job, Step& step, const std::string& name, PlacedLayers& keep,
                           std::string* error = nullptr);

// The board nets of what a check sees: the step's own nets, or for a panel
// each placed board's nets, numbered apart from the other boards' (two boards
// never share a net), feature by feature in the order of the flattened
// layers. The panel's own features (margins, thieving) carry no net.
std::shared_ptr<const BoardNets> checked_nets(Job& job, Step& step);

} // namespace kesto::drc
