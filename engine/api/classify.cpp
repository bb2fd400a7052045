#include "engine/api/classify.h"

#include "engine/api/board_layers.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/geometry/hit.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

namespace KESTO {
namespace API {

using namespace kesto;

bool auto_classify_attribute(const std::string& job, const std::string& step, const std::string& layer_name,
                             double via_max, classified& out)
{
    const char* op = "auto_classify_attribute";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const MatrixRow* row = board::row(at, layer_name);
    if (!row || !board::is_copper(*row)) {
        LOG(ERROR) << op << ": layer \"" << layer_name << "\" is not a copper layer of the board";
        return false;
    }
    select::LayerView v;
    if (!select::view(at.job->name, at.step->name, row->name, v)) return false;
    Layer& layer = *v.layer;
    const auto copper = board::copper_rows(*at.job);
    const bool outer = row == copper.front() || row == copper.back();

    // The largest hole centred in each pad.
    std::vector<double> hole(layer.features.size(), 0);
    for (const std::string& name : board::drills_through(*at.job, row->name)) {
        const Layer* drill = board::layer(at, name, op);
        if (!drill) continue;
        for (const Feature& h : drill->features) {
            if (h.kind != FeatureKind::Pad || h.symbol < 0 || size_t(h.symbol) >= drill->symbols.size()) continue;
            const double d = drill->symbols[size_t(h.symbol)].p[0];
            for (size_t i : geom::features_at(layer, *v.index, h.a, 0, *v.context))
                if (layer.features[i].kind == FeatureKind::Pad) hole[i] = std::max(hole[i], d);
        }
    }
    bool any_selected = false;
    for (const Feature& f : layer.features) any_selected |= f.selected;

    store::remember(*at.job, at.step->name, {row->name});
    out = classified{};
    const double via_limit = double(from_working_unit(via_max));
    for (size_t i = 0; i < layer.features.size(); ++i) {
        Feature& f = layer.features[i];
        if (f.kind != FeatureKind::Pad || f.polarity != Polarity::Positive || (any_selected && !f.selected)) continue;
        std::string usage;
        bool smd = false;
        if (hole[i] > 0) {
            usage = hole[i] <= via_limit ? "via" : "toeprint";
        } else if (outer) {
            smd = true;
            const Symbol* s = f.symbol >= 0 && size_t(f.symbol) < layer.symbols.size() ? &layer.symbols[size_t(f.symbol)] : nullptr;
            if (s && s->family == SymbolFamily::Round && s->p[0] >= 0.5 * kNmPerMm && s->p[0] <= 3.0 * kNmPerMm) {
                // Alone within its own diameter of its edge: a fiducial.
                const Coord reach = Coord(s->p[0] * 1.5);
                const Box near{f.a.x - reach, f.a.y - reach, f.a.x + reach, f.a.y + reach};
                bool alone = true;
                for (size_t j : v.index->query(near)) {
                    if (j == i || layer.features[j].polarity != Polarity::Positive) continue;
                    if (geom::feature_distance(layer, f, layer, layer.features[j], *v.context).distance < s->p[0]) {
                        alone = false;
                        break;
                    }
                }
                if (alone) {
                    usage = "g_fiducial";
                    smd = false;
                }
            }
        }
        if (usage.empty() && !smd) continue;
        auto attributes = edit::attributes_of(layer, f);
        attributes.erase(".smd");
        attributes.erase(".pad_usage");
        if (smd) attributes[".smd"] = "";
        if (!usage.empty()) attributes[".pad_usage"] = usage;
        edit::set_attributes(layer, f, attributes);
        out.smd += smd;
        out.via += usage == "via";
        out.toeprint += usage == "toeprint";
        out.fiducial += usage == "g_fiducial";
    }
    at.job->changed = true;
    return true;
}

} // namespace API
} // namespace KESTO
