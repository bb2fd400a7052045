// Moving features: the outline of a moved feature is its old outline moved.
#include "engine/geometry/transform.h"
#include "engine/geometry/outline.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kesto::geom {
namespace {

constexpr double mm = 1e6;

Coord c(double v) { return Coord(std::llround(v)); }

int add_symbol(Layer& layer, SymbolFamily family, double a, double b = 0)
{
    Symbol s;
    s.family = family;
    s.p[0] = a;
    s.p[1] = b;
    layer.symbols.push_back(s);
    return int(layer.symbols.size()) - 1;
}

// One feature of every kind, asymmetric where it can be.
Layer sample_layer()
{
    Layer layer;
    int tri = add_symbol(layer, SymbolFamily::Triangle, 2 * mm, 1 * mm);
    int square = add_symbol(layer, SymbolFamily::Square, 0.5 * mm);
    int round = add_symbol(layer, SymbolFamily::Round, 0.3 * mm);
    Feature pad;
    pad.kind = FeatureKind::Pad;
    pad.symbol = tri;
    pad.a = {c(3 * mm), c(1 * mm)};
    pad.angle = 30;
    pad.mirror = true;
    layer.features.push_back(pad);
    Feature line;
    line.kind = FeatureKind::Line;
    line.symbol = square;
    line.a = {c(-2 * mm), c(4 * mm)};
    line.b = {c(5 * mm), c(6 * mm)};
    layer.features.push_back(line);
    Feature arc;
    arc.kind = FeatureKind::Arc;
    arc.symbol = round;
    arc.a = {c(10 * mm), 0};
    arc.b = {c(7 * mm), c(3 * mm)};
    arc.c = {c(7 * mm), 0};
    arc.cw = true;
    layer.features.push_back(arc);
    Feature square_arc = arc;
    square_arc.symbol = square;
    square_arc.cw = false;
    layer.features.push_back(square_arc);
    Surface surface;
    Contour island;
    island.start = {0, c(-5 * mm)};
    island.segments = {Segment{{c(4 * mm), c(-5 * mm)}, {}, false, false},
                       Segment{{c(4 * mm), c(-1 * mm)}, {c(4 * mm), c(-3 * mm)}, true, false},
                       Segment{{0, c(-5 * mm)}, {}, false, false}};
    Contour hole;
    hole.island = false;
    hole.start = {c(1 * mm), c(-4.5 * mm)};
    hole.segments = {Segment{{c(2 * mm), c(-4.5 * mm)}, {}, false, false},
                     Segment{{c(1 * mm), c(-3.5 * mm)}, {}, false, false},
                     Segment{{c(1 * mm), c(-4.5 * mm)}, {}, false, false}};
    surface.contours = {island, hole};
    layer.surfaces.push_back(surface);
    Feature body;
    body.kind = FeatureKind::Surface;
    layer.features.push_back(body);
    Text text;
    text.xsize = c(1 * mm);
    text.ysize = c(1.5 * mm);
    text.text = "F7";
    layer.texts.push_back(text);
    Feature label;
    label.kind = FeatureKind::Text;
    label.a = {c(-6 * mm), c(-6 * mm)};
    label.angle = 90;
    layer.features.push_back(label);
    return layer;
}

Paths moved(const Paths& outline, const Transform& t)
{
    Paths out;
    for (const Path& path : outline) {
        Path p;
        for (const IntPoint& q : path) {
            Point r = apply(t, Point{q.X, q.Y});
            p.push_back({r.x, r.y});
        }
        out.push_back(p);
    }
    return unite(out);
}

TEST(GeometryTransform, MovedOutlineIsTheOutlineMoved)
{
    const Transform cases[] = {
        {{0, 0}, 0, false, c(1 * mm), c(-2 * mm)},
        {{c(1 * mm), c(2 * mm)}, 90, false, 0, 0},
        {{c(1 * mm), c(2 * mm)}, 0, true, 0, 0},
        {{c(-3 * mm), c(5 * mm)}, 33.3, true, c(7 * mm), 0},
        {{0, 0}, 270, true, c(-1 * mm), c(1 * mm)},
    };
    const Layer before = sample_layer();
    for (const Transform& t : cases) {
        Layer after = before;
        for (Feature& f : after.features) transform_feature(after, f, t);
        for (std::size_t i = 0; i < before.features.size(); ++i) {
            // A square swept along a path stays upright: only quarter turns keep its outline.
            const Feature& f = before.features[i];
            bool upright = (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) &&
                           before.symbols[std::size_t(f.symbol)].family == SymbolFamily::Square;
            if (upright && std::fmod(t.angle, 90.0) != 0) continue;
            Paths expected = moved(feature_outline(before, before.features[i], {}), t);
            Paths got = feature_outline(after, after.features[i], {});
            Box box = box_of(got);
            double perimeter = 4.0 * double((box.xmax - box.xmin) + (box.ymax - box.ymin));
            EXPECT_NEAR(area(got), area(expected), perimeter * 2 * kMaxChordError)
                << "feature " << i << " angle " << t.angle << " mirror " << t.mirror;
            EXPECT_LE(area(exclusive_or(got, expected)), perimeter * 2 * kMaxChordError)
                << "feature " << i << " angle " << t.angle << " mirror " << t.mirror;
        }
    }
}

} // namespace
} // namespace kesto::geom
