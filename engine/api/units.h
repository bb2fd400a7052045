// The working unit: the unit of real-valued coordinates and sizes that cross
// the API (engine integer units are nanometres). Millimetre unless a unit
// command chose inch.
#pragma once
#include "engine/model/model.h"

namespace KESTO {
namespace API {

void set_working_unit(kesto::Units units);
kesto::Units working_unit();
bool working_unit_is_inch();
double to_working_unit(long long nm);
// Throws std::out_of_range for a value beyond +-10 m (engine/model/limits.h).
long long from_working_unit(double value);
// The same refusal for a length that stays in the working unit.
void check_working_length(double value);

} // namespace API
} // namespace KESTO
