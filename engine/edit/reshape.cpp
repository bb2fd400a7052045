#include "engine/edit/reshape.h"

#include "engine/edit/layer_edit.h"
#include "engine/edit/resize.h"
#include "engine/edit/transform.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/surface_contours.h"
#include "engine/geometry/stroke_font.h"

#include <boost/geometry.hpp>
#include <boost/geometry/index/rtree.hpp>

#include <algorithm>
#include <cmath>
#include <map>

namespace kesto::edit {

size_t replace_picked(Layer& layer, const std::vector<bool>& picked,
                      const std::function<bool(Layer&, const Feature&, size_t)>& make)
{
    const size_t n = layer.features.size();
    std::vector<std::pair<size_t, size_t>> made(n, {0, 0});
    std::vector<bool> replaced(n, false);
    size_t count = 0;
    for (size_t i = 0; i < n && i < picked.size(); ++i) {
        if (!picked[i]) continue;
        const Feature source = layer.features[i];
        const size_t begin = layer.features.size();
        if (!make(layer, source, i)) {
            layer.features.resize(begin);
            continue;
        }
        made[i] = {begin, layer.features.size()};
        replaced[i] = true;
        ++count;
    }
    if (!count) return 0;
    std::vector<Feature> out;
    out.reserve(layer.features.size());
    for (size_t i = 0; i < n; ++i) {
        if (!replaced[i]) {
            out.push_back(layer.features[i]);
            continue;
        }
        for (size_t j = made[i].first; j < made[i].second; ++j) {
            out.push_back(layer.features[j]);
            out.back().selected = layer.features[i].selected;
            out.back().highlighted = false;
        }
    }
    layer.features = std::move(out);
    return count;
}

namespace {

using geom::kPi;

Symbol standard(SymbolFamily family, double a, double b, Units units)
{
    Symbol s;
    s.family = family;
    s.p[0] = a;
    s.p[1] = b;
    s.units = units;
    s.name = odb::standard_symbol_name(s, units);
    return s;
}

const Symbol* symbol_of(const Layer& layer, const Feature& f)
{
    return f.symbol >= 0 && static_cast<size_t>(f.symbol) < layer.symbols.size()
               ? &layer.symbols[static_cast<size_t>(f.symbol)]
               : nullptr;
}

Point rounded(double x, double y) { return Point{geom::to_nm(x), geom::to_nm(y)}; }

// A feature made from `source`: same polarity, attributes and dcode.
Feature like(const Feature& source, FeatureKind kind)
{
    Feature f = source;
    f.kind = kind;
    f.mirror = false;
    f.angle = 0;
    f.cw = false;
    f.resize = 0;
    f.body = 0;
    return f;
}

Feature line(const Feature& source, Point a, Point b, std::int32_t symbol)
{
    Feature f = like(source, FeatureKind::Line);
    f.a = a;
    f.b = b;
    f.symbol = symbol;
    return f;
}

Feature arc(const Feature& source, Point a, Point b, Point c, bool cw, std::int32_t symbol)
{
    Feature f = line(source, a, b, symbol);
    f.kind = FeatureKind::Arc;
    f.c = c;
    f.cw = cw;
    return f;
}

void add_surface(Layer& layer, const Feature& source, Surface body)
{
    Feature f = like(source, FeatureKind::Surface);
    f.symbol = -1;
    layer.surfaces.push_back(std::move(body));
    f.body = static_cast<std::uint32_t>(layer.surfaces.size() - 1);
    layer.features.push_back(f);
}

double sweep_of(Point a, Point b, Point c, bool cw)
{
    if (a == b) return 2 * kPi;
    const double from = std::atan2(double(a.y - c.y), double(a.x - c.x));
    const double to = std::atan2(double(b.y - c.y), double(b.x - c.x));
    double sweep = cw ? from - to : to - from;
    while (sweep <= 0) sweep += 2 * kPi;
    return sweep;
}

Polarity flipped(Polarity p) { return p == Polarity::Positive ? Polarity::Negative : Polarity::Positive; }

bool break_user_pad(Layer& layer, const Feature& pad, const geom::OutlineContext& context)
{
    const Symbol* symbol = symbol_of(layer, pad);
    if (!symbol || symbol->family != SymbolFamily::User || !context.user_symbol) return false;
    const Layer* parts = context.user_symbol(symbol->name);
    if (!parts || parts == &layer) return false;
    Placement p;
    p.mirror = pad.mirror;
    p.angle = pad.angle;
    p.offset = pad.a;
    for (const Feature& part : parts->features) {
        const size_t at = copy_feature(*parts, part, layer);
        Feature& copy = layer.features[at];
        place(layer, copy, p);
        if (pad.polarity == Polarity::Negative) copy.polarity = flipped(copy.polarity);
        if (copy.attributes == 0) copy.attributes = pad.attributes;
        copy.dcode = -1;
    }
    return true;
}

bool break_text(Layer& layer, const Feature& f, const geom::OutlineContext& context)
{
    if (f.kind != FeatureKind::Text || f.body >= layer.texts.size()) return false;
    const Text text = layer.texts[f.body];
    // The text's own font, else the job's standard one, else the built-in one.
    auto named = context.fonts.find(text.font);
    if (named == context.fonts.end() || !named->second) named = context.fonts.find("standard");
    const geom::StrokeFont& font =
        named != context.fonts.end() && named->second ? *named->second : geom::builtin_stroke_font();
    if (font.xsize <= 0 || font.ysize <= 0) return false;
    // The layout of the kernel's text outlines: one cell per character.
    const double sx = double(text.xsize) / font.xsize, sy = double(text.ysize) / font.ysize;
    const double advance = double(text.xsize) + font.offset * sx;
    const geom::Placement where{f.a, f.angle, f.mirror};
    for (size_t i = 0; i < text.text.size(); ++i) {
        auto glyph = font.glyphs.find(static_cast<unsigned char>(text.text[i]));
        if (glyph == font.glyphs.end()) continue;
        const double x0 = double(i) * advance;
        for (const geom::Stroke& s : glyph->second) {
            const auto a = geom::place(where, x0 + (s.xs + font.xsize / 2) * sx, (s.ys + font.ysize / 3) * sy);
            const auto b = geom::place(where, x0 + (s.xe + font.xsize / 2) * sx, (s.ye + font.ysize / 3) * sy);
            const double w = s.width * text.width_factor;
            const Symbol pen = standard(s.round ? SymbolFamily::Round : SymbolFamily::Square, w, 0, layer.units);
            Feature stroke = line(f, Point{a.X, a.Y}, Point{b.X, b.Y}, symbol_index(layer, pen));
            if (!s.positive) stroke.polarity = flipped(stroke.polarity);
            layer.features.push_back(stroke);
        }
    }
    return true;
}

bool break_surface(Layer& layer, const Feature& f)
{
    if (f.kind != FeatureKind::Surface || f.body >= layer.surfaces.size()) return false;
    const Surface body = layer.surfaces[f.body];
    std::vector<Surface> islands;
    for (const Contour& c : body.contours) {
        if (c.island || islands.empty()) islands.emplace_back();
        islands.back().contours.push_back(c);
    }
    if (islands.size() < 2) return false;
    for (Surface& island : islands) add_surface(layer, f, std::move(island));
    return true;
}

} // namespace

size_t break_features(Layer& layer, const std::vector<bool>& picked, const geom::OutlineContext& context)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        switch (f.kind) {
        case FeatureKind::Pad: return break_user_pad(l, f, context);
        case FeatureKind::Text: return break_text(l, f, context);
        case FeatureKind::Surface: return break_surface(l, f);
        default: return false;
        }
    });
}

size_t arcs_to_lines(Layer& layer, const std::vector<bool>& picked, double tolerance)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Arc) return false;
        const double r = std::hypot(double(f.a.x - f.c.x), double(f.a.y - f.c.y));
        if (!(r > 0)) return false;
        const double sweep = sweep_of(f.a, f.b, f.c, f.cw);
        // The largest chord angle whose sagitta stays within the tolerance.
        const double t = std::clamp(tolerance, 1.0, r);
        const double step = 2 * std::acos(1 - t / r);
        const int chords = std::clamp(static_cast<int>(std::ceil(sweep / step - 1e-9)), 1, 4096);
        const double from = std::atan2(double(f.a.y - f.c.y), double(f.a.x - f.c.x));
        const double dir = f.cw ? -1 : 1;
        Point at = f.a;
        for (int i = 1; i <= chords; ++i) {
            const double angle = from + dir * sweep * i / chords;
            const Point next = i == chords ? f.b
                                           : rounded(double(f.c.x) + r * std::cos(angle),
                                                     double(f.c.y) + r * std::sin(angle));
            l.features.push_back(line(f, at, next, f.symbol));
            at = next;
        }
        return true;
    });
}

size_t lines_to_pads(Layer& layer, const std::vector<bool>& picked)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        const Symbol* pen = symbol_of(l, f);
        if (f.kind != FeatureKind::Line || !pen) return false;
        const bool round = pen->family == SymbolFamily::Round;
        if (!round && pen->family != SymbolFamily::Square) return false;
        const double w = pen->p[0];
        const double dx = double(f.b.x - f.a.x), dy = double(f.b.y - f.a.y);
        // A square pen keeps its sides on the axes: a slanted stroke of it is no rectangle.
        if (!round && dx != 0 && dy != 0) return false;
        const double length = std::hypot(dx, dy);
        Feature pad = like(f, FeatureKind::Pad);
        pad.a = rounded((double(f.a.x) + double(f.b.x)) / 2, (double(f.a.y) + double(f.b.y)) / 2);
        if (length == 0) {
            pad.symbol = f.symbol;
        } else {
            double w1 = length + w, h1 = w;
            if (dx == 0) {
                std::swap(w1, h1);
            } else if (dy != 0) {
                pad.angle = normal_angle(-std::atan2(dy, dx) * 180 / kPi); // clockwise degrees
            }
            const Symbol s = standard(round ? SymbolFamily::Oval : SymbolFamily::Rect, w1, h1, l.units);
            pad.symbol = symbol_index(l, s);
        }
        l.features.push_back(pad);
        return true;
    });
}

size_t pads_to_lines(Layer& layer, const std::vector<bool>& picked)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Pad || !symbol_of(l, f)) return false;
        const Symbol* s = symbol_of(l, f);
        using F = SymbolFamily;
        if (s->family == F::Round || s->family == F::Square) {
            l.features.push_back(line(f, f.a, f.a, f.symbol));
            return true;
        }
        if (s->family != F::Oval && s->family != F::Rect) return false;
        const double w = s->p[0], h = s->p[1];
        const double width = std::min(w, h), half = (std::max(w, h) - width) / 2;
        const Symbol pen = standard(s->family == F::Oval ? F::Round : F::Square, width, 0, l.units);
        const geom::Placement where{f.a, f.angle, f.mirror};
        const auto a = w >= h ? geom::place(where, -half, 0) : geom::place(where, 0, -half);
        const auto b = w >= h ? geom::place(where, half, 0) : geom::place(where, 0, half);
        l.features.push_back(line(f, Point{a.X, a.Y}, Point{b.X, b.Y}, symbol_index(l, pen)));
        return true;
    });
}

namespace {

// The contours of `body` as lines and arcs of a round pen of `width`, made from `source`.
void contour_strokes(Layer& layer, const Feature& source, Surface body, double width)
{
    const std::int32_t pen = symbol_index(layer, standard(SymbolFamily::Round, width, 0, layer.units));
    for (const Contour& c : body.contours) {
        Point at = c.start;
        for (const Segment& seg : c.segments) {
            if (seg.end == at && !seg.arc) continue;
            layer.features.push_back(seg.arc ? arc(source, at, seg.end, seg.centre, seg.cw, pen)
                                             : line(source, at, seg.end, pen));
            at = seg.end;
        }
    }
}

void outline_lines(Layer& layer, const Feature& source, const geom::Paths& outline, std::int32_t pen)
{
    for (const geom::Path& path : outline)
        for (size_t i = 0; i < path.size(); ++i) {
            const auto& a = path[i];
            const auto& b = path[(i + 1) % path.size()];
            layer.features.push_back(line(source, Point{a.X, a.Y}, Point{b.X, b.Y}, pen));
        }
}

} // namespace

size_t pads_to_outlines(Layer& layer, const std::vector<bool>& picked, double width,
                        const geom::OutlineContext& context)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        const Symbol* s = symbol_of(l, f);
        if (f.kind != FeatureKind::Pad || !s) return false;
        const Symbol shape = *s; // adding the pen may move the symbol table
        const std::int32_t pen = symbol_index(l, standard(SymbolFamily::Round, width, 0, l.units));
        if (shape.family == SymbolFamily::Round) {
            const Point start{f.a.x + geom::to_nm(shape.p[0] / 2), f.a.y};
            l.features.push_back(arc(f, start, start, f.a, true, pen));
            return true;
        }
        const geom::Paths outline = geom::feature_outline(l, f, context);
        if (outline.empty()) return false;
        outline_lines(l, f, outline, pen);
        return true;
    });
}

size_t surfaces_to_outlines(Layer& layer, const std::vector<bool>& picked, double width)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Surface || f.body >= l.surfaces.size()) return false;
        contour_strokes(l, f, l.surfaces[f.body], width);
        return true;
    });
}

namespace {

// One loop of lines and arcs as the segments of a contour, with its polygon
// for nesting.
struct Loop {
    Contour contour;
    geom::Path polygon;
    std::vector<size_t> members;
};

struct Edge {
    size_t feature;
    Point from, to, centre;
    bool arc, cw;
};

std::vector<Loop> closed_loops(const Layer& layer, const std::vector<size_t>& strokes, std::vector<bool>& used)
{
    auto key = [](Point p) { return std::make_pair(p.x, p.y); };
    std::multimap<std::pair<Coord, Coord>, size_t> at_end; // an end point -> position in `strokes`
    for (size_t k = 0; k < strokes.size(); ++k) {
        const Feature& f = layer.features[strokes[k]];
        at_end.emplace(key(f.a), k);
        at_end.emplace(key(f.b), k);
    }
    std::vector<bool> taken(strokes.size(), false);
    std::vector<Loop> loops;
    for (size_t first = 0; first < strokes.size(); ++first) {
        if (taken[first]) continue;
        std::vector<Edge> edges;
        std::vector<size_t> chain{first};
        taken[first] = true;
        const Feature& f0 = layer.features[strokes[first]];
        edges.push_back({strokes[first], f0.a, f0.b, f0.c, f0.kind == FeatureKind::Arc, f0.cw});
        bool closed = f0.a == f0.b && f0.kind == FeatureKind::Arc;
        while (!closed) {
            const Point tip = edges.back().to;
            if (tip == edges.front().from) {
                closed = true;
                break;
            }
            size_t next = strokes.size();
            auto range = at_end.equal_range(key(tip));
            for (auto it = range.first; it != range.second; ++it)
                if (!taken[it->second]) {
                    next = it->second;
                    break;
                }
            if (next == strokes.size()) break;
            taken[next] = true;
            chain.push_back(next);
            const Feature& g = layer.features[strokes[next]];
            const bool arc = g.kind == FeatureKind::Arc;
            if (g.a == tip)
                edges.push_back({strokes[next], g.a, g.b, g.c, arc, g.cw});
            else
                edges.push_back({strokes[next], g.b, g.a, g.c, arc, !g.cw});
        }
        if (!closed) {
            for (size_t k : chain) taken[k] = false;
            taken[first] = true; // an open chain: its first member starts no loop
            continue;
        }
        Loop loop;
        loop.contour.start = edges.front().from;
        for (const Edge& e : edges) {
            loop.contour.segments.push_back(Segment{e.to, e.centre, e.arc, e.cw});
            loop.members.push_back(e.feature);
            if (e.arc) {
                geom::Path pts = geom::arc_points(e.from, e.to, e.centre, e.cw);
                loop.polygon.insert(loop.polygon.end(), pts.begin(), pts.end() - 1);
            } else {
                loop.polygon.push_back({e.from.x, e.from.y});
            }
        }
        for (size_t k : chain) used[k] = true;
        loops.push_back(std::move(loop));
    }
    return loops;
}

} // namespace

size_t outlines_to_surfaces(Layer& layer, const std::vector<bool>& picked)
{
    std::vector<size_t> strokes;
    for (size_t i = 0; i < layer.features.size() && i < picked.size(); ++i)
        if (picked[i] && (layer.features[i].kind == FeatureKind::Line || layer.features[i].kind == FeatureKind::Arc))
            strokes.push_back(i);
    std::vector<bool> used(strokes.size(), false);
    std::vector<Loop> loops = closed_loops(layer, strokes, used);
    if (loops.empty()) return 0;
    // Depth of each loop: how many other loops hold its first vertex.
    std::vector<int> depth(loops.size(), 0);
    std::vector<int> parent(loops.size(), -1);
    std::vector<double> area(loops.size());
    for (size_t i = 0; i < loops.size(); ++i) area[i] = std::fabs(ClipperLib::Area(loops[i].polygon));
    for (size_t i = 0; i < loops.size(); ++i)
        for (size_t j = 0; j < loops.size(); ++j) {
            if (i == j || loops[i].polygon.empty() || area[j] <= area[i]) continue;
            if (ClipperLib::PointInPolygon(loops[i].polygon.front(), loops[j].polygon) != 0) {
                ++depth[i];
                if (parent[i] < 0 || area[j] < area[static_cast<size_t>(parent[i])]) parent[i] = static_cast<int>(j);
            }
        }
    // Every even-depth loop is an island; its holes are the odd-depth loops
    // directly inside it. The surface replaces the island's first member.
    std::map<size_t, Surface> surface_at; // feature position -> surface that stands there
    std::vector<bool> drop(layer.features.size(), false);
    for (size_t i = 0; i < loops.size(); ++i) {
        if (depth[i] % 2) continue;
        Surface s;
        Contour island = loops[i].contour;
        island.island = true;
        s.contours.push_back(island);
        for (size_t j = 0; j < loops.size(); ++j)
            if (depth[j] % 2 && parent[j] == static_cast<int>(i)) {
                Contour hole = loops[j].contour;
                hole.island = false;
                s.contours.push_back(hole);
                for (size_t m : loops[j].members) drop[m] = true;
            }
        for (size_t m : loops[i].members) drop[m] = true;
        surface_at[*std::min_element(loops[i].members.begin(), loops[i].members.end())] = std::move(s);
    }
    replace_picked(layer, drop, [&](Layer& l, const Feature& f, size_t at) {
        auto made = surface_at.find(at);
        if (made != surface_at.end()) add_surface(l, f, std::move(made->second));
        return true; // the loop's other members go
    });
    return surface_at.size();
}

namespace {

// How far an outline departs from another on average: the area between them
// over the length of the first one's edges.
double mean_departure(const geom::Paths& a, const geom::Paths& b)
{
    double perimeter = 0;
    for (const geom::Path& path : a)
        for (size_t i = 0; i < path.size(); ++i) {
            const auto& p = path[i];
            const auto& q = path[(i + 1) % path.size()];
            perimeter += std::hypot(double(q.X - p.X), double(q.Y - p.Y));
        }
    if (perimeter <= 0) return INFINITY;
    return geom::area(geom::exclusive_or(a, b)) / perimeter;
}

geom::Paths placed_at(const geom::Paths& local, Point centre)
{
    return geom::place(geom::Placement{centre, 0, false}, local);
}

} // namespace

Symbol matching_symbol(const Surface& surface, double tolerance, Point* centre)
{
    // One contour of arcs about one centre with one radius is a circle.
    if (surface.contours.size() == 1 && !surface.contours[0].segments.empty()) {
        const Contour& c = surface.contours[0];
        const Point o = c.segments[0].centre;
        const double r = std::hypot(double(c.start.x - o.x), double(c.start.y - o.y));
        const bool circle = std::all_of(c.segments.begin(), c.segments.end(), [&](const Segment& seg) {
            return seg.arc && seg.centre == o && std::fabs(std::hypot(double(seg.end.x - o.x), double(seg.end.y - o.y)) - r) < 1;
        });
        if (circle && r > 0) {
            if (centre) *centre = o;
            return standard(SymbolFamily::Round, 2 * r, 0, Units::Mm);
        }
    }
    const geom::Paths outline = geom::surface_outline(surface);
    const Box box = geom::box_of(outline);
    if (box.empty()) return {};
    const Point mid{box.xmin + (box.xmax - box.xmin) / 2, box.ymin + (box.ymax - box.ymin) / 2};
    if (centre) *centre = mid;
    const double w = double(box.xmax - box.xmin), h = double(box.ymax - box.ymin);
    const double limit = std::max(tolerance, geom::kMaxChordError);
    std::vector<Symbol> candidates;
    if (std::fabs(w - h) <= limit) {
        candidates.push_back(standard(SymbolFamily::Round, (w + h) / 2, 0, Units::Mm));
        candidates.push_back(standard(SymbolFamily::Square, (w + h) / 2, 0, Units::Mm));
    }
    candidates.push_back(standard(SymbolFamily::Oval, w, h, Units::Mm));
    candidates.push_back(standard(SymbolFamily::Rect, w, h, Units::Mm));
    const geom::OutlineContext none;
    Symbol best;
    double best_departure = limit;
    for (const Symbol& s : candidates) {
        const double d = mean_departure(outline, placed_at(geom::symbol_outline(s, none), mid));
        if (d <= best_departure) {
            best_departure = d;
            best = s;
            if (d == 0) break;
        }
    }
    return best;
}

size_t contours_to_pads(Layer& layer, const std::vector<bool>& picked, const ContourToPad& how)
{
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Surface || f.body >= l.surfaces.size()) return false;
        const Box box = geom::box_of(geom::surface_outline(l.surfaces[f.body]));
        if (box.empty()) return false;
        const double size = double(std::max(box.xmax - box.xmin, box.ymax - box.ymin));
        if (size < how.min_size || (how.max_size > 0 && size > how.max_size)) return false;
        Point centre;
        Symbol s = matching_symbol(l.surfaces[f.body], how.tolerance, &centre);
        if (s.family == SymbolFamily::Unknown) return false;
        s.units = l.units;
        s.name = odb::standard_symbol_name(s, l.units);
        Feature pad = like(f, FeatureKind::Pad);
        pad.a = centre;
        pad.symbol = symbol_index(l, s);
        l.features.push_back(pad);
        return true;
    });
}

namespace {

bool small_hole(const geom::Path& hole, const Contourize& how)
{
    const Box b = geom::box_of(hole);
    const double w = double(b.xmax - b.xmin), h = double(b.ymax - b.ymin);
    switch (how.clean) {
    case HoleClean::EitherSide: return w < how.hole_size || h < how.hole_size;
    case HoleClean::BothSides: return w < how.hole_size && h < how.hole_size;
    case HoleClean::Area: return std::fabs(ClipperLib::Area(hole)) < how.hole_size * how.hole_size;
    }
    return false;
}

} // namespace

size_t contourize(Layer& layer, const std::vector<bool>& picked, const Contourize& how,
                  const geom::OutlineContext& context)
{
    geom::Painter painter;
    geom::Paths negatives;
    size_t first = layer.features.size(), painted = 0;
    bool any_positive = false;
    for (size_t i = 0; i < layer.features.size() && i < picked.size(); ++i) {
        if (!picked[i]) continue;
        const Feature& f = layer.features[i];
        first = std::min(first, i);
        const geom::Paths outline = geom::feature_outline(layer, f, context);
        const bool positive = f.polarity == Polarity::Positive;
        any_positive = any_positive || positive;
        painter.add(outline, positive);
        if (!positive) negatives.insert(negatives.end(), outline.begin(), outline.end());
        ++painted;
        if (how.step && !how.step()) return 0;
    }
    if (!painted) return 0;
    // Only negative features picked: their union, kept negative.
    geom::Paths image = any_positive ? painter.image() : geom::unite(negatives);
    if (how.accuracy > 0) {
        // An accuracy that would simplify the image away is no accuracy: keep it as painted.
        geom::Paths cleaned = image;
        ClipperLib::CleanPolygons(cleaned, how.accuracy);
        cleaned.erase(std::remove_if(cleaned.begin(), cleaned.end(), [](const geom::Path& p) { return p.size() < 3; }),
                      cleaned.end());
        if (!cleaned.empty() || image.empty()) image = std::move(cleaned);
    }
    if (how.hole_size > 0)
        image.erase(std::remove_if(image.begin(), image.end(),
                                   [&](const geom::Path& p) { return !ClipperLib::Orientation(p) && small_hole(p, how); }),
                    image.end());
    std::vector<Surface> bodies = how.separate_islands ? islands_of(image) : std::vector<Surface>{surface_of(image)};
    Feature model = layer.features[first];
    model.polarity = any_positive ? Polarity::Positive : Polarity::Negative;
    model.attributes = 0;
    std::vector<bool> gone(picked.begin(), picked.begin() + static_cast<std::ptrdiff_t>(std::min(picked.size(), layer.features.size())));
    replace_picked(layer, gone, [&](Layer& l, const Feature&, size_t at) {
        if (at != first) return true;
        for (Surface& body : bodies)
            if (!body.contours.empty()) add_surface(l, model, std::move(body));
        return true;
    });
    return bodies.size();
}

size_t change_texts(Layer& layer, const std::vector<bool>& picked, const TextChange& change)
{
    size_t n = 0;
    for (size_t i = 0; i < layer.features.size() && i < picked.size(); ++i) {
        Feature& f = layer.features[i];
        if (!picked[i] || f.kind != FeatureKind::Text || f.body >= layer.texts.size()) continue;
        Text& t = layer.texts[f.body];
        if (!change.text.empty()) t.text = change.text;
        if (!change.font.empty()) t.font = change.font;
        if (change.xsize > 0) t.xsize = change.xsize;
        if (change.ysize > 0) t.ysize = change.ysize;
        if (change.width_factor > 0) t.width_factor = change.width_factor;
        if (change.polarity == 0 || change.polarity == 1)
            f.polarity = change.polarity == 0 ? Polarity::Positive : Polarity::Negative;
        if (change.mirror == 0 || change.mirror == 1) f.mirror = change.mirror == 1;
        f.angle = normal_angle(change.angle);
        ++n;
    }
    return n;
}

size_t change_symbols(Layer& layer, const std::vector<bool>& picked, const Symbol& symbol, bool keep_angle)
{
    std::int32_t index = -1;
    size_t n = 0;
    for (size_t i = 0; i < layer.features.size() && i < picked.size(); ++i) {
        Feature& f = layer.features[i];
        if (!picked[i] || (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Line && f.kind != FeatureKind::Arc))
            continue;
        if (index < 0) index = symbol_index(layer, symbol);
        f.symbol = index;
        f.resize = 0;
        if (f.kind == FeatureKind::Pad && !keep_angle) {
            f.angle = 0;
            f.mirror = false;
        }
        ++n;
    }
    return n;
}

size_t substitute(Layer& layer, const std::vector<bool>& picked, const Symbol& symbol, double tolerance, int dcode,
                  const geom::OutlineContext& context)
{
    const geom::Paths shape = geom::symbol_outline(symbol, context);
    const Box box = geom::box_of(shape);
    if (box.empty()) return 0;
    const double limit = std::max(tolerance, geom::kMaxChordError);
    const Point local_mid{box.xmin + (box.xmax - box.xmin) / 2, box.ymin + (box.ymax - box.ymin) / 2};
    std::int32_t index = -1;
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Pad && f.kind != FeatureKind::Surface) return false;
        const geom::Paths outline = geom::feature_outline(l, f, context);
        const Box b = geom::box_of(outline);
        if (b.empty()) return false;
        // The symbol's box centre goes on the feature's box centre.
        const Point at{b.xmin + (b.xmax - b.xmin) / 2 - local_mid.x, b.ymin + (b.ymax - b.ymin) / 2 - local_mid.y};
        if (mean_departure(outline, placed_at(shape, at)) > limit) return false;
        if (index < 0) index = symbol_index(l, symbol);
        Feature pad = like(f, FeatureKind::Pad);
        pad.a = at;
        pad.symbol = index;
        if (dcode > 0) pad.dcode = dcode; // 0: no D-code given, keep the feature's
        l.features.push_back(pad);
        return true;
    });
}

namespace {

// Where two segments cross, as the fraction along the first; nothing when
// they are parallel or miss each other.
bool crossing(Point a, Point b, Point c, Point d, double& t, double& u)
{
    const double rx = double(b.x - a.x), ry = double(b.y - a.y);
    const double sx = double(d.x - c.x), sy = double(d.y - c.y);
    const double den = rx * sy - ry * sx;
    if (den == 0) return false;
    const double qx = double(c.x - a.x), qy = double(c.y - a.y);
    t = (qx * sy - qy * sx) / den;
    u = (qx * ry - qy * rx) / den;
    return t >= 0 && t <= 1 && u >= 0 && u <= 1;
}

std::vector<size_t> picked_lines(const Layer& layer, const std::vector<bool>& picked)
{
    std::vector<size_t> out;
    for (size_t i = 0; i < layer.features.size() && i < picked.size(); ++i)
        if (picked[i] && layer.features[i].kind == FeatureKind::Line && layer.features[i].a != layer.features[i].b)
            out.push_back(i);
    return out;
}

} // namespace

size_t split_at_crossings(Layer& layer, const std::vector<bool>& picked)
{
    const std::vector<size_t> lines = picked_lines(layer, picked);
    std::map<size_t, std::vector<double>> cuts; // position -> fractions where it is cut
    for (size_t i = 0; i < lines.size(); ++i) {
        const Feature& f = layer.features[lines[i]];
        const Box fb = [&] { Box b; b.add(f.a); b.add(f.b); return b; }();
        for (size_t j = i + 1; j < lines.size(); ++j) {
            const Feature& g = layer.features[lines[j]];
            if (std::max(g.a.x, g.b.x) < fb.xmin || std::min(g.a.x, g.b.x) > fb.xmax ||
                std::max(g.a.y, g.b.y) < fb.ymin || std::min(g.a.y, g.b.y) > fb.ymax)
                continue;
            double t, u;
            if (!crossing(f.a, f.b, g.a, g.b, t, u)) continue;
            // Lines that only touch at an end are not cut there.
            if (t > 0 && t < 1) cuts[lines[i]].push_back(t);
            if (u > 0 && u < 1) cuts[lines[j]].push_back(u);
        }
    }
    std::vector<bool> cut(layer.features.size(), false);
    for (const auto& entry : cuts) cut[entry.first] = true;
    return replace_picked(layer, cut, [&](Layer& l, const Feature& f, size_t at) {
        std::vector<double> ts = cuts[at];
        std::sort(ts.begin(), ts.end());
        Point from = f.a;
        for (double t : ts) {
            const Point to = rounded(double(f.a.x) + t * double(f.b.x - f.a.x), double(f.a.y) + t * double(f.b.y - f.a.y));
            if (to != from) l.features.push_back(line(f, from, to, f.symbol));
            from = to;
        }
        if (from != f.b) l.features.push_back(line(f, from, f.b, f.symbol));
        return l.features.size() > 0;
    });
}

size_t join_corners(Layer& layer, const std::vector<bool>& picked, double reach)
{
    const std::vector<size_t> lines = picked_lines(layer, picked);
    size_t joined = 0;
    std::vector<bool> end_used(lines.size() * 2, false); // two ends per line: a, b
    for (size_t i = 0; i < lines.size(); ++i)
        for (size_t j = i + 1; j < lines.size(); ++j) {
            Feature& f = layer.features[lines[i]];
            Feature& g = layer.features[lines[j]];
            // The closest pair of free ends.
            int fe = -1, ge = -1;
            double best = reach;
            for (int e = 0; e < 2; ++e)
                for (int k = 0; k < 2; ++k) {
                    if (end_used[i * 2 + size_t(e)] || end_used[j * 2 + size_t(k)]) continue;
                    const Point p = e ? f.b : f.a, q = k ? g.b : g.a;
                    const double d = std::hypot(double(p.x - q.x), double(p.y - q.y));
                    if (d <= best) {
                        best = d;
                        fe = e;
                        ge = k;
                    }
                }
            if (fe < 0) continue;
            // The two lines' infinite extensions meet at the corner.
            const double rx = double(f.b.x - f.a.x), ry = double(f.b.y - f.a.y);
            const double sx = double(g.b.x - g.a.x), sy = double(g.b.y - g.a.y);
            const double den = rx * sy - ry * sx;
            if (std::fabs(den) < 1e-9 * std::hypot(rx, ry) * std::hypot(sx, sy)) continue; // parallel
            const double t = (double(g.a.x - f.a.x) * sy - double(g.a.y - f.a.y) * sx) / den;
            const Point corner = rounded(double(f.a.x) + t * rx, double(f.a.y) + t * ry);
            const Point fp = fe ? f.b : f.a;
            if (std::hypot(double(corner.x - fp.x), double(corner.y - fp.y)) > reach) continue;
            (fe ? f.b : f.a) = corner;
            (ge ? g.b : g.a) = corner;
            end_used[i * 2 + size_t(fe)] = end_used[j * 2 + size_t(ge)] = true;
            ++joined;
        }
    return joined;
}

size_t clip_area(Layer& layer, const std::vector<bool>& picked, const geom::Paths& area, bool inside,
                 bool cut_surfaces, const geom::OutlineContext& context)
{
    namespace bg = boost::geometry;
    namespace bgi = boost::geometry::index;
    using Corner = bg::model::point<double, 2, bg::cs::cartesian>;
    using Rect = bg::model::box<Corner>;
    using Entry = std::pair<Rect, std::size_t>;
    auto rect = [](const Box& b) {
        return Rect(Corner(double(b.xmin), double(b.ymin)), Corner(double(b.xmax), double(b.ymax)));
    };
    // The area's paths by their boxes: a feature is clipped against the paths
    // near it only. The area is a clean union, so a hole's box lies inside its
    // island's and the paths near a feature describe the area there exactly.
    std::vector<Entry> entries;
    entries.reserve(area.size());
    for (std::size_t i = 0; i < area.size(); ++i)
        if (!area[i].empty()) entries.emplace_back(rect(geom::box_of(area[i])), i);
    const bgi::rtree<Entry, bgi::quadratic<16>> paths(entries.begin(), entries.end());
    std::vector<Entry> near;
    geom::Paths local;
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        const Box b = geom::feature_box(l, f, context);
        near.clear();
        if (!b.empty()) paths.query(bgi::intersects(rect(b)), std::back_inserter(near));
        if (near.empty()) return !inside; // wholly outside: kept when clipping inside, gone when clipping outside
        std::sort(near.begin(), near.end(), [](const Entry& a, const Entry& c) { return a.second < c.second; });
        local.clear();
        for (const Entry& e : near) local.push_back(area[e.second]);
        if (f.kind == FeatureKind::Surface && f.body < l.surfaces.size()) {
            // A surface (often a large pour with many holes) goes in as its
            // contours under the positive rule, not as a merged outline, and
            // one Clipper gives both sides of the cut.
            ClipperLib::Clipper clipper;
            clipper.AddPaths(geom::surface_contours(l.surfaces[f.body]), ClipperLib::ptSubject, true);
            clipper.AddPaths(local, ClipperLib::ptClip, true);
            geom::Paths taken;
            clipper.Execute(inside ? ClipperLib::ctIntersection : ClipperLib::ctDifference, taken, ClipperLib::pftPositive,
                            ClipperLib::pftNonZero);
            if (geom::area(taken) <= 0) return false; // nothing of it is clipped: kept as it is
            if (cut_surfaces) {
                ClipperLib::PolyTree rest;
                clipper.Execute(inside ? ClipperLib::ctDifference : ClipperLib::ctIntersection, rest,
                                ClipperLib::pftPositive, ClipperLib::pftNonZero);
                for (Surface& island : islands_of(rest)) add_surface(l, f, std::move(island));
            }
            return true;
        }
        const geom::Paths outline = geom::feature_outline(l, f, context);
        const geom::Paths clipped = inside ? geom::intersect(outline, local) : geom::subtract(outline, local);
        if (geom::area(clipped) <= 0) return false;
        if (cut_surfaces && f.kind == FeatureKind::Surface) {
            const geom::Paths rest = inside ? geom::subtract(outline, local) : geom::intersect(outline, local);
            for (Surface& island : islands_of(rest)) add_surface(l, f, std::move(island));
        }
        return true;
    });
}

namespace {

int turn(const geom::IntPoint& a, const geom::IntPoint& b, const geom::IntPoint& c)
{
    const long double v = (long double)(b.X - a.X) * (c.Y - a.Y) - (long double)(b.Y - a.Y) * (c.X - a.X);
    return v > 0 ? 1 : v < 0 ? -1 : 0;
}

bool on_segment(const geom::IntPoint& a, const geom::IntPoint& b, const geom::IntPoint& p)
{
    return std::min(a.X, b.X) <= p.X && p.X <= std::max(a.X, b.X) && std::min(a.Y, b.Y) <= p.Y &&
           p.Y <= std::max(a.Y, b.Y);
}

bool segments_meet(const geom::IntPoint& a, const geom::IntPoint& b, const geom::IntPoint& c, const geom::IntPoint& d)
{
    const int d1 = turn(c, d, a), d2 = turn(c, d, b), d3 = turn(a, b, c), d4 = turn(a, b, d);
    if (d1 * d2 < 0 && d3 * d4 < 0) return true;
    return (d1 == 0 && on_segment(c, d, a)) || (d2 == 0 && on_segment(c, d, b)) || (d3 == 0 && on_segment(a, b, c)) ||
           (d4 == 0 && on_segment(a, b, d));
}

} // namespace

bool crosses_itself(const geom::Path& polygon)
{
    const size_t n = polygon.size();
    if (n < 4) return false;
    // Edges by their left end: an edge meets only those starting before its right end.
    std::vector<size_t> order(n);
    for (size_t i = 0; i < n; ++i) order[i] = i;
    auto left = [&](size_t e) { return std::min(polygon[e].X, polygon[(e + 1) % n].X); };
    auto right = [&](size_t e) { return std::max(polygon[e].X, polygon[(e + 1) % n].X); };
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return left(a) < left(b); });
    for (size_t i = 0; i < n; ++i) {
        const size_t e = order[i];
        for (size_t j = i + 1; j < n && left(order[j]) <= right(e); ++j) {
            const size_t g = order[j];
            const bool neighbours = (e + 1) % n == g || (g + 1) % n == e;
            const auto &a = polygon[e], &b = polygon[(e + 1) % n], &c = polygon[g], &d = polygon[(g + 1) % n];
            if (neighbours) {
                // Neighbours share one vertex; they meet elsewhere only when they fold back on each other.
                const auto& shared = (e + 1) % n == g ? b : a;
                const auto& p = (e + 1) % n == g ? a : b;
                const auto& q = (e + 1) % n == g ? d : c;
                if (turn(p, shared, q) == 0 && ((p.X - shared.X) * (q.X - shared.X) + (p.Y - shared.Y) * (q.Y - shared.Y)) > 0)
                    return true;
                continue;
            }
            if (segments_meet(a, b, c, d)) return true;
        }
    }
    return false;
}

size_t round_corners(Layer& layer, const std::vector<bool>& picked, double radius)
{
    if (!(radius > 0)) return 0;
    const std::vector<size_t> lines = picked_lines(layer, picked);
    std::map<std::pair<Coord, Coord>, std::vector<std::pair<size_t, int>>> ends; // point -> (line, end 0 a / 1 b)
    for (size_t line_at : lines)
        for (int end = 0; end < 2; ++end) {
            const Point p = end ? layer.features[line_at].b : layer.features[line_at].a;
            ends[{p.x, p.y}].push_back({line_at, end});
        }
    std::map<size_t, Feature> trimmed;            // position -> the line as trimmed
    std::map<size_t, std::vector<Feature>> after; // position -> arcs drawn after it
    size_t corners = 0;
    for (const auto& entry : ends) {
        if (entry.second.size() != 2) continue;
        const auto [i, ei] = entry.second[0];
        const auto [j, ej] = entry.second[1];
        if (i == j) continue;
        Feature& f = trimmed.emplace(i, layer.features[i]).first->second;
        Feature& g = trimmed.emplace(j, layer.features[j]).first->second;
        const Point corner{entry.first.first, entry.first.second};
        const Point a = ei ? f.a : f.b, b = ej ? g.a : g.b; // the far ends
        const double la = std::hypot(double(a.x - corner.x), double(a.y - corner.y));
        const double lb = std::hypot(double(b.x - corner.x), double(b.y - corner.y));
        if (la <= 0 || lb <= 0) continue;
        const double ux = (a.x - corner.x) / la, uy = (a.y - corner.y) / la;
        const double vx = (b.x - corner.x) / lb, vy = (b.y - corner.y) / lb;
        const double angle = std::acos(std::clamp(ux * vx + uy * vy, -1.0, 1.0));
        if (angle < 1e-9 || kPi - angle < 1e-9) continue; // straight on, or folded back
        const double reach = radius / std::tan(angle / 2);
        if (reach >= la || reach >= lb) continue;
        const Point t1 = rounded(corner.x + ux * reach, corner.y + uy * reach);
        const Point t2 = rounded(corner.x + vx * reach, corner.y + vy * reach);
        const double bx = ux + vx, by = uy + vy, bl = std::hypot(bx, by);
        const double out = radius / std::sin(angle / 2);
        const Point centre = rounded(corner.x + bx / bl * out, corner.y + by / bl * out);
        (ei ? f.b : f.a) = t1;
        (ej ? g.b : g.a) = t2;
        const double turn = double(t1.x - centre.x) * double(t2.y - centre.y) - double(t1.y - centre.y) * double(t2.x - centre.x);
        after[i].push_back(arc(layer.features[i], t1, t2, centre, turn < 0, layer.features[i].symbol));
        ++corners;
    }
    std::vector<bool> change(layer.features.size(), false);
    for (const auto& entry : trimmed) change[entry.first] = true;
    replace_picked(layer, change, [&](Layer& l, const Feature&, size_t at) {
        l.features.push_back(trimmed[at]);
        for (const Feature& a : after[at]) l.features.push_back(a);
        return true;
    });
    return corners;
}

namespace {

// The rows of brush strokes across `inner` (the area the brush's centre may reach).
void brush_rows(Layer& l, const Feature& f, const geom::Paths& inner, double brush, std::int32_t pen)
{
    const Box box = geom::box_of(inner);
    std::vector<double> xs;
    for (double y = double(box.ymin);; y += brush) {
        const bool last = y >= double(box.ymax);
        // The top row is taken just below the top, where the sides still cross it.
        if (last) y = double(box.ymax) - 0.5;
        xs.clear();
        for (const geom::Path& path : inner)
            for (size_t i = 0; i < path.size(); ++i) {
                const auto& p = path[i];
                const auto& q = path[(i + 1) % path.size()];
                if ((double(p.Y) <= y) == (double(q.Y) <= y)) continue;
                xs.push_back(double(p.X) + (y - double(p.Y)) * double(q.X - p.X) / double(q.Y - p.Y));
            }
        std::sort(xs.begin(), xs.end());
        for (size_t i = 0; i + 1 < xs.size(); i += 2)
            l.features.push_back(line(f, rounded(xs[i], y), rounded(xs[i + 1], y), pen));
        if (last) break;
    }
}

} // namespace

size_t brush_fill(Layer& layer, const std::vector<bool>& picked, double brush)
{
    if (!(brush > 0)) return 0;
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Surface || f.body >= l.surfaces.size()) return false;
        const std::vector<Surface> islands = islands_of(geom::surface_outline(l.surfaces[f.body]));
        std::vector<geom::Paths> inner;
        bool any = false;
        for (const Surface& island : islands) {
            inner.push_back(geom::offset(geom::surface_outline(island), -brush / 2, geom::Join::Miter));
            const Box box = geom::box_of(inner.back());
            if (!inner.back().empty() && double(box.ymax - box.ymin) / brush > kMaxBrushRows) return false;
            any = any || !inner.back().empty();
        }
        if (!any) return false;
        const std::int32_t pen = symbol_index(l, standard(SymbolFamily::Round, brush, 0, l.units));
        for (size_t i = 0; i < islands.size(); ++i) {
            if (inner[i].empty()) {
                add_surface(l, f, islands[i]); // narrower than the brush: stays a surface
                continue;
            }
            outline_lines(l, f, inner[i], pen);
            brush_rows(l, f, inner[i], brush, pen);
        }
        return true;
    });
}

size_t pattern_fill(Layer& layer, const std::vector<bool>& picked, const PatternFill& how,
                    const geom::OutlineContext& context)
{
    if (!(how.dx > 0) || !(how.dy > 0)) return 0;
    const geom::Paths shape = geom::symbol_outline(how.symbol, context);
    const Box reach = geom::box_of(shape);
    if (reach.empty()) return 0;
    std::int32_t index = -1;
    return replace_picked(layer, picked, [&](Layer& l, const Feature& f, size_t) {
        if (f.kind != FeatureKind::Surface || f.body >= l.surfaces.size()) return false;
        const geom::Paths area = geom::surface_outline(l.surfaces[f.body]);
        const Box box = geom::box_of(area);
        if (box.empty()) return false;
        const Point origin = how.origin_at_box ? Point{box.xmin, box.ymin} : how.origin;
        // The grid columns and rows whose pads can touch the surface.
        const double c0 = std::ceil((double(box.xmin - reach.xmax) - double(origin.x)) / how.dx);
        const double c1 = std::floor((double(box.xmax - reach.xmin) - double(origin.x)) / how.dx);
        const double r0 = std::ceil((double(box.ymin - reach.ymax) - double(origin.y)) / how.dy);
        const double r1 = std::floor((double(box.ymax - reach.ymin) - double(origin.y)) / how.dy);
        if (c1 < c0 || r1 < r0 || (c1 - c0 + 1) * (r1 - r0 + 1) > double(kMaxPatternPads)) return false;
        if (index < 0) index = symbol_index(l, how.symbol);
        for (double r = r0; r <= r1; ++r)
            for (double c = c0; c <= c1; ++c) {
                const Point at = rounded(double(origin.x) + c * how.dx, double(origin.y) + r * how.dy);
                const geom::Paths placed = placed_at(shape, at);
                const double whole = geom::area(placed);
                const geom::Paths inside = geom::intersect(placed, area);
                const double in = geom::area(inside);
                if (in <= 0) continue;
                if (in >= whole * (1 - 1e-9) || how.break_partial) {
                    Feature pad = like(f, FeatureKind::Pad);
                    pad.a = at;
                    pad.symbol = index;
                    l.features.push_back(pad);
                } else if (how.cut_primitive) {
                    for (Surface& piece : islands_of(inside)) add_surface(l, f, std::move(piece));
                }
            }
        if (how.outline_width > 0) {
            Feature border = f;
            if (how.outline_negative) border.polarity = flipped(f.polarity);
            contour_strokes(l, border, l.surfaces[f.body], how.outline_width);
        }
        return true;
    });
}

} // namespace kesto::edit
