// The EDA data of a step (steps/<step>/eda/data): the designer's netlist
// (each net's subnets naming their copper features by layer and position in
// the layer's features file), the packages with their pins, and the
// components placed from them (the component layers' "components" files).
// The job reader keeps these files as text on the step; the checks read them
// through here when they need the design's own view of nets and parts.
#pragma once
#include "engine/model/model.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace kesto::odb {

// FID: C copper, L laminate, H hole; `layer` indexes EdaData::layers.
struct EdaFeatureId {
    char type = 'C';
    int layer = 0;
    std::uint32_t feature = 0;
};

// SNT: TRC, VIA, PLN or TOP. A toeprint subnet names its component by side
// ('T' or 'B') and number, and the pin by its toeprint number.
struct EdaSubnet {
    std::string kind;
    char side = 0;
    int component = -1;
    int toeprint = -1;
    std::vector<EdaFeatureId> features;
};

struct EdaNet {
    std::string name;
    std::vector<EdaSubnet> subnets;
};

// PIN: type 'S' surface, 'T' through-hole, 'B' blind; `round` when its first
// outline record is a circle.
struct EdaPin {
    std::string name;
    char type = 'T';
    double x = 0, y = 0;  // in the file's unit, relative to the package
    bool round = false;
};

struct EdaPackage {
    std::string name;
    double pitch = 0;
    std::vector<EdaPin> pins;
};

// A CMP record of a component layer; `package` indexes EdaData::packages.
struct EdaComponent {
    int package = -1;
    std::string name;
};

struct EdaData {
    std::vector<std::string> layers;   // LYR, in order
    std::vector<EdaNet> nets;
    std::vector<EdaPackage> packages;
    std::vector<EdaComponent> top, bottom;  // components by side, numbered as the subnets name them
    // Lines not understood, as "line N: why" (the first few); the rest is still read.
    std::vector<std::string> problems;
    bool empty() const { return nets.empty() && packages.empty(); }
};

// Reads eda/data text. Unknown records are skipped; a malformed line is
// noted in `problems` and skipped; nothing in the text can make it throw.
void read_eda_data(std::string_view text, EdaData& out);
// Reads a component layer's "components" text into `out`.
void read_components(std::string_view text, std::vector<EdaComponent>& out, std::vector<std::string>& problems);

// The step's EDA data with its components; nullptr when the step carries no
// eda/data. Read once per distinct text and shared (the checks ask per layer).
std::shared_ptr<const EdaData> step_eda_data(const Step& step);

// Is this the netlist's catch-all for unconnected features?
bool is_no_net(const std::string& name);

} // namespace kesto::odb
