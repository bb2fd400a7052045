// Prepare, OK-step, MRC checks and surface analysis.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(add_outline_drill)
KESTO_PENDING(ok_step_check)
KESTO_PENDING(mrc_check)
KESTO_PENDING(prepare_check)
KESTO_PENDING(npth_and_pth_prepare_op)
KESTO_PENDING(surface_analyze)
