// Importing a Gerber file and rendering it to PNG at 1000 dpi, through the
// library as a host drives it, and the same work done by gerbv (run as a
// program) for comparison. The files are the demonstration board's copper
// layers: the bottom one is a ground pour with clearances.
#include "adaptor/exports.h"

#include <benchmark/benchmark.h>
#include <glog/logging.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

// KESTO_TESTDATA is the source folder followed by this.
std::string source_dir()
{
    const std::string data = KESTO_TESTDATA, tail = "/../shared/testdata";
    return data.substr(0, data.size() - tail.size());
}

std::string board_file(int layer)
{
    return source_dir() + (layer == 0 ? "/examples/board/demo-top.gbr" : "/examples/board/demo-bottom.gbr");
}

std::string scratch()
{
    static const std::string dir = [] {
        static char name[] = "/tmp/kesto_bench_render_XXXXXX";
        if (!mkdtemp(name)) return std::string("/tmp");
        std::atexit([] { std::system(("rm -rf '" + std::string(name) + "'").c_str()); });
        return std::string(name);
    }();
    return dir;
}

bool started()
{
    static const bool ok = [] {
        if (chdir(scratch().c_str()) != 0) return false;
        std::ofstream(scratch() + "/config.json") << R"({"log_path":""})";
        if (!init()) return false;
        google::SetStderrLogging(google::GLOG_FATAL);
        FLAGS_minloglevel = google::GLOG_ERROR;
        init_func_map();
        init_orig_func_map();
        return std::string(process(R"({"func":"CREATE_JOB","paras":{"path":"","job":"bench"}})")) == "OK" &&
               std::string(process(R"({"func":"CREATE_STEP","paras":{"jobname":"bench","stepname":"pcb","index":1}})")) == "OK";
    }();
    return ok;
}

// The board is 50 x 35 mm with a millimetre around it: 52 mm square at 1000 dpi.
constexpr int kPixels = int(52 / 25.4 * 1000 + 0.5);

void BM_KestoImportAndRender(benchmark::State& state)
{
    if (!started()) {
        state.SkipWithError("the library did not start");
        return;
    }
    const std::string translate = R"({"func":"FILE_TRANSLATE","paras":{"path":")" + board_file(int(state.range(0))) +
                                  R"(","job":"bench","step":"pcb","layer":"l","parameters":{"format":"None"}}})";
    const std::string picture = R"({"func":"OUTPUT_PICTURE","paras":[{"size":)" + std::to_string(kPixels) +
                                R"(,"job":"bench","step":"pcb","xmin":-1,"ymin":-1,"xmax":51,"ymax":51,"picpath":")" +
                                scratch() + R"(","picname":"kesto.png","layers":["l"]}]})";
    for (auto _ : state) {
        const std::string reply = process(translate.c_str());
        if (reply.find("\"result\":true") == std::string::npos) {
            state.SkipWithError(("translation failed: " + reply).c_str());
            return;
        }
        if (std::string(process(picture.c_str())) != "OK") {
            state.SkipWithError("the picture failed");
            return;
        }
    }
}
BENCHMARK(BM_KestoImportAndRender)->Arg(0)->Arg(1)->ArgName("bottom")->Unit(benchmark::kMillisecond);

void BM_GerbvImportAndRender(benchmark::State& state)
{
    if (std::system("command -v gerbv >/dev/null 2>&1") != 0) {
        state.SkipWithError("gerbv is not installed");
        return;
    }
    // The same window: -W in inches (gerbv caps -w at 2000 pixels), no border.
    const std::string command = "gerbv -x png -D 1000 -B 0 -b '#000000' -O " + std::to_string(-1 / 25.4) + "x" +
                                std::to_string(-1 / 25.4) + " -W " + std::to_string(52 / 25.4) + "x" +
                                std::to_string(52 / 25.4) + " -o " + scratch() + "/gerbv.png " +
                                board_file(int(state.range(0))) + " >/dev/null 2>&1";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("gerbv failed");
            return;
        }
}
BENCHMARK(BM_GerbvImportAndRender)->Arg(0)->Arg(1)->ArgName("bottom")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
