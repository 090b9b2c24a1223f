# egress_add_selfcheck_test([NAME <test name>])
#
# Adds a test, named egress-selfcheck by default, that runs egress::selfcheck. It passes if the exit status
# is 0, standard error is empty, and standard output is exactly the line that reports that every check of
# this version passed. CTest alone cannot test this: PASS_REGULAR_EXPRESSION replaces the check of the exit
# status and matches a part of the output.
function(egress_add_selfcheck_test)
  set(checks 121) # in this version
  cmake_parse_arguments(PARSE_ARGV 0 arg "" NAME "")
  if(arg_UNPARSED_ARGUMENTS OR arg_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "Usage: egress_add_selfcheck_test([NAME <test name>])")
  endif()
  if(NOT TARGET egress::selfcheck)
    message(
      FATAL_ERROR
        "egress_add_selfcheck_test needs the target egress::selfcheck, which does not exist. "
        "If egress is a subproject, set EGRESS_BUILD_SELFCHECK=ON before adding it. "
        "If it is installed, it was built with EGRESS_BUILD_SELFCHECK=OFF.")
  endif()
  if(NOT arg_NAME)
    set(arg_NAME egress-selfcheck)
  endif()
  add_test(
    NAME ${arg_NAME}
    COMMAND
      ${CMAKE_COMMAND} "-Dprogram=$<TARGET_FILE:egress::selfcheck>"
      "-Demulator=$<TARGET_PROPERTY:egress::selfcheck,CROSSCOMPILING_EMULATOR>"
      -Dchecks=${checks} -P ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/EgressRunSelfcheck.cmake)
endfunction()
