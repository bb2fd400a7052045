// Board nets of a step: which copper features and drilled holes are one
// conductor. Copper is joined where it overlaps on a signal layer (after
// negative features and negative planes have cut it), and between layers
// through plated holes and vias that meet copper on the layers they span.
#pragma once
#include "engine/api/progress.h"
#include "engine/geometry/layer_index.h"
#include "engine/model/model.h"

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

namespace kesto::drc {

// Copper closer than this counts as joined: the chord bound of outlines.
// Where negative features cut a pair, the copper left must overlap.
constexpr Coord kJoinGap = 1000;

struct BoardNets {
    // The board's copper layers, then its drill layers, in matrix order.
    std::vector<std::string> copper, drills;
    // Per layer name, per feature position: its net, or -1 when it carries
    // no copper (erased by negatives, texts of a drill layer, ...). A plated
    // hole that meets no copper is a net of its own; a non-plated hole joins
    // nothing and carries the net of the first copper it is drilled through.
    std::map<std::string, std::vector<std::int32_t>> net_of;
    std::int32_t count = 0;
    std::uint64_t fingerprint = 0;
    // The R-trees built on the way, kept for clicks on the same layers.
    std::map<std::string, std::shared_ptr<const geom::LayerIndex>> index;

    std::int32_t net(const std::string& layer, std::size_t feature) const;
};

// Computes the nets of a step afresh. The progress reporter counts layers.
BoardNets compute_board_nets(Job& job, Step& step, KESTO::COMMON::progress_value<int>* progress = nullptr);

// A digest of everything the nets depend on: the matrix rows, the profile,
// and every feature, symbol, surface, text and attribute of the board's
// copper and drill layers. Any edit of those changes it.
std::uint64_t nets_fingerprint(const Job& job, const Step& step);

// The nets of a step, computed when not known yet or when the step changed
// since (by its fingerprint).
std::shared_ptr<const BoardNets> board_nets(Job& job, Step& step,
                                            KESTO::COMMON::progress_value<int>* progress = nullptr);
// The nets kept for a step, or nullptr; never computes.
std::shared_ptr<const BoardNets> kept_board_nets(const std::string& job, const std::string& step);
// Drops the nets kept for a step, or for every step of the job when `step`
// is empty. The number dropped.
int forget_board_nets(const std::string& job, const std::string& step);

} // namespace kesto::drc
