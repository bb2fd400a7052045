// Translating files into layers of an open job, the drill tool table, and
// exporting layers again.
#include "engine/api/exchange.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <fstream>

namespace kesto {
namespace {

using namespace KESTO::API;

Job& fresh_job(const std::string& name)
{
    Job job;
    job.name = name;
    job.steps["pcb"].name = "pcb";
    return store::add_job(std::move(job));
}

bool translate(const std::string& path, const std::string& job, const std::string& layer, Reports& reports,
               std::map<int, int>* dcodes = nullptr)
{
    KESTO::API::time start, end;
    std::map<int, int> codes;
    const bool ok = file_translate(path, job, "pcb", layer, {}, start, end, dcodes ? *dcodes : codes, reports);
    EXPECT_LE(start.iHour * 3600 + start.iMinute * 60 + start.iSecond, end.iHour * 3600 + end.iMinute * 60 + end.iSecond + 1);
    return ok;
}

TEST(Exchange, TranslatesIntoNewLayersAndExportsThemAgain)
{
    Job& job = fresh_job("exchange_a");
    EXPECT_TRUE(file_translate_init("exchange_a"));
    const std::string data = std::string(KESTO_TESTDATA) + "/gerber/";
    Reports reports;
    std::map<int, int> dcodes;
    ASSERT_TRUE(translate(data + "macros/clear-with-thermal.gbr", "exchange_a", "thermal", reports, &dcodes));
    ASSERT_TRUE(translate(data + "drill/slot.drl", "exchange_a", "drill", reports));
    ASSERT_EQ(job.rows.size(), 2u);
    EXPECT_EQ(job.rows[0].type, "DOCUMENT");
    EXPECT_EQ(job.rows[1].type, "DRILL");
    EXPECT_EQ(job.rows[1].row, 2);
    const Layer& thermal = job.steps["pcb"].layers["thermal"];
    ASSERT_EQ(thermal.features.size(), 2u);
    EXPECT_EQ(dcodes.size(), 2u);
    EXPECT_EQ(thermal.symbols[std::size_t(dcodes.at(11))].name, "s27940");
    EXPECT_EQ(job.symbols.count(thermal.symbols[std::size_t(dcodes.at(10))].name), 1u);
    EXPECT_TRUE(job.changed);

    // Translating again replaces the layer's features.
    ASSERT_TRUE(translate(data + "macros/clear-with-thermal.gbr", "exchange_a", "thermal", reports));
    EXPECT_EQ(job.steps["pcb"].layers["thermal"].features.size(), 2u);

    test::TempDir dir;
    ASSERT_TRUE(export_gerber("exchange_a", "pcb", "thermal", dir / "thermal.gbr", {}, reports));
    ASSERT_TRUE(export_excellon("exchange_a", "pcb", "drill", dir / "drill.drl", {}, reports));
    ASSERT_TRUE(translate(dir / "thermal.gbr", "exchange_a", "again", reports));
    ASSERT_TRUE(translate(dir / "drill.drl", "exchange_a", "drill2", reports));
    EXPECT_EQ(job.steps["pcb"].layers["again"].features.size(), 2u);
    EXPECT_EQ(job.steps["pcb"].layers["drill2"].features.size(), 1u);
    // No leftovers of the atomic save.
    EXPECT_FALSE(std::ifstream(dir / "thermal.gbr.kesto-part").good());
    // A path that cannot be written is reported, not crashed on.
    EXPECT_FALSE(export_gerber("exchange_a", "pcb", "thermal", dir / "no/such/dir/x.gbr", {}, reports));
    EXPECT_NE(reports.back().message.find("cannot write"), std::string::npos);
    store::remove_job("exchange_a");
}

TEST(Exchange, DrillToolTable)
{
    Job& job = fresh_job("exchange_b");
    test::TempDir dir;
    test::write_file(dir / "d.drl", "M48\nMETRIC,TZ\n;TYPE=PLATED\nT1C0.3\n;TYPE=NON_PLATED\nT2C3.0\n%\nT1\nX1.0Y1.0\nX2.0Y1.0\n"
                                    "X3.0Y1.0G85X5.0Y1.0\nT2\nX10.0Y10.0\nM30\n");
    Reports reports;
    ASSERT_TRUE(translate(dir / "d.drl", "exchange_b", "drill", reports));
    std::vector<drill_tools_info> tools;
    ASSERT_TRUE(get_drill_info("exchange_b", "pcb", "drill", tools, 2));
    ASSERT_EQ(tools.size(), 2u);
    EXPECT_EQ(tools[0].iToolIdx, 1);
    EXPECT_EQ(tools[0].iToolCount, 3);
    EXPECT_EQ(tools[0].iHoleSize, 300000);
    EXPECT_EQ(tools[0].iSlotLength, 2300000); // the slot's end to end length
    EXPECT_EQ(tools[1].eToolType, 1);
    EXPECT_EQ(tools[1].iToolCount, 1);

    // A new size moves the tool's holes; a new type re-marks them.
    tools[0].iHoleSize = 350000;
    tools[1].eToolType = 0;
    tools[1].eViaType = 2; // not taken
    ASSERT_TRUE(set_drill_info("exchange_b", "pcb", "drill", tools));
    std::vector<drill_tools_info> after;
    ASSERT_TRUE(get_drill_info("exchange_b", "pcb", "drill", after, 2));
    EXPECT_EQ(after[0].iHoleSize, 350000);
    EXPECT_EQ(after[0].iToolCount, 3);
    EXPECT_EQ(after[1].eToolType, 0);
    EXPECT_EQ(after[1].iToolCount, 1);
    EXPECT_EQ(after[1].eViaType, 0);
    const Layer& layer = job.steps["pcb"].layers["drill"];
    EXPECT_EQ(layer.symbols[std::size_t(layer.features[0].symbol)].name, "r350");
    EXPECT_EQ(layer.attribute_sets.size(), 2u); // the plated set is shared, not copied
    EXPECT_FALSE(get_drill_info("exchange_b", "pcb", "nothing", after, 2));
    store::remove_job("exchange_b");
}

TEST(Exchange, RefusesWhatItCannotTranslate)
{
    fresh_job("exchange_c");
    test::TempDir dir;
    Reports reports;
    EXPECT_FALSE(translate(dir / "missing.gbr", "exchange_c", "l", reports));
    EXPECT_FALSE(translate(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", "exchange_c", "l", reports));
    EXPECT_NE(reports.back().message.find("ODB++"), std::string::npos);
    EXPECT_FALSE(translate(std::string(KESTO_TESTDATA) + "/gerber/pads/circle.gbr", "no_such_job", "l", reports));
    EXPECT_FALSE(file_translate_init("no_such_job"));

    // RS-274-D finds its aperture list beside it; without one it says so.
    test::write_file(dir / "art.pho", "G54D10*\nX12500Y500D02*\nX250000Y12500D01*\nM02*\n");
    reports.clear();
    EXPECT_FALSE(translate(dir / "art.pho", "exchange_c", "art", reports));
    EXPECT_NE(reports.front().message.find("aperture list"), std::string::npos);
    test::write_file(dir / "art.apr", "D10 ROUND 0.010\n");
    reports.clear();
    EXPECT_TRUE(translate(dir / "art.pho", "exchange_c", "art", reports)) << reports.front().message;
    EXPECT_EQ(store::find_job("exchange_c")->steps["pcb"].layers["art"].features.size(), 1u);
    store::remove_job("exchange_c");
}

} // namespace
} // namespace kesto

#include "engine/formats/odb/job_io.h"
#include "engine/geometry/outline.h"

namespace kesto {
namespace {

// What a translation adds to a job survives saving the job as ODB++ and
// reading it back: symbols, user symbols, attributes and the image.
TEST(Exchange, TranslatedLayersSurviveAnOdbSave)
{
    Job& job = fresh_job("exchange_d");
    job.rows.push_back({});
    job.rows.back().row = 1;
    job.rows.back().name = "top";
    job.rows.back().context = "BOARD";
    job.rows.back().type = "SIGNAL";
    job.columns.push_back({1, "pcb", 0});
    Reports reports;
    const std::string data = std::string(KESTO_TESTDATA) + "/gerber/";
    ASSERT_TRUE(translate(data + "macros/clear-with-moire.gbr", "exchange_d", "top", reports));
    test::TempDir dir;
    test::write_file(dir / "drill.drl", "M48\nMETRIC\n;TYPE=NON_PLATED\nT1C3.0\n%\nT1\nX1.0Y1.0\nM30\n");
    ASSERT_TRUE(translate(dir / "drill.drl", "exchange_d", "drill", reports));
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "job", error)) << error;
    Job back;
    ASSERT_TRUE(odb::read_job(dir / "job", back, error)) << error;
    const Layer& before = job.steps["pcb"].layers["top"];
    const Layer& after = back.steps["pcb"].layers["top"];
    ASSERT_EQ(after.features.size(), before.features.size());
    for (std::size_t i = 0; i < after.features.size(); ++i) {
        const Symbol& a = before.symbols[std::size_t(before.features[i].symbol)];
        const Symbol& b = after.symbols[std::size_t(after.features[i].symbol)];
        EXPECT_EQ(int(a.family), int(b.family)) << a.name << " / " << b.name;
        EXPECT_DOUBLE_EQ(a.p[0], b.p[0]) << a.name << " / " << b.name;
    }
    const double area_before = geom::area(geom::layer_outline(before, geom::context_of(job)));
    const double area_after = geom::area(geom::layer_outline(after, geom::context_of(back)));
    EXPECT_NEAR(area_after, area_before, area_before * 1e-4);
    const Layer& drill = back.steps["pcb"].layers["drill"];
    ASSERT_EQ(drill.features.size(), 1u);
    ASSERT_NE(drill.features[0].attributes, 0u);
    EXPECT_EQ(drill.attribute_sets[drill.features[0].attributes - 1][0].value, "non_plated");
    store::remove_job("exchange_d");
}

} // namespace
} // namespace kesto

namespace kesto {
namespace {

// What each layer of a real job is, told to the reader of its Gerber file.
TEST(Exchange, GerberFilesSayWhatLayerTheyAre)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    auto function = [&](const char* layer) {
        for (auto& [name, value] : gerber::file_attributes(job, layer))
            if (name == ".FileFunction") return value;
        return std::string("none");
    };
    EXPECT_EQ(function("layer-1"), "Copper,L1,Top,Signal");
    EXPECT_EQ(function("LAYER-2"), "Copper,L2,Inr,Mixed");
    EXPECT_EQ(function("layer-8"), "Copper,L8,Bot,Signal");
    EXPECT_EQ(function("soldermask-top"), "Soldermask,Top");
    EXPECT_EQ(function("silkscreen-bottom"), "Legend,Bot");
    EXPECT_EQ(function("pastemask-bottom"), "Paste,Bot");
    EXPECT_EQ(function("drill"), "Plated,1,8,PTH");
    EXPECT_EQ(function("comp_+_top"), "none");
    const auto all = gerber::file_attributes(job, "layer-1");
    EXPECT_EQ(all.back(), (std::pair<std::string, std::string>{".SameCoordinates", job.name}));
    EXPECT_EQ(all[1], (std::pair<std::string, std::string>{".FilePolarity", "Positive"}));

    // A layer that brings its own function keeps it.
    Layer layer;
    layer.attributes[".FileFunction"] = "Other,Mine";
    gerber::WriteOptions options;
    options.file_attributes = gerber::file_attributes(job, "layer-1");
    std::string text;
    Reports reports;
    gerber::write(layer, {}, options, text, reports);
    EXPECT_EQ(text.find("Copper,L1"), std::string::npos) << text;
    EXPECT_NE(text.find("%TF.FileFunction,Other,Mine*%"), std::string::npos) << text;
    EXPECT_NE(text.find("%TF.FilePolarity,Positive*%"), std::string::npos) << text;

    // A negative plane travels out and in as a negative plane.
    Job& board = fresh_job("planes");
    for (const char* name : {"top", "gnd", "bot"}) {
        MatrixRow row;
        row.name = name;
        row.row = int(board.rows.size()) + 1;
        row.context = "BOARD";
        row.type = std::string(name) == "gnd" ? "POWER_GROUND" : "SIGNAL";
        row.polarity = std::string(name) == "gnd" ? "NEGATIVE" : "POSITIVE";
        board.rows.push_back(row);
        board.steps["pcb"].layers[name] = job.steps.begin()->second.layers.at("layer-1");
    }
    test::TempDir dir;
    ASSERT_TRUE(export_gerber("planes", "pcb", "gnd", dir / "gnd.gbr", {}, reports));
    EXPECT_NE(test::read_file(dir / "gnd.gbr").find("%TF.FileFunction,Copper,L2,Inr,Plane*%"), std::string::npos);
    Job& again = fresh_job("planes_again");
    ASSERT_TRUE(translate(dir / "gnd.gbr", "planes_again", "gnd", reports));
    ASSERT_EQ(again.rows.size(), 1u);
    EXPECT_EQ(again.rows[0].type, "POWER_GROUND");
    EXPECT_EQ(again.rows[0].polarity, "NEGATIVE");
    store::remove_job("planes");
    store::remove_job("planes_again");
}

} // namespace
} // namespace kesto

