# Install locations. Components: module, tools, dev.

include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

# A plug-in is not linked with, so it is not installed where the linker looks.
set(NORVANEPI_MODULE_DIR "${CMAKE_INSTALL_LIBDIR}/norvanepi")
# The recorder looks for the module there. The path is relative, so that an installation may be moved.
file(RELATIVE_PATH NORVANEPI_MODULE_DIR_FROM_PROGRAMS
  "${CMAKE_INSTALL_FULL_BINDIR}" "${CMAKE_INSTALL_FULL_LIBDIR}/norvanepi")

# norvanepi_install_dev(): installs the header, the examples, the pages for makers of hosts, and the CMake and pkg-config files
# that locate them and the module.
function(norvanepi_install_dev)
  set(made "${CMAKE_BINARY_DIR}/package")
  set(config_dir "${CMAKE_INSTALL_LIBDIR}/cmake/norvanepi")
  configure_package_config_file("${CMAKE_SOURCE_DIR}/cmake/norvanepiConfig.cmake.in" "${made}/norvanepiConfig.cmake"
    INSTALL_DESTINATION "${config_dir}" PATH_VARS CMAKE_INSTALL_INCLUDEDIR NORVANEPI_MODULE_DIR)
  write_basic_package_version_file("${made}/norvanepiConfigVersion.cmake" COMPATIBILITY SameMajorVersion)
  configure_file("${CMAKE_SOURCE_DIR}/cmake/norvanepi.pc.in" "${made}/norvanepi.pc" @ONLY)

  install(FILES "${made}/norvanepiConfig.cmake" "${made}/norvanepiConfigVersion.cmake"
    DESTINATION "${config_dir}" COMPONENT dev)
  install(FILES "${made}/norvanepi.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig" COMPONENT dev)
  install(FILES "${CMAKE_SOURCE_DIR}/include/norvanepi.h" TYPE INCLUDE COMPONENT dev)
  install(DIRECTORY "${CMAKE_SOURCE_DIR}/examples" DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT dev
    PATTERN fleet EXCLUDE)  # part of the tools
  foreach(page host-interface host-checklist messages state-file recording-format clip-reading glossary)
    install(FILES "${CMAKE_SOURCE_DIR}/docs/${page}.md" TYPE DOC COMPONENT dev)
  endforeach()
endfunction()
