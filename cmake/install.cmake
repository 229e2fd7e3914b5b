# What `cmake --install` gives: the library with its public headers, for CMake and for pkg-config, what helps to use it,
# and vfedit.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(vfile_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/vfile)
set(vfile_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vfile)
set(vfile_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The headers keep their folders, so that one spelling serves in the source tree and installed.
foreach(header IN LISTS vfile_public_headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${vfile_include_dir}/${folder} COMPONENT Development)
endforeach()

set(vfile_forms vfile)
if(TARGET vfile_static)
  list(APPEND vfile_forms vfile_static)
endif()
install(TARGETS ${vfile_forms} EXPORT vfile-targets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Runtime NAMELINK_COMPONENT Development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT Development
  INCLUDES DESTINATION ${vfile_include_dir})
install(EXPORT vfile-targets NAMESPACE vfile:: DESTINATION ${vfile_package_dir} COMPONENT Development)
configure_package_config_file(cmake/vfile-config.cmake.in vfile-config.cmake
  INSTALL_DESTINATION ${vfile_package_dir} NO_SET_AND_CHECK_MACRO NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(vfile-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vfile-config.cmake ${CMAKE_CURRENT_BINARY_DIR}/vfile-config-version.cmake
  DESTINATION ${vfile_package_dir} COMPONENT Development)

# In the pkg-config file, relative folders start from where the file itself lies, so that the tree can be moved as a
# whole. Absolute ones stay what they are, and a tree below /usr stays where it is: pkg-config knows the system's folders
# by their names and leaves them out, where they would come before the host's own.
set(vfile_pc_libdir ${CMAKE_INSTALL_LIBDIR})
set(vfile_pc_includedir ${vfile_include_dir})
foreach(folder IN ITEMS vfile_pc_libdir vfile_pc_includedir)
  if(NOT IS_ABSOLUTE "${${folder}}")
    set(${folder} "\${prefix}/${${folder}}")
  endif()
  string(REPLACE " " "\\ " ${folder} "${${folder}}") # a plain one would end the word
endforeach()
set(vfile_pc_cflags "")
set(vfile_pc_cflags_static "")
if(NOT vfile_type STREQUAL "SHARED_LIBRARY")
  set(vfile_pc_cflags " -DVFILE_STATIC")
elseif(TARGET vfile_static)
  set(vfile_pc_cflags_static " -DVFILE_STATIC")
endif()
set(way_up "")
if(NOT IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  file(RELATIVE_PATH way_up /${vfile_pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" way_up ${way_up})
endif()
set(vfile_pc_prefix @vfile_pc_prefix@) # which only the installation knows: `cmake --install --prefix`
configure_file(cmake/vfile.pc.in vfile.pc.in @ONLY)
install(CODE "set(folder \"${CMAKE_CURRENT_BINARY_DIR}\")\nset(way_up \"${way_up}\")" COMPONENT Development)
install(CODE [[
  set(vfile_pc_prefix "\${pcfiledir}/${way_up}")
  if(NOT way_up OR CMAKE_INSTALL_PREFIX MATCHES "^/usr(/local)?$")
    string(REPLACE " " "\\ " vfile_pc_prefix "${CMAKE_INSTALL_PREFIX}")
  endif()
  configure_file("${folder}/vfile.pc.in" "${folder}/vfile.pc" @ONLY)]] COMPONENT Development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vfile.pc DESTINATION ${vfile_pkgconfig_dir} COMPONENT Development)

if(VFILE_TOP_LEVEL)
  set(vfile_doc_dir ${CMAKE_INSTALL_DOCDIR})
else()
  set(vfile_doc_dir ${CMAKE_INSTALL_DATAROOTDIR}/doc/vfile) # the other one is the outer project's
endif()
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${vfile_doc_dir} COMPONENT Development)
install(DIRECTORY docs/guide DESTINATION ${vfile_doc_dir} COMPONENT Development)
install(FILES tools/gdb/vfile_gdb.py DESTINATION ${CMAKE_INSTALL_DATADIR}/vfile COMPONENT Development)

if(TARGET vfedit)
  # An installed vfedit finds the library beside it, wherever the tree has been moved to.
  if(vfile_type STREQUAL "SHARED_LIBRARY" AND NOT DEFINED CMAKE_INSTALL_RPATH)
    if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR} OR IS_ABSOLUTE ${CMAKE_INSTALL_BINDIR})
      set_target_properties(vfedit PROPERTIES INSTALL_RPATH ${CMAKE_INSTALL_FULL_LIBDIR})
    else()
      file(RELATIVE_PATH way_over /${CMAKE_INSTALL_BINDIR} /${CMAKE_INSTALL_LIBDIR})
      set_target_properties(vfedit PROPERTIES INSTALL_RPATH "$ORIGIN/${way_over}")
    endif()
  endif()
  install(TARGETS vfedit RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT Tools)
  install(FILES examples/vfedit.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT Tools)
  install(FILES examples/vfedit.bash-completion
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME vfedit COMPONENT Tools)
endif()
