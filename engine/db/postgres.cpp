#include "engine/db/database.h"

#include <libpq-fe.h>

#include <memory>

namespace kesto::db {
namespace {

constexpr Oid kByteaOid = 17;

// `?` placeholders become $1, $2, ... (the statements hold no literals with
// question marks).
std::string numbered(const std::string& sql)
{
    std::string out;
    int n = 0;
    for (char c : sql) {
        if (c == '?')
            out += "$" + std::to_string(++n);
        else
            out += c;
    }
    return out;
}

class PostgresDatabase : public Database {
public:
    explicit PostgresDatabase(const std::string& conninfo) : conn_(PQconnectdb(conninfo.c_str()))
    {
        if (!conn_ || PQstatus(conn_) != CONNECTION_OK) {
            const std::string why = conn_ ? PQerrorMessage(conn_) : "out of memory";
            PQfinish(conn_);
            conn_ = nullptr;
            throw Error("cannot reach the database server: " + why);
        }
        run("SET client_min_messages TO warning", {});
    }
    ~PostgresDatabase() override { PQfinish(conn_); }

    Backend backend() const override { return Backend::Postgres; }

    std::vector<Row> run(const std::string& sql, const std::vector<Param>& params) override
    {
        std::vector<std::string> texts(params.size());
        std::vector<const char*> values(params.size(), nullptr);
        std::vector<int> lengths(params.size(), 0), formats(params.size(), 0);
        std::vector<Oid> types(params.size(), 0);
        for (size_t i = 0; i < params.size(); ++i) {
            if (auto* n = std::get_if<long long>(&params[i])) {
                texts[i] = std::to_string(*n);
                values[i] = texts[i].c_str();
            } else if (auto* s = std::get_if<std::string>(&params[i])) {
                values[i] = s->c_str();
            } else if (auto* b = std::get_if<Blob>(&params[i])) {
                values[i] = b->bytes.data();
                lengths[i] = static_cast<int>(b->bytes.size());
                formats[i] = 1;
                types[i] = kByteaOid;
            }
        }
        std::unique_ptr<PGresult, void (*)(PGresult*)> res(
            PQexecParams(conn_, numbered(sql).c_str(), static_cast<int>(params.size()), types.data(), values.data(),
                         lengths.data(), formats.data(), 0),
            PQclear);
        const ExecStatusType status = res ? PQresultStatus(res.get()) : PGRES_FATAL_ERROR;
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
            throw Error(res ? PQresultErrorMessage(res.get()) : PQerrorMessage(conn_));
        std::vector<Row> rows;
        const int columns = PQnfields(res.get());
        for (int r = 0; r < PQntuples(res.get()); ++r) {
            Row row(static_cast<size_t>(columns));
            for (int c = 0; c < columns; ++c) {
                if (PQgetisnull(res.get(), r, c)) continue;
                const char* text = PQgetvalue(res.get(), r, c);
                if (PQftype(res.get(), c) == kByteaOid) {
                    size_t size = 0;
                    unsigned char* bytes = PQunescapeBytea(reinterpret_cast<const unsigned char*>(text), &size);
                    if (!bytes) throw Error("out of memory reading a stored archive");
                    row[static_cast<size_t>(c)] = std::string(reinterpret_cast<char*>(bytes), size);
                    PQfreemem(bytes);
                } else {
                    row[static_cast<size_t>(c)] = std::string(text, static_cast<size_t>(PQgetlength(res.get(), r, c)));
                }
            }
            rows.push_back(std::move(row));
        }
        return rows;
    }

    void begin() override { run("BEGIN", {}); }
    void commit() override { run("COMMIT", {}); }
    void rollback() override
    {
        if (PQtransactionStatus(conn_) != PQTRANS_IDLE) run("ROLLBACK", {});
    }

private:
    PGconn* conn_;
};

} // namespace

std::unique_ptr<Database> open_postgres(const std::string& conninfo)
{
    return std::make_unique<PostgresDatabase>(conninfo);
}

} // namespace kesto::db
