# TN_KITS_COMMIT: the commit that the tool names, from git, or "unknown" outside a clone. A packager who
# builds from an archive passes -D TN_KITS_COMMIT=...

set(TN_KITS_COMMIT "" CACHE STRING "Commit that the tool names; empty: ask git")
if(NOT TN_KITS_COMMIT)
  # In a local variable, so that the next configuration asks again.
  set(TN_KITS_COMMIT unknown)
  find_package(Git QUIET)
  if(Git_FOUND)
    execute_process(COMMAND "${GIT_EXECUTABLE}" rev-parse --show-toplevel --git-path logs/HEAD --short=10 HEAD
      WORKING_DIRECTORY "${PROJECT_SOURCE_DIR}"
      RESULT_VARIABLE result OUTPUT_VARIABLE answer ERROR_QUIET OUTPUT_STRIP_TRAILING_WHITESPACE)
    string(REPLACE "\n" ";" answer "${answer}")
    list(LENGTH answer lines)
    if(result EQUAL 0 AND lines EQUAL 3)
      list(POP_FRONT answer top log commit)
      file(REAL_PATH "${PROJECT_SOURCE_DIR}" source)
      file(REAL_PATH "${log}" log BASE_DIRECTORY "${PROJECT_SOURCE_DIR}")
      # An unpacked archive may lie inside somebody else's repository.
      if(top STREQUAL source)
        set(TN_KITS_COMMIT "${commit}")
        # The log grows with every commit and checkout; then the build configures itself again, which
        # compiles one small file of the tool.
        if(EXISTS "${log}")
          set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${log}")
        endif()
      endif()
    endif()
  endif()
endif()
