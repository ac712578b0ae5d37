# tn_headers_from_build_machine(TARGET HEADER FOLDER): imported target TARGET, a library of headers. FOLDER of
# the build machine has the file HEADER. Only the first folder of HEADER's name is made reachable, by a link:
# with all of FOLDER on the search path the build machine's C library would be found too.
function(tn_headers_from_build_machine target header folder)
  if(TARGET ${target})
    return()
  endif()
  if(NOT EXISTS "${folder}/${header}")
    message(FATAL_ERROR "${folder}/${header} is missing: scripts/setup.sh build windows")
  endif()
  string(REGEX REPLACE "/.*" "" first "${header}")
  set(links "${PROJECT_BINARY_DIR}/headers/${first}")
  file(MAKE_DIRECTORY "${links}")
  file(CREATE_LINK "${folder}/${first}" "${links}/${first}" SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE "${links}")
endfunction()
