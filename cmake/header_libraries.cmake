# CLI11, nlohmann-json and fmt. They are used as headers alone, so a cross build uses those of this machine, but
# must not see the rest of /usr/include: it gets a folder with links to these.
if(NOT CMAKE_CROSSCOMPILING)
  find_package(CLI11 QUIET GLOBAL)
  find_package(nlohmann_json QUIET GLOBAL)
  find_package(fmt QUIET GLOBAL)
  return()
endif()

# add_header_library(TARGET FOLDER): nothing where the folder is not installed
function(add_header_library target folder)
  find_path(VELA_${folder}_HEADERS ${folder}
    PATHS /usr/include /usr/local/include NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
  if(NOT VELA_${folder}_HEADERS OR TARGET ${target})
    return()
  endif()
  set(headers ${PROJECT_BINARY_DIR}/header_libraries)
  file(MAKE_DIRECTORY ${headers})
  file(CREATE_LINK ${VELA_${folder}_HEADERS}/${folder} ${headers}/${folder} SYMBOLIC)
  add_library(${target} INTERFACE IMPORTED GLOBAL)
  target_include_directories(${target} SYSTEM INTERFACE ${headers})
endfunction()
add_header_library(CLI11::CLI11 CLI)
add_header_library(nlohmann_json::nlohmann_json nlohmann)
add_header_library(fmt::fmt-header-only fmt)
if(TARGET fmt::fmt-header-only)
  target_compile_definitions(fmt::fmt-header-only INTERFACE FMT_HEADER_ONLY)
endif()
