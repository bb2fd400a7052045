#include "engine/geometry/area_parts.h"
#include "engine/geometry/layer_index.h"

#include <boost/iterator/function_output_iterator.hpp>

#include <limits>
#include <memory>
#include <numeric>

namespace kesto::geom {

namespace {

namespace bg = boost::geometry;
namespace bgi = boost::geometry::index;

// Outlines with more vertices than this are large (pours, planes, long
// routed outlines): a box overlap with them says little, so their contacts
// are worked out on the edges. Smaller features join on box overlap alone,
// which may join two that do not touch; that costs a little union, never
// area.
constexpr std::size_t kLargeVertices = 200;

struct Groups {
    std::vector<std::uint32_t> parent;
    explicit Groups(std::size_t n) : parent(n) { std::iota(parent.begin(), parent.end(), 0u); }
    std::uint32_t root(std::uint32_t i)
    {
        while (parent[i] != i) i = parent[i] = parent[parent[i]];
        return i;
    }
    void join(std::uint32_t a, std::uint32_t b)
    {
        a = root(a), b = root(b);
        if (a != b) parent[std::max(a, b)] = std::min(a, b);
    }
};

std::size_t vertices(const Paths& outline)
{
    std::size_t n = 0;
    for (const Path& p : outline) n += p.size();
    return n;
}

struct Segment {
    IntPoint a, b;
};

// Sign of the turn a -> b -> c, exact for any nanometre coordinate.
int turn(const IntPoint& a, const IntPoint& b, const IntPoint& c)
{
    const __int128 d = __int128(b.X - a.X) * (c.Y - a.Y) - __int128(b.Y - a.Y) * (c.X - a.X);
    return d > 0 ? 1 : d < 0 ? -1 : 0;
}

bool within(const IntPoint& a, const IntPoint& b, const IntPoint& p)
{
    return std::min(a.X, b.X) <= p.X && p.X <= std::max(a.X, b.X) && std::min(a.Y, b.Y) <= p.Y &&
           p.Y <= std::max(a.Y, b.Y);
}

// Do two closed segments share a point?
bool meet(const Segment& s, const Segment& t)
{
    const int d1 = turn(t.a, t.b, s.a), d2 = turn(t.a, t.b, s.b);
    const int d3 = turn(s.a, s.b, t.a), d4 = turn(s.a, s.b, t.b);
    if (d1 * d2 < 0 && d3 * d4 < 0) return true;
    return (d1 == 0 && within(t.a, t.b, s.a)) || (d2 == 0 && within(t.a, t.b, s.b)) ||
           (d3 == 0 && within(s.a, s.b, t.a)) || (d4 == 0 && within(s.a, s.b, t.b));
}

template <class OnSegment>
void for_each_segment(const Paths& outline, OnSegment&& on_segment)
{
    for (const Path& p : outline)
        for (std::size_t k = 0; k < p.size(); ++k) on_segment(Segment{p[k], p[(k + 1) % p.size()]});
}

using Corner = bg::model::point<double, 2, bg::cs::cartesian>;
using Rect = bg::model::box<Corner>;

Rect rect_of(const Box& b) { return {{double(b.xmin), double(b.ymin)}, {double(b.xmax), double(b.ymax)}}; }

// A large outline made ready for the two questions asked of it: does
// another outline's boundary meet its boundary, and is a point inside.
class LargeOutline {
public:
    explicit LargeOutline(const Paths& outline)
    {
        std::vector<std::pair<Rect, std::uint32_t>> entries;
        for_each_segment(outline, [&](const Segment& s) {
            entries.push_back({Rect{{double(std::min(s.a.X, s.b.X)), double(std::min(s.a.Y, s.b.Y))},
                                    {double(std::max(s.a.X, s.b.X)), double(std::max(s.a.Y, s.b.Y))}},
                               std::uint32_t(segments_.size())});
            segments_.push_back(s);
            xmax_ = std::max({xmax_, s.a.X, s.b.X});
        });
        tree_ = decltype(tree_)(entries.begin(), entries.end());
        std::vector<std::pair<Rect, std::uint32_t>> rings;
        for (std::uint32_t r = 0; r < outline.size(); ++r)
            if (!outline[r].empty()) rings.push_back({rect_of(box_of(outline[r])), r});
        rings_ = decltype(rings_)(rings.begin(), rings.end());
        outline_ = &outline;
    }

    bool boundaries_meet(const Paths& other, const Box& other_box) const
    {
        std::vector<const Segment*> near;
        tree_.query(bgi::intersects(rect_of(other_box)),
                    boost::iterators::make_function_output_iterator([&](const auto& hit) { near.push_back(&segments_[hit.second]); }));
        if (near.empty()) return false;
        bool met = false;
        if (near.size() > 64) {
            // A long outline against a long outline: look up each edge's neighbours.
            for_each_segment(other, [&](const Segment& s) {
                if (met) return;
                const Rect r{{double(std::min(s.a.X, s.b.X)), double(std::min(s.a.Y, s.b.Y))},
                             {double(std::max(s.a.X, s.b.X)), double(std::max(s.a.Y, s.b.Y))}};
                for (auto it = tree_.qbegin(bgi::intersects(r)); it != tree_.qend(); ++it)
                    if (meet(s, segments_[it->second])) {
                        met = true;
                        return;
                    }
            });
            return met;
        }
        for_each_segment(other, [&](const Segment& s) {
            if (met) return;
            for (const Segment* t : near)
                if (meet(s, *t)) {
                    met = true;
                    return;
                }
        });
        return met;
    }

    // How the other outline stands, given that their boundaries do not meet:
    // `some` when any of its rings starts inside this one or any ring of this
    // one (a hole) lies within it; `whole` when every ring of it starts inside
    // and no ring of this one lies within it.
    struct Cover {
        bool some = false, whole = true;
    };
    Cover covers(const Paths& other, const Box& other_box) const
    {
        Cover c;
        for (const Path& p : other) {
            if (p.empty()) continue;
            const bool in = inside(p.front());
            c.some = c.some || in;
            c.whole = c.whole && in;
        }
        for (auto it = rings_.qbegin(bgi::within(rect_of(other_box))); it != rings_.qend(); ++it)
            if (geom::locate((*outline_)[it->second].front(), other) != Where::Outside) {
                c.some = true;
                c.whole = false;
                break;
            }
        return c;
    }

private:
    // Non-zero winding of p about the outline, looking only at the edges its
    // rightward ray meets; on an edge counts as inside.
    bool inside(const IntPoint& p) const
    {
        int winding = 0;
        bool on_edge = false;
        const Rect ray{{double(p.X), double(p.Y)}, {double(std::max(p.X, xmax_)), double(p.Y)}};
        for (auto it = tree_.qbegin(bgi::intersects(ray)); it != tree_.qend() && !on_edge; ++it) {
            const Segment& e = segments_[it->second];
            const int side = turn(e.a, e.b, p);
            if (side == 0 && within(e.a, e.b, p)) on_edge = true;
            if ((e.a.Y <= p.Y) == (e.b.Y <= p.Y)) continue; // half-open: a vertex on the ray counts once
            if (e.b.Y > e.a.Y ? side > 0 : side < 0) winding += e.b.Y > e.a.Y ? 1 : -1;
        }
        return on_edge || winding != 0;
    }

    std::vector<Segment> segments_;
    ClipperLib::cInt xmax_ = std::numeric_limits<ClipperLib::cInt>::min();
    bgi::rtree<std::pair<Rect, std::uint32_t>, bgi::quadratic<16>> tree_;
    bgi::rtree<std::pair<Rect, std::uint32_t>, bgi::quadratic<16>> rings_; // each ring's box
    const Paths* outline_ = nullptr;
};

// Clipper's union gives outer rings counter-clockwise; one simple ring
// painted alone only needs turning that way.
bool append_alone(const Paths& outline, Paths& image)
{
    if (outline.size() != 1 || outline.front().size() < 3) return false;
    const double a = ClipperLib::Area(outline.front());
    if (a == 0) return true;
    image.push_back(outline.front());
    if (a < 0) std::reverse(image.back().begin(), image.back().end());
    return true;
}

bool overlap(const Box& a, const Box& b)
{
    return a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax;
}

} // namespace

Paths layer_outline_by_parts(const Layer& layer, const OutlineContext& context)
{
    const std::size_t n = layer.features.size();
    std::vector<Paths> outlines(n);
    std::vector<Box> boxes(n);
    std::vector<std::unique_ptr<LargeOutline>> large(n);
    bool all_positive = true;
    for (std::size_t i = 0; i < n; ++i) {
        outlines[i] = feature_outline(layer, layer.features[i], context);
        if (outlines[i].empty()) continue;
        boxes[i] = box_of(outlines[i]);
        if (vertices(outlines[i]) > kLargeVertices) large[i] = std::make_unique<LargeOutline>(outlines[i]);
        all_positive = all_positive && layer.features[i].polarity == Polarity::Positive;
    }
    LayerIndex index;
    index.build(boxes);

    // Where every feature adds, one wholly inside a large outline adds
    // nothing and is left out; with negative features drawing order counts,
    // so it joins the large one's group instead.
    std::vector<bool> covered(n, false);
    Groups groups(n);
    for (std::size_t i = 0; i < n; ++i) {
        if (outlines[i].empty() || !large[i]) continue;
        for (std::size_t j : index.query(boxes[i])) {
            if (j == i || outlines[j].empty() || covered[j]) continue;
            if (large[j] && j < i) continue; // the pair was seen from j
            const auto a = std::uint32_t(i), b = std::uint32_t(j);
            if (groups.root(a) == groups.root(b)) continue;
            if (large[i]->boundaries_meet(outlines[j], boxes[j])) {
                groups.join(a, b);
                continue;
            }
            // No boundaries meet: one holds the other whole, or they lie apart.
            const auto cover = large[i]->covers(outlines[j], boxes[j]);
            if (all_positive && cover.whole)
                covered[j] = true;
            else if (cover.some || (large[j] && large[j]->covers(outlines[i], boxes[i]).some))
                groups.join(a, b);
        }
    }
    for (std::size_t i = 0; i < n; ++i) {
        if (outlines[i].empty() || large[i] || covered[i]) continue;
        for (std::size_t j : index.query(boxes[i]))
            if (j > i && !large[j] && !covered[j] && !outlines[j].empty() && overlap(boxes[i], boxes[j]))
                groups.join(std::uint32_t(i), std::uint32_t(j));
    }

    // Members of each group in drawing order (roots are each group's first).
    std::vector<std::vector<std::uint32_t>> members(n);
    for (std::size_t i = 0; i < n; ++i)
        if (!outlines[i].empty() && !covered[i]) members[groups.root(std::uint32_t(i))].push_back(std::uint32_t(i));

    Paths image;
    for (const auto& group : members) {
        if (group.empty()) continue;
        if (group.size() == 1) {
            const Feature& f = layer.features[group.front()];
            if (f.polarity != Polarity::Positive) continue; // takes away from nothing
            // Surfaces of several contours and large outlines come out of a
            // union already; a simple shape only needs its turn checked.
            const Paths& outline = outlines[group.front()];
            const bool surface = f.kind == FeatureKind::Surface;
            if (surface ? outline.size() > 1 || layer.surfaces[f.body].contours.size() > 1
                        : outline.size() > 1 && large[group.front()]) {
                image.insert(image.end(), outline.begin(), outline.end());
                continue;
            }
            if (!surface && append_alone(outline, image)) continue;
        }
        Painter painter;
        for (std::uint32_t i : group) painter.add(outlines[i], layer.features[i].polarity == Polarity::Positive);
        const Paths part = painter.image();
        image.insert(image.end(), part.begin(), part.end());
    }
    return image;
}

} // namespace kesto::geom
