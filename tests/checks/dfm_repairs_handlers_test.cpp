// The signal-layer repair commands as a host sends them: a board built
// through the exports is checked, repaired and checked again by the
// signal-layer check, with the logged values, the refusals and undo.
#include "orig/jobs_host.h"

#include <gtest/gtest.h>

using namespace kesto::test;

namespace {

// The smallest "Line to Line" gap the check reports with a limit of
// `limit_mm`, in nanometres; -1 when none.
int line_gap(double limit_mm)
{
    const Json::Value r = json_of(call(
        R"({"func":"SIGNAL_LAYER_CHECK","paras":[{"job":"b","step":"pcb","layers":["top"],"spacing":true,"pp_spacing":)" +
        std::to_string(limit_mm) + "}]}"));
    int best = -1;
    const Json::Value& c = r["top"]["paras"]["Line to Line"];
    for (int l = 1; l <= 4; ++l)
        for (const Json::Value& f : c["lv" + std::to_string(l) + "features"])
            if (best < 0 || f["measureValue"].asInt() < best) best = f["measureValue"].asInt();
    return best;
}

const char* kRepair =
    R"({"func":"SIGNAL_LAYER_DFM","paras":[{"job":"b","step":"pcb","layers":["TOP"]},)"
    R"({"spacing_min":75000,"spacing_opt":75000,"reduction":100000,"abs_min":100000,"linedn":true},)"
    R"({"ranges":{"rangesList":[{"name":"Spacing repaired","RedLv":80,"YellowLv":90,"GreenLv":100}]}}]})";

} // namespace

TEST(DfmRepairCommands, SignalLayerRepairThroughTheExportsIsCheckedLoggedAndUndone)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})"), "OK");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","step":"pcb","layer":"top","index":1}})");
        // Two 0.2 mm lines 0.25 mm apart: a gap of 50 um.
        for (const char* y : {"1", "1.25"})
            ASSERT_EQ(call(std::string(R"({"func":"ADD_LINE","paras":[{"job":"b","step":"pcb","layer":"top","symbol":"r200",)"
                                       R"("start_x":1,"start_y":)") + y + R"(,"end_x":5,"end_y":)" + y +
                           R"(,"polarity":0,"dcode":0,"layers":["top"]}]})"),
                      "OK");
        ASSERT_EQ(line_gap(0.1), 50000);

        // No layers, or family-B keys: refused, nothing changed.
        EXPECT_EQ(call(R"({"func":"SIGNAL_LAYER_DFM","paras":[{"job":"b","step":"pcb","layers":[]},{"linedn":true}]})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"NEW_SIGNAL_LAYER_DFM","paras":[{"jobname":"b","stepname":"pcb","layernames":["top"]}]})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"SIGNAL_LAYER_DFM","paras":[{"job":"b","step":"pcb","layers":["top"],"reduction":"a lot"}]})"),
                  "ERROR");
        EXPECT_EQ(line_gap(0.1), 50000);

        // Repaired: nothing under 75 um is left, and the gap sits at 75 um.
        EXPECT_EQ(call(kRepair), "OK");
        EXPECT_EQ(line_gap(0.0749), -1);
        EXPECT_EQ(line_gap(0.075), 75000);

        const std::string log = read_logs("log", "INFO_");
        const auto begin = log.rfind("Begin signal_layer_DFM"), end = log.rfind("End signal_layer_DFM");
        ASSERT_NE(begin, std::string::npos);
        ASSERT_NE(end, std::string::npos);
        const std::string run = log.substr(begin, end - begin);
        const auto a = run.find("pth_ar_min:0\npth_ar_opt:0"), b = run.find("spacing_min:75000"),
                   c = run.find("linedn:1"), d = run.find("buried_ar_opt:0");
        EXPECT_TRUE(a != std::string::npos && a < b && b < c && c < d) << run;
        EXPECT_NE(run.find(R"("Spacing repaired":{)"), std::string::npos) << run;
        EXPECT_NE(run.find(R"("layernames":["top"])"), std::string::npos) << run;
        EXPECT_NE(read_logs("log", "ERROR_").find("signal_layer_DFM: no layers given"), std::string::npos);

        // One undo gives the 50 um gap back.
        call(R"({"func":"UNDO","paras":{"jobname":"b","stepname":"pcb"}})");
        EXPECT_EQ(line_gap(0.1), 50000);

        // The reduced command logs under its own name.
        EXPECT_EQ(call(R"({"func":"NEW_SIGNAL_LAYER_DFM","paras":[{"job":"b","step":"pcb","layers":["top"],"drill_to_cu":100000}]})"),
                  "OK");
        const std::string later = read_logs("log", "INFO_");
        EXPECT_NE(later.find("Begin New_signal_layer_DFM"), std::string::npos);
        EXPECT_NE(later.find("cut_pad_touch_pad:0\ndrill_to_cu:100000"), std::string::npos);
    });
}

TEST(DfmRepairCommands, SliverFillKeepsItsFamilyOfKeysAndLogsItsValues)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})"), "OK");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","step":"pcb","layer":"top","index":1}})");
        // The other family's keys leave the layer list empty.
        EXPECT_EQ(call(R"({"func":"SLIVER_DFM_OP","paras":[{"job":"b","step":"pcb","layers":["top"],"max_width":150000}]})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"SLIVER_DFM_OP","paras":[{"jobname":"b","stepname":"pcb","layernames":["top"]},{"max_width":150000}]})"),
                  "OK");
        EXPECT_NE(read_logs("log", "INFO_").find("max_width:150000\nmax_height:0"), std::string::npos);
        // A layer the step lacks: the engine refuses it and says so; the host still gets the pass text.
        EXPECT_EQ(call(R"({"func":"SLIVER_DFM_OP","paras":[{"jobname":"b","stepname":"pcb","layernames":["nope"]}]})"), "OK");
        EXPECT_NE(read_logs("log", "ERROR_").find("nope is not a layer of step pcb"), std::string::npos);
    });
}

TEST(DfmRepairCommands, MaskAndSmdRepairsKeepTheirKeysLogsAndRefusals)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_EQ(call(R"({"func":"JOB_CREATE","paras":{"job":"b"}})"), "OK");
        call(R"({"func":"CREATE_STEP","paras":{"jobname":"b","stepname":"pcb","index":1}})");
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"b","step":"pcb","layer":"top","index":1}})");
        // Family A for the mask repair, B for SMD spacing; the other family's
        // keys leave the layer list empty.
        EXPECT_EQ(call(R"({"func":"SOLDER_MASK_DFM","paras":[{"job":"b","step":"pcb","layers":[]}]})"), "ERROR");
        EXPECT_EQ(call(R"({"func":"SOLDER_MASK_DFM","paras":[{"jobname":"b","stepname":"pcb","layernames":["top"]}]})"),
                  "ERROR");
        EXPECT_EQ(call(R"({"func":"SMD_BGA_DFM_OP","paras":[{"job":"b","step":"pcb","layers":["top"]}]})"), "ERROR");
        // A copper layer is no mask layer: the engine refuses and says so,
        // the host still gets the pass text.
        EXPECT_EQ(call(R"({"func":"SOLDER_MASK_DFM","paras":[{"job":"b","step":"pcb","layers":["top"]},)"
                       R"({"clearance_min":50000,"clearance_opt":75000,"do_resize":true,"resize_sm_surface_size":3}]})"),
                  "OK");
        EXPECT_NE(read_logs("log", "ERROR_").find("top is not a solder-mask layer"), std::string::npos);
        EXPECT_EQ(call(R"({"func":"SMD_BGA_DFM_OP","paras":[{"jobname":"b","stepname":"pcb","layernames":["top"]},)"
                       R"({"smd_bga_spacing_opt":150000}]})"),
                  "OK");
        const std::string log = read_logs("log", "INFO_");
        const auto a = log.find("clearance_min:50000\nclearance_opt:75000\ncoverage_min:0"),
                   b = log.find("do_resize:1"), c = log.find("resize_gas_sm_has_drill:0\nadd_v_cut_sm_size:0\nresize_sm_surface_size:3");
        EXPECT_TRUE(a != std::string::npos && a < b && b < c) << log;
        EXPECT_NE(log.find("Begin solder_mask_DFM"), std::string::npos);
        EXPECT_NE(log.find("smd_bga_spacing_opt:150000\nmax_padup_value:0"), std::string::npos);
    });
}
