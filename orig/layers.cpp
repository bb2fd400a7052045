// The roles of layers in the stack, the session's marks on a step, and
// attribute edits of the selected features.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/classify.h"
#include "engine/api/copper.h"
#include "engine/api/edit.h"
#include "engine/api/layer_roles.h"

#include <stdexcept>

using namespace kesto::adaptor;

KESTO_HANDLER(get_outter_layers)
{
    std::string job;
    return handle(__func__, request, Form::Members, {{"job", job}}, [&] {
        std::string top, bottom;
        if (!KESTO::API::outer_copper_layers(job, top, bottom))
            throw std::runtime_error("job " + job + " has no outer copper layers");
        Json::Value paras(Json::objectValue);
        paras["top"] = top;
        paras["bottom"] = bottom;
        return reply_json("GET_OUTTER_LAYERS", paras);
    });
}

KESTO_HANDLER(get_near_signal_layername)
{
    std::string job, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"layer", layer}}, [&] {
        KESTO::API::near_signal near;
        if (!KESTO::API::near_signal_layers(job, layer, near))
            throw std::runtime_error("no copper layer near " + layer);
        Json::Value paras(Json::objectValue);
        paras["layer"] = near.nearest;
        paras["above"] = near.above;
        paras["below"] = near.below;
        return reply_json("GET_NEAR_SIGNAL_LAYERNAME", paras);
    });
}

KESTO_HANDLER(clear_all_options)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        int cleared = 0;
        if (!KESTO::API::clear_all_options(job, step, cleared)) throw std::runtime_error("no step " + job + "/" + step);
        return pass();
    });
}

KESTO_HANDLER(modify_attributes)
{
    std::string job, step;
    std::vector<std::string> layers;
    int mode = 0;
    AttributeMap attributes;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"mode", mode}, {"attributes", attributes}}, [&] {
                      if (mode < 0 || mode > 2) throw std::invalid_argument("mode is 0 (add), 1 (replace) or 2 (remove)");
                      KESTO::API::modify_attributes(job, step, layers, mode, attributes.values);
                      return pass();
                  });
}

KESTO_HANDLER(get_feature_from_muti_layer)
{
    std::string job, step;
    std::vector<std::string> layers;
    double x = 0, y = 0, margin = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"x", x}, {"y", y}, {"margin", margin}}, [&] {
                      std::vector<KESTO::API::feature_at> found;
                      if (!KESTO::API::features_at_point(job, step, layers, x, y, margin, found))
                          throw std::runtime_error("the layers could not be searched");
                      Json::Value list(Json::arrayValue);
                      for (const auto& f : found) {
                          Json::Value e(Json::objectValue);
                          e["layer"] = f.layer;
                          e["index"] = f.index;
                          e["kind"] = f.kind;
                          e["symbol"] = f.symbol;
                          e["polarity"] = f.positive ? "positive" : "negative";
                          list.append(std::move(e));
                      }
                      Json::Value paras(Json::objectValue);
                      paras["features"] = std::move(list);
                      return reply_json("GET_FEATURE_FROM_MUTI_LAYER", paras);
                  });
}

KESTO_HANDLER(get_smd_bga_with_one_drill)
{
    std::string job, step, layer, drill;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"drill", drill}}, [&] {
                      std::string used;
                      std::vector<KESTO::API::pad_with_hole> pads;
                      if (!KESTO::API::smd_with_one_drill(job, step, layer, drill, used, pads))
                          throw std::runtime_error("the SMD pads of " + layer + " could not be searched");
                      Json::Value list(Json::arrayValue);
                      for (const auto& p : pads) {
                          Json::Value e(Json::objectValue);
                          e["index"] = p.index;
                          e["hole"] = p.hole;
                          e["x"] = p.x;
                          e["y"] = p.y;
                          e["drill"] = p.drill;
                          list.append(std::move(e));
                      }
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["drill"] = used;
                      paras["pads"] = std::move(list);
                      return reply_json("GET_SMD_BGA_WITH_ONE_DRILL", paras);
                  });
}

KESTO_HANDLER(auto_classify_attribute)
{
    std::string job, step, layer;
    double via_max = 0.5;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"via_max", via_max}}, [&] {
                      KESTO::API::classified c;
                      if (!KESTO::API::auto_classify_attribute(job, step, layer, via_max, c))
                          throw std::runtime_error("the pads of " + layer + " could not be classified");
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["smd"] = c.smd;
                      paras["via"] = c.via;
                      paras["toeprint"] = c.toeprint;
                      paras["fiducial"] = c.fiducial;
                      return reply_json("AUTO_CLASSIFY_ATTRIBUTE", paras);
                  });
}
