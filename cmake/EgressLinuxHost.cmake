# The example host egress-report: by default built where its libraries are, but not in a subproject.
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
  elseif(EGRESS_BUILD_TESTS AND NOT DEFINED EGRESS_BUILD_LINUX_HOST)
    message(WARNING "Leaving out egress-report and its tests, because a library is missing (Debian: "
                    "pkg-config libmnl-dev libcli11-dev nlohmann-json3-dev)")
  endif()
endif()
if(EGRESS_BUILD_LINUX_HOST AND NOT EGRESS_HAS_LINUX_HOST_LIBRARIES)
  message(FATAL_ERROR "EGRESS_BUILD_LINUX_HOST needs Linux, pkg-config, libmnl 1.0.4, CLI11 2.1 and "
                      "nlohmann-json 3.11 (Debian: pkg-config libmnl-dev libcli11-dev nlohmann-json3-dev)")
endif()
# Not a plain option, so that the default follows when the libraries are installed later.
cmake_dependent_option(EGRESS_BUILD_LINUX_HOST "Build the example host egress-report"
                       ${PROJECT_IS_TOP_LEVEL} EGRESS_HAS_LINUX_HOST_LIBRARIES OFF)
