// DFM operation commands: teardrops and non-functional pad removal.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(teardrop_create_DFM)
KESTO_PENDING(NFP_removal_DFM)
