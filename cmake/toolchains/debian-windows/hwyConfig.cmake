# Highway is header-only except for its choice of an instruction set at run time, which the repository has.
include("${CMAKE_CURRENT_LIST_DIR}/BuildMachineHeaders.cmake")
tn_headers_from_build_machine(tn_hwy_headers hwy/highway.h /usr/include)
if(NOT TARGET tn_hwy)
  add_subdirectory("${PROJECT_SOURCE_DIR}/common/dispatch")
  add_library(hwy::hwy ALIAS tn_hwy)
endif()
