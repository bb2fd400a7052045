// Panel automation.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(run_map)
KESTO_PENDING(add_sub_jobname_arrow)
KESTO_PENDING(run_edge)
KESTO_PENDING(judge_box_and_childstepbox)
