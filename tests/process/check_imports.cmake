# Reads the staged program back: what the system binds at its start, what it
# exports, and what its manifest says.
#   cmake -DOBJDUMP=<objdump> -DPROGRAM=<file> -P check_imports.cmake
cmake_minimum_required(VERSION 3.20)
execute_process(COMMAND ${OBJDUMP} -p ${PROGRAM}
  OUTPUT_VARIABLE headers COMMAND_ERROR_IS_FATAL ANY)

string(REGEX MATCHALL "DLL Name: [^\r\n]+" lines "${headers}")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "DLL Name: | " "" dll "${line}")
  string(TOLOWER "${dll}" dll)
  if(NOT dll MATCHES "^(kernel32|user32|advapi32|msvcrt)\\.dll$")
    message(SEND_ERROR "${dll} is bound at the start: its functions belong into cmake/delay")
  endif()
endforeach()
if(NOT lines)
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

# No rights asked for, sharp on every monitor, and made for Windows 7 to 10.
foreach(wanted "level=\"asInvoker\"" PerMonitorV2
        {35138b9a-5d96-4fbd-8e2d-a2440225f93a} {8e0f7a12-bfb3-4fe8-b9a5-48fd50a15a9a})
  file(STRINGS ${PROGRAM} found REGEX ${wanted} LIMIT_COUNT 1)
  if(NOT found)
    message(SEND_ERROR "The manifest lacks ${wanted}")
  endif()
endforeach()
