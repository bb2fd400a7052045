// Storing the sample production job into the job database (packing it and
// one transaction) and opening it again from there, on SQLite.
#include "engine/api/jobdb.h"
#include "engine/api/jobs.h"
#include "engine/config/configuration.h"
#include "engine/db/jobs.h"
#include "engine/db/users.h"
#include "engine/formats/odb/job_io.h"

#include <benchmark/benchmark.h>
#include <boost/filesystem.hpp>
#include <glog/logging.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

namespace {

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

// A database in a temporary folder with one user signed in and the sample open.
void prepare()
{
    static bool done = false;
    if (done) return;
    done = true;
    FLAGS_minloglevel = google::GLOG_ERROR;
    char dir[] = "/tmp/kesto-bench-db-XXXXXX";
    if (!mkdtemp(dir)) std::abort();
    const std::string config = std::string(dir) + "/config.json";
    std::ofstream(config) << "{\"log_path\":\"\",\"jobdb_folder\":\"" << dir << "/db\",\"job_library\":\"" << dir
                          << "/jobs\"}";
    KESTO::configuration_instance::instance().load(config);
    std::string error;
    auto db = kesto::db::connect(std::string(dir) + "/db", "");
    if (!kesto::db::create_user(*db, "bench", "bench", error) || !KESTO::API::login("bench", "bench") ||
        !KESTO::API::open_job(kSample, "sample_design") || !KESTO::API::InsetJobToDB("sample_design")) {
        std::fprintf(stderr, "cannot prepare the job database: %s\n", error.c_str());
        std::abort();
    }
}

void BM_StoreSample(benchmark::State& state)
{
    prepare();
    for (auto _ : state)
        if (!KESTO::API::InsetJobToDB("sample_design")) state.SkipWithError("store failed");
}
BENCHMARK(BM_StoreSample)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_LoadSample(benchmark::State& state)
{
    prepare();
    for (auto _ : state) {
        if (!KESTO::API::LoadJobFromDB("copy", "sample_design", 0)) state.SkipWithError("load failed");
        state.PauseTiming();
        KESTO::API::close_job("copy");
        state.ResumeTiming();
    }
}
BENCHMARK(BM_LoadSample)->Unit(benchmark::kMillisecond)->UseRealTime();

// The two halves of a store and a load without the database: the job into
// one archive in memory, and back.
void BM_PackSample(benchmark::State& state)
{
    kesto::Job job;
    std::string error, bytes;
    kesto::odb::read_job(kSample, job, error);
    for (auto _ : state) kesto::odb::pack_job(job, "sample_design", bytes, error);
    state.counters["archive_bytes"] = static_cast<double>(bytes.size());
}
BENCHMARK(BM_PackSample)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_ReadPackedSample(benchmark::State& state)
{
    kesto::Job job;
    std::string error, bytes;
    kesto::odb::read_job(kSample, job, error);
    kesto::odb::pack_job(job, "sample_design", bytes, error);
    for (auto _ : state) {
        kesto::Job again;
        kesto::odb::read_job_archive(bytes, again, error);
    }
}
BENCHMARK(BM_ReadPackedSample)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
