option(POLICYD_HARDENING "Harden what is built; OFF is for measuring what that costs" ON)

# What makes a fault in memory end the process instead of serving whoever caused it.
# tests/house/programs_are_hardened.py reads it back from the programs.
#
# policyd_install_programs(COMPONENT TARGETS...): what is installed is what is checked.
function(policyd_install_programs component)
  install(TARGETS ${ARGN} RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT ${component})
  set_property(GLOBAL APPEND PROPERTY POLICYD_INSTALLED ${ARGN})
endfunction()

function(policyd_check_hardening)
  get_property(programs GLOBAL PROPERTY POLICYD_INSTALLED)
  list(TRANSFORM programs REPLACE "(.+)" "$<TARGET_FILE:\\1>")
  # Only g++ writes down what it was told, and only what is optimised is fortified.
  if(POLICYD_BUILD_TESTS AND POLICYD_HARDENING AND NOT CMAKE_BUILD_TYPE STREQUAL "Debug"
      AND NOT POLICYD_SANITIZE AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    find_package(Python3 REQUIRED COMPONENTS Interpreter)
    add_test(NAME house.programs_are_hardened COMMAND Python3::Interpreter -B
      ${CMAKE_SOURCE_DIR}/tests/house/programs_are_hardened.py ${programs})
  endif()
endfunction()

# Sanitizers watch more closely, and what they replace is not to be fortified.
if(NOT POLICYD_HARDENING OR POLICYD_SANITIZE OR POLICYD_FUZZERS OR POLICYD_COVERAGE)
  return()
endif()

add_compile_options(-fPIE -fstack-protector-strong -fstack-clash-protection)
add_link_options(-pie -Wl,-z,relro,-z,now,-z,noexecstack)
add_compile_definitions(_GLIBCXX_ASSERTIONS)
# Needs an optimising compiler; folders that are compiled without undo it.
if(NOT CMAKE_BUILD_TYPE STREQUAL "Debug")
  add_compile_options("SHELL:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
endif()
# The linker marks by itself what may run with a shadow stack and checked jumps where all
# of it can. Debian 12's C library starts programs by code that jumps without
# landing pads, so that only the shadow stack can be promised there.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
  add_compile_options(-fcf-protection=full)
  add_link_options(-Wl,-z,shstk)
endif()
