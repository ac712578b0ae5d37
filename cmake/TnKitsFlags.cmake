# Compiler settings that every target of the project shares.

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

# An installed tree finds its own libraries after it was moved.
file(RELATIVE_PATH TN_KITS_BIN_TO_LIB "/${CMAKE_INSTALL_BINDIR}" "/${CMAKE_INSTALL_LIBDIR}")
set(CMAKE_INSTALL_RPATH "$ORIGIN;$ORIGIN/${TN_KITS_BIN_TO_LIB}")
if(TN_KITS_PLATFORM STREQUAL "external")
  # That one stays where it was found.
  set(CMAKE_INSTALL_RPATH_USE_LINK_PATH ON)
endif()

option(TN_KITS_SANITIZE "Build everything with AddressSanitizer and UndefinedBehaviorSanitizer" OFF)
if(TN_KITS_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

option(TN_KITS_SANITIZE_THREADS "Build everything with ThreadSanitizer" OFF)
if(TN_KITS_SANITIZE_THREADS)
  if(TN_KITS_SANITIZE OR TN_KITS_FUZZ)
    message(FATAL_ERROR "ThreadSanitizer does not go together with AddressSanitizer")
  endif()
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
  # Tests that count or refuse allocations bring operators of their own, and so does clang's runtime.
  add_link_options(LINKER:-z,muldefs)
endif()

if(TN_KITS_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()

# Sanitized kernels take long to compile. The instruction sets left out have the vectors of others, and their
# reach is held by unreadable pages in every build.
if(TN_KITS_SANITIZE OR TN_KITS_SANITIZE_THREADS OR TN_KITS_FUZZ)
  add_compile_definitions("HWY_DISABLED_TARGETS=(HWY_SSSE3|HWY_SSE4)")
endif()

# tn_kits_compile_options(TARGET): warnings, exact floating point, and live assertions.
function(tn_kits_compile_options target)
  if(MSVC)
    # UNDEBUG: preconditions and the linear-algebra library's assertions stay active in Release.
    target_compile_options(${target} PRIVATE /W4 /permissive- /utf-8 /fp:precise /UNDEBUG
      $<$<BOOL:${TN_KITS_WARNINGS_AS_ERRORS}>:/WX>)
    # std::fopen and std::getenv are deprecated there in favour of functions that exist nowhere else.
    target_compile_definitions(${target} PRIVATE _CRT_SECURE_NO_WARNINGS)
    return()
  endif()
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wsign-conversion -Wnon-virtual-dtor -Woverloaded-virtual
    # A fused multiply-add rounds once where the documented formulas round twice, and whether the
    # compiler fuses depends on the instruction set: results would differ from machine to machine.
    -ffp-contract=off
    # Preconditions and the linear-algebra library's assertions stay active in Release.
    -UNDEBUG
    # Assertions name sources relative to the repository, not to the build machine.
    -fmacro-prefix-map=${PROJECT_SOURCE_DIR}/=
    $<$<BOOL:${TN_KITS_WARNINGS_AS_ERRORS}>:-Werror>)
endfunction()
