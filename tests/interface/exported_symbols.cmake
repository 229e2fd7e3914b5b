# Lists what the shared library exports and refuses everything that is not the interface.
execute_process(COMMAND ${NM} -D -C --defined-only ${LIBRARY} OUTPUT_VARIABLE listing RESULT_VARIABLE failed)
if(failed)
  message(FATAL_ERROR "nm failed on ${LIBRARY}")
endif()
set(classes "(VFile|VMem|HFile|HFileDir)")
set(functions
  Halt HaltA Fatal InstallHaltProc DeinstallHaltProc GetFileRes GetTextResMsg
  AssignStr AppendStr CondAssignStr CondAppendStr IsBlank Trim TrimLeft TrimRight TrimZeroes EqualStr EqualStrI
  Max MaxL MaxS MaxQ MaxR Min MinL MinS MinQ MinR Sign SignL SignS SignQ SignR
  Long LongC Card Int LongFloat LongTrunc Short ShortC LO HI Short2 Long2 Extract4 Build4 Extract2 Build2
  GetTime GetDate SetTime SetDate GetEolKind
  HandleOf DescriptorOf GetLastError SetLastError
  VFile_InitializeThread VFile_UninitializeThread VFile_IsThreadInitialized DllMain
  operator== operator!= operator< operator<= operator> operator>=)
string(REPLACE ";" "|" functions "${functions}")
string(REPLACE "\n" ";" listing "${listing}")
set(count 0)
foreach(line IN LISTS listing)
  string(REGEX REPLACE "^[0-9a-f]* *[A-Za-z] " "" symbol "${line}")
  if(symbol STREQUAL "" OR symbol MATCHES "^_")
    continue() # the linker's own and the sanitizers'
  endif()
  math(EXPR count "${count} + 1")
  if(NOT symbol MATCHES "^${classes}::" AND NOT symbol MATCHES "^(vtable|typeinfo|typeinfo name) for ${classes}$"
     AND NOT symbol MATCHES "^(${functions})\\(")
    message(SEND_ERROR "exported, but no interface: ${symbol}")
  endif()
endforeach()
if(count LESS 100)
  message(SEND_ERROR "only ${count} symbols are exported")
endif()
