# egress_add_selfcheck_test([NAME <test name>])
#
# Adds a test that runs egress::selfcheck and asks for all of this together: exit status 0, nothing
# on standard error, and on standard output the one line that says that every check of this version
# passed. CTest alone cannot: its PASS_REGULAR_EXPRESSION takes the place of the exit status and is
# content with a part of the output. The test is called egress-selfcheck unless NAME says otherwise.
function(egress_add_selfcheck_test)
  set(checks 121) # what this version counts
  cmake_parse_arguments(PARSE_ARGV 0 arg "" NAME "")
  if(arg_UNPARSED_ARGUMENTS OR arg_KEYWORDS_MISSING_VALUES)
    message(FATAL_ERROR "Usage: egress_add_selfcheck_test([NAME <test name>])")
  endif()
  if(NOT TARGET egress::selfcheck)
    message(
      FATAL_ERROR
        "egress_add_selfcheck_test needs the program egress::selfcheck, which is not there. "
        "Where egress is a subproject, set EGRESS_BUILD_SELFCHECK=ON before adding it; "
        "where it is installed, it was built with EGRESS_BUILD_SELFCHECK=OFF.")
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
