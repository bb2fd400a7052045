// Comparing a copper layer of the sample job with a copy moved by 5 microns
// (every edge differs, none by more than the tolerance), and flattening a
// step-and-repeat nest.
#include "engine/api/edit_ops.h"
#include "engine/edit/compare.h"
#include "engine/edit/step_repeat.h"
#include "engine/edit/transform.h"
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"

#include <benchmark/benchmark.h>

using namespace kesto;

namespace {

const Job& sample()
{
    static Job job = [] {
        Job j;
        std::string error;
        odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", j, error);
        return j;
    }();
    return job;
}

void BM_CompareSampleLayerWithShiftedCopy(benchmark::State& state)
{
    const Job& job = sample();
    const Layer& layer = job.steps.at("step").layers.at("layer-1");
    Layer shifted = layer;
    for (Feature& f : shifted.features) edit::place(shifted, f, edit::moved(5000, 0));
    const geom::OutlineContext context = geom::context_of(job);
    size_t found = 0;
    for (auto _ : state) {
        const geom::Paths a = geom::layer_outline(layer, context), b = geom::layer_outline(shifted, context);
        found = edit::compare_images(a, b, 25000).size();
        benchmark::DoNotOptimize(found);
    }
    state.counters["features"] = double(layer.features.size());
    state.counters["differences"] = double(found);
}
BENCHMARK(BM_CompareSampleLayerWithShiftedCopy)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

// The sample's layer-1 repeated 4 x 4 in a panel, that panel 2 x 2 in a frame.
void BM_FlattenNestOfSampleLayer(benchmark::State& state)
{
    Job job = sample();
    Step panel;
    panel.name = "panel";
    panel.repeats.push_back({"step", {}, 100 * kNmPerMm, 100 * kNmPerMm, 4, 4, 0, false, false});
    Step frame;
    frame.name = "frame";
    frame.repeats.push_back({"panel", {}, 500 * kNmPerMm, 500 * kNmPerMm, 2, 2, 90, false, false});
    job.steps["panel"] = panel;
    job.steps["frame"] = frame;
    size_t count = 0;
    for (auto _ : state) {
        Layer out;
        std::string error;
        edit::flattened_layer(job, job.steps.at("frame"), "layer-1", out, error);
        count = out.features.size();
        benchmark::DoNotOptimize(count);
    }
    state.counters["features"] = double(count);
}
BENCHMARK(BM_FlattenNestOfSampleLayer)
    ->Unit(benchmark::kMillisecond)
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
