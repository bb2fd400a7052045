// Resizing a large selection and contourizing a dense layer.
#include "engine/api/edit.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/reshape.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

#include <cmath>

using namespace kesto;

namespace {

// Pads and lines on a 0.5 mm grid, every one selected.
Layer grid_layer(int count, Coord pitch, const char* pad_symbol)
{
    Layer layer;
    layer.units = Units::Mm;
    const auto pad = edit::symbol_index(layer, odb::parse_symbol_name(pad_symbol, Units::Mm));
    const auto pen = edit::symbol_index(layer, odb::parse_symbol_name("r100", Units::Mm));
    const int side = static_cast<int>(std::sqrt(double(count))) + 1;
    for (int i = 0; i < count; ++i) {
        Feature f;
        f.kind = i % 2 ? FeatureKind::Pad : FeatureKind::Line;
        f.symbol = i % 2 ? pad : pen;
        f.a = {(i % side) * pitch, (i / side) * pitch};
        f.b = {f.a.x + pitch, f.a.y};
        f.selected = true;
        layer.features.push_back(f);
    }
    return layer;
}

void BM_ResizeSelected(benchmark::State& state)
{
    Job job;
    job.name = "bench_resize";
    MatrixRow row;
    row.name = "top";
    job.rows.push_back(row);
    Step step;
    step.name = "pcb";
    step.layers["top"] = grid_layer(static_cast<int>(state.range(0)), 500000, "rect200x100");
    job.steps["pcb"] = step;
    store::add_job(job);
    KESTO::Op::OpPara para;
    para.job = "bench_resize";
    para.step = "pcb";
    para.layers = {"top"};
    double size = 0.01;
    KESTO::API::resize_global_result result;
    for (auto _ : state) {
        KESTO::API::resize_global(para, result);
        para.size = size;
        size = -size; // back and forth, so the sizes stay put
        benchmark::DoNotOptimize(result.resized);
    }
    store::remove_job("bench_resize");
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ResizeSelected)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_ContourizeDenseLayer(benchmark::State& state)
{
    // Overlapping strokes and pads at a 0.3 mm pitch: most merge with their neighbours.
    const Layer dense = grid_layer(static_cast<int>(state.range(0)), 300000, "r250");
    const std::vector<bool> all(dense.features.size(), true);
    const geom::OutlineContext context;
    edit::Contourize how;
    for (auto _ : state) {
        state.PauseTiming();
        Layer layer = dense;
        state.ResumeTiming();
        benchmark::DoNotOptimize(edit::contourize(layer, all, how, context));
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}
BENCHMARK(BM_ContourizeDenseLayer)->Arg(10000)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
