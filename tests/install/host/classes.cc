// A C++ host that uses the exported classes from the installed headers.
#include <kesto/kesto_classes.hpp>
#include <cstdio>

int main()
{
    KESTO::Cache::common_cache* cache = KESTO::Cache::common_cache::instance();
    std::printf("drill layers cached: %zu\n", cache->getDrillResult().size());
    return cache == KESTO::Cache::common_cache::instance() ? 0 : 1;
}
