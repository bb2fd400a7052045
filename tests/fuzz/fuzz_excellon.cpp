// Excellon drill and rout text straight into the reader.
#include "engine/api/exchange.h"
#include "tests/fuzz/fuzz_support.h"

#include <cstdint>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    kesto::fuzz::quiet_logging();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string text(reinterpret_cast<const char*>(data), size);
    kesto::excellon::ReadOptions options;
    options.file_name = "fuzz.drl";
    kesto::Layer layer;
    kesto::Reports reports;
    kesto::excellon::read(text, options, layer, reports);
    return 0;
}
