// The jobs the engine holds open, by name, and lookups into them.
#pragma once
#include "engine/model/model.h"

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

Step* find_step(Job& job, const std::string& name);
// The layer's features in a step, or nullptr when the matrix has no such row.
Layer* find_layer(Job& job, Step& step, const std::string& name);
const MatrixRow* find_row(const Job& job, const std::string& layer);

} // namespace kesto::store
