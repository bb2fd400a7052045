// Questions a viewer asks about a step's layers: their extents and symbols.
#pragma once
#include "engine/api/display.h"
#include "engine/api/pick.h"
#include "engine/api/selection.h"

#include <string>
#include <vector>

namespace KESTO {
namespace API {

// The extent of the features of the layers (engine units); false when a
// name is unknown or the layers hold nothing.
bool layer_box(const std::string& job, const std::string& step, const std::vector<std::string>& layers, reply_box& box);
// The extent of every layer of the step, in the working unit.
bool bbox(const std::string& job, const std::string& step, double& xmin, double& ymin, double& xmax, double& ymax);
// The symbols the features of a layer use, in the order of its symbol table.
bool get_symbols(const std::string& job, const std::string& step, const std::string& layer,
                 std::vector<std::string>& names);
// The symbols of several layers, each name once, in order of first use.
bool get_layer_symbol_list(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                           std::vector<std::string>& names);
// The symbol of the topmost feature the points catch.
bool get_symbol_name(const std::string& job, const std::string& step, const std::string& layer, const Points& points,
                     std::string& name);
// The names of the open jobs.
std::vector<std::string> open_job_names();
// The job's user-defined symbols.
bool get_special_symbol_names(const std::string& job, std::vector<std::string>& names);
// A symbol alone on the canvas, filling it: a standard name (in the working
// unit's sizes) or a user symbol of the job, turned and mirrored as asked.
bool draw_symbol(const std::string& job, int symbol_type, const std::string& symbol, const color& colour, int angle,
                 bool mirror);

} // namespace API
} // namespace KESTO
