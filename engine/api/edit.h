// Edits of the selected features of named layers of a step, as commands ask
// for them. Every operation names its job, step and layers; one that names
// something the engine does not hold logs it and changes nothing.
#pragma once
#include "engine/api/records.h"

#include <map>
#include <string>
#include <vector>

namespace KESTO {
namespace Op {

// The parameters of the operations that take a record rather than values.
struct OpPara {
    std::string job;
    std::string step;
    std::vector<std::string> layers;
    int sel_type = 0;        // 0 the selected features, 1 every feature of the layers
    double size = 0;         // working unit
    int corner = 0;          // resize: 0 round corners, 1 square
    int connect_type = 0;
    int interaction_type = 0;
    double radius = 0;       // working unit
    int mode = 0;
    std::string symbol_name;
    int dcode = -1;
    int polarity = 2;        // 0 positive, 1 negative, 2 invert
    std::string para;
    std::string affected_node;
    std::string extra_params;
    std::string scope;
    double feature_size = 0;
    double error_size = 0;
};

} // namespace Op

namespace API {

void delete_selected_features(const std::string& job, const std::string& step, const std::vector<std::string>& layers);
// Offsets in engine units (nanometres).
void move_same_layer(const std::string& job, const std::string& step, std::vector<std::string> layers, int dx, int dy);
void copy_features_in_samelayer(const std::string& job, const std::string& step, std::vector<std::string> layers,
                                int dx, int dy);
// Copies the selected features of the source layers to each destination
// layer: inverted when `invert`, mirrored in X about the anchor when
// `mirror`, turned clockwise by `rotation` degrees about the anchor, then
// offset (engine units). `resize` (working unit) is not supported yet and must be 0.
void copy_features_to_otherLayer(const std::string& job, const std::string& step,
                                 const std::vector<std::string>& src_layers, const std::vector<std::string>& dst_layers,
                                 bool invert, int dx, double dy, double mirror, double resize, double rotation,
                                 double x_anchor, double y_anchor);
// Moves the selected features of the source layers into one layer of
// another (or the same) job and step.
bool move_other_layer(const std::string& src_job, const std::string& src_step, const std::vector<std::string>& src_layers,
                      const std::string& dst_job, const std::string& dst_step, const std::string& dst_layer, bool invert,
                      int dx, int dy, int mirror, double resize, double rotation, double x_anchor, double y_anchor);
// mode 0: about the datum point, 1: about (point_x, point_y). Rotation by
// `angle`, scale by xscale/yscale, mirrors, then offset; `duplicate` keeps
// the originals and transforms copies.
bool transform(const std::string& job, const std::string& step, const std::string& layer, int mode, bool rotate,
               bool scale, bool mirror_x, bool mirror_y, bool duplicate, point datum, double angle, double xscale,
               double yscale, double xoffset, double yoffset, double point_x, double point_y);
bool polarity(const Op::OpPara& para);
// mode 0: add to the features' attributes, 1: replace them, 2: remove the named ones.
void modify_attributes(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int mode,
                       const std::map<std::string, std::string>& attributes);
// put_last: the selected features are drawn last (on top); else first.
void move_selected_features_index(const std::string& job, const std::string& step,
                                  const std::vector<std::string>& layers, bool put_last);

// Selection by the current filter and its inverse.
void select_features(const std::string& job, const std::string& step, const std::string& layer);
void unselect_features(const std::string& job, const std::string& step, const std::string& layer);
void highlight_features(const std::string& job, const std::string& step, const std::string& layer);
void unhighlight_features(const std::string& job, const std::string& step, const std::string& layer);
void clear_selected_features(const std::string& job, const std::string& step, const std::string& layer);
void clear_highlighted_features(const std::string& job, const std::string& step, const std::string& layer);
bool reverse_select(const std::string& job, const std::string& step, const std::string& layer);
bool is_selected(const std::string& job, const std::string& step, const std::string& layer);
// Selects the features at the given positions of the layer's drawing order.
void select_feature_by_id(const std::string& job, const std::string& step, const std::string& layer,
                          const std::vector<int>& indices);

} // namespace API
} // namespace KESTO
