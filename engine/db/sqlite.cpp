#include "engine/db/database.h"

#include <sqlite3.h>

namespace kesto::db {
namespace {

// How long a statement waits for another station's write to finish.
constexpr int kBusyWaitMs = 60000;

class SqliteDatabase : public Database {
public:
    explicit SqliteDatabase(const std::string& file)
    {
        const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_FULLMUTEX;
        if (sqlite3_open_v2(file.c_str(), &db_, flags, nullptr) != SQLITE_OK) {
            const std::string why = db_ ? sqlite3_errmsg(db_) : "out of memory";
            sqlite3_close(db_);
            db_ = nullptr;
            throw Error(file + ": " + why);
        }
        sqlite3_busy_timeout(db_, kBusyWaitMs);
        // Write-ahead log: readers never block the writer, and a write killed
        // part-way is simply not there when the file is next opened. FULL
        // sync makes a committed revision survive a power cut too.
        run("PRAGMA journal_mode=WAL");
        run("PRAGMA synchronous=FULL");
        run("PRAGMA foreign_keys=ON");
    }
    ~SqliteDatabase() override { sqlite3_close(db_); }

    Backend backend() const override { return Backend::Sqlite; }

    std::vector<Row> run(const std::string& sql, const std::vector<Param>& params) override
    {
        sqlite3_stmt* stmt = nullptr;
        if (sqlite3_prepare_v2(db_, sql.c_str(), static_cast<int>(sql.size()), &stmt, nullptr) != SQLITE_OK)
            throw Error(sqlite3_errmsg(db_));
        std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> guard(stmt, sqlite3_finalize);
        if (static_cast<size_t>(sqlite3_bind_parameter_count(stmt)) != params.size())
            throw Error("statement expects " + std::to_string(sqlite3_bind_parameter_count(stmt)) + " values");
        for (size_t i = 0; i < params.size(); ++i) {
            const int at = static_cast<int>(i + 1);
            int rc = SQLITE_OK;
            if (auto* n = std::get_if<long long>(&params[i]))
                rc = sqlite3_bind_int64(stmt, at, *n);
            else if (auto* s = std::get_if<std::string>(&params[i]))
                rc = sqlite3_bind_text64(stmt, at, s->data(), s->size(), SQLITE_STATIC, SQLITE_UTF8);
            else if (auto* b = std::get_if<Blob>(&params[i]))
                rc = sqlite3_bind_blob64(stmt, at, b->bytes.data(), b->bytes.size(), SQLITE_STATIC);
            else
                rc = sqlite3_bind_null(stmt, at);
            if (rc != SQLITE_OK) throw Error(sqlite3_errmsg(db_));
        }
        std::vector<Row> rows;
        for (;;) {
            const int rc = sqlite3_step(stmt);
            if (rc == SQLITE_DONE) break;
            if (rc != SQLITE_ROW) throw Error(sqlite3_errmsg(db_));
            Row row(static_cast<size_t>(sqlite3_column_count(stmt)));
            for (int c = 0; c < sqlite3_column_count(stmt); ++c) {
                if (sqlite3_column_type(stmt, c) == SQLITE_NULL) continue;
                const void* data = sqlite3_column_blob(stmt, c);
                const int size = sqlite3_column_bytes(stmt, c);
                row[static_cast<size_t>(c)] = data ? std::string(static_cast<const char*>(data), size) : std::string();
            }
            rows.push_back(std::move(row));
        }
        return rows;
    }

    void begin() override { run("BEGIN IMMEDIATE"); }
    void commit() override { run("COMMIT"); }
    void rollback() override
    {
        if (!sqlite3_get_autocommit(db_)) run("ROLLBACK");
    }

private:
    using Database::run;
    std::vector<Row> run(const char* sql) { return run(std::string(sql), {}); }
    sqlite3* db_ = nullptr;
};

} // namespace

std::unique_ptr<Database> open_sqlite(const std::string& file) { return std::make_unique<SqliteDatabase>(file); }

} // namespace kesto::db
