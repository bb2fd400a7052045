// Manufacturing-rule check of copper layers against the job's rule set: the
// spacing matrix of the DFM rule settings (a minimum gap per pair of feature
// kinds, kept apart for outer and inner layers). Separate copper shapes
// closer than their pair's minimum cannot be etched apart reliably,
// whatever nets they carry, so the check needs no board nets.
#pragma once
#include "engine/api/dfm_rules.h"
#include "engine/drc/check_records.h"
#include "engine/model/model.h"

#include <vector>

#include <map>
#include <string>

namespace kesto::drc {

// Findings per rule ("<column>-<row>" as the matrix names the cell) for one
// layer of a step, each finding a segment across the gap; `nm_per_unit`
// converts the cells' values (working unit) to nanometres. A cell may name
// "pad" (pads not marked .smd), "smd", "line", "arc", "surface" or "text"
// (texts and barcodes); cells naming other kinds are listed in `unknown`.
// The copper is the layer's copper pieces as the signal rules see them:
// each positive feature less the negative features drawn over it.
std::map<std::string, KESTO::API::mrc_check_result> mrc_spacing(Job& job, Step& step, const std::string& layer_name,
                                                                const KESTO::API::dfm_relationship& rules,
                                                                double nm_per_unit, std::vector<std::string>& unknown);

} // namespace kesto::drc
