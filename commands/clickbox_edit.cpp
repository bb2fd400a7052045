// Click-box feature edits: features picked on the canvas by a click, a box
// or a feature position rather than by the selection.
#include "adaptor/handler.h"
#include "engine/api/clickbox.h"
#include "engine/api/jobs.h"
#include "engine/api/selection.h"

using namespace kesto::adaptor;
using KESTO::API::Points;
using Strings = std::vector<std::string>;

namespace {

// The commands that name one layer and a list of points.
template <class Operation>
char* on_points(const char* name, const char* request, Operation&& operation)
{
    std::string job, step, layer;
    Points points;
    return handle(name, request, Form::Elements, {{"job", job}, {"step", step}, {"layer", layer}, {"points", points}},
                  [&] {
                      operation(job, step, layer, points);
                      return pass();
                  });
}

} // namespace

KESTO_HANDLER(delete_feature)
{
    std::string job, step;
    Strings layers;
    Points clickbox;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"clickbox", clickbox}}, [&] {
                      KESTO::API::delete_clicked_features(job, step, layers, clickbox, KESTO::API::kTypeAll);
                      return pass();
                  });
}

KESTO_HANDLER(strech_feature)
{
    std::string job, step, layer;
    int index = 0;
    double sx = 0, sy = 0, ex = 0, ey = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"feature_index", index}, {"start_x", sx},
                   {"start_y", sy}, {"end_x", ex}, {"end_y", ey}},
                  [&] {
                      KESTO::API::change_line(job, step, layer, index, sx, sy, ex, ey);
                      return pass();
                  });
}

KESTO_HANDLER(invert_feature)
{
    std::string job, step;
    Strings layers;
    int index = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"featureindex", index}}, [&] {
                      KESTO::API::change_clicked_features_polarity(job, step, layers, index);
                      return pass();
                  });
}

KESTO_HANDLER(break_feature)
{
    return on_points(__func__, request, [](auto& job, auto& step, auto& layer, auto& points) {
        KESTO::API::break_line(job, step, layer, points);
    });
}

KESTO_HANDLER(move_triplet)
{
    return on_points(__func__, request, [](auto& job, auto& step, auto& layer, auto& points) {
        KESTO::API::move_triplet(job, step, layer, points);
    });
}

KESTO_HANDLER(reroute_trace)
{
    return on_points(__func__, request, [](auto& job, auto& step, auto& layer, auto& points) {
        KESTO::API::reroute_line(job, step, layer, points);
    });
}

// "type" 0 picks the topmost feature under a click, 1 every feature it
// catches; "clear" empties the selection first.
KESTO_HANDLER(select_feature)
{
    std::string job, step, layer;
    bool clear = false;
    int type = 0;
    Points polygon;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"clear", clear}, {"type", type},
                   {"selectpolygon", polygon}},
                  [&] {
                      KESTO::API::featureInfo any;
                      if (type == 0)
                          KESTO::API::select_features(job, step, layer, polygon, any, 0, clear);
                      else
                          KESTO::API::select_multi_features(job, step, layer, polygon, any, 0, clear, true);
                      return pass();
                  });
}

// The narrowest line of each layer: {"func": "GET_MIN_LINE_WIDTH", "paras":
// {"layers": {name: width in the working unit}}}.
KESTO_HANDLER(get_min_line_width)
{
    std::string job, path;
    return handle(__func__, request, Form::Elements, {{"job", job}, {"path", path}}, [&] {
        KESTO::API::open_job(path, job);
        Json::Value layers(Json::objectValue);
        for (const auto& [name, width] : KESTO::API::min_line_widths(job)) layers[name] = width;
        Json::Value paras(Json::objectValue);
        paras["layers"] = layers;
        return reply_json("GET_MIN_LINE_WIDTH", paras);
    });
}
