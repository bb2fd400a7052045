// Clipping a copper layer of the sample job by the top solder mask's image
// and by the profile with a margin, and growing the copper.
#include "engine/api/edit.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

using namespace kesto;

namespace {

// The sample job open in the store, with its copper layer-1 as read, to put
// back between runs.
struct SampleJob {
    bool ok = false;
    std::string error;
    Layer original;
    SampleJob()
    {
        Job job;
        if (!odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) return;
        job.name = "bench_clip";
        store::add_job(job);
        ok = (layer() != nullptr);
        if (ok) original = *layer();
        else error = "no layer-1";
    }
    Layer* layer()
    {
        Job* job = store::find_job("bench_clip");
        Step* step = job ? store::find_step(*job, "step") : nullptr;
        return step ? store::find_layer(*job, *step, "layer-1") : nullptr;
    }
    void restore() { *layer() = original; }
};

SampleJob& sample()
{
    static SampleJob* job = new SampleJob();
    return *job;
}

void BM_ClipLayerByTopSolderMask(benchmark::State& state)
{
    SampleJob& s = sample();
    if (!s.ok) return state.SkipWithError(s.error.c_str());
    for (auto _ : state) {
        state.PauseTiming();
        s.restore();
        state.ResumeTiming();
        KESTO::API::clip_area_use_reference("bench_clip", "step", "layer-1", "soldermask-top", 0, true, 0);
    }
    state.counters["left"] = double(s.layer()->features.size());
}
BENCHMARK(BM_ClipLayerByTopSolderMask)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// margin in mm; the largest is what a host once sent as "no limit".
void BM_ClipLayerByProfileWithMargin(benchmark::State& state)
{
    SampleJob& s = sample();
    if (!s.ok) return state.SkipWithError(s.error.c_str());
    for (auto _ : state) {
        state.PauseTiming();
        s.restore();
        state.ResumeTiming();
        KESTO::API::clip_area_use_profile("bench_clip", "step", "layer-1", true, true, double(state.range(0)), 0);
    }
}
BENCHMARK(BM_ClipLayerByProfileWithMargin)->Arg(-1)->Arg(5)->Arg(2147483647)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

// Growing every feature of the copper layer by size mm.
void BM_ResizeSampleCopper(benchmark::State& state)
{
    SampleJob& s = sample();
    if (!s.ok) return state.SkipWithError(s.error.c_str());
    KESTO::Op::OpPara para;
    para.job = "bench_clip";
    para.step = "step";
    para.layers = {"layer-1"};
    para.sel_type = 1;
    para.size = double(state.range(0));
    KESTO::API::resize_global_result result;
    for (auto _ : state) {
        state.PauseTiming();
        s.restore();
        state.ResumeTiming();
        KESTO::API::resize_global(para, result);
    }
}
BENCHMARK(BM_ResizeSampleCopper)->Arg(10)->Arg(100)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(3);

} // namespace

BENCHMARK_MAIN();
