// Second-table feature edits, layer compare and step operations.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "commands/sel_edit.h"
#include "engine/api/edit.h"
#include "engine/api/edit_ops.h"
#include "engine/api/features.h"

using namespace kesto::adaptor;

namespace {

using Strings = std::vector<std::string>;

// Layer names sent as one name or as a list of them.
Strings names_of(const Json::Value& v)
{
    Strings out;
    if (v.isArray())
        read_value(v, out);
    else if (!v.isNull())
        out.push_back(v.asString());
    return out;
}

Json::Value differences_json(const std::vector<KESTO::API::compare_difference>& found)
{
    Json::Value list(Json::arrayValue);
    for (const auto& d : found) {
        Json::Value item;
        item["side"] = d.side;
        item["x"] = d.x;
        item["y"] = d.y;
        item["xmin"] = d.xmin;
        item["ymin"] = d.ymin;
        item["xmax"] = d.xmax;
        item["ymax"] = d.ymax;
        item["area"] = d.area;
        list.append(item);
    }
    return list;
}

} // namespace

// ---------------------------------------------------------------- the selection edits' second door

KESTO_HANDLER(delete_selected_features)
{
    std::string job, step;
    Strings layers;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}, {"layernames", layers}},
                  [&] {
                      KESTO::API::delete_selected_features(job, step, layers);
                      return pass();
                  });
}

KESTO_HANDLER(copy_features_in_samelayer)
{
    std::string job, step, layer;
    int dx = 0, dy = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"offset_x", dx}, {"offset_y", dy}},
                  [&] {
                      KESTO::API::copy_features_in_samelayer(job, step, {layer}, dx, dy);
                      return pass();
                  });
}

KESTO_HANDLER(move_same_layer)
{
    std::string job, step, layer;
    int dx = 0, dy = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"offset_x", dx}, {"offset_y", dy}},
                  [&] {
                      KESTO::API::move_same_layer(job, step, {layer}, dx, dy);
                      return pass();
                  });
}

KESTO_HANDLER(copy_features_to_otherLayer)
{
    std::string job, step;
    Json::Value org, dst;
    bool invert = false, mirror = false;
    int dx = 0, dy = 0;
    double resize = 0, rotation = 0, x_anchor = 0, y_anchor = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"orglayer", org}, {"dstlayer", dst}, {"invert", invert},
                   {"mirror", mirror}, {"offset_x", dx}, {"offset_y", dy}, {"resize", resize},
                   {"rotation", rotation}, {"x_anchor", x_anchor}, {"y_anchor", y_anchor}},
                  [&] {
                      KESTO::API::copy_features_to_otherLayer(job, step, names_of(org), names_of(dst), invert, dx, dy,
                                                              mirror, resize, rotation, x_anchor, y_anchor);
                      return pass();
                  });
}

KESTO_HANDLER(move_other_layer)
{
    std::string src_job, src_step, dst_job, dst_step, dst_layer;
    Json::Value src_layer;
    bool invert = false;
    int dx = 0, dy = 0, mirror = 0;
    double resize = 0, rotation = 0, x_anchor = 0, y_anchor = 0;
    return handle(__func__, request, Form::Members,
                  {{"src_job", src_job}, {"src_step", src_step}, {"dst_job", dst_job}, {"dst_step", dst_step},
                   {"dst_layer", dst_layer}, {"invert", invert}, {"offset_x", dx}, {"offset_y", dy},
                   {"mirror", mirror}, {"resize", resize}, {"rotation", rotation}, {"x_anchor", x_anchor},
                   {"y_anchor", y_anchor}, {"src_layer", src_layer}},
                  [&] {
                      KESTO::API::move_other_layer(src_job, src_step, names_of(src_layer), dst_job, dst_step, dst_layer,
                                                   invert, dx, dy, mirror, resize, rotation, x_anchor, y_anchor);
                      return pass();
                  });
}

KESTO_HANDLER(move_selected_features_index)
{
    std::string job, step;
    Strings layers;
    bool put_last = false;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"step", step}, {"layers", layers}, {"put_last", put_last}}, [&] {
                      KESTO::API::move_selected_features_index(job, step, layers, put_last);
                      return pass();
                  });
}

// The selection transform with the first table's keys, in one object.
KESTO_HANDLER(transform)
{
    return selection_transform(__func__, request, Form::Members);
}

// "start": the line's new start {"x","y"} (or {"ix","iy"}), or a list of
// its new start and end; an end not given stays.
KESTO_HANDLER(change_line)
{
    std::string step, layer;
    int position = -1;
    Json::Value ends;
    return handle(__func__, request, Form::Members,
                  {{"step", step}, {"layer", layer}, {"feature_index", position}, {"start", ends}}, [&] {
                      std::vector<KESTO::API::lPoint> points;
                      if (ends.isArray())
                          read_value(ends, points);
                      else if (!ends.isNull())
                          points.resize(1), read_value(ends, points[0]);
                      if (points.empty()) throw std::invalid_argument("change_line: no start given");
                      KESTO::API::change_line_ends("", step, layer, position, points);
                      return pass();
                  });
}

// ---------------------------------------------------------------- features by position, datum moves

KESTO_HANDLER(copy_specified_features)
{
    std::string job, step, dst;
    Json::Value src;
    std::vector<int> positions;
    int dx = 0, dy = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"offset_x", dx}, {"offset_y", dy}, {"srclayers", src},
                   {"dstlayer", dst}, {"copyfeatures", positions}},
                  [&] {
                      KESTO::API::copy_specified_features(job, step, names_of(src), dst, positions, dx, dy);
                      return pass();
                  });
}

KESTO_HANDLER(move_specified_features)
{
    std::string job, step, layer;
    std::vector<int> positions;
    int dx = 0, dy = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"offset_x", dx}, {"offset_y", dy}, {"layername", layer},
                   {"movefeatures", positions}},
                  [&] {
                      KESTO::API::move_specified_features(job, step, layer, positions, dx, dy);
                      return pass();
                  });
}

KESTO_HANDLER(move_make_zero)
{
    std::string job, step, layer;
    int x = 0, y = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"offset_x", x}, {"offset_y", y}},
                  [&] {
                      KESTO::API::move_make_zero(job, step, layer, x, y);
                      return pass();
                  });
}

KESTO_HANDLER(make_zero)
{
    std::string job, step, layer;
    int type = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"type", type}}, [&] {
                      KESTO::API::make_zero(job, step, layer, type);
                      return pass();
                  });
}

// ---------------------------------------------------------------- layers, steps, jobs

KESTO_HANDLER(copy_layer_features)
{
    std::string src_job, src_step, dst_job, dst_step, src_layer, dst_layer;
    int mode = 0;
    bool invert = false;
    return handle(__func__, request, Form::Members,
                  {{"src_job", src_job}, {"src_step", src_step}, {"dst_job", dst_job}, {"dst_step", dst_step},
                   {"mode", mode}, {"invert", invert}, {"src_layer", src_layer}, {"dst_layer", dst_layer}},
                  [&] {
                      KESTO::API::copy_layer_features(src_job, src_step, dst_job, dst_step, mode, invert, src_layer,
                                                      dst_layer);
                      return pass();
                  });
}

KESTO_HANDLER(move_select_feature_to_other_step)
{
    std::string job, step, layer, dst_step;
    bool delete_org = false;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"dest_stepname", dst_step},
                   {"delete_org", delete_org}},
                  [&] {
                      KESTO::API::move_select_feature_to_other_step(job, step, layer, dst_step, delete_org);
                      return pass();
                  });
}

KESTO_HANDLER(copy_usersymbol_to_other_job)
{
    std::string job1, job2, symbol1, symbol2;
    return handle(__func__, request, Form::Members,
                  {{"job1", job1}, {"job2", job2}, {"symbol1", symbol1}, {"symbol2", symbol2}}, [&] {
                      KESTO::API::copy_usersymbol_to_other_job(job1, job2, symbol1, symbol2);
                      return pass();
                  });
}

// The host names no job: the one open job.
KESTO_HANDLER(flatten_step)
{
    std::string step, layer, dst;
    return handle(__func__, request, Form::Members, {{"step", step}, {"flatten_layer", layer}, {"dst_layer", dst}},
                  [&] {
                      KESTO::API::flatten_step("", step, layer, dst);
                      return pass();
                  });
}

KESTO_HANDLER(get_step_header_infos)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}}, [&] {
        KESTO::API::step_header_info info;
        if (!KESTO::API::get_step_header_infos(job, step, info)) return error();
        Json::Value paras;
        paras["datum"]["x"] = info.datum_x;
        paras["datum"]["y"] = info.datum_y;
        paras["has_profile"] = info.has_profile;
        if (info.has_profile) {
            paras["profile"]["xmin"] = info.profile_xmin;
            paras["profile"]["ymin"] = info.profile_ymin;
            paras["profile"]["xmax"] = info.profile_xmax;
            paras["profile"]["ymax"] = info.profile_ymax;
        }
        paras["repeats"] = Json::Value(Json::arrayValue);
        for (const auto& r : info.repeats) {
            Json::Value row;
            row["step"] = r.step;
            row["x"] = r.x;
            row["y"] = r.y;
            row["dx"] = r.dx;
            row["dy"] = r.dy;
            row["nx"] = r.nx;
            row["ny"] = r.ny;
            row["angle"] = r.angle;
            row["mirror"] = r.mirror;
            row["flip"] = r.flip;
            paras["repeats"].append(row);
        }
        paras["fields"] = Json::Value(Json::objectValue);
        for (const auto& [name, value] : info.fields) paras["fields"][name] = value;
        return reply_json("GET_STEP_HEADER_INFOS", paras);
    });
}

KESTO_HANDLER(hasFeature)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}, {"layername", layer}}, [&] {
        const long long count = KESTO::API::layer_feature_count(job, step, layer);
        if (count < 0) return error();
        Json::Value paras;
        paras["status"] = count > 0;
        return reply_json("HASFEATURE", paras);
    });
}

// Several descriptions added as one edit, with Addfeature's keys: all of
// them or, when one does not parse, none.
KESTO_HANDLER(AddFeatures)
{
    std::string job, step;
    Strings layers;
    Json::Value contents;
    AttributeMap attributes;
    return handle(__func__, request, Form::Members,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"featurecontent", contents},
                   {"attrbutes", attributes}},
                  [&] {
                      std::string description;
                      for (const std::string& text : names_of(contents)) description += text + "\n";
                      return KESTO::API::AddFeature(job, step, layers, attributes.values, description, false) ? pass()
                                                                                                              : error();
                  });
}

// "content" is read as the host indexes it: absent reads as an empty text.
KESTO_HANDLER(identify_symbol)
{
    return handle(__func__, request, Form::Members, {}, [&](const Json::Value& paras) {
        std::string content;
        read_direct(paras, "content", content);
        Json::Value out(Json::objectValue);
        out["result"] = KESTO::API::identify_symbol(content);
        return keep(compact(out));
    });
}

KESTO_HANDLER(classify_polyline)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        KESTO::API::polyline_classes classes;
        if (!KESTO::API::classify_polyline(job, step, layer, classes)) return error();
        Json::Value paras;
        paras["polygons"] = Json::Value(Json::arrayValue);
        for (const auto& chain : classes.polygons) {
            Json::Value positions(Json::arrayValue);
            for (int i : chain) positions.append(i);
            paras["polygons"].append(positions);
        }
        paras["other"] = Json::Value(Json::arrayValue);
        for (int i : classes.other) paras["other"].append(i);
        return reply_json("CLASSIFY_POLYLINE", paras);
    });
}

// ---------------------------------------------------------------- layer compare

KESTO_HANDLER(layer_compare)
{
    KESTO::API::compare_request r;
    std::string map_layer;
    double resolution = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname1", r.job1}, {"stepname1", r.step1}, {"layername1", r.layer1}, {"jobname2", r.job2},
                   {"stepname2", r.step2}, {"layername2", r.layer2}, {"tolerance", r.tolerance}, {"global", r.global},
                   {"consider_SR", r.consider_sr}, {"comparison_map_layername", map_layer},
                   {"map_layer_resolution", resolution}},
                  [&] {
                      std::vector<KESTO::API::compare_difference> found;
                      KESTO::API::layer_compare(r, found, map_layer, resolution);
                      return pass();
                  });
}

KESTO_HANDLER(layer_compare_point)
{
    KESTO::API::compare_request r;
    double resolution = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname1", r.job1}, {"stepname1", r.step1}, {"layername1", r.layer1}, {"jobname2", r.job2},
                   {"stepname2", r.step2}, {"layername2", r.layer2}, {"tolerance", r.tolerance}, {"global", r.global},
                   {"consider_SR", r.consider_sr}, {"map_layer_resolution", resolution}},
                  [&] {
                      std::vector<KESTO::API::compare_difference> found;
                      if (!KESTO::API::layer_compare(r, found)) return error();
                      Json::Value paras;
                      paras["count"] = static_cast<Json::UInt64>(found.size());
                      paras["result"] = differences_json(found);
                      return reply_json("LAYER_COMPARE_POINT", paras);
                  });
}

KESTO_HANDLER(layer_compare_bmp)
{
    KESTO::API::compare_request r;
    std::string savepath, suffix;
    double grid = 0;
    int height = 0, width = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname1", r.job1}, {"stepname1", r.step1}, {"layername1", r.layer1}, {"jobname2", r.job2},
                   {"stepname2", r.step2}, {"layername2", r.layer2}, {"savepath", savepath}, {"suffix", suffix},
                   {"tolerance", r.tolerance}, {"grid_size", grid}, {"bmp_height", height}, {"bmp_width", width}},
                  [&] {
                      r.global = true;
                      std::string written;
                      KESTO::API::layer_compare_bmp(r, savepath, suffix, grid, height, width, written);
                      return pass();
                  });
}

KESTO_HANDLER(layer_compare_result)
{
    std::string job, step, layer;
    bool difference = true;
    int columns = 0;
    KESTO::API::point start;
    double pitch = 0;
    return handle(__func__, request, Form::Members,
                  {{"work_job", job}, {"work_step", step}, {"newlayername", layer}, {"difference", difference},
                   {"column", columns}, {"startPoint", start}, {"step", pitch}},
                  [&] {
                      KESTO::API::layer_compare_result(job, step, layer, difference, columns, start, pitch);
                      return pass();
                  });
}

KESTO_HANDLER(multi_layer_compare)
{
    KESTO::API::compare_request r;
    Strings layers1, layers2, map_layers;
    std::string report, map_job, map_step;
    double resolution = 0;
    return handle(__func__, request, Form::Members,
                  {{"jobname1", r.job1}, {"stepname1", r.step1}, {"layernames1", layers1}, {"jobname2", r.job2},
                   {"stepname2", r.step2}, {"layernames2", layers2}, {"compare_result_path", report},
                   {"jobname_compare", map_job}, {"stepname_compare", map_step}, {"layernames_compare", map_layers},
                   {"tolerance", r.tolerance}, {"map_layer_resolution", resolution}},
                  [&] {
                      r.global = true;
                      KESTO::API::multi_layer_compare(r, layers1, layers2, report, map_job, map_step, map_layers,
                                                      resolution);
                      return pass();
                  });
}

// ---------------------------------------------------------------- fills, tables and undo

KESTO_HANDLER(fill_profile)
{
    KESTO::API::fill_profile_request r;
    return handle(__func__, request, Form::Members,
                  {{"job", r.job}, {"step", r.step}, {"layer", r.layer}, {"profile_resize", r.profile_resize},
                   {"child_profile_resize", r.child_profile_resize}, {"avoid_drill_size", r.avoid_drill_size},
                   {"fill_by_pattern", r.by_pattern}, {"symbolname", r.symbol}, {"dx", r.dx}, {"dy", r.dy},
                   {"avoid_drill", r.avoid_drill}},
                  [&] {
                      int added = 0;
                      std::string why;
                      Json::Value out(Json::objectValue);
                      const bool done = KESTO::API::fill_profile(r, added, why);
                      out["result"] = done ? pass() : error();
                      out["added"] = added;
                      if (!done) out["message"] = why;
                      return keep(compact(out));
                  });
}

KESTO_HANDLER(Line_to_SymbolStr)
{
    std::string job, step, layer;
    int index = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"feature_index", index}}, [&] {
                      KESTO::API::line_symbol found;
                      std::string why;
                      if (!KESTO::API::line_to_symbol(job, step, layer, index, found, why)) return error();
                      Json::Value paras(Json::objectValue);
                      paras["symbol"] = found.symbol;
                      paras["x"] = found.x;
                      paras["y"] = found.y;
                      paras["angle"] = found.angle;
                      return reply_json("LINE_TO_SYMBOLSTR", paras);
                  });
}

KESTO_HANDLER(CorrectUndo)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"jobname", job}, {"stepname", step}}, [&] {
        std::string why;
        int dropped = 0;
        return KESTO::API::correct_undo(job, step, dropped, why) ? pass() : error();
    });
}

KESTO_HANDLER(create_table)
{
    KESTO::API::table_request r;
    return handle(__func__, request, Form::Members,
                  {{"job", r.job}, {"step", r.step}, {"layer", r.layer}, {"x", r.x}, {"y", r.y}, {"cells", r.cells},
                   {"column_widths", r.column_widths}, {"row_height", r.row_height},
                   {"text_height", r.text_height, 1.0}, {"line_width", r.line_width, 0.1}},
                  [&] {
                      int added = 0;
                      double width = 0, height = 0;
                      std::string why;
                      if (!KESTO::API::create_table(r, added, width, height, why)) return error();
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = r.layer;
                      paras["added"] = added;
                      paras["width"] = width;
                      paras["height"] = height;
                      return reply_json("CREATE_TABLE", paras);
                  });
}

KESTO_HANDLER(remove_sharp_angle)
{
    std::string step;
    Strings layers;
    int scope = 0, type = 0;
    double radius = 0, max_angle = 0;
    bool round = false;
    return handle(__func__, request, Form::Members,
                  {{"para", max_angle}, {"layers", layers}, {"step", step}, {"scope", scope}, {"radius", radius},
                   {"type", type}, {"is_round", round}},
                  [&] {
                      int filled = 0;
                      std::string why;
                      if (!KESTO::API::remove_sharp_angle(step, layers, scope, radius, type, round, max_angle, filled,
                                                          why))
                          return error();
                      return pass();
                  });
}

KESTO_HANDLER(translate_lines)
{
    std::string step, layer;
    int op_type = 0, type = 0;
    return handle(__func__, request, Form::Members,
                  {{"step", step}, {"layer", layer}, {"op_type", op_type}, {"type", type}}, [&] {
                      int turned = 0;
                      std::string why;
                      return KESTO::API::translate_lines(step, layer, op_type, type, turned, why) ? pass() : error();
                  });
}

// "input" names the layout layer: {"job"?, "step", "layer"}; the other keys
// are the compensation rule. The layer is changed in place, with undo.
KESTO_HANDLER(change_gds_line_width)
{
    Json::Value input;
    KESTO::API::line_width_request r;
    return handle(__func__, request, Form::Members,
                  {{"input", input}, {"max_distance", r.max_distance}, {"default_resize", r.default_resize},
                   {"length", r.length}, {"offset_para", r.offset_para}, {"imin", r.imin}, {"imax", r.imax},
                   {"resize_size", r.resize_size}, {"angle", r.angle}},
                  [&] {
                      if (!input.isObject()) throw std::invalid_argument("\"input\" names the layer: {\"step\", \"layer\"}");
                      read_direct(input, "job", r.job);
                      read_direct(input, "step", r.step);
                      read_direct(input, "layer", r.layer);
                      KESTO::API::line_width_result done;
                      std::string why;
                      return KESTO::API::change_gds_line_width(r, done, why) ? pass() : error();
                  });
}
