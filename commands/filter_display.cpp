// Selection filter and display switches.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(filter_set_feat_types)
KESTO_PENDING(filter_set_include_syms)
KESTO_PENDING(filter_set_atr)
KESTO_PENDING(select_features_by_filter)
KESTO_PENDING(unselect_features_by_filter)
KESTO_PENDING(highlight_features_by_filter)
KESTO_PENDING(unhighlight_features_by_filter)
KESTO_PENDING(set_unit)
KESTO_PENDING(set_display_widths)
KESTO_PENDING(set_display_text)
KESTO_PENDING(set_display_profile)
KESTO_PENDING(set_negative_data)
KESTO_PENDING(set_snap_features)
