// The job's EDA data as one copper layer sees it: each piece's CAD net and,
// for the pads of component pins (toeprints), the component, the pin and
// whether the pin is an SMD or a BGA ball. Built from the step's eda/data
// and component layers; empty on a step without them or on a panel (the
// netlist numbers the board's own features, not the flattened panel's).
#pragma once
#include "engine/drc/signal_context.h"
#include "engine/formats/odb/eda_data.h"

#include <memory>
#include <vector>

namespace kesto::drc {

struct Toeprint {
    char side = 'T';
    int component = -1;
    int pin = -1;
    bool smd = false;
    bool bga = false;
};

struct EdaLayerView {
    std::shared_ptr<const odb::EdaData> eda;
    std::vector<std::int32_t> cad_net;      // per piece: net of eda->nets, -1 none (or the no-net catch-all)
    std::vector<std::int32_t> toeprint_of;  // per piece: index into toeprints, -1 none
    std::vector<Toeprint> toeprints;
    bool has_nets() const { return eda && !eda->nets.empty(); }
};

EdaLayerView eda_layer_view(const LayerContext& ctx);

// SMD and BGA pads: the pad's own .smd / .bga attribute first, else its
// component pin in the EDA data.
bool is_smd_pad(const LayerContext& ctx, const EdaLayerView& view, std::uint32_t piece);
bool is_bga_pad(const LayerContext& ctx, const EdaLayerView& view, std::uint32_t piece);

} // namespace kesto::drc
