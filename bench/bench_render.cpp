// Importing a Gerber file and rendering it to PNG at 1000 dpi, through the
// library as a host drives it, and the same work done by gerbv (run as a
// program) for comparison. The files are the demonstration board's copper
// layers (the bottom one is a ground pour with clearances) and a large board
// generated here.
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

std::string scratch();

// A large board of our own: 150 mm square of tracks and pads, 5906 pixels a
// side at 1000 dpi, where writing the picture outweighs reading the file.
std::string large_board()
{
    static const std::string path = [] {
        const std::string file = scratch() + "/large.gbr";
        std::ofstream out(file);
        out << "%FSLAX46Y46*%\n%MOMM*%\n%ADD10C,0.200000*%\n%ADD11R,1.500000X1.000000*%\n";
        std::uint32_t seed = 3;
        auto next = [&seed](int range) { return int((seed = seed * 1664525u + 1013904223u) >> 8) % range; };
        for (int i = 0; i < 20000; ++i) {
            const long x = next(148000000) + 1000000, y = next(148000000) + 1000000;
            out << "D10*\nX" << x << "Y" << y << "D02*\nX" << x + next(4000000) << "Y" << y << "D01*\n";
            out << "D11*\nX" << x << "Y" << y + 1500000 << "D03*\n";
        }
        out << "M02*\n";
        return file;
    }();
    return path;
}

// 0 and 1: the demonstration board's top and bottom copper; 2: the large board.
std::string board_file(int layer)
{
    if (layer == 2) return large_board();
    return source_dir() + (layer == 0 ? "/examples/board/demo-top.gbr" : "/examples/board/demo-bottom.gbr");
}

// The window's side in millimetres, a millimetre round the board.
double window_mm(int layer) { return layer == 2 ? 152 : 52; }

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

int pixels(int layer) { return int(window_mm(layer) / 25.4 * 1000 + 0.5); }

void BM_KestoImportAndRender(benchmark::State& state)
{
    if (!started()) {
        state.SkipWithError("the library did not start");
        return;
    }
    const int board = int(state.range(0));
    const std::string translate = R"({"func":"FILE_TRANSLATE","paras":{"path":")" + board_file(board) +
                                  R"(","job":"bench","step":"pcb","layer":"l","parameters":{"format":"None"}}})";
    const std::string picture = R"({"func":"OUTPUT_PICTURE","paras":[{"size":)" + std::to_string(pixels(board)) +
                                R"(,"job":"bench","step":"pcb","xmin":-1,"ymin":-1,"xmax":)" +
                                std::to_string(window_mm(board) - 1) + R"(,"ymax":)" +
                                std::to_string(window_mm(board) - 1) + R"(,"picpath":")" +
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
BENCHMARK(BM_KestoImportAndRender)->Arg(0)->Arg(1)->Arg(2)->ArgName("board")->Unit(benchmark::kMillisecond);

void BM_GerbvImportAndRender(benchmark::State& state)
{
    if (std::system("command -v gerbv >/dev/null 2>&1") != 0) {
        state.SkipWithError("gerbv is not installed");
        return;
    }
    const int board = int(state.range(0));
    // The same window: -W in inches (gerbv caps -w at 2000 pixels), no border.
    const std::string command = "gerbv -x png -D 1000 -B 0 -b '#000000' -O " + std::to_string(-1 / 25.4) + "x" +
                                std::to_string(-1 / 25.4) + " -W " + std::to_string(window_mm(board) / 25.4) + "x" +
                                std::to_string(window_mm(board) / 25.4) + " -o " + scratch() + "/gerbv.png " +
                                board_file(board) + " >/dev/null 2>&1";
    for (auto _ : state)
        if (std::system(command.c_str()) != 0) {
            state.SkipWithError("gerbv failed");
            return;
        }
}
BENCHMARK(BM_GerbvImportAndRender)->Arg(0)->Arg(1)->Arg(2)->ArgName("board")->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
