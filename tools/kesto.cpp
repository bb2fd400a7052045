// kesto: a command-line host for libkesto_ctype.
//
//   kesto [--config DIR] run [FILE]        send each JSON line through process
//   kesto [--config DIR] call NAME JSON    call one export by name
//   kesto commands                         list the joint command table
//   kesto [--config DIR] demo              the project's demonstration job
//   kesto [--config DIR] db ...            administer the job database (db_admin.cpp)
//   --quiet                                no copy of the log on standard error
//
// On a terminal the host draws the progress of long commands on standard
// error (the library's KESTO_PROGRESS_FD lines); piped, it stays silent.
#include "adaptor/exports.h"
#include "tools/serve.h"

#include <cairo.h>
#include <glog/logging.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdint>
#include <cstring>
#include <exception>
#include <fstream>
#include <iostream>
#include <map>
#include <thread>
#include <string>
#include <vector>

int db_admin(const std::string& config_dir, const std::vector<std::string>& args);

namespace {

int usage()
{
    std::cerr << "usage: kesto [--config DIR] run [FILE]\n"
                 "       kesto [--config DIR] call NAME JSON\n"
                 "       kesto [--config DIR] demo\n"
                 "       kesto [--config DIR] db add-user NAME | set-password NAME | jobs\n"
                 "       kesto [--config DIR] serve [--port N] [--root DIR]...\n"
                 "       kesto commands\n"
                 "  --config DIR  read ./config.json from DIR (the library's working directory)\n"
                 "  --quiet       keep the library's log records off standard error\n";
    return 2;
}

void print_reply(const char* reply)
{
    if (!reply) {
        std::cout << "(no reply)\n";
        return;
    }
    std::cout << reply;
    const size_t n = std::strlen(reply);
    if (n == 0 || reply[n - 1] != '\n') std::cout << '\n';
    std::cout.flush();
}

bool g_quiet = false;

bool start(const std::string& config_dir)
{
    if (!config_dir.empty() && chdir(config_dir.c_str()) != 0) {
        std::cerr << "kesto: cannot enter " << config_dir << ": " << std::strerror(errno) << "\n";
        return false;
    }
    if (access("config.json", R_OK) != 0) {
        char cwd[4096];
        std::cerr << "kesto: no readable config.json in " << (getcwd(cwd, sizeof cwd) ? cwd : "?") << "\n";
        return false;
    }
    bool ok = false;
    // The library copies its records to standard error from its first one on;
    // a quiet host keeps even those of start-up off it.
    const int saved_stderr = g_quiet ? dup(2) : -1;
    if (saved_stderr >= 0) {
        const int null = open("/dev/null", O_WRONLY);
        if (null >= 0) {
            dup2(null, 2);
            close(null);
        }
    }
    auto restore_stderr = [&] {
        if (saved_stderr < 0) return;
        dup2(saved_stderr, 2);
        close(saved_stderr);
    };
    try {
        ok = init();
        restore_stderr();
    } catch (const std::exception& e) {
        restore_stderr();
        std::cerr << "kesto: the library could not start: " << e.what() << "\n";
        return false;
    }
    if (!ok) {
        std::cerr << "kesto: the library could not start (init returned false; is config.json valid JSON?)\n";
        return false;
    }
    if (g_quiet) {
        google::SetStderrLogging(google::GLOG_FATAL);
        // With an empty "log_path" the library writes no log files, and glog,
        // never set up, sends every record to standard error: quiet drops them.
        if (!google::IsGoogleLoggingInitialized()) FLAGS_minloglevel = google::GLOG_FATAL;
    }
    init_log(0);
    init_func_map();
    init_orig_func_map();
    return true;
}

// With `narrate` (the demonstration), "#" lines are told to the reader and
// each request is shown before its reply.
int run_lines(std::istream& in, bool narrate = false)
{
    std::string line;
    int failures = 0;
    while (std::getline(in, line)) {
        const size_t first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos) continue;
        if (line[first] == '#') {
            if (narrate) std::cout << (line.size() > first + 1 ? line.substr(first + 1) : "") << "\n";
            continue;
        }
        if (narrate) std::cout << "  > " << line.substr(first) << "\n  < ";
        try {
            print_reply(process(line.c_str()));
        } catch (const std::exception& e) {
            std::cout << "(exception: " << e.what() << ")\n";
            ++failures;
        }
    }
    return failures ? 1 : 0;
}

// The share of pixels two PNG pictures of one size have alike; -1 when
// either cannot be read or their sizes differ.
double alike(const std::string& a, const std::string& b)
{
    cairo_surface_t* x = cairo_image_surface_create_from_png(a.c_str());
    cairo_surface_t* y = cairo_image_surface_create_from_png(b.c_str());
    double share = -1;
    const int w = cairo_image_surface_get_width(x), h = cairo_image_surface_get_height(x);
    if (cairo_surface_status(x) == CAIRO_STATUS_SUCCESS && cairo_surface_status(y) == CAIRO_STATUS_SUCCESS &&
        w == cairo_image_surface_get_width(y) && h == cairo_image_surface_get_height(y) && w > 0 && h > 0) {
        cairo_surface_flush(x);
        cairo_surface_flush(y);
        long same = 0;
        for (int r = 0; r < h; ++r) {
            const auto* p = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(x) + r * cairo_image_surface_get_stride(x));
            const auto* q = reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(y) + r * cairo_image_surface_get_stride(y));
            for (int c = 0; c < w; ++c) same += p[c] == q[c];
        }
        share = double(same) / (double(w) * h);
    }
    cairo_surface_destroy(x);
    cairo_surface_destroy(y);
    return share;
}

// The demonstration's last word: each layer pictured from its export read
// back against the picture of the layer itself.
int compare_round_trip()
{
    std::cout << "\n == The exports read back give the same pictures as the layers they came from\n";
    int failures = 0;
    for (const char* name : {"top", "bottom", "outline", "drill", "stack"}) {
        const std::string first = std::string("out/") + name + ".png", again = std::string("out/re-") + name + ".png";
        const double share = alike(first, again);
        char line[160];
        std::snprintf(line, sizeof line, "  %-12s %-15s %7.3f%% of pixels alike\n", (std::string(name) + ".png").c_str(),
                      ("re-" + std::string(name) + ".png").c_str(), 100 * share);
        std::cout << (share < 0 ? "  " + first + " or " + again + " could not be read\n" : std::string(line));
        failures += share < 0.999;
    }
    std::cout << "\n == Done: the pictures and exports are in examples/out/.\n";
    return failures ? 1 : 0;
}

using Handler = char* (*)(const char*);

Handler find_export(const std::string& name)
{
    Dl_info info{};
    if (!dladdr(reinterpret_cast<void*>(&process), &info) || !info.dli_fname) return nullptr;
    void* lib = dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD);
    if (!lib) return nullptr;
    return reinterpret_cast<Handler>(dlsym(lib, name.c_str()));
}

int list_commands()
{
    std::map<std::string, std::string> joint;
#define KESTO_LIST_ROW(command, handler) joint[command] = #handler;
    KESTO_FIRST_TABLE(KESTO_LIST_ROW)
    KESTO_SECOND_TABLE(KESTO_LIST_ROW)
#undef KESTO_LIST_ROW
    for (const auto& row : joint) std::cout << row.first << "\t" << row.second << "\n";
    return 0;
}

std::string demo_file()
{
    const char* env = std::getenv("KESTO_DEMO");
    if (env) return env;
    return std::string(KESTO_SOURCE_DIR) + "/examples/demo.jsonl";
}

// Reads the library's progress lines from a pipe and draws a bar on the
// terminal; the bar is wiped when the operation ends.
void show_progress_on_terminal()
{
    if (g_quiet || !isatty(2) || std::getenv("KESTO_PROGRESS_FD")) return;
    int ends[2];
    if (pipe(ends) != 0) return;
    setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
    std::thread([fd = ends[0]] {
        FILE* in = fdopen(fd, "r");
        if (!in) return;
        char line[128];
        while (std::fgets(line, sizeof line, in)) {
            double done = 0, total = 0;
            if (std::sscanf(line, "progress %lf %lf", &done, &total) == 2 && total > 0) {
                const int width = 30, filled = int(width * std::min(1.0, done / total));
                std::fprintf(stderr, "\r\033[K  [%s%s] %3.0f%%", std::string(filled, '#').c_str(),
                             std::string(width - filled, '.').c_str(), 100 * std::min(1.0, done / total));
            } else {
                std::fprintf(stderr, "\r\033[K");
            }
            std::fflush(stderr);
        }
    }).detach();
}

} // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    std::string config_dir;
    while (!args.empty() && args[0].rfind("--", 0) == 0) {
        if (args[0] == "--quiet") {
            g_quiet = true;
            args.erase(args.begin());
        } else if (args[0] == "--config" && args.size() >= 2) {
            config_dir = args[1];
            args.erase(args.begin(), args.begin() + 2);
        } else {
            return usage();
        }
    }
    if (args.empty()) return usage();
    const std::string verb = args[0];
    if (verb == "serve") return kesto::serve::run({args.begin() + 1, args.end()}, config_dir, start);
    show_progress_on_terminal();

    if (verb == "commands") return list_commands();
    if (verb == "db") return db_admin(config_dir, std::vector<std::string>(args.begin() + 1, args.end()));
    if (verb == "run" || verb == "demo") {
        std::string file = verb == "demo" ? demo_file() : (args.size() > 1 ? args[1] : "-");
        std::ifstream in;
        if (file != "-") {
            in.open(file);
            if (!in) {
                std::cerr << "kesto: cannot read " << file << "\n";
                return 1;
            }
        }
        if (!start(config_dir)) return 1;
        if (verb == "demo") {
            // The demonstration writes its pictures and exports here.
            if (mkdir("out", 0777) != 0 && errno != EEXIST) {
                std::cerr << "kesto: cannot make out/: " << std::strerror(errno) << "\n";
                return 1;
            }
            const int failed = run_lines(in, true);
            return compare_round_trip() | failed;
        }
        return run_lines(file == "-" ? std::cin : in);
    }
    if (verb == "call") {
        if (args.size() != 3) return usage();
        Handler handler = find_export(args[1]);
        if (!handler) {
            std::cerr << "kesto: the library exports no function named " << args[1] << "\n";
            return 1;
        }
        if (!start(config_dir)) return 1;
        try {
            print_reply(handler(args[2].c_str()));
        } catch (const std::exception& e) {
            std::cerr << "kesto: " << args[1] << " threw: " << e.what() << "\n";
            return 1;
        }
        return 0;
    }
    return usage();
}
