// Copper-area queries.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(get_rest_cu_rate)
KESTO_PENDING(get_rest_cu)
KESTO_PENDING(get_rest_cu_with_drill)
KESTO_PENDING(get_cu_solder_drill)
KESTO_PENDING(get_rest_cu_solder)
KESTO_PENDING(get_outlayer_cu)
KESTO_PENDING(get_total_square)
KESTO_PENDING(get_selected_feature_areas)
