// Job, matrix, step and layer structure.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/jobs.h"

#include <algorithm>

using namespace kesto::adaptor;

KESTO_HANDLER(open_job)
{
    return handle(__func__, request, Form::Elements, {}, [&](const Json::Value& paras) {
        const std::string path = element_member(paras, 0, "path").asString();
        const std::string job = element_member(paras, 1, "job").asString();
        LOG(INFO) << "open_job -> path:" << path << ", jobName:" << job;
        KESTO::API::open_job(path, job);
        LOG(INFO) << "open_job true";
        Json::Value status(Json::objectValue);
        status["status"] = true;
        return reply_json("OPEN_JOB", status);
    });
}

// "type", "iconic", "step" and "matrix" ask for a window in hosts that have
// one; the engine has none, so opening the job and reading its matrix is all.
KESTO_HANDLER(open_entity)
{
    std::string job, path, type, step;
    bool iconic = false, matrix = false;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"path", path}, {"type", type}, {"iconic", iconic}, {"step", step}, {"matrix", matrix}},
                  [&] {
                      std::map<int, std::string> steps;
                      std::vector<KESTO::API::layer_info> layers;
                      if (!KESTO::API::open_job(path, job)) return error();
                      const std::string failure = KESTO::API::get_matrix(job, steps, layers);
                      if (!failure.empty()) {
                          LOG(ERROR) << "open_entity: " << failure;
                          return error();
                      }
                      return pass();
                  });
}

// "units": 0, "mm" or "metric"; 1, "inch" or "imperial" (any case). Another
// value leaves the unit as it was.
KESTO_HANDLER(set_units)
{
    Json::Value units;
    return handle(__func__, request, Form::Elements, {{"units", units}}, [&] {
        KESTO::API::show_param param;
        KESTO::API::get_show_para(param);
        change_unit(units, param, "set_units");
        KESTO::API::set_show_para(param);
        return pass();
    });
}

KESTO_HANDLER(matrix_delete_row)
{
    std::string job;
    int index = 0;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"layer_index", index}}, [&] {
        KESTO::API::delete_layer(job, index);
        return pass();
    });
}

KESTO_HANDLER(matrix_delete_col)
{
    std::string job;
    int index = 0;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"step_index", index}}, [&] {
        KESTO::API::delete_step(job, index);
        return pass();
    });
}

KESTO_HANDLER(matrix_move_row)
{
    std::string job;
    int from = 0, to = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"dst_layer_index", to}, {"org_layer_index", from}}, [&] {
                      KESTO::API::move_layer_poi(job, from, to);
                      return pass();
                  });
}

KESTO_HANDLER(matrix_move_col)
{
    std::string job;
    int from = 0, to = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"org_step_index", from}, {"dst_step_index", to}}, [&] {
                      KESTO::API::move_step_poi(job, from, to);
                      return pass();
                  });
}

KESTO_HANDLER(copy_layer)
{
    std::string job, dst;
    int org = 0, poi = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"org_layer_index", org}, {"dst_layer", dst}, {"poi_layer_index", poi}}, [&] {
                      std::string out;
                      KESTO::API::copy_layer(job, org, dst, poi, out);
                      return pass();
                  });
}

KESTO_HANDLER(copy_step)
{
    std::string job, dst;
    int org = 0, poi = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"org_step_index", org}, {"dst_step", dst}, {"poi_step_index", poi}}, [&] {
                      std::string out;
                      KESTO::API::copy_step(job, org, dst, poi, out);
                      return pass();
                  });
}

KESTO_HANDLER(insert_layer)
{
    std::string job;
    int poi = 0;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"poi_layer_index", poi}}, [&] {
        KESTO::API::insert_layer(job, poi);
        return pass();
    });
}

KESTO_HANDLER(insert_step)
{
    std::string job;
    int poi = 0;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"poi_step_index", poi}}, [&] {
        KESTO::API::insert_step(job, poi);
        return pass();
    });
}

KESTO_HANDLER(save_job)
{
    std::string job;
    return handle(__func__, request, Form::Elements, {{"job", job}}, [&] {
        KESTO::API::Save_Job(job);
        return pass();
    });
}

// Any failure, reading the request included, is logged as this command's error.
KESTO_HANDLER(get_layer_feature_count)
{
    try {
        LOG(INFO) << "Begin get_layer_feature_count";
        std::string job, step, layer;
        Json::Value root;
        if (parse_request(request, root))
            read_elements(root["paras"], {{"jobName", job}, {"stepName", step}, {"layerName", layer}});
        const int count = KESTO::API::Get_features_cnt(job, step, layer);
        if (count < 0) {
            LOG(ERROR) << "get_layer_feature_count failed";
            return error();
        }
        Json::Value reply(Json::objectValue);
        reply["featureNum"] = std::to_string(count);
        reply["result"] = pass();
        LOG(INFO) << "End get_layer_feature_count";
        return keep(compact(reply));
    } catch (...) {
        LOG(ERROR) << "get_layer_feature_count error";
        return error();
    }
}
