// Solder-mask and silk-screen checks. Both answer the pass message; the
// findings go to the check-result cache and to a kept analysis run whose
// uuid the log names.
#include "adaptor/handler.h"
#include "checks/common_cache.h"
#include "checks/ranges.h"
#include "engine/api/analysis.h"

using kesto::adaptor::Form;
using kesto::adaptor::handle;

KESTO_HANDLER(solder_mask_check)
{
    LOG(INFO) << "Begin solder_mask_check";
    KESTO::API::solder_mask_check_params params;
    std::vector<std::string> layers;
    Json::Value ranges;
    char* reply = handle(
        __func__, request, Form::Elements,
        {{"job", params.job}, {"step", params.step}, {"layers", layers}, {"erf", params.erf},
         {"sm_ar", params.sm_ar}, {"sm_coverage", params.sm_coverage}, {"sm_to_rout", params.sm_to_rout},
         {"sliver_min", params.sliver_min}, {"spacing_min", params.spacing_min}, {"bridge_min", params.bridge_min},
         {"overlap", params.overlap}, {"drill", params.drill}, {"silver", params.sliver}, {"pads", params.pads},
         {"missing", params.missing}, {"coverage", params.coverage}, {"spacing", params.spacing},
         {"rout", params.rout}, {"clearance_connection", params.clearance_connection}, {"bridge", params.bridge},
         {"apply_to", params.apply_to}, {"use_compensated_rout", params.use_compensated_rout},
         {"min_sliver_len", params.min_sliver_len}, {"dist2sliver_ratio", params.dist2sliver_ratio},
         {"max_botteneck_width", params.max_bottleneck_width}, {"apply_range", params.apply_range},
         {"classify_pad_ar", params.classify_pad_ar}, {"ranges", ranges}},
        [&]() -> char* {
            using namespace KESTO::API;
            kesto::checks::register_table("SolderMaskRanges");
            params.ranges = kesto::checks::signal_thresholds(kesto::checks::read_ranges(ranges, "SolderMaskRanges"));
            solder_mask_result all;
            for (const std::string& layer : layers) {
                params.layer = layer;
                std::map<solder_mask_checks_items, solder_mask_check_result> result;
                KESTO::COMMON::progress_value<int> progress;
                solder_mask_checks(params, result, &progress);
                all[layer] = std::move(result);
            }
            KESTO::Cache::common_cache::instance()->setSolderMaskResult(all);
            keep_solder_mask_analysis(params.job, params.step, all);
            return kesto::adaptor::pass();
        });
    LOG(INFO) << "End solder_mask_check";
    return reply;
}

KESTO_HANDLER(silk_screen_check)
{
    LOG(INFO) << "Begin silk_screen_check";
    KESTO::API::silk_screen_check_params params;
    std::vector<std::string> layers;
    Json::Value ranges;
    char* reply = handle(
        __func__, request, Form::Elements,
        {{"job", params.job}, {"step", params.step}, {"layers", layers}, {"erf", params.erf},
         {"spacing", params.spacing}, {"sm_clearance", params.sm_clearance}, {"rout_clearance", params.rout_clearance},
         {"smd_clearance", params.smd_clearance}, {"line_width", params.line_width},
         {"pad_clearance", params.pad_clearance}, {"copper_coverage", params.copper_coverage},
         {"hole_clearance", params.hole_clearance}, {"apply_to", params.apply_to},
         {"use_compensated_rout", params.use_compensated_rout}, {"ranges", ranges}},
        [&]() -> char* {
            using namespace KESTO::API;
            kesto::checks::register_table("SilkScreenRanges");
            params.ranges = kesto::checks::signal_thresholds(kesto::checks::read_ranges(ranges, "SilkScreenRanges"));
            silk_screen_result all;
            for (const std::string& layer : layers) {
                params.layer = layer;
                std::map<silk_screen_checks_items, silk_screen_check_result> result;
                KESTO::COMMON::progress_value<int> progress;
                silk_screen_checks(params, result, &progress);
                all[layer] = std::move(result);
            }
            KESTO::Cache::common_cache::instance()->setSilkResult(all);
            keep_silk_screen_analysis(params.job, params.step, all);
            return kesto::adaptor::pass();
        });
    LOG(INFO) << "End silk_screen_check";
    return reply;
}
