// The demonstration job, run by the host program in a copy of examples/.
#include "support/test_support.h"

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <cstdlib>

using namespace kesto::test;
namespace fs = boost::filesystem;

TEST(ExchangeDemo, RunsThroughWithoutAnErrorAndLeavesItsPictures)
{
    TempDir dir;
    const fs::path examples = fs::path(KESTO_SOURCE_DIR) / "examples";
    fs::copy_file(examples / "config.json", fs::path(dir.path()) / "config.json");
    fs::create_directories(dir / "board");
    for (fs::directory_iterator it(examples / "board"), end; it != end; ++it)
        fs::copy_file(it->path(), fs::path(dir / "board") / it->path().filename());
    const std::string command = std::string("KESTO_DEMO='") + (examples / "demo.jsonl").string() + "' '" + KESTO_HOST +
                                "' --quiet --config '" + dir.path() + "' demo > '" + (dir / "said.txt") + "' 2>/dev/null";
    ASSERT_EQ(std::system(command.c_str()), 0);
    const std::string said = read_file(dir / "said.txt");
    EXPECT_EQ(said.find("< ERROR"), std::string::npos) << said;
    EXPECT_EQ(said.find("\"result\":false"), std::string::npos) << said;
    EXPECT_NE(said.find("== Done"), std::string::npos);
    EXPECT_NE(said.find("re-stack.png    100.000% of pixels alike"), std::string::npos) << said;
    for (const char* picture : {"top.png", "bottom.png", "outline.png", "drill.png", "stack.png", "re-stack.png"})
        EXPECT_GT(fs::file_size(fs::path(dir / "out") / picture), 1000u) << picture;
    // The board went out and came back whole: the same tool table twice.
    const size_t first = said.find("\"vecDrillTools\""), second = said.find("\"vecDrillTools\"", first + 1);
    ASSERT_NE(second, std::string::npos);
    EXPECT_EQ(said.substr(first, said.find('\n', first) - first), said.substr(second, said.find('\n', second) - second));
}
