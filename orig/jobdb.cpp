// Job database: sign-in, storing and opening jobs, the automation host's
// queue and the technology of stored jobs. These answer bare JSON values.
#include "adaptor/handler.h"
#include "engine/api/jobdb.h"

using namespace kesto::adaptor;

namespace {
char* reply_value(const Json::Value& value) { return keep(compact(value)); }
} // namespace

KESTO_HANDLER(login)
{
    std::string name, pwd;
    return handle(__func__, request, Form::Members, {{"name", name}, {"pwd", pwd}},
                  [&] { return reply_value(KESTO::API::login(name, pwd)); });
}

KESTO_HANDLER(hasLogin)
{
    KESTO_INFO << "Begin hasLogin";
    KESTO_INFO << "End hasLogin";
    return reply_value(KESTO::API::hasLogin());
}

KESTO_HANDLER(loadjobfromdb)
{
    int job_id = 0;
    std::string odb_jobname, db_jobname;
    return handle(__func__, request, Form::Members,
                  {{"job_id", job_id}, {"odb_jobname", odb_jobname}, {"db_jobname", db_jobname}},
                  [&] { return reply_value(KESTO::API::LoadJobFromDB(odb_jobname, db_jobname, job_id)); });
}

KESTO_HANDLER(InsetJobToDB)
{
    std::string job;
    return handle(__func__, request, Form::Members, {{"job", job}},
                  [&] { return reply_value(KESTO::API::InsetJobToDB(job)); });
}

KESTO_HANDLER(InsetJobToRobotDB)
{
    std::string job, version;
    return handle(__func__, request, Form::Members, {{"job", job}, {"robotVersion", version}},
                  [&] { return reply_value(KESTO::API::InsetJobToRobotDB(job, version)); });
}

KESTO_HANDLER(get_json_from_dms)
{
    int job_id = 0;
    return handle(__func__, request, Form::Members, {{"job_id", job_id}}, [&] {
        const std::string text = KESTO::API::TechnologyInfo(job_id);
        Json::Value document;
        if (text.empty() || !parse_request(text.c_str(), document)) return error();
        return reply_value(document);
    });
}

KESTO_HANDLER(DMS_create_job)
{
    std::string job;
    return handle(__func__, request, Form::Members, {{"job", job}},
                  [&] { return KESTO::API::DMS::create_job(job) ? pass() : error(); });
}
