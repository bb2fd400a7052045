// Jobs through the database as the engine's operations store and open them:
// the sample job comes back with identical geometry, revisions follow each
// other, nothing is stored before a sign-in, a store killed part-way leaves
// the previous revision loadable; and the technology of a hand-worked board.
#include "db_backends.h"
#include "engine/api/jobdb.h"
#include "engine/api/jobs.h"
#include "engine/config/configuration.h"
#include "engine/db/users.h"
#include "engine/formats/odb/features.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"
#include "odb_digest.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <thread>

using namespace kesto;
using namespace kesto::test;

namespace {

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

// Every layer of every step, and the matrix, as one text.
std::string job_digest(const Job& job)
{
    std::string out;
    for (const MatrixRow& row : job.rows) out += row.name + " " + row.context + " " + row.type + "\n";
    for (const auto& [name, step] : job.steps)
        for (const auto& [lname, layer] : step.layers) out += name + "/" + lname + " " + layer_digest(layer) + "\n";
    return out;
}

using DbJobsSample = DbTest;
KESTO_ON_BOTH_BACKENDS(DbJobsSample);


TEST_P(DbJobsSample, StoredAndOpenedAgainWithIdenticalGeometry)
{
    Job expected;
    std::string error;
    ASSERT_TRUE(odb::read_job(kSample, expected, error)) << error;
    const std::string want = job_digest(expected);

    in_fresh_process(dir_.path(), [&] {
        write_file("config.json", "{\"log_path\":\"\",\"job_library\":\"./jobs\"," + config_keys() + "}");
        ASSERT_TRUE(KESTO::configuration_instance::instance().load("config.json"));
        std::string e;
        ASSERT_TRUE(db::create_user(*connect(), "cam1", "pw of cam1", e)) << e;
        ASSERT_TRUE(KESTO::API::open_job(kSample, "sample_design"));

        // Nothing reaches the database before a sign-in.
        EXPECT_FALSE(KESTO::API::InsetJobToDB("sample_design"));
        EXPECT_FALSE(KESTO::API::login("cam1", "pw of cam2"));
        EXPECT_EQ(KESTO::API::hasLogin(), 0);
        EXPECT_TRUE(db::list_jobs(*connect()).empty());

        ASSERT_TRUE(KESTO::API::login("cam1", "pw of cam1"));
        EXPECT_EQ(KESTO::API::hasLogin(), 1);
        ASSERT_TRUE(KESTO::API::InsetJobToDB("sample_design"));
        ASSERT_TRUE(KESTO::API::InsetJobToRobotDB("sample_design", "7.2"));
        const auto jobs = db::list_jobs(*connect());
        ASSERT_EQ(jobs.size(), 1u);
        EXPECT_EQ(jobs[0].latest_revision, 2);

        ASSERT_TRUE(KESTO::API::LoadJobFromDB("copy", "sample_design", static_cast<int>(jobs[0].id)));
        const Job* copy = store::find_job("copy");
        ASSERT_NE(copy, nullptr);
        EXPECT_EQ(job_digest(*copy), want);
        EXPECT_EQ(copy->attributes, expected.attributes);

        // Refused: an open name, an unknown id, an id with another name.
        EXPECT_FALSE(KESTO::API::LoadJobFromDB("copy", "sample_design", 0));
        EXPECT_FALSE(KESTO::API::LoadJobFromDB("copy2", "", 999));
        EXPECT_FALSE(KESTO::API::LoadJobFromDB("copy2", "other", static_cast<int>(jobs[0].id)));
        EXPECT_FALSE(KESTO::API::LoadJobFromDB("../x", "sample_design", 0));
        EXPECT_TRUE(KESTO::API::LoadJobFromDB("copy2", "sample_design", 0));
    });
}

TEST_P(DbJobsSample, AJobStoreKilledPartWayLeavesThePreviousRevisionLoadable)
{
    Job expected;
    std::string error;
    ASSERT_TRUE(odb::read_job(kSample, expected, error)) << error;
    const std::string want = job_digest(expected);

    for (int delay_ms : {20, 150}) {
        SCOPED_TRACE(delay_ms);
        const std::string name = "board_" + std::to_string(delay_ms);
        in_fresh_process(dir_.path(), [&] {
            int ready[2];
            ASSERT_EQ(pipe(ready), 0);
            const pid_t child = fork();
            ASSERT_GE(child, 0);
            if (child == 0) {
                write_file("config.json", "{\"log_path\":\"\"," + config_keys() + "}");
                KESTO::configuration_instance::instance().load("config.json");
                std::string e;
                db::create_user(*connect(), "cam1", "pw", e);
                if (!KESTO::API::open_job(kSample, name) || !KESTO::API::login("cam1", "pw") ||
                    !KESTO::API::InsetJobToDB(name))
                    _exit(1);
                // Change the job, so that a finished second store would differ.
                store::find_job(name)->attributes["stored"] = "twice";
                (void)!write(ready[1], "s", 1);
                for (;;) KESTO::API::InsetJobToDB(name);
            }
            close(ready[1]);
            char c = 0;
            ASSERT_EQ(read(ready[0], &c, 1), 1) << "the first store failed";
            std::this_thread::sleep_for(std::chrono::milliseconds(delay_ms));
            kill(child, SIGKILL);
            waitpid(child, nullptr, 0);
            close(ready[0]);

            const auto latest = db::latest_revision(*connect(), 0, name);
            ASSERT_TRUE(latest);
            Job stored;
            std::string e;
            ASSERT_TRUE(odb::read_job_archive(latest->archive, stored, e)) << "revision " << latest->revision << ": " << e;
            EXPECT_EQ(job_digest(stored), want);
            EXPECT_EQ(stored.attributes.count("stored"), latest->revision > 1 ? 1u : 0u);
        });
    }
}

// One layer from features records in mm (symbol sizes in microns).
Layer layer_of(const std::vector<std::string>& records)
{
    Layer layer;
    layer.units = Units::Mm;
    for (const std::string& r : records) EXPECT_TRUE(odb::parse_feature_record(r, layer, Units::Mm)) << r;
    return layer;
}

TEST(DbTechnology, AHandWorkedBoard)
{
    Job job;
    job.units = Units::Mm;
    job.attributes = {{"surface_finish", "ENIG"}, {".ipc_class", "class2"}};
    job.columns = {{1, "pcb", 1}};
    job.rows = {{1, "top", "BOARD", "SIGNAL"}, {2, "drill", "BOARD", "DRILL"}, {3, "silk", "BOARD", "SILK_SCREEN"},
                {4, "notes", "MISC", "SIGNAL"}};
    job.rows[1].start_name = "top";
    job.rows[1].end_name = "top";
    Step& step = job.steps["pcb"];
    step.name = "pcb";
    Layer outline = layer_of({"S P 0\nOB 0 0 I\nOS 40 0\nOS 40 30\nOS 0 30\nOS 0 0\nOE\nSE"});
    step.profile = outline.surfaces.at(0);
    step.has_profile = true;
    step.layers["top"] = layer_of({
        "L 0 0 10 0 r200 P 0",     // one net: a 0.2 line turning back on itself as
        "L 10 0 10 0.5 r200 P 0",  // a 0.1 line 0.5 above it (its own gap of
        "L 10 0.5 2 0.5 r100 P 0", // 0.5 - 0.1 - 0.05 = 0.35 is no space)
        "P 5 -0.8 r500 P 0 0",     // its own net: 0.8 - 0.1 - 0.25 = 0.45 from the first line
        "L 10.8 -0.3 14 -0.3 r150 P 0", // its own net, 0.854 - 0.175 = 0.679 from the corner
        "L 1 5 2 5 r50 N 0",       // negative: cuts, draws no line
        "P 20 20 s300 P 0 0",
    });
    step.layers["drill"] = layer_of({"P 30 20 r300 P 0 0", "P 35 20 r250 P 0 0", "L 30 25 32 25 r400 P 0"});
    step.layers["silk"] = layer_of({"L 0 10 5 10 r50 P 0"});
    step.layers["notes"] = layer_of({"L 0 12 5 12 r20 P 0"});

    const auto t = kesto::jobdb::technology_of(job);
    EXPECT_EQ(t.copper_layers, 1);
    EXPECT_EQ(t.step, "pcb");
    EXPECT_EQ(t.board_width, 40'000'000);
    EXPECT_EQ(t.board_height, 30'000'000);
    EXPECT_EQ(t.min_line, 100'000);
    EXPECT_EQ(t.min_space, 450'000);
    EXPECT_EQ(t.min_drill, 250'000);
    EXPECT_EQ(t.surface_finish, "ENIG");
    EXPECT_EQ(t.attributes.at(".ipc_class"), "class2");
}

} // namespace
