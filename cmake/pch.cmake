# Precompiled headers. Boost.Geometry alone costs about 4.5 s of parsing in
# every object that includes it (a third of the library's objects do), which
# made a cold build take most of CI's half hour; parsed once per target it
# costs about 15 s. Turn off with -DKESTO_PCH=OFF to check that every source
# still includes what it uses.
set(KESTO_PCH_STD <algorithm> <cmath> <cstdint> <functional> <map> <memory>
  <optional> <set> <string> <unordered_map> <vector>)
set(KESTO_PCH_ENGINE <boost/geometry.hpp> <boost/geometry/index/rtree.hpp>
  <json/json.h> <glog/logging.h> <clipper.hpp>)

# kesto_precompile(target [ENGINE] [headers...]): ENGINE adds the engine's
# third-party headers (targets that see the library's include paths).
function(kesto_precompile target)
  if(NOT KESTO_PCH)
    return()
  endif()
  set(headers ${KESTO_PCH_STD})
  set(extra ${ARGN})
  list(FIND extra ENGINE engine_at)
  if(NOT engine_at EQUAL -1)
    list(REMOVE_AT extra ${engine_at})
    list(APPEND headers ${KESTO_PCH_ENGINE})
  endif()
  target_precompile_headers(${target} PRIVATE ${headers} ${extra})
endfunction()
