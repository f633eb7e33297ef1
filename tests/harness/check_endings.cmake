# cmake -DEMULATOR=<command> -DPROGRAM=<harness_endings> -P check_endings.cmake
# Runs single endings through run_test.cmake. The table has an ending and words
# of the runner that refuses it.
set(runner ${CMAKE_CURRENT_LIST_DIR}/../support/run_test.cmake)
set(before_its_end "with 0 before its last line")
set(endings
  "Fails|ended with: 1"
  "Breakpoint|ended with: "
  "BuiltinTrap|ended with: "
  "AccessViolation|ended with: "
  "Terminate|ended with: "
  "Exit|ended with: 96"
  "ImmediateExit|${before_its_end}"
  "ExitProcess|${before_its_end}"
  "TerminateProcess|${before_its_end}"
  "KilledByAnother|${before_its_end}"
  "ChildIsKilled|ended with: 1"
  "NoSuchEnding|No test matches the filter")

# Wine's services come with the first program, and would hold the pipe of its
# errors open until they end.
if(EMULATOR)
  set(EMULATOR sh -c "exec \"$0\" \"$@\" 2>/dev/null" ${EMULATOR})
endif()

# Sets `code` and `output`.
macro(run_ending name)
  set(ENV{GTEST_FILTER} Endings.${name})
  execute_process(COMMAND ${CMAKE_COMMAND} "-DEMULATOR=${EMULATOR}"
      -DPROGRAM=${PROGRAM} -P ${runner}
    RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
endmacro()

function(expect_refusal name words)
  run_ending(${name})
  string(FIND "${output}" "${words}" found)
  if(code STREQUAL "0" OR found EQUAL -1)
    message(SEND_ERROR "${name}: ${code} where \"${words}\" was expected:\n${output}")
  endif()
endfunction()

foreach(row IN LISTS endings)
  string(REPLACE "|" ";" row "${row}")
  expect_refusal(${row})
endforeach()

set(ENV{GTEST_REPEAT} 2)
expect_refusal(PassesOnlyOnce "${before_its_end}")
run_ending(Passes)
if(NOT code STREQUAL "0" OR NOT output MATCHES "2 of 2 tests ran")
  message(SEND_ERROR "Passes: refused with ${code}:\n${output}")
endif()
