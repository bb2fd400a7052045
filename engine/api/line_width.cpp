// Line-width compensation of a layout layer (declared in edit_ops.h).
#include "engine/api/board_layers.h"
#include "engine/api/edit_ops.h"
#include "engine/api/units.h"
#include "engine/edit/line_width.h"
#include "engine/select/workspace.h"
#include "engine/store/store.h"

#include <glog/logging.h>

#include <cmath>

namespace KESTO {
namespace API {

using namespace kesto;

bool change_gds_line_width(const line_width_request& r, line_width_result& result, std::string& error)
{
    const char* op = "change_gds_line_width";
    result = {};
    auto fail = [&](const std::string& why) {
        error = why;
        LOG(ERROR) << op << ": " << why;
        return false;
    };
    for (double v : {r.max_distance, r.default_resize, r.length, r.offset_para, r.imin, r.imax, r.resize_size, r.angle})
        if (!std::isfinite(v)) return fail("every size must be a finite number");
    if (r.max_distance < 0 || r.length < 0 || r.offset_para < 0)
        return fail("max_distance, length and offset_para cannot be negative");
    if (r.imin > r.imax) return fail("imin is above imax");

    std::string job = r.job;
    if (job.empty()) {
        const std::vector<std::string> open = store::job_names();
        if (open.size() != 1) return fail("name the job: " + std::to_string(open.size()) + " jobs are open");
        job = open.front();
    }
    board::StepRef at;
    if (!board::find(job, r.step, op, at)) return fail("the job or step is not there");
    Layer* layer = board::layer(at, r.layer, op);
    if (!layer) return fail("the layer is not there");
    const std::string name = board::row(at, r.layer)->name;

    edit::LineWidthRule rule;
    rule.imin = from_working_unit(r.imin);
    rule.imax = from_working_unit(r.imax);
    rule.resize = from_working_unit(r.resize_size);
    rule.default_resize = from_working_unit(r.default_resize);
    rule.min_length = from_working_unit(r.length);
    rule.join_gap = from_working_unit(r.max_distance);
    rule.max_turn = r.angle;
    rule.spacing = from_working_unit(r.offset_para);

    store::Edit edit(*at.job, at.step->name, {name});
    const edit::LineWidthCount n = edit::change_line_widths(*layer, *at.context, rule);
    if (n.changed) select::forget(*layer);
    edit.finish(n.changed);
    result = {int(n.changed), int(n.limited), int(n.blocked), int(n.short_left), int(n.vanishing)};
    LOG(INFO) << op << ": " << name << ": " << n.changed << " lines re-widthed (" << n.limited
              << " held back by the spacing), " << n.blocked << " kept by the spacing, " << n.short_left
              << " in short traces left, " << n.vanishing << " would lose all width";
    return true;
}

} // namespace API
} // namespace KESTO
