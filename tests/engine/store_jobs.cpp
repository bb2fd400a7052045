// The job operations behind the handlers, on jobs the tests build: matrix
// positions, copies and renames, blank rows, saving, and failures that must
// leave open jobs alone.
#include "engine/api/jobs.h"
#include "engine/formats/odb/features.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

using namespace KESTO::API;
namespace fs = boost::filesystem;

namespace {

std::string rows_of(const std::string& job)
{
    std::map<int, std::string> steps;
    std::vector<layer_info> layers;
    EXPECT_EQ(get_matrix(job, steps, layers), "");
    std::string out;
    for (const auto& [col, name] : steps) out += std::to_string(col) + ":" + name + " ";
    out += "|";
    for (const layer_info& l : layers) out += " " + std::to_string(l.row) + ":" + l.name;
    return out;
}

class StoreJobs : public ::testing::Test {
protected:
    void SetUp() override
    {
        name_ = ::testing::UnitTest::GetInstance()->current_test_info()->name();
        ASSERT_TRUE(create_job(dir_.path(), name_));
        ASSERT_TRUE(create_step(name_, "pcb", 1));
        ASSERT_TRUE(create_new_layer(name_, "pcb", "top", 1));
        ASSERT_TRUE(create_new_layer(name_, "", "bot", 2));
        ASSERT_TRUE(create_new_layer(name_, "", "drill", 3));
        kesto::Layer& top = *layer("pcb", "top");
        std::string error;
        ASSERT_TRUE(kesto::odb::parse_feature_record("L 0 0 1 1 r10 P 0", top, kesto::Units::Mm, &error)) << error;
    }
    void TearDown() override { close_job(name_); }
    kesto::Layer* layer(const std::string& step, const std::string& name)
    {
        kesto::Job* job = kesto::store::find_job(name_);
        kesto::Step* s = job ? kesto::store::find_step(*job, step) : nullptr;
        return s ? kesto::store::find_layer(*job, *s, name) : nullptr;
    }

    kesto::test::TempDir dir_;
    std::string name_;
};

} // namespace

TEST_F(StoreJobs, PositionsCountFromOne)
{
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:top 2:bot 3:drill");
    EXPECT_TRUE(insert_layer(name_, 1));
    EXPECT_TRUE(insert_layer(name_, 99)); // beyond the end: appended
    EXPECT_EQ(rows_of(name_), "1:pcb | 1: 2:top 3:bot 4:drill 5:");
    EXPECT_TRUE(move_layer_poi(name_, 4, 2));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1: 2:drill 3:top 4:bot 5:");
    EXPECT_TRUE(move_layer_poi(name_, "drill", "bot"));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1: 2:top 3:bot 4:drill 5:");
    EXPECT_FALSE(move_layer_poi(name_, 0, 1));
    EXPECT_FALSE(move_layer_poi(name_, "nothing", "top"));
    EXPECT_FALSE(delete_layer(name_, 6));
    EXPECT_TRUE(delete_layer(name_, 5));
    EXPECT_TRUE(delete_layer(name_, 1));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:top 2:bot 3:drill");
    EXPECT_TRUE(create_step(name_, "PANEL", 1));
    EXPECT_TRUE(insert_step(name_, 2));
    EXPECT_EQ(rows_of(name_), "1:panel 2: 3:pcb | 1:top 2:bot 3:drill");
    EXPECT_TRUE(move_step_poi(name_, "panel", "pcb"));
    EXPECT_EQ(rows_of(name_), "1: 2:pcb 3:panel | 1:top 2:bot 3:drill");
    EXPECT_TRUE(delete_step(name_, 1));
    EXPECT_FALSE(delete_step(name_, 3));
    EXPECT_EQ(Get_features_cnt(name_, "PCB", "TOP"), 1);
    EXPECT_EQ(Get_features_cnt(name_, "panel", "top"), 0);
    EXPECT_EQ(Get_features_cnt(name_, "pcb", "nothing"), -1);
}

TEST_F(StoreJobs, CopiesAreDeepAndGetFreeNames)
{
    std::string first, second, third;
    EXPECT_TRUE(copy_layer(name_, 1, "", 2, first));
    EXPECT_TRUE(copy_layer(name_, 1, "", 0, second));
    EXPECT_TRUE(copy_layer(name_, 1, "bot", 0, third)); // taken: numbered
    EXPECT_EQ(first, "top+1");
    EXPECT_EQ(second, "top+2");
    EXPECT_EQ(third, "bot+1");
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:top 2:top+1 3:bot 4:drill 5:top+2 6:bot+1");
    layer("pcb", "top+1")->features.clear();
    EXPECT_EQ(layer("pcb", "top")->features.size(), 1u);
    EXPECT_FALSE(copy_layer(name_, 9, "x", 1, first));
    EXPECT_FALSE(copy_layer(name_, 1, "a/b", 1, first));

    std::string step;
    EXPECT_TRUE(copy_step(name_, 1, "", 1, step));
    EXPECT_EQ(step, "pcb+1");
    EXPECT_EQ(rows_of(name_).substr(0, 15), "1:pcb+1 2:pcb |");
    EXPECT_EQ(Get_features_cnt(name_, "pcb+1", "top"), 1);
    EXPECT_TRUE(is_job_changed(name_));
}

TEST_F(StoreJobs, ChangeMatrixRenamesAndNamesBlankRows)
{
    kesto::store::find_job(name_)->rows[2].start_name = "top";
    layer_info info;
    info.name = "Signal_1";
    info.type = "POWER_GROUND";
    EXPECT_TRUE(change_matrix(name_, 0, 1, "", info));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:signal_1 2:bot 3:drill");
    const kesto::Job& job = *kesto::store::find_job(name_);
    EXPECT_EQ(job.rows[0].type, "POWER_GROUND");
    EXPECT_EQ(job.rows[0].context, "MISC"); // untouched: empty in the request
    EXPECT_EQ(job.rows[0].old_name, "top");
    EXPECT_EQ(job.rows[2].start_name, "signal_1"); // the drill span follows
    EXPECT_EQ(layer("pcb", "signal_1")->features.size(), 1u);
    EXPECT_EQ(layer("pcb", "top"), nullptr);

    info = layer_info();
    info.name = "bot";
    EXPECT_FALSE(change_matrix(name_, 0, 1, "", info)); // taken
    ASSERT_TRUE(insert_layer(name_, 2));
    info.name = "inner";
    info.row = 4;
    EXPECT_TRUE(change_matrix(name_, 1, 2, "board", info));
    EXPECT_EQ(rows_of(name_), "1:board | 1:signal_1 2:bot 3:drill 4:inner");
    EXPECT_EQ(Get_features_cnt(name_, "board", "inner"), 0);
    EXPECT_EQ(Get_features_cnt(name_, "board", "signal_1"), 1);
    EXPECT_FALSE(change_matrix(name_, 0, 0, "x", info));
    EXPECT_FALSE(change_matrix(name_, 7, 0, "x", info));
}

TEST_F(StoreJobs, SavesDropBlankSlotsAndClearTheChangedFlag)
{
    ASSERT_TRUE(insert_layer(name_, 2));
    ASSERT_TRUE(insert_step(name_, 1));
    EXPECT_TRUE(is_job_changed(name_));
    ASSERT_TRUE(Save_Job(name_));
    EXPECT_FALSE(is_job_changed(name_));
    ASSERT_EQ(close_job(name_), 1);
    EXPECT_EQ(close_job(name_), 0);
    ASSERT_TRUE(open_job(dir_.path(), name_));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:top 2:bot 3:drill");
    EXPECT_EQ(Get_features_cnt(name_, "pcb", "top"), 1);

    ASSERT_TRUE(Save_Job_As(name_, dir_ / "elsewhere"));
    EXPECT_TRUE(fs::exists(dir_ / ("elsewhere/" + name_ + "/matrix/matrix")));
    EXPECT_EQ(kesto::store::find_job(name_)->folder, dir_ / ("elsewhere/" + name_));
}

TEST_F(StoreJobs, AFailedOpenLeavesOpenJobsAlone)
{
    fs::create_directories(dir_ / "broken/matrix");
    kesto::test::write_file(dir_ / "broken/matrix/matrix", "STEP {\n NAME=X\n");
    EXPECT_FALSE(open_job(dir_.path(), "broken"));
    EXPECT_FALSE(is_job_opened("broken"));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:top 2:bot 3:drill");
    // A job already open is not read again over its unsaved changes.
    ASSERT_TRUE(delete_layer(name_, 3));
    EXPECT_TRUE(open_job(dir_.path(), name_));
    EXPECT_EQ(rows_of(name_), "1:pcb | 1:top 2:bot");
}

TEST_F(StoreJobs, StepCopyBringsTheRowsItNeeds)
{
    const std::string other = name_ + "_other";
    ASSERT_TRUE(create_job(dir_.path(), other));
    EXPECT_TRUE(step_copy(name_, "PCB", other, ""));
    EXPECT_EQ(rows_of(other), "1:pcb | 1:top 2:bot 3:drill");
    EXPECT_EQ(Get_features_cnt(other, "pcb", "top"), 1);
    EXPECT_FALSE(step_copy(name_, "pcb", other, "")); // the name is taken there
    EXPECT_FALSE(step_copy(name_, "nothing", other, "x"));
    close_job(other);
}

TEST_F(StoreJobs, ProfileBoxFollowsArcs)
{
    kesto::Step& pcb = *kesto::store::find_step(*kesto::store::find_job(name_), "pcb");
    // A 10 x 10 square whose right side bulges out as a half circle.
    kesto::Contour c;
    c.start = {0, 0};
    c.segments = {{{10, 0}, {}, false, false}, {{10, 10}, {10, 5}, true, false}, {{0, 10}, {}, false, false},
                  {{0, 0}, {}, false, false}};
    pcb.profile.contours = {c};
    reply_box box;
    ASSERT_TRUE(profile_box(name_, "pcb", box));
    EXPECT_EQ(box.Xmax, 15);
    EXPECT_EQ(box.Ymin, 0);
    EXPECT_EQ(box.Ymax, 10);
    pcb.profile.contours[0].segments[1].cw = true; // now it bites inwards
    ASSERT_TRUE(profile_box(name_, "pcb", box));
    EXPECT_EQ(box.Xmax, 10);
    EXPECT_FALSE(profile_box(name_, "none", box));
}

TEST(StoreSession, WorkingUnitConvertsApiCoordinates)
{
    EXPECT_EQ(working_unit(), kesto::Units::Mm);
    EXPECT_EQ(from_working_unit(1.5), 1500000);
    set_working_unit(kesto::Units::Inch);
    EXPECT_EQ(from_working_unit(0.1), 2540000);
    EXPECT_DOUBLE_EQ(to_working_unit(25400000), 1.0);
    set_working_unit(kesto::Units::Mm);
}

TEST(StoreSession, LoadedAttributeDefinitionsReachJobsOpenedLater)
{
    kesto::test::TempDir dir;
    kesto::test::write_file(dir / "userattr", "TEXT {\n NAME=_lot\n}\n");
    EXPECT_FALSE(load_userattr(dir / "missing"));
    ASSERT_TRUE(load_userattr(dir / "userattr"));
    fs::create_directories(dir / "j/matrix");
    fs::create_directories(dir / "j/steps/s/layers/l");
    kesto::test::write_file(dir / "j/matrix/matrix", "STEP {\n NAME=S\n}\nLAYER {\n NAME=L\n TYPE=SIGNAL\n}\n");
    kesto::test::write_file(dir / "j/steps/s/layers/l/features", "UNITS=MM\n$0 r1\n@0 _lot\n&0 A17\nP 0 0 0 P 0 0;0=0\n");
    ASSERT_TRUE(open_job(dir.path(), "j"));
    kesto::Job& job = *kesto::store::find_job("j");
    const kesto::Layer& l = job.steps.at("s").layers.at("l");
    EXPECT_EQ(l.attribute_sets.at(0).at(0).value, "A17");
    close_job("j");
}

TEST_F(StoreJobs, UndoPutsBackTheLatestRecordOfTheStep)
{
    ASSERT_TRUE(create_step(name_, "panel", 2));
    kesto::Job& job = *kesto::store::find_job(name_);
    kesto::store::remember(job, "pcb", {"top", "bot"});
    layer("pcb", "top")->features.clear();
    layer("pcb", "bot")->features.resize(3);
    kesto::store::remember(job, "panel", {"top"});
    layer("panel", "top")->features.resize(5);
    kesto::store::remember(job, "pcb", {"top"});
    layer("pcb", "top")->features.resize(7);

    EXPECT_TRUE(Undo(name_, "PCB"));
    EXPECT_EQ(Get_features_cnt(name_, "pcb", "top"), 0);
    EXPECT_EQ(Get_features_cnt(name_, "panel", "top"), 5); // another step's record stays
    EXPECT_TRUE(Undo(name_, "pcb"));
    EXPECT_EQ(Get_features_cnt(name_, "pcb", "top"), 1);
    EXPECT_EQ(Get_features_cnt(name_, "pcb", "bot"), 0);
    EXPECT_FALSE(Undo(name_, "pcb"));
    EXPECT_TRUE(Undo(name_, "panel"));
    EXPECT_EQ(Get_features_cnt(name_, "panel", "top"), 0);

    for (size_t i = 0; i < kesto::kUndoDepth + 5; ++i) kesto::store::remember(job, "pcb", {"top"});
    EXPECT_EQ(job.undo.size(), kesto::kUndoDepth);
    // A layer deleted after its record was taken is not brought back.
    kesto::store::remember(job, "pcb", {"drill"});
    ASSERT_TRUE(delete_layer(name_, 3));
    EXPECT_TRUE(Undo(name_, "pcb"));
    EXPECT_EQ(Get_features_cnt(name_, "pcb", "drill"), -1);
}
