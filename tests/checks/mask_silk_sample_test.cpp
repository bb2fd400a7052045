// The solder-mask and silk-screen checks as a host runs them on the sample
// job. What they must find is worked out here from the job's own features
// files: every silk stroke that comes within 0.1 mm of a round mask opening,
// measured as capsule to circle.
#include "adaptor/exports.h"
#include "checks/common_cache.h"
#include "support/test_support.h"

#include <gtest/gtest.h>
#include <json/json.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <sstream>
#include <vector>

namespace {

Json::Value parse(const char* text)
{
    Json::Value v;
    Json::Reader().parse(text ? text : "", v);
    return v;
}

// Lines and round positive pads of an inch features file, by feature
// position; sizes in mils as the symbol names give them.
struct Stroke { int index; double ax, ay, bx, by, w; };
struct Disc { int index; double x, y, d; };
struct FeaturesFile {
    std::vector<Stroke> lines;
    std::vector<Disc> discs;
};

FeaturesFile read_features(const std::string& path)
{
    FeaturesFile out;
    std::ifstream in(path);
    std::map<int, double> round;  // symbol number -> diameter in inches
    std::string line;
    int index = -1;
    while (std::getline(in, line)) {
        std::istringstream s(line);
        std::string tag;
        s >> tag;
        if (tag.size() > 1 && tag[0] == '$') {
            std::string name;
            s >> name;
            if (name.size() > 1 && name[0] == 'r' && name.find_first_not_of("0123456789.", 1) == std::string::npos)
                round[std::stoi(tag.substr(1))] = std::stod(name.substr(1)) / 1000;
            continue;
        }
        if (tag != "L" && tag != "P" && tag != "A" && tag != "T" && tag != "S" && tag != "B") continue;
        ++index;
        if (tag == "L") {
            Stroke st{index, 0, 0, 0, 0, 0};
            int sym;
            std::string pol;
            s >> st.ax >> st.ay >> st.bx >> st.by >> sym >> pol;
            if (pol == "P" && round.count(sym)) st.w = round[sym], out.lines.push_back(st);
        } else if (tag == "P") {
            Disc d{index, 0, 0, 0};
            int sym;
            std::string pol;
            s >> d.x >> d.y >> sym >> pol;
            if (pol == "P" && round.count(sym)) d.d = round[sym], out.discs.push_back(d);
        }
    }
    return out;
}

double segment_point(double ax, double ay, double bx, double by, double px, double py)
{
    const double dx = bx - ax, dy = by - ay, len = dx * dx + dy * dy;
    const double t = len == 0 ? 0 : std::clamp(((px - ax) * dx + (py - ay) * dy) / len, 0.0, 1.0);
    return std::hypot(ax + t * dx - px, ay + t * dy - py);
}

} // namespace

TEST(SampleMaskSilk, SilkNearRoundOpeningsAndTheCachePerLayer)
{
    kesto::test::TempDir dir;
    const std::string unpack = "tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir.path() + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    init_func_map();
    init_orig_func_map();
    const std::string open = R"({"func":"OPEN_JOB","paras":[{"path":")" + dir.path() + R"("},{"job":"sample_design"}]})";
    process(open.c_str());
    ASSERT_TRUE(parse(process(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"))["paras"]["status"].asBool());
    const std::string pass = "OK";  // the configuration's pass text when it names none
    auto* cache = KESTO::Cache::common_cache::instance();

    const std::string silk = silk_screen_check(
        R"({"paras":[{"job":"sample_design","step":"step","layers":["silkscreen-top","SILKSCREEN-BOTTOM"],)"
        R"("spacing":0.1,"sm_clearance":true,"smd_clearance":true,"pad_clearance":true,"hole_clearance":true,)"
        R"("rout_clearance":true,"line_width":true}]})");
    ASSERT_EQ(silk, pass);
    const auto silks = cache->getSilkResult();
    ASSERT_EQ(silks.size(), 2u);

    const std::string layers = dir.path() + "/sample_design/steps/step/layers/";
    for (const char* side : {"top", "bottom"}) {
        const FeaturesFile ss = read_features(layers + "silkscreen-" + side + "/features");
        const FeaturesFile sm = read_features(layers + "soldermask-" + side + "/features");
        ASSERT_GT(ss.lines.size(), 10000u);
        // Item 0 (silk to mask opening) findings by (silk feature, opening): value in nm.
        std::map<std::pair<int, int>, std::int64_t> found;
        const std::string name = std::string("SILKSCREEN-") + (side[0] == 't' ? "TOP" : "BOTTOM");
        auto layer = silks.find(std::string("silkscreen-") + side);
        if (layer == silks.end()) layer = silks.find(name);
        ASSERT_NE(layer, silks.end());
        auto item = layer->second.find(KESTO::API::silk_screen_checks_items(0));
        ASSERT_NE(item, layer->second.end());
        for (const auto& lv : item->second.lv)
            for (const auto& info : lv) {
                ASSERT_EQ(info.features.size(), 2u);
                found[{info.features[0].feature_index, info.features[1].feature_index}] = info.measure_value;
            }
        int expected = 0;
        for (const Stroke& st : ss.lines)
            for (const Disc& d : sm.discs) {
                const double gap_in = segment_point(st.ax, st.ay, st.bx, st.by, d.x, d.y) - st.w / 2 - d.d / 2;
                const double gap_nm = std::max(0.0, gap_in * 25.4e6);
                if (gap_nm > 100000 - 1000) continue;  // at the limit, rounding decides
                ++expected;
                auto f = found.find({st.index, d.index});
                ASSERT_NE(f, found.end()) << side << ": silk " << st.index << " to opening " << d.index;
                EXPECT_NEAR(double(f->second), gap_nm, 1000) << side << ": silk " << st.index;
            }
        // Counted by hand from the files once: 11 on the top, 15 on the bottom.
        EXPECT_GE(expected, side[0] == 't' ? 10 : 14) << side;
    }

    const std::string mask = solder_mask_check(
        R"({"paras":[{"job":"sample_design","step":"step","layers":["soldermask-top","SOLDERMASK-BOTTOM"],)"
        R"("sm_ar":0.05,"sm_coverage":0.05,"spacing_min":0.1,"bridge_min":0.1,"pads":true,"missing":true,)"
        R"("coverage":true,"spacing":true,"bridge":true,"drill":true,"silver":true}]})");
    EXPECT_EQ(mask, pass);
    const auto masks = cache->getSolderMaskResult();
    ASSERT_EQ(masks.size(), 2u);
    for (const auto& [layer, items] : masks)
        for (const auto& [item, r] : items)
            for (std::size_t l = 0; l < r.lv.size(); ++l) {
                EXPECT_EQ(r.counts[l], r.lv[l].size());
                for (const auto& info : r.lv[l]) ASSERT_FALSE(info.features.empty()) << layer << " item " << item;
            }

    // No layers: still the pass message, and the member is emptied.
    EXPECT_EQ(std::string(solder_mask_check(R"({"paras":[{"job":"sample_design","step":"step","layers":[]}]})")), pass);
    EXPECT_TRUE(cache->getSolderMaskResult().empty());
    // A value of the wrong type is refused and the cache keeps what it held.
    EXPECT_NE(std::string(silk_screen_check(R"({"paras":[{"layers":["silkscreen-top"],"spacing":"wide"}]})")), pass);
    EXPECT_EQ(cache->getSilkResult().size(), 2u);
}
