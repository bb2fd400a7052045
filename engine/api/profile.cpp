#include "engine/api/profile.h"

#include "engine/api/board_layers.h"
#include "engine/api/jobs.h"
#include "engine/api/units.h"
#include "engine/edit/layer_edit.h"
#include "engine/formats/odb/symbols.h"
#include "engine/geometry/geometry.h"
#include "engine/model/text.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>

namespace KESTO {
namespace API {

using namespace kesto;

bool has_profile(const std::string& job, const std::string& step, bool& has)
{
    board::StepRef at;
    if (!board::find(job, step, "has_profile", at)) return false;
    has = !board::profile_outline(*at.step).empty();
    return true;
}

bool get_profile(const std::string& job, const std::string& step, profile_shape& out)
{
    board::StepRef at;
    if (!board::find(job, step, "get_profile", at)) return false;
    out = profile_shape{};
    const geom::Paths outline = board::profile_outline(*at.step);
    out.exists = !outline.empty();
    if (!out.exists) return true;
    for (const Contour& c : at.step->profile.contours) {
        profile_contour contour;
        contour.island = c.island;
        contour.x = to_working_unit(c.start.x);
        contour.y = to_working_unit(c.start.y);
        for (const Segment& s : c.segments)
            contour.segments.push_back({to_working_unit(s.end.x), to_working_unit(s.end.y), s.arc,
                                        s.arc ? to_working_unit(s.centre.x) : 0, s.arc ? to_working_unit(s.centre.y) : 0,
                                        s.arc && s.cw});
        out.contours.push_back(std::move(contour));
    }
    const Box box = geom::box_of(outline);
    out.area = board::to_working_area(geom::area(outline));
    out.xmin = to_working_unit(box.xmin);
    out.ymin = to_working_unit(box.ymin);
    out.xmax = to_working_unit(box.xmax);
    out.ymax = to_working_unit(box.ymax);
    return true;
}

namespace {

void set_profile(Job& job, Step& step, const geom::Paths& outline)
{
    step.profile = geom::surface_of(outline);
    step.has_profile = true;
    job.changed = true;
}

} // namespace

bool create_profile(const std::string& job, const std::string& step, const std::string& layer_name)
{
    const char* op = "create_profile";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    bool any_selected = false;
    for (const Feature& f : layer->features) any_selected |= f.selected;

    geom::Paths all;
    std::int32_t stroke = -2; // the one round symbol of every stroke; -1 when they differ or are not strokes
    for (const Feature& f : layer->features) {
        if (any_selected && !f.selected) continue;
        const geom::Paths outline = geom::feature_outline(*layer, f, *at.context);
        all.insert(all.end(), outline.begin(), outline.end());
        const bool round_stroke = (f.kind == FeatureKind::Line || f.kind == FeatureKind::Arc) && f.symbol >= 0 &&
                                  size_t(f.symbol) < layer->symbols.size() &&
                                  layer->symbols[size_t(f.symbol)].family == SymbolFamily::Round;
        if (!round_stroke)
            stroke = -1;
        else if (stroke == -2)
            stroke = f.symbol;
        else if (stroke != f.symbol)
            stroke = -1;
    }
    const geom::Paths united = geom::unite(all);
    const geom::Path* largest = nullptr;
    double largest_area = 0;
    for (const geom::Path& p : united) {
        const double a = ClipperLib::Area(p);
        if (a > largest_area) {
            largest_area = a;
            largest = &p;
        }
    }
    if (!largest) {
        LOG(ERROR) << op << ": layer \"" << layer_name << "\" holds nothing to take a profile from";
        return false;
    }
    geom::Paths edge{*largest};
    // The outer edge of a ring of round strokes lies half a width outside
    // their centre line; shrinking by that brings corners back to the vertex.
    if (stroke >= 0) edge = geom::offset(edge, -layer->symbols[size_t(stroke)].p[0] / 2);
    if (edge.empty()) {
        LOG(ERROR) << op << ": the features of layer \"" << layer_name << "\" enclose nothing";
        return false;
    }
    set_profile(*at.job, *at.step, edge);
    return true;
}

bool create_profile(const std::string& job, const std::string& step, double xmin, double ymin, double xmax,
                    double ymax)
{
    board::StepRef at;
    if (!board::find(job, step, "create_profile", at)) return false;
    if (!(xmax > xmin && ymax > ymin)) {
        LOG(ERROR) << "create_profile: the rectangle " << xmin << "," << ymin << " " << xmax << "," << ymax
                   << " is empty";
        return false;
    }
    set_profile(*at.job, *at.step,
                {geom::rectangle(double(from_working_unit(xmin)), double(from_working_unit(ymin)),
                                 double(from_working_unit(xmax)), double(from_working_unit(ymax)))});
    return true;
}

bool profile_to_outerline(const std::string& job, const std::string& step, const std::string& layer_name, double width,
                          int& added)
{
    const char* op = "profile_to_outerline";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    if (board::profile_outline(*at.step).empty()) {
        LOG(ERROR) << op << ": step \"" << at.step->name << "\" has no profile";
        return false;
    }
    if (!(width > 0) || !std::isfinite(width)) {
        LOG(ERROR) << op << ": the line width must be positive";
        return false;
    }
    Symbol round;
    round.family = SymbolFamily::Round;
    round.p[0] = double(from_working_unit(width));
    round.units = layer->units;
    round.name = odb::standard_symbol_name(round, layer->units);

    store::remember(*at.job, at.step->name, {board::row(at, layer_name)->name});
    const std::int32_t symbol = edit::symbol_index(*layer, round);
    const size_t first = layer->features.size();
    for (const Contour& c : at.step->profile.contours) {
        Point from = c.start;
        for (const Segment& s : c.segments) {
            Feature f;
            f.kind = s.arc ? FeatureKind::Arc : FeatureKind::Line;
            f.symbol = symbol;
            f.a = from;
            f.b = s.end;
            f.c = s.centre;
            f.cw = s.cw;
            layer->features.push_back(f);
            from = s.end;
        }
    }
    added = int(layer->features.size() - first);
    select::appended(*at.job, *layer, first);
    at.job->changed = true;
    return true;
}

bool create_layer_between_profile(const std::string& job, const std::string& step, const std::string& layer_name,
                                  double margin, double& area)
{
    const char* op = "create_layer_between_profile";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const geom::Paths profile = board::profile_outline(*at.step);
    if (profile.empty()) {
        LOG(ERROR) << op << ": step \"" << at.step->name << "\" has no profile";
        return false;
    }
    if (at.step->repeats.empty()) {
        LOG(ERROR) << op << ": step \"" << at.step->name << "\" has no step-and-repeat copies";
        return false;
    }
    // Each copy places the child's profile as its features are placed: from
    // the child's datum, mirrored, turned clockwise, moved to its origin.
    geom::Paths boards;
    for (const StepRepeat& sr : at.step->repeats) {
        const Step* child = store::find_step(*at.job, sr.step);
        if (!child) child = store::find_step(*at.job, lower(sr.step));
        const geom::Paths outline = child ? board::profile_outline(*child) : geom::Paths{};
        if (outline.empty()) {
            LOG(ERROR) << op << ": the repeated step \"" << sr.step << "\" has no profile";
            return false;
        }
        geom::Paths local = outline;
        for (geom::Path& p : local)
            for (geom::IntPoint& q : p) {
                q.X -= child->datum.x;
                q.Y -= child->datum.y;
            }
        for (int i = 0; i < sr.nx; ++i)
            for (int j = 0; j < sr.ny; ++j) {
                const geom::Placement how{{sr.origin.x + i * sr.dx, sr.origin.y + j * sr.dy}, sr.angle, sr.mirror};
                const geom::Paths placed = geom::place(how, local);
                boards.insert(boards.end(), placed.begin(), placed.end());
            }
    }
    boards = geom::unite(boards);
    if (margin != 0) boards = geom::offset(boards, double(from_working_unit(margin)));
    const geom::Paths frame = geom::subtract(profile, boards);

    if (!board::row(at, layer_name) && !create_new_layer(at.job->name, at.step->name, layer_name, 0)) return false;
    Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    store::remember(*at.job, at.step->name, {board::row(at, layer_name)->name});
    const size_t first = layer->features.size();
    if (!frame.empty()) {
        layer->surfaces.push_back(geom::surface_of(frame));
        Feature f;
        f.kind = FeatureKind::Surface;
        f.body = std::uint32_t(layer->surfaces.size() - 1);
        layer->features.push_back(f);
    }
    select::appended(*at.job, *layer, first);
    at.job->changed = true;
    area = board::to_working_area(geom::area(frame));
    return true;
}

bool highlight_reference_profile(const std::string& job, const std::string& step, const std::string& layer_name,
                                 int& count)
{
    const char* op = "highlight_reference_profile";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    const geom::Paths profile = board::profile_outline(*at.step);
    if (profile.empty()) {
        LOG(ERROR) << op << ": step \"" << at.step->name << "\" has no profile";
        return false;
    }
    count = 0;
    for (Feature& f : layer->features) {
        // Slivers under a square micron are the chord bound along a shared edge, not copper outside.
        const bool out = geom::area(geom::subtract(geom::feature_outline(*layer, f, *at.context), profile)) > 1e6;
        f.highlighted = f.highlighted || out;
        count += out;
    }
    return true;
}

} // namespace API
} // namespace KESTO
