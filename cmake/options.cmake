set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

option(POLICYD_BUILD_TESTS "Build the tests and benchmarks" ON)
option(POLICYD_FUZZERS "Build the fuzz targets with libFuzzer (clang only)" OFF)
option(POLICYD_COVERAGE "Count which lines and branches run (clang only)" OFF)
option(POLICYD_MUTATION "Build what tests/mutation/mutate.py runs" OFF)
set(POLICYD_SANITIZE "" CACHE STRING "Sanitizers for the whole build, e.g. address,undefined")

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "Kind of build" FORCE)
endif()
find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  # It goes by the list of headers that the compiler writes, rather than have it
  # preprocess everything first; precompiled headers need to be told of.
  set(CMAKE_CXX_COMPILER_LAUNCHER env CCACHE_DEPEND=1
    CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
endif()

add_compile_options(-Wall -Wextra -Wpedantic -Wconversion -Wshadow -Werror)
if(POLICYD_SANITIZE)
  add_compile_options(-fsanitize=${POLICYD_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${POLICYD_SANITIZE})
endif()
if(POLICYD_COVERAGE)
  # Counters that lie in their file, so that a process that is killed leaves its own, too.
  add_compile_options(-fprofile-instr-generate -fcoverage-mapping
    "SHELL:-mllvm -runtime-counter-relocation")
  add_link_options(-fprofile-instr-generate)
endif()
if(POLICYD_FUZZERS)
  add_compile_options(-fsanitize=fuzzer-no-link)
  add_link_options(-fsanitize=fuzzer-no-link)
endif()

# Sources include each other by their path from the root; generated code by
# the path of the file it was generated from.
include_directories(${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
