// DFM operations on the sample job: teardrops on all eight copper layers,
// each run undone (outside the timing) so every iteration starts alike. The
// board nets are computed once before, as a session keeps them between
// commands.
#include "engine/api/dfm_ops.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/nets.h"
#include "engine/drc/feature_shapes.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

using namespace kesto;

namespace {

struct Sample {
    std::string step;
    std::vector<std::string> copper, inner;
};

const Sample* open_sample()
{
    static Sample sample;
    static bool opened = false;
    if (opened) return &sample;
    Job job;
    std::string error;
    if (!odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) return nullptr;
    job.name = "dfm_bench_sample";
    sample.step = job.steps.begin()->first;
    for (const MatrixRow& r : job.rows)
        if (drc::iequals(r.context, "BOARD") && drc::is_copper_type(r.type)) sample.copper.push_back(r.name);
    sample.inner.assign(sample.copper.begin() + 1, sample.copper.end() - 1);
    Job& held = store::add_job(std::move(job));
    drc::board_nets(held, held.steps[sample.step]);
    opened = true;
    return &sample;
}

void BM_TeardropsOnSampleCopper(benchmark::State& state)
{
    const Sample* sample = open_sample();
    if (!sample) {
        state.SkipWithError("the sample job cannot be read");
        return;
    }
    KESTO::API::teardrop_create_DFM_op_params p;
    p.drilled_pads = p.undrilled_pads = true;
    p.cu_spacing = 100000;
    p.drill_spacing = 200000;
    std::size_t made = 0;
    for (auto _ : state) {
        std::map<KESTO::API::teardrop_create_DFM_op_items, KESTO::API::teardrop_create_DFM_op_result> result;
        KESTO::API::teardrop_create_DFM_op("dfm_bench_sample", sample->step, sample->copper, p, result, nullptr);
        state.PauseTiming();
        made = 0;
        for (const auto& [item, r] : result)
            if (item == KESTO::API::TeardropFull || item == KESTO::API::TeardropShortened)
                made += r.counts[0] + r.counts[1] + r.counts[2];
        store::undo(*store::find_job("dfm_bench_sample"), sample->step);
        state.ResumeTiming();
    }
    state.counters["teardrops"] = double(made);
}
BENCHMARK(BM_TeardropsOnSampleCopper)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5)->Iterations(1)
    ->ReportAggregatesOnly(true);

void BM_NfpRemovalOnSampleInnerLayers(benchmark::State& state)
{
    const Sample* sample = open_sample();
    if (!sample) {
        state.SkipWithError("the sample job cannot be read");
        return;
    }
    KESTO::API::NFP_removal_DFM_op_params p;
    p.isolated = p.drill_over = p.duplicate = p.covered = true;
    std::size_t removed = 0;
    for (auto _ : state) {
        std::map<KESTO::API::NFP_removal_DFM_op_items, KESTO::API::NFP_removal_DFM_op_result> result;
        KESTO::API::NFP_removal_DFM_op("dfm_bench_sample", sample->step, sample->inner, p, result, nullptr);
        state.PauseTiming();
        removed = 0;
        for (const auto& [item, r] : result) removed += r.counts[0] + r.counts[1] + r.counts[2];
        store::undo(*store::find_job("dfm_bench_sample"), sample->step);
        state.ResumeTiming();
    }
    state.counters["removed"] = double(removed);
}
BENCHMARK(BM_NfpRemovalOnSampleInnerLayers)->Unit(benchmark::kMillisecond)->UseRealTime()->Repetitions(5)
    ->Iterations(1)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
