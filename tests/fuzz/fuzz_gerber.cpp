// Gerber text straight into the reader.
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
    kesto::gerber::ReadOptions options;
    options.file_name = "fuzz.gbr";
    kesto::Layer layer;
    kesto::UserSymbols symbols;
    kesto::Reports reports;
    kesto::gerber::read(text, options, layer, symbols, reports);
    return 0;
}
