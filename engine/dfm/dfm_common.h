// What the DFM operations share: finding the step and layers asked for,
// removing marked features, and their reports folded to three levels.
#pragma once
#include "engine/api/dfm_ops.h"
#include "engine/drc/capsules.h"
#include "engine/drc/findings.h"
#include "engine/geometry/geometry.h"
#include "engine/model/model.h"

#include <map>
#include <string>
#include <vector>

namespace kesto::dfm {

// Pads found non-functional but kept on request carry this attribute.
constexpr const char* kNfpAttribute = ".nfp";

struct Target {
    Job* job = nullptr;
    Step* step = nullptr;
    std::vector<std::string> layers; // as the matrix spells them, each once
};

// The job, step and layers of a request; false with an ERROR record naming
// `operation` when one is missing.
bool find_target(const char* operation, const std::string& job, const std::string& step,
                 const std::vector<std::string>& layers, Target& target);

// Removes the layer's features carrying the attribute, keeping the others'
// selection; how many went.
std::size_t delete_marked(Layer& layer, const char* attribute);

// Micrometre thresholds as the findings collector takes them (nanometres).
drc::LevelLimits limits_of(const KESTO::API::dfm_thresholds& ranges);

// Findings of one layer added to a three-level report: the fourth level (no
// limit reached) counts as the third.
template <class Item>
void merge_levels(const std::map<int, KESTO::API::signal_check_result>& layer,
                  std::map<Item, KESTO::API::level_result<3>>& report)
{
    for (const auto& [item, r] : layer) {
        auto& out = report[Item(item)];
        out.item = item;
        for (std::size_t l = 0; l < 4; ++l) {
            const std::size_t to = l < 3 ? l : 2;
            out.counts[to] += std::uint32_t(r.lv[l].size());
            out.lv[to].insert(out.lv[to].end(), r.lv[l].begin(), r.lv[l].end());
        }
    }
}

// Gap from a hole to an outline: negative when the hole's centre line lies in it.
Coord hole_gap(const geom::Paths& outline, const drc::Capsule& hole);

} // namespace kesto::dfm
