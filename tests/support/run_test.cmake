# cmake -DPROGRAM=<test program> [-DEMULATOR=<command>] -P run_test.cmake
# Runs a test program and passes its output on. Fails unless it ends with 0 and
# its last line says that all tests ran: a process can also end with 0 by a call
# in the middle of a test, or because another one has ended it.
execute_process(COMMAND ${EMULATOR} ${PROGRAM} RESULT_VARIABLE code
  OUTPUT_VARIABLE output ECHO_OUTPUT_VARIABLE ENCODING NONE)
if(NOT code STREQUAL "0")
  message(FATAL_ERROR "The test program ended with: ${code}")
endif()
if(NOT output MATCHES
   "End of the test program: ([0-9]+) of ([0-9]+) tests ran, result 0\r?\n$")
  message(FATAL_ERROR "The test program ended with 0 before its last line")
endif()
if(NOT CMAKE_MATCH_1 EQUAL CMAKE_MATCH_2)
  message(FATAL_ERROR "The test program left tests out")
endif()
