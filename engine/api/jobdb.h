// The job database as hosts reach it: signing in, storing open jobs as new
// revisions, opening stored jobs, queueing them for the automation host and
// reading their technology. Every operation but login and hasLogin needs a
// signed-in user. Failures answer false (or an empty text) and say why in
// the log at ERROR; passwords are never logged.
#pragma once
#include "engine/model/model.h"

#include <string>

namespace KESTO {
namespace API {

// Signs the user in for this process. A refused sign-in signs out whoever
// was signed in before.
bool login(const std::string& name, const std::string& pwd);
// 1 when a user is signed in, 0 when not.
int hasLogin();
// Opens the latest revision of a stored job as the open job `odb_jobname`.
// The stored job is found by id when job_id > 0 (and must then be named
// db_jobname, when that is given), else by db_jobname.
bool LoadJobFromDB(const std::string& odb_jobname, const std::string& db_jobname, int job_id);
// Stores the open job as the next revision of the database job of its name.
bool InsetJobToDB(const std::string& job);
// The same, and queues that revision for the automation host with its version.
bool InsetJobToRobotDB(const std::string& job, const std::string& robotVersion);
// The technology of a stored job's latest revision as a JSON document; ""
// when it cannot be read.
std::string TechnologyInfo(int job_id);

namespace DMS {
// A new empty job (metric, as create_job makes it) in the job library, open,
// and stored in the database as its first revision.
bool create_job(const std::string& job);
} // namespace DMS

} // namespace API
} // namespace KESTO

namespace kesto::jobdb {

// What a job's technology amounts to, lengths in nanometres; a length is -1
// when the job has nothing to measure it by.
struct Technology {
    int copper_layers = 0;
    std::string step;           // the step measured
    Coord board_width = -1, board_height = -1;
    Coord min_line = -1;        // narrowest line or arc on a copper layer
    Coord min_space = -1;       // closest approach of copper of different nets
    Coord min_drill = -1;       // smallest hole of a drill layer
    std::string surface_finish; // the job attribute naming the finish, if any
    std::map<std::string, std::string> attributes;
};
Technology technology_of(Job& job);

// Drops the connection and the signed-in user (the configuration changed, or
// a test starts over).
void reset_session();

} // namespace kesto::jobdb
