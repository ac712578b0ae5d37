# Runs a command and compares what it prints with a file.
# usage: cmake -D EXPECTED=FILE -P CompareOutput.cmake -- COMMAND...
set(command "")
set(behind FALSE)
math(EXPR last "${CMAKE_ARGC} - 1")
foreach(i RANGE ${last})
  if(behind)
    list(APPEND command "${CMAKE_ARGV${i}}")
  elseif(CMAKE_ARGV${i} STREQUAL "--")
    set(behind TRUE)
  endif()
endforeach()

execute_process(COMMAND ${command} OUTPUT_VARIABLE printed RESULT_VARIABLE result)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "ended with ${result} after printing:\n${printed}")
endif()
# Windows ends lines in two characters.
string(REPLACE "\r\n" "\n" printed "${printed}")
file(READ "${EXPECTED}" expected)
if(NOT printed STREQUAL expected)
  message(FATAL_ERROR "printed:\n${printed}\nnot as in (${EXPECTED}):\n${expected}")
endif()
