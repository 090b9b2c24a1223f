# Installs the libraries, the programs, their documentation and the files for CMake and pkg-config. They
# refer to each other by relative paths, so that an installed tree can be moved, unless an installation
# directory is absolute.

# Included only here, because GNUInstallDirs adds cache variables to a parent project.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/egress)
get_target_property(library_type egress TYPE)

# The first rule checks that every target was built, so that a failure leaves no part of an installation.
set(built_files "")
foreach(target IN ITEMS egress egress_snapshot egress_live egress_c egress_c_live egress-selfcheck
                     egress-report)
  if(TARGET ${target})
    list(APPEND built_files $<TARGET_FILE:${target}>)
  endif()
endforeach()
set(report_pages "")
if(TARGET egress_report_page_files)
  get_target_property(report_pages egress_report_page_files egress_files)
  list(APPEND built_files ${report_pages})
endif()
get_property(is_multi_config GLOBAL PROPERTY GENERATOR_IS_MULTI_CONFIG)
set(build_command "cmake --build '${CMAKE_BINARY_DIR}'$<${is_multi_config}: --config $<CONFIG>>")
install(CODE "set(egress_built_files \"${built_files}\")\nset(egress_build_command \"${build_command}\")")
install(SCRIPT ${CMAKE_CURRENT_LIST_DIR}/EgressCheckBuilt.cmake)

function(egress_relative_path variable from to)
  cmake_path(RELATIVE_PATH to BASE_DIRECTORY ${from} OUTPUT_VARIABLE path)
  set(${variable} ${path} PARENT_SCOPE)
endfunction()
egress_relative_path(prefix_from_pc ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
egress_relative_path(libdir_from_prefix ${CMAKE_INSTALL_PREFIX} ${CMAKE_INSTALL_FULL_LIBDIR})
egress_relative_path(includedir_from_prefix ${CMAKE_INSTALL_PREFIX}
                     ${CMAKE_INSTALL_FULL_INCLUDEDIR})
egress_relative_path(libdir_from_bindir ${CMAKE_INSTALL_FULL_BINDIR} ${CMAKE_INSTALL_FULL_LIBDIR})

set(shared_flag "")
set(library_rpath $<IF:$<PLATFORM_ID:Darwin>,@loader_path,$ORIGIN>)
set(program_rpath "")
if(library_type STREQUAL SHARED_LIBRARY)
  set(shared_flag " -DEGRESS_SHARED")
  set(program_rpath ${library_rpath}/${libdir_from_bindir})
endif()

# Each library has an export set of its own, because egressConfig.cmake loads only those that are asked for.
function(egress_install_library target name requires description)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${library_rpath}")
  install(TARGETS ${target} EXPORT ${target}Targets FILE_SET HEADERS)
  install(EXPORT ${target}Targets NAMESPACE egress:: DESTINATION ${cmake_dir})
  configure_file(${PROJECT_SOURCE_DIR}/cmake/library.pc.in ${name}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endfunction()
function(egress_install_program target)
  set_target_properties(${target} PROPERTIES INSTALL_RPATH "${program_rpath}")
  install(TARGETS ${target} ${ARGN})
endfunction()

# The manual page and the completions, which end in the name of their format, where man and the shells look.
function(egress_install_pages pages)
  foreach(page IN LISTS pages)
    cmake_path(GET page EXTENSION LAST_ONLY format)
    if(format STREQUAL ".man")
      install(FILES ${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 RENAME egress-report.1)
    elseif(format STREQUAL ".bash")
      install(FILES ${page} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
              RENAME egress-report)
    elseif(format STREQUAL ".zsh")
      install(FILES ${page} DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/site-functions RENAME _egress-report)
    else()
      install(FILES ${page} DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)
    endif()
  endforeach()
endfunction()

egress_install_library(egress egress "" "${PROJECT_DESCRIPTION}")
if(EGRESS_BUILD_SNAPSHOT)
  egress_install_library(egress_snapshot egress-snapshot "egress = ${PROJECT_VERSION}"
                         "Records of hosts for egress, and its reports, as JSON")
endif()
if(TARGET egress_c)
  set(shared_flag_of_cpp "${shared_flag}")
  set(shared_flag "")
  egress_install_library(egress_c egress-c "" "${PROJECT_DESCRIPTION} In C")
  if(TARGET egress_c_live)
    egress_install_library(egress_c_live egress-c-live "egress-c = ${PROJECT_VERSION}"
                           "Takes a record of the host that it runs on, for egress-c")
  endif()
  set(shared_flag "${shared_flag_of_cpp}")
endif()
if(EGRESS_BUILD_LIVE)
  set(live_requires "egress-snapshot = ${PROJECT_VERSION}")
  if(library_type STREQUAL STATIC_LIBRARY)
    # Not in Requires.private: all libraries of an installation are static, so every user links these.
    string(APPEND live_requires ", libmnl >= ${egress_libmnl_version}, libpcap >= ${egress_libpcap_version}")
    string(APPEND live_requires ", libcurl >= ${egress_libcurl_version}")
    install(FILES ${CMAKE_CURRENT_LIST_DIR}/EgressFindLiveLibraries.cmake DESTINATION ${cmake_dir})
  endif()
  egress_install_library(egress_live egress-live "${live_requires}"
                         "Takes a record of the host that it runs on, for egress")
endif()
if(EGRESS_BUILD_SELFCHECK)
  egress_install_program(egress-selfcheck EXPORT egressTargets)
  install(FILES ${PROJECT_SOURCE_DIR}/docs/egress-selfcheck.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endif()
if(EGRESS_BUILD_REPORT)
  egress_install_program(egress-report)
  egress_install_pages("${report_pages}")
  # Where egress-report looks for it.
  install(FILES ${EGRESS_VIEWER_PAGE} DESTINATION ${CMAKE_INSTALL_BINDIR}/../share/egress
          RENAME egress-viewer.html OPTIONAL)
endif()

write_basic_package_version_file(egressConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(
  FILES ${CMAKE_CURRENT_BINARY_DIR}/egressConfigVersion.cmake
        ${CMAKE_CURRENT_LIST_DIR}/egressConfig.cmake
        ${CMAKE_CURRENT_LIST_DIR}/EgressSelfcheck.cmake
        ${CMAKE_CURRENT_LIST_DIR}/EgressRunSelfcheck.cmake
  DESTINATION ${cmake_dir})

# In one folder, because they refer to each other.
set(docs compatibility.md egress-report.md fleet.md host-contract.md security.md status-words.md
         support-desk.md troubleshooting.md viewer.md details.schema.json report.schema.json snapshot.schema.json)
list(TRANSFORM docs PREPEND ${PROJECT_SOURCE_DIR}/docs/)
install(FILES ${docs} DESTINATION ${CMAKE_INSTALL_DOCDIR})
