// Display parameters and drawing.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(set_draw_color)
KESTO_PENDING(layer_box)
KESTO_PENDING(profile_box)
KESTO_PENDING(get_graphics)
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
