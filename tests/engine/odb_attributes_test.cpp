// Feature attributes across a read and a save: option attributes in every
// form a features file may hold them, valueless attributes, texts holding
// commas; and the drill tables that depend on them, checked against counts
// taken straight from the sample job's own files.
#include "engine/api/exchange.h"
#include "engine/formats/odb/features.h"
#include "engine/formats/odb/job_io.h"
#include "engine/formats/odb/symbols.h"
#include "engine/store/store.h"
#include "support/test_support.h"

#include <archive.h>
#include <archive_entry.h>
#include <gtest/gtest.h>

#include <cctype>
#include <cmath>
#include <map>
#include <set>
#include <sstream>
#include <sys/stat.h>

using namespace kesto;

namespace {

const std::string kSample = std::string(KESTO_TESTDATA) + "/odb/sample_design.tgz";

Job read_or_fail(const std::string& where)
{
    Job job;
    std::string error;
    EXPECT_TRUE(odb::read_job(where, job, error)) << error;
    return job;
}

// One file of the sample archive, as stored.
std::string sample_file(const std::string& suffix)
{
    archive* a = archive_read_new();
    archive_read_support_filter_all(a);
    archive_read_support_format_all(a);
    std::string out;
    if (archive_read_open_filename(a, kSample.c_str(), 1 << 16) == ARCHIVE_OK) {
        archive_entry* e;
        while (archive_read_next_header(a, &e) == ARCHIVE_OK) {
            const std::string name = archive_entry_pathname(e);
            if (name.size() < suffix.size() || name.compare(name.size() - suffix.size(), suffix.size(), suffix) != 0)
                continue;
            char buf[1 << 16];
            for (la_ssize_t n; (n = archive_read_data(a, buf, sizeof buf)) > 0;) out.append(buf, size_t(n));
            break;
        }
    }
    archive_read_free(a);
    return out;
}

// Per attribute name of a features file, how many items carry it without a
// value ("0") and with one ("0=3"), read from the text alone.
std::map<std::string, std::pair<int, int>> attribute_forms(const std::string& features)
{
    std::map<int, std::string> names;
    std::map<std::string, std::pair<int, int>> forms;
    std::istringstream lines(features);
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind('@', 0) == 0) {
            const size_t space = line.find(' ');
            names[std::stoi(line.substr(1, space - 1))] = line.substr(space + 1);
            continue;
        }
        const size_t semi = line.find(';');
        if (line.empty() || line[0] == '#' || semi == std::string::npos) continue;
        std::string section = line.substr(semi + 1);
        section = section.substr(0, section.find(';'));
        std::istringstream items(section);
        for (std::string item; std::getline(items, item, ',');) {
            if (item.empty() || !std::isdigit(static_cast<unsigned char>(item[0]))) continue;
            auto& form = forms[names[std::stoi(item)]];
            (item.find('=') == std::string::npos ? form.first : form.second)++;
        }
    }
    return forms;
}

std::map<std::string, int> drill_values(const Layer& layer)
{
    std::map<std::string, int> out;
    for (const Feature& f : layer.features)
        if (f.attributes)
            for (const AttributeValue& v : layer.attribute_sets[f.attributes - 1])
                if (layer.attribute_names[v.name] == ".drill") ++out[v.value];
    return out;
}

} // namespace

// The sample writes .drill by option number (plated 0, non_plated 1, via 2);
// each feature holds the name, and a save writes the number again.
TEST(OdbAttributes, OptionNumbersOfTheSampleReadAsNamesAndSaveAsNumbers)
{
    const std::string original = sample_file("steps/step/layers/drill/features");
    ASSERT_FALSE(original.empty());
    // Counted from the file's own text: items "1=k" with @1 .drill.
    std::map<std::string, int> expected;
    const char* options[] = {"plated", "non_plated", "via"};
    for (size_t at = original.find(",1="); at != std::string::npos; at = original.find(",1=", at + 1))
        ++expected[options[original[at + 3] - '0']];
    ASSERT_EQ(expected.size(), 3u);

    const Job job = read_or_fail(kSample);
    EXPECT_EQ(drill_values(job.steps.at("step").layers.at("drill")), expected);

    test::TempDir dir;
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "copy", error)) << error;
    const std::string saved = test::read_file(dir / "copy/steps/step/layers/drill/features");
    EXPECT_EQ(attribute_forms(saved)[".drill"], attribute_forms(original)[".drill"]);
    EXPECT_EQ(saved.find("=via"), std::string::npos);
    EXPECT_EQ(drill_values(read_or_fail(dir / "copy").steps.at("step").layers.at("drill")), expected);
}

TEST(OdbAttributes, OptionsByNameOrByNumberOfTheJobsOwnList)
{
    Job job;
    std::string error;
    ASSERT_TRUE(odb::parse_attribute_defs("OPTION {\n NAME=_finish\n OPTIONS=hasl;enig;osp\n ENTITY=feature\n}\n",
                                          job.attribute_defs, error));
    Layer layer;
    ASSERT_TRUE(odb::read_features_file("UNITS=MM\n$0 r100\n@0 .drill\n@1 _finish\n"
                                        "P 0 0 0 P 0 0;0=NON_PLATED,1=2\nP 1 0 0 P 0 0;0=2,1=enig\nP 2 0 0 P 0 0;0=7\n",
                                        layer, Units::Mm, error))
        << error;
    odb::resolve_attribute_texts(layer, odb::text_attributes(job), odb::option_lists(job));
    auto values = [&](size_t i) {
        std::string out;
        for (const AttributeValue& v : layer.attribute_sets[layer.features[i].attributes - 1])
            out += layer.attribute_names[v.name] + "=" + v.value + " ";
        return out;
    };
    EXPECT_EQ(values(0), ".drill=non_plated _finish=osp ");
    EXPECT_EQ(values(1), ".drill=via _finish=enig ");
    EXPECT_EQ(values(2), ".drill=7 ") << "a number beyond the list is kept as it stands";
    const std::string written = odb::write_features_file(layer, odb::text_attributes(job), odb::option_lists(job));
    EXPECT_NE(written.find(";0=1,1=2"), std::string::npos) << written;
    EXPECT_NE(written.find(";0=2,1=1"), std::string::npos) << written;
}

// Valueless attributes stay valueless in the saved files, layer by layer, as
// the sample's own files hold them (.nomenclature on its silk screens).
TEST(OdbAttributes, ValuelessAttributesSaveWithoutAValue)
{
    const Job job = read_or_fail(kSample);
    test::TempDir dir;
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "copy", error)) << error;
    int layers_with_flags = 0;
    for (const auto& [name, layer] : job.steps.at("step").layers) {
        SCOPED_TRACE(name);
        const auto before = attribute_forms(sample_file("steps/step/layers/" + name + "/features"));
        const auto after = attribute_forms(test::read_file(dir / ("copy/steps/step/layers/" + name + "/features")));
        EXPECT_EQ(after, before);
        layers_with_flags += before.count(".nomenclature") && before.at(".nomenclature").first > 0;
    }
    EXPECT_GT(layers_with_flags, 0);
}

// A host's attribute the job does not define, with a comma in its value,
// reads back whole: the save defines it as a text attribute.
TEST(OdbAttributes, UndefinedTextAttributesWithCommasReadBackWhole)
{
    Job job;
    job.name = "notes";
    job.units = Units::Mm;
    MatrixRow row;
    row.name = "top";
    row.context = "BOARD";
    row.type = "SIGNAL";
    job.rows.push_back(row);
    job.columns.push_back(MatrixStep{});
    job.columns.back().name = "pcb";
    Step& step = job.steps["pcb"];
    step.name = "pcb";
    Layer& top = step.layers["top"];
    top.units = Units::Mm;
    std::string error;
    top.symbols.push_back(odb::parse_symbol_name("r100", Units::Mm));
    ASSERT_TRUE(odb::parse_feature_record("P 0 0 0 P 0 0", top, Units::Mm, &error)) << error;
    ASSERT_EQ(top.features.size(), 1u);
    top.attribute_names = {"my_note", "my_flag"};
    top.attribute_sets = {{{0, "x,y"}, {1, ""}}};
    top.features[0].attributes = 1;

    test::TempDir dir;
    ASSERT_TRUE(odb::save_job(job, dir / "notes", error)) << error;
    const Job copy = read_or_fail(dir / "notes");
    const Layer& back = copy.steps.at("pcb").layers.at("top");
    ASSERT_EQ(back.features.size(), 1u);
    ASSERT_NE(back.features[0].attributes, 0u);
    std::map<std::string, std::string> read;
    for (const AttributeValue& v : back.attribute_sets[back.features[0].attributes - 1])
        read[back.attribute_names[v.name]] = v.value;
    EXPECT_EQ(read, (std::map<std::string, std::string>{{"my_flag", ""}, {"my_note", "x,y"}}));
    EXPECT_EQ(copy.attribute_defs.at("my_note").kind, "TEXT");
}

// Each tool counts the holes of its size and plating, as the sample's own
// features and tools files give them.
TEST(OdbAttributes, DrillToolsOfTheSampleCountTheirHoles)
{
    // Symbol sizes in mils and the .drill option number of every record.
    const std::string features = sample_file("steps/step/layers/drill/features");
    std::map<int, int> size_of;
    std::map<std::pair<int, int>, int> holes; // (size, plating) -> count
    std::istringstream lines(features);
    int records = 0;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind('$', 0) == 0) {
            const size_t space = line.find(' ');
            size_of[std::stoi(line.substr(1, space - 1))] = std::stoi(line.substr(space + 2));
            continue;
        }
        if (line.rfind("P ", 0) != 0 && line.rfind("L ", 0) != 0) continue;
        std::istringstream fields(line.substr(0, line.find(';')));
        std::vector<std::string> f;
        for (std::string w; fields >> w;) f.push_back(w);
        const int symbol = std::stoi(line[0] == 'P' ? f[3] : f[5]);
        const size_t drill = line.find(",1=");
        ASSERT_NE(drill, std::string::npos) << line;
        ++holes[{size_of.at(symbol), line[drill + 3] - '0'}];
        ++records;
    }
    ASSERT_EQ(records, 1972);

    Job job = read_or_fail(kSample);
    job.name = "drill_sample";
    store::add_job(std::move(job));
    std::vector<KESTO::API::drill_tools_info> tools;
    ASSERT_TRUE(KESTO::API::get_drill_info("drill_sample", "step", "drill", tools, 0));
    ASSERT_EQ(tools.size(), 16u);
    int total = 0;
    for (const auto& t : tools) {
        const int mils = int(std::llround(t.iHoleSize / double(kNmPerMil)));
        EXPECT_EQ(t.iToolCount, (holes[{mils, t.eToolType}])) << "tool " << t.iToolIdx;
        total += t.iToolCount;
        if (mils == 188 || mils == 47) EXPECT_EQ(t.eToolType, 1) << "the mounting holes are not plated";
    }
    EXPECT_EQ(total, records);
    store::remove_job("drill_sample");
}

// A saved job folder takes the mode the umask gives a new folder.
TEST(OdbAttributes, SavedJobFolderFollowsTheUmask)
{
    test::TempDir dir;
    Job job;
    job.name = "shared";
    const mode_t old = ::umask(022);
    std::string error;
    const bool saved = odb::save_job(job, dir / "shared", error);
    ::umask(old);
    ASSERT_TRUE(saved) << error;
    struct stat st {};
    ASSERT_EQ(::stat((dir / "shared").c_str(), &st), 0);
    EXPECT_EQ(st.st_mode & 0777, 0755u);
}

// The exports follow: the sample's 47 and 188 mil mounting holes are drilled
// as non-plated tools; the attribute list's UNITS is no Gerber attribute and
// leads a saved attribute list.
TEST(OdbAttributes, ExportsKeepPlatingAndTheAttributeListUnit)
{
    const Job job = read_or_fail(kSample);
    const Layer& drill = job.steps.at("step").layers.at("drill");
    std::string text;
    Reports reports;
    excellon::write(drill, excellon::WriteOptions{}, text, reports);
    // The tool table: each ";TYPE=" line names the plating of the tools after it.
    std::map<std::string, std::set<std::string>> tools;
    std::istringstream header(text.substr(0, text.find("%\n")));
    std::string type;
    for (std::string line; std::getline(header, line);) {
        if (line.rfind(";TYPE=", 0) == 0) type = line.substr(6);
        else if (line[0] == 'T' && line.find('C') != std::string::npos) tools[type].insert(line.substr(line.find('C') + 1));
    }
    EXPECT_EQ(tools["NON_PLATED"], (std::set<std::string>{"1.194", "4.775"})) << text.substr(0, 600);
    EXPECT_EQ(tools["PLATED"].count("4.775") + tools["PLATED"].count("1.194"), 0u);

    ASSERT_EQ(drill.attributes.count("UNITS"), 1u);
    gerber::WriteOptions metric;
    std::string gerber_text;
    gerber::write(drill, job.symbols, metric, gerber_text, reports);
    EXPECT_NE(gerber_text.find("%MOMM*%"), std::string::npos);
    EXPECT_EQ(gerber_text.find("UNITS"), std::string::npos);

    test::TempDir dir;
    std::string error;
    ASSERT_TRUE(odb::save_job(job, dir / "copy", error)) << error;
    EXPECT_EQ(test::read_file(dir / "copy/steps/step/layers/drill/attrlist").rfind("UNITS=INCH\n", 0), 0u);
}
