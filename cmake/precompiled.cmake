# Precompiled headers. A folder says by the variable POLICYD_PRECOMPILED, a target
# by the property of that name, which set its sources start from. What is compiled
# with other options needs a set of its own, for g++ refuses any other.
option(POLICYD_PRECOMPILED_HEADERS "Compile the headers that most sources include once" ON)

set(POLICYD_PRECOMPILED standard)
if(POLICYD_MUTATION)
  # The sources with faults in them are not optimised; the tests are compiled as ever.
  set(POLICYD_PRECOMPILED none)
endif()
define_property(TARGET PROPERTY POLICYD_PRECOMPILED INITIALIZE_FROM_VARIABLE POLICYD_PRECOMPILED)

# policyd_precompiled_set(NAME HEADERS... [OPTIONS...] [LIBRARIES...])
# The headers of cmake/precompiled/, compiled with the options of the current
# folder and these.
function(policyd_precompiled_set name)
  if(NOT POLICYD_PRECOMPILED_HEADERS)
    return()
  endif()
  cmake_parse_arguments(ARG "" "" "HEADERS;OPTIONS;LIBRARIES" ${ARGN})
  list(TRANSFORM ARG_HEADERS PREPEND ${CMAKE_SOURCE_DIR}/cmake/precompiled/)
  set(nothing ${CMAKE_BINARY_DIR}/precompiled/nothing.cc)
  file(CONFIGURE OUTPUT ${nothing} CONTENT "")
  add_library(precompiled_${name} OBJECT ${nothing})
  target_precompile_headers(precompiled_${name} PRIVATE ${ARG_HEADERS})
  target_compile_options(precompiled_${name} PRIVATE ${ARG_OPTIONS})
  target_link_libraries(precompiled_${name} PRIVATE ${ARG_LIBRARIES})
  set_target_properties(precompiled_${name} PROPERTIES POLICYD_PRECOMPILED none)
endfunction()

function(_policyd_optimisation result target)
  get_target_property(options ${target} COMPILE_OPTIONS)
  list(FILTER options INCLUDE REGEX "^-O")
  list(POP_BACK options last)
  set(${result} "${last}" PARENT_SCOPE)
endfunction()

# policyd_use_precompiled_headers(TARGET): not where it is optimised otherwise.
function(policyd_use_precompiled_headers target)
  get_target_property(set ${target} POLICYD_PRECOMPILED)
  if(NOT TARGET precompiled_${set})
    return()
  endif()
  _policyd_optimisation(wanted ${target})
  _policyd_optimisation(had precompiled_${set})
  if(wanted STREQUAL had)
    target_precompile_headers(${target} REUSE_FROM precompiled_${set})
  endif()
endfunction()
