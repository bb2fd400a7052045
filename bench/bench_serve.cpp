// Tiles of the viewer, asked over HTTP of a running `kesto serve` with the
// sample job open: a signal layer (layer-1) at 8 px/mm and finer, drawn by
// the library on first asking, then the same tiles served from the cache.
#include <benchmark/benchmark.h>
#include <httplib.h>

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

struct Served {
    pid_t pid = -1;
    int port = 0;
    std::string dir;
    Served()
    {
        char name[] = "/tmp/kesto_bench_serve_XXXXXX";
        dir = mkdtemp(name) ? name : "/tmp";
        std::system(("tar -xzf '" KESTO_TESTDATA "/odb/sample_design.tgz' -C '" + dir + "' && mkdir -p '" + dir +
                     "/config' && echo '{\"log_path\":\"\",\"gmsg_pass\":\"OK\",\"gmsg_error\":\"ERROR\"}' > '" + dir +
                     "/config/config.json'").c_str());
        int out[2];
        if (pipe(out) != 0) return;
        pid = fork();
        if (pid == 0) {
            dup2(out[1], 1);
            execl(KESTO_HOST, KESTO_HOST, "--quiet", "--config", (dir + "/config").c_str(), "serve", "--port", "0",
                  "--root", dir.c_str(), nullptr);
            _exit(127);
        }
        close(out[1]);
        FILE* in = fdopen(out[0], "r");
        char line[256] = {};
        if (std::fgets(line, sizeof line, in)) std::sscanf(line, "kesto serve: listening on http://127.0.0.1:%d", &port);
        httplib::Client c("127.0.0.1", port);
        c.set_read_timeout(60, 0);
        c.Post("/api/open", R"({"path":"sample_design"})", "application/json");
        c.Get("/api/tile?job=sample_design&step=step&layers=layer-1&z=0&x=-1&y=0"); // the layer's first drawing
    }
    ~Served()
    {
        if (pid > 0) kill(pid, SIGTERM), waitpid(pid, nullptr, 0);
        std::system(("rm -rf '" + dir + "'").c_str());
    }
};

Served& served()
{
    static Served s;
    return s;
}

// The board spans x -167..0 mm and y 0..134 mm: at z=2 a tile is 64 mm, so
// tiles x -3..-1, y 0..2 cover it.
std::string tile_path(int z, int i)
{
    return "/api/tile?job=sample_design&step=step&layers=layer-1&z=" + std::to_string(z) + "&x=" +
           std::to_string(-3 + i % 3) + "&y=" + std::to_string((i / 3) % 3);
}

// Tiles never asked before, each drawn by the library and served: at z=4 a
// tile is 16 mm, and the board's 11 x 9 tiles are taken in turn, dense
// middles and sparse edges alike. The layer's index was built by the first
// drawing in the set-up.
void BM_NewTileDrawnAndServed(benchmark::State& state)
{
    httplib::Client c("127.0.0.1", served().port);
    c.set_read_timeout(60, 0);
    static int next = 0; // runs on across repetitions, so every tile is new
    for (auto _ : state) {
        const int i = next++;
        const std::string path = "/api/tile?job=sample_design&step=step&layers=layer-1&z=4&x=" +
                                 std::to_string(-11 + i % 11) + "&y=" + std::to_string((i / 11) % 9);
        auto r = c.Get(path.c_str());
        if (!r || r->status != 200) state.SkipWithError("no tile");
    }
}
BENCHMARK(BM_NewTileDrawnAndServed)->Unit(benchmark::kMillisecond)->Iterations(15)->Repetitions(5)->ReportAggregatesOnly(true);

void BM_TileFromCache(benchmark::State& state)
{
    httplib::Client c("127.0.0.1", served().port);
    for (int i = 0; i < 9; ++i) c.Get(tile_path(2, i).c_str());
    int i = 0;
    for (auto _ : state) {
        auto r = c.Get(tile_path(2, i++ % 9).c_str());
        if (!r || r->status != 200) state.SkipWithError("no tile");
    }
}
BENCHMARK(BM_TileFromCache)->Unit(benchmark::kMillisecond)->Repetitions(3)->ReportAggregatesOnly(true);

} // namespace

BENCHMARK_MAIN();
