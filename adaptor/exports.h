// The library's exported interface: the frame entries, both command tables
// and the handlers reached only through their exports. The export map of the
// shared library is generated from this file (scripts/export_map.cmake), so a
// handler added here is exported and one missing here is not.
#pragma once

#define KESTO_EXPORT __attribute__((visibility("default")))

extern "C" {
KESTO_EXPORT bool init(void);
KESTO_EXPORT bool init_log(int);
KESTO_EXPORT char* init_func_map(void);
KESTO_EXPORT char* process(const char* request);
KESTO_EXPORT char* init_orig_func_map(void);
KESTO_EXPORT char* orig_process(const char* request);
}

// Frame entries that are not command handlers (for the export map).
#define KESTO_FRAME_ENTRIES(FN) \
  FN(init) \
  FN(init_log) \
  FN(init_func_map) \
  FN(process) \
  FN(init_orig_func_map) \
  FN(orig_process)

// The first command table, filled by init_func_map, in the order it is stored.
#define KESTO_FIRST_TABLE(ROW) \
  ROW("OPEN_JOB", open_job) \
  ROW("OPEN_ENTITY", open_entity) \
  ROW("SET_UNITS", set_units) \
  ROW("SEL_DELETE", sel_delete) \
  ROW("SEL_MOVE", sel_move) \
  ROW("SEL_MOVE_OTHER", sel_move_other) \
  ROW("SEL_COPY", sel_copy) \
  ROW("SEL_COPY_OTHER", sel_copy_other) \
  ROW("GLOBAL_RESIZE", resize_global) \
  ROW("POLYLINE_RESIZE", resize_polyline) \
  ROW("SEL_TRANSFORM", sel_transform) \
  ROW("INTERSECT", intersect) \
  ROW("SYMBOL_CHANGE", symbol_change) \
  ROW("SEL_BREAK", sel_break) \
  ROW("ARC2LINES", arc2lines) \
  ROW("ADD_LINE", add_line) \
  ROW("ADD_PAD", add_pad) \
  ROW("ADD_SURFACE", add_surface) \
  ROW("ADD_ARC", add_arc) \
  ROW("ADD_TEXT", add_text) \
  ROW("CONTOUR2PAD", contour2pad) \
  ROW("LINE2PAD", line2pad) \
  ROW("PAD2LINE", pad2line) \
  ROW("PAD2OUTLINE", pad2outline) \
  ROW("CONTOURIZE", contourize) \
  ROW("SEL_FILL", sel_fill) \
  ROW("SEL_SUBSTITUTE", sel_substitute) \
  ROW("SURFACE2OUTLINE", surface2outline) \
  ROW("SEL_POLARITY", sel_polarity) \
  ROW("TEXT_CHANGE", change_text) \
  ROW("SEL_ATTRIBUTE", sel_attribute) \
  ROW("SEL_INDEX", sel_index) \
  ROW("COUNTER_ELECTION", counter_election) \
  ROW("FILTER_SET_FEAT_TYPES", filter_set_feat_types) \
  ROW("FILTER_SET_INCLUDE_SYMS", filter_set_include_syms) \
  ROW("FILTER_SET_ATR", filter_set_atr) \
  ROW("SELECT_FEATURES_BY_FILTER", select_features_by_filter) \
  ROW("UNSELECT_FEATURES_BY_FILTER", unselect_features_by_filter) \
  ROW("HIGHLIGHT_FEATURES_BY_FILTER", highlight_features_by_filter) \
  ROW("UNHIGHLIGHT_FEATURES_BY_FILTER", unhighlight_features_by_filter) \
  ROW("SET_UNIT", set_unit) \
  ROW("SET_DISPLAY_WIDTHS", set_display_widths) \
  ROW("SET_DISPLAY_TEXT", set_display_text) \
  ROW("SET_DISPLAY_PROFILE", set_display_profile) \
  ROW("SET_NEGATIVE_DATA", set_negative_data) \
  ROW("DELETE_FEATURE", delete_feature) \
  ROW("STRECH_FEATURE", strech_feature) \
  ROW("INVERT_FEATURE", invert_feature) \
  ROW("BREAK_FEATURE", break_feature) \
  ROW("MOVE_TRIPLET", move_triplet) \
  ROW("REROUTE_TRACE", reroute_trace) \
  ROW("SELECT_FEATURE", select_feature) \
  ROW("LAYER_COPY", copy_layer) \
  ROW("STEP_COPY", copy_step) \
  ROW("LAYER_INSERT", insert_layer) \
  ROW("STEP_INSERT", insert_step) \
  ROW("MATRIX_DELETE_ROW", matrix_delete_row) \
  ROW("MATRIX_DELETE_COL", matrix_delete_col) \
  ROW("MATRIX_MOVE_ROW", matrix_move_row) \
  ROW("MATRIX_MOVE_COL", matrix_move_col) \
  ROW("JOB_SAVE", save_job) \
  ROW("DRILL_CHECK", drill_check) \
  ROW("SIGNAL_LAYER_CHECK", signal_layer_check) \
  ROW("SIGNAL_LAYER_DFM", signal_layer_DFM) \
  ROW("TEARDROP_CREATE_DFM", teardrop_create_DFM) \
  ROW("AVOID_CONDUCTOR_DFM_OP", avoid_conductor_DFM_op) \
  ROW("SOLDER_MASK_DFM", solder_mask_DFM) \
  ROW("SMD_BGA_DFM_OP", smd_bga_DFM_op) \
  ROW("AVOID_FEATURES_DFM_OP", avoid_features_DFM_op) \
  ROW("SLIVER_DFM_OP", sliver_DFM_op) \
  ROW("NFP_REMOVAL_DFM", NFP_removal_DFM) \
  ROW("NEW_SIGNAL_LAYER_DFM", New_signal_layer_DFM_op) \
  ROW("SETRELATIONSHIP", setRelationship) \
  ROW("GETRELATIONSHIP", getRelationship) \
  ROW("SETINTRODUCTION", setIntroduction) \
  ROW("GETINTRODUCTION", getIntroduction) \
  ROW("SETPARAMETER", setParameter) \
  ROW("SETJOBPARAMETER", setJobParameter) \
  ROW("GETPARAMETER", getParameter) \
  ROW("GETJOBPARAMETER", getJobParameter) \
  ROW("ADD_OUTLINE_DRILL", add_outline_drill) \
  ROW("OK_STEP_CHECK", ok_step_check) \
  ROW("MRC_CHECK", mrc_check) \
  ROW("RUN_MAP", run_map) \
  ROW("ADD_SUB_JOBNAME_ARROW", add_sub_jobname_arrow) \
  ROW("RUN_EDGE", run_edge) \
  ROW("JUDGE_BOX_AND_CHILDSTEPBOX", judge_box_and_childstepbox) \
  ROW("PREPARE_CHECK", prepare_check) \
  ROW("SOLDER_MASK_CHECK", solder_mask_check) \
  ROW("SILK_SCREEN_CHECK", silk_screen_check) \
  ROW("GET_LAYER_FEATURE_COUNT", get_layer_feature_count) \
  ROW("DRILLMAP_OUTPUT", drillmap_output) \
  ROW("OUTPUT_PICTURE", output_picture) \

// The second command table, filled by init_orig_func_map, in the order it is stored.
#define KESTO_SECOND_TABLE(ROW) \
  ROW("SELECT_FEATURES_BY_POLYGON", select_Features) \
  ROW("SELECT_MULTI_FEATURES", select_multi_features) \
  ROW("UNSELECT_MULTI_FEATURES", unselect_multi_features) \
  ROW("SET_DRAW_COLOR", set_draw_color) \
  ROW("UNSELECT_FEATURES_BY_POLYGON", unselect_Features) \
  ROW("CLEAR_CLICKED_FEATURE_STATUS", clear_clicked_feature_status) \
  ROW("HIGHLIGHT_FEATURES_BY_POLYGON", highlight_Features) \
  ROW("HIGHLIGHT_MULTI_FEATURES", highlight_multi_features) \
  ROW("GET_FEATURE_INFO", get_feature_info) \
  ROW("GET_FEATURE_POINT", get_feature_point) \
  ROW("GET_FEATURE_DIS_POINT", get_feature_dis_point) \
  ROW("CLEAR_SELECTED_FEATURES", clear_selected_features) \
  ROW("REVERSE_SELECT", reverse_select) \
  ROW("LINE_TO_SYMBOLSTR", Line_to_SymbolStr) \
  ROW("CLEAR_HIGHLIGHTED_FEATURES", clear_highlighted_features) \
  ROW("IS_SELECTED_POINTS", is_selected) \
  ROW("IS_SELECTED", is_Selected) \
  ROW("ADD_GDS", add_gds) \
  ROW("LAYER_EXPORT", layer_export) \
  ROW("HAS_PROFILE", has_profile) \
  ROW("LAYER_BOX", layer_box) \
  ROW("LAYER_REBUILD", layer_rebuild) \
  ROW("PROFILE_BOX", profile_box) \
  ROW("CREATE_JOB", create_job) \
  ROW("GET_MATRIX", get_matrix) \
  ROW("GET_GRAPHICS", get_graphics) \
  ROW("BBOX", bBox) \
  ROW("SAVE_IMG", save_img) \
  ROW("HASFEATURE", hasFeature) \
  ROW("FILE_TRANSLATE_INIT", file_translate_init) \
  ROW("FILE_TRANSLATE", file_translate) \
  ROW("SAVE_JOB", Save_Job) \
  ROW("CREATE_STEP", create_step) \
  ROW("IS_JOB_OPENED", is_job_opened) \
  ROW("CLOSE_JOB", close_job) \
  ROW("CHANGE_MATRIX", change_matrix) \
  ROW("FILE_IDENTIFY", file_identify) \
  ROW("GET_DRILL_SHOWTYPE", get_drill_showtype) \
  ROW("GET_DRILL_INFO", get_drill_info) \
  ROW("SET_DRILL_INFO", set_drill_info) \
  ROW("DELETE_LAYER", delete_layer) \
  ROW("DELETE_STEP", delete_step) \
  ROW("MOVE_LAYER_POI", move_layer_poi) \
  ROW("MOVE_LAYER", move_layer) \
  ROW("MOVE_STEP_POI", move_step_poi) \
  ROW("COPY_LAYER", copy_Layer) \
  ROW("COPY_STEP", copy_Step) \
  ROW("INSERT_LAYER", insert_Layer) \
  ROW("INSERT_STEP", insert_Step) \
  ROW("GET_SELECTED_FEATURES_REPORT", get_selected_features_report) \
  ROW("GET_ALL_FEATURES_REPORT", get_all_features_report) \
  ROW("GET_SYMBOLS", get_symbols) \
  ROW("JOB_DETAILED_COPY", job_detailed_copy) \
  ROW("STEP_COPY", step_copy) \
  ROW("JOB_RENAME", job_rename) \
  ROW("JOB_DELETE", job_delete) \
  ROW("IS_JOB_CHANGED", is_job_changed) \
  ROW("SELECT_FEATURES", select_features) \
  ROW("SET_SELECT_PARAM", set_select_param) \
  ROW("GET_SELECT_PARAM", get_select_param) \
  ROW("UNSELECT_FEATURES", unselect_features) \
  ROW("HIGHLIGHT_FEATURES", highlight_features) \
  ROW("UNHIGHLIGHT_FEATURES", unhighlight_features) \
  ROW("SET_SHOW_PARA", set_show_para) \
  ROW("GET_SHOW_PARA", get_show_para) \
  ROW("GET_SELECTED_FEATURE_INFO", get_selected_feature_info) \
  ROW("GET_SELECTED_FEATURE_INFOS", get_selected_feature_infos) \
  ROW("DELETE_SELECTED_FEATURES", delete_selected_features) \
  ROW("DELETE_CLICKED_FEATURES", delete_clicked_features) \
  ROW("CHANGE_CLICKED_FEATURES_POLARITY", change_clicked_features_polarity) \
  ROW("UNDO", Undo) \
  ROW("CORRECTUNDO", CorrectUndo) \
  ROW("GET_SYMBOL_NAME", get_symbol_name) \
  ROW("CHANGE_FEATURE_SYMBOLS", change_feature_symbols) \
  ROW("CREATE_NEW_SYMBOL", create_new_symbol) \
  ROW("ADDFEATURE", Addfeature) \
  ROW("ADDFEATURES", AddFeatures) \
  ROW("LOAD_LAYER", Load_Layer) \
  ROW("GET_FEATURES_CENTER", get_features_center) \
  ROW("GET_FEATURES_CENTERS", get_features_centers) \
  ROW("DRAW_SYMBOL", draw_Symbol) \
  ROW("DRAW_TEXT", draw_text) \
  ROW("DRAW_SELECTED_FEATURES", draw_selected_features) \
  ROW("DRAW_SPECIFIED_FEATURES", draw_specified_features) \
  ROW("BREAK_SYMBOLS", break_symbols) \
  ROW("GET_SPECIAL_SYMBOL_NAMES", get_special_symbol_names) \
  ROW("MODIFY_ATTRIBUTES", modify_attributes) \
  ROW("COPY_FEATURES_IN_SAMELAYER", copy_features_in_samelayer) \
  ROW("COPY_SPECIFIED_FEATURES", copy_specified_features) \
  ROW("COPY_FEATURES_TO_OTHERLAYER", copy_features_to_otherLayer) \
  ROW("MOVE_SAME_LAYER", move_same_layer) \
  ROW("MOVE_SPECIFIED_FEATURES", move_specified_features) \
  ROW("MOVE_MAKE_ZERO", move_make_zero) \
  ROW("DO_STEP_AND_REPEAT", do_step_and_repeat) \
  ROW("COPY_LAYER_FEATURES", copy_layer_features) \
  ROW("MOVE_OTHER_LAYER", move_other_layer) \
  ROW("CHANGE_TEXT", change_texts) \
  ROW("GET_TEXT_LIST", get_text_list) \
  ROW("GET_TEXT_NAME", get_text_name) \
  ROW("GET_TEXTS_NAME", get_texts_name) \
  ROW("RESHAPE_LINE_TO_PAD", reshape_line_to_pad) \
  ROW("GREATELINESTRING", GreateLineString) \
  ROW("GREATEARCSTRING", GreateArcString) \
  ROW("GREATESURFACESTRING", GreateSurfaceString) \
  ROW("GREATETEXTSTRING", GreateTextString) \
  ROW("CONNECTIONS", connections) \
  ROW("GET_BOX_CENTER", get_box_center) \
  ROW("CLIP_AREA_USE_MANUAL", clip_area_use_manual) \
  ROW("CLIP_AREA_USE_PROFILE", clip_area_use_profile) \
  ROW("HIGHLIGHT_REFERENCE_PROFILE", highlight_reference_profile) \
  ROW("RESHAPE_SUBSTITUTE", reshape_substitute) \
  ROW("SELECT_FEATURES_BY_SYMBOL", select_features_by_symbol) \
  ROW("UNSELECT_FEATURES_BY_SYMBOL", unselect_features_by_symbol) \
  ROW("CHANGE_LINE", change_line) \
  ROW("IDENTIFY_SYMBOL", identify_symbol) \
  ROW("CREATE_NEW_LAYER", create_new_layer) \
  ROW("SELF_INTERACTION", self_interaction) \
  ROW("RESHAPE_PAD_TO_LINE", reshape_pad_to_line) \
  ROW("RESIZE_GLOBAL", resize_Global) \
  ROW("GET_LAYER_SYMBOL_LIST", get_layer_symbol_list) \
  ROW("RESHAPE_CONTOUR_TO_PAD", reshape_contour_to_pad) \
  ROW("RESHAPE_PAD_TO_OUTLINE", reshape_pad_to_outline) \
  ROW("RESHAPE_SURFACE_TO_OUTLINE", reshape_surface_to_outline) \
  ROW("RESHAPE_OUTLINE_TO_SURFACE", reshape_outline_to_surface) \
  ROW("USE_PATTERN_FILL_CONTOURS", use_pattern_fill_contours) \
  ROW("TRANSFORM", transform) \
  ROW("GET_FONTS", get_fonts) \
  ROW("SELECT_POLYLINE", select_polyline) \
  ROW("UNSELECT_POLYLINE", unselect_polyline) \
  ROW("MAKE_ZERO", make_zero) \
  ROW("CREATE_PROFILE", create_profile) \
  ROW("GET_ANNULAR_RING", get_annular_ring) \
  ROW("RESHAPE_CONTOURIZE", reshape_contourize) \
  ROW("USE_SOLID_FILL_CONTOURS", use_solid_fill_contours) \
  ROW("CLIP_AREA_USE_REFERENCE", clip_area_use_reference) \
  ROW("SELECT_CONNECT_LINE", select_connect_line) \
  ROW("CHANGE_LINES", change_lines) \
  ROW("CHANGE_ARC", change_arc) \
  ROW("RESIZE_POLYLINE", resize_Polyline) \
  ROW("SELECT_FEATURES_BY_NET", select_features_by_net) \
  ROW("OP_SIZE", op_size) \
  ROW("SELECT_BY_MODE", select_by_mode) \
  ROW("FILTER_BY_MODE", filter_by_mode) \
  ROW("SELECT_FEATURE_BY_INFO", select_feature_by_info) \
  ROW("SET_SELECTION", set_selection) \
  ROW("MOVE_SELECTED_FEATURES_INDEX", move_selected_features_index) \
  ROW("GET_OUTTER_LAYERS", get_outter_layers) \
  ROW("LAYER_COMPARE", layer_compare) \
  ROW("LAYER_COMPARE_RESULT", layer_compare_result) \
  ROW("MULTI_LAYER_COMPARE", multi_layer_compare) \
  ROW("GET_FEATURE_FROM_MUTI_LAYER", get_feature_from_muti_layer) \
  ROW("GET_NEAR_SIGNAL_LAYERNAME", get_near_signal_layername) \
  ROW("OPEN_LAYER", open_layer) \
  ROW("LAYER_COMPARE_BMP", layer_compare_bmp) \
  ROW("STEP_REPEAT", step_repeat) \
  ROW("SET_DATUM_POINT", set_datum_point) \
  ROW("CREATE_LAYER_BETWEEN_PROFILE", create_layer_between_profile) \
  ROW("REMOVE_SHARP_ANGLE", remove_sharp_angle) \
  ROW("CALCULATE_LAYER_NET", calculate_layer_net) \
  ROW("CLEAR_LAYER_NET", clear_layer_net) \
  ROW("GET_SELECTED_FEATURE_MIN_SPACING", get_selected_feature_min_spacing) \
  ROW("GET_MIN_TOLERANCE", get_min_tolerance) \
  ROW("GET_JSON_FROM_DMS", get_json_from_dms) \
  ROW("INSETJOBTODB", InsetJobToDB) \
  ROW("LOADJOBFROMDB", loadjobfromdb) \
  ROW("DMS_CREATE_JOB", DMS_create_job) \
  ROW("SET_STEP_PROFILE", set_step_profile) \
  ROW("SET_PANEL_MARGIN", set_panel_margin) \
  ROW("AUTO_SET_STEP_REPEAT", auto_set_step_repeat) \
  ROW("INSETJOBTOROBOTDB", InsetJobToRobotDB) \
  ROW("LOGIN", login) \
  ROW("HASLOGIN", hasLogin) \
  ROW("SR_AUTOMATIC", SR_Automatic) \
  ROW("SAVE_JOB_AS", Save_Job_As) \
  ROW("OPEN_EPS", open_eps) \
  ROW("OPEN_EPS_MATRIX", open_eps_matrix) \
  ROW("SAVE_EPS", save_eps) \
  ROW("SET_LAYER_CHECKLIST", set_layer_checklist) \
  ROW("JOB_CREATE", job_create) \
  ROW("IDENTIFY_EPS", identify_eps) \
  ROW("GET_COUPON_SINGLE_END_DRILL_POSITIONS", get_coupon_single_end_drill_positions) \
  ROW("SELECT_FEATURE_BY_ID", select_feature_by_id) \
  ROW("RESHAPE_LINE_TO_PAD_NEW", reshape_line_to_pad_new) \
  ROW("NPTH_AND_PTH_PREPARE_OP", npth_and_pth_prepare_op) \
  ROW("GET_COUPON_DRILL_LINE_RELATIONS", get_coupon_drill_line_relations) \
  ROW("LAYER_COMPARE_POINT", layer_compare_point) \
  ROW("GET_SELECTED_FEATURES_BOX", get_selected_features_box) \
  ROW("GET_PROFILE", get_profile) \
  ROW("AUTO_CLASSIFY_ATTRIBUTE", auto_classify_attribute) \
  ROW("CHANGE_GDS_LINE_WIDTH", change_gds_line_width) \
  ROW("GET_STEP_REPEAT", get_step_repeat) \
  ROW("CONSTRUCT_PADS", construct_pads) \
  ROW("GET_SR_COUPON_PLAN", get_sr_coupon_plan) \
  ROW("DRAW_PANEL_PICTURE", draw_panel_picture) \
  ROW("GET_REST_CU_RATE", get_rest_cu_rate) \
  ROW("GET_REST_CU", get_rest_cu) \
  ROW("GET_REST_CU_WITH_DRILL", get_rest_cu_with_drill) \
  ROW("GET_CU_SOLDER_DRILL", get_cu_solder_drill) \
  ROW("GET_REST_CU_SOLDER", get_rest_cu_solder) \
  ROW("GET_OUTLAYER_CU", get_outlayer_cu) \
  ROW("GET_TOTAL_SQUARE", get_total_square) \
  ROW("GET_SELECTED_FEATURE_AREAS", get_selected_feature_areas) \
  ROW("RESIZE_POLYGON", resize_polygon) \
  ROW("GET_ALL_STEP_REPEAT_STEPS", get_all_step_repeat_steps) \
  ROW("FILL_PROFILE", fill_profile) \
  ROW("GET_CAM_GUIDE_STEP_INDEX", get_cam_guide_step_index) \
  ROW("GET_CAM_AUTOMATIC", get_cam_automatic) \
  ROW("NEGATIVE_LAYER_TO_POSITIVE", negative_layer_to_positive) \
  ROW("TRANSLATE_LINES", translate_lines) \
  ROW("COPY_USERSYMBOL_TO_OTHER_JOB", copy_usersymbol_to_other_job) \
  ROW("GET_STEP_HEADER_INFOS", get_step_header_infos) \
  ROW("MOVE_SELECT_FEATURE_TO_OTHER_STEP", move_select_feature_to_other_step) \
  ROW("GET_SMD_BGA_WITH_ONE_DRILL", get_smd_bga_with_one_drill) \
  ROW("GET_ANALYSIS_RESULT_FROM_G", get_analysis_result_from_g) \
  ROW("AUTO_MOVE_DRILL_PAD", auto_move_drill_pad) \
  ROW("FILL_SELECT_FEATURE_BY_GRID", fill_select_feature_by_grid) \
  ROW("CLASSIFY_POLYLINE", classify_polyline) \
  ROW("PROFILE_TO_OUTERLINE", profile_to_outerline) \
  ROW("FLATTEN_STEP", flatten_step) \
  ROW("ROUNDING_LINE_CORNER", rounding_line_corner) \
  ROW("CLEAR_ALL_OPTIONS", clear_all_options) \
  ROW("SET_CONFIG_PATH", set_config_path) \
  ROW("MERGE_CU_EDGE_LINES", merge_cu_edge_lines) \
  ROW("GET_QUOTE_PRICE_INFO", get_quote_price_info) \
  ROW("DRILL2FILE", drill2file) \
  ROW("CLASSIFY_LAYER_NET", classify_layer_net) \
  ROW("ADD_TEXT_BY_DRILL", add_text_by_drill) \
  ROW("CREATE_TABLE", create_table) \
  ROW("HAS_FONT", has_font) \
  ROW("LOAD_ONE_FONT", load_one_font) \
  ROW("POLYGON_IS_INTERACTS", polygon_is_interacts) \
  ROW("TEARDROP_ATTRIBUTE_CLASSFY", teardrop_attribute_classfy) \
  ROW("GET_FEATURE_ROTATED_BOX", get_feature_rotated_box) \
  ROW("LOAD_USERATTR", load_userattr) \
  ROW("LOAD_SYSATTR", load_sysattr) \

// Handlers reached only through their exports.
#define KESTO_EXPORT_ONLY(FN) \
  FN(board_drill_check) \
  FN(surface_analyze) \
  FN(set_snap_features) \
  FN(get_min_line_width) \
  FN(create_jw_analysis_cache) \
  FN(get_jw_analysis_result) \
  FN(get_eda_analysis_results) \
  FN(odb2other_transform) \
  FN(gbr2odb_transform) \
  FN(get_Canvas_Size) \
  FN(GreatePadString) \
  FN(SL_panel_banding) \
  FN(init_varno_fpcdouble_featuremap) \

// Classes exported with their members (demangled name patterns).
#define KESTO_EXPORT_CLASSES(CLASS) \
  CLASS(KESTO::Cache::common_cache) \
  CLASS(JWAnalysisFilter)

#define KESTO_DECLARE_ROW(command, handler) KESTO_EXPORT char* handler(const char* request);
#define KESTO_DECLARE_FN(handler) KESTO_EXPORT char* handler(const char* request);
extern "C" {
KESTO_FIRST_TABLE(KESTO_DECLARE_ROW)
KESTO_SECOND_TABLE(KESTO_DECLARE_ROW)
KESTO_EXPORT_ONLY(KESTO_DECLARE_FN)
}
#undef KESTO_DECLARE_ROW
#undef KESTO_DECLARE_FN
