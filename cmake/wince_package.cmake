# device.zip: what an owner of a device gets.
set(package_folder ${PROJECT_BINARY_DIR}/device)
set(package_file ${PROJECT_BINARY_DIR}/device.zip)
set(package_dll ${PROJECT_BINARY_DIR}/frontend/vela_splitter_mp4.dll)
set(package_probe ${PROJECT_BINARY_DIR}/examples/velaprobe/velaprobe.exe)
add_custom_command(
  OUTPUT ${package_file}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${package_folder}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${package_folder}
  COMMAND ${CMAKE_COMMAND} -E copy ${package_dll} ${package_probe} ${package_folder}
  COMMAND ${CMAKE_COMMAND} -E copy ${PROJECT_SOURCE_DIR}/LICENSE ${package_folder}/LICENSE.txt
  COMMAND ${CMAKE_COMMAND} -E copy
    ${PROJECT_SOURCE_DIR}/examples/velaprobe/README.txt ${package_folder}/README.txt
  COMMAND ${CMAKE_CPACK_COMMAND} --config ${PROJECT_BINARY_DIR}/CPackConfig.cmake
  DEPENDS vela_splitter_mp4 velaprobe ${package_dll} ${package_probe}
    ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/examples/velaprobe/README.txt
  VERBATIM)
add_custom_target(device_package ALL DEPENDS ${package_file})

# Its files are copied, not installed: nothing is installed on this machine.
set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_NAME vela_splitter_mp4)
set(CPACK_PACKAGE_FILE_NAME device)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR})
set(CPACK_INCLUDE_TOPLEVEL_DIRECTORY OFF)
set(CPACK_INSTALL_CMAKE_PROJECTS "")
set(CPACK_INSTALLED_DIRECTORIES ${package_folder} /)
set(CPACK_VERBATIM_VARIABLES ON)
include(CPack)
