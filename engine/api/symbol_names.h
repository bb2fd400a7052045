// Symbol names as hosts read and write them: sizes in the working unit
// whatever the unit of the layer's file ("r77" is 77 um in an mm session, on
// an inch layer too). Names of no standard family (user symbols) pass
// unchanged. Every request that names a symbol and every reply that carries
// one goes through these two.
#pragma once
#include "engine/model/model.h"

#include <string>

namespace KESTO {
namespace API {

kesto::Symbol symbol_from_working_name(const std::string& name);
std::string working_symbol_name(const kesto::Symbol& symbol);

} // namespace API
} // namespace KESTO
