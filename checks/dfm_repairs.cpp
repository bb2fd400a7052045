// DFM operation commands: signal-layer, solder-mask and clearance repairs.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(signal_layer_DFM)
KESTO_PENDING(New_signal_layer_DFM_op)
KESTO_PENDING(solder_mask_DFM)
KESTO_PENDING(avoid_conductor_DFM_op)
KESTO_PENDING(smd_bga_DFM_op)
KESTO_PENDING(avoid_features_DFM_op)
KESTO_PENDING(sliver_DFM_op)
