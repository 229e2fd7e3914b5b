# vfile_export_only(<target> <list>): the shared library exports the symbols of the list, under the version node that
# stands behind them there, and nothing else: not the private members of its classes either, which have the visibility
# of their class. Inline members of the public headers call nothing that is not on it. The list has the form of Debian's
# symbols files and is reviewed: a change of the interface is a change of the list.
#
# It is that of a system with a `long` of 64 bits. Elsewhere the visibility alone decides, and all is of the same node.
function(vfile_export_only target list)
  set(script ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  set(node VFILE_${PROJECT_VERSION_MAJOR})
  set(names "")
  if(CMAKE_SIZEOF_VOID_P EQUAL 8)
    file(STRINGS ${list} lines REGEX "^ \\(c\\+\\+\\)\"")
    foreach(line IN LISTS lines)
      if(NOT line MATCHES "^ \\(c\\+\\+\\)\"(.+)@${node}\" [0-9.]+$")
        message(FATAL_ERROR "${list}: not understood: ${line}")
      endif()
      string(APPEND names "      \"${CMAKE_MATCH_1}\";\n")
    endforeach()
    file(CONFIGURE OUTPUT ${script} CONTENT "${node} {\n  global:\n    extern \"C++\" {\n${names}    };\n  local: *;\n};\n")
  else()
    file(CONFIGURE OUTPUT ${script} CONTENT "${node} {\n  global: *;\n};\n")
  endif()
  target_link_options(${target} PRIVATE "-Wl,--version-script=${script}")
  set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${list})
endfunction()
