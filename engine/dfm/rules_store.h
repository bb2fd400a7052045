// Where the DFM rule settings live between sessions: one JSON file in the
// working folder (the folder of the configuration the library was started
// with), rewritten atomically on every change and read at first use.
#pragma once
#include "engine/api/dfm_rules.h"

#include <string>

namespace kesto::dfm {

enum Side { Outer = 0, Inner = 1 };

struct RuleSettings {
    KESTO::API::dfm_relationship relationship[2];
    KESTO::API::dfm_introduction introduction[2];
    std::string parameter;
};

// The file the settings persist in.
std::string rules_file();
// The settings of this session, read from rules_file() at first use. An
// unreadable file is moved aside (".unreadable") and the settings start empty.
RuleSettings& rules();
// Writes rules() to rules_file() atomically; false (and an ERROR record) when
// it cannot.
bool save_rules();
// Forgets the settings held, so the next use reads the file again.
void forget_rules();

std::string rules_text(const RuleSettings& settings);
// False (and `settings` untouched) when the text is not a settings document.
bool parse_rules(const std::string& text, RuleSettings& settings, std::string& error);

// The job file holding a job's own rule text.
constexpr const char* kJobRulesFile = "user/dfm_parameter";

} // namespace kesto::dfm
