// Panel automation: what is drawn on a panel's layers (the map of its boards,
// the edge frame, job-name arrows, copper banding), the check of a panel
// against its boards, and the feature map of a double-sided flexible panel.
#include "adaptor/handler.h"
#include "engine/api/panel.h"

#include <stdexcept>

namespace {

using namespace kesto::adaptor;
namespace api = KESTO::API;

[[noreturn]] void refuse(const std::string& why) { throw std::runtime_error(why); }

char* added(const char* func, int features)
{
    Json::Value paras(Json::objectValue);
    paras["features"] = features;
    return reply_json(func, paras);
}

} // namespace

KESTO_HANDLER(run_map)
{
    std::string job, step, layer;
    double text_height = 0, line_width = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"text_height", text_height}, {"line_width", line_width}},
                  [&] {
                      std::string why;
                      const int n = api::run_map(job, step, layer, text_height, line_width, why);
                      if (n < 0) refuse(why);
                      return added("RUN_MAP", n);
                  });
}

KESTO_HANDLER(run_edge)
{
    std::string job, step, layer;
    double clearance = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"clearance", clearance}}, [&] {
                      std::string why;
                      const int n = api::run_edge(job, step, layer, clearance, why);
                      if (n < 0) refuse(why);
                      return added("RUN_EDGE", n);
                  });
}

KESTO_HANDLER(add_sub_jobname_arrow)
{
    std::string job, step, layer;
    double text_height = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"text_height", text_height}}, [&] {
                      std::string why;
                      const int n = api::add_sub_jobname_arrow(job, step, layer, text_height, why);
                      if (n < 0) refuse(why);
                      return added("ADD_SUB_JOBNAME_ARROW", n);
                  });
}

KESTO_HANDLER(judge_box_and_childstepbox)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        std::string why;
        api::box_judgement j;
        if (!api::judge_box_and_childstepbox(job, step, j, why)) refuse(why);
        Json::Value paras(Json::objectValue);
        paras["inside"] = j.inside;
        paras["overlap"] = j.overlap;
        Json::Value problems(Json::arrayValue);
        for (const auto& p : j.problems) problems.append(p);
        paras["problems"] = problems;
        return reply_json("JUDGE_BOX_AND_CHILDSTEPBOX", paras);
    });
}

KESTO_HANDLER(SL_panel_banding)
{
    std::string job;
    std::vector<std::string> layers;
    double dot = 0, pitch = 0, clearance = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"layers", layers}, {"dot", dot}, {"pitch", pitch}, {"clearance", clearance}}, [&] {
                      std::string why;
                      const int n = api::panel_banding(job, layers, dot, pitch, clearance, why);
                      if (n < 0) refuse(why);
                      Json::Value paras(Json::objectValue);
                      paras["dots"] = n;
                      return reply_json("SL_PANEL_BANDING", paras);
                  });
}

KESTO_HANDLER(init_varno_fpcdouble_featuremap)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        std::string why;
        std::vector<api::feature_map_entry> map;
        if (!api::init_varno_fpcdouble_featuremap(job, step, layers, map, why))
            refuse(why);
        Json::Value list(Json::arrayValue);
        for (const auto& e : map) {
            Json::Value v(Json::objectValue);
            v["index"] = e.index, v["step"] = e.step, v["x"] = e.x, v["y"] = e.y, v["angle"] = e.angle, v["flip"] = e.flip;
            Json::Value features(Json::objectValue);
            for (const auto& [name, n] : e.features) features[name] = n;
            v["features"] = features;
            list.append(v);
        }
        Json::Value paras(Json::objectValue);
        paras["instances"] = list;
        return reply_json("INIT_VARNO_FPCDOUBLE_FEATUREMAP", paras);
    });
}
