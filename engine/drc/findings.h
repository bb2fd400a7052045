// The one place findings are written: a feature described as hosts see it,
// markers, and the level a measured value falls in. Every rule of every
// check family hands its findings to a Findings collector, which numbers
// them and sorts them into items and levels.
#pragma once
#include "engine/drc/check_records.h"
#include "engine/model/model.h"

#include <array>
#include <map>
#include <string>
#include <vector>

namespace kesto::drc {

// The feature at `index` of a layer as a finding names it; lengths divided
// by `nm_per_unit` (1e6 writes millimetres).
KESTO::API::featureInfo describe_feature(const Layer& layer, const std::string& layer_name, std::uint32_t index,
                                         double nm_per_unit);

// Per check item the red, yellow and green limits in nanometres.
using LevelLimits = std::map<int, std::array<Coord, 3>>;

// Level 1 (worst) to 4 of a measured value, smaller values being worse: at or
// below red 1, at or below yellow 2, at or below green 3, above 4. An item the
// caller gave no limits for gives `unlimited`.
int level_of(const LevelLimits& limits, int item, Coord value, int unlimited = 1);

// A marker in nanometres; written in the working unit.
struct Marker {
    int shape = KESTO::API::MarkerPoint;
    std::vector<Coord> numbers;  // in the order check_records.h gives per shape
};
Marker segment_marker(Point a, Point b, Coord distance);
Marker circle_marker(Point centre, Coord diameter);
Marker line_marker(Point a, Point b, Coord width);
Marker rect_marker(const Box& box);
Marker point_marker(Point p);

struct FeatureRef {
    const Layer* layer;
    const std::string* layer_name;
    std::uint32_t index;
};

// The findings of one layer, by item and level.
class Findings {
public:
    Findings(std::string layer, const LevelLimits& limits) : layer_(std::move(layer)), limits_(limits) {}

    // One finding of `item` measuring `value` nanometres.
    void add(int item, Coord value, const Marker& marker, std::initializer_list<FeatureRef> features);
    std::size_t size() const { return count_; }
    const std::string& layer() const { return layer_; }

    // The result per item, findings numbered through their levels from 1 and
    // each level sorted by measured value (worst first) when `sorted`.
    std::map<int, KESTO::API::signal_check_result> take(bool sorted);

private:
    std::string layer_;
    const LevelLimits& limits_;
    std::map<int, std::array<std::vector<KESTO::API::check_info>, 4>> items_;
    std::size_t count_ = 0;
};

} // namespace kesto::drc
