// Opening a job, exporting and importing report their progress to the host's
// descriptor, in the units a bar needs: the archive's bytes, the layer's
// features, the job's layers, the imported file's bytes.
#include "engine/api/exchange.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

std::string drain(int fd)
{
    std::string text;
    char buffer[4096];
    fcntl(fd, F_SETFL, O_NONBLOCK);
    for (ssize_t n; (n = read(fd, buffer, sizeof buffer)) > 0;) text.append(buffer, size_t(n));
    return text;
}

// The "progress DONE TOTAL" lines read from the pipe, by total; every line
// must have the form the host parses, and the stream must end with "progress end".
std::map<long long, std::vector<long long>> progress_lines(int fd)
{
    const std::string text = drain(fd);
    std::map<long long, std::vector<long long>> by_total;
    std::istringstream in(text);
    std::string last;
    for (std::string line; std::getline(in, line); last = line) {
        long long done = 0, total = 0;
        if (std::sscanf(line.c_str(), "progress %lld %lld", &done, &total) == 2) by_total[total].push_back(done);
        else EXPECT_EQ(line, "progress end");
    }
    EXPECT_EQ(last, "progress end");
    return by_total;
}

// Runs `work` over and over for at least a second, so that the board's
// reports (five a second) catch it under way however fast one run is.
void keep_busy(const std::function<void()>& work)
{
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < 1200ms) work();
    std::this_thread::sleep_for(500ms); // the last report, then "progress end"
}

// Each total's counts rise, never pass the total, and it was seen under way.
void expect_rising(const std::vector<long long>& done, long long total)
{
    ASSERT_FALSE(done.empty());
    for (long long d : done) {
        EXPECT_GE(d, 0);
        EXPECT_LE(d, total);
    }
}

TEST(ProgressReports, OpeningAnArchiveCountsItsBytes)
{
    kesto::test::TempDir dir;
    kesto::test::in_fresh_process(dir.path(), [] {
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
        keep_busy([] {
            kesto::Job job;
            std::string error;
            ASSERT_TRUE(kesto::odb::read_job(kSample, job, error)) << error;
        });
        const auto lines = progress_lines(ends[0]);
        const long long size = static_cast<long long>(std::filesystem::file_size(kSample));
        ASSERT_EQ(lines.size(), 1u) << "one reporter, whose total is the archive's size";
        EXPECT_EQ(lines.begin()->first, size);
        expect_rising(lines.begin()->second, size);
    });
}

TEST(ProgressReports, ExportsCountFeaturesAndLayersImportsCountBytes)
{
    kesto::test::TempDir dir;
    kesto::test::in_fresh_process(dir.path(), [&dir] {
        // The host names its descriptor before the library's first long operation.
        int ends[2];
        ASSERT_EQ(pipe(ends), 0);
        setenv("KESTO_PROGRESS_FD", std::to_string(ends[1]).c_str(), 1);
        kesto::Job job;
        std::string error;
        ASSERT_TRUE(kesto::odb::read_job(kSample, job, error)) << error;
        job.name = "sample";
        size_t layers = 0;
        for (const auto& [name, step] : job.steps) layers += step.layers.size();
        const long long copper = static_cast<long long>(job.steps.at("step").layers.at("layer-1").features.size());
        kesto::store::add_job(std::move(job));
        std::this_thread::sleep_for(500ms);
        drain(ends[0]); // the opening's own lines
        keep_busy([&] {
            std::vector<KESTO::API::translate_report> reports;
            ASSERT_TRUE(KESTO::API::export_gerber("sample", "step", "layer-1", dir / "layer-1.gbr", {}, reports, {}));
        });
        auto lines = progress_lines(ends[0]);
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines.begin()->first, copper + 1) << "the layer's features, then the save";
        expect_rising(lines.begin()->second, copper + 1);

        // The Gerber file just written, read back into a layer of its own.
        const long long bytes = static_cast<long long>(std::filesystem::file_size(dir / "layer-1.gbr"));
        keep_busy([&] {
            KESTO::API::time start, end;
            std::map<int, int> dcodes;
            std::vector<KESTO::API::translate_report> reports;
            ASSERT_TRUE(KESTO::API::file_translate(dir / "layer-1.gbr", "sample", "step", "imported", {}, start, end,
                                                   dcodes, reports));
        });
        lines = progress_lines(ends[0]);
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines.begin()->first, bytes);
        expect_rising(lines.begin()->second, bytes);

        layers = 0; // the imported layer is one more now
        for (const auto& [name, step] : kesto::store::find_job("sample")->steps) layers += step.layers.size();
        keep_busy([&] {
            const kesto::Job* open = kesto::store::find_job("sample");
            ASSERT_TRUE(open);
            ASSERT_TRUE(kesto::odb::save_job(*open, dir / "saved", error)) << error;
        });
        lines = progress_lines(ends[0]);
        ASSERT_EQ(lines.size(), 1u);
        EXPECT_EQ(lines.begin()->first, static_cast<long long>(layers));
        expect_rising(lines.begin()->second, static_cast<long long>(layers));
    });
}

} // namespace
