#include "engine/config/configuration.h"

#include <glog/logging.h>
#include <json/json.h>

#include <filesystem>
#include <fstream>
#include <list>
#include <sstream>

namespace KESTO {
namespace {

const char* const kDefaultLogPath = "./log";
const char* const kDefaultPass = "OK";
const char* const kDefaultError = "ERROR";
const char* const kDefaultJobLibrary = "./jobs";

// Verdict texts are handed to hosts as raw pointers that must stay valid for
// the life of the process, so every text ever used is kept.
char* intern(const std::string& text)
{
    static std::list<std::string> texts;
    for (auto& t : texts)
        if (t == text) return t.data();
    texts.push_back(text);
    return texts.back().data();
}

} // namespace

configuration::configuration()
    : log_path_(kDefaultLogPath), job_library_(kDefaultJobLibrary),
      pass_(intern(kDefaultPass)), error_(intern(kDefaultError))
{
}

bool configuration::load(const std::string& path)
{
    loaded = false;
    ready = false;
    std::ifstream in(path, std::ios::binary);
    if (!in) return false;
    std::stringstream text;
    text << in.rdbuf();
    Json::Value root;
    Json::CharReaderBuilder builder;
    std::string errors;
    std::istringstream source(text.str());
    if (!Json::parseFromStream(builder, source, &root, &errors) || !root.isObject()) return false;

    auto text_of = [&](const char* key, const std::string& fallback) {
        const Json::Value& v = root[key];
        return v.isString() ? v.asString() : fallback;
    };
    log_path_ = text_of("log_path", kDefaultLogPath);
    pass_ = intern(text_of("gmsg_pass", kDefaultPass));
    error_ = intern(text_of("gmsg_error", kDefaultError));
    job_library_ = text_of("job_library", kDefaultJobLibrary);
    resource_path_ = text_of("resource_path", "");
    jobdb_folder_ = text_of("jobdb_folder", "./jobdb");
    jobdb_connection_ = text_of("jobdb_connection", "");
    std::error_code ec;
    const std::filesystem::path where = std::filesystem::absolute(path, ec).parent_path();
    folder_ = ec ? std::string(".") : where.string();
    loaded = true;
    defaults_only = false;
    ready = log_path_handed_out_;
    return true;
}

std::string configuration::get_log_path()
{
    log_path_handed_out_ = true;
    ready = loaded;
    return log_path_;
}

configuration& configuration_instance::instance()
{
    static configuration* conf = new configuration();
    return *conf;
}

} // namespace KESTO

namespace Common {
namespace {
std::string& resource_dir()
{
    static std::string* dir = new std::string();
    return *dir;
}
} // namespace

bool init(int verbosity)
{
    if (verbosity < 0) return false;
    FLAGS_v = verbosity;
    return true;
}

void setPath(const std::string& dir) { resource_dir() = dir; }

const std::string& path()
{
    const std::string& dir = resource_dir();
    return dir.empty() ? KESTO::configuration_instance::instance().resource_path() : dir;
}

} // namespace Common
