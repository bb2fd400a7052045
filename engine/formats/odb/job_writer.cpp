#include "engine/formats/odb/job_io.h"
#include "engine/model/text.h"
#include "engine/api/progress.h"

#include "engine/formats/odb/structured.h"
#include "engine/formats/odb/symbols.h"

#include <archive.h>
#include <archive_entry.h>
#include <boost/filesystem.hpp>
#include <glog/logging.h>

#include <algorithm>
#include <functional>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <memory>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = boost::filesystem;

namespace kesto::odb {
namespace {


bool safe_relative(const std::string& path)
{
    if (path.empty() || path.front() == '/') return false;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t slash = path.find('/', start);
        const std::string part = path.substr(start, slash == std::string::npos ? std::string::npos : slash - start);
        if (part.empty() || part == "." || part == "..") return false;
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    return true;
}

bool sync_path(const std::string& path, int flags)
{
    const int fd = ::open(path.c_str(), flags | O_CLOEXEC);
    if (fd < 0) return false;
    const bool ok = ::fsync(fd) == 0;
    ::close(fd);
    return ok;
}

// Writes the files of a job under one folder.
class JobWriter {
public:
    explicit JobWriter(std::string root) : root_(std::move(root)) {}

    bool put(const std::string& relative, const std::string& bytes)
    {
        if (!safe_relative(relative)) return fail(relative + ": not a path inside the job");
        const fs::path path = fs::path(root_) / relative;
        boost::system::error_code ec;
        const fs::path dir = path.parent_path();
        if (!fs::is_directory(dir, ec) && !fs::create_directories(dir, ec) && ec)
            return fail(dir.string() + ": " + ec.message());
        const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        if (fd < 0) return fail(path.string() + ": " + std::strerror(errno));
        size_t done = 0;
        while (done < bytes.size()) {
            const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) {
                ::close(fd);
                return fail(path.string() + ": " + std::strerror(errno));
            }
            done += static_cast<size_t>(n);
        }
        if (::close(fd) != 0) return fail(path.string() + ": cannot be written");
        return true;
    }

    // One flush of the whole file system instead of one journal commit per
    // file: every file and folder written is on disk when it returns.
    bool sync_all()
    {
        const int fd = ::open(root_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
        if (fd < 0) return fail(root_ + ": " + std::strerror(errno));
        const bool ok = ::syncfs(fd) == 0;
        ::close(fd);
        return ok || fail(root_ + ": cannot be written to disk");
    }

    const std::string& error() const { return error_; }

private:
    bool fail(const std::string& what)
    {
        error_ = what;
        return false;
    }
    std::string root_;
    std::string error_;
};

std::string attrlist_text(const std::map<std::string, std::string>& attributes)
{
    // UNITS is no attribute but the unit of the values that follow: it leads.
    StructuredText text;
    if (auto units = attributes.find("UNITS"); units != attributes.end()) text.fields.emplace_back(units->first, units->second);
    for (const auto& [key, value] : attributes)
        if (key != "UNITS") text.fields.emplace_back(key, value);
    return write_structured(text, "=");
}

std::string matrix_text(const Job& job)
{
    StructuredText text;
    int col = 0;
    for (const MatrixStep& step : job.columns) {
        if (step.name.empty()) continue; // a blank column holds nothing to keep
        Block block{"STEP", {{"COL", std::to_string(++col)}, {"NAME", upper(step.name)}}};
        if (step.id) block.fields.emplace_back("ID", std::to_string(step.id));
        text.blocks.push_back(std::move(block));
    }
    int row_number = 0;
    for (const MatrixRow& row : job.rows) {
        if (row.name.empty()) continue;
        Block block{"LAYER",
                    {{"ROW", std::to_string(++row_number)},
                     {"CONTEXT", row.context},
                     {"TYPE", row.type},
                     {"NAME", upper(row.name)},
                     {"POLARITY", row.polarity},
                     {"DIELECTRIC_TYPE", row.dielectric_type},
                     {"DIELECTRIC_NAME", row.dielectric_name},
                     {"FORM", row.form},
                     {"CU_TOP", row.cu_top},
                     {"CU_BOTTOM", row.cu_bottom},
                     {"START_NAME", upper(row.start_name)},
                     {"END_NAME", upper(row.end_name)},
                     {"OLD_NAME", upper(row.old_name)},
                     {"ADD_TYPE", row.add_type},
                     {"COLOR", std::to_string(row.color)}}};
        for (const auto& [key, value] : row.other) block.fields.emplace_back(key, value);
        if (row.id) block.fields.emplace_back("ID", std::to_string(row.id));
        text.blocks.push_back(std::move(block));
    }
    return write_structured(text);
}

std::string stephdr_text(const Step& step, Units job_units)
{
    auto it = step.header.find("UNITS");
    const Units units = it != step.header.end() && (it->second == "MM" || it->second == "mm") ? Units::Mm
                        : it != step.header.end()                                         ? Units::Inch
                                                                                          : job_units;
    const double per_unit = units == Units::Inch ? kNmPerInch : kNmPerMm;
    auto length = [per_unit](Coord v) { return format_length(static_cast<double>(v), per_unit, 10); };
    StructuredText text;
    text.fields.emplace_back("UNITS", units == Units::Inch ? "INCH" : "MM");
    text.fields.emplace_back("X_DATUM", length(step.datum.x));
    text.fields.emplace_back("Y_DATUM", length(step.datum.y));
    for (const auto& [key, value] : step.header)
        if (key != "UNITS") text.fields.emplace_back(key, value);
    for (const StepRepeat& sr : step.repeats) {
        char angle[32];
        std::snprintf(angle, sizeof angle, "%.17g", sr.angle);
        text.blocks.push_back(Block{"STEP-REPEAT",
                                    {{"NAME", upper(sr.step)},
                                     {"X", length(sr.origin.x)},
                                     {"Y", length(sr.origin.y)},
                                     {"DX", length(sr.dx)},
                                     {"DY", length(sr.dy)},
                                     {"NX", std::to_string(sr.nx)},
                                     {"NY", std::to_string(sr.ny)},
                                     {"ANGLE", angle},
                                     {"MIRROR", sr.mirror ? "YES" : "NO"},
                                     {"FLIP", sr.flip ? "YES" : "NO"}}});
    }
    return write_structured(text);
}

std::string tools_text(const Layer& layer, Units job_units)
{
    StructuredText text;
    Units units = job_units;
    if (auto it = layer.tools_header.find("UNITS"); it != layer.tools_header.end())
        units = it->second == "MM" || it->second == "mm" ? Units::Mm : Units::Inch;
    const double per_unit = units == Units::Inch ? kNmPerMil : kNmPerMicron;
    auto size = [per_unit](Coord v) { return format_length(static_cast<double>(v), per_unit, 7); };
    text.fields.emplace_back("UNITS", units == Units::Inch ? "INCH" : "MM");
    for (const auto& [key, value] : layer.tools_header)
        if (key != "UNITS") text.fields.emplace_back(key, value);
    for (const DrillTool& t : layer.tools)
        text.blocks.push_back(Block{"TOOLS",
                                    {{"NUM", std::to_string(t.number)},
                                     {"TYPE", t.type},
                                     {"TYPE2", t.type2},
                                     {"MIN_TOL", size(t.min_tol)},
                                     {"MAX_TOL", size(t.max_tol)},
                                     {"BIT", t.bit},
                                     {"FINISH_SIZE", size(t.finish_size)},
                                     {"DRILL_SIZE", size(t.drill_size)}}});
    return write_structured(text);
}

// Attributes the features carry that the job does not define (a host set
// them) are written as text attributes, with a definition added to
// misc/userattr: any reader then takes a value holding a comma whole. The
// definitions to add; `texts` gains their names.
std::string undefined_attribute_defs(const Job& job, TextAttributes& texts, const OptionLists& options)
{
    std::set<std::string> names;
    auto scan = [&](const Layer& layer) {
        std::vector<char> valued(layer.attribute_names.size());
        for (const auto& set : layer.attribute_sets)
            for (const AttributeValue& v : set)
                if (v.name < valued.size() && !v.value.empty()) valued[v.name] = 1;
        for (size_t i = 0; i < valued.size(); ++i) {
            const std::string& name = layer.attribute_names[i];
            if (valued[i] && !name.empty() && name[0] != '.' && !job.attribute_defs.count(name) && !texts.count(name) &&
                !options.count(name))
                names.insert(name);
        }
    };
    for (const auto& [sname, step] : job.steps)
        for (const auto& [lname, layer] : step.layers) scan(layer);
    for (const auto& [name, user] : job.symbols) scan(user.features);
    std::string out;
    for (const std::string& name : names) {
        texts.insert(name);
        out += "TEXT {\n    NAME=" + name + "\n    PROMPT=" + name +
               "\n    ENTITY=feature\n    MIN_LEN=0\n    MAX_LEN=1000\n}\n\n";
    }
    return out;
}

std::string profile_text(const Step& step, Units units, const TextAttributes& texts)
{
    Layer layer;
    layer.units = units;
    layer.surfaces.push_back(step.profile);
    Feature f;
    f.kind = FeatureKind::Surface;
    layer.features.push_back(f);
    return write_features_file(layer, texts);
}

// Hands every file of the job, by its path inside the job, to `put`.
bool write_files(const Job& job, const std::function<bool(const std::string&, const std::string&)>& put)
{
    TextAttributes texts = text_attributes(job);
    const OptionLists options = option_lists(job);
    const std::string added_defs = undefined_attribute_defs(job, texts, options);
    StructuredText info;
    for (const auto& [key, value] : job.info) info.fields.emplace_back(key, value);
    if (!put("matrix/matrix", matrix_text(job)) || !put("misc/info", write_structured(info)) ||
        !put("misc/attrlist", attrlist_text(job.attributes)))
        return false;
    for (const auto& [path, bytes] : job.files)
        if (!put(path, path == "misc/userattr" ? bytes + (bytes.empty() || bytes.back() == '\n' ? "" : "\n") + added_defs : bytes))
            return false;
    if (!added_defs.empty() && !job.files.count("misc/userattr") && !put("misc/userattr", added_defs)) return false;
    // The host's bar counts layers written, the slow part of a large job.
    KESTO::COMMON::progress_value<int> progress;
    for (const auto& [name, step] : job.steps) progress.total += int(step.layers.size());
    for (const auto& [name, step] : job.steps) {
        if (name.empty()) continue;
        const std::string dir = "steps/" + name + "/";
        if (!put(dir + "stephdr", stephdr_text(step, job.units)) ||
            !put(dir + "attrlist", attrlist_text(step.attributes)) ||
            (step.has_profile && !put(dir + "profile", profile_text(step, job.units, texts))))
            return false;
        for (const auto& [path, bytes] : step.files)
            if (!put(dir + path, bytes)) return false;
        for (const auto& [lname, layer] : step.layers) {
            ++progress.done;
            if (lname.empty()) continue;
            const std::string ldir = dir + "layers/" + lname + "/";
            if (!put(ldir + "features", write_features_file(layer, texts, options)) ||
                (!layer.attributes.empty() && !put(ldir + "attrlist", attrlist_text(layer.attributes))) ||
                ((!layer.tools.empty() || !layer.tools_header.empty()) && !put(ldir + "tools", tools_text(layer, job.units))))
                return false;
            for (const auto& [path, bytes] : layer.files)
                if (!put(ldir + path, bytes)) return false;
        }
    }
    for (const auto& [name, user] : job.symbols) {
        const std::string dir = "symbols/" + name + "/";
        if (!put(dir + "features", write_features_file(user.features, texts, options)) ||
            (!user.attributes.empty() && !put(dir + "attrlist", attrlist_text(user.attributes))))
            return false;
    }
    return true;
}

// File systems without an exchanging rename: the old job steps aside, the new
// one moves in. A crash in between leaves the old job whole beside the target.
bool swap_by_two_renames(const std::string& fresh, const std::string& target, std::string& error)
{
    if (errno != EINVAL && errno != ENOSYS) {
        error = target + ": cannot swap the saved job in: " + std::strerror(errno);
        return false;
    }
    const std::string aside = fresh + ".old";
    if (::rename(target.c_str(), aside.c_str()) != 0) {
        error = target + ": cannot move the old job aside: " + std::strerror(errno);
        return false;
    }
    if (::rename(fresh.c_str(), target.c_str()) != 0) {
        error = target + ": cannot move the saved job in: " + std::strerror(errno);
        ::rename(aside.c_str(), target.c_str());
        return false;
    }
    boost::system::error_code ec;
    fs::remove_all(aside, ec);
    return true;
}

} // namespace

bool save_job(const Job& job, const std::string& target_text, std::string& error)
{
    boost::system::error_code ec;
    const fs::path target = fs::absolute(fs::path(target_text)).lexically_normal();
    const fs::path parent = target.parent_path();
    if (target.filename().empty() || target.filename() == "." || target.filename() == "..") {
        error = target_text + ": not a job folder";
        return false;
    }
    if (fs::exists(target, ec) && !fs::is_directory(target, ec)) {
        error = target.string() + " exists and is not a folder";
        return false;
    }
    fs::create_directories(parent, ec);
    std::string pattern = (parent / ("." + target.filename().string() + ".saving-XXXXXX")).string();
    if (!mkdtemp(pattern.data())) {
        error = parent.string() + ": cannot write beside the job: " + std::strerror(errno);
        return false;
    }
    const std::string fresh = pattern;
    // The temporary folder is private; the job takes the mode any new folder
    // would, so that others read a shared job library as the umask allows.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::chmod(fresh.c_str(), 0777 & ~mask);
    JobWriter writer(fresh);
    if (!write_files(job, [&](const std::string& path, const std::string& bytes) { return writer.put(path, bytes); }) ||
        !writer.sync_all()) {
        error = writer.error();
        fs::remove_all(fresh, ec);
        return false;
    }
    if (fs::exists(target, ec)) {
        // Swap the folders in one step; the old job then sits in `fresh`.
        if (::renameat2(AT_FDCWD, fresh.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) != 0 &&
            !swap_by_two_renames(fresh, target.string(), error)) {
            fs::remove_all(fresh, ec);
            return false;
        }
    } else if (::rename(fresh.c_str(), target.c_str()) != 0) {
        error = target.string() + ": cannot move the saved job in: " + std::strerror(errno);
        fs::remove_all(fresh, ec);
        return false;
    }
    sync_path(parent.string(), O_RDONLY | O_DIRECTORY);
    fs::remove_all(fresh, ec);
    if (ec) LOG(WARNING) << "the previous copy of the job stays in " << fresh << ": " << ec.message();
    return true;
}

bool pack_job(const Job& job, const std::string& top, std::string& bytes, std::string& error)
{
    bytes.clear();
    std::unique_ptr<archive, int (*)(archive*)> a(archive_write_new(), archive_write_free);
    auto append = [](archive*, void* out, const void* data, size_t size) -> la_ssize_t {
        static_cast<std::string*>(out)->append(static_cast<const char*>(data), size);
        return static_cast<la_ssize_t>(size);
    };
    // zstd at level 1: the archive is written on every store, and it packs
    // features text smaller than gzip and faster.
    if (archive_write_set_format_pax_restricted(a.get()) != ARCHIVE_OK ||
        archive_write_add_filter_zstd(a.get()) != ARCHIVE_OK ||
        archive_write_set_filter_option(a.get(), "zstd", "compression-level", "1") != ARCHIVE_OK ||
        archive_write_set_bytes_in_last_block(a.get(), 1) != ARCHIVE_OK ||
        archive_write_open(a.get(), &bytes, nullptr, append, nullptr) != ARCHIVE_OK) {
        error = std::string("cannot start the archive: ") + (archive_error_string(a.get()) ? archive_error_string(a.get()) : "");
        return false;
    }
    const std::string prefix = top.empty() ? std::string() : top + "/";
    const std::time_t now = std::time(nullptr);
    std::unique_ptr<archive_entry, void (*)(archive_entry*)> entry(archive_entry_new(), archive_entry_free);
    const bool written = write_files(job, [&](const std::string& path, const std::string& data) {
        if (!safe_relative(path)) {
            error = path + ": not a path inside the job";
            return false;
        }
        archive_entry_clear(entry.get());
        archive_entry_set_pathname(entry.get(), (prefix + path).c_str());
        archive_entry_set_filetype(entry.get(), AE_IFREG);
        archive_entry_set_perm(entry.get(), 0644);
        archive_entry_set_size(entry.get(), static_cast<la_int64_t>(data.size()));
        archive_entry_set_mtime(entry.get(), now, 0);
        if (archive_write_header(a.get(), entry.get()) != ARCHIVE_OK ||
            (!data.empty() && archive_write_data(a.get(), data.data(), data.size()) != static_cast<la_ssize_t>(data.size()))) {
            error = path + ": " + (archive_error_string(a.get()) ? archive_error_string(a.get()) : "cannot be archived");
            return false;
        }
        return true;
    });
    if (!written) return false;
    if (archive_write_close(a.get()) != ARCHIVE_OK) {
        error = std::string("cannot finish the archive: ") + (archive_error_string(a.get()) ? archive_error_string(a.get()) : "");
        return false;
    }
    return true;
}

} // namespace kesto::odb
