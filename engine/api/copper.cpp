#include "engine/api/copper.h"

#include "engine/api/board_layers.h"
#include "engine/api/units.h"
#include "engine/geometry/area_inside.h"
#include "engine/geometry/geometry.h"
#include "engine/store/store.h"

#include <glog/logging.h>

namespace KESTO {
namespace API {

using namespace kesto;

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
    geom::Paths copper = board::layer_image(at, *layer, row);

    if (view == copper_view::under_mask || view == copper_view::under_mask_less_drills) {
        out.mask = mask_name.empty() ? board::mask_of(*at.job, row.name) : mask_name;
        if (out.mask.empty()) {
            LOG(ERROR) << op << ": no solder mask covers layer \"" << row.name << "\" (an inner layer); name one";
            return false;
        }
        const Layer* mask = board::layer(at, out.mask, op);
        if (!mask) return false;
        const MatrixRow& mask_row = *board::row(at, out.mask);
        out.mask = mask_row.name;
        // The mask layer's image is its openings.
        copper = geom::intersect(copper, board::layer_image(at, *mask, mask_row));
    }
    if (view == copper_view::less_drills || view == copper_view::under_mask_less_drills) {
        geom::Paths holes;
        for (const std::string& name : board::drills_through(*at.job, row.name)) {
            const Layer* drill = board::layer(at, name, op);
            if (!drill) continue;
            out.drills.push_back(name);
            const geom::Paths image = geom::layer_outline(*drill, *at.context);
            holes.insert(holes.end(), image.begin(), image.end());
        }
        if (!holes.empty()) copper = geom::subtract(copper, geom::unite(holes));
    }

    out.area = board::to_working_area(geom::area(copper));
    const geom::Paths profile = board::profile_outline(*at.step);
    if (!profile.empty()) {
        out.board_area = board::to_working_area(geom::area(profile));
        // Only the paths the profile's edge cuts take a boolean.
        out.inside = board::to_working_area(geom::area_inside(copper, profile));
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
