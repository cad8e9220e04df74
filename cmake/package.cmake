# Installs the license, and what find_package(vela_splitter_mp4) and pkg-config need: where the header
# and the plug-in are, and the version.
include(CMakePackageConfigHelpers)
include(GNUInstallDirs)

set(VELA_PACKAGE_INCLUDE_DIR ${CMAKE_INSTALL_INCLUDEDIR})
if(WIN32)
  set(VELA_PACKAGE_PLUGIN ${CMAKE_INSTALL_BINDIR}/vela_splitter_mp4.dll)
else()
  set(VELA_PACKAGE_PLUGIN
    ${CMAKE_INSTALL_LIBDIR}/libvela_splitter_mp4${CMAKE_SHARED_LIBRARY_SUFFIX})
endif()
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vela_splitter_mp4)

configure_package_config_file(
  ${CMAKE_CURRENT_LIST_DIR}/vela_splitter_mp4Config.cmake.in
  ${PROJECT_BINARY_DIR}/vela_splitter_mp4Config.cmake
  INSTALL_DESTINATION ${package_dir}
  PATH_VARS VELA_PACKAGE_INCLUDE_DIR VELA_PACKAGE_PLUGIN
  NO_CHECK_REQUIRED_COMPONENTS_MACRO)
write_basic_package_version_file(
  ${PROJECT_BINARY_DIR}/vela_splitter_mp4ConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/vela_splitter_mp4Config.cmake
  ${PROJECT_BINARY_DIR}/vela_splitter_mp4ConfigVersion.cmake
  DESTINATION ${package_dir})

# The paths are relative to the file itself, so that the installed tree can be moved.
set(pc_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH VELA_PC_TO_PREFIX /prefix/${pc_dir} /prefix)
string(REGEX REPLACE "/$" "" VELA_PC_TO_PREFIX ${VELA_PC_TO_PREFIX})
configure_file(${CMAKE_CURRENT_LIST_DIR}/vela_splitter_mp4.pc.in
  ${PROJECT_BINARY_DIR}/vela_splitter_mp4.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vela_splitter_mp4.pc DESTINATION ${pc_dir})

install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
