# The layers above the core, each on the one below. EGRESS_BUILD_<layer> is ON, OFF or AUTO: on if the layer
# below is on and what this layer needs is found. AUTO is the default, but OFF in a subproject.

set(egress_layer_default OFF)
if(PROJECT_IS_TOP_LEVEL)
  set(egress_layer_default AUTO)
endif()
foreach(layer IN ITEMS SNAPSHOT C LIVE REPORT)
  set(EGRESS_BUILD_${layer} ${egress_layer_default}
      CACHE STRING "ON, OFF, or AUTO: if its library is found")
endforeach()
# A layer that is left out on request takes those above with it.
foreach(layer IN ITEMS C LIVE)
  if(NOT EGRESS_BUILD_SNAPSHOT AND EGRESS_BUILD_${layer} STREQUAL "AUTO")
    set(EGRESS_BUILD_${layer} OFF)
  endif()
endforeach()
if(NOT EGRESS_BUILD_LIVE AND EGRESS_BUILD_REPORT STREQUAL "AUTO")
  set(EGRESS_BUILD_REPORT OFF)
endif()

# Turns EGRESS_BUILD_<layer> into ON or OFF. `below` is the option of the layer below, `titles` what is left
# out without this layer, `found` whether there is what it needs.
function(egress_layer layer below titles found needs)
  set(option EGRESS_BUILD_${layer})
  if(found AND ${below})
    set(${option} ON PARENT_SCOPE)
  elseif(${option} STREQUAL "AUTO")
    set(${option} OFF PARENT_SCOPE)
    if(NOT found)
      message(STATUS "Not building ${titles}: needs ${needs}")
    endif()
  elseif(found)
    message(FATAL_ERROR "${option}=ON needs ${below}=ON")
  else()
    message(FATAL_ERROR "${option}=ON needs ${needs}")
  endif()
endfunction()

if(EGRESS_BUILD_SNAPSHOT)
  find_package(nlohmann_json 3.11 QUIET)
  egress_layer(SNAPSHOT ON "egress::snapshot, egress::c, egress::live and egress-report" "${nlohmann_json_FOUND}"
               "nlohmann-json 3.11 (Debian: nlohmann-json3-dev)")
endif()
if(EGRESS_BUILD_C)
  get_property(egress_has_shared_libraries GLOBAL PROPERTY TARGET_SUPPORTS_SHARED_LIBS)
  egress_layer(C EGRESS_BUILD_SNAPSHOT egress::c "${egress_has_shared_libraries}" "shared libraries")
endif()
if(EGRESS_BUILD_LIVE AND CMAKE_SYSTEM_NAME STREQUAL "Linux")
  set(egress_live_system linux) # a folder for each system, in egress_live/
  include(cmake/EgressFindLiveLibraries.cmake)
  egress_layer(LIVE EGRESS_BUILD_SNAPSHOT "egress::live and egress-report" ${egress_live_libraries_found}
               "${egress_live_libraries_title}")
elseif(EGRESS_BUILD_LIVE)
  egress_layer(LIVE EGRESS_BUILD_SNAPSHOT "egress::live and egress-report" FALSE "Linux")
endif()
if(EGRESS_BUILD_REPORT)
  find_package(CLI11 2.1 QUIET)
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(EGRESS_LIBCAP_NG QUIET IMPORTED_TARGET libcap-ng>=0.8)
  endif()
  set(egress_report_found FALSE)
  if(CLI11_FOUND AND EGRESS_LIBCAP_NG_FOUND)
    set(egress_report_found TRUE)
  endif()
  egress_layer(REPORT EGRESS_BUILD_LIVE egress-report ${egress_report_found}
               "CLI11 2.1 and libcap-ng 0.8 (Debian: pkg-config libcli11-dev libcap-ng-dev)")
endif()
