# add_wince_dll(NAME EXPORTS function ... SOURCES file ... LIBRARIES target ...)
# A DLL for the device: NAME.dll in the current binary folder. The objects are linked at two bases;
# the converter makes the DLL of the first link and checks its relocations with the second.
include(${PROJECT_SOURCE_DIR}/cmake/python.cmake)

set(VELA_WINCE_BASES 0x10000000 0x22340000)
set(VELA_WINCE_CONVERTER ${PROJECT_SOURCE_DIR}/scripts/wince/elf_to_pe.py)

function(add_wince_dll name)
  cmake_parse_arguments(dll "" "" "EXPORTS;SOURCES;LIBRARIES" ${ARGN})
  set(script ${PROJECT_SOURCE_DIR}/platform/wince/image.ld)

  add_library(${name}_objects OBJECT ${dll_SOURCES})
  target_link_libraries(${name}_objects PRIVATE project_flags plugin_flags ${dll_LIBRARIES})

  set(images)
  foreach(base ${VELA_WINCE_BASES})
    set(image ${name}_at_${base})
    add_executable(${image}
      $<TARGET_OBJECTS:${name}_objects> $<TARGET_OBJECTS:wince_runtime>
      $<TARGET_OBJECTS:wince_imports>)
    set_target_properties(${image} PROPERTIES SUFFIX .elf LINK_DEPENDS ${script})
    target_link_libraries(${image} PRIVATE ${dll_LIBRARIES})
    # The base stands before the script, which uses it; after the script it is ignored. The
    # instruction set on the link command makes the linker replace every BX of the compiler's
    # libraries, which the device does not have.
    target_link_options(${image} PRIVATE
      -march=armv4 -marm -mfloat-abi=soft -nostartfiles -nostdlib
      -Wl,--emit-relocs -Wl,--gc-sections -Wl,--defsym=image_base=${base} -Wl,-T,${script}
      -Wl,-Map=$<TARGET_FILE:${image}>.map)
    list(TRANSFORM dll_EXPORTS PREPEND "-Wl,--undefined=" OUTPUT_VARIABLE kept)
    target_link_options(${image} PRIVATE ${kept})
    target_link_libraries(${image} PRIVATE
      -Wl,--start-group -lstdc++ -lgcc -lc -lm -Wl,--end-group)
    list(APPEND images ${image})
  endforeach()
  list(GET images 0 first)
  list(GET images 1 second)

  set(exports ${dll_EXPORTS})
  list(TRANSFORM exports PREPEND "--export=")
  set(output ${CMAKE_CURRENT_BINARY_DIR}/${name}.dll)
  add_custom_command(
    OUTPUT ${output}
    COMMAND ${Python3_EXECUTABLE} -B ${VELA_WINCE_CONVERTER}
      $<TARGET_FILE:${first}> ${output} --name ${name}.dll --version ${PROJECT_VERSION} ${exports}
      --second-base $<TARGET_FILE:${second}>
    DEPENDS ${images} ${VELA_WINCE_CONVERTER}
      ${PROJECT_SOURCE_DIR}/scripts/wince/elf_image.py
      ${PROJECT_SOURCE_DIR}/scripts/wince/version_resource.py
    COMMENT "Converting ${name}.dll"
    VERBATIM)
  add_custom_target(${name} ALL DEPENDS ${output})
endfunction()
