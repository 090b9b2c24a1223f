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
