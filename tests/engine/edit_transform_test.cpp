// Placements move points exactly and keep features' orientation right.
#include "engine/edit/transform.h"

#include <gtest/gtest.h>

using namespace kesto;
using namespace kesto::edit;

namespace {

Feature pad(Point at, double angle = 0, bool mirror = false)
{
    Feature f;
    f.kind = FeatureKind::Pad;
    f.a = at;
    f.angle = angle;
    f.mirror = mirror;
    return f;
}

// Where the pad's local point `local` lands: mirror in X, then clockwise by angle.
Point image_of(const Feature& f, Point local)
{
    Placement own;
    own.mirror = f.mirror;
    own.angle = f.angle;
    own.offset = f.a;
    return apply(own, local);
}

TEST(Transform, QuarterTurnsAndMirrorsAreExact)
{
    const Point o{1000, 2000};
    EXPECT_EQ(apply(rotated(o, 90), Point{1000 + 500, 2000}), (Point{1000, 2000 - 500})) << "clockwise";
    EXPECT_EQ(apply(rotated(o, -90), Point{1500, 2000}), (Point{1000, 2500}));
    EXPECT_EQ(apply(rotated(o, 180), Point{1500, 2300}), (Point{500, 1700}));
    EXPECT_EQ(apply(mirrored(o), Point{1700, 5}), (Point{300, 5}));
    EXPECT_EQ(apply(moved(-7, 9), Point{1, 1}), (Point{-6, 10}));
    const Point far{123456789, -987654321};
    Point p = far;
    for (int i = 0; i < 4; ++i) p = apply(rotated(o, 90), p);
    EXPECT_EQ(p, far);
    Placement scaled;
    scaled.origin = o;
    scaled.scale_x = 2;
    scaled.scale_y = 0.5;
    EXPECT_EQ(apply(scaled, Point{1100, 2100}), (Point{1200, 2050}));
}

TEST(Transform, PadOrientationComposesWithThePlacement)
{
    // An asymmetric pad: check where two of its local points land, for every
    // combination of own and placement orientation.
    const Point locals[] = {{300, 0}, {0, 100}};
    for (bool own_mirror : {false, true})
        for (double own_angle : {0.0, 30.0, 90.0, 270.0})
            for (bool mirror : {false, true})
                for (double angle : {0.0, 45.0, 90.0, 180.0})
                    for (double sx : {1.0, -1.0})
                        for (double sy : {1.0, -1.0}) {
                    Layer layer;
                    Feature f = pad(Point{5000, -3000}, own_angle, own_mirror);
                    Placement p;
                    p.origin = Point{100, 200};
                    p.mirror = mirror;
                    p.angle = angle;
                    p.offset = Point{10, 20};
                    p.scale_x = sx;
                    p.scale_y = sy;
                    Feature placed = f;
                    place(layer, placed, p);
                    for (Point local : locals) {
                        const Point expected = apply(p, image_of(f, local));
                        const Point got = image_of(placed, local);
                        EXPECT_NEAR(got.x, expected.x, 2) << own_mirror << own_angle << mirror << angle;
                        EXPECT_NEAR(got.y, expected.y, 2) << own_mirror << own_angle << mirror << angle;
                    }
                        }
}

TEST(Transform, MirrorsReverseArcsInFeaturesAndSurfaces)
{
    Layer layer;
    Feature arc;
    arc.kind = FeatureKind::Arc;
    arc.a = {0, 100};
    arc.b = {100, 0};
    arc.c = {0, 0};
    arc.cw = true;
    place(layer, arc, mirrored(Point{0, 0}));
    EXPECT_FALSE(arc.cw);
    EXPECT_EQ(arc.a, (Point{0, 100}));
    EXPECT_EQ(arc.b, (Point{-100, 0}));
    place(layer, arc, rotated(Point{0, 0}, 90));
    EXPECT_FALSE(arc.cw) << "a rotation keeps the direction";

    Contour c;
    c.start = {0, 0};
    c.segments = {{{10, 0}, {}, false, false}, {{0, 0}, {5, 0}, true, true}};
    layer.surfaces.push_back(Surface{{c}});
    Feature s;
    s.kind = FeatureKind::Surface;
    s.body = 0;
    Placement flip_y;
    flip_y.scale_y = -1;
    place(layer, s, flip_y);
    EXPECT_FALSE(layer.surfaces[0].contours[0].segments[1].cw);
    place(layer, s, moved(3, 4));
    EXPECT_EQ(layer.surfaces[0].contours[0].segments[1].centre, (Point{8, 4}));
    EXPECT_EQ(layer.surfaces[0].contours[0].start, (Point{3, 4}));
}

TEST(Transform, AnglesStayInOneTurn)
{
    EXPECT_EQ(normal_angle(360), 0);
    EXPECT_EQ(normal_angle(-90), 270);
    EXPECT_EQ(normal_angle(725), 5);
    EXPECT_EQ(normal_angle(-1e-12), 0);
}

} // namespace
