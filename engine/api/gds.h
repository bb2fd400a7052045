// GDSII artwork into a layer.
#pragma once
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// Adds the flattened polygons of the GDSII file at `path` to the layer as
// positive surfaces (a layer the job lacks is made, as a document layer).
// The edit can be undone. False, changing nothing, when the job or step is
// not open or the file is no readable GDSII stream; `notes` says why, and
// what a successful read left out.
bool add_gds(const std::string& job, const std::string& step, const std::string& layer, const std::string& path,
             std::vector<std::string>& notes);

} // namespace API
} // namespace KESTO
