include(${CMAKE_CURRENT_LIST_DIR}/EgressHarden.cmake)

# Settings of every target. Warnings are enabled only if this project is the top level, never in the build
# of a parent project.
function(egress_configure_target target)
  target_compile_features(${target} PUBLIC cxx_std_20)
  set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
  if(egress_IS_TOP_LEVEL)
    target_compile_options(
      ${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow
                        -Wswitch-enum)
    # Every header must compile on its own: target all_verify_interface_header_sets.
    set_target_properties(${target} PROPERTIES VERIFY_INTERFACE_HEADER_SETS ON)
  endif()
  if(EGRESS_HARDEN)
    egress_harden_target(${target})
  endif()
endfunction()

# Settings of a library that is installed. Its public headers and sources are below the folder of its name.
# A shared library exports only what its public headers mark.
function(egress_configure_installed target)
  string(TOUPPER ${target} macro)
  egress_configure_target(${target})
  set_target_properties(
    ${target}
    PROPERTIES CXX_VISIBILITY_PRESET hidden
               VISIBILITY_INLINES_HIDDEN ON
               DEFINE_SYMBOL ${macro}_BUILDING
               VERSION ${PROJECT_VERSION}
               SOVERSION ${PROJECT_VERSION_MAJOR})
endfunction()

# A library for C++. The users of a shared one define EGRESS_SHARED. A static one marks nothing, so that a
# host's own shared library does not re-export its functions.
function(egress_configure_library target)
  egress_configure_installed(${target})
  get_target_property(type ${target} TYPE)
  if(type STREQUAL SHARED_LIBRARY)
    target_compile_definitions(${target} PUBLIC EGRESS_SHARED)
    egress_hide_other_symbols(${target} egress.map)
  endif()
endfunction()

# A shared library with an interface in C, on these libraries. If they are static, it holds them.
function(egress_configure_c_library target)
  egress_configure_installed(${target})
  egress_hide_other_symbols(${target} egress_c.map)
  set_property(TARGET ${target} PROPERTY INTERFACE_COMPILE_FEATURES) # its users need no C++
  target_link_libraries(${target} PRIVATE ${ARGN})
  set_property(TARGET ${ARGN} PROPERTY POSITION_INDEPENDENT_CODE ON)
endfunction()

# Templates of the standard library and of others have default visibility, so their instantiations would be
# exported: few with optimisation, many without. A version script in cmake/ hides them. Linkers without version
# scripts export them, which is harmless.
function(egress_hide_other_symbols target script)
  include(CheckLinkerFlag)
  set(script ${PROJECT_SOURCE_DIR}/cmake/${script})
  check_linker_flag(CXX "LINKER:--version-script=${script}" EGRESS_LINKER_TAKES_VERSION_SCRIPT)
  if(EGRESS_LINKER_TAKES_VERSION_SCRIPT)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  endif()
endfunction()
