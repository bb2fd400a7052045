// Feature builders, clipping, reshaping and feature changes.
#include "adaptor/handler.h"
#include "adaptor/open_job.h"
#include "engine/api/clickbox.h"
#include "engine/api/jobs.h"
#include "engine/api/selection.h"
#include "adaptor/records_json.h"
#include "engine/api/display.h"
#include "engine/api/edit.h"
#include "engine/api/features.h"

#include <cmath>
#include <climits>

using namespace kesto::adaptor;

// The description builders answer the pass text; the text they build is for
// the engine's own callers.
KESTO_HANDLER(GreatePadString)
{
    double x = 0, y = 0;
    int symbol = 0, polarity = 0, dcode = 0, orient = 0;
    return handle(__func__, request, Form::Members,
                  {{"location_x", x}, {"location_y", y}, {"symbolNum", symbol}, {"polarity", polarity},
                   {"dcode", dcode}, {"orient", orient}},
                  [&] {
                      KESTO::API::GreatePadString(x, y, symbol, polarity, dcode, orient, 0.0);
                      return pass();
                  });
}

KESTO_HANDLER(GreateLineString)
{
    double sx = 0, sy = 0, ex = 0, ey = 0;
    int symbol = 0, polarity = 0, dcode = 0;
    return handle(__func__, request, Form::Members,
                  {{"start_x", sx}, {"start_y", sy}, {"end_x", ex}, {"end_y", ey}, {"symbolNum", symbol},
                   {"polarity", polarity}, {"dcode", dcode}},
                  [&] {
                      KESTO::API::GreateLineString(sx, sy, ex, ey, symbol, polarity, dcode);
                      return pass();
                  });
}

KESTO_HANDLER(GreateArcString)
{
    double sx = 0, sy = 0, ex = 0, ey = 0, cx = 0, cy = 0;
    int symbol = 0, polarity = 0, dcode = 0;
    return handle(__func__, request, Form::Members,
                  {{"start_x", sx}, {"start_y", sy}, {"end_x", ex}, {"end_y", ey}, {"center_x", cx}, {"center_y", cy},
                   {"symbolNum", symbol}, {"polarity", polarity}, {"dcode", dcode}},
                  [&] {
                      KESTO::API::GreateArcString(sx, sy, ex, ey, cx, cy, symbol, polarity, dcode, false);
                      return pass();
                  });
}

KESTO_HANDLER(GreateSurfaceString)
{
    std::vector<KESTO::API::lPoint> points;
    int polarity = 0, dcode = 0;
    bool round = false;
    return handle(__func__, request, Form::Members,
                  {{"points_location", points}, {"polarity", polarity}, {"dcode", dcode}, {"isround", round}}, [&] {
                      KESTO::API::GreateSurfaceString(points, polarity, dcode, round);
                      return pass();
                  });
}

KESTO_HANDLER(GreateTextString)
{
    double x = 0, y = 0, xsize = 0, ysize = 0, width = 0;
    std::string font, text;
    int polarity = 0, orient = 0, version = 0;
    return handle(__func__, request, Form::Members,
                  {{"location_x", x}, {"location_y", y}, {"fontname", font}, {"text", text}, {"polarity", polarity},
                   {"orient", orient}, {"xsize", xsize}, {"ysize", ysize}, {"linewidth", width}, {"version", version}},
                  [&] {
                      KESTO::API::GreateTextString(x, y, font, polarity, orient, xsize, ysize, width, text, version, 0.0);
                      return pass();
                  });
}

// "attrbutes" is the key hosts send here.
KESTO_HANDLER(Addfeature)
{
    std::string job, step, content;
    std::vector<std::string> layers;
    AttributeMap attributes;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"featurecontent", content},
                   {"attrbutes", attributes}},
                  [&] {
                      KESTO::API::AddFeature(job, step, layers, attributes.values, content, false);
                      return pass();
                  });
}

namespace {

using Strings = std::vector<std::string>;

// "scope" of the record commands: "all" edits every feature of the layer,
// anything else the selected ones.
int sel_type_of(const std::string& scope) { return scope == "all" || scope == "ALL" ? 1 : 0; }

// A size in the working unit as whole engine units; out of range throws.
int engine_units(double working)
{
    const double nm = working / KESTO::API::to_working_unit(1);
    if (!(std::fabs(nm) < INT_MAX)) throw std::out_of_range("size out of range");
    return static_cast<int>(std::lround(nm));
}

// An angle in whole degrees; beyond what an int holds (or not a number) throws.
int whole_degrees(double angle)
{
    if (!(std::fabs(angle) < INT_MAX)) throw std::out_of_range("angle out of range");
    return static_cast<int>(angle);
}

// Feature descriptions sent with a change, one text or a list of them, added
// to the layer after the change.
void add_descriptions(const std::string& job, const std::string& step, const std::string& layer,
                      const Json::Value& texts)
{
    std::vector<std::string> list;
    if (texts.isArray())
        read_value(texts, list);
    else if (!texts.isNull())
        list.push_back(texts.asString());
    for (const std::string& text : list)
        if (!text.empty()) KESTO::API::AddFeature(job, step, {layer}, {}, text, false);
}

} // namespace

KESTO_HANDLER(reshape_line_to_pad)
{
    KESTO::Op::OpPara para;
    std::string layer;
    return handle(__func__, request, Form::Members,
                  {{"scope", para.scope}, {"affected_node", para.affected_node}, {"step", para.step}, {"layer", layer}},
                  [&] {
                      para.job = the_open_job();
                      para.layers = {layer};
                      para.sel_type = sel_type_of(para.scope);
                      KESTO::API::reshape_line_to_pad(para);
                      return pass();
                  });
}

KESTO_HANDLER(reshape_line_to_pad_new)
{
    std::string step;
    Strings layers;
    return handle(__func__, request, Form::Members, {{"step", step}, {"layers", layers}}, [&] {
        KESTO::API::reshape_line_to_pad(the_open_job(), step, layers);
        return pass();
    });
}

KESTO_HANDLER(reshape_substitute)
{
    KESTO::Op::OpPara para;
    std::string layer;
    return handle(__func__, request, Form::Members,
                  {{"para", para.para}, {"affected_node", para.affected_node}, {"step", para.step}, {"layer", layer},
                   {"extra_params", para.extra_params}, {"mode", para.mode}, {"symbol", para.symbol_name},
                   {"scope", para.scope}},
                  [&] {
                      para.job = the_open_job();
                      para.layers = {layer};
                      para.sel_type = sel_type_of(para.scope);
                      KESTO::API::reshape_substitute(para);
                      return pass();
                  });
}

KESTO_HANDLER(reshape_pad_to_line)
{
    std::string step;
    Strings layers;
    return handle(__func__, request, Form::Members, {{"step", step}, {"layers", layers}}, [&] {
        KESTO::API::reshape_pad_to_line(the_open_job(), step, layers);
        return pass();
    });
}

KESTO_HANDLER(reshape_contour_to_pad)
{
    std::string job, step, suffix;
    Strings layers;
    double tolerance = 0, minsize = 0, maxsize = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"tolerance", tolerance},
                   {"minsize", minsize}, {"maxsize", maxsize}, {"suffix", suffix}},
                  [&] {
                      KESTO::API::reshape_contour_to_pad(job, step, layers, tolerance, minsize, maxsize, suffix);
                      return pass();
                  });
}

KESTO_HANDLER(reshape_pad_to_outline)
{
    std::string job, step;
    Strings layers;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}, {"layernames", layers}}, [&] {
        KESTO::API::reshape_pad_to_outline(job, step, layers, 0.0);
        return pass();
    });
}

KESTO_HANDLER(reshape_surface_to_outline)
{
    std::string job, step;
    Strings layers;
    double width = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"linewidth", width}}, [&] {
                      KESTO::API::reshape_surface_to_outline(job, step, layers, width);
                      return pass();
                  });
}

KESTO_HANDLER(reshape_outline_to_surface)
{
    std::string job, step;
    Strings layers;
    bool to_pad = false;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"can_to_pad", to_pad}}, [&] {
                      KESTO::API::reshape_outline_to_surface(job, step, layers, to_pad);
                      return pass();
                  });
}

// "_layernames", with its underscore, is the key hosts send here.
KESTO_HANDLER(reshape_contourize)
{
    std::string job, step;
    Strings layers;
    double accuracy = 0, max_size = 0;
    bool islands = false;
    int clear_mode = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"_layernames", layers}, {"accuracy", accuracy},
                   {"separate_to_islands", islands}, {"max_size", max_size}, {"clear_mode", clear_mode}},
                  [&] {
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::reshape_contourize(job, step, layers, accuracy, islands, max_size, clear_mode,
                                                     &progress);
                      return pass();
                  });
}

// Sizes and line width come in the working unit.
KESTO_HANDLER(change_texts)
{
    std::string job, step, text, font;
    Strings layers;
    double xsize = 0, ysize = 0, width = 0, angle = 0;
    int polarity = 0, mirror = 0; // -1 keeps: the host says so
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"text", text}, {"fontname", font},
                   {"xsize", xsize}, {"ysize", ysize}, {"linewidth", width}, {"polarity", polarity},
                   {"mirror", mirror}, {"angle", angle}},
                  [&] {
                      KESTO::API::change_text(job, step, layers, text, font, engine_units(xsize), engine_units(ysize),
                                              engine_units(width), polarity, mirror, whole_degrees(angle));
                      return pass();
                  });
}

KESTO_HANDLER(change_feature_symbols)
{
    std::string step, symbol;
    Strings layers;
    bool pad_angle = false;
    int count = 0;
    return handle(__func__, request, Form::Members,
                  {{"step", step}, {"symbol", symbol}, {"layers", layers}, {"pad_angle", pad_angle}}, [&] {
                      KESTO::API::change_feature_symbols(the_open_job(), step, layers, symbol, pad_angle, count);
                      return pass();
                  });
}

// "feature_size" is the change of size; "error_size" travels in the record.
KESTO_HANDLER(resize_Global)
{
    KESTO::Op::OpPara para;
    std::string layer;
    return handle(__func__, request, Form::Members,
                  {{"para", para.para}, {"affected_node", para.affected_node}, {"step", para.step}, {"layer", layer},
                   {"extra_params", para.extra_params}, {"scope", para.scope}, {"feature_size", para.feature_size},
                   {"error_size", para.error_size}},
                  [&] {
                      para.job = the_open_job();
                      para.layers = {layer};
                      para.sel_type = sel_type_of(para.scope);
                      para.size = para.feature_size;
                      KESTO::API::resize_global_result result;
                      KESTO::API::resize_global(para, result);
                      return pass();
                  });
}

KESTO_HANDLER(resize_Polyline)
{
    std::string job, step;
    Strings layers;
    double size = 0;
    bool selected = false;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"size", size},
                   {"is_selected", selected}},
                  [&] {
                      KESTO::API::resize_polyline(job, step, layers, size, selected);
                      return pass();
                  });
}

KESTO_HANDLER(resize_polygon)
{
    return handle(__func__, request, Form::Members, {}, [&](const Json::Value& paras) {
        std::vector<KESTO::API::point> polygon;
        double value = 0;
        read_direct(paras, "input_polygon", polygon);
        read_direct(paras, "resize_value", value);
        Json::Value out(Json::objectValue);
        out["output_polygons"] = Json::Value(Json::arrayValue);
        for (const auto& result : KESTO::API::resize_polygon(polygon, value)) {
            Json::Value points(Json::arrayValue);
            for (const auto& p : result) {
                Json::Value point;
                point["ix"] = p.ix;
                point["iy"] = p.iy;
                points.append(point);
            }
            out["output_polygons"].append(points);
        }
        return keep(compact(out));
    });
}

KESTO_HANDLER(negative_layer_to_positive)
{
    std::string job, step;
    Strings layers;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}, {"layernames", layers}}, [&] {
        KESTO::API::negative_layer_to_positive(job, step, layers);
        return pass();
    });
}

KESTO_HANDLER(clip_area_use_manual)
{
    std::string job, step;
    Strings layers;
    std::vector<KESTO::API::point> points;
    bool inside = false, contour = false;
    double margin = 0;
    int types = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"points", points}, {"clipinside", inside},
                   {"clipcontour", contour}, {"margin", margin}, {"featuretype", types}},
                  [&] {
                      KESTO::API::clip_area_use_manual(job, step, layers, points, inside, contour, margin, types);
                      return pass();
                  });
}

KESTO_HANDLER(clip_area_use_profile)
{
    std::string job, step, layer;
    bool inside = false, contour = false;
    double margin = 0;
    int types = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"clipinside", inside}, {"clipcontour", contour},
                   {"margin", margin}, {"featuretype", types}},
                  [&] {
                      KESTO::API::clip_area_use_profile(job, step, layer, inside, contour, margin, types);
                      return pass();
                  });
}

KESTO_HANDLER(clip_area_use_reference)
{
    std::string job, step, work, reference;
    bool contour = false;
    double margin = 0;
    int types = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"work_layer", work}, {"reference_layer", reference},
                   {"margin", margin}, {"clipcontour", contour}, {"featuretype", types}},
                  [&] {
                      KESTO::API::clip_area_use_reference(job, step, work, reference, margin, contour, types);
                      return pass();
                  });
}

KESTO_HANDLER(self_interaction)
{
    std::vector<KESTO::API::point> points;
    return handle(__func__, request, Form::Members, {{"vpts", points}}, [&] {
        KESTO::API::self_interaction(points);
        return pass();
    });
}

// Its failure record has always carried another command's text.
KESTO_HANDLER(rounding_line_corner)
{
    std::string job, step;
    Strings layers;
    double radius = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"radius", radius}}, [&] {
                      if (!KESTO::API::rounding_line_corner(job, step, layers, radius))
                          LOG(ERROR) << "set_layer_checklist failed";
                      return pass();
                  });
}

KESTO_HANDLER(use_pattern_fill_contours)
{
    std::string job, step, symbol;
    Strings layers;
    double dx = 0, dy = 0, outline_width = 0;
    bool break_partial = false, cut_primitive = false, outline = false, outline_invert = false;
    int origin_type = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"symbol", symbol}, {"dx", dx},
                   {"dy", dy}, {"break_partial", break_partial}, {"cut_primitive", cut_primitive},
                   {"origin_type", origin_type}, {"outline", outline}, {"outline_width", outline_width},
                   {"outline_invert", outline_invert}},
                  [&] {
                      KESTO::API::use_pattern_fill_contours(job, step, layers, symbol, dx, dy, break_partial,
                                                            cut_primitive, origin_type, outline, outline_width,
                                                            outline_invert);
                      return pass();
                  });
}

// Read by key directly: an absent key is an empty list, 0 or false.
KESTO_HANDLER(change_lines)
{
    return handle(__func__, request, Form::Members, {}, [&](const Json::Value& paras) {
        std::string job, step, layer;
        std::vector<int> ids;
        std::vector<KESTO::API::point> starts, ends;
        read_direct(paras, "jobname", job);
        read_direct(paras, "stepname", step);
        read_direct(paras, "layername", layer);
        read_direct(paras, "featureIDs", ids);
        read_direct(paras, "startPts", starts);
        read_direct(paras, "endPts", ends);
        KESTO::API::change_lines(job, step, layer, ids, starts, ends);
        add_descriptions(job, step, layer, paras["Newlines_str"]);
        return pass();
    });
}

KESTO_HANDLER(change_arc)
{
    return handle(__func__, request, Form::Members, {}, [&](const Json::Value& paras) {
        std::string job, step, layer;
        int id = 0;
        KESTO::API::point start, end, centre;
        bool cw = false, remove = false;
        read_direct(paras, "jobname", job);
        read_direct(paras, "stepname", step);
        read_direct(paras, "layername", layer);
        read_direct(paras, "featureID", id);
        read_direct(paras, "startPt", start);
        read_direct(paras, "endPt", end);
        read_direct(paras, "centerPt", centre);
        read_direct(paras, "CW", cw);
        read_direct(paras, "deletearc", remove);
        KESTO::API::change_arc(job, step, layer, id, start, end, centre, cw, remove);
        add_descriptions(job, step, layer, paras["NewArcs_str"]);
        return pass();
    });
}

// "featuretype": the type bits of the features a click or box may delete (0 any).
KESTO_HANDLER(delete_clicked_features)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::Points clickbox;
    int types = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"clickbox", clickbox},
                   {"featuretype", types}},
                  [&] {
                      KESTO::API::delete_clicked_features(job, step, layers, clickbox,
                                                          types == 0 ? KESTO::API::kTypeAll : types);
                      return pass();
                  });
}

KESTO_HANDLER(change_clicked_features_polarity)
{
    std::string job, step;
    std::vector<std::string> layers;
    int index = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"featureindex", index}}, [&] {
                      KESTO::API::change_clicked_features_polarity(job, step, layers, index);
                      return pass();
                  });
}

// Puts back the layers of the step as they were before the latest feature edit.
KESTO_HANDLER(Undo)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}}, [&] {
        KESTO::API::Undo(job, step);
        return pass();
    });
}
