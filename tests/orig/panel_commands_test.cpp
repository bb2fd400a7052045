// Panels through process, as a host builds them: a panel of the sample job's
// board, its table, profile, margins and datum read back after a save, the
// placed boards, the box check, the edge drawings, and automatic planning.
// The sample board's profile is 6.575 x 5.28 inch (167.005 x 134.112 mm),
// its datum at its lower right corner: x from -167.005 to 0, y from 0 to 134.112.
#include "jobs_host.h"

#include <cmath>

using namespace kesto::test;

namespace {

const std::string kOpen =
    R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"("},{"job":"sample_design"}]})";

// A 2 x 2 grid 180 x 150 apart whose first board's datum is at (187.005, 20),
// so its profile starts at (20, 20); a fifth board turned a quarter at the right.
const std::string kTable = R"({"func":"STEP_REPEAT","paras":{"job":"sample_design","step":"panel","repeats":[
    {"step":"STEP","x":187.005,"y":20,"dx":180,"dy":150,"nx":2,"ny":2},
    {"step":"step","x":380,"y":20,"angle":90}]}})";

Json::Value paras_of(const std::string& request) { return json_of(call(request))["paras"]; }

} // namespace

TEST(PanelCommands, PanelOfTheSampleBoardReadsBackAfterASave)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(kOpen);
        EXPECT_EQ(call(kTable), "OK");
        EXPECT_EQ(call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"sample_design","step":"panel","xmin":0,"ymin":0,"xmax":540,"ymax":340}})"), "OK");
        EXPECT_EQ(call(R"({"func":"SET_PANEL_MARGIN","paras":{"job":"sample_design","step":"panel","left":10,"right":12.5,"bottom":10,"top":10}})"), "OK");
        EXPECT_EQ(call(R"({"func":"SET_DATUM_POINT","paras":{"job":"sample_design","step":"panel","x":5,"y":5}})"), "OK");
        EXPECT_EQ(call(R"({"func":"SAVE_JOB_AS","paras":{"path":"./saved","job":"sample_design"}})"), "OK");
        call(R"({"func":"CLOSE_JOB","paras":{"jobname":"sample_design"}})");
        call(R"({"func":"OPEN_JOB","paras":[{"path":"./saved"},{"job":"sample_design"}]})");

        const Json::Value rows = paras_of(R"({"func":"GET_STEP_REPEAT","paras":{"job":"sample_design","step":"panel"}})")["repeats"];
        ASSERT_EQ(rows.size(), 2u);
        EXPECT_EQ(rows[0]["step"].asString(), "step");
        EXPECT_NEAR(rows[0]["x"].asDouble(), 187.005, 1e-6);
        EXPECT_NEAR(rows[0]["dx"].asDouble(), 180, 1e-6);
        EXPECT_EQ(rows[0]["nx"].asInt(), 2);
        EXPECT_EQ(rows[0]["ny"].asInt(), 2);
        EXPECT_EQ(rows[1]["angle"].asDouble(), 90);
        const Json::Value box = paras_of(R"({"func":"PROFILE_BOX","paras":{"job":"sample_design","step":"panel"}})");
        EXPECT_EQ(box["Xmax"].asInt64(), 540000000);
        EXPECT_EQ(box["Ymax"].asInt64(), 340000000);
        const Json::Value cam = paras_of(R"({"func":"GET_CAM_AUTOMATIC","paras":{"job":"sample_design","step":"panel"}})");
        EXPECT_NEAR(cam["margins"]["right"].asDouble(), 12.5, 1e-6);
        EXPECT_NEAR(cam["datum_x"].asDouble(), 5, 1e-6);
        EXPECT_EQ(cam["boards"].asInt(), 5);
        EXPECT_TRUE(cam["inside"].asBool());
        EXPECT_FALSE(cam["overlap"].asBool());

        // Where the boards stand, worked from the profile: the grid boards'
        // profiles start at (20 + 180 i, 20 + 150 j); the turned one's
        // (x,y) -> (y,-x) about its datum spans 380..514.112 x 20..187.005.
        const Json::Value all = paras_of(R"({"func":"GET_ALL_STEP_REPEAT_STEPS","paras":{"job":"sample_design","step":"panel"}})")["steps"];
        ASSERT_EQ(all.size(), 5u);
        for (int k = 0; k < 4; ++k) {
            const int i = k / 2, j = k % 2;
            EXPECT_NEAR(all[k]["xmin"].asDouble(), 20 + 180 * i, 1e-5) << k;
            EXPECT_NEAR(all[k]["ymin"].asDouble(), 20 + 150 * j, 1e-5) << k;
            EXPECT_NEAR(all[k]["xmax"].asDouble(), 187.005 + 180 * i, 1e-5) << k;
        }
        EXPECT_NEAR(all[4]["xmin"].asDouble(), 380, 1e-5);
        EXPECT_NEAR(all[4]["xmax"].asDouble(), 514.112, 1e-5);
        EXPECT_NEAR(all[4]["ymin"].asDouble(), 20, 1e-5);
        EXPECT_NEAR(all[4]["ymax"].asDouble(), 187.005, 1e-5);

        const Json::Value guide = paras_of(R"({"func":"GET_CAM_GUIDE_STEP_INDEX","paras":{"job":"sample_design"}})");
        EXPECT_EQ(guide["board_index"].asInt(), 1);
        EXPECT_EQ(guide["panel_index"].asInt(), 2);
        EXPECT_EQ(guide["steps"][0]["instances"].asInt(), 5);
    });
}

TEST(PanelCommands, BoxCheckFindsBoardsOutsideOrOverlappingAndBadTablesChangeNothing)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(kOpen);
        call(kTable);
        call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"sample_design","step":"panel","xmin":0,"ymin":0,"xmax":540,"ymax":340}})");
        const std::string judge = R"({"func":"JUDGE_BOX_AND_CHILDSTEPBOX","paras":{"job":"sample_design","step":"panel"}})";
        Json::Value j = paras_of(judge);
        EXPECT_TRUE(j["inside"].asBool());
        EXPECT_FALSE(j["overlap"].asBool());
        // Margins of 25 push the first column (profile from x = 20) into the border.
        call(R"({"func":"SET_PANEL_MARGIN","paras":{"job":"sample_design","step":"panel","left":25,"right":10,"bottom":10,"top":10}})");
        j = paras_of(judge);
        EXPECT_FALSE(j["inside"].asBool());
        EXPECT_EQ(j["problems"].size(), 2u);
        // A pitch of 160 < 167.005 makes the columns overlap.
        call(R"({"func":"STEP_REPEAT","paras":{"job":"sample_design","step":"panel","repeats":[{"step":"step","x":187.005,"y":20,"dx":160,"nx":2}]}})");
        EXPECT_TRUE(paras_of(judge)["overlap"].asBool());

        // A table naming a missing step or nesting the panel in itself is refused and the old one stays.
        EXPECT_EQ(call(R"({"func":"STEP_REPEAT","paras":{"job":"sample_design","step":"panel","repeats":[{"step":"nothing"}]}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"STEP_REPEAT","paras":{"job":"sample_design","step":"panel","repeats":[{"step":"panel"}]}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"STEP_REPEAT","paras":{"job":"sample_design","step":"panel","repeats":[{"step":"step","nx":0}]}})"), "ERROR");
        EXPECT_EQ(paras_of(R"({"func":"GET_STEP_REPEAT","paras":{"job":"sample_design","step":"panel"}})")["repeats"][0]["dx"].asDouble(), 160);
        EXPECT_EQ(call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"sample_design","step":"panel","xmin":5,"ymin":0,"xmax":5,"ymax":340}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"GET_STEP_REPEAT","paras":{"job":"nojob","step":"panel"}})"), "ERROR");
        EXPECT_NE(read_logs("log", "ERROR_").find("which the job lacks"), std::string::npos);
    });
}

TEST(PanelCommands, EdgeDrawingsMapArrowsAndBandingGoOnThePanelLayers)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        call(kOpen);
        call(kTable);
        call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"sample_design","step":"panel","xmin":0,"ymin":0,"xmax":540,"ymax":340}})");
        const auto count = [](const char* layer) {
            return call(std::string(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":"sample_design"},{"stepName":"panel"},{"layerName":")") +
                        layer + R"("}]})");
        };
        // The map: each board's outline (4 lines) and its number.
        EXPECT_EQ(paras_of(R"({"func":"RUN_MAP","paras":{"job":"sample_design","step":"panel","layer":"map","text_height":5,"line_width":0.3}})")["features"].asInt(), 25);
        EXPECT_EQ(count("map"), "{\"featureNum\":\"25\",\"result\":\"OK\"}\n");
        EXPECT_EQ(paras_of(R"({"func":"ADD_SUB_JOBNAME_ARROW","paras":{"job":"sample_design","step":"panel","layer":"map","text_height":3}})")["features"].asInt(), 10);
        // The edge: one frame surface around the boards.
        EXPECT_EQ(paras_of(R"({"func":"RUN_EDGE","paras":{"job":"sample_design","step":"panel","layer":"edge","clearance":2}})")["features"].asInt(), 1);
        // Banding works on the step named "panel"; dots fall only where no board is.
        const Json::Value band = json_of(SL_panel_banding(R"({"func":"SL_PANEL_BANDING","paras":{"job":"sample_design","layers":["layer-1"],"dot":2,"pitch":5,"clearance":3}})"));
        const int dots = band["paras"]["dots"].asInt();
        EXPECT_GT(dots, 100);
        EXPECT_EQ(count("layer-1"), "{\"featureNum\":\"" + std::to_string(dots) + "\",\"result\":\"OK\"}\n");
        EXPECT_EQ(std::string(SL_panel_banding(R"({"paras":{"job":"sample_design","layers":["layer-1"],"dot":2,"pitch":1}})")), "ERROR");

        // Every board brings the sample's layer-1 (11868 features) to the map of a flex panel.
        const Json::Value map = json_of(init_varno_fpcdouble_featuremap(R"({"paras":{"job":"sample_design","step":"panel","layers":["layer-1"]}})"));
        ASSERT_EQ(map["paras"]["instances"].size(), 5u);
        EXPECT_EQ(map["paras"]["instances"][4]["features"]["layer-1"].asInt(), 11868);
    });
}

TEST(PanelCommands, AutomaticPlanningAndCoupons)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        // 100 x 80 boards in the 280 x 180 inside of a 300 x 200 panel. Six
        // fit (48000 of 50400 mm2): two upright boards stacked at the left,
        // then in each of the other two columns an upright and a turned one,
        // the right column the other way up: no straight cut separates them.
        Json::Value plan = paras_of(R"({"func":"SR_AUTOMATIC","paras":{"board_width":100,"board_height":80,"panel_width":300,
            "panel_height":200,"left":10,"right":10,"bottom":10,"top":10,"angles":[0,90]}})");
        EXPECT_EQ(plan["count"].asInt(), 6);
        EXPECT_NEAR(plan["utilisation"].asDouble(), 6 * 8000.0 / 60000, 1e-12);
        const Json::Value& boards = plan["boards"];
        ASSERT_EQ(boards.size(), 6u);
        for (Json::ArrayIndex a = 0; a < boards.size(); ++a) {
            const double x = boards[a]["x"].asDouble(), y = boards[a]["y"].asDouble();
            const double w = boards[a]["width"].asDouble(), h = boards[a]["height"].asDouble();
            EXPECT_TRUE(x >= 10 && y >= 10 && x + w <= 290 + 1e-9 && y + h <= 190 + 1e-9) << a;
            for (Json::ArrayIndex b = a + 1; b < boards.size(); ++b)
                EXPECT_TRUE(x + w <= boards[b]["x"].asDouble() + 1e-9 || boards[b]["x"].asDouble() + boards[b]["width"].asDouble() <= x + 1e-9 ||
                            y + h <= boards[b]["y"].asDouble() + 1e-9 || boards[b]["y"].asDouble() + boards[b]["height"].asDouble() <= y + 1e-9)
                    << a << " " << b;
        }
        // Upright only: a 2 x 2 grid.
        plan = paras_of(R"({"func":"SR_AUTOMATIC","paras":{"board_width":100,"board_height":80,"panel_width":300,
            "panel_height":200,"left":10,"right":10,"bottom":10,"top":10}})");
        EXPECT_EQ(plan["count"].asInt(), 4);

        // The sample board on a 500 x 400 panel, margins 15, 5 apart, turned or not.
        call(kOpen);
        plan = paras_of(R"({"func":"AUTO_SET_STEP_REPEAT","paras":{"job":"sample_design","step":"panel","child":"step",
            "panel_width":500,"panel_height":400,"left":15,"right":15,"bottom":15,"top":15,"spacing_x":5,"spacing_y":5,"angles":[0,90]}})");
        const int n = plan["count"].asInt();
        EXPECT_GE(n, 6); // three turned boards side by side (3 x 139.112 < 470), two rows (2 x 172.005 < 370)
        const Json::Value all = paras_of(R"({"func":"GET_ALL_STEP_REPEAT_STEPS","paras":{"job":"sample_design","step":"panel"}})")["steps"];
        ASSERT_EQ(int(all.size()), n);
        const Json::Value judged = paras_of(R"({"func":"JUDGE_BOX_AND_CHILDSTEPBOX","paras":{"job":"sample_design","step":"panel"}})");
        EXPECT_TRUE(judged["inside"].asBool());
        EXPECT_FALSE(judged["overlap"].asBool());
        // Each placed board is where the plan put it.
        for (Json::ArrayIndex k = 0; k < all.size(); ++k) {
            bool found = false;
            for (const Json::Value& b : plan["boards"])
                found = found || (std::fabs(b["x"].asDouble() - all[k]["xmin"].asDouble()) < 1e-5 &&
                                  std::fabs(b["y"].asDouble() - all[k]["ymin"].asDouble()) < 1e-5);
            EXPECT_TRUE(found) << k;
        }

        // Coupons of 40 x 8 in the 15 mm margins (clearance 2 leaves 11 mm bands).
        const Json::Value coupons = paras_of(R"({"func":"GET_SR_COUPON_PLAN","paras":{"job":"sample_design","step":"panel",
            "width":40,"height":8,"count":4,"clearance":2}})");
        EXPECT_EQ(coupons["placed"].asInt(), 4);
        for (const Json::Value& c : coupons["coupons"]) {
            const bool along_x = c["angle"].asDouble() == 0;
            const double half_w = along_x ? 20 : 4, half_h = along_x ? 4 : 20;
            EXPECT_GE(c["x"].asDouble() - half_w, 2 - 1e-9);
            EXPECT_LE(c["x"].asDouble() + half_w, 498 + 1e-9);
            for (const Json::Value& b : all)
                EXPECT_TRUE(c["x"].asDouble() + half_w <= b["xmin"].asDouble() || c["x"].asDouble() - half_w >= b["xmax"].asDouble() ||
                            c["y"].asDouble() + half_h <= b["ymin"].asDouble() || c["y"].asDouble() - half_h >= b["ymax"].asDouble());
        }
    });
}

TEST(PanelCommands, CouponDrillsAndLinesOfASingleEndedCoupon)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        EXPECT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"coupon"}})"), "OK");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"coupon","stepname":"cpn","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"coupon","step":"cpn","layer":"sig","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"coupon","step":"cpn","layer":"drl","index":2}})");
        // A 50 mm test line of 0.15 mm from (5,5) to (55,5); signal holes of 0.3 at
        // both ends, ground holes 2.54 below each; one stray hole far away.
        const auto add = [](const char* layer, const char* record) {
            return call(std::string(R"({"func":"ADDFEATURE","paras":{"jobname":"coupon","stepname":"cpn","layernames":[")") +
                        layer + R"("],"featurecontent":")" + record + "\"}}");
        };
        ASSERT_EQ(add("sig", "L 5 5 55 5 r150 P 0"), "OK");
        for (const char* hole : {"P 5 5 r300 P 0 0", "P 55 5 r300 P 0 0", "P 5 2.46 r300 P 0 0", "P 55 2.46 r300 P 0 0", "P 30 30 r300 P 0 0"})
            ASSERT_EQ(add("drl", hole), "OK");
        const Json::Value drills = paras_of(R"({"func":"GET_COUPON_SINGLE_END_DRILL_POSITIONS","paras":{"job":"coupon","step":"cpn","drill_layer":"drl","signal_layer":"sig"}})")["drills"];
        ASSERT_EQ(drills.size(), 5u);
        EXPECT_TRUE(drills[0]["signal"].asBool());
        EXPECT_TRUE(drills[1]["signal"].asBool());
        EXPECT_FALSE(drills[2]["signal"].asBool());
        EXPECT_EQ(drills[0]["ground"].asInt(), 2);
        EXPECT_EQ(drills[1]["ground"].asInt(), 3);
        EXPECT_NEAR(drills[0]["pitch"].asDouble(), 2.54, 1e-6);
        const Json::Value lines = paras_of(R"({"func":"GET_COUPON_DRILL_LINE_RELATIONS","paras":{"job":"coupon","step":"cpn","drill_layer":"drl","signal_layer":"sig"}})")["lines"];
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_NEAR(lines[0]["length"].asDouble(), 50, 1e-6);
        EXPECT_NEAR(lines[0]["width"].asDouble(), 0.15, 1e-6);
        EXPECT_EQ(lines[0]["start_drill"].asInt(), 0);
        EXPECT_EQ(lines[0]["end_drill"].asInt(), 1);
    });
}
