// Point and polygon selection, highlight and feature queries.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/edit.h"
#include "engine/api/nets.h"
#include "engine/api/selection.h"

// Not built yet: these answer the error text.
KESTO_PENDING(select_Features)
KESTO_PENDING(select_multi_features)
KESTO_PENDING(unselect_multi_features)
KESTO_PENDING(unselect_Features)
KESTO_PENDING(clear_clicked_feature_status)
KESTO_PENDING(highlight_Features)
KESTO_PENDING(highlight_multi_features)
KESTO_PENDING(get_feature_info)
KESTO_PENDING(get_feature_point)
KESTO_PENDING(get_feature_dis_point)
KESTO_PENDING(is_selected)
KESTO_PENDING(get_selected_feature_info)
KESTO_PENDING(get_selected_feature_infos)
KESTO_PENDING(create_new_symbol)
KESTO_PENDING(select_features_by_symbol)
KESTO_PENDING(unselect_features_by_symbol)
KESTO_PENDING(select_polyline)
KESTO_PENDING(unselect_polyline)
KESTO_PENDING(select_connect_line)
KESTO_PENDING(select_by_mode)
KESTO_PENDING(select_feature_by_info)

using namespace kesto::adaptor;

KESTO_HANDLER(set_select_param)
{
    KESTO::API::select_info param;
    return handle(__func__, request, Form::Members, {{"param", param}}, [&] {
        KESTO::API::set_select_param(param);
        return pass();
    });
}

KESTO_HANDLER(get_select_param)
{
    return handle(__func__, request, Form::Members, {}, [&] {
        KESTO::API::select_info param;
        KESTO::API::get_select_param(param);
        Json::Value paras(Json::objectValue);
        paras["param"] = KESTO::API::to_json(param);
        return reply_json("GET_SELECT_PARAM", paras);
    });
}

KESTO_HANDLER(set_selection)
{
    KESTO::API::Selection options;
    return handle(__func__, request, Form::Members,
                  {{"sels", options.sels},
                   {"is_standard", options.is_standard},
                   {"is_clear", options.is_clear},
                   {"all_layers", options.all_layers},
                   {"is_select", options.is_select},
                   {"inside", options.inside},
                   {"exclude", options.exclude}},
                  [&] {
                      KESTO::API::set_selection(options);
                      return pass();
                  });
}

namespace {

// The commands that name one layer by "job", "step" and "layer".
template <class Operation>
char* on_layer(const char* name, const char* request, Operation&& operation)
{
    std::string job, step, layer;
    return handle(name, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        operation(job, step, layer);
        return pass();
    });
}

} // namespace

KESTO_HANDLER(select_features) { return on_layer(__func__, request, KESTO::API::select_features); }
KESTO_HANDLER(unselect_features) { return on_layer(__func__, request, KESTO::API::unselect_features); }
KESTO_HANDLER(highlight_features) { return on_layer(__func__, request, KESTO::API::highlight_features); }
KESTO_HANDLER(unhighlight_features) { return on_layer(__func__, request, KESTO::API::unhighlight_features); }
KESTO_HANDLER(clear_selected_features) { return on_layer(__func__, request, KESTO::API::clear_selected_features); }
KESTO_HANDLER(clear_highlighted_features) { return on_layer(__func__, request, KESTO::API::clear_highlighted_features); }
KESTO_HANDLER(reverse_select) { return on_layer(__func__, request, KESTO::API::reverse_select); }

KESTO_HANDLER(is_Selected)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        Json::Value reply(Json::objectValue);
        reply["result"] = KESTO::API::is_selected(job, step, layer);
        return keep(compact(reply));
    });
}

// The positions to select come as "featureIDs", a list of whole numbers.
KESTO_HANDLER(select_feature_by_id)
{
    std::string job, step, layer;
    std::vector<int> ids;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"featureIDs", ids}}, [&] {
                      KESTO::API::select_feature_by_id(job, step, layer, ids);
                      return pass();
                  });
}

KESTO_HANDLER(select_features_by_net)
{
    std::string job, step, layer;
    std::vector<std::string> dest_layers;
    Json::Value polygon;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"vec_dest_layername", dest_layers},
                   {"selectpolygon", polygon}},
                  [&] {
                      std::vector<KESTO::API::point> points;
                      for (const Json::Value& p : polygon) {
                          KESTO::API::point at;
                          at.ix = p["ix"].asInt();
                          at.iy = p["iy"].asInt();
                          points.push_back(at);
                      }
                      KESTO::API::select_features_by_net(job, step, layer, dest_layers, points);
                      return pass();
                  });
}
