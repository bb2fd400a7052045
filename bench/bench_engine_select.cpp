// Selection and edits through the engine's API on a layer of a million pads
// and lines: selecting by polygon and by filter, and moving 100,000 selected
// features with the spatial index kept current and the edit remembered for undo.
#include "engine/api/edit.h"
#include "engine/api/pick.h"
#include "engine/api/selection.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

#include <random>

namespace {

using namespace kesto;

void open_board()
{
    static bool done = [] {
        Job job;
        job.name = "bench";
        MatrixRow row;
        row.name = "top";
        job.rows.push_back(row);
        Step& step = job.steps["pcb"];
        step.name = "pcb";
        Layer& layer = step.layers["top"];
        for (const char* name : {"r100", "r200"}) {
            Symbol s;
            s.family = SymbolFamily::Round;
            s.p[0] = name[1] == '1' ? 100000 : 200000;
            s.name = name;
            layer.symbols.push_back(s);
        }
        std::mt19937 random(7);
        std::uniform_int_distribution<Coord> at(0, 500 * kNmPerMm);
        layer.features.resize(1000000);
        for (size_t i = 0; i < layer.features.size(); ++i) {
            Feature& f = layer.features[i];
            f.kind = i % 2 ? FeatureKind::Line : FeatureKind::Pad;
            f.symbol = static_cast<int>(i % 2);
            f.a = {at(random), at(random)};
            f.b = {f.a.x + 300000, f.a.y};
        }
        store::add_job(std::move(job));
        select::LayerView v;
        select::view("bench", "pcb", "top", v); // builds the index once
        return true;
    }();
    (void)done;
}

KESTO::API::Points square(double from_mm, double to_mm)
{
    auto nm = [](double mm) { return static_cast<std::int32_t>(mm * kNmPerMm); };
    return {{nm(from_mm), nm(from_mm)}, {nm(to_mm), nm(from_mm)}, {nm(to_mm), nm(to_mm)}, {nm(from_mm), nm(to_mm)}};
}

void BM_select_by_polygon(benchmark::State& state)
{
    open_board();
    KESTO::API::featureInfo any;
    for (auto _ : state) {
        KESTO::API::clear_selected_features("bench", "pcb", "top");
        benchmark::DoNotOptimize(KESTO::API::select_multi_features("bench", "pcb", "top", square(100, 258), any, 0, true, true));
    }
}

void BM_select_by_filter(benchmark::State& state)
{
    open_board();
    KESTO::API::select_info f;
    f.featuretypes = KESTO::API::kTypePad;
    KESTO::API::set_select_param(f);
    for (auto _ : state) KESTO::API::select_features("bench", "pcb", "top");
    KESTO::API::set_select_param(KESTO::API::select_info{});
}

// About 100,000 features (a tenth of the board) selected, moved back and forth.
void BM_move_100k_selected(benchmark::State& state)
{
    open_board();
    KESTO::API::featureInfo any;
    KESTO::API::clear_selected_features("bench", "pcb", "top");
    KESTO::API::select_multi_features("bench", "pcb", "top", square(0, 158), any, 0, true, true);
    int sign = 1;
    for (auto _ : state) {
        KESTO::API::move_same_layer("bench", "pcb", {"top"}, sign * 1000, 0);
        sign = -sign;
    }
}

} // namespace

BENCHMARK(BM_select_by_polygon)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_select_by_filter)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_move_100k_selected)->Unit(benchmark::kMillisecond);
BENCHMARK_MAIN();
