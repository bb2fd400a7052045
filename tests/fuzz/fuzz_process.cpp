// Requests as a host sends them, through process. Requests that name an
// absolute path, a parent directory or an escaped character are skipped so
// that whatever a command writes or deletes stays in the scratch directory.
#include "adaptor/exports.h"
#include "tests/fuzz/fuzz_support.h"

#include <json/json.h>

#include <cstdint>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    kesto::fuzz::quiet_logging();
    kesto::fuzz::enter_scratch();
    init_func_map();
    init_orig_func_map();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string request(reinterpret_cast<const char*>(data), size);
    if (request.find('/') != std::string::npos || request.find("..") != std::string::npos ||
        request.find('\\') != std::string::npos)
        return -1;
    try {
        process(request.c_str());
    } catch (const Json::Exception&) {
        // A "func" that is no string reaches the host by design.
    }
    return 0;
}
