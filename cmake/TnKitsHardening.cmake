# The compiler's and linker's protections against exploits: checked stacks and library calls, memory that is either
# written or executed, function tables that are read-only after the start, and random addresses.
# TN_KITS_HARDENED says whether this build has what tests/hardening looks for.

option(TN_KITS_HARDENING "Build with the compiler's and linker's protections against exploits" ON)
set(TN_KITS_HARDENED OFF)

# Sanitizers check more, and do not intercept the checked forms of the C library's functions.
get_directory_property(tn_kits_options COMPILE_OPTIONS)
if(NOT TN_KITS_HARDENING OR "${tn_kits_options} ${CMAKE_CXX_FLAGS}" MATCHES "-fsanitize")
  return()
endif()

if(MSVC)
  # Stack checks are the compiler's default.
  add_compile_options(/guard:cf)
  add_link_options(/guard:cf /DYNAMICBASE /HIGHENTROPYVA /NXCOMPAT)
elseif(MINGW)
  # The stack protector would need one more DLL.
  add_link_options(LINKER:--dynamicbase,--high-entropy-va,--nxcompat)
elseif(UNIX AND NOT APPLE AND CMAKE_CXX_COMPILER_ID MATCHES "GNU|Clang")
  set(TN_KITS_HARDENED ON)
  add_compile_options(-fstack-protector-strong)
  # Distributions may have chosen a level. Without optimization there are no checked calls.
  if(NOT CMAKE_CXX_FLAGS MATCHES "_FORTIFY_SOURCE")
    add_compile_options(
      "$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  endif()
  add_link_options(LINKER:-z,relro,-z,now,-z,noexecstack)
  # Position-independent executables, so that programs load at random addresses too.
  include(CheckPIESupported)
  check_pie_supported(LANGUAGES CXX)
endif()
