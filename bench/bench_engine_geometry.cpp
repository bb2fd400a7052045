// The geometry kernel on a layer of one million pads and lines: building the
// index, selecting by polygon and by click, and keeping the index current
// while 100,000 features move; and one clearance against a large pour.
#include "engine/geometry/hit.h"
#include "engine/geometry/prepared_outline.h"

#include <benchmark/benchmark.h>

#include <cmath>

namespace {

using namespace kesto;
using namespace kesto::geom;

constexpr Coord mm = kNmPerMm;
constexpr int kSide = 1000; // features per row and column, 0.5 mm apart

Symbol make_symbol(SymbolFamily family, double a, double b = 0)
{
    Symbol s;
    s.family = family;
    s.p[0] = a;
    s.p[1] = b;
    return s;
}

// Round and turned rectangular pads, and short round lines, on a 500 mm board.
const Layer& board()
{
    static const Layer layer = [] {
        Layer l;
        l.symbols = {make_symbol(SymbolFamily::Round, 0.3 * mm), make_symbol(SymbolFamily::Rect, 0.4 * mm, 0.2 * mm),
                     make_symbol(SymbolFamily::Round, 0.1 * mm)};
        l.features.reserve(std::size_t(kSide) * kSide);
        for (int i = 0; i < kSide; ++i) {
            for (int j = 0; j < kSide; ++j) {
                Feature f;
                f.a = {i * mm / 2, j * mm / 2};
                switch ((i + j) % 3) {
                case 0: f.kind = FeatureKind::Pad; f.symbol = 0; break;
                case 1: f.kind = FeatureKind::Pad; f.symbol = 1; f.angle = 30; break;
                default:
                    f.kind = FeatureKind::Line;
                    f.symbol = 2;
                    f.b = {f.a.x + mm / 4, f.a.y + mm / 8};
                }
                l.features.push_back(f);
            }
        }
        return l;
    }();
    return layer;
}

const LayerIndex& board_index()
{
    static const LayerIndex index = [] {
        LayerIndex i;
        i.build(board(), {});
        return i;
    }();
    return index;
}

void BM_IndexBuild(benchmark::State& state)
{
    const Layer& layer = board();
    for (auto _ : state) {
        LayerIndex index;
        index.build(layer, {});
        benchmark::DoNotOptimize(index.size());
    }
}
BENCHMARK(BM_IndexBuild)->Unit(benchmark::kMillisecond);

// A slanted pentagon over about a tenth of the board.
Path selection_polygon()
{
    return {{100 * mm, 100 * mm}, {260 * mm, 120 * mm}, {270 * mm, 220 * mm}, {180 * mm, 280 * mm}, {90 * mm, 230 * mm}};
}

// A slanted frame around the whole board.
Path whole_board_polygon()
{
    return {{-10 * mm, -20 * mm}, {520 * mm, -10 * mm}, {510 * mm, 520 * mm}, {-20 * mm, 510 * mm}};
}

// A drawn lasso of 1,000 points over about a tenth of the board.
Path lasso_polygon()
{
    Path lasso;
    for (int k = 0; k < 1000; ++k) {
        double t = 2 * kPi * k / 1000, r = (90 + 10 * std::sin(7 * t)) * mm;
        lasso.push_back({Coord(180 * mm + r * std::cos(t)), Coord(190 * mm + r * std::sin(t))});
    }
    return lasso;
}

void BM_SelectByPolygon(benchmark::State& state)
{
    const Layer& layer = board();
    const LayerIndex& index = board_index();
    Path polygon = state.range(1) == 1 ? whole_board_polygon() : state.range(1) == 2 ? lasso_polygon() : selection_polygon();
    auto test = state.range(0) ? PolygonTest::Touching : PolygonTest::Inside;
    std::size_t caught = 0;
    for (auto _ : state) {
        caught = features_in_polygon(layer, index, polygon, test, {}).size();
        benchmark::DoNotOptimize(caught);
    }
    state.counters["features"] = double(caught);
}
BENCHMARK(BM_SelectByPolygon)->Args({0, 0})->Args({1, 0})->Args({0, 1})->Args({0, 2})->Unit(benchmark::kMillisecond);

void BM_SelectByPoint(benchmark::State& state)
{
    const Layer& layer = board();
    const LayerIndex& index = board_index();
    Coord x = 0;
    std::size_t hits = 0;
    for (auto _ : state) {
        x = (x + 7919 * mm / 100) % (kSide * mm / 2);
        hits += features_at(layer, index, Point{x, x / 3}, mm / 10, {}).size();
    }
    state.counters["hits_per_click"] = double(hits) / double(state.iterations());
}
BENCHMARK(BM_SelectByPoint)->Unit(benchmark::kMicrosecond);

// Moving 100,000 features by 1 mm: the index follows feature by feature.
void BM_IndexUpdate100k(benchmark::State& state)
{
    Layer layer = board();
    LayerIndex index;
    index.build(layer, {});
    Coord step = mm;
    for (auto _ : state) {
        for (std::size_t i = 0; i < layer.features.size(); i += 10) {
            Feature& f = layer.features[i];
            f.a.x += step;
            f.b.x += step;
            index.update(i, feature_box(layer, f, {}));
        }
        step = -step;
    }
}
BENCHMARK(BM_IndexUpdate100k)->Unit(benchmark::kMillisecond);

// Clearance of a turned rectangular pad to a copper pour of 20,000 edges,
// the pour prepared once, as a spacing check measures pad after pad.
void BM_ClearancePadToPour(benchmark::State& state)
{
    Layer layer;
    layer.symbols = {make_symbol(SymbolFamily::Rect, 0.4 * mm, 0.2 * mm)};
    Contour pour;
    pour.start = {0, 0};
    for (int k = 1; k <= 20000; ++k)
        pour.segments.push_back(Segment{{k * mm / 200, (k % 2) * mm / 10}, {}, false, false});
    pour.segments.push_back(Segment{{100 * mm, -50 * mm}, {}, false, false});
    pour.segments.push_back(Segment{{0, -50 * mm}, {}, false, false});
    pour.segments.push_back(Segment{{0, 0}, {}, false, false});
    PreparedOutline pour_outline(surface_outline(Surface{{pour}}));
    Feature pad;
    pad.kind = FeatureKind::Pad;
    pad.symbol = 0;
    pad.angle = 10;
    Coord x = 0;
    for (auto _ : state) {
        x = (x + 7 * mm) % (100 * mm);
        pad.a = {x, mm / 2};
        benchmark::DoNotOptimize(pour_outline.distance(feature_outline(layer, pad, {})));
    }
}
BENCHMARK(BM_ClearancePadToPour)->Unit(benchmark::kMicrosecond);

} // namespace

BENCHMARK_MAIN();
