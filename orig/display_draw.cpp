// Display parameters and drawing.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/display.h"

// Not built yet: these answer the error text.
KESTO_PENDING(layer_box)
KESTO_PENDING(profile_box)
KESTO_PENDING(get_graphics)
KESTO_PENDING(bBox)
KESTO_PENDING(get_symbols)
KESTO_PENDING(get_symbol_name)
KESTO_PENDING(draw_Symbol)
KESTO_PENDING(draw_text)
KESTO_PENDING(draw_selected_features)
KESTO_PENDING(draw_specified_features)
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
