# norvanepi_component(NAME [FOLDER path] SOURCES ... [USES ...] [LIBRARIES ...])
#
# A folder as a target. Files are included by their path from the project's root ("ps/ps_writer.h"), but the root
# itself is on nobody's include path: each component gets an include folder of its own that holds a link to its own
# folder only. What a component does not name under USES, directly or through what it uses, it cannot include.
function(norvanepi_component name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "FOLDER" "SOURCES;USES;LIBRARIES")
  if(NOT arg_FOLDER)
    set(arg_FOLDER ${name})
  endif()
  set(root "${CMAKE_BINARY_DIR}/include/${name}")
  cmake_path(GET arg_FOLDER PARENT_PATH parent)
  file(MAKE_DIRECTORY "${root}/${parent}")
  file(CREATE_LINK "${CMAKE_SOURCE_DIR}/${arg_FOLDER}" "${root}/${arg_FOLDER}" SYMBOLIC COPY_ON_ERROR)

  if(arg_SOURCES)
    add_library(${name} STATIC ${arg_SOURCES})
    set(scope PUBLIC)
  else()
    add_library(${name} INTERFACE)
    set(scope INTERFACE)
  endif()
  target_include_directories(${name} ${scope} "${root}")
  target_link_libraries(${name} ${scope} ${arg_USES} ${arg_LIBRARIES})
endfunction()
