# Compiler options of all targets.

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # Without this, ccache does not cache files that use a precompiled header.
  # The base folder lets another checkout of the same sources find their objects too.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_SLOPPINESS=pch_defines,time_macros
                                  "CCACHE_BASEDIR=${PROJECT_SOURCE_DIR}" "${CCACHE}")
endif()

# The large targets spend most of their compile time on headers. Joined files save a third of the compile time of a build
# from clean, but a change to one file compiles its neighbours again.
if(CMAKE_BUILD_TYPE STREQUAL "Release")
  set(JOIN_FILES ON)
else()
  set(JOIN_FILES OFF)
endif()
option(LUMICRATE_UNITY "Compile the files of the large targets eight at a time" ${JOIN_FILES})
function(lumicrate_join_files TARGET)
  set_target_properties(${TARGET} PROPERTIES UNITY_BUILD ${LUMICRATE_UNITY})
  if(LUMICRATE_UNITY)
    # Anonymous namespaces of the joined files look as if they came from a header.
    target_compile_options(${TARGET} PRIVATE -Wno-subobject-linkage)
  endif()
endfunction()

add_library(lumicrate-options INTERFACE)
target_compile_options(lumicrate-options INTERFACE -Wall -Wextra -Wpedantic -Wnon-virtual-dtor
                                                   -Woverloaded-virtual -Wimplicit-fallthrough)
# Among joined files, names of one file shadow those of another.
target_compile_options(lumicrate-options INTERFACE $<$<NOT:$<BOOL:$<TARGET_PROPERTY:UNITY_BUILD>>>:-Wshadow>)
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
