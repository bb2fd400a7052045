// What spatial queries on a layer need beside the layer: its R-tree, kept
// current by the edits that go through the engine's API, and the outline
// context of its job (user symbols, stroke font).
#pragma once
#include "engine/geometry/layer_index.h"
#include "engine/model/model.h"

#include <string>
#include <vector>

namespace kesto::select {

struct LayerView {
    Job* job = nullptr;
    Step* step = nullptr;
    Layer* layer = nullptr;
    const geom::OutlineContext* context = nullptr;
    const geom::LayerIndex* index = nullptr;
};

// The named layer with its index (built on first use) and context; false,
// with an ERROR record naming what is missing, when a name is unknown.
bool view(const std::string& job, const std::string& step, const std::string& layer, LayerView& out);

const geom::OutlineContext& context_for(const Job& job);

// Edits tell the index what they did; a layer that has no index yet needs
// no telling. An edit that cannot say precisely calls forget.
void moved(const Job& job, const Layer& layer, const std::vector<size_t>& positions);
// The same when they only moved by (dx, dy): their boxes are shifted, not made anew.
void shifted(const Layer& layer, const std::vector<size_t>& positions, Coord dx, Coord dy);
void appended(const Job& job, const Layer& layer, size_t first);
void erased(const Layer& layer, const std::vector<bool>& removed);
void reordered(const Layer& layer, const std::vector<size_t>& order);
void forget(const Layer& layer);
// Drops everything kept for a job (its layers, its context), e.g. on close.
void forget_job(const Job& job);

} // namespace kesto::select
