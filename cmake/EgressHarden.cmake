# EGRESS_HARDEN: flags that make memory errors harder to exploit, and that keep the paths of the build out of
# what is installed. They are private to the targets of this project. Each is left out where a program that
# needs it does not compile and link with it, for example with a cross compiler.

include(CheckCXXSourceCompiles)
include(CheckLinkerFlag)

# Has what the flags protect: an array on the stack, a copy into it, and a path.
set(egress_hardened_source [[
#include <cstring>
int main(int, char** words) {
  char text[64] = {};
  std::memcpy(text, words[0], std::strlen(words[0]));
  return std::strcmp(text, __FILE__);
}]])

# Appends the flags to the list if the compiler takes them without a warning, and what they call can be linked.
function(egress_append_compiler_flags list name)
  set(CMAKE_REQUIRED_DEFINITIONS -O2 ${ARGN})
  set(CMAKE_REQUIRED_FLAGS -Werror)
  check_cxx_source_compiles("${egress_hardened_source}" EGRESS_COMPILER_TAKES_${name})
  if(EGRESS_COMPILER_TAKES_${name})
    set(${list} ${${list}} ${ARGN} PARENT_SCOPE)
  endif()
endfunction()

function(egress_append_linker_flag list name flag)
  set(CMAKE_REQUIRED_FLAGS -fPIE) # for -pie and -static-pie
  check_linker_flag(CXX ${flag} EGRESS_LINKER_TAKES_${name})
  if(EGRESS_LINKER_TAKES_${name})
    set(${list} ${${list}} ${flag} PARENT_SCOPE)
  endif()
endfunction()

set(egress_hardened_compile_options "")
set(egress_fortify_options "")
set(egress_hardened_link_options "")
set(egress_pie_option "")
set(egress_static_pie_option "")
if(EGRESS_HARDEN)
  egress_append_compiler_flags(egress_hardened_compile_options STACK_PROTECTOR -fstack-protector-strong)
  if(NOT WIN32) # where functions probe their stack anyway, and g++ 12 has an internal error with the flag
    egress_append_compiler_flags(egress_hardened_compile_options STACK_CLASH_PROTECTION
                                 -fstack-clash-protection)
  endif()
  egress_append_compiler_flags(egress_hardened_compile_options CF_PROTECTION -fcf-protection=full)
  egress_append_compiler_flags(egress_hardened_compile_options FILE_PREFIX_MAP
                               -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
                               -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
  # Undefined first, because some compilers define another level.
  egress_append_compiler_flags(egress_fortify_options FORTIFY -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2)
  if(NOT WIN32) # whose linker ignores -z, with a warning
    egress_append_linker_flag(egress_hardened_link_options RELRO LINKER:-z,relro)
    egress_append_linker_flag(egress_hardened_link_options NOW LINKER:-z,now)
    egress_append_linker_flag(egress_hardened_link_options NOEXECSTACK LINKER:-z,noexecstack)
    egress_append_linker_flag(egress_pie_option PIE -pie)
    egress_append_linker_flag(egress_static_pie_option STATIC_PIE -static-pie)
  endif()
  # Linked with -static and one of these, a program may not start.
  if(" ${CMAKE_EXE_LINKER_FLAGS} " MATCHES " -static ")
    set(egress_pie_option "")
    set(egress_static_pie_option "")
  endif()
endif()

function(egress_harden_target target)
  target_compile_options(
    ${target} PRIVATE ${egress_hardened_compile_options}
                      # The C library's checks need optimisation.
                      "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:${egress_fortify_options}>")
  # Also for static libraries, which programs link, here and elsewhere.
  set_target_properties(${target} PROPERTIES POSITION_INDEPENDENT_CODE ON)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL EXECUTABLE)
    target_link_options(${target} PRIVATE ${egress_hardened_link_options} ${egress_pie_option})
  elseif(type STREQUAL SHARED_LIBRARY)
    target_link_options(${target} PRIVATE ${egress_hardened_link_options})
  endif()
endfunction()

# Links a program statically, and independent of its position if it was hardened and the linker can.
function(egress_link_statically target)
  if(egress_static_pie_option)
    set(mode ${egress_static_pie_option})
  elseif(egress_pie_option)
    set(mode -static -no-pie)
  else()
    set(mode -static)
  endif()
  target_link_options(${target} PRIVATE ${mode} LINKER:--gc-sections)
endfunction()
