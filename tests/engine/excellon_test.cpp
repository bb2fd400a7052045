// The Excellon reader and writer: the shared cases, the number forms real
// drill files use, plating, and our output read back.
#include "engine/api/exchange.h"
#include "support/test_support.h"
#include "engine/gerber_gerbv.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kesto {
namespace {

struct Drill {
    bool ok = false;
    Layer layer;
    Reports reports;
};

Drill read(const std::string& text, KESTO::API::file_Parameters defaults = {})
{
    Drill d;
    excellon::ReadOptions options;
    options.file_name = "test.drl";
    options.defaults = defaults;
    d.ok = excellon::read(text, options, d.layer, d.reports);
    return d;
}

std::string drill_case(const std::string& name)
{
    return test::read_file(std::string(KESTO_TESTDATA) + "/gerber/drill/" + name);
}

std::string attribute(const Layer& layer, const Feature& f, const std::string& name)
{
    if (!f.attributes) return {};
    for (auto& v : layer.attribute_sets[f.attributes - 1])
        if (layer.attribute_names[v.name] == name) return v.value;
    return {};
}

constexpr Coord kTenth = kNmPerInch / 10000; // 0.0001 inch

TEST(ExcellonReader, SharedCases)
{
    Drill hit = read(drill_case("hit.drl"));
    ASSERT_TRUE(hit.ok);
    ASSERT_EQ(hit.layer.features.size(), 1u);
    EXPECT_EQ(hit.layer.symbols[std::size_t(hit.layer.features[0].symbol)].name, "r12700");
    ASSERT_EQ(hit.layer.tools.size(), 1u);
    EXPECT_EQ(hit.layer.tools[0].drill_size, kNmPerInch / 2);
    EXPECT_EQ(hit.layer.tools[0].type, "PLATED");

    Drill slot = read(drill_case("slot.drl"));
    ASSERT_EQ(slot.layer.features.size(), 1u);
    EXPECT_EQ(int(slot.layer.features[0].kind), int(FeatureKind::Line));
    EXPECT_EQ(slot.layer.features[0].b, (Point{5000 * kTenth, 0}));

    Drill linear = read(drill_case("linear-route.drl"));
    ASSERT_EQ(linear.layer.features.size(), 2u); // the G00 move cuts nothing
    EXPECT_EQ(linear.layer.features[0].a, (Point{0, 0}));
    EXPECT_EQ(linear.layer.features[1].b, (Point{5000 * kTenth, 0}));

    // The SVG of this case has the four quarter arcs bulge alternately; the
    // radius form (A) and the centre form (I, J) must agree.
    Drill arcs = read(drill_case("arc-route.drl"));
    ASSERT_TRUE(arcs.ok);
    ASSERT_EQ(arcs.layer.features.size(), 4u);
    const Point centres[] = {{2500 * kTenth, 0}, {2500 * kTenth, 5000 * kTenth}, {10000 * kTenth, 0}, {10000 * kTenth, 5000 * kTenth}};
    for (int i = 0; i < 4; ++i) {
        const Feature& f = arcs.layer.features[std::size_t(i)];
        EXPECT_EQ(int(f.kind), int(FeatureKind::Arc)) << i;
        EXPECT_EQ(f.c, centres[i]) << i;
        EXPECT_EQ(f.cw, i % 2 == 0) << i;
    }
}

TEST(ExcellonReader, NumberFormsUnitsAndModes)
{
    // Leading zeros kept (LZ): numbers are padded on the right to 3.3.
    Drill lz = read("M48\nMETRIC,LZ\nT1C0.8\n%\nT1\nX01Y0015\nM30\n");
    ASSERT_EQ(lz.layer.features.size(), 1u);
    EXPECT_EQ(lz.layer.features[0].a, (Point{10 * kNmPerMm, Coord(1.5 * kNmPerMm)}));
    // Decimal numbers, incremental mode and repeats.
    Drill inc = read("M48\nMETRIC\nT3C1.0\n%\nT3\nG91\nX1.5Y2.\nX1.0Y0\nR3X0Y-0.5\nM30\n");
    ASSERT_TRUE(inc.ok);
    ASSERT_EQ(inc.layer.features.size(), 5u);
    EXPECT_EQ(inc.layer.features[1].a, (Point{2500000, 2000000}));
    EXPECT_EQ(inc.layer.features[4].a, (Point{2500000, 500000}));
    // The format from the unit line, and a tool defined in the body.
    Drill format = read("M48\nINCH,TZ,00.000\n%\nT2C0.040\nX1Y1\nM30\n");
    ASSERT_EQ(format.layer.features.size(), 1u);
    EXPECT_EQ(format.layer.features[0].a.x, kNmPerInch / 1000);
    // Parameters from identification apply where the file is silent.
    KESTO::API::file_Parameters p;
    p.units = "mm";
    p.zeroes_omitted = "trailing";
    p.Number_format_integer = 3;
    p.Number_format_decimal = 3;
    Drill silent = read("T1C0.5\nX0015Y001\nM30\n", p);
    ASSERT_EQ(silent.layer.features.size(), 1u);
    EXPECT_EQ(silent.layer.features[0].a, (Point{1500000, 1000000}));
}

TEST(ExcellonReader, PlatingFromCommentsBecomesDrillAttributes)
{
    Drill d = read("M48\n; #@! TA.AperFunction,Plated,PTH,ComponentDrill\nINCH,TZ\n;TYPE=PLATED\nT1C0.02\n"
                   ";TYPE=NON_PLATED\nT2C0.125\n; via holes\nT3C0.012\n%\nT1\nX1Y1\nT2\nX2Y2\nT3\nX3Y3\nM30\n");
    ASSERT_TRUE(d.ok);
    ASSERT_EQ(d.layer.features.size(), 3u);
    EXPECT_EQ(attribute(d.layer, d.layer.features[0], ".drill"), "plated");
    EXPECT_EQ(attribute(d.layer, d.layer.features[1], ".drill"), "non_plated");
    EXPECT_EQ(attribute(d.layer, d.layer.features[2], ".drill"), "via");
    ASSERT_EQ(d.layer.tools.size(), 3u);
    EXPECT_EQ(d.layer.tools[1].type, "NON_PLATED");
}

TEST(ExcellonReader, BrokenInputIsReportedWithItsLine)
{
    Drill d = read("M48\nINCH,TZ\nT1C0.02\n%\nT1\nX1Y1\nT7\nX2Y2\nXQ\nX3Y3\nM30\n");
    EXPECT_FALSE(d.ok);
    ASSERT_GE(d.reports.size(), 2u);
    EXPECT_EQ(d.reports[0].line, 7);
    EXPECT_NE(d.reports[0].message.find("T7"), std::string::npos);
    EXPECT_EQ(d.reports[0].file, "test.drl");
    // What came before and after the faults is kept.
    EXPECT_EQ(d.layer.features.size(), 1u);

    // Truncated and mutated cases neither crash nor fail silently.
    std::uint32_t seed = 99;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u; };
    const char alphabet[] = "XYTCGMRAIJ0123456789.-,;%\n";
    for (const char* name : {"hit.drl", "slot.drl", "linear-route.drl", "arc-route.drl"}) {
        const std::string text = drill_case(name);
        for (std::size_t cut = 0; cut < text.size(); ++cut) {
            Drill r = read(text.substr(0, cut));
            if (!r.ok) EXPECT_FALSE(r.reports.empty());
        }
        for (int round = 0; round < 300; ++round) {
            std::string mutated = text;
            for (int k = 0; k < 3; ++k) mutated[next() % mutated.size()] = alphabet[next() % (sizeof alphabet - 1)];
            Drill r = read(mutated);
            if (!r.ok) EXPECT_FALSE(r.reports.empty());
        }
    }
    EXPECT_FALSE(read("M48\nINCH\nT1C0.01\n%\nT1\nX1Y1\nR999999999X1\nM30\n").ok);
    EXPECT_FALSE(read("M48\nINCH\nT1C0.01\n%\nT1\nX1Y1\nG02X2Y2A0\nM30\n").ok);
}

TEST(ExcellonWriter, OurOutputReadsBack)
{
    std::vector<std::string> cases = {"hit.drl", "slot.drl", "linear-route.drl", "arc-route.drl"};
    Drill mixed = read("M48\nINCH,TZ\n;TYPE=NON_PLATED\nT1C0.125\n%\nT1\nX1Y1\nX-5000Y25000\nM30\n");
    for (const std::string& name : cases) {
        Drill original = read(drill_case(name));
        for (const char* zeros : {"leading", "trailing", "none"})
            for (bool inch : {false, true}) {
                excellon::WriteOptions options;
                options.inch = inch;
                options.zeroes_omitted = zeros;
                options.integer_digits = inch ? 2 : 3;
                options.decimal_digits = inch ? 5 : 4;
                std::string text;
                Reports reports;
                ASSERT_TRUE(excellon::write(original.layer, options, text, reports)) << name;
                Drill back = read(text);
                ASSERT_TRUE(back.ok) << text;
                ASSERT_EQ(back.layer.tools.size(), original.layer.tools.size());
                EXPECT_EQ(back.layer.tools[0].drill_size, original.layer.tools[0].drill_size);
                // Arcs over a half turn come back in two pieces.
                ASSERT_EQ(back.layer.features.size(), original.layer.features.size()) << name << "\n" << text;
                const Coord tolerance = inch ? 254 : 100;
                for (std::size_t i = 0; i < back.layer.features.size(); ++i) {
                    const Feature& f = original.layer.features[i];
                    const Feature& g = back.layer.features[i];
                    EXPECT_EQ(int(f.kind), int(g.kind));
                    EXPECT_NEAR(double(f.a.x), double(g.a.x), tolerance) << name << " " << zeros << " " << inch;
                    EXPECT_NEAR(double(f.b.y), double(g.b.y), tolerance);
                    EXPECT_NEAR(double(f.c.x), double(g.c.x), tolerance);
                    EXPECT_EQ(f.cw, g.cw);
                }
            }
    }
    std::string text;
    Reports reports;
    ASSERT_TRUE(excellon::write(mixed.layer, {}, text, reports));
    Drill back = read(text);
    EXPECT_EQ(attribute(back.layer, back.layer.features[1], ".drill"), "non_plated");
    EXPECT_EQ(back.layer.features[1].a, (Point{-5000 * kTenth, 25000 * kTenth}));
}

// gerbv draws drill hits and slots (not rout paths): ours must look like the originals.
TEST(ExcellonWriter, GerbvShowsOurHitsAndSlotsAsTheOriginal)
{
    if (!have_gerbv()) GTEST_SKIP() << "gerbv is not installed: no second opinion";
    test::TempDir dir;
    test::write_file(dir / "mixed.drl", "M48\nINCH,LZ\nT1C0.04\nT2C0.125\n%\nT1\nX005Y005\nX01Y-005\nR4X001Y0\nT2\nX-01Y-01G85X-005Y-01\nM30\n");
    for (const std::string& file : {std::string(KESTO_TESTDATA) + "/gerber/drill/hit.drl",
                                    std::string(KESTO_TESTDATA) + "/gerber/drill/slot.drl", dir / "mixed.drl"}) {
        Drill original = read(test::read_file(file));
        ASSERT_TRUE(original.ok) << file;
        // Not with trailing zeros left out: gerbv guesses its own number format for those.
        for (const char* zeros : {"leading", "none"}) {
            excellon::WriteOptions options;
            options.zeroes_omitted = zeros;
            std::string text;
            Reports reports;
            ASSERT_TRUE(excellon::write(original.layer, options, text, reports));
            test::write_file(dir / "ours.drl", text);
            ASSERT_TRUE(gerbv_png(file, dir / "theirs.png"));
            ASSERT_TRUE(gerbv_png(dir / "ours.drl", dir / "ours.png"));
            EXPECT_GE(agreement(dir / "theirs.png", dir / "ours.png"), 0.995) << file << " " << zeros << "\n" << text;
        }
    }
}

TEST(ExcellonWriter, ScalesAboutTheAnchor)
{
    Drill d = read("M48\nMETRIC\nT1C0.5\n%\nT1\nX10.0Y20.0\nX0Y0G85X4.0Y0\nM30\n");
    excellon::WriteOptions options;
    options.x_scale = 1.001;
    options.y_scale = 0.999;
    options.anchor = {10 * kNmPerMm, 10 * kNmPerMm};
    std::string text;
    Reports reports;
    ASSERT_TRUE(excellon::write(d.layer, options, text, reports));
    Drill back = read(text);
    ASSERT_EQ(back.layer.features.size(), 2u);
    EXPECT_EQ(back.layer.features[0].a, (Point{10 * kNmPerMm, 19990000}));
    EXPECT_EQ(back.layer.features[1].a, (Point{-10000, 10000}));
    EXPECT_EQ(back.layer.features[1].b, (Point{3994000, 10000}));
    // Unequal scales would turn rout arcs into ellipses: refused.
    Drill arcs = read(drill_case("arc-route.drl"));
    EXPECT_FALSE(excellon::write(arcs.layer, options, text, reports));
}

TEST(ExcellonWriter, RefusesWhatCannotBeDrilled)
{
    Layer layer;
    Symbol square;
    square.family = SymbolFamily::Square;
    square.name = "s100";
    square.p[0] = 100000;
    layer.symbols.push_back(square);
    Feature pad;
    pad.symbol = 0;
    layer.features.push_back(pad);
    std::string text;
    Reports reports;
    EXPECT_FALSE(excellon::write(layer, {}, text, reports));
    ASSERT_EQ(reports.size(), 1u);
    EXPECT_NE(reports[0].message.find("not drillable"), std::string::npos);
}

// Cut short anywhere or with bytes changed, a drill file is read as far as it
// goes: no crash, and a failure always says why.
TEST(ExcellonReader, SurvivesTruncatedAndMutatedInput)
{
    std::uint32_t seed = 777;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u; };
    const char alphabet[] = "MTCXYGRF%;,.-+0123456789 \nINCHMETRICLZTZ";
    std::vector<std::string> texts = {test::read_file(std::string(KESTO_SOURCE_DIR) + "/examples/board/demo-drill.drl")};
    for (const char* name : {"slot.drl", "hit.drl", "arc-route.drl", "linear-route.drl"}) texts.push_back(drill_case(name));
    for (const std::string& text : texts) {
        for (std::size_t cut = 0; cut < text.size(); cut += 1 + text.size() / 29) {
            Drill d = read(text.substr(0, cut));
            if (!d.ok) EXPECT_FALSE(d.reports.empty());
        }
        for (int round = 0; round < 60; ++round) {
            std::string mutated = text;
            for (int k = 0; k < 3; ++k) mutated[next() % mutated.size()] = alphabet[next() % (sizeof alphabet - 1)];
            Drill d = read(mutated);
            if (!d.ok) EXPECT_FALSE(d.reports.empty());
        }
    }
    // Pathological values: huge repeats, long numbers, tools without sizes.
    for (const std::string& text : {std::string("M48\nMETRIC\nT1C0.3\n%\nT1\nX1Y1\nR999999999X1Y1\nM30\n"),
                                    std::string("M48\nMETRIC\nT1C0.3\n%\nT1\nX") + std::string(400, '9') + "Y1\nM30\n",
                                    std::string("M48\nT1C\n%\nT1\nX1Y1\nM30\n"),
                                    std::string("M48\nMETRIC\nT99999999999C1\n%\nT99999999999\nX1Y1\nM30\n")}) {
        Drill d = read(text);
        if (!d.ok) EXPECT_FALSE(d.reports.empty()) << text;
        EXPECT_LT(d.layer.features.size(), 10000000u) << text;
    }
}

} // namespace
} // namespace kesto
