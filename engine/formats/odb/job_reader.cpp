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
#include <charconv>
#include <cmath>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>

namespace fs = boost::filesystem;

namespace kesto::odb {
namespace {

using FileSink = std::function<bool(const std::string& path, std::string&& bytes)>;


std::vector<std::string> split_path(const std::string& path)
{
    std::vector<std::string> parts;
    size_t start = 0;
    while (start <= path.size()) {
        const size_t slash = path.find('/', start);
        parts.push_back(path.substr(start, slash == std::string::npos ? std::string::npos : slash - start));
        if (slash == std::string::npos) break;
        start = slash + 1;
    }
    return parts;
}

// A path inside the job: relative, no "..", no empty parts. "./" prefixes go.
bool clean_entry_path(std::string& path)
{
    while (path.compare(0, 2, "./") == 0) path.erase(0, 2);
    if (path.empty() || path.front() == '/') return false;
    for (const std::string& part : split_path(path))
        if (part.empty() || part == "." || part == "..") return false;
    return true;
}

bool is_job_top(const std::string& name)
{
    static const char* const kTops[] = {"matrix", "misc", "steps", "symbols", "fonts", "user", "ext", "wheels", "input", "output"};
    return std::find(std::begin(kTops), std::end(kTops), name) != std::end(kTops);
}

using ArchivePtr = std::unique_ptr<archive, int (*)(archive*)>;

bool read_entry_data(archive* a, std::string& bytes, std::string& error)
{
    char buffer[65536];
    for (;;) {
        const la_ssize_t n = archive_read_data(a, buffer, sizeof buffer);
        if (n == 0) return true;
        if (n < 0) {
            error = archive_error_string(a) ? archive_error_string(a) : "unreadable entry";
            return false;
        }
        bytes.append(buffer, static_cast<size_t>(n));
    }
}

// `location` names the archive in messages; `memory`, when given, holds its
// bytes, else it is read from the file.
bool walk_archive(const std::string& location, const FileSink& sink, std::string& error, const std::string* memory,
                  KESTO::COMMON::progress_value<long long>* progress)
{
    if (memory) {
        progress->total = static_cast<long long>(memory->size());
    } else {
        boost::system::error_code size_error;
        const auto size = fs::file_size(location, size_error);
        progress->total = size_error ? 0 : static_cast<long long>(size);
    }
    ArchivePtr a(archive_read_new(), archive_read_free);
    archive_read_support_filter_all(a.get());
    archive_read_support_format_all(a.get());
    const int opened = memory ? archive_read_open_memory(a.get(), memory->data(), memory->size())
                              : archive_read_open_filename(a.get(), location.c_str(), 65536);
    if (opened != ARCHIVE_OK) {
        error = std::string("cannot open the archive: ") + (archive_error_string(a.get()) ? archive_error_string(a.get()) : "");
        return false;
    }
    std::string root;
    bool root_known = false;
    std::string bytes;
    for (;;) {
        archive_entry* entry = nullptr;
        const int status = archive_read_next_header(a.get(), &entry);
        if (status == ARCHIVE_EOF) return true;
        if (status < ARCHIVE_WARN) {
            error = std::string("damaged archive: ") + (archive_error_string(a.get()) ? archive_error_string(a.get()) : "");
            return false;
        }
        const char* raw = archive_entry_pathname(entry);
        std::string path = raw ? raw : "";
        if (archive_entry_filetype(entry) != AE_IFREG || archive_entry_hardlink(entry)) {
            if (archive_entry_filetype(entry) != AE_IFDIR) LOG(WARNING) << location << ": skipped link or special entry " << path;
            continue;
        }
        if (!clean_entry_path(path)) {
            LOG(WARNING) << location << ": skipped entry outside the job: " << (raw ? raw : "");
            continue;
        }
        // The job may sit at the top of the archive or in one folder (its name).
        if (!root_known) {
            const std::string first = path.substr(0, path.find('/'));
            root = is_job_top(first) || first == path ? "" : first + "/";
            root_known = true;
        }
        if (path.compare(0, root.size(), root) != 0) {
            LOG(WARNING) << location << ": skipped entry outside the job folder: " << path;
            continue;
        }
        bytes = std::string();
        if (archive_entry_size_is_set(entry) && archive_entry_size(entry) > 0 && archive_entry_size(entry) < (1ll << 31))
            bytes.reserve(static_cast<size_t>(archive_entry_size(entry)));
        if (!read_entry_data(a.get(), bytes, error)) {
            error = path + ": " + error;
            return false;
        }
        if (!sink(path.substr(root.size()), std::move(bytes))) return false;
        progress->done = std::min<long long>(archive_filter_bytes(a.get(), -1), progress->total);
    }
}

bool walk_directory(const std::string& location, const FileSink& sink, std::string& error,
                    KESTO::COMMON::progress_value<long long>* progress)
{
    boost::system::error_code ec;
    const fs::path root(location);
    boost::system::error_code counting;
    for (fs::recursive_directory_iterator count(root, counting), end; !counting && count != end; count.increment(counting))
        if (fs::is_regular_file(count->symlink_status())) ++progress->total;
    fs::recursive_directory_iterator it(root, ec), end;
    if (ec) {
        error = "cannot read the job folder: " + ec.message();
        return false;
    }
    for (; it != end; it.increment(ec)) {
        if (ec) {
            error = "cannot read the job folder: " + ec.message();
            return false;
        }
        const fs::file_status status = it->symlink_status();
        if (fs::is_symlink(status)) {
            LOG(WARNING) << location << ": skipped link " << it->path().string();
            if (fs::is_directory(it->status())) it.disable_recursion_pending();
            continue;
        }
        if (!fs::is_regular_file(status)) continue;
        std::ifstream in(it->path().string(), std::ios::binary);
        std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
        if (!in.good() && !in.eof()) {
            error = it->path().string() + ": unreadable";
            return false;
        }
        std::string relative = it->path().lexically_relative(root).generic_string();
        if (!sink(relative, std::move(bytes))) return false;
        ++progress->done;
    }
    return true;
}

// features.Z (compress) and features.gz: one compressed stream.
bool decompress(const std::string& bytes, std::string& out, std::string& error)
{
    ArchivePtr a(archive_read_new(), archive_read_free);
    archive_read_support_filter_all(a.get());
    archive_read_support_format_raw(a.get());
    archive_entry* entry = nullptr;
    if (archive_read_open_memory(a.get(), bytes.data(), bytes.size()) != ARCHIVE_OK ||
        archive_read_next_header(a.get(), &entry) != ARCHIVE_OK) {
        error = "cannot decompress";
        return false;
    }
    return read_entry_data(a.get(), out, error);
}

template <class Int>
Int to_int(const std::string& text, Int fallback = 0)
{
    Int value = fallback;
    const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() ? value : fallback;
}

bool to_length(const std::string& text, double per_unit, Coord& out)
{
    double v = 0;
    const auto [ptr, ec] = std::from_chars(text.data(), text.data() + text.size(), v);
    if (ec != std::errc() || !std::isfinite(v)) return false;
    out = static_cast<Coord>(std::llround(v * per_unit));
    return true;
}

Units units_of(const std::string& text, Units fallback)
{
    const std::string u = lower(text);
    return u == "mm" ? Units::Mm : u == "inch" ? Units::Inch : fallback;
}

class JobReader {
public:
    explicit JobReader(Job& job) : job_(job) {}
    bool file(const std::string& path, std::string&& bytes, std::string& error);
    bool finish(std::string& error);

private:
    bool structured(const std::string& path, const std::string& bytes, StructuredText& out, std::string& error)
    {
        if (parse_structured(bytes, out, error)) return true;
        error = path + ": " + error;
        return false;
    }
    bool features(const std::string& path, std::string&& bytes, Layer& layer, std::string& error);
    bool matrix(const std::string& path, const std::string& bytes, std::string& error);
    bool stephdr(const std::string& path, const std::string& bytes, Step& step, std::string& error);
    bool tools(const std::string& path, const std::string& bytes, Layer& layer, std::string& error);
    bool attrlist(const std::string& path, const std::string& bytes, std::map<std::string, std::string>& out,
                  std::string& error);
    Step& step(const std::string& name)
    {
        Step& s = job_.steps[name];
        s.name = name;
        return s;
    }

    Job& job_;
    bool matrix_seen_ = false;
    bool info_seen_ = false;
};

bool JobReader::features(const std::string& path, std::string&& bytes, Layer& layer, std::string& error)
{
    std::string plain;
    const std::string name = lower(path.substr(path.rfind('/') + 1));
    if (name != "features") {
        if (!decompress(bytes, plain, error)) {
            error = path + ": " + error;
            return false;
        }
        bytes.swap(plain);
    }
    // The layer's other files may have come first.
    Layer fresh;
    if (!read_features_file(bytes, fresh, job_.units, error)) {
        error = path + ": " + error;
        return false;
    }
    fresh.attributes = std::move(layer.attributes);
    fresh.files = std::move(layer.files);
    fresh.tools = std::move(layer.tools);
    fresh.tools_header = std::move(layer.tools_header);
    layer = std::move(fresh);
    return true;
}

bool JobReader::matrix(const std::string& path, const std::string& bytes, std::string& error)
{
    StructuredText text;
    if (!structured(path, bytes, text, error)) return false;
    for (const Block& block : text.blocks) {
        if (block.type == "STEP") {
            MatrixStep col;
            for (const auto& [key, value] : block.fields) {
                if (key == "COL") col.col = to_int<int>(value);
                else if (key == "NAME") col.name = lower(value);
                else if (key == "ID") col.id = to_int<std::uint32_t>(value);
            }
            job_.columns.push_back(col);
        } else if (block.type == "LAYER") {
            MatrixRow row;
            for (const auto& [key, value] : block.fields) {
                if (key == "ROW") row.row = to_int<int>(value);
                else if (key == "NAME") row.name = lower(value);
                else if (key == "CONTEXT") row.context = value;
                else if (key == "TYPE") row.type = value;
                else if (key == "POLARITY") row.polarity = value;
                else if (key == "START_NAME") row.start_name = lower(value);
                else if (key == "END_NAME") row.end_name = lower(value);
                else if (key == "OLD_NAME") row.old_name = lower(value);
                else if (key == "ADD_TYPE") row.add_type = value;
                else if (key == "FORM") row.form = value;
                else if (key == "DIELECTRIC_TYPE") row.dielectric_type = value;
                else if (key == "DIELECTRIC_NAME") row.dielectric_name = value;
                else if (key == "CU_TOP") row.cu_top = value;
                else if (key == "CU_BOTTOM") row.cu_bottom = value;
                else if (key == "ID") row.id = to_int<std::uint32_t>(value);
                else if (key == "COLOR") row.color = to_int<int>(value);
                else row.other[key] = value;
            }
            if (row.name.empty()) {
                error = path + ": a LAYER block without NAME";
                return false;
            }
            job_.rows.push_back(row);
        }
    }
    std::stable_sort(job_.columns.begin(), job_.columns.end(), [](auto& a, auto& b) { return a.col < b.col; });
    std::stable_sort(job_.rows.begin(), job_.rows.end(), [](auto& a, auto& b) { return a.row < b.row; });
    matrix_seen_ = true;
    return true;
}

bool JobReader::stephdr(const std::string& path, const std::string& bytes, Step& s, std::string& error)
{
    StructuredText text;
    if (!structured(path, bytes, text, error)) return false;
    const Units units = units_of(field(text.fields, "UNITS"), job_.units);
    const double per_unit = units == Units::Inch ? kNmPerInch : kNmPerMm;
    for (const auto& [key, value] : text.fields) {
        if (key == "X_DATUM" || key == "Y_DATUM") {
            if (!to_length(value, per_unit, key[0] == 'X' ? s.datum.x : s.datum.y)) {
                error = path + ": bad " + key;
                return false;
            }
        } else {
            s.header[key] = value;
        }
    }
    for (const Block& block : text.blocks) {
        if (block.type != "STEP-REPEAT") continue;
        StepRepeat sr;
        for (const auto& [key, value] : block.fields) {
            bool ok = true;
            if (key == "NAME") sr.step = lower(value);
            else if (key == "X") ok = to_length(value, per_unit, sr.origin.x);
            else if (key == "Y") ok = to_length(value, per_unit, sr.origin.y);
            else if (key == "DX") ok = to_length(value, per_unit, sr.dx);
            else if (key == "DY") ok = to_length(value, per_unit, sr.dy);
            else if (key == "NX") sr.nx = to_int<int>(value, 1);
            else if (key == "NY") sr.ny = to_int<int>(value, 1);
            else if (key == "ANGLE") std::from_chars(value.data(), value.data() + value.size(), sr.angle);
            else if (key == "MIRROR") sr.mirror = value == "YES";
            else if (key == "FLIP") sr.flip = value == "YES";
            if (!ok) {
                error = path + ": bad STEP-REPEAT " + key;
                return false;
            }
        }
        s.repeats.push_back(sr);
    }
    return true;
}

bool JobReader::tools(const std::string& path, const std::string& bytes, Layer& layer, std::string& error)
{
    StructuredText text;
    if (!structured(path, bytes, text, error)) return false;
    for (const auto& [key, value] : text.fields) layer.tools_header[key] = value;
    const Units units = units_of(field(text.fields, "UNITS"), job_.units);
    const double per_unit = units == Units::Inch ? kNmPerMil : kNmPerMicron;
    for (const Block& block : text.blocks) {
        if (block.type != "TOOLS") continue;
        DrillTool tool;
        for (const auto& [key, value] : block.fields) {
            bool ok = true;
            if (key == "NUM") tool.number = to_int<int>(value);
            else if (key == "TYPE") tool.type = value;
            else if (key == "TYPE2") tool.type2 = value;
            else if (key == "BIT") tool.bit = value;
            else if (key == "FINISH_SIZE") ok = to_length(value, per_unit, tool.finish_size);
            else if (key == "DRILL_SIZE") ok = to_length(value, per_unit, tool.drill_size);
            else if (key == "MIN_TOL") ok = to_length(value, per_unit, tool.min_tol);
            else if (key == "MAX_TOL") ok = to_length(value, per_unit, tool.max_tol);
            if (!ok) {
                error = path + ": bad " + key + " '" + value + "'";
                return false;
            }
        }
        layer.tools.push_back(tool);
    }
    return true;
}

bool JobReader::attrlist(const std::string& path, const std::string& bytes, std::map<std::string, std::string>& out,
                         std::string& error)
{
    StructuredText text;
    if (!structured(path, bytes, text, error)) return false;
    for (auto& [key, value] : text.fields) out[key] = value;
    return true;
}

bool JobReader::file(const std::string& path, std::string&& bytes, std::string& error)
{
    std::vector<std::string> parts = split_path(path);
    // Entity folders are lower case in ODB++; a job written otherwise still matches its matrix.
    if (parts.size() >= 3 && (parts[0] == "steps" || parts[0] == "symbols")) parts[1] = lower(parts[1]);
    if (parts.size() >= 5 && parts[0] == "steps" && parts[2] == "layers") parts[3] = lower(parts[3]);
    const std::string& name = parts.back();
    // Checksums describe the files as they were; every save rewrites those files.
    if (name.size() > 4 && name[0] == '.' && name.compare(name.size() - 4, 4, ".sum") == 0) return true;
    const size_t n = parts.size();
    if (n == 2 && parts[0] == "matrix" && parts[1] == "matrix") return matrix(path, bytes, error);
    if (n == 2 && parts[0] == "misc" && parts[1] == "info") {
        StructuredText text;
        if (!structured(path, bytes, text, error)) return false;
        for (auto& [key, value] : text.fields) job_.info[key] = value;
        job_.units = units_of(job_.info["UNITS"], Units::Inch);
        info_seen_ = true;
        return true;
    }
    if (n == 2 && parts[0] == "misc" && parts[1] == "attrlist") return attrlist(path, bytes, job_.attributes, error);
    if (n == 2 && parts[0] == "misc" && (parts[1].compare(0, 7, "sysattr") == 0 || parts[1] == "userattr")) {
        if (!parse_attribute_defs(bytes, job_.attribute_defs, error)) {
            error = path + ": " + error;
            return false;
        }
        job_.files[path] = std::move(bytes);
        return true;
    }
    if (n >= 3 && parts[0] == "steps") {
        Step& s = step(parts[1]);
        if (n == 3 && name == "stephdr") return stephdr(path, bytes, s, error);
        if (n == 3 && name == "attrlist") return attrlist(path, bytes, s.attributes, error);
        if (n == 3 && name == "profile") {
            Layer profile;
            if (!features(path, std::move(bytes), profile, error)) return false;
            for (const Feature& f : profile.features)
                if (f.kind == FeatureKind::Surface) {
                    s.profile = profile.surfaces[f.body];
                    s.has_profile = true;
                    break;
                }
            return true;
        }
        if (n >= 5 && parts[2] == "layers") {
            Layer& layer = s.layers[parts[3]];
            const std::string lname = lower(name);
            if (n == 5 && (lname == "features" || lname == "features.z" || lname == "features.gz"))
                return features(path, std::move(bytes), layer, error);
            if (n == 5 && name == "attrlist") return attrlist(path, bytes, layer.attributes, error);
            if (n == 5 && name == "tools") return tools(path, bytes, layer, error);
            std::string rest = parts[4];
            for (size_t i = 5; i < n; ++i) (rest += '/') += parts[i];
            layer.files[rest] = std::move(bytes);
            return true;
        }
        s.files[path.substr(parts[0].size() + parts[1].size() + 2)] = std::move(bytes);
        return true;
    }
    if (n == 3 && parts[0] == "symbols" && (name == "features" || name == "attrlist")) {
        UserSymbol& user = job_.symbols[parts[1]];
        user.name = parts[1];
        if (name == "attrlist") return attrlist(path, bytes, user.attributes, error);
        return features(path, std::move(bytes), user.features, error);
    }
    job_.files[path] = std::move(bytes);
    return true;
}

bool JobReader::finish(std::string& error)
{
    if (!matrix_seen_) {
        error = "matrix/matrix is missing: not an ODB++ job";
        return false;
    }
    if (!info_seen_) LOG(WARNING) << "misc/info is missing; the job is taken as inch";
    for (const MatrixStep& col : job_.columns) {
        if (!job_.steps.count(col.name)) LOG(WARNING) << "step " << col.name << " of the matrix has no folder";
        step(col.name);
    }
    const TextAttributes texts = text_attributes(job_);
    const OptionLists options = option_lists(job_);
    for (auto& [name, s] : job_.steps) {
        for (const MatrixRow& row : job_.rows)
            if (!s.layers.count(row.name)) s.layers[row.name].units = job_.units;
        for (auto& [lname, layer] : s.layers) resolve_attribute_texts(layer, texts, options);
    }
    for (auto& [name, user] : job_.symbols) resolve_attribute_texts(user.features, texts, options);
    resolve_user_symbols(job_);
    return true;
}

} // namespace

bool is_archive(const std::string& path)
{
    boost::system::error_code ec;
    return fs::is_regular_file(path, ec);
}

bool parse_attribute_defs(std::string_view text, std::map<std::string, AttributeDef>& defs, std::string& error)
{
    StructuredText parsed;
    if (!parse_structured(text, parsed, error)) return false;
    for (const Block& block : parsed.blocks) {
        AttributeDef def;
        def.kind = block.type;
        for (const auto& [key, value] : block.fields) def.fields[key] = value;
        def.name = def.fields["NAME"];
        if (!def.name.empty()) defs[def.name] = def;
    }
    return true;
}

TextAttributes text_attributes(const Job& job)
{
    TextAttributes names;
    for (const auto& [name, def] : job.attribute_defs)
        if (def.kind == "TEXT") names.insert(name);
    // The system's own text attributes, unless the job defines them otherwise.
    for (const char* name : {".string", ".geometry", ".comment", ".net_name", ".string_font"})
        if (!job.attribute_defs.count(name)) names.insert(name);
    return names;
}

OptionLists option_lists(const Job& job)
{
    OptionLists lists = {
        {".drill", {"plated", "non_plated", "via"}},
        {".pad_usage", {"toeprint", "via", "g_fiducial", "l_fiducial", "tooling_hole", "bond_finger"}},
        {".plated_type", {"standard", "press_fit"}},
        {".via_type", {"drilled", "laser", "photo"}},
    };
    for (const auto& [name, def] : job.attribute_defs) {
        if (def.kind != "OPTION") {
            lists.erase(name);
            continue;
        }
        auto it = def.fields.find("OPTIONS");
        std::vector<std::string>& list = lists[name];
        list.clear();
        std::string_view rest = it == def.fields.end() ? std::string_view() : std::string_view(it->second);
        while (!rest.empty()) {
            const size_t semi = rest.find(';');
            list.emplace_back(rest.substr(0, semi));
            rest = semi == std::string_view::npos ? std::string_view() : rest.substr(semi + 1);
        }
    }
    return lists;
}

bool read_job(const std::string& location, Job& job, std::string& error)
{
    JobReader reader(job);
    std::string file_error;
    const FileSink sink = [&](const std::string& path, std::string&& bytes) {
        return reader.file(path, std::move(bytes), file_error);
    };
    boost::system::error_code ec;
    if (!fs::exists(location, ec)) {
        error = location + ": no such job";
        return false;
    }
    // The host's bar follows the archive's bytes, or a folder's files.
    KESTO::COMMON::progress_value<long long> progress;
    const bool walked = is_archive(location) ? walk_archive(location, sink, error, nullptr, &progress)
                                             : walk_directory(location, sink, error, &progress);
    if (!walked) {
        if (!file_error.empty()) error = file_error;
        return false;
    }
    return reader.finish(error);
}

bool read_job_archive(const std::string& bytes, Job& job, std::string& error)
{
    JobReader reader(job);
    std::string file_error;
    const FileSink sink = [&](const std::string& path, std::string&& data) {
        return reader.file(path, std::move(data), file_error);
    };
    KESTO::COMMON::progress_value<long long> progress;
    if (!walk_archive("stored archive", sink, error, &bytes, &progress)) {
        if (!file_error.empty()) error = file_error;
        return false;
    }
    return reader.finish(error);
}

} // namespace kesto::odb
