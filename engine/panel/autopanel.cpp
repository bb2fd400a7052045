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
    enum Kind : std::uint8_t { None, Board, Narrower, Lower, Vertical, Horizontal, Pinwheel, MirroredPinwheel } kind = None;
    // Board: footprint a; Vertical/Horizontal: the two parts' indices a, b;
    // pinwheels: the cut positions x1 = xs[a], x2 = xs[b], y1 = ys[c], y2 = ys[d].
    int a = 0, b = 0, c = 0, d = 0;
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
    // xrem[i * xs.size() + j]: the index of the largest cut position at most xs[i] - xs[j].
    std::vector<std::uint16_t> xrem, yrem;
    size_t xr(size_t i, size_t j) const { return xrem[i * xs.size() + j]; }
    size_t yr(size_t i, size_t j) const { return yrem[i * ys.size() + j]; }
};

// The five parts of a pinwheel of a rectangle: four arms round a centre.
// Each part: its sub-rectangle's indices and the offset of its corner.
struct Part {
    size_t ix, iy;
    Coord x, y;
};

void pinwheel_parts(const Table& t, size_t ix, size_t iy, const Choice& c, Part out[5])
{
    const size_t a = size_t(c.a), b = size_t(c.b), y1 = size_t(c.c), y2 = size_t(c.d);
    const Coord X1 = t.xs[a], X2 = t.xs[b], Y1 = t.ys[y1], Y2 = t.ys[y2];
    out[4] = {t.xr(b, a), t.yr(y2, y1), X1, Y1}; // the centre
    if (c.kind == Choice::Pinwheel) {
        out[0] = {b, y1, 0, 0};                          // bottom left, up to x2 and y1
        out[1] = {a, t.yr(iy, y1), 0, Y1};               // left, from y1 up
        out[2] = {t.xr(ix, a), t.yr(iy, y2), X1, Y2};    // top, from x1 right
        out[3] = {t.xr(ix, b), y2, X2, 0};               // right, up to y2
    } else {
        out[0] = {a, y2, 0, 0};                          // left, up to y2
        out[1] = {b, t.yr(iy, y2), 0, Y2};               // top left, up to x2
        out[2] = {t.xr(ix, b), t.yr(iy, y1), X2, Y1};    // right, from y1 up
        out[3] = {t.xr(ix, a), y1, X1, 0};               // bottom, from x1 right
    }
}

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
        case Choice::Pinwheel:
        case Choice::MirroredPinwheel: {
            Part parts[5];
            pinwheel_parts(t, ix, iy, c, parts);
            for (const Part& p : parts) collect(t, feet, p.ix, p.iy, x0 + p.x, y0 + p.y, out);
            return;
        }
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
    t.xrem.assign(nx * nx, 0);
    t.yrem.assign(ny * ny, 0);
    for (size_t i = 0; i < nx; ++i)
        for (size_t j = 0; j <= i; ++j) t.xrem[i * nx + j] = std::uint16_t(t.index_at_most(t.xs, t.xs[i] - t.xs[j]));
    for (size_t i = 0; i < ny; ++i)
        for (size_t j = 0; j <= i; ++j) t.yrem[i * ny + j] = std::uint16_t(t.index_at_most(t.ys, t.ys[i] - t.ys[j]));
    double smallest = 0;
    for (const Footprint& f : feet)
        if (smallest == 0 || double(f.w) * double(f.h) < smallest) smallest = double(f.w) * double(f.h);
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
            for (size_t a = 1; a < ix; ++a) offer(t.at(a, iy) + t.at(t.xr(ix, a), iy), {Choice::Vertical, int(a), int(t.xr(ix, a))});
            for (size_t a = 1; a < iy; ++a) offer(t.at(ix, a) + t.at(ix, t.yr(iy, a)), {Choice::Horizontal, int(a), int(t.yr(iy, a))});
            // Pinwheels (four arms round a centre, either hand), which no
            // straight cut separates; only where the area could hold more.
            const int bound = int(double(X) * double(Y) / smallest);
            for (size_t a = 1; a + 1 < ix && best < bound; ++a)
                for (size_t b = a + 1; b < ix; ++b)
                    for (size_t c = 1; c + 1 < iy; ++c)
                        for (size_t d = c + 1; d < iy; ++d) {
                            const int centre = t.at(t.xr(b, a), t.yr(d, c));
                            const int one = t.at(b, c) + t.at(a, t.yr(iy, c)) + t.at(t.xr(ix, a), t.yr(iy, d)) +
                                            t.at(t.xr(ix, b), d) + centre;
                            if (one > best) offer(one, {Choice::Pinwheel, int(a), int(b), int(c), int(d)});
                            const int other = t.at(a, d) + t.at(b, t.yr(iy, d)) + t.at(t.xr(ix, b), t.yr(iy, c)) +
                                              t.at(t.xr(ix, a), c) + centre;
                            if (other > best) offer(other, {Choice::MirroredPinwheel, int(a), int(b), int(c), int(d)});
                        }
            t.count[ix * ny + iy] = best;
            t.how[ix * ny + iy] = how;
        }
    const int best = t.at(nx - 1, ny - 1);
    plan.count = best;
    if (best == 0) return true;
    // The smallest rectangle of cut positions that still holds the best count.
    // Areas of the boards' own rectangle: one spacing less each way.
    auto real_area = [&](size_t ix, size_t iy) {
        return double(t.xs[ix] - r.spacing_x) * double(t.ys[iy] - r.spacing_y);
    };
    size_t bx = nx - 1, by = ny - 1;
    double area = real_area(bx, by);
    for (size_t ix = 1; ix < nx; ++ix)
        for (size_t iy = 1; iy < ny; ++iy)
            if (t.at(ix, iy) == best) {
                const double a = real_area(ix, iy);
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
