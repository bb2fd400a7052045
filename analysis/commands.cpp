// Analysis-cache commands.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(get_analysis_result_from_g)
KESTO_PENDING(create_jw_analysis_cache)
KESTO_PENDING(get_jw_analysis_result)
KESTO_PENDING(get_eda_analysis_results)
