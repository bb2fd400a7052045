// kesto db: the administrator's side of the job database, outside the
// library's exports, so that no request can make a user.
//
//   kesto [--config DIR] db add-user NAME       password on standard input
//   kesto [--config DIR] db set-password NAME   a new password; lifts a lock
//   kesto [--config DIR] db jobs                the stored jobs, one a line
#include "engine/config/configuration.h"
#include "engine/db/jobs.h"
#include "engine/db/users.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <iostream>
#include <string>
#include <vector>

int db_admin(const std::string& config_dir, const std::vector<std::string>& args)
{
    const auto usage = [] {
        std::cerr << "usage: kesto [--config DIR] db add-user NAME    (the password is read from standard input)\n"
                     "       kesto [--config DIR] db set-password NAME\n"
                     "       kesto [--config DIR] db jobs\n";
        return 2;
    };
    if (args.empty()) return usage();
    if (!config_dir.empty() && chdir(config_dir.c_str()) != 0) {
        std::cerr << "kesto: cannot enter " << config_dir << ": " << std::strerror(errno) << "\n";
        return 1;
    }
    KESTO::configuration conf;
    if (!conf.load("config.json")) {
        std::cerr << "kesto: no readable config.json here\n";
        return 1;
    }
    try {
        auto db = kesto::db::connect(conf.jobdb_folder(), conf.jobdb_connection());
        if (args[0] == "jobs" && args.size() == 1) {
            for (const auto& job : kesto::db::list_jobs(*db))
                std::cout << job.id << "\t" << job.name << "\trevision " << job.latest_revision << "\n";
            return 0;
        }
        if ((args[0] == "add-user" || args[0] == "set-password") && args.size() == 2) {
            if (isatty(0)) std::cerr << "password for " << args[1] << ": " << std::flush;
            std::string password;
            std::getline(std::cin, password);
            std::string error;
            const bool done = args[0] == "add-user" ? kesto::db::create_user(*db, args[1], password, error)
                                                    : kesto::db::reset_password(*db, args[1], password, error);
            if (!done) {
                std::cerr << "kesto: " << error << "\n";
                return 1;
            }
            return 0;
        }
    } catch (const std::exception& e) {
        std::cerr << "kesto: the job database: " << e.what() << "\n";
        return 1;
    }
    return usage();
}
