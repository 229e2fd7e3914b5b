# What `cmake --install` gives: the library with its public headers, for CMake and for pkg-config, and vfedit.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(vfile_include_dir ${CMAKE_INSTALL_INCLUDEDIR}/vfile)
set(vfile_package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vfile)
set(vfile_pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

# The headers keep their folders, so that one spelling serves in the source tree and installed.
set(vfile_public_headers
  foundation/datetime.h foundation/halt.h foundation/hsys.h foundation/number.h foundation/result.h foundation/text.h
  hostfile/hfile.h hostfile/hfiledir.h
  platform/export.h platform/platform.h
  vfile/vfile.h
  vmem/vmem.h)
foreach(header IN LISTS vfile_public_headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${header} DESTINATION ${vfile_include_dir}/${folder} COMPONENT Development)
endforeach()

install(TARGETS vfile EXPORT vfile-targets
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
# whole. Absolute ones stay what they are.
if(IS_ABSOLUTE ${CMAKE_INSTALL_LIBDIR})
  set(vfile_pc_prefix ${CMAKE_INSTALL_PREFIX})
  set(vfile_pc_libdir ${CMAKE_INSTALL_LIBDIR})
else()
  file(RELATIVE_PATH way_up /${vfile_pkgconfig_dir} /)
  string(REGEX REPLACE "/$" "" way_up ${way_up})
  set(vfile_pc_prefix "\${pcfiledir}/${way_up}")
  set(vfile_pc_libdir "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
endif()
if(IS_ABSOLUTE ${CMAKE_INSTALL_INCLUDEDIR})
  set(vfile_pc_includedir ${vfile_include_dir})
else()
  set(vfile_pc_includedir "\${prefix}/${vfile_include_dir}")
endif()
configure_file(cmake/vfile.pc.in vfile.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/vfile.pc DESTINATION ${vfile_pkgconfig_dir} COMPONENT Development)

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
