#include "engine/api/board_layers.h"
#include "engine/edit/step_repeat.h"

#include "engine/api/units.h"
#include "engine/geometry/area_parts.h"
#include "engine/model/text.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

namespace kesto::board {

bool find(const std::string& job, const std::string& step, const char* op, StepRef& out)
{
    out.job = store::find_job(job);
    if (!out.job) {
        LOG(ERROR) << op << ": job \"" << job << "\" is not open";
        return false;
    }
    out.step = store::find_step(*out.job, step);
    if (!out.step) out.step = store::find_step(*out.job, lower(step));
    if (!out.step) {
        LOG(ERROR) << op << ": job \"" << job << "\" has no step \"" << step << "\"";
        return false;
    }
    out.context = &select::context_for(*out.job);
    return true;
}

const MatrixRow* row(const StepRef& at, const std::string& name)
{
    if (const MatrixRow* r = store::find_row(*at.job, name)) return r;
    return store::find_row(*at.job, lower(name));
}

Layer* layer(const StepRef& at, const std::string& name, const char* op)
{
    const MatrixRow* r = row(at, name);
    Layer* l = r ? store::find_layer(*at.job, *at.step, r->name) : nullptr;
    if (!l) LOG(ERROR) << op << ": job \"" << at.job->name << "\" has no layer \"" << name << "\"";
    return l;
}

bool is_copper(const MatrixRow& row)
{
    return row.context == "BOARD" && (row.type == "SIGNAL" || row.type == "POWER_GROUND" || row.type == "MIXED");
}

std::vector<const MatrixRow*> copper_rows(const Job& job)
{
    std::vector<const MatrixRow*> rows;
    for (const MatrixRow& r : job.rows)
        if (is_copper(r)) rows.push_back(&r);
    return rows;
}

namespace {

int position(const Job& job, const std::string& name)
{
    for (size_t i = 0; i < job.rows.size(); ++i)
        if (job.rows[i].name == name || job.rows[i].name == lower(name)) return int(i);
    return -1;
}

} // namespace

std::vector<std::string> drills_through(const Job& job, const std::string& layer)
{
    std::vector<std::string> drills;
    const int at = position(job, layer);
    for (const MatrixRow& r : job.rows) {
        if (r.context != "BOARD" || r.type != "DRILL") continue;
        int from = position(job, r.start_name), to = position(job, r.end_name);
        if (from < 0 || to < 0) {
            from = 0;
            to = int(job.rows.size());
        }
        if (from > to) std::swap(from, to);
        if (at >= from && at <= to) drills.push_back(r.name);
    }
    return drills;
}

std::string mask_of(const Job& job, const std::string& layer)
{
    const auto copper = copper_rows(job);
    if (copper.empty()) return {};
    const int at = position(job, layer);
    const int top = position(job, copper.front()->name), bottom = position(job, copper.back()->name);
    auto is_mask = [&](int i) { return job.rows[size_t(i)].context == "BOARD" && job.rows[size_t(i)].type == "SOLDER_MASK"; };
    if (at == top)
        for (int i = at - 1; i >= 0; --i)
            if (is_mask(i)) return job.rows[size_t(i)].name;
    if (at == bottom)
        for (int i = at + 1; i < int(job.rows.size()); ++i)
            if (is_mask(i)) return job.rows[size_t(i)].name;
    return {};
}

geom::Paths profile_outline(const Step& step)
{
    if (!step.has_profile && step.profile.contours.empty()) return {};
    return geom::surface_outline(step.profile);
}

const Layer& drawn_layer(const StepRef& at, const Layer& layer, const MatrixRow& row, Layer& scratch)
{
    // A panel's copper is its boards' copper too: the nested steps placed.
    if (at.step->repeats.empty()) return layer;
    std::string why;
    if (edit::flattened_layer(*at.job, *at.step, row.name, scratch, why)) return scratch;
    LOG(ERROR) << "copper of " << row.name << ": the step's repeats are not counted: " << why;
    return layer;
}

geom::Paths layer_image(const StepRef& at, const Layer& layer, const MatrixRow& row)
{
    Layer flat;
    geom::Paths image = geom::layer_outline_by_parts(drawn_layer(at, layer, row, flat), *at.context);
    if (row.polarity == "NEGATIVE") image = geom::subtract(profile_outline(*at.step), image);
    return image;
}

double to_working_area(double nm2)
{
    const double unit = KESTO::API::working_unit_is_inch() ? double(kNmPerInch) : double(kNmPerMm);
    return nm2 / (unit * unit);
}

} // namespace kesto::board
