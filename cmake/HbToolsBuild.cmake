# Compile settings of everything that this project builds itself.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/lib)
# A tool finds the library beside it, wherever the tree was moved. One that is changed at installation would have room for a
# longer path until then, filled with empty ones, which the loader takes for the working directory.
set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}" "$ORIGIN/../lib")
list(REMOVE_DUPLICATES CMAKE_INSTALL_RPATH)
set(CMAKE_BUILD_WITH_INSTALL_RPATH ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

# Headers of others that most sources of a program take are compiled once, since they take longer than what stands in the
# sources; ccache must be told that it may trust them. Compilers that check or count see each source as it stands.
set(HBTOOLS_PRECOMPILE OFF)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND NOT CMAKE_CXX_FLAGS_RELEASE MATCHES "coverage")
  set(HBTOOLS_PRECOMPILE ON)
endif()

find_program(HBTOOLS_CCACHE ccache)
if(HBTOOLS_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${HBTOOLS_CCACHE})
  if(HBTOOLS_PRECOMPILE)
    list(PREPEND CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros)
  endif()
endif()

# hbtools_settings carries warnings and sanitizers; it is linked privately and never exported.
add_library(hbtools_settings INTERFACE)
target_compile_options(hbtools_settings INTERFACE
  -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast
  -Woverloaded-virtual -Wcast-align -Wformat=2 -Wundef -Wduplicated-cond -Wlogical-op)
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  set_property(TARGET hbtools_settings PROPERTY INTERFACE_COMPILE_OPTIONS
    -Wall -Wextra -Wconversion -Wsign-conversion -Wshadow -Wnon-virtual-dtor -Wold-style-cast)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  # This compiler sees overlaps in the concatenation of texts that are not there.
  target_compile_options(hbtools_settings INTERFACE -Wno-restrict)
endif()
if(HBTOOLS_WERROR)
  target_compile_options(hbtools_settings INTERFACE -Werror)
endif()
# Exact comparisons and NaN rules are part of the behaviour: no contraction, never fast-math.
target_compile_options(hbtools_settings INTERFACE -ffp-contract=off -fno-math-errno)
if(HBTOOLS_SANITIZE)
  target_compile_options(hbtools_settings INTERFACE
    -fsanitize=${HBTOOLS_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer -g1)  # traces need lines, no variables
  target_link_options(hbtools_settings INTERFACE -fsanitize=${HBTOOLS_SANITIZE})
endif()
if(HBTOOLS_BUILD_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "HBTOOLS_BUILD_FUZZ needs clang: cmake --preset fuzz")
  endif()
  # Coverage for the fuzzer in everything; the engine itself is linked into the fuzz targets only.
  target_compile_options(hbtools_settings INTERFACE -fsanitize=fuzzer-no-link)
endif()
