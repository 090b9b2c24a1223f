# The example host. On by default where its libraries are; whoever embeds this project is not asked
# to have them.
set(EGRESS_HAS_LINUX_HOST_LIBRARIES OFF)
if(CMAKE_SYSTEM_NAME STREQUAL "Linux" AND (PROJECT_IS_TOP_LEVEL OR EGRESS_BUILD_LINUX_HOST))
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(EGRESS_LIBMNL QUIET IMPORTED_TARGET libmnl>=1.0.4)
  endif()
  find_package(CLI11 2.1 QUIET)
  find_package(nlohmann_json 3.11 QUIET)
  if(EGRESS_LIBMNL_FOUND AND CLI11_FOUND AND nlohmann_json_FOUND)
    set(EGRESS_HAS_LINUX_HOST_LIBRARIES ON)
  endif()
endif()
option(EGRESS_BUILD_LINUX_HOST "Build the example host egress-report"
       ${EGRESS_HAS_LINUX_HOST_LIBRARIES})
if(EGRESS_BUILD_LINUX_HOST AND NOT EGRESS_HAS_LINUX_HOST_LIBRARIES)
  message(FATAL_ERROR "EGRESS_BUILD_LINUX_HOST needs Linux, pkg-config, libmnl 1.0.4, CLI11 2.1 and "
                      "nlohmann-json 3.11; scripts/bootstrap test installs them")
endif()
