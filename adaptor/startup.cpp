// Start-up: the configuration, the log set-up and the resource directory.
#include "adaptor/handler.h"
#include "engine/config/configuration.h"

#include <boost/filesystem.hpp>
#include <glog/logging.h>

#include <string>

namespace {

// Relative to the host's working directory, as hosts have always placed it.
const std::string g_config_file = "./config.json";

void write_failure(const char* data, size_t size) { LOG(ERROR) << std::string(data, size); }

void set_up_logging(const std::string& dir)
{
    boost::system::error_code ec;
    const auto status = boost::filesystem::status(dir, ec);
    if (ec || !boost::filesystem::exists(status)) boost::filesystem::create_directories(dir);

    google::InitGoogleLogging("");
    google::SetStderrLogging(google::GLOG_INFO);
    FLAGS_colorlogtostderr = true;
    google::SetLogDestination(google::GLOG_INFO, (dir + "/INFO_").c_str());
    google::SetLogDestination(google::GLOG_WARNING, (dir + "/WARNING_").c_str());
    google::SetLogDestination(google::GLOG_ERROR, (dir + "/ERROR_").c_str());
    google::SetLogDestination(google::GLOG_FATAL, (dir + "/FATAL_").c_str());
    FLAGS_logbufsecs = 0;
    FLAGS_max_log_size = 1024;
    FLAGS_stop_logging_if_full_disk = true;
    google::SetLogFilenameExtension(".txt");
    google::InstallFailureSignalHandler();
    google::InstallFailureWriter(&write_failure);
}

bool initialise_log()
{
    // The body runs once per process; a directory that cannot be made throws
    // to the host, and a later init tries again.
    static const bool done = [] {
        KESTO::configuration& conf = KESTO::configuration_instance::instance();
        const std::string dir = conf.get_log_path();
        if (!conf.log_initialised) {
            if (!dir.empty()) set_up_logging(dir);
            conf.log_initialised = true;
        }
        KESTO_INFO << "End initlog";
        return true;
    }();
    return done;
}

} // namespace

extern "C" KESTO_EXPORT bool init(void)
{
    KESTO::configuration& conf = KESTO::configuration_instance::instance();
    const bool loaded = conf.load(g_config_file);
    if (!conf.ready) initialise_log();
    return conf.ready && loaded;
}

extern "C" KESTO_EXPORT bool init_log(int value) { return Common::init(value); }

KESTO_HANDLER(set_config_path)
{
    using namespace kesto::adaptor;
    std::string path;
    try {
        KESTO_INFO << "Begin set_config_path parse";
        Json::Value root;
        if (parse_request(request, root)) {
            read_members(root["paras"], {{"path", path}});
            KESTO_INFO << "End set_config_path parse";
        }
    } catch (...) {
        return error();
    }
    Common::setPath(path);
    return pass();
}
