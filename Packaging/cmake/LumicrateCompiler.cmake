# Compiler options of all targets.

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without this, ccache does not cache files that use a precompiled header.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros "${CCACHE}")
endif()

add_library(lumicrate-options INTERFACE)
target_compile_options(lumicrate-options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                                                   -Woverloaded-virtual -Wimplicit-fallthrough)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # GCC 12 warns of overlaps and overflows in concatenated std::strings that do not exist (GCC bug 105651).
  target_compile_options(lumicrate-options INTERFACE -Wno-restrict -Wno-stringop-overflow
                                                     -Wno-array-bounds)
endif()
if(LUMICRATE_WERROR)
  target_compile_options(lumicrate-options INTERFACE -Werror)
endif()
if(LUMICRATE_SANITIZE)
  target_compile_options(lumicrate-options INTERFACE -fsanitize=${LUMICRATE_SANITIZE} -fno-omit-frame-pointer
                                                     -fno-sanitize-recover=all -O1)
  target_link_options(lumicrate-options INTERFACE -fsanitize=${LUMICRATE_SANITIZE})
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # Not supported in coroutines before LLVM 17.
    target_compile_options(lumicrate-options INTERFACE -fno-sanitize=function)
  endif()
endif()
target_include_directories(lumicrate-options INTERFACE "${PROJECT_SOURCE_DIR}/Sources")
