// Click-box feature edits.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(delete_feature)
KESTO_PENDING(strech_feature)
KESTO_PENDING(invert_feature)
KESTO_PENDING(break_feature)
KESTO_PENDING(move_triplet)
KESTO_PENDING(reroute_trace)
KESTO_PENDING(select_feature)
KESTO_PENDING(get_min_line_width)
