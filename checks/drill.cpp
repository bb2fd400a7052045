// Drill and board-drill checks.
#include "adaptor/handler.h"
#include "analysis/jw_analysis_filter.h"
#include "checks/common_cache.h"
#include "checks/ranges.h"
#include "engine/api/analysis.h"

using kesto::adaptor::Form;
using kesto::adaptor::handle;

KESTO_HANDLER(drill_check)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::drill_context context;
    Json::Value ranges;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"erf", context.erf},
                   {"rout_distance", context.rout_distance}, {"hole_size", context.hole_size},
                   {"extra_holes", context.extra_holes}, {"hole_seperation", context.hole_separation},
                   {"power_ground_short", context.power_ground_short}, {"missing_hole", context.missing_hole},
                   {"npth_to_rout", context.npth_to_rout}, {"use_pth", context.use_pth},
                   {"use_npth", context.use_npth}, {"use_via", context.use_via},
                   {"compensated_rout", context.compensated_rout},
                   {"calculate_board_net_status", context.calculate_board_net_status, true}, {"ranges", ranges}},
                  [&] {
                      kesto::checks::register_table("DrillRanges");
                      KESTO::API::drill_thresholds thresholds;
                      if (!ranges.isNull())
                          thresholds = kesto::checks::drill_thresholds(kesto::checks::read_ranges(ranges, "DrillRanges"));
                      KESTO::API::drill_result result;
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::drill_check(job, step, layers, context, thresholds, result, &progress);
                      KESTO::Cache::common_cache::instance()->setDrillResult(result);
                      const std::string uuid = KESTO::API::latest_analysis_uuid(job, step, 2);
                      return kesto::adaptor::keep(JWAnalysisFilter::instance()->getDrillResult2JsonStr4AllCo(result, uuid));
                  });
}

// Accepts the board-drill parameters; the board-drill analysis is not started
// from here, and the cache is left alone. The switches ("single", "cross",
// "via2pth", ...) are not used, so they are not read: a value of any type is
// accepted for them.
KESTO_HANDLER(board_drill_check)
{
    std::string job, step, erf;
    std::vector<std::string> layers;
    int compensated_rout = 0;
    return handle("drill_check", request, Form::ElementsLogged,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"erf", erf},
                   {"compensated_rout", compensated_rout}},
                  [] { return kesto::adaptor::pass(); });
}
