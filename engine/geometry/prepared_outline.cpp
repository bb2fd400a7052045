#include "engine/geometry/prepared_outline.h"

#include <boost/iterator/function_output_iterator.hpp>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kesto::geom {

namespace bgi = boost::geometry::index;

namespace {

Closest far_away()
{
    Closest c;
    c.distance = std::numeric_limits<double>::infinity();
    return c;
}

} // namespace

PreparedOutline::PreparedOutline(Paths outline) : outline_(std::move(outline)), edges_(edges_of(outline_))
{
    std::vector<Entry> entries;
    entries.reserve(edges_.size());
    for (std::size_t i = 0; i < edges_.size(); ++i) {
        const Edge& e = edges_[i];
        entries.emplace_back(Rect{{e.xmin, e.ymin}, {e.xmax, e.ymax}}, std::uint32_t(i));
    }
    tree_ = decltype(tree_)(entries.begin(), entries.end());
    std::vector<std::pair<Corner, std::uint32_t>> starts;
    for (std::size_t i = 0; i < outline_.size(); ++i)
        if (!outline_[i].empty())
            starts.emplace_back(Corner{double(outline_[i].front().X), double(outline_[i].front().Y)}, std::uint32_t(i));
    ring_starts_ = decltype(ring_starts_)(starts.begin(), starts.end());
    if (!edges_.empty()) xmin_ = ymin_ = std::numeric_limits<double>::infinity(), xmax_ = ymax_ = -xmin_;
    for (const Edge& e : edges_) {
        xmin_ = std::min(xmin_, e.xmin), ymin_ = std::min(ymin_, e.ymin);
        xmax_ = std::max(xmax_, e.xmax), ymax_ = std::max(ymax_, e.ymax);
    }
}

Where PreparedOutline::locate(double x, double y) const
{
    // A plane's ray crosses every clearance ring in its row: the shortest of
    // the four rays meets the fewest. Each direction is worked as a
    // rightward ray in its own frame (a turn or a mirror, which keeps the
    // winding number non-zero or zero).
    const double to[4] = {xmax_ - x, x - xmin_, ymax_ - y, y - ymin_};
    const int dir = int(std::min_element(to, to + 4) - to);
    auto frame = [dir](double px, double py, double& u, double& v) {
        switch (dir) {
        case 0: u = px, v = py; break;
        case 1: u = -px, v = py; break;
        case 2: u = py, v = px; break;
        default: u = -py, v = px; break;
        }
    };
    const Rect ray = dir == 0   ? Rect{{x, y}, {std::max(x, xmax_), y}}
                     : dir == 1 ? Rect{{std::min(x, xmin_), y}, {x, y}}
                     : dir == 2 ? Rect{{x, y}, {x, std::max(y, ymax_)}}
                                : Rect{{x, std::min(y, ymin_)}, {x, y}};
    double qu, qv;
    frame(x, y, qu, qv);
    int winding = 0;
    bool on_edge = false;
    tree_.query(bgi::intersects(ray), boost::iterators::make_function_output_iterator([&](const Entry& hit) {
                    const Edge& e = edges_[hit.second];
                    const double on = (e.x2 - e.x1) * (y - e.y1) - (e.y2 - e.y1) * (x - e.x1);
                    if (on == 0 && x >= e.xmin && x <= e.xmax && y >= e.ymin && y <= e.ymax) on_edge = true;
                    double u1, v1, u2, v2;
                    frame(e.x1, e.y1, u1, v1);
                    frame(e.x2, e.y2, u2, v2);
                    // Half-open across the ray so that a vertex on it counts once.
                    if ((v1 <= qv) == (v2 <= qv)) return;
                    const double cross = (u2 - u1) * (qv - v1) - (v2 - v1) * (qu - u1);
                    if (v2 > v1 ? cross > 0 : cross < 0) winding += v2 > v1 ? 1 : -1;
                }));
    if (on_edge) return Where::OnEdge;
    return winding != 0 ? Where::Inside : Where::Outside;
}

Closest PreparedOutline::seed(double x, double y) const
{
    Closest best = far_away();
    tree_.query(bgi::nearest(Corner{x, y}, 1), boost::iterators::make_function_output_iterator([&](const Entry& hit) {
                    const Edge& e = edges_[hit.second];
                    best = segment_point(e.x1, e.y1, e.x2, e.y2, x, y);
                }));
    return best;
}

void PreparedOutline::refine(const Edge& e, Closest& best) const
{
    double d = best.distance;
    Rect reach{{e.xmin - d, e.ymin - d}, {e.xmax + d, e.ymax + d}};
    tree_.query(bgi::intersects(reach), boost::iterators::make_function_output_iterator([&](const Entry& hit) {
                    const Edge& t = edges_[hit.second];
                    if (box_gap(t, e) >= best.distance) return;
                    Closest c = segment_segment(t.x1, t.y1, t.x2, t.y2, e.x1, e.y1, e.x2, e.y2);
                    if (c.distance < best.distance) best = c;
                }));
}

void PreparedOutline::near_edges(std::uint32_t i, double reach, const std::function<void(std::uint32_t)>& on_edge) const
{
    const Edge& e = edges_[i];
    Rect around{{e.xmin - reach, e.ymin - reach}, {e.xmax + reach, e.ymax + reach}};
    tree_.query(bgi::intersects(around),
                boost::iterators::make_function_output_iterator([&](const Entry& hit) { on_edge(hit.second); }));
}

Closest PreparedOutline::distance(const Paths& other) const
{
    std::vector<Edge> edges = edges_of(other);
    if (edges_.empty() || edges.empty()) return far_away();
    // A vertex of either inside the other is a contact.
    for (const Path& path : other) {
        if (path.empty() || locate(double(path.front().X), double(path.front().Y)) == Where::Outside) continue;
        double x = double(path.front().X), y = double(path.front().Y);
        return Closest{0, x, y, x, y};
    }
    const Box other_box = box_of(other);
    const Rect window{{double(other_box.xmin), double(other_box.ymin)}, {double(other_box.xmax), double(other_box.ymax)}};
    for (auto it = ring_starts_.qbegin(bgi::intersects(window)); it != ring_starts_.qend(); ++it) {
        const IntPoint& v = outline_[it->second].front();
        if (geom::locate(v, other) == Where::Outside) continue;
        double x = double(v.X), y = double(v.Y);
        return Closest{0, x, y, x, y};
    }
    Closest best = seed(edges.front().x1, edges.front().y1);
    for (const Edge& e : edges) {
        if (best.distance == 0) break;
        refine(e, best);
    }
    return best;
}

Closest PreparedOutline::distance(const PreparedOutline& other) const
{
    if (edges_.empty() || other.edges_.empty()) return far_away();
    // A ring of either starting inside the other is a contact; only rings
    // starting within the other's box can.
    auto contact = [](const PreparedOutline& in, const PreparedOutline& of, Closest& c) {
        const Rect window{{in.xmin_, in.ymin_}, {in.xmax_, in.ymax_}};
        for (auto it = of.ring_starts_.qbegin(bgi::intersects(window)); it != of.ring_starts_.qend(); ++it) {
            const double x = it->first.get<0>(), y = it->first.get<1>();
            if (in.locate(x, y) == Where::Outside) continue;
            c = Closest{0, x, y, x, y};
            return true;
        }
        return false;
    };
    Closest touch;
    if (contact(*this, other, touch) || contact(other, *this, touch)) return touch;
    // A first bound from the other's edge nearest this outline's box, then
    // every edge of the other within that bound of the box.
    const Rect box{{xmin_, ymin_}, {xmax_, ymax_}};
    Closest best = far_away();
    other.tree_.query(bgi::nearest(box, 1), boost::iterators::make_function_output_iterator([&](const Entry& hit) {
                          const Edge& e = other.edges_[hit.second];
                          best = seed(e.x1, e.y1);
                          refine(e, best);
                      }));
    const double d = best.distance;
    const Rect reach{{xmin_ - d, ymin_ - d}, {xmax_ + d, ymax_ + d}};
    for (auto it = other.tree_.qbegin(bgi::intersects(reach)); it != other.tree_.qend() && best.distance > 0; ++it)
        refine(other.edges_[it->second], best);
    return best;
}

Closest PreparedOutline::distance(double px, double py) const
{
    if (edges_.empty()) return far_away();
    if (locate(px, py) != Where::Outside) return Closest{0, px, py, px, py};
    Closest best = seed(px, py);
    refine(Edge{px, py, px, py, px, py, px, py}, best);
    return best;
}

Closest PreparedOutline::edge_distance(double x, double y) const
{
    if (edges_.empty()) return far_away();
    Closest best = seed(x, y);
    refine(Edge{x, y, x, y, x, y, x, y}, best);
    return best;
}

Closest PreparedOutline::distance(double x1, double y1, double x2, double y2) const
{
    if (edges_.empty()) return far_away();
    if (locate(x1, y1) != Where::Outside) return Closest{0, x1, y1, x1, y1};
    Closest best = seed(x1, y1);
    refine(Edge{x1, y1, x2, y2, std::min(x1, x2), std::min(y1, y2), std::max(x1, x2), std::max(y1, y2)}, best);
    return best;
}

} // namespace kesto::geom
