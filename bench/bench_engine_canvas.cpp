// Drawing a large board's layer on the canvas, in bands on one thread or
// several: the sample production job's first signal layer at 1000 dpi
// (about 6600 x 5300 pixels). The outlines are made once, outside the timing;
// what is timed is the drawing, as a picture of a whole board costs it.
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"
#include "engine/render/canvas.h"
#include "engine/render/layer_shapes.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

struct Sample {
    kesto::Job job;
    std::vector<kesto::render::Shape> shapes;
    kesto::Box box;
};

const Sample& sample()
{
    static const Sample s = [] {
        Sample out;
        std::string error;
        if (!kesto::odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", out.job, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::abort();
        }
        const kesto::Layer& layer = out.job.steps.at("step").layers.at("layer-1");
        const auto context = kesto::geom::context_of(out.job);
        out.shapes = kesto::render::layer_shapes(layer, context);
        out.box = kesto::geom::layer_box(layer, context);
        return out;
    }();
    return s;
}

// Arg: threads (0: one a core).
void BM_DrawSampleLayerAt1000Dpi(benchmark::State& state)
{
    const Sample& s = sample();
    const double inches_w = double(s.box.xmax - s.box.xmin) / kesto::kNmPerInch;
    const double inches_h = double(s.box.ymax - s.box.ymin) / kesto::kNmPerInch;
    kesto::render::Canvas canvas = kesto::render::make_canvas(int(inches_w * 1000) + 1, int(inches_h * 1000) + 1);
    kesto::render::zoom_to_resolution(canvas, {s.box.xmin, s.box.ymin}, 1000);
    canvas.threads = int(state.range(0));
    for (auto _ : state) kesto::render::draw_layer(canvas, s.shapes, {1, 1, 1, 1});
    state.counters["pixels"] = double(canvas.width) * canvas.height;
    state.counters["threads"] = kesto::render::drawing_threads(canvas);
}
BENCHMARK(BM_DrawSampleLayerAt1000Dpi)->Arg(1)->Arg(0)->ArgName("threads")->Unit(benchmark::kMillisecond)
    ->UseRealTime()->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
