# clang++ of the version that scripts/clang_version.sh names, or the plain one where there is none of it. That version
# has its run-time libraries for sanitizers installed; another one may lack them.

execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../../scripts/clang_version.sh"
  OUTPUT_VARIABLE tn_clang_version OUTPUT_STRIP_TRAILING_WHITESPACE)
# tn_find_llvm(VARIABLE PROGRAM): the program of that version.
macro(tn_find_llvm variable program)
  find_program(${variable} NAMES ${program}-${tn_clang_version} ${program} NO_CMAKE_FIND_ROOT_PATH)
  mark_as_advanced(${variable})
  if(NOT ${variable})
    message(FATAL_ERROR "${program} is missing: scripts/setup.sh fuzz windows")
  endif()
endmacro()
tn_find_llvm(TN_KITS_CLANG clang++)
set(CMAKE_CXX_COMPILER "${TN_KITS_CLANG}")
