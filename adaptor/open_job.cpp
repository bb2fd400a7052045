#include "adaptor/open_job.h"

#include "engine/store/store.h"

#include <stdexcept>

namespace kesto::adaptor {

std::string the_open_job()
{
    const std::vector<std::string> jobs = kesto::store::job_names();
    if (jobs.size() != 1)
        throw std::invalid_argument(jobs.empty() ? "no job is open"
                                                 : "several jobs are open and the request names none");
    return jobs.front();
}

} // namespace kesto::adaptor
