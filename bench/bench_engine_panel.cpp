// Panels: automatic panelisation of a 100 x 80 mm board on a 610 x 510 mm
// panel with four rotations, and flattening a panel layer of the sample job.
#include "engine/api/jobs.h"
#include "engine/api/panel.h"
#include "engine/edit/step_repeat.h"
#include "engine/panel/autopanel.h"
#include "engine/store/store.h"

#include <benchmark/benchmark.h>

#include <string>

namespace {

constexpr kesto::Coord mm = kesto::kNmPerMm;

void BM_AutopanelProductionPanel(benchmark::State& state)
{
    kesto::panel::PanelRequest r;
    r.board_width = 100 * mm, r.board_height = 80 * mm;
    r.panel_width = 610 * mm, r.panel_height = 510 * mm;
    r.margin_left = r.margin_right = r.margin_bottom = r.margin_top = 15 * mm;
    r.spacing_x = r.spacing_y = 2 * mm;
    r.angles = {0, 90, 180, 270};
    kesto::panel::PanelPlan plan;
    std::string error;
    for (auto _ : state) {
        kesto::panel::plan_panel(r, plan, error);
        benchmark::DoNotOptimize(plan.count);
    }
    state.counters["boards"] = plan.count;
}
BENCHMARK(BM_AutopanelProductionPanel)->Unit(benchmark::kMillisecond);

// The same without spacing or margins: more cut positions to try.
void BM_AutopanelBareSheet(benchmark::State& state)
{
    kesto::panel::PanelRequest r;
    r.board_width = 100 * mm, r.board_height = 80 * mm;
    r.panel_width = 610 * mm, r.panel_height = 510 * mm;
    r.angles = {0, 90, 180, 270};
    kesto::panel::PanelPlan plan;
    std::string error;
    for (auto _ : state) {
        kesto::panel::plan_panel(r, plan, error);
        benchmark::DoNotOptimize(plan.count);
    }
    state.counters["boards"] = plan.count;
}
BENCHMARK(BM_AutopanelBareSheet)->Unit(benchmark::kMillisecond);

// Six copies of the sample board's layer-1 (11868 features each).
void BM_FlattenSamplePanelLayer(benchmark::State& state)
{
    KESTO::API::open_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", "sample_design");
    std::string error;
    KESTO::API::set_step_repeat("sample_design", "panel", {{"step", 187.005, 20, 180, 150, 3, 2, 0, false, false}}, error);
    kesto::Job* job = kesto::store::find_job("sample_design");
    const kesto::Step* panel = kesto::store::find_step(*job, "panel");
    kesto::Layer flat;
    for (auto _ : state) {
        kesto::edit::flattened_layer(*job, *panel, "layer-1", flat, error);
        benchmark::DoNotOptimize(flat.features.size());
    }
    state.counters["features"] = double(flat.features.size());
}
BENCHMARK(BM_FlattenSamplePanelLayer)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
