// Feature creation.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(add_line)
KESTO_PENDING(add_pad)
KESTO_PENDING(add_surface)
KESTO_PENDING(add_arc)
KESTO_PENDING(add_text)
