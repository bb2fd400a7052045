// Solder-mask and silk-screen checks.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(solder_mask_check)
KESTO_PENDING(silk_screen_check)
