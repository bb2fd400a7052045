// A feature as hosts see it: the description record of queries and reports,
// coordinates and sizes in the working unit.
#pragma once
#include "engine/api/feature_info.h"
#include "engine/geometry/outline.h"

#include <string>

namespace kesto::select {

KESTO::API::featureInfo describe(const Layer& layer, const std::string& layer_name, size_t position,
                                 const geom::OutlineContext& context);

} // namespace kesto::select
