# Installation: all headers in include/tn_kits, and a CMake package and a pkg-config file for each library, in the
# components runtime, development and tools.

include(CMakePackageConfigHelpers)
set(TN_KITS_INCLUDE_DIR "${CMAKE_INSTALL_INCLUDEDIR}/tn_kits")

# tn_kits_install(LIB HEADERS <dir> [DEPENDS <CMake packages>] [FIND_MODULES <modules>]
#                 [PC_REQUIRES <pkg-config packages>] [PC_LIBS <linker arguments>])
# Installs library LIB with the headers of a folder as CMake package LIB (target LIB::LIB) and as
# pkg-config package LIB. Each of DEPENDS is one string with the arguments of find_package. FIND_MODULES are
# installed beside the package.
function(tn_kits_install lib)
  cmake_parse_arguments(arg "" "HEADERS" "DEPENDS;FIND_MODULES;PC_REQUIRES;PC_LIBS" ${ARGN})
  set(package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/${lib}")

  install(TARGETS ${lib} EXPORT ${lib}Targets
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES DESTINATION ${TN_KITS_INCLUDE_DIR})
  install(DIRECTORY ${arg_HEADERS}/ DESTINATION ${TN_KITS_INCLUDE_DIR} COMPONENT development
    FILES_MATCHING PATTERN "*.h")
  install(EXPORT ${lib}Targets NAMESPACE ${lib}:: DESTINATION ${package_dir} COMPONENT development)

  set(dependencies "")
  if(arg_FIND_MODULES)
    install(FILES ${arg_FIND_MODULES} DESTINATION ${package_dir} COMPONENT development)
    set(dependencies "list(APPEND CMAKE_MODULE_PATH \"\${CMAKE_CURRENT_LIST_DIR}\")\n")
  endif()
  foreach(package IN LISTS arg_DEPENDS)
    string(APPEND dependencies "find_dependency(${package})\n")
  endforeach()
  set(TN_LIB ${lib})
  set(TN_DEPENDENCIES "${dependencies}")
  configure_package_config_file("${PROJECT_SOURCE_DIR}/cmake/PackageConfig.cmake.in"
    "${PROJECT_BINARY_DIR}/${lib}Config.cmake" INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file("${PROJECT_BINARY_DIR}/${lib}ConfigVersion.cmake"
    VERSION ${PROJECT_VERSION} COMPATIBILITY SameMinorVersion)
  install(FILES "${PROJECT_BINARY_DIR}/${lib}Config.cmake"
                "${PROJECT_BINARY_DIR}/${lib}ConfigVersion.cmake"
    DESTINATION ${package_dir} COMPONENT development)

  # The .pc file gives its prefix relative to its own folder, so an installed tree can be moved.
  file(RELATIVE_PATH TN_PC_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" TN_PC_PREFIX "${TN_PC_PREFIX}")
  list(JOIN arg_PC_REQUIRES ", " TN_PC_REQUIRES)
  list(JOIN arg_PC_LIBS " " TN_PC_LIBS)
  set(TN_PC_CFLAGS "")
  get_target_property(type ${lib} TYPE)
  if(type STREQUAL "STATIC_LIBRARY")
    string(TOUPPER "-D${lib}_STATIC" TN_PC_CFLAGS)
  endif()
  configure_file("${PROJECT_SOURCE_DIR}/cmake/package.pc.in" "${PROJECT_BINARY_DIR}/${lib}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/${lib}.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
    COMPONENT development)
endfunction()
