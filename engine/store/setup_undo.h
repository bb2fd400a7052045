// Undo of a step's set-up: its profile, datum, step-and-repeat table and the
// other header fields (a panel's margins live there). Changes of the set-up
// go into the same undo history as feature edits, so UNDO takes them back in
// the order they were made.
#pragma once
#include "engine/model/model.h" // StepSetup

#include <string>
#include <vector>

namespace kesto::store {

StepSetup setup_of(const Step& step);
// Records `before`, the step's set-up as it was before a change just made,
// as the newest undo record of the step. False when the step is not there.
bool remember_setup(Job& job, const std::string& step, StepSetup before);
// Drops every undo record of the step without putting anything back: its
// edits so far stay for good. (Dropping only the latest would let an older
// record of the same layers take that edit back.) Answers how many went.
size_t drop_history(Job& job, const std::string& step);

} // namespace kesto::store
