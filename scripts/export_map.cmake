# Writes the linker version script of libkesto_ctype.so from adaptor/exports.h:
# every frame entry and handler named there is global, every class listed there
# is global with its members, and everything else is local. The member
# pattern stays unquoted: the linker matches quoted names literally.
include(${CMAKE_CURRENT_LIST_DIR}/export_names.cmake)
file(READ ${HEADER} text)
string(REGEX MATCHALL "CLASS\\([A-Za-z_:][A-Za-z0-9_:]*\\)" classes "${text}")
kesto_row_handlers("${text}" rows)
kesto_fn_names("${text}" fns)
set(names ${rows} ${fns})
list(REMOVE_DUPLICATES names)
list(SORT names)
set(out "{\n  global:\n")
foreach(n IN LISTS names)
  string(APPEND out "    ${n};\n")
endforeach()
string(APPEND out "    extern \"C++\" {\n")
foreach(c IN LISTS classes)
  string(REGEX REPLACE "CLASS\\(([A-Za-z0-9_:]+)\\)" "\\1" n "${c}")
  string(APPEND out "      ${n}::*;\n      \"typeinfo for ${n}\";\n      \"typeinfo name for ${n}\";\n      \"vtable for ${n}\";\n")
endforeach()
string(APPEND out "    };\n  local: *;\n};\n")
file(WRITE ${OUT}.tmp "${out}")
file(COPY_FILE ${OUT}.tmp ${OUT} ONLY_IF_DIFFERENT)
