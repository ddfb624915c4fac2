# norvanepi_component(NAME [FOLDER path] SOURCES ... [USES ...] [LIBRARIES ...])
#
# Makes a target of a folder. Files are included by their path from the project root ("ps/ps_writer.h"), but the root
# itself is on no include path. Each component has its own include folder, which contains only a link to the
# component's folder. A component can therefore include only what it names under USES, directly or indirectly.
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
