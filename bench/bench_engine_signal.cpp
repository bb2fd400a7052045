// The signal-layer analysis: every family on the eight copper layers of the
// sample job, and the spacing family on a generated layer of lines and pads
// on a grid with planted violations, at 100k and 1M features.
#include "engine/drc/signal_rules.h"
#include "engine/formats/odb/job_io.h"

#include <benchmark/benchmark.h>

#include <memory>

using namespace kesto;

namespace {

// Rows of round pads 1 mm apart, each joined to the next by a 0.15 mm line
// through its centre; every 97th pad is moved 0.375 mm to the side so that
// it sits 0.1 mm from the end of its own line, which no longer reaches it.
std::unique_ptr<Job> grid_board(int features)
{
    auto job = std::make_unique<Job>();
    job->name = "signal_bench_" + std::to_string(features);
    MatrixRow row;
    row.row = 1;
    row.name = "top";
    row.context = "BOARD";
    row.type = "SIGNAL";
    job->rows.push_back(row);
    Step& step = job->steps["pcb"];
    step.name = "pcb";
    job->columns.push_back({1, "pcb", 1});
    Layer& top = step.layers["top"];
    for (auto [name, d] : {std::pair{"r400", 400000.0}, {"r150", 150000.0}}) {
        Symbol s;
        s.family = SymbolFamily::Round;
        s.p[0] = s.p[1] = d;
        s.name = name;
        top.symbols.push_back(s);
    }
    const int per_row = 1000;
    for (int i = 0; static_cast<int>(top.features.size()) < features; ++i) {
        const Coord x = Coord(i % per_row) * 1000000, y = Coord(i / per_row) * 2000000;
        Feature pad;
        pad.kind = FeatureKind::Pad;
        pad.symbol = 0;
        pad.a = {x, y + (i % 97 == 0 ? 375000 : 0)};
        top.features.push_back(pad);
        if (i % 2 == 0 && i % per_row != per_row - 1) {
            Feature line;
            line.kind = FeatureKind::Line;
            line.symbol = 1;
            line.a = {x, y};
            line.b = {x + 1000000, y};
            top.features.push_back(line);
        }
    }
    return job;
}

void BM_SpacingOfGridLayer(benchmark::State& state)
{
    auto job = grid_board(int(state.range(0)));
    Step& step = job->steps["pcb"];
    drc::ContextOptions options;
    options.nets = false;  // the family alone: nets are their own benchmark
    auto ctx = drc::build_layer_context(*job, step, "top", options);
    drc::SignalLimits limits;
    limits.pp_spacing = 200000;
    drc::LevelLimits levels;
    std::size_t found = 0;
    for (auto _ : state) {
        drc::Findings findings("top", levels);
        drc::spacing_rule({*ctx, limits, levels, findings, false});
        found = findings.size();
    }
    state.counters["findings"] = double(found);
    state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_SpacingOfGridLayer)->Arg(100000)->Arg(1000000)->Unit(benchmark::kMillisecond)->UseRealTime()->Iterations(1);

void BM_AllFamiliesOnSampleJob(benchmark::State& state)
{
    Job job;
    std::string error;
    if (!odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    job.name = "signal_bench_sample";
    Step& step = job.steps.begin()->second;
    drc::board_nets(job, step);  // kept between runs, as a session keeps them
    std::vector<std::string> copper;
    for (const MatrixRow& r : job.rows)
        if (drc::iequals(r.context, "BOARD") && drc::is_copper_type(r.type)) copper.push_back(r.name);
    drc::SignalLimits limits;
    limits.pp_spacing = limits.drill2cu = limits.rout2cu = 200000;
    limits.sliver_min = 100000;
    limits.check_missing = true;
    const std::vector<int> checks{drc::CheckSpacing, drc::CheckDrill,    drc::CheckRout, drc::CheckStubs,
                                  drc::CheckSize,    drc::CheckBottleneck, drc::CheckSliver};
    std::map<std::string, double> family_ms, family_cpu_ms;
    for (auto _ : state) {
        family_ms.clear();
        family_cpu_ms.clear();
        for (const std::string& name : copper) {
            const drc::SignalLayerRun run = drc::analyse_signal_layer(job, step, name, limits, checks, {});
            for (const auto& [family, ms] : run.family_ms) family_ms[family] += ms;
            for (const auto& [family, ms] : run.family_cpu_ms) family_cpu_ms[family] += ms;
        }
    }
    // Per family: wall time (name_ms) and processor time (name_cpu_ms).
    for (const auto& [family, ms] : family_ms) state.counters[family + "_ms"] = ms;
    for (const auto& [family, ms] : family_cpu_ms) state.counters[family + "_cpu_ms"] = ms;
}
// Three runs, medians reported (per family too): the machine is shared.
BENCHMARK(BM_AllFamiliesOnSampleJob)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->Iterations(1)
    ->Repetitions(3)
    ->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
