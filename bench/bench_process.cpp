// Cost of one call through process: parsing, the table lookup, and a handler
// that parses the request again. Run with logging to files (as hosts run) and
// with INFO records switched off, to see the dispatch cost alone.
#include "adaptor/exports.h"

#include <benchmark/benchmark.h>
#include <glog/logging.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <unistd.h>

namespace {

const char* kRequest =
    R"({"func":"SET_CONFIG_PATH","paras":{"path":"/tmp/kesto-bench-resources"}})";
const char* kUnknown = R"({"func":"NO_SUCH_COMMAND","paras":[{"job":"a"}]})";

void start_library()
{
    static bool started = [] {
        char dir[] = "/tmp/kesto-bench-XXXXXX";
        if (!mkdtemp(dir) || chdir(dir) != 0) std::abort();
        std::ofstream("config.json") << R"({"log_path":"./log"})";
        init();
        init_func_map();
        init_orig_func_map();
        FLAGS_logtostderr = false;
        google::SetStderrLogging(google::GLOG_FATAL);
        return true;
    }();
    (void)started;
}

void run(benchmark::State& state, const char* request, bool info_records)
{
    start_library();
    FLAGS_minloglevel = info_records ? google::GLOG_INFO : google::GLOG_WARNING;
    for (auto _ : state) benchmark::DoNotOptimize(process(request));
    FLAGS_minloglevel = google::GLOG_INFO;
}

void BM_process_handler_logged(benchmark::State& s) { run(s, kRequest, true); }
void BM_process_handler_quiet(benchmark::State& s) { run(s, kRequest, false); }
void BM_process_unknown_quiet(benchmark::State& s) { run(s, kUnknown, false); }

} // namespace

BENCHMARK(BM_process_handler_logged);
BENCHMARK(BM_process_handler_quiet);
BENCHMARK(BM_process_unknown_quiet);
BENCHMARK_MAIN();
