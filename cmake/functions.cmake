# policyd_library(NAME MODULE SOURCES... [LIBRARIES ...])
# A static library; MODULE is what its log lines name as their module.
function(policyd_library name module)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_LIBRARIES})
  target_compile_definitions(${name} PRIVATE XLOG_MODULE_NAME="${module}")
endfunction()

# policyd_unit_test(NAME SOURCES... LIBRARIES... [PROPERTIES...])
# The test binary test_NAME; every TEST in it is a test of its own for ctest, with
# those properties. It is named by the number of its parameter or as its suite says, for
# one that prints as its bytes would be named otherwise in every run.
function(policyd_unit_test name)
  if(NOT POLICYD_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(test_${name} ${ARG_SOURCES})
  target_link_libraries(test_${name} PRIVATE ${ARG_LIBRARIES} test_support)
  target_compile_definitions(test_${name} PRIVATE XLOG_MODULE_NAME="TEST")
  gtest_discover_tests(test_${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
    NO_PRETTY_VALUES PROPERTIES ${ARG_PROPERTIES})
endfunction()

# policyd_fuzz_target(NAME SOURCES... LIBRARIES...)
# SOURCES define LLVMFuzzerTestOneInput. A fuzz build makes of them fuzz_NAME,
# which looks for findings, as part of the target `fuzzers`; any other build
# makes the test fuzz.NAME, which replays tests/fuzz/corpus/NAME.
function(policyd_fuzz_target name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(fuzz_${name} ${ARG_SOURCES})
  target_link_libraries(fuzz_${name} PRIVATE ${ARG_LIBRARIES})
  target_compile_definitions(fuzz_${name} PRIVATE XLOG_MODULE_NAME="FUZZ")
  if(POLICYD_FUZZERS)
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
    if(NOT TARGET fuzzers)
      add_custom_target(fuzzers)
    endif()
    add_dependencies(fuzzers fuzz_${name})
  else()
    target_sources(fuzz_${name} PRIVATE ${CMAKE_SOURCE_DIR}/tests/fuzz/replay_main.cc)
    add_test(NAME fuzz.${name}
      COMMAND fuzz_${name} ${CMAKE_SOURCE_DIR}/tests/fuzz/corpus/${name})
  endif()
endfunction()

# policyd_quiet_when_sanitized(SOURCE WARNING): g++ warns of what the sanitizers'
# own code only seems to do; the ordinary build keeps the warning.
function(policyd_quiet_when_sanitized source warning)
  if(POLICYD_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS -Wno-${warning})
  endif()
endfunction()
