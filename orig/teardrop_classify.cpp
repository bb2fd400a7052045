// Teardrops drawn by a design tool, marked so teardrop runs can find them.
#include "adaptor/handler.h"
#include "engine/api/dfm_ops.h"

#include <stdexcept>

using namespace kesto::adaptor;

KESTO_HANDLER(teardrop_attribute_classfy)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        std::map<std::string, int> marked;
        if (!KESTO::API::teardrop_attribute_classify(job, step, layers, marked))
            throw std::runtime_error("the teardrops of " + job + "/" + step + " could not be classified");
        Json::Value paras(Json::objectValue), per_layer(Json::objectValue);
        int total = 0;
        for (const auto& [layer, n] : marked) {
            per_layer[layer] = n;
            total += n;
        }
        paras["layers"] = per_layer;
        paras["marked"] = total;
        return reply_json("TEARDROP_ATTRIBUTE_CLASSFY", paras);
    });
}
