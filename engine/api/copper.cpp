#include "engine/api/copper.h"

#include "engine/api/board_layers.h"
#include "engine/api/units.h"
#include "engine/geometry/area_inside.h"
#include "engine/geometry/geometry.h"
#include "engine/geometry/strips.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <iterator>

namespace KESTO {
namespace API {

using namespace kesto;

namespace {

// A layer cut into the strips of the copper figures: its pieces, and the
// profile to invert them in for a negative matrix row.
struct StripLayer {
    std::vector<geom::Piece> pieces;
    bool negative = false;
};

StripLayer strip_layer(const board::StepRef& at, const Layer& layer, const MatrixRow& row)
{
    Layer flat;
    return {geom::pieces_of(board::drawn_layer(at, layer, row, flat), *at.context), row.polarity == "NEGATIVE"};
}

geom::Paths image_within(const StripLayer& l, const geom::Paths& profile, const Box& strip)
{
    geom::Paths painted = geom::painted_within(l.pieces, strip);
    if (!l.negative) return painted;
    const geom::Path frame = geom::rectangle(double(strip.xmin), double(strip.ymin), double(strip.xmax), double(strip.ymax));
    return geom::subtract(geom::intersect(profile, {frame}), painted);
}

} // namespace

bool rest_copper(const std::string& job, const std::string& step, const std::string& layer_name, copper_view view,
                 copper_figures& out, const std::string& mask_name)
{
    const char* op = "rest_copper";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    const Layer* layer = board::layer(at, layer_name, op);
    if (!layer) return false;
    const MatrixRow& row = *board::row(at, layer_name);
    if (!board::is_copper(row)) {
        LOG(ERROR) << op << ": layer \"" << row.name << "\" is not a copper layer of the board";
        return false;
    }
    out = copper_figures{};
    out.layer = row.name;
    const geom::Paths profile = board::profile_outline(*at.step);
    const StripLayer copper = strip_layer(at, *layer, row);

    StripLayer mask;
    const bool masked = view == copper_view::under_mask || view == copper_view::under_mask_less_drills;
    if (masked) {
        out.mask = mask_name.empty() ? board::mask_of(*at.job, row.name) : mask_name;
        if (out.mask.empty()) {
            LOG(ERROR) << op << ": no solder mask covers layer \"" << row.name << "\" (an inner layer); name one";
            return false;
        }
        const Layer* mask_layer = board::layer(at, out.mask, op);
        if (!mask_layer) return false;
        const MatrixRow& mask_row = *board::row(at, out.mask);
        out.mask = mask_row.name;
        // The mask layer's image is its openings.
        mask = strip_layer(at, *mask_layer, mask_row);
    }
    StripLayer holes;
    if (view == copper_view::less_drills || view == copper_view::under_mask_less_drills)
        for (const std::string& name : board::drills_through(*at.job, row.name)) {
            const Layer* drill = board::layer(at, name, op);
            if (!drill) continue;
            out.drills.push_back(name);
            StripLayer d = strip_layer(at, *drill, *board::row(at, name));
            for (geom::Piece& p : d.pieces) p.positive = true; // a hole is a hole
            std::move(d.pieces.begin(), d.pieces.end(), std::back_inserter(holes.pieces));
        }

    // One boolean per strip and layer; the strips' areas add up.
    Box extent = copper.negative && !profile.empty() ? geom::box_of(profile) : Box{};
    for (const geom::Piece& p : copper.pieces) {
        extent.add(Point{p.box.xmin, p.box.ymin});
        extent.add(Point{p.box.xmax, p.box.ymax});
    }
    double area = 0, inside = 0;
    for (const Box& strip : geom::strips_over(extent, copper.pieces)) {
        geom::Paths image = image_within(copper, profile, strip);
        if (masked && !image.empty()) image = geom::intersect(image, image_within(mask, profile, strip));
        if (!holes.pieces.empty() && !image.empty())
            image = geom::subtract(image, geom::painted_within(holes.pieces, strip));
        area += geom::area(image);
        if (!profile.empty()) inside += geom::area_inside(image, profile);
    }
    out.area = board::to_working_area(area);
    if (!profile.empty()) {
        out.board_area = board::to_working_area(geom::area(profile));
        out.inside = board::to_working_area(inside);
        if (out.board_area > 0) out.rate = out.inside / out.board_area;
    }
    return true;
}

bool outer_copper_layers(const std::string& job_name, std::string& top, std::string& bottom)
{
    const Job* job = kesto::store::find_job(job_name);
    if (!job) {
        LOG(ERROR) << "outer_copper_layers: job \"" << job_name << "\" is not open";
        return false;
    }
    const auto rows = board::copper_rows(*job);
    if (rows.empty()) {
        LOG(ERROR) << "outer_copper_layers: job \"" << job_name << "\" has no copper layer";
        return false;
    }
    top = rows.front()->name;
    bottom = rows.back()->name;
    return true;
}

bool total_square(const std::string& job, const std::string& step, board_square& out)
{
    board::StepRef at;
    if (!board::find(job, step, "total_square", at)) return false;
    const geom::Paths profile = board::profile_outline(*at.step);
    if (profile.empty()) {
        LOG(ERROR) << "total_square: step \"" << at.step->name << "\" has no profile";
        return false;
    }
    const Box box = geom::box_of(profile);
    out.area = board::to_working_area(geom::area(profile));
    out.xmin = to_working_unit(box.xmin);
    out.ymin = to_working_unit(box.ymin);
    out.xmax = to_working_unit(box.xmax);
    out.ymax = to_working_unit(box.ymax);
    return true;
}

bool selected_feature_areas(const std::string& job, const std::string& step, const std::vector<std::string>& layers,
                            std::vector<selected_areas>& out)
{
    const char* op = "selected_feature_areas";
    board::StepRef at;
    if (!board::find(job, step, op, at)) return false;
    out.clear();
    for (const std::string& name : layers) {
        const Layer* layer = board::layer(at, name, op);
        if (!layer) return false;
        selected_areas entry;
        entry.layer = board::row(at, name)->name;
        geom::Paths all;
        for (size_t i = 0; i < layer->features.size(); ++i) {
            const Feature& f = layer->features[i];
            if (!f.selected) continue;
            const geom::Paths outline = geom::feature_outline(*layer, f, *at.context);
            entry.features.push_back(int(i));
            entry.areas.push_back(board::to_working_area(geom::area(outline)));
            all.insert(all.end(), outline.begin(), outline.end());
        }
        entry.united = board::to_working_area(geom::area(geom::unite(all)));
        out.push_back(std::move(entry));
    }
    return true;
}

} // namespace API
} // namespace KESTO
