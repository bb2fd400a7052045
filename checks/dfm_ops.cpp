// DFM operation commands: teardrops and non-functional pad removal.
#include "adaptor/handler.h"
#include "checks/dfm_frame.h"
#include "checks/ranges.h"
#include "engine/api/dfm_ops.h"

using kesto::adaptor::Form;
using kesto::adaptor::handle;
using kesto::checks::ValueLog;

namespace {

KESTO::API::dfm_thresholds thresholds(const Json::Value& ranges, const char* table)
{
    kesto::checks::register_table(table);
    return kesto::checks::signal_thresholds(kesto::checks::read_ranges(ranges, table));
}

} // namespace

KESTO_HANDLER(teardrop_create_DFM)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::teardrop_create_DFM_op_params p;
    Json::Value ranges;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"erf", p.erf}, {"layers", layers}, {"type", p.type},
                   {"drilled_pads", p.drilled_pads}, {"undrilled_pads", p.undrilled_pads},
                   {"ann_ring_min", p.ann_ring_min}, {"drill_size_min", p.drill_size_min},
                   {"drill_size_max", p.drill_size_max}, {"cu_spacing", p.cu_spacing},
                   {"drill_spacing", p.drill_spacing}, {"delete_old_teardrops", p.delete_old_teardrops},
                   {"apply_to", p.apply_to}, {"work_mode", p.work_mode}, {"arc_angle", p.arc_angle},
                   {"bga_pads", p.bga_pads}, {"use_arc_tear", p.use_arc_tear},
                   {"tear_line_width_ratio", p.tear_line_width_ratio}, {"ranges", ranges}},
                  [&] {
                      p.ranges = thresholds(ranges, "TeardropsRanges");
                      if (layers.empty()) return kesto::checks::refuse_empty_layers("teardrop_create_DFM");
                      std::map<KESTO::API::teardrop_create_DFM_op_items, KESTO::API::teardrop_create_DFM_op_result> result;
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::teardrop_create_DFM_op(job, step, layers, p, result, &progress);
                      KESTO_INFO << ValueLog()
                                        .add("drilled_pads:", p.drilled_pads)
                                        .add("undrilled_pads:", p.undrilled_pads)
                                        .add("drill_size_min:", p.drill_size_min)
                                        .add("drill_size_max:", p.drill_size_max)
                                        .add("cu_spacing:", p.cu_spacing)
                                        .add("drill_spacing:", p.drill_spacing)
                                        .add("delete_old_teardrops:", p.delete_old_teardrops)
                                        .add("use_arc_tear:", p.use_arc_tear)
                                        .add("arc_angle:", p.arc_angle)
                                        .add("bga_pads:", p.bga_pads)
                                        .add("ann_ring_min:", p.ann_ring_min)
                                        .add("tear_line_width_ratio:", p.tear_line_width_ratio)
                                        .text();
                      return kesto::adaptor::pass();
                  });
}

KESTO_HANDLER(NFP_removal_DFM)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::NFP_removal_DFM_op_params p;
    Json::Value ranges;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"isolated", p.isolated},
                   {"drill_over", p.drill_over}, {"duplicate", p.duplicate}, {"covered", p.covered},
                   {"work_on", p.work_on}, {"pth_pressfit", p.pth_pressfit}, {"npth", p.npth},
                   {"via_laser", p.via_laser}, {"via_photo", p.via_photo},
                   {"remove_undrilled_pads", p.remove_undrilled_pads}, {"apply_to", p.apply_to},
                   {"remove_mark_NFP", p.remove_mark_NFP}, {"ranges", ranges}},
                  [&] {
                      p.ranges = thresholds(ranges, "NFPRemoval");
                      if (layers.empty()) return kesto::checks::refuse_empty_layers("NFP_removal_DFM");
                      std::map<KESTO::API::NFP_removal_DFM_op_items, KESTO::API::NFP_removal_DFM_op_result> result;
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::NFP_removal_DFM_op(job, step, layers, p, result, &progress);
                      // Plated holes are worked on unless only vias were asked for, vias unless only plated holes.
                      KESTO_INFO << ValueLog()
                                        .add("remove_pth:", p.work_on != 1)
                                        .add("remove_npth:", p.npth)
                                        .add("remove_via:", p.work_on != 2)
                                        .add("remove_Undrilled:", p.remove_undrilled_pads)
                                        .text();
                      return kesto::adaptor::pass();
                  });
}
