// Drill analysis at 10k, 100k and 1M holes (also with board nets asked for on
// a step without copper, and with 100 long diagonal slots), and paging a
// 100,000-finding run.
#include "adaptor/exports.h"
#include "analysis/jw_analysis_filter.h"
#include "engine/drc/analysis_store.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/nets.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

#include <cmath>
#include <memory>
#include <random>

using namespace kesto;

namespace {

// Holes on a 1 mm grid with jitter, three sizes and a plated/via/NPTH mix;
// about one hole in fifty has a close neighbour.
std::unique_ptr<Job> drilled_board(int holes)
{
    auto job = std::make_unique<Job>();
    job->name = "bench";
    MatrixRow row;
    row.row = 1;
    row.name = "drill";
    row.context = "BOARD";
    row.type = "DRILL";
    job->rows.push_back(row);
    Step& step = job->steps["pcb"];
    step.name = "pcb";
    Layer& layer = step.layers["drill"];
    for (int d : {200, 300, 400}) {
        Symbol s;
        s.family = SymbolFamily::Round;
        s.p[0] = d * 1000.0;
        s.name = "r" + std::to_string(d);
        layer.symbols.push_back(s);
    }
    layer.attribute_names = {".drill"};
    layer.attribute_sets = {{{0, "via"}}, {{0, "non_plated"}}};
    std::mt19937 rng(1);
    std::uniform_int_distribution<Coord> jitter(-50000, 50000);
    const int side = int(std::ceil(std::sqrt(double(holes))));
    layer.features.reserve(std::size_t(holes));
    for (int i = 0; i < holes; ++i) {
        Feature f;
        f.kind = FeatureKind::Pad;
        f.symbol = i % 3;
        f.attributes = std::uint32_t(i % 7 == 0 ? 1 : i % 11 == 0 ? 2 : 0);
        f.a = {Coord(i % side) * kNmPerMm + jitter(rng), Coord(i / side) * kNmPerMm + jitter(rng)};
        if (i % 50 == 1) f.a = {layer.features.back().a.x + 450000, layer.features.back().a.y};
        layer.features.push_back(f);
    }
    return job;
}

void BM_DrillAnalysis(benchmark::State& state)
{
    auto job = drilled_board(int(state.range(0)));
    drc::DrillOptions o;
    o.hole_size = o.hole_separation = true;
    o.use_pth = o.use_npth = o.use_via = true;
    o.board_nets = false;
    const drc::LevelLimits limits{{KESTO::API::CloseHoles, {100000, 150000, 200000}}};
    std::size_t found = 0;
    for (auto _ : state) {
        const auto a = drc::analyse_drill(*job, job->steps.at("pcb"), {"drill"}, o, limits);
        found = 0;
        for (const auto& [item, levels] : a.result.at("drill").items)
            for (const auto& list : levels.lv) found += list.size();
        benchmark::DoNotOptimize(found);
    }
    state.SetComplexityN(state.range(0));
    state.counters["findings"] = double(found);
}
BENCHMARK(BM_DrillAnalysis)->Arg(10000)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->Complexity(benchmark::oNLogN);

// The same board with board nets asked for: the step has no copper layer, so
// there are no nets to sort close holes by.
void BM_DrillAnalysisNetsWithoutCopper(benchmark::State& state)
{
    auto job = drilled_board(int(state.range(0)));
    drc::DrillOptions o;
    o.hole_size = o.hole_separation = true;
    o.use_pth = o.use_npth = o.use_via = true;
    o.board_nets = true;
    const drc::LevelLimits limits{{KESTO::API::CloseHoles, {100000, 150000, 200000}}};
    for (auto _ : state) {
        state.PauseTiming();
        drc::forget_board_nets(job->name, "pcb"); // each run as the first on the step
        state.ResumeTiming();
        benchmark::DoNotOptimize(drc::analyse_drill(*job, job->steps.at("pcb"), {"drill"}, o, limits));
    }
}
BENCHMARK(BM_DrillAnalysisNetsWithoutCopper)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The board with 100 long slots laid diagonally across it: each slot's box
// covers most of the board's grid cells, its band only a thin strip.
void BM_DrillAnalysisLongSlots(benchmark::State& state)
{
    auto job = drilled_board(int(state.range(0)));
    Layer& layer = job->steps.at("pcb").layers.at("drill");
    const Coord side = Coord(std::ceil(std::sqrt(double(state.range(0))))) * kNmPerMm;
    for (int i = 0; i < 100; ++i) {
        Feature slot;
        slot.kind = FeatureKind::Line;
        slot.symbol = 1;
        const Coord shift = Coord(i - 50) * side / 120;
        slot.a = {shift + side / 10, side / 10};
        slot.b = {shift + side * 9 / 10, side * 9 / 10};
        layer.features.push_back(slot);
    }
    drc::DrillOptions o;
    o.hole_size = o.hole_separation = true;
    o.use_pth = o.use_npth = o.use_via = true;
    o.board_nets = false;
    const drc::LevelLimits limits{{KESTO::API::CloseHoles, {100000, 150000, 200000}}};
    for (auto _ : state) benchmark::DoNotOptimize(drc::analyse_drill(*job, job->steps.at("pcb"), {"drill"}, o, limits));
}
BENCHMARK(BM_DrillAnalysisLongSlots)->Arg(1000000)->Unit(benchmark::kMillisecond);

// The whole command as a host sends it: reading the request, the analysis,
// keeping the run, caching the result and writing the JSON report.
void BM_DrillCheckCommand(benchmark::State& state)
{
    store::add_job(std::move(*drilled_board(int(state.range(0)))));
    const char* request =
        R"({"paras":[{"job":"bench","step":"pcb","layers":["drill"],"hole_size":true,"hole_seperation":true,)"
        R"("use_pth":true,"use_npth":true,"use_via":true,"calculate_board_net_status":false}]})";
    std::size_t size = 0;
    for (auto _ : state) size = std::string(drill_check(request)).size();
    state.counters["reply_bytes"] = double(size);
}
BENCHMARK(BM_DrillCheckCommand)->Arg(100000)->Unit(benchmark::kMillisecond);

void BM_PageOf100kFindings(benchmark::State& state)
{
    drc::AnalysisRun run;
    run.kind = drc::Drill;
    auto& list = run.drill["drill"].items[KESTO::API::CloseHoles].lv[0];
    list.resize(100000);
    for (int i = 0; i < 100000; ++i) {
        auto& info = list[std::size_t(i)];
        info.disp_num = i + 1;
        info.values = {i, i, i + 1000, i, 1000, 1000};
        info.layer_names = {"drill"};
        info.symbol_names = {"r300", "r300"};
        info.layer_for_analysis = "drill";
    }
    const std::string uuid = drc::keep_run(std::move(run));
    AnalysisFilter filter{2, {{"drill", {{"Close Holes", 4, 50, 0}}}}};
    JWAnalysisFilter::instance()->getFilterResult(uuid, filter); // first page fetches the set
    int page = 0;
    for (auto _ : state) {
        filter.layers[0].subfilters[0].page = page;
        benchmark::DoNotOptimize(JWAnalysisFilter::instance()->getFilterResult(uuid, filter));
        page = (page + 37) % 2000;
    }
}
BENCHMARK(BM_PageOf100kFindings)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
