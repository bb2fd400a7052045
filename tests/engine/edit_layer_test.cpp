// Layer edits on the selected features.
#include "engine/edit/layer_edit.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::edit;

namespace {

Symbol sym(const char* name, double d)
{
    Symbol s;
    s.family = SymbolFamily::Round;
    s.p[0] = d;
    s.name = name;
    return s;
}

Feature pad(Coord x, Coord y, int symbol, bool selected)
{
    Feature f;
    f.kind = FeatureKind::Pad;
    f.a = {x, y};
    f.symbol = symbol;
    f.selected = selected;
    return f;
}

Layer three_pads()
{
    Layer l;
    l.symbols = {sym("r10", 254000), sym("r20", 508000)};
    l.features = {pad(0, 0, 0, true), pad(100, 0, 1, false), pad(200, 0, 1, true)};
    set_attributes(l, l.features[0], {{".smd", ""}, {".net", "GND"}});
    return l;
}

std::vector<Coord> xs(const Layer& l)
{
    std::vector<Coord> out;
    for (const auto& f : l.features) out.push_back(f.a.x);
    return out;
}

TEST(LayerEdit, DeleteMoveAndReorderOnlyTouchTheSelection)
{
    Layer l = three_pads();
    EXPECT_EQ(place_selected(l, moved(5, -5)), 2u);
    EXPECT_EQ(xs(l), (std::vector<Coord>{5, 100, 205}));
    EXPECT_EQ(l.features[1].a.y, 0);
    EXPECT_EQ(reorder_selected(l, false), 2u);
    EXPECT_EQ(xs(l), (std::vector<Coord>{5, 205, 100}));
    EXPECT_EQ(reorder_selected(l, true), 2u);
    EXPECT_EQ(xs(l), (std::vector<Coord>{100, 5, 205}));
    EXPECT_EQ(delete_selected(l), 2u);
    EXPECT_EQ(xs(l), (std::vector<Coord>{100}));
    EXPECT_EQ(delete_selected(l), 0u);
}

TEST(LayerEdit, CopyToAnotherLayerCarriesSymbolsAttributesAndBodies)
{
    Layer from = three_pads();
    Contour c;
    c.start = {0, 0};
    c.segments = {{{10, 0}}, {{10, 10}}, {{0, 0}}};
    from.surfaces.push_back(Surface{{c}});
    Feature s;
    s.kind = FeatureKind::Surface;
    s.body = 0;
    s.selected = true;
    from.features.push_back(s);

    Layer to;
    to.symbols = {sym("r20", 508000)};
    to.attribute_names = {".net"};
    EXPECT_EQ(copy_selected(from, to, moved(1000, 0), true), 3u);
    ASSERT_EQ(to.features.size(), 3u);
    EXPECT_EQ(to.symbols.size(), 2u);
    EXPECT_EQ(to.symbols[static_cast<size_t>(to.features[0].symbol)].name, "r10");
    EXPECT_EQ(to.symbols[static_cast<size_t>(to.features[1].symbol)].name, "r20");
    EXPECT_EQ(to.features[0].polarity, Polarity::Negative);
    EXPECT_FALSE(to.features[0].selected);
    EXPECT_EQ(attributes_of(to, to.features[0]), (std::map<std::string, std::string>{{".smd", ""}, {".net", "GND"}}));
    EXPECT_EQ(to.surfaces.at(to.features[2].body).contours[0].start, (Point{1000, 0}));
    EXPECT_EQ(from.surfaces[0].contours[0].start, (Point{0, 0})) << "the source is untouched";

    // Within one layer the copies are appended after the originals.
    EXPECT_EQ(copy_selected(from, from, moved(0, 7), false), 3u);
    EXPECT_EQ(from.features.size(), 7u);
    EXPECT_EQ(from.features[4].a, (Point{0, 7}));
    EXPECT_NE(from.features[6].body, from.features[3].body);
}

TEST(LayerEdit, PolarityAttributesAndSelection)
{
    Layer l = three_pads();
    EXPECT_EQ(set_polarity_selected(l, PolarityChange::Invert), 2u);
    EXPECT_EQ(l.features[0].polarity, Polarity::Negative);
    EXPECT_EQ(l.features[1].polarity, Polarity::Positive);
    set_polarity_selected(l, PolarityChange::Positive);
    EXPECT_EQ(l.features[0].polarity, Polarity::Positive);

    change_attributes_selected(l, AttributeChange::Add, {{".net", "VCC"}, {".test_point", ""}});
    EXPECT_EQ(attributes_of(l, l.features[0]).at(".net"), "VCC");
    EXPECT_EQ(attributes_of(l, l.features[0]).count(".smd"), 1u);
    EXPECT_EQ(attributes_of(l, l.features[2]).size(), 2u);
    EXPECT_TRUE(attributes_of(l, l.features[1]).empty());
    change_attributes_selected(l, AttributeChange::Remove, {{".net", ""}});
    EXPECT_EQ(attributes_of(l, l.features[0]).count(".net"), 0u);
    change_attributes_selected(l, AttributeChange::Replace, {{".pad_usage", "toeprint"}});
    EXPECT_EQ(attributes_of(l, l.features[2]), (std::map<std::string, std::string>{{".pad_usage", "toeprint"}}));
    EXPECT_EQ(l.features[0].attributes, l.features[2].attributes) << "equal sets are shared";
    change_attributes_selected(l, AttributeChange::Remove, {});
    EXPECT_EQ(l.features[0].attributes, 0u);

    EXPECT_EQ(reverse_selection(l), 1u);
    EXPECT_TRUE(l.features[1].selected);
    l.features[0].highlighted = true;
    EXPECT_EQ(clear_highlight(l), 1u);
    EXPECT_EQ(clear_selection(l), 1u);
    EXPECT_EQ(count_selected(l), 0u);
}

} // namespace
