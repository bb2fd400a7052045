#include "engine/api/dfm_rules.h"

#include "engine/dfm/rules_store.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <vector>

namespace KESTO {
namespace API {
namespace {

using kesto::dfm::Inner;
using kesto::dfm::Outer;

// "outer:x" and "inner:x" name one side's rule; a bare name both sides'.
std::vector<int> sides_of(std::string& name)
{
    for (const auto& [prefix, side] : {std::pair<const char*, int>{"outer:", Outer}, {"inner:", Inner}}) {
        const std::string p = prefix;
        if (name.compare(0, p.size(), p) == 0) {
            name.erase(0, p.size());
            return {side};
        }
    }
    return {Outer, Inner};
}

} // namespace

bool setRelationship(const std::string& colname, const std::string& rowname, const dfm_configR& cell)
{
    std::string col = colname, row = rowname;
    std::vector<int> sides = sides_of(col);
    // A side named on the row counts as well, when the column names none.
    if (sides.size() == 2) sides = sides_of(row);
    auto& settings = kesto::dfm::rules();
    for (int side : sides) settings.relationship[side][{col, row}] = cell;
    return kesto::dfm::save_rules();
}

dfm_relationship get_realationship(bool isoutter) { return kesto::dfm::rules().relationship[isoutter ? Outer : Inner]; }

bool setIntroduction(const std::string& attributename, double min_resize, double min_ring, double opt_resize,
                     double opt_ring, bool is_shave)
{
    std::string name = attributename;
    auto& settings = kesto::dfm::rules();
    for (int side : sides_of(name))
        settings.introduction[side][name] = {min_resize, min_ring, opt_resize, opt_ring, is_shave};
    return kesto::dfm::save_rules();
}

dfm_introduction get_introduction(bool isoutter) { return kesto::dfm::rules().introduction[isoutter ? Outer : Inner]; }

bool set_parameter(const std::string& rules)
{
    kesto::dfm::rules().parameter = rules;
    return kesto::dfm::save_rules();
}

std::string get_parameter() { return kesto::dfm::rules().parameter; }

bool setParameter(const std::string& job, const std::string& rules)
{
    kesto::Job* j = kesto::store::find_job(job);
    if (!j) {
        LOG(ERROR) << "setParameter: no open job '" << job << "'";
        return false;
    }
    j->files[kesto::dfm::kJobRulesFile] = rules;
    j->changed = true;
    return true;
}

std::string get_parameter(const std::string& job)
{
    const kesto::Job* j = kesto::store::find_job(job);
    if (!j) return "";
    auto file = j->files.find(kesto::dfm::kJobRulesFile);
    return file == j->files.end() ? "" : file->second;
}

} // namespace API
} // namespace KESTO
