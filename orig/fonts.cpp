// The job's fonts and the texts of a layer.
#include "adaptor/handler.h"
#include "engine/api/texts.h"

#include <stdexcept>

using namespace kesto::adaptor;

namespace {

Json::Value text_json(const KESTO::API::text_entry& t)
{
    Json::Value e(Json::objectValue);
    e["index"] = t.index;
    e["text"] = t.text;
    e["font"] = t.font;
    e["x"] = t.x;
    e["y"] = t.y;
    e["xsize"] = t.xsize;
    e["ysize"] = t.ysize;
    e["angle"] = t.angle;
    e["mirror"] = t.mirror;
    e["barcode"] = t.barcode;
    e["selected"] = t.selected;
    return e;
}

std::vector<KESTO::API::text_entry> texts(const std::string& job, const std::string& step, const std::string& layer,
                                          bool selected_only)
{
    std::vector<KESTO::API::text_entry> list;
    if (!KESTO::API::get_text_list(job, step, layer, selected_only, list))
        throw std::runtime_error("the texts of " + layer + " could not be read");
    return list;
}

} // namespace

KESTO_HANDLER(get_fonts)
{
    std::string job;
    return handle(__func__, request, Form::Members, {{"job", job}}, [&] {
        std::vector<std::string> names;
        if (!KESTO::API::get_fonts(job, names)) throw std::runtime_error("job " + job + " is not open");
        Json::Value paras(Json::objectValue);
        Json::Value& fonts = paras["fonts"] = Json::Value(Json::arrayValue);
        for (const std::string& n : names) fonts.append(n);
        return reply_json("GET_FONTS", paras);
    });
}

KESTO_HANDLER(has_font)
{
    std::string job, font;
    return handle(__func__, request, Form::Members, {{"job", job}, {"font", font}}, [&] {
        bool has = false;
        if (!KESTO::API::has_font(job, font, has)) throw std::runtime_error("job " + job + " is not open");
        Json::Value paras(Json::objectValue);
        paras["font"] = font;
        paras["has_font"] = has;
        return reply_json("HAS_FONT", paras);
    });
}

KESTO_HANDLER(load_one_font)
{
    std::string job, path, name;
    return handle(__func__, request, Form::Members, {{"job", job}, {"path", path}, {"font", name}}, [&] {
        if (!KESTO::API::load_one_font(job, path, name)) throw std::runtime_error("the font " + path + " was not loaded");
        return pass();
    });
}

KESTO_HANDLER(get_text_list)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        Json::Value paras(Json::objectValue);
        paras["layer"] = layer;
        Json::Value& list = paras["texts"] = Json::Value(Json::arrayValue);
        for (const auto& t : texts(job, step, layer, false)) list.append(text_json(t));
        return reply_json("GET_TEXT_LIST", paras);
    });
}

// The one selected text: the host asks it of a text it has just picked.
KESTO_HANDLER(get_text_name)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        const auto list = texts(job, step, layer, true);
        if (list.size() != 1)
            throw std::runtime_error(std::to_string(list.size()) + " texts of " + layer + " are selected, not one");
        return reply_json("GET_TEXT_NAME", text_json(list.front()));
    });
}

KESTO_HANDLER(get_texts_name)
{
    std::string job, step;
    std::vector<std::string> layers;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layers", layers}}, [&] {
        Json::Value list(Json::arrayValue);
        for (const std::string& layer : layers)
            for (const auto& t : texts(job, step, layer, true)) {
                Json::Value e = text_json(t);
                e["layer"] = layer;
                list.append(std::move(e));
            }
        Json::Value paras(Json::objectValue);
        paras["texts"] = std::move(list);
        return reply_json("GET_TEXTS_NAME", paras);
    });
}
