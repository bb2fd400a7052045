// Drill maps, pictures and format transforms.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(drillmap_output)
KESTO_PENDING(output_picture)
KESTO_PENDING(odb2other_transform)
KESTO_PENDING(gbr2odb_transform)
