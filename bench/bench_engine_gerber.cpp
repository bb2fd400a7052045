// Gerber reading and writing speed on a large generated board image: tracks,
// arcs, pads of several apertures, regions and object attributes, as a
// routed copper layer has them.
#include "engine/api/exchange.h"
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

const std::string& board_text()
{
    static const std::string text = [] {
        std::string s = "%TF.FileFunction,Copper,L1,Top*%\n%FSLAX46Y46*%\n%MOMM*%\n"
                        "%TA.AperFunction,Conductor*%\n%ADD10C,0.150000*%\n%ADD11C,0.250000*%\n%TD*%\n"
                        "%TA.AperFunction,SMDPad,CuDef*%\n%ADD12R,1.200000X0.600000*%\n%ADD13O,1.500000X0.800000*%\n%TD*%\n"
                        "%AMTHERMAL*\n7,0,0,1.2,0.8,0.2,45*%\n%ADD14THERMAL*%\nG75*\n";
        std::uint32_t seed = 7;
        auto next = [&seed](int range) { return int((seed = seed * 1664525u + 1013904223u) >> 8) % range; };
        long x = 0, y = 0;
        while (s.size() < (64u << 20)) {
            s += "%TO.N,NET" + std::to_string(next(5000)) + "*%\n";
            s += next(2) ? "D10*\n" : "D11*\n";
            s += "X" + std::to_string(x) + "Y" + std::to_string(y) + "D02*\n";
            for (int k = 0; k < 20; ++k) {
                x = (x + next(4000000) - 1900000) % 400000000;
                y = (y + next(4000000) - 1900000) % 300000000;
                s += "X" + std::to_string(x) + "Y" + std::to_string(y) + "D01*\n";
            }
            s += "G03X" + std::to_string(x + 1000000) + "Y" + std::to_string(y + 1000000) + "I500000J500000D01*\nG01*\n";
            s += "%TD*%\n";
            s += next(2) ? "D12*\n" : "D13*\n";
            for (int k = 0; k < 10; ++k)
                s += "X" + std::to_string(x + k * 1270000) + "Y" + std::to_string(y - 2000000) + "D03*\n";
            s += "D14*\nX" + std::to_string(x) + "Y" + std::to_string(y + 3000000) + "D03*\n";
            s += "G36*\nX" + std::to_string(x) + "Y" + std::to_string(y) + "D02*\nG01X" + std::to_string(x + 5000000) +
                 "D01*\nY" + std::to_string(y + 5000000) + "D01*\nG03X" + std::to_string(x) + "Y" + std::to_string(y) +
                 "I-2500000J-2500000D01*\nG01*\nG37*\n";
        }
        return s + "M02*\n";
    }();
    return text;
}

// Reads one Gerber text over and over: MB/s and the features made.
void read_gerber_text(benchmark::State& state, const std::string& text)
{
    std::size_t features = 0;
    for (auto _ : state) {
        kesto::Layer layer;
        kesto::UserSymbols symbols;
        kesto::Reports reports;
        kesto::gerber::read(text, {}, layer, symbols, reports);
        features = layer.features.size();
        benchmark::DoNotOptimize(layer);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * text.size()));
    state.counters["features"] = double(features);
}

void BM_GerberRead(benchmark::State& state) { read_gerber_text(state, board_text()); }
BENCHMARK(BM_GerberRead)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

// Silkscreen artwork as bitmap exporters write it: thousands of tiny strokes
// and flashes, with an aperture change every few objects.
const std::string& silk_text()
{
    static const std::string text = [] {
        std::string s = "%TF.FileFunction,Legend,Top*%\n%FSLAX46Y46*%\n%MOMM*%\n";
        for (int d = 10; d < 40; ++d)
            s += "%ADD" + std::to_string(d) + (d % 3 ? "C," : "R,") + std::to_string(0.1 + 0.01 * (d - 10)) +
                 (d % 3 ? "" : "X0.1") + "*%\n";
        std::uint32_t seed = 11;
        auto next = [&seed](int range) { return int((seed = seed * 1664525u + 1013904223u) >> 8) % range; };
        long x = 0, y = 0;
        while (s.size() < (32u << 20)) {
            s += "D" + std::to_string(10 + next(30)) + "*\n";
            x = next(200000000), y = next(150000000);
            s += "X" + std::to_string(x) + "Y" + std::to_string(y) + "D02*\n";
            for (int k = 0; k < 3; ++k) {
                x += next(200000) - 100000;
                y += next(200000) - 100000;
                s += "X" + std::to_string(x) + "Y" + std::to_string(y) + "D01*\n";
            }
            for (int k = 0; k < 2; ++k) s += "X" + std::to_string(x + k * 100000) + "Y" + std::to_string(y) + "D03*\n";
        }
        return s + "M02*\n";
    }();
    return text;
}

void BM_GerberReadSilkscreen(benchmark::State& state) { read_gerber_text(state, silk_text()); }
BENCHMARK(BM_GerberReadSilkscreen)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

// Every layer of the sample production job that has features, written as
// Gerber by our writer once, then read back: real copper, masks, silkscreen
// and drawings as one stream of files.
const std::vector<std::string>& sample_layers()
{
    static const std::vector<std::string> texts = [] {
        kesto::Job job;
        std::string error;
        if (!kesto::odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) {
            std::fprintf(stderr, "%s\n", error.c_str());
            std::abort();
        }
        std::vector<std::string> out;
        kesto::gerber::WriteOptions options;
        options.fonts = kesto::geom::context_of(job).fonts;
        for (const auto& [name, layer] : job.steps.begin()->second.layers) {
            if (layer.features.empty()) continue;
            std::string text;
            kesto::Reports reports;
            kesto::gerber::write(layer, job.symbols, options, text, reports);
            out.push_back(std::move(text));
        }
        return out;
    }();
    return texts;
}

void BM_GerberReadSampleJobLayers(benchmark::State& state)
{
    std::size_t bytes = 0, features = 0;
    for (const auto& text : sample_layers()) bytes += text.size();
    for (auto _ : state) {
        features = 0;
        for (const auto& text : sample_layers()) {
            kesto::Layer layer;
            kesto::UserSymbols symbols;
            kesto::Reports reports;
            kesto::gerber::read(text, {}, layer, symbols, reports);
            features += layer.features.size();
            benchmark::DoNotOptimize(layer);
        }
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * bytes));
    state.counters["layers"] = double(sample_layers().size());
    state.counters["features"] = double(features);
    state.counters["MB"] = double(bytes) / 1e6;
}
BENCHMARK(BM_GerberReadSampleJobLayers)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_GerberWrite(benchmark::State& state)
{
    kesto::Layer layer;
    kesto::UserSymbols symbols;
    kesto::Reports reports;
    kesto::gerber::read(board_text(), {}, layer, symbols, reports);
    std::size_t bytes = 0;
    for (auto _ : state) {
        std::string out;
        kesto::gerber::write(layer, symbols, {}, out, reports);
        bytes = out.size();
        benchmark::DoNotOptimize(out);
    }
    state.SetBytesProcessed(std::int64_t(state.iterations() * bytes));
}
BENCHMARK(BM_GerberWrite)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
