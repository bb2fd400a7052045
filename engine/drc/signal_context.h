// What every signal-layer rule works on: one copper layer made ready once.
// Its copper pieces (each positive feature with the copper it leaves after
// the negative features drawn over it), an R-tree of their boxes, the board
// nets, the holes and rout paths that pass through the layer, and the
// solder-mask layer above it. Rules of other families (mask, silk, prepare)
// take the same pieces and ask the same pair and distance questions over
// other layer pairs.
#pragma once
#include "engine/api/progress.h"
#include "engine/drc/capsules.h"
#include "engine/drc/drill_analysis.h"
#include "engine/drc/findings.h"
#include "engine/drc/nets.h"
#include "engine/drc/placed_layers.h"
#include "engine/geometry/layer_index.h"
#include "engine/geometry/prepared_outline.h"

#include <array>
#include <memory>
#include <string>
#include <vector>

namespace kesto::drc {

enum class CopperRole : std::uint8_t { Pad, Smd, Line, Arc, Surface, Text };

struct CopperPiece {
    std::uint32_t feature = 0;   // position on the layer
    CopperRole role = CopperRole::Pad;
    std::int32_t net = -1;       // board net, -1 when nets were not asked for
    bool selected = false;
    // Round pads and round-ended lines that nothing cuts are kept as their
    // capsule, exactly; everything else as its outline.
    bool is_capsule = false;
    Capsule cap;
    geom::Paths copper;
    Box box;
    Coord width = 0;             // lines and arcs drawn with a round symbol: the stroke width
};

// A line or arc drawn with a round symbol: a trace, whose ends join others.
inline bool is_trace(const CopperPiece& p) { return (p.role == CopperRole::Line || p.role == CopperRole::Arc) && p.width > 0; }

struct DrilledHole {
    Capsule cap;
    HoleClass cls = HoleClass::Pth;
    bool slot = false;
    bool laser = false, photo = false;  // the drill tool's kind
    const Layer* layer = nullptr;
    std::string layer_name;
    std::uint32_t feature = 0;
};

struct RoutPath {
    Capsule cap;                 // the tool's sweep: r is half the tool width
    const Layer* layer = nullptr;
    std::string layer_name;
    std::uint32_t feature = 0;
};

// What one end of a trace touches (within the nets' join gap), the trace
// itself left out.
struct EndContacts {
    std::vector<std::uint32_t> traces, pads, other;
    bool free() const { return traces.empty() && pads.empty() && other.empty(); }
};

struct ContextOptions {
    bool nets = true;            // board nets of the step
    bool holes = true;           // holes of the drill layers spanning the layer, and rout paths
    bool mask = true;            // the solder-mask layer above an outer layer
};

struct LayerContext {
    Job* job = nullptr;
    Step* step = nullptr;
    std::string name;            // as the matrix spells it
    const Layer* layer = nullptr;
    bool outer = false;          // first or last copper layer of the board
    geom::OutlineContext outlines;
    std::vector<CopperPiece> pieces;
    geom::LayerIndex index;      // piece boxes, by piece number
    std::shared_ptr<const BoardNets> nets;
    std::vector<DrilledHole> holes;
    std::vector<RoutPath> rout;
    // Per piece: the hole drilled through it (index into holes), or -1. A
    // pad whose outline holds a hole's centre is that hole's land.
    std::vector<std::int32_t> land_of;
    const Layer* mask = nullptr;
    std::string mask_name;

    FeatureRef ref(std::uint32_t piece) const { return {layer, &name, pieces[piece].feature}; }
    // The piece's copper as an outline (a capsule's polygon when it is one).
    const geom::Paths& outline(std::uint32_t piece) const;
    // The outline of a large piece made ready for repeated distance questions.
    const geom::PreparedOutline* prepared(std::uint32_t piece) const;
    // 2 wholly in a mask opening, 1 partly, 0 covered; -1 without a mask layer.
    int exposure(std::uint32_t piece) const;
    // What end 0 (start) or 1 of a trace (a line or arc with a round
    // symbol) touches: looked up once per piece and shared by the rules.
    const EndContacts& end_contacts(std::uint32_t piece, int end) const;

    // A panel's layers with its boards placed (layer, holes and mask point
    // into it); empty for a board step.
    PlacedLayers placed;

    mutable std::vector<std::unique_ptr<geom::PreparedOutline>> prepared_;
    mutable std::vector<geom::Paths> capsule_outline_;
    mutable std::vector<std::int8_t> exposure_;
    mutable std::unique_ptr<geom::LayerIndex> mask_index_;
    mutable std::vector<std::array<EndContacts, 2>> end_contacts_;
    mutable std::vector<bool> ends_known_;
};

// Makes the layer ready; nullptr when it is no layer of the step. On a panel
// the layer, its holes and its mask are the flattened layers: every placed
// board is measured where it stands.
std::unique_ptr<LayerContext> build_layer_context(Job& job, Step& step, const std::string& name,
                                                  const ContextOptions& options);

// Edge-to-edge gap of two pieces' copper with the nearest point on each: 0
// when they touch or overlap.
geom::Closest piece_gap(const LayerContext& ctx, std::uint32_t a, std::uint32_t b);
// Gap from a capsule (a hole, a rout path) to a piece's copper; negative when
// the capsule cuts into the copper (minus the radius when its centre line
// meets the copper).
geom::Closest capsule_gap_to_piece(const LayerContext& ctx, const Capsule& c, std::uint32_t piece);

// Calls on_pair(i, j), i < j, for every pair of pieces whose boxes come
// within `reach` of each other: the index is asked once per piece, so the
// search grows as n log n, never as all pairs.
template <class OnPair>
void near_piece_pairs(const LayerContext& ctx, Coord reach, OnPair&& on_pair)
{
    for (std::uint32_t i = 0; i < ctx.pieces.size(); ++i) {
        Box q = ctx.pieces[i].box;
        q.xmin -= reach, q.ymin -= reach, q.xmax += reach, q.ymax += reach;
        for (std::size_t j : ctx.index.query(q))
            if (j > i) on_pair(i, std::uint32_t(j));
    }
}

// Does the piece's copper hold the point?
bool piece_holds(const LayerContext& ctx, std::uint32_t piece, Point p);

// Pieces whose boxes come within `reach` of a box.
std::vector<std::size_t> pieces_near(const LayerContext& ctx, const Box& box, Coord reach);

Box capsule_box(const Capsule& c);

} // namespace kesto::drc
