// The step's profile: asked for, made from a layer or a rectangle, drawn
// into a layer, and the features that reach outside it.
#include "adaptor/handler.h"
#include "engine/api/profile.h"

#include <stdexcept>

using namespace kesto::adaptor;

KESTO_HANDLER(has_profile)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        bool has = false;
        if (!KESTO::API::has_profile(job, step, has)) throw std::runtime_error("no step " + job + "/" + step);
        Json::Value paras(Json::objectValue);
        paras["has_profile"] = has;
        return reply_json("HAS_PROFILE", paras);
    });
}

KESTO_HANDLER(get_profile)
{
    std::string job, step;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}}, [&] {
        KESTO::API::profile_shape shape;
        if (!KESTO::API::get_profile(job, step, shape)) throw std::runtime_error("no step " + job + "/" + step);
        Json::Value paras(Json::objectValue);
        paras["has_profile"] = shape.exists;
        Json::Value& contours = paras["contours"] = Json::Value(Json::arrayValue);
        for (const auto& c : shape.contours) {
            Json::Value contour(Json::objectValue);
            contour["island"] = c.island;
            contour["x"] = c.x;
            contour["y"] = c.y;
            Json::Value& segments = contour["segments"] = Json::Value(Json::arrayValue);
            for (const auto& s : c.segments) {
                Json::Value seg(Json::objectValue);
                seg["x"] = s.x;
                seg["y"] = s.y;
                if (s.arc) {
                    seg["xc"] = s.xc;
                    seg["yc"] = s.yc;
                    seg["cw"] = s.cw;
                }
                segments.append(std::move(seg));
            }
            contours.append(std::move(contour));
        }
        if (shape.exists) {
            paras["area"] = shape.area;
            paras["xmin"] = shape.xmin;
            paras["ymin"] = shape.ymin;
            paras["xmax"] = shape.xmax;
            paras["ymax"] = shape.ymax;
        }
        return reply_json("GET_PROFILE", paras);
    });
}

// From a layer's features when "layer" is given, else from the rectangle.
KESTO_HANDLER(create_profile)
{
    std::string job, step, layer;
    double xmin = 0, ymin = 0, xmax = 0, ymax = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"xmin", xmin}, {"ymin", ymin}, {"xmax", xmax},
                   {"ymax", ymax}},
                  [&] {
                      const bool made = layer.empty() ? KESTO::API::create_profile(job, step, xmin, ymin, xmax, ymax)
                                                      : KESTO::API::create_profile(job, step, layer);
                      if (!made) throw std::runtime_error("the profile could not be made");
                      return pass();
                  });
}

KESTO_HANDLER(profile_to_outerline)
{
    std::string job, step, layer;
    double width = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"width", width}}, [&] {
                      int added = 0;
                      if (!KESTO::API::profile_to_outerline(job, step, layer, width, added))
                          throw std::runtime_error("the profile could not be drawn into " + layer);
                      return pass();
                  });
}

KESTO_HANDLER(highlight_reference_profile)
{
    std::string job, step, layer;
    return handle(__func__, request, Form::Members, {{"job", job}, {"step", step}, {"layer", layer}}, [&] {
        int count = 0;
        if (!KESTO::API::highlight_reference_profile(job, step, layer, count))
            throw std::runtime_error("the features of " + layer + " could not be compared with the profile");
        Json::Value paras(Json::objectValue);
        paras["layer"] = layer;
        paras["count"] = count;
        return reply_json("HIGHLIGHT_REFERENCE_PROFILE", paras);
    });
}

KESTO_HANDLER(create_layer_between_profile)
{
    std::string job, step, layer;
    double margin = 0;
    return handle(__func__, request, Form::Members,
                  {{"job", job}, {"step", step}, {"layer", layer}, {"margin", margin}}, [&] {
                      double area = 0;
                      if (!KESTO::API::create_layer_between_profile(job, step, layer, margin, area))
                          throw std::runtime_error("the frame of " + job + "/" + step + " could not be made");
                      Json::Value paras(Json::objectValue);
                      paras["layer"] = layer;
                      paras["area"] = area;
                      return reply_json("CREATE_LAYER_BETWEEN_PROFILE", paras);
                  });
}
