// A fresh, empty job database per test on each backend: a SQLite file in a
// temporary folder, or a new database on the PostgreSQL server that
// scripts/pg_test_server.sh starts (KESTO_TEST_PG); without one the
// PostgreSQL cases say they are skipped.
#pragma once
#include "engine/db/jobs.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <ostream>
#include <regex>
#include <string>

namespace kesto::db {
inline void PrintTo(Backend b, std::ostream* os) { *os << (b == Backend::Postgres ? "PostgreSQL" : "SQLite"); }
} // namespace kesto::db

namespace kesto::test {

inline std::string pg_server()
{
    const char* env = std::getenv("KESTO_TEST_PG");
    return env ? env : "";
}

class DbTest : public ::testing::TestWithParam<db::Backend> {
protected:
    void SetUp() override
    {
        if (GetParam() != db::Backend::Postgres) return;
        if (pg_server().empty())
            GTEST_SKIP() << "no PostgreSQL server for the tests: run them through scripts/pg_test_server.sh";
        static int serial = 0;
        name_ = "kesto_test_" + std::to_string(getpid()) + "_" + std::to_string(++serial);
        auto admin = db::open_postgres(pg_server());
        admin->run("DROP DATABASE IF EXISTS " + name_);
        admin->run("CREATE DATABASE " + name_);
        conninfo_ = std::regex_replace(pg_server(), std::regex("dbname=\\S+"), "") + " dbname=" + name_;
    }
    void TearDown() override
    {
        if (name_.empty()) return;
        try {
            db::open_postgres(pg_server())->run("DROP DATABASE IF EXISTS " + name_ + " WITH (FORCE)");
        } catch (const std::exception&) {
        }
    }
    // A new connection to the test's database, schema up to date; each
    // process of a test makes its own.
    std::unique_ptr<db::Database> connect() const { return db::connect(dir_.path(), conninfo_); }
    // The configuration keys that point the library at the same database.
    std::string config_keys() const
    {
        return conninfo_.empty() ? "\"jobdb_folder\":\"" + dir_.path() + "\""
                                 : "\"jobdb_connection\":\"" + conninfo_ + "\"";
    }

    TempDir dir_;
    std::string name_, conninfo_;
};

inline std::string backend_name(const ::testing::TestParamInfo<db::Backend>& info)
{
    return info.param == db::Backend::Postgres ? "Postgres" : "Sqlite";
}

#define KESTO_ON_BOTH_BACKENDS(suite) \
    INSTANTIATE_TEST_SUITE_P(, suite, ::testing::Values(::kesto::db::Backend::Sqlite, ::kesto::db::Backend::Postgres), \
                             ::kesto::test::backend_name)

} // namespace kesto::test
