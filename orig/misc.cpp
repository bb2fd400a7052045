// Nets, fonts, reports, tolerances, profiles and attributes.
#include "adaptor/handler.h"
#include "engine/api/checklist.h"
#include "engine/api/edit.h"
#include "engine/api/layer_tools.h"
#include "engine/api/nets.h"

#include <stdexcept>

using namespace kesto::adaptor;

// ---------------------------------------------------------------- layer checklist

// "checks" left out leaves each layer's checks as they are; [] clears them.
// The reply lists the step's whole checklist as it now stands.
KESTO_HANDLER(set_layer_checklist)
{
    std::string job, step, status;
    std::vector<std::string> layers;
    Json::Value checks;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"checks", checks}, {"status", status}}, [&] {
                      std::vector<std::string> names;
                      if (!checks.isNull() && !checks.isArray()) throw std::invalid_argument("\"checks\" is a list of checks");
                      if (!checks.isNull()) read_value(checks, names);
                      std::vector<KESTO::API::checklist_entry> list;
                      std::string why;
                      if (!KESTO::API::set_layer_checklist(job, step, layers, !checks.isNull(), names, status, list, why))
                          return error();
                      Json::Value paras(Json::objectValue);
                      paras["job"] = job;
                      paras["step"] = step;
                      paras["layers"] = Json::Value(Json::arrayValue);
                      for (const auto& e : list) {
                          Json::Value one(Json::objectValue);
                          one["layer"] = e.layer;
                          one["checks"] = Json::Value(Json::arrayValue);
                          for (const std::string& c : e.checks) one["checks"].append(c);
                          one["status"] = e.status;
                          paras["layers"].append(one);
                      }
                      return reply_json("SET_LAYER_CHECKLIST", paras);
                  });
}

// ---------------------------------------------------------------- layer and feature tools

KESTO_HANDLER(layer_rebuild)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::layer_rebuild_result r;
        std::string why;
        if (!KESTO::API::layer_rebuild(job, step, layer, r, why)) return error();
        Json::Value paras(Json::objectValue);
        paras["layer"] = layer;
        paras["features"] = r.features;
        paras["symbols_before"] = r.symbols_before;
        paras["symbols_after"] = r.symbols_after;
        paras["bodies_dropped"] = r.bodies_dropped;
        paras["attribute_sets_dropped"] = r.attribute_sets_dropped;
        return reply_json("LAYER_REBUILD", paras);
    });
}

// The global resize's engine operation, with this table's key names.
KESTO_HANDLER(op_size)
{
    KESTO::Op::OpPara para;
    bool all = false, square = false;
    return handle(__func__, request, Form::Members,
                  {{"job", para.job}, {"step", para.step}, {"layers", para.layers}, {"size", para.size},
                   {"all", all}, {"square_corners", square}},
                  [&] {
                      para.sel_type = all ? 1 : 0;
                      para.corner = square ? 1 : 0;
                      KESTO::API::resize_global_result r;
                      if (!KESTO::API::resize_global(para, r)) return error();
                      Json::Value paras(Json::objectValue);
                      paras["resized"] = r.resized;
                      paras["skipped"] = r.skipped;
                      return reply_json("OP_SIZE", paras);
                  });
}

KESTO_HANDLER(filter_by_mode)
{
    std::string job, step, layer, polarity;
    int kinds = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"mode", kinds}, {"polarity", polarity}}, [&] {
                      int selected = 0;
                      std::string why;
                      if (!KESTO::API::filter_by_mode(job, step, layer, kinds, polarity, selected, why))
                          return error();
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["selected"] = selected;
                      return reply_json("FILTER_BY_MODE", paras);
                  });
}

KESTO_HANDLER(construct_pads)
{
    std::string job, step, layer;
    double tolerance = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"tolerance", tolerance}}, [&] {
                      int pads = 0, replaced = 0;
                      std::string why;
                      if (!KESTO::API::construct_pads(job, step, layer, tolerance, pads, replaced, why)) return error();
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["pads"] = pads;
                      paras["replaced"] = replaced;
                      return reply_json("CONSTRUCT_PADS", paras);
                  });
}

KESTO_HANDLER(auto_move_drill_pad)
{
    std::string job, step, layer, drill;
    double max_offset = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"drill", drill}, {"max_offset", max_offset}},
                  [&] {
                      std::vector<KESTO::API::moved_pad> moved;
                      std::string why;
                      if (!KESTO::API::auto_move_drill_pad(job, step, layer, drill, max_offset, moved, why))
                          return error();
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["drill"] = drill;
                      Json::Value& pads = paras["pads"] = Json::Value(Json::arrayValue);
                      for (const auto& m : moved) {
                          Json::Value p(Json::objectValue);
                          p["index"] = m.index;
                          p["dx"] = m.dx;
                          p["dy"] = m.dy;
                          pads.append(p);
                      }
                      paras["moved"] = Json::UInt64(moved.size());
                      return reply_json("AUTO_MOVE_DRILL_PAD", paras);
                  });
}

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
