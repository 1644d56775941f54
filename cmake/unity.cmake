# Several sources of a target are compiled as one, for most of what a compiler does is to
# read the same headers again. Names of one source's unnamed namespace are then
# seen by its neighbours, so that they differ within a target.
#
# This is not CMake's UNITY_BUILD because that names the sources by their absolute
# paths, so that no two clones share what ccache keeps.
set(POLICYD_UNITY 5 CACHE STRING "How many sources are compiled as one; 1 where one works on few for long")
define_property(TARGET PROPERTY POLICYD_UNITY INITIALIZE_FROM_VARIABLE POLICYD_UNITY)

# policyd_unite(TARGET): in the order in which the target lists them. What is
# generated stays alone, for its sources have much the same names.
function(policyd_unite target)
  get_target_property(most ${target} POLICYD_UNITY)
  if(most LESS 2)
    return()
  endif()
  get_target_property(sources ${target} SOURCES)
  get_target_property(folder ${target} SOURCE_DIR)
  set(united)
  foreach(source IN LISTS sources)
    cmake_path(ABSOLUTE_PATH source BASE_DIRECTORY ${folder})
    get_source_file_property(options ${source} TARGET_DIRECTORY ${target} COMPILE_OPTIONS)
    get_source_file_property(generated ${source} TARGET_DIRECTORY ${target} GENERATED)
    if(source MATCHES "\\.cc$" AND NOT options AND NOT generated)
      list(APPEND united ${source})
    endif()
  endforeach()
  list(LENGTH united count)
  if(count LESS 2)
    return()
  endif()
  math(EXPR batches "(${count} + ${most} - 1) / ${most}")
  foreach(batch RANGE 1 ${batches})
    math(EXPR first "${count} * (${batch} - 1) / ${batches}")
    math(EXPR length "${count} * ${batch} / ${batches} - ${first}")
    list(SUBLIST united ${first} ${length} part)
    _policyd_unite_part(${target} ${batch} "${part}")
  endforeach()
endfunction()

function(_policyd_unite_part target batch sources)
  set(content)
  foreach(source IN LISTS sources)
    cmake_path(RELATIVE_PATH source BASE_DIRECTORY ${CMAKE_SOURCE_DIR} OUTPUT_VARIABLE path)
    string(APPEND content "#include \"${path}\"\n")
  endforeach()
  set(unity ${CMAKE_BINARY_DIR}/unity/${target}_${batch}.cc)
  file(CONFIGURE OUTPUT ${unity} CONTENT "${content}" @ONLY)
  target_sources(${target} PRIVATE ${unity})
  # Meant for headers, which these sources now look like.
  set_source_files_properties(${unity} TARGET_DIRECTORY ${target}
    PROPERTIES COMPILE_OPTIONS -Wno-subobject-linkage)
  set_source_files_properties(${sources} TARGET_DIRECTORY ${target} PROPERTIES HEADER_FILE_ONLY ON)
endfunction()
