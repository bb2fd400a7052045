// The two classes the library exports for C++ hosts: the latest result of
// each kind of check (common_cache) and the paged result cache
// (JWAnalysisFilter). They need jsoncpp's headers.
#pragma once
#include "kesto/kesto_ctype.h"
#include "checks/common_cache.h"
#include "analysis/jw_analysis_filter.h"
