// Spacing on the real sample job against a brute-force count: around a
// sample of reported gaps, every pair of features of different nets in a
// small window is measured by the kernel's feature distance, and each pair
// at or below the limit must be reported with the same gap.
#include "engine/drc/signal_rules.h"
#include "engine/formats/odb/job_io.h"
#include "engine/geometry/hit.h"
#include "engine/geometry/outline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <set>

using namespace kesto;
using namespace kesto::drc;

TEST(DrcSignalSample, ReportedGapsMatchABruteForceCountInWindows)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    job.name = "signal_sample";
    Step& step = job.steps.at("step");
    const Coord limit = 200000;
    SignalLimits limits;
    limits.pp_spacing = limit;
    const geom::OutlineContext outlines = geom::context_of(job);
    const auto nets = board_nets(job, step);

    for (const char* name : {"layer-1", "layer-3", "layer-8"}) {
        SCOPED_TRACE(name);
        const SignalLayerRun run = analyse_signal_layer(job, step, name, limits, {CheckSpacing}, {});
        ASSERT_TRUE(run.found);
        for (const auto& [family, ms] : run.family_ms) std::cout << name << " " << family << " " << ms << " ms\n";
        const Layer& layer = step.layers.at(name);
        // Every reported pair of different nets, by feature positions.
        std::map<std::pair<int, int>, Coord> reported;
        Coord layer_min = limit + 1;
        std::vector<Point> where;
        for (const auto& [item, r] : run.result) {
            if (item == signal_item::SameNetSpacing || item >= signal_item::ExposedToExposed && item <= signal_item::ExposedToFullyCovered)
                continue;
            for (const auto& level : r.lv)
                for (const auto& f : level) {
                    const int a = f.features[0].feature_index, b = f.features[1].feature_index;
                    reported[{std::min(a, b), std::max(a, b)}] = f.measure_value;
                    layer_min = std::min<Coord>(layer_min, f.measure_value);
                    where.push_back({(f.values[0] + f.values[2]) / 2, (f.values[1] + f.values[3]) / 2});
                }
        }
        ASSERT_FALSE(reported.empty());
        // The layer's smallest gap first, then an even sample of the others.
        std::sort(where.begin(), where.end(), [](Point a, Point b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
        std::vector<Point> windows;
        for (std::size_t i = 0; i < where.size(); i += std::max<std::size_t>(1, where.size() / 8)) windows.push_back(where[i]);
        std::vector<Box> boxes;
        for (const Feature& f : layer.features) boxes.push_back(geom::feature_box(layer, f, outlines));
        Coord brute_min = limit + 1;
        int pairs_checked = 0;
        for (Point c : windows) {
            const Box window{c.x - 600000, c.y - 600000, c.x + 600000, c.y + 600000};
            std::vector<int> inside;
            bool negative = false;
            for (std::size_t i = 0; i < layer.features.size(); ++i) {
                const Box& fb = boxes[i];
                if (fb.xmax < window.xmin || fb.xmin > window.xmax || fb.ymax < window.ymin || fb.ymin > window.ymax) continue;
                if (layer.features[i].polarity == Polarity::Negative) negative = true;
                // Planes are left out: the brute force measures features of pad and trace size.
                else if (layer.features[i].kind != FeatureKind::Barcode && fb.xmax - fb.xmin < 5000000 && fb.ymax - fb.ymin < 5000000)
                    inside.push_back(int(i));
            }
            if (negative) continue;  // the brute force measures whole outlines only
            for (std::size_t i = 0; i < inside.size(); ++i)
                for (std::size_t j = i + 1; j < inside.size(); ++j) {
                    const int a = inside[i], b = inside[j];
                    const int na = nets->net(name, std::size_t(a)), nb = nets->net(name, std::size_t(b));
                    if (na < 0 || na == nb) continue;
                    const double d = geom::feature_distance(layer, layer.features[std::size_t(a)], layer,
                                                            layer.features[std::size_t(b)], outlines).distance;
                    if (d <= 0 || d > double(limit)) continue;
                    brute_min = std::min<Coord>(brute_min, Coord(d));
                    ++pairs_checked;
                    auto it = reported.find({a, b});
                    ASSERT_NE(it, reported.end()) << "pair " << a << "," << b << " at " << d << " nm not reported";
                    EXPECT_NEAR(double(it->second), d, 1000.0) << "pair " << a << "," << b;
                }
        }
        EXPECT_GT(pairs_checked, 0);
        EXPECT_GE(brute_min + 1000, layer_min) << "no gap smaller than the reported minimum";
        std::cout << name << ": " << reported.size() << " gaps, smallest " << layer_min << " nm; "
                  << pairs_checked << " pairs measured by brute force\n";
    }
}

// Dangling trace ends on the sample job against a brute force over every
// feature of the layer: each reported free end touches no other copper, and
// a sample of the ends not reported each touch some.
TEST(DrcSignalSample, DanglingEndsMatchABruteForceOverTheWholeLayer)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    job.name = "signal_sample_stubs";
    Step& step = job.steps.at("step");
    const geom::OutlineContext outlines = geom::context_of(job);
    LevelLimits levels;
    levels[signal_item::Stubs] = {1000000, 5000000, 20000000};  // dangling branches up to 20 mm

    for (const char* name : {"layer-1", "layer-8"}) {
        SCOPED_TRACE(name);
        const SignalLayerRun run = analyse_signal_layer(job, step, name, {}, {CheckStubs}, levels);
        ASSERT_TRUE(run.found);
        const Layer& layer = step.layers.at(name);
        std::vector<Box> boxes;
        for (const Feature& f : layer.features) boxes.push_back(geom::feature_box(layer, f, outlines));
        // How an end of a round-symbol trace stands: 1 touches other copper,
        // 0 touches none, -1 a negative feature is near (not judged here).
        auto touches = [&](std::size_t self, Point end, Coord r) {
            int touching = 0;
            for (std::size_t j = 0; j < layer.features.size(); ++j) {
                const Box& b = boxes[j];
                if (j == self || b.xmax < end.x - r - 2000 || b.xmin > end.x + r + 2000 || b.ymax < end.y - r - 2000 ||
                    b.ymin > end.y + r + 2000)
                    continue;
                const Feature& f = layer.features[j];
                // Negatives and planes: the brute force measures whole outlines of pad and trace size.
                if (f.polarity == Polarity::Negative || b.xmax - b.xmin > 5000000 || b.ymax - b.ymin > 5000000) return -1;
                if (f.kind == FeatureKind::Barcode) continue;
                if (geom::feature_point_distance(layer, f, end, outlines).distance <= double(r) + 1000) touching = 1;
            }
            return touching;
        };
        std::set<std::pair<int, Coord>> free_ends;  // feature, end x
        int judged = 0;
        if (auto it = run.result.find(signal_item::Stubs); it != run.result.end())
            for (const auto& level : it->second.lv)
                for (const auto& f : level) {
                    const std::size_t k = std::size_t(f.features[0].feature_index);
                    const Feature& line = layer.features[k];
                    const Point end{f.values[0], f.values[1]};
                    free_ends.insert({int(k), end.x});
                    const Coord r = Coord(std::llround(layer.symbols[std::size_t(line.symbol)].p[0] / 2));
                    const int t = touches(k, end, r);
                    if (t < 0) continue;
                    ++judged;
                    EXPECT_EQ(t, 0) << "feature " << k << " reported dangling but touches copper";
                    const double own = std::hypot(double(line.b.x - line.a.x), double(line.b.y - line.a.y));
                    if (line.kind == FeatureKind::Line) EXPECT_GE(double(f.measure_value) + 1, own);
                }
        // Every 5th round line, both ends.
        int sampled = 0;
        for (std::size_t k = 0; k < layer.features.size(); k += 5) {
            const Feature& line = layer.features[k];
            if (line.kind != FeatureKind::Line || line.polarity != Polarity::Positive || line.symbol < 0) continue;
            const Symbol& s = layer.symbols[std::size_t(line.symbol)];
            if (s.family != SymbolFamily::Round) continue;
            for (Point end : {line.a, line.b}) {
                if (free_ends.count({int(k), end.x})) continue;
                const int t = touches(k, end, Coord(std::llround(s.p[0] / 2)));
                if (t < 0) continue;
                ++sampled;
                EXPECT_EQ(t, 1) << "feature " << k << " dangles at " << end.x << "," << end.y << " but was not reported";
            }
        }
        EXPECT_GT(sampled, 20);
        std::cout << name << ": " << free_ends.size() << " dangling ends (" << judged << " judged), " << sampled
                  << " other ends checked\n";
    }
}

// Slivers on the sample's planes against the plain definition, window by
// window: round a sample of reported slivers, the piece's copper is opened
// (shrunk and grown by half the limit) and what the opening takes away is
// thin copper. Each sampled marker must meet such a part, and every thin part
// of the window larger than the limit squared must lie under some marker.
TEST(DrcSignalSample, SliversMatchTheOpeningInWindows)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    job.name = "signal_sample_slivers";
    Step& step = job.steps.at("step");
    const Coord limit = 250000;  // wide enough to find webs between the planes' clearances
    SignalLimits limits;
    limits.sliver_min = limit;
    auto meets = [](const Box& a, const Box& b) {
        return a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax;
    };
    int windows = 0;
    for (const char* name : {"layer-2", "layer-3", "layer-6"}) {
        SCOPED_TRACE(name);
        const SignalLayerRun run = analyse_signal_layer(job, step, name, limits, {CheckSliver}, {});
        ASSERT_TRUE(run.found);
        auto ctx = build_layer_context(job, step, name, {false, false, false});
        std::map<int, std::size_t> piece_of;  // feature to piece
        for (std::size_t k = 0; k < ctx->pieces.size(); ++k) piece_of[int(ctx->pieces[k].feature)] = k;
        std::map<int, std::vector<Box>> markers;  // by feature
        auto it = run.result.find(signal_item::Slivers);
        if (it == run.result.end()) continue;
        for (const auto& level : it->second.lv)
            for (const auto& f : level)
                markers[f.features[0].feature_index].push_back({f.values[0] - f.values[2] / 2, f.values[1] - f.values[3] / 2,
                                                                f.values[0] + f.values[2] / 2, f.values[1] + f.values[3] / 2});
        std::vector<std::pair<int, Box>> all;
        for (const auto& [feature, boxes] : markers)
            for (const Box& b : boxes) all.push_back({feature, b});
        std::cout << name << ": " << all.size() << " slivers\n";
        for (std::size_t s = 0; s < all.size(); s += std::max<std::size_t>(1, all.size() / 6)) {
            const int feature = all[s].first;
            const Box at = all[s].second;
            const Box window{at.xmin - 4 * limit, at.ymin - 4 * limit, at.xmax + 4 * limit, at.ymax + 4 * limit};
            const geom::Paths copper = geom::clip_to_box(ctx->pieces[piece_of.at(feature)].copper, window);
            const geom::Paths thin = geom::subtract(copper, geom::offset(geom::offset(copper, -double(limit) / 2), double(limit) / 2));
            const Box inner{window.xmin + limit, window.ymin + limit, window.xmax - limit, window.ymax - limit};
            bool marked_thin = false;
            for (const geom::Path& part : thin) {
                const Box pb = geom::box_of(part);
                if (meets(pb, at) && geom::area({part}) > 1e6) marked_thin = true;
                if (geom::area({part}) < double(limit) * double(limit) || !meets(pb, inner) ||
                    pb.xmin <= window.xmin || pb.ymin <= window.ymin || pb.xmax >= window.xmax || pb.ymax >= window.ymax)
                    continue;
                bool covered = false;
                for (const Box& m : markers[feature]) covered = covered || meets(m, pb);
                EXPECT_TRUE(covered) << "thin part at " << pb.xmin << "," << pb.ymin << " - " << pb.xmax << "," << pb.ymax
                                     << " not reported";
            }
            EXPECT_TRUE(marked_thin) << "sliver marked at " << at.xmin << "," << at.ymin << " - " << at.xmax << ","
                                     << at.ymax << " is not thin";
            ++windows;
        }
    }
    EXPECT_GT(windows, 3);
}
