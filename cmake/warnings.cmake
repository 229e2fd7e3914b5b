# The warnings that the project's own code is held to; errors unless VFILE_WERROR is off.
function(vfile_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wconversion)
  if(VFILE_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()
