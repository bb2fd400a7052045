// The shared library exports exactly its documented interface.
#include "adaptor/exports.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>

namespace {

std::set<std::string> documented()
{
    std::set<std::string> names;
#define KESTO_NAME_ROW(command, handler) names.insert(#handler);
#define KESTO_NAME_FN(handler) names.insert(#handler);
    KESTO_FRAME_ENTRIES(KESTO_NAME_FN)
    KESTO_FIRST_TABLE(KESTO_NAME_ROW)
    KESTO_SECOND_TABLE(KESTO_NAME_ROW)
    KESTO_EXPORT_ONLY(KESTO_NAME_FN)
#undef KESTO_NAME_ROW
#undef KESTO_NAME_FN
    return names;
}

TEST(Exports, TheLibraryExportsEveryHandlerAndNothingElseOfItsOwn)
{
    const std::string command = std::string("nm -D --defined-only ") + KESTO_LIBRARY;
    FILE* nm = popen(command.c_str(), "r");
    ASSERT_NE(nm, nullptr);
    std::set<std::string> plain;
    char line[4096];
    while (fgets(line, sizeof line, nm)) {
        std::string text(line);
        const size_t space = text.rfind(' ');
        std::string name = text.substr(space + 1);
        name.pop_back();
        // Mangled names may only belong to the two exported classes.
        if (name.rfind("_Z", 0) == 0) {
            EXPECT_TRUE(name.find("common_cache") != std::string::npos ||
                        name.find("JWAnalysisFilter") != std::string::npos)
                << name;
            continue;
        }
        plain.insert(name);
    }
    pclose(nm);
    const std::set<std::string> expected = documented();
    EXPECT_EQ(expected.size(), 347u);
    for (const auto& name : expected) EXPECT_TRUE(plain.count(name)) << name << " is not exported";
    for (const auto& name : plain) EXPECT_TRUE(expected.count(name)) << name << " is exported but undocumented";
}

} // namespace
