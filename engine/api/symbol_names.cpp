#include "engine/api/symbol_names.h"

#include "engine/api/units.h"
#include "engine/formats/odb/symbols.h"

namespace KESTO {
namespace API {

kesto::Symbol symbol_from_working_name(const std::string& name)
{
    return kesto::odb::parse_symbol_name(name, working_unit());
}

std::string working_symbol_name(const kesto::Symbol& symbol)
{
    if (symbol.family == kesto::SymbolFamily::Unknown || symbol.family == kesto::SymbolFamily::User)
        return symbol.name;
    // Written afresh from the sizes, so the layer's file unit never shows.
    return kesto::odb::standard_symbol_name(symbol, working_unit());
}

} // namespace API
} // namespace KESTO
