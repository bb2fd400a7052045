// Every standard symbol name reads into its family and parameters and writes
// back to the same name; units follow the file (mils or microns).
#include "engine/formats/odb/symbols.h"

#include <gtest/gtest.h>

using namespace kesto;
using kesto::odb::parse_symbol_name;
using kesto::odb::standard_symbol_name;

namespace {

struct Case {
    const char* name;
    SymbolFamily family;
    std::vector<double> p; // as written: lengths in mils
};

const Case kCases[] = {
    {"r10", SymbolFamily::Round, {10}},
    {"s12.5", SymbolFamily::Square, {12.5}},
    {"rect20x30", SymbolFamily::Rect, {20, 30}},
    {"rect20x30xr5", SymbolFamily::RectRounded, {20, 30, 5}},
    {"rect20x30xr5x13", SymbolFamily::RectRounded, {20, 30, 5}},
    {"rect20x30xc4x24", SymbolFamily::RectChamfered, {20, 30, 4}},
    {"oval20x10", SymbolFamily::Oval, {20, 10}},
    {"di20x30", SymbolFamily::Diamond, {20, 30}},
    {"oct40x40x10", SymbolFamily::Octagon, {40, 40, 10}},
    {"donut_r40x20", SymbolFamily::RoundDonut, {40, 20}},
    {"donut_s40x20", SymbolFamily::SquareDonut, {40, 20}},
    {"donut_s40x20xr3", SymbolFamily::SquareDonut, {40, 20, 3}},
    {"donut_sr40x20", SymbolFamily::SquareRoundDonut, {40, 20}},
    {"donut_rc60x40x5", SymbolFamily::RectDonut, {60, 40, 5}},
    {"donut_rc60x40x5xr8x12", SymbolFamily::RectDonut, {60, 40, 5, 8}},
    {"donut_o60x40x5", SymbolFamily::OvalDonut, {60, 40, 5}},
    {"hex_l60x40x10", SymbolFamily::HexLong, {60, 40, 10}},
    {"hex_s40x60x10", SymbolFamily::HexShort, {40, 60, 10}},
    {"bfr30", SymbolFamily::Butterfly, {30}},
    {"bfs30", SymbolFamily::SquareButterfly, {30}},
    {"tri30x20", SymbolFamily::Triangle, {30, 20}},
    {"oval_h30x20", SymbolFamily::HalfOval, {30, 20}},
    {"thr60x40x45x4x10", SymbolFamily::RoundThermalRounded, {60, 40, 45, 4, 10}},
    {"ths60x40x0x4x10", SymbolFamily::RoundThermalSquared, {60, 40, 0, 4, 10}},
    {"s_ths60x40x45x4x10", SymbolFamily::SquareThermal, {60, 40, 45, 4, 10}},
    {"s_ths60x40x45x4x10xr3", SymbolFamily::SquareThermal, {60, 40, 45, 4, 10, 3}},
    {"s_tho60x40x45x4x10", SymbolFamily::SquareThermalOpen, {60, 40, 45, 4, 10}},
    {"sr_ths60x40x45x4x10", SymbolFamily::SquareRoundThermal, {60, 40, 45, 4, 10}},
    {"rc_ths80x60x0x4x10x5", SymbolFamily::RectThermal, {80, 60, 0, 4, 10, 5}},
    {"rc_tho80x60x0x4x10x5", SymbolFamily::RectThermalOpen, {80, 60, 0, 4, 10, 5}},
    {"o_ths80x60x0x4x10x5", SymbolFamily::OvalThermal, {80, 60, 0, 4, 10, 5}},
    {"oblong_ths80x60x0x4x10x5xs", SymbolFamily::OblongThermal, {80, 60, 0, 4, 10, 5}},
    {"el40x20", SymbolFamily::Ellipse, {40, 20}},
    {"moire5x10x3x2x100x45", SymbolFamily::Moire, {5, 10, 3, 2, 100, 45}},
    {"hole30xvx2x1", SymbolFamily::Hole, {30, 0, 2, 1}},
    {"null7", SymbolFamily::Null, {7}},
    {"hplate60x40x10", SymbolFamily::HomePlate, {60, 40, 10}},
    {"rhplate60x40x10", SymbolFamily::InvertedHomePlate, {60, 40, 10}},
    {"fhplate60x40x10x5", SymbolFamily::FlatHomePlate, {60, 40, 10, 5}},
    {"radhplate60x40x10", SymbolFamily::RadiusedInvertedHomePlate, {60, 40, 10}},
    {"dshape60x40x10", SymbolFamily::RadiusedHomePlate, {60, 40, 10}},
    {"cross60x40x5x6x20x10xr", SymbolFamily::Cross, {60, 40, 5, 6, 20, 10}},
    {"dogbone60x40x5x6x20xs", SymbolFamily::Dogbone, {60, 40, 5, 6, 20}},
    {"dpack60x40x5x6x2x3", SymbolFamily::DPack, {60, 40, 5, 6, 2, 3}},
    {"dpack60x40x5x6x2x3x4", SymbolFamily::DPack, {60, 40, 5, 6, 2, 3, 4}},
    {"s_thr60x40x45x4x10", SymbolFamily::SquareLineThermal, {60, 40, 45, 4, 10}},
    {"hplate60x40x10x2x3", SymbolFamily::HomePlate, {60, 40, 10, 2, 3}},
    {"dshape60x40x10x2", SymbolFamily::RadiusedHomePlate, {60, 40, 10, 2}},
    {"dogbone60x40x5x6x20xsx3", SymbolFamily::Dogbone, {60, 40, 5, 6, 20, 0, 3}},
};

// Which parameters are lengths, for each case: angles, counts and plating
// letters are not scaled.
bool is_length(SymbolFamily family, size_t i)
{
    switch (family) {
    case SymbolFamily::RoundThermalRounded: case SymbolFamily::RoundThermalSquared:
    case SymbolFamily::SquareThermal: case SymbolFamily::SquareThermalOpen: case SymbolFamily::SquareRoundThermal:
    case SymbolFamily::RectThermal: case SymbolFamily::RectThermalOpen: case SymbolFamily::OvalThermal:
    case SymbolFamily::OblongThermal: case SymbolFamily::SquareLineThermal:
        return i != 2 && i != 3;
    case SymbolFamily::Moire: return i != 2 && i != 5;
    case SymbolFamily::Null: return false;
    case SymbolFamily::DPack: return i < 4 || i == 6;
    default: return true;
    }
}

} // namespace

TEST(SymbolNames, EveryStandardFamilyReadsAndWritesBack)
{
    for (const Case& c : kCases) {
        SCOPED_TRACE(c.name);
        const Symbol s = parse_symbol_name(c.name, Units::Inch);
        EXPECT_EQ(s.family, c.family);
        for (size_t i = 0; i < c.p.size(); ++i)
            EXPECT_DOUBLE_EQ(s.p[i], is_length(c.family, i) ? c.p[i] * kNmPerMil : c.p[i]) << "p" << i;
        EXPECT_EQ(standard_symbol_name(s, Units::Inch), c.name);
    }
}

TEST(SymbolNames, FlagsCornersAndPlating)
{
    EXPECT_EQ(parse_symbol_name("rect20x30xr5x13", Units::Inch).corners, kCornerTopRight | kCornerBottomLeft);
    EXPECT_EQ(parse_symbol_name("rect20x30xr5", Units::Inch).corners, kAllCorners);
    EXPECT_FALSE(parse_symbol_name("oblong_ths80x60x0x4x10x5xs", Units::Inch).rounded_ends);
    EXPECT_TRUE(parse_symbol_name("cross60x40x5x6x20x10xr", Units::Inch).rounded_ends);
    EXPECT_EQ(parse_symbol_name("hole30xnx2x1", Units::Inch).plating, 'n');
}

TEST(SymbolNames, MetricNamesAreMicrons)
{
    const Symbol s = parse_symbol_name("rect250x100.5", Units::Mm);
    EXPECT_DOUBLE_EQ(s.p[0], 250000);
    EXPECT_DOUBLE_EQ(s.p[1], 100500);
    EXPECT_EQ(standard_symbol_name(s, Units::Mm), "rect250x100.5");
    // The same symbol named for an inch file is in mils.
    EXPECT_EQ(standard_symbol_name(parse_symbol_name("r254", Units::Mm), Units::Inch), "r10");
}

TEST(SymbolNames, UpperCaseNamesAreStandardToo)
{
    const Symbol s = parse_symbol_name("RECT20X30XR5", Units::Inch);
    EXPECT_EQ(s.family, SymbolFamily::RectRounded);
    EXPECT_DOUBLE_EQ(s.p[2], 5 * kNmPerMil);
    EXPECT_EQ(s.name, "RECT20X30XR5");
}

TEST(SymbolNames, NonStandardNamesAreKeptUnknown)
{
    for (const char* name : {"pad_special", "r", "rect20", "rect20x30x", "r10x", "rect20x30xq5", "thr60x40x45x4.5x10",
                             "rect20x30xr5x15", "hole30xqx2x1", "drill_symbol2+1", "s-x",
                             "hplate60x40x10x2x3x4", "r10x5"}) {
        SCOPED_TRACE(name);
        const Symbol s = parse_symbol_name(name, Units::Inch);
        EXPECT_EQ(s.family, SymbolFamily::Unknown);
        EXPECT_EQ(s.name, name);
        EXPECT_EQ(standard_symbol_name(s, Units::Inch), name);
    }
}

TEST(SymbolNames, UserSymbolsResolveByTheJobsTable)
{
    Job job;
    job.symbols["logo"].name = "logo";
    Layer& layer = job.steps["pcb"].layers["top"];
    layer.symbols = {parse_symbol_name("logo", Units::Inch), parse_symbol_name("mystery", Units::Inch),
                     parse_symbol_name("r5", Units::Inch)};
    odb::resolve_user_symbols(job);
    EXPECT_EQ(layer.symbols[0].family, SymbolFamily::User);
    EXPECT_EQ(layer.symbols[1].family, SymbolFamily::Unknown);
    EXPECT_EQ(layer.symbols[2].family, SymbolFamily::Round);
}
