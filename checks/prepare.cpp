// Prepare, OK-step, MRC checks and surface analysis.
#include "adaptor/handler.h"
#include "checks/common_cache.h"
#include "checks/ranges.h"
#include "engine/api/prepare.h"

using kesto::adaptor::Form;
using kesto::adaptor::handle;

// The host's verdict on a step, kept for later readers. Its records are the
// only ones with a lower-case "end", and its normal answer is the error text,
// so it does not go through the common frame.
KESTO_HANDLER(ok_step_check)
{
    std::string result;
    try {
        KESTO_INFO << "Begin ok_step_check";
        const kesto::adaptor::Keys keys{{"result", result}};
        kesto::adaptor::reset_keys(keys);
        Json::Value root;
        if (!kesto::adaptor::parse_request(request, root)) throw std::invalid_argument("the request is not JSON");
        kesto::adaptor::read_elements(root["paras"], keys);
        KESTO::Cache::common_cache::instance()->setOkCheckResult(result);
        KESTO_INFO << "end ok_step_check";
    } catch (const std::exception& e) {
        kesto::adaptor::log_failure("ok_step_check", e.what());
    }
    return kesto::adaptor::error();
}

KESTO_HANDLER(mrc_check)
{
    KESTO::API::mrc_check_params params;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"job", params.job}, {"step", params.step}, {"layers", params.layers}}, [&]() -> char* {
                      KESTO::API::mrc_result result;
                      KESTO::COMMON::progress_value<int> progress;
                      if (!KESTO::API::mrc_check(params, result, &progress)) return kesto::adaptor::error();
                      KESTO::Cache::common_cache::instance()->setMrcCheckResult(result);
                      return kesto::adaptor::pass();
                  });
}

// Findings are not kept anywhere by this command: each layer's counts per
// item, with the worst value, go to the log.
KESTO_HANDLER(surface_analyze)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::surface_analyser_params params;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"erf", params.erf},
                   {"max_size", params.max_size}, {"mode", params.mode},
                   {"max_fold_length", params.max_fold_length}, {"small_edge_length", params.small_edge_length}},
                  [&]() -> char* {
                      std::vector<KESTO::API::surface_analyser_list> items;
                      for (int i = 0; i < 5; ++i)
                          if (params.mode == 0 || (params.mode >> i) & 1) items.push_back(KESTO::API::surface_analyser_list(i));
                      KESTO::COMMON::progress_value<int> progress;
                      for (const std::string& layer : layers) {
                          std::map<KESTO::API::surface_analyser_items, KESTO::API::surface_analyser_result> result;
                          if (!KESTO::API::surface_analyser(job, step, layer, params, items, {}, result, &progress))
                              return kesto::adaptor::error();
                          for (const auto& [item, r] : result) {
                              std::size_t n = 0;
                              std::int32_t worst = 0;
                              for (const auto& level : r.lv)
                                  for (const auto& info : level) worst = n++ ? std::min(worst, info.measure_value) : info.measure_value;
                              LOG(INFO) << "surface_analyze: " << layer << ": " << KESTO::API::surface_item_name(item)
                                        << ": " << n << " (smallest " << worst << " nm)";
                          }
                      }
                      return kesto::adaptor::pass();
                  });
}

// Its normal answer is the error text, as hosts of this command expect.
KESTO_HANDLER(npth_and_pth_prepare_op)
{
    std::string job, step;
    KESTO::API::npth_and_pth_prepare_params params;
    return handle(__func__, request, Form::MembersParse,
                  {{"job", job}, {"step", step}, {"sm_clearance", params.sm_clearance},
                   {"sm_np_clearance", params.sm_np_clearance}, {"add_sm_pads", params.add_sm_pads},
                   {"add_signal_pads", params.add_signal_pads}},
                  [&]() -> char* {
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::npth_and_pth_prepare_op(job, step, params, &progress);
                      return kesto::adaptor::error();
                  });
}

KESTO_HANDLER(prepare_check)
{
    KESTO::API::prepare_check_params params;
    Json::Value ranges;
    return handle(
        __func__, request, Form::Elements,
        {{"job", params.job}, {"solder_paste_top", params.solder_paste_top}, {"silk_screen_top", params.silk_screen_top},
         {"solder_mask_top", params.solder_mask_top}, {"signal_layer", params.signal_layer},
         {"solder_mask_bottom", params.solder_mask_bottom}, {"silk_screen_bottom", params.silk_screen_bottom},
         {"solder_paste_bottom", params.solder_paste_bottom}, {"drill_layer", params.drill_layer},
         {"rout", params.rout}, {"outline", params.outline}, {"top", params.top}, {"bottom", params.bottom},
         {"ranges", ranges}},
        [&]() -> char* {
            kesto::checks::register_table("PrePareRanges");
            params.ranges = kesto::checks::signal_thresholds(kesto::checks::read_ranges(ranges, "PrePareRanges"));
            // Every row of the table is asked for.
            std::vector<KESTO::API::prepare_check_items> items;
            for (const auto& [index, name] : kesto::checks::category_rows("PrePareRanges"))
                items.push_back(KESTO::API::prepare_check_items(index));
            KESTO::API::prepare_result result;
            KESTO::COMMON::progress_value<int> progress;
            if (!KESTO::API::prepare_check(params.job, params, items, result, &progress)) return kesto::adaptor::error();
            KESTO::Cache::common_cache::instance()->setPrepareCheckResult(result);
            return kesto::adaptor::pass();
        });
}

KESTO_HANDLER(add_outline_drill)
{
    std::string job, step, outline, drill, symbol;
    int offset = 0;
    double tolerance = 0;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"outerline_layer", outline}, {"drill_layer", drill},
                   {"add_drill_symbolname", symbol}, {"move_offset_in_corner", offset}, {"angle_tolerance", tolerance}},
                  [&]() -> char* {
                      int added = 0;
                      if (!KESTO::API::add_outerline_drills(job, step, outline, drill, symbol, offset, tolerance, added))
                          return kesto::adaptor::error();
                      LOG(INFO) << "add_outline_drill: " << added << " drills added to " << drill;
                      return kesto::adaptor::pass();
                  });
}
