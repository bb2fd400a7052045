// Jobs in the database: each store of a job adds a revision that holds the
// whole job as one archive, written in one transaction, so a store that
// dies part-way leaves the earlier revisions exactly as they were.
#pragma once
#include "engine/db/database.h"

#include <optional>
#include <string>
#include <vector>

namespace kesto::db {

struct JobEntry {
    long long id = 0;
    std::string name;
    int latest_revision = 0;
};

struct StoredJob {
    long long id = 0;
    std::string name;
    int revision = 0;
    std::string archive;
};

// Registers a job with no revision yet; its id, or 0 when the name is taken.
long long register_job(Database& db, const std::string& name, long long user);

// Stores `archive` as the next revision of the job `name` (registering the
// job on its first store) and, with a robot version, queues that revision
// for the automation host. Returns the revision number.
int store_revision(Database& db, const std::string& name, const std::string& archive, long long user,
                   const std::optional<std::string>& robot_version = std::nullopt);

// The latest revision of a job: by id when `id` > 0 (and then `name`, when
// given, must be its name), else by name. Nothing when there is no such job
// or it has no revision yet.
std::optional<StoredJob> latest_revision(Database& db, long long id, const std::string& name);

std::vector<JobEntry> list_jobs(Database& db);
// The id of the job called `name`, 0 when there is none.
long long job_id(Database& db, const std::string& name);

// The configured database: a PostgreSQL server when `conninfo` is given,
// else the SQLite file kSqliteFile in `folder` (made when missing). The
// schema is brought up to date before it is handed out.
constexpr const char* kSqliteFile = "kesto_jobs.sqlite";
std::unique_ptr<Database> connect(const std::string& folder, const std::string& conninfo);

} // namespace kesto::db
