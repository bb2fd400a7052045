// Acute copper corners (acid traps): where two lines meet at less than a
// given angle, the wedge between them is filled so etchant has no narrow
// notch to sit in.
#pragma once
#include "engine/model/model.h"

#include <vector>

namespace kesto::edit {

struct SharpAngleRule {
    double max_angle = 90;  // corners narrower than this (degrees) are filled
    Coord radius = 0;       // of the fill's edge, measured on the centrelines
    bool round = true;      // an arc of `radius` tangent to both lines; else the chord between its tangent points
    bool joints = false;    // also where a line ends on another line's middle (T and Y joints)
};

// Fills the acute corners between the picked positive lines of `layer`
// (one flag per position) that share an end point exactly or, with
// `joints`, where one ends on the other. Each fill is a positive surface
// bounded by the two centrelines from the corner to the tangent points of
// the rule's radius and by the arc (or chord) between them; a line shorter
// than the tangent length shortens the fill to it. Answers how many
// corners were filled.
std::size_t fill_sharp_angles(Layer& layer, const std::vector<bool>& picked, const SharpAngleRule& rule);

} // namespace kesto::edit
