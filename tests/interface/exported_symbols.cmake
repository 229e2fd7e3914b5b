# What the shared library exports is what the list says, each symbol under the version node, and nothing else.
cmake_minimum_required(VERSION 3.20)
execute_process(COMMAND nm -D -C --defined-only --with-symbol-versions ${LIBRARY}
  OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
file(STRINGS ${LIST} wanted REGEX "^ ")
list(TRANSFORM wanted REPLACE "^ (\\(c\\+\\+\\)\")?([^\"]*@VFILE_1)\"? [0-9.]+$" "\\2")
string(REPLACE "\n" ";" listing "${listing}")
list(TRANSFORM listing REPLACE "^[0-9a-f]* *[A-Za-z] " "")
list(TRANSFORM listing REPLACE "@@" "@")
list(TRANSFORM listing REPLACE "^VFILE_1$" "VFILE_1@VFILE_1") # the node itself
list(FILTER listing EXCLUDE REGEX "^$")
list(REMOVE_DUPLICATES listing) # the forms of a constructor share a name

list(LENGTH wanted count)
if(count LESS 100)
  message(SEND_ERROR "only ${count} symbols are on the list")
endif()
set(missing ${wanted})
list(REMOVE_ITEM missing ${listing})
list(REMOVE_ITEM listing ${wanted})
foreach(symbol IN LISTS missing)
  message(SEND_ERROR "on the list, but not exported: ${symbol}")
endforeach()
foreach(symbol IN LISTS listing)
  message(SEND_ERROR "exported, but not on the list: ${symbol}")
endforeach()

# A host shares none of the inline members that it has compiled: each is VFILE_LOCAL.
execute_process(COMMAND readelf -sW ${HOST} OUTPUT_VARIABLE listing)
string(REGEX MATCHALL "(WEAK|UNIQUE) +DEFAULT +[0-9]+ _Z[^@\n]*[0-9](VFile|VMem|HFile|IsBlank)[^@\n]*" shared "${listing}")
foreach(symbol IN LISTS shared)
  message(SEND_ERROR "shared by who includes the public headers: ${symbol}")
endforeach()
