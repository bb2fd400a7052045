// Readiness rules: what a job must hold before CAM work starts. Layers by
// role are looked for by name (the host's) or by type and side in the
// matrix (top rows lie above the first copper row, bottom rows below the
// last); a step needs a profile and its zero point at the profile's lower
// left corner; signal, drill and mask layers must hold no negative
// features; every feature's symbol must have a size. The rules across a
// step's layers are in prepare_board.cpp.
#include "engine/drc/prepare_rules.h"

#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <cmath>

namespace kesto::drc {

using namespace prepare_item;

const std::vector<int>& prepare_items_measured()
{
    static const std::vector<int> items{StepPresent, PasteTop,  SilkTop,    MaskTop,    SignalTop,  SignalInner,
                                        SignalBottom, MaskBottom, SilkBottom, PasteBottom, DrillLayer, RoutLayer,
                                        ZeroPoint,    OutlineLayer, Profile,  SignalNegative, DrillNegative,
                                        MaskNegative, SymbolSize, NetStep, ClipOutline, ClipOutside, SmdPaste,
                                        SignalAttribute, DrillAttribute, MaskFeature, PasteOnMask, OuterDrillPad,
                                        DrillPadPosition};
    return items;
}

namespace {

enum class Side { Top, Bottom, Any };

struct Role {
    int item;
    const char* type;  // matrix type; "COPPER" for any copper type, "" for any
    Side side;
};

const Role kRoles[] = {
    {PasteTop, "SOLDER_PASTE", Side::Top},      {SilkTop, "SILK_SCREEN", Side::Top},
    {MaskTop, "SOLDER_MASK", Side::Top},        {SignalTop, "COPPER", Side::Top},
    {SignalInner, "COPPER", Side::Any},         {SignalBottom, "COPPER", Side::Bottom},
    {MaskBottom, "SOLDER_MASK", Side::Bottom},  {SilkBottom, "SILK_SCREEN", Side::Bottom},
    {PasteBottom, "SOLDER_PASTE", Side::Bottom}, {DrillLayer, "DRILL", Side::Any},
    {RoutLayer, "ROUT", Side::Any},             {OutlineLayer, "", Side::Any},
};

bool board_row(const MatrixRow& r) { return iequals(r.context, "BOARD"); }

bool fits(const MatrixRow& r, const char* type)
{
    if (!*type) return true;
    if (std::string(type) == "COPPER") return is_copper_type(r.type);
    return iequals(r.type, type);
}

const MatrixRow* row_named(const Job& job, const std::string& name)
{
    for (const MatrixRow& r : job.rows)
        if (iequals(r.name, name.c_str())) return &r;
    return nullptr;
}

bool has_features(const Job& job, const std::string& layer)
{
    for (const auto& [name, step] : job.steps)
        for (const auto& [lname, l] : step.layers)
            if (iequals(lname, layer.c_str()) && !l.features.empty()) return true;
    return false;
}

// Where the copper rows start and end in the matrix (-1 when there is none).
std::pair<int, int> copper_span(const Job& job)
{
    int first = -1, last = -1;
    for (std::size_t i = 0; i < job.rows.size(); ++i)
        if (board_row(job.rows[i]) && is_copper_type(job.rows[i].type)) {
            if (first < 0) first = int(i);
            last = int(i);
        }
    return {first, last};
}

// The board row of a type on a side, found by the matrix alone.
const MatrixRow* row_by_type(const Job& job, const Role& role)
{
    const auto span = copper_span(job);
    const int first = span.first, last = span.second;
    const int n = int(job.rows.size());
    auto on_side = [&](int i) {
        if (role.side == Side::Any) return true;
        if (std::string(role.type) == "COPPER") return role.side == Side::Top ? i == first : i == last;
        if (first < 0) return true;  // no copper to tell the sides by
        return role.side == Side::Top ? i < first : i > last;
    };
    for (int i = 0; i < n; ++i) {
        const MatrixRow& r = job.rows[std::size_t(i)];
        if (board_row(r) && fits(r, role.type) && on_side(i)) return &r;
    }
    return nullptr;
}

Coord rounded(double v) { return Coord(std::llround(v)); }

} // namespace

const MatrixRow* role_row(const Job& job, const RoleNames& roles, int item)
{
    auto named = roles.find(item);
    if (named != roles.end() && !named->second.empty()) return row_named(job, named->second);
    if (item == SignalInner || item == OutlineLayer) return nullptr;
    for (const Role& role : kRoles)
        if (role.item == item) return row_by_type(job, role);
    return nullptr;
}

PrepareRun run_prepare_rules(Job& job, const RoleNames& roles, const std::vector<int>& items, const LevelLimits& levels,
                             const std::function<void()>& step_done)
{
    auto wanted = [&](int item) { return std::find(items.begin(), items.end(), item) != items.end(); };
    std::map<std::string, Findings> collectors;
    auto out = [&](const std::string& layer) -> Findings& {
        auto it = collectors.find(layer);
        if (it == collectors.end()) it = collectors.emplace(layer, Findings(layer, levels)).first;
        return it->second;
    };
    const Marker origin = point_marker({0, 0});

    if (wanted(StepPresent) && job.steps.empty()) out("").add(StepPresent, 0, origin, {});

    for (const Role& role : kRoles) {
        if (!wanted(role.item)) continue;
        auto named = roles.find(role.item);
        const std::string name = named == roles.end() ? "" : named->second;
        if (name.empty()) {
            // Inner layers and an outline layer are not needed by every job.
            if (role.item == SignalInner || role.item == OutlineLayer) continue;
            if (!row_by_type(job, role)) out("").add(role.item, 0, origin, {});
            continue;
        }
        const MatrixRow* row = row_named(job, name);
        if (!row || !fits(*row, role.type) || (role.item == OutlineLayer && !has_features(job, name)))
            out(name).add(role.item, 0, origin, {});
    }

    for (auto& [step_name, step] : job.steps) {
        if (wanted(Profile) && (!step.has_profile || step.profile.contours.empty()))
            out("").add(Profile, 0, point_marker(step.datum), {});
        if (wanted(ZeroPoint) && step.has_profile && !step.profile.contours.empty()) {
            const Box b = geom::box_of(geom::surface_outline(step.profile));
            const Point corner{b.xmin, b.ymin};
            const Coord off = rounded(std::hypot(double(step.datum.x - corner.x), double(step.datum.y - corner.y)));
            if (off > 0) out("").add(ZeroPoint, off, segment_marker(step.datum, corner, off), {});
        }
        run_board_rules(job, step, roles, wanted, out);
        for (const MatrixRow& row : job.rows) {
            if (!board_row(row)) continue;
            auto l = step.layers.find(row.name);
            if (l == step.layers.end()) continue;
            const Layer& layer = l->second;
            const int negative_item = is_copper_type(row.type)        ? SignalNegative
                                    : iequals(row.type, "DRILL")      ? DrillNegative
                                    : iequals(row.type, "SOLDER_MASK") ? MaskNegative
                                                                      : -1;
            const bool negatives = negative_item >= 0 && wanted(negative_item);
            for (std::uint32_t i = 0; i < layer.features.size(); ++i) {
                const Feature& f = layer.features[i];
                const FeatureRef ref{&layer, &row.name, i};
                if (negatives && f.polarity == Polarity::Negative)
                    out(row.name).add(negative_item, 0, point_marker(f.a), {ref});
                if (wanted(SymbolSize) && f.kind == FeatureKind::Pad) {
                    // A pad needs a size; null symbols carry attributes only,
                    // and user symbols take theirs from their own features.
                    const Symbol* s = f.symbol >= 0 && std::size_t(f.symbol) < layer.symbols.size()
                                          ? &layer.symbols[std::size_t(f.symbol)] : nullptr;
                    if (s && s->family != SymbolFamily::Unknown && s->family != SymbolFamily::Null &&
                        s->family != SymbolFamily::User && !(s->p[0] > 0))
                        out(row.name).add(SymbolSize, 0, point_marker(f.a), {ref});
                }
            }
        }
        if (step_done) step_done();
    }

    PrepareRun run;
    for (auto& [layer, f] : collectors) run.by_layer[layer] = f.take(true);
    return run;
}

} // namespace kesto::drc
