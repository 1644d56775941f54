# xrl_generate(LIBRARY [INTERFACES FILE.xif...] [TARGETS FILE.tgt...] [IMPORTS ...])
#
# A static library of the client stubs of the interface files and the target
# bases of the target files, both relative to the current folder. Their headers
# are included by the path of the file they were generated from, e.g.
# "policy/interfaces/policy_config_xif.h" and "policy/interfaces/policy_tgt.h".
#
# A target implements interfaces out of INTERFACES and IMPORTS; an import is a
# library made by this function, or a .xif file or a folder of such, absolute
# or relative to the root.
function(xrl_generate library)
  cmake_parse_arguments(ARG "" "" "INTERFACES;TARGETS;IMPORTS" ${ARGN})
  if(ARG_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "xrl_generate(${library}): what is ${ARG_UNPARSED_ARGUMENTS}?")
  endif()
  list(TRANSFORM ARG_INTERFACES PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
  list(TRANSFORM ARG_TARGETS PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)

  set(known ${ARG_INTERFACES})
  foreach(import IN LISTS ARG_IMPORTS)
    _xrl_imported_interfaces(files ${import})
    list(APPEND known ${files})
  endforeach()
  list(REMOVE_DUPLICATES known)

  set(sources)
  foreach(file IN LISTS ARG_INTERFACES)
    _xrl_generate_one(generated ${file} "")
    list(APPEND sources ${generated})
  endforeach()
  foreach(file IN LISTS ARG_TARGETS)
    _xrl_generate_one(generated ${file} "${known}")
    list(APPEND sources ${generated})
  endforeach()

  policyd_library(${library} XRL SOURCES ${sources} LIBRARIES framework_xrl)
  set_target_properties(${library} PROPERTIES XRL_INTERFACES "${ARG_INTERFACES}")
endfunction()

function(_xrl_imported_interfaces result import)
  if(TARGET ${import})
    get_target_property(files ${import} XRL_INTERFACES)
  else()
    cmake_path(ABSOLUTE_PATH import BASE_DIRECTORY ${CMAKE_SOURCE_DIR})
    if(IS_DIRECTORY ${import})
      file(GLOB files CONFIGURE_DEPENDS ${import}/*.xif)
    else()
      set(files ${import})
    endif()
  endif()
  foreach(file IN LISTS files)
    if(NOT EXISTS ${file})
      message(FATAL_ERROR "xrl_generate: ${import} is no interface file and brings none")
    endif()
  endforeach()
  set(${result} ${files} PARENT_SCOPE)
endfunction()

# Answers the generated header and source of `file`.
function(_xrl_generate_one result file imports)
  cmake_path(RELATIVE_PATH file BASE_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE path)
  string(REGEX REPLACE "\\.(xif|tgt)$" "_\\1" stem ${CMAKE_BINARY_DIR}/generated/${path})
  set(import_options)
  foreach(import IN LISTS imports)
    list(APPEND import_options --import ${import})
  endforeach()
  add_custom_command(
    OUTPUT ${stem}.h ${stem}.cc
    COMMAND xrlgen --root ${CMAKE_SOURCE_DIR} --out ${CMAKE_BINARY_DIR}/generated ${import_options}
            ${file}
    DEPENDS xrlgen ${file} ${imports}
    COMMENT "Generating ${path}"
    VERBATIM)
  set(${result} ${stem}.h ${stem}.cc PARENT_SCOPE)
endfunction()
