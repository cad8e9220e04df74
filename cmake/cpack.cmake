# Packages: .deb and .tar.gz here, .zip for Windows. `cpack --config build/release/CPackConfig.cmake`
# makes them in build/release/packages. A build of the GStreamer element makes the element's .deb. The
# device's package is made by wince_package.cmake.
set(CPACK_PACKAGE_NAME vela_splitter_mp4)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR "the vela_splitter_mp4 authors")
set(CPACK_PACKAGE_CONTACT "the vela_splitter_mp4 authors <vela_splitter_mp4@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "MP4 splitter plug-in for media players")
set(CPACK_PACKAGE_DESCRIPTION
  "A plug-in that takes MP4 and M4A files apart for a media player: streams,\nchapters, tags and compressed packets, trimmed to the exact audio frame.\nWith its header, a reference host that shows and cuts files, and an\ninspector.")
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)

if(WIN32)
  set(CPACK_GENERATOR ZIP)
  set(CPACK_PACKAGE_FILE_NAME ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-windows-${CMAKE_SYSTEM_PROCESSOR})
else()
  set(CPACK_GENERATOR DEB TGZ)
  string(TOLOWER ${CMAKE_SYSTEM_NAME} system)
  set(CPACK_PACKAGE_FILE_NAME
    ${CPACK_PACKAGE_NAME}-${PROJECT_VERSION}-${system}-${CMAKE_SYSTEM_PROCESSOR})
  set(CPACK_DEBIAN_PACKAGE_NAME vela-splitter-mp4)
  set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
  set(CPACK_DEBIAN_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
  # What the programs are linked with, and what velahost loads when it writes MP4.
  set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
  get_property(libavformat_package GLOBAL PROPERTY VELA_LIBAVFORMAT_PACKAGE)
  if(libavformat_package)
    set(CPACK_DEBIAN_PACKAGE_RECOMMENDS ${libavformat_package})
  endif()
endif()
# A build of the GStreamer element packs that alone, and needs nothing else to be built for it.
if(VELA_GST)
  set(CMAKE_SKIP_INSTALL_ALL_DEPENDENCY ON)
  set(CPACK_GENERATOR DEB)
  set(CPACK_DEB_COMPONENT_INSTALL ON)
  set(CPACK_COMPONENTS_ALL gstreamer)
  set(CPACK_COMPONENT_GSTREAMER_DESCRIPTION
    "GStreamer element that plays MP4 and M4A\nThe demuxer velademux, which takes files apart through the plug-in\nvela_splitter_mp4. Players take it where GST_PLUGIN_FEATURE_RANK says so.")
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_NAME gstreamer1.0-vela)
  set(CPACK_DEBIAN_GSTREAMER_PACKAGE_DEPENDS "vela-splitter-mp4 (= ${PROJECT_VERSION})")
  unset(CPACK_DEBIAN_PACKAGE_RECOMMENDS)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE COMPONENT gstreamer
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/gstreamer1.0-vela RENAME copyright)
endif()
# What Debian asks of every package.
if(NOT WIN32)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/vela-splitter-mp4 RENAME copyright)
endif()
include(CPack)
