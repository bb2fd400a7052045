// Step-and-repeat and coupon planning.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(do_step_and_repeat)
KESTO_PENDING(step_repeat)
KESTO_PENDING(set_datum_point)
KESTO_PENDING(set_step_profile)
KESTO_PENDING(set_panel_margin)
KESTO_PENDING(auto_set_step_repeat)
KESTO_PENDING(SR_Automatic)
KESTO_PENDING(get_coupon_single_end_drill_positions)
KESTO_PENDING(get_coupon_drill_line_relations)
KESTO_PENDING(get_step_repeat)
KESTO_PENDING(get_sr_coupon_plan)
KESTO_PENDING(get_all_step_repeat_steps)
KESTO_PENDING(get_cam_guide_step_index)
KESTO_PENDING(get_cam_automatic)
