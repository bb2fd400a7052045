// The signal check against the designer's netlist and parts (the job's EDA
// data): a planted short and an open on a hand-built board, pin pads of a
// fine-pitch part and a ball grid with one pad of each shaved, a reader that
// survives broken text, and on the sample job a brute-force walk over every
// netlist feature reference. Every gap, pitch and width is worked out in the
// comments from the coordinates (micrometres).
#include "drc_jobs.h"

#include "engine/drc/signal_eda.h"
#include "engine/drc/signal_rules.h"
#include "engine/formats/odb/eda_data.h"
#include "engine/formats/odb/job_io.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

using namespace kesto;
using namespace kesto::drc;
using kesto::test::JobBuilder;
namespace item = kesto::drc::signal_item;
namespace api = KESTO::API;

namespace {

std::vector<const api::check_info*> of_item(const SignalLayerRun& run, int it)
{
    std::vector<const api::check_info*> out;
    auto r = run.result.find(it);
    if (r == run.result.end()) return out;
    for (const auto& level : r->second.lv)
        for (const auto& info : level) out.push_back(&info);
    return out;
}

std::pair<int, int> features_of(const api::check_info& f)
{
    const int a = f.features[0].feature_index, b = f.features[1].feature_index;
    return {std::min(a, b), std::max(a, b)};
}

} // namespace

TEST(DrcSignalCad, APlantedShortAndAnOpenAreFoundWhereTheNetlistDisagrees)
{
    JobBuilder b("signal_cad");
    Layer& top = b.layer("top", "SIGNAL");
    const int r100 = JobBuilder::round(top, 100), r200 = JobBuilder::round(top, 200);
    // Net A along y = 0 and net B along y = 1000; a line of A (feature 6)
    // runs up to (1000,1000) and lands on B's trace: the short.
    JobBuilder::pad(top, r200, 0, 0);                   // 0 A
    JobBuilder::line(top, r100, 0, 0, 2000, 0);         // 1 A
    JobBuilder::pad(top, r200, 2000, 0);                // 2 A
    JobBuilder::pad(top, r200, 0, 1000);                // 3 B
    JobBuilder::line(top, r100, 0, 1000, 2000, 1000);   // 4 B
    JobBuilder::pad(top, r200, 2000, 1000);             // 5 B
    JobBuilder::line(top, r100, 1000, 0, 1000, 1000);   // 6 A, the short
    // Net C: its trace stops at y = 800 (edge 850), 50 short of its pad's
    // edge at 1000 - 100 = 900: the open.
    JobBuilder::pad(top, r200, 5000, 0);                // 7 C
    JobBuilder::line(top, r100, 5000, 0, 5000, 800);    // 8 C
    JobBuilder::pad(top, r200, 5000, 1000);             // 9 C
    // D and E 100 apart: a plain spacing question, nothing for the netlist.
    JobBuilder::pad(top, r200, 8000, 0);                // 10 D
    JobBuilder::pad(top, r200, 8000, 300);              // 11 E
    // A feature of the catch-all net 50 from pad 0.
    JobBuilder::pad(top, r200, 0, -250);                // 12 $NONE$

    b.job.steps["pcb"].files["eda/data"] =
        "# hand-made\nHDR test\nUNITS=MM\nLYR top\n"
        "NET A;;ID=1\nSNT TRC\nFID C 0 0\nFID C 0 1\nFID C 0 2\nSNT TRC\nFID C 0 6\n"
        "NET B\nSNT TRC\nFID C 0 3\nFID C 0 4\nFID C 0 5\n"
        "NET C\nSNT TRC\nFID C 0 7\nFID C 0 8\nSNT TRC\nFID C 0 9\n"
        "NET D\nSNT TRC\nFID C 0 10\nNET E\nSNT TRC\nFID C 0 11\n"
        "NET $NONE$\nSNT TRC\nFID C 0 12\n";

    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "TOP", {}, {CheckSpacing}, {});
    ASSERT_TRUE(r.found);

    const auto shorts = of_item(r, item::CadShort);
    ASSERT_EQ(shorts.size(), 1u);
    EXPECT_EQ(features_of(*shorts[0]), std::make_pair(4, 6));
    EXPECT_EQ(shorts[0]->measure_value, 0);
    // The marker lies where the two overlap: within the end disc of line 6.
    EXPECT_NEAR(shorts[0]->geometry[0], 1.0, 0.05 + 1e-6);
    EXPECT_NEAR(shorts[0]->geometry[1], 1.0, 0.05 + 1e-6);

    const auto opens = of_item(r, item::CadSelfSpacing);
    ASSERT_EQ(opens.size(), 1u);
    EXPECT_EQ(features_of(*opens[0]), std::make_pair(8, 9));
    EXPECT_NEAR(opens[0]->measure_value, 50000, 1000);
    // Segment from the trace's end (5000,850) to the pad's edge (5000,900).
    ASSERT_GE(opens[0]->geometry.size(), 4u);
    EXPECT_NEAR(std::min(opens[0]->geometry[1], opens[0]->geometry[3]), 0.85, 1e-3);
    EXPECT_NEAR(std::max(opens[0]->geometry[1], opens[0]->geometry[3]), 0.90, 1e-3);
    EXPECT_NEAR(opens[0]->geometry[0], 5.0, 1e-3);

    // Without a netlist neither category says anything.
    b.job.steps["pcb"].files.erase("eda/data");
    const SignalLayerRun bare = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {}, {CheckSpacing}, {});
    EXPECT_TRUE(of_item(bare, item::CadShort).empty());
    EXPECT_TRUE(of_item(bare, item::CadSelfSpacing).empty());
}

TEST(DrcSignalCad, PinPadsGiveTheirPitchSpacingAndShaves)
{
    JobBuilder b("signal_smd");
    Layer& top = b.layer("top", "SIGNAL");
    b.layer("comp_+_top", "COMPONENT").files["components"] =
        "UNITS=MM\n# CMP 0\nCMP 0 0 0 0 N U1 QFP ;ID=1\nTOP 0 0 0 0 N 0 0 1\n# CMP 1\nCMP 1 5 0 0 N U2 BGA\n";
    const int rect = JobBuilder::symbol(top, SymbolFamily::Rect, 250, 1000, "rect250x1000");
    const int ball = JobBuilder::round(top, 800);
    // U1: three 250 x 1000 pads at x = 0, 500, 1100: pitches 500 and 600,
    // edge gaps 500 - 250 = 250 and 600 - 250 = 350.
    const auto q1 = JobBuilder::pad(top, rect, 0, 0);
    const auto q2 = JobBuilder::pad(top, rect, 500, 0);
    const auto q3 = JobBuilder::pad(top, rect, 1100, 0);
    // U2: four 800 balls on a 1000 grid: gaps 1000 - 800 = 200 side by side.
    const auto a1 = JobBuilder::pad(top, ball, 5000, 0);
    const auto a2 = JobBuilder::pad(top, ball, 6000, 0);
    const auto b1 = JobBuilder::pad(top, ball, 5000, 1000);
    const auto b2 = JobBuilder::pad(top, ball, 6000, 1000);
    // A 100 wide cut over x 1175..1275 leaves q3 975..1175: 200 wide.
    const auto cut1 = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 100, 2000, "rect100x2000"), 1225, 0);
    top.features[cut1].polarity = Polarity::Negative;
    // A cut over y 1300..1500 leaves b2 600..1300: 700 high, 800 wide.
    const auto cut2 = JobBuilder::pad(top, JobBuilder::symbol(top, SymbolFamily::Rect, 1000, 200, "rect1000x200"), 6000, 1400);
    top.features[cut2].polarity = Polarity::Negative;
    // A plain pad that belongs to no part.
    JobBuilder::pad(top, rect, 0, 5000);

    b.job.steps["pcb"].files["eda/data"] =
        "UNITS=MM\nLYR top\n"
        "PKG QFP 0.5 -1 -1 1 1\nRC -1 -1 2 2\n"
        "PIN 1 S 0 0 0 U U\nRC -0.125 -0.5 0.25 1\nPIN 2 S 0.5 0 0 U U\nRC 0.375 -0.5 0.25 1\n"
        "PIN 3 S 1.1 0 0 U U\nRC 0.975 -0.5 0.25 1\n"
        "PKG BGA 1 -1 -1 2 2\nCR 0 0 1\n"
        "PIN A1 S 0 0 0 U U\nCR 0 0 0.4\nPIN A2 S 1 0 0 U U\nCR 1 0 0.4\n"
        "PIN B1 S 0 1 0 U U\nCR 0 1 0.4\nPIN B2 S 1 1 0 U U\nCR 1 1 0.4\n"
        "NET N1\nSNT TOP T 0 0\nFID C 0 " + std::to_string(q1) + "\n"
        "NET N2\nSNT TOP T 0 1\nFID C 0 " + std::to_string(q2) + "\n"
        "NET N3\nSNT TOP T 0 2\nFID C 0 " + std::to_string(q3) + "\n"
        "NET N4\nSNT TOP T 1 0\nFID C 0 " + std::to_string(a1) + "\nSNT TOP T 1 1\nFID C 0 " + std::to_string(a2) +
        "\nNET N5\nSNT TOP T 1 2\nFID C 0 " + std::to_string(b1) + "\nSNT TOP T 1 3\nFID C 0 " + std::to_string(b2) + "\n";
    // a1-a2 and b1-b2 share a CAD net, but the board keeps every pad apart:
    // the spacing below is between board nets.

    const SignalLayerRun r = analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {}, {CheckSmd}, {});
    ASSERT_TRUE(r.found);

    auto pitches = of_item(r, item::SmdPitch);
    ASSERT_EQ(pitches.size(), 2u);
    std::sort(pitches.begin(), pitches.end(), [](auto* x, auto* y) { return x->measure_value < y->measure_value; });
    EXPECT_EQ(pitches[0]->measure_value, 500000);
    EXPECT_EQ(features_of(*pitches[0]), std::make_pair(int(q1), int(q2)));
    EXPECT_EQ(pitches[1]->measure_value, 1000000);

    const auto toes = of_item(r, item::ToePrintToToePrint);
    ASSERT_EQ(toes.size(), 1u);
    EXPECT_EQ(toes[0]->measure_value, 250000);
    EXPECT_EQ(features_of(*toes[0]), std::make_pair(int(q1), int(q2)));

    const auto balls = of_item(r, item::BgaToBga);
    ASSERT_EQ(balls.size(), 4u);
    std::set<std::pair<int, int>> ball_pairs;
    for (auto* f : balls) {
        // The cut ball b2 is measured on its outline, a polygon within 1 um of the circle.
        EXPECT_NEAR(f->measure_value, 200000, 1000);
        ball_pairs.insert(features_of(*f));
    }
    EXPECT_EQ(ball_pairs, (std::set<std::pair<int, int>>{{int(a1), int(a2)}, {int(a1), int(b1)},
                                                         {int(a2), int(b2)}, {int(b1), int(b2)}}));

    const auto smd = of_item(r, item::ShavedSmd);
    ASSERT_EQ(smd.size(), 1u);
    EXPECT_EQ(smd[0]->features[0].feature_index, int(q3));
    EXPECT_NEAR(smd[0]->measure_value, 200000, 10);
    const auto bga = of_item(r, item::ShavedBga);
    ASSERT_EQ(bga.size(), 1u);
    EXPECT_EQ(bga[0]->features[0].feature_index, int(b2));
    EXPECT_NEAR(bga[0]->measure_value, 700000, 1000);
}

TEST(DrcSignalCad, BrokenEdaTextIsReadAroundNeverThrough)
{
    const std::string good = "LYR top bottom\nNET A\nSNT TRC\nFID C 1 7\n";
    std::vector<std::string> bad = {
        "FID C 0 1\n",                               // before any subnet
        "NET\nSNT\nSNT TOP\nSNT TOP T x 1\n",         // short and non-numeric
        "NET B\nSNT TRC\nFID C 9 1\nFID C 0 -4\nFID C 0 99999999999\nFID\n",
        "PIN 1 S 0 0\nPKG\nPIN\nPIN 1 S zero 0\nCR\n",
        std::string("NET \0\0\xff\xfe ;;\n", 12),
        "SNT TOP T 99999999999999999999 1\n",
    };
    std::mt19937 rng(11);
    for (int i = 0; i < 50; ++i) {  // random bytes, and a good text cut anywhere
        std::string noise(std::size_t(rng() % 200), ' ');
        for (char& c : noise) c = char(rng() % 256);
        bad.push_back(noise);
        bad.push_back(good.substr(0, rng() % good.size()));
    }
    for (const std::string& text : bad) {
        odb::EdaData eda;
        EXPECT_NO_THROW(odb::read_eda_data(good + text + good, eda));
        // The good records on either side are kept.
        ASSERT_GE(eda.nets.size(), 2u);
        EXPECT_EQ(eda.nets.front().subnets.at(0).features.at(0).feature, 7u);
        EXPECT_EQ(eda.nets.back().subnets.at(0).features.at(0).layer, 1);
    }
    odb::EdaData eda;
    odb::read_eda_data("NET A\nSNT TRC\nFID C 9 1\n", eda);  // no LYR: the layer is unknown
    EXPECT_TRUE(eda.nets.at(0).subnets.at(0).features.empty());
    EXPECT_FALSE(eda.problems.empty());

    // On a board, references past the layer's features are passed over.
    JobBuilder b("signal_cad_broken");
    Layer& top = b.layer("top", "SIGNAL");
    JobBuilder::pad(top, JobBuilder::round(top, 200), 0, 0);
    b.job.steps["pcb"].files["eda/data"] = "LYR top\nNET A\nSNT TOP T 5 5\nFID C 0 0\nFID C 0 40\nNET B\nSNT TRC\nFID C 0 3\n";
    EXPECT_NO_THROW(analyse_signal_layer(b.job, b.job.steps["pcb"], "top", {}, {CheckSpacing, CheckSmd}, {}));
}

TEST(DrcSignalCad, EveryNetlistReferenceOfTheSampleIsCopperWhereItSays)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    const Step& step = job.steps.at("step");
    const auto eda = odb::step_eda_data(step);
    ASSERT_TRUE(eda);
    EXPECT_TRUE(eda->problems.empty()) << eda->problems.front();
    // Counted from the file with grep: 644 NET, 71 PKG records.
    EXPECT_EQ(eda->nets.size(), 644u);
    EXPECT_EQ(eda->packages.size(), 71u);
    ASSERT_FALSE(eda->top.empty());

    std::size_t copper = 0, toeprints = 0, traces = 0;
    for (const odb::EdaNet& net : eda->nets)
        for (const odb::EdaSubnet& s : net.subnets)
            for (const odb::EdaFeatureId& f : s.features) {
                if (f.type != 'C') continue;
                const std::string& name = eda->layers.at(std::size_t(f.layer));
                auto l = std::find_if(step.layers.begin(), step.layers.end(), [&](const auto& e) {
                    return std::equal(e.first.begin(), e.first.end(), name.begin(), name.end(),
                                      [](char x, char y) { return std::tolower(x) == std::tolower(y); });
                });
                ASSERT_NE(l, step.layers.end()) << name;
                ASSERT_LT(f.feature, l->second.features.size()) << net.name << " " << name;
                const Feature& feature = l->second.features[f.feature];
                ++copper;
                EXPECT_EQ(feature.polarity, Polarity::Positive);
                // A pin's toeprint is a pad; a trace subnet holds lines and arcs.
                if (s.kind == "TOP") {
                    ++toeprints;
                    EXPECT_EQ(feature.kind, FeatureKind::Pad) << net.name;
                }
                if (s.kind == "TRC") {
                    ++traces;
                    EXPECT_TRUE(feature.kind == FeatureKind::Line || feature.kind == FeatureKind::Arc) << net.name;
                }
                if (s.kind == "TOP" && s.side == 'T') {
                    EXPECT_LT(std::size_t(s.component), eda->top.size());
                }
            }
    EXPECT_GT(copper, 10000u);
    EXPECT_GT(toeprints, 2000u);
    EXPECT_GT(traces, 1000u);
}
