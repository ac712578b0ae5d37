# Packages of an installed tree: three .deb files on Linux (runtime, development, tools), one .zip on Windows.
# scripts/package.sh makes them.

set(CPACK_PACKAGE_NAME tn-kits)
set(CPACK_PACKAGE_VENDOR "tn_kits developers")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_DESCRIPTION}")
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
# Debian wants an address; whoever publishes packages sets a real one.
set(CPACK_PACKAGE_CONTACT "tn_kits developers <tn-kits@example.invalid>" CACHE STRING
  "Maintainer named in the packages")
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_SOURCE_GENERATOR "")

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  # One archive: programs find the DLLs beside them in bin.
  set(CPACK_MONOLITHIC_INSTALL ON)
  set(CPACK_PACKAGE_FILE_NAME "tn_kits-${PROJECT_VERSION}-windows-x64")
elseif(NOT BUILD_SHARED_LIBS OR TN_KITS_PLATFORM STREQUAL "external")
  # No such library is in the Debian packages; an archive serves.
  set(CPACK_GENERATOR TGZ)
else()
  set(CPACK_GENERATOR DEB)
  set(CPACK_COMPONENTS_ALL runtime development)
  if(TN_KITS_BUILD_APPS)
    list(APPEND CPACK_COMPONENTS_ALL tools)
  endif()
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
  # Folders of other modes would clash with those that the system's packages own.
  set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
    OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

  # The package of the shared objects carries their SONAME's number.
  set(runtime "libtn-kits${TN_KITS_ABI_VERSION}")
  set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME "${runtime}")
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
  # Under one SONAME later versions serve programs that were built with earlier ones.
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
  set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "The shared libraries tn_kits, tn_cnn and tn_core.")

  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libtn-kits-dev)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} (= ${version}), libeigen3-dev")
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "libavutil-dev, libopencv-core-dev")
  set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Headers, CMake packages and pkg-config files.")

  set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME tarnkit)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION video)
  set(CPACK_DEBIAN_TOOLS_PACKAGE_SHLIBDEPS ON)
  # The tool's own libraries belong to no installed package while it is being packaged.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${PROJECT_BINARY_DIR}/tarnkit" "${PROJECT_BINARY_DIR}/platform/tn_cnn" "${PROJECT_BINARY_DIR}/platform/tn_core")
  set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${runtime} (= ${version})")
  set(CPACK_COMPONENT_TOOLS_DESCRIPTION
    "The tool tarnkit, which follows objects through videos, turns frames into\ntensors and converts pictures.")
endif()

include(CPack)
