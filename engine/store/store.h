// The jobs the engine holds open, by name, lookups into them, and the rest of
// the session: the working unit and the attribute definitions loaded by hand.
#pragma once
#include "engine/model/model.h"

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace kesto::store {

// An open job, or nullptr.
Job* find_job(const std::string& name);
// Holds `job` open under its name, replacing an open job of the same name.
Job& add_job(Job job);
// Closes a job; false when it was not open.
bool remove_job(const std::string& name);
std::vector<std::string> job_names();
// Counts the changes that replace whole jobs or layers behind their names
// (opening, closing, undo), so that what is kept about them can be dropped.
std::uint64_t generation();

Step* find_step(Job& job, const std::string& name);
// Layer names are lower case, as ODB++ keeps them: a layer is found whatever
// the case the host writes, and a new layer takes the lower-case name.
std::string layer_name(const std::string& name);
// The layer's features in a step, or nullptr when the matrix has no such row.
Layer* find_layer(Job& job, Step& step, const std::string& name);
const MatrixRow* find_row(const Job& job, const std::string& layer);
MatrixRow* find_row(Job& job, const std::string& layer);

// The undo history. A command that changes features records the layers it is
// about to change (before changing them); undo puts back the latest record of
// that step. The oldest records go beyond kUndoDepth. Matrix changes are not
// recorded, except the polarity of the layers named. False when the step is
// not there (nothing recorded).
bool remember(Job& job, const std::string& step, const std::vector<std::string>& layers);
// The same for an edit that changes only the selected features of the layers
// and may append features after the last: only those are kept.
bool remember_selected(Job& job, const std::string& step, const std::vector<std::string>& layers);
bool undo(Job& job, const std::string& step);

// One feature edit of named layers of a step. Opening it records those layers
// for undo (whole, or only their selected features) before anything changes,
// so every edit that reaches its layers through one is undoable. An edit that
// finishes having changed nothing leaves no record behind.
class Edit {
public:
    enum class Keeps { Layers, Selection };
    Edit(Job& job, const std::string& step, const std::vector<std::string>& layers, Keeps keeps = Keeps::Layers);
    Edit(const Edit&) = delete;
    Edit& operator=(const Edit&) = delete;
    // `changed` features (or anything above 0): the record stays; 0 drops it.
    void finish(std::size_t changed);

private:
    Job* job_;
    std::size_t depth_ = 0; // the history's size with this edit's record
    bool recorded_ = false;
};

// The unit of real-valued coordinates crossing the API: mm unless a unit
// command chose inch.
Units working_unit();
void set_working_unit(Units units);

// Attribute definitions loaded by load_userattr / load_sysattr; every job
// opened later knows them too (its own definitions win).
std::map<std::string, AttributeDef>& session_attribute_defs();

} // namespace kesto::store
