# An overlay port over the checkout that it stands in.
get_filename_component(SOURCE_PATH "${CMAKE_CURRENT_LIST_DIR}/../../../.." ABSOLUTE)

# Networks would bring OpenCV along; tensors, kernels and trackers do without.
vcpkg_cmake_configure(
  SOURCE_PATH "${SOURCE_PATH}"
  OPTIONS
    -DTN_KITS_BUILD_TESTS=OFF
    -DTN_KITS_BUILD_APPS=OFF
    -DTN_KITS_BUILD_BENCHMARKS=OFF
    -DTN_CNN_ENGINE=none)
vcpkg_cmake_install()

foreach(lib tn_core tn_cnn tn_kits)
  vcpkg_cmake_config_fixup(PACKAGE_NAME ${lib} CONFIG_PATH "lib/cmake/${lib}" DO_NOT_DELETE_PARENT_CONFIG_PATH)
endforeach()
file(REMOVE_RECURSE
  "${CURRENT_PACKAGES_DIR}/lib/cmake"
  "${CURRENT_PACKAGES_DIR}/debug/lib/cmake"
  "${CURRENT_PACKAGES_DIR}/debug/include")
vcpkg_fixup_pkgconfig()
vcpkg_copy_pdbs()

# The sources carry no licence text that could be installed.
set(VCPKG_POLICY_SKIP_COPYRIGHT_CHECK enabled)
