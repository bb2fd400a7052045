// Feature builders, clipping, reshaping and feature changes.
#include "adaptor/handler.h"
#include "adaptor/records_json.h"
#include "engine/api/features.h"

// Not built yet: these answer the error text.
KESTO_PENDING(delete_selected_features)
KESTO_PENDING(delete_clicked_features)
KESTO_PENDING(change_clicked_features_polarity)
KESTO_PENDING(Undo)
KESTO_PENDING(change_feature_symbols)
KESTO_PENDING(copy_features_in_samelayer)
KESTO_PENDING(copy_specified_features)
KESTO_PENDING(copy_features_to_otherLayer)
KESTO_PENDING(move_same_layer)
KESTO_PENDING(move_specified_features)
KESTO_PENDING(move_make_zero)
KESTO_PENDING(copy_layer_features)
KESTO_PENDING(move_other_layer)
KESTO_PENDING(change_texts)
KESTO_PENDING(reshape_line_to_pad)
KESTO_PENDING(clip_area_use_manual)
KESTO_PENDING(clip_area_use_profile)
KESTO_PENDING(reshape_substitute)
KESTO_PENDING(change_line)
KESTO_PENDING(identify_symbol)
KESTO_PENDING(self_interaction)
KESTO_PENDING(reshape_pad_to_line)
KESTO_PENDING(resize_Global)
KESTO_PENDING(reshape_contour_to_pad)
KESTO_PENDING(reshape_pad_to_outline)
KESTO_PENDING(reshape_surface_to_outline)
KESTO_PENDING(reshape_outline_to_surface)
KESTO_PENDING(use_pattern_fill_contours)
KESTO_PENDING(transform)
KESTO_PENDING(make_zero)
KESTO_PENDING(reshape_contourize)
KESTO_PENDING(clip_area_use_reference)
KESTO_PENDING(change_lines)
KESTO_PENDING(change_arc)
KESTO_PENDING(resize_Polyline)
KESTO_PENDING(move_selected_features_index)
KESTO_PENDING(layer_compare)
KESTO_PENDING(layer_compare_result)
KESTO_PENDING(multi_layer_compare)
KESTO_PENDING(layer_compare_bmp)
KESTO_PENDING(remove_sharp_angle)
KESTO_PENDING(reshape_line_to_pad_new)
KESTO_PENDING(layer_compare_point)
KESTO_PENDING(change_gds_line_width)
KESTO_PENDING(resize_polygon)
KESTO_PENDING(fill_profile)
KESTO_PENDING(negative_layer_to_positive)
KESTO_PENDING(translate_lines)
KESTO_PENDING(copy_usersymbol_to_other_job)
KESTO_PENDING(move_select_feature_to_other_step)
KESTO_PENDING(classify_polyline)
KESTO_PENDING(rounding_line_corner)

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
    int polarity = 0, orient = 0, version = 1;
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
