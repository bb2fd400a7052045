// The job database on both backends: sign-in rules, hostile names, revisions
// and the automation host's queue, stores from several processes at once,
// and a store killed part-way.
#include "db_backends.h"
#include "engine/db/users.h"

#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <set>
#include <thread>

using namespace kesto;
using namespace kesto::test;
using db::SignIn;

namespace {

// Payload of revision `n` written by `writer`: every byte value, NULs
// included, and a size of its own, so a stored revision can be recomputed.
std::string payload(int writer, int n, size_t size = 4096)
{
    std::string out(size + static_cast<size_t>(n), '\0');
    for (size_t i = 0; i < out.size(); ++i) out[i] = static_cast<char>((i * 31 + static_cast<size_t>(writer * 7 + n)) & 0xff);
    return out;
}

long long count(db::Database& d, const std::string& table)
{
    return db::as_int(d.run("SELECT COUNT(*) FROM " + table).at(0).at(0));
}

using DbSignIn = DbTest;
using DbJobs = DbTest;
KESTO_ON_BOTH_BACKENDS(DbSignIn);
KESTO_ON_BOTH_BACKENDS(DbJobs);

TEST_P(DbSignIn, RightWrongLockedAndUnlockedAgain)
{
    auto d = connect();
    std::string error;
    ASSERT_TRUE(db::create_user(*d, "ann", "correct horse", error)) << error;
    EXPECT_FALSE(db::create_user(*d, "ann", "other", error));
    EXPECT_FALSE(db::create_user(*d, "bob", "", error));

    // Only an Argon2id hash is kept; the password itself is nowhere.
    const std::string hash = db::as_text(d->run("SELECT password_hash FROM users WHERE name = ?", {std::string("ann")}).at(0).at(0));
    EXPECT_EQ(hash.rfind("$argon2id$", 0), 0u) << hash;
    EXPECT_EQ(hash.find("correct horse"), std::string::npos);

    const long long t0 = 1'700'000'000;
    EXPECT_EQ(db::sign_in(*d, "ann", "correct horse", t0).verdict, SignIn::Accepted);
    EXPECT_EQ(db::sign_in(*d, "ann", "Correct horse", t0).verdict, SignIn::Refused);
    EXPECT_EQ(db::sign_in(*d, "nobody", "correct horse", t0).verdict, SignIn::Refused);

    // Failures short of the limit (the one above and these) are forgotten by
    // a good sign-in.
    for (int i = 0; i < db::kMaxFailedSignIns - 2; ++i) EXPECT_EQ(db::sign_in(*d, "ann", "guess", t0).verdict, SignIn::Refused);
    EXPECT_EQ(db::sign_in(*d, "ann", "correct horse", t0).verdict, SignIn::Accepted);

    // The limit locks the account: even the right password is refused until
    // the lock runs out.
    for (int i = 0; i < db::kMaxFailedSignIns; ++i) EXPECT_EQ(db::sign_in(*d, "ann", "guess", t0).verdict, SignIn::Refused);
    EXPECT_EQ(db::sign_in(*d, "ann", "correct horse", t0 + 1).verdict, SignIn::Locked);
    EXPECT_EQ(db::sign_in(*d, "ann", "correct horse", t0 + db::kLockSeconds - 1).verdict, SignIn::Locked);
    const auto later = db::sign_in(*d, "ann", "correct horse", t0 + db::kLockSeconds + 1);
    EXPECT_EQ(later.verdict, SignIn::Accepted);
    EXPECT_GT(later.user, 0);
}

TEST_P(DbSignIn, NamesFullOfQuotesAndSqlAreOnlyNames)
{
    auto d = connect();
    std::string error;
    const std::string users[] = {"x'); DROP TABLE users; --", "\"; DELETE FROM jobs; --", "o'neil \\' ?"};
    for (const std::string& name : users) ASSERT_TRUE(db::create_user(*d, name, name, error)) << name << ": " << error;
    EXPECT_EQ(db::sign_in(*d, "' OR '1'='1", "' OR '1'='1", 1).verdict, SignIn::Refused);
    EXPECT_EQ(db::sign_in(*d, users[0], "' OR ''='", 1).verdict, SignIn::Refused);
    EXPECT_EQ(db::sign_in(*d, users[2], users[2], 1).verdict, SignIn::Accepted);

    const std::string job = "j'); DELETE FROM revisions; --?";
    EXPECT_EQ(db::store_revision(*d, job, payload(0, 1), 1, std::string("v1'; DROP TABLE robot_queue; --")), 1);
    EXPECT_EQ(db::store_revision(*d, job, payload(0, 2), 1), 2);
    EXPECT_EQ(count(*d, "users"), 3);
    EXPECT_EQ(count(*d, "revisions"), 2);
    EXPECT_EQ(db::as_text(d->run("SELECT robot_version FROM robot_queue").at(0).at(0)), "v1'; DROP TABLE robot_queue; --");
    const auto latest = db::latest_revision(*d, 0, job);
    ASSERT_TRUE(latest);
    EXPECT_EQ(latest->name, job);
    EXPECT_EQ(latest->archive, payload(0, 2));
}

TEST_P(DbJobs, RevisionsCountUpAndTheLatestComesBackByteForByte)
{
    auto d = connect();
    EXPECT_FALSE(db::latest_revision(*d, 0, "panel"));
    const long long id = db::register_job(*d, "panel", 0);
    ASSERT_GT(id, 0);
    EXPECT_EQ(db::register_job(*d, "panel", 0), 0) << "a name is registered once";
    EXPECT_FALSE(db::latest_revision(*d, id, "")) << "a job with no revision has nothing to open";

    for (int n = 1; n <= 3; ++n) EXPECT_EQ(db::store_revision(*d, "panel", payload(0, n), 0), n);
    EXPECT_EQ(db::store_revision(*d, "other", payload(1, 1), 0, std::string("robot 2.1")), 1);

    const auto by_id = db::latest_revision(*d, id, "panel");
    ASSERT_TRUE(by_id);
    EXPECT_EQ(by_id->revision, 3);
    EXPECT_TRUE(by_id->archive == payload(0, 3));
    EXPECT_FALSE(db::latest_revision(*d, id, "other")) << "id and name must agree";
    EXPECT_EQ(db::latest_revision(*d, 0, "other")->archive, payload(1, 1));

    const auto queue = d->run("SELECT j.name, q.revision, q.robot_version, q.state FROM robot_queue q"
                              " JOIN jobs j ON j.id = q.job_id");
    ASSERT_EQ(queue.size(), 1u);
    EXPECT_EQ(db::as_text(queue[0][0]) + " " + db::as_text(queue[0][1]) + " " + db::as_text(queue[0][2]) + " " +
                  db::as_text(queue[0][3]),
              "other 1 robot 2.1 waiting");

    // A second connection (another station) finds the schema in place.
    auto again = connect();
    EXPECT_EQ(db::list_jobs(*again).size(), 2u);
    EXPECT_EQ(db::as_int(again->run("SELECT version FROM kesto_schema").at(0).at(0)), db::kSchemaVersion);
}

TEST_P(DbJobs, StoresFromTwoProcessesAtOnceNumberEveryRevisionOnce)
{
    connect(); // the schema, before the children race for the job's row
    constexpr int kEach = 8;
    pid_t children[2];
    for (int w = 0; w < 2; ++w) {
        children[w] = fork();
        ASSERT_GE(children[w], 0);
        if (children[w] == 0) {
            int failed = 0;
            try {
                auto d = connect();
                for (int n = 1; n <= kEach; ++n) db::store_revision(*d, "shared", payload(w, n), 0);
            } catch (const std::exception&) {
                failed = 1;
            }
            _exit(failed);
        }
    }
    for (pid_t child : children) {
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    }
    auto d = connect();
    const auto rows = d->run("SELECT revision, archive FROM revisions ORDER BY revision");
    ASSERT_EQ(rows.size(), 2u * kEach);
    std::set<std::string> expected, stored;
    for (int w = 0; w < 2; ++w)
        for (int n = 1; n <= kEach; ++n) expected.insert(payload(w, n));
    for (size_t i = 0; i < rows.size(); ++i) {
        EXPECT_EQ(db::as_int(rows[i][0]), static_cast<long long>(i + 1));
        stored.insert(db::as_text(rows[i][1]));
    }
    EXPECT_TRUE(stored == expected) << "every store is there once, whole";
    EXPECT_EQ(db::list_jobs(*d).at(0).latest_revision, 2 * kEach);
}

TEST_P(DbJobs, AStoreKilledPartWayLeavesThePreviousRevision)
{
    connect();
    int ready[2];
    ASSERT_EQ(pipe(ready), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        close(ready[0]);
        auto d = connect();
        db::store_revision(*d, "board", payload(0, 1), 0);
        const std::string big = payload(0, 2, 48u << 20);
        (void)!write(ready[1], "s", 1);
        for (;;) db::store_revision(*d, "board", big, 0);
    }
    close(ready[1]);
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    kill(child, SIGKILL);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    close(ready[0]);

    // The killed store left nothing half-written: the latest revision is the
    // first, or (if the machine was quick) a whole second one.
    auto d = connect();
    const auto latest = db::latest_revision(*d, 0, "board");
    ASSERT_TRUE(latest);
    EXPECT_TRUE(latest->archive == (latest->revision == 1 ? payload(0, 1) : payload(0, 2, 48u << 20)))
        << "revision " << latest->revision << " is damaged";
    EXPECT_EQ(count(*d, "revisions"), latest->revision);
    // And the database takes the next store.
    EXPECT_EQ(db::store_revision(*d, "board", payload(0, 9), 0), latest->revision + 1);
}

} // namespace
