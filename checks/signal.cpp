// Signal-layer check.
#include "adaptor/handler.h"
#include "checks/common_cache.h"
#include "checks/ranges.h"
#include "engine/api/analysis.h"

using kesto::adaptor::Form;
using kesto::adaptor::handle;

KESTO_HANDLER(signal_layer_check)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::signal_check_params params;
    bool spacing = false, stubs = false, drill = false, center = false, rout = false, smd = false, size = false,
         bottleneck = false, sliver = false, apply_to = false;
    Json::Value ranges;
    return handle(__func__, request, Form::Elements,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"erf", params.erf},
                   {"pp_spacing", params.pp_spacing}, {"drill2cu", params.drill2cu}, {"rout2cu", params.rout2cu},
                   {"sliver_min", params.sliver_min}, {"min_pad_overlap", params.min_pad_overlap},
                   {"spacing", spacing}, {"stubs", stubs}, {"drill", drill}, {"center", center}, {"rout", rout},
                   {"smd", smd}, {"size", size}, {"bottleneck", bottleneck}, {"sliver", sliver},
                   {"pad_connection_check", params.pad_connection_check}, {"apply_to", apply_to},
                   {"check_missing", params.check_missing}, {"use_compensated_rout", params.use_compensated_rout},
                   {"sort_spacing", params.sort_spacing}, {"ranges", ranges}},
                  [&]() -> char* {
                      using namespace KESTO::API;
                      // The engine's fixed settings, in nanometres.
                      params.width_tolerance = 5080;
                      params.too_small = 2540;
                      params.registration = {2540, 2540};
                      params.rings = {101600, 101600};
                      params.stub_length = 203200;
                      params.width_limit = 101600;
                      params.spacing_default = 254000;
                      params.smd_pitch = {17780000, 76200};
                      params.local_spacing = {304800, 609600};
                      params.neckdown = {203200, 254000};
                      params.net_size = {127000000, 254000};
                      params.measure_arcs = params.measure_texts = params.measure_surfaces = true;

                      std::vector<signal_layers_checks_list> checks;
                      const std::pair<bool, signal_layers_checks_list> order[] = {
                          {spacing, SignalSpacing}, {smd, SignalSmd}, {drill, SignalDrill}, {size, SignalSize},
                          {center, SignalCenter}, {bottleneck, SignalBottleneck}, {rout, SignalRout},
                          {sliver, SignalSliver}, {stubs, SignalStubs}, {apply_to, SignalSelectedOnly}};
                      for (const auto& [on, check] : order)
                          if (on) checks.push_back(check);

                      kesto::checks::register_table("SignalLayerRanges");
                      std::map<signal_layers_checks_items, signal_check_range> thresholds;
                      for (const auto& [item, t] : kesto::checks::signal_thresholds(
                               kesto::checks::read_ranges(ranges, "SignalLayerRanges")))
                          thresholds[signal_layers_checks_items(item)] = {std::get<0>(t), std::get<1>(t), std::get<2>(t)};

                      signal_result all;
                      for (const std::string& layer : layers) {
                          if (layer.empty()) {
                              LOG(ERROR) << "signal_layer_check: an empty layer name; nothing is reported";
                              return kesto::adaptor::error();
                          }
                          params.layer = layer;
                          std::map<signal_layers_checks_items, signal_check_result> result;
                          KESTO::COMMON::progress_value<int> progress;
                          signal_layers_checks(job, step, params, checks, thresholds, result, &progress);
                          all[layer] = std::move(result);
                      }
                      KESTO::Cache::common_cache::instance()->setSignalResult(all);
                      Json::Value doc(Json::objectValue);
                      for (const auto& [layer, result] : all)
                          doc[layer] = kesto::checks::level_report<4>("SIGNAL_LAYER_CHECK", "SignalLayerRanges", result);
                      doc["analysis_uuid"] = keep_signal_analysis(job, step, all);
                      return kesto::adaptor::keep(kesto::adaptor::compact(doc));
                  });
}
