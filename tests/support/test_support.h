// Helpers shared by the test programs.
#pragma once
#include <functional>
#include <string>

namespace kesto::test {

// A fresh directory under the system's temporary directory, removed when the
// object goes.
class TempDir {
public:
    TempDir();
    ~TempDir();
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

// Runs `body` in a forked child whose working directory is `dir`, so that
// process-wide state (logging, configuration, command tables) starts fresh.
// Assertion failures inside the body fail the calling test.
void in_fresh_process(const std::string& dir, const std::function<void()>& body);

std::string read_file(const std::string& path);
void write_file(const std::string& path, const std::string& text);

// All files in `dir` whose names start with `prefix`.
std::string read_logs(const std::string& dir, const std::string& prefix);

} // namespace kesto::test
