// The signal-layer families over the job's EDA data and pin pads (CAD short
// and self spacing, SMD pitch, toeprint and BGA spacing, shaved pads, texts,
// pad connections, local spacing, shaved lines) on the eight copper layers
// of the sample job, the layer contexts made beforehand (they are shared
// with every other family); and
// reading the sample's eda/data, which a check does once per job.
#include "engine/drc/signal_rules.h"
#include "engine/formats/odb/eda_data.h"
#include "engine/formats/odb/job_io.h"

#include <benchmark/benchmark.h>

#include <memory>

using namespace kesto;

namespace {

Job* sample_job()
{
    static std::unique_ptr<Job> job;
    if (!job) {
        auto j = std::make_unique<Job>();
        std::string error;
        if (!odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", *j, error)) return nullptr;
        j->name = "signal_eda_bench";
        job = std::move(j);
    }
    return job.get();
}

void BM_ReadSampleEdaData(benchmark::State& state)
{
    Job* job = sample_job();
    if (!job) return state.SkipWithError("sample job not read");
    const std::string& text = job->steps.begin()->second.files.at("eda/data");
    for (auto _ : state) {
        odb::EdaData eda;
        odb::read_eda_data(text, eda);
        benchmark::DoNotOptimize(eda.nets.size());
    }
}
BENCHMARK(BM_ReadSampleEdaData)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_EdaFamiliesOnSampleJob(benchmark::State& state)
{
    Job* job = sample_job();
    if (!job) return state.SkipWithError("sample job not read");
    Step& step = job->steps.begin()->second;
    std::vector<std::unique_ptr<drc::LayerContext>> contexts;
    for (const MatrixRow& r : job->rows)
        if (drc::iequals(r.context, "BOARD") && drc::is_copper_type(r.type))
            contexts.push_back(drc::build_layer_context(*job, step, r.name, {}));
    // Large pours' prepared outlines are the context's, made once for every
    // family (the spacing family makes them first in a run).
    for (const auto& ctx : contexts)
        for (std::uint32_t p = 0; p < ctx->pieces.size(); ++p) ctx->prepared(p);
    drc::SignalLimits limits;
    limits.pp_spacing = 200000;
    limits.min_pad_overlap = 50000;
    limits.pad_connection = true;
    drc::LevelLimits levels;
    std::size_t found = 0;
    for (auto _ : state) {
        found = 0;
        for (const auto& ctx : contexts) {
            drc::Findings findings(ctx->name, levels);
            const drc::RuleInput in{*ctx, limits, levels, findings, false};
            drc::cad_spacing_rule(in);
            drc::smd_pitch_rule(in);
            drc::toeprint_spacing_rule(in);
            drc::shaved_pad_rule(in);
            drc::text_rule(in);
            drc::pad_connection_rule(in);
            drc::local_spacing_rule(in);
            drc::shaved_line_rule(in);
            found += findings.size();
        }
    }
    state.counters["findings"] = double(found);
}
BENCHMARK(BM_EdaFamiliesOnSampleJob)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
