// Job, step and layer management.
#include "adaptor/handler.h"
#include "engine/api/jobs.h"

using namespace kesto::adaptor;

namespace KESTO::API {
// {"context": .., "type": .., ...}: members matched exactly, others ignored.
static void read_value(const Json::Value& v, layer_info& out)
{
    read_members(v, {{"context", out.context},
                     {"type", out.type},
                     {"name", out.name},
                     {"step", out.step},
                     {"polarity", out.polarity},
                     {"orientation", out.orientation},
                     {"start_name", out.start_name},
                     {"end_name", out.end_name},
                     {"old_name", out.old_name},
                     {"row", out.row}});
}
} // namespace KESTO::API

namespace {

Json::Value status(bool value)
{
    Json::Value paras(Json::objectValue);
    paras["status"] = value;
    return paras;
}

} // namespace

KESTO_HANDLER(create_job)
{
    std::string path, job;
    return handle(__func__, request, Form::MembersParse, {{"path", path}, {"job", job}}, [&] {
        KESTO::API::create_job(path, job);
        return pass();
    });
}

KESTO_HANDLER(job_create)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"job", job}}, [&] {
        if (!KESTO::API::create_job(job)) {
            LOG(ERROR) << "Create_job failed";
            return error();
        }
        return pass();
    });
}

KESTO_HANDLER(get_matrix)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"job", job}}, [&] {
        std::map<int, std::string> steps;
        std::vector<KESTO::API::layer_info> layers;
        KESTO::API::get_matrix(job, steps, layers);
        return reply_json("GET_MATRIX", KESTO::DB::matrix_transform(steps, layers));
    });
}

KESTO_HANDLER(Save_Job)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}}, [&] {
        KESTO::API::Save_Job(job);
        return pass();
    });
}

KESTO_HANDLER(Save_Job_As)
{
    std::string path, job;
    return handle(__func__, request, Form::MembersParse, {{"path", path}, {"job", job}}, [&] {
        KESTO::API::Save_Job_As(job, path);
        return pass();
    });
}

KESTO_HANDLER(create_step)
{
    std::string job, step;
    int index = 0;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}, {"stepname", step}, {"index", index}}, [&] {
        KESTO::API::create_step(job, step, index);
        return pass();
    });
}

KESTO_HANDLER(is_job_opened)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}},
                  [&] { return reply_json("IS_JOB_OPENED", status(KESTO::API::is_job_opened(job))); });
}

KESTO_HANDLER(close_job)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}},
                  [&] { return keep(compact(status(KESTO::API::close_job(job) != 0))); });
}

KESTO_HANDLER(change_matrix)
{
    std::string job, step_name;
    int step_index = 0, layer_index = 0;
    KESTO::API::layer_info info;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job},
                   {"new_step_name", step_name},
                   {"old_step_index", step_index},
                   {"old_layer_index", layer_index},
                   {"new_layer_info", info}},
                  [&] {
                      KESTO::API::change_matrix(job, step_index, layer_index, step_name, info);
                      return pass();
                  });
}

KESTO_HANDLER(delete_layer)
{
    std::string job;
    int index = 0;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}, {"layer_index", index}}, [&] {
        KESTO::API::delete_layer(job, index);
        return pass();
    });
}

KESTO_HANDLER(delete_step)
{
    std::string job;
    int index = 0;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}, {"step_index", index}}, [&] {
        KESTO::API::delete_step(job, index);
        return pass();
    });
}

KESTO_HANDLER(move_layer_poi)
{
    std::string job;
    int from = 0, to = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"org_layer_index", from}, {"dst_layer_index", to}}, [&] {
                      KESTO::API::move_layer_poi(job, from, to);
                      return pass();
                  });
}

KESTO_HANDLER(move_layer)
{
    std::string job, from, to;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"org_layername", from}, {"dst_layername", to}}, [&] {
                      KESTO::API::move_layer_poi(job, from, to);
                      return pass();
                  });
}

KESTO_HANDLER(move_step_poi)
{
    std::string job;
    int from = 0, to = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"org_step_index", from}, {"dst_step_index", to}}, [&] {
                      KESTO::API::move_step_poi(job, from, to);
                      return pass();
                  });
}

KESTO_HANDLER(copy_Layer)
{
    std::string job, dst;
    int org = 0, poi = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"dst_layer", dst}, {"org_layer_index", org}, {"poi_layer_index", poi}}, [&] {
                      std::string newname;
                      KESTO::API::copy_layer(job, org, dst, poi, newname);
                      Json::Value paras(Json::objectValue);
                      paras["newname"] = newname;
                      return reply_json("COPY_LAYER", paras);
                  });
}

KESTO_HANDLER(copy_Step)
{
    std::string job, dst;
    int org = 0, poi = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"dst_step", dst}, {"org_step_index", org}, {"poi_step_index", poi}}, [&] {
                      std::string newname;
                      KESTO::API::copy_step(job, org, dst, poi, newname);
                      Json::Value paras(Json::objectValue);
                      paras["newname"] = newname;
                      return reply_json("COPY_STEP", paras);
                  });
}

KESTO_HANDLER(insert_Layer)
{
    std::string job;
    int index = 0;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}, {"poi_layer_index", index}}, [&] {
        KESTO::API::insert_layer(job, index);
        return pass();
    });
}

KESTO_HANDLER(insert_Step)
{
    std::string job;
    int index = 0;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}, {"poi_step_index", index}}, [&] {
        KESTO::API::insert_step(job, index);
        return pass();
    });
}

KESTO_HANDLER(job_detailed_copy)
{
    std::string src_path, src_job, dst_path, dst_job;
    bool include_steps = false, include_layers = false;
    std::vector<std::string> steps, layers;
    return handle(__func__, request, Form::MembersParse,
                  {{"src_path", src_path},
                   {"src_jobname", src_job},
                   {"dst_path", dst_path},
                   {"dst_jobname", dst_job},
                   {"include_steps", include_steps},
                   {"steps", steps},
                   {"include_layers", include_layers},
                   {"layers", layers}},
                  [&] {
                      KESTO::API::job_detailed_copy(src_path, src_job, dst_path, dst_job, include_steps, steps,
                                                    include_layers, layers);
                      return pass();
                  });
}

KESTO_HANDLER(step_copy)
{
    std::string src_job, src_step, dst_job, dst_step;
    return handle(__func__, request, Form::MembersParse,
                  {{"src_jobname", src_job}, {"src_step", src_step}, {"dst_jobname", dst_job}, {"dst_step", dst_step}},
                  [&] {
                      KESTO::API::step_copy(src_job, src_step, dst_job, dst_step);
                      return pass();
                  });
}

KESTO_HANDLER(job_rename)
{
    std::string src, dst;
    return handle(__func__, request, Form::MembersParse, {{"src_jobname", src}, {"dst_jobname", dst}}, [&] {
        KESTO::API::job_rename(src, dst);
        return pass();
    });
}

KESTO_HANDLER(job_delete)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"src_jobname", job}}, [&] {
        KESTO::API::job_delete(job);
        return pass();
    });
}

KESTO_HANDLER(is_job_changed)
{
    std::string job;
    return handle(__func__, request, Form::MembersParse, {{"src_jobname", job}}, [&] {
        KESTO::API::is_job_changed(job);
        return pass();
    });
}

KESTO_HANDLER(Load_Layer)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}}, [&] {
                      KESTO::API::Load_Layer(job, step, layer);
                      return pass();
                  });
}

KESTO_HANDLER(create_new_layer)
{
    std::string job, step, layer;
    int index = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"index", index}}, [&] {
                      KESTO::API::create_new_layer(job, step, layer, index);
                      return pass();
                  });
}

KESTO_HANDLER(open_layer)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::MembersParse, {{"jobname", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::open_layer(job, step, layer);
        return pass();
    });
}

KESTO_HANDLER(load_userattr)
{
    std::string path;
    return handle(__func__, request, Form::MembersParse, {{"path", path}}, [&] {
        KESTO::API::load_userattr(path);
        return pass();
    });
}

KESTO_HANDLER(load_sysattr)
{
    std::string path;
    return handle(__func__, request, Form::MembersParse, {{"path", path}}, [&] {
        KESTO::API::load_sysattr(path);
        return pass();
    });
}
