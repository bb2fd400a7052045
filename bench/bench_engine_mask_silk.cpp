// Both mask layers and both silk layers of the sample job, every rule on.
#include "engine/drc/mask_silk_rules.h"
#include "engine/formats/odb/job_io.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>

namespace {

kesto::Job& sample()
{
    static kesto::Job job = [] {
        kesto::Job j;
        std::string error;
        if (!kesto::odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", j, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::abort();
        }
        return j;
    }();
    return job;
}

void BM_SampleMaskAndSilk(benchmark::State& state)
{
    kesto::Job& job = sample();
    kesto::Step& step = job.steps.begin()->second;
    kesto::drc::MaskLimits mask;
    mask.ring = mask.coverage = mask.spacing = mask.bridge = 100000;
    mask.pads = mask.missing = mask.coverage_on = mask.spacing_on = mask.bridge_on = mask.drill = true;
    kesto::drc::SilkLimits silk;
    silk.spacing = 100000;
    silk.mask = silk.smd = silk.pads = silk.holes = silk.rout = silk.widths = true;
    const kesto::drc::LevelLimits levels;
    for (auto _ : state) {
        std::size_t n = 0;
        for (const char* layer : {"soldermask-top", "soldermask-bottom"})
            n += kesto::drc::analyse_mask_layer(job, step, layer, mask, levels).result.size();
        for (const char* layer : {"silkscreen-top", "silkscreen-bottom"})
            n += kesto::drc::analyse_silk_layer(job, step, layer, silk, levels).result.size();
        benchmark::DoNotOptimize(n);
    }
}
BENCHMARK(BM_SampleMaskAndSilk)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
