// Nets, fonts, reports, tolerances, profiles and attributes.
#include "adaptor/handler.h"
#include "engine/api/edit.h"
#include "engine/api/nets.h"

#include <stdexcept>

// Not built yet: these answer the error text.
KESTO_PENDING(layer_rebuild)
KESTO_PENDING(op_size)
KESTO_PENDING(filter_by_mode)
KESTO_PENDING(set_layer_checklist)
KESTO_PENDING(construct_pads)
KESTO_PENDING(auto_move_drill_pad)

using namespace kesto::adaptor;

// Board nets: the host computes them for a step, lists a layer's nets and
// drops them; any command that needs nets computes them itself when missing.
KESTO_HANDLER(calculate_layer_net)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        std::map<std::string, int> per_layer;
        int count = 0;
        if (!KESTO::API::calculate_layer_net(job, step, layers, per_layer, count))
            throw std::runtime_error("the nets of " + job + "/" + step + " could not be computed");
        Json::Value paras(Json::objectValue);
        paras["net_count"] = count;
        Json::Value& on_layers = paras["layers"] = Json::Value(Json::objectValue);
        for (const auto& [layer, n] : per_layer) on_layers[layer] = n;
        return reply_json("CALCULATE_LAYER_NET", paras);
    });
}

KESTO_HANDLER(clear_layer_net)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        KESTO::API::clear_layer_net(job, step);
        return pass();
    });
}

KESTO_HANDLER(classify_layer_net)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        std::vector<KESTO::API::layer_net> nets;
        std::vector<int> no_net;
        if (!KESTO::API::classify_layer_net(job, step, layer, nets, no_net))
            throw std::runtime_error("the nets of layer " + layer + " could not be classified");
        Json::Value list(Json::arrayValue);
        for (const auto& n : nets) {
            Json::Value entry(Json::objectValue);
            entry["net"] = n.net;
            entry["net_name"] = n.name;
            Json::Value& features = entry["features"] = Json::Value(Json::arrayValue);
            for (int i : n.features) features.append(i);
            Json::Value& layers = entry["layers"] = Json::Value(Json::arrayValue);
            for (const std::string& l : n.layers) layers.append(l);
            list.append(std::move(entry));
        }
        Json::Value paras(Json::objectValue);
        paras["layer"] = layer;
        paras["nets"] = std::move(list);
        Json::Value& none = paras["no_net"] = Json::Value(Json::arrayValue);
        for (int i : no_net) none.append(i);
        return reply_json("CLASSIFY_LAYER_NET", paras);
    });
}

// The record commands of the selection edits, with this table's key names.
KESTO_HANDLER(break_symbols)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Members,
                  {{"jobname", para.job}, {"stepname", para.step}, {"layernames", para.layers},
                   {"sel_type", para.sel_type}},
                  [&] {
                      KESTO::API::break_symbols(para);
                      return pass();
                  });
}

KESTO_HANDLER(connections)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Members,
                  {{"jobname", para.job}, {"stepname", para.step}, {"layernames", para.layers},
                   {"connect_type", para.connect_type}, {"interaction_type", para.interaction_type},
                   {"radius", para.radius}, {"sel_type", para.sel_type}},
                  [&] {
                      KESTO::API::connections(para);
                      return pass();
                  });
}

KESTO_HANDLER(use_solid_fill_contours)
{
    std::string job, step;
    std::vector<std::string> layers;
    bool solid_type = false, use_arcs = false;
    double min_brush = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"solid_type", solid_type},
                   {"min_brush", min_brush}, {"use_arcs", use_arcs}},
                  [&] {
                      KESTO::API::use_solid_fill_contours(job, step, layers, solid_type, min_brush, use_arcs);
                      return pass();
                  });
}
