// Selection edits: each names a job, a step and layers, and edits the
// features selected there.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "commands/sel_edit.h"
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

char* kesto::adaptor::selection_transform(const char* name, const char* request, Form form)
{
    std::string job, step, layer;
    int mode = 0;
    bool rotate = false, scale = false, mirror_x = false, mirror_y = false, duplicate = false;
    KESTO::API::point datum;
    double angle = 0, xscale = 0, yscale = 0, xoffset = 0, yoffset = 0, point_x = 0, point_y = 0;
    return handle(name, request, form,
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

KESTO_HANDLER(sel_transform)
{
    return selection_transform(__func__, request, Form::Elements);
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

// The host reads "begin/end resize_global parse" around the reading of its
// parameters, in lower case.
KESTO_HANDLER(resize_global)
{
    return handle(__func__, request, Form::Elements, {}, [&](const Json::Value& paras) {
        KESTO::Op::OpPara para;
        KESTO_INFO << "begin resize_global parse";
        read_elements(paras, {{"job", para.job}, {"step", para.step}, {"layers", para.layers},
                              {"sel_type", para.sel_type}, {"size", para.size}, {"corner", para.corner}});
        KESTO_INFO << "end resize_global parse";
        KESTO::API::resize_global_result result;
        KESTO::API::resize_global(para, result);
        return pass();
    });
}

// sel_type 0 resizes the selected lines and arcs, 1 every one of the layers.
KESTO_HANDLER(resize_polyline)
{
    std::string job, step;
    Strings layers;
    double size = 0;
    int sel_type = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"size", size}, {"sel_type", sel_type}}, [&] {
                      KESTO::API::resize_polyline(job, step, layers, size, sel_type == 0);
                      return pass();
                  });
}

KESTO_HANDLER(intersect)
{
    KESTO::Op::OpPara para;
    std::string layer;
    return handle(__func__, request, Form::Elements,
                  {{"job", para.job}, {"step", para.step}, {"layer", layer}, {"connect_type", para.connect_type},
                   {"interaction_type", para.interaction_type}, {"radius", para.radius}},
                  [&] {
                      para.layers = {layer};
                      KESTO::API::connections(para);
                      return pass();
                  });
}

KESTO_HANDLER(symbol_change)
{
    std::string job, step, symbol;
    Strings layers;
    int pad_angle = 0, count = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"symbol_name", symbol}, {"pad_angle", pad_angle}},
                  [&] {
                      KESTO::API::change_feature_symbols(job, step, layers, symbol, pad_angle != 0, count);
                      return pass();
                  });
}

KESTO_HANDLER(sel_break)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Elements,
                  {{"job", para.job}, {"step", para.step}, {"layers", para.layers}, {"sel_type", para.sel_type}}, [&] {
                      KESTO::API::break_symbols(para);
                      return pass();
                  });
}

KESTO_HANDLER(arc2lines)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Elements,
                  {{"job", para.job}, {"step", para.step}, {"layers", para.layers}, {"radius", para.radius},
                   {"sel_type", para.sel_type}},
                  [&] {
                      KESTO::API::break_arc_to_lines(para);
                      return pass();
                  });
}

// No tolerance is sent here: the engine's own (the chord bound) applies.
KESTO_HANDLER(contour2pad)
{
    std::string job, step, suffix;
    Strings layers;
    double minsize = 0, maxsize = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"minsize", minsize}, {"maxsize", maxsize},
                   {"suffix", suffix}},
                  [&] {
                      KESTO::API::reshape_contour_to_pad(job, step, layers, 0.0, minsize, maxsize, suffix);
                      return pass();
                  });
}

KESTO_HANDLER(line2pad)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Elements,
                  {{"job", para.job}, {"step", para.step}, {"layers", para.layers}, {"sel_type", para.sel_type}}, [&] {
                      KESTO::API::reshape_line_to_pad(para);
                      return pass();
                  });
}

KESTO_HANDLER(pad2line)
{
    std::string job, step;
    Strings layers;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        KESTO::API::reshape_pad_to_line(job, step, layers);
        return pass();
    });
}

KESTO_HANDLER(pad2outline)
{
    std::string job, step;
    Strings layers;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        KESTO::API::reshape_pad_to_outline(job, step, layers, 0.0);
        return pass();
    });
}

KESTO_HANDLER(contourize)
{
    std::string job, step;
    Strings layers;
    double accuracy = 0, size = 0;
    bool islands = false;
    int mode = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"accuracy", accuracy},
                   {"separate_to_islands", islands}, {"size", size}, {"mode", mode}},
                  [&] {
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::reshape_contourize(job, step, layers, accuracy, islands, size, mode, &progress);
                      return pass();
                  });
}

// "mode" travels in the record; the engine has one way of substituting.
KESTO_HANDLER(sel_substitute)
{
    KESTO::Op::OpPara para;
    return handle(__func__, request, Form::Elements,
                  {{"job", para.job}, {"step", para.step}, {"layers", para.layers}, {"mode", para.mode},
                   {"symbol_name", para.symbol_name}, {"dcode", para.dcode}, {"sel_type", para.sel_type}},
                  [&] {
                      KESTO::API::reshape_substitute(para);
                      return pass();
                  });
}

KESTO_HANDLER(surface2outline)
{
    std::string job, step;
    Strings layers;
    double width = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"width", width}}, [&] {
                      KESTO::API::reshape_surface_to_outline(job, step, layers, width);
                      return pass();
                  });
}

KESTO_HANDLER(change_text)
{
    std::string job, step, text, font;
    Strings layers;
    int x_size = 0, y_size = 0, width = 0, polarity = 0, mirror = 0, angle = 0; // -1 keeps
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"text", text}, {"font", font},
                   {"x_size", x_size}, {"y_size", y_size}, {"width", width}, {"polarity", polarity},
                   {"mirror", mirror}, {"angle", angle}},
                  [&] {
                      if (!KESTO::API::change_text(job, step, layers, text, font, x_size, y_size, width, polarity,
                                                   mirror, angle))
                          LOG(ERROR) << "Change_text error";
                      return pass();
                  });
}

// "type" 1 asks for a pattern fill of "symbol_name" pads set edge to edge,
// anything else a solid one; "solid_type" 1 (or true) keeps surfaces solid,
// 0 draws them with the brush.
KESTO_HANDLER(sel_fill)
{
    std::string job, step;
    Strings layers;
    std::string symbol;
    int solid_type = 0, type = 0, origin_type = 0;
    double min_brush = 0, outline_width = 0;
    bool use_arcs = false, break_partial = false, cut_primitive = false, outline = false, outline_invert = false;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"symbol_name", symbol},
                   {"solid_type", solid_type}, {"min_brush", min_brush}, {"use_arcs", use_arcs},
                   {"break_partial", break_partial}, {"cut_primitive", cut_primitive}, {"origin_type", origin_type},
                   {"outline", outline}, {"outlinewidth", outline_width}, {"outline_invert", outline_invert},
                   {"type", type}},
                  [&] {
                      if (type == 1)
                          KESTO::API::use_pattern_fill_contours(job, step, layers, symbol, 0, 0, break_partial,
                                                                cut_primitive, origin_type, outline, outline_width,
                                                                outline_invert);
                      else
                          KESTO::API::use_solid_fill_contours(job, step, layers, solid_type != 0, min_brush, use_arcs);
                      return pass();
                  });
}
