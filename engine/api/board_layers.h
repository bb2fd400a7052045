// What the copper, profile and report operations share: finding a step and
// its layers by name, the roles of matrix rows (copper, mask, drill), the
// profile's outline and a layer's image. Internal to engine/api.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::board {

struct StepRef {
    Job* job = nullptr;
    Step* step = nullptr;
    const geom::OutlineContext* context = nullptr;
};

// The open job and its step; false, with an ERROR record naming `op` and
// what is missing, when either is unknown.
bool find(const std::string& job, const std::string& step, const char* op, StepRef& out);
// A layer of the step whatever the case of its name, or nullptr with an
// ERROR record.
Layer* layer(const StepRef& at, const std::string& name, const char* op);
const MatrixRow* row(const StepRef& at, const std::string& name);

bool is_copper(const MatrixRow& row);
// Copper rows of the board in matrix order.
std::vector<const MatrixRow*> copper_rows(const Job& job);
// Drill layers whose span takes in the layer (a drill row without a span
// goes through every layer).
std::vector<std::string> drills_through(const Job& job, const std::string& layer);
// The solder mask on the side of an outer copper layer: the nearest mask row
// above the first copper row, or below the last; empty for inner layers.
std::string mask_of(const Job& job, const std::string& layer);

// The step's profile as an outline; empty when it has none.
geom::Paths profile_outline(const Step& step);
// The layer as drawn in the step: for a panel, a flattened copy (made in
// `scratch`) holding its placed boards' features too; else the layer itself.
const Layer& drawn_layer(const StepRef& at, const Layer& layer, const MatrixRow& row, Layer& scratch);
// What a layer puts on the board: its features painted in drawing order,
// inverted within the profile for a negative matrix row.
geom::Paths layer_image(const StepRef& at, const Layer& layer, const MatrixRow& row);

// Square nanometres in the working unit squared.
double to_working_area(double nm2);

} // namespace kesto::board
