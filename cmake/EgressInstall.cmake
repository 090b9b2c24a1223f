# Installs the library, the self-check and the files for CMake and pkg-config. They refer to each other by
# relative paths, so that an installed tree can be moved, unless an installation directory is absolute.

# Included only here, because GNUInstallDirs adds cache variables to a parent project.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/egress)
get_target_property(library_type egress TYPE)

function(egress_relative_path variable from to)
  cmake_path(RELATIVE_PATH to BASE_DIRECTORY ${from} OUTPUT_VARIABLE path)
  set(${variable} ${path} PARENT_SCOPE)
endfunction()
egress_relative_path(prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
egress_relative_path(libdir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
egress_relative_path(includedir_from_prefix ${CMAKE_INSTALL_PREFIX}
                     ${CMAKE_INSTALL_FULL_INCLUDEDIR})
egress_relative_path(libdir_from_bindir ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})

install(TARGETS egress EXPORT egressTargets FILE_SET HEADERS)
if(TARGET egress-selfcheck)
  set_target_properties(egress-selfcheck PROPERTIES EXPORT_NAME selfcheck)
  if(library_type STREQUAL SHARED_LIBRARY)
    set(here $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>)
    set_target_properties(egress-selfcheck PROPERTIES INSTALL_RPATH ${here}/${libdir_from_bindir})
  endif()
  install(TARGETS egress-selfcheck EXPORT egressTargets)
endif()
install(EXPORT egressTargets NAMESPACE egress:: DESTINATION ${cmake_dir})

configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/egressConfig.cmake.in egressConfig.cmake
                              INSTALL_DESTINATION ${cmake_dir})
write_basic_package_version_file(egressConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/egressConfig.cmake
        ${CMAKE_CURRENT_BINARY_DIR}/egressConfigVersion.cmake
        ${CMAKE_CURRENT_LIST_DIR}/EgressSelfcheck.cmake
        ${CMAKE_CURRENT_LIST_DIR}/EgressRunSelfcheck.cmake
  DESTINATION ${cmake_dir})

set(shared_flag "")
if(library_type STREQUAL SHARED_LIBRARY)
  set(shared_flag " -DEGRESS_SHARED")
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/egress.pc.in egress.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/egress.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
