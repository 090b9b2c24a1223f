# What every target of this project has in common. Warnings are asked for only where this project is
# the one being worked on, never in the build of somebody who embeds it.
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
endfunction()

# The standard library declares itself visible, so whatever the compiler keeps of its templates and
# constants is exported, too: next to nothing when optimising, a lot otherwise. The linker can keep
# it in. Where it takes no such script, all that stays exported and does no harm.
function(egress_hide_standard_library target)
  include(CheckLinkerFlag)
  set(script ${PROJECT_SOURCE_DIR}/cmake/egress.map)
  check_linker_flag(CXX "LINKER:--version-script=${script}" EGRESS_LINKER_TAKES_VERSION_SCRIPT)
  if(EGRESS_LINKER_TAKES_VERSION_SCRIPT)
    target_link_options(${target} PRIVATE "LINKER:--version-script=${script}")
    set_property(TARGET ${target} APPEND PROPERTY LINK_DEPENDS ${script})
  endif()
endfunction()
