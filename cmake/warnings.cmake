# The warnings that the project's own code is held to; errors unless VFILE_WERROR is off.
function(vfile_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    target_compile_options(${target} PRIVATE -Wno-sign-conversion) # which g++ doesn't count among them
  endif()
  if(VFILE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
