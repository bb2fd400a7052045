// Symbol names in replies are written in the working unit, whatever unit the
// layer's file uses, so a name a host reads is the name it would send to make
// that symbol. Expected names are worked by hand: 1 mil = 25.4 um.
#include "engine/api/display.h"
#include "engine/api/edit.h"
#include "engine/api/layer_query.h"
#include "engine/api/layer_roles.h"
#include "engine/api/pick.h"
#include "engine/api/reports.h"
#include "engine/api/selection.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <algorithm>

using namespace kesto;
namespace api = KESTO::API;

namespace {

void add_pads(Layer& layer, const std::vector<Symbol>& symbols, Coord y)
{
    layer.symbols = symbols;
    for (size_t i = 0; i < symbols.size(); ++i) {
        Feature f;
        f.kind = FeatureKind::Pad;
        f.symbol = static_cast<std::int32_t>(i);
        f.a = {Coord(i) * 5000000, y};
        layer.features.push_back(f);
    }
}

class SymbolNamesReply : public ::testing::Test {
protected:
    void SetUp() override
    {
        Job job;
        job.name = "units";
        job.rows = {MatrixRow{}, MatrixRow{}};
        job.rows[0].name = "cu";
        job.rows[1].name = "mm";
        job.symbols["logo"] = UserSymbol{};
        Step step;
        step.name = "pcb";
        Layer cu; // written in inches: sizes in mils
        cu.units = Units::Inch;
        Symbol logo;
        logo.family = SymbolFamily::User;
        logo.name = "logo";
        add_pads(cu, {odb::parse_symbol_name("r3.0315", Units::Inch), odb::parse_symbol_name("rect40x20", Units::Inch), logo},
                 0);
        Layer mm; // written in millimetres: sizes in microns
        mm.units = Units::Mm;
        add_pads(mm, {odb::parse_symbol_name("r254", Units::Mm), odb::parse_symbol_name("oval508x254", Units::Mm)},
                 10000000);
        step.layers["cu"] = cu;
        step.layers["mm"] = mm;
        job.steps["pcb"] = step;
        store::add_job(job);
        api::set_select_param(api::select_info{});
        session(0);
    }
    void TearDown() override
    {
        session(0);
        store::remove_job("units");
    }
    static void session(int inch)
    {
        api::show_param p;
        p.Units = inch;
        api::set_show_para(p);
    }
    static std::vector<std::string> described(const char* layer)
    {
        api::clear_selected_features("units", "pcb", layer);
        api::select_features("units", "pcb", layer);
        std::vector<api::featureInfo> infos;
        api::get_selected_feature_info("units", "pcb", layer, infos);
        std::vector<std::string> names;
        for (const auto& info : infos) names.push_back(info.symbolname);
        return names;
    }
    static std::vector<std::string> listed()
    {
        std::vector<std::string> names;
        EXPECT_TRUE(api::get_layer_symbol_list("units", "pcb", {"cu", "mm"}, names));
        return names;
    }
    static std::vector<std::string> counted()
    {
        std::vector<api::features_report_entry> report;
        EXPECT_TRUE(api::features_report("units", "pcb", {"cu", "mm"}, false, report));
        std::vector<std::string> names;
        for (const auto& layer : report)
            for (const auto& [name, count] : layer.symbols) names.push_back(name + ":" + std::to_string(count));
        return names;
    }
    // The symbol of the topmost feature under a point of the layer.
    static std::string at(const char* layer, double x, double y)
    {
        std::vector<api::feature_at> hits;
        EXPECT_TRUE(api::features_at_point("units", "pcb", {layer}, x, y, 0, hits));
        return hits.empty() ? std::string() : hits.front().symbol;
    }
};

// 3.0315 mil = 77.0001 um, 40 x 20 mil = 1016 x 508 um; the other way
// 254 um = 10 mil, 508 x 254 um = 20 x 10 mil. User symbols keep their name.
TEST_F(SymbolNamesReply, EveryReplyNamesSymbolsInTheWorkingUnit)
{
    using Names = std::vector<std::string>;
    EXPECT_EQ(described("cu"), (Names{"r77", "rect1016x508", "logo"}));
    EXPECT_EQ(described("mm"), (Names{"r254", "oval508x254"}));
    EXPECT_EQ(listed(), (Names{"r77", "rect1016x508", "logo", "r254", "oval508x254"}));
    EXPECT_EQ(counted(), (Names{"logo:1", "r77:1", "rect1016x508:1", "oval508x254:1", "r254:1"}));
    EXPECT_EQ(at("cu", 0, 0), "r77");
    EXPECT_EQ(at("mm", 5, 10), "oval508x254");

    session(1);
    EXPECT_EQ(described("cu"), (Names{"r3.0315", "rect40x20", "logo"}));
    EXPECT_EQ(described("mm"), (Names{"r10", "oval20x10"}));
    EXPECT_EQ(listed(), (Names{"r3.0315", "rect40x20", "logo", "r10", "oval20x10"}));
    EXPECT_EQ(counted(), (Names{"logo:1", "r3.0315:1", "rect40x20:1", "oval20x10:1", "r10:1"}));
    EXPECT_EQ(at("mm", 0, 10 / 25.4), "r10");
}

// A name read back is a name the host can send: the selection filter finds
// the same feature by it, in either session unit.
TEST_F(SymbolNamesReply, ReportedNamesSelectTheirFeatures)
{
    auto selected_by = [](const char* layer, const std::string& symbol) {
        api::select_info filter;
        filter.has_symbols = true;
        filter.symbols = {symbol};
        api::set_select_param(filter);
        api::clear_selected_features("units", "pcb", layer);
        api::select_features("units", "pcb", layer);
        std::vector<int> picked;
        const Layer& l = store::find_job("units")->steps["pcb"].layers[layer];
        for (size_t i = 0; i < l.features.size(); ++i)
            if (l.features[i].selected) picked.push_back(int(i));
        return picked;
    };
    EXPECT_EQ(selected_by("cu", "r77"), std::vector<int>{0});
    EXPECT_EQ(selected_by("cu", "r3.0315"), std::vector<int>{}); // mils are not microns
    EXPECT_EQ(selected_by("cu", "rect*"), std::vector<int>{1});
    EXPECT_EQ(selected_by("mm", "oval508x254"), std::vector<int>{1});
    session(1);
    EXPECT_EQ(selected_by("cu", "r3.0315"), std::vector<int>{0});
    EXPECT_EQ(selected_by("mm", "r10"), std::vector<int>{0});
    EXPECT_EQ(selected_by("mm", "r254"), std::vector<int>{});
    EXPECT_EQ(selected_by("cu", "logo"), std::vector<int>{2});
}

} // namespace
