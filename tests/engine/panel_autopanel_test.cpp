// Automatic panelisation against an exhaustive search: on small panels every
// placement of boards at whole-millimetre positions is tried, and the plan
// must fit as many boards and, at that count, take as small a rectangle.
#include "engine/panel/autopanel.h"
#include "engine/panel/layout.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <vector>

using namespace kesto;
using namespace kesto::panel;

namespace {

constexpr Coord mm = kNmPerMm;

struct Rect {
    int x, y, w, h;
};

// Brute force: the most boards that fit anywhere, and the smallest rectangle
// holding that many, over every set of whole-unit positions.
struct Exhaustive {
    int W, H, s;                 // usable area and spacing, in units
    std::vector<Rect> candidates;
    std::vector<Rect> placed;
    int best = 0;
    long best_area = 0;
    int board_area;

    bool apart(const Rect& a, const Rect& b) const
    {
        return a.x + a.w + s <= b.x || b.x + b.w + s <= a.x || a.y + a.h + s <= b.y || b.y + b.h + s <= a.y;
    }
    long bbox_area() const
    {
        int x0 = W, y0 = H, x1 = 0, y1 = 0;
        for (const Rect& r : placed)
            x0 = std::min(x0, r.x), y0 = std::min(y0, r.y), x1 = std::max(x1, r.x + r.w), y1 = std::max(y1, r.y + r.h);
        return long(x1 - x0) * (y1 - y0);
    }
    void search(size_t from, int used_area)
    {
        const int n = int(placed.size());
        if (n > best || (n == best && n > 0 && bbox_area() < best_area)) best = n, best_area = bbox_area();
        // Even filling all the free area could not beat or tie the best.
        if (n + (W * H - used_area) / board_area < best) return;
        for (size_t k = from; k < candidates.size(); ++k) {
            const Rect& c = candidates[k];
            if (std::all_of(placed.begin(), placed.end(), [&](const Rect& p) { return apart(p, c); })) {
                placed.push_back(c);
                search(k + 1, used_area + c.w * c.h);
                placed.pop_back();
            }
        }
    }
};

struct Case {
    int panel_w, panel_h, board_w, board_h, margin, spacing;
    bool turns;
};

} // namespace

TEST(Autopanel, MatchesExhaustiveSearchOnSmallPanels)
{
    const Case cases[] = {
        {7, 6, 2, 3, 0, 0, true},  {7, 6, 2, 3, 0, 0, false}, {8, 5, 3, 2, 0, 1, true},  {9, 7, 2, 4, 1, 0, true},
        {10, 6, 3, 4, 0, 1, true}, {6, 6, 4, 1, 0, 0, true},  {9, 5, 2, 3, 1, 1, false}, {11, 4, 3, 3, 0, 1, true},
        {5, 5, 2, 3, 0, 0, true},  {4, 3, 5, 1, 0, 0, true},
    };
    std::vector<Case> all(std::begin(cases), std::end(cases));
    // And a spread of others from a fixed sequence.
    unsigned seed = 12345;
    auto next = [&](int n) { return int((seed = seed * 1103515245u + 12345u) >> 16) % n; };
    // (Kept to at most seven boards' area, where the brute force stays fast.)
    while (all.size() < 40) {
        const Case c{5 + next(5), 4 + next(5), 1 + next(4), 2 + next(3), next(2), next(2), next(3) != 0};
        if ((c.panel_w - 2 * c.margin) * (c.panel_h - 2 * c.margin) <= 7 * c.board_w * c.board_h) all.push_back(c);
    }
    for (const Case& c : all) {
        PanelRequest r;
        r.board_width = c.board_w * mm, r.board_height = c.board_h * mm;
        r.panel_width = c.panel_w * mm, r.panel_height = c.panel_h * mm;
        r.margin_left = r.margin_right = r.margin_bottom = r.margin_top = c.margin * mm;
        r.spacing_x = r.spacing_y = c.spacing * mm;
        r.angles = c.turns ? std::vector<double>{0, 90, 180, 270} : std::vector<double>{0};
        PanelPlan plan;
        std::string error;
        ASSERT_TRUE(plan_panel(r, plan, error)) << error;

        Exhaustive e;
        e.W = c.panel_w - 2 * c.margin, e.H = c.panel_h - 2 * c.margin, e.s = c.spacing;
        e.board_area = c.board_w * c.board_h;
        for (int turn = 0; turn < (c.turns ? 2 : 1); ++turn) {
            const int w = turn ? c.board_h : c.board_w, h = turn ? c.board_w : c.board_h;
            for (int x = 0; x + w <= e.W; ++x)
                for (int y = 0; y + h <= e.H; ++y) e.candidates.push_back({x, y, w, h});
        }
        e.search(0, 0);
        const std::string what = std::to_string(c.board_w) + "x" + std::to_string(c.board_h) + " on " +
                                 std::to_string(c.panel_w) + "x" + std::to_string(c.panel_h);
        EXPECT_EQ(plan.count, e.best) << what;
        if (e.best > 0) {
            EXPECT_EQ(plan.used_width / mm * (plan.used_height / mm), e.best_area) << what;
        }
        ASSERT_EQ(int(plan.boards.size()), plan.count) << what;
    }
}

TEST(Autopanel, ProductionPanelIsValidAndAtLeastTheBestPlainGrid)
{
    PanelRequest r;
    r.board_width = 100 * mm, r.board_height = 80 * mm;
    r.panel_width = 610 * mm, r.panel_height = 510 * mm;
    r.margin_left = r.margin_right = r.margin_bottom = r.margin_top = 15 * mm;
    r.spacing_x = r.spacing_y = 2 * mm;
    r.angles = {0, 90, 180, 270};
    PanelPlan plan;
    std::string error;
    ASSERT_TRUE(plan_panel(r, plan, error)) << error;
    // Plain grids: upright 5 x 5 = 25 (580/102, 480/82); turned 7 x 4 = 28 (580/82, 480/102).
    // The area bound: 580 x 480 / (102 x 82) < 34.
    EXPECT_GE(plan.count, 28);
    EXPECT_LE(plan.count, 33);
    const Box usable{15 * mm, 15 * mm, 595 * mm, 495 * mm};
    std::vector<Box> boxes;
    for (const PlacedBoard& b : plan.boards) {
        const Box box{b.corner.x, b.corner.y, b.corner.x + b.width, b.corner.y + b.height};
        EXPECT_TRUE(inside(box, usable));
        for (const Box& other : boxes) EXPECT_FALSE(overlap(grown(box, 2 * mm - 1), other));
        boxes.push_back(box);
        EXPECT_TRUE((b.width == 100 * mm && b.height == 80 * mm) || (b.width == 80 * mm && b.height == 100 * mm));
    }
    EXPECT_NEAR(plan.utilisation, plan.count * 8000.0 / (610.0 * 510.0), 1e-12);

    r.margin_left = 400 * mm;
    r.margin_right = 300 * mm;
    EXPECT_FALSE(plan_panel(r, plan, error));
}

TEST(PanelLayout, BandingDotsStayInTheMarginsAndCouponsFitTheirBands)
{
    // A 100 x 60 panel with one 60 x 20 board block in the middle.
    const Box panel{0, 0, 100 * mm, 60 * mm}, boards{20 * mm, 20 * mm, 80 * mm, 40 * mm};
    const auto dots = banding_dots(grown(panel, -2 * mm), {grown(boards, 3 * mm)}, 2 * mm, 4 * mm);
    ASSERT_FALSE(dots.empty());
    // Brute force count of grid points whose dot clears the keep-out box.
    int expected = 0;
    for (Coord y = 3 * mm; y + 1 * mm <= 58 * mm; y += 4 * mm)
        for (Coord x = 3 * mm; x + 1 * mm <= 98 * mm; x += 4 * mm)
            expected += !(x + 1 * mm > 17 * mm && x - 1 * mm < 83 * mm && y + 1 * mm > 17 * mm && y - 1 * mm < 43 * mm);
    EXPECT_EQ(int(dots.size()), expected);

    // A taller panel: the side bands (16 x 44) hold a coupon standing up.
    const Box tall{0, 0, 100 * mm, 80 * mm}, block{20 * mm, 20 * mm, 80 * mm, 60 * mm};
    const auto slots = coupon_slots(tall, block, 30 * mm, 8 * mm, 6, 2 * mm);
    ASSERT_EQ(slots.size(), 6u);
    std::vector<Box> taken;
    for (const CouponSlot& s : slots) {
        const Coord w = s.angle == 0 ? 30 * mm : 8 * mm, h = s.angle == 0 ? 8 * mm : 30 * mm;
        const Box b{s.centre.x - w / 2, s.centre.y - h / 2, s.centre.x + w / 2, s.centre.y + h / 2};
        EXPECT_TRUE(inside(b, grown(tall, -2 * mm))) << s.side;
        EXPECT_FALSE(overlap(b, grown(block, 2 * mm))) << s.side;
        for (const Box& t : taken) EXPECT_FALSE(overlap(b, t));
        taken.push_back(b);
    }
    // Dealt round the sides in turn.
    EXPECT_EQ(slots[0].side, "bottom");
    EXPECT_EQ(slots[1].side, "top");
    EXPECT_EQ(slots[2].side, "left");
    EXPECT_EQ(slots[2].angle, 90);
    EXPECT_EQ(slots[3].side, "right");
    EXPECT_EQ(slots[4].side, "bottom");
}
