// Drill and board-drill checks.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(drill_check)
KESTO_PENDING(board_drill_check)
