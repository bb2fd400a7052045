// Attribute names between the model and Gerber X2. X2 keeps names starting
// with '.' for its own standard attributes; the model's other dot names (the
// system attributes of job files, such as .pad_usage) are written as user
// attributes under the prefix "odb." and read back without it.
#pragma once
#include <string>

namespace kesto::gerber {

// The standard attributes of Gerber X2, written as they are.
bool standard_attribute(const std::string& name);

// The name to write for a model attribute name.
std::string x2_attribute_name(const std::string& name);
// The model attribute name of a name read from a file.
std::string model_attribute_name(const std::string& name);

// Attribute values as written: '%', '*', '\\' and control characters as
// \uXXXX escapes, so no value can end the command early. Reading undoes them
// (any \uXXXX, encoded as UTF-8).
std::string x2_attribute_value(const std::string& value);
std::string model_attribute_value(const std::string& value);

} // namespace kesto::gerber
