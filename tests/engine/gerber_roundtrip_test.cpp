// Our Gerber output read back by our reader, and shown by an independent
// viewer (gerbv), must give what the original gave.
#include "engine/api/exchange.h"
#include "engine/formats/gerber/attribute_names.h"
#include "engine/formats/gerber/layer_build.h"
#include "engine/formats/odb/job_io.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/outline.h"
#include "support/test_support.h"
#include "engine/gerber_gerbv.h"

#include <gtest/gtest.h>

#include <dirent.h>

#include <algorithm>
#include <cmath>
#include <set>

namespace kesto {
namespace {

std::vector<std::string> gerber_cases()
{
    std::vector<std::string> out;
    const std::string root = std::string(KESTO_TESTDATA) + "/gerber";
    DIR* top = opendir(root.c_str());
    if (!top) return out;
    while (dirent* group = readdir(top)) {
        const std::string dir = root + "/" + group->d_name;
        if (group->d_name[0] == '.' || std::string(group->d_name) == "drill") continue;
        if (DIR* d = opendir(dir.c_str())) {
            while (dirent* e = readdir(d)) {
                const std::string name = e->d_name;
                if (name.size() > 4 && name.substr(name.size() - 4) == ".gbr") out.push_back(dir + "/" + name);
            }
            closedir(d);
        }
    }
    closedir(top);
    std::sort(out.begin(), out.end());
    return out;
}

struct Image {
    Layer layer;
    UserSymbols symbols;
};

bool read(const std::string& text, Image& image, Reports& reports)
{
    gerber::ReadOptions options;
    options.file_name = "case";
    return gerber::read(text, options, image.layer, image.symbols, reports);
}

geom::OutlineContext context_of(const Image& image)
{
    geom::OutlineContext context;
    context.user_symbol = [&image](const std::string& name) -> const Layer* {
        auto found = image.symbols.find(name);
        return found == image.symbols.end() ? nullptr : &found->second.features;
    };
    return context;
}

// The area where two images differ, as a share of the first one's area.
double difference(const Image& a, const Image& b)
{
    const geom::Paths x = geom::layer_outline(a.layer, context_of(a));
    const geom::Paths y = geom::layer_outline(b.layer, context_of(b));
    return geom::area(geom::exclusive_or(x, y)) / std::max(1.0, geom::area(x));
}

void expect_same(const Image& a, const Image& b, const std::string& file)
{
    EXPECT_LT(difference(a, b), 0.001) << file;
    ASSERT_EQ(a.layer.features.size(), b.layer.features.size()) << file;
    for (std::size_t i = 0; i < a.layer.features.size(); ++i) {
        const Feature& f = a.layer.features[i];
        const Feature& g = b.layer.features[i];
        SCOPED_TRACE(file + " feature " + std::to_string(i));
        EXPECT_EQ(int(f.kind), int(g.kind));
        EXPECT_EQ(int(f.polarity), int(g.polarity));
        EXPECT_EQ(f.a, g.a);
        if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) {
            EXPECT_EQ(f.b, g.b);
        }
        if (f.kind == FeatureKind::Arc) {
            EXPECT_EQ(f.c, g.c);
            EXPECT_EQ(f.cw, g.cw);
        }
        if (f.kind == FeatureKind::Pad) {
            EXPECT_NEAR(f.angle, g.angle, 1e-6);
            EXPECT_EQ(f.mirror, g.mirror);
        }
        if (f.symbol >= 0) {
            ASSERT_GE(g.symbol, 0);
            const Symbol& s = a.layer.symbols[std::size_t(f.symbol)];
            const Symbol& t = b.layer.symbols[std::size_t(g.symbol)];
            if (s.family != SymbolFamily::User) EXPECT_EQ(s.name, t.name);
        }
        if (f.kind == FeatureKind::Surface) {
            const auto& c = a.layer.surfaces[f.body].contours;
            const auto& d = b.layer.surfaces[g.body].contours;
            ASSERT_EQ(c.size(), d.size());
            for (std::size_t k = 0; k < c.size(); ++k) {
                EXPECT_EQ(c[k].start, d[k].start);
                ASSERT_EQ(c[k].segments.size(), d[k].segments.size());
                for (std::size_t s = 0; s < c[k].segments.size(); ++s) {
                    EXPECT_EQ(c[k].segments[s].end, d[k].segments[s].end);
                    EXPECT_EQ(c[k].segments[s].arc, d[k].segments[s].arc);
                }
            }
        }
    }
}

std::map<std::string, std::string> attributes_of(const Layer& l, const Feature& f)
{
    std::map<std::string, std::string> m;
    if (f.attributes)
        for (auto& v : l.attribute_sets[f.attributes - 1]) m[l.attribute_names[v.name]] = v.value;
    return m;
}

// The attribute names a Gerber text gives (TF, TA, TO), reserved dot names
// outside the standard list among them.
std::vector<std::string> misnamed_attributes(const std::string& text)
{
    std::vector<std::string> bad;
    for (std::size_t at = text.find("%T"); at != std::string::npos; at = text.find("%T", at + 2)) {
        const char kind = at + 2 < text.size() ? text[at + 2] : 0;
        if (kind != 'F' && kind != 'A' && kind != 'O') continue;
        const std::size_t end = text.find_first_of(",*", at + 3);
        const std::string name = text.substr(at + 3, end == std::string::npos ? std::string::npos : end - at - 3);
        if (name.empty() || (name[0] == '.' && !gerber::standard_attribute(name))) bad.push_back(name);
    }
    return bad;
}

TEST(GerberRoundTrip, OurOutputReadsBackToTheSameFeatures)
{
    const auto files = gerber_cases();
    ASSERT_GE(files.size(), 50u);
    for (const auto& file : files) {
        Image original;
        Reports reports;
        read(test::read_file(file), original, reports);
        for (bool inch : {false, true}) {
            gerber::WriteOptions options;
            options.inch = inch;
            options.integer_digits = inch ? 3 : 4;
            options.decimal_digits = inch ? 6 : 6;
            std::string text;
            Reports written;
            EXPECT_TRUE(gerber::write(original.layer, original.symbols, options, text, written)) << file;
            EXPECT_NE(text.find("%TF.GenerationSoftware"), std::string::npos);
            Image back;
            Reports again;
            EXPECT_TRUE(read(text, back, again)) << file << "\n" << (again.empty() ? "" : again[0].message) << "\n" << text;
            if (!inch) expect_same(original, back, file); // inch output rounds to 25.4 nm
            else EXPECT_EQ(original.layer.features.size(), back.layer.features.size()) << file;
        }
    }
}

TEST(GerberRoundTrip, KeepsAttributesPolarityAndTheTurnedImage)
{
    const std::string text =
        "%TF.FileFunction,Copper,L1,Top*%\n%FSLAX26Y26*%\n%MOMM*%\n"
        "%TA.AperFunction,SMDPad,CuDef*%\n%ADD10P,1X5*%\n%TD*%\n"
        "%ADD11C,0.2*%\n"
        "%TO.N,GND*%\n%TO.C,R1*%\n%LMX*%\n%LR30*%\nD10*\nX1000000Y2000000D03*\n%TD.C*%\n%LMN*%\n%LR0*%\n"
        "%LPC*%\nD11*\nX0Y0D02*\nG75*\nG03X2000000Y0I1000000J0D01*\n"
        "%LPD*%\n%TA.AperFunction,Conductor*%\nG36*\nX0Y0D02*\nG01X1000000D01*\nY1000000D01*\nX0D01*\nY0D01*\nG37*\nM02*\n";
    Image original;
    Reports reports;
    ASSERT_TRUE(read(text, original, reports));
    std::string out;
    ASSERT_TRUE(gerber::write(original.layer, original.symbols, {}, out, reports));
    Image back;
    ASSERT_TRUE(read(out, back, reports)) << out;
    // The turned and mirrored pentagon goes out as a macro of its turned
    // outline: the same image, with no LM/LR for viewers to ignore.
    EXPECT_LT(difference(original, back), 0.001);
    ASSERT_EQ(back.layer.features.size(), original.layer.features.size());
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(int(back.layer.features[i].polarity), int(original.layer.features[i].polarity)) << i;
    EXPECT_EQ(out.find("%LR"), std::string::npos) << out;
    EXPECT_EQ(out.find("%LM"), std::string::npos) << out;
    EXPECT_EQ(back.layer.attributes.at(".FileFunction"), "Copper,L1,Top");
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(attributes_of(original.layer, original.layer.features[i]), attributes_of(back.layer, back.layer.features[i])) << i;
    const auto pad = attributes_of(back.layer, back.layer.features[0]);
    EXPECT_EQ(pad.at(".AperFunction"), "SMDPad,CuDef");
    EXPECT_EQ(pad.at(".N"), "GND");
    EXPECT_EQ(attributes_of(back.layer, back.layer.features[2]).at(".AperFunction"), "Conductor");
    EXPECT_EQ(attributes_of(back.layer, back.layer.features[1]).count(".C"), 0u);
}

// Names starting with '.' are X2's own: the system attributes of job files
// go out under a user prefix and come back with their names unchanged.
TEST(GerberRoundTrip, AttributeNamesOfJobsSurviveAsLegalX2Names)
{
    Image image;
    Layer& layer = image.layer;
    layer.symbols.push_back(odb::parse_symbol_name("r500", Units::Mm));
    layer.symbols.push_back(odb::parse_symbol_name("rect1000x500", Units::Mm));
    formats::LayerBuilder builder(layer);
    const std::vector<formats::Attributes> sets = {
        {{".pad_usage", "toeprint"}, {".smd", ""}, {".AperFunction", "SMDPad,CuDef"}, {".N", "GND"}, {".CRot", "90"},
         {".C", "R1"}, {"fab_note", "x"}},
        {{".imp_constraint_id", "1"}, {".geometry", "trace_a"}, {".N", "SIG"}},
        {{".string", "a*b%c\\d\nend"}, {".AperFunction", "Conductor"}},
    };
    for (int i = 0; i < 3; ++i) {
        Feature f;
        f.kind = i == 1 ? FeatureKind::Line : FeatureKind::Pad;
        f.symbol = i == 1 ? 0 : 1;
        f.a = {Coord(i) * 5000000, 0};
        f.b = {Coord(i) * 5000000, 10000000};
        f.attributes = builder.attribute_set(sets[std::size_t(i)]);
        layer.features.push_back(f);
    }
    layer.attributes = {{".FileFunction", "Copper,L1,Top"}, {".copper_weight", "1"}, {"fab_layer", "y"}};

    std::string out;
    Reports reports;
    ASSERT_TRUE(gerber::write(layer, image.symbols, {}, out, reports));
    EXPECT_TRUE(misnamed_attributes(out).empty()) << misnamed_attributes(out).front() << "\n" << out;
    EXPECT_NE(out.find("%TOodb.imp_constraint_id,1*%"), std::string::npos) << out;
    EXPECT_NE(out.find("%TOodb.pad_usage,toeprint*%"), std::string::npos) << out;
    EXPECT_NE(out.find("%TFodb.copper_weight,1*%"), std::string::npos) << out;
    EXPECT_NE(out.find("%TO.CRot,90*%"), std::string::npos) << out;
    EXPECT_NE(out.find("%TOfab_note,x*%"), std::string::npos) << out;
    EXPECT_NE(out.find("%TOodb.string,a\\u002Ab\\u0025c\\u005Cd\\u000Aend*%"), std::string::npos)
        << "what would end the command is escaped\n" << out;

    Image back;
    ASSERT_TRUE(read(out, back, reports)) << out;
    ASSERT_EQ(back.layer.features.size(), layer.features.size());
    for (std::size_t i = 0; i < layer.features.size(); ++i)
        EXPECT_EQ(attributes_of(back.layer, back.layer.features[i]), attributes_of(layer, layer.features[i])) << i;
    for (auto& [name, value] : layer.attributes) EXPECT_EQ(back.layer.attributes[name], value) << name;
    EXPECT_EQ(back.layer.attributes.count("odb.copper_weight"), 0u);

    // TD of a prefixed name drops the attribute it stands for.
    Image dropped;
    ASSERT_TRUE(read("%FSLAX26Y26*%\n%MOMM*%\n%ADD10C,1*%\nD10*\n%TOodb.net_point,a*%\nX0Y0D03*\n"
                     "%TDodb.net_point*%\nX1000000Y0D03*\nM02*\n",
                     dropped, reports));
    ASSERT_EQ(dropped.layer.features.size(), 2u);
    EXPECT_EQ(attributes_of(dropped.layer, dropped.layer.features[0]).count(".net_point"), 1u);
    EXPECT_TRUE(attributes_of(dropped.layer, dropped.layer.features[1]).empty());

    // gerbv reads the attributes without taking them for drawing: the same
    // picture as the layer written with none.
    if (!have_gerbv()) return;
    Image plain = image;
    for (Feature& f : plain.layer.features) f.attributes = 0;
    plain.layer.attributes.clear();
    std::string bare;
    ASSERT_TRUE(gerber::write(plain.layer, plain.symbols, {}, bare, reports));
    test::TempDir dir;
    test::write_file(dir / "named.gbr", out);
    test::write_file(dir / "bare.gbr", bare);
    ASSERT_TRUE(gerbv_png(dir / "named.gbr", dir / "named.png"));
    ASSERT_TRUE(gerbv_png(dir / "bare.gbr", dir / "bare.png"));
    EXPECT_GE(agreement(dir / "named.png", dir / "bare.png"), 0.9999);
}

// Shapes RS-274X has no aperture for, texts, holes and clear features: what
// the writer makes of them must cover the same area.
TEST(GerberRoundTrip, ShapesWithoutAperturesKeepTheirArea)
{
    Image image;
    Layer& layer = image.layer;
    for (const char* name : {"thr2000x1500x45x4x300", "el3000x1500", "rect3000x2000xr400", "oct2000x2000x500", "di2000x3000",
                             "s_ths2000x1500x0x4x300", "hex_l3000x2000x500", "moire200x200x3x100x3000x0", "tri2000x1500", "rect3000x2000xc500x13"})
        layer.symbols.push_back(odb::parse_symbol_name(name, Units::Mm));
    Coord x = 0;
    for (int i = 0; i < int(layer.symbols.size()); ++i) {
        Feature pad;
        pad.kind = FeatureKind::Pad;
        pad.symbol = i;
        pad.a = {x, 0};
        pad.angle = 30.0 * i;
        pad.mirror = i % 3 == 0;
        layer.features.push_back(pad);
        x += 5000000;
    }
    Surface framed;
    framed.contours.push_back(formats::polygon_contour({{0, -5e6}, {5e7, -5e6}, {5e7, -2e7}, {0, -2e7}}, true));
    framed.contours.push_back(formats::circle_contour(1e7, -1.2e7, 3e6, false));
    layer.surfaces.push_back(framed);
    Feature surface;
    surface.kind = FeatureKind::Surface;
    surface.body = 0;
    layer.features.push_back(surface);
    Feature clear = layer.features[0];
    clear.polarity = Polarity::Negative;
    clear.a = {10000000, -10000000};
    layer.features.push_back(clear);
    layer.texts.push_back(Text{"standard", 2000000, 3000000, 1.0, "KESTO 8A", 1});
    Feature text;
    text.kind = FeatureKind::Text;
    text.a = {0, -30000000};
    text.angle = 90;
    layer.features.push_back(text);

    std::string out;
    Reports reports;
    ASSERT_TRUE(gerber::write(layer, image.symbols, {}, out, reports)) << (reports.empty() ? "" : reports[0].message);
    Image back;
    ASSERT_TRUE(read(out, back, reports)) << reports[0].message;
    EXPECT_LT(difference(image, back), 0.002);
    EXPECT_GT(difference(image, Image{}), 0.99); // the measure sees a loss
}

// Pads go out upright where the shape allows, and otherwise as a macro of
// their turned outline: many viewers still ignore LM and LR.
TEST(GerberRoundTrip, PadsAreWrittenUprightOrTurnedInAMacro)
{
    Image image;
    Layer& layer = image.layer;
    for (const char* name : {"rect2000x1000", "oval3000x1000", "r500", "tri2000x1500", "rect2000x1000"})
        layer.symbols.push_back(odb::parse_symbol_name(name, Units::Mm));
    const double angles[] = {90, 270, 180, 90, 225};
    for (int i = 0; i < 5; ++i) {
        Feature pad;
        pad.symbol = i;
        pad.angle = angles[i];
        pad.mirror = i < 4;
        pad.a = {Coord(i) * 5000000, 0};
        layer.features.push_back(pad);
    }
    std::string out;
    Reports reports;
    ASSERT_TRUE(gerber::write(layer, {}, {}, out, reports));
    EXPECT_NE(out.find("R,1.0X2.0"), std::string::npos) << out;
    EXPECT_NE(out.find("O,1.0X3.0"), std::string::npos) << out;
    EXPECT_EQ(out.find("%LM"), std::string::npos) << out;
    EXPECT_EQ(out.find("%LR"), std::string::npos) << out;
    Image back;
    ASSERT_TRUE(read(out, back, reports));
    EXPECT_LT(difference(image, back), 0.001);
}

// A resized pad flashes its symbol scaled; a symbol with no scaled form is refused.
TEST(GerberRoundTrip, ResizedPads)
{
    Layer layer;
    layer.symbols.push_back(odb::parse_symbol_name("r1000", Units::Mm));
    layer.symbols.push_back(odb::parse_symbol_name("el3000x1500", Units::Mm));
    Feature grown;
    grown.symbol = 0;
    grown.resize = 2;
    layer.features.push_back(grown);
    std::string out;
    Reports reports;
    ASSERT_TRUE(gerber::write(layer, {}, {}, out, reports));
    EXPECT_NE(out.find("C,2.0*"), std::string::npos) << out;
    Feature refused = grown;
    refused.symbol = 1;
    layer.features.push_back(refused);
    layer.features.push_back(refused);
    EXPECT_FALSE(gerber::write(layer, {}, {}, out, reports));
    ASSERT_EQ(reports.size(), 1u); // once per symbol, not per pad
    EXPECT_NE(reports[0].message.find("resized pads of symbol el3000x1500"), std::string::npos);
}

// ------------------------------------------------------------ second opinion

TEST(GerberRoundTrip, GerbvShowsOurOutputAsTheOriginal)
{
    if (!have_gerbv()) GTEST_SKIP() << "gerbv is not installed: no second opinion";
    test::TempDir dir;
    for (const auto& file : gerber_cases()) {
        // Where gerbv departs from the standard, checked against the case's own
        // picture: it draws single-quadrant arcs (G74) the multi-quadrant way,
        // and steps a repeated block object by object instead of copy by copy.
        const std::string text = test::read_file(file);
        if (text.find("G74") != std::string::npos || (text.find("%SR") != std::string::npos && text.find("%LPC") != std::string::npos))
            continue;
        Image original;
        Reports reports;
        read(text, original, reports);
        std::string ours;
        gerber::write(original.layer, original.symbols, {}, ours, reports);
        test::write_file(dir / "ours.gbr", ours);
        ASSERT_TRUE(gerbv_png(file, dir / "theirs.png")) << file;
        ASSERT_TRUE(gerbv_png(dir / "ours.gbr", dir / "ours.png")) << file;
        EXPECT_GE(agreement(dir / "theirs.png", dir / "ours.png"), 0.995) << file << "\n" << ours;
    }
}

} // namespace
} // namespace kesto

namespace kesto {
namespace {

// The layers of a real job, written and read back, cover the same area. The
// dense signal layers are left out: their outlines take the kernel a minute.
TEST(GerberRoundTrip, LayersOfTheSampleJob)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    const geom::OutlineContext job_context = geom::context_of(job);
    int layers = 0;
    for (auto& [step_name, step] : job.steps)
        for (auto& [name, layer] : step.layers) {
            if (layer.features.empty() || layer.features.size() > 5000) continue;
            ++layers;
            std::string text;
            Reports reports;
            gerber::WriteOptions options;
            options.fonts = job_context.fonts;
            EXPECT_TRUE(gerber::write(layer, job.symbols, options, text, reports))
                << name << ": " << (reports.empty() ? "" : reports[0].message);
            const auto misnamed = misnamed_attributes(text);
            EXPECT_TRUE(misnamed.empty()) << name << ": " << misnamed.front();
            Image back;
            ASSERT_TRUE(read(text, back, reports)) << name;
            std::set<std::string> named, named_back;
            for (const Feature& f : layer.features)
                for (auto& [n, v] : attributes_of(layer, f)) named.insert(n + "=" + v);
            for (const Feature& f : back.layer.features)
                for (auto& [n, v] : attributes_of(back.layer, f)) named_back.insert(n + "=" + v);
            EXPECT_EQ(named, named_back) << name;
            const geom::Paths before = geom::layer_outline(layer, job_context);
            const geom::Paths after = geom::layer_outline(back.layer, context_of(back));
            EXPECT_LT(geom::area(geom::exclusive_or(before, after)), 0.002 * geom::area(before)) << name;
        }
    EXPECT_GE(layers, 5);
}

} // namespace
} // namespace kesto
