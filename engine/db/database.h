// The job database behind one small interface: SQLite in a file by default,
// or a PostgreSQL server shared by several stations. Statements are written
// once with `?` placeholders and every value is bound as a parameter, never
// spliced into the text.
#pragma once
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

namespace kesto::db {

// Bytes stored as they are (a job archive).
struct Blob {
    std::string bytes;
};
using Param = std::variant<std::nullptr_t, long long, std::string, Blob>;
// A result value as text (numbers written out, blobs as their bytes); empty
// when SQL NULL.
using Field = std::optional<std::string>;
using Row = std::vector<Field>;

// Anything the database refused or could not do.
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

enum class Backend { Sqlite, Postgres };

class Database {
public:
    virtual ~Database() = default;
    virtual Backend backend() const = 0;
    // One statement, `?` for each parameter in order; the rows it returns.
    virtual std::vector<Row> run(const std::string& sql, const std::vector<Param>& params = {}) = 0;
    // A transaction that will write: it waits for other writers rather than
    // failing part-way (SQLite takes the write lock at once).
    virtual void begin() = 0;
    virtual void commit() = 0;
    virtual void rollback() = 0;
};

// Rolls back unless committed, so that an error leaves nothing half-written.
class Transaction {
public:
    explicit Transaction(Database& db) : db_(db) { db_.begin(); }
    ~Transaction()
    {
        if (!done_) try { db_.rollback(); } catch (...) {}
    }
    void commit()
    {
        db_.commit();
        done_ = true;
    }
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;

private:
    Database& db_;
    bool done_ = false;
};

// Opens (creating when needed) the SQLite file.
std::unique_ptr<Database> open_sqlite(const std::string& file);
// Connects to a PostgreSQL server ("host=... dbname=... user=..." or a URI).
std::unique_ptr<Database> open_postgres(const std::string& conninfo);

// Creates the tables, or brings an older schema up to date, in one
// transaction; safe when several stations start at once.
void migrate(Database& db);
constexpr int kSchemaVersion = 1;

// Helpers for reading results.
long long as_int(const Field& f);
std::string as_text(const Field& f);

} // namespace kesto::db
