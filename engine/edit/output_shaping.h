// A layer shaped for output: grown or shrunk, cut to the profile or to given
// polygons, exposed negative, mirrored, turned and scaled, in that order, on
// a copy; the job's layer is left as it is.
#pragma once
#include "engine/geometry/outline.h"
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::edit {

struct OutputShaping {
    double resize = 0;                    // change of every feature's width, nm
    bool cut_profile = false;             // keep only what lies inside the step profile
    std::vector<geom::Path> cut_polygons; // keep only what lies inside one of these
    bool reverse = false;                 // negative: the cut area (else profile, else extent) dark, features clear
    bool mirror = false;
    bool mirror_in_y = false; // false: x -> -x about the mirror point; true: y -> -y
    Point mirror_point;
    double angle = 0; // clockwise degrees about the rotate point
    Point rotate_point;
    double scale_x = 1, scale_y = 1; // positions only: symbols keep their sizes
    Point scale_point;

    bool none() const
    {
        return resize == 0 && !cut_profile && cut_polygons.empty() && !reverse && !mirror && angle == 0 &&
               scale_x == 1 && scale_y == 1;
    }
};

// `out` becomes `layer` shaped. False, with `problem` said, when a cut to the
// profile is asked of a step without one, or a scale is 0. Features that could not take the
// resize keep their size and are counted in `notes`.
bool shape_for_output(const Step& step, const Layer& layer, const OutputShaping& how,
                      const geom::OutlineContext& context, Layer& out, std::vector<std::string>& notes,
                      std::string& problem);

} // namespace kesto::edit
