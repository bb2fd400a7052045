// For the commands whose requests name no job: the job they work on.
#pragma once
#include <string>

namespace kesto::adaptor {

// The one open job. With none, or several, open the command cannot know which
// job is meant: this throws, so the handler logs an ERROR and answers the
// error text instead of silently doing nothing.
std::string the_open_job();

} // namespace kesto::adaptor
