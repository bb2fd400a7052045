// The Gerber reader on the shared real-world cases and on hand-made files
// for what those cases leave out.
#include "engine/api/exchange.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <cmath>

namespace kesto {
namespace {

std::vector<std::string> cases(const std::string& extension)
{
    std::vector<std::string> out;
    const std::string root = std::string(KESTO_TESTDATA) + "/gerber";
    DIR* top = opendir(root.c_str());
    if (!top) return out;
    while (dirent* group = readdir(top)) {
        if (group->d_name[0] == '.') continue;
        const std::string dir = root + "/" + group->d_name;
        if (DIR* d = opendir(dir.c_str())) {
            while (dirent* e = readdir(d)) {
                const std::string name = e->d_name;
                if (name.size() > extension.size() && name.compare(name.size() - extension.size(), extension.size(), extension) == 0)
                    out.push_back(dir + "/" + name);
            }
            closedir(d);
        }
    }
    closedir(top);
    std::sort(out.begin(), out.end());
    return out;
}

struct Read {
    bool ok = false;
    Layer layer;
    UserSymbols symbols;
    Reports reports;
};

Read read_text(const std::string& text)
{
    Read r;
    gerber::ReadOptions options;
    options.file_name = "test.gbr";
    r.ok = gerber::read(text, options, r.layer, r.symbols, r.reports);
    return r;
}

std::string messages(const Reports& reports)
{
    std::string s;
    for (auto& r : reports) s += r.file + ":" + std::to_string(r.line) + ": " + r.message + "\n";
    return s;
}

TEST(GerberReader, ReadsEveryRealCaseCleanly)
{
    const auto files = cases(".gbr");
    ASSERT_GE(files.size(), 50u);
    for (const auto& file : files) {
        Read r = read_text(test::read_file(file));
        EXPECT_TRUE(r.ok) << file << "\n" << messages(r.reports);
        EXPECT_FALSE(r.layer.features.empty()) << file;
        for (auto& rep : r.reports) EXPECT_FALSE(rep.error) << file << ": " << rep.message;
    }
}

} // namespace
} // namespace kesto
