# CLI11 is header-only.
include("${CMAKE_CURRENT_LIST_DIR}/BuildMachineHeaders.cmake")
tn_headers_from_build_machine(CLI11::CLI11 CLI/CLI.hpp /usr/include)
