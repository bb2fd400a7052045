// DFM operation commands: signal-layer, solder-mask and clearance repairs.
#include "adaptor/handler.h"
#include "checks/dfm_frame.h"
#include "checks/ranges.h"
#include "engine/api/dfm_repairs.h"


using kesto::adaptor::Form;
using kesto::adaptor::handle;
using kesto::checks::refuse_empty_layers;
using kesto::checks::ValueLog;

namespace {

// A DFM finding as review tools read it: the features, the measured value
// and where its marker starts (working unit).
Json::Value dfm_finding(const KESTO::API::check_info& info)
{
    Json::Value f(Json::objectValue);
    f["featureinfo"] = kesto::checks::finding_json(info)["featureinfo"];
    f["measureValue"] = info.measure_value;
    Json::Value start(Json::objectValue);
    start["x"] = info.geometry.size() > 0 ? info.geometry[0] : 0.0;
    start["y"] = info.geometry.size() > 1 ? info.geometry[1] : 0.0;
    f["start"] = start;
    return f;
}

// The three-level report of one layer's repair.
Json::Value dfm_level_report(const std::string& layer, const KESTO::API::signal_layer_DFM_layer_result& result)
{
    Json::Value paras(Json::objectValue);
    for (const auto& [item, r] : result) {
        Json::Value& category = paras[kesto::checks::category_name("SignalLayerOptRanges", int(item))];
        category["type"] = int(item);
        category["layernames"] = Json::Value(Json::arrayValue);
        category["layernames"].append(layer);
        for (std::size_t l = 0; l < 3; ++l) category["lv" + std::to_string(l + 1) + "count"] = r.counts[l];
        for (std::size_t l = 0; l < 3; ++l) {
            Json::Value list(Json::arrayValue);
            for (const auto& info : r.lv[l]) list.append(dfm_finding(info));
            category["lv" + std::to_string(l + 1) + "features"] = list;
        }
    }
    Json::Value doc(Json::objectValue);
    doc["func"] = "SIGNAL_LAYER_DFM";
    doc["paras"] = paras;
    return doc;
}

} // namespace

KESTO_HANDLER(signal_layer_DFM)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::signal_layer_DFM_op_params p;
    Json::Value ranges;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"job", job}, {"step", step}, {"layers", layers},
                   {"pth_ar_min", p.pth_ar_min}, {"pth_ar_opt", p.pth_ar_opt}, {"via_ar_min", p.via_ar_min},
                   {"via_ar_opt", p.via_ar_opt}, {"mvia_ar_min", p.mvia_ar_min}, {"mvia_ar_opt", p.mvia_ar_opt},
                   {"spacing_min", p.spacing_min}, {"spacing_opt", p.spacing_opt},
                   {"pad_to_pad_spacing_min", p.pad_to_pad_spacing_min}, {"pad_to_pad_spacing_opt", p.pad_to_pad_spacing_opt},
                   {"lre_range_fr", p.lre_range_fr}, {"lre_range_to", p.lre_range_to}, {"reduction", p.reduction},
                   {"abs_min", p.abs_min}, {"drill_to_cu", p.drill_to_cu}, {"apply_to", p.apply_to}, {"pads", p.pads},
                   {"smds", p.smds}, {"drills", p.drills}, {"padup", p.padup}, {"shave", p.shave}, {"paddn", p.paddn},
                   {"rerout", p.rerout}, {"linedn", p.linedn}, {"reshape", p.reshape},
                   {"cut_pad_touch_pad", p.cut_pad_touch_pad}, {"padup_can_touch_pad", p.padup_can_touch_pad},
                   {"laser_ar_min", p.laser_ar_min}, {"laser_ar_opt", p.laser_ar_opt},
                   {"buried_ar_min", p.buried_ar_min}, {"buried_ar_opt", p.buried_ar_opt}, {"ranges", ranges}},
                  [&]() -> char* {
                      kesto::checks::register_table("SignalLayerOptRanges");
                      KESTO::API::dfm_thresholds thresholds;
                      for (const auto& [item, t] : kesto::checks::signal_thresholds(
                               kesto::checks::read_ranges(ranges, "SignalLayerOptRanges")))
                          thresholds[item] = t;
                      if (layers.empty()) return refuse_empty_layers("signal_layer_DFM");
                      std::map<std::string, KESTO::API::signal_layer_DFM_layer_result> result;
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::signal_layer_DFM_op(job, step, layers, p, thresholds, result, &progress);
                      LOG(INFO) << ValueLog()
                                       .add("pth_ar_min:", p.pth_ar_min)
                                       .add("pth_ar_opt:", p.pth_ar_opt)
                                       .add("via_ar_min:", p.via_ar_min)
                                       .add("via_ar_opt:", p.via_ar_opt)
                                       .add("mvia_ar_min:", p.mvia_ar_min)
                                       .add("mvia_ar_opt:", p.mvia_ar_opt)
                                       .add("spacing_min:", p.spacing_min)
                                       .add("spacing_opt:", p.spacing_opt)
                                       .add("pad_to_pad_spacing_min:", p.pad_to_pad_spacing_min)
                                       .add("pad_to_pad_spacing_opt:", p.pad_to_pad_spacing_opt)
                                       .add("lre_range_fr:", p.lre_range_fr)
                                       .add("lre_range_to:", p.lre_range_to)
                                       .add("reduction:", p.reduction)
                                       .add("abs_min:", p.abs_min)
                                       .add("drill_to_cu:", p.drill_to_cu)
                                       .add("apply_to:", p.apply_to)
                                       .add("pads:", p.pads)
                                       .add("smds:", p.smds)
                                       .add("drills:", p.drills)
                                       .add("padup:", p.padup)
                                       .add("shave:", p.shave)
                                       .add("paddn:", p.paddn)
                                       .add("rerout:", p.rerout)
                                       .add("linedn:", p.linedn)
                                       .add("reshape:", p.reshape)
                                       .add("cut_pad_touch_pad:", p.cut_pad_touch_pad)
                                       .add("padup_can_touch_pad:", p.padup_can_touch_pad)
                                       .add("laser_ar_min:", p.laser_ar_min)
                                       .add("laser_ar_opt:", p.laser_ar_opt)
                                       .add("buried_ar_min:", p.buried_ar_min)
                                       .add("buried_ar_opt:", p.buried_ar_opt)
                                       .text();
                      // The report of the run, per layer, for review.
                      for (const auto& [layer, r] : result)
                          LOG(INFO) << "signal layer DFM report " << layer << ": "
                                    << kesto::adaptor::compact(dfm_level_report(layer, r));
                      return kesto::adaptor::pass();
                  });
}

KESTO_HANDLER(New_signal_layer_DFM_op)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::new_signal_layer_DFM_op_params p;
    return handle({"New_signal_layer_DFM", "New_signal_layer_DFM"}, request, Form::ElementsLogged,
                  {{"job", job}, {"step", step}, {"layers", layers}, {"cut_pad_touch_pad", p.cut_pad_touch_pad},
                   {"drill_to_cu", p.drill_to_cu}},
                  [&]() -> char* {
                      if (layers.empty()) return refuse_empty_layers("New_signal_layer_DFM");
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::New_signal_layer_DFM_op(job, step, layers, &progress, p);
                      LOG(INFO) << ValueLog().add("cut_pad_touch_pad:", p.cut_pad_touch_pad).add("drill_to_cu:", p.drill_to_cu).text();
                      return kesto::adaptor::pass();
                  });
}

KESTO_HANDLER(solder_mask_DFM)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::solder_mask_DFM_params p;
    Json::Value ranges;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"job", job}, {"step", step}, {"layers", layers},
                   {"clearance_min", p.clearance_min}, {"clearance_opt", p.clearance_opt},
                   {"coverage_min", p.coverage_min}, {"coverage_opt", p.coverage_opt}, {"bridge_size", p.bridge_size},
                   {"apply_to", p.apply_to}, {"use_existing_mask", p.use_existing_mask}, {"use_shaves", p.use_shaves},
                   {"do_resize", p.do_resize}, {"max_oversized_clearance", p.max_oversized_clearance},
                   {"intersect_width", p.intersect_width}, {"cut_surplus_width", p.cut_surplus_width},
                   {"cut_surplus_height", p.cut_surplus_height}, {"is_round", p.is_round}, {"fan_shaved", p.fan_shaved},
                   {"prevent_vertical_flow_add_sm", p.prevent_vertical_flow_add_sm},
                   {"prevent_vertical_flow_del_sm", p.prevent_vertical_flow_del_sm},
                   {"drill_clearance_min", p.drill_clearance_min}, {"drill_clearance_opt", p.drill_clearance_opt},
                   {"smd_clearance_min", p.smd_clearance_min}, {"smd_clearance_opt", p.smd_clearance_opt},
                   {"bga_clearance_min", p.bga_clearance_min}, {"bga_clearance_opt", p.bga_clearance_opt},
                   {"add_outline", p.add_outline}, {"outline_width", p.outline_width},
                   {"vo_rask_resize_sm_in_surface", p.vo_rask_resize_sm_in_surface},
                   {"resize_gas_sm_no_drill", p.resize_gas_sm_no_drill},
                   {"resize_gas_sm_has_drill", p.resize_gas_sm_has_drill}, {"add_v_cut_sm_size", p.add_v_cut_sm_size},
                   {"resize_sm_surface_size", p.resize_sm_surface_size}, {"pth_fan_shaved", p.pth_fan_shaved},
                   {"pad_covered_clearance", p.pad_covered_clearance}, {"ranges", ranges}},
                  [&]() -> char* {
                      kesto::checks::register_table("SolderMaskOpt");
                      KESTO::API::dfm_thresholds thresholds;
                      for (const auto& [item, t] : kesto::checks::signal_thresholds(
                               kesto::checks::read_ranges(ranges, "SolderMaskOpt")))
                          thresholds[item] = t;
                      if (layers.empty()) return refuse_empty_layers("solder_mask_DFM");
                      std::map<KESTO::API::solder_mask_DFM_op_items, std::vector<KESTO::API::solder_mask_DFM_op_result>> result;
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::solder_mask_DFM_op(job, step, layers, p, thresholds, result, &progress);
                      LOG(INFO) << ValueLog()
                                       .add("clearance_min:", p.clearance_min)
                                       .add("clearance_opt:", p.clearance_opt)
                                       .add("coverage_min:", p.coverage_min)
                                       .add("coverage_opt:", p.coverage_opt)
                                       .add("bridge_size:", p.bridge_size)
                                       .add("apply_to:", p.apply_to)
                                       .add("use_existing_mask:", p.use_existing_mask)
                                       .add("use_shaves:", p.use_shaves)
                                       .add("do_resize:", p.do_resize)
                                       .add("max_oversized_clearance:", p.max_oversized_clearance)
                                       .add("intersect_width:", p.intersect_width)
                                       .add("cut_surplus_width:", p.cut_surplus_width)
                                       .add("cut_surplus_height:", p.cut_surplus_height)
                                       .add("is_round:", p.is_round)
                                       .add("fan_shaved:", p.fan_shaved)
                                       .add("prevent_vertical_flow_add_sm:", p.prevent_vertical_flow_add_sm)
                                       .add("prevent_vertical_flow_del_sm:", p.prevent_vertical_flow_del_sm)
                                       .add("drill_clearance_min:", p.drill_clearance_min)
                                       .add("drill_clearance_opt:", p.drill_clearance_opt)
                                       .add("smd_clearance_min:", p.smd_clearance_min)
                                       .add("smd_clearance_opt:", p.smd_clearance_opt)
                                       .add("bga_clearance_min:", p.bga_clearance_min)
                                       .add("bga_clearance_opt:", p.bga_clearance_opt)
                                       .add("add_outline:", p.add_outline)
                                       .add("outline_width:", p.outline_width)
                                       .add("vo_rask_resize_sm_in_surface:", p.vo_rask_resize_sm_in_surface)
                                       .add("resize_gas_sm_no_drill:", p.resize_gas_sm_no_drill)
                                       .add("resize_gas_sm_has_drill:", p.resize_gas_sm_has_drill)
                                       .add("add_v_cut_sm_size:", p.add_v_cut_sm_size)
                                       .add("resize_sm_surface_size:", p.resize_sm_surface_size)
                                       .text();
                      // Counts per category and layer, for review.
                      for (const auto& [item, per_layer] : result)
                          for (const auto& r : per_layer)
                              LOG(INFO) << "solder mask DFM report " << r.layer << ": "
                                        << kesto::checks::category_name("SolderMaskOpt", int(item)) << " "
                                        << r.counts[0] + r.counts[1] + r.counts[2];
                      return kesto::adaptor::pass();
                  });
}

KESTO_HANDLER(smd_bga_DFM_op)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::smd_bga_DFM_op_params p;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers},
                   {"smd_bga_spacing_opt", p.smd_bga_spacing_opt}, {"max_padup_value", p.max_padup_value}},
                  [&]() -> char* {
                      if (layers.empty()) return refuse_empty_layers("smd_bga_DFM_op");
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::smd_bga_DFM_op(job, step, layers, p, &progress);
                      LOG(INFO) << ValueLog()
                                       .add("smd_bga_spacing_opt:", p.smd_bga_spacing_opt)
                                       .add("max_padup_value:", p.max_padup_value)
                                       .text();
                      return kesto::adaptor::pass();
                  });
}

// Not built yet: these answer the error text.
KESTO_PENDING(avoid_conductor_DFM_op)
KESTO_PENDING(avoid_features_DFM_op)

KESTO_HANDLER(sliver_DFM_op)
{
    std::string job, step;
    std::vector<std::string> layers;
    KESTO::API::sliver_DFM_op_params p;
    return handle(__func__, request, Form::ElementsLogged,
                  {{"jobname", job}, {"stepname", step}, {"layernames", layers}, {"max_width", p.max_width},
                   {"max_height", p.max_height}},
                  [&]() -> char* {
                      if (layers.empty()) return refuse_empty_layers("sliver_DFM_op");
                      KESTO::COMMON::progress_value<int> progress;
                      KESTO::API::sliver_DFM_op(job, step, layers, p, &progress);
                      LOG(INFO) << ValueLog().add("max_width:", p.max_width).add("max_height:", p.max_height).text();
                      return kesto::adaptor::pass();
                  });
}
