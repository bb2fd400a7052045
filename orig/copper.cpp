// Copper-area queries: the copper of a layer, its share of the board, less
// the drilled holes, and what the solder mask leaves exposed.
#include "adaptor/handler.h"
#include "engine/api/copper.h"

#include <stdexcept>

using namespace kesto::adaptor;
using KESTO::API::copper_figures;
using KESTO::API::copper_view;

namespace {

Json::Value figures_json(const copper_figures& f, bool with_rate)
{
    Json::Value paras(Json::objectValue);
    paras["layer"] = f.layer;
    paras["area"] = f.area;
    if (with_rate) {
        paras["inside_profile"] = f.inside;
        paras["board_area"] = f.board_area;
        paras["rate"] = f.rate;
    }
    if (!f.mask.empty()) paras["mask"] = f.mask;
    Json::Value& drills = paras["drills"] = Json::Value(Json::arrayValue);
    for (const std::string& d : f.drills) drills.append(d);
    return paras;
}

copper_figures figures(const std::string& job, const std::string& step, const std::string& layer, copper_view view,
                       const std::string& mask = "")
{
    copper_figures f;
    if (!KESTO::API::rest_copper(job, step, layer, view, f, mask))
        throw std::runtime_error("the copper of layer " + layer + " could not be measured");
    return f;
}

// The four single-layer queries differ only in the view and the reply's name.
char* copper_query(const char* name, const char* func, const char* request, copper_view view, bool with_rate)
{
    std::string job, step, layer, mask;
    return handle(name, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}, {"mask", mask}},
                  [&] { return reply_json(func, figures_json(figures(job, step, layer, view, mask), with_rate)); });
}

} // namespace

KESTO_HANDLER(get_rest_cu)
{
    return copper_query(__func__, "GET_REST_CU", request, copper_view::plain, false);
}

KESTO_HANDLER(get_rest_cu_rate)
{
    return copper_query(__func__, "GET_REST_CU_RATE", request, copper_view::plain, true);
}

KESTO_HANDLER(get_rest_cu_with_drill)
{
    return copper_query(__func__, "GET_REST_CU_WITH_DRILL", request, copper_view::less_drills, true);
}

KESTO_HANDLER(get_rest_cu_solder)
{
    return copper_query(__func__, "GET_REST_CU_SOLDER", request, copper_view::under_mask, true);
}

KESTO_HANDLER(get_cu_solder_drill)
{
    return copper_query(__func__, "GET_CU_SOLDER_DRILL", request, copper_view::under_mask_less_drills, true);
}

KESTO_HANDLER(get_outlayer_cu)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        std::string top, bottom;
        if (!KESTO::API::outer_copper_layers(job, top, bottom))
            throw std::runtime_error("job " + job + " has no outer copper layers");
        Json::Value paras(Json::objectValue);
        paras["top"] = figures_json(figures(job, step, top, copper_view::plain), true);
        paras["bottom"] = figures_json(figures(job, step, bottom, copper_view::plain), true);
        return reply_json("GET_OUTLAYER_CU", paras);
    });
}

KESTO_HANDLER(get_total_square)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        KESTO::API::board_square board;
        if (!KESTO::API::total_square(job, step, board))
            throw std::runtime_error("the board area of " + job + "/" + step + " could not be measured");
        Json::Value paras(Json::objectValue);
        paras["area"] = board.area;
        paras["xmin"] = board.xmin;
        paras["ymin"] = board.ymin;
        paras["xmax"] = board.xmax;
        paras["ymax"] = board.ymax;
        paras["width"] = board.xmax - board.xmin;
        paras["height"] = board.ymax - board.ymin;
        return reply_json("GET_TOTAL_SQUARE", paras);
    });
}

KESTO_HANDLER(get_selected_feature_areas)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        std::vector<KESTO::API::selected_areas> per_layer;
        if (!KESTO::API::selected_feature_areas(job, step, layers, per_layer))
            throw std::runtime_error("the selected features could not be measured");
        Json::Value list(Json::arrayValue);
        for (const auto& l : per_layer) {
            Json::Value entry(Json::objectValue);
            entry["layer"] = l.layer;
            entry["area"] = l.united;
            Json::Value& features = entry["features"] = Json::Value(Json::arrayValue);
            for (size_t i = 0; i < l.features.size(); ++i) {
                Json::Value f(Json::objectValue);
                f["index"] = l.features[i];
                f["area"] = l.areas[i];
                features.append(std::move(f));
            }
            list.append(std::move(entry));
        }
        Json::Value paras(Json::objectValue);
        paras["layers"] = std::move(list);
        return reply_json("GET_SELECTED_FEATURE_AREAS", paras);
    });
}
