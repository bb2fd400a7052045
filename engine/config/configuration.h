// The engine's configuration: where the log goes, the verdict texts every
// command answers with, and where the engine keeps its job library.
#pragma once
#include <string>

namespace KESTO {

class configuration {
public:
    // Reads a JSON configuration file; keys it does not hold keep their
    // defaults. Returns false when the file is missing or is not a JSON object.
    bool load(const std::string& path);

    // The host asks for the log directory when it sets up its logging, so the
    // engine counts itself ready once a loaded configuration has handed it out.
    std::string get_log_path();
    char* get_gmsg_pass() const { return pass_; }
    char* get_gmsg_error() const { return error_; }
    const std::string& job_library() const { return job_library_; }
    const std::string& resource_path() const { return resource_path_; }
    // The job database: a PostgreSQL connection string, or when empty a
    // SQLite file in the folder.
    const std::string& jobdb_folder() const { return jobdb_folder_; }
    const std::string& jobdb_connection() const { return jobdb_connection_; }
    // The folder of the configuration file last loaded (absolute), where the
    // engine keeps settings of its own; empty before any load.
    const std::string& folder() const { return folder_; }

    // The byte flags hosts read directly; their order is part of the interface.
    bool loaded = false;          // the last load succeeded
    bool defaults_only = true;    // no file has been read yet
    bool log_initialised = false; // set by the library once its log set-up ran
    bool ready = false;           // loaded, and the log path handed out

    configuration();

private:
    std::string log_path_;
    std::string job_library_;
    std::string resource_path_;
    std::string jobdb_folder_ = "./jobdb";
    std::string jobdb_connection_;
    std::string folder_;
    char* pass_;
    char* error_;
    bool log_path_handed_out_ = false;
};

struct configuration_instance {
    static configuration& instance();
};

} // namespace KESTO

// The common library: process-wide settings shared by the engine's modules.
namespace Common {
// Sets the engine's verbose log level (glog's -v); a negative level is refused.
bool init(int verbosity);
// The directory the engine reads its resources from (fonts, attribute
// definitions); an empty text restores the configuration's choice.
void setPath(const std::string& dir);
const std::string& path();
} // namespace Common
