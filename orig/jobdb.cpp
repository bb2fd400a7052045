// Job database.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(get_json_from_dms)
KESTO_PENDING(InsetJobToDB)
KESTO_PENDING(loadjobfromdb)
KESTO_PENDING(DMS_create_job)
KESTO_PENDING(InsetJobToRobotDB)
KESTO_PENDING(login)
KESTO_PENDING(hasLogin)
