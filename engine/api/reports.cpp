#include "engine/api/reports.h"

#include "engine/api/board_layers.h"
#include "engine/api/copper.h"
#include "engine/api/symbol_names.h"
#include "engine/api/units.h"
#include "engine/drc/nets.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/hit.h"
#include "engine/model/text.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>
#include <limits>

namespace KESTO {
namespace API {

using namespace kesto;

namespace {

const char* kind_name(FeatureKind k)
{
    switch (k) {
    case FeatureKind::Line: return "line";
    case FeatureKind::Pad: return "pad";
    case FeatureKind::Arc: return "arc";
    case FeatureKind::Surface: return "surface";
    case FeatureKind::Text: return "text";
    case FeatureKind::Barcode: return "barcode";
    }
    return "unknown";
}

extent to_extent(const Box& b)
{
    extent e;
    if (b.empty()) return e;
    e.empty = false;
    e.xmin = to_working_unit(b.xmin);
    e.ymin = to_working_unit(b.ymin);
    e.xmax = to_working_unit(b.xmax);
    e.ymax = to_working_unit(b.ymax);
    return e;
}

const Symbol* symbol_of(const Layer& layer, const Feature& f)
{
    return f.symbol >= 0 && size_t(f.symbol) < layer.symbols.size() ? &layer.symbols[size_t(f.symbol)] : nullptr;
}

// A layer with its spatial index, as selection sees it.
bool indexed(const std::string& job, const std::string& step, const std::string& layer, select::LayerView& v)
{
    board::StepRef at;
    if (!board::find(job, step, "layer view", at)) return false;
    const MatrixRow* row = board::row(at, layer);
    return select::view(job, at.step->name, row ? row->name : layer, v);
}

std::vector<geom::IntPoint> hull_of(std::vector<geom::IntPoint> pts)
{
    // Andrew's monotone chain, counter-clockwise, no collinear points.
    std::sort(pts.begin(), pts.end(), [](const auto& a, const auto& b) { return a.X < b.X || (a.X == b.X && a.Y < b.Y); });
    pts.erase(std::unique(pts.begin(), pts.end(), [](const auto& a, const auto& b) { return a.X == b.X && a.Y == b.Y; }),
              pts.end());
    if (pts.size() < 3) return pts;
    auto cross = [](const geom::IntPoint& o, const geom::IntPoint& a, const geom::IntPoint& b) {
        return double(a.X - o.X) * double(b.Y - o.Y) - double(a.Y - o.Y) * double(b.X - o.X);
    };
    std::vector<geom::IntPoint> h(2 * pts.size());
    size_t k = 0;
    for (size_t i = 0; i < pts.size(); ++i) {
        while (k >= 2 && cross(h[k - 2], h[k - 1], pts[i]) <= 0) --k;
        h[k++] = pts[i];
    }
    for (size_t i = pts.size() - 1, t = k + 1; i > 0; --i) {
        while (k >= t && cross(h[k - 2], h[k - 1], pts[i - 1]) <= 0) --k;
        h[k++] = pts[i - 1];
    }
    h.resize(k - 1);
    return h;
}

// The exact extent of a feature: the index's boxes are a little generous.
Box outline_box(const Layer& layer, const Feature& f, const geom::OutlineContext& context)
{
    return geom::box_of(geom::feature_outline(layer, f, context));
}

// Distance from a point to the nearest edge of an outline.
double edge_distance(const geom::Paths& outline, double x, double y)
{
    double best = std::numeric_limits<double>::infinity();
    for (const geom::Edge& e : geom::edges_of(outline))
        best = std::min(best, geom::segment_point(e.x1, e.y1, e.x2, e.y2, x, y).distance);
    return best;
}

} // namespace

bool features_report(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                     bool selected_only, std::vector<features_report_entry>& out)
{
    const char* op = "features_report";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    out.clear();
    for (const std::string& name : layers) {
        const Layer* layer = board::layer(at, name, op);
        if (!layer) return false;
        features_report_entry e;
        e.layer = board::row(at, name)->name;
        Box box;
        for (const Feature& f : layer->features) {
            if (selected_only && !f.selected) continue;
            ++e.total;
            (f.polarity == Polarity::Positive ? e.positive : e.negative)++;
            ++e.kinds[kind_name(f.kind)];
            if (f.kind != FeatureKind::Surface && f.kind != FeatureKind::Text && f.kind != FeatureKind::Barcode)
                if (const Symbol* s = symbol_of(*layer, f)) ++e.symbols[working_symbol_name(*s)];
            box.add(outline_box(*layer, f, *at.context));
        }
        e.box = to_extent(box);
        out.push_back(std::move(e));
    }
    return true;
}

bool features_box(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                  bool selected_only, extent& out)
{
    const char* op = "features_box";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    Box box;
    for (const std::string& name : layers) {
        const Layer* layer = board::layer(at, name, op);
        if (!layer) return false;
        for (const Feature& f : layer->features)
            if (!selected_only || f.selected) box.add(outline_box(*layer, f, *at.context));
    }
    out = to_extent(box);
    return true;
}

bool features_centres(const std::string& job, const std::string& step, const std::string& layer_name,
                      std::vector<feature_centre>& out)
{
    const char* op = "features_centres";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    out.clear();
    for (size_t i = 0; i < layer->features.size(); ++i) {
        const Feature& f = layer->features[i];
        if (!f.selected) continue;
        double x = 0, y = 0;
        switch (f.kind) {
        case FeatureKind::Pad:
        case FeatureKind::Text:
        case FeatureKind::Barcode:
            x = double(f.a.x);
            y = double(f.a.y);
            break;
        case FeatureKind::Line:
            x = (double(f.a.x) + double(f.b.x)) / 2;
            y = (double(f.a.y) + double(f.b.y)) / 2;
            break;
        case FeatureKind::Arc: {
            const geom::Path pts = geom::arc_points(f.a, f.b, f.c, f.cw);
            // The middle of the sweep: the point halfway along the chords.
            double total = 0;
            for (size_t k = 1; k < pts.size(); ++k)
                total += std::hypot(double(pts[k].X - pts[k - 1].X), double(pts[k].Y - pts[k - 1].Y));
            double run = 0;
            x = double(pts.front().X);
            y = double(pts.front().Y);
            for (size_t k = 1; k < pts.size(); ++k) {
                const double len = std::hypot(double(pts[k].X - pts[k - 1].X), double(pts[k].Y - pts[k - 1].Y));
                if (run + len >= total / 2 && len > 0) {
                    const double t = (total / 2 - run) / len;
                    x = double(pts[k - 1].X) + t * double(pts[k].X - pts[k - 1].X);
                    y = double(pts[k - 1].Y) + t * double(pts[k].Y - pts[k - 1].Y);
                    // Back onto the true circle.
                    const double r = std::hypot(double(f.a.x - f.c.x), double(f.a.y - f.c.y));
                    const double d = std::hypot(x - double(f.c.x), y - double(f.c.y));
                    if (d > 0) {
                        x = double(f.c.x) + (x - double(f.c.x)) * r / d;
                        y = double(f.c.y) + (y - double(f.c.y)) * r / d;
                    }
                    break;
                }
                run += len;
            }
            break;
        }
        case FeatureKind::Surface: {
            const Box b = outline_box(*layer, f, *at.context);
            x = (double(b.xmin) + double(b.xmax)) / 2;
            y = (double(b.ymin) + double(b.ymax)) / 2;
            break;
        }
        }
        out.push_back({int(i), to_working_unit(std::llround(x)), to_working_unit(std::llround(y))});
    }
    return true;
}

bool feature_rotated_box(const std::string& job, const std::string& step, const std::string& layer_name,
                         rotated_box& out)
{
    const char* op = "feature_rotated_box";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    std::vector<geom::IntPoint> pts;
    for (const Feature& f : layer->features)
        if (f.selected)
            for (const geom::Path& p : geom::feature_outline(*layer, f, *at.context)) pts.insert(pts.end(), p.begin(), p.end());
    const std::vector<geom::IntPoint> hull = hull_of(std::move(pts));
    if (hull.empty()) {
        LOG(ERROR) << op << ": no feature of layer \"" << layer_name << "\" is selected";
        return false;
    }
    // The smallest rectangle has a side along an edge of the hull.
    double best = std::numeric_limits<double>::infinity();
    for (size_t i = 0; i < hull.size(); ++i) {
        const auto& p = hull[i];
        const auto& q = hull[(i + 1) % hull.size()];
        double ux = double(q.X - p.X), uy = double(q.Y - p.Y);
        const double len = std::hypot(ux, uy);
        if (len == 0) {
            if (hull.size() > 1) continue;
            ux = 1;
            uy = 0;
        } else {
            ux /= len;
            uy /= len;
        }
        double umin = std::numeric_limits<double>::infinity(), umax = -umin, vmin = umin, vmax = -umin;
        for (const auto& h : hull) {
            const double u = double(h.X) * ux + double(h.Y) * uy, v = -double(h.X) * uy + double(h.Y) * ux;
            umin = std::min(umin, u);
            umax = std::max(umax, u);
            vmin = std::min(vmin, v);
            vmax = std::max(vmax, v);
        }
        const double a = (umax - umin) * (vmax - vmin);
        if (a >= best) continue;
        best = a;
        double angle = std::atan2(uy, ux) * 180 / geom::kPi;
        while (angle < 0) angle += 180;
        while (angle >= 180) angle -= 180;
        out.angle = angle;
        out.width = to_working_unit(std::llround(umax - umin));
        out.height = to_working_unit(std::llround(vmax - vmin));
        const double uc = (umin + umax) / 2, vc = (vmin + vmax) / 2;
        out.cx = to_working_unit(std::llround(uc * ux - vc * uy));
        out.cy = to_working_unit(std::llround(uc * uy + vc * ux));
        const double us[4] = {umin, umax, umax, umin}, vs[4] = {vmin, vmin, vmax, vmax};
        for (int k = 0; k < 4; ++k) {
            out.corners[k][0] = to_working_unit(std::llround(us[k] * ux - vs[k] * uy));
            out.corners[k][1] = to_working_unit(std::llround(us[k] * uy + vs[k] * ux));
        }
    }
    // The width is the longer side; the angle is its direction.
    if (out.height > out.width) {
        std::swap(out.width, out.height);
        out.angle = out.angle + 90 >= 180 ? out.angle - 90 : out.angle + 90;
    }
    return true;
}

bool polygon_interacts(const std::string& job, const std::string& step, const std::string& layer,
                       const std::vector<std::pair<double, double>>& polygon, std::vector<int>& hits)
{
    select::LayerView v;
    if (!indexed(job, step, layer, v)) return false;
    if (polygon.size() < 3) {
        LOG(ERROR) << "polygon_interacts: a polygon needs at least three corners";
        return false;
    }
    geom::Path path;
    for (const auto& [x, y] : polygon) path.push_back({from_working_unit(x), from_working_unit(y)});
    hits.clear();
    for (size_t i : geom::features_in_polygon(*v.layer, *v.index, path, geom::PolygonTest::Touching, *v.context))
        hits.push_back(int(i));
    std::sort(hits.begin(), hits.end());
    return true;
}

bool selected_min_spacing(const std::string& job, const std::string& step, const std::string& layer_name,
                          spacing& out)
{
    const char* op = "selected_min_spacing";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    struct Item {
        size_t index;
        Box box;
    };
    std::vector<Item> items;
    for (size_t i = 0; i < layer->features.size(); ++i)
        if (layer->features[i].selected) items.push_back({i, geom::feature_box(*layer, layer->features[i], *at.context)});
    out = spacing{};
    if (items.size() < 2) {
        LOG(ERROR) << op << ": fewer than two features of layer \"" << layer_name << "\" are selected";
        return false;
    }
    // Sweep along x: a pair whose boxes are farther apart than the best so far cannot beat it.
    std::sort(items.begin(), items.end(), [](const Item& a, const Item& b) { return a.box.xmin < b.box.xmin; });
    double best = std::numeric_limits<double>::infinity();
    geom::Closest where;
    for (size_t i = 0; i < items.size(); ++i)
        for (size_t j = i + 1; j < items.size() && double(items[j].box.xmin - items[i].box.xmax) < best; ++j) {
            const double dy = double(std::max(items[j].box.ymin - items[i].box.ymax, items[i].box.ymin - items[j].box.ymax));
            if (dy >= best) continue;
            const geom::Closest c = geom::feature_distance(*layer, layer->features[items[i].index], *layer,
                                                           layer->features[items[j].index], *at.context);
            if (c.distance < best) {
                best = c.distance;
                where = c;
                out.a = int(items[i].index);
                out.b = int(items[j].index);
            }
        }
    if (out.a > out.b) {
        std::swap(out.a, out.b);
        std::swap(where.ax, where.bx);
        std::swap(where.ay, where.by);
    }
    out.found = true;
    out.distance = to_working_unit(std::llround(best));
    out.ax = to_working_unit(std::llround(where.ax));
    out.ay = to_working_unit(std::llround(where.ay));
    out.bx = to_working_unit(std::llround(where.bx));
    out.by = to_working_unit(std::llround(where.by));
    return true;
}

bool get_annular_ring(const std::string& job, const std::string& step, const std::string& layer_name,
                      const std::string& drill_name, annular_rings& out)
{
    const char* op = "get_annular_ring";
    select::LayerView copper;
    if (!indexed(job, step, layer_name, copper)) return false;
    board::StepRef at;
    board::find(job, step, op, at);
    std::string drill = drill_name;
    if (drill.empty()) {
        const auto through = board::drills_through(*at.job, board::row(at, layer_name)->name);
        if (through.empty()) {
            LOG(ERROR) << op << ": no drill layer goes through layer \"" << layer_name << "\"";
            return false;
        }
        drill = through.front();
    }
    const Layer* holes = board::layer(at, drill, op);
    if (!holes) return false;
    out = annular_rings{};
    out.drill_layer = board::row(at, drill)->name;
    double min_ring = std::numeric_limits<double>::infinity();
    for (size_t i = 0; i < holes->features.size(); ++i) {
        const Feature& h = holes->features[i];
        const Symbol* hs = symbol_of(*holes, h);
        if (h.kind != FeatureKind::Pad || !hs) continue;
        hole_ring ring;
        ring.index = int(i);
        ring.x = to_working_unit(h.a.x);
        ring.y = to_working_unit(h.a.y);
        const double radius = hs->p[0] / 2;
        ring.drill = to_working_unit(std::llround(hs->p[0]));
        // The topmost positive pad under the hole's centre.
        const auto under = geom::features_at(*copper.layer, *copper.index, h.a, 0, *copper.context);
        for (auto it = under.rbegin(); it != under.rend(); ++it) {
            const Feature& pad = copper.layer->features[*it];
            if (pad.kind != FeatureKind::Pad || pad.polarity != Polarity::Positive) continue;
            const Symbol* ps = symbol_of(*copper.layer, pad);
            double to_edge;
            if (ps && ps->family == SymbolFamily::Round) // exact, not through chords
                to_edge = ps->p[0] / 2 - std::hypot(double(h.a.x - pad.a.x), double(h.a.y - pad.a.y));
            else
                to_edge = edge_distance(geom::feature_outline(*copper.layer, pad, *copper.context), double(h.a.x),
                                        double(h.a.y));
            ring.has_pad = true;
            ring.ring = to_working_unit(std::llround(to_edge - radius));
            break;
        }
        if (ring.has_pad)
            min_ring = std::min(min_ring, ring.ring);
        else
            ++out.without_pad;
        out.holes.push_back(ring);
    }
    out.min_ring = std::isfinite(min_ring) ? min_ring : 0;
    return true;
}

bool get_min_tolerance(const std::string& job, const std::string& step, const std::string& layer_name,
                       layer_tolerance& out)
{
    const char* op = "get_min_tolerance";
    select::LayerView v;
    if (!indexed(job, step, layer_name, v)) return false;
    board::StepRef at;
    board::find(job, step, op, at);
    const MatrixRow* row = board::row(at, layer_name);
    if (!row || !board::is_copper(*row)) {
        LOG(ERROR) << op << ": layer \"" << layer_name << "\" is not a copper layer of the board";
        return false;
    }
    out = layer_tolerance{};
    const Layer& layer = *v.layer;
    double min_line = std::numeric_limits<double>::infinity(), min_pad = min_line;
    for (const Feature& f : layer.features) {
        const Symbol* s = symbol_of(layer, f);
        if (!s || f.polarity != Polarity::Positive) continue;
        if ((f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) && s->p[0] > 0 &&
            (s->family == SymbolFamily::Round || s->family == SymbolFamily::Square))
            min_line = std::min(min_line, s->p[0]);
        if (f.kind == FeatureKind::Pad) {
            const Box b = geom::box_of(geom::symbol_outline(*s, *v.context));
            if (!b.empty() && b.xmax > b.xmin) min_pad = std::min(min_pad, double(std::min(b.xmax - b.xmin, b.ymax - b.ymin)));
        }
    }
    out.min_line = std::isfinite(min_line) ? to_working_unit(std::llround(min_line)) : 0;
    out.min_pad = std::isfinite(min_pad) ? to_working_unit(std::llround(min_pad)) : 0;

    const auto nets = drc::board_nets(*v.job, *v.step);
    const auto found = nets->net_of.find(row->name);
    if (found == nets->net_of.end()) return true;
    const std::vector<std::int32_t>& net = found->second;
    double best = kToleranceReachMm * double(kNmPerMm);
    geom::Closest where;
    for (size_t i = 0; i < layer.features.size() && i < net.size(); ++i) {
        if (net[i] < 0) continue;
        Box near = geom::feature_box(layer, layer.features[i], *v.context);
        const Coord reach = Coord(std::ceil(best));
        near.xmin -= reach;
        near.ymin -= reach;
        near.xmax += reach;
        near.ymax += reach;
        for (size_t j : v.index->query(near)) {
            if (j <= i || j >= net.size() || net[j] < 0 || net[j] == net[i]) continue;
            const geom::Closest c = geom::feature_distance(layer, layer.features[i], layer, layer.features[j], *v.context);
            if (c.distance < best) {
                best = c.distance;
                where = c;
                out.has_spacing = true;
                out.a = int(i);
                out.b = int(j);
            }
        }
    }
    if (out.has_spacing) {
        out.min_spacing = to_working_unit(std::llround(best));
        out.ax = to_working_unit(std::llround(where.ax));
        out.ay = to_working_unit(std::llround(where.ay));
        out.bx = to_working_unit(std::llround(where.bx));
        out.by = to_working_unit(std::llround(where.by));
    }
    return true;
}

bool quote_price_info(const std::string& job, const std::string& step, quote_info& out)
{
    const char* op = "quote_price_info";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    out = quote_info{};
    const geom::Paths profile = board::profile_outline(*at.step);
    if (profile.empty()) {
        LOG(ERROR) << op << ": step \"" << at.step->name << "\" has no profile";
        return false;
    }
    const Box box = geom::box_of(profile);
    out.width = to_working_unit(box.xmax - box.xmin);
    out.height = to_working_unit(box.ymax - box.ymin);
    out.area = board::to_working_area(geom::area(profile));
    const auto copper = board::copper_rows(*at.job);
    out.copper_layers = int(copper.size());
    double min_line = std::numeric_limits<double>::infinity(), min_drill = min_line;
    for (const MatrixRow* row : copper) {
        const Layer* layer = board::layer(at, row->name, op);
        if (!layer) return false;
        for (const Feature& f : layer->features) {
            const Symbol* s = symbol_of(*layer, f);
            if ((f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) && s &&
                (s->family == SymbolFamily::Round || s->family == SymbolFamily::Square) && s->p[0] > 0)
                min_line = std::min(min_line, s->p[0]);
        }
    }
    for (const MatrixRow& row : at.job->rows) {
        if (row.context != "BOARD" || row.type != "DRILL") continue;
        const Layer* layer = board::layer(at, row.name, op);
        if (!layer) return false;
        for (const Feature& f : layer->features) {
            const Symbol* s = symbol_of(*layer, f);
            if (!s || s->p[0] <= 0) continue;
            if (f.kind == FeatureKind::Pad) ++out.holes;
            else if (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) ++out.slots;
            else continue;
            min_drill = std::min(min_drill, s->p[0]);
        }
    }
    out.min_line = std::isfinite(min_line) ? to_working_unit(std::llround(min_line)) : 0;
    out.min_drill = std::isfinite(min_drill) ? to_working_unit(std::llround(min_drill)) : 0;
    if (!copper.empty()) {
        copper_figures top, bottom;
        if (!rest_copper(job, step, copper.front()->name, copper_view::plain, top) ||
            !rest_copper(job, step, copper.back()->name, copper_view::plain, bottom))
            return false;
        out.top_copper = top.inside;
        out.bottom_copper = bottom.inside;
        out.top_rate = top.rate;
        out.bottom_rate = bottom.rate;
    }
    return true;
}

} // namespace API
} // namespace KESTO
