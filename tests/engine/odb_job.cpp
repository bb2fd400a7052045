// Whole jobs: the sample production job read from its archive, written and
// read back the same; small hand-made jobs; bad and hostile input.
#include "engine/formats/odb/job_io.h"
#include "odb_digest.h"
#include "support/test_support.h"

#include <archive.h>
#include <archive_entry.h>
#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <cstring>
#include <sys/wait.h>
#include <unistd.h>

using namespace kesto;
namespace fs = boost::filesystem;

namespace {

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

std::string matrix_digest(const Job& job)
{
    std::string out;
    for (const MatrixStep& c : job.columns) out += "col " + c.name + "\n";
    for (const MatrixRow& r : job.rows)
        out += "row " + r.name + " " + r.context + " " + r.type + " " + r.polarity + " " + r.start_name + " " +
               r.end_name + "\n";
    return out;
}

// Everything a save must keep, as one comparable text.
std::string job_digest(const Job& job)
{
    std::string out = matrix_digest(job);
    for (const auto& [name, step] : job.steps) {
        out += "step " + name + " datum " + std::to_string(step.datum.x) + "," + std::to_string(step.datum.y) + "\n";
        out += "profile " + std::to_string(step.has_profile);
        for (const Contour& c : step.profile.contours)
            for (const Segment& s : c.segments) out += " " + std::to_string(s.end.x) + "," + std::to_string(s.end.y);
        out += "\n";
        for (const auto& [lname, layer] : step.layers) {
            out += "layer " + lname + " " + test::layer_digest(layer) + " attrs " + std::to_string(layer.attributes.size());
            for (const DrillTool& t : layer.tools)
                out += " T" + std::to_string(t.number) + ":" + t.type + ":" + std::to_string(t.finish_size);
            for (const auto& [file, bytes] : layer.files) out += " " + file + ":" + std::to_string(bytes.size());
            out += "\n";
        }
        for (const auto& [file, bytes] : step.files) out += "step file " + file + ":" + std::to_string(bytes.size()) + "\n";
    }
    for (const auto& [name, user] : job.symbols) out += "symbol " + name + " " + test::layer_digest(user.features) + "\n";
    for (const auto& [file, bytes] : job.files) out += "file " + file + ":" + std::to_string(bytes.size()) + "\n";
    return out;
}

Job read_or_fail(const std::string& where)
{
    Job job;
    std::string error;
    EXPECT_TRUE(odb::read_job(where, job, error)) << error;
    return job;
}

} // namespace

TEST(OdbJob, ReadsTheSampleJob)
{
    const Job job = read_or_fail(kSample);
    ASSERT_EQ(job.columns.size(), 1u);
    EXPECT_EQ(job.columns[0].name, "step");
    ASSERT_EQ(job.rows.size(), 26u); // the issue says 31; the job holds 26 rows
    EXPECT_EQ(job.rows[0].name, "comp_+_top");
    int copper = 0;
    for (const MatrixRow& r : job.rows) copper += r.type == "SIGNAL" || r.type == "POWER_GROUND" || r.type == "MIXED";
    EXPECT_EQ(copper, 8);
    const Step& step = job.steps.at("step");
    EXPECT_TRUE(step.has_profile);
    const Layer& top = step.layers.at("layer-1");
    EXPECT_EQ(top.features.size(), 11868u);
    EXPECT_EQ(top.units, Units::Inch);
    // A text attribute read through the &n table: the via's geometry name.
    bool geometry_text = false;
    for (const Feature& f : top.features)
        if (f.attributes)
            for (const AttributeValue& v : top.attribute_sets[f.attributes - 1])
                geometry_text |= top.attribute_names[v.name] == ".geometry" && v.value.rfind("VIA", 0) == 0;
    EXPECT_TRUE(geometry_text);
    const Layer& drill = step.layers.at("drill");
    ASSERT_FALSE(drill.tools.empty());
    EXPECT_EQ(drill.tools[0].finish_size, 10 * kNmPerMil);
    EXPECT_FALSE(job.symbols.empty());
    EXPECT_TRUE(job.files.count("fonts/standard"));
    EXPECT_TRUE(step.files.count("eda/data"));
    // Checksums of the files as they were are not kept: saves rewrite those files.
    for (const auto& [path, bytes] : step.layers.at("layer-1").files) EXPECT_EQ(path.find(".sum"), std::string::npos);
    EXPECT_EQ(step.layers.at("comp_+_top").files.count("components"), 1u);
    const UserSymbol& thermal = job.symbols.at("pads_th_square74x62x45x4x15");
    ASSERT_EQ(thermal.features.features.size(), 1u);
    EXPECT_EQ(thermal.features.features[0].kind, FeatureKind::Surface);
}

TEST(OdbJob, SavedSampleReadsBackTheSame)
{
    test::TempDir dir;
    const Job job = read_or_fail(kSample);
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "copy", error)) << error;
    const Job copy = read_or_fail(dir / "copy");
    EXPECT_EQ(matrix_digest(copy), matrix_digest(job));
    EXPECT_EQ(job_digest(copy), job_digest(job));
    // Saving again over the copy swaps it whole and leaves nothing beside it.
    ASSERT_TRUE(odb::save_job(copy, dir / "copy", error)) << error;
    EXPECT_EQ(job_digest(read_or_fail(dir / "copy")), job_digest(job));
    int entries = 0;
    for (fs::directory_iterator it(dir.path()), end; it != end; ++it) ++entries;
    EXPECT_EQ(entries, 1);
}

namespace {

// A small hand-made metric job: one step, a copper layer with every record
// kind and a user symbol, a drill layer with tools, and a file nobody knows.
void write_small_job(const std::string& root, const std::string& top_features)
{
    auto put = [&root](const std::string& path, const std::string& text) {
        fs::create_directories(fs::path(root + "/" + path).parent_path());
        test::write_file(root + "/" + path, text);
    };
    put("matrix/matrix", "STEP {\n COL=1\n NAME=PCB\n}\n\nLAYER {\n ROW=1\n CONTEXT=BOARD\n TYPE=SIGNAL\n NAME=TOP\n"
                         " POLARITY=POSITIVE\n}\n\nLAYER {\n ROW=2\n CONTEXT=BOARD\n TYPE=DRILL\n NAME=DRILL\n"
                         " POLARITY=POSITIVE\n START_NAME=TOP\n END_NAME=TOP\n}\n");
    put("misc/info", "JOB_NAME=small\nUNITS=MM\n");
    put("misc/userattr", "TEXT {\n NAME=_note\n ENTITY=feature\n}\n");
    put("steps/pcb/stephdr", "UNITS=MM\nX_DATUM=1.5\nY_DATUM=-2\nSTEP-REPEAT {\n NAME=PCB\n X=0\n Y=0\n DX=10\n"
                             " DY=12.5\n NX=2\n NY=3\n ANGLE=90\n MIRROR=NO\n FLIP=NO\n}\n");
    put("steps/pcb/profile", "UNITS=MM\nS P 0\nOB 0 0 I\nOS 50 0\nOS 50 40\nOS 0 40\nOS 0 0\nOE\nSE\n");
    put("steps/pcb/layers/top/features", top_features);
    put("steps/pcb/layers/top/attrlist", ".layer_side = top\n");
    put("steps/pcb/layers/drill/features", "UNITS=MM\n$0 r300\nP 1 1 0 P 0 0\n");
    put("steps/pcb/layers/drill/tools", "UNITS=MM\nTHICKNESS=1.6\nTOOLS {\n NUM=1\n TYPE=PLATED\n TYPE2=STANDARD\n"
                                        " MIN_TOL=0\n MAX_TOL=25\n BIT=\n FINISH_SIZE=300\n DRILL_SIZE=350\n}\n");
    put("symbols/logo/features", "UNITS=MM\n$0 r100\nL 0 0 1 0 0 P 0\n");
    put("user/notes.txt", "keep me");
}

const char* kSmallTop = "UNITS=MM\n$0 r200\n$1 logo\n$2 rect500x300xr50\n@0 _note\n@1 .smd\n&0 first note\n"
                        "L 0 0 10.000001 5 0 P 0;0=0;ID=1\nP 3 4 1 N 0 9 30;1\nP 5 5 2 P 0 4\n"
                        "A 0 0 2 0 1 0 0 P 0 Y\nT 1 1 standard P 0 1.2 1.5 1 'REV A' 1\n"
                        "S P 0;;ID=7\nOB 0 0 I\nOS 4 0\nOC 4 4 4 2 N\nOS 0 0\nOE\nSE\n";

} // namespace

TEST(OdbJob, HandMadeJobReadsAndSavesWhole)
{
    test::TempDir dir;
    write_small_job(dir / "small", kSmallTop);
    const Job job = read_or_fail(dir / "small");
    EXPECT_EQ(job.units, Units::Mm);
    const Step& pcb = job.steps.at("pcb");
    EXPECT_EQ(pcb.datum, (Point{1500000, -2000000}));
    ASSERT_EQ(pcb.repeats.size(), 1u);
    EXPECT_EQ(pcb.repeats[0].dy, 12500000);
    EXPECT_EQ(pcb.repeats[0].ny, 3);
    const Layer& top = pcb.layers.at("top");
    ASSERT_EQ(top.features.size(), 6u);
    EXPECT_EQ(top.features[0].b.x, 10000001);
    EXPECT_EQ(top.symbols[1].family, SymbolFamily::User);
    EXPECT_EQ(top.attribute_sets[top.features[0].attributes - 1][0].value, "first note"); // _note is TEXT here
    EXPECT_EQ(top.attributes.at(".layer_side"), "top");
    EXPECT_EQ(job.rows[1].start_name, "top");
    EXPECT_EQ(pcb.layers.at("drill").tools.at(0).drill_size, 350000);
    EXPECT_EQ(job.files.at("user/notes.txt"), "keep me");

    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "again", error)) << error;
    const Job again = read_or_fail(dir / "again");
    EXPECT_EQ(job_digest(again), job_digest(job));
    EXPECT_EQ(again.steps.at("pcb").repeats.at(0).dx, 10000000);
    EXPECT_EQ(again.steps.at("pcb").layers.at("drill").tools.at(0).max_tol, 25000);
}

TEST(OdbJob, CompressedFeaturesAreRead)
{
    test::TempDir dir;
    write_small_job(dir / "small", kSmallTop);
    const std::string plain = dir / "small/steps/pcb/layers/top/features";
    for (const bool gzip : {true, false}) {
        // The features file compressed as one stream: gzip or the old compress.
        archive* a = archive_write_new();
        gzip ? archive_write_add_filter_gzip(a) : archive_write_add_filter_compress(a);
        archive_write_set_format_raw(a);
        const std::string packed = plain + (gzip ? ".gz" : ".Z");
        ASSERT_EQ(archive_write_open_filename(a, packed.c_str()), ARCHIVE_OK);
        archive_entry* e = archive_entry_new();
        archive_entry_set_filetype(e, AE_IFREG);
        archive_write_header(a, e);
        archive_write_data(a, kSmallTop, std::strlen(kSmallTop));
        archive_entry_free(e);
        archive_write_free(a);
        fs::remove(plain);
        const Job job = read_or_fail(dir / "small");
        EXPECT_EQ(job.steps.at("pcb").layers.at("top").features.size(), 6u);
        fs::remove(packed);
        test::write_file(plain, kSmallTop);
    }
}

TEST(OdbJob, BadInputIsRefusedWithTheReason)
{
    test::TempDir dir;
    Job job;
    std::string error;
    // A truncated archive.
    const std::string whole = test::read_file(kSample);
    test::write_file(dir / "cut.tgz", whole.substr(0, whole.size() / 2));
    EXPECT_FALSE(odb::read_job(dir / "cut.tgz", job, error));
    EXPECT_FALSE(error.empty());
    // No matrix.
    write_small_job(dir / "nomatrix", kSmallTop);
    fs::remove(dir / "nomatrix/matrix/matrix");
    EXPECT_FALSE(odb::read_job(dir / "nomatrix", job = Job(), error));
    EXPECT_NE(error.find("matrix/matrix"), std::string::npos) << error;
    // A features line that does not parse: the file and the line are named.
    write_small_job(dir / "badline", std::string(kSmallTop) + "L 0 0 1 1 0 P\n");
    EXPECT_FALSE(odb::read_job(dir / "badline", job = Job(), error));
    EXPECT_NE(error.find("steps/pcb/layers/top/features: line 20"), std::string::npos) << error;
    // Not there at all.
    EXPECT_FALSE(odb::read_job(dir / "nothing", job = Job(), error));
}

TEST(OdbJob, ArchiveEntriesCannotLeaveTheJob)
{
    test::TempDir dir;
    const std::string tgz = dir / "hostile.tgz";
    archive* a = archive_write_new();
    archive_write_add_filter_gzip(a);
    archive_write_set_format_pax_restricted(a);
    ASSERT_EQ(archive_write_open_filename(a, tgz.c_str()), ARCHIVE_OK);
    auto add = [a](const std::string& path, const std::string& text, unsigned type = AE_IFREG, const char* link = nullptr) {
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, path.c_str());
        archive_entry_set_filetype(e, type);
        archive_entry_set_perm(e, 0644);
        if (link) archive_entry_set_symlink(e, link);
        archive_entry_set_size(e, static_cast<la_int64_t>(type == AE_IFREG ? text.size() : 0));
        archive_write_header(a, e);
        if (type == AE_IFREG) archive_write_data(a, text.data(), text.size());
        archive_entry_free(e);
    };
    add("job/matrix/matrix", "STEP {\n COL=1\n NAME=PCB\n}\n");
    add("job/misc/info", "UNITS=MM\n");
    add("job/../../escaped", "no");
    add("/etc/absolute", "no");
    add("job/misc/link", "", AE_IFLNK, "/etc/passwd");
    add("job/user/kept", "yes");
    archive_write_free(a);

    Job job;
    std::string error;
    ASSERT_TRUE(odb::read_job(tgz, job, error)) << error;
    EXPECT_EQ(job.files.size(), 1u);
    EXPECT_EQ(job.files.at("user/kept"), "yes");
    EXPECT_FALSE(fs::exists(dir / "escaped"));
    EXPECT_EQ(job.columns.at(0).name, "pcb");
}

TEST(OdbJob, AFailedSaveLeavesTheOldJobAlone)
{
    test::TempDir dir;
    write_small_job(dir / "small", kSmallTop);
    Job job = read_or_fail(dir / "small");
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "saved", error)) << error;
    const std::string before = job_digest(read_or_fail(dir / "saved"));
    // A file the writer must refuse, late in the save.
    job.steps.at("pcb").layers.at("top").features.clear();
    job.files["../outside"] = "no";
    EXPECT_FALSE(odb::save_job(job, dir / "saved", error));
    EXPECT_NE(error.find("outside"), std::string::npos) << error;
    EXPECT_EQ(job_digest(read_or_fail(dir / "saved")), before);
    EXPECT_FALSE(fs::exists(dir / "outside"));
    int entries = 0;
    for (fs::directory_iterator it(dir.path()), end; it != end; ++it) ++entries;
    EXPECT_EQ(entries, 2); // small and saved, no half-written folder beside them
}

TEST(OdbJob, ZipArchivesWithTheJobAtTheirTop)
{
    test::TempDir dir;
    write_small_job(dir / "small", kSmallTop);
    const std::string zip = dir / "small.zip";
    archive* a = archive_write_new();
    archive_write_set_format_zip(a);
    ASSERT_EQ(archive_write_open_filename(a, zip.c_str()), ARCHIVE_OK);
    for (fs::recursive_directory_iterator it(dir / "small"), end; it != end; ++it) {
        if (!fs::is_regular_file(it->path())) continue;
        const std::string text = test::read_file(it->path().string());
        archive_entry* e = archive_entry_new();
        archive_entry_set_pathname(e, it->path().lexically_relative(dir / "small").generic_string().c_str());
        archive_entry_set_filetype(e, AE_IFREG);
        archive_entry_set_perm(e, 0644);
        archive_entry_set_size(e, static_cast<la_int64_t>(text.size()));
        archive_write_header(a, e);
        archive_write_data(a, text.data(), text.size());
        archive_entry_free(e);
    }
    archive_write_free(a);
    EXPECT_EQ(job_digest(read_or_fail(zip)), job_digest(read_or_fail(dir / "small")));
}

TEST(OdbJob, ASaveKilledAtAnyMomentLeavesOneWholeJob)
{
    test::TempDir dir;
    write_small_job(dir / "small", kSmallTop);
    const Job before = read_or_fail(dir / "small");
    Job after = before;
    after.steps.at("pcb").layers.at("top").features.resize(2);
    after.rows.pop_back();
    const std::string old_digest = job_digest(before), new_digest = job_digest(after);
    ASSERT_NE(old_digest, new_digest);
    const std::string target = dir / "target";
    std::string error;
    for (int round = 0; round < 12; ++round) {
        ASSERT_TRUE(odb::save_job(before, target, error)) << error;
        const pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            std::string e;
            _exit(odb::save_job(after, target, e) ? 0 : 1);
        }
        usleep(static_cast<useconds_t>(round * 1500));
        kill(child, SIGKILL);
        int status = 0;
        waitpid(child, &status, 0);
        Job seen;
        ASSERT_TRUE(odb::read_job(target, seen, error)) << "round " << round << ": " << error;
        const std::string digest = job_digest(seen);
        EXPECT_TRUE(digest == old_digest || digest == new_digest) << "round " << round << " saw a mix";
    }
}
