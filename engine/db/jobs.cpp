#include "engine/db/jobs.h"

#include <boost/filesystem.hpp>

#include <ctime>

namespace kesto::db {
namespace {

long long now() { return static_cast<long long>(std::time(nullptr)); }

Param user_param(long long user) { return user > 0 ? Param(user) : Param(nullptr); }

} // namespace

long long register_job(Database& db, const std::string& name, long long user)
{
    Transaction tx(db);
    const auto rows = db.run("INSERT INTO jobs (name, created, created_by) VALUES (?, ?, ?)"
                             " ON CONFLICT (name) DO NOTHING RETURNING id",
                             {name, now(), user_param(user)});
    if (rows.empty()) return 0;
    tx.commit();
    return as_int(rows[0][0]);
}

int store_revision(Database& db, const std::string& name, const std::string& archive, long long user,
                   const std::optional<std::string>& robot_version)
{
    Transaction tx(db);
    db.run("INSERT INTO jobs (name, created, created_by) VALUES (?, ?, ?) ON CONFLICT (name) DO NOTHING",
           {name, now(), user_param(user)});
    // Taking the next number locks the job's row, so stores of one job from
    // several stations queue up here and number their revisions in turn.
    const auto next = db.run("UPDATE jobs SET latest_revision = latest_revision + 1 WHERE name = ?"
                             " RETURNING id, latest_revision",
                             {name});
    if (next.empty()) throw Error("job '" + name + "' vanished while it was stored");
    const long long id = as_int(next[0][0]);
    const long long revision = as_int(next[0][1]);
    db.run("INSERT INTO revisions (job_id, revision, stored, stored_by, archive, archive_size)"
           " VALUES (?, ?, ?, ?, ?, ?)",
           {id, revision, now(), user_param(user), Blob{archive}, static_cast<long long>(archive.size())});
    if (robot_version)
        db.run("INSERT INTO robot_queue (job_id, revision, robot_version, queued, queued_by) VALUES (?, ?, ?, ?, ?)",
               {id, revision, *robot_version, now(), user_param(user)});
    tx.commit();
    return static_cast<int>(revision);
}

std::optional<StoredJob> latest_revision(Database& db, long long id, const std::string& name)
{
    const auto jobs = id > 0 ? db.run("SELECT id, name, latest_revision FROM jobs WHERE id = ?", {id})
                             : db.run("SELECT id, name, latest_revision FROM jobs WHERE name = ?", {name});
    if (jobs.empty()) return std::nullopt;
    StoredJob job;
    job.id = as_int(jobs[0][0]);
    job.name = as_text(jobs[0][1]);
    if (!name.empty() && job.name != name) return std::nullopt;
    // The newest revision present: a store still under way has not committed
    // its row, so this is always a complete one.
    const auto rows = db.run("SELECT revision, archive FROM revisions WHERE job_id = ?"
                             " ORDER BY revision DESC LIMIT 1",
                             {job.id});
    if (rows.empty()) return std::nullopt;
    job.revision = static_cast<int>(as_int(rows[0][0]));
    job.archive = as_text(rows[0][1]);
    return job;
}

std::vector<JobEntry> list_jobs(Database& db)
{
    std::vector<JobEntry> out;
    for (const Row& row : db.run("SELECT id, name, latest_revision FROM jobs ORDER BY id"))
        out.push_back({as_int(row[0]), as_text(row[1]), static_cast<int>(as_int(row[2]))});
    return out;
}

long long job_id(Database& db, const std::string& name)
{
    const auto rows = db.run("SELECT id FROM jobs WHERE name = ?", {name});
    return rows.empty() ? 0 : as_int(rows[0][0]);
}

std::unique_ptr<Database> connect(const std::string& folder, const std::string& conninfo)
{
    std::unique_ptr<Database> db;
    if (!conninfo.empty()) {
        db = open_postgres(conninfo);
    } else {
        boost::system::error_code ec;
        boost::filesystem::create_directories(folder, ec);
        if (ec) throw Error(folder + ": " + ec.message());
        db = open_sqlite((boost::filesystem::path(folder) / kSqliteFile).string());
    }
    migrate(*db);
    return db;
}

} // namespace kesto::db
