// Display parameters and drawing.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/display.h"
#include "engine/api/jobs.h"

// Not built yet: these answer the error text.
KESTO_PENDING(layer_box)
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
KESTO_PENDING(bBox)
KESTO_PENDING(get_symbols)
KESTO_PENDING(get_symbol_name)
KESTO_PENDING(draw_Symbol)
KESTO_PENDING(draw_text)
KESTO_PENDING(get_special_symbol_names)
KESTO_PENDING(get_layer_symbol_list)
KESTO_PENDING(draw_panel_picture)

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
