# What the shared libraries are called, what they export, and what is checked of it.

option(TN_KITS_ABI_CHECK
  "Compile the libraries with the debug information that scripts/abi.sh reads, and test their interfaces" OFF)

# The version up to which compiled programs depend on it. It is part of the libraries' names, so that libraries
# of several can be installed beside each other: before 1.0.0 a new minor version may break compiled programs.
set(TN_KITS_ABI_VERSION "${PROJECT_VERSION_MAJOR}")
if(PROJECT_VERSION_MAJOR EQUAL 0)
  string(APPEND TN_KITS_ABI_VERSION ".${PROJECT_VERSION_MINOR}")
endif()

# tn_kits_shared_library(LIB [OBJECTS]): names the library LIB, made of the object library OBJECTS if that is
# given, and lets it export nothing but names of its own. Static libraries stay as they are.
function(tn_kits_shared_library lib)
  # On Linux libLIB.so.0.2, on Windows LIB-0.2.dll with the plain name for the import library.
  set_target_properties(${lib} PROPERTIES VERSION ${PROJECT_VERSION} SOVERSION ${TN_KITS_ABI_VERSION}
    RUNTIME_OUTPUT_NAME ${lib}-${TN_KITS_ABI_VERSION})
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
