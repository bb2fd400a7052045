#include "engine/geometry/outline.h"
#include "engine/geometry/surface_contours.h"

#include "engine/geometry/barcode.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kesto::geom {

namespace {

constexpr double kDeg = kPi / 180.0;

void add_point(Path& path, double x, double y) { path.push_back({to_nm(x), to_nm(y)}); }

// A w x h rectangle centred on the origin whose corners (CornerBits) are
// rounded with radius r or, when `chamfer`, cut by r.
Path corner_rect(double w, double h, double r, std::uint8_t corners, bool chamfer)
{
    r = std::max(0.0, std::min(r, std::min(w, h) / 2));
    struct Corner {
        std::uint8_t bit;
        double x, y;   // the corner
        double from;   // start angle of its rounding
    };
    const Corner all[] = {{kCornerBottomRight, w / 2, -h / 2, -90},
                          {kCornerTopRight, w / 2, h / 2, 0},
                          {kCornerTopLeft, -w / 2, h / 2, 90},
                          {kCornerBottomLeft, -w / 2, -h / 2, 180}};
    Path path;
    for (const Corner& c : all) {
        if (!(corners & c.bit) || r <= 0) {
            add_point(path, c.x, c.y);
            continue;
        }
        // Centre of the rounding, and where the two sides of the corner end.
        double cx = c.x - std::copysign(r, c.x), cy = c.y - std::copysign(r, c.y);
        double a0 = c.from * kDeg, a1 = a0 + kPi / 2;
        if (chamfer) {
            add_point(path, cx + r * std::cos(a0), cy + r * std::sin(a0));
        } else {
            append_arc(path, cx, cy, r, a0, kPi / 2);
        }
        add_point(path, cx + r * std::cos(a1), cy + r * std::sin(a1));
    }
    ClipperLib::CleanPolygon(path, 1.0);
    return path;
}

Path oval(double w, double h) { return corner_rect(w, h, std::min(w, h) / 2, kAllCorners, false); }

Path ellipse(double w, double h)
{
    Path path;
    int n = arc_chords(std::max(w, h) / 2, 2 * kPi);
    for (int i = 0; i < n; ++i) {
        double t = 2 * kPi * i / n;
        add_point(path, w / 2 * std::cos(t), h / 2 * std::sin(t));
    }
    return path;
}

Path polygon(std::initializer_list<std::pair<double, double>> points)
{
    Path path;
    for (auto [x, y] : points) add_point(path, x, y);
    return path;
}

// A ring with `spokes` gaps of width `gap`, the first at `angle` degrees
// counter-clockwise from +x, the others evenly spread. With `round_width`
// the pieces of the ring get round ends of that diameter.
Paths thermal(const Paths& ring, double angle, double spokes, double gap, double round_width)
{
    Paths cuts;
    Box box = box_of(ring);
    double reach = std::hypot(double(box.xmax - box.xmin), double(box.ymax - box.ymin)) + 1;
    int n = std::clamp(static_cast<int>(std::lround(spokes)), 0, 360);
    for (int k = 0; k < n && gap > 0; ++k) {
        double t = (angle + 360.0 * k / n) * kDeg;
        double c = std::cos(t), si = std::sin(t);
        auto at = [&](double u, double v) { return IntPoint{to_nm(u * c - v * si), to_nm(u * si + v * c)}; };
        cuts.push_back({at(0, -gap / 2), at(reach, -gap / 2), at(reach, gap / 2), at(0, gap / 2)});
    }
    Paths pieces = subtract(ring, cuts);
    if (round_width <= 0 || n == 0) return pieces;
    // Opening by a disc just under the ring width rounds every piece's ends.
    double r = round_width / 2 * 0.999;
    return offset(offset(pieces, -r, Join::Round), r, Join::Round);
}

Paths ring(const Path& outer, const Path& inner) { return subtract({outer}, {inner}); }

double p(const Symbol& s, int i) { return s.p[static_cast<std::size_t>(i)]; }

// Box of an arc from `start` to `end` about `centre`: its ends and the
// extreme points of the circle it passes.
Box arc_box(const Point& start, const Point& end, const Point& centre, bool cw)
{
    Box box;
    box.add(start);
    box.add(end);
    double r = std::hypot(double(start.x - centre.x), double(start.y - centre.y));
    double from = std::atan2(double(start.y - centre.y), double(start.x - centre.x));
    double to = std::atan2(double(end.y - centre.y), double(end.x - centre.x));
    // Walk counter-clockwise from the arc's first point to its last.
    double lo = cw ? to : from, hi = cw ? from : to;
    while (hi <= lo) hi += 2 * kPi;
    if (start == end) hi = lo + 2 * kPi;
    for (int q = -4; q <= 8; ++q) {
        double t = q * kPi / 2;
        if (t > lo && t < hi)
            box.add(Point{centre.x + to_nm(r * std::cos(t)), centre.y + to_nm(r * std::sin(t))});
    }
    return box;
}

Box grow(Box box, const Box& by)
{
    if (box.empty() || by.empty()) return Box{};
    box.xmin += by.xmin;
    box.ymin += by.ymin;
    box.xmax += by.xmax;
    box.ymax += by.ymax;
    return box;
}

bool round_family(SymbolFamily f)
{
    switch (f) {
    case SymbolFamily::Round: case SymbolFamily::Hole: case SymbolFamily::RoundDonut:
    case SymbolFamily::RoundThermalRounded: case SymbolFamily::RoundThermalSquared:
    case SymbolFamily::Butterfly: case SymbolFamily::Moire:
        return true;
    default:
        return false;
    }
}

bool round_symbol(const Symbol& s) { return s.family == SymbolFamily::Round || s.family == SymbolFamily::Hole; }

const Symbol* symbol_of(const Layer& layer, const Feature& f)
{
    if (f.symbol < 0 || static_cast<std::size_t>(f.symbol) >= layer.symbols.size()) return nullptr;
    return &layer.symbols[static_cast<std::size_t>(f.symbol)];
}

Path line_path(const Point& a, const Point& b) { return {{a.x, a.y}, {b.x, b.y}}; }

// A line of width w from a to b with square ends reaching w/2 past them.
Path square_ended(double ax, double ay, double bx, double by, double w)
{
    double len = std::hypot(bx - ax, by - ay);
    double ux = len > 0 ? (bx - ax) / len : 1, uy = len > 0 ? (by - ay) / len : 0;
    double h = w / 2;
    return polygon({{ax - ux * h + uy * h, ay - uy * h - ux * h},
                    {bx + ux * h + uy * h, by + uy * h - ux * h},
                    {bx + ux * h - uy * h, by + uy * h + ux * h},
                    {ax - ux * h - uy * h, ay - uy * h + ux * h}});
}

Path round_ended(double ax, double ay, double bx, double by, double w)
{
    if (ax == bx && ay == by) return circle(ax, ay, w / 2);
    double t = std::atan2(by - ay, bx - ax);
    Path path;
    append_arc(path, bx, by, w / 2, t - kPi / 2, kPi);
    add_point(path, bx + w / 2 * std::cos(t + kPi / 2), by + w / 2 * std::sin(t + kPi / 2));
    append_arc(path, ax, ay, w / 2, t + kPi / 2, kPi);
    add_point(path, ax + w / 2 * std::cos(t - kPi / 2), ay + w / 2 * std::sin(t - kPi / 2));
    return path;
}

// An arc of width w with round ends: the band between the two radii and a
// disc at either end.
Paths round_arc(const Point& a, const Point& b, const Point& c, bool cw, double w)
{
    double r = std::hypot(double(a.x - c.x), double(a.y - c.y));
    double h = w / 2;
    if (a == b) {
        Path outer = circle(double(c.x), double(c.y), r + h);
        return r > h ? ring(outer, circle(double(c.x), double(c.y), r - h)) : Paths{outer};
    }
    double from = std::atan2(double(a.y - c.y), double(a.x - c.x));
    double to = std::atan2(double(b.y - c.y), double(b.x - c.x));
    double sweep = to - from;
    if (cw) {
        while (sweep >= 0) sweep -= 2 * kPi;
    } else {
        while (sweep <= 0) sweep += 2 * kPi;
    }
    Path band;
    append_arc(band, double(c.x), double(c.y), r + h, from, sweep);
    add_point(band, c.x + (r + h) * std::cos(to), c.y + (r + h) * std::sin(to));
    if (r > h) {
        append_arc(band, double(c.x), double(c.y), r - h, to, -sweep);
        add_point(band, c.x + (r - h) * std::cos(from), c.y + (r - h) * std::sin(from));
    } else {
        band.push_back({c.x, c.y});
    }
    if (!ClipperLib::Orientation(band)) std::reverse(band.begin(), band.end());
    return unite({band, circle(double(a.x), double(a.y), h), circle(double(b.x), double(b.y), h)});
}

// A round thermal whose pieces are arcs with round ends, `gap` apart where
// the ends come closest.
Paths rounded_thermal(double od, double id, double angle, double spokes, double gap)
{
    double mid = (od + id) / 4, width = (od - id) / 2;
    int n = std::clamp(static_cast<int>(std::lround(spokes)), 0, 360);
    if (n == 0 || gap <= 0 || mid <= 0) return ring(circle(0, 0, od / 2), circle(0, 0, id / 2));
    double half = std::asin(std::min(1.0, (gap + width) / 2 / mid)) / kDeg;
    Paths pieces;
    for (int k = 0; k < n; ++k) {
        double from = (angle + 360.0 * k / n + half) * kDeg, to = (angle + 360.0 * (k + 1) / n - half) * kDeg;
        if (to - from < 1e-9) continue;
        Point start{to_nm(mid * std::cos(from)), to_nm(mid * std::sin(from))};
        Point end{to_nm(mid * std::cos(to)), to_nm(mid * std::sin(to))};
        Paths piece = round_arc(start, end, Point{}, false, width);
        pieces.insert(pieces.end(), piece.begin(), piece.end());
    }
    return unite(pieces);
}

// Calls `draw` with every stroke of a text in the text's own frame (the text
// point at the origin, unturned): its ends, width, ends and polarity.
template <typename Draw>
void for_each_text_stroke(const Text& text, const OutlineContext& context, const Draw& draw)
{
    auto named = context.fonts.find(text.font);
    if (named == context.fonts.end()) named = context.fonts.find("standard");
    const StrokeFont& font = named != context.fonts.end() ? *named->second : builtin_stroke_font();
    double sx = double(text.xsize) / font.xsize, sy = double(text.ysize) / font.ysize;
    double advance = double(text.xsize) + font.offset * sx;
    for (std::size_t i = 0; i < text.text.size(); ++i) {
        auto glyph = font.glyphs.find(static_cast<unsigned char>(text.text[i]));
        if (glyph == font.glyphs.end()) continue;
        double x0 = double(i) * advance;
        for (const Stroke& s : glyph->second)
            draw(x0 + (s.xs + font.xsize / 2) * sx, (s.ys + font.ysize / 3) * sy, x0 + (s.xe + font.xsize / 2) * sx,
                 (s.ye + font.ysize / 3) * sy, s.width * text.width_factor, s.round, s.positive);
    }
}

Paths text_outline(const Layer& layer, const Feature& f, const OutlineContext& context)
{
    if (f.body >= layer.texts.size()) return {};
    Painter painter;
    for_each_text_stroke(layer.texts[f.body], context,
                         [&](double ax, double ay, double bx, double by, double w, bool round, bool positive) {
                             painter.add({round ? round_ended(ax, ay, bx, by, w) : square_ended(ax, ay, bx, by, w)},
                                         positive);
                         });
    return place(Placement{f.a, f.angle, f.mirror}, painter.image());
}

// The box of a text from its strokes' ends, without outlining them.
Box text_box(const Layer& layer, const Feature& f, const OutlineContext& context)
{
    if (f.body >= layer.texts.size()) return {};
    const double none = std::numeric_limits<double>::infinity();
    double xmin = none, ymin = none, xmax = -none, ymax = -none;
    for_each_text_stroke(layer.texts[f.body], context,
                         [&](double ax, double ay, double bx, double by, double w, bool round, bool) {
                             // Square ends reach out to their corners.
                             double reach = round ? w / 2 : w / 2 * std::sqrt(2.0);
                             xmin = std::min(xmin, std::min(ax, bx) - reach);
                             ymin = std::min(ymin, std::min(ay, by) - reach);
                             xmax = std::max(xmax, std::max(ax, bx) + reach);
                             ymax = std::max(ymax, std::max(ay, by) + reach);
                         });
    Box box;
    if (xmax < xmin) return box;
    Placement how{f.a, f.angle, f.mirror};
    for (auto [x, y] : {std::pair{xmin, ymin}, std::pair{xmax, ymin}, std::pair{xmax, ymax}, std::pair{xmin, ymax}}) {
        IntPoint q = place(how, x, y);
        box.add(Point{q.X, q.Y});
    }
    return grow(box, Box{-1, -1, 1, 1});
}

// The outline or box of a user symbol, from the cache or worked out by
// `work` on its features and kept.
template <typename Result, typename Work>
Result user_symbol_work(const std::string& name, const OutlineContext& context, int depth,
                        std::map<std::string, Result> UserSymbolCache::*kept, const Work& work)
{
    if (depth >= kMaxSymbolDepth || !context.user_symbol || !context.cache) return {};
    std::map<std::string, Result>& cache = (*context.cache).*kept;
    auto known = cache.find(name);
    if (known != cache.end()) return known->second;
    const Layer* features = context.user_symbol(name);
    if (!features || !context.cache->expanding.insert(name).second) return {};
    Result result = work(*features);
    context.cache->expanding.erase(name);
    cache[name] = result;
    return result;
}

} // namespace

OutlineContext context_of(const std::map<std::string, UserSymbol>& symbols)
{
    OutlineContext context;
    const auto* owner = &symbols;
    context.user_symbol = [owner](const std::string& name) -> const Layer* {
        auto found = owner->find(name);
        return found == owner->end() ? nullptr : &found->second.features;
    };
    return context;
}

OutlineContext context_of(const Job& job, std::string* font_error)
{
    OutlineContext context = context_of(job.symbols);
    const std::string folder = "fonts/";
    for (auto file = job.files.lower_bound(folder); file != job.files.end(); ++file) {
        if (file->first.compare(0, folder.size(), folder) != 0) break;
        std::string name = file->first.substr(folder.size());
        if (name.empty() || name.find('/') != std::string::npos) continue;
        std::string error;
        if (auto font = parse_stroke_font(file->second, &error)) {
            context.fonts[name] = std::make_shared<StrokeFont>(std::move(*font));
        } else if (font_error && font_error->empty()) {
            *font_error = file->first + ": " + error;
        }
    }
    return context;
}

Paths symbol_outline(const Symbol& s, const OutlineContext& context, int depth)
{
    using F = SymbolFamily;
    double a = p(s, 0), b = p(s, 1), c = p(s, 2);
    switch (s.family) {
    case F::Round:
    case F::Hole:
        return {circle(0, 0, a / 2)};
    case F::Square:
        return {rectangle(-a / 2, -a / 2, a / 2, a / 2)};
    case F::Rect:
        return {rectangle(-a / 2, -b / 2, a / 2, b / 2)};
    case F::RectRounded:
        return {corner_rect(a, b, c, s.corners, false)};
    case F::RectChamfered:
        return {corner_rect(a, b, c, s.corners, true)};
    case F::Oval:
        return {oval(a, b)};
    case F::Ellipse:
        return {ellipse(a, b)};
    case F::Diamond:
        return {polygon({{a / 2, 0}, {0, b / 2}, {-a / 2, 0}, {0, -b / 2}})};
    case F::Octagon:
        return {corner_rect(a, b, c, kAllCorners, true)};
    case F::RoundDonut:
        return ring(circle(0, 0, a / 2), circle(0, 0, b / 2));
    case F::SquareDonut:
        return ring(rectangle(-a / 2, -a / 2, a / 2, a / 2), rectangle(-b / 2, -b / 2, b / 2, b / 2));
    case F::SquareRoundDonut:
        return ring(rectangle(-a / 2, -a / 2, a / 2, a / 2), circle(0, 0, b / 2));
    case F::RectDonut: {
        double r = p(s, 3);
        return ring(corner_rect(a, b, r, s.corners, false),
                    corner_rect(a - 2 * c, b - 2 * c, std::max(0.0, r - c), s.corners, false));
    }
    case F::OvalDonut:
        return ring(oval(a, b), oval(a - 2 * c, b - 2 * c));
    case F::HexLong:
        return {polygon({{-a / 2, 0}, {-a / 2 + c, -b / 2}, {a / 2 - c, -b / 2}, {a / 2, 0},
                         {a / 2 - c, b / 2}, {-a / 2 + c, b / 2}})};
    case F::HexShort:
        return {polygon({{0, -b / 2}, {a / 2, -b / 2 + c}, {a / 2, b / 2 - c}, {0, b / 2},
                         {-a / 2, b / 2 - c}, {-a / 2, -b / 2 + c}})};
    case F::Butterfly: {
        // Quarters in the top right and bottom left.
        Paths out(2);
        for (int q : {0, 2}) {
            Path& quarter = out[q / 2];
            quarter.push_back({0, 0});
            append_arc(quarter, 0, 0, a / 2, q * kPi / 2, kPi / 2);
            add_point(quarter, a / 2 * std::cos((q + 1) * kPi / 2), a / 2 * std::sin((q + 1) * kPi / 2));
        }
        return unite(out);
    }
    case F::SquareButterfly:
        return unite({rectangle(0, 0, a / 2, a / 2), rectangle(-a / 2, -a / 2, 0, 0)});
    case F::Triangle:
        return {polygon({{-a / 2, -b / 2}, {a / 2, -b / 2}, {0, b / 2}})};
    case F::HalfOval: {
        // Flat on the left, round on the right, cut to the w x h box.
        double r = b / 2;
        Paths body = unite({rectangle(-a / 2, -r, a / 2 - r, r), circle(a / 2 - r, 0, r)});
        return intersect(body, {rectangle(-a / 2, -b / 2, a / 2, b / 2)});
    }
    case F::RoundThermalRounded:
        return rounded_thermal(a, b, c, p(s, 3), p(s, 4));
    case F::RoundThermalSquared:
        return thermal(ring(circle(0, 0, a / 2), circle(0, 0, b / 2)), c, p(s, 3), p(s, 4), 0);
    case F::SquareThermal:
    case F::SquareThermalOpen:
        return thermal(ring(rectangle(-a / 2, -a / 2, a / 2, a / 2), rectangle(-b / 2, -b / 2, b / 2, b / 2)),
                       c, p(s, 3), p(s, 4), 0);
    case F::SquareRoundThermal:
        return thermal(ring(rectangle(-a / 2, -a / 2, a / 2, a / 2), circle(0, 0, b / 2)), c, p(s, 3),
                       p(s, 4), 0);
    case F::RectThermal:
    case F::RectThermalOpen: {
        double lw = p(s, 5);
        return thermal(ring(rectangle(-a / 2, -b / 2, a / 2, b / 2),
                            rectangle(-a / 2 + lw, -b / 2 + lw, a / 2 - lw, b / 2 - lw)),
                       c, p(s, 3), p(s, 4), 0);
    }
    case F::OvalThermal:
    case F::OblongThermal: {
        double lw = p(s, 5);
        bool rounded = s.family == F::OvalThermal || s.rounded_ends;
        return thermal(ring(oval(a, b), oval(a - 2 * lw, b - 2 * lw)), c, p(s, 3), p(s, 4),
                       rounded ? lw : 0);
    }
    case F::Moire: {
        double rw = a, rg = b, lw = p(s, 3), ll = p(s, 4), la = p(s, 5) * kDeg;
        int rings = std::clamp(static_cast<int>(std::lround(c)), 0, 1000);
        Paths rings_image, cross;
        for (int k = 0; k < rings; ++k) {
            double inner = rg + k * (rw + rg);
            Paths one = ring(circle(0, 0, inner + rw), circle(0, 0, inner));
            rings_image.insert(rings_image.end(), one.begin(), one.end());
        }
        for (double t : {la, la + kPi / 2})
            cross.push_back(square_ended(-ll / 2 * std::cos(t), -ll / 2 * std::sin(t), ll / 2 * std::cos(t),
                                         ll / 2 * std::sin(t), lw));
        return unite(rings_image, cross);
    }
    case F::User:
        return user_symbol_work<Paths>(s.name, context, depth, &UserSymbolCache::outlines,
                                       [&](const Layer& features) { return layer_outline(features, context, depth + 1); });
    case F::Null:
    case F::Unknown:
        return {};
    // Stencil families and the line thermal: their exact shapes are not built
    // yet. They have a box (their w x h envelope) but no outline, so drawing
    // and writing leave them out and say so.
    case F::HomePlate: case F::InvertedHomePlate: case F::FlatHomePlate: case F::RadiusedInvertedHomePlate:
    case F::RadiusedHomePlate: case F::Cross: case F::Dogbone: case F::DPack: case F::SquareLineThermal:
        return {};
    }
    return {};
}

Box symbol_box(const Symbol& s, const OutlineContext& context, int depth)
{
    using F = SymbolFamily;
    double a = p(s, 0), b = p(s, 1);
    auto centred = [](double w, double h) {
        return Box{-to_nm(w / 2) - 1, -to_nm(h / 2) - 1, to_nm(w / 2) + 1, to_nm(h / 2) + 1};
    };
    switch (s.family) {
    case F::Round: case F::Hole: case F::Square: case F::RoundDonut: case F::SquareDonut:
    case F::SquareRoundDonut: case F::Butterfly: case F::SquareButterfly:
    case F::RoundThermalRounded: case F::RoundThermalSquared: case F::SquareThermal:
    case F::SquareThermalOpen: case F::SquareRoundThermal:
        return centred(a, a);
    case F::Moire: {
        double rings = std::clamp(std::round(p(s, 2)), 0.0, 1000.0);
        double outer = rings * (a + p(s, 1));
        double reach = std::max(outer, std::hypot(p(s, 4) / 2, p(s, 3) / 2));
        return centred(2 * reach, 2 * reach);
    }
    case F::User:
        return user_symbol_work<Box>(s.name, context, depth, &UserSymbolCache::boxes, [&](const Layer& features) {
            Box box;
            for (const Feature& f : features.features) box.add(feature_box(features, f, context, depth + 1));
            return box;
        });
    case F::Null: case F::Unknown:
        return {};
    default:
        return centred(a, b);
    }
}

// A contour's points, arcs as chords, without the closing repeat of the start.
static Path contour_path(const Contour& contour)
{
    Path path{{contour.start.x, contour.start.y}};
    Point at = contour.start;
    for (const Segment& seg : contour.segments) {
        if (seg.arc) {
            Path arc = arc_points(at, seg.end, seg.centre, seg.cw);
            path.insert(path.end(), arc.begin() + 1, arc.end());
        } else {
            path.push_back({seg.end.x, seg.end.y});
        }
        at = seg.end;
    }
    if (path.size() > 1 && path.back() == path.front()) path.pop_back();
    return path;
}

Paths surface_contours(const Surface& surface)
{
    Paths out;
    out.reserve(surface.contours.size());
    for (const Contour& contour : surface.contours) {
        Path path = contour_path(contour);
        if (ClipperLib::Orientation(path) != contour.island) std::reverse(path.begin(), path.end());
        out.push_back(std::move(path));
    }
    return out;
}

Paths surface_outline(const Surface& surface)
{
    Paths islands;
    Paths group;   // the current island and its holes
    auto close_group = [&] {
        if (group.empty()) return;
        if (group.size() == 1) {
            islands.push_back(std::move(group.front()));
        } else {
            Paths holes(group.begin() + 1, group.end());
            Paths island = subtract({group.front()}, holes);
            islands.insert(islands.end(), island.begin(), island.end());
        }
        group.clear();
    };
    for (const Contour& contour : surface.contours) {
        Path path = contour_path(contour);
        if (!ClipperLib::Orientation(path)) std::reverse(path.begin(), path.end());
        if (contour.island) {
            close_group();
            group.push_back(std::move(path));
        } else if (!group.empty()) {
            group.push_back(std::move(path));
        }
    }
    close_group();
    // One island without holes is taken as drawn: Clipper is slow on long
    // contours with many minima, and most surfaces are single contours.
    if (islands.size() == 1 && surface.contours.size() == 1) return islands;
    return unite(islands);
}

Surface surface_of(const Paths& outline)
{
    ClipperLib::Clipper clipper;
    clipper.AddPaths(outline, ClipperLib::ptSubject, true);
    ClipperLib::PolyTree tree;
    clipper.Execute(ClipperLib::ctUnion, tree, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    Surface surface;
    auto contour_of = [](const Path& path, bool island) {
        Contour c;
        c.island = island;
        c.start = {path.front().X, path.front().Y};
        for (std::size_t i = 1; i <= path.size(); ++i) {
            const IntPoint& q = path[i % path.size()];
            c.segments.push_back(Segment{{q.X, q.Y}, {}, false, false});
        }
        return c;
    };
    // Islands in the order Clipper nests them; an island inside a hole
    // comes after the island that owns the hole.
    std::vector<const ClipperLib::PolyNode*> islands(tree.Childs.begin(), tree.Childs.end());
    for (std::size_t i = 0; i < islands.size(); ++i) {
        const ClipperLib::PolyNode* island = islands[i];
        if (island->Contour.size() < 3) continue;
        surface.contours.push_back(contour_of(island->Contour, true));
        for (const ClipperLib::PolyNode* hole : island->Childs) {
            if (hole->Contour.size() >= 3) surface.contours.push_back(contour_of(hole->Contour, false));
            islands.insert(islands.end(), hole->Childs.begin(), hole->Childs.end());
        }
    }
    return surface;
}

Paths stroke_outline(const Path& centreline, const Symbol& symbol, const OutlineContext& context, int depth)
{
    if (centreline.empty()) return {};
    if (round_symbol(symbol)) {
        const IntPoint& first = centreline.front();
        if (centreline.size() == 1) return {circle(double(first.X), double(first.Y), symbol.p[0] / 2)};
        Paths pieces;
        for (std::size_t i = 1; i < centreline.size(); ++i) {
            const IntPoint& s = centreline[i - 1];
            const IntPoint& e = centreline[i];
            pieces.push_back(round_ended(double(s.X), double(s.Y), double(e.X), double(e.Y), symbol.p[0]));
        }
        return pieces.size() == 1 ? pieces : unite(pieces);
    }
    Paths pattern = symbol_outline(symbol, context, depth);
    if (pattern.empty()) return {};
    // The sweep of the pattern's outer edge, plus the pattern at both ends.
    Paths out;
    for (const Path& edge : pattern) {
        if (!ClipperLib::Orientation(edge)) continue;
        Paths swept;
        if (centreline.size() > 1) ClipperLib::MinkowskiSum(edge, centreline, swept, false);
        out.insert(out.end(), swept.begin(), swept.end());
        for (const IntPoint& end : {centreline.front(), centreline.back()}) {
            Path copy = edge;
            for (IntPoint& q : copy) {
                q.X += end.X;
                q.Y += end.Y;
            }
            out.push_back(std::move(copy));
        }
    }
    return unite(out);
}

Paths feature_outline(const Layer& layer, const Feature& f, const OutlineContext& context, int depth)
{
    const Symbol* symbol = symbol_of(layer, f);
    switch (f.kind) {
    case FeatureKind::Pad:
        if (!symbol) return {};
        return place(Placement{f.a, f.angle, f.mirror}, symbol_outline(*symbol, context, depth));
    case FeatureKind::Line:
        if (!symbol) return {};
        return stroke_outline(line_path(f.a, f.b), *symbol, context, depth);
    case FeatureKind::Arc:
        if (!symbol) return {};
        if (round_symbol(*symbol)) return round_arc(f.a, f.b, f.c, f.cw, symbol->p[0]);
        return stroke_outline(arc_points(f.a, f.b, f.c, f.cw), *symbol, context, depth);
    case FeatureKind::Surface:
        return f.body < layer.surfaces.size() ? surface_outline(layer.surfaces[f.body]) : Paths{};
    case FeatureKind::Text:
        return text_outline(layer, f, context);
    case FeatureKind::Barcode:
        return barcode_outline(layer, f, context);
    }
    return {};
}

Box feature_box(const Layer& layer, const Feature& f, const OutlineContext& context, int depth)
{
    const Symbol* symbol = symbol_of(layer, f);
    switch (f.kind) {
    case FeatureKind::Line:
    case FeatureKind::Arc: {
        if (!symbol) return {};
        Box path;
        if (f.kind == FeatureKind::Arc) {
            path = arc_box(f.a, f.b, f.c, f.cw);
        } else {
            path.add(f.a);
            path.add(f.b);
        }
        return grow(path, symbol_box(*symbol, context, depth));
    }
    case FeatureKind::Pad: {
        if (!symbol) return {};
        Box local = symbol_box(*symbol, context, depth);
        if (local.empty()) return {};
        if (round_family(symbol->family)) return grow(Box{f.a.x, f.a.y, f.a.x, f.a.y}, local);
        Box box;
        Placement how{f.a, f.angle, f.mirror};
        for (auto [x, y] : {std::pair{local.xmin, local.ymin}, std::pair{local.xmax, local.ymin},
                            std::pair{local.xmax, local.ymax}, std::pair{local.xmin, local.ymax}}) {
            IntPoint q = place(how, double(x), double(y));
            box.add(Point{q.X, q.Y});
        }
        // Rounding of the turned corners: one nanometre either way.
        return grow(box, Box{-1, -1, 1, 1});
    }
    case FeatureKind::Surface: {
        Box box;
        if (f.body >= layer.surfaces.size()) return box;
        for (const Contour& contour : layer.surfaces[f.body].contours) {
            if (!contour.island) continue;
            Point at = contour.start;
            box.add(at);
            for (const Segment& seg : contour.segments) {
                box.add(seg.arc ? arc_box(at, seg.end, seg.centre, seg.cw) : Box{seg.end.x, seg.end.y, seg.end.x, seg.end.y});
                at = seg.end;
            }
        }
        return box;
    }
    case FeatureKind::Text:
        return text_box(layer, f, context);
    case FeatureKind::Barcode:
        return barcode_box(layer, f, context);
    }
    return {};
}

Box layer_box(const Layer& layer, const OutlineContext& context, std::size_t first)
{
    Box box;
    for (std::size_t i = first; i < layer.features.size(); ++i) box.add(feature_box(layer, layer.features[i], context));
    return box;
}

Paths layer_outline(const Layer& layer, const OutlineContext& context, int depth)
{
    Painter painter;
    for (const Feature& f : layer.features)
        painter.add(feature_outline(layer, f, context, depth), f.polarity == Polarity::Positive);
    return painter.image();
}

} // namespace kesto::geom
