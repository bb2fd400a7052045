// Selection edits: each names a job, a step and layers, and edits the
// features selected there.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/edit.h"

using namespace kesto::adaptor;
using Strings = std::vector<std::string>;

KESTO_HANDLER(sel_delete)
{
    std::string job, step;
    Strings layers;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        KESTO::API::delete_selected_features(job, step, layers);
        return pass();
    });
}

KESTO_HANDLER(sel_move)
{
    std::string job, step;
    Strings layers;
    int dx = 0, dy = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"offset_x", dx}, {"offset_y", dy}}, [&] {
                      KESTO::API::move_same_layer(job, step, layers, dx, dy);
                      return pass();
                  });
}

KESTO_HANDLER(sel_copy)
{
    std::string job, step;
    Strings layers;
    int dx = 0, dy = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"offset_x", dx}, {"offset_y", dy}}, [&] {
                      KESTO::API::copy_features_in_samelayer(job, step, layers, dx, dy);
                      return pass();
                  });
}

KESTO_HANDLER(sel_move_other)
{
    std::string src_job, src_step, dst_job, dst_step, dst_layer;
    Strings src_layers;
    bool invert = false;
    int dx = 0, dy = 0, mirror = 0;
    double resize = 0, rotation = 0, x_anchor = 0, y_anchor = 0;
    return handle(__func__, request, Form::Elements,
                  {{"src_job", src_job}, {"src_step", src_step}, {"src_layers", src_layers}, {"dst_job", dst_job},
                   {"dst_step", dst_step}, {"dst_layer", dst_layer}, {"invert", invert}, {"offset_x", dx},
                   {"offset_y", dy}, {"mirror", mirror}, {"resize", resize}, {"rotation", rotation},
                   {"x_anchor", x_anchor}, {"y_anchor", y_anchor}},
                  [&] {
                      KESTO::API::move_other_layer(src_job, src_step, src_layers, dst_job, dst_step, dst_layer, invert,
                                                   dx, dy, mirror, resize, rotation, x_anchor, y_anchor);
                      return pass();
                  });
}

KESTO_HANDLER(sel_copy_other)
{
    std::string job, step;
    Strings src_layers, dst_layers;
    bool invert = false, mirror = false;
    int dx = 0, dy = 0;
    double resize = 0, rotation = 0, x_anchor = 0, y_anchor = 0;
    return handle(__func__, request, Form::Elements,
                  {{"src_job", job}, {"src_step", step}, {"src_layers", src_layers}, {"dst_layers", dst_layers},
                   {"invert", invert}, {"offset_x", dx}, {"offset_y", dy}, {"mirror", mirror}, {"resize", resize},
                   {"rotation", rotation}, {"x_anchor", x_anchor}, {"y_anchor", y_anchor}},
                  [&] {
                      KESTO::API::copy_features_to_otherLayer(job, step, src_layers, dst_layers, invert, dx, dy,
                                                              mirror, resize, rotation, x_anchor, y_anchor);
                      return pass();
                  });
}

KESTO_HANDLER(sel_transform)
{
    std::string job, step, layer;
    int mode = 0;
    bool rotate = false, scale = false, mirror_x = false, mirror_y = false, duplicate = false;
    KESTO::API::point datum;
    double angle = 0, xscale = 1, yscale = 1, xoffset = 0, yoffset = 0, point_x = 0, point_y = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"mode", mode}, {"rotate", rotate},
                   {"scale", scale}, {"mirror_X", mirror_x}, {"mirror_Y", mirror_y}, {"duplicate", duplicate},
                   {"datumPoint", datum}, {"angle", angle}, {"xscale", xscale}, {"yscale", yscale},
                   {"xoffset", xoffset}, {"yoffset", yoffset}, {"point_x", point_x}, {"point_y", point_y}},
                  [&] {
                      KESTO::API::transform(job, step, layer, mode, rotate, scale, mirror_x, mirror_y, duplicate, datum,
                                            angle, xscale, yscale, xoffset, yoffset, point_x, point_y);
                      return pass();
                  });
}

KESTO_HANDLER(sel_polarity)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Elements,
                  {{"job", para.job}, {"step", para.step}, {"layers", para.layers}, {"polarity", para.polarity},
                   {"sel_type", para.sel_type}},
                  [&] {
                      KESTO::API::polarity(para);
                      return pass();
                  });
}

KESTO_HANDLER(sel_attribute)
{
    std::string job, step;
    Strings layers;
    int mode = 0;
    kesto::adaptor::AttributeMap attributes;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"mode", mode}, {"attributes", attributes}}, [&] {
                      KESTO::API::modify_attributes(job, step, layers, mode, attributes.values);
                      return pass();
                  });
}

KESTO_HANDLER(sel_index)
{
    std::string job, step;
    Strings layers;
    int mode = 0;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"step", step}, {"layers", layers}, {"mode", mode}},
                  [&] {
                      KESTO::API::move_selected_features_index(job, step, layers, mode != 0);
                      return pass();
                  });
}

KESTO_HANDLER(counter_election)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::reverse_select(job, step, layer);
        return pass();
    });
}

// Not built yet: these answer the error text.
KESTO_PENDING(resize_global)
KESTO_PENDING(resize_polyline)
KESTO_PENDING(intersect)
KESTO_PENDING(symbol_change)
KESTO_PENDING(sel_break)
KESTO_PENDING(arc2lines)
KESTO_PENDING(contour2pad)
KESTO_PENDING(line2pad)
KESTO_PENDING(pad2line)
KESTO_PENDING(pad2outline)
KESTO_PENDING(contourize)
KESTO_PENDING(sel_fill)
KESTO_PENDING(sel_substitute)
KESTO_PENDING(surface2outline)
KESTO_PENDING(change_text)
