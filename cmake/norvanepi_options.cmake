# Options and compiler flags of every target. Warnings are errors only in the presets for development and CI
# (CMAKE_COMPILE_WARNING_AS_ERROR): a newer compiler with new warnings must still build a release.

option(NORVANEPI_TOOLS "Build the command-line tools" ON)
option(NORVANEPI_TESTS "Build the tests" OFF)
option(NORVANEPI_FUZZ "Build the fuzz targets (clang)" OFF)
option(NORVANEPI_BENCH "Build the benchmarks; needs the tools" OFF)
option(NORVANEPI_PCH "Precompile headers of the tools and the tests" ON)
set(NORVANEPI_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The module is installed by its host, so it must not contain paths of the build folder.
set(CMAKE_SKIP_RPATH ON)

add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Wsign-conversion)
add_compile_options("$<$<CONFIG:Release>:-fstack-protector-strong>")
if(WIN32)
  add_link_options("$<$<CONFIG:Release>:-fstack-protector-strong>")  # MinGW has its functions in a separate library
  if(NORVANEPI_TESTS)  # GCC 12 warns falsely about short std::strings and Boost.MultiIndex when it optimizes
    add_compile_options(-Wno-restrict -Wno-use-after-free)
  endif()
  add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX BOOST_USE_WINDOWS_H)
endif()
# Paths in diagnostics are relative to the project root, so builds in different folders are identical.
add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A STB_GNU_UNIQUE symbol from an inline function would make the module impossible to unload.
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>")
endif()

if(NORVANEPI_SANITIZE)
  add_compile_options(-fsanitize=${NORVANEPI_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NORVANEPI_SANITIZE})
endif()

if(NORVANEPI_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
