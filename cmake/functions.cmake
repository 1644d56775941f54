# policyd_library(NAME MODULE SOURCES... [LIBRARIES ...])
# A static library; MODULE is what its log lines name as their module.
function(policyd_library name module)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_library(${name} STATIC ${ARG_SOURCES})
  target_link_libraries(${name} PUBLIC ${ARG_LIBRARIES})
  target_compile_definitions(${name} PRIVATE XLOG_MODULE_NAME="${module}")
endfunction()

# policyd_busy_in_tests(TARGET): a test, or a part of one, that does much by itself.
function(policyd_busy_in_tests target)
  target_compile_options(${target} PRIVATE ${POLICYD_BUSY_TEST})
  set_target_properties(${target} PROPERTIES POLICYD_PRECOMPILED busy_test)
endfunction()

# policyd_unit_test(NAME [BUSY] SOURCES... LIBRARIES... [PROPERTIES...])
# The test binary test_NAME; every TEST in it is a test of its own for ctest, with
# those properties; a BUSY one does much by itself and is optimised. It is named by the number of its parameter or as its suite says, for
# one that prints as its bytes would be named otherwise in every run.
function(policyd_unit_test name)
  if(NOT POLICYD_BUILD_TESTS)
    return()
  endif()
  cmake_parse_arguments(ARG "BUSY" "" "SOURCES;LIBRARIES;PROPERTIES" ${ARGN})
  add_executable(test_${name} ${ARG_SOURCES})
  target_link_libraries(test_${name} PRIVATE ${ARG_LIBRARIES} test_support)
  target_compile_definitions(test_${name} PRIVATE XLOG_MODULE_NAME="TEST")
  if(ARG_BUSY)
    policyd_busy_in_tests(test_${name})
  endif()
  gtest_discover_tests(test_${name} TEST_PREFIX ${name}. DISCOVERY_MODE PRE_TEST
    NO_PRETTY_VALUES PROPERTIES ${ARG_PROPERTIES})
endfunction()

# policyd_fuzz_target(NAME SOURCES... LIBRARIES...)
# SOURCES define LLVMFuzzerTestOneInput. A fuzz build makes of them fuzz_NAME,
# which looks for findings, as part of the target `fuzzers`; any other build
# makes the test fuzz.NAME, which replays tests/fuzz/corpus/NAME.
function(policyd_fuzz_target name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBRARIES" ${ARGN})
  add_executable(fuzz_${name} ${ARG_SOURCES} ${CMAKE_SOURCE_DIR}/tests/fuzz/sanitizer_options.cc)
  target_link_libraries(fuzz_${name} PRIVATE ${ARG_LIBRARIES})
  target_compile_definitions(fuzz_${name} PRIVATE XLOG_MODULE_NAME="FUZZ")
  if(POLICYD_FUZZERS)
    target_link_options(fuzz_${name} PRIVATE -fsanitize=fuzzer)
    # The fuzzer follows the way through the product, not that through its harness.
    target_compile_options(fuzz_${name} PRIVATE -fno-sanitize=fuzzer-no-link)
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

# policyd_compile_quickly(FOLDER): every target in and below it is compiled with
# precompiled headers and in few pieces.
function(policyd_compile_quickly folder)
  get_directory_property(targets DIRECTORY ${folder} BUILDSYSTEM_TARGETS)
  foreach(target IN LISTS targets)
    get_target_property(type ${target} TYPE)
    if(type MATCHES "LIBRARY|EXECUTABLE")
      policyd_use_precompiled_headers(${target})
      policyd_unite(${target})
    endif()
  endforeach()
  get_directory_property(folders DIRECTORY ${folder} SUBDIRECTORIES)
  foreach(below IN LISTS folders)
    policyd_compile_quickly(${below})
  endforeach()
endfunction()
