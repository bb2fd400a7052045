// Every feature edit, through whichever operation a command reaches, puts the
// layers back exactly on undo, and leaves the edit before it alone.
#include "engine/api/clickbox.h"
#include "engine/api/edit.h"
#include "engine/api/features.h"
#include "engine/api/jobs.h"
#include "engine/api/selection.h"
#include "engine/api/units.h"
#include "engine/formats/odb/features.h"
#include "engine/store/store.h"

#include <gtest/gtest.h>

#include <functional>

using namespace kesto;
namespace api = KESTO::API;

namespace {

constexpr int kMm = 1000000;

Contour square(Coord x0, Coord y0, Coord x1, Coord y1)
{
    return Contour{true, {x0, y0}, {Segment{{x1, y0}}, Segment{{x1, y1}}, Segment{{x0, y1}}, Segment{{x0, y0}}}};
}

int symbol(const char* name)
{
    int n = -1;
    EXPECT_TRUE(api::create_new_symbol("undo", "pcb", name, "", n)) << name;
    return n;
}

void add(const std::string& layer, const std::string& record)
{
    ASSERT_TRUE(api::AddFeature("undo", "pcb", {layer}, {{"note", "kept"}}, record, false)) << record;
}

// A board with a feature of every kind on "top", a negative row "bot" and a
// reference layer "ref"; the step has a profile.
void make_board()
{
    Job job;
    job.name = "undo";
    for (const char* name : {"top", "bot", "ref"}) {
        MatrixRow row;
        row.name = name;
        row.context = "BOARD";
        row.type = "SIGNAL";
        job.rows.push_back(row);
    }
    job.rows[1].polarity = "NEGATIVE";
    Step step;
    step.name = "pcb";
    step.has_profile = true;
    step.profile.contours = {square(-5 * kMm, -5 * kMm, 60 * kMm, 10 * kMm)};
    for (const auto& row : job.rows) step.layers[row.name].units = Units::Mm;
    job.steps["pcb"] = step;
    store::add_job(job);

    const int r100 = symbol("r100"), s200 = symbol("s200"), r50 = symbol("r50");
    add("top", api::GreatePadString(0, 0, r100, 0, 0, 0, 0));
    add("top", api::GreatePadString(5, 0, s200, 0, 0, 0, 0));
    add("top", api::GreatePadString(5, 3, r100, 1, 0, 0, 0));
    // A closed square of lines, then two crossing lines.
    add("top", api::GreateLineString(10, 0, 12, 0, r50, 0, 0));
    add("top", api::GreateLineString(12, 0, 12, 2, r50, 0, 0));
    add("top", api::GreateLineString(12, 2, 10, 2, r50, 0, 0));
    add("top", api::GreateLineString(10, 2, 10, 0, r50, 0, 0));
    add("top", api::GreateLineString(20, 0, 22, 2, r50, 0, 0));
    add("top", api::GreateLineString(20, 2, 22, 0, r50, 0, 0));
    add("top", api::GreateArcString(30, 0, 32, 0, 31, 0, r50, 0, 0, true));
    add("top", api::GreateSurfaceString({{40, 0}, {42, 0}, {42, 2}, {40, 2}, {40, 0}}, 0, 0, false));
    add("top", api::GreateTextString(50, 0, "standard", 0, 0, 1, 1, 0.2, "AB", 1, 0));
    add("bot", api::GreatePadString(0, 0, r100, 0, 0, 0, 0));
    add("ref", api::GreateSurfaceString({{-1, -1}, {6, -1}, {6, 1}, {-1, 1}, {-1, -1}}, 0, 0, false));
}

// A layer as its features file and its row's polarity: every feature with
// its symbol, polarity, attributes and body.
std::string image(const char* layer)
{
    Job& job = *store::find_job("undo");
    return std::string(store::find_row(job, layer)->polarity) + "\n" +
           odb::write_features_file(*store::find_layer(job, job.steps["pcb"], layer), {});
}

void select_all(const char* layer)
{
    Layer& l = *store::find_layer(*store::find_job("undo"), store::find_job("undo")->steps["pcb"], layer);
    for (Feature& f : l.features) f.selected = true;
}

KESTO::Op::OpPara para(double size = 0)
{
    KESTO::Op::OpPara p;
    p.job = "undo";
    p.step = "pcb";
    p.layers = {"top"};
    p.size = size;
    p.radius = size;
    return p;
}

api::Points points(std::initializer_list<std::pair<double, double>> mm)
{
    api::Points out;
    for (const auto& [x, y] : mm)
        out.push_back(api::point{static_cast<std::int32_t>(x * kMm), static_cast<std::int32_t>(y * kMm)});
    return out;
}

struct Case {
    const char* name;
    std::function<void()> edit;
};

const std::vector<Case>& cases()
{
    using KESTO::Op::OpPara;
    static const std::vector<Case> all = {
        {"resize_global", [] { api::resize_global_result r; api::resize_global(para(0.05), r); }},
        {"resize_polyline", [] { api::resize_polyline("undo", "pcb", {"top"}, 0.05, true); }},
        {"split at crossings", [] { api::connections(para()); }},
        {"change_feature_symbols", [] { int n; api::change_feature_symbols("undo", "pcb", {"top"}, "r300", false, n); }},
        {"break_symbols", [] { api::break_symbols(para()); }},
        {"break_arc_to_lines", [] { api::break_arc_to_lines(para(0.01)); }},
        {"reshape_contour_to_pad", [] { api::reshape_contour_to_pad("undo", "pcb", {"top"}, 0.001, 0, 5, ""); }},
        {"reshape_line_to_pad", [] { api::reshape_line_to_pad(para()); }},
        {"reshape_pad_to_line", [] { api::reshape_pad_to_line("undo", "pcb", {"top"}); }},
        {"reshape_pad_to_outline", [] { api::reshape_pad_to_outline("undo", "pcb", {"top"}, 0); }},
        {"reshape_surface_to_outline", [] { api::reshape_surface_to_outline("undo", "pcb", {"top"}, 0.1); }},
        {"reshape_outline_to_surface", [] { api::reshape_outline_to_surface("undo", "pcb", {"top"}, true); }},
        {"reshape_contourize", [] { api::reshape_contourize("undo", "pcb", {"top"}, 0, false, 0, 0, nullptr); }},
        {"reshape_substitute",
         [] {
             OpPara p = para(0.01);
             p.symbol_name = "s2000"; // the 2 mm square surface
             api::reshape_substitute(p);
         }},
        {"change_text", [] { api::change_text("undo", "pcb", {"top"}, "XY", "", 0, 0, 0, 1, 1, 0); }},
        {"negative_layer_to_positive", [] { api::negative_layer_to_positive("undo", "pcb", {"top", "bot"}); }},
        {"clip_area_use_manual",
         [] { api::clip_area_use_manual("undo", "pcb", {"top"}, points({{-1, -1}, {11, -1}, {11, 1}}), true, false, 0, 0); }},
        {"clip_area_use_profile", [] { api::clip_area_use_profile("undo", "pcb", "top", true, false, 0, 0); }},
        {"clip_area_use_reference", [] { api::clip_area_use_reference("undo", "pcb", "top", "ref", 0, false, 0); }},
        {"rounding_line_corner", [] { api::rounding_line_corner("undo", "pcb", {"top"}, 0.5); }},
        {"solid fill", [] { api::use_solid_fill_contours("undo", "pcb", {"top"}, false, 0.3, false); }},
        {"pattern fill",
         [] { api::use_pattern_fill_contours("undo", "pcb", {"top"}, "r100", 0, 0, false, false, 0, true, 0, false); }},
        {"change_lines", [] { api::change_lines("undo", "pcb", "top", {3}, points({{9, 0}}), points({{13, 0}})); }},
        {"change_arc", [] { api::change_arc("undo", "pcb", "top", 9, {}, {}, {}, false, true); }},
        {"delete", [] { api::delete_selected_features("undo", "pcb", {"top"}); }},
        {"move", [] { api::move_same_layer("undo", "pcb", {"top"}, kMm, 0); }},
        {"copy", [] { api::copy_features_in_samelayer("undo", "pcb", {"top"}, 0, kMm); }},
        {"copy to other layers",
         [] { api::copy_features_to_otherLayer("undo", "pcb", {"top"}, {"bot", "ref"}, true, 0, 0, 0, 0.02, 0, 0, 0); }},
        {"move to other layer",
         [] { api::move_other_layer("undo", "pcb", {"top"}, "undo", "pcb", "bot", false, 0, 0, 0, 0.02, 0, 0, 0); }},
        {"transform",
         [] { api::transform("undo", "pcb", "top", 1, true, true, false, false, true, {}, 90, 2, 2, 0, 0, 0, 0); }},
        {"polarity",
         [] {
             OpPara p = para();
             p.polarity = 2;
             api::polarity(p);
         }},
        {"attributes", [] { api::modify_attributes("undo", "pcb", {"top"}, 1, {{"other", "x"}}); }},
        {"drawing order",
         [] {
             Job& job = *store::find_job("undo");
             store::find_layer(job, job.steps["pcb"], "top")->features[0].selected = false;
             api::move_selected_features_index("undo", "pcb", {"top"}, false);
         }},
        {"click delete", [] { api::delete_clicked_features("undo", "pcb", {"top", "bot"}, points({{0, 0}}), 0xff); }},
        {"click change_line", [] { api::change_line("undo", "pcb", "top", 3, 9, 0, 13, 0); }},
        {"click polarity", [] { api::change_clicked_features_polarity("undo", "pcb", {"top", "bot"}, 0); }},
        {"click break_line", [] { api::break_line("undo", "pcb", "top", points({{11, 0}, {11.5, 0}})); }},
        {"click reroute_line", [] { api::reroute_line("undo", "pcb", "top", points({{11, 0}, {11, -1}})); }},
        {"click move_triplet", [] { api::move_triplet("undo", "pcb", "top", points({{12, 0}, {12.5, -0.5}})); }},
    };
    return all;
}

} // namespace

// Each edit runs after an earlier recorded edit (a pad added); its undo must
// give back the layers as they were just before it, not before the pad.
TEST(UndoEveryEdit, UndoPutsBackExactlyWhatTheEditChanged)
{
    api::set_working_unit(Units::Mm);
    for (const Case& c : cases()) {
        SCOPED_TRACE(c.name);
        make_board();
        add("top", api::GreatePadString(55, 5, symbol("r100"), 0, 0, 0, 0));
        select_all("top");
        const std::string top = image("top"), bot = image("bot"), ref = image("ref");
        c.edit();
        EXPECT_TRUE(image("top") != top || image("bot") != bot || image("ref") != ref) << "the edit changed nothing";
        ASSERT_TRUE(api::Undo("undo", "pcb"));
        EXPECT_EQ(image("top"), top);
        EXPECT_EQ(image("bot"), bot);
        EXPECT_EQ(image("ref"), ref);
        store::remove_job("undo");
    }
}

// An edit that changes nothing leaves no record: undo then takes back the
// edit before it.
TEST(UndoEveryEdit, AnEditOfNothingLeavesTheEarlierRecordOnTop)
{
    api::set_working_unit(Units::Mm);
    make_board();
    const std::string before = image("top");
    add("top", api::GreatePadString(55, 5, symbol("r100"), 0, 0, 0, 0));
    api::reshape_pad_to_outline("undo", "pcb", {"top"}, 0); // nothing selected
    api::rounding_line_corner("undo", "pcb", {"top"}, 0.5);
    ASSERT_TRUE(api::Undo("undo", "pcb"));
    EXPECT_EQ(image("top"), before);
    store::remove_job("undo");
}
