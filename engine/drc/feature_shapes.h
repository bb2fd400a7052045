// Features as copper and drill shapes: the extent of a symbol, the box of a
// feature, whether a feature's outline covers a point, and a grid of boxes
// for "what lies here" questions.
#pragma once
#include "engine/model/model.h"

#include <array>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kesto::drc {

struct Box2 {
    Coord xmin, ymin, xmax, ymax;
    bool contains(Point p) const { return p.x >= xmin && p.x <= xmax && p.y >= ymin && p.y <= ymax; }
};

// Boxes in a uniform grid, for "what lies here" questions. Boxes covering
// very many cells (planes, outlines) are kept aside and tested one by one.
class BoxIndex {
public:
    explicit BoxIndex(Coord cell) : cell_(cell) {}
    void add(const Box2& b, std::uint32_t id)
    {
        boxes_.push_back({b, id});
        const std::uint32_t k = std::uint32_t(boxes_.size() - 1);
        const Coord x0 = b.xmin / cell_ - (b.xmin < 0), x1 = b.xmax / cell_ - (b.xmax < 0);
        const Coord y0 = b.ymin / cell_ - (b.ymin < 0), y1 = b.ymax / cell_ - (b.ymax < 0);
        if (!few_cells(x0, x1, y0, y1)) {
            big_.push_back(k);
            return;
        }
        for (Coord x = x0; x <= x1; ++x)
            for (Coord y = y0; y <= y1; ++y) cells_[key(x, y)].push_back(k);
    }
    // Calls f(id, box) for boxes overlapping q until f returns true; a box
    // may be offered more than once.
    template <class F>
    bool any(const Box2& q, F&& f) const
    {
        for (std::uint32_t k : big_)
            if (overlaps(boxes_[k].first, q) && f(boxes_[k].second, boxes_[k].first)) return true;
        const Coord x0 = q.xmin / cell_ - (q.xmin < 0), x1 = q.xmax / cell_ - (q.xmax < 0);
        const Coord y0 = q.ymin / cell_ - (q.ymin < 0), y1 = q.ymax / cell_ - (q.ymax < 0);
        if (!few_cells(x0, x1, y0, y1)) {
            for (const auto& [box, id] : boxes_)
                if (overlaps(box, q) && f(id, box)) return true;
            return false;
        }
        for (Coord x = x0; x <= x1; ++x)
            for (Coord y = y0; y <= y1; ++y) {
                auto it = cells_.find(key(x, y));
                if (it == cells_.end()) continue;
                for (std::uint32_t k : it->second)
                    if (overlaps(boxes_[k].first, q) && f(boxes_[k].second, boxes_[k].first)) return true;
            }
        return false;
    }

private:
    static bool few_cells(Coord x0, Coord x1, Coord y0, Coord y1)
    {
        return x1 - x0 < 64 && y1 - y0 < 64;
    }
    static bool overlaps(const Box2& a, const Box2& b)
    {
        return a.xmin <= b.xmax && b.xmin <= a.xmax && a.ymin <= b.ymax && b.ymin <= a.ymax;
    }
    static std::uint64_t key(Coord x, Coord y) { return (std::uint64_t(std::uint32_t(x)) << 32) | std::uint32_t(y); }
    Coord cell_;
    std::vector<std::pair<Box2, std::uint32_t>> boxes_;
    std::vector<std::uint32_t> big_;
    std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> cells_;
};

bool iequals(const std::string& a, const char* b);

// The value of a feature's attribute, or nullptr when it does not carry it.
const std::string* attribute(const Layer& layer, const Feature& f, const std::string& name);
const Symbol* symbol_of(const Layer& layer, const Feature& f);

// The width and height a symbol covers when placed at `angle` degrees; zero
// for symbols whose size the engine does not know (user symbols).
std::array<Coord, 2> symbol_extent(const Symbol& symbol, double angle);
Box2 feature_box(const Layer& layer, const Feature& f);

// Whether the feature's outline covers the point. Round, square, rectangle,
// oval and donut pads (thermals as their ring), round- and square-ended
// strokes and surfaces are outlined exactly, arcs of surfaces within a
// micron; other symbols count by their box.
bool covers(const Layer& layer, const Feature& f, Point p);

// Whether a layer has copper at a point: the last feature in drawing order
// that covers the point decides, so negative features clear what lies under
// them.
class CopperAtPoints {
public:
    explicit CopperAtPoints(const Layer& layer);
    bool copper_at(Point p) const;

private:
    const Layer& layer_;
    BoxIndex index_;
};

} // namespace kesto::drc
