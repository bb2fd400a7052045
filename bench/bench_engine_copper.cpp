// Copper area of every copper layer of the sample job, as get_rest_cu
// measures it (the whole image, and the share inside the profile).
#include "engine/api/board_layers.h"
#include "engine/api/copper.h"
#include "engine/api/units.h"
#include "engine/geometry/geometry.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

using namespace kesto;

namespace {

struct Sample {
    std::string step;
    std::vector<std::string> copper;
};

const Sample& sample()
{
    static const Sample s = [] {
        Job job;
        std::string error;
        if (!odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) std::abort();
        job.name = "bench_copper";
        Sample out;
        out.step = job.steps.begin()->first;
        for (const MatrixRow& r : job.rows)
            if (r.context == "BOARD" && (r.type == "SIGNAL" || r.type == "POWER_GROUND" || r.type == "MIXED"))
                out.copper.push_back(r.name);
        store::add_job(std::move(job));
        return out;
    }();
    return s;
}

void AllCopperLayersOfTheSampleJob(benchmark::State& state)
{
    const Sample& s = sample();
    KESTO::API::set_working_unit(Units::Mm);
    double total = 0;
    for (auto _ : state) {
        total = 0;
        for (const std::string& layer : s.copper) {
            KESTO::API::copper_figures f;
            if (!KESTO::API::rest_copper("bench_copper", s.step, layer, KESTO::API::copper_view::plain, f))
                state.SkipWithError("a copper layer could not be measured");
            total += f.area;
        }
    }
    state.counters["layers"] = double(s.copper.size());
    state.counters["mm2"] = total;
}
BENCHMARK(AllCopperLayersOfTheSampleJob)->Unit(benchmark::kMillisecond)->MinTime(2);

// The same figures the way they were first worked: one union over the whole
// layer, then one intersection of it with the profile. Kept to compare.
void AllCopperLayersWholeBoardBooleans(benchmark::State& state)
{
    const Sample& s = sample();
    KESTO::API::set_working_unit(Units::Mm);
    double total = 0;
    for (auto _ : state) {
        total = 0;
        kesto::board::StepRef at;
        if (!kesto::board::find("bench_copper", s.step, "bench", at)) state.SkipWithError("no sample");
        const geom::Paths profile = kesto::board::profile_outline(*at.step);
        for (const std::string& layer : s.copper) {
            const geom::Paths image =
                kesto::board::layer_image(at, *kesto::board::layer(at, layer, "bench"), *kesto::board::row(at, layer));
            total += kesto::board::to_working_area(geom::area(image));
            benchmark::DoNotOptimize(geom::area(geom::intersect(image, profile)));
        }
    }
    state.counters["layers"] = double(s.copper.size());
    state.counters["mm2"] = total;
}
BENCHMARK(AllCopperLayersWholeBoardBooleans)->Unit(benchmark::kMillisecond)->MinTime(2);

} // namespace

BENCHMARK_MAIN();
