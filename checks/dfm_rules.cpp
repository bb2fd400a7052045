// DFM rule configuration.
#include "adaptor/handler.h"

// Not built yet: these answer the error text.
KESTO_PENDING(setRelationship)
KESTO_PENDING(getRelationship)
KESTO_PENDING(setIntroduction)
KESTO_PENDING(getIntroduction)
KESTO_PENDING(setParameter)
KESTO_PENDING(setJobParameter)
KESTO_PENDING(getParameter)
KESTO_PENDING(getJobParameter)
