// Copper fill of a profile, a line's pad symbol, tables and keeping an edit
// for good (declared in edit_ops.h).
#include "engine/api/board_layers.h"
#include "engine/api/edit_ops.h"
#include "engine/api/jobs.h"
#include "engine/api/units.h"
#include "engine/edit/fill.h"
#include "engine/edit/layer_edit.h"
#include "engine/edit/reshape.h"
#include "engine/edit/sharp_angles.h"
#include "engine/edit/step_repeat.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/outline.h"
#include "engine/select/workspace.h"
#include "engine/store/setup_undo.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <algorithm>
#include <cmath>

namespace KESTO {
namespace API {

using namespace kesto;

namespace {

Units working_units() { return working_unit_is_inch() ? Units::Inch : Units::Mm; }

bool fail(std::string& error, const std::string& why, const char* op)
{
    error = why;
    LOG(ERROR) << op << ": " << why;
    return false;
}

// The step and an existing layer of it, or the reason why not.
bool locate_layer(const std::string& job, const std::string& step, const std::string& layer, const char* op,
                  board::StepRef& at, Layer*& out, std::string& name)
{
    if (!board::find(job, step, op, at)) return false;
    out = board::layer(at, layer, op);
    if (out) name = board::row(at, layer)->name;
    return out != nullptr;
}

// The layer of the step, its row made (MISC, at the end of the matrix) when
// the job lacks it.
Layer* made_layer(board::StepRef& at, const std::string& layer, const char* op, std::string& name)
{
    if (!board::row(at, layer) &&
        !create_new_layer(at.job->name, at.step->name, layer, int(at.job->rows.size()) + 1))
        return nullptr;
    Layer* l = board::layer(at, layer, op);
    if (l) name = board::row(at, layer)->name;
    return l;
}

Symbol round_pen(Coord width, Units units)
{
    Symbol s;
    s.family = SymbolFamily::Round;
    s.p[0] = double(width);
    s.units = units;
    s.name = odb::standard_symbol_name(s, units);
    return s;
}

} // namespace

bool fill_profile(const fill_profile_request& r, int& added, std::string& error)
{
    const char* op = "fill_profile";
    added = 0;
    board::StepRef at;
    Layer* layer = nullptr;
    std::string name;
    if (!locate_layer(r.job, r.step, r.layer, op, at, layer, name))
        return fail(error, "the job, step or layer is not there", op);
    const geom::Paths profile = board::profile_outline(*at.step);
    if (profile.empty()) return fail(error, "step \"" + at.step->name + "\" has no profile", op);
    if (r.profile_resize < 0 || r.child_profile_resize < 0 || r.avoid_drill_size < 0)
        return fail(error, "clearances cannot be negative", op);

    // Square-cornered clearances, as a CAM border is drawn.
    geom::Paths area = geom::offset(profile, -double(from_working_unit(r.profile_resize)), geom::Join::Miter);
    geom::Paths keep_clear;
    std::vector<edit::StepInstance> copies;
    std::string why;
    if (!edit::step_instances(*at.job, *at.step, copies, why)) return fail(error, why, op);
    for (const edit::StepInstance& copy : copies) {
        if (copy.depth != 1) continue;
        const Step* child = store::find_step(*at.job, copy.step);
        geom::Paths outline = child ? board::profile_outline(*child) : geom::Paths{};
        for (geom::Path& p : outline)
            for (geom::IntPoint& q : p) {
                const Point placed = edit::apply(copy.placement, Point{q.X, q.Y});
                q = {placed.x, placed.y};
            }
        outline = geom::offset(geom::unite(outline), double(from_working_unit(r.child_profile_resize)),
                               geom::Join::Miter);
        keep_clear.insert(keep_clear.end(), outline.begin(), outline.end());
    }
    if (r.avoid_drill)
        for (const std::string& drill : board::drills_through(*at.job, name)) {
            const Layer* holes = board::layer(at, drill, op);
            if (!holes) continue;
            const geom::Paths image = board::layer_image(at, *holes, *board::row(at, drill));
            const geom::Paths grown = geom::offset(image, double(from_working_unit(r.avoid_drill_size)));
            keep_clear.insert(keep_clear.end(), grown.begin(), grown.end());
        }
    if (!keep_clear.empty()) area = geom::subtract(area, keep_clear);
    if (area.empty()) return fail(error, "nothing of the profile is left to fill", op);

    store::Edit edit(*at.job, at.step->name, {name});
    const size_t first = layer->features.size();
    if (r.by_pattern) {
        const Coord px = from_working_unit(r.dx), py = from_working_unit(r.dy);
        if (px <= 0 || py <= 0) return fail(error, "the pattern's pitches must be positive", op);
        Symbol symbol = odb::parse_symbol_name(r.symbol, working_units());
        const geom::Paths pad = geom::symbol_outline(symbol, *at.context);
        if (pad.empty()) return fail(error, "\"" + r.symbol + "\" is not a standard symbol with an outline", op);
        // Wholly inside: a pad with a hole (donut) is judged by its outer edge.
        const geom::Path outer = *std::max_element(pad.begin(), pad.end(), [](const geom::Path& a, const geom::Path& b) {
            return std::fabs(ClipperLib::Area(a)) < std::fabs(ClipperLib::Area(b));
        });
        const Box box = geom::box_of(area);
        if (double(box.xmax - box.xmin) / double(px) * (double(box.ymax - box.ymin) / double(py)) > 4e6)
            return fail(error, "the pitch would place more than four million pads", op);
        const std::vector<Point> centres =
            edit::grid_inside(area, outer, {box.xmin + px / 2, box.ymin + py / 2}, {box.xmax, box.ymax}, px, py);
        symbol.units = layer->units;
        symbol.name = odb::standard_symbol_name(symbol, layer->units);
        const std::int32_t index = edit::symbol_index(*layer, symbol);
        for (const Point& c : centres) {
            Feature f;
            f.kind = FeatureKind::Pad;
            f.symbol = index;
            f.a = c;
            layer->features.push_back(f);
        }
    } else {
        layer->surfaces.push_back(geom::surface_of(area));
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(layer->surfaces.size() - 1);
        layer->features.push_back(f);
    }
    added = int(layer->features.size() - first);
    select::appended(*at.job, *layer, first);
    edit.finish(size_t(added));
    return true;
}

bool line_to_symbol(const std::string& job, const std::string& step, const std::string& layer_name, int position,
                    line_symbol& out, std::string& error)
{
    const char* op = "line_to_symbol";
    board::StepRef at;
    Layer* layer = nullptr;
    std::string name;
    if (!locate_layer(job, step, layer_name, op, at, layer, name))
        return fail(error, "the job, step or layer is not there", op);
    if (position < 0 || size_t(position) >= layer->features.size() ||
        layer->features[size_t(position)].kind != FeatureKind::Line)
        return fail(error, "there is no line at position " + std::to_string(position), op);
    // The reshape that turns lines into pads, on a copy of just this line.
    Layer one;
    one.units = layer->units;
    edit::copy_feature(*layer, layer->features[size_t(position)], one);
    if (edit::lines_to_pads(one, {true}) != 1 || one.features.size() != 1)
        return fail(error, "the line is not drawn with a round or square symbol along an axis", op);
    const Feature& pad = one.features.front();
    Symbol s = one.symbols[size_t(pad.symbol)];
    out.symbol = odb::standard_symbol_name(s, working_units());
    out.x = to_working_unit(pad.a.x);
    out.y = to_working_unit(pad.a.y);
    out.angle = pad.angle;
    return true;
}

bool remove_sharp_angle(const std::string& step, const std::vector<std::string>& layers, int scope, double radius,
                        int type, bool round, double max_angle, int& filled, std::string& error)
{
    const char* op = "remove_sharp_angle";
    filled = 0;
    const std::vector<std::string> open = store::job_names();
    if (open.size() != 1) return fail(error, "one job must be open", op);
    if (scope != 0 && scope != 1) return fail(error, "the scope is 0 (selected) or 1 (all)", op);
    if (type != 0 && type != 1) return fail(error, "the type is 0 (ends) or 1 (ends and joints)", op);
    if (!(radius >= 0) || !(max_angle >= 0) || max_angle >= 180)
        return fail(error, "the radius and angle must be positive, the angle under 180", op);
    board::StepRef at;
    if (!board::find(open.front(), step, op, at)) return fail(error, "the step is not there", op);
    std::vector<std::string> names;
    std::vector<Layer*> targets;
    for (const std::string& l : layers) {
        Layer* layer = board::layer(at, l, op);
        if (!layer) return fail(error, "layer \"" + l + "\" is not there", op);
        names.push_back(board::row(at, l)->name);
        targets.push_back(layer);
    }
    edit::SharpAngleRule rule;
    rule.max_angle = max_angle > 0 ? max_angle : 90;
    rule.radius = from_working_unit(radius);
    rule.round = round;
    rule.joints = type == 1;
    store::Edit edit(*at.job, at.step->name, names);
    for (Layer* layer : targets) {
        std::vector<bool> picked(layer->features.size(), scope == 1);
        if (scope == 0)
            for (size_t i = 0; i < picked.size(); ++i) picked[i] = layer->features[i].selected;
        const size_t first = layer->features.size();
        const size_t n = edit::fill_sharp_angles(*layer, picked, rule);
        if (n) select::appended(*at.job, *layer, first);
        filled += int(n);
    }
    edit.finish(size_t(filled));
    return true;
}

bool translate_lines(const std::string& step, const std::string& layer_name, int op_type, int type, int& turned,
                     std::string& error)
{
    const char* op = "translate_lines";
    turned = 0;
    const std::vector<std::string> open = store::job_names();
    if (open.size() != 1) return fail(error, "one job must be open", op);
    if (op_type < 0 || op_type > 3) return fail(error, "op_type is 0, 1, 2 or 3", op);
    if (type != 0 && type != 1) return fail(error, "type is 0 (selected) or 1 (all)", op);
    board::StepRef at;
    Layer* layer = nullptr;
    std::string name;
    if (!locate_layer(open.front(), step, layer_name, op, at, layer, name))
        return fail(error, "the step or layer is not there", op);
    std::vector<bool> picked(layer->features.size(), type == 1);
    if (type == 0)
        for (size_t i = 0; i < picked.size(); ++i) picked[i] = layer->features[i].selected;
    store::Edit edit(*at.job, at.step->name, {name});
    size_t n = 0;
    switch (op_type) {
    case 0: n = edit::lines_to_pads(*layer, picked); break;
    case 1: n = edit::pads_to_lines(*layer, picked); break;
    case 2: n = edit::arcs_to_lines(*layer, picked, geom::kMaxChordError); break;
    case 3: n = edit::outlines_to_surfaces(*layer, picked); break;
    }
    if (n) select::forget(*layer);
    turned = int(n);
    edit.finish(n);
    return true;
}

bool correct_undo(const std::string& job_name, const std::string& step_name, int& dropped, std::string& error)
{
    const char* op = "correct_undo";
    board::StepRef at;
    if (!board::find(job_name, step_name, op, at)) return fail(error, "the job or step is not there", op);
    dropped = int(store::drop_history(*at.job, at.step->name));
    return true;
}

bool create_table(const table_request& r, int& added, double& width, double& height, std::string& error)
{
    const char* op = "create_table";
    added = 0;
    board::StepRef at;
    if (!board::find(r.job, r.step, op, at)) return fail(error, "the job or step is not there", op);
    if (r.cells.empty()) return fail(error, "the table has no rows", op);
    if (!(r.text_height > 0) || !(r.line_width > 0) || r.row_height < 0)
        return fail(error, "the text height and line width must be positive", op);
    size_t columns = r.column_widths.size();
    for (const auto& row : r.cells) columns = std::max(columns, row.size());
    if (columns == 0) return fail(error, "the table has no columns", op);
    if (columns * r.cells.size() > 100000) return fail(error, "the table has more than 100000 cells", op);

    const Coord h = from_working_unit(r.text_height);
    const Coord char_width = h * 3 / 4; // the standard font's cell is three quarters as wide as high
    const Coord row_h = r.row_height > 0 ? from_working_unit(r.row_height) : 2 * h;
    std::vector<Coord> widths(columns, 0);
    for (size_t c = 0; c < columns; ++c) {
        if (c < r.column_widths.size() && r.column_widths[c] > 0) {
            widths[c] = from_working_unit(r.column_widths[c]);
            continue;
        }
        size_t longest = 0;
        for (const auto& row : r.cells)
            if (c < row.size()) longest = std::max(longest, row[c].size());
        widths[c] = Coord(longest + 1) * char_width; // half a character either side
        if (widths[c] == 0) widths[c] = char_width;
    }

    std::string name;
    Layer* layer = made_layer(at, r.layer, op, name);
    if (!layer) return fail(error, "layer \"" + r.layer + "\" cannot be made", op);
    store::Edit edit(*at.job, at.step->name, {name});
    const size_t first = layer->features.size();
    const Point corner{from_working_unit(r.x), from_working_unit(r.y)};
    Coord total = 0;
    for (Coord w : widths) total += w;
    const Coord rows = Coord(r.cells.size());
    const std::int32_t pen = edit::symbol_index(*layer, round_pen(from_working_unit(r.line_width), layer->units));
    auto line = [&](Point a, Point b) {
        Feature f;
        f.kind = FeatureKind::Line;
        f.symbol = pen;
        f.a = a;
        f.b = b;
        layer->features.push_back(f);
    };
    for (Coord k = 0; k <= rows; ++k) line({corner.x, corner.y - k * row_h}, {corner.x + total, corner.y - k * row_h});
    Coord x = corner.x;
    for (size_t c = 0; c <= columns; ++c) {
        line({x, corner.y}, {x, corner.y - rows * row_h});
        if (c < columns) x += widths[c];
    }
    for (size_t k = 0; k < r.cells.size(); ++k) {
        Coord left = corner.x;
        for (size_t c = 0; c < columns; ++c) {
            if (c < r.cells[k].size() && !r.cells[k][c].empty()) {
                Text t;
                t.xsize = char_width;
                t.ysize = h;
                t.text = r.cells[k][c];
                layer->texts.push_back(t);
                Feature f;
                f.kind = FeatureKind::Text;
                f.body = std::uint32_t(layer->texts.size() - 1);
                f.a = {left + char_width / 2, corner.y - Coord(k) * row_h - row_h / 2 - h / 2};
                layer->features.push_back(f);
            }
            left += widths[c];
        }
    }
    added = int(layer->features.size() - first);
    width = to_working_unit(total);
    height = to_working_unit(rows * row_h);
    select::appended(*at.job, *layer, first);
    edit.finish(size_t(added));
    return true;
}

} // namespace API
} // namespace KESTO
