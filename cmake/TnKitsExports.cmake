# What the shared libraries export, and what is checked of it.

option(TN_KITS_ABI_CHECK
  "Compile the libraries with the debug information that scripts/abi.sh reads, and test their interfaces" OFF)

# tn_kits_bound_exports(LIB [OBJECTS]): lets the shared library LIB, made of the object library OBJECTS if
# that is given, export nothing but names of its own.
function(tn_kits_bound_exports lib)
  get_target_property(type ${lib} TYPE)
  if(NOT type STREQUAL "SHARED_LIBRARY" OR NOT UNIX OR APPLE)
    return()
  endif()
  set(map "${PROJECT_SOURCE_DIR}/cmake/exports.map")
  target_link_options(${lib} PRIVATE "LINKER:--version-script=${map}")
  set_property(TARGET ${lib} APPEND PROPERTY LINK_DEPENDS "${map}")
  if(TN_KITS_ABI_CHECK)
    foreach(target IN LISTS lib ARGN)
      target_compile_options(${target} PRIVATE -g)
    endforeach()
  endif()
endfunction()
