// Reports and measures: feature counts and extents, centres, the smallest
// rotated box, spacing, annular rings and the figures of a quotation.
#include "adaptor/handler.h"
#include "engine/api/reports.h"

#include <stdexcept>

using namespace kesto::adaptor;

namespace {

void put_extent(Json::Value& out, const KESTO::API::extent& e)
{
    if (e.empty) return;
    out["xmin"] = e.xmin;
    out["ymin"] = e.ymin;
    out["xmax"] = e.xmax;
    out["ymax"] = e.ymax;
}

char* report(const char* name, const char* func, const char* request, bool selected_only)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(name, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        std::vector<KESTO::API::features_report_entry> entries;
        if (!KESTO::API::features_report(job, step, layers, selected_only, entries))
            throw std::runtime_error("the features could not be counted");
        Json::Value list(Json::arrayValue);
        for (const auto& e : entries) {
            Json::Value layer(Json::objectValue);
            layer["layer"] = e.layer;
            layer["total"] = e.total;
            layer["positive"] = e.positive;
            layer["negative"] = e.negative;
            Json::Value& kinds = layer["kinds"] = Json::Value(Json::objectValue);
            for (const auto& [k, n] : e.kinds) kinds[k] = n;
            Json::Value& symbols = layer["symbols"] = Json::Value(Json::objectValue);
            for (const auto& [s, n] : e.symbols) symbols[s] = n;
            Json::Value& box = layer["box"] = Json::Value(Json::objectValue);
            put_extent(box, e.box);
            list.append(std::move(layer));
        }
        Json::Value paras(Json::objectValue);
        paras["layers"] = std::move(list);
        return reply_json(func, paras);
    });
}

// The extent of the layers' features, as a box or as its centre.
char* extent_query(const char* name, const char* func, const char* request, bool selected_only, bool centre)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(name, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        KESTO::API::extent e;
        if (!KESTO::API::features_box(job, step, layers, selected_only, e))
            throw std::runtime_error("the extent could not be measured");
        if (e.empty) throw std::runtime_error(selected_only ? "no feature is selected" : "the layers are empty");
        Json::Value paras(Json::objectValue);
        if (centre) {
            paras["x"] = (e.xmin + e.xmax) / 2;
            paras["y"] = (e.ymin + e.ymax) / 2;
        } else {
            put_extent(paras, e);
        }
        return reply_json(func, paras);
    });
}

} // namespace

KESTO_HANDLER(get_selected_features_report)
{
    return report(__func__, "GET_SELECTED_FEATURES_REPORT", request, true);
}

KESTO_HANDLER(get_all_features_report)
{
    return report(__func__, "GET_ALL_FEATURES_REPORT", request, false);
}

KESTO_HANDLER(get_selected_features_box)
{
    return extent_query(__func__, "GET_SELECTED_FEATURES_BOX", request, true, false);
}

KESTO_HANDLER(get_features_center)
{
    return extent_query(__func__, "GET_FEATURES_CENTER", request, true, true);
}

KESTO_HANDLER(get_box_center)
{
    return extent_query(__func__, "GET_BOX_CENTER", request, false, true);
}

KESTO_HANDLER(get_features_centers)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        std::vector<KESTO::API::feature_centre> centres;
        if (!KESTO::API::features_centres(job, step, layer, centres))
            throw std::runtime_error("the centres could not be found");
        Json::Value list(Json::arrayValue);
        for (const auto& c : centres) {
            Json::Value entry(Json::objectValue);
            entry["index"] = c.index;
            entry["x"] = c.x;
            entry["y"] = c.y;
            list.append(std::move(entry));
        }
        Json::Value paras(Json::objectValue);
        paras["layer"] = layer;
        paras["centers"] = std::move(list);
        return reply_json("GET_FEATURES_CENTERS", paras);
    });
}

KESTO_HANDLER(get_feature_rotated_box)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::rotated_box box;
        if (!KESTO::API::feature_rotated_box(job, step, layer, box))
            throw std::runtime_error("the rotated box could not be found");
        Json::Value paras(Json::objectValue);
        paras["x"] = box.cx;
        paras["y"] = box.cy;
        paras["width"] = box.width;
        paras["height"] = box.height;
        paras["angle"] = box.angle;
        Json::Value& corners = paras["corners"] = Json::Value(Json::arrayValue);
        for (const auto& c : box.corners) {
            Json::Value p(Json::objectValue);
            p["x"] = c[0];
            p["y"] = c[1];
            corners.append(std::move(p));
        }
        return reply_json("GET_FEATURE_ROTATED_BOX", paras);
    });
}

KESTO_HANDLER(polygon_is_interacts)
{
    std::string job, step, layer;
    Json::Value points;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"points", points}}, [&] {
                      std::vector<std::pair<double, double>> polygon;
                      for (const Json::Value& p : points) polygon.emplace_back(p["x"].asDouble(), p["y"].asDouble());
                      std::vector<int> hits;
                      if (!KESTO::API::polygon_interacts(job, step, layer, polygon, hits))
                          throw std::runtime_error("the polygon could not be tested");
                      Json::Value paras(Json::objectValue);
                      paras["interacts"] = !hits.empty();
                      Json::Value& features = paras["features"] = Json::Value(Json::arrayValue);
                      for (int i : hits) features.append(i);
                      return reply_json("POLYGON_IS_INTERACTS", paras);
                  });
}

KESTO_HANDLER(get_selected_feature_min_spacing)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::spacing s;
        if (!KESTO::API::selected_min_spacing(job, step, layer, s))
            throw std::runtime_error("the spacing could not be measured");
        Json::Value paras(Json::objectValue);
        paras["spacing"] = s.distance;
        paras["feature_a"] = s.a;
        paras["feature_b"] = s.b;
        paras["ax"] = s.ax;
        paras["ay"] = s.ay;
        paras["bx"] = s.bx;
        paras["by"] = s.by;
        return reply_json("GET_SELECTED_FEATURE_MIN_SPACING", paras);
    });
}

KESTO_HANDLER(get_annular_ring)
{
    std::string job, step, layer, drill;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"drill", drill}}, [&] {
                      KESTO::API::annular_rings rings;
                      if (!KESTO::API::get_annular_ring(job, step, layer, drill, rings))
                          throw std::runtime_error("the annular rings of " + layer + " could not be measured");
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["drill"] = rings.drill_layer;
                      paras["min_ring"] = rings.min_ring;
                      paras["without_pad"] = rings.without_pad;
                      Json::Value& holes = paras["holes"] = Json::Value(Json::arrayValue);
                      for (const auto& h : rings.holes) {
                          Json::Value entry(Json::objectValue);
                          entry["index"] = h.index;
                          entry["x"] = h.x;
                          entry["y"] = h.y;
                          entry["drill"] = h.drill;
                          entry["has_pad"] = h.has_pad;
                          if (h.has_pad) entry["ring"] = h.ring;
                          holes.append(std::move(entry));
                      }
                      return reply_json("GET_ANNULAR_RING", paras);
                  });
}

KESTO_HANDLER(get_quote_price_info)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        KESTO::API::quote_info q;
        if (!KESTO::API::quote_price_info(job, step, q))
            throw std::runtime_error("the quotation figures of " + job + "/" + step + " could not be gathered");
        Json::Value paras(Json::objectValue);
        paras["width"] = q.width;
        paras["height"] = q.height;
        paras["area"] = q.area;
        paras["copper_layers"] = q.copper_layers;
        paras["min_line"] = q.min_line;
        paras["min_drill"] = q.min_drill;
        paras["holes"] = q.holes;
        paras["slots"] = q.slots;
        paras["top_copper"] = q.top_copper;
        paras["bottom_copper"] = q.bottom_copper;
        paras["top_rate"] = q.top_rate;
        paras["bottom_rate"] = q.bottom_rate;
        return reply_json("GET_QUOTE_PRICE_INFO", paras);
    });
}

KESTO_HANDLER(get_min_tolerance)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::layer_tolerance t;
        if (!KESTO::API::get_min_tolerance(job, step, layer, t))
            throw std::runtime_error("the tolerances of " + layer + " could not be measured");
        Json::Value paras(Json::objectValue);
        paras["layer"] = layer;
        paras["min_line"] = t.min_line;
        paras["min_pad"] = t.min_pad;
        if (t.has_spacing) {
            paras["min_spacing"] = t.min_spacing;
            paras["feature_a"] = t.a;
            paras["feature_b"] = t.b;
            paras["ax"] = t.ax;
            paras["ay"] = t.ay;
            paras["bx"] = t.bx;
            paras["by"] = t.by;
        }
        return reply_json("GET_MIN_TOLERANCE", paras);
    });
}
