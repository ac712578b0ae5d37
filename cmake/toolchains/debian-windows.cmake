# 64-bit Windows from Debian's packages: clang with the headers and libraries of mingw-w64 and the GNU C++
# library in its variant with POSIX threads. docs/windows.md says why; `scripts/setup.sh windows` installs.

set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(tn_triple x86_64-w64-mingw32)
set(tn_mingw /usr/${tn_triple})
file(GLOB tn_gcc LIST_DIRECTORIES true /usr/lib/gcc/${tn_triple}/*-posix)
list(LENGTH tn_gcc tn_gcc_count)
if(NOT tn_gcc_count EQUAL 1)
  message(FATAL_ERROR "g++-mingw-w64-x86-64-posix is missing: scripts/setup.sh windows")
endif()

include("${CMAKE_CURRENT_LIST_DIR}/clang.cmake")
tn_find_llvm(TN_KITS_LLVM_AR llvm-ar)
tn_find_llvm(TN_KITS_LLVM_RANLIB llvm-ranlib)
set(CMAKE_CXX_COMPILER_TARGET x86_64-w64-windows-gnu)
set(CMAKE_AR "${TN_KITS_LLVM_AR}" CACHE FILEPATH "Archiver")
set(CMAKE_RANLIB "${TN_KITS_LLVM_RANLIB}" CACHE FILEPATH "Archive indexer")
set(CMAKE_RC_COMPILER ${tn_triple}-windres)

# clang does not find Debian's folder of the GNU library by itself, and would read the headers of the build
# machine. Its own headers belong between the two: mingw-w64 has some of the same names.
set(tn_include "-nostdlibinc")
foreach(folder "" /${tn_triple} /backward)
  string(APPEND tn_include " -isystem ${tn_gcc}/include/c++${folder}")
endforeach()
set(CMAKE_CXX_FLAGS_INIT "${tn_include} -idirafter ${tn_mingw}/include")
# Debian's versioned package puts the linker under its plain name beside the compiler itself only.
file(REAL_PATH "${TN_KITS_CLANG}" tn_llvm)
get_filename_component(tn_llvm "${tn_llvm}" DIRECTORY)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT
    "-Wno-unused-command-line-argument -fuse-ld=lld -pthread -B${tn_llvm} -B${tn_gcc} -L${tn_gcc} -L${tn_mingw}/lib")
endforeach()

# What programs built here need beside them.
set(TN_KITS_RUNTIME_DLLS
  "${tn_gcc}/libstdc++-6.dll" "${tn_gcc}/libgcc_s_seh-1.dll" "${tn_mingw}/lib/libwinpthread-1.dll")

set(CMAKE_FIND_ROOT_PATH "${tn_mingw}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Debian has these packages for Linux only. They are header-only or come with their sources; the folder
# debian-windows has CMake packages for them.
set(Eigen3_DIR /usr/share/eigen3/cmake CACHE PATH "Eigen: headers in a folder of their own")
foreach(package hwy CLI11 GTest)
  set(${package}_DIR "${CMAKE_CURRENT_LIST_DIR}/debian-windows" CACHE PATH "Stand-in for package ${package}")
endforeach()

# Tests run under Wine, which keeps its settings in the build folder.
find_program(TN_KITS_WINE NAMES wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
mark_as_advanced(TN_KITS_WINE)
if(TN_KITS_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR
    env WINEDEBUG=-all "WINEPREFIX=${CMAKE_BINARY_DIR}/wine" "${TN_KITS_WINE}")
endif()
