# Reads the names adaptor/exports.h declares, for the scripts that generate
# the linker version script and the public C header from it.
#   kesto_row_handlers(<text> <var>): the handler of every command table row.
#   kesto_fn_names(<text> <var>): every FN(name) entry, less the macro's own
#   parameter names.
function(kesto_row_handlers text var)
  string(REGEX MATCHALL "ROW\\(\"[A-Za-z0-9_]+\", [A-Za-z_][A-Za-z0-9_]*\\)" rows "${text}")
  set(names "")
  foreach(row IN LISTS rows)
    string(REGEX REPLACE "ROW\\(\"[A-Za-z0-9_]+\", ([A-Za-z0-9_]+)\\)" "\\1" n "${row}")
    list(APPEND names ${n})
  endforeach()
  set(${var} ${names} PARENT_SCOPE)
endfunction()

function(kesto_fn_names text var)
  string(REGEX MATCHALL "FN\\([A-Za-z_][A-Za-z0-9_]*\\)" fns "${text}")
  set(names "")
  foreach(fn IN LISTS fns)
    string(REGEX REPLACE "FN\\(([A-Za-z0-9_]+)\\)" "\\1" n "${fn}")
    if(NOT n STREQUAL "name" AND NOT n STREQUAL "handler")
      list(APPEND names ${n})
    endif()
  endforeach()
  set(${var} ${names} PARENT_SCOPE)
endfunction()
