// The selection filter on a small hand-made layer.
#include "engine/select/filter.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::select;

namespace {

Symbol round(double d, const char* name)
{
    Symbol s;
    s.family = SymbolFamily::Round;
    s.p[0] = d;
    s.name = name;
    return s;
}

struct Board {
    Layer layer;
    Board()
    {
        layer.symbols = {round(100000, "r100"), round(250000, "r250"), round(1000000, "r1000")};
        layer.attribute_names = {".smd", ".net"};
        layer.attribute_sets = {{{0, ""}}, {{1, "GND"}}, {{0, ""}, {1, "VCC"}}};
        auto add = [&](FeatureKind kind, int symbol, uint32_t attrs, int dcode = -1) {
            Feature f;
            f.kind = kind;
            f.symbol = symbol;
            f.attributes = attrs;
            f.dcode = dcode;
            layer.features.push_back(f);
        };
        add(FeatureKind::Line, 0, 0, 10);   // 0: thin line
        add(FeatureKind::Line, 1, 2);       // 1: line on GND
        add(FeatureKind::Pad, 2, 1);        // 2: smd pad
        add(FeatureKind::Pad, 2, 3, 10);    // 3: smd pad on VCC
        add(FeatureKind::Arc, 1, 0);        // 4
        add(FeatureKind::Surface, -1, 0);   // 5
    }
    std::vector<int> pick(const Filter& f, const std::function<bool(const Feature&)>& inside = {}) const
    {
        std::vector<int> out;
        for (size_t i = 0; i < layer.features.size(); ++i)
            if (passes(layer, layer.features[i], f, inside)) out.push_back(static_cast<int>(i));
        return out;
    }
};

using Ids = std::vector<int>;

TEST(SelectFilter, TypesSymbolsWidthsAndDcodes)
{
    Board b;
    Filter f;
    EXPECT_EQ(b.pick(f), (Ids{0, 1, 2, 3, 4, 5}));
    f.types = kLine | kArc;
    EXPECT_EQ(b.pick(f), (Ids{0, 1, 4}));
    f.min_width = 200000;
    EXPECT_EQ(b.pick(f), (Ids{1, 4}));
    f.max_width = 200000;
    EXPECT_EQ(b.pick(f), Ids{});
    f = Filter{};
    f.by_symbol = true;
    f.symbols = {"r1*"};
    EXPECT_EQ(b.pick(f), (Ids{0, 2, 3}));
    f.symbols = {"r?50"};
    EXPECT_EQ(b.pick(f), (Ids{1, 4}));
    f = Filter{};
    f.dcode = 10;
    EXPECT_EQ(b.pick(f), (Ids{0, 3}));
    f.types = 0;
    EXPECT_EQ(b.pick(f), Ids{});
}

TEST(SelectFilter, AttributesWithAndOrLogic)
{
    Board b;
    Filter f;
    f.attributes = {parse_attribute_test(".smd"), parse_attribute_test(".net=VCC")};
    EXPECT_EQ(b.pick(f), (Ids{3}));
    f.any_attribute = true;
    EXPECT_EQ(b.pick(f), (Ids{2, 3}));
    f.attributes = {parse_attribute_test(".net=GND")};
    EXPECT_EQ(b.pick(f), (Ids{1}));
    EXPECT_TRUE(parse_attribute_test(".net=").value.empty());
    EXPECT_FALSE(parse_attribute_test(".net=").any_value);
}

TEST(SelectFilter, SelectionAndProfile)
{
    Board b;
    b.layer.features[2].selected = b.layer.features[4].selected = true;
    Filter f;
    f.within_selection = true;
    EXPECT_EQ(b.pick(f), (Ids{2, 4}));
    f = Filter{};
    f.profile = 2;
    auto only_pads_inside = [](const Feature& x) { return x.kind == FeatureKind::Pad; };
    EXPECT_EQ(b.pick(f, only_pads_inside), (Ids{0, 1, 4, 5}));
    f.profile = 1;
    EXPECT_EQ(b.pick(f, only_pads_inside), (Ids{2, 3}));
}

TEST(SelectFilter, GlobMatching)
{
    EXPECT_TRUE(glob_match("*", ""));
    EXPECT_TRUE(glob_match("rect*x*", "rect20x30"));
    EXPECT_FALSE(glob_match("rect*x*", "r20"));
    EXPECT_TRUE(glob_match("*0", "r100"));
    EXPECT_FALSE(glob_match("r10", "r100"));
    EXPECT_TRUE(glob_match("a*b*c", "axxbyybzc"));
}

} // namespace
