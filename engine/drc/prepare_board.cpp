// Readiness rules across a step's layers: an empty step, features to clip
// at the profile, SMD pads without paste, paste printed on mask, strokes on
// mask layers, attributes in the wrong place, drills without a class, plated
// holes without an outer land, and lands off their hole.
#include "engine/drc/drill_analysis.h"
#include "engine/drc/feature_shapes.h"
#include "engine/drc/prepare_rules.h"
#include "engine/edit/drill_prepare.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <memory>

namespace kesto::drc {

using namespace prepare_item;

namespace {

// A hole and its land closer than this are centred.
constexpr Coord kCentred = 1000;

const Layer* layer_in(const Step& step, const std::string& name)
{
    for (const auto& [n, l] : step.layers)
        if (iequals(n, name.c_str())) return &l;
    return nullptr;
}

bool board(const MatrixRow& r) { return iequals(r.context, "BOARD"); }

// Where a feature's box stands against the profile.
enum class Place { Inside, Crossing, Outside };

Place place(const Box2& b, const geom::Paths& profile, const Box& pbox, const std::vector<geom::Edge>& edges)
{
    if (b.xmax < pbox.xmin || b.xmin > pbox.xmax || b.ymax < pbox.ymin || b.ymin > pbox.ymax) return Place::Outside;
    int inside = 0;
    const Point corners[] = {{b.xmin, b.ymin}, {b.xmax, b.ymin}, {b.xmax, b.ymax}, {b.xmin, b.ymax}};
    for (const Point& c : corners) inside += geom::locate(geom::IntPoint{c.x, c.y}, profile) != geom::Where::Outside;
    if (inside != 0 && inside != 4) return Place::Crossing;
    const Box box{b.xmin, b.ymin, b.xmax, b.ymax};
    for (const geom::Edge& e : edges)
        if (geom::segment_meets_box(e, box)) return Place::Crossing;
    if (inside == 4) return Place::Inside;
    // No corner in and no edge across: outside, unless the box holds the whole profile.
    return b.contains({pbox.xmin, pbox.ymin}) ? Place::Crossing : Place::Outside;
}

Coord stroke_width(const Layer& layer, const Feature& f)
{
    const Symbol* s = symbol_of(layer, f);
    return s ? Coord(std::llround(s->p[0])) : 0;
}

} // namespace

void run_board_rules(const Job& job, const Step& step, const RoleNames& roles, const std::function<bool(int)>& wanted,
                     const std::function<Findings&(const std::string&)>& out)
{
    if (wanted(NetStep)) {
        bool any = false;
        for (const MatrixRow& row : job.rows) {
            const Layer* l = board(row) ? layer_in(step, row.name) : nullptr;
            any = any || (l && !l->features.empty());
        }
        if (!any) out("").add(NetStep, 0, point_marker(step.datum), {});
    }

    // Clipping: every feature of the board's copper, mask, silk, paste and
    // drill layers against the profile, by its box.
    if ((wanted(ClipOutline) || wanted(ClipOutside)) && step.has_profile && !step.profile.contours.empty()) {
        const geom::Paths profile = geom::surface_outline(step.profile);
        const Box pbox = geom::box_of(profile);
        const std::vector<geom::Edge> edges = geom::edges_of(profile);
        const MatrixRow* outline = role_row(job, roles, OutlineLayer);
        for (const MatrixRow& row : job.rows) {
            if (!board(row) || &row == outline) continue;
            if (!is_copper_type(row.type) && !iequals(row.type, "SOLDER_MASK") && !iequals(row.type, "SILK_SCREEN") &&
                !iequals(row.type, "SOLDER_PASTE") && !iequals(row.type, "DRILL"))
                continue;
            const Layer* l = layer_in(step, row.name);
            if (!l) continue;
            for (std::uint32_t i = 0; i < l->features.size(); ++i) {
                const Box2 b = feature_box(*l, l->features[i]);
                if (b.xmax < b.xmin) continue;
                const Place p = place(b, profile, pbox, edges);
                const int item = p == Place::Crossing ? ClipOutline : p == Place::Outside ? ClipOutside : -1;
                if (item >= 0 && wanted(item))
                    out(row.name).add(item, 0, rect_marker(Box{b.xmin, b.ymin, b.xmax, b.ymax}), {{l, &row.name, i}});
            }
        }
    }

    // The outer copper, mask and paste of each side.
    struct Side { const MatrixRow *copper, *mask, *paste; };
    std::vector<Side> sides;
    const MatrixRow* top = role_row(job, roles, SignalTop);
    const MatrixRow* bot = role_row(job, roles, SignalBottom);
    if (top) sides.push_back({top, role_row(job, roles, MaskTop), role_row(job, roles, PasteTop)});
    if (bot && bot != top) sides.push_back({bot, role_row(job, roles, MaskBottom), role_row(job, roles, PasteBottom)});

    for (const Side& side : sides) {
        const Layer* copper = layer_in(step, side.copper->name);
        const Layer* paste = side.paste ? layer_in(step, side.paste->name) : nullptr;
        const Layer* mask = side.mask ? layer_in(step, side.mask->name) : nullptr;
        if (wanted(SmdPaste) && copper && paste) {
            const CopperAtPoints printed(*paste);
            for (std::uint32_t i = 0; i < copper->features.size(); ++i) {
                const Feature& f = copper->features[i];
                if (f.kind == FeatureKind::Pad && f.polarity == Polarity::Positive && attribute(*copper, f, ".smd") &&
                    !printed.copper_at(f.a))
                    out(side.copper->name).add(SmdPaste, 0, point_marker(f.a), {{copper, &side.copper->name, i}});
            }
        }
        if (wanted(PasteOnMask) && paste && mask) {
            const CopperAtPoints opened(*mask);
            for (std::uint32_t i = 0; i < paste->features.size(); ++i) {
                const Feature& f = paste->features[i];
                if (f.kind == FeatureKind::Pad && f.polarity == Polarity::Positive && !opened.copper_at(f.a))
                    out(side.paste->name).add(PasteOnMask, 0, point_marker(f.a), {{paste, &side.paste->name, i}});
            }
        }
    }

    for (const MatrixRow& row : job.rows) {
        if (!board(row)) continue;
        const Layer* l = layer_in(step, row.name);
        if (!l) continue;
        const bool copper = is_copper_type(row.type);
        const bool inner = copper && &row != top && &row != bot;
        for (std::uint32_t i = 0; i < l->features.size(); ++i) {
            const Feature& f = l->features[i];
            const FeatureRef ref{l, &row.name, i};
            // An SMD mark on an inner layer, or on anything but a pad.
            if (copper && wanted(SignalAttribute) && attribute(*l, f, ".smd") && (inner || f.kind != FeatureKind::Pad))
                out(row.name).add(SignalAttribute, 0, point_marker(f.a), {ref});
            // A drill whose class nothing gives is taken as plated.
            if (iequals(row.type, "DRILL") && wanted(DrillAttribute) && f.polarity == Polarity::Positive &&
                !attribute(*l, f, ".drill")) {
                const Symbol* s = symbol_of(*l, f);
                if (!s || s->family != SymbolFamily::Hole) {
                    const Coord d = f.kind == FeatureKind::Pad ? round_diameter(s) : stroke_width(*l, f);
                    out(row.name).add(DrillAttribute, d, circle_marker(f.a, d), {ref});
                }
            }
            // Mask openings drawn as strokes or text.
            if (iequals(row.type, "SOLDER_MASK") && wanted(MaskFeature) && f.kind != FeatureKind::Pad &&
                f.kind != FeatureKind::Surface) {
                const bool stroke = f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc;
                const Coord w = stroke ? stroke_width(*l, f) : 0;
                out(row.name).add(MaskFeature, w, stroke ? line_marker(f.a, f.b, w) : point_marker(f.a), {ref});
            }
        }
    }

    if (wanted(OuterDrillPad)) {
        const edit::DrillPreparePlan plan = edit::plan_drill_prepare(job, step, {});
        for (const edit::BareHole& h : plan.bare) out(h.layer).add(OuterDrillPad, h.diameter, circle_marker(h.at, h.diameter), {});
    }

    // Lands off their plated hole on the outer layers: the nearest-centred
    // pad holding the hole's centre (SMD pads with a via in them are meant so).
    if (wanted(DrillPadPosition)) {
        for (const MatrixRow& drill_row : job.rows) {
            if (!board(drill_row) || !iequals(drill_row.type, "DRILL")) continue;
            const Layer* drill = layer_in(step, drill_row.name);
            if (!drill) continue;
            const auto span = edit::drill_span(job, drill_row);
            for (const Side& side : sides) {
                const int at = int(side.copper - job.rows.data());
                const Layer* copper = layer_in(step, side.copper->name);
                if (!copper || at < span.first || at > span.second) continue;
                // Pads by x, with the widest half extent to search by.
                std::vector<std::pair<Coord, std::uint32_t>> pads;
                Coord reach = 0;
                for (std::uint32_t i = 0; i < copper->features.size(); ++i) {
                    const Feature& f = copper->features[i];
                    const Symbol* s = symbol_of(*copper, f);
                    if (f.kind != FeatureKind::Pad || f.polarity != Polarity::Positive || !s || attribute(*copper, f, ".smd"))
                        continue;
                    const auto e = symbol_extent(*s, f.angle);
                    reach = std::max(reach, std::max(e[0], e[1]) / 2);
                    pads.push_back({f.a.x, i});
                }
                std::sort(pads.begin(), pads.end());
                for (const Feature& hole : drill->features) {
                    const Symbol* hs = symbol_of(*drill, hole);
                    if (hole.kind != FeatureKind::Pad || hole.polarity != Polarity::Positive ||
                        hole_class(*drill, hole, hs) != HoleClass::Pth)
                        continue;
                    double best = -1;
                    std::uint32_t best_i = 0;
                    for (auto it = std::lower_bound(pads.begin(), pads.end(), std::make_pair(hole.a.x - reach, std::uint32_t(0)));
                         it != pads.end() && it->first <= hole.a.x + reach; ++it) {
                        const Feature& f = copper->features[it->second];
                        if (std::llabs(f.a.y - hole.a.y) > reach || !covers(*copper, f, hole.a)) continue;
                        const double d = std::hypot(double(f.a.x - hole.a.x), double(f.a.y - hole.a.y));
                        if (best < 0 || d < best) best = d, best_i = it->second;
                    }
                    if (best > double(kCentred)) {
                        const Coord off = Coord(std::llround(best));
                        out(side.copper->name)
                            .add(DrillPadPosition, off, segment_marker(hole.a, copper->features[best_i].a, off),
                                 {{copper, &side.copper->name, best_i}});
                    }
                }
            }
        }
    }
}

} // namespace kesto::drc
