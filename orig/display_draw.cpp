// Display parameters and drawing.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/display.h"
#include "engine/api/jobs.h"
#include "engine/api/layer_query.h"

KESTO_HANDLER(profile_box)
{
    using namespace kesto::adaptor;
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        KESTO::API::reply_box box;
        if (!KESTO::API::profile_box(job, step, box)) return error();
        Json::Value paras(Json::objectValue);
        paras["Xmin"] = Json::Int64(box.Xmin);
        paras["Xmax"] = Json::Int64(box.Xmax);
        paras["Ymin"] = Json::Int64(box.Ymin);
        paras["Ymax"] = Json::Int64(box.Ymax);
        return reply_json("PROFILE_BOX", paras);
    });
}

// The same reply as get_matrix, without blank rows and columns.
KESTO_HANDLER(get_graphics)
{
    using namespace kesto::adaptor;
    std::string job;
    return handle(__func__, request, Form::Members, {{"job", job}}, [&] {
        std::map<int, std::string> steps;
        std::vector<KESTO::API::layer_info> layers;
        KESTO::API::get_graphics(job, steps, layers);
        return reply_json("GET_GRAPHICS", KESTO::DB::matrix_transform(steps, layers));
    });
}

using namespace kesto::adaptor;

KESTO_HANDLER(set_show_para)
{
    KESTO::API::show_param param;
    return handle(__func__, request, Form::Members, {{"param", param}}, [&] {
        KESTO::API::set_show_para(param);
        return pass();
    });
}

KESTO_HANDLER(get_show_para)
{
    return handle(__func__, request, Form::Members, {}, [&] {
        KESTO::API::show_param param;
        KESTO::API::get_show_para(param);
        return pass();
    });
}

KESTO_HANDLER(get_Canvas_Size)
{
    int width = 0, height = 0;
    return handle(__func__, request, Form::Members, {{"width", width}, {"height", height}}, [&] {
        KESTO::API::get_Canvas_Size(width, height);
        return pass();
    });
}

KESTO_HANDLER(set_draw_color)
{
    int red = 0, green = 0, blue = 0, alpha = 0;
    return handle(__func__, request, Form::Members,
                  {{"red", red}, {"green", green}, {"blue", blue}, {"alpha", alpha}}, [&] {
                      KESTO::API::set_draw_color(red, green, blue, alpha);
                      return pass();
                  });
}

KESTO_HANDLER(draw_text)
{
    std::string job, step, layer, text;
    KESTO::API::color colour;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"text_str", text}, {"symbol_color", colour}},
                  [&] {
                      KESTO::API::draw_text(job, step, layer, text, colour);
                      return pass();
                  });
}

KESTO_HANDLER(draw_selected_features)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}, {"layername", layer}}, [&] {
        KESTO::API::draw_selected_features(job, step, layer);
        return pass();
    });
}

KESTO_HANDLER(draw_specified_features)
{
    std::string job, step, layer;
    std::vector<int> ids;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"featureIDs", ids}}, [&] {
                      KESTO::API::draw_specified_features(job, step, layer, ids);
                      return pass();
                  });
}

// The queries below compute into the engine's out values and answer the
// pass text; hosts read extents with profile_box.
KESTO_HANDLER(layer_box)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        KESTO::API::reply_box box;
        KESTO::API::layer_box(job, step, layers, box);
        return pass();
    });
}

KESTO_HANDLER(bBox)
{
    std::string job, step;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"Xmin", xmin}, {"Ymin", ymin}, {"Xmax", xmax}, {"Ymax", ymax}},
                  [&] {
                      KESTO::API::bbox(job, step, xmin, ymin, xmax, ymax);
                      return pass();
                  });
}

KESTO_HANDLER(get_symbols)
{
    std::string job, step, layer;
    Json::Value asked;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"symbols", asked}}, [&] {
                      std::vector<std::string> names;
                      KESTO::API::get_symbols(job, step, layer, names);
                      return pass();
                  });
}

KESTO_HANDLER(get_layer_symbol_list)
{
    std::string job, step;
    std::vector<std::string> layers;
    Json::Value asked;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"symbollist", asked}}, [&] {
                      std::vector<std::string> names;
                      KESTO::API::get_layer_symbol_list(job, step, layers, names);
                      return pass();
                  });
}

KESTO_HANDLER(get_symbol_name)
{
    std::string job, step, layer, symbol;
    KESTO::API::Points points;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"points", points}, {"symbol", symbol}},
                  [&] {
                      KESTO::API::get_symbol_name(job, step, layer, points, symbol);
                      return pass();
                  });
}

// The job's user-defined symbols: {"func": "GET_SPECIAL_SYMBOL_NAMES", "paras": {"names": [...]}}.
KESTO_HANDLER(get_special_symbol_names)
{
    std::string job;
    return handle(__func__, request, Form::Members, {{"jobname", job}}, [&] {
        std::vector<std::string> names;
        KESTO::API::get_special_symbol_names(job, names);
        Json::Value list(Json::arrayValue);
        for (const auto& name : names) list.append(name);
        Json::Value paras(Json::objectValue);
        paras["names"] = list;
        return reply_json("GET_SPECIAL_SYMBOL_NAMES", paras);
    });
}

KESTO_HANDLER(draw_Symbol)
{
    std::string job, symbol;
    int type = 0, angle = 0;
    KESTO::API::color colour;
    bool mirror = false;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"symbol_name", symbol}, {"symbol_type", type}, {"angle", angle},
                   {"symbol_color", colour}, {"mirror", mirror}},
                  [&] {
                      KESTO::API::draw_symbol(job, type, symbol, colour, angle, mirror);
                      return pass();
                  });
}

// A picture of the step's profile, 1000 pixels square, saved to "path". The
// command names no job: it works on the one open job.
KESTO_HANDLER(draw_panel_picture)
{
    std::string step, layer, path;
    return handle(__func__, request, Form::Members, {{"step", step}, {"layer", layer}, {"path", path}}, [&] {
        const std::vector<std::string> open = KESTO::API::open_job_names();
        const std::string job = open.size() == 1 ? open.front() : std::string();
        KESTO::API::open_layer(job, step, layer);
        KESTO::API::Load_Layer(job, step, layer);
        KESTO::API::init_canvas(1000, 1000);
        KESTO::API::clear_canvas();
        KESTO::API::reply_box box;
        if (KESTO::API::profile_box(job, step, box))
            KESTO::API::zoom_to_box(KESTO::API::to_working_unit(box.Xmin), KESTO::API::to_working_unit(box.Ymin),
                                    KESTO::API::to_working_unit(box.Xmax), KESTO::API::to_working_unit(box.Ymax));
        KESTO::API::draw_profile(job, step);
        KESTO::API::save_img(path);
        return pass();
    });
}
