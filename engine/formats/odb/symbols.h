// Standard symbol names of ODB++ features files ("r10", "rect20x30xr5x14",
// "thr40x30x45x4x8"...): reading them into kesto::Symbol and writing them back.
#pragma once
#include "engine/model/model.h"

#include <string>
#include <string_view>

namespace kesto::odb {

// Parses a symbol name whose sizes are in `units` (mils for inch, microns for
// mm). A name of no standard family gives an Unknown symbol that keeps the
// name; resolve_user_symbols later turns it into a User symbol when the job
// defines one of that name.
Symbol parse_symbol_name(std::string_view name, Units units);

// The standard name of a symbol's parameters, sizes in `units`. Unknown and
// User symbols answer their name.
std::string standard_symbol_name(const Symbol& symbol, Units units);

// Marks every Unknown symbol of every layer (and of the user symbols
// themselves) whose name is a user symbol of the job as a User symbol.
void resolve_user_symbols(Job& job);

// A length in nanometres written in `per_unit` nanometres per unit with at
// most `decimals` decimals, trailing zeros dropped ("12.5", "3", "-0.0001").
std::string format_length(double nm, double per_unit, int decimals);

} // namespace kesto::odb
