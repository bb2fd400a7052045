// Layer tools that add or merge features: hole-size labels, copper fill on
// a grid, merging line pieces along copper edges.
#include "adaptor/handler.h"
#include "engine/api/feature_tools.h"

#include <stdexcept>

using namespace kesto::adaptor;

namespace {

char* count_reply(const char* func, const std::string& layer, const char* key, int n)
{
    Json::Value paras(Json::objectValue);
    paras["layer"] = layer;
    paras[key] = n;
    return reply_json(func, paras);
}

} // namespace

KESTO_HANDLER(add_text_by_drill)
{
    std::string job, step, drill, layer;
    double height = 1;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"drill", drill}, {"layer", layer}, {"height", height}}, [&] {
                      int added = 0;
                      if (!KESTO::API::add_text_by_drill(job, step, drill, layer, height, added))
                          throw std::runtime_error("the hole sizes of " + drill + " could not be written");
                      return count_reply("ADD_TEXT_BY_DRILL", layer, "added", added);
                  });
}

KESTO_HANDLER(fill_select_feature_by_grid)
{
    std::string job, step, layer, symbol;
    double pitch_x = 0, pitch_y = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"symbol", symbol}, {"pitch_x", pitch_x},
                   {"pitch_y", pitch_y}},
                  [&] {
                      int added = 0;
                      if (!KESTO::API::fill_select_feature_by_grid(job, step, layer, symbol, pitch_x, pitch_y, added))
                          throw std::runtime_error("the selected features of " + layer + " could not be filled");
                      return count_reply("FILL_SELECT_FEATURE_BY_GRID", layer, "added", added);
                  });
}

KESTO_HANDLER(merge_cu_edge_lines)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        int merged = 0;
        if (!KESTO::API::merge_cu_edge_lines(job, step, layer, merged))
            throw std::runtime_error("the lines of " + layer + " could not be merged");
        return count_reply("MERGE_CU_EDGE_LINES", layer, "merged", merged);
    });
}
