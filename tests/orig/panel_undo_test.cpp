// A panel's set-up (table, profile, margins, datum) is undone like any edit:
// each change one step back, the automatic panel as one, a refused change
// leaving nothing to undo.
#include "jobs_host.h"

using namespace kesto::test;

namespace {

Json::Value paras_of(const std::string& request) { return json_of(call(request))["paras"]; }

// The panel's set-up in one line: table rows, profile, margins, datum.
std::string setup_of()
{
    const Json::Value h = paras_of(R"({"func":"GET_STEP_HEADER_INFOS","paras":{"jobname":"b","stepname":"panel"}})");
    const Json::Value m = paras_of(R"({"func":"GET_CAM_AUTOMATIC","paras":{"job":"b","step":"panel"}})")["margins"];
    std::string out = "rows";
    for (const Json::Value& r : h["repeats"])
        out += " " + r["step"].asString() + "@" + std::to_string(r["x"].asDouble()) + "," +
               std::to_string(r["y"].asDouble()) + "x" + std::to_string(r["nx"].asInt()) + "x" +
               std::to_string(r["ny"].asInt()) + "/" + std::to_string(r["angle"].asDouble());
    out += h["has_profile"].asBool() ? " profile " + std::to_string(h["profile"]["xmax"].asDouble()) + "x" +
                                           std::to_string(h["profile"]["ymax"].asDouble())
                                     : " no-profile";
    out += " margins " + std::to_string(m["left"].asDouble()) + "," + std::to_string(m["top"].asDouble());
    out += " datum " + std::to_string(h["datum"]["x"].asDouble()) + "," + std::to_string(h["datum"]["y"].asDouble());
    return out;
}

const std::string kUndo = R"({"func":"UNDO","paras":{"jobname":"b","stepname":"panel"}})";

void make_board()
{
    call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"panel","index":2}})");
    ASSERT_EQ(call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"b","step":"pcb","xmin":0,"ymin":0,"xmax":100,"ymax":80}})"), "OK");
}

} // namespace

TEST(PanelUndo, EachSetUpChangeIsOneStepBack)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        make_board();
        std::vector<std::string> seen{setup_of()};
        EXPECT_EQ(seen.back(), "rows no-profile margins 0.000000,0.000000 datum 0.000000,0.000000");
        const char* changes[] = {
            R"({"func":"STEP_REPEAT","paras":{"job":"b","step":"panel","repeats":[{"step":"pcb","x":10,"y":10,"dx":105,"nx":2}]}})",
            R"({"func":"SET_STEP_PROFILE","paras":{"job":"b","step":"panel","xmin":0,"ymin":0,"xmax":230,"ymax":100}})",
            R"({"func":"SET_PANEL_MARGIN","paras":{"job":"b","step":"panel","left":5,"right":5,"bottom":7.5,"top":7.5}})",
            R"({"func":"SET_DATUM_POINT","paras":{"job":"b","step":"panel","x":2.5,"y":-1}})",
            // A second table replacing the first.
            R"({"func":"STEP_REPEAT","paras":{"job":"b","step":"panel","repeats":[{"step":"pcb","x":90,"y":10,"angle":90}]}})",
        };
        for (const char* change : changes) {
            ASSERT_EQ(call(change), "OK") << change;
            seen.push_back(setup_of());
            EXPECT_NE(seen.back(), seen[seen.size() - 2]) << change;
        }
        EXPECT_EQ(seen.back(), "rows pcb@90.000000,10.000000x1x1/90.000000 profile 230.000000x100.000000 "
                               "margins 5.000000,7.500000 datum 2.500000,-1.000000");
        // Back through every state, newest first, exactly.
        for (size_t k = seen.size() - 1; k > 0; --k) {
            ASSERT_EQ(call(kUndo), "OK");
            EXPECT_EQ(setup_of(), seen[k - 1]) << "undo " << seen.size() - k;
        }
    });
}

TEST(PanelUndo, RefusedChangesLeaveNothingAndTheAutomaticPanelIsOneEdit)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        make_board();
        ASSERT_EQ(call(R"({"func":"SET_DATUM_POINT","paras":{"job":"b","step":"panel","x":1,"y":1}})"), "OK");
        const std::string before = setup_of();
        // Refused: a missing step, a zero count, an empty profile, margins
        // wider than the profile. None of them may take an undo record.
        EXPECT_EQ(call(R"({"func":"STEP_REPEAT","paras":{"job":"b","step":"panel","repeats":[{"step":"none"}]}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"STEP_REPEAT","paras":{"job":"b","step":"panel","repeats":[{"step":"pcb","nx":0}]}})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"b","step":"panel","xmin":0,"ymin":0,"xmax":0,"ymax":10}})"), "ERROR");
        ASSERT_EQ(call(R"({"func":"SET_STEP_PROFILE","paras":{"job":"b","step":"panel","xmin":0,"ymin":0,"xmax":50,"ymax":50}})"), "OK");
        const std::string with_profile = setup_of();
        EXPECT_EQ(call(R"({"func":"SET_PANEL_MARGIN","paras":{"job":"b","step":"panel","left":30,"right":30}})"), "ERROR");
        EXPECT_EQ(setup_of(), with_profile);

        // 230 x 190 with 5 mm borders and 10 mm between boards: 2 x 2 boards of 100 x 80.
        const Json::Value plan = paras_of(R"({"func":"AUTO_SET_STEP_REPEAT","paras":{"job":"b","step":"panel","child":"pcb",
            "panel_width":230,"panel_height":190,"left":5,"right":5,"bottom":5,"top":5,"spacing_x":10,"spacing_y":10}})");
        EXPECT_EQ(plan["count"].asInt(), 4);
        const std::string planned = setup_of();
        EXPECT_NE(planned.find("profile 230.000000x190.000000 margins 5.000000,5.000000 datum 0.000000,0.000000"),
                  std::string::npos)
            << planned;
        // One undo takes the whole plan back; the next the profile; the next the datum.
        ASSERT_EQ(call(kUndo), "OK");
        EXPECT_EQ(setup_of(), with_profile);
        ASSERT_EQ(call(kUndo), "OK");
        EXPECT_EQ(setup_of(), before);
        ASSERT_EQ(call(kUndo), "OK");
        EXPECT_EQ(setup_of(), "rows no-profile margins 0.000000,0.000000 datum 0.000000,0.000000");
    });
}
