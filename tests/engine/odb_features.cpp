// The features-file reader and writer: every record kind, orientations,
// attributes and IDs, units, the round trip, and lines that do not parse.
#include "engine/formats/odb/features.h"
#include "odb_digest.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::odb;

namespace {

const char* kEveryRecord = R"(UNITS=INCH
ID=77
#
#Num Features
#
F 12

#
#Feature symbol names
#
$0 r10
$1 rect20x30xr5
$2 s250 M
$3 logo

#
#Feature attribute names
#
@0 .smd
@1 .string
@2 .pad_usage

#
#Feature attribute text strings
#
&0 hello world
&1 R12

#
#Layer features
#
L 0 0 1.5 -0.25 0 P 0;0;ID=11
L -1 -1 1 1 0 N 3
P 1 2 1 P 0 0;0,1=1,2=3;ID=12
P 1 2 1 P 0 5
P 1 2 1 N 0 8 12.5
P 1 2 1 P 0 9 33.25;1=0
P 1 2 -1 3 1.5 P 0 0
P 0.1 0.2 2 P 4 2
A 0 0 1 1 0.5 0.5 0 P 0 Y;;ID=13
A 0 0 1 1 0.5 0.5 0 N 0 N
T 1 1 standard P 0 0.1 0.12 2 'a; b ''c' 1;1=1;ID=14
B 1 1 UPC39 standard P 1 E 0.008 0.2 Y N Y T T '1234'
S P 0;0;ID=15
OB 0 0 I
OS 1 0
OC 1 1 1 0.5 Y
OS 0 1
OS 0 0
OE
OB 0.25 0.25 H
OS 0.75 0.25
OS 0.75 0.75
OS 0.25 0.25
OE
SE
)";

Layer read(const std::string& text)
{
    Layer layer;
    std::string error;
    EXPECT_TRUE(read_features_file(text, layer, Units::Inch, error)) << error;
    resolve_attribute_texts(layer, {".string"});
    return layer;
}

} // namespace

TEST(OdbFeatures, ReadsEveryRecordKind)
{
    const Layer layer = read(kEveryRecord);
    ASSERT_EQ(layer.features.size(), 13u);
    EXPECT_EQ(layer.id, 77u);
    EXPECT_EQ(layer.units, Units::Inch);

    const Feature& line = layer.features[0];
    EXPECT_EQ(line.kind, FeatureKind::Line);
    EXPECT_EQ(line.b, (Point{38100000, -6350000}));
    EXPECT_EQ(line.id, 11u);
    EXPECT_EQ(layer.features[1].polarity, Polarity::Negative);
    EXPECT_EQ(layer.features[1].dcode, 3);

    const Feature& pad = layer.features[2];
    EXPECT_EQ(pad.kind, FeatureKind::Pad);
    EXPECT_EQ(layer.symbols[pad.symbol].family, SymbolFamily::RectRounded);
    ASSERT_NE(pad.attributes, 0u);
    const auto& set = layer.attribute_sets[pad.attributes - 1];
    ASSERT_EQ(set.size(), 3u);
    EXPECT_EQ(layer.attribute_names[set[0].name], ".smd");
    EXPECT_EQ(set[0].value, "");
    EXPECT_EQ(set[1].value, "R12");  // a text attribute: &1
    EXPECT_EQ(set[2].value, "3");    // not a text attribute: the value itself
    EXPECT_EQ(layer.features[5].angle, 33.25);
    EXPECT_TRUE(layer.features[5].mirror);
    EXPECT_EQ(layer.attribute_sets[layer.features[5].attributes - 1][0].value, "hello world");

    // Orientation codes: 5 is 90 degrees mirrored, 8 any angle.
    EXPECT_EQ(layer.features[3].angle, 90);
    EXPECT_TRUE(layer.features[3].mirror);
    EXPECT_EQ(layer.features[4].angle, 12.5);
    EXPECT_FALSE(layer.features[4].mirror);
    EXPECT_FLOAT_EQ(layer.features[6].resize, 1.5f);
    EXPECT_EQ(layer.symbols[layer.features[6].symbol].name, "logo");

    // A symbol marked metric in an inch file: 250 microns.
    const Symbol& metric = layer.symbols[layer.features[7].symbol];
    EXPECT_EQ(metric.units, Units::Mm);
    EXPECT_DOUBLE_EQ(metric.p[0], 250000);
    EXPECT_EQ(layer.features[7].angle, 180);

    EXPECT_TRUE(layer.features[8].cw);
    EXPECT_FALSE(layer.features[9].cw);
    EXPECT_EQ(layer.features[8].c, (Point{12700000, 12700000}));

    const Feature& text = layer.features[10];
    EXPECT_EQ(text.kind, FeatureKind::Text);
    EXPECT_EQ(layer.texts[text.body].text, "a; b ''c");
    EXPECT_EQ(layer.texts[text.body].xsize, 2540000);
    EXPECT_EQ(layer.texts[text.body].width_factor, 2);
    EXPECT_EQ(text.id, 14u);
    EXPECT_EQ(layer.features[11].kind, FeatureKind::Barcode);
    EXPECT_EQ(layer.texts[layer.features[11].body].text, "1234");
    EXPECT_EQ(layer.features[11].angle, 90);

    const Feature& surface = layer.features[12];
    ASSERT_EQ(surface.kind, FeatureKind::Surface);
    const Surface& body = layer.surfaces[surface.body];
    ASSERT_EQ(body.contours.size(), 2u);
    EXPECT_TRUE(body.contours[0].island);
    EXPECT_FALSE(body.contours[1].island);
    ASSERT_EQ(body.contours[0].segments.size(), 4u);
    EXPECT_TRUE(body.contours[0].segments[1].arc);
    EXPECT_TRUE(body.contours[0].segments[1].cw);
    EXPECT_EQ(surface.id, 15u);
}

TEST(OdbFeatures, FeaturesWithEqualAttributesShareOneSet)
{
    const Layer layer = read("UNITS=MM\n@0 .a\nL 0 0 1 1 r1 P 0;0=1\nL 0 0 2 2 r1 P 0;0=1\nL 0 0 3 3 r1 P 0;0=2\n");
    EXPECT_EQ(layer.attribute_sets.size(), 2u);
    EXPECT_EQ(layer.features[0].attributes, layer.features[1].attributes);
    EXPECT_EQ(layer.features[2].b, (Point{3000000, 3000000}));
}

TEST(OdbFeatures, WriteThenReadGivesTheSameFeatures)
{
    for (Units units : {Units::Inch, Units::Mm}) {
        Layer layer = read(kEveryRecord);
        layer.units = units;
        // Awkward coordinates: odd nanometres survive either unit.
        layer.features[0].a = Point{-123456789, 987654321};
        layer.features[0].b = Point{1, -1};
        const std::string text = write_features_file(layer, {".string"});
        const Layer again = read(text);
        EXPECT_EQ(again.units, units);
        ASSERT_EQ(again.features.size(), layer.features.size()) << text;
        for (size_t i = 0; i < layer.features.size(); ++i)
            EXPECT_EQ(test::describe_feature(again, again.features[i]), test::describe_feature(layer, layer.features[i]));
        EXPECT_EQ(test::layer_digest(again), test::layer_digest(layer));
    }
}

TEST(OdbFeatures, SingleRecordsBySymbolAndAttributeName)
{
    Layer layer;
    std::string error;
    ASSERT_TRUE(parse_feature_record("P 1 1 r20 P 0 8 45;.smd,.string=ab;ID=9", layer, Units::Mm, &error)) << error;
    ASSERT_TRUE(parse_feature_record("L 0 0 1 1 r20 N 0", layer, Units::Mm, &error)) << error;
    ASSERT_TRUE(parse_feature_record("S N 0\nOB 0 0 I\nOS 1 0\nOS 0 1\nOS 0 0\nOE\nSE", layer, Units::Mm, &error));
    ASSERT_EQ(layer.features.size(), 3u);
    ASSERT_EQ(layer.symbols.size(), 1u);
    EXPECT_DOUBLE_EQ(layer.symbols[0].p[0], 20000); // microns in a metric record
    EXPECT_EQ(layer.attribute_names, (std::vector<std::string>{".smd", ".string"}));
    EXPECT_EQ(write_feature_record(layer, layer.features[0], Units::Mm), "P 1 1 0 P 0 8 45;0,1=ab;ID=9");
    EXPECT_EQ(write_feature_record(layer, layer.features[1], Units::Inch), "L 0 0 0.0393700787 0.0393700787 0 N 0");
    EXPECT_EQ(write_feature_record(layer, layer.features[2], Units::Mm),
              "S N 0\nOB 0 0 I\nOS 1 0\nOS 0 1\nOS 0 0\nOE\nSE");
}

TEST(OdbFeatures, BadRecordsAreRefusedAndLeaveTheLayerAlone)
{
    for (const char* bad : {"L 0 0 1 1 r1 P", "L 0 0 x 1 r1 P 0", "P 0 0 r1 Q 0 0", "P 0 0 r1 P 0 10",
                            "P 0 0 r1 P 0 8", "A 0 0 1 1 0 0 r1 P 0 maybe", "Z 1 2", "L 0 0 1 1 7 P 0",
                            "L 0 0 1 1 r1 P 0;9=1", "L 0 0 1 1 r1 P 0;ID=x", "S P 0\nOB 0 0 I\nOS 1 1\nSE",
                            "S P 0\nOB 0 0 I\nOE", "S P 0\nOS 0 0\nSE", "T 0 0 standard P 0 1 1"}) {
        SCOPED_TRACE(bad);
        Layer layer;
        std::string error;
        EXPECT_FALSE(parse_feature_record(bad, layer, Units::Inch, &error));
        EXPECT_FALSE(error.empty());
        EXPECT_TRUE(layer.features.empty());
        EXPECT_TRUE(layer.symbols.empty());
        EXPECT_TRUE(layer.attribute_names.empty());
        EXPECT_TRUE(layer.surfaces.empty());
    }
}

TEST(OdbFeatures, AFileWithABadLineNamesTheLine)
{
    Layer layer;
    std::string error;
    EXPECT_FALSE(read_features_file("UNITS=INCH\n$0 r1\nL 0 0 1 1 0 P 0\nL 0 0 1 1 0 P\n", layer, Units::Inch, error));
    EXPECT_EQ(error.rfind("line 4:", 0), 0u) << error;
    EXPECT_FALSE(read_features_file("$0 r1\nS P 0\nOB 0 0 I\nOS 1 0\nOE\n", layer = Layer(), Units::Inch, error));
    EXPECT_NE(error.find("SE"), std::string::npos) << error;
    EXPECT_FALSE(read_features_file("UNITS=FURLONG\n", layer = Layer(), Units::Inch, error));
    // Counts and table numbers a short file cannot hold are not believed.
    EXPECT_FALSE(read_features_file("$4000000000 r1\n", layer = Layer(), Units::Inch, error));
    EXPECT_FALSE(read_features_file("@9999999 .a\n", layer = Layer(), Units::Inch, error));
    EXPECT_TRUE(read_features_file("F 4000000000\n$0 r1\nP 0 0 0 P 0 0\n", layer = Layer(), Units::Inch, error));
    EXPECT_LT(layer.features.capacity(), 1000u);
}

TEST(OdbFeatures, FeaturesWithoutASymbolStillWriteAReadableFile)
{
    Layer layer;
    layer.units = Units::Mm;
    Feature line;
    line.kind = FeatureKind::Line;
    line.b = Point{1000000, 0};
    layer.features.push_back(line); // symbol -1: made by code that forgot it
    EXPECT_EQ(write_feature_record(layer, line, Units::Mm), "L 0 0 1 0 r0 P 0");
    const Layer again = read(write_features_file(layer, {}));
    ASSERT_EQ(again.features.size(), 1u);
    EXPECT_EQ(again.symbols.at(again.features[0].symbol).family, SymbolFamily::Round);
}
