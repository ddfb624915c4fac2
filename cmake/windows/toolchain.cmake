# Debian's mingw-w64 with POSIX threads, and wine to run the programs. NORVANEPI_WINDOWS_PREFIX is where scripts/windows
# installed the libraries; libraries of the build machine are not searched.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)

set(CMAKE_FIND_ROOT_PATH "${NORVANEPI_WINDOWS_PREFIX}" /usr/x86_64-w64-mingw32)
foreach(kind LIBRARY INCLUDE PACKAGE)
  set(CMAKE_FIND_ROOT_PATH_MODE_${kind} ONLY)
endforeach()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES NORVANEPI_WINDOWS_PREFIX)

# Link the compiler's and the thread library statically, so that each file runs without other DLLs.
set(Boost_USE_STATIC_LIBS ON)
foreach(kind EXE SHARED MODULE)
  set(CMAKE_${kind}_LINKER_FLAGS_INIT "-static")
endforeach()
