# Reads the staged program back: what the system binds at its start, and what it
# exports.   cmake -DOBJDUMP=<objdump> -DPROGRAM=<file> -P check_imports.cmake
cmake_minimum_required(VERSION 3.20)
execute_process(COMMAND ${OBJDUMP} -p ${PROGRAM}
  OUTPUT_VARIABLE headers RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${OBJDUMP} can't read ${PROGRAM}")
endif()

string(REGEX MATCHALL "DLL Name: [^\r\n]+" lines "${headers}")
set(allowed kernel32.dll user32.dll advapi32.dll msvcrt.dll)
set(imports)
foreach(line IN LISTS lines)
  string(REPLACE "DLL Name: " "" dll "${line}")
  string(STRIP "${dll}" dll)
  string(TOLOWER "${dll}" dll)
  list(APPEND imports ${dll})
  if(NOT dll IN_LIST allowed)
    message(SEND_ERROR "${dll} is bound at the start: its functions belong into cmake/delay")
  endif()
endforeach()
if(NOT "kernel32.dll" IN_LIST imports)
  message(SEND_ERROR "No import table was found")
endif()

# "[Ordinal/Name Pointer] Table", one line "[   0] name" per export.
string(REGEX MATCH "\\[Ordinal/Name Pointer\\] Table.*" table "${headers}")
string(REGEX REPLACE "The Function Table.*" "" table "${table}")
string(REGEX MATCHALL "\n[ \t]*\\[ *[0-9]+\\][^\r\n]*" exports "${table}")
list(TRANSFORM exports STRIP)
list(TRANSFORM exports REPLACE "^\\[ *[0-9]+\\] *(\\+base\\[ *[0-9]+\\] *)?([0-9a-f]+ +)?" "")
if(NOT exports STREQUAL "VelLog_FlushThread")
  message(SEND_ERROR "Exports are '${exports}', not VelLog_FlushThread alone")
endif()
