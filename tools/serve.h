// kesto serve: the viewer's HTTP server (tools/serve.cpp).
#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace kesto::serve {

// Runs the server until it is stopped; `start` starts the library in the
// configuration folder given.
int run(const std::vector<std::string>& args, std::string config_dir,
        const std::function<bool(const std::string&)>& start);

// The real location of `asked` inside one of `roots` (canonical folders), or
// an empty path when it resolves outside all of them.
std::filesystem::path confine(const std::string& asked, const std::vector<std::filesystem::path>& roots);

} // namespace kesto::serve
