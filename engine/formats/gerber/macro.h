// Aperture macros: their definitions as read, and the shape of one instance.
#pragma once
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::gerber {

// One statement of a macro body: a primitive ("1,1,$1,0,0") or a variable
// assignment ("$4=$1x0.75"), kept as text and evaluated per instance.
struct MacroStatement {
    int variable = 0;                 // > 0: assigns $variable = expressions[0]
    std::vector<std::string> fields;  // primitive: code, then its modifiers
};

struct Macro {
    std::string name;
    std::vector<MacroStatement> statements;
};

// Splits a macro body (the text after the name, statements ending in '*').
// False with `error` set when a statement cannot be read.
bool parse_macro(const std::string& name, const std::string& body, Macro& macro, std::string& error);

// The value of an arithmetic expression of a macro ("$1x0.5+(2-$2)/3").
bool evaluate(const std::string& expression, const std::vector<double>& variables, double& value);

// The shape of the macro with these parameters, as surface features of a user
// symbol (exposure off: negative), lengths scaled by `unit` (nm per file
// unit). `primitives` receives the evaluated primitives, each ended by ';'
// ("7,0,0,5000000,...;", lengths in nm) so a writer can give them back
// exactly. False with `error` set for an unknown primitive or bad modifiers.
bool instantiate(const Macro& macro, std::vector<double> parameters, double unit, Layer& shape,
                 std::string& primitives, std::string& error);

// Whether modifier `index` (1-based, after the code) of primitive `code` with
// `vertices` outline vertices is a length.
bool primitive_length(int code, std::size_t index, long vertices);

} // namespace kesto::gerber
