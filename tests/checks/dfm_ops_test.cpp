// DFM operations through the exports: the refusals and logged values hosts
// rely on, and on the sample job a check-repair-check of teardrops with the
// untouched features compared byte for byte in the saved files.
#include "orig/jobs_host.h"

#include <sstream>

using namespace kesto::test;

namespace {

// The feature records of a saved features file (lines starting "L ", "P ",
// "A ", "S ", "T ", "B "), in order.
std::vector<std::string> records(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        if (line.size() > 2 && line[1] == ' ' && std::string("LPASTB").find(line[0]) != std::string::npos)
            out.push_back(line);
    return out;
}

// Findings per category of a signal-layer spacing check of one layer.
std::map<std::string, int> spacing_findings(const std::string& layer)
{
    const Json::Value report = json_of(call(
        R"({"func":"SIGNAL_LAYER_CHECK","paras":[{"job":"sample_design","step":"step","layers":[")" + layer +
        R"("],"spacing":true,"drill":true,"pp_spacing":0.1,"drill2cu":0.2}]})"));
    std::map<std::string, int> out;
    for (const std::string& name : report[layer]["paras"].getMemberNames()) {
        const Json::Value& c = report[layer]["paras"][name];
        out[name] = c["lv1count"].asInt() + c["lv2count"].asInt() + c["lv3count"].asInt();
    }
    return out;
}

bool same_net(std::string name)
{
    for (char& c : name) c = char(std::tolower(static_cast<unsigned char>(c)));
    return name.find("same net") != std::string::npos;
}

} // namespace

TEST(DfmOps, EmptyLayerListsAreRefusedAndValuesLogged)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        for (const char* command : {"TEARDROP_CREATE_DFM", "NFP_REMOVAL_DFM"}) {
            EXPECT_EQ(call(std::string(R"({"func":")") + command + R"(","paras":[{"job":"j","step":"s"}]})"), "ERROR");
            EXPECT_EQ(call(std::string(R"({"func":")") + command + R"(","paras":[{"job":"j","layers":[]}]})"), "ERROR");
        }
        // A job that is not open: the engine says no, the host still gets the pass text.
        EXPECT_EQ(call(R"({"func":"TEARDROP_CREATE_DFM","paras":[{"job":"none","step":"s","layers":["top"]},
            {"drilled_pads":true,"drill_size_max":500000,"use_arc_tear":true,"arc_angle":45,
             "tear_line_width_ratio":2.5}]})"), "OK");
        EXPECT_EQ(call(R"({"func":"NFP_REMOVAL_DFM","paras":[{"job":"none","step":"s","layers":["in1"],"npth":true}]})"),
                  "OK");
        const std::string info = read_logs("log", "INFO_");
        EXPECT_NE(info.find("drilled_pads:1\nundrilled_pads:0\ndrill_size_min:0\ndrill_size_max:500000\ncu_spacing:0\n"
                            "drill_spacing:0\ndelete_old_teardrops:0\nuse_arc_tear:1\narc_angle:45\nbga_pads:0\n"
                            "ann_ring_min:0\ntear_line_width_ratio:2.5"),
                  std::string::npos);
        EXPECT_NE(info.find("remove_pth:1\nremove_npth:1\nremove_via:1\nremove_Undrilled:0"), std::string::npos);
        EXPECT_NE(read_logs("log", "ERROR_").find("no open job 'none'"), std::string::npos);
    });
}

TEST(DfmOps, TeardropsOnTheSampleKeepSpacingAndLeaveOtherFeaturesAlone)
{
    TempDir dir;
    const std::string unpack = "tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir.path() + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    in_fresh_process(dir.path(), [&] {
        start_library(dir.path());
        ASSERT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":")" + dir.path() + R"("},{"job":"sample_design"}]})"),
                  "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
        ASSERT_EQ(call(R"({"func":"JOB_SAVE","paras":[{"job":"sample_design"}]})"), "OK");
        const std::string file = dir.path() + "/sample_design/steps/step/layers/layer-8/features";
        const std::vector<std::string> before = records(read_file(file));
        ASSERT_GT(before.size(), 100u);
        const auto findings_before = spacing_findings("LAYER-8");

        EXPECT_EQ(call(R"({"func":"TEARDROP_CREATE_DFM","paras":[{"job":"sample_design","step":"step",
            "layers":["LAYER-8"],"drilled_pads":true,"undrilled_pads":true,"cu_spacing":100000,
            "drill_spacing":200000}]})"), "OK");
        ASSERT_EQ(call(R"({"func":"JOB_SAVE","paras":[{"job":"sample_design"}]})"), "OK");
        const std::vector<std::string> after = records(read_file(file));
        ASSERT_GT(after.size(), before.size()) << "teardrops were made";
        // Every feature that was there is written as it was, in its place;
        // the new ones are surfaces after them.
        for (std::size_t i = 0; i < before.size(); ++i) ASSERT_EQ(after[i], before[i]) << i;
        for (std::size_t i = before.size(); i < after.size(); ++i) EXPECT_EQ(after[i][0], 'S') << after[i];

        // The check again: no spacing or drill category has more findings.
        // A teardrop lies on its own pad and line, so same-net spacing
        // findings may grow; those are not violations.
        const auto findings_after = spacing_findings("LAYER-8");
        for (const auto& [name, n] : findings_after)
            if (!same_net(name)) EXPECT_LE(n, findings_before.count(name) ? findings_before.at(name) : 0) << name;
    });
}
