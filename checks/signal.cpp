// Signal-layer check.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(signal_layer_check)
