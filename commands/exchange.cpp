// Drill maps, pictures and format transforms.
#include "adaptor/handler.h"
#include "engine/api/display.h"

// Not built yet: these answer the error text.
KESTO_PENDING(drillmap_output)
KESTO_PENDING(odb2other_transform)
KESTO_PENDING(gbr2odb_transform)

using namespace kesto::adaptor;

// A picture of the listed layers of a step: a square canvas of "size"
// pixels showing the box (working unit), saved as PNG to picpath/picname.
KESTO_HANDLER(output_picture)
{
    int size = 0;
    std::string job, step, path, name;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Elements,
                  {{"size", size}, {"job", job}, {"step", step}, {"xmin", xmin}, {"ymin", ymin}, {"xmax", xmax},
                   {"ymax", ymax}, {"picpath", path}, {"picname", name}, {"layers", layers}},
                  [&] {
                      KESTO::API::init_canvas(size, size);
                      KESTO::API::zoom_to_box(xmin, ymin, xmax, ymax);
                      KESTO::API::clear_canvas();
                      for (const auto& layer : layers) KESTO::API::draw_layer(job, step, layer);
                      KESTO::API::save_img(path.empty() ? name : path + "/" + name);
                      KESTO::API::clear_canvas();
                      return pass();
                  });
}
