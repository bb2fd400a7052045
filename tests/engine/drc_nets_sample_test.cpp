// Board nets of the sample ODB++ job: every step computes, and the nets
// agree with what the job's own features say about connectivity.
#include "engine/drc/nets.h"
#include "engine/formats/odb/job_io.h"

#include <gtest/gtest.h>

#include <chrono>
#include <iostream>

using namespace kesto;

TEST(DrcNetsSample, EveryStepOfTheSampleJobGetsItsNets)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz", job, error)) << error;
    for (auto& [name, step] : job.steps) {
        const auto start = std::chrono::steady_clock::now();
        const drc::BoardNets nets = drc::compute_board_nets(job, step);
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start).count();
        std::size_t features = 0, in_nets = 0;
        for (const auto& [layer, list] : nets.net_of) {
            features += list.size();
            for (std::int32_t n : list) {
                EXPECT_LT(n, nets.count);
                in_nets += n >= 0;
            }
        }
        std::cout << "step " << name << ": " << nets.copper.size() << " copper and " << nets.drills.size()
                  << " drill layers, " << features << " features (" << in_nets << " on a net), " << nets.count
                  << " nets, " << ms << " ms\n";
        if (!nets.copper.empty() && features > 0) {
            EXPECT_GT(nets.count, 0);
            EXPECT_LT(nets.count, std::int32_t(in_nets)) << "copper features join into fewer nets than there are features";
        }
    }
}
