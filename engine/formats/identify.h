// Recognising input files from their content, as a CAM operator would at a
// glance: Gerber (RS-274X, with or without X2 attributes, or RS-274-D),
// Excellon drill and rout files, and ODB++ jobs (directories and archives).
#pragma once
#include "engine/api/exchange.h"

#include <string>

namespace kesto::formats {

// What the first part of a text file says about itself. `parameters.format`
// stays "None" for anything else.
KESTO::API::file_Parameters identify_text(const std::string& head);

// The same for a path: a directory, an archive or a text file.
KESTO::API::file_Parameters identify_path(const std::string& path);

} // namespace kesto::formats
