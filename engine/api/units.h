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
long long from_working_unit(double value);

} // namespace API
} // namespace KESTO
