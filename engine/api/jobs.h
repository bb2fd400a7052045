// Jobs, their matrix, steps and layers, as the command handlers reach them.
//
// Jobs are named as opened; step and layer names are case-insensitive and
// held in lower case, as ODB++ stores them. Matrix positions (rows are
// layers, columns are steps) count from 1, as the ROW and COL numbers of the
// matrix file do. Operations answer false (or a negative count) when they
// cannot do their work, and say why in the log at ERROR.
#pragma once
#include "engine/api/display.h"
#include "engine/model/model.h"

#include <json/json.h>

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace API {

// One row of the matrix as hosts see it.
struct layer_info {
    std::string context;
    std::string type;
    std::string name;
    std::string step;
    std::string polarity;
    std::string orientation;
    std::string start_name;
    std::string end_name;
    std::string old_name;
    int row = 0;
};



// Opens the job `job` found in the folder `path` (a job folder, or an archive
// named job.tgz, job.tar.gz, job.tar or job.zip); `path` may also name the job
// folder or archive itself. An empty path is the job library. A job already
// open stays as it is.
bool open_job(const std::string& path, const std::string& job);
// A new empty job (metric) in the folder `path`, or in the job library; it is
// saved at once and stays open.
bool create_job(const std::string& path, const std::string& job);
bool create_job(const std::string& job);
bool Save_Job(std::string job);
// Saves the job as path/<job> and goes on working there.
bool Save_Job_As(const std::string& job, const std::string& path);
// 1 when the job was open and is now closed, 0 otherwise. Unsaved changes go.
int close_job(const std::string& job);
bool is_job_opened(const std::string& job);
bool is_job_changed(const std::string& job);

// Jobs of the job library, by name (open jobs follow a rename or a delete).
bool job_rename(const std::string& src, const std::string& dst);
bool job_delete(const std::string& job);
// Copies a job (open, or on disk) to dst_path/dst_job; with include_steps only
// the listed steps go, with include_layers only the listed layers. Empty
// paths are the job library.
bool job_detailed_copy(const std::string& src_path, const std::string& src_job, const std::string& dst_path,
                       const std::string& dst_job, bool include_steps, const std::vector<std::string>& steps,
                       bool include_layers, const std::vector<std::string>& layers);
// Copies a step of one open job into another (or the same) as a new last
// column; the destination gains the matrix rows it lacks.
bool step_copy(const std::string& src_job, const std::string& src_step, const std::string& dst_job,
               const std::string& dst_step);

// Columns. An insert position outside 1..count+1 appends. insert_step puts a
// blank column that change_matrix can name.
bool create_step(const std::string& job, const std::string& step, int index);
bool delete_step(const std::string& job, int index);
bool insert_step(const std::string& job, int index);
// Moves a column so that it ends at position `to`; by name, to where `to` is.
bool move_step_poi(const std::string& job, int from, int to);
bool move_step_poi(const std::string& job, const std::string& from, const std::string& to);
// Copies column `org` as a new column at `poi`, named `dst` or, when that is
// empty or taken, "<name>+1", "+2"...; the name given comes back in newname.
bool copy_step(const std::string& job, int org, const std::string& dst, int poi, std::string& newname);

// Rows, as columns. create_new_layer makes an empty MISC SIGNAL positive
// layer in every step; `step`, when given, must exist.
bool create_new_layer(const std::string& job, const std::string& step, const std::string& layer, int index);
bool delete_layer(const std::string& job, int index);
bool insert_layer(const std::string& job, int index);
bool move_layer_poi(const std::string& job, int from, int to);
bool move_layer_poi(const std::string& job, const std::string& from, const std::string& to);
bool copy_layer(const std::string& job, int org, const std::string& dst, int poi, std::string& newname);

// Renames column `step_index` to new_step_name (naming a blank column makes
// the step), and sets row `layer_index` from `info`: a new name renames the
// layer (or makes it, for a blank row), non-empty fields replace theirs, and
// a row number other than 0 moves it there. Indices of 0 leave that side alone.
bool change_matrix(const std::string& job, int step_index, int layer_index, const std::string& new_step_name,
                   const layer_info& info);
// The matrix: column number -> step name, and every row. Answers "" when
// done, else what went wrong.
std::string get_matrix(const std::string& job, std::map<int, std::string>& steps, std::vector<layer_info>& layers);
// As get_matrix, without the blank rows and columns.
bool get_graphics(const std::string& job, std::map<int, std::string>& steps, std::vector<layer_info>& layers);

// The layer is there to work on (features are read whole when a job opens).
bool open_layer(const std::string& job, const std::string& step, const std::string& layer);
bool Load_Layer(const std::string& job, const std::string& step, const std::string& layer);
// Attribute definitions from a file of the sysattr format, for the session.
bool load_userattr(const std::string& path);
bool load_sysattr(const std::string& path);
// Puts back the layers of the step as they were before the latest recorded
// change (see store::remember); false when there is none.
bool Undo(const std::string& job, const std::string& step);
// The number of features of a layer in a step, -1 when there is no such layer.
int Get_features_cnt(const std::string& job, const std::string& step, const std::string& layer);
// The extent of a step's profile; all zero when the step has none.
bool profile_box(const std::string& job, const std::string& step, reply_box& box);

} // namespace API

namespace DB {
// A matrix row as JSON, keys as change_matrix reads them.
Json::Value layerInfo_transform(const API::layer_info& info);
// {"steps": [names in column order], "info": [layerInfo_transform of each row]}.
Json::Value matrix_transform(const std::map<int, std::string>& steps, const std::vector<API::layer_info>& layers);
} // namespace DB
} // namespace KESTO
