// Arbitrary bytes as a file a host hands over: identified, then translated
// into a layer of a scratch job with what identification found.
#include "engine/api/exchange.h"
#include "engine/api/jobs.h"
#include "tests/fuzz/fuzz_support.h"

#include <cstdint>
#include <cstdio>

namespace {
std::string g_file;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    kesto::fuzz::quiet_logging();
    const std::string dir = kesto::fuzz::enter_scratch();
    g_file = dir + "/input.gbr";
    if (!KESTO::API::create_job(dir, "fuzz") || !KESTO::API::create_step("fuzz", "pcb", 0)) std::abort();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    std::FILE* f = std::fopen(g_file.c_str(), "wb");
    if (!f) std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    std::string name, format;
    KESTO::API::file_Parameters parameters;
    KESTO::API::file_identify(g_file, name, parameters, format);
    KESTO::API::time start, end;
    std::map<int, int> dcodes;
    std::vector<KESTO::API::translate_report> reports;
    KESTO::API::file_translate(g_file, "fuzz", "pcb", "input", parameters, start, end, dcodes, reports);
    return 0;
}
