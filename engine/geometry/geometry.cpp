#include "engine/geometry/geometry.h"
#include "engine/geometry/grow.h"
#include "engine/geometry/prepared_outline.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kesto::geom {

namespace {

Paths run(ClipperLib::ClipType type, const Paths& a, const Paths& b)
{
    ClipperLib::Clipper clipper;
    clipper.AddPaths(a, ClipperLib::ptSubject, true);
    clipper.AddPaths(b, ClipperLib::ptClip, true);
    Paths out;
    clipper.Execute(type, out, ClipperLib::pftNonZero, ClipperLib::pftNonZero);
    return out;
}

// Outlines with more edges than this are measured through an R-tree.
constexpr std::size_t kBruteForceEdges = 64;


} // namespace

ClipperLib::cInt to_nm(double v)
{
    if (std::isnan(v)) return 0;
    return static_cast<ClipperLib::cInt>(std::llround(std::clamp(v, -kMaxCoord, kMaxCoord)));
}

void Painter::add(const Paths& outline, bool positive)
{
    if (positive != positive_) {
        flush();
        positive_ = positive;
    }
    pending_.insert(pending_.end(), outline.begin(), outline.end());
}

void Painter::flush()
{
    if (pending_.empty()) return;
    image_ = positive_ ? unite(image_, pending_) : subtract(image_, pending_);
    pending_.clear();
}

Paths Painter::image()
{
    flush();
    return image_;
}

int arc_chords(double radius, double sweep)
{
    sweep = std::fabs(sweep);
    int full = kMinCircleSegments;
    if (radius > 0) {
        double error = std::min(kMaxChordError, kRelativeChordError * radius);
        double half_step = std::acos(std::max(-1.0, 1.0 - error / radius));
        if (half_step > 0) full = static_cast<int>(std::ceil(kPi / half_step));
        full = std::clamp(full, kMinCircleSegments, kMaxCircleSegments);
    }
    return std::max(1, static_cast<int>(std::ceil(full * sweep / (2 * kPi) - 1e-9)));
}

void append_arc(Path& path, double cx, double cy, double radius, double from, double sweep)
{
    int n = arc_chords(radius, sweep);
    for (int i = 0; i < n; ++i) {
        double t = from + sweep * i / n;
        path.push_back({to_nm(cx + radius * std::cos(t)), to_nm(cy + radius * std::sin(t))});
    }
}

Path arc_points(const Point& start, const Point& end, const Point& centre, bool cw)
{
    double sx = double(start.x - centre.x), sy = double(start.y - centre.y);
    double ex = double(end.x - centre.x), ey = double(end.y - centre.y);
    double radius = std::hypot(sx, sy);
    double from = std::atan2(sy, sx);
    double to = std::atan2(ey, ex);
    double sweep = to - from;
    if (cw) {
        while (sweep >= 0) sweep -= 2 * kPi;
    } else {
        while (sweep <= 0) sweep += 2 * kPi;
    }
    // Start and end points that differ by less than a nanometre close a circle.
    if (start == end) sweep = cw ? -2 * kPi : 2 * kPi;
    Path path;
    if (radius == 0) {
        path.push_back({start.x, start.y});
        return path;
    }
    append_arc(path, double(centre.x), double(centre.y), radius, from, sweep);
    path.push_back({end.x, end.y});
    return path;
}

Path circle(double cx, double cy, double radius)
{
    Path path;
    append_arc(path, cx, cy, radius, 0, 2 * kPi);
    return path;
}

Path rectangle(double xmin, double ymin, double xmax, double ymax)
{
    return {{to_nm(xmin), to_nm(ymin)}, {to_nm(xmax), to_nm(ymin)},
            {to_nm(xmax), to_nm(ymax)}, {to_nm(xmin), to_nm(ymax)}};
}

IntPoint place(const Placement& how, double x, double y)
{
    if (how.mirror) x = -x;
    double t = how.angle * kPi / 180.0;
    double c = std::cos(t), s = std::sin(t);
    // Exact quarter turns keep integer coordinates exact.
    if (std::fmod(how.angle, 90.0) == 0) {
        c = std::round(c);
        s = std::round(s);
    }
    return {to_nm(double(how.at.x) + x * c + y * s), to_nm(double(how.at.y) - x * s + y * c)};
}

Paths place(const Placement& how, const Paths& local)
{
    Paths out;
    out.reserve(local.size());
    for (const Path& path : local) {
        Path moved;
        moved.reserve(path.size());
        for (const IntPoint& p : path) moved.push_back(place(how, double(p.X), double(p.Y)));
        // A mirror turns islands clockwise: turn them back.
        if (how.mirror) std::reverse(moved.begin(), moved.end());
        out.push_back(std::move(moved));
    }
    return out;
}

Paths unite(const Paths& a, const Paths& b) { return run(ClipperLib::ctUnion, a, b); }
Paths subtract(const Paths& a, const Paths& b) { return run(ClipperLib::ctDifference, a, b); }
Paths intersect(const Paths& a, const Paths& b) { return run(ClipperLib::ctIntersection, a, b); }
Paths exclusive_or(const Paths& a, const Paths& b) { return run(ClipperLib::ctXor, a, b); }

Paths clip_to_box(const Paths& outline, const Box& box)
{
    Paths out;
    for (const Path& path : outline) {
        Path piece = path;
        // Each side keeps the points on its inner side: x >= xmin, x <= xmax, y >= ymin, y <= ymax.
        for (int side = 0; side < 4 && !piece.empty(); ++side) {
            auto coord = [side](const IntPoint& p) { return double(side < 2 ? p.X : p.Y); };
            double limit = double(side == 0 ? box.xmin : side == 1 ? box.xmax : side == 2 ? box.ymin : box.ymax);
            bool keep_above = side % 2 == 0;
            auto inside = [&](const IntPoint& p) { return keep_above ? coord(p) >= limit : coord(p) <= limit; };
            Path kept;
            for (std::size_t i = 0; i < piece.size(); ++i) {
                const IntPoint& a = piece[i];
                const IntPoint& b = piece[(i + 1) % piece.size()];
                if (inside(a)) kept.push_back(a);
                if (inside(a) != inside(b)) {
                    double t = (limit - coord(a)) / (coord(b) - coord(a));
                    double x = double(a.X) + t * double(b.X - a.X), y = double(a.Y) + t * double(b.Y - a.Y);
                    kept.push_back(side < 2 ? IntPoint{to_nm(limit), to_nm(y)} : IntPoint{to_nm(x), to_nm(limit)});
                }
            }
            piece = std::move(kept);
        }
        if (piece.size() >= 3) out.push_back(std::move(piece));
    }
    return out;
}

namespace {

Paths offset_with(const Paths& outline, double delta, Join join, double chord_error)
{
    ClipperLib::ClipperOffset grower;
    grower.ArcTolerance = chord_error;
    ClipperLib::JoinType type = join == Join::Round    ? ClipperLib::jtRound
                                : join == Join::Square ? ClipperLib::jtSquare
                                                       : ClipperLib::jtMiter;
    grower.AddPaths(outline, type, ClipperLib::etClosedPolygon);
    Paths out;
    grower.Execute(out, delta);
    return unite(out);
}

} // namespace

Paths offset(const Paths& outline, double delta, Join join) { return offset_with(outline, delta, join, kMaxChordError); }

Paths grow(const Paths& outline, double delta, Join join)
{
    const double chord = std::max(kMaxChordError, std::fabs(delta) * 1e-3);
    if (delta <= chord || outline.size() < 2) return offset_with(outline, delta, join, chord);
    // A hole whose box is no wider than twice the growth, across its narrow
    // side, is filled whatever its shape: every point of it lies within half
    // that width of its edge. Dropping such holes first is exact and keeps a
    // pour with thousands of clearances from overlapping itself thousands of
    // times in the sweep.
    size_t largest = 0;
    for (size_t k = 1; k < outline.size(); ++k)
        if (std::fabs(ClipperLib::Area(outline[k])) > std::fabs(ClipperLib::Area(outline[largest]))) largest = k;
    const bool outer_turn = ClipperLib::Orientation(outline[largest]);
    const double fills = 2 * (delta - chord);
    Paths kept;
    kept.reserve(outline.size());
    for (const Path& path : outline) {
        if (ClipperLib::Orientation(path) != outer_turn) {
            const Box b = box_of(path);
            if (std::min(b.xmax - b.xmin, b.ymax - b.ymin) <= fills) continue;
        }
        kept.push_back(path);
    }
    return offset_with(kept, delta, join, chord);
}

double area(const Paths& outline)
{
    double sum = 0;
    for (const Path& path : outline) sum += ClipperLib::Area(path);
    return sum;
}

Box box_of(const Path& path)
{
    Box box;
    for (const IntPoint& p : path) box.add(Point{p.X, p.Y});
    return box;
}

Box box_of(const Paths& outline)
{
    Box box;
    for (const Path& path : outline) box.add(box_of(path));
    return box;
}

Where locate(const IntPoint& p, const Paths& outline)
{
    int winding = 0;
    for (const Path& path : outline) {
        int in = ClipperLib::PointInPolygon(p, path);
        if (in < 0) return Where::OnEdge;
        if (in > 0) winding += ClipperLib::Orientation(path) ? 1 : -1;
    }
    return winding > 0 ? Where::Inside : Where::Outside;
}

Closest segment_point(double x1, double y1, double x2, double y2, double px, double py)
{
    double dx = x2 - x1, dy = y2 - y1;
    double len2 = dx * dx + dy * dy;
    double t = len2 > 0 ? std::clamp(((px - x1) * dx + (py - y1) * dy) / len2, 0.0, 1.0) : 0.0;
    Closest c;
    c.ax = x1 + t * dx;
    c.ay = y1 + t * dy;
    c.bx = px;
    c.by = py;
    c.distance = std::hypot(c.ax - px, c.ay - py);
    return c;
}

Closest segment_segment(double ax1, double ay1, double ax2, double ay2,
                        double bx1, double by1, double bx2, double by2)
{
    // Proper crossing: distance 0 at the crossing point.
    double rx = ax2 - ax1, ry = ay2 - ay1, sx = bx2 - bx1, sy = by2 - by1;
    double denom = rx * sy - ry * sx;
    if (denom != 0) {
        double t = ((bx1 - ax1) * sy - (by1 - ay1) * sx) / denom;
        double u = ((bx1 - ax1) * ry - (by1 - ay1) * rx) / denom;
        if (t >= 0 && t <= 1 && u >= 0 && u <= 1) {
            Closest c;
            c.ax = c.bx = ax1 + t * rx;
            c.ay = c.by = ay1 + t * ry;
            return c;
        }
    }
    // Otherwise the closest pair involves an end point of one of them.
    Closest best = segment_point(ax1, ay1, ax2, ay2, bx1, by1);
    Closest c = segment_point(ax1, ay1, ax2, ay2, bx2, by2);
    if (c.distance < best.distance) best = c;
    for (auto [px, py] : {std::pair{ax1, ay1}, std::pair{ax2, ay2}}) {
        c = segment_point(bx1, by1, bx2, by2, px, py);
        if (c.distance < best.distance) {
            best.distance = c.distance;
            best.ax = px;
            best.ay = py;
            best.bx = c.ax;
            best.by = c.ay;
        }
    }
    return best;
}

std::vector<Edge> edges_of(const Paths& outline)
{
    std::vector<Edge> edges;
    for (const Path& path : outline) {
        for (std::size_t i = 0; i < path.size(); ++i) {
            const IntPoint& s = path[i];
            const IntPoint& e = path[(i + 1) % path.size()];
            edges.push_back({double(s.X), double(s.Y), double(e.X), double(e.Y), double(std::min(s.X, e.X)),
                             double(std::min(s.Y, e.Y)), double(std::max(s.X, e.X)), double(std::max(s.Y, e.Y))});
        }
    }
    return edges;
}

double box_gap(const Edge& a, const Edge& b)
{
    double dx = std::max({0.0, a.xmin - b.xmax, b.xmin - a.xmax});
    double dy = std::max({0.0, a.ymin - b.ymax, b.ymin - a.ymax});
    return std::hypot(dx, dy);
}

bool segment_meets_box(const Edge& e, const Box& b)
{
    // Liang-Barsky: clip the segment's parameter range to the box.
    double t0 = 0, t1 = 1, dx = e.x2 - e.x1, dy = e.y2 - e.y1;
    const double p[4] = {-dx, dx, -dy, dy};
    const double q[4] = {e.x1 - double(b.xmin), double(b.xmax) - e.x1, e.y1 - double(b.ymin), double(b.ymax) - e.y1};
    for (int i = 0; i < 4; ++i) {
        if (p[i] == 0) {
            if (q[i] < 0) return false;
            continue;
        }
        double t = q[i] / p[i];
        if (p[i] < 0) {
            if (t > t1) return false;
            t0 = std::max(t0, t);
        } else {
            if (t < t0) return false;
            t1 = std::min(t1, t);
        }
    }
    return true;
}

std::optional<Closest> contact_by_containment(const Paths& a, const Paths& b)
{
    for (const auto& [inner, outer] : {std::pair{&a, &b}, std::pair{&b, &a}}) {
        for (const Path& path : *inner) {
            if (path.empty() || locate(path.front(), *outer) == Where::Outside) continue;
            double x = double(path.front().X), y = double(path.front().Y);
            return Closest{0, x, y, x, y};
        }
    }
    return std::nullopt;
}

Closest outline_point_distance(const Paths& a, double px, double py)
{
    std::vector<Edge> edges = edges_of(a);
    if (edges.size() > kBruteForceEdges) return PreparedOutline(a).distance(px, py);
    Closest best;
    best.distance = std::numeric_limits<double>::infinity();
    if (edges.empty()) return best;
    if (locate(IntPoint{to_nm(px), to_nm(py)}, a) != Where::Outside) return Closest{0, px, py, px, py};
    for (const Edge& e : edges) {
        Closest c = segment_point(e.x1, e.y1, e.x2, e.y2, px, py);
        if (c.distance < best.distance) best = c;
    }
    return best;
}

Closest outline_distance(const Paths& a, const Paths& b)
{
    Closest best;
    best.distance = std::numeric_limits<double>::infinity();
    std::vector<Edge> ea = edges_of(a), eb = edges_of(b);
    if (ea.empty() || eb.empty()) return best;
    if (ea.size() * eb.size() > kBruteForceEdges * kBruteForceEdges) {
        if (ea.size() >= eb.size()) return PreparedOutline(a).distance(b);
        Closest c = PreparedOutline(b).distance(a);
        return Closest{c.distance, c.bx, c.by, c.ax, c.ay};
    }
    if (auto contact = contact_by_containment(a, b)) return *contact;
    for (const Edge& s : ea) {
        for (const Edge& t : eb) {
            if (box_gap(s, t) >= best.distance) continue;
            Closest c = segment_segment(s.x1, s.y1, s.x2, s.y2, t.x1, t.y1, t.x2, t.y2);
            if (c.distance < best.distance) {
                best = c;
                if (best.distance == 0) return best;
            }
        }
    }
    return best;
}

} // namespace kesto::geom
