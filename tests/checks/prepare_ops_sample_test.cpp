// The MRC check, the surface analysis and the drill preparation as a host
// runs them on the sample job, each checked against the job's own features
// files: line pairs closer than the rule by brute force over the top
// copper's round lines, the hole contours of its surfaces, and the openings
// of its non-plated holes after the preparation.
#include "checks/common_cache.h"
#include "orig/jobs_host.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <vector>

using namespace kesto::test;

namespace {

// Positive lines and pads of round symbols of an inch features file, by
// feature position, with each feature's attribute text; sizes in inches.
struct Record { int index; char tag; double ax, ay, bx, by, d; std::string attributes; };

std::vector<Record> read_round(const std::string& path, int* hole_contours = nullptr)
{
    std::vector<Record> out;
    std::ifstream in(path);
    std::map<int, double> round;
    std::string line;
    int index = -1;
    if (hole_contours) *hole_contours = 0;
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
        if (tag == "OB" && hole_contours) {
            double x, y;
            std::string kind;
            if (s >> x >> y >> kind && kind == "H") ++*hole_contours;
        }
        if (tag != "L" && tag != "P" && tag != "A" && tag != "T" && tag != "S" && tag != "B") continue;
        ++index;
        Record r{index, tag[0], 0, 0, 0, 0, 0, ""};
        int sym = -1;
        std::string pol;
        if (tag == "L") s >> r.ax >> r.ay >> r.bx >> r.by >> sym >> pol;
        else if (tag == "P") s >> r.ax >> r.ay >> sym >> pol, r.bx = r.ax, r.by = r.ay;
        else continue;
        const auto semi = line.find(';');
        if (semi != std::string::npos) r.attributes = line.substr(semi + 1);
        if (pol == "P" && round.count(sym)) r.d = round[sym], out.push_back(r);
    }
    return out;
}

double segment_point(double ax, double ay, double bx, double by, double px, double py)
{
    const double dx = bx - ax, dy = by - ay, len = dx * dx + dy * dy;
    const double t = len == 0 ? 0 : std::clamp(((px - ax) * dx + (py - ay) * dy) / len, 0.0, 1.0);
    return std::hypot(ax + t * dx - px, ay + t * dy - py);
}

double cross(double ax, double ay, double bx, double by, double cx, double cy)
{
    return (bx - ax) * (cy - ay) - (by - ay) * (cx - ax);
}

// Centre-line distance of two segments.
double segment_segment(const Record& p, const Record& q)
{
    const double d1 = cross(p.ax, p.ay, p.bx, p.by, q.ax, q.ay), d2 = cross(p.ax, p.ay, p.bx, p.by, q.bx, q.by);
    const double d3 = cross(q.ax, q.ay, q.bx, q.by, p.ax, p.ay), d4 = cross(q.ax, q.ay, q.bx, q.by, p.bx, p.by);
    if (((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0))) return 0;
    return std::min({segment_point(p.ax, p.ay, p.bx, p.by, q.ax, q.ay), segment_point(p.ax, p.ay, p.bx, p.by, q.bx, q.by),
                     segment_point(q.ax, q.ay, q.bx, q.by, p.ax, p.ay), segment_point(q.ax, q.ay, q.bx, q.by, p.bx, p.by)});
}

} // namespace

TEST(PrepareOpsSample, MrcSurfacesAndDrillPreparationAgainstTheJobsFiles)
{
    TempDir dir;
    const std::string unpack = "tar -xzf '" + kSampleFolder + "/sample_design.tgz' -C '" + dir.path() + "'";
    ASSERT_EQ(std::system(unpack.c_str()), 0);
    const std::string layers = dir.path() + "/sample_design/steps/step/layers/";
    in_fresh_process(dir.path(), [&] {
        start_library();
        call(R"({"func":"OPEN_JOB","paras":[{"path":"."},{"job":"sample_design"}]})");
        ASSERT_TRUE(json_of(call(R"({"func":"IS_JOB_OPENED","paras":{"jobname":"sample_design"}})"))["paras"]["status"].asBool());

        // MRC: line to line at least 0.15 mm on outer layers.
        ASSERT_STREQ(setRelationship(R"({"paras":[{"colname":"outer:line","rowname":"line","relation_value":0.15}]})"), "OK");
        ASSERT_EQ(call(R"({"func":"MRC_CHECK","paras":[{"job":"sample_design","step":"step","layers":["LAYER-1","soldermask-top"]}]})"), "OK");
        const auto mrc = KESTO::Cache::common_cache::instance()->getMrcCheckResult();
        ASSERT_EQ(mrc.size(), 2u);
        EXPECT_EQ(mrc.at("soldermask-top").at("rules").message, "not a copper layer: no spacing rule applies");
        ASSERT_EQ(mrc.at("LAYER-1").count("line-line"), 1u);
        const auto& found = mrc.at("LAYER-1").at("line-line").findings;
        // Every pair of round lines whose gap lies in (0, 150 um), by brute force.
        std::vector<Record> lines;
        for (const Record& r : read_round(layers + "layer-1/features"))
            if (r.tag == 'L') lines.push_back(r);
        std::map<std::pair<int, int>, double> want;
        for (std::size_t i = 0; i < lines.size(); ++i)
            for (std::size_t j = i + 1; j < lines.size(); ++j) {
                const double gap = (segment_segment(lines[i], lines[j]) - (lines[i].d + lines[j].d) / 2) * 25.4e6;
                if (gap > 1 && gap < 150000 - 1) want[{lines[i].index, lines[j].index}] = gap;
            }
        ASSERT_GT(want.size(), 0u);
        std::set<int> round_lines;
        for (const Record& r : lines) round_lines.insert(r.index);
        std::size_t matched = 0;
        for (const auto& info : found) {
            ASSERT_EQ(info.features.size(), 2u);
            const int a = info.features[0].feature_index, b = info.features[1].feature_index;
            if (!round_lines.count(a) || !round_lines.count(b)) continue;
            auto it = want.find({std::min(a, b), std::max(a, b)});
            ASSERT_NE(it, want.end()) << a << " " << b << " " << info.measure_value;
            EXPECT_NEAR(info.measure_value, it->second, 1000) << a << " " << b;
            ++matched;
        }
        EXPECT_EQ(matched, want.size());

        // Surface holes: with no size limit every hole contour of the layer counts.
        int holes = 0;
        read_round(layers + "layer-1/features", &holes);
        ASSERT_EQ(surface_analyze(R"({"paras":[{"job":"sample_design","step":"step","layers":["LAYER-1"],"mode":1}]})"),
                  std::string("OK"));
        const std::string info = read_logs("log", "INFO_");
        EXPECT_NE(info.find("surface_analyze: LAYER-1: surface holes: " + std::to_string(holes) + " "), std::string::npos);
        EXPECT_EQ(surface_analyze(R"({"paras":[{"job":"sample_design","step":"step","layers":["nope"]}]})"),
                  std::string("ERROR"));

        // Drill preparation: every non-plated hole ends up with a centred
        // opening of its diameter plus 2 x 100 um on both mask layers; the
        // copper is not touched.
        const std::size_t copper_before = read_round(layers + "layer-1/features").size();
        EXPECT_EQ(call(R"({"func":"NPTH_AND_PTH_PREPARE_OP","paras":{"job":"sample_design","step":"step",)"
                       R"("sm_clearance":50,"sm_np_clearance":100,"add_sm_pads":true,"add_signal_pads":false}})"),
                  "ERROR");
        ASSERT_EQ(call(R"({"func":"SAVE_JOB_AS","paras":{"path":"./saved","job":"sample_design"}})"), "OK");
        const std::string saved = "saved/sample_design/steps/step/layers/";
        EXPECT_EQ(read_round(saved + "layer-1/features").size(), copper_before);
        std::vector<Record> npth;
        for (const Record& r : read_round(layers + "drill/features"))
            if (r.tag == 'P' && ("," + r.attributes).find(",1=1") != std::string::npos) npth.push_back(r);
        ASSERT_EQ(npth.size(), 6u);  // the drill file's six holes of option 1, non_plated
        for (const char* mask : {"soldermask-top", "soldermask-bottom"}) {
            const std::vector<Record> openings = read_round(saved + mask + "/features");
            for (const Record& h : npth) {
                bool open = false;
                for (const Record& o : openings)
                    open = open || (o.tag == 'P' && std::abs(o.ax - h.ax) < 1e-5 && std::abs(o.ay - h.ay) < 1e-5 &&
                                    o.d >= h.d + 0.2 / 25.4 - 1e-6);
                EXPECT_TRUE(open) << mask << " " << h.ax << " " << h.ay;
            }
        }
    });
}
