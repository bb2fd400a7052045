// The engine's data model: jobs, their matrix, steps, layers, features and
// symbols. Plain data; operations live in free functions elsewhere.
//
// Units: every length is an integer number of nanometres (Coord). Angles are
// degrees, clockwise positive, as in ODB++ features files.
#pragma once
#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace kesto {

using Coord = std::int64_t;

constexpr Coord kNmPerMicron = 1000;
constexpr Coord kNmPerMm = 1000000;
constexpr Coord kNmPerMil = 25400;
constexpr Coord kNmPerInch = 25400000;

// The unit a file or a symbol name is written in: inch files give symbol sizes
// in mils, metric files in microns.
enum class Units : std::uint8_t { Inch, Mm };

struct Point {
    Coord x = 0;
    Coord y = 0;
    friend bool operator==(const Point& a, const Point& b) { return a.x == b.x && a.y == b.y; }
    friend bool operator!=(const Point& a, const Point& b) { return !(a == b); }
};

struct Box {
    Coord xmin = 0, ymin = 0, xmax = -1, ymax = -1; // empty when xmax < xmin
    bool empty() const { return xmax < xmin || ymax < ymin; }
    void add(const Point& p)
    {
        if (empty()) {
            xmin = xmax = p.x;
            ymin = ymax = p.y;
            return;
        }
        if (p.x < xmin) xmin = p.x;
        if (p.x > xmax) xmax = p.x;
        if (p.y < ymin) ymin = p.y;
        if (p.y > ymax) ymax = p.y;
    }
    void add(const Box& b)
    {
        if (b.empty()) return;
        add(Point{b.xmin, b.ymin});
        add(Point{b.xmax, b.ymax});
    }
};

// ---------------------------------------------------------------- symbols

// The standard symbol families of the ODB++ format. The parameters of a
// parsed symbol are in Symbol::p, lengths in nanometres, angles in degrees,
// counts as whole numbers, in the order of the symbol's name:
//
//   Round r<d>                 p0 d
//   Square s<s>                p0 s
//   Rect rect<w>x<h>           p0 w, p1 h
//   RectRounded rect<w>x<h>xr<rad>[x<corners>]     p0 w, p1 h, p2 rad, corners
//   RectChamfered rect<w>x<h>xc<rad>[x<corners>]   p0 w, p1 h, p2 size, corners
//   Oval oval<w>x<h>           p0 w, p1 h
//   Diamond di<w>x<h>          p0 w, p1 h
//   Octagon oct<w>x<h>x<r>     p0 w, p1 h, p2 corner size
//   RoundDonut donut_r<od>x<id>              p0 od, p1 id
//   SquareDonut donut_s<od>x<id>             p0 od, p1 id
//   SquareRoundDonut donut_sr<od>x<id>       p0 od, p1 id
//   RectDonut donut_rc<w>x<h>x<lw>[xr<rad>[x<corners>]]  p0 w, p1 h, p2 lw, p3 rad, corners
//   OvalDonut donut_o<w>x<h>x<lw>            p0 w, p1 h, p2 lw
//   HexLong hex_l<w>x<h>x<r>   p0 w, p1 h, p2 r     (horizontal hexagon)
//   HexShort hex_s<w>x<h>x<r>  p0 w, p1 h, p2 r     (vertical hexagon)
//   Butterfly bfr<d>           p0 d
//   SquareButterfly bfs<s>     p0 s
//   Triangle tri<base>x<h>     p0 base, p1 h
//   HalfOval oval_h<w>x<h>     p0 w, p1 h
//   RoundThermalRounded thr<od>x<id>x<angle>x<spokes>x<gap>     p0 od, p1 id, p2 angle, p3 spokes, p4 gap
//   RoundThermalSquared ths<od>x<id>x<angle>x<spokes>x<gap>     as thr
//   SquareThermal s_ths<os>x<is>x<angle>x<spokes>x<gap>         as thr
//   SquareThermalOpen s_tho<od>x<id>x<angle>x<spokes>x<gap>     as thr
//   SquareRoundThermal sr_ths<os>x<id>x<angle>x<spokes>x<gap>   as thr
//   RectThermal rc_ths<w>x<h>x<angle>x<spokes>x<gap>x<air_gap>  p0 w, p1 h, p2 angle, p3 spokes, p4 gap, p5 air gap
//   RectThermalOpen rc_tho<w>x<h>x<angle>x<spokes>x<gap>x<air_gap>  as rc_ths
//   OvalThermal o_ths<w>x<h>x<angle>x<spokes>x<gap>x<lw>        p0 w, p1 h, p2 angle, p3 spokes, p4 gap, p5 lw
//   OblongThermal oblong_ths<w>x<h>x<angle>x<spokes>x<gap>x<lw>x<r|s>  as o_ths, rounded_ends
//   Ellipse el<w>x<h>          p0 w, p1 h
//   Moire moire<rw>x<rg>x<nr>x<lw>x<ll>x<la>  p0 ring width, p1 ring gap, p2 rings, p3 line width, p4 line length, p5 line angle
//   Hole hole<d>x<p|v|n>x<tp>x<tm>  p0 d, p1 + tolerance, p2 - tolerance; plating in `plating`
//   Null null<n>               no geometry, p0 n
//   User                       a user-defined symbol of the job, by name
//   SquareLineThermal s_thr<os>x<is>x<angle>x<spokes>x<gap>  as thr (line spokes)
//   HomePlate hplate<w>x<h>x<c>[x<ra>[x<ro>]]   p0 w, p1 h, p2 cut size, p3 p4 corner radii
//   InvertedHomePlate rhplate<w>x<h>x<c>[x<ra>[x<ro>]]  as hplate
//   FlatHomePlate fhplate<w>x<h>x<vc>x<hc>[x<ra>[x<ro>]]  p0 w, p1 h, p2 vertical cut, p3 horizontal cut, p4 p5 radii
//   RadiusedInvertedHomePlate radhplate<w>x<h>x<ms>[x<ra>[x<ro>]]  p0 w, p1 h, p2 middle curve size, p3 p4 radii
//   RadiusedHomePlate dshape<w>x<h>x<r>[x<ra>]  p0 w, p1 h, p2 relief, p3 radius
//   Cross cross<w>x<h>x<hs>x<vs>x<hc>x<vc>x<r|s> p0 w, p1 h, p2 hor. line width, p3 vert. line width,
//                                                p4 hor. cross point, p5 vert. cross point; rounded_ends
//   Dogbone dogbone<w>x<h>x<hs>x<vs>x<hc>x<r|s>[x<ra>]  p0 w, p1 h, p2 hs, p3 vs, p4 hc, p6 radius; rounded_ends
//   DPack dpack<w>x<h>x<hg>x<vg>x<hn>x<vn>[x<ra>]  p0 w, p1 h, p2 hor. gap, p3 vert. gap, p4 rows, p5 columns, p6 radius
// Square donuts, square and rectangle thermals take an optional
// "xr<rad>[x<corners>]" (rounded) or "xc<size>[x<corners>]" (chamfered) tail
// too: the radius goes to the first free parameter, `corners` as for rect.
enum class SymbolFamily : std::uint8_t {
    Unknown,
    Round, Square, Rect, RectRounded, RectChamfered, Oval, Diamond, Octagon,
    RoundDonut, SquareDonut, SquareRoundDonut, RectDonut, OvalDonut,
    HexLong, HexShort, Butterfly, SquareButterfly, Triangle, HalfOval,
    RoundThermalRounded, RoundThermalSquared, SquareThermal, SquareThermalOpen,
    SquareRoundThermal, RectThermal, RectThermalOpen, OvalThermal, OblongThermal,
    Ellipse, Moire, Hole, Null, User,
    HomePlate, InvertedHomePlate, FlatHomePlate, RadiusedInvertedHomePlate, RadiusedHomePlate,
    Cross, Dogbone, DPack, SquareLineThermal,
};

// Corners of rounded or chamfered rectangles, as the digits of ODB++ names:
// 1 top right, 2 top left, 3 bottom left, 4 bottom right. All four by default.
enum CornerBits : std::uint8_t {
    kCornerTopRight = 1, kCornerTopLeft = 2, kCornerBottomLeft = 4, kCornerBottomRight = 8, kAllCorners = 15,
};

struct Symbol {
    SymbolFamily family = SymbolFamily::Unknown;
    std::array<double, 7> p{};      // see the table above
    std::uint8_t corners = kAllCorners;
    bool rounded_ends = true;       // oblong thermal, cross, dogbone: r (true) or s
    char corner_style = 0;          // optional tail of donuts and thermals: 'r', 'c' or 0
    char plating = 'p';             // hole: p plated, n non-plated, v via
    std::string name;               // the name as written in the job
    Units units = Units::Inch;      // the unit of the sizes in `name`
    bool units_marked = false;      // the symbol table gave the unit (" I" / " M")
};

// ---------------------------------------------------------------- features

enum class FeatureKind : std::uint8_t { Line, Pad, Arc, Surface, Text, Barcode };
enum class Polarity : std::uint8_t { Positive, Negative };

// One edge of a contour, from the previous point to `end`: straight, or an
// arc about `centre`.
struct Segment {
    Point end;
    Point centre;
    bool arc = false;
    bool cw = false;
};

// A closed contour: an island or a hole. The last segment ends at `start`.
struct Contour {
    bool island = true;
    Point start;
    std::vector<Segment> segments;
};

// A surface: its islands, each followed by the holes inside it.
struct Surface {
    std::vector<Contour> contours;
};

struct Text {
    std::string font = "standard";
    Coord xsize = 0;        // character width
    Coord ysize = 0;        // character height
    double width_factor = 1.0; // line width as a fraction of the font's standard width
    std::string text;
    int version = 1;        // 0: old fixed pitch, 1: proportional
    // Barcodes: the barcode type and the record's fields between orientation
    // and text, as written ("UPC39 E 0.008 0.2 Y N Y T T"), in the layer's unit.
    std::string barcode;
};

// One attribute of a feature: a name of the layer's attribute table and its
// value as text (empty for a boolean attribute that is set).
struct AttributeValue {
    std::uint32_t name = 0;
    std::string value;
};

// A feature record. Lines run a to b; arcs run a to b about c; pads, texts and
// barcodes stand at a. Surfaces and texts keep their bodies in the layer's
// pools, indexed by `body`. `symbol` indexes the layer's symbol table.
struct Feature {
    FeatureKind kind = FeatureKind::Pad;
    Polarity polarity = Polarity::Positive;
    bool mirror = false;
    bool cw = false;           // arcs
    bool selected = false;
    bool highlighted = false;
    std::int32_t symbol = -1;
    std::int32_t dcode = -1;
    double angle = 0;          // pads and texts
    Point a, b, c;
    std::uint32_t id = 0;
    std::uint32_t attributes = 0; // 0 none, else index + 1 into Layer::attribute_sets
    std::uint32_t body = 0;       // surfaces: Layer::surfaces, texts: Layer::texts
    float resize = 0;             // pads drawn with a resized symbol (apt_def -1): the factor
};

// A drill tool of a drill or rout layer.
struct DrillTool {
    int number = 0;
    std::string type;          // PLATED, NON_PLATED, VIA
    std::string type2;         // STANDARD, PHOTO, LASER, PRESS_FIT
    Coord finish_size = 0;
    Coord drill_size = 0;
    Coord min_tol = 0, max_tol = 0;
    std::string bit;
};

// The features of one layer in one step, with the tables they index.
struct Layer {
    std::vector<Symbol> symbols;               // the symbol table ($n)
    std::vector<std::string> attribute_names;  // the attribute name table (@n)
    // Shared by the features that carry the same set: to change one feature's
    // attributes, append a new set and point it there.
    std::vector<std::vector<AttributeValue>> attribute_sets;
    std::vector<Feature> features;             // in drawing order
    std::vector<Surface> surfaces;
    std::vector<Text> texts;
    std::vector<DrillTool> tools;
    std::map<std::string, std::string> attributes; // layer attributes (attrlist)
    std::map<std::string, std::string> files;      // other files of the layer, kept as read
    bool loaded = true;                            // false while its features wait on disk
    Units units = Units::Inch;                     // the unit its files are written in
    std::uint32_t id = 0;                          // the features file's ID
    std::vector<std::string> attribute_texts;      // the &n table, only while a file is read
    std::map<std::string, std::string> tools_header; // tools file fields besides the tools
};

// ---------------------------------------------------------------- steps, jobs

struct StepRepeat {
    std::string step;
    Point origin;
    Coord dx = 0, dy = 0;
    int nx = 1, ny = 1;
    double angle = 0;
    bool mirror = false;
    bool flip = false;
};

struct Step {
    std::string name;
    Surface profile;
    bool has_profile = false;
    Point datum;
    std::vector<StepRepeat> repeats;
    std::map<std::string, Layer> layers;           // by layer name
    std::map<std::string, std::string> attributes; // step attributes (attrlist)
    std::map<std::string, std::string> header;     // other stephdr fields, kept as read
    std::map<std::string, std::string> files;      // other files of the step, kept as read
};

// One row of the matrix.
struct MatrixRow {
    int row = 0;
    std::string name;
    std::string context;       // BOARD, MISC
    std::string type;          // SIGNAL, POWER_GROUND, MIXED, SOLDER_MASK, SILK_SCREEN, SOLDER_PASTE,
                               // DRILL, ROUT, DOCUMENT, COMPONENT, MASK, CONDUCTIVE_PASTE, DIELECTRIC
    std::string polarity = "POSITIVE";
    std::string start_name, end_name; // drill spans
    std::string old_name;
    std::string add_type;
    std::string form, dielectric_type, dielectric_name, cu_top, cu_bottom;
    std::uint32_t id = 0;
    int color = 0;
    std::map<std::string, std::string> other; // other fields of the row, kept as read
};

struct MatrixStep {
    int col = 0;
    std::string name;
    std::uint32_t id = 0;
};

// The definition of an attribute (misc/sysattr*, misc/userattr): its kind
// (BOOLEAN, TEXT, INTEGER, FLOAT, OPTION) and the block's fields as read.
struct AttributeDef {
    std::string kind;
    std::string name;
    std::map<std::string, std::string> fields;
};

// A user-defined symbol: itself a list of features.
struct UserSymbol {
    std::string name;
    Layer features;
    std::map<std::string, std::string> attributes;
};

// What an edit of selected features changed in one layer, as it was before:
// the feature and pool counts (features and bodies added after them are
// dropped on undo) and the old values of the features it touched.
struct FeatureDelta {
    std::size_t features = 0, surfaces = 0, texts = 0;
    std::vector<std::uint32_t> positions;
    std::vector<Feature> before;
    std::vector<std::pair<std::uint32_t, Surface>> bodies; // old surface bodies of those features
};

// What a command changed in one step, as it was before: undo puts it back.
// Whole layers for most edits; only the touched features for edits of the
// selection in place, which on large layers would otherwise copy millions.
// A step's set-up as it was before a change of it: profile, datum, the
// step-and-repeat table and the other header fields (a panel's margins).
struct StepSetup {
    Surface profile;
    bool has_profile = false;
    Point datum;
    std::vector<StepRepeat> repeats;
    std::map<std::string, std::string> header;
};

struct UndoRecord {
    std::string step;
    std::map<std::string, Layer> layers;
    std::map<std::string, FeatureDelta> deltas;
    std::optional<StepSetup> setup;
};

struct Job {
    std::string name;
    std::string folder;                       // where the job lives (its own directory)
    std::vector<MatrixStep> columns;          // steps in matrix order
    std::vector<MatrixRow> rows;              // layers in matrix order
    std::map<std::string, Step> steps;        // by step name
    std::map<std::string, UserSymbol> symbols;
    std::map<std::string, std::string> info;  // misc/info
    std::map<std::string, std::string> attributes;
    std::map<std::string, std::string> files; // other files, kept as read (relative path -> bytes)
    bool changed = false;
    Units units = Units::Inch;                // misc/info UNITS: the unit new files are written in
    std::map<std::string, AttributeDef> attribute_defs; // misc/sysattr*, misc/userattr, by name
    std::vector<std::string> saves;           // where and when this session saved it
    std::vector<UndoRecord> undo;             // oldest first, at most kUndoDepth
};

constexpr std::size_t kUndoDepth = 20;

} // namespace kesto
