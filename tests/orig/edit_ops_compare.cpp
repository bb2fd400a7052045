// Layer compare on the sample job: a copper layer against an edited copy of
// itself, where the only real change is a pad placed by hand.
#include "orig/jobs_host.h"

#include <fstream>
#include <iterator>

using namespace kesto::test;

namespace {

const char* kCompare = R"({"func":"LAYER_COMPARE_POINT","paras":{"jobname1":"sample_design","stepname1":"step",
    "layername1":"layer-2","jobname2":"sample_design","stepname2":"step","layername2":"copy","global":true,
    "tolerance":)";

Json::Value differences(const std::string& tolerance)
{
    const Json::Value reply = json_of(call(kCompare + tolerance + "}}"));
    EXPECT_EQ(reply["paras"]["count"].asUInt(), reply["paras"]["result"].size());
    return reply["paras"]["result"];
}

// The 1 mm square pad centred on (1000, 1000) mm, far from the board: side
// 2, its box and area as drawn.
void expect_the_added_pad(const Json::Value& d)
{
    EXPECT_EQ(d["side"].asInt(), 2);
    EXPECT_NEAR(d["xmin"].asDouble(), 999.5, 1e-6);
    EXPECT_NEAR(d["ymin"].asDouble(), 999.5, 1e-6);
    EXPECT_NEAR(d["xmax"].asDouble(), 1000.5, 1e-6);
    EXPECT_NEAR(d["ymax"].asDouble(), 1000.5, 1e-6);
    EXPECT_NEAR(d["area"].asDouble(), 1.0, 1e-9);
    EXPECT_NEAR(d["x"].asDouble(), 1000, 1e-6);
    EXPECT_NEAR(d["y"].asDouble(), 1000, 1e-6);
}

std::string read_all(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

std::uint32_t le32(const std::string& s, size_t at)
{
    return std::uint32_t(std::uint8_t(s[at])) | std::uint32_t(std::uint8_t(s[at + 1])) << 8 |
           std::uint32_t(std::uint8_t(s[at + 2])) << 16 | std::uint32_t(std::uint8_t(s[at + 3])) << 24;
}

} // namespace

TEST(EditOpsCompare, SampleLayerAgainstAnEditedCopy)
{
    TempDir dir;
    in_fresh_process(dir.path(), [] {
        start_library();
        ASSERT_EQ(call(R"({"func":"OPEN_JOB","paras":[{"path":")" + kSampleFolder + R"("},{"job":"sample_design"}]})"),
                  "{\"func\":\"OPEN_JOB\",\"paras\":{\"status\":true}}\n");
        ASSERT_EQ(call(R"({"func":"COPY_LAYER_FEATURES","paras":{"src_job":"sample_design","src_step":"step",
                          "dst_job":"sample_design","dst_step":"step","mode":1,"invert":false,"src_layer":"layer-2",
                          "dst_layer":"copy"}})"),
                  "OK");
        // An untouched copy has the same copper, to the nanometre.
        EXPECT_EQ(differences("0").size(), 0u);

        // The whole copy moved by 5 microns: every edge differs, but by less
        // than a 25 micron tolerance.
        call(R"({"func":"COUNTER_ELECTION","paras":[{"job":"sample_design","step":"step","layer":"copy"}]})");
        ASSERT_EQ(call(R"({"func":"MOVE_SAME_LAYER","paras":{"jobname":"sample_design","stepname":"step",
                          "layername":"copy","offset_x":5000,"offset_y":0}})"),
                  "OK");
        EXPECT_GT(differences("0").size(), 100u);
        EXPECT_EQ(differences("0.025").size(), 0u);

        // A pad placed by hand is the one real difference.
        const std::string add_pad = R"({"func":"ADD_PAD","paras":[{"job":"sample_design","step":"step",
            "layer":"copy","layers":["copy"],"symbol":"s1000","location_x":1000,"location_y":1000}]})";
        ASSERT_EQ(call(add_pad), "OK");
        Json::Value found = differences("0.025");
        ASSERT_EQ(found.size(), 1u);
        expect_the_added_pad(found[0]);

        // Undo takes the pad away, then puts every feature back exactly.
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"sample_design","stepname":"step"}})"), "OK");
        EXPECT_EQ(differences("0.025").size(), 0u);
        ASSERT_EQ(call(R"({"func":"UNDO","paras":{"jobname":"sample_design","stepname":"step"}})"), "OK");
        EXPECT_EQ(differences("0").size(), 0u);
        ASSERT_EQ(call(add_pad), "OK");

        // The differences as a map layer, and as a gallery whose first cell
        // is centred on the start point.
        ASSERT_EQ(call(R"({"func":"LAYER_COMPARE","paras":{"jobname1":"sample_design","stepname1":"step",
                          "layername1":"layer-2","jobname2":"sample_design","stepname2":"step","layername2":"copy",
                          "tolerance":0,"global":true,"consider_SR":false,"comparison_map_layername":"diffmap",
                          "map_layer_resolution":0}})"),
                  "OK");
        EXPECT_EQ(call(R"({"func":"HASFEATURE","paras":{"jobname":"sample_design","stepname":"step",
                          "layername":"diffmap"}})"),
                  "{\"func\":\"HASFEATURE\",\"paras\":{\"status\":true}}\n");
        ASSERT_EQ(call(R"({"func":"LAYER_COMPARE_RESULT","paras":{"work_job":"sample_design","work_step":"step",
                          "newlayername":"gallery","difference":true,"column":2,"startPoint":{"ix":3000000,"iy":4000000},
                          "step":5}})"),
                  "OK");
        const Json::Value gallery = json_of(call(R"({"func":"LAYER_COMPARE_POINT","paras":{"jobname1":"sample_design",
            "stepname1":"step","layername1":"gallery","jobname2":"sample_design","stepname2":"step",
            "layername2":"diffmap","global":true,"tolerance":0}})"))["paras"]["result"];
        ASSERT_EQ(gallery.size(), 2u) << "the pad in the gallery, and in the map where it was";
        for (const Json::Value& d : gallery) {
            const double cx = (d["xmin"].asDouble() + d["xmax"].asDouble()) / 2;
            EXPECT_NEAR(cx, d["side"].asInt() == 1 ? 3.0 : 1000.0, 1e-6);
            EXPECT_NEAR(d["area"].asDouble(), 1.0, 1e-9);
        }

        // The picture of the map against an empty layer: the pad, all of it
        // copper only the first has, fills the height of a 400 x 300 BMP
        // (300 pixels for the pad and the margin around it).
        call(R"({"func":"CREATE_NEW_LAYER","paras":{"job":"sample_design","layer":"blank","index":99}})");
        ASSERT_EQ(call(R"({"func":"LAYER_COMPARE_BMP","paras":{"jobname1":"sample_design","stepname1":"step",
                          "layername1":"diffmap","jobname2":"sample_design","stepname2":"step","layername2":"blank",
                          "savepath":".","suffix":"_x","tolerance":0,"grid_size":0,"bmp_height":300,
                          "bmp_width":400}})"),
                  "OK");
        const std::string bmp = read_all("diffmap_blank_x.bmp");
        ASSERT_GT(bmp.size(), 54u);
        EXPECT_EQ(bmp.substr(0, 2), "BM");
        EXPECT_EQ(le32(bmp, 18), 400u);
        EXPECT_EQ(le32(bmp, 22), 300u);
        EXPECT_EQ(bmp.size(), 54u + 1200u * 300u);
        size_t green = 0, red = 0;
        for (size_t at = 54; at + 2 < bmp.size(); at += 3) {
            const auto b = std::uint8_t(bmp[at]), g = std::uint8_t(bmp[at + 1]), r = std::uint8_t(bmp[at + 2]);
            green += g > 200 && r < 50 && b < 50;
            red += r > 200 && g < 50 && b < 50;
        }
        EXPECT_GT(red, 250u * 250u);
        EXPECT_LE(red, 300u * 300u);
        EXPECT_EQ(green, 0u);

        // Several pairs at once, into a report: one line per difference.
        ASSERT_EQ(call(R"({"func":"MULTI_LAYER_COMPARE","paras":{"jobname1":"sample_design","stepname1":"step",
                          "layernames1":["diffmap","blank"],"jobname2":"sample_design","stepname2":"step",
                          "layernames2":["blank","gallery"],"compare_result_path":"report.txt",
                          "jobname_compare":"sample_design","stepname_compare":"step",
                          "layernames_compare":["map1"],"tolerance":0,"map_layer_resolution":0}})"),
                  "OK");
        const std::string report = read_all("report.txt");
        EXPECT_EQ(std::count(report.begin(), report.end(), '\n'), 3) << report;
        EXPECT_NE(report.find("\n1\tdiffmap\tblank\t1\t1000.000000\t1000.000000\t999.500000"), std::string::npos)
            << report;
        EXPECT_NE(report.find("\n2\tblank\tgallery\t2\t3.000000\t4.000000\t2.500000"), std::string::npos) << report;
        EXPECT_EQ(call(R"({"func":"HASFEATURE","paras":{"jobname":"sample_design","stepname":"step",
                          "layername":"map1"}})"),
                  "{\"func\":\"HASFEATURE\",\"paras\":{\"status\":true}}\n");

        // A layer the job lacks: the query has no answer.
        EXPECT_EQ(call(R"({"func":"LAYER_COMPARE_POINT","paras":{"jobname1":"sample_design","stepname1":"step",
                          "layername1":"nothing","layername2":"copy"}})"),
                  "ERROR");
    });
}
