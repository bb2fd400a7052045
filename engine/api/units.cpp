#include "engine/api/units.h"

#include "engine/model/limits.h"
#include "engine/store/store.h"

#include <cmath>

namespace KESTO {
namespace API {

void set_working_unit(kesto::Units units) { kesto::store::set_working_unit(units); }
kesto::Units working_unit() { return kesto::store::working_unit(); }
bool working_unit_is_inch() { return working_unit() == kesto::Units::Inch; }

double to_working_unit(long long nm)
{
    return static_cast<double>(nm) / (working_unit_is_inch() ? kesto::kNmPerInch : kesto::kNmPerMm);
}

// Every real length a host sends becomes nanometres here (or passes through
// here before it becomes feature text), so this is where values beyond what
// the engine holds are refused (std::out_of_range).
long long from_working_unit(double value)
{
    return kesto::checked_length(value * (working_unit_is_inch() ? kesto::kNmPerInch : kesto::kNmPerMm));
}

} // namespace API
} // namespace KESTO
