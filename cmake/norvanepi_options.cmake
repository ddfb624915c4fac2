# What every target is built with.

option(NORVANEPI_TOOLS "Build the command-line tools" ON)
option(NORVANEPI_TESTS "Build the tests" OFF)
option(NORVANEPI_FUZZ "Build the fuzz targets (clang)" OFF)
option(NORVANEPI_BENCH "Build the benches; needs the tools" OFF)
option(NORVANEPI_PCH "Precompile the heavy headers of the tests" ON)
set(NORVANEPI_SANITIZE "" CACHE STRING "Sanitizers for everything, as -fsanitize= takes them")

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# The module is found and moved around by its host: nothing of the build folder may stay in it.
set(CMAKE_SKIP_RPATH ON)

add_compile_options(-Wall -Wextra -Wconversion -Wshadow -Wsign-conversion -Werror)
add_compile_options("$<$<CONFIG:Release>:-fstack-protector-strong>")
if(WIN32)
  add_link_options("$<$<CONFIG:Release>:-fstack-protector-strong>")  # its functions are a library of their own there
  if(NORVANEPI_TESTS)  # GCC 12 takes short std::strings for overlapping ones when it optimizes
    add_compile_options(-Wno-restrict)
  endif()
  add_compile_definitions(WIN32_LEAN_AND_MEAN NOMINMAX BOOST_USE_WINDOWS_H)
endif()
# Paths in messages of the compiler and the sanitizers start at the project, wherever it is built.
add_compile_options("-ffile-prefix-map=${CMAKE_SOURCE_DIR}/=")

if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # A unique symbol in an inline function of a library would keep the module from ever being unloaded.
  add_compile_options("$<$<COMPILE_LANGUAGE:CXX>:-fno-gnu-unique>")
endif()

if(NORVANEPI_SANITIZE)
  add_compile_options(-fsanitize=${NORVANEPI_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${NORVANEPI_SANITIZE})
endif()

if(NORVANEPI_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
