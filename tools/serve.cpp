// kesto serve: a small HTTP server on localhost that drives the library
// through its exports and serves the viewer page of web/.
//
// Every path the page names is resolved inside the folders the server was
// started with (--root, repeatable; default the current folder) after
// canonicalisation, so no "..", absolute path or symlink leads outside them.
// The library takes one call at a time: every call goes through one lock, and
// checks run on a worker thread while the page polls their progress.
#include "tools/serve.h"

#include "adaptor/exports.h"

#include <httplib.h>
#include <json/json.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace fs = std::filesystem;

namespace kesto::serve {

namespace {

std::mutex g_library;          // one library call at a time
std::vector<fs::path> g_roots; // canonical
fs::path g_scratch;            // uploads and tiles
std::atomic<int> g_generation{0};

struct CheckRun {
    std::mutex m;
    bool running = false;
    std::string kind, reply, error;
    std::atomic<long long> done{0}, total{0};
} g_check;

std::string call(const std::string& request)
{
    std::lock_guard<std::mutex> lock(g_library);
    const char* reply = process(request.c_str());
    return reply ? reply : "";
}

using Export = char* (*)(const char*);

std::string call_export(const char* name, const std::string& request)
{
    auto fn = reinterpret_cast<Export>(dlsym(RTLD_DEFAULT, name));
    if (!fn) return "";
    std::lock_guard<std::mutex> lock(g_library);
    const char* reply = fn(request.c_str());
    return reply ? reply : "";
}

Json::Value parse(const std::string& text)
{
    Json::Value v;
    Json::CharReaderBuilder b;
    std::string errs;
    std::istringstream in(text);
    if (!Json::parseFromStream(b, in, &v, &errs)) return Json::Value();
    return v;
}

std::string write(const Json::Value& v)
{
    Json::StreamWriterBuilder b;
    b["indentation"] = "";
    return Json::writeString(b, v);
}

bool inside(const fs::path& p, const fs::path& root)
{
    auto r = root.begin();
    auto q = p.begin();
    for (; r != root.end(); ++r, ++q)
        if (q == p.end() || *q != *r) return false;
    return true;
}

} // namespace

// The real location of `asked` (relative names are taken from the first
// root), or an empty path when it lies outside every root.
fs::path confine(const std::string& asked, const std::vector<fs::path>& roots)
{
    if (roots.empty() || asked.find('\0') != std::string::npos) return {};
    fs::path p(asked);
    if (p.is_relative()) p = roots.front() / p;
    std::error_code ec;
    const fs::path real = fs::weakly_canonical(p, ec);
    if (ec) return {};
    for (const auto& root : roots)
        if (inside(real, root)) return real;
    return {};
}

namespace {

void reply_json(httplib::Response& res, const Json::Value& v, int status = 200)
{
    res.status = status;
    res.set_content(write(v), "application/json");
}

void reply_error(httplib::Response& res, int status, const std::string& message)
{
    Json::Value v;
    v["error"] = message;
    reply_json(res, v, status);
}

bool library_failed(const std::string& reply)
{
    return reply.empty() || reply.rfind("ERROR", 0) == 0;
}

void reply_job(httplib::Response& res, const std::string& job, const std::string& shown);

// Opens a job folder (a folder holding "matrix/") or an archive.
void open_job(const httplib::Request& req, httplib::Response& res)
{
    const Json::Value body = parse(req.body);
    const fs::path real = confine(body["path"].asString(), g_roots);
    if (real.empty()) return reply_error(res, 403, "That path is outside the folders this server may read.");
    std::error_code ec;
    if (!fs::exists(real, ec)) return reply_error(res, 404, "There is no file or folder at " + body["path"].asString() + ".");
    std::string job = real.filename().string();
    Json::Value open;
    open["func"] = "OPEN_JOB";
    if (fs::is_directory(real)) {
        open["paras"][0]["path"] = real.parent_path().string();
        open["paras"][1]["job"] = job;
    } else {
        for (const char* ext : {".tgz", ".tar.gz", ".zip", ".tar"})
            if (job.size() > std::strlen(ext) && job.compare(job.size() - std::strlen(ext), std::string::npos, ext) == 0)
                job.resize(job.size() - std::strlen(ext));
        open["paras"][0]["path"] = real.string();
        open["paras"][1]["job"] = "";
    }
    call(write(open));
    reply_job(res, job, real.filename().string());
}

// The open job's matrix and profile box, as the page lays out its layer list.
void reply_job(httplib::Response& res, const std::string& job, const std::string& shown)
{
    const Json::Value opened = parse(call(R"({"func":"IS_JOB_OPENED","paras":{"jobname":")" + job + R"("}})"));
    if (!opened["paras"]["status"].asBool())
        return reply_error(res, 422, "The library could not open " + shown + " as a job.");
    const Json::Value matrix = parse(call(R"({"func":"GET_MATRIX","paras":{"job":")" + job + R"("}})"));
    if (!matrix.isObject() || !matrix["paras"].isObject())
        return reply_error(res, 422, "The library could not open " + shown + " as a job.");
    ++g_generation;
    Json::Value out;
    out["job"] = job;
    out["steps"] = matrix["paras"]["steps"];
    out["layers"] = matrix["paras"]["info"];
    if (!out["steps"].empty()) {
        const Json::Value box = parse(call(R"({"func":"PROFILE_BOX","paras":{"job":")" + job + R"(","step":")" +
                                           out["steps"][0].asString() + R"("}})"));
        if (box.isObject()) out["profile"] = box["paras"];
    }
    reply_json(res, out);
}

void list_folder(const httplib::Request& req, httplib::Response& res)
{
    const std::string asked = req.has_param("path") ? req.get_param_value("path") : "";
    Json::Value out;
    if (asked.empty()) {
        for (const auto& r : g_roots) out["entries"].append(r.string());
        out["path"] = "";
        return reply_json(res, out);
    }
    const fs::path real = confine(asked, g_roots);
    if (real.empty()) return reply_error(res, 403, "That path is outside the folders this server may read.");
    std::error_code ec;
    out["path"] = real.string();
    out["entries"] = Json::arrayValue;
    for (const auto& e : fs::directory_iterator(real, ec)) {
        Json::Value row;
        row["name"] = e.path().filename().string();
        row["folder"] = e.is_directory();
        out["entries"].append(row);
    }
    if (ec) return reply_error(res, 404, "That folder cannot be read.");
    reply_json(res, out);
}

// One square tile of `kTile` pixels: at zoom z a pixel is 2^-z mm, tile
// (x, y) covers [x s, (x+1) s] x [y s, (y+1) s] with s = kTile 2^-z mm.
// The library draws a window of a large layer from its spatial index, so a
// tile costs what it shows and each is drawn on its own when first asked.
constexpr int kTile = 256;

std::string tile_name(const std::string& key, long long tx, long long ty)
{
    return std::to_string(std::hash<std::string>()(key + "|" + std::to_string(tx) + "|" + std::to_string(ty))) + ".png";
}

// Draws tile (tx, ty) into the tile cache; false when the library could not.
bool draw_tile(const std::string& key, const std::string& job, const std::string& step, const std::string& layers,
               int z, long long tx, long long ty)
{
    const fs::path tiles = g_scratch / "tiles";
    const double s = kTile * std::ldexp(1.0, -z);
    const std::string name = tile_name(key, tx, ty);
    Json::Value pic;
    pic["func"] = "OUTPUT_PICTURE";
    Json::Value& p = pic["paras"][0];
    p["size"] = kTile;
    p["job"] = job;
    p["step"] = step;
    p["picpath"] = tiles.string();
    p["picname"] = name + ".part";
    p["xmin"] = tx * s;
    p["ymin"] = ty * s;
    p["xmax"] = (tx + 1) * s;
    p["ymax"] = (ty + 1) * s;
    p["layers"] = Json::arrayValue;
    std::stringstream in(layers);
    for (std::string l; std::getline(in, l, ',');)
        if (!l.empty()) p["layers"].append(l);
    if (library_failed(call(write(pic)))) return false;
    std::error_code ec;
    fs::rename(tiles / (name + ".part"), tiles / name, ec);
    return !ec;
}

void tile(const httplib::Request& req, httplib::Response& res)
{
    const std::string job = req.get_param_value("job"), step = req.get_param_value("step"),
                      layers = req.get_param_value("layers");
    int z = 0;
    long long tx = 0, ty = 0;
    try {
        z = std::stoi(req.get_param_value("z"));
        tx = std::stoll(req.get_param_value("x"));
        ty = std::stoll(req.get_param_value("y"));
    } catch (...) {
        return reply_error(res, 400, "A tile needs whole numbers z, x and y.");
    }
    if (z < -20 || z > 20) return reply_error(res, 400, "That zoom is out of range.");
    const std::string key =
        std::to_string(g_generation.load()) + "|" + job + "|" + step + "|" + layers + "|" + std::to_string(z);
    const fs::path tiles = g_scratch / "tiles";
    const std::string name = tile_name(key, tx, ty);
    std::error_code ec;
    if (!fs::exists(tiles / name, ec)) {
        // The same tile asked twice at once is drawn once.
        static std::mutex drawing;
        std::lock_guard<std::mutex> lock(drawing);
        if (!fs::exists(tiles / name, ec) && !draw_tile(key, job, step, layers, z, tx, ty))
            return reply_error(res, 422, "The library could not draw that tile.");
    }
    std::ifstream f(tiles / name, std::ios::binary);
    std::string png((std::istreambuf_iterator<char>(f)), std::istreambuf_iterator<char>());
    res.set_header("Cache-Control", "max-age=3600");
    res.set_content(png, "image/png");
}

// A click at (x, y) in mm picks the topmost feature of the layer there; with
// a second corner (x2, y2) every feature the box catches. At most
// kMostDescribed are described; "count" says how many were picked.
constexpr Json::ArrayIndex kMostDescribed = 200;

void click(const httplib::Request& req, httplib::Response& res)
{
    const Json::Value body = parse(req.body);
    const bool box = body.isObject() && body.isMember("x2") && body.isMember("y2");
    Json::Value sel;
    sel["func"] = "SELECT_FEATURE";
    Json::Value& p = sel["paras"][0];
    p["job"] = body["job"];
    p["step"] = body["step"];
    p["layer"] = body["layer"];
    p["type"] = box ? 1 : 0;
    p["clear"] = true;
    p["selectpolygon"][0]["ix"] = Json::Int64(std::llround(body["x"].asDouble() * 1e6));
    p["selectpolygon"][0]["iy"] = Json::Int64(std::llround(body["y"].asDouble() * 1e6));
    if (box) {
        p["selectpolygon"][1]["ix"] = Json::Int64(std::llround(body["x2"].asDouble() * 1e6));
        p["selectpolygon"][1]["iy"] = Json::Int64(std::llround(body["y2"].asDouble() * 1e6));
    }
    if (library_failed(call(write(sel)))) return reply_error(res, 422, "The library could not pick a feature there.");
    Json::Value get;
    get["func"] = "GET_SELECTED_FEATURE_INFOS";
    get["paras"]["jobname"] = body["job"];
    get["paras"]["stepname"] = body["step"];
    get["paras"]["layername"] = body["layer"];
    const Json::Value info = parse(call(write(get)));
    const Json::Value& all = info["paras"]["featureInfos"];
    Json::Value out;
    out["count"] = all.isArray() ? all.size() : 0;
    out["features"] = Json::arrayValue;
    for (Json::ArrayIndex i = 0; all.isArray() && i < all.size() && i < kMostDescribed; ++i) out["features"].append(all[i]);
    reply_json(res, out);
}

bool ends_with(const std::string& s, const std::string& tail)
{
    return s.size() >= tail.size() && s.compare(s.size() - tail.size(), tail.size(), tail) == 0;
}

// Files dropped onto the page: one ODB++ archive opens as it is; Gerber and
// Excellon files become the layers of a new job (a layer per file, named as
// the file). Every file lands in a fresh folder of the server's scratch
// space under its bare name, whatever path the browser sent.
void upload(const httplib::Request& req, httplib::Response& res)
{
    static std::atomic<int> uploads{0};
    if (req.files.empty()) return reply_error(res, 400, "Drop Gerber and Excellon files, or one ODB++ archive.");
    const std::string job = "upload" + std::to_string(++uploads);
    const fs::path folder = g_scratch / "uploads" / job;
    std::error_code ec;
    fs::create_directories(folder, ec);
    std::vector<fs::path> saved;
    for (const auto& [field, file] : req.files) {
        const std::string name = fs::path(file.filename).filename().string();
        if (name.empty() || name == "." || name == "..")
            return reply_error(res, 400, "A dropped file has no usable name.");
        std::ofstream out(folder / name, std::ios::binary);
        out << file.content;
        if (!out) return reply_error(res, 500, "The server could not keep " + name + ".");
        saved.push_back(folder / name);
    }
    std::string lower = saved.front().filename().string();
    std::transform(lower.begin(), lower.end(), lower.begin(), [](unsigned char c) { return char(std::tolower(c)); });
    if (saved.size() == 1 && (ends_with(lower, ".tgz") || ends_with(lower, ".tar.gz") || ends_with(lower, ".zip") ||
                              ends_with(lower, ".tar"))) {
        Json::Value open;
        open["func"] = "OPEN_JOB";
        open["paras"][0]["path"] = saved.front().string();
        open["paras"][1]["job"] = "";
        call(write(open));
        std::string name = saved.front().filename().string();
        for (const char* ext : {".tgz", ".tar.gz", ".zip", ".tar"})
            if (ends_with(lower, ext)) name.resize(name.size() - std::strlen(ext));
        ++g_generation;
        return reply_job(res, name, saved.front().filename().string());
    }
    Json::Value made;
    Json::Value& m = made["paras"][0];
    m["path"] = folder.string();
    m["job"] = job;
    m["targetDir"] = (g_scratch / "uploads").string();
    call_export("gbr2odb_transform", write(made));
    ++g_generation;
    reply_job(res, job + "_transform", "the dropped files");
}

// A layer exported from the page: Gerber, Excellon, or a picture of the
// shown layers over the box asked for (mm), sent back as a download.
void export_layer(const httplib::Request& req, httplib::Response& res)
{
    const Json::Value body = parse(req.body);
    const std::string format = body["format"].asString(), job = body["job"].asString(),
                      layer = body["layer"].asString();
    if (job.find('/') != std::string::npos || layer.find('/') != std::string::npos)
        return reply_error(res, 400, "A job or layer name has no '/' in it.");
    const fs::path folder = g_scratch / "exports";
    std::error_code ec;
    fs::create_directories(folder, ec);
    std::string file, download;
    if (format == "gerber" || format == "excellon") {
        Json::Value out;
        Json::Value& o = out["paras"][0];
        o["path"] = "";
        o["job"] = job;
        o["step"] = body["step"];
        o["layer"] = layer;
        o["type"] = format == "excellon" ? 1 : 0;
        o["targetDir"] = folder.string();
        const std::string reply = call_export("odb2other_transform", write(out));
        file = job + "_" + layer + "_transform";
        download = layer + (format == "excellon" ? ".drl" : ".gbr");
        if (library_failed(reply)) fs::remove(folder / file, ec);
    } else if (format == "picture") {
        Json::Value pic;
        pic["func"] = "OUTPUT_PICTURE";
        Json::Value& p = pic["paras"][0];
        p["size"] = body["size"].isIntegral() ? std::clamp(body["size"].asInt(), 16, 8192) : 1024;
        p["job"] = job;
        p["step"] = body["step"];
        p["picpath"] = folder.string();
        file = job + "-picture.png";
        p["picname"] = file;
        for (const char* key : {"xmin", "ymin", "xmax", "ymax"}) p[key] = body[key];
        p["layers"] = body["layers"];
        fs::remove(folder / file, ec);
        call(write(pic));
        download = job + ".png";
    } else {
        return reply_error(res, 400, "Export as \"gerber\", \"excellon\" or \"picture\".");
    }
    std::ifstream in(folder / file, std::ios::binary);
    if (!in) return reply_error(res, 422, "The library could not export " + (layer.empty() ? job : layer) + " that way.");
    std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    res.set_header("Content-Disposition", "attachment; filename=\"" + download + "\"");
    res.set_content(bytes, format == "picture" ? "image/png" : "application/octet-stream");
}

void start_check(const httplib::Request& req, httplib::Response& res)
{
    const Json::Value body = parse(req.body);
    const std::string kind = body["kind"].asString();
    const char* func = kind == "drill" ? "DRILL_CHECK" : kind == "signal" ? "SIGNAL_LAYER_CHECK" : nullptr;
    if (!func) return reply_error(res, 400, "Unknown check: ask for \"drill\" or \"signal\".");
    {
        std::lock_guard<std::mutex> lock(g_check.m);
        if (g_check.running) return reply_error(res, 409, "A check is already running.");
        g_check.running = true;
        g_check.kind = kind;
        g_check.reply.clear();
        g_check.error.clear();
        g_check.done = 0;
        g_check.total = 0;
    }
    Json::Value request;
    request["func"] = func;
    request["paras"][0]["job"] = body["job"];
    request["paras"][0]["step"] = body["step"];
    request["paras"][0]["layers"] = body["layers"];
    // The check's own switches and thresholds pass through as the page set them.
    for (const auto& key : body["options"].getMemberNames())
        if (key != "job" && key != "step" && key != "layers") request["paras"][0][key] = body["options"][key];
    std::thread([text = write(request), kind] {
        const std::string reply = call(text);
        std::lock_guard<std::mutex> lock(g_check.m);
        g_check.running = false;
        const Json::Value parsed = parse(reply);
        if (!parsed.isObject() || parsed["analysis_uuid"].asString().empty())
            g_check.error = "The " + kind + " check gave no findings: the library answered \"" +
                            reply.substr(0, reply.find_last_not_of("\n") + 1) + "\".";
        else
            g_check.reply = reply;
    }).detach();
    Json::Value out;
    out["started"] = kind;
    reply_json(res, out, 202);
}

void check_status(const httplib::Request&, httplib::Response& res)
{
    std::lock_guard<std::mutex> lock(g_check.m);
    Json::Value out;
    out["kind"] = g_check.kind;
    out["running"] = g_check.running;
    out["done"] = Json::Int64(g_check.done.load());
    out["total"] = Json::Int64(g_check.total.load());
    if (!g_check.error.empty()) out["error"] = g_check.error;
    if (!g_check.reply.empty()) out["result"] = parse(g_check.reply);
    reply_json(res, out);
}

void findings(const httplib::Request& req, httplib::Response& res)
{
    Json::Value q;
    q["uuid"] = req.get_param_value("uuid");
    try {
        q["analysis_type"] = std::stoi(req.get_param_value("type"));
        q["page"] = std::stoi(req.get_param_value("page"));
        Json::Value& sub = q["filter"][0]["subfilter"][0];
        q["filter"][0]["layer"] = req.get_param_value("layer");
        sub["item"] = req.get_param_value("item");
        sub["level"] = std::stoi(req.get_param_value("level"));
        sub["count"] = std::stoi(req.has_param("count") ? req.get_param_value("count") : "20");
    } catch (...) {
        return reply_error(res, 400, "A page of findings needs whole numbers type, page and level.");
    }
    const std::string page = call_export("get_jw_analysis_result", write(q));
    Json::Value out;
    out["page"] = page.empty() ? Json::Value(Json::arrayValue) : parse(page);
    reply_json(res, out);
}

// The library's progress lines arrive on a pipe; the latest figures are kept
// for the page to poll.
void read_progress(int fd)
{
    FILE* in = fdopen(fd, "r");
    if (!in) return;
    char line[128];
    while (std::fgets(line, sizeof line, in)) {
        long long done = 0, total = 0;
        if (std::sscanf(line, "progress %lld %lld", &done, &total) == 2) {
            g_check.done = done;
            g_check.total = total;
        }
    }
}

int usage()
{
    std::cerr << "usage: kesto serve [--config DIR] [--port N] [--root DIR]... [--web DIR]\n"
                 "  --port N     listen on 127.0.0.1:N (0: any free port; default 8080)\n"
                 "  --root DIR   a folder the page may open jobs from (repeatable; default: the current folder)\n";
    return 2;
}

} // namespace

int run(const std::vector<std::string>& args, std::string config_dir, const std::function<bool(const std::string&)>& start)
{
    int port = 8080;
    std::vector<std::string> roots;
    std::string web = std::string(KESTO_SOURCE_DIR) + "/web";
    for (size_t i = 0; i < args.size(); ++i) {
        const bool has = i + 1 < args.size();
        if (args[i] == "--port" && has) {
            port = std::atoi(args[++i].c_str());
        } else if (args[i] == "--root" && has) {
            roots.push_back(args[++i]);
        } else if (args[i] == "--config" && has) {
            config_dir = args[++i];
        } else if (args[i] == "--web" && has) {
            web = args[++i];
        } else {
            return usage();
        }
    }
    if (roots.empty()) roots.push_back(".");
    for (const auto& r : roots) {
        std::error_code ec;
        const fs::path real = fs::canonical(r, ec);
        if (ec || !fs::is_directory(real)) {
            std::cerr << "kesto serve: no folder " << r << "\n";
            return 1;
        }
        g_roots.push_back(real);
    }
    web = fs::absolute(web).string();
    char tmpl[] = "/tmp/kesto-serve-XXXXXX";
    if (!mkdtemp(tmpl)) {
        std::cerr << "kesto serve: cannot make a scratch folder\n";
        return 1;
    }
    g_scratch = tmpl;
    fs::create_directories(g_scratch / "tiles");

    int ends[2];
    if (pipe(ends) == 0) {
        fcntl(ends[0], F_SETFD, FD_CLOEXEC);
        setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
        std::thread(read_progress, ends[0]).detach();
    }
    if (!start(config_dir)) return 1;

    httplib::Server server;
    if (!server.set_mount_point("/", web)) {
        std::cerr << "kesto serve: no page folder " << web << "\n";
        return 1;
    }
    server.Get("/api/list", list_folder);
    server.Post("/api/open", open_job);
    server.Get("/api/tile", tile);
    server.Post("/api/click", click);
    server.Post("/api/upload", upload);
    server.Post("/api/export", export_layer);
    server.Post("/api/check", start_check);
    server.Get("/api/check", check_status);
    server.Get("/api/findings", findings);

    const int bound = port == 0 ? server.bind_to_any_port("127.0.0.1") : (server.bind_to_port("127.0.0.1", port) ? port : -1);
    if (bound < 0) {
        std::cerr << "kesto serve: cannot listen on 127.0.0.1:" << port << "\n";
        return 1;
    }
    std::cout << "kesto serve: listening on http://127.0.0.1:" << bound << "/" << std::endl;
    server.listen_after_bind();
    return 0;
}

} // namespace kesto::serve
