// kesto serve through real HTTP on localhost: the server runs as its own
// process on a free port, as a user starts it, and every answer is checked
// against the sample job's own files.
#include "support/test_support.h"

#include <cairo.h>
#include <httplib.h>
#include <json/json.h>
#include <gtest/gtest.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

namespace fs = std::filesystem;
using kesto::test::TempDir;

namespace {

// The pixels of a PNG as opaque-or-not ARGB words, row by row; empty when the
// file cannot be read.
std::vector<std::uint32_t> png_pixels(const std::string& path)
{
    std::vector<std::uint32_t> out;
    cairo_surface_t* s = cairo_image_surface_create_from_png(path.c_str());
    if (cairo_surface_status(s) == CAIRO_STATUS_SUCCESS) {
        cairo_surface_flush(s);
        const int w = cairo_image_surface_get_width(s), h = cairo_image_surface_get_height(s);
        for (int r = 0; r < h; ++r) {
            const auto* row = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(s) +
                                                                      r * cairo_image_surface_get_stride(s));
            out.insert(out.end(), row, row + w);
        }
    }
    cairo_surface_destroy(s);
    return out;
}

Json::Value json(const std::string& text)
{
    Json::Value v;
    Json::Reader().parse(text, v);
    return v;
}

// A running `kesto serve`, stopped when it goes out of scope.
class Server {
public:
    explicit Server(const std::vector<std::string>& roots, const std::string& config)
    {
        int out[2];
        EXPECT_EQ(pipe(out), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(out[1], 1);
            close(out[0]);
            std::vector<std::string> args = {KESTO_HOST, "--quiet", "--config", config, "serve", "--port", "0"};
            for (const auto& r : roots) args.insert(args.end(), {"--root", r});
            std::vector<char*> argv;
            for (auto& a : args) argv.push_back(a.data());
            argv.push_back(nullptr);
            execv(KESTO_HOST, argv.data());
            _exit(127);
        }
        close(out[1]);
        FILE* in = fdopen(out[0], "r");
        char line[256] = {};
        if (std::fgets(line, sizeof line, in)) std::sscanf(line, "kesto serve: listening on http://127.0.0.1:%d", &port_);
        std::fclose(in);
    }
    ~Server()
    {
        if (pid_ > 0) {
            kill(pid_, SIGTERM);
            waitpid(pid_, nullptr, 0);
        }
    }
    int port() const { return port_; }
    httplib::Client client() const
    {
        httplib::Client c("127.0.0.1", port_);
        c.set_read_timeout(60, 0);
        return c;
    }

private:
    pid_t pid_ = -1;
    int port_ = 0;
};

std::string config_folder(const TempDir& dir)
{
    const std::string config = dir / "config";
    fs::create_directories(config);
    kesto::test::write_file(config + "/config.json",
                            R"({"log_path":"","gmsg_pass":"OK","gmsg_error":"ERROR","job_library":"./jobs"})");
    return config;
}

// The sample job unpacked once for every test of this program.
const std::string& sample_root()
{
    static TempDir dir;
    static const bool unpacked = [] {
        const std::string unpack = "tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir.path() + "'";
        return std::system(unpack.c_str()) == 0;
    }();
    EXPECT_TRUE(unpacked);
    return dir.path();
}

// Layer names of the job's matrix file, in row order.
std::vector<std::string> matrix_layers(const std::string& job)
{
    std::ifstream in(job + "/matrix/matrix");
    std::vector<std::string> names;
    bool in_layer = false;
    for (std::string line; std::getline(in, line);) {
        if (line.rfind("LAYER", 0) == 0) in_layer = true;
        if (line.rfind("STEP", 0) == 0) in_layer = false;
        const auto at = line.find_first_not_of(" \t");
        if (in_layer && at != std::string::npos && line.compare(at, 5, "NAME=") == 0) names.push_back(line.substr(at + 5));
    }
    return names;
}

} // namespace

TEST(Serve, EveryPathStaysInsideTheRoots)
{
    TempDir dir;
    const std::string root = dir / "root", outside = dir / "outside";
    fs::create_directories(root + "/jobs");
    fs::create_directories(outside + "/secret");
    fs::create_directory_symlink(outside, root + "/escape");
    Server server({root}, config_folder(dir));
    ASSERT_GT(server.port(), 0);
    auto c = server.client();

    for (const char* path : {"../outside/secret", "/etc", "escape/secret", "jobs/../../outside", "/", "escape"}) {
        auto r = c.Post("/api/open", std::string(R"({"path":")") + path + R"("})", "application/json");
        ASSERT_TRUE(r) << path;
        EXPECT_EQ(r->status, 403) << path;
        EXPECT_NE(json(r->body)["error"].asString().find("outside"), std::string::npos) << path;
        auto l = c.Get(("/api/list?path=" + httplib::detail::encode_query_param(path)).c_str());
        ASSERT_TRUE(l);
        EXPECT_EQ(l->status, 403) << path;
    }
    // Inside the root: a listing, and a plain error for what is missing or is no job.
    auto l = c.Get("/api/list?path=.");
    ASSERT_TRUE(l);
    EXPECT_EQ(l->status, 200);
    EXPECT_EQ(json(l->body)["entries"].size(), 2u);
    auto missing = c.Post("/api/open", R"({"path":"jobs/none"})", "application/json");
    EXPECT_EQ(missing->status, 404);
    auto empty = c.Post("/api/open", R"({"path":"jobs"})", "application/json");
    EXPECT_EQ(empty->status, 422);
    EXPECT_FALSE(json(empty->body)["error"].asString().empty());
    // The page's own files are served; nothing beyond them through the static path.
    auto page = c.Get("/index.html");
    ASSERT_TRUE(page);
    EXPECT_EQ(page->status, 200);
    EXPECT_NE(page->body.find("viewer.js"), std::string::npos);
    EXPECT_NE(c.Get("/../CMakeLists.txt")->status, 200);
}

TEST(Serve, SampleJobLayersTilesClicksAndDrillCheck)
{
    TempDir dir;
    const std::string job = sample_root() + "/sample_design";
    Server server({sample_root()}, config_folder(dir));
    ASSERT_GT(server.port(), 0);
    auto c = server.client();

    auto open = c.Post("/api/open", R"({"path":"sample_design"})", "application/json");
    ASSERT_TRUE(open);
    ASSERT_EQ(open->status, 200) << open->body;
    const Json::Value opened = json(open->body);
    std::vector<std::string> layers;
    for (const auto& l : opened["layers"]) layers.push_back(l["name"].asString());
    std::vector<std::string> expected = matrix_layers(job);
    for (auto& n : expected) std::transform(n.begin(), n.end(), n.begin(), ::tolower);
    EXPECT_EQ(layers, expected);

    // A tile of the first signal layer at 4 px/mm over the board's corner:
    // a 256-pixel PNG, served again from the cache byte for byte.
    const std::string tile = "/api/tile?job=sample_design&step=step&layers=layer-1&z=2&x=-1&y=0";
    auto t1 = c.Get(tile.c_str());
    ASSERT_TRUE(t1);
    ASSERT_EQ(t1->status, 200);
    ASSERT_GT(t1->body.size(), 24u);
    EXPECT_EQ(t1->body.substr(1, 3), "PNG");
    auto be32 = [&](size_t at) {
        const auto* b = reinterpret_cast<const unsigned char*>(t1->body.data() + at);
        return (b[0] << 24) | (b[1] << 16) | (b[2] << 8) | b[3];
    };
    EXPECT_EQ(be32(16), 256);
    EXPECT_EQ(be32(20), 256);
    EXPECT_EQ(c.Get(tile.c_str())->body, t1->body);
    // The tile served is the picture the library draws of the tile's own
    // square, -64..0 mm by 0..64 mm, by a host of its own.
    {
        const std::string lines = dir / "tile.jsonl";
        kesto::test::write_file(lines, R"({"func":"OPEN_JOB","paras":[{"path":")" + sample_root() +
            R"("},{"job":"sample_design"}]})" "\n"
            R"({"func":"OUTPUT_PICTURE","paras":[{"size":256,"job":"sample_design","step":"step","picpath":")" + dir.path() +
            R"(","picname":"direct.png","layers":["layer-1"],"xmin":-64,"ymin":0,"xmax":0,"ymax":64}]})" "\n");
        const std::string run = std::string("cd '") + dir.path() + "/config' && '" KESTO_HOST "' --quiet run '" + lines +
                                "' > /dev/null";
        ASSERT_EQ(std::system(run.c_str()), 0);
        // Same pixels (the two PNG writers may encode them differently).
        kesto::test::write_file(dir / "served.png", t1->body);
        EXPECT_EQ(png_pixels(dir / "direct.png"), png_pixels(dir / "served.png"));
    }
    EXPECT_EQ(c.Get("/api/tile?job=sample_design&step=step&layers=layer-1&z=x&x=0&y=0")->status, 400);

    // A click on the first hole of the drill file picks that hole: its place
    // as the file gives it (inch, converted here) and its symbol in the
    // session's unit (the file's r10 is 10 mils, 254 microns).
    std::ifstream features(job + "/steps/step/layers/drill/features");
    double x = 0, y = 0;
    for (std::string line; std::getline(features, line);)
        if (line.rfind("P ", 0) == 0) {
            std::sscanf(line.c_str(), "P %lf %lf", &x, &y);
            break;
        }
    std::ostringstream click;
    click << R"({"job":"sample_design","step":"step","layer":"drill","x":)" << x * 25.4 << R"(,"y":)" << y * 25.4 << "}";
    const Json::Value picked = json(c.Post("/api/click", click.str(), "application/json")->body);
    ASSERT_EQ(picked["features"].size(), 1u) << picked;
    EXPECT_EQ(picked["features"][0]["symbolname"].asString(), "r254");
    EXPECT_NEAR(picked["features"][0]["XS"].asDouble(), x * 25.4, 1e-6);
    EXPECT_NEAR(picked["features"][0]["YS"].asDouble(), y * 25.4, 1e-6);

    // The drill check runs on the server's worker while the server keeps
    // answering; progress arrives, then the findings, paged per item.
    EXPECT_EQ(c.Post("/api/check", R"({"kind":"nonsense"})", "application/json")->status, 400);
    auto started = c.Post("/api/check",
                          R"({"kind":"drill","job":"sample_design","step":"step","layers":["drill"],"options":{)"
                          R"("hole_size":true,"hole_seperation":true,"use_pth":true,"use_npth":true,"use_via":true,)"
                          R"("ranges":{"rangesList":[{"name":"Close Holes","RedLv":100,"YellowLv":150,"GreenLv":200}]}}})",
                          "application/json");
    ASSERT_EQ(started->status, 202);
    EXPECT_EQ(c.Post("/api/check", R"({"kind":"drill","job":"sample_design","step":"step","layers":["drill"]})",
                     "application/json")->status, 409);
    Json::Value status;
    long long most = 0;
    for (int i = 0; i < 600; ++i) {
        status = json(c.Get("/api/check")->body);
        most = std::max<long long>(most, status["total"].asInt64());
        if (!status["running"].asBool()) break;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    ASSERT_FALSE(status["running"].asBool());
    ASSERT_TRUE(status["error"].isNull()) << status["error"];
    EXPECT_GT(most, 0) << "progress reached the page";
    const Json::Value& result = status["result"];
    const std::string uuid = result["analysis_uuid"].asString();
    ASSERT_FALSE(uuid.empty());
    // Every hole of the drill file is counted once in the hole table.
    std::ifstream again(job + "/steps/step/layers/drill/features");
    long long holes_in_file = 0, holes = 0;
    for (std::string line; std::getline(again, line);) holes_in_file += line.rfind("P ", 0) == 0 || line.rfind("L ", 0) == 0;
    for (const auto& item : result["analysis_result"][0]["result"]) {
        if (item["check_item"].asString().find("Summary") == std::string::npos) continue;
        for (const auto& f : item["lv4features"]) holes += f["values"][f["values"].size() - 1].asInt64();
    }
    EXPECT_EQ(holes, holes_in_file);
    // Paging an item through the server gives back as many findings as it counts.
    bool paged_one = false;
    for (const auto& item : result["analysis_result"][0]["result"]) {
        const unsigned total = item["lv1count"].asUInt() + item["lv2count"].asUInt() + item["lv3count"].asUInt() +
                               item["lv4count"].asUInt();
        if (total == 0 || total > 200) continue;
        unsigned seen = 0;
        for (int page = 0; page < 50; ++page) {
            const std::string q = "/api/findings?uuid=" + uuid + "&type=2&layer=drill&level=4&count=7&page=" +
                                  std::to_string(page) + "&item=" + httplib::detail::encode_query_param(item["check_item"].asString());
            const Json::Value got = json(c.Get(q.c_str())->body)["page"];
            if (got.empty()) break;
            seen += got[0]["filter_result"][0]["check_info_list"].size();
        }
        EXPECT_EQ(seen, total) << item["check_item"];
        paged_one = true;
    }
    EXPECT_TRUE(paged_one);
}

// The page in Debian's headless Chromium: the address carries the actions
// (open the sample job, toggle two layers, make the drill layer active and
// click its first hole); the page's document then shows what a user sees.
// The screenshot is kept under the build folder (serve-artefacts/).
TEST(Serve, PageInHeadlessChromium)
{
    const char* chromium = nullptr;
    for (const char* candidate : {"/usr/bin/chromium", "/usr/bin/chromium-browser"})
        if (access(candidate, X_OK) == 0) chromium = candidate;
    if (!chromium) GTEST_SKIP() << "no chromium here (scripts/setup.sh installs Debian's): the page test is skipped";

    TempDir dir;
    const std::string job = sample_root() + "/sample_design";
    Server server({sample_root()}, config_folder(dir));
    ASSERT_GT(server.port(), 0);
    std::ifstream features(job + "/steps/step/layers/drill/features");
    double x = 0, y = 0;
    for (std::string line; std::getline(features, line);)
        if (line.rfind("P ", 0) == 0) {
            std::sscanf(line.c_str(), "P %lf %lf", &x, &y);
            break;
        }
    std::ostringstream url;
    url << "http://127.0.0.1:" << server.port() << "/?open=sample_design&toggle=drill&toggle=comp_%2B_top&active=drill&click="
        << x * 25.4 << "," << y * 25.4;
    const fs::path artefacts = fs::current_path() / "serve-artefacts";
    fs::create_directories(artefacts);
    const std::string common = std::string("timeout 60 ") + chromium +
                               " --headless --no-sandbox --disable-gpu --user-data-dir='" + dir.path() +
                               "/chromium' --virtual-time-budget=20000 --window-size=1200,800 ";
    const std::string dom_file = dir / "dom.html";
    ASSERT_EQ(std::system((common + "--dump-dom '" + url.str() + "' > '" + dom_file + "' 2>/dev/null").c_str()), 0);
    const std::string dom = kesto::test::read_file(dom_file);
    ASSERT_NE(dom.find("data-ready=\"yes\""), std::string::npos) << dom;
    auto layer_tag = [&](const std::string& name) {
        const auto at = dom.find("data-layer=\"" + name + "\"");
        return at == std::string::npos ? std::string() : dom.substr(at, dom.find('>', at) - at);
    };
    EXPECT_NE(layer_tag("drill").find("shown"), std::string::npos) << "the drill layer was toggled on";
    EXPECT_NE(layer_tag("drill").find("active"), std::string::npos);
    EXPECT_EQ(layer_tag("comp_+_top").find("shown"), std::string::npos) << "the first layer was toggled off";
    EXPECT_FALSE(layer_tag("rout").empty());
    // The clicked hole is described with its symbol in the session's unit.
    const auto feature = dom.find("<pre id=\"feature\">");
    ASSERT_NE(feature, std::string::npos);
    const std::string described = dom.substr(feature, dom.find("</pre>", feature) - feature);
    EXPECT_NE(described.find("\"symbolname\": \"r254\""), std::string::npos) << described;
    // Tiles are asked for the shown layer only, and arrive as pictures.
    EXPECT_NE(dom.find("layers=drill&amp;z="), std::string::npos);
    int drawn = 0;
    const auto tiles = dom.find("data-tiles-drawn=\"");
    if (tiles != std::string::npos) drawn = std::atoi(dom.c_str() + tiles + 18);
    EXPECT_GT(drawn, 0);

    const std::string shot = (artefacts / "sample-drill-click.png").string();
    fs::remove(shot);
    std::system((common + "--screenshot='" + shot + "' '" + url.str() + "' >/dev/null 2>&1").c_str());
    EXPECT_TRUE(fs::exists(shot) && fs::file_size(shot) > 1000) << shot;
}

namespace {

// How many lines of `text` start with `head`.
size_t lines_starting(const std::string& text, const std::string& head)
{
    std::istringstream in(text);
    size_t n = 0;
    for (std::string line; std::getline(in, line);) n += line.rfind(head, 0) == 0;
    return n;
}

size_t occurrences(const std::string& text, const std::string& what)
{
    size_t n = 0;
    for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
    return n;
}

} // namespace

// A box dragged on the page picks what lies in it; a layer exports as the
// file a fab reads; files dropped onto the page open as a job of their own.
TEST(Serve, BoxSelectExportAndDroppedFiles)
{
    TempDir dir;
    const std::string job = sample_root() + "/sample_design";
    Server server({sample_root()}, config_folder(dir));
    ASSERT_GT(server.port(), 0);
    auto c = server.client();
    ASSERT_EQ(c.Post("/api/open", R"({"path":"sample_design"})", "application/json")->status, 200);
    const std::string drill_file = kesto::test::read_file(job + "/steps/step/layers/drill/features");
    const size_t holes = lines_starting(drill_file, "P "), slots = lines_starting(drill_file, "L ");

    // The whole board's box holds every hole and slot of the drill file; a box
    // beside the board (it spans x -167..0 mm) holds none.
    const Json::Value all = json(c.Post("/api/click",
        R"({"job":"sample_design","step":"step","layer":"drill","x":-200,"y":-20,"x2":20,"y2":200})",
        "application/json")->body);
    EXPECT_EQ(all["count"].asUInt(), holes + slots);
    EXPECT_EQ(all["features"].size(), std::min<size_t>(holes + slots, 200));
    const Json::Value none = json(c.Post("/api/click",
        R"({"job":"sample_design","step":"step","layer":"drill","x":10,"y":10,"x2":30,"y2":30})",
        "application/json")->body);
    EXPECT_EQ(none["count"].asUInt(), 0u);

    // Excellon of the drill layer: one hit line per hole of the file.
    auto drl = c.Post("/api/export", R"({"format":"excellon","job":"sample_design","step":"step","layer":"drill"})",
                      "application/json");
    ASSERT_EQ(drl->status, 200) << drl->body;
    EXPECT_NE(drl->get_header_value("Content-Disposition").find("drill.drl"), std::string::npos);
    EXPECT_EQ(lines_starting(drl->body, "M48"), 1u);
    size_t hits = 0;
    std::istringstream rows(drl->body);
    for (std::string line; std::getline(rows, line);) hits += (line[0] == 'X' || line[0] == 'Y') && line.find('G') == std::string::npos;
    EXPECT_EQ(hits, holes);
    // Gerber of a signal layer: a flash for every pad record of its file.
    const std::string copper = kesto::test::read_file(job + "/steps/step/layers/layer-1/features");
    auto gbr = c.Post("/api/export", R"({"format":"gerber","job":"sample_design","step":"step","layer":"layer-1"})",
                      "application/json");
    ASSERT_EQ(gbr->status, 200) << gbr->body;
    EXPECT_EQ(occurrences(gbr->body, "D03*"), lines_starting(copper, "P "));
    EXPECT_NE(gbr->body.find("M02*"), std::string::npos);
    // A picture of the view: a PNG of the size asked.
    auto png = c.Post("/api/export", R"({"format":"picture","job":"sample_design","step":"step","size":300,)"
                                     R"("layers":["layer-1","drill"],"xmin":-100,"ymin":0,"xmax":0,"ymax":100})",
                      "application/json");
    ASSERT_EQ(png->status, 200) << png->body;
    kesto::test::write_file(dir / "view.png", png->body);
    EXPECT_EQ(png_pixels(dir / "view.png").size(), 300u * 300u);
    EXPECT_EQ(c.Post("/api/export", R"({"format":"dxf","job":"sample_design","layer":"drill"})", "application/json")->status, 400);
    EXPECT_EQ(c.Post("/api/export", R"({"format":"gerber","job":"sample_design","step":"step","layer":"none"})",
                     "application/json")->status, 422);

    // Dropped Gerber and Excellon files: a layer each, named as the file;
    // a name with a path in it is kept to its last part, inside the server's
    // own space. Every flash of the Gerber file is caught by a box round it.
    const std::string pads = kesto::test::read_file(KESTO_TESTDATA "/gerber/pads/polygon.gbr");
    httplib::MultipartFormDataItems dropped = {
        {"files", pads, "polygon.gbr", "application/octet-stream"},
        {"files", kesto::test::read_file(KESTO_TESTDATA "/gerber/drill/hit.drl"), "../../hit.drl", "application/octet-stream"},
    };
    auto up = c.Post("/api/upload", dropped);
    ASSERT_TRUE(up);
    ASSERT_EQ(up->status, 200) << up->body;
    const Json::Value made = json(up->body);
    std::vector<std::string> names;
    for (const auto& l : made["layers"]) names.push_back(l["name"].asString());
    EXPECT_EQ(names, (std::vector<std::string>{"hit.drl", "polygon.gbr"}));
    const std::string made_job = made["job"].asString(), made_step = made["steps"][0].asString();
    const Json::Value flashes = json(c.Post("/api/click", R"({"job":")" + made_job + R"(","step":")" + made_step +
                                                              R"(","layer":"polygon.gbr","x":-1000,"y":-1000,"x2":1000,"y2":1000})",
                                            "application/json")->body);
    EXPECT_EQ(flashes["count"].asUInt(), occurrences(pads, "D03"));
    EXPECT_EQ(c.Get(("/api/tile?job=" + made_job + "&step=" + made_step + "&layers=polygon.gbr&z=2&x=0&y=0").c_str())->status, 200);
    // An ODB++ archive dropped alone opens as that job.
    httplib::MultipartFormDataItems archive = {
        {"files", kesto::test::read_file(KESTO_TESTDATA "/odb/sample_design.tgz"), "sample_design.tgz", "application/gzip"}};
    auto tgz = c.Post("/api/upload", archive);
    ASSERT_EQ(tgz->status, 200) << tgz->body;
    EXPECT_EQ(json(tgz->body)["layers"].size(), matrix_layers(job).size());
    EXPECT_EQ(c.Post("/api/upload", httplib::MultipartFormDataItems{})->status, 400);
}
