// DFM rule settings the repair operations read: the relationship matrix
// (a value and a ratio per named column and row), the per-attribute
// annular-ring and resize rules, and the rule text, global and per job.
// Global settings persist in the working folder; a job's text travels with
// the job (user/dfm_parameter).
#pragma once
#include <map>
#include <string>
#include <utility>

namespace KESTO {
namespace API {

struct dfm_configR {
    double value = 0;
    double ratio = 0;
};

struct dfm_config {
    double min_resize = 0;
    double min_ring = 0;
    double opt_resize = 0;
    double opt_ring = 0;
    bool shave = false;
};

using dfm_relationship = std::map<std::pair<std::string, std::string>, dfm_configR>; // (column, row)
using dfm_introduction = std::map<std::string, dfm_config>;                          // by attribute

// A name "outer:<name>" or "inner:<name>" sets the rule of that side only;
// a bare name sets both. False when the settings could not be saved.
bool setRelationship(const std::string& colname, const std::string& rowname, const dfm_configR& cell);
dfm_relationship get_realationship(bool isoutter);
bool setIntroduction(const std::string& attributename, double min_resize, double min_ring, double opt_resize,
                     double opt_ring, bool is_shave);
dfm_introduction get_introduction(bool isoutter);

// The global rule text, kept as given.
bool set_parameter(const std::string& rules);
std::string get_parameter();
// A job's own rule text; false when the job is not open.
bool setParameter(const std::string& job, const std::string& rules);
// "" when the job is not open or has none.
std::string get_parameter(const std::string& job);

} // namespace API
} // namespace KESTO
