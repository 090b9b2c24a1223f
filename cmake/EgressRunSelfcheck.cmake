# The test that egress_add_selfcheck_test adds. Variables: program, checks, emulator (may be empty).
cmake_minimum_required(VERSION 3.25)

execute_process(
  COMMAND ${emulator} "${program}"
  RESULT_VARIABLE status
  OUTPUT_VARIABLE output
  ERROR_VARIABLE error)

set(line "PASS: ${checks} checks, 0 failures")
set(wrong "")
if(NOT status STREQUAL "0")
  list(APPEND wrong "its exit status is not 0 but ${status}")
endif()
if(NOT output STREQUAL "${line}\n")
  list(APPEND wrong "its standard output is not the one line '${line}'")
endif()
if(NOT error STREQUAL "")
  list(APPEND wrong "its standard error is not empty")
endif()

if(wrong)
  list(JOIN wrong ", " wrong)
  # Not in the error message, because CMake wraps its lines.
  message(NOTICE "${program}: ${wrong}\n"
                 "-- standard output:\n${output}\n-- standard error:\n${error}")
  message(FATAL_ERROR "the self-check did not pass")
endif()
