#include "engine/drc/analysis_store.h"

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <deque>
#include <map>
#include <tuple>

namespace kesto::drc {
namespace {

struct Store {
    std::map<std::string, std::shared_ptr<const AnalysisRun>> runs;
    std::deque<std::string> order; // oldest first
    std::map<std::tuple<std::string, std::string, int>, std::string> latest;
    boost::uuids::random_generator generate;
};

Store& store()
{
    static auto* s = new Store();
    return *s;
}

} // namespace

std::string keep_run(AnalysisRun run)
{
    Store& s = store();
    run.uuid = boost::uuids::to_string(s.generate());
    const std::string uuid = run.uuid;
    s.latest[{run.job, run.step, run.kind}] = uuid;
    s.runs[uuid] = std::make_shared<const AnalysisRun>(std::move(run));
    s.order.push_back(uuid);
    while (s.order.size() > kKeptRuns) {
        s.runs.erase(s.order.front());
        s.order.pop_front();
    }
    return uuid;
}

std::shared_ptr<const AnalysisRun> find_run(const std::string& uuid)
{
    auto it = store().runs.find(uuid);
    return it == store().runs.end() ? nullptr : it->second;
}

std::string latest_run(const std::string& job, const std::string& step, int kind)
{
    auto it = store().latest.find({job, step, kind});
    if (it == store().latest.end() || !find_run(it->second)) return std::string();
    return it->second;
}

} // namespace kesto::drc
