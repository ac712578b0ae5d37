# Finds the OpenCV components that the tool uses, as targets TnOpenCV::<component>.
#
# OpenCV's own CMake package is taken where it is installed. Distributions that package each component's
# headers and library apart may leave it out; then headers and libraries are looked for directly.
#
#   find_package(TnOpenCV 4 REQUIRED COMPONENTS core imgproc)

find_package(OpenCV ${TnOpenCV_FIND_VERSION} CONFIG QUIET COMPONENTS ${TnOpenCV_FIND_COMPONENTS})
if(OpenCV_FOUND)
  set(TnOpenCV_VERSION ${OpenCV_VERSION})
  foreach(component IN LISTS TnOpenCV_FIND_COMPONENTS)
    set(TnOpenCV_${component}_FOUND TRUE)
    if(NOT TARGET TnOpenCV::${component})
      add_library(TnOpenCV::${component} INTERFACE IMPORTED GLOBAL)
      set_target_properties(TnOpenCV::${component} PROPERTIES
        INTERFACE_INCLUDE_DIRECTORIES "${OpenCV_INCLUDE_DIRS}"
        INTERFACE_LINK_LIBRARIES opencv_${component})
    endif()
  endforeach()
  set(TnOpenCV_INCLUDE_DIR "${OpenCV_INCLUDE_DIRS}")
else()
  find_path(TnOpenCV_INCLUDE_DIR opencv2/core/version.hpp PATH_SUFFIXES opencv4)
  mark_as_advanced(TnOpenCV_INCLUDE_DIR)
  if(TnOpenCV_INCLUDE_DIR)
    set(TnOpenCV_VERSION "")
    foreach(part MAJOR MINOR REVISION)
      file(STRINGS "${TnOpenCV_INCLUDE_DIR}/opencv2/core/version.hpp" line
        REGEX "^#define CV_VERSION_${part} ")
      string(REGEX REPLACE "[^0-9]" "" number "${line}")
      list(APPEND TnOpenCV_VERSION ${number})
    endforeach()
    list(JOIN TnOpenCV_VERSION "." TnOpenCV_VERSION)
  endif()
  foreach(component IN LISTS TnOpenCV_FIND_COMPONENTS)
    find_library(TnOpenCV_${component}_LIBRARY opencv_${component})
    mark_as_advanced(TnOpenCV_${component}_LIBRARY)
    if(TnOpenCV_INCLUDE_DIR AND TnOpenCV_${component}_LIBRARY
       AND EXISTS "${TnOpenCV_INCLUDE_DIR}/opencv2/${component}.hpp")
      set(TnOpenCV_${component}_FOUND TRUE)
      if(NOT TARGET TnOpenCV::${component})
        add_library(TnOpenCV::${component} UNKNOWN IMPORTED GLOBAL)
        set_target_properties(TnOpenCV::${component} PROPERTIES
          IMPORTED_LOCATION "${TnOpenCV_${component}_LIBRARY}"
          INTERFACE_INCLUDE_DIRECTORIES "${TnOpenCV_INCLUDE_DIR}")
      endif()
    endif()
  endforeach()
endif()

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(TnOpenCV
  REQUIRED_VARS TnOpenCV_INCLUDE_DIR VERSION_VAR TnOpenCV_VERSION HANDLE_COMPONENTS)
