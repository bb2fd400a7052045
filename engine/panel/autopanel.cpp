#include "engine/panel/autopanel.h"

#include <algorithm>
#include <cmath>
#include <string>

namespace kesto::panel {

namespace {

struct Footprint {
    Coord w, h;      // inflated by the spacing
    double angle;
};

// Every sum of the given sizes up to `limit`, ascending (0 included).
std::vector<Coord> sums_up_to(const std::vector<Coord>& sizes, Coord limit)
{
    std::vector<Coord> out{0};
    for (size_t k = 0; k < out.size(); ++k)
        for (Coord s : sizes)
            if (s > 0 && out[k] + s <= limit) out.push_back(out[k] + s);
    std::sort(out.begin(), out.end());
    out.erase(std::unique(out.begin(), out.end()), out.end());
    return out;
}

// How the best count of a sub-rectangle is reached.
struct Choice {
    enum Kind : std::uint8_t { None, Board, Narrower, Lower, Vertical, Horizontal } kind = None;
    int a = 0, b = 0; // Board: footprint; Vertical/Horizontal: the two parts' indices
};

struct Table {
    std::vector<Coord> xs, ys;
    std::vector<int> count;
    std::vector<Choice> how;
    int at(size_t ix, size_t iy) const { return count[ix * ys.size() + iy]; }
    size_t index_at_most(const std::vector<Coord>& v, Coord x) const
    {
        return size_t(std::upper_bound(v.begin(), v.end(), x) - v.begin()) - 1;
    }
};

void collect(const Table& t, const std::vector<Footprint>& feet, size_t ix, size_t iy, Coord x0, Coord y0,
             std::vector<PlacedBoard>& out)
{
    while (true) {
        const Choice& c = t.how[ix * t.ys.size() + iy];
        switch (c.kind) {
        case Choice::None: return;
        case Choice::Board: out.push_back({Point{x0, y0}, feet[size_t(c.a)].angle, 0, 0}); out.back().width = feet[size_t(c.a)].w; out.back().height = feet[size_t(c.a)].h; return;
        case Choice::Narrower: --ix; break;
        case Choice::Lower: --iy; break;
        case Choice::Vertical:
            collect(t, feet, size_t(c.a), iy, x0, y0, out);
            x0 += t.xs[size_t(c.a)];
            ix = size_t(c.b);
            break;
        case Choice::Horizontal:
            collect(t, feet, ix, size_t(c.a), x0, y0, out);
            y0 += t.ys[size_t(c.a)];
            iy = size_t(c.b);
            break;
        }
    }
}

} // namespace

void turned_extent(Coord w, Coord h, double angle, Coord& out_w, Coord& out_h)
{
    double a = std::fmod(angle, 360.0);
    if (a < 0) a += 360;
    if (a == 0 || a == 180) {
        out_w = w, out_h = h;
    } else if (a == 90 || a == 270) {
        out_w = h, out_h = w;
    } else {
        const double r = a * M_PI / 180, c = std::fabs(std::cos(r)), s = std::fabs(std::sin(r));
        out_w = Coord(std::ceil(double(w) * c + double(h) * s));
        out_h = Coord(std::ceil(double(w) * s + double(h) * c));
    }
}

bool plan_panel(const PanelRequest& r, PanelPlan& plan, std::string& error)
{
    plan = PanelPlan{};
    if (r.board_width <= 0 || r.board_height <= 0 || r.panel_width <= 0 || r.panel_height <= 0) {
        error = "board and panel sizes must be above zero";
        return false;
    }
    if (r.spacing_x < 0 || r.spacing_y < 0 || r.margin_left < 0 || r.margin_right < 0 || r.margin_bottom < 0 ||
        r.margin_top < 0) {
        error = "margins and spacings cannot be negative";
        return false;
    }
    if (r.angles.empty()) {
        error = "no rotation is allowed";
        return false;
    }
    // Each board takes its extent plus one spacing; so does the usable area,
    // which makes the gaps between boards come out right.
    const Coord width = r.panel_width - r.margin_left - r.margin_right + r.spacing_x;
    const Coord height = r.panel_height - r.margin_bottom - r.margin_top + r.spacing_y;
    if (width <= r.spacing_x || height <= r.spacing_y) {
        error = "the margins leave no room on the panel";
        return false;
    }
    std::vector<Footprint> feet;
    for (double angle : r.angles) {
        Coord w, h;
        turned_extent(r.board_width, r.board_height, angle, w, h);
        Footprint f{w + r.spacing_x, h + r.spacing_y, angle};
        const bool known = std::any_of(feet.begin(), feet.end(), [&](const Footprint& g) { return g.w == f.w && g.h == f.h; });
        if (!known) feet.push_back(f);
    }
    Table t;
    std::vector<Coord> ws, hs;
    for (const Footprint& f : feet) ws.push_back(f.w), hs.push_back(f.h);
    t.xs = sums_up_to(ws, width);
    t.ys = sums_up_to(hs, height);
    const size_t nx = t.xs.size(), ny = t.ys.size();
    t.count.assign(nx * ny, 0);
    t.how.assign(nx * ny, Choice{});
    for (size_t ix = 1; ix < nx; ++ix)
        for (size_t iy = 1; iy < ny; ++iy) {
            const Coord X = t.xs[ix], Y = t.ys[iy];
            int best = 0;
            Choice how;
            auto offer = [&](int n, Choice c) {
                if (n > best) best = n, how = c;
            };
            offer(t.at(ix - 1, iy), {Choice::Narrower, 0, 0});
            offer(t.at(ix, iy - 1), {Choice::Lower, 0, 0});
            for (size_t k = 0; k < feet.size(); ++k)
                if (feet[k].w <= X && feet[k].h <= Y) offer(1, {Choice::Board, int(k), 0});
            for (size_t a = 1; a < ix && t.xs[a] * 2 <= X + t.xs[a]; ++a) {
                const size_t b = t.index_at_most(t.xs, X - t.xs[a]);
                offer(t.at(a, iy) + t.at(b, iy), {Choice::Vertical, int(a), int(b)});
            }
            for (size_t a = 1; a < iy; ++a) {
                const size_t b = t.index_at_most(t.ys, Y - t.ys[a]);
                offer(t.at(ix, a) + t.at(ix, b), {Choice::Horizontal, int(a), int(b)});
            }
            t.count[ix * ny + iy] = best;
            t.how[ix * ny + iy] = how;
        }
    const int best = t.at(nx - 1, ny - 1);
    plan.count = best;
    if (best == 0) return true;
    // The smallest rectangle of cut positions that still holds the best count.
    size_t bx = nx - 1, by = ny - 1;
    double area = double(t.xs[bx]) * double(t.ys[by]);
    for (size_t ix = 1; ix < nx; ++ix)
        for (size_t iy = 1; iy < ny; ++iy)
            if (t.at(ix, iy) == best) {
                const double a = double(t.xs[ix]) * double(t.ys[iy]);
                if (a < area || (a == area && t.xs[ix] < t.xs[bx])) area = a, bx = ix, by = iy;
                break; // larger iy only grows the area
            }
    collect(t, feet, bx, by, 0, 0, plan.boards);
    Box used;
    for (PlacedBoard& b : plan.boards) {
        b.corner.x += r.margin_left;
        b.corner.y += r.margin_bottom;
        b.width -= r.spacing_x;
        b.height -= r.spacing_y;
        used.add(b.corner);
        used.add(Point{b.corner.x + b.width, b.corner.y + b.height});
    }
    plan.used_width = used.xmax - used.xmin;
    plan.used_height = used.ymax - used.ymin;
    const double boards = double(best) * double(r.board_width) * double(r.board_height);
    plan.utilisation = boards / (double(r.panel_width) * double(r.panel_height));
    plan.used_utilisation = boards / (double(plan.used_width + r.margin_left + r.margin_right) *
                                      double(plan.used_height + r.margin_bottom + r.margin_top));
    return true;
}

} // namespace kesto::panel
