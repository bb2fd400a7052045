#include "engine/api/jobs.h"
#include "engine/model/text.h"

#include "engine/config/configuration.h"
#include "engine/formats/odb/job_io.h"
#include "engine/store/store.h"

#include <boost/filesystem.hpp>
#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>

namespace fs = boost::filesystem;
using namespace kesto;

namespace KESTO {
namespace API {
namespace {


// Names that become one folder: no separators, blanks or parent references.
bool plain_name(const std::string& name)
{
    if (name.empty() || name == "." || name == "..") return false;
    return std::none_of(name.begin(), name.end(), [](unsigned char c) { return c == '/' || c == '\\' || c <= ' '; });
}

bool refuse(const std::string& what)
{
    LOG(ERROR) << what;
    return false;
}

std::string library() { return configuration_instance::instance().job_library(); }
std::string folder_in(const std::string& path, const std::string& name)
{
    return (fs::path(path.empty() ? library() : path) / name).string();
}

Job* open_or_refuse(const std::string& name, const char* op)
{
    Job* job = store::find_job(name);
    if (!job) LOG(ERROR) << op << ": job '" << name << "' is not open";
    return job;
}

std::string now_stamp()
{
    const std::time_t t = std::time(nullptr);
    std::tm tm{};
    localtime_r(&t, &tm);
    char text[32];
    std::strftime(text, sizeof text, "%Y%m%d.%H%M%S", &tm);
    return text;
}

// Positions count from 1.
bool valid_position(int index, size_t count) { return index >= 1 && static_cast<size_t>(index) <= count; }
size_t insert_position(int index, size_t count)
{
    return index >= 1 && static_cast<size_t>(index) <= count + 1 ? static_cast<size_t>(index - 1) : count;
}

template <class T>
void move_entry(std::vector<T>& list, size_t from, size_t to)
{
    T moved = std::move(list[from]);
    list.erase(list.begin() + static_cast<long>(from));
    list.insert(list.begin() + static_cast<long>(to), std::move(moved));
}

bool has_step(const Job& job, const std::string& name)
{
    return std::any_of(job.columns.begin(), job.columns.end(), [&](auto& c) { return c.name == name; }) ||
           job.steps.count(name);
}
bool has_layer(const Job& job, const std::string& name) { return store::find_row(job, name) != nullptr; }

template <class Taken>
std::string unique_name(const std::string& wanted, const std::string& base, Taken taken)
{
    if (!wanted.empty() && !taken(wanted)) return wanted;
    const std::string stem = wanted.empty() ? base : wanted;
    for (int n = 1;; ++n)
        if (!taken(stem + "+" + std::to_string(n))) return stem + "+" + std::to_string(n);
}

Layer empty_layer(const Job& job)
{
    Layer layer;
    layer.units = job.units;
    return layer;
}

void renumber(Job& job)
{
    int n = 0;
    for (MatrixRow& row : job.rows) row.row = ++n;
    n = 0;
    for (MatrixStep& col : job.columns) col.col = ++n;
}

void touch(Job& job)
{
    renumber(job);
    job.changed = true;
}

// Where open_job finds a job: a folder, or an archive of it.
bool locate(const std::string& path, const std::string& name, std::string& location, std::string& folder,
            std::string& job_name)
{
    boost::system::error_code ec;
    const fs::path base(path.empty() ? library() : path);
    job_name = name;
    if (!name.empty()) {
        const fs::path dir = base / name;
        if (fs::is_directory(dir, ec)) {
            location = folder = dir.string();
            return true;
        }
        for (const char* ext : {".tgz", ".tar.gz", ".tar", ".zip"}) {
            const fs::path archive = base / (name + ext);
            if (fs::is_regular_file(archive, ec)) {
                location = archive.string();
                folder = dir.string();
                return true;
            }
        }
    }
    if (fs::is_directory(base / "matrix", ec)) {
        location = folder = base.string();
        if (job_name.empty()) job_name = base.filename().string();
        return true;
    }
    if (fs::is_regular_file(base, ec)) {
        std::string stem = base.filename().string();
        for (const char* ext : {".tar.gz", ".tgz", ".tar", ".zip"}) {
            const std::string e = ext;
            if (stem.size() > e.size() && stem.compare(stem.size() - e.size(), e.size(), e) == 0) {
                stem.resize(stem.size() - e.size());
                break;
            }
        }
        if (job_name.empty()) job_name = stem;
        location = base.string();
        folder = (base.parent_path() / job_name).string();
        return true;
    }
    return false;
}

bool read_from_disk(const std::string& path, const std::string& name, Job& job)
{
    std::string location, folder, job_name;
    if (!locate(path, name, location, folder, job_name))
        return refuse("no job '" + name + "' in '" + (path.empty() ? library() : path) + "'");
    job = Job();
    job.attribute_defs = store::session_attribute_defs();
    std::string error;
    if (!odb::read_job(location, job, error))
        return refuse("cannot open job '" + job_name + "' from " + location + ": " + error);
    job.name = job_name;
    job.folder = folder;
    return true;
}

bool write_job(Job& job, const std::string& folder)
{
    job.info["JOB_NAME"] = job.name;
    job.info["UNITS"] = job.units == Units::Inch ? "INCH" : "MM";
    job.info["SAVE_DATE"] = now_stamp();
    job.info["SAVE_APP"] = "Kesto";
    std::string error;
    if (!odb::save_job(job, folder, error)) return refuse("cannot save job '" + job.name + "': " + error);
    job.saves.push_back(job.info["SAVE_DATE"] + " " + folder);
    return true;
}

layer_info info_of(const MatrixRow& row)
{
    layer_info info;
    info.context = row.context;
    info.type = row.type;
    info.name = row.name;
    info.polarity = row.polarity;
    info.start_name = row.start_name;
    info.end_name = row.end_name;
    info.old_name = row.old_name;
    info.row = row.row;
    return info;
}

void rename_layer(Job& job, MatrixRow& row, const std::string& name)
{
    for (auto& [sname, step] : job.steps) {
        auto it = step.layers.find(row.name);
        Layer layer = it == step.layers.end() ? empty_layer(job) : std::move(it->second);
        if (it != step.layers.end()) step.layers.erase(it);
        step.layers[name] = std::move(layer);
    }
    for (MatrixRow& other : job.rows) {
        if (!row.name.empty() && other.start_name == row.name) other.start_name = name;
        if (!row.name.empty() && other.end_name == row.name) other.end_name = name;
    }
    if (!row.name.empty()) row.old_name = row.name;
    row.name = name;
}

void rename_step(Job& job, MatrixStep& col, const std::string& name)
{
    Step step;
    if (auto it = job.steps.find(col.name); !col.name.empty() && it != job.steps.end()) {
        step = std::move(it->second);
        job.steps.erase(it);
    } else {
        for (const MatrixRow& row : job.rows)
            if (!row.name.empty()) step.layers[row.name] = empty_layer(job);
    }
    for (auto& [sname, other] : job.steps)
        for (StepRepeat& sr : other.repeats)
            if (!col.name.empty() && sr.step == col.name) sr.step = name;
    step.name = name;
    job.steps[name] = std::move(step);
    col.name = name;
}

void add_box(Box& box, const Point& from, const Segment& s)
{
    box.add(s.end);
    if (!s.arc) return;
    // The arc's extreme points on the axes it sweeps through.
    const double r = std::hypot(double(s.end.x - s.centre.x), double(s.end.y - s.centre.y));
    const double a0 = std::atan2(double(from.y - s.centre.y), double(from.x - s.centre.x));
    const double a1 = std::atan2(double(s.end.y - s.centre.y), double(s.end.x - s.centre.x));
    const double two_pi = 2 * M_PI;
    // Counter-clockwise sweep from start to end (clockwise arcs are walked backwards).
    double start = s.cw ? a1 : a0, sweep = (s.cw ? a0 : a1) - start;
    while (sweep <= 0) sweep += two_pi;
    for (int q = 0; q < 4; ++q) {
        double a = q * M_PI / 2 - start;
        while (a < 0) a += two_pi;
        while (a >= two_pi) a -= two_pi;
        if (a <= sweep)
            box.add(Point{s.centre.x + static_cast<Coord>(std::llround(r * std::cos(q * M_PI / 2))),
                          s.centre.y + static_cast<Coord>(std::llround(r * std::sin(q * M_PI / 2)))});
    }
}

} // namespace


bool open_job(const std::string& path, const std::string& job)
{
    if (!job.empty() && store::find_job(job)) {
        LOG(INFO) << "job '" << job << "' is already open";
        return true;
    }
    Job opened;
    if (!read_from_disk(path, job, opened)) return false;
    if (store::find_job(opened.name)) return true;
    LOG(INFO) << "opened job '" << opened.name << "': " << opened.columns.size() << " steps, " << opened.rows.size()
              << " layers";
    store::add_job(std::move(opened));
    return true;
}

bool create_job(const std::string& path, const std::string& name)
{
    if (!plain_name(name)) return refuse("create_job: '" + name + "' is not a job name");
    if (store::find_job(name)) return refuse("create_job: job '" + name + "' is already open");
    const std::string folder = folder_in(path, name);
    boost::system::error_code ec;
    if (fs::exists(folder, ec)) return refuse("create_job: " + folder + " exists already");
    Job job;
    job.name = name;
    job.folder = folder;
    job.units = Units::Mm;
    job.info = {{"ODB_VERSION_MAJOR", "8"}, {"ODB_VERSION_MINOR", "1"}, {"CREATION_DATE", now_stamp()},
                {"SAVE_USER", std::getenv("USER") ? std::getenv("USER") : ""}};
    if (!write_job(job, folder)) return false;
    store::add_job(std::move(job));
    return true;
}

bool create_job(const std::string& job) { return create_job(std::string(), job); }

bool Save_Job(std::string name)
{
    Job* job = open_or_refuse(name, "Save_Job");
    if (!job || !write_job(*job, job->folder)) return false;
    job->changed = false;
    return true;
}

bool Save_Job_As(const std::string& name, const std::string& path)
{
    Job* job = open_or_refuse(name, "Save_Job_As");
    if (!job) return false;
    const std::string folder = folder_in(path, job->name);
    if (!write_job(*job, folder)) return false;
    job->folder = folder;
    job->changed = false;
    return true;
}

int close_job(const std::string& job) { return store::remove_job(job) ? 1 : 0; }
bool is_job_opened(const std::string& job) { return store::find_job(job) != nullptr; }
bool is_job_changed(const std::string& name)
{
    const Job* job = store::find_job(name);
    return job && job->changed;
}

bool job_rename(const std::string& src, const std::string& dst)
{
    if (!plain_name(src) || !plain_name(dst)) return refuse("job_rename: bad job name");
    boost::system::error_code ec;
    const fs::path from = folder_in("", src), to = folder_in("", dst);
    if (store::find_job(dst) || fs::exists(to, ec)) return refuse("job_rename: job '" + dst + "' exists already");
    Job* open = store::find_job(src);
    const bool on_disk = fs::is_directory(from, ec);
    if (!open && !on_disk) return refuse("job_rename: no job '" + src + "' in the job library");
    if (on_disk) {
        fs::rename(from, to, ec);
        if (ec) return refuse("job_rename: " + ec.message());
    }
    if (open) {
        Job job = std::move(*open);
        store::remove_job(src);
        job.name = dst;
        job.folder = fs::path(job.folder) == from ? to.string() : (fs::path(job.folder).parent_path() / dst).string();
        store::add_job(std::move(job));
    }
    return true;
}

bool job_delete(const std::string& name)
{
    if (!plain_name(name)) return refuse("job_delete: '" + name + "' is not a job name");
    boost::system::error_code ec;
    const fs::path folder = folder_in("", name);
    const bool on_disk = fs::is_directory(folder, ec) && fs::exists(folder / "matrix", ec);
    const bool open = store::remove_job(name);
    if (on_disk) {
        fs::remove_all(folder, ec);
        if (ec) return refuse("job_delete: " + ec.message());
    }
    return on_disk || open || refuse("job_delete: no job '" + name + "'");
}

bool job_detailed_copy(const std::string& src_path, const std::string& src_job, const std::string& dst_path,
                       const std::string& dst_job, bool include_steps, const std::vector<std::string>& steps,
                       bool include_layers, const std::vector<std::string>& layers)
{
    if (!plain_name(dst_job)) return refuse("job_detailed_copy: '" + dst_job + "' is not a job name");
    const std::string folder = folder_in(dst_path, dst_job);
    boost::system::error_code ec;
    if (fs::exists(folder, ec)) return refuse("job_detailed_copy: " + folder + " exists already");
    Job copy;
    const Job* open = store::find_job(src_job);
    if (open && (src_path.empty() || fs::path(open->folder) == fs::path(folder_in(src_path, src_job))))
        copy = *open;
    else if (!read_from_disk(src_path, src_job, copy))
        return false;
    auto listed = [](const std::vector<std::string>& list, const std::string& name) {
        return std::any_of(list.begin(), list.end(), [&](const std::string& n) { return lower(n) == name; });
    };
    if (include_steps) {
        copy.columns.erase(std::remove_if(copy.columns.begin(), copy.columns.end(),
                                          [&](auto& c) { return !listed(steps, c.name); }),
                           copy.columns.end());
        for (auto it = copy.steps.begin(); it != copy.steps.end();)
            it = listed(steps, it->first) ? std::next(it) : copy.steps.erase(it);
    }
    if (include_layers) {
        copy.rows.erase(std::remove_if(copy.rows.begin(), copy.rows.end(), [&](auto& r) { return !listed(layers, r.name); }),
                        copy.rows.end());
        for (auto& [name, step] : copy.steps)
            for (auto it = step.layers.begin(); it != step.layers.end();)
                it = listed(layers, it->first) ? std::next(it) : step.layers.erase(it);
    }
    renumber(copy);
    copy.name = dst_job;
    copy.folder = folder;
    return write_job(copy, folder);
}

bool step_copy(const std::string& src_job, const std::string& src_step, const std::string& dst_job,
               const std::string& dst_step)
{
    Job* src = open_or_refuse(src_job, "step_copy");
    Job* dst = open_or_refuse(dst_job, "step_copy");
    if (!src || !dst) return false;
    const std::string from = lower(src_step), name = dst_step.empty() ? from : lower(dst_step);
    const Step* step = store::find_step(*src, from);
    if (!step) return refuse("step_copy: no step '" + from + "' in job '" + src_job + "'");
    if (!plain_name(name) || has_step(*dst, name)) return refuse("step_copy: step '" + name + "' cannot be made");
    Step copy = *step;
    copy.name = name;
    for (const MatrixRow& row : src->rows)
        if (!row.name.empty() && !has_layer(*dst, row.name)) dst->rows.push_back(row);
    for (const MatrixRow& row : dst->rows)
        if (!row.name.empty() && !copy.layers.count(row.name)) copy.layers[row.name] = empty_layer(*dst);
    for (auto& [sname, other] : dst->steps)
        for (const MatrixRow& row : dst->rows)
            if (!row.name.empty() && !other.layers.count(row.name)) other.layers[row.name] = empty_layer(*dst);
    dst->steps[name] = std::move(copy);
    dst->columns.push_back(MatrixStep{0, name, 0});
    touch(*dst);
    return true;
}

bool create_step(const std::string& name, const std::string& step_name, int index)
{
    Job* job = open_or_refuse(name, "create_step");
    if (!job) return false;
    const std::string step = lower(step_name);
    if (!plain_name(step) || has_step(*job, step)) return refuse("create_step: step '" + step + "' cannot be made");
    MatrixStep col;
    rename_step(*job, col, step);
    job->columns.insert(job->columns.begin() + static_cast<long>(insert_position(index, job->columns.size())), col);
    touch(*job);
    return true;
}

bool delete_step(const std::string& name, int index)
{
    Job* job = open_or_refuse(name, "delete_step");
    if (!job) return false;
    if (!valid_position(index, job->columns.size())) return refuse("delete_step: no column " + std::to_string(index));
    job->steps.erase(job->columns[index - 1].name);
    job->columns.erase(job->columns.begin() + index - 1);
    touch(*job);
    return true;
}

bool insert_step(const std::string& name, int index)
{
    Job* job = open_or_refuse(name, "insert_step");
    if (!job) return false;
    job->columns.insert(job->columns.begin() + static_cast<long>(insert_position(index, job->columns.size())),
                        MatrixStep());
    touch(*job);
    return true;
}

bool move_step_poi(const std::string& name, int from, int to)
{
    Job* job = open_or_refuse(name, "move_step_poi");
    if (!job) return false;
    if (!valid_position(from, job->columns.size()) || !valid_position(to, job->columns.size()))
        return refuse("move_step_poi: no column " + std::to_string(from) + " or " + std::to_string(to));
    move_entry(job->columns, static_cast<size_t>(from - 1), static_cast<size_t>(to - 1));
    touch(*job);
    return true;
}

bool move_step_poi(const std::string& name, const std::string& from, const std::string& to)
{
    Job* job = open_or_refuse(name, "move_step_poi");
    if (!job) return false;
    auto position = [job](const std::string& step) {
        const std::string wanted = lower(step);
        for (size_t i = 0; i < job->columns.size(); ++i)
            if (job->columns[i].name == wanted) return static_cast<int>(i + 1);
        return 0;
    };
    return move_step_poi(name, position(from), position(to));
}

bool copy_step(const std::string& name, int org, const std::string& dst, int poi, std::string& newname)
{
    Job* job = open_or_refuse(name, "copy_step");
    if (!job) return false;
    if (!valid_position(org, job->columns.size()) || job->columns[org - 1].name.empty())
        return refuse("copy_step: no step in column " + std::to_string(org));
    const std::string source = job->columns[org - 1].name;
    const std::string wanted = lower(dst);
    if (!wanted.empty() && !plain_name(wanted)) return refuse("copy_step: '" + dst + "' is not a step name");
    newname = unique_name(wanted, source, [job](const std::string& n) { return has_step(*job, n); });
    Step copy = job->steps[source];
    copy.name = newname;
    job->steps[newname] = std::move(copy);
    job->columns.insert(job->columns.begin() + static_cast<long>(insert_position(poi, job->columns.size())),
                        MatrixStep{0, newname, 0});
    touch(*job);
    return true;
}

bool create_new_layer(const std::string& name, const std::string& step, const std::string& layer_name, int index)
{
    Job* job = open_or_refuse(name, "create_new_layer");
    if (!job) return false;
    const std::string layer = lower(layer_name);
    if (!step.empty() && !store::find_step(*job, lower(step)))
        return refuse("create_new_layer: no step '" + step + "' in job '" + name + "'");
    if (!plain_name(layer) || has_layer(*job, layer))
        return refuse("create_new_layer: layer '" + layer + "' cannot be made");
    MatrixRow row;
    row.context = "MISC";
    row.type = "SIGNAL";
    rename_layer(*job, row, layer);
    row.old_name.clear();
    job->rows.insert(job->rows.begin() + static_cast<long>(insert_position(index, job->rows.size())), row);
    touch(*job);
    return true;
}

bool delete_layer(const std::string& name, int index)
{
    Job* job = open_or_refuse(name, "delete_layer");
    if (!job) return false;
    if (!valid_position(index, job->rows.size())) return refuse("delete_layer: no row " + std::to_string(index));
    const std::string layer = job->rows[index - 1].name;
    for (auto& [sname, step] : job->steps) step.layers.erase(layer);
    job->rows.erase(job->rows.begin() + index - 1);
    touch(*job);
    return true;
}

bool insert_layer(const std::string& name, int index)
{
    Job* job = open_or_refuse(name, "insert_layer");
    if (!job) return false;
    job->rows.insert(job->rows.begin() + static_cast<long>(insert_position(index, job->rows.size())), MatrixRow());
    touch(*job);
    return true;
}

bool move_layer_poi(const std::string& name, int from, int to)
{
    Job* job = open_or_refuse(name, "move_layer_poi");
    if (!job) return false;
    if (!valid_position(from, job->rows.size()) || !valid_position(to, job->rows.size()))
        return refuse("move_layer_poi: no row " + std::to_string(from) + " or " + std::to_string(to));
    move_entry(job->rows, static_cast<size_t>(from - 1), static_cast<size_t>(to - 1));
    touch(*job);
    return true;
}

bool move_layer_poi(const std::string& name, const std::string& from, const std::string& to)
{
    Job* job = open_or_refuse(name, "move_layer_poi");
    if (!job) return false;
    auto position = [job](const std::string& layer) {
        const std::string wanted = lower(layer);
        for (size_t i = 0; i < job->rows.size(); ++i)
            if (job->rows[i].name == wanted) return static_cast<int>(i + 1);
        return 0;
    };
    return move_layer_poi(name, position(from), position(to));
}

bool copy_layer(const std::string& name, int org, const std::string& dst, int poi, std::string& newname)
{
    Job* job = open_or_refuse(name, "copy_layer");
    if (!job) return false;
    if (!valid_position(org, job->rows.size()) || job->rows[org - 1].name.empty())
        return refuse("copy_layer: no layer in row " + std::to_string(org));
    MatrixRow row = job->rows[org - 1];
    const std::string wanted = lower(dst);
    if (!wanted.empty() && !plain_name(wanted)) return refuse("copy_layer: '" + dst + "' is not a layer name");
    newname = unique_name(wanted, row.name, [job](const std::string& n) { return has_layer(*job, n); });
    for (auto& [sname, step] : job->steps) {
        auto it = step.layers.find(row.name);
        step.layers[newname] = it == step.layers.end() ? empty_layer(*job) : it->second;
    }
    row.name = newname;
    row.old_name.clear();
    row.id = 0;
    job->rows.insert(job->rows.begin() + static_cast<long>(insert_position(poi, job->rows.size())), row);
    touch(*job);
    return true;
}

bool change_matrix(const std::string& name, int step_index, int layer_index, const std::string& new_step_name,
                   const layer_info& info)
{
    Job* job = open_or_refuse(name, "change_matrix");
    if (!job) return false;
    bool done = false;
    if (step_index != 0) {
        if (!valid_position(step_index, job->columns.size()))
            return refuse("change_matrix: no column " + std::to_string(step_index));
        const std::string step = lower(new_step_name);
        MatrixStep& col = job->columns[step_index - 1];
        if (!step.empty() && step != col.name) {
            if (!plain_name(step) || has_step(*job, step)) return refuse("change_matrix: step '" + step + "' cannot be made");
            rename_step(*job, col, step);
        }
        done = true;
    }
    if (layer_index != 0) {
        if (!valid_position(layer_index, job->rows.size()))
            return refuse("change_matrix: no row " + std::to_string(layer_index));
        MatrixRow& row = job->rows[layer_index - 1];
        const std::string layer = lower(info.name);
        if (!layer.empty() && layer != row.name) {
            if (!plain_name(layer) || has_layer(*job, layer))
                return refuse("change_matrix: layer '" + layer + "' cannot be made");
            if (row.name.empty() && row.context.empty()) {
                row.context = "MISC";
                row.type = "SIGNAL";
            }
            rename_layer(*job, row, layer);
        }
        if (!info.context.empty()) row.context = info.context;
        if (!info.type.empty()) row.type = info.type;
        if (!info.polarity.empty()) row.polarity = info.polarity;
        if (!info.start_name.empty()) row.start_name = lower(info.start_name);
        if (!info.end_name.empty()) row.end_name = lower(info.end_name);
        if (info.row != 0 && info.row != layer_index) {
            if (!valid_position(info.row, job->rows.size())) return refuse("change_matrix: no row " + std::to_string(info.row));
            move_entry(job->rows, static_cast<size_t>(layer_index - 1), static_cast<size_t>(info.row - 1));
        }
        done = true;
    }
    if (done) touch(*job);
    return done;
}

std::string get_matrix(const std::string& name, std::map<int, std::string>& steps, std::vector<layer_info>& layers)
{
    steps.clear();
    layers.clear();
    const Job* job = store::find_job(name);
    if (!job) return "job '" + name + "' is not open";
    for (const MatrixStep& col : job->columns) steps[col.col] = col.name;
    for (const MatrixRow& row : job->rows) layers.push_back(info_of(row));
    return std::string();
}

bool get_graphics(const std::string& name, std::map<int, std::string>& steps, std::vector<layer_info>& layers)
{
    const std::string error = get_matrix(name, steps, layers);
    if (!error.empty()) return refuse("get_graphics: " + error);
    for (auto it = steps.begin(); it != steps.end();) it = it->second.empty() ? steps.erase(it) : std::next(it);
    layers.erase(std::remove_if(layers.begin(), layers.end(), [](auto& l) { return l.name.empty(); }), layers.end());
    return true;
}

bool open_layer(const std::string& job_name, const std::string& step_name, const std::string& layer)
{
    Job* job = open_or_refuse(job_name, "open_layer");
    Step* step = job ? store::find_step(*job, lower(step_name)) : nullptr;
    if (!step || !store::find_layer(*job, *step, lower(layer)))
        return refuse("no layer '" + layer + "' in step '" + step_name + "' of job '" + job_name + "'");
    return true;
}

bool Load_Layer(const std::string& job, const std::string& step, const std::string& layer)
{
    return open_layer(job, step, layer);
}

namespace {
bool load_attribute_file(const std::string& path, const char* op)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) return refuse(std::string(op) + ": cannot read " + path);
    const std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::map<std::string, AttributeDef> defs;
    std::string error;
    if (!odb::parse_attribute_defs(text, defs, error)) return refuse(std::string(op) + ": " + path + ": " + error);
    if (defs.empty()) return refuse(std::string(op) + ": " + path + " defines no attribute");
    for (auto& [key, def] : defs) store::session_attribute_defs()[key] = def;
    return true;
}
} // namespace

bool load_userattr(const std::string& path) { return load_attribute_file(path, "load_userattr"); }
bool load_sysattr(const std::string& path) { return load_attribute_file(path, "load_sysattr"); }

bool Undo(const std::string& job_name, const std::string& step)
{
    Job* job = open_or_refuse(job_name, "Undo");
    if (!job) return false;
    return store::undo(*job, lower(step)) || refuse("Undo: nothing to undo in step '" + step + "' of job '" + job_name + "'");
}

int Get_features_cnt(const std::string& job_name, const std::string& step_name, const std::string& layer_name)
{
    Job* job = store::find_job(job_name);
    Step* step = job ? store::find_step(*job, lower(step_name)) : nullptr;
    Layer* layer = step ? store::find_layer(*job, *step, lower(layer_name)) : nullptr;
    return layer ? static_cast<int>(layer->features.size()) : -1;
}

bool profile_box(const std::string& job_name, const std::string& step_name, reply_box& box)
{
    box = reply_box();
    Job* job = open_or_refuse(job_name, "profile_box");
    Step* step = job ? store::find_step(*job, lower(step_name)) : nullptr;
    if (!step) return refuse("profile_box: no step '" + step_name + "' in job '" + job_name + "'");
    Box extent;
    for (const Contour& c : step->profile.contours) {
        extent.add(c.start);
        Point from = c.start;
        for (const Segment& s : c.segments) {
            add_box(extent, from, s);
            from = s.end;
        }
    }
    if (!extent.empty()) box = reply_box{extent.xmin, extent.xmax, extent.ymin, extent.ymax};
    return true;
}

} // namespace API

namespace DB {
Json::Value layerInfo_transform(const API::layer_info& info)
{
    Json::Value out(Json::objectValue);
    out["context"] = info.context;
    out["type"] = info.type;
    out["name"] = info.name;
    out["step"] = info.step;
    out["polarity"] = info.polarity;
    out["orientation"] = info.orientation;
    out["start_name"] = info.start_name;
    out["end_name"] = info.end_name;
    out["old_name"] = info.old_name;
    out["row"] = info.row;
    return out;
}

Json::Value matrix_transform(const std::map<int, std::string>& steps, const std::vector<API::layer_info>& layers)
{
    Json::Value out(Json::objectValue);
    out["steps"] = Json::Value(Json::arrayValue);
    out["info"] = Json::Value(Json::arrayValue);
    for (const auto& [col, name] : steps) out["steps"].append(name);
    for (const auto& layer : layers) out["info"].append(layerInfo_transform(layer));
    return out;
}
} // namespace DB
} // namespace KESTO
