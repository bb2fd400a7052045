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

    // Each edge's crossings with the grid rows, bucketed by row: a row at y
    // is crossed by an edge whose ends lie on either side (one end on the
    // row counts as above it).
    const long long rows = (last.y - first.y) / py + 1;
    struct Crossing {
        double x;
        int winding;
    };
    std::vector<std::vector<Crossing>> by_row(static_cast<size_t>(rows));
    for (const geom::Path& path : fits)
        for (size_t k = 0; k < path.size(); ++k) {
            const geom::IntPoint& a = path[k];
            const geom::IntPoint& b = path[(k + 1) % path.size()];
            if (a.Y == b.Y) continue;
            const Coord lo = std::min(a.Y, b.Y), hi = std::max(a.Y, b.Y);
            // Rows j with lo <= y_j < hi.
            long long j0 = lo <= first.y ? 0 : (lo - first.y + py - 1) / py;
            long long j1 = hi <= first.y ? -1 : std::min<long long>(rows - 1, (hi - 1 - first.y) / py);
            for (long long j = j0; j <= j1; ++j) {
                const double y = double(first.y + j * py);
                const double t = (y - double(a.Y)) / double(b.Y - a.Y);
                by_row[size_t(j)].push_back({double(a.X) + t * double(b.X - a.X), b.Y > a.Y ? 1 : -1});
            }
        }
    for (long long j = 0; j < rows; ++j) {
        std::vector<Crossing>& c = by_row[size_t(j)];
        std::sort(c.begin(), c.end(), [](const Crossing& l, const Crossing& r) { return l.x < r.x; });
        int winding = 0;
        for (size_t k = 0; k + 1 < c.size(); ++k) {
            winding += c[k].winding;
            if (winding == 0) continue;
            // Grid columns strictly inside (c[k].x, c[k+1].x).
            const double from = c[k].x, to = c[k + 1].x;
            long long i = std::max(0LL, (long long)std::floor((from - double(first.x)) / double(px)) + 1);
            for (;; ++i) {
                const Coord x = first.x + i * px;
                if (x > last.x || double(x) >= to) break;
                if (double(x) > from) out.push_back({x, first.y + j * py});
            }
        }
    }
    return out;
}

} // namespace kesto::edit
