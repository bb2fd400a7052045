// The command tables and their dispatchers.
#pragma once
#include <map>
#include <string>

namespace kesto::adaptor {

using CommandHandler = char* (*)(const char* request);
using CommandTable = std::map<std::string, CommandHandler>;

// Filled by init_func_map, init_orig_func_map and (the joint table that
// process searches) init_orig_func_map again. Never cleared.
CommandTable& first_table();
CommandTable& second_table();
CommandTable& joint_table();

} // namespace kesto::adaptor
