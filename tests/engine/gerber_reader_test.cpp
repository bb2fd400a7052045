// The Gerber reader on the shared real-world cases and on hand-made files
// for what those cases leave out.
#include "engine/api/exchange.h"
#include "engine/geometry/outline.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <cmath>

namespace kesto {
namespace {

std::vector<std::string> cases(const std::string& extension)
{
    std::vector<std::string> out;
    const std::string root = std::string(KESTO_TESTDATA) + "/gerber";
    DIR* top = opendir(root.c_str());
    if (!top) return out;
    while (dirent* group = readdir(top)) {
        if (group->d_name[0] == '.') continue;
        const std::string dir = root + "/" + group->d_name;
        if (DIR* d = opendir(dir.c_str())) {
            while (dirent* e = readdir(d)) {
                const std::string name = e->d_name;
                if (name.size() > extension.size() && name.compare(name.size() - extension.size(), extension.size(), extension) == 0)
                    out.push_back(dir + "/" + name);
            }
            closedir(d);
        }
    }
    closedir(top);
    std::sort(out.begin(), out.end());
    return out;
}

struct Read {
    bool ok = false;
    Layer layer;
    UserSymbols symbols;
    Reports reports;
};

Read read_text(const std::string& text)
{
    Read r;
    gerber::ReadOptions options;
    options.file_name = "test.gbr";
    r.ok = gerber::read(text, options, r.layer, r.symbols, r.reports);
    return r;
}

std::string messages(const Reports& reports)
{
    std::string s;
    for (auto& r : reports) s += r.file + ":" + std::to_string(r.line) + ": " + r.message + "\n";
    return s;
}

TEST(GerberReader, ReadsEveryRealCaseCleanly)
{
    const auto files = cases(".gbr");
    ASSERT_GE(files.size(), 50u);
    for (const auto& file : files) {
        Read r = read_text(test::read_file(file));
        EXPECT_TRUE(r.ok) << file << "\n" << messages(r.reports);
        EXPECT_FALSE(r.layer.features.empty()) << file;
        for (auto& rep : r.reports) EXPECT_FALSE(rep.error) << file << ": " << rep.message;
    }
}

} // namespace
} // namespace kesto

namespace kesto {
namespace {

const Surface& surface_of(const Layer& layer, const Feature& f) { return layer.surfaces.at(f.body); }

const UserSymbol& user_symbol(const Read& r, const Feature& f)
{
    return r.symbols.at(r.layer.symbols.at(std::size_t(f.symbol)).name);
}

TEST(GerberReader, MacroExpressionsVariablesAndPrimitives)
{
    Read r = read_text(
        "%FSLAX26Y26*%\n%MOMM*%\n"
        "%AMDONUT*\n0 ring made of two circles*\n$3=$1x2-$2*\n1,1,$3,0,0*\n1,0,($1-$2)/2+0.1,0,0*\n"
        "20,1,0.2,-1,0,1,0,90*\n22,1,1,0.5,0,0,0*\n4,1,3,0,0,1,0,0,1,0,0*\n5,1,6,0,0,2,30*\n21,0,0.5,0.5,0,0,45*%\n"
        "%ADD10DONUT,1.5X1*%\nD10*\nX0Y0D03*\nM02*\n");
    ASSERT_TRUE(r.ok) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 1u);
    const Layer& shape = user_symbol(r, r.layer.features[0]).features;
    ASSERT_EQ(shape.features.size(), 7u);
    // $3 = 1.5 x 2 - 1 = 2 mm diameter; the second circle (1.5-1)/2+0.1 = 0.35 mm, exposure off.
    const Contour& outer = shape.surfaces[0].contours[0];
    EXPECT_EQ(outer.start, (Point{1000000, 0}));
    EXPECT_TRUE(outer.segments[0].arc);
    EXPECT_EQ(shape.surfaces[1].contours[0].start, (Point{175000, 0}));
    EXPECT_EQ(int(shape.features[1].polarity), int(Polarity::Negative));
    // The vector line turned 90 degrees stands upright: x within the half width.
    Box line;
    line.add(shape.surfaces[2].contours[0].start);
    for (auto& s : shape.surfaces[2].contours[0].segments) line.add(s.end);
    EXPECT_EQ(line.xmin, -100000);
    EXPECT_EQ(line.ymax, 1000000);
    // Islands run clockwise whatever way the file went round.
    for (std::size_t i = 2; i < 7; ++i) {
        const Contour& c = shape.surfaces[i].contours[0];
        double area = 0;
        Point from = c.start;
        for (auto& s : c.segments) {
            area += double(from.x) * double(s.end.y) - double(s.end.x) * double(from.y);
            from = s.end;
        }
        EXPECT_LT(area, 0) << "primitive " << i;
    }
    EXPECT_EQ(shape.surfaces[5].contours[0].segments.size(), 6u); // hexagon
}

TEST(GerberReader, ArcsInBothQuadrantModesAndInRegions)
{
    Read r = read_text("%FSLAX26Y26*%\n%MOMM*%\n%ADD10C,0.1*%\nD10*\nG75*\n"
                       "X1000000Y0D02*\nG03X1000000Y0I-1000000J0D01*\n" // full circle
                       "G74*\nX0Y0D02*\nG02X1000000Y1000000I1000000J0D01*\n" // a quarter, clockwise
                       "G02X1000000Y1000000I500000J0D01*\n"                     // zero length: a dot
                       "G75*\nG36*\nX0Y0D02*\nG01X2000000D01*\nG03X0Y0I-1000000J0D01*\nG37*\nM02*\n");
    ASSERT_TRUE(r.ok) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 4u);
    const Feature& circle = r.layer.features[0];
    EXPECT_EQ(int(circle.kind), int(FeatureKind::Arc));
    EXPECT_EQ(circle.a, circle.b);
    EXPECT_EQ(circle.c, (Point{0, 0}));
    const Feature& quarter = r.layer.features[1];
    EXPECT_EQ(quarter.c, (Point{1000000, 0}));
    EXPECT_TRUE(quarter.cw);
    EXPECT_EQ(int(r.layer.features[2].kind), int(FeatureKind::Line));
    const Surface& half_disc = surface_of(r.layer, r.layer.features[3]);
    ASSERT_EQ(half_disc.contours.size(), 1u);
    ASSERT_EQ(half_disc.contours[0].segments.size(), 2u);
    EXPECT_TRUE(half_disc.contours[0].segments[1].arc);
    EXPECT_EQ(half_disc.contours[0].segments[1].centre, (Point{1000000, 0}));
}

TEST(GerberReader, BlocksRepeatsAndApertureTransforms)
{
    Read r = read_text("%FSLAX26Y26*%\n%MOMM*%\n%ADD10C,1*%\n%ADD11R,2X1*%\n"
                       "%ABD12*%\nD10*\nX0Y0D03*\n%LPC*%\nD11*\nX1000000Y0D03*\n%AB*%\n"
                       "%LR90*%\n%LPC*%\nD12*\nX5000000Y5000000D03*\n%LPD*%\n"
                       "%LMX*%\n%LR0*%\n%LS2*%\nD11*\nX0Y0D03*\n%LMN*%\n%LS1*%\n"
                       "%SRX3Y2I10J5*%\nD10*\nX0Y0D03*\n%SR*%\nM02*\n");
    ASSERT_TRUE(r.ok) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 2u + 1u + 6u);
    // The block, turned 90 degrees counter-clockwise and flashed clear: its
    // polarities invert and its second pad moves above the flash point.
    const Feature& first = r.layer.features[0];
    const Feature& second = r.layer.features[1];
    EXPECT_EQ(int(first.polarity), int(Polarity::Negative));
    EXPECT_EQ(int(second.polarity), int(Polarity::Positive));
    EXPECT_EQ(second.a, (Point{5000000, 6000000}));
    EXPECT_DOUBLE_EQ(second.angle, 270); // clockwise degrees
    // Mirrored and scaled twice: a mirrored 4 x 2 mm rectangle.
    const Feature& scaled = r.layer.features[2];
    EXPECT_TRUE(scaled.mirror);
    EXPECT_EQ(r.layer.symbols[std::size_t(scaled.symbol)].name, "rect4000x2000");
    // Step and repeat: 3 x 2 copies 10 mm and 5 mm apart.
    EXPECT_EQ(r.layer.features[3].a, (Point{0, 0}));
    EXPECT_EQ(r.layer.features[8].a, (Point{20000000, 5000000}));
}

TEST(GerberReader, ScaledBlocksScaleWhatTheyHold)
{
    Read r = read_text("%FSLAX26Y26*%\n%MOMM*%\n%AMRING*\n1,1,2,0,0*\n1,0,1,0,0*%\n%ADD10C,1*%\n%ADD11RING*%\n"
                       "%ABD12*%\nD10*\nX0Y0D03*\nD11*\nX3000000Y0D03*\n%AB*%\n%LS0.5*%\nD12*\nX0Y0D03*\nM02*\n");
    ASSERT_TRUE(r.ok) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 2u);
    EXPECT_EQ(r.layer.symbols[std::size_t(r.layer.features[0].symbol)].name, "r500");
    EXPECT_EQ(r.layer.features[1].a, (Point{1500000, 0}));
    const Layer& ring = user_symbol(r, r.layer.features[1]).features;
    EXPECT_EQ(ring.surfaces[0].contours[0].start, (Point{500000, 0})); // a 2 mm circle made 1 mm
}

TEST(GerberReader, DeprecatedCommandsOfOlderFiles)
{
    Read r = read_text("G04 old style*\n%FSLAX23Y23*%\n%MOIN*%\n%IPPOS*%\n%INBOARD*%\n%OFA1.0B0*%\n%ADD10C,0.010*%\n"
                       "G70*\nG91*\nG54D10*\nX1000Y1000D02*\nX1000D01*\nY1000*\nG90*\nM00*\nX5000Y5000D03*\n");
    ASSERT_TRUE(r.ok) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 2u); // M00 ends the file
    const Coord inch = kNmPerInch;
    EXPECT_EQ(r.layer.features[0].a, (Point{2 * inch, inch}));  // incremental, then offset by A1.0
    EXPECT_EQ(r.layer.features[0].b, (Point{3 * inch, inch}));
    EXPECT_EQ(r.layer.features[1].b, (Point{3 * inch, 2 * inch})); // modal D01
    EXPECT_EQ(r.layer.attributes.at(".image_name"), "BOARD");

    // Whole-image mirroring and rotation turn coordinates and pad orientations.
    Read turned = read_text("%FSLAX26Y26*%\n%MOMM*%\n%MIA1B0*%\n%IR90*%\n%ADD10R,2X1*%\nD10*\nX1000000Y0D03*\nM02*\n");
    ASSERT_TRUE(turned.ok) << messages(turned.reports);
    ASSERT_EQ(turned.layer.features.size(), 1u);
    EXPECT_EQ(turned.layer.features[0].a, (Point{0, -1000000}));
    EXPECT_TRUE(turned.layer.features[0].mirror);
    EXPECT_DOUBLE_EQ(turned.layer.features[0].angle, 270);

    // Attributes in comments, as writers of the X1 era put them.
    Read x2 = read_text("G04 #@! TF.FileFunction,Soldermask,Top*\n%FSLAX26Y26*%\n%MOMM*%\nG04 #@! TA.AperFunction,SMDPad,CuDef*\n"
                        "%ADD10C,1*%\nG04 #@! TD*\nG04 #@! TO.N,VCC*\nD10*\nX0Y0D03*\nM02*\n");
    ASSERT_TRUE(x2.ok) << messages(x2.reports);
    EXPECT_EQ(x2.layer.attributes.at(".FileFunction"), "Soldermask,Top");
    ASSERT_EQ(x2.layer.features.size(), 1u);
    ASSERT_NE(x2.layer.features[0].attributes, 0u);
    EXPECT_EQ(x2.layer.attribute_sets[x2.layer.features[0].attributes - 1].size(), 2u);
}

// A negative image is inverted as it is read: a dark frame 0.1 inch beyond
// everything drawn, the objects clearing it.
TEST(GerberReader, NegativeImagesAreInvertedWithAFrame)
{
    const std::string negative = "%FSLAX26Y26*%\n%MOMM*%\n%IPNEG*%\n%ADD10C,1*%\nD10*\nX0Y0D03*\n"
                                 "X5000000Y0D02*\nY3000000D01*\n%LPC*%\nX2500000Y1500000D03*\nM02*\n";
    Read r = read_text(negative);
    ASSERT_TRUE(r.ok) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 4u);
    EXPECT_EQ(r.layer.features[0].kind, FeatureKind::Surface);
    std::string polarities;
    for (const Feature& f : r.layer.features) polarities += f.polarity == Polarity::Positive ? 'P' : 'N';
    EXPECT_EQ(polarities, "PNNP");
    const geom::OutlineContext none;
    const double margin = 0.1 * kNmPerInch;
    const Box box = geom::feature_box(r.layer, r.layer.features[0], none);
    EXPECT_NEAR(double(box.xmin), -0.5e6 - margin, 2);
    EXPECT_NEAR(double(box.ymax), 3.5e6 + margin, 2);
    EXPECT_EQ(r.layer.attributes.count(".image_polarity"), 0u) << "inverted once, not again by a writer";
    ASSERT_FALSE(r.reports.empty());
    EXPECT_EQ(r.reports[0].line, 3);
    EXPECT_NE(r.reports[0].message.find("inverted"), std::string::npos);

    // Dark frame, clear pad and track, the clear flash dark again.
    const geom::Paths image = geom::layer_outline(r.layer, none);
    auto dark = [&](double x, double y) { return geom::locate({Coord(x), Coord(y)}, image) == geom::Where::Inside; };
    EXPECT_FALSE(dark(0, 0));
    EXPECT_FALSE(dark(5e6, 1e6));
    EXPECT_TRUE(dark(2.5e6, 1.5e6));
    EXPECT_TRUE(dark(2.5e6, 3e6));
    EXPECT_TRUE(dark(-0.5e6 - 0.9 * margin, 0));
    EXPECT_FALSE(dark(-0.5e6 - 1.1 * margin, 0));

    // Written out it is an ordinary image, and reads back the same.
    std::string text;
    Reports reports;
    ASSERT_TRUE(gerber::write(r.layer, r.symbols, {}, text, reports));
    EXPECT_EQ(text.find("%IP"), std::string::npos) << text;
    Read back = read_text(text);
    ASSERT_EQ(back.layer.features.size(), 4u);
    EXPECT_LT(geom::area(geom::exclusive_or(image, geom::layer_outline(back.layer, none))), 1e-6 * geom::area(image));

    // Read after another file into one layer, only its own objects turn over;
    // the image offset moves the frame with them.
    Read both = read_text("%FSLAX26Y26*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX0Y0D03*\nM02*\n");
    std::string shifted = negative;
    shifted.insert(shifted.find("%IPNEG"), "%OFA10B0*%\n");
    ASSERT_TRUE(gerber::read(shifted, {}, both.layer, both.symbols, both.reports)) << messages(both.reports);
    polarities.clear();
    for (const Feature& f : both.layer.features) polarities += f.polarity == Polarity::Positive ? 'P' : 'N';
    EXPECT_EQ(polarities, "PPNNP");
    EXPECT_NEAR(double(geom::feature_box(both.layer, both.layer.features[1], none).xmin), 9.5e6 - margin, 2);

    // Nothing drawn: nothing to frame, said so.
    Read empty = read_text("%FSLAX26Y26*%\n%MOMM*%\n%IPNEG*%\nM02*\n");
    EXPECT_TRUE(empty.ok && empty.layer.features.empty() && !empty.reports.empty());
}

TEST(GerberReader, StandardAperturesMapToSymbolsOrUserShapes)
{
    Read r = read_text("%FSLAX26Y26*%\n%MOMM*%\n%ADD10C,1*%\n%ADD11C,1X0.5*%\n%ADD12R,1X1*%\n%ADD13O,2X1*%\n"
                       "%ADD14P,1X6*%\n%ADD15R,2X1X0.5*%\n%ADD16O,1X1*%\n"
                       "D10*\nD03*\nD11*\nD03*\nD12*\nD03*\nD13*\nD03*\nD14*\nD03*\nD15*\nD03*\nD16*\nD03*\nM02*\n");
    ASSERT_TRUE(r.ok) << messages(r.reports);
    std::vector<std::string> names;
    for (auto& f : r.layer.features) names.push_back(r.layer.symbols[std::size_t(f.symbol)].name);
    EXPECT_EQ(names[0], "r1000");
    EXPECT_EQ(names[1], "donut_r1000x500");
    EXPECT_EQ(names[2], "s1000");
    EXPECT_EQ(names[3], "oval2000x1000");
    EXPECT_EQ(names[4].rfind("poly_", 0), 0u);
    EXPECT_EQ(names[5].rfind("rect_", 0), 0u);
    EXPECT_EQ(names[6], "r1000");
    const Layer& hole = user_symbol(r, r.layer.features[5]).features;
    ASSERT_EQ(hole.surfaces[0].contours.size(), 2u);
    EXPECT_FALSE(hole.surfaces[0].contours[1].island);
}

TEST(GerberReader, RectangleStrokesCoverTheirHull)
{
    Read r = read_text("%FSLAX26Y26*%\n%MOMM*%\n%ADD10R,2X1*%\nD10*\nX0Y0D02*\nX10000000Y10000000D01*\nM02*\n");
    ASSERT_TRUE(r.ok);
    ASSERT_EQ(r.layer.features.size(), 1u);
    const Contour& hull = surface_of(r.layer, r.layer.features[0]).contours[0];
    EXPECT_EQ(hull.segments.size(), 6u); // a hexagon
    Box box;
    for (auto& s : hull.segments) box.add(s.end);
    EXPECT_EQ(box.xmin, -1000000);
    EXPECT_EQ(box.ymax, 10500000);
}

TEST(GerberReader, BrokenFilesAreReportedByLineAndKeepWhatCanBeRead)
{
    Read r = read_text("%FSLAX26Y26*%\n%MOMM*%\n%ADD10C,1*%\nD10*\nX0Y0D03*\n"
                       "D99*\nX1Y1D03*\n%XYZ*%\n%ADD11Q,1*%\nG36*\nX5Y5D03*\nG37*\nX2000000Y0D03*\n");
    EXPECT_FALSE(r.ok);
    ASSERT_GE(r.reports.size(), 4u);
    EXPECT_EQ(r.reports[0].line, 6);
    EXPECT_EQ(r.reports[0].file, "test.gbr");
    EXPECT_NE(r.reports[0].message.find("D99"), std::string::npos);
    bool unknown = false, macro = false, flash = false, end = false;
    for (auto& rep : r.reports) {
        unknown |= rep.line == 8 && rep.message.find("unknown command %XYZ") != std::string::npos;
        macro |= rep.line == 9 && rep.message.find("undefined macro 'Q'") != std::string::npos;
        flash |= rep.line == 11 && rep.message.find("inside a region") != std::string::npos;
        end |= !rep.error && rep.message.find("M02") != std::string::npos;
    }
    EXPECT_TRUE(unknown && macro && flash && end) << messages(r.reports);
    ASSERT_EQ(r.layer.features.size(), 1u); // the aperture was lost with D99
    EXPECT_EQ(r.layer.features[0].a, (Point{0, 0}));
}

// Truncated and mutated versions of every case: the reader must neither
// crash nor claim success without saying what went wrong.
TEST(GerberReader, SurvivesTruncatedAndMutatedInput)
{
    std::uint32_t seed = 12345;
    auto next = [&seed] { return seed = seed * 1103515245u + 12345u; };
    const char alphabet[] = "%*XYIJDGM0123456789.-,$()xX/ \nADLPSRABTOF";
    for (const auto& file : cases(".gbr")) {
        const std::string text = test::read_file(file);
        for (std::size_t cut = 0; cut < text.size(); cut += 1 + text.size() / 23) {
            Read r = read_text(text.substr(0, cut));
            if (!r.ok) EXPECT_FALSE(r.reports.empty());
        }
        for (int round = 0; round < 40; ++round) {
            std::string mutated = text;
            for (int k = 0; k < 3; ++k) mutated[next() % mutated.size()] = alphabet[next() % (sizeof alphabet - 1)];
            Read r = read_text(mutated);
            if (!r.ok) EXPECT_FALSE(r.reports.empty());
        }
    }
    // Pathological values: huge step and repeat counts, deep expressions, long numbers.
    for (const std::string& text : {std::string("%FSLAX26Y26*%%MOMM*%%SRX100000Y100000I1J1*%%ADD10C,1*%D10*D03*M02*"),
                                    std::string("%FSLAX26Y26*%%MOMM*%%SRX1000Y1000I1J1*%%ADD10C,1*%D10*") + [] {
                                        std::string many;
                                        for (int i = 0; i < 100; ++i) many += "X" + std::to_string(i) + "Y0D03*";
                                        return many;
                                    }() + "M02*",
                                    std::string("%FSLAX26Y26*%%AMX*1,1,") + std::string(5000, '(') + "1*%%ADD10X*%D10*D03*M02*",
                                    std::string("%FSLAX26Y26*%%ADD10C,1*%D10*X") + std::string(400, '9') + "D03*M02*",
                                    std::string("%FSLAX26Y26*%%AMT*7,0,0,1,2,3,0*%%ADD10T*%D10*D03*M02*")}) {
        Read r = read_text(text);
        EXPECT_FALSE(r.ok);
        EXPECT_FALSE(r.reports.empty());
    }
}

} // namespace
} // namespace kesto
