// Board nets of small hand-built boards whose connectivity is known.
#include "drc_jobs.h"

#include "engine/drc/drill_analysis.h"
#include "engine/drc/nets.h"

#include "engine/geometry/hit.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
using kesto::test::um;

namespace {

std::uint32_t rect_surface(Layer& l, double x1, double y1, double x2, double y2, Polarity polarity = Polarity::Positive)
{
    Contour c;
    c.start = {um(x1), um(y1)};
    for (Point p : {Point{um(x2), um(y1)}, Point{um(x2), um(y2)}, Point{um(x1), um(y2)}, Point{um(x1), um(y1)}})
        c.segments.push_back({p, {}, false, false});
    l.surfaces.push_back({{c}});
    Feature f;
    f.kind = FeatureKind::Surface;
    f.polarity = polarity;
    f.body = std::uint32_t(l.surfaces.size() - 1);
    l.features.push_back(f);
    return std::uint32_t(l.features.size() - 1);
}

void make_negative(Layer& l, std::uint32_t feature) { l.features[feature].polarity = Polarity::Negative; }

// Top and bottom copper with a through drill layer between them.
struct TwoLayerBoard {
    JobBuilder b{"nets"};
    Layer& top = b.layer("top", "SIGNAL");
    Layer& bottom = b.layer("bottom", "SIGNAL");
    Layer& drill = b.layer("drill", "DRILL");
    Step& step() { return b.job.steps["pcb"]; }
};

} // namespace

TEST(DrcNets, CopperJoinsWhereItOverlapsAndOnlyThere)
{
    TwoLayerBoard board;
    Layer& top = board.top;
    const int r500 = JobBuilder::round(top, 500);
    const int r100 = JobBuilder::round(top, 100);
    const int rect = JobBuilder::symbol(top, SymbolFamily::Rect, 400, 800, "rect400x800");
    const auto p1 = JobBuilder::pad(top, r500, 0, 0);
    const auto p2 = JobBuilder::pad(top, r500, 5000, 0);
    const auto trace = JobBuilder::line(top, r100, 0, 0, 5000, 0);
    const auto alone = JobBuilder::pad(top, r500, 0, 3000);
    const auto smd = JobBuilder::pad(top, rect, 8000, 0);
    const auto stub = JobBuilder::line(top, r100, 5000, 0, 7850, 0);      // its round end overlaps the rect
    const auto near_miss = JobBuilder::pad(top, rect, 8000, 2000);       // 1200 um above the first rect: apart
    const auto diagonal = JobBuilder::line(top, r100, 9000, 5000, 8100, 2300); // ends inside the upper rect

    const BoardNets nets = compute_board_nets(board.b.job, board.step());
    auto net = [&](std::uint32_t f) { return nets.net("top", f); };
    EXPECT_EQ(net(p1), net(p2));
    EXPECT_EQ(net(p1), net(trace));
    EXPECT_NE(net(p1), net(alone));
    EXPECT_EQ(net(smd), net(p1));
    EXPECT_EQ(net(stub), net(p1));
    EXPECT_NE(net(near_miss), net(smd));
    EXPECT_EQ(net(diagonal), net(near_miss));
    EXPECT_EQ(nets.count, 3);
    for (std::uint32_t f = 0; f < top.features.size(); ++f) EXPECT_GE(net(f), 0) << "feature " << f;
}

TEST(DrcNets, PlatedHolesJoinLayersOfTheirSpanAndNonPlatedOnesDoNot)
{
    TwoLayerBoard board;
    Layer& inner = board.b.layer("l2", "POWER_GROUND");
    Layer& blind = board.b.layer("blind", "DRILL", "top", "l2");
    // Matrix order: top, l2, bottom, drill, blind.
    for (MatrixRow& row : board.b.job.rows) row.row = std::map<std::string, int>{{"top", 1}, {"l2", 2}, {"bottom", 3}, {"drill", 4}, {"blind", 5}}.at(row.name);
    const int pad = JobBuilder::round(board.top, 600);
    const int pad_b = JobBuilder::round(board.bottom, 600);
    const int pad_i = JobBuilder::round(inner, 600);
    const int hole = JobBuilder::round(board.drill, 300);
    const int hole_blind = JobBuilder::round(blind, 100);

    // A through via at (0,0), an NPTH at (3000,0), a blind via at (6000,0).
    const auto top_via = JobBuilder::pad(board.top, pad, 0, 0);
    const auto bottom_via = JobBuilder::pad(board.bottom, pad_b, 0, 0);
    const auto via = JobBuilder::pad(board.drill, hole, 0, 0);
    JobBuilder::attribute(board.drill, via, ".drill", "via");
    const auto top_npth = JobBuilder::pad(board.top, pad, 3000, 0);
    const auto bottom_npth = JobBuilder::pad(board.bottom, pad_b, 3000, 0);
    const auto npth = JobBuilder::pad(board.drill, hole, 3000, 0);
    JobBuilder::attribute(board.drill, npth, ".drill", "non_plated");
    const auto top_blind = JobBuilder::pad(board.top, pad, 6000, 0);
    const auto inner_blind = JobBuilder::pad(inner, pad_i, 6000, 0);
    const auto bottom_blind = JobBuilder::pad(board.bottom, pad_b, 6000, 0);
    JobBuilder::pad(blind, hole_blind, 6000, 0);
    const auto lonely = JobBuilder::pad(board.drill, hole, 9000, 0); // meets no copper

    const BoardNets nets = compute_board_nets(board.b.job, board.step());
    EXPECT_EQ(nets.net("top", top_via), nets.net("bottom", bottom_via));
    EXPECT_EQ(nets.net("drill", via), nets.net("top", top_via));
    EXPECT_NE(nets.net("top", top_npth), nets.net("bottom", bottom_npth));
    EXPECT_EQ(nets.net("drill", npth), nets.net("top", top_npth)) << "a non-plated hole sits in the copper it cuts";
    EXPECT_EQ(nets.net("top", top_blind), nets.net("l2", inner_blind));
    EXPECT_NE(nets.net("top", top_blind), nets.net("bottom", bottom_blind)) << "the blind via stops at l2";
    EXPECT_GE(nets.net("drill", lonely), 0);
    EXPECT_NE(nets.net("drill", lonely), nets.net("drill", via));
    EXPECT_EQ(nets.drills, (std::vector<std::string>{"drill", "blind"}));
}

TEST(DrcNets, NegativePlaneClearanceIsolatesAViaAndAThermalConnectsOne)
{
    TwoLayerBoard board;
    Layer& plane = board.b.layer("gnd", "POWER_GROUND");
    board.b.job.rows.back().polarity = "NEGATIVE";
    Step& step = board.step();
    step.has_profile = true;
    Contour outline;
    outline.start = {um(-5000), um(-5000)};
    for (Point p : {Point{um(20000), um(-5000)}, Point{um(20000), um(5000)}, Point{um(-5000), um(5000)}, Point{um(-5000), um(-5000)}})
        outline.segments.push_back({p, {}, false, false});
    step.profile.contours = {outline};

    const int pad = JobBuilder::round(board.top, 600);
    const int hole = JobBuilder::round(board.drill, 300);
    const int clearance = JobBuilder::round(plane, 900);
    Symbol thermal;
    thermal.family = SymbolFamily::RoundThermalRounded;
    thermal.p = {double(um(1000)), double(um(700)), 45, 4, double(um(150))};
    thermal.name = "thr1000x700x45x4x150";
    plane.symbols.push_back(thermal);

    const auto isolated_pad = JobBuilder::pad(board.top, pad, 0, 0);
    JobBuilder::pad(board.drill, hole, 0, 0);
    JobBuilder::pad(plane, clearance, 0, 0);
    const auto thermal_pad = JobBuilder::pad(board.top, pad, 10000, 0);
    JobBuilder::pad(board.drill, hole, 10000, 0);
    Feature relief;
    relief.kind = FeatureKind::Pad;
    relief.symbol = int(plane.symbols.size() - 1);
    relief.a = {um(10000), 0};
    plane.features.push_back(relief);

    const BoardNets nets = compute_board_nets(board.b.job, step);
    EXPECT_EQ(nets.net("gnd", 0), -1) << "a clearance on a negative layer carries no copper";
    const std::int32_t plane_net = nets.net("top", thermal_pad);
    EXPECT_NE(nets.net("top", isolated_pad), plane_net);
    // The plane itself is a net: the thermal's via reaches it, so two nets in
    // all (isolated via, plane with thermal via), none of them the same.
    EXPECT_EQ(nets.count, 2);

    // Without the clearance the first via reaches the plane as well.
    plane.features.erase(plane.features.begin());
    const BoardNets joined = compute_board_nets(board.b.job, step);
    EXPECT_EQ(joined.net("top", isolated_pad), joined.net("top", thermal_pad));
    EXPECT_EQ(joined.count, 1);
}

TEST(DrcNets, NegativeLineSplitsASurfaceOnlyWhenDrawnAfterIt)
{
    TwoLayerBoard board;
    Layer& top = board.top;
    const int pad = JobBuilder::round(top, 500);
    const int cut = JobBuilder::round(top, 200);
    rect_surface(top, 0, 0, 10000, 4000);
    const auto left = JobBuilder::pad(top, pad, 1000, 2000);
    const auto right = JobBuilder::pad(top, pad, 9000, 2000);
    const auto slot = JobBuilder::line(top, cut, 5000, -500, 5000, 4500);
    make_negative(top, slot);

    BoardNets nets = compute_board_nets(board.b.job, board.step());
    EXPECT_NE(nets.net("top", left), nets.net("top", right));
    EXPECT_EQ(nets.net("top", slot), -1);
    EXPECT_GE(nets.net("top", 0), 0);
    EXPECT_EQ(nets.count, 2);

    // The same cut drawn before the surface takes nothing from it.
    std::rotate(top.features.begin(), top.features.begin() + 3, top.features.end());
    nets = compute_board_nets(board.b.job, board.step());
    EXPECT_EQ(nets.net("top", 1), nets.net("top", 2));
    EXPECT_EQ(nets.net("top", 1), nets.net("top", 3));
    EXPECT_EQ(nets.count, 1);

    // A pad drawn after the cut bridges it again.
    std::rotate(top.features.begin(), top.features.begin() + 1, top.features.end()); // cut after the surface
    const int bridge = JobBuilder::symbol(top, SymbolFamily::Rect, 1000, 300, "rect1000x300");
    JobBuilder::pad(top, bridge, 5000, 2000);
    nets = compute_board_nets(board.b.job, board.step());
    EXPECT_EQ(nets.net("top", 1), nets.net("top", 2));
}

TEST(DrcNets, KeptNetsFollowEditsOfTheStep)
{
    TwoLayerBoard board;
    const int pad = JobBuilder::round(board.top, 500);
    JobBuilder::pad(board.top, pad, 0, 0);
    JobBuilder::pad(board.top, pad, 400, 0);
    forget_board_nets("nets", "");
    auto first = board_nets(board.b.job, board.step());
    EXPECT_EQ(first->count, 1);
    EXPECT_EQ(board_nets(board.b.job, board.step()), first) << "an unchanged step is not computed again";
    EXPECT_EQ(kept_board_nets("nets", "pcb"), first);

    board.top.features[1].a.x = um(2000);
    auto moved = board_nets(board.b.job, board.step());
    EXPECT_NE(moved, first);
    EXPECT_EQ(moved->count, 2);
    EXPECT_EQ(forget_board_nets("nets", ""), 1);
    EXPECT_EQ(kept_board_nets("nets", "pcb"), nullptr);
}

namespace {

std::size_t count(const DrillAnalysis& a, const std::string& layer, KESTO::API::drill_check_item item)
{
    auto l = a.result.find(layer);
    if (l == a.result.end()) return 0;
    auto it = l->second.items.find(item);
    if (it == l->second.items.end()) return 0;
    std::size_t n = 0;
    for (const auto& list : it->second.lv) n += list.size();
    return n;
}

} // namespace

TEST(DrcNetsDrill, ClosePlatedHolesAreSortedBySameAndDifferentNet)
{
    namespace api = KESTO::API;
    TwoLayerBoard board;
    const int land = JobBuilder::round(board.top, 600);
    const int trace = JobBuilder::round(board.top, 200);
    const int land_b = JobBuilder::round(board.bottom, 600);
    const int hole = JobBuilder::round(board.drill, 300);
    auto npth = [&](double x, double y) {
        JobBuilder::attribute(board.drill, JobBuilder::pad(board.drill, hole, x, y), ".drill", "non_plated");
    };
    // Same net: two PTHs 500 um apart (a 200 um web), their top lands joined by a trace.
    JobBuilder::pad(board.top, land, 0, 0);
    JobBuilder::pad(board.top, land, 0, 500);
    JobBuilder::line(board.top, trace, 0, 0, 0, 500);
    JobBuilder::pad(board.drill, hole, 0, 0);
    JobBuilder::pad(board.drill, hole, 0, 500);
    // Different nets: lands 500 apart, one on top and one on the bottom, not joined.
    JobBuilder::pad(board.top, land, 5000, 0);
    JobBuilder::pad(board.bottom, land_b, 5000, 500);
    JobBuilder::pad(board.drill, hole, 5000, 0);
    JobBuilder::pad(board.drill, hole, 5000, 500);
    // A PTH beside an NPTH drilled through copper of the PTH's net ...
    JobBuilder::pad(board.top, land, 10000, 0);
    JobBuilder::line(board.top, trace, 10000, 0, 10000, 500);
    JobBuilder::pad(board.drill, hole, 10000, 0);
    npth(10000, 500);
    // ... and one beside an NPTH in bare laminate.
    JobBuilder::pad(board.top, land, 15000, 0);
    JobBuilder::pad(board.drill, hole, 15000, 0);
    npth(15000, 500);

    DrillOptions o;
    o.hole_separation = o.use_pth = o.use_npth = o.use_via = true;
    o.board_nets = true;
    forget_board_nets("nets", "");
    DrillAnalysis a = analyse_drill(board.b.job, board.step(), {"drill"}, o, {});
    EXPECT_EQ(count(a, "drill", api::SameNetClosePths), 1u);
    EXPECT_EQ(count(a, "drill", api::DifferentNetClosePths), 1u);
    EXPECT_EQ(count(a, "drill", api::ClosePth2NpthConn), 1u);
    EXPECT_EQ(count(a, "drill", api::ClosePth2NpthIsolate), 1u);
    EXPECT_EQ(count(a, "drill", api::CloseHoles), 0u);

    // Each category keeps its own limits: a same-net limit below the 200 um
    // web leaves that pair out.
    LevelLimits limits{{api::SameNetClosePths, {um(50), um(100), um(150)}}};
    a = analyse_drill(board.b.job, board.step(), {"drill"}, o, limits);
    EXPECT_EQ(count(a, "drill", api::SameNetClosePths), 0u);
    EXPECT_EQ(count(a, "drill", api::DifferentNetClosePths), 1u);

    // Without board nets every plated pair is a plain close pair.
    o.board_nets = false;
    a = analyse_drill(board.b.job, board.step(), {"drill"}, o, {});
    EXPECT_EQ(count(a, "drill", api::CloseHoles), 4u);
    EXPECT_EQ(count(a, "drill", api::SameNetClosePths), 0u);
}

// Random positive layers: the nets must be the connected groups that a
// brute-force walk over every pair finds with the kernel's own clearance.
TEST(DrcNets, RandomLayersAgreeWithEveryPairMeasured)
{
    std::mt19937 random(11);
    for (int round = 0; round < 6; ++round) {
        TwoLayerBoard board;
        Layer& top = board.top;
        const int shapes[] = {JobBuilder::round(top, 300), JobBuilder::round(top, 120),
                              JobBuilder::symbol(top, SymbolFamily::Rect, 400, 250, "rect400x250"),
                              JobBuilder::symbol(top, SymbolFamily::Oval, 500, 200, "oval500x200")};
        auto coord = [&] { return double(random() % 8000); };
        for (int k = 0; k < 150; ++k) {
            switch (random() % 4) {
            case 0: JobBuilder::line(top, shapes[1], coord(), coord(), coord() / 4 + 2000, coord() / 4 + 2000); break;
            case 1: rect_surface(top, coord(), coord(), 0, 0); break;
            default: {
                const auto f = JobBuilder::pad(top, shapes[random() % 4], coord(), coord());
                top.features[f].angle = double(random() % 360);
            }
            }
        }
        // Surfaces of a random size: grow each to a box from its corner.
        for (Surface& s : top.surfaces) {
            Contour& c = s.contours[0];
            const Coord x = c.start.x, y = c.start.y, w = um(200 + random() % 600), h = um(100 + random() % 300);
            c.segments = {{{x + w, y}, {}, false, false}, {{x + w, y + h}, {}, false, false},
                          {{x, y + h}, {}, false, false}, {{x, y}, {}, false, false}};
        }
        const BoardNets nets = compute_board_nets(board.b.job, board.step());
        const geom::OutlineContext context = geom::context_of(board.b.job);
        const std::size_t n = top.features.size();
        std::vector<int> group(n, -1);
        int groups = 0;
        for (std::size_t start = 0; start < n; ++start) {
            if (group[start] >= 0) continue;
            std::vector<std::size_t> todo{start};
            group[start] = groups;
            while (!todo.empty()) {
                const std::size_t a = todo.back();
                todo.pop_back();
                for (std::size_t b = 0; b < n; ++b)
                    if (group[b] < 0 &&
                        geom::feature_distance(top, top.features[a], top, top.features[b], context).distance <= double(kJoinGap)) {
                        group[b] = groups;
                        todo.push_back(b);
                    }
            }
            ++groups;
        }
        EXPECT_EQ(nets.count, groups) << "round " << round;
        for (std::size_t a = 0; a < n; ++a)
            for (std::size_t b = a + 1; b < n; ++b)
                ASSERT_EQ(nets.net("top", a) == nets.net("top", b), group[a] == group[b])
                    << "round " << round << ", features " << a << " and " << b;
    }
}

// Random layers with negative features: each feature's net must be the
// island of the painted layer image that holds what is left of it.
TEST(DrcNets, RandomLayersWithNegativesAgreeWithThePaintedImage)
{
    std::mt19937 random(5);
    for (int round = 0; round < 4; ++round) {
        TwoLayerBoard board;
        Layer& top = board.top;
        const int shapes[] = {JobBuilder::round(top, 400), JobBuilder::round(top, 150),
                              JobBuilder::symbol(top, SymbolFamily::Rect, 600, 300, "rect600x300")};
        auto coord = [&] { return double(random() % 6000); };
        for (int k = 0; k < 120; ++k) {
            std::uint32_t f;
            if (random() % 3 == 0) {
                const double x = coord(), y = coord();
                f = JobBuilder::line(top, shapes[1], x, y, x + coord() / 3, y + coord() / 6);
            } else {
                f = JobBuilder::pad(top, shapes[random() % 3], coord(), coord());
            }
            if (random() % 4 == 0) make_negative(top, f);
        }
        rect_surface(top, 1000, 1000, 4000, 4000);
        for (int k = 0; k < 20; ++k) make_negative(top, JobBuilder::line(top, shapes[1], coord(), coord(), coord(), coord()));

        const BoardNets nets = compute_board_nets(board.b.job, board.step());
        const geom::OutlineContext context = geom::context_of(board.b.job);
        ClipperLib::Clipper clipper;
        clipper.AddPaths(geom::layer_outline(top, context), ClipperLib::ptSubject, true);
        ClipperLib::PolyTree tree;
        clipper.Execute(ClipperLib::ctUnion, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
        std::vector<geom::Paths> image_islands;
        std::vector<const ClipperLib::PolyNode*> outer(tree.Childs.begin(), tree.Childs.end());
        while (!outer.empty()) {
            const ClipperLib::PolyNode* node = outer.back();
            outer.pop_back();
            geom::Paths island{node->Contour};
            for (const ClipperLib::PolyNode* hole : node->Childs) {
                island.push_back(hole->Contour);
                outer.insert(outer.end(), hole->Childs.begin(), hole->Childs.end());
            }
            image_islands.push_back(island);
        }

        std::vector<int> island_of(top.features.size(), -1);
        for (std::size_t i = 0; i < top.features.size(); ++i) {
            if (top.features[i].polarity == Polarity::Negative) {
                EXPECT_EQ(nets.net("top", i), -1);
                continue;
            }
            geom::Paths later;
            for (std::size_t k = i + 1; k < top.features.size(); ++k)
                if (top.features[k].polarity == Polarity::Negative) {
                    const geom::Paths cut = geom::feature_outline(top, top.features[k], context);
                    later.insert(later.end(), cut.begin(), cut.end());
                }
            const geom::Paths left = geom::subtract(geom::feature_outline(top, top.features[i], context), later);
            // A point well inside the largest island of what is left.
            double best = 0;
            ClipperLib::IntPoint inside;
            for (const geom::Path& path : left) {
                const double a = ClipperLib::Area(path);
                if (a <= best) continue;
                const geom::Paths shrunk = geom::offset(geom::Paths{path}, -2000);
                if (shrunk.empty()) continue;
                best = a;
                inside = shrunk.front().front();
            }
            if (best == 0) continue; // nothing solid left to place a point in
            for (std::size_t k = 0; k < image_islands.size(); ++k)
                if (geom::locate(inside, image_islands[k]) == geom::Where::Inside) island_of[i] = int(k);
            EXPECT_GE(nets.net("top", i), 0) << "feature " << i;
        }
        for (std::size_t a = 0; a < top.features.size(); ++a)
            for (std::size_t b = a + 1; b < top.features.size(); ++b) {
                if (island_of[a] < 0 || island_of[b] < 0) continue;
                ASSERT_EQ(nets.net("top", a) == nets.net("top", b), island_of[a] == island_of[b])
                    << "round " << round << ", features " << a << " and " << b;
            }
    }
}

TEST(DrcNets, DamagedFeaturesGetNoNetAndHurtNothing)
{
    TwoLayerBoard board;
    Layer& top = board.top;
    const int r500 = JobBuilder::round(top, 500);
    const int null_symbol = JobBuilder::symbol(top, SymbolFamily::Null, 0, 0, "null0");
    const int nan_round = JobBuilder::symbol(top, SymbolFamily::Round, 0, 0, "rnan");
    top.symbols[std::size_t(nan_round)].p[0] = std::nan("");
    const auto good = JobBuilder::pad(top, r500, 0, 0);
    JobBuilder::pad(top, null_symbol, 0, 0);
    JobBuilder::pad(top, nan_round, 0, 0);
    const auto missing = JobBuilder::pad(top, 99, 0, 0);           // no such symbol
    const auto far = JobBuilder::line(top, r500, -1e12, -1e12, 1e12, 1e12); // a line across the world
    Feature empty_surface;
    empty_surface.kind = FeatureKind::Surface;
    empty_surface.body = 42;                                          // no such body
    top.features.push_back(empty_surface);
    Feature barcode;
    barcode.kind = FeatureKind::Barcode;
    top.features.push_back(barcode);
    Layer& drill = board.drill;
    JobBuilder::pad(drill, JobBuilder::symbol(drill, SymbolFamily::Rect, 300, 300, "rect300x300"), 0, 0); // not a hole

    const BoardNets nets = compute_board_nets(board.b.job, board.step());
    EXPECT_GE(nets.net("top", good), 0);
    EXPECT_EQ(nets.net("top", far), nets.net("top", good)) << "the long line runs through the pad";
    EXPECT_EQ(nets.net("top", missing), -1);
    EXPECT_EQ(nets.net("top", top.features.size() - 2), -1);
    EXPECT_EQ(nets.net("top", top.features.size() - 1), -1);
    EXPECT_EQ(nets.net("drill", 0), -1);
    EXPECT_EQ(nets.net("nowhere", 0), -1);
}
