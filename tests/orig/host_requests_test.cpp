// Requests as hosts really send them: keys left out, members of the wrong
// type that a command does not use, several jobs open, formats the engine
// does not read. Each answer must mean what the host asked.
#include "orig/jobs_host.h"

using namespace kesto::test;

namespace {

// Square 0.1 mm pads at x = 1, 1.05 and 5 mm on y = 0, all selected.
void board_with_pads(const std::string& job = "board")
{
    call(R"({"func":"JOB_CREATE","paras":{"job":")" + job + R"("}})");
    call(R"({"func":"CREATE_STEP","paras":{"jobname":")" + job + R"(","stepname":"pcb","index":1}})");
    call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":")" + job + R"(","layer":"top","index":1}})");
    for (const char* x : {"1", "1.05", "5"})
        ASSERT_EQ(call(R"({"func":"ADD_PAD","paras":[{"job":")" + job + R"(","step":"pcb","layer":"top",
                   "layers":["top"],"symbol":"s100","location_x":)" + x + R"(,"location_y":0}]})"),
                  "OK");
    call(R"({"func":"COUNTER_ELECTION","paras":[{"job":")" + job + R"(","step":"pcb","layer":"top"}]})");
}

Json::Value selected(const std::string& job = "board")
{
    return json_of(call(R"({"func":"GET_SELECTED_FEATURE_INFOS","paras":{"jobname":")" + job +
                        R"(","stepname":"pcb","layername":"top"}})"))["paras"]["featureInfos"];
}

int features(const std::string& job = "board")
{
    const Json::Value r = json_of(call(R"({"func":"GET_LAYER_FEATURE_COUNT","paras":[{"jobName":")" + job +
                                       R"(","stepName":"pcb","layerName":"top"}]})"));
    return std::stoi(r["featureNum"].asString());
}

// A click at x mm on y = 0.
std::string click(double x)
{
    return select_Features((R"({"paras":{"job":"board","step":"pcb","layer":"top","selectpolygon":[{"ix":)" +
                            std::to_string(long(x * 1e6)) + R"(,"iy":0}]}})").c_str());
}

} // namespace

// Left-out keys are false and 0: nothing the host did not ask for happens.
TEST(HostRequests, LeftOutKeysDoNotFlipWhatTheRequestMeans)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        board_with_pads();
        // No "polarity": made positive, not inverted (inverting would turn them negative).
        ASSERT_EQ(call(R"({"func":"SEL_POLARITY","paras":[{"job":"board","step":"pcb","layers":["top"]}]})"), "OK");
        for (const Json::Value& f : selected()) EXPECT_EQ(f["polarity"].asString(), "positive");
        // No "clipinside": what lies outside the 0 to 2 mm area goes, the two pads inside stay.
        ASSERT_EQ(call(R"({"func":"CLIP_AREA_USE_MANUAL","paras":{"job":"board","step":"pcb","layers":["top"],
                          "points":[{"ix":0,"iy":-500000},{"ix":2000000,"iy":-500000},{"ix":2000000,"iy":500000},
                          {"ix":0,"iy":500000}]}})"),
                  "OK");
        EXPECT_EQ(features(), 2);
        for (const Json::Value& f : selected()) EXPECT_LT(f["XS"].asDouble(), 2.0);
    });
}

// Each clicked-area command reads its own keys: a member it does not use is
// ignored whatever its type; one it uses must be of the right type.
TEST(HostRequests, ClickCommandsReadOnlyTheirOwnKeys)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        board_with_pads();
        const std::string where = R"("job":"board","step":"pcb","layer":"top","selectpolygon":[{"ix":5000000,"iy":0}])";
        auto with = [&](const std::string& extra) { return R"({"paras":{)" + where + "," + extra + "}}"; };
        const std::string foreign = with(R"("margin":"wide","clear":"yes","featureMes":7)");
        for (auto command : {select_polyline, unselect_polyline, clear_clicked_feature_status})
            EXPECT_STREQ(command(foreign.c_str()), "OK");
        const std::string no_clear = with(R"("clear":"yes")");
        for (auto command : {unselect_Features, highlight_Features, highlight_multi_features, get_feature_info})
            EXPECT_STREQ(command(no_clear.c_str()), "OK");
        const std::string no_margin = with(R"("margin":"wide")");
        EXPECT_STREQ(get_feature_info(no_margin.c_str()), "OK");
        // Keys they do read are still checked.
        EXPECT_STREQ(unselect_Features(no_margin.c_str()), "ERROR");
        EXPECT_STREQ(select_Features(no_clear.c_str()), "ERROR");
        EXPECT_STREQ(get_feature_info(with(R"("featureMes":7)").c_str()), "ERROR");
    });
}

// "sels" 0 replaces the selection with what a click catches, 1 adds to it.
TEST(HostRequests, SelectionModeReplacesOrAdds)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        board_with_pads();
        auto clicks = [&](int sels) {
            EXPECT_STREQ(set_selection((R"({"paras":{"sels":)" + std::to_string(sels) + "}}").c_str()), "OK");
            clear_selected_features(R"({"paras":{"job":"board","step":"pcb","layer":"top"}})");
            EXPECT_EQ(click(5), "OK");
            EXPECT_EQ(click(1.0), "OK");
            std::vector<double> xs;
            for (const Json::Value& f : selected()) xs.push_back(f["XS"].asDouble());
            return xs;
        };
        const auto replaced = clicks(0);
        ASSERT_EQ(replaced.size(), 1u);
        EXPECT_LT(replaced[0], 2.0) << "the last click's pad";
        EXPECT_EQ(clicks(1).size(), 2u);
    });
}

// Commands whose requests name no job work on the one open job; with two
// open they cannot know which and say so.
TEST(HostRequests, CommandsWithoutAJobKeyRefuseToGuess)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        board_with_pads();
        const std::string symbols = R"({"paras":{"step":"pcb","symbol":"r200","layers":["top"]}})";
        ASSERT_STREQ(change_feature_symbols(symbols.c_str()), "OK");
        for (const Json::Value& f : selected()) EXPECT_EQ(f["symbolname"].asString(), "r200");

        board_with_pads("other");
        EXPECT_STREQ(change_feature_symbols(R"({"paras":{"step":"pcb","symbol":"r300","layers":["top"]}})"), "ERROR");
        for (const Json::Value& f : selected()) EXPECT_EQ(f["symbolname"].asString(), "r200") << "nothing changed";
        const std::string one_layer = R"({"paras":{"step":"pcb","layer":"top","scope":"selected","feature_size":0.1}})";
        const std::string layers = R"({"paras":{"step":"pcb","layers":["top"]}})";
        EXPECT_STREQ(resize_Global(one_layer.c_str()), "ERROR");
        EXPECT_STREQ(reshape_line_to_pad(one_layer.c_str()), "ERROR");
        EXPECT_STREQ(reshape_substitute(one_layer.c_str()), "ERROR");
        EXPECT_STREQ(reshape_pad_to_line(layers.c_str()), "ERROR");
        EXPECT_STREQ(reshape_line_to_pad_new(layers.c_str()), "ERROR");
        EXPECT_NE(read_logs("log", "ERROR_").find("several jobs are open"), std::string::npos);
    });
}

// EPS files are not interpreted: the replies say so in their own shape.
TEST(HostRequests, EpsRepliesTellWhyNothingWasRead)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        write_file("art.eps", "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 10 10\n");
        write_file("notes.txt", "plain words\n");
        const Json::Value eps = json_of(open_eps(R"({"paras":{"job":"e1","path":"art.eps"}})"));
        EXPECT_EQ(eps["func"].asString(), "OPEN_EPS");
        EXPECT_FALSE(eps["paras"]["result"].asBool());
        EXPECT_EQ(eps["paras"]["name"].asString(), "art.eps");
        EXPECT_TRUE(eps["paras"]["rules"].isArray());
        EXPECT_NE(eps["paras"]["reason"].asString().find("not interpreted"), std::string::npos);

        const Json::Value text = json_of(open_eps_matrix(R"({"paras":{"job":"e2","path":"notes.txt","matrix":[]}})"));
        EXPECT_NE(text["paras"]["reason"].asString().find("not an EPS file"), std::string::npos);
        const Json::Value missing = json_of(identify_eps(R"({"paras":{"job":"e3","path":"gone.eps"}})"));
        EXPECT_NE(missing["paras"]["reason"].asString().find("cannot read"), std::string::npos);
        EXPECT_TRUE(missing["paras"]["step_info"].isArray());

        EXPECT_STREQ(open_eps(R"({"paras":{"job":"e1","path":"art.eps"}})"), "ERROR") << "e1 exists";
        const std::string errors = read_logs("log", "ERROR_");
        EXPECT_NE(errors.find("Create_job failed"), std::string::npos);
        EXPECT_NE(errors.find("Open_eps API failed"), std::string::npos);
    });
}
