// File identification, translation and export.
#include "adaptor/handler.h"
#include "engine/api/display.h"

// Not built yet: these answer the error text.
KESTO_PENDING(add_gds)
KESTO_PENDING(layer_export)
KESTO_PENDING(file_translate_init)
KESTO_PENDING(file_translate)
KESTO_PENDING(file_identify)
KESTO_PENDING(get_drill_showtype)
KESTO_PENDING(get_drill_info)
KESTO_PENDING(set_drill_info)
KESTO_PENDING(open_eps)
KESTO_PENDING(open_eps_matrix)
KESTO_PENDING(save_eps)
KESTO_PENDING(identify_eps)
KESTO_PENDING(drill2file)

using namespace kesto::adaptor;

KESTO_HANDLER(save_img)
{
    std::string path;
    return handle(__func__, request, Form::Members, {{"savepath", path}}, [&] {
        KESTO::API::save_img(path);
        return pass();
    });
}
