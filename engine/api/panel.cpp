#include "engine/api/panel.h"

#include "engine/api/jobs.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/step_repeat.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"
#include "engine/model/text.h"
#include "engine/panel/autopanel.h"
#include "engine/panel/layout.h"
#include "engine/select/workspace.h"
#include "engine/store/setup_undo.h"
#include "engine/store/store.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <optional>

namespace KESTO {
namespace API {

namespace {

using kesto::Box;
using kesto::Coord;
using kesto::Feature;
using kesto::FeatureKind;
using kesto::Job;
using kesto::Layer;
using kesto::Point;
using kesto::Step;
using kesto::lower;
namespace edit = kesto::edit;
namespace panel = kesto::panel;

Coord nm(double v) { return from_working_unit(v); }
double wu(Coord v) { return to_working_unit(v); }

struct Found {
    Job* job = nullptr;
    Step* step = nullptr;
};

Found find(const std::string& job, const std::string& step, std::string& error)
{
    Found f;
    f.job = kesto::store::find_job(job);
    if (!f.job) {
        error = "job \"" + job + "\" is not open";
        return f;
    }
    f.step = kesto::store::find_step(*f.job, lower(step));
    if (!f.step) error = "job \"" + job + "\" has no step \"" + step + "\"";
    return f;
}

// A change of a step's set-up (table, profile, datum, margins) as one undo
// record, taken only when the change is made. One made inside another (the
// automatic panel sets all four) joins the outer record, so one undo takes
// the whole panel back.
class SetupChange {
public:
    SetupChange(Job& job, const Step& step) : job_(job), step_(step.name)
    {
        if (depth_++ == 0) before_.emplace(kesto::store::setup_of(step));
    }
    ~SetupChange() { --depth_; }
    SetupChange(const SetupChange&) = delete;
    SetupChange& operator=(const SetupChange&) = delete;
    void made()
    {
        job_.changed = true;
        if (before_) kesto::store::remember_setup(job_, step_, std::move(*before_));
        before_.reset();
    }

private:
    static inline int depth_ = 0;
    Job& job_;
    std::string step_;
    std::optional<kesto::StepSetup> before_;
};

// The step's header lengths are written in its own unit (its UNITS field,
// else the job's).
double header_per_unit(const Job& job, const Step& step)
{
    auto it = step.header.find("UNITS");
    const bool mm = it != step.header.end() ? lower(it->second) == "mm" : job.units == kesto::Units::Mm;
    return mm ? double(kesto::kNmPerMm) : double(kesto::kNmPerInch);
}

Coord header_length(const Job& job, const Step& step, const char* key)
{
    auto it = step.header.find(key);
    if (it == step.header.end()) return 0;
    double v = 0;
    std::from_chars(it->second.data(), it->second.data() + it->second.size(), v);
    return Coord(std::llround(v * header_per_unit(job, step)));
}

void set_header_length(const Job& job, Step& step, const char* key, Coord value)
{
    step.header[key] = kesto::odb::format_length(double(value), header_per_unit(job, step), 10);
}

Box profile_box(const Step& step) { return edit::placed_profile_box(step, edit::Placement{}); }

// The area boards may take: the profile less the margins; without margins,
// the boards' own extent.
Box active_area(const Job& job, const Step& step, const std::vector<edit::StepInstance>& instances)
{
    const Coord left = header_length(job, step, "LEFT_ACTIVE"), right = header_length(job, step, "RIGHT_ACTIVE");
    const Coord bottom = header_length(job, step, "BOTTOM_ACTIVE"), top = header_length(job, step, "TOP_ACTIVE");
    const Box p = profile_box(step);
    if (!p.empty() && (left || right || bottom || top))
        return Box{p.xmin + left, p.ymin + bottom, p.xmax - right, p.ymax - top};
    Box boards;
    for (const auto& one : instances) boards.add(one.profile);
    return boards;
}

bool instances_of(const Job& job, const Step& step, std::vector<edit::StepInstance>& out, std::string& error)
{
    return edit::step_instances(job, step, out, error);
}

// The layer of `step`, made in the matrix first when the job lacks it.
Layer* layer_for_drawing(Found& f, const std::string& layer, std::string& error)
{
    if (layer.empty()) {
        error = "no layer named";
        return nullptr;
    }
    if (!kesto::store::find_row(*f.job, lower(layer)))
        create_new_layer(f.job->name, f.step->name, layer, int(f.job->rows.size()) + 1);
    Layer* out = kesto::store::find_layer(*f.job, *f.step, lower(layer));
    if (!out) error = "job \"" + f.job->name + "\" has no layer \"" + layer + "\"";
    return out;
}

// A round symbol of diameter `d` nanometres.
std::int32_t round_symbol(Layer& layer, Coord d)
{
    kesto::Symbol s;
    s.family = kesto::SymbolFamily::Round;
    s.p[0] = double(d);
    s.units = kesto::Units::Mm;
    s.name = kesto::odb::standard_symbol_name(s, kesto::Units::Mm);
    return edit::symbol_index(layer, s);
}

void add_line(Layer& layer, std::int32_t symbol, Point a, Point b)
{
    Feature f;
    f.kind = FeatureKind::Line;
    f.symbol = symbol;
    f.a = a;
    f.b = b;
    layer.features.push_back(f);
}

void add_pad(Layer& layer, std::int32_t symbol, Point at, double angle = 0)
{
    Feature f;
    f.kind = FeatureKind::Pad;
    f.symbol = symbol;
    f.a = at;
    f.angle = angle;
    layer.features.push_back(f);
}

// A text of `height` whose lower left corner is at `at`, turned by `angle`.
void add_text(Layer& layer, const std::string& text, Point at, Coord height, double angle = 0)
{
    kesto::Text t;
    t.text = text;
    t.xsize = height * 8 / 10;
    t.ysize = height;
    layer.texts.push_back(t);
    Feature f;
    f.kind = FeatureKind::Text;
    f.body = std::uint32_t(layer.texts.size() - 1);
    f.a = at;
    f.angle = angle;
    layer.features.push_back(f);
}

void add_box_outline(Layer& layer, std::int32_t symbol, const Box& b)
{
    add_line(layer, symbol, {b.xmin, b.ymin}, {b.xmax, b.ymin});
    add_line(layer, symbol, {b.xmax, b.ymin}, {b.xmax, b.ymax});
    add_line(layer, symbol, {b.xmax, b.ymax}, {b.xmin, b.ymax});
    add_line(layer, symbol, {b.xmin, b.ymax}, {b.xmin, b.ymin});
}

kesto::Surface box_surface(const Box& b)
{
    kesto::Contour c;
    c.island = true;
    c.start = {b.xmin, b.ymin};
    for (Point p : {Point{b.xmin, b.ymax}, Point{b.xmax, b.ymax}, Point{b.xmax, b.ymin}, Point{b.xmin, b.ymin}})
        c.segments.push_back(kesto::Segment{p, {}, false, false});
    kesto::Surface s;
    s.contours.push_back(c);
    return s;
}

double profile_area(const Step& step)
{
    return step.has_profile ? std::fabs(kesto::geom::area(kesto::geom::surface_outline(step.profile))) : 0.0;
}

step_instance_info info_of(const Step& child, const edit::StepInstance& one, int index)
{
    step_instance_info i;
    i.index = index;
    i.step = one.step;
    i.row = one.row;
    i.depth = one.depth;
    const Point datum = edit::apply(one.placement, child.datum);
    i.x = wu(datum.x);
    i.y = wu(datum.y);
    i.angle = one.placement.angle;
    i.mirror = one.placement.mirror != one.flipped;
    i.flip = one.flipped;
    if (!one.profile.empty()) {
        i.xmin = wu(one.profile.xmin), i.ymin = wu(one.profile.ymin);
        i.xmax = wu(one.profile.xmax), i.ymax = wu(one.profile.ymax);
    }
    return i;
}

panel::PanelRequest engine_request(const panel_request& r)
{
    panel::PanelRequest q;
    q.board_width = nm(r.board_width), q.board_height = nm(r.board_height);
    q.panel_width = nm(r.panel_width), q.panel_height = nm(r.panel_height);
    q.margin_left = nm(r.margins.left), q.margin_right = nm(r.margins.right);
    q.margin_bottom = nm(r.margins.bottom), q.margin_top = nm(r.margins.top);
    q.spacing_x = nm(r.spacing_x), q.spacing_y = nm(r.spacing_y);
    q.angles = r.angles.empty() ? std::vector<double>{0} : r.angles;
    return q;
}

void plan_reply(const panel::PanelPlan& p, panel_plan& out)
{
    out = panel_plan{};
    out.count = p.count;
    out.used_width = wu(p.used_width), out.used_height = wu(p.used_height);
    out.utilisation = p.utilisation, out.used_utilisation = p.used_utilisation;
    for (const auto& b : p.boards) out.boards.push_back({wu(b.corner.x), wu(b.corner.y), wu(b.width), wu(b.height), b.angle});
}

bool check_table(const Job& job, Step& step, std::string& error)
{
    std::vector<edit::StepInstance> instances;
    return edit::step_instances(job, step, instances, error);
}

} // namespace

bool get_step_repeat(const std::string& job, const std::string& step, std::vector<step_repeat_row>& rows, std::string& error)
{
    rows.clear();
    Found f = find(job, step, error);
    if (!f.step) return false;
    for (const kesto::StepRepeat& sr : f.step->repeats)
        rows.push_back({sr.step, wu(sr.origin.x), wu(sr.origin.y), wu(sr.dx), wu(sr.dy), sr.nx, sr.ny, sr.angle, sr.mirror, sr.flip});
    return true;
}

bool set_step_repeat(const std::string& job, const std::string& step, const std::vector<step_repeat_row>& rows,
                     std::string& error)
{
    Job* j = kesto::store::find_job(job);
    if (!j) return error = "job \"" + job + "\" is not open", false;
    if (!kesto::store::find_step(*j, lower(step)) && !create_step(job, step, int(j->columns.size()) + 1))
        return error = "step \"" + step + "\" cannot be made", false;
    Step& s = *kesto::store::find_step(*j, lower(step));
    SetupChange change(*j, s);
    std::vector<kesto::StepRepeat> table;
    for (const step_repeat_row& r : rows) {
        kesto::StepRepeat sr;
        sr.step = lower(r.step);
        sr.origin = {nm(r.x), nm(r.y)};
        sr.dx = nm(r.dx), sr.dy = nm(r.dy);
        sr.nx = r.nx, sr.ny = r.ny;
        sr.angle = edit::normal_angle(r.angle);
        sr.mirror = r.mirror, sr.flip = r.flip;
        table.push_back(sr);
    }
    std::swap(s.repeats, table);
    if (!check_table(*j, s, error)) {
        std::swap(s.repeats, table); // nothing lost on a bad table
        return false;
    }
    change.made();
    return true;
}

bool get_all_step_repeat_steps(const std::string& job, const std::string& step, std::vector<step_instance_info>& out,
                               std::string& error)
{
    out.clear();
    Found f = find(job, step, error);
    if (!f.step) return false;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return false;
    for (size_t k = 0; k < instances.size(); ++k)
        out.push_back(info_of(*kesto::store::find_step(*f.job, instances[k].step), instances[k], int(k) + 1));
    return true;
}

int do_step_and_repeat(const std::string& job, const std::string& step, const std::vector<std::string>& layers, int nx,
                       int ny, double dx, double dy, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return -1;
    if (nx < 1 || ny < 1) return error = "counts must be at least 1", -1;
    if (layers.empty()) return error = "no layer named", -1;
    std::vector<Layer*> targets;
    std::vector<std::string> names;
    for (const std::string& name : layers) {
        Layer* l = kesto::store::find_layer(*f.job, *f.step, lower(name));
        if (!l) return error = "job \"" + job + "\" has no layer \"" + name + "\"", -1;
        targets.push_back(l);
        names.push_back(lower(name));
    }
    kesto::store::remember_selected(*f.job, f.step->name, names);
    int made = 0;
    for (Layer* l : targets) {
        for (int i = 0; i < nx; ++i)
            for (int j = 0; j < ny; ++j)
                if (i || j) made += int(edit::copy_selected(*l, *l, edit::moved(nm(dx * i), nm(dy * j)), false));
        kesto::select::forget(*l);
    }
    if (made) f.job->changed = true;
    return made;
}

bool set_step_profile(const std::string& job, const std::string& step, double xmin, double ymin, double xmax,
                      double ymax, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return false;
    Box b;
    b.add(Point{nm(xmin), nm(ymin)});
    b.add(Point{nm(xmax), nm(ymax)});
    if (b.xmax == b.xmin || b.ymax == b.ymin) return error = "the profile has no area", false;
    SetupChange change(*f.job, *f.step);
    f.step->profile = box_surface(b);
    f.step->has_profile = true;
    change.made();
    return true;
}

bool set_panel_margin(const std::string& job, const std::string& step, const panel_margins& m, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return false;
    if (m.left < 0 || m.right < 0 || m.bottom < 0 || m.top < 0) return error = "margins cannot be negative", false;
    const Box p = profile_box(*f.step);
    if (!p.empty() && (nm(m.left) + nm(m.right) >= p.xmax - p.xmin || nm(m.bottom) + nm(m.top) >= p.ymax - p.ymin))
        return error = "the margins leave no room inside the profile", false;
    SetupChange change(*f.job, *f.step);
    set_header_length(*f.job, *f.step, "LEFT_ACTIVE", nm(m.left));
    set_header_length(*f.job, *f.step, "RIGHT_ACTIVE", nm(m.right));
    set_header_length(*f.job, *f.step, "BOTTOM_ACTIVE", nm(m.bottom));
    set_header_length(*f.job, *f.step, "TOP_ACTIVE", nm(m.top));
    change.made();
    return true;
}

bool get_panel_margin(const std::string& job, const std::string& step, panel_margins& m, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return false;
    m.left = wu(header_length(*f.job, *f.step, "LEFT_ACTIVE"));
    m.right = wu(header_length(*f.job, *f.step, "RIGHT_ACTIVE"));
    m.bottom = wu(header_length(*f.job, *f.step, "BOTTOM_ACTIVE"));
    m.top = wu(header_length(*f.job, *f.step, "TOP_ACTIVE"));
    return true;
}

bool set_datum_point(const std::string& job, const std::string& step, double x, double y, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return false;
    SetupChange change(*f.job, *f.step);
    f.step->datum = {nm(x), nm(y)};
    change.made();
    return true;
}

bool SR_Automatic(const panel_request& request, panel_plan& plan, std::string& error)
{
    panel::PanelPlan p;
    if (!panel::plan_panel(engine_request(request), p, error)) return false;
    plan_reply(p, plan);
    return true;
}

bool auto_set_step_repeat(const std::string& job, const std::string& step, const std::string& child,
                          panel_request request, panel_plan& plan, std::string& error)
{
    Found c = find(job, child, error);
    if (!c.step) return false;
    if (!c.step->has_profile) return error = "step \"" + child + "\" has no profile to size the boards by", false;
    if (lower(step) == c.step->name) return error = "a step cannot be its own panel", false;
    const Box board = profile_box(*c.step);
    request.board_width = wu(board.xmax - board.xmin);
    request.board_height = wu(board.ymax - board.ymin);
    panel::PanelPlan p;
    if (!panel::plan_panel(engine_request(request), p, error)) return false;
    // One table row per board: its datum goes where the turned profile's
    // lower left corner lands on the board's corner.
    std::vector<step_repeat_row> rows;
    for (const panel::PlacedBoard& b : p.boards) {
        edit::Placement turn;
        turn.origin = c.step->datum;
        turn.angle = b.angle;
        const Box turned = edit::placed_profile_box(*c.step, turn);
        step_repeat_row r;
        r.step = c.step->name;
        r.x = wu(b.corner.x - turned.xmin + c.step->datum.x);
        r.y = wu(b.corner.y - turned.ymin + c.step->datum.y);
        r.angle = b.angle;
        rows.push_back(r);
    }
    // Boards in a line one pitch apart become one row of the table.
    std::vector<step_repeat_row> merged;
    for (const step_repeat_row& r : rows) {
        bool joined = false;
        for (step_repeat_row& m : merged) {
            if (m.angle != r.angle || m.ny != 1 || std::fabs(m.y - r.y) > 1e-9) continue;
            const double pitch = m.nx == 1 ? r.x - m.x : m.dx;
            if (pitch > 0 && std::fabs(r.x - (m.x + pitch * m.nx)) < 1e-9) {
                m.dx = pitch, ++m.nx, joined = true;
                break;
            }
        }
        if (!joined) merged.push_back(r);
    }
    std::vector<step_repeat_row> table;
    for (const step_repeat_row& r : merged) {
        bool joined = false;
        for (step_repeat_row& m : table) {
            if (m.angle != r.angle || m.nx != r.nx || std::fabs(m.x - r.x) > 1e-9 || std::fabs(m.dx - r.dx) > 1e-9) continue;
            const double pitch = m.ny == 1 ? r.y - m.y : m.dy;
            if (pitch > 0 && std::fabs(r.y - (m.y + pitch * m.ny)) < 1e-9) {
                m.dy = pitch, ++m.ny, joined = true;
                break;
            }
        }
        if (!joined) table.push_back(r);
    }
    Job& j = *c.job;
    if (!kesto::store::find_step(j, lower(step)) && !create_step(job, step, int(j.columns.size()) + 1))
        return error = "step \"" + step + "\" cannot be made", false;
    // Table, profile, datum and margins: one undo record, and all or nothing.
    Step& panel_step = *kesto::store::find_step(j, lower(step));
    const kesto::StepSetup before = kesto::store::setup_of(panel_step);
    SetupChange change(j, panel_step);
    if (!set_step_repeat(job, step, table, error) ||
        !set_step_profile(job, step, 0, 0, request.panel_width, request.panel_height, error) ||
        !set_datum_point(job, step, 0, 0, error) || !set_panel_margin(job, step, request.margins, error)) {
        panel_step.profile = before.profile;
        panel_step.has_profile = before.has_profile;
        panel_step.datum = before.datum;
        panel_step.repeats = before.repeats;
        panel_step.header = before.header;
        return false;
    }
    change.made();
    plan_reply(p, plan);
    return true;
}

bool get_sr_coupon_plan(const std::string& job, const std::string& step, double width, double height, int count,
                        double clearance, std::vector<coupon_slot>& slots, std::string& error)
{
    slots.clear();
    Found f = find(job, step, error);
    if (!f.step) return false;
    if (!f.step->has_profile) return error = "step \"" + step + "\" has no profile", false;
    if (width <= 0 || height <= 0 || count < 1 || clearance < 0)
        return error = "coupon sizes and count must be above zero, the clearance not below", false;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return false;
    const Box active = active_area(*f.job, *f.step, instances);
    for (const auto& s : panel::coupon_slots(profile_box(*f.step), active, nm(width), nm(height), count, nm(clearance)))
        slots.push_back({wu(s.centre.x), wu(s.centre.y), s.angle, s.side});
    return true;
}

namespace {

struct Hole {
    int index;
    Point at;
    Coord size;
};

struct CouponData {
    std::vector<Hole> holes;
    std::vector<int> lines; // positions of line features in the signal layer
    const Layer* signal = nullptr;
};

bool coupon_data(const std::string& job, const std::string& step, const std::string& drill_layer,
                 const std::string& signal_layer, CouponData& d, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return false;
    const Layer* drill = kesto::store::find_layer(*f.job, *f.step, lower(drill_layer));
    d.signal = kesto::store::find_layer(*f.job, *f.step, lower(signal_layer));
    if (!drill || !d.signal)
        return error = "job \"" + job + "\" lacks layer \"" + (drill ? signal_layer : drill_layer) + "\"", false;
    for (size_t k = 0; k < drill->features.size(); ++k) {
        const Feature& h = drill->features[k];
        if (h.kind != FeatureKind::Pad || h.symbol < 0 || size_t(h.symbol) >= drill->symbols.size()) continue;
        d.holes.push_back({int(k), h.a, Coord(drill->symbols[size_t(h.symbol)].p[0])});
    }
    for (size_t k = 0; k < d.signal->features.size(); ++k)
        if (d.signal->features[k].kind == FeatureKind::Line) d.lines.push_back(int(k));
    return true;
}

double distance(Point a, Point b) { return std::hypot(double(a.x - b.x), double(a.y - b.y)); }

// The hole a line end stands in (its centre within the hole's radius), or -1.
int hole_at(const CouponData& d, Point end)
{
    int best = -1;
    double nearest = 0;
    for (size_t k = 0; k < d.holes.size(); ++k) {
        const double gap = distance(d.holes[k].at, end);
        if (gap <= double(d.holes[k].size) / 2 && (best < 0 || gap < nearest)) best = int(k), nearest = gap;
    }
    return best;
}

} // namespace

bool get_coupon_single_end_drill_positions(const std::string& job, const std::string& step,
                                           const std::string& drill_layer, const std::string& signal_layer,
                                           std::vector<coupon_drill>& drills, std::string& error)
{
    drills.clear();
    CouponData d;
    if (!coupon_data(job, step, drill_layer, signal_layer, d, error)) return false;
    std::vector<int> line_of(d.holes.size(), -1);
    for (int l : d.lines) {
        const Feature& f = d.signal->features[size_t(l)];
        for (Point end : {f.a, f.b}) {
            const int h = hole_at(d, end);
            if (h >= 0 && line_of[size_t(h)] < 0) line_of[size_t(h)] = l;
        }
    }
    for (size_t k = 0; k < d.holes.size(); ++k) {
        coupon_drill c;
        c.index = d.holes[k].index;
        c.x = wu(d.holes[k].at.x), c.y = wu(d.holes[k].at.y), c.size = wu(d.holes[k].size);
        c.signal = line_of[k] >= 0;
        c.line = line_of[k];
        if (c.signal) {
            double nearest = 0;
            for (size_t g = 0; g < d.holes.size(); ++g) {
                if (line_of[g] >= 0) continue;
                const double gap = distance(d.holes[k].at, d.holes[g].at);
                if (c.ground < 0 || gap < nearest) c.ground = d.holes[g].index, nearest = gap;
            }
            if (c.ground >= 0) c.pitch = wu(Coord(std::llround(nearest)));
        }
        drills.push_back(c);
    }
    return true;
}

bool get_coupon_drill_line_relations(const std::string& job, const std::string& step, const std::string& drill_layer,
                                     const std::string& signal_layer, std::vector<coupon_line>& lines,
                                     std::string& error)
{
    lines.clear();
    CouponData d;
    if (!coupon_data(job, step, drill_layer, signal_layer, d, error)) return false;
    for (int l : d.lines) {
        const Feature& f = d.signal->features[size_t(l)];
        coupon_line c;
        c.index = l;
        if (f.symbol >= 0 && size_t(f.symbol) < d.signal->symbols.size())
            c.width = wu(Coord(d.signal->symbols[size_t(f.symbol)].p[0]));
        c.length = wu(Coord(std::llround(distance(f.a, f.b))));
        const int s = hole_at(d, f.a), e = hole_at(d, f.b);
        c.start_drill = s < 0 ? -1 : d.holes[size_t(s)].index;
        c.end_drill = e < 0 ? -1 : d.holes[size_t(e)].index;
        c.xs = wu(f.a.x), c.ys = wu(f.a.y), c.xe = wu(f.b.x), c.ye = wu(f.b.y);
        lines.push_back(c);
    }
    return true;
}

bool get_cam_guide_step_index(const std::string& job, std::vector<step_role>& steps, int& panel_index,
                              int& board_index, std::string& error)
{
    steps.clear();
    panel_index = board_index = 0;
    Job* j = kesto::store::find_job(job);
    if (!j) return error = "job \"" + job + "\" is not open", false;
    std::map<std::string, int> placed;
    for (const auto& [name, s] : j->steps) {
        std::vector<edit::StepInstance> instances;
        if (s.repeats.empty()) continue;
        if (!edit::step_instances(*j, s, instances, error)) return false;
        for (const auto& one : instances)
            if (one.depth == 1) ++placed[one.step];
    }
    for (size_t c = 0; c < j->columns.size(); ++c) {
        const std::string& name = j->columns[c].name;
        const Step* s = kesto::store::find_step(*j, name);
        if (name.empty() || !s) continue;
        step_role r;
        r.name = name;
        r.index = int(c) + 1;
        const bool repeats = !s->repeats.empty(), repeated = placed.count(name) > 0;
        r.role = repeats ? (repeated ? "sub-panel" : "panel") : (repeated ? "board" : "single");
        r.instances = repeated ? placed[name] : 0;
        if (r.role == "panel" && !panel_index) panel_index = r.index;
        if (r.role == "board" && !board_index) board_index = r.index;
        steps.push_back(r);
    }
    if (!board_index)
        for (const step_role& r : steps)
            if (r.role == "single") {
                board_index = r.index;
                break;
            }
    return true;
}

bool judge_box_and_childstepbox(const std::string& job, const std::string& step, box_judgement& out, std::string& error)
{
    out = box_judgement{};
    Found f = find(job, step, error);
    if (!f.step) return false;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return false;
    const Box profile = profile_box(*f.step);
    const Box active = active_area(*f.job, *f.step, instances);
    auto name = [&](size_t k) { return instances[k].step + " #" + std::to_string(k + 1); };
    for (size_t k = 0; k < instances.size(); ++k) {
        const Box& b = instances[k].profile;
        if (b.empty()) continue;
        if (!panel::inside(b, profile)) {
            out.inside = false;
            out.problems.push_back(name(k) + " reaches outside the profile of " + f.step->name);
        } else if (instances[k].depth == 1 && !panel::inside(b, active)) {
            out.inside = false;
            out.problems.push_back(name(k) + " reaches into the margins of " + f.step->name);
        }
    }
    // Copies overlap when their profiles share interior; a sub-panel's own
    // boards stand inside it, so only copies of the same depth are compared.
    for (size_t a = 0; a < instances.size(); ++a)
        for (size_t b = a + 1; b < instances.size(); ++b)
            if (instances[a].depth == instances[b].depth && panel::overlap(instances[a].profile, instances[b].profile)) {
                out.overlap = true;
                out.problems.push_back(name(a) + " overlaps " + name(b));
            }
    return true;
}

bool get_cam_automatic(const std::string& job, const std::string& step, panel_summary& s, std::string& error)
{
    s = panel_summary{};
    Found f = find(job, step, error);
    if (!f.step) return false;
    const Box p = profile_box(*f.step);
    if (!p.empty()) s.xmin = wu(p.xmin), s.ymin = wu(p.ymin), s.xmax = wu(p.xmax), s.ymax = wu(p.ymax);
    if (!get_panel_margin(job, step, s.margins, error)) return false;
    s.datum_x = wu(f.step->datum.x), s.datum_y = wu(f.step->datum.y);
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return false;
    double boards = 0;
    for (const auto& one : instances) {
        const Step* child = kesto::store::find_step(*f.job, one.step);
        if (child->repeats.empty()) {
            ++s.boards;
            boards += profile_area(*child);
        }
        ++s.per_step[one.step];
    }
    const double whole = profile_area(*f.step);
    s.utilisation = whole > 0 ? boards / whole : 0;
    box_judgement j;
    if (!judge_box_and_childstepbox(job, step, j, error)) return false;
    s.inside = j.inside, s.overlap = j.overlap;
    return true;
}

int run_map(const std::string& job, const std::string& step, const std::string& layer, double text_height,
            double line_width, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return -1;
    if (text_height <= 0 || line_width <= 0) return error = "text height and line width must be above zero", -1;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return -1;
    Layer* out = layer_for_drawing(f, layer, error);
    if (!out) return -1;
    kesto::store::remember(*f.job, f.step->name, {lower(layer)});
    const size_t before = out->features.size();
    const std::int32_t pen = round_symbol(*out, nm(line_width));
    const Coord h = nm(text_height);
    for (size_t k = 0; k < instances.size(); ++k) {
        const Box& b = instances[k].profile;
        if (b.empty()) continue;
        add_box_outline(*out, pen, b);
        // The copy's number, centred in its extent.
        const std::string number = std::to_string(k + 1);
        const Coord w = h * 8 / 10 * Coord(number.size());
        add_text(*out, number, Point{(b.xmin + b.xmax) / 2 - w / 2, (b.ymin + b.ymax) / 2 - h / 2}, h);
    }
    kesto::select::forget(*out);
    f.job->changed = true;
    return int(out->features.size() - before);
}

int run_edge(const std::string& job, const std::string& step, const std::string& layer, double clearance,
             std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return -1;
    if (!f.step->has_profile) return error = "step \"" + step + "\" has no profile", -1;
    if (clearance < 0) return error = "the clearance cannot be negative", -1;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return -1;
    const Box frame = panel::grown(profile_box(*f.step), -nm(clearance));
    Box window = panel::grown(active_area(*f.job, *f.step, instances), nm(clearance));
    if (frame.empty() || window.empty() || !panel::inside(window, frame) || window.xmin <= frame.xmin)
        return error = "no margin is left between the profile and the boards", -1;
    Layer* out = layer_for_drawing(f, layer, error);
    if (!out) return -1;
    kesto::store::remember(*f.job, f.step->name, {lower(layer)});
    // One surface: the frame with the boards' window cut out of it.
    kesto::Surface s = box_surface(frame);
    // The window runs the other way round: a hole.
    kesto::Contour hole;
    hole.island = false;
    hole.start = {window.xmin, window.ymin};
    for (Point p : {Point{window.xmax, window.ymin}, Point{window.xmax, window.ymax}, Point{window.xmin, window.ymax},
                    Point{window.xmin, window.ymin}})
        hole.segments.push_back(kesto::Segment{p, {}, false, false});
    s.contours.push_back(hole);
    out->surfaces.push_back(s);
    Feature frame_feature;
    frame_feature.kind = FeatureKind::Surface;
    frame_feature.body = std::uint32_t(out->surfaces.size() - 1);
    out->features.push_back(frame_feature);
    kesto::select::forget(*out);
    f.job->changed = true;
    return 1;
}

int add_sub_jobname_arrow(const std::string& job, const std::string& step, const std::string& layer,
                          double text_height, std::string& error)
{
    Found f = find(job, step, error);
    if (!f.step) return -1;
    if (text_height <= 0) return error = "the text height must be above zero", -1;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return -1;
    Layer* out = layer_for_drawing(f, layer, error);
    if (!out) return -1;
    kesto::store::remember(*f.job, f.step->name, {lower(layer)});
    const size_t before = out->features.size();
    const Coord h = nm(text_height);
    kesto::Symbol arrow;
    arrow.family = kesto::SymbolFamily::Triangle;
    arrow.p[0] = double(h), arrow.p[1] = double(h);
    arrow.units = kesto::Units::Mm;
    arrow.name = kesto::odb::standard_symbol_name(arrow, kesto::Units::Mm);
    std::string name = f.job->name;
    std::transform(name.begin(), name.end(), name.begin(), [](unsigned char c) { return char(std::toupper(c)); });
    for (const auto& one : instances) {
        if (one.depth != 1) continue;
        const Step& child = *kesto::store::find_step(*f.job, one.step);
        // In the copy's own coordinates: an arrow pointing up from its datum
        // and the job's name to its right; then placed with the copy.
        Layer local;
        add_pad(local, edit::symbol_index(local, arrow), Point{child.datum.x + h / 2, child.datum.y + h / 2});
        add_text(local, name, Point{child.datum.x + h + h / 2, child.datum.y}, h);
        edit::append_placed(local, *out, one.placement);
    }
    kesto::select::forget(*out);
    f.job->changed = true;
    return int(out->features.size() - before);
}

int panel_banding(const std::string& job, const std::vector<std::string>& layers, double dot, double pitch,
                  double clearance, std::string& error)
{
    Found f = find(job, "panel", error);
    if (!f.step) return -1;
    if (!f.step->has_profile) return error = "step \"panel\" has no profile", -1;
    if (dot <= 0 || pitch < dot || clearance < 0)
        return error = "the dot must be above zero, the pitch at least the dot, the clearance not below zero", -1;
    if (layers.empty()) return error = "no layer named", -1;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return -1;
    std::vector<Box> keep_out;
    for (const auto& one : instances) keep_out.push_back(panel::grown(one.profile, nm(clearance)));
    const Box area = panel::grown(profile_box(*f.step), -nm(clearance));
    const auto dots = panel::banding_dots(area, keep_out, nm(dot), nm(pitch));
    std::vector<Layer*> targets;
    std::vector<std::string> names;
    for (const std::string& name : layers) {
        Layer* l = kesto::store::find_layer(*f.job, *f.step, lower(name));
        if (!l) return error = "job \"" + job + "\" has no layer \"" + name + "\"", -1;
        targets.push_back(l);
        names.push_back(lower(name));
    }
    kesto::store::remember(*f.job, "panel", names);
    for (Layer* l : targets) {
        const std::int32_t symbol = round_symbol(*l, nm(dot));
        for (Point p : dots) add_pad(*l, symbol, p);
        kesto::select::forget(*l);
    }
    f.job->changed = true;
    return int(dots.size());
}

bool init_varno_fpcdouble_featuremap(const std::string& job, const std::string& step,
                                     const std::vector<std::string>& layers, std::vector<feature_map_entry>& map,
                                     std::string& error)
{
    map.clear();
    Found f = find(job, step, error);
    if (!f.step) return false;
    for (const std::string& name : layers)
        if (!kesto::store::find_row(*f.job, lower(name))) return error = "job \"" + job + "\" has no layer \"" + name + "\"", false;
    std::vector<edit::StepInstance> instances;
    if (!instances_of(*f.job, *f.step, instances, error)) return false;
    for (size_t k = 0; k < instances.size(); ++k) {
        const auto& one = instances[k];
        const Step& child = *kesto::store::find_step(*f.job, one.step);
        feature_map_entry e;
        e.index = int(k) + 1;
        e.step = one.step;
        const Point datum = edit::apply(one.placement, child.datum);
        e.x = wu(datum.x), e.y = wu(datum.y), e.angle = one.placement.angle, e.flip = one.flipped;
        for (const std::string& name : layers) {
            const std::string source = one.flipped ? edit::facing_layer(*f.job, name) : lower(name);
            auto it = child.layers.find(source);
            e.features[lower(name)] = it == child.layers.end() ? 0 : int(it->second.features.size());
        }
        map.push_back(e);
    }
    return true;
}

} // namespace API
} // namespace KESTO
