// Polygon primitives of the geometry kernel: outlines as Clipper paths in
// nanometres, arcs turned into polygons with a bounded chord error, the
// orientation of symbols, booleans, offsets, areas and boxes.
//
// Conventions: an outline is a set of closed paths filled by the non-zero
// rule; islands run counter-clockwise (positive area, y up), holes clockwise.
// Booleans and offsets return outlines in that normalised form.
#pragma once
#include "engine/model/model.h"

#include <polyclipping/clipper.hpp>

#include <optional>

namespace kesto::geom {

using ClipperLib::IntPoint;
using Path = ClipperLib::Path;
using Paths = ClipperLib::Paths;

constexpr double kPi = 3.14159265358979323846;

// Largest distance between an arc and the chords that replace it: 1 micron,
// or 0.5% of the radius when that is smaller; at least kMinCircleSegments
// chords on a full circle, at most kMaxCircleSegments.
constexpr double kMaxChordError = 1000.0;
constexpr double kRelativeChordError = 0.005;
constexpr int kMinCircleSegments = 16;
constexpr int kMaxCircleSegments = 4096;

// Coordinates stay within this many nanometres of the origin (1000 km), far
// inside what Clipper accepts, whatever sizes a job brings.
constexpr double kMaxCoord = 1e15;

// A real coordinate rounded to the nanometre and held to +-kMaxCoord; NaN is 0.
ClipperLib::cInt to_nm(double v);

// Paints outlines in drawing order: positive ones add, negative ones take
// away. Runs of one polarity are merged in one boolean each.
class Painter {
public:
    void add(const Paths& outline, bool positive);
    Paths image();

private:
    void flush();
    Paths image_, pending_;
    bool positive_ = true;
};

// Number of chords for an arc of `radius` sweeping `sweep` radians.
int arc_chords(double radius, double sweep);

// Appends the points of an arc about (cx, cy) from angle `from` sweeping
// `sweep` radians (counter-clockwise when positive), the start point included.
// The end point is not appended: the caller closes onto it.
void append_arc(Path& path, double cx, double cy, double radius, double from, double sweep);

// The points of an arc from `start` to `end` about `centre`, both ends
// included; start == end is a full circle.
Path arc_points(const Point& start, const Point& end, const Point& centre, bool cw);

Path circle(double cx, double cy, double radius);
Path rectangle(double xmin, double ymin, double xmax, double ymax);

// Mirror in X first, then rotate clockwise by `angle` degrees, then move to
// `at`: the orientation rule of pads, texts and symbols.
struct Placement {
    Point at;
    double angle = 0;
    bool mirror = false;
};
IntPoint place(const Placement& how, double x, double y);
Paths place(const Placement& how, const Paths& local);

// Booleans of non-zero filled outlines, normalised.
Paths unite(const Paths& a, const Paths& b = {});
Paths subtract(const Paths& a, const Paths& b);
Paths intersect(const Paths& a, const Paths& b);
Paths exclusive_or(const Paths& a, const Paths& b);

// The part of an outline within a box (Sutherland-Hodgman against each
// side): exact inside the box; where the outline leaves it, the pieces run
// along the box's sides, which may leave zero-width seams there.
Paths clip_to_box(const Paths& outline, const Box& box);

enum class Join { Round, Square, Miter };
// Grows (delta > 0) or shrinks (delta < 0) an outline by `delta` nanometres.
Paths offset(const Paths& outline, double delta, Join join = Join::Round);

// Filled area in square nanometres (holes count negative).
double area(const Paths& outline);
Box box_of(const Paths& outline);
Box box_of(const Path& path);

// Where a point stands against a filled outline.
enum class Where { Outside, Inside, OnEdge };
Where locate(const IntPoint& p, const Paths& outline);

// Closest points of two segments, and of a point and a segment.
struct Closest {
    double distance = 0;
    double ax = 0, ay = 0; // on the first item
    double bx = 0, by = 0; // on the second
};
Closest segment_point(double x1, double y1, double x2, double y2, double px, double py);
Closest segment_segment(double ax1, double ay1, double ax2, double ay2,
                        double bx1, double by1, double bx2, double by2);

// The edges of an outline with their boxes, for distance work.
struct Edge {
    double x1, y1, x2, y2;
    double xmin, ymin, xmax, ymax;
};
std::vector<Edge> edges_of(const Paths& outline);
// Gap between the boxes of two edges: no point of one is nearer the other.
double box_gap(const Edge& a, const Edge& b);
// Does the edge meet the closed box?
bool segment_meets_box(const Edge& e, const Box& box);

// Edge-to-edge distance of two filled outlines: 0 when they touch or overlap,
// with a closest point on each. Empty outlines are infinitely far apart.
// Large outlines go through a PreparedOutline (prepared_outline.h); keep one
// when the same outline is measured many times.
Closest outline_distance(const Paths& a, const Paths& b);
Closest outline_point_distance(const Paths& a, double px, double py);

// Where no edges cross, two outlines still touch when one holds a vertex of
// the other: that vertex, or nothing.
std::optional<Closest> contact_by_containment(const Paths& a, const Paths& b);

} // namespace kesto::geom
