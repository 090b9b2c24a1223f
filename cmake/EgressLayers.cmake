# The layers above the library, each on the one before. By default a layer is built where its library is, but
# not in a subproject.

if(PROJECT_IS_TOP_LEVEL OR EGRESS_BUILD_SNAPSHOT OR EGRESS_BUILD_LIVE OR EGRESS_BUILD_REPORT)
  find_package(nlohmann_json 3.11 QUIET)
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(EGRESS_LIBMNL QUIET IMPORTED_TARGET libmnl>=1.0.4)
  endif()
  find_package(CLI11 2.1 QUIET)
endif()

# Sets EGRESS_BUILD_<layer>. `below` is that of the layer below, `titles` what is left out without this one,
# `found` whether there is what it needs.
function(egress_layer layer below titles found needs)
  set(option EGRESS_BUILD_${layer})
  set(wanted ${PROJECT_IS_TOP_LEVEL})
  if(DEFINED ${option})
    set(wanted ${${option}})
  endif()
  set(possible FALSE)
  if(found AND below)
    set(possible TRUE)
  elseif(wanted AND DEFINED ${option})
    message(FATAL_ERROR "${option} needs ${needs}, and the layers below")
  elseif(wanted AND NOT found)
    message(STATUS "Leaving out ${titles}, for want of ${needs}")
  endif()
  # Not a plain option, so that the default follows when a library is installed later.
  cmake_dependent_option(${option} "Build ${titles}; needs ${needs}" ${PROJECT_IS_TOP_LEVEL} possible
                         OFF)
  set(${option} ${${option}} PARENT_SCOPE)
endfunction()

egress_layer(SNAPSHOT ON "egress::snapshot, egress::live and egress-report" "${nlohmann_json_FOUND}"
             "nlohmann-json 3.11 (Debian: nlohmann-json3-dev)")
# A folder for each system, in egress_live/.
if(CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(egress_live_system linux)
  egress_layer(LIVE "${EGRESS_BUILD_SNAPSHOT}" "egress::live and egress-report" "${EGRESS_LIBMNL_FOUND}"
               "libmnl 1.0.4 (Debian: pkg-config libmnl-dev)")
else()
  egress_layer(LIVE "${EGRESS_BUILD_SNAPSHOT}" "egress::live and egress-report" FALSE "Linux")
endif()
egress_layer(REPORT "${EGRESS_BUILD_LIVE}" egress-report "${CLI11_FOUND}" "CLI11 2.1 (Debian: libcli11-dev)")
