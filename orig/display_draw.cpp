// Display parameters and drawing.
#include "adaptor/handler.h"
#include "engine/api/jobs.h"

// Not built yet: these answer the error text.
KESTO_PENDING(set_draw_color)
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
KESTO_PENDING(set_show_para)
KESTO_PENDING(get_show_para)
KESTO_PENDING(get_symbol_name)
KESTO_PENDING(draw_Symbol)
KESTO_PENDING(draw_text)
KESTO_PENDING(draw_selected_features)
KESTO_PENDING(draw_specified_features)
KESTO_PENDING(get_special_symbol_names)
KESTO_PENDING(get_layer_symbol_list)
KESTO_PENDING(draw_panel_picture)
KESTO_PENDING(get_Canvas_Size)
