// Job, matrix, step and layer structure.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(open_job)
KESTO_PENDING(open_entity)
KESTO_PENDING(set_units)
KESTO_PENDING(copy_layer)
KESTO_PENDING(copy_step)
KESTO_PENDING(insert_layer)
KESTO_PENDING(insert_step)
KESTO_PENDING(matrix_delete_row)
KESTO_PENDING(matrix_delete_col)
KESTO_PENDING(matrix_move_row)
KESTO_PENDING(matrix_move_col)
KESTO_PENDING(save_job)
KESTO_PENDING(get_layer_feature_count)
