// Board nets of the sample job and of a generated board of 100k copper
// features with a negative plane, and the digest that keeps them current.
#include "engine/drc/nets.h"
#include "engine/formats/odb/job_io.h"

#include <benchmark/benchmark.h>

#include <memory>
#include <random>

using namespace kesto;

namespace {

Symbol symbol(SymbolFamily family, double w_um, double h_um, const std::string& name)
{
    Symbol s;
    s.family = family;
    s.p[0] = w_um * 1000;
    s.p[1] = h_um * 1000;
    s.name = name;
    return s;
}

Feature pad(int sym, Coord x, Coord y, Polarity polarity = Polarity::Positive)
{
    Feature f;
    f.kind = FeatureKind::Pad;
    f.symbol = sym;
    f.polarity = polarity;
    f.a = {x, y};
    return f;
}

Feature line(int sym, Point a, Point b)
{
    Feature f;
    f.kind = FeatureKind::Line;
    f.symbol = sym;
    f.a = a;
    f.b = b;
    return f;
}

// Top: chains of round and rectangular pads 1 mm apart joined by traces,
// some chains broken. A via every tenth site joins the top to a bottom pad
// and to a negative ground plane, through a thermal or a clearance.
std::unique_ptr<Job> generated_board(int features)
{
    auto job = std::make_unique<Job>();
    job->name = "bench";
    const char* names[] = {"top", "gnd", "bottom", "drill"};
    const char* types[] = {"SIGNAL", "POWER_GROUND", "SIGNAL", "DRILL"};
    for (int r = 0; r < 4; ++r) {
        MatrixRow row;
        row.row = r + 1;
        row.name = names[r];
        row.context = "BOARD";
        row.type = types[r];
        row.polarity = r == 1 ? "NEGATIVE" : "POSITIVE";
        job->rows.push_back(row);
    }
    Step& step = job->steps["pcb"];
    step.name = "pcb";
    Layer& top = step.layers["top"];
    Layer& gnd = step.layers["gnd"];
    Layer& bottom = step.layers["bottom"];
    Layer& drill = step.layers["drill"];
    top.symbols = {symbol(SymbolFamily::Round, 500, 500, "r500"), symbol(SymbolFamily::Rect, 400, 700, "rect400x700"),
                   symbol(SymbolFamily::Round, 150, 150, "r150")};
    bottom.symbols = {symbol(SymbolFamily::Round, 500, 500, "r500")};
    drill.symbols = {symbol(SymbolFamily::Round, 250, 250, "r250")};
    Symbol thermal = symbol(SymbolFamily::RoundThermalRounded, 900, 650, "thr900x650x45x4x150");
    thermal.p[2] = 45, thermal.p[3] = 4, thermal.p[4] = 150000;
    gnd.symbols = {symbol(SymbolFamily::Round, 800, 800, "r800"), thermal};
    std::mt19937 random(7);
    const int sites = features / 2;
    const int columns = 400;
    for (int k = 0; k < sites; ++k) {
        const Coord x = Coord(k % columns) * kNmPerMm, y = Coord(k / columns) * kNmPerMm;
        top.features.push_back(pad(k % 3 == 0 ? 1 : 0, x, y));
        if (k % columns != columns - 1 && random() % 8 != 0)
            top.features.push_back(line(2, {x, y}, {x + kNmPerMm, y}));
        else
            top.features.push_back(pad(0, x, y + kNmPerMm / 2));
        if (k % 10 == 5) {
            drill.features.push_back(pad(0, x, y));
            bottom.features.push_back(pad(0, x, y));
            gnd.features.push_back(pad(k % 20 == 5 ? 1 : 0, x, y));
        }
    }
    return job;
}

void BM_NetsOfGeneratedBoard(benchmark::State& state)
{
    auto job = generated_board(int(state.range(0)));
    Step& step = job->steps["pcb"];
    std::size_t features = 0;
    for (const auto& [name, layer] : step.layers) features += layer.features.size();
    std::int32_t nets = 0;
    for (auto _ : state) nets = drc::compute_board_nets(*job, step).count;
    state.counters["features"] = double(features);
    state.counters["nets"] = nets;
}
BENCHMARK(BM_NetsOfGeneratedBoard)->Arg(10000)->Arg(100000)->Unit(benchmark::kMillisecond)->UseRealTime();

void BM_NetsOfSampleJob(benchmark::State& state)
{
    Job job;
    std::string error;
    if (!odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) {
        state.SkipWithError(error.c_str());
        return;
    }
    Step& step = job.steps.begin()->second;
    std::int32_t nets = 0;
    for (auto _ : state) nets = drc::compute_board_nets(job, step).count;
    state.counters["nets"] = nets;
}
BENCHMARK(BM_NetsOfSampleJob)->Unit(benchmark::kMillisecond)->UseRealTime();

// What every drill check with nets pays when nothing changed.
void BM_NetsDigestOfGeneratedBoard(benchmark::State& state)
{
    auto job = generated_board(100000);
    Step& step = job->steps["pcb"];
    for (auto _ : state) benchmark::DoNotOptimize(drc::nets_fingerprint(*job, step));
}
BENCHMARK(BM_NetsDigestOfGeneratedBoard)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
