#include "engine/edit/fill.h"

#include <algorithm>
#include <cmath>

namespace kesto::edit {

std::vector<Point> grid_inside(const geom::Paths& area, const geom::Path& pad, Point first, Point last, Coord px,
                               Coord py)
{
    std::vector<Point> out;
    if (area.empty() || pad.size() < 3 || px <= 0 || py <= 0 || last.x < first.x || last.y < first.y) return out;
    geom::Path reflected(pad);
    for (geom::IntPoint& q : reflected) q = {-q.X, -q.Y};
    // The edges alone, not the filled area: each path swept as an open
    // polyline that returns to its start.
    geom::Paths edges = area;
    for (geom::Path& e : edges) e.push_back(e.front());
    geom::Paths swept;
    ClipperLib::MinkowskiSum(reflected, edges, swept, false);
    const geom::Paths fits = geom::subtract(area, geom::unite(swept));

    // Each row is cut just below and just above its line (half a nanometre
    // off, where no vertex lies), and a column counts only when it is inside
    // both: a row running along an edge of the shrunk area touches it and
    // stays out.
    struct Crossing {
        double x;
        int winding;
    };
    const long long rows = (last.y - first.y) / py + 1;
    if (rows > 4000000) return out; // callers bound the pad count; this bounds the rows alone
    auto inside_spans = [&](int side) {
        std::vector<std::vector<Crossing>> by_row(static_cast<size_t>(rows));
        for (const geom::Path& path : fits)
            for (size_t k = 0; k < path.size(); ++k) {
                const geom::IntPoint& a = path[k];
                const geom::IntPoint& b = path[(k + 1) % path.size()];
                if (a.Y == b.Y) continue;
                const Coord lo = std::min(a.Y, b.Y), hi = std::max(a.Y, b.Y);
                // Rows j whose line y_j + side / 2 lies between lo and hi.
                const Coord from = side > 0 ? lo : lo + 1, to = side > 0 ? hi - 1 : hi;
                long long j0 = from <= first.y ? 0 : (from - first.y + py - 1) / py;
                long long j1 = to < first.y ? -1 : std::min<long long>(rows - 1, (to - first.y) / py);
                for (long long j = j0; j <= j1; ++j) {
                    const double y = double(first.y + j * py) + 0.5 * side;
                    const double t = (y - double(a.Y)) / double(b.Y - a.Y);
                    by_row[size_t(j)].push_back({double(a.X) + t * double(b.X - a.X), b.Y > a.Y ? 1 : -1});
                }
            }
        std::vector<std::vector<std::pair<double, double>>> spans(static_cast<size_t>(rows));
        for (long long j = 0; j < rows; ++j) {
            std::vector<Crossing>& c = by_row[size_t(j)];
            std::sort(c.begin(), c.end(), [](const Crossing& l, const Crossing& r) { return l.x < r.x; });
            int winding = 0;
            for (size_t k = 0; k + 1 < c.size(); ++k) {
                winding += c[k].winding;
                if (winding != 0) spans[size_t(j)].push_back({c[k].x, c[k + 1].x});
            }
        }
        return spans;
    };
    const auto below = inside_spans(-1), above = inside_spans(1);
    for (long long j = 0; j < rows; ++j)
        for (const auto& [b0, b1] : below[size_t(j)])
            for (const auto& [a0, a1] : above[size_t(j)]) {
                // Grid columns strictly inside both spans.
                const double from = std::max(b0, a0), to = std::min(b1, a1);
                if (!(from < to)) continue;
                long long i = std::max(0LL, (long long)std::floor((from - double(first.x)) / double(px)));
                for (;; ++i) {
                    const Coord x = first.x + i * px;
                    if (x > last.x || double(x) >= to) break;
                    if (double(x) > from) out.push_back({x, first.y + j * py});
                }
            }
    std::sort(out.begin(), out.end(), [](const Point& l, const Point& r) { return l.y != r.y ? l.y < r.y : l.x < r.x; });
    return out;
}

} // namespace kesto::edit
