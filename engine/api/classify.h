// Pad roles told from geometry, drills and nets, written as the attributes
// downstream tools read.
#pragma once
#include <string>

namespace KESTO {
namespace API {

struct classified {
    int smd = 0;       // .smd
    int via = 0;       // .pad_usage=via
    int toeprint = 0;  // .pad_usage=toeprint: a component hole's pad
    int fiducial = 0;  // .pad_usage=g_fiducial
};

// Classifies the pads of a copper layer (the selected ones, or all when
// none is selected):
//  - a pad with a drilled hole centred in it is a via when the hole is at
//    most `via_max` across (working unit), else a component pad (toeprint);
//  - a pad without a hole on an outer layer is SMD, unless it is a round pad
//    of 0.5 to 3 mm with no other copper within its own diameter of its
//    edge: a fiducial.
// Earlier values of those attributes are replaced. Undoable.
bool auto_classify_attribute(const std::string& job, const std::string& step, const std::string& layer,
                             double via_max, classified& out);

} // namespace API
} // namespace KESTO
