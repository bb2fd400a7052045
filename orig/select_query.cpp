// Point and polygon selection, highlight and feature queries.
#include "adaptor/handler.h"
#include "adaptor/open_job.h"
#include "adaptor/records_json.h"
#include "engine/api/edit.h"
#include "engine/api/features.h"
#include "engine/api/nets.h"
#include "engine/api/pick.h"
#include "engine/api/selection.h"

using namespace kesto::adaptor;

KESTO_HANDLER(set_select_param)
{
    KESTO::API::select_info param;
    return handle(__func__, request, Form::Members, {{"param", param}}, [&] {
        KESTO::API::set_select_param(param);
        return pass();
    });
}

KESTO_HANDLER(get_select_param)
{
    return handle(__func__, request, Form::Members, {}, [&] {
        KESTO::API::select_info param;
        KESTO::API::get_select_param(param);
        Json::Value paras(Json::objectValue);
        paras["param"] = KESTO::API::to_json(param);
        return reply_json("GET_SELECT_PARAM", paras);
    });
}

KESTO_HANDLER(set_selection)
{
    KESTO::API::Selection options;
    return handle(__func__, request, Form::Members,
                  {{"sels", options.sels},
                   {"is_standard", options.is_standard},
                   {"is_clear", options.is_clear},
                   {"all_layers", options.all_layers},
                   {"is_select", options.is_select},
                   {"inside", options.inside},
                   {"exclude", options.exclude}},
                  [&] {
                      KESTO::API::set_selection(options);
                      return pass();
                  });
}

namespace {

// The commands that name one layer by "job", "step" and "layer".
template <class Operation>
char* on_layer(const char* name, const char* request, Operation&& operation)
{
    std::string job, step, layer;
    return handle(name, request, Form::MembersParse, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        operation(job, step, layer);
        return pass();
    });
}

} // namespace

KESTO_HANDLER(select_features)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::select_features(job, step, layer); });
}
KESTO_HANDLER(unselect_features)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::unselect_features(job, step, layer); });
}
KESTO_HANDLER(highlight_features)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::highlight_features(job, step, layer); });
}
KESTO_HANDLER(unhighlight_features)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::unhighlight_features(job, step, layer); });
}
KESTO_HANDLER(clear_selected_features)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::clear_selected_features(job, step, layer); });
}
KESTO_HANDLER(clear_highlighted_features)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::clear_highlighted_features(job, step, layer); });
}
KESTO_HANDLER(reverse_select)
{
    return on_layer(__func__, request, [](auto& job, auto& step, auto& layer) { KESTO::API::reverse_select(job, step, layer); });
}

KESTO_HANDLER(is_Selected)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        Json::Value reply(Json::objectValue);
        reply["result"] = KESTO::API::is_selected(job, step, layer);
        return keep(compact(reply));
    });
}

// The positions to select come as "featureIDs", a list of whole numbers.
KESTO_HANDLER(select_feature_by_id)
{
    std::string job, step, layer;
    std::vector<int> ids;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"featureIDs", ids}}, [&] {
                      KESTO::API::select_feature_by_id(job, step, layer, ids);
                      return pass();
                  });
}

namespace {

using KESTO::API::featureInfo;
using KESTO::API::Points;

// The keys of the clicked-area commands: all read "job", "step", "layer" and
// "selectpolygon"; each reads only those of the others it uses, so a member
// it does not use is ignored whatever its type.
struct Area {
    std::string job, step, layer;
    double margin = 0;
    bool clear = false;
    Points points;
    featureInfo pattern;
};

enum AreaKeys : unsigned { kPoints = 0, kMargin = 1, kClear = 2, kPattern = 4 };

template <class Operation>
char* on_area(const char* name, const char* request, unsigned keys, Operation&& operation)
{
    Area a;
    auto run = [&] {
        operation(a);
        return pass();
    };
    const Key job{"job", a.job}, step{"step", a.step}, layer{"layer", a.layer}, points{"selectpolygon", a.points},
        margin{"margin", a.margin}, clear{"clear", a.clear}, pattern{"featureMes", a.pattern};
    switch (keys) {
    case kPoints: return handle(name, request, Form::MembersParse, {job, step, layer, points}, run);
    case kPoints | kPattern: return handle(name, request, Form::MembersParse, {job, step, layer, points, pattern}, run);
    case kMargin | kPattern:
        return handle(name, request, Form::MembersParse, {job, step, layer, points, margin, pattern}, run);
    default:
        return handle(name, request, Form::MembersParse, {job, step, layer, points, margin, clear, pattern}, run);
    }
}

} // namespace

KESTO_HANDLER(select_multi_features)
{
    return on_area(__func__, request, kMargin | kClear | kPattern, [](Area& a) {
        KESTO::API::select_multi_features(a.job, a.step, a.layer, a.points, a.pattern, a.margin, a.clear, true);
    });
}

KESTO_HANDLER(select_Features)
{
    return on_area(__func__, request, kMargin | kClear | kPattern, [](Area& a) {
        KESTO::API::select_features(a.job, a.step, a.layer, a.points, a.pattern, a.margin, a.clear);
    });
}

KESTO_HANDLER(unselect_multi_features)
{
    return on_area(__func__, request, kMargin | kClear | kPattern, [](Area& a) {
        KESTO::API::unselect_multi_features(a.job, a.step, a.layer, a.points, a.pattern, a.margin, a.clear);
    });
}

KESTO_HANDLER(unselect_Features)
{
    return on_area(__func__, request, kMargin | kPattern, [](Area& a) {
        KESTO::API::unselect_features(a.job, a.step, a.layer, a.points, a.pattern, a.margin);
    });
}

KESTO_HANDLER(highlight_Features)
{
    return on_area(__func__, request, kMargin | kPattern, [](Area& a) {
        KESTO::API::highlight_features(a.job, a.step, a.layer, a.points, a.pattern, a.margin, true, false);
    });
}

KESTO_HANDLER(highlight_multi_features)
{
    return on_area(__func__, request, kMargin | kPattern, [](Area& a) {
        KESTO::API::highlight_multi_features(a.job, a.step, a.layer, a.points, a.pattern, a.margin, true, false);
    });
}

KESTO_HANDLER(clear_clicked_feature_status)
{
    return on_area(__func__, request, kPoints,
                   [](Area& a) { KESTO::API::clear_clicked_feature_status(a.job, a.step, a.layer, a.points); });
}

KESTO_HANDLER(select_polyline)
{
    return on_area(__func__, request, kPoints, [](Area& a) { KESTO::API::select_polyline(a.job, a.step, a.layer, a.points); });
}

KESTO_HANDLER(unselect_polyline)
{
    return on_area(__func__, request, kPoints, [](Area& a) { KESTO::API::unselect_polyline(a.job, a.step, a.layer, a.points); });
}

// The query answers stay in the engine's out values: hosts read data with
// is_Selected, get_selected_feature_infos or get_select_param.
KESTO_HANDLER(get_feature_info)
{
    return on_area(__func__, request, kPoints | kPattern, [](Area& a) {
        KESTO::API::get_feature_info(a.job, a.step, a.layer, a.points, a.pattern, KESTO::API::kTypeAll);
    });
}

KESTO_HANDLER(get_feature_point)
{
    std::string job, step, layer;
    Points points;
    int pointtype = 0, selecttype = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"points", points}, {"pointtype", pointtype},
                   {"selecttype", selecttype}},
                  [&] {
                      double x = 0, y = 0;
                      KESTO::API::get_feature_point(job, step, layer, points, x, y, pointtype, selecttype);
                      return pass();
                  });
}

KESTO_HANDLER(get_feature_dis_point)
{
    std::string step, layer1, layer2;
    int index1 = 0, index2 = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"step", step}, {"layername1", layer1}, {"layername2", layer2}, {"featureIndex1", index1},
                   {"featureIndex2", index2}},
                  [&] {
                      double x1 = 0, y1 = 0, x2 = 0, y2 = 0;
                      KESTO::API::get_feature_dis_point(the_open_job(), step, layer1, index1, layer2, index2, x1, y1, x2, y2);
                      return pass();
                  });
}

KESTO_HANDLER(is_selected)
{
    std::string job, step, layer;
    Points points;
    int diameter = 0, selecttype = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"points", points}, {"diameter", diameter},
                   {"selecttype", selecttype}},
                  [&] {
                      bool hit = false, selected = false;
                      int position = -1;
                      KESTO::API::is_selected(job, step, layer, points, diameter, hit, selected, position, selecttype);
                      return pass();
                  });
}

KESTO_HANDLER(get_selected_feature_info)
{
    std::string job, step, layer, info;
    int count = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"select_num", count},
                   {"select_info", info}},
                  [&] {
                      std::vector<std::string> records;
                      KESTO::API::get_selected_feature_info(job, step, layer, count, records);
                      return pass();
                  });
}

KESTO_HANDLER(get_selected_feature_infos)
{
    std::string job, step, layer;
    Json::Value asked;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"featureInfos", asked}}, [&] {
                      std::vector<featureInfo> features;
                      KESTO::API::get_selected_feature_info(job, step, layer, features);
                      Json::Value list(Json::arrayValue);
                      for (const auto& f : features) list.append(KESTO::API::to_json(f));
                      Json::Value paras(Json::objectValue);
                      paras["featureInfos"] = list;
                      return reply_json("GET_SELECTED_FEATURE_INFOS", paras);
                  });
}

// Answers the symbol's number for the description builders.
KESTO_HANDLER(create_new_symbol)
{
    std::string job, step, symbol, layer;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"symbol", symbol}, {"layer", layer}}, [&] {
                      int number = -1;
                      Json::Value paras(Json::objectValue);
                      paras["result"] = KESTO::API::create_new_symbol(job, step, symbol, layer, number);
                      paras["symbolNum"] = number;
                      return reply_json("CREATE_NEW_SYMBOL", paras);
                  });
}

KESTO_HANDLER(select_features_by_symbol)
{
    std::string job, step, layer;
    Points points;
    bool clear = false;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"points", points}, {"clear", clear}}, [&] {
                      KESTO::API::select_features_by_symbol(job, step, layer, points, clear);
                      return pass();
                  });
}

KESTO_HANDLER(unselect_features_by_symbol)
{
    std::string job, step, layer;
    Points points;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"points", points}}, [&] {
                      KESTO::API::unselect_features_by_symbol(job, step, layer, points);
                      return pass();
                  });
}

KESTO_HANDLER(select_connect_line)
{
    std::string job, step, layer;
    Points points;
    featureInfo pattern;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"selectpolygon", points},
                   {"featureMes", pattern}},
                  [&] {
                      KESTO::API::select_connect_line(job, step, layer, points, pattern);
                      return pass();
                  });
}

KESTO_HANDLER(select_by_mode)
{
    std::string job, step, layer;
    int mode = 0;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"step", step}, {"layer", layer}, {"mode", mode}}, [&] {
                      KESTO::API::select_by_mode(job, step, layer, mode);
                      return pass();
                  });
}

KESTO_HANDLER(select_feature_by_info)
{
    std::string job, step, layer;
    featureInfo info;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"step", step}, {"layer", layer}, {"info", info}}, [&] {
                      KESTO::API::select_feature_by_info(job, step, layer, info);
                      return pass();
                  });
}

KESTO_HANDLER(select_features_by_net)
{
    std::string job, step, layer;
    std::vector<std::string> dest_layers;
    Points points;
    return handle(__func__, request, Form::MembersParse,
                  {{"jobname", job}, {"stepname", step}, {"layername", layer}, {"vec_dest_layername", dest_layers},
                   {"selectpolygon", points}},
                  [&] {
                      KESTO::API::select_features_by_net(job, step, layer, dest_layers, points);
                      return pass();
                  });
}
