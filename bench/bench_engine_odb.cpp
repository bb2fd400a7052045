// Opening the sample production job from its archive, and saving it as a job
// folder (atomic: written beside, synced, swapped in). Peak memory of a whole
// open is measured apart: /usr/bin/time -v bench_engine_odb --open-only.
#include "engine/formats/odb/job_io.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

kesto::Job open_sample()
{
    kesto::Job job;
    std::string error;
    if (!kesto::odb::read_job(kSample, job, error)) {
        std::fprintf(stderr, "%s\n", error.c_str());
        std::abort();
    }
    return job;
}

void BM_OpenSampleArchive(benchmark::State& state)
{
    for (auto _ : state) benchmark::DoNotOptimize(open_sample());
}
BENCHMARK(BM_OpenSampleArchive)->Unit(benchmark::kMillisecond);

void BM_SaveSample(benchmark::State& state)
{
    const kesto::Job job = open_sample();
    char dir[] = "/tmp/kesto-bench-save-XXXXXX";
    if (!mkdtemp(dir)) std::abort();
    const std::string target = std::string(dir) + "/sample_design";
    std::string error;
    for (auto _ : state)
        if (!kesto::odb::save_job(job, target, error)) state.SkipWithError(error.c_str());
    std::system((std::string("rm -rf ") + dir).c_str());
}
BENCHMARK(BM_SaveSample)->Unit(benchmark::kMillisecond);

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "--open-only") == 0) {
        const kesto::Job job = open_sample();
        std::printf("opened %zu matrix rows\n", job.rows.size());
        return 0;
    }
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
