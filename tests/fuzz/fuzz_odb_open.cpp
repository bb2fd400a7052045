// Arbitrary bytes as an ODB++ job archive (job.tgz) opened from a folder.
#include "engine/api/jobs.h"
#include "tests/fuzz/fuzz_support.h"

#include <cstdint>
#include <cstdio>

namespace {
std::string g_dir;
}

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    kesto::fuzz::quiet_logging();
    g_dir = kesto::fuzz::enter_scratch();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string archive = g_dir + "/job.tgz";
    std::FILE* f = std::fopen(archive.c_str(), "wb");
    if (!f) std::abort();
    std::fwrite(data, 1, size, f);
    std::fclose(f);
    if (KESTO::API::open_job(g_dir, "job")) KESTO::API::close_job("job");
    return 0;
}
