// Recognising input files and reading their parameters.
#include "engine/api/exchange.h"
#include "engine/formats/identify.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

namespace kesto {
namespace {

using KESTO::API::file_Parameters;

file_Parameters identify(const std::string& path, std::string* name = nullptr)
{
    std::string n, format;
    file_Parameters p;
    const bool ok = KESTO::API::file_identify(path, n, p, format);
    EXPECT_EQ(ok, format != "None");
    EXPECT_EQ(format, p.format);
    if (name) *name = n;
    return p;
}

TEST(Identify, GerberWithAndWithoutAttributes)
{
    const std::string data = std::string(KESTO_TESTDATA) + "/gerber/";
    std::string name;
    file_Parameters p = identify(data + "pads/circle.gbr", &name);
    EXPECT_EQ(name, "circle.gbr");
    EXPECT_EQ(p.format, "Gerber274x");
    EXPECT_EQ(p.data_type, "image");
    EXPECT_EQ(p.units, "inch");
    EXPECT_EQ(p.zeroes_omitted, "leading");
    EXPECT_EQ(p.Coordinates, "absolute");
    EXPECT_EQ(p.Number_format_integer, 3);
    EXPECT_EQ(p.Number_format_decimal, 4);
    EXPECT_EQ(p.separator_char, "*");
    EXPECT_GT(p.file_size, 0);

    test::TempDir dir;
    test::write_file(dir / "top.gtl", "%TF.FileFunction,Copper,L1,Top*%\n%FSTIX36Y36*%\n%MOMM*%\n%ADD10C,0.1*%\nD10*\nX1Y1D03*\nM02*\n");
    p = identify(dir / "top.gtl");
    EXPECT_EQ(p.format, "Gerber274x");
    EXPECT_EQ(p.data_type, "image_x2");
    EXPECT_EQ(p.units, "mm");
    EXPECT_EQ(p.zeroes_omitted, "trailing");
    EXPECT_EQ(p.Coordinates, "incremental");
    EXPECT_EQ(p.Number_format_decimal, 6);
}

TEST(Identify, Rs274dGuessesWhatTheFileDoesNotSay)
{
    test::TempDir dir;
    // Varying lengths, never a leading zero: leading zeros left out; six
    // digits at most: inch 2.4.
    test::write_file(dir / "old.pho", "G04 Plotted by: board v1.2 (top)*\nG54D10*\nX12500Y500D02*\nX250000Y12500D01*\nD11*\nX5000Y5000D03*\nM02*\n");
    file_Parameters p = identify(dir / "old.pho");
    EXPECT_EQ(p.format, "Gerber274D");
    EXPECT_EQ(p.units, "inch");
    EXPECT_EQ(p.zeroes_omitted, "leading");
    EXPECT_EQ(p.Number_format_integer, 2);
    EXPECT_EQ(p.Number_format_decimal, 4);
    // Leading zeros written, trailing ones missing; metric by G71.
    test::write_file(dir / "old2.pho", "G71*\nD10*\nX0125Y005D02*\nX00025Y0125D01*\nM02*\n");
    p = identify(dir / "old2.pho");
    EXPECT_EQ(p.units, "mm");
    EXPECT_EQ(p.zeroes_omitted, "trailing");

    // The guess feeds the reader, with the aperture list beside the file.
    Layer layer;
    UserSymbols symbols;
    Reports reports;
    gerber::ReadOptions options;
    options.defaults = identify(dir / "old.pho");
    options.aperture_list = "D10 ROUND 0.010\nD11 RECT 0.060 0.040\n";
    EXPECT_TRUE(gerber::read(test::read_file(dir / "old.pho"), options, layer, symbols, reports)) << reports.front().message;
    ASSERT_EQ(layer.features.size(), 2u);
    EXPECT_EQ(layer.features[0].b, (Point{25 * kNmPerInch, Coord(1.25 * kNmPerInch)}));
    EXPECT_EQ(layer.symbols[std::size_t(layer.features[1].symbol)].name, "rect1524x1016");
}

TEST(Identify, ExcellonDrillAndRout)
{
    const std::string data = std::string(KESTO_TESTDATA) + "/gerber/drill/";
    file_Parameters p = identify(data + "hit.drl");
    EXPECT_EQ(p.format, "Excellon");
    EXPECT_EQ(p.data_type, "drill");
    EXPECT_EQ(p.units, "inch");
    EXPECT_EQ(p.zeroes_omitted, "leading");
    EXPECT_EQ(identify(data + "arc-route.drl").data_type, "rout");

    test::TempDir dir;
    test::write_file(dir / "d.txt", "M48\n;FILE_FORMAT=4:4\nMETRIC,LZ\nT1C0.3\n%\nT1\nX00105Y0025\nM30\n");
    p = identify(dir / "d.txt");
    EXPECT_EQ(p.format, "Excellon");
    EXPECT_EQ(p.units, "mm");
    EXPECT_EQ(p.zeroes_omitted, "trailing");
    EXPECT_EQ(p.Number_format_integer, 4);

    test::write_file(dir / "decimal.drl", "M48\nMETRIC\nT1C0.3\n%\nT1\nX1.25Y-3.5\nX10.0Y0.75\nM30\n");
    p = identify(dir / "decimal.drl");
    EXPECT_TRUE(p.Decimal_numbers);
    EXPECT_EQ(p.zeroes_omitted, "none");
}

TEST(Identify, OdbJobsAndEverythingElse)
{
    const std::string archive = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";
    file_Parameters p = identify(archive);
    EXPECT_EQ(p.format, "ODB++");
    EXPECT_EQ(p.data_type, "job_archive");

    test::TempDir dir;
    ::mkdir((dir / "job").c_str(), 0755);
    ::mkdir((dir / "job/matrix").c_str(), 0755);
    test::write_file(dir / "job/matrix/matrix", "STEP {\n}\n");
    p = identify(dir / "job/");
    EXPECT_EQ(p.format, "ODB++");
    EXPECT_EQ(p.data_type, "job_directory");

    test::write_file(dir / "notes.txt", "Dear fabricator,\nplease use 1.6 mm FR4.\n");
    test::write_file(dir / "blob.bin", std::string("\x7f" "ELF\0\0\0\x02\x01", 9) + std::string(100, '\0'));
    test::write_file(dir / "empty.gbr", "");
    for (const char* name : {"notes.txt", "blob.bin", "empty.gbr", "missing.gbr", "job/matrix"})
        EXPECT_EQ(identify(dir / name).format, "None") << name;
    // A compressed archive without a job in it is nothing we read.
    ASSERT_EQ(std::system(("tar czf '" + (dir / "other.tgz") + "' -C '" + dir.path() + "' notes.txt").c_str()), 0);
    EXPECT_EQ(identify(dir / "other.tgz").format, "None");
}

} // namespace
} // namespace kesto
